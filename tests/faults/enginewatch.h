// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/engine.h>
#include <tests/unit/host/engine/downloadsmodel.h>

#include <QHash>
#include <QObject>
#include <QPair>
#include <QSet>

#include <functional>

/// Hears all that an engine says, and holds it against what the engine promises: each command has one answer, states
/// follow each other as their table allows, of what was removed nothing more is said, and who applied the signals has
/// what the engine would answer.
///
/// Lives in the engine's thread, and no longer than the engine.
class EngineWatch : public QObject
{
    Q_OBJECT

public:
    using Find = std::function<void(const QString &kind, const QString &what)>;
    using Transitions = QHash<QPair<int, int>, int>;

    /// @param find takes what is wrong, with a word for its kind
    EngineWatch(Engine &engine, Find find);

    /// Once, when the engine was told to open.
    void load() { m_model.load(); }
    bool isLoaded() const { return m_isLoaded; }
    /// Commands are awaited.
    bool isAnswered() const { return m_unanswered == 0 && !m_isComparing; }
    /// For a command: counts its answers, and gives the first to the callback.
    Engine::Callback counted(const QString &words, const Engine::Callback &callback = {});
    /// Nothing more will be answered: tells what was not.
    void end();

    /// As was told up to now.
    const QList<Snapshot> &rows() const { return m_model.rows(); }
    /// Null = there is none.
    const Snapshot *row(qint64 id) const;
    /// It neither waits nor is active; a check goes on beside.
    static bool isAtRest(const Snapshot &row);

    const QSet<qint64> &removed() const { return m_removed; }
    const Transitions &transitions() const { return m_transitions; }
    int comparisons() const { return m_comparisons; }

private:
    struct Command {
        QString words;
        int answers = 0;
    };

    void onTold(const EngineNews &news);
    void onAnswered(quint64 number);
    void onRow(const EngineNews &news);
    void onState(const Snapshot &before, const Snapshot &now);
    void compare();
    void compareWith(const EngineAnswer &page);

    Engine &m_engine;
    const Find m_find;
    DownloadsModel m_model;
    QHash<int, Command> m_commands; ///< by the order in which they were given
    QSet<quint64> m_numbers; ///< of the engine's answers
    QSet<qint64> m_removed;
    Transitions m_transitions;
    int m_unanswered = 0;
    int m_comparisons = 0;
    bool m_isLoaded = false;
    bool m_isComparing = false;
};
