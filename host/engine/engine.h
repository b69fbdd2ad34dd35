// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/enginecommand.h>
#include <host/engine/enginenews.h>

#include <QHash>
#include <QObject>

#include <functional>

/// What a front end talks to: downloads by their numbers, commands at any time, signals for all that happens.
///
///     open() ──> list alone is there ── prepare(), or what needs it ──> modules and network, too ── close() ──>
///     closed()
///
/// Everything that crosses this face is a plain value with a JSON form, so that an engine in another process is a
/// second implementation of two functions: transmit() takes commands there, deliver() brings news back.
///
/// An engine lives in one thread, in which it is called and in which it answers. A call returns at once and never
/// answers or signals from inside. Each has exactly one answer, unless the engine is destroyed before; what makes no
/// sense in the present state is answered with a failure that says so, and changes nothing. Commands are begun in the
/// order in which they are given. Limits and options are bound as the table of options has it, wherever they are given:
/// what is beyond is refused (ValueUnusable), with all that came with it.
///
/// News come in one order. An answer comes before the signals of what it did. A page of snapshots is what the signals
/// have said up to there, and asking for it tells nothing new of what is done here. So who takes a page and applies the
/// signals that follow has at any moment what the engine would answer.
///
/// Other programs may be at work on the same list. What they do to it is seen in the next page; changed() tells before
/// it of its rows that came to be another's, ceased to be, or are other than they were told while they are.
class Engine : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Engine)

public:
    using Callback = std::function<void(const EngineAnswer &answer)>;

    /// Between two changed() of one download that say nothing of its state.
    static constexpr int kNewsIntervalMs = 200;
    /// Between two looks at what other programs do to the list.
    static constexpr int kOthersIntervalMs = 2000;

    explicit Engine(QObject *parent = nullptr);
    ~Engine() override;

    /// Once, before all others. Opens the list; answers with warnings. After a failure there is nothing but close().
    void open(const EngineOptions &options, const Callback &callback = {});
    /// Brings the network up, which otherwise comes with the first command that needs it; who calls it hears before
    /// what is wrong with proxies, certificates, logins and cookies. Answers with warnings. Modules are looked for when
    /// an address is first asked for: warned() tells which of them do not fit, and a command fails where there is none.
    void prepare(const Callback &callback = {});

    /// Puts a download into the list, behind all others; added() follows. Where an unfinished one of the same request
    /// is there already, that is taken, and changed() follows. @param begin resume() is part of it. Answers its number;
    /// a failure where nobody serves the address. Of a request that is to be fetched only once: where it is active, the
    /// number of that one, and where the list has it finished and the disk holds it in full, that one's, its row and
    /// the path; no signal follows. A finished one that is yet to be compared with its checksum, or that differed, is
    /// taken like one that is unfinished.
    void add(const DownloadRequest &request, bool begin, const Callback &callback = {});
    /// Has a download wait for its turn, which comes in the order of the list; changed() follows with Waiting, and from
    /// there whatever happens to it. A failure where it waits or is active already, where there is none, or another
    /// process is at work on it.
    void resume(qint64 id, const Callback &callback = {});
    /// Ends what waits or is active, in order: what is there of it is saved first. Answers when that has begun;
    /// changed() follows with Paused, or with Done where nothing was left to be done; what had not begun is as it was
    /// before it waited, so that it may have Failed. A failure where it does neither.
    void pause(qint64 id, const Callback &callback = {});
    /// Forgets a download; what is active is paused first. removed() follows and is the last of that number. @param
    /// withFile its file goes, too. Answers when it is gone. A failure where there is none, where another process is at
    /// work on it, or where the file cannot be deleted.
    void remove(qint64 id, bool withFile, const Callback &callback = {});
    /// As resume(), but what is there is discarded and fetched again. A finished file stays until the new one is whole
    /// and takes its place.
    void restart(qint64 id, const Callback &callback = {});
    /// The same, but with a checksum that was given, the new one is saved beside a finished file.
    void replace(qint64 id, const Callback &callback = {});
    /// Is content with the bytes that are there: they become the file. Answers when that has begun; changed() follows.
    /// A failure where they are not one piece from the start.
    void finishNow(qint64 id, const Callback &callback = {});
    /// Asks the server whether it still has the file; one after the other. Answers when it has said so, with a failure
    /// where it has another one, or nobody can tell, and a warning where nothing but the size speaks for it. changed()
    /// comes with Checking when it is asked, and follows with the state of before; nothing else changes. @param changes
    /// headers to be sent along; a failure while the download waits or is active, and where something else is begun
    /// with it meanwhile.
    void check(qint64 id, const OptionChanges &changes, const Callback &callback = {});
    /// Learns what an address holds without downloading it; answers with what was found. It is in no list, and no
    /// signal follows.
    void query(const DownloadRequest &request, const Callback &callback = {});
    /// Says what add() would do, and does nothing of it: answers with the row of the download that it would take, if
    /// there is one, and with what the server has. Of what is there already and would not be fetched again, its path is
    /// answered, and no server is asked.
    void plan(const DownloadRequest &request, const Callback &callback = {});
    /// Gives a download another address of the same file; changed() follows. The address is asked first, and one of a
    /// file of another size is refused. @param force without asking. A failure where the download waits, is active or
    /// is finished.
    void setUrl(qint64 id, const DownloadRequest &request, bool force, const Callback &callback = {});
    /// Puts a download at another place of the list, 0 being the first; those between move by one. Where it waits, it
    /// begins before those that wait and stand behind it. moved() follows. What lies beyond the end is the end. It
    /// lasts: the list keeps its order, for other programs and later engines, too.
    void move(qint64 id, qint64 position, const Callback &callback = {});
    /// From now on and in the list; changed() follows. A failure where another process is at work on it.
    void setLimits(qint64 id, const Limits &limits, const Callback &callback = {});
    /// Options of a download, for its next run; limits from now on. changed() follows. While it runs, headers that the
    /// list keeps are refused (CannotChange), and all that came with them. A failure where another process is at work
    /// on it.
    void setOptions(qint64 id, const OptionChanges &changes, const Callback &callback = {});
    /// pause() for all that waits or is active.
    void pauseAll(const Callback &callback = {});
    /// resume() for all that is not finished and nobody is at work on. Answers their numbers. A failure, and none of
    /// them begins, where the list cannot be read.
    void resumeAll(const Callback &callback = {});
    /// Of all downloads together, from now on; nothing is kept.
    void setGlobalLimits(const Limits &limits, const Callback &callback = {});
    /// So many are active at once, from now on; those that are stay so. 1 to 1000, and no more than the system lets
    /// this process have files and connections for. What rests until its owner's end has no place and is not counted.
    void setMostAtOnce(int count, const Callback &callback = {});

    /// Of what was added to be streamed: so many bytes from its beginning were read (Snapshot::stream says how many
    /// there are). The disk is given them back, and the download goes on where it was too far ahead. When it leaves the
    /// list, or the engine ends, nothing stays of it. A failure where it is not streamed, or not so much is there;
    /// changed() follows.
    void takeStream(qint64 id, qint64 bytes, const Callback &callback = {});

    /// Answers one snapshot, with its details. A failure where there is none.
    void snapshot(qint64 id, const Callback &callback = {});
    /// Answers a page of the list, and how many rows there are. Of what no longer is, or is not yet there, the page is
    /// empty.
    void snapshots(const SnapshotQuery &query, const Callback &callback = {});
    /// Answers all questions that are open.
    void questions(const Callback &callback = {});
    /// Answers what else there is to know for who comes late: totals, from where totalsChanged() goes on; limits of all
    /// together and how many are active at once, which no signal tells, so that who shows them asks again; and until
    /// when nothing runs because of the hours of the day. No network is brought up for it, and no signal follows. A
    /// failure before open(), and once the engine is being closed.
    void overview(const Callback &callback = {});
    /// One of the question's choices, or No, which every question takes: nobody will answer. answered() follows. A
    /// failure where it is no longer open.
    void answer(qint64 questionId, Question::Choice choice, const Callback &callback = {});

    /// Ends everything in order, then closed() follows. What was active is told of until it has ended; of what waited
    /// nothing more is said. Lookups that are under way are answered with a failure. Answers at once.
    void close(const Callback &callback = {});

    /// What all of the above do. The command's number is given here.
    void send(const EngineCommand &command, const Callback &callback);

