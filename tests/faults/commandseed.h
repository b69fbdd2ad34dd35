// SPDX-License-Identifier: MIT
#pragma once

#include <tests/faults/commandserver.h>
#include <tests/faults/commandworld.h>
#include <tests/faults/enginewatch.h>

#include <QEventLoop>
#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTimer>

#include <functional>
#include <memory>

class RemoteEngine;
class SqlFile;

/// What seeds came to.
struct CommandScore {
    int seeds = 0;
    int commands = 0;
    int refused = 0; ///< of these
    int kills = 0;
    int comparisons = 0; ///< of a model with a page
    int questions = 0;
    int files = 0; ///< that were there at the end, and right
    int early = 0; ///< of these: with fewer bytes, because a person was content
    EngineWatch::Transitions transitions;
    QHash<QString, int> wrongs; ///< by kind

    void add(const CommandScore &other);
};

/// An engine in a process of its own, given the commands of one world, killed and begun anew; and at the end what came
/// of it. All it does follows from its seed, but for the speed of the machine.
///
/// Lives in one thread, whose events it has run.
class CommandSeed
{
    Q_DISABLE_COPY_MOVE(CommandSeed)

public:
    explicit CommandSeed(quint32 seed);
    ~CommandSeed();

    /// @return what is wrong, a line each; empty: nothing
    QStringList run(CommandScore &score);
    /// The world in words, and all that was done and told.
    QString told() const;
    /// Where everything lies for whoever wants to look.
    QString keep() const;

private:
    /// What is known of a download without its engine.
    struct Known {
        int file = 0;
        bool mayBeEarly = false; ///< somebody was content with what was there
        int removals = 0; ///< that are not answered yet
        bool mayBeGone = false; ///< it is being removed, or whether it was was never heard
        bool mayLackFile = false; ///< nor whether its file was; that goes first
    };

    // The engine.
    void begin(bool canAsk);
    void listen();
    void end(bool isKilled);
    void killEngine();
    void checkRowsOfBeginning();
    void pump(int ms);
    bool waitUntil(const QString &what, const std::function<bool()> &condition);

    // What happens to it.
    void take(const CommandStep &step);
    void add(const CommandStep &step);
    void know(qint64 id, int file);
    void giveCommandTo(qint64 id, const CommandStep &step);
    void giveCommand(const CommandStep &step);
    void remove(qint64 id, bool withFile);
    void finishNow(qint64 id);
    void restart(qint64 id);
    void setUrl(qint64 id, bool force);
    void answerOne(const CommandStep &step);
    void look(const CommandStep &step);
    void makeBusy(int ms);
    DownloadRequest requestFor(int file) const;
    qint64 idOf(const CommandStep &step) const;
    Engine::Callback counted(const QString &words, const Engine::Callback &callback = {});
    Engine::Callback judged(CommandStep::Kind kind, qint64 id, const Engine::Callback &callback = {});

    // What is expected of it.
    void onAnswer(CommandStep::Kind kind, qint64 id, const EngineAnswer &answer);
    QString whyWrong(CommandStep::Kind kind, qint64 id, const EngineAnswer &answer) const;
    void onChanged(const Snapshot &snapshot);
    void onAsked(const Question &question);
    void note(const EngineNews &news);

    // The end of all.
    void finish();
    void resumeAll();
    void checkRows();
    void checkFileOf(const Snapshot &row, const QString &path);
    QList<Known> overwritersOf(const Snapshot &row) const;
    void checkFiles();
    void checkClaims();
    bool isGone(qint64 id) const { return m_known.value(id).mayBeGone || m_removed.contains(id); }
    int fileOf(const QUrl &url) const;
    QString pathOf(const QString &name) const;
    QString listPath() const;
    void find(const QString &kind, const QString &what);

    const quint32 m_seed;
    const CommandWorld m_world;
    CommandServer m_server;
    QTemporaryDir m_dir;
    QEventLoop m_loop;
    std::unique_ptr<RemoteEngine> m_engine;
    std::unique_ptr<EngineWatch> m_watch;
    std::unique_ptr<SqlFile> m_busy; ///< holds up the list
    QTimer m_busyTimer;
    CommandScore m_score;
    QHash<qint64, Known> m_known; ///< downloads that were seen
    QSet<qint64> m_removed;
    QSet<qint64> m_stopping; ///< that were told to pause, and have not yet
    QSet<qint64> m_begun; ///< that are active
    QSet<int> m_leftBehind; ///< files of which a removed download may have left something
    QList<Question> m_questions; ///< that are open
    QSet<qint64> m_resumed; ///< by the last resumeAll(), and not seen to wait yet
    QHash<qint64, QString> m_paths; ///< of files at the end
    int m_addsUnheard = 0; ///< whose answer never came
    bool m_isClosed = false;
    bool m_isEnding = false; ///< it was told to, or is killed
    bool m_answersAll = false;
    QStringList m_dead; ///< numbers of processes that were killed
    QStringList m_history;
    QStringList m_findings;
};
