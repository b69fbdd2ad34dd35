// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/optiontable.h>
#include <host/parsing/clause.h>

#include <QJsonObject>
#include <QLatin1StringView>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

/// What somebody chose: values of options, each with where it was said. What nobody chose is as the table has it.
///
/// A value. Names are those of the table; another one is a mistake of the program.
class OptionValues
{
public:
    struct Given {
        QVariant value; ///< as OptionValue::fromText() makes it
        QString from; ///< for people: "the command line", "/home/anna/plait.conf:7"

        friend bool operator==(const Given &, const Given &) = default;
    };

    /// Of the host's options.
    OptionValues();
    /// @param table outlives this
    explicit OptionValues(const OptionTable &table);

    /// Takes the place of what was given, or stands behind it where the option may be given several times.
    void give(const OptionRow &row, const Given &given);

    const OptionTable &table() const { return *m_table; }
    bool isEmpty() const { return m_given.isEmpty(); }
    bool has(QLatin1StringView name) const { return !given(name).isEmpty(); }
    /// In order; several only where the option repeats.
    QList<Given> given(QLatin1StringView name) const { return m_given.value(QString(name)); }

    bool flag(QLatin1StringView name) const { return value(name).toBool(); }
    qint64 number(QLatin1StringView name) const { return value(name).toLongLong(); }
    QString text(QLatin1StringView name) const { return value(name).toString(); }
    QStringList texts(QLatin1StringView name) const;

    /// Those that may stand there.
    OptionValues at(OptionRow::Place place) const;

    /// Why one of them is no value of its option, in a sentence that names it; empty = all are. Of use where a program
    /// gave them.
    Clause problem() const;

    /// Names to values; lists where an option repeats.
    QJsonObject toJson() const;
    /// What toJson() made. What is no option here, or none of its values, is left out.
    static OptionValues fromJson(const QJsonObject &object);
    /// Nothing, with a sentence, where a name is none of an option that may stand there, or a value none of its values.
    static std::optional<OptionValues> checked(const QJsonObject &object, OptionRow::Place place, Clause *problem);

    /// Where it was said does not count.
    friend bool operator==(const OptionValues &a, const OptionValues &b) { return a.toJson() == b.toJson(); }

private:
    QVariant value(QLatin1StringView name) const;
    bool giveJson(const OptionRow &row, const QJsonValue &json, Clause *problem);

    const OptionTable *m_table;
    QMap<QString, QList<Given>> m_given;
};