Q_SIGNALS:
    /// Position is its place in the list; those from there on move by one. -1 = it cannot be read; listChanged() came
    /// before.
    void added(const Snapshot &snapshot, qint64 position);
    /// Where something is other than it was told: at once when that is the state, or another's work that a page has,
    /// else at most every kNewsIntervalMs. And behind commands that say so.
    void changed(const Snapshot &snapshot);
    /// The last of that number.
    void removed(qint64 id);
    void moved(qint64 id, qint64 position);
    void asked(const Question &question);
    /// By whomever, or nobody: it is no longer open.
    void answered(qint64 questionId);
    /// At most every kNewsIntervalMs.
    void totalsChanged(const Totals &totals);
    /// Something that a person should know and that ends nothing. Id 0 = of no download.
    void warned(qint64 id, const Warning &warning);
    /// Another program has changed rows of the list, their number or their order, or nobody can tell: whoever shows
    /// them takes the page again, and leaves alone what is told of rows before that comes. At most every
    /// kOthersIntervalMs, and before the next added() or moved().
    void listChanged();
    /// The last of all.
    void closed();
    /// Each of the above, and each answer, once more, before it is told: for who passes all of it on.
    void told(const EngineNews &news);

protected:
    /// Takes a command to where it is done, and returns at once.
    virtual void transmit(const EngineCommand &command) = 0;
    /// Tells news, from the event loop. An answer's command is known and has no other. Whoever hears of it may destroy
    /// the engine, which is then told of no more.
    void deliver(const EngineNews &news);
    /// Answers everything that is not answered yet, once nobody else will; likewise.
    void answerRest(const Failure &failure);

private:
    void emitSignal(const EngineNews &news);
    void answerCommand(const EngineAnswer &answer);

    QHash<quint64, Callback> m_open; ///< commands without an answer yet
    quint64 m_lastNumber = 0;
};
