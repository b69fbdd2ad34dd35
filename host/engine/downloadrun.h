// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadstatus.h>
#include <host/engine/outbox.h>
#include <host/policy/failure.h>
#include <host/policy/sources.h>
#include <host/storage/downloadstore.h>
#include <host/storage/filesyncer.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/downloaddetails.h>
#include <inet/qt/download/framework/statetable.h>

#include <QHash>
#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

class ClaimFence;
class DownloadAccessChief;
class ResourceGuard;

/// One download while a session runs it: keeps the list in step with it and tells when its run is over.
///
///     New ── run() ──> Running ── running(false) ──> Ending (the last save) ──> Ended ── finished()
///
///     a save:  snapshot of the record ──> the disk takes the file's bytes ──> the snapshot goes into the list ──>
///     saved
///
/// Owns the download. The list never says of a byte that it is there before the disk has it: what a snapshot counts was
/// written before. The record is saved at once when it changed significantly, else at most every kSaveIntervalMs (the
/// first times sooner, so that a process that is killed early has not fetched in vain) and, where syncing is slow, in a
/// sixth of the time; and always at the end. While one save is under way all others wait
/// and become one, or part of that save where they say nothing else of the file.
/// What is there of the file came in one Content-Encoding, and what comes in another is no rest of it: such an answer
/// ends the run as one from a server that has another file by now. After a sync that failed nothing that was written in
/// this run is counted: the system forgets such a failure once it was told, so that no later success means anything.
/// Where somebody else has claimed the download since, neither the list nor the file takes anything of this run any
/// more: it is stopped. So it is where the list does not take back what it says of bytes: whoever came after a crash
/// would believe that. A restart then does not begin, and the file stays as it is.
class DownloadRun : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DownloadRun)

public:
    static constexpr int kSaveIntervalMs = 1000;
    /// Of the first one; doubled with each sync, up to that.
    static constexpr int kFirstSaveMs = 250;
    /// Between two saves of progress, as a multiple of what the last sync took.
    static constexpr int kRestFactor = 5;

    enum class Life {
        New,
        Running,
        Ending, ///< its last save is under way
        Ended,
    };

    /// Which of them may follow which.
    static const StateTable<Life> &states();

    /// @param download ready to run; becomes a child @param list null = the record is not kept @param syncer becomes a
    /// child; null = a FileSyncer
    DownloadRun(AbstractDownload *download, DownloadStore *list, QObject *parent, FileSyncer *syncer = nullptr);
    ~DownloadRun() override;

    /// The download's own; before setUsage(). Null = it has none.
    void setChief(const QSharedPointer<DownloadAccessChief> &chief) { m_chief = chief; }

    /// Limits from now on.
    void setUsage(const NetworkUsageSettings &usage);

    /// The addresses of which the download has some only; before run(). The list keeps all of them.
    void setSources(const Sources &sources) { m_sources = sources; }

    /// The one of the download's access chief; before run(). What it refuses ends the run as a changed resource.
    void setGuard(const std::shared_ptr<ResourceGuard> &guard);

    /// Of the claim under which it runs; before run(). Asked before anything is done to the file. None = the file
    /// cannot be lost to anybody.
    void setFence(const std::shared_ptr<ClaimFence> &fence) { m_fence = fence; }

    /// Before run(). False = nobody wants the file once this process has ended: the disk need not have what the list
    /// says, and no room of it is taken ahead.
    void setLasting(bool lasting) { m_isLasting = lasting; }

    /// Tells which proxy stands between here and a URL; before run().
    void setProxies(const std::function<QUrl(const QUrl &)> &proxyFor) { m_proxyFor = proxyFor; }

    /// Tells whose password a URL's server gets where it asks for one, empty = nobody's; before run().
    void setUsers(const std::function<QString(const QUrl &)> &userFor) { m_userFor = userFor; }

    qint64 id() const;
    AbstractDownload *download() const { return m_download; }
    AbstractDownloadPersistentInfo info() const;
    /// What it was given, as the run has left it. Its record is what the disk has taken, and so the list, unless that
    /// failed: after a sync that failed, less than info() says.
    Lease lease() const;
    /// The list has not taken what it was given last.
    bool isListBehind() const { return m_refused.has_value(); }
    /// What that was; nothing where it has taken it, or the download is another's.
    std::optional<AbstractDownloadPersistentInfo> unsaved() const;
    /// What is known of the bytes beside the record, as the list is to have it.
    DownloadStore::Holdings holdings() const;
    DownloadStatus status() const;
    DownloadDetails details() const;
    /// The requests and answers that the download tells of just now were never sent.
    bool isTellingMadeUp() const;
    /// Lines of the newest answer.
    QList<QString> responseHeaders() const { return m_responseHeaders; }

    /// Once. Always answered by finished(), never from inside the call. @param lease no other file is taken for the one
    /// that it knows; the list is written under its number
    void run(AbstractDownloadCommand command, const Lease &lease = {});
    void stop();
    /// Looks whether the download is still this process's; where it is not, as cannotGoOn() says.
    void lookAfterClaim();
    /// Is content with what is there; for what FinishNow does not refuse.
    void finishNow();

