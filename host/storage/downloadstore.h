// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>
#include <host/storage/lease.h>
#include <host/storage/processidentity.h>
#include <host/storage/rowplaces.h>

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

class QObject;

/// What the engine needs of its list of downloads, wherever that is kept.
///
/// Every operation happens altogether or not at all. A download that runs is owned by the process that runs it; an
/// owner that has died counts as none. Operations that fail return nothing, false or 0 and leave a reason in
/// lastFailure(). Used in the thread that opened it.
class DownloadStore
{
    Q_DISABLE_COPY_MOVE(DownloadStore)

public:
    using Record = AbstractDownloadPersistentInfo;

    /// Answers to claim().
    enum class Claim {
        Taken, ///< this process owns the download now
        OwnedByOther, ///< another living process does
        Failed, ///< no such download, or the store failed
    };

    /// Who has what could not be claimed.
    struct Owner {
        ProcessIdentity process;
        int secondsLeft = 0; ///< see Owners::isAlive()
    };

    /// What is known of a download's bytes beside its record.
    struct Holdings {
        FileIdentity file; ///< of the incomplete file; unknown = as before
        QString contentEncoding; ///< as which they came; null = as before
        std::optional<ResourceMemory> memory; ///< of where they came from; nothing = as before
        /// Nothing is written where the download was claimed anew since that one, or removed, and the failure is
        /// OwnedByOther, with the number of who owns it now, or 0; a fence of 0 = always.
        qint64 fence = 0;
    };

    /// How long a change lasts. Either way it outlives this process where the store is kept, and a download is never
    /// half changed.
    enum class Lasting {
        ThisRunOfTheMachine, ///< a loss of power may take the last of them back
        Always, ///< written through to the disk: what must be true before something else is done to the disk
    };

    /// @param failure why it failed; none = it did not
    using Saved = std::function<void(const Failure &failure)>;
    /// @param store to be used for it, and in no other call
    using Work = std::function<bool(DownloadStore &store)>;

    DownloadStore() = default;
    virtual ~DownloadStore() = default;

    /// Of its file; empty = it is kept nowhere.
    virtual QString path() const = 0;
    /// Why the last operation failed; its subject is the list. None = it did not fail.
    virtual Failure lastFailure() const = 0;
    /// That the store is not what a person may expect, as when a damaged one was set aside; none = there is nothing to
    /// tell.
    virtual Failure warning() const = 0;

    /// Several operations as one: all of them happen, or none where the work answers false or one of them fails. What
    /// it answers, or false. @param lasting of all of them, whatever each asks for
    virtual bool together(const Work &work, Lasting lasting) = 0;
    bool together(const Work &work) { return together(work, Lasting::ThisRunOfTheMachine); }

