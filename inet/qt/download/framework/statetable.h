// SPDX-License-Identifier: MIT
#pragma once

#include <QLatin1StringView>
#include <QString>

#include <algorithm>
#include <span>

/// The states of one kind of thing, and which may follow which: what its transition() asks, and what its chart in the
/// documents is drawn from.
///
/// A value that lives as long as the program. Its strings are literals.
template<typename State>
class StateTable
{
public:
    struct Name {
        State state;
        const char *text; ///< as the chart and the log call it
    };

    /// One legal way on.
    struct Exit {
        State from;
        State to;
        const char *cause; ///< as the chart says it
    };

    /// @param names of all states, the first one first @param exits of all
    constexpr StateTable(std::span<const Name> names, std::span<const Exit> exits)
        : m_names(names)
        , m_exits(exits)
    {
    }

    constexpr bool allows(State from, State to) const
    {
        return std::any_of(m_exits.begin(), m_exits.end(),
                           [=](const Exit &exit) { return exit.from == from && exit.to == to; });
    }

    /// Nothing follows it.
    constexpr bool isLast(State state) const
    {
        return std::none_of(m_exits.begin(), m_exits.end(), [=](const Exit &exit) { return exit.from == state; });
    }

    /// "?" for a number that is no state.
    QLatin1StringView nameOf(State state) const
    {
        for (const Name &name : m_names) {
            if (name.state == state)
                return QLatin1StringView(name.text);
        }
        return QLatin1StringView("?");
    }

    std::span<const Name> names() const { return m_names; }
    std::span<const Exit> exits() const { return m_exits; }

    /// A chart in Mermaid's language, without fences. @param beginning what makes a thing of this kind; empty = nothing
    /// that has a name
    QString chart(const QString &beginning = {}) const
    {
        const auto arrow = [](const QString &from, const QString &to, const QString &cause) {
            const QString line = QStringLiteral("    ") + from + QStringLiteral(" --> ") + to;
            return (cause.isEmpty() ? line : line + QStringLiteral(": ") + cause) + u'\n';
        };
        QString text =
            QStringLiteral("stateDiagram-v2\n") + arrow(QStringLiteral("[*]"), nameOf(m_names[0].state), beginning);
        for (const Exit &exit : m_exits)
            text += arrow(nameOf(exit.from), nameOf(exit.to), QString::fromUtf8(exit.cause));
        for (const Name &name : m_names) {
            if (isLast(name.state))
                text += arrow(QLatin1StringView(name.text), QStringLiteral("[*]"), {});
        }
        return text;
    }

private:
    std::span<const Name> m_names;
    std::span<const Exit> m_exits;
};