Q_SIGNALS:
    void saveFailed(const Failure &failure);
    /// It is being stopped, or does not begin: somebody else has claimed the download, and nothing more of it is saved;
    /// or the list does not take back what it says of the file.
    void cannotGoOn(const Failure &why);
    void finished();

private:
    /// What is to be saved behind the save that is under way, or by the timer.
    enum class Pending {
        Nothing,
        Soon,
        AtOnce,
    };

    static bool hasFileOnDisk(const AbstractDownloadPersistentInfo &info);
    static bool hasBytesOnDisk(const AbstractDownloadPersistentInfo &info);
    static bool hasOtherName(const AbstractDownloadPersistentInfo &newer, const AbstractDownloadPersistentInfo &older);
    static bool takesBack(const AbstractDownloadPersistentInfo &newer, const AbstractDownloadPersistentInfo &older);
    void transition(Life to);
    void onChanged(bool significantly);
    void onRunning(bool isRunning);
    void onFilesOperations(bool performing);
    void onChange(const QString &reason);
    void guard(const QString &path);
    QList<FileIdentity> othersFiles(const AbstractDownloadPersistentInfo &record) const;
    void setMaking(const QString &path, const QList<FileIdentity> &others);
    void unguard();
    void loseClaim(const Failure &who);
    void giveUp(const Failure &why);
    void tellSaveFailed(const Failure &failure);
    void onResponseHeaders(qint64 sectionId, const QList<QString> &headers);
    std::string whoRefused(const AbstractDownloadPersistentInfo &record) const;
    bool isWithoutBytes() const;
    void leaveSpaceUntaken();
    bool forgetBytes();
    void forgetThatItIsEarly();
    void save();
    void saveSoon();
    bool mustBeSaidAtOnce(const AbstractDownloadPersistentInfo &record) const;
    void begin(const AbstractDownloadPersistentInfo &snapshot);
    bool claimsNewBytes(const AbstractDownloadPersistentInfo &snapshot) const;
    void onSynced(const FileSyncer::Outcome &outcome);
    void bringUpToDate(AbstractDownloadPersistentInfo &snapshot);
    void onSyncFailed(const AbstractDownloadPersistentInfo &snapshot, int error);
    bool isSaving() const { return m_syncing || m_writing; }
    bool takesBackFromList(const AbstractDownloadPersistentInfo &record) const;
    AbstractDownloadPersistentInfo whatMayBeSaid(const AbstractDownloadPersistentInfo &snapshot);
    void commit(const AbstractDownloadPersistentInfo &snapshot);
    void write(const AbstractDownloadPersistentInfo &record);
    bool writeAtOnce(const AbstractDownloadPersistentInfo &record);
    void onWritten(quint64 number, const AbstractDownloadPersistentInfo &record,
                   const std::optional<ResourceMemory> &memory, const Failure &failure);
    void afterSave();
    void end();
    void tellFinished();

    AbstractDownload *const m_download;
    DownloadStore *const m_list;
    FileSyncer *const m_syncer;
    Lease m_lease; ///< as it was given; its memory is what the list has
    AbstractDownloadPersistentInfo m_saved; ///< what the list says
    FileIdentity m_file; ///< of the incomplete file, once it is about to be made
    std::optional<AbstractDownloadPersistentInfo> m_syncing; ///< the snapshot of the save that is under way
    std::optional<AbstractDownloadPersistentInfo> m_writing; ///< what the list was given, and has not answered yet
    std::optional<AbstractDownloadPersistentInfo> m_refused; ///< what the list did not take, and nothing since
    bool m_isAsking = false; ///< inside of the call that gives it one
    quint64 m_writes = 0; ///< that were begun
    quint64 m_written = 0; ///< the last of which m_saved is
    Pending m_pending = Pending::Nothing; ///< since that began
    bool m_syncFailed = false;
    bool m_isClaimLost = false;
    bool m_isGivenUp = false; ///< and everybody was told
    int m_leastRestMs = kFirstSaveMs; ///< between two saves of progress
    QTimer m_saveTimer;
    QList<QString> m_responseHeaders;
    std::function<QUrl(const QUrl &)> m_proxyFor;
    std::function<QString(const QUrl &)> m_userFor;
    QSharedPointer<DownloadAccessChief> m_chief;
    std::shared_ptr<ClaimFence> m_fence; ///< null = there is none
    QHash<QString, quint64> m_guarded; ///< permissions that its files need, by their paths
    QString m_making; ///< the path of one that is to be made; empty = there is none
    std::shared_ptr<ResourceGuard> m_guard; ///< null = everything is welcome
    std::optional<ResourceMemory> m_savedMemory; ///< what the list has of the guard's; nothing = another
    QString m_contentEncoding; ///< of what is there or comes; null = nobody has said yet
    QString m_change; ///< why an answer brought another file; empty = none did
    Sources m_sources; ///< none = the download has all
    bool m_isLasting = true;
    Life m_life = Life::New;
    Outbox m_outbox; ///< of all that it signals
};