    /// Puts a new record in, behind all others, and gives it its id, larger than all before, and its place
    /// (sortIndex); 0 = failed.
    virtual qint64 insert(Record &record) = 0;
    /// The same for a download that is to run: with its options, and owned by this process.
    virtual qint64 insertOwned(Record &record, const DownloadOptions &options) = 0;
    /// Replaces the record of the same id. Its place stays: only move() changes that.
    virtual bool update(const Record &record, const Holdings &holdings, Lasting lasting) = 0;
    bool update(const Record &record, Lasting lasting = Lasting::Always) { return update(record, {}, lasting); }
    /// update() for this run of the machine, which may take its time. Calls that come later see it. @param saved called
    /// once, in this thread, perhaps from inside; not at all when the context has gone by then
    virtual void save(const Record &record, const Holdings &holdings, QObject *context, const Saved &saved);
    /// Of the incomplete file at the last update that said it; unknown = there was none.
    virtual FileIdentity fileIdentity(qint64 id) = 0;
    /// As which the file came, see ContentEncoding; empty = as it is.
    virtual QString contentEncoding(qint64 id) = 0;
    /// Empty where nothing was kept, and, with a failure, when reading fails.
    virtual ResourceMemory memory(qint64 id) = 0;
    /// How the finished file compares with the digest that its server names, beside what proves it.
    /// @param fence as that of Holdings
    virtual bool setDigestResult(qint64 id, ChecksumResult result, qint64 fence = 0) = 0;
    /// Nothing, without an error, when there is none of that id.
    virtual std::optional<Record> load(qint64 id) = 0;
    /// By id.
    virtual QList<Record> loadUnfinished() = 0;
    /// Those that the same request would go on with, newest first.
    /// @param outputName as it was asked for by name; empty = the name was left to the server
    virtual QList<Record> findUnfinished(const QUrl &url, const QString &folder, const QString &outputName) = 0;
    /// Those that are finished and of the same request, newest first. What the server named is found by that name, too.
    /// @param limit most
    virtual QList<Record> findFinished(const QUrl &url, const QString &folder, const QString &outputName,
                                       int limit) = 0;
    /// Those with this address, newest first. @param limit most
    virtual QList<Record> findByUrl(const QUrl &url, int limit) = 0;
    /// Whether an unfinished one, but for that number, has a file of that path below that folder.
    virtual bool isBegun(const QString &folder, const QString &pathOnDisk, qint64 butId) = 0;
    /// All records, by id.
    virtual QList<Record> list() = 0;
    /// What a line of the list shows, newest first. @param limit most lines at once @param before only downloads that
    /// are older than the one of that id: the last of the page before; 0 = from the newest
    virtual QList<ListEntry> page(ListFilter filter, int limit, qint64 before = 0) = 0;
    /// A page by its position: what lies beyond the end is not there. @param first so many are passed over @param limit
    /// most lines
    virtual QList<ListEntry> page(ListFilter filter, ListOrder order, qint64 first, int limit) = 0;
    /// Puts a download at another place of the list, 0 being the first; what lies beyond the end is the end. It lasts,
    /// whoever works on the download. @param places gets the new places, its own first, behind it those of rows that
    /// had to make room and stand where they stood. Answers the place that it got; -1 = failed.
    virtual qint64 move(qint64 id, qint64 position, QList<RowPlace> *places = nullptr) = 0;
    /// -1 = failed. @param othersChanges gets a number that is another one as soon as somebody else has changed the
    /// list; 0 = nobody else can
    virtual qint64 count(ListFilter filter, qint64 *othersChanges = nullptr) = 0;
    /// That number, which may take its time. @param told called once, in this thread, perhaps from inside; not at all
    /// when the context has gone by then
    virtual void askOthersChanges(QObject *context, const std::function<void(qint64)> &told);

    /// The defaults when none were set, and, with a failure, when reading fails.
    virtual DownloadOptions options(qint64 id) = 0;
    /// Without storeSecrets user and password are forgotten.
    /// @param fence as that of Holdings
    virtual bool setOptions(qint64 id, const DownloadOptions &options, qint64 fence = 0) = 0;

    /// Forgets a download. Its files stay. @param fence as that of Holdings
    virtual bool remove(qint64 id, qint64 fence = 0) = 0;

    /// Makes this process the owner of a download. @param owner gets who owns it, on OwnedByOther
    virtual Claim claim(qint64 id, Owner *owner = nullptr) = 0;
    /// The same, and reads it at that moment. @param lease gets it, on Taken
    virtual Claim claim(qint64 id, Lease &lease, Owner *owner = nullptr) = 0;
    /// Gives up what claim() took; somebody else's download is left alone.
    virtual bool release(qint64 id) = 0;
    /// The same for many, which may take its time. Calls that come later see it; where it fails, their owner's end
    /// gives them up.
    virtual void releaseSoon(const QList<qint64> &ids);
    /// So long an operation waits, from now on, for somebody else who has the store to himself; -1 = as long as at
    /// first.
    virtual void setWait(int) {}
    /// To be called every Owners::kRenewMs: else other machines take this process for dead. False = it did not work.
    virtual bool renewClaims() { return true; }
    /// Who has claimed a download since it was under that number, or removed it: the failure of what is written under
    /// it. None = nobody has, or nobody can tell.
    virtual Failure lostTo(qint64 id, qint64 fence) = 0;
};
