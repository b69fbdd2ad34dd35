// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadrequest.h>
#include <host/engine/downloadstatus.h>
#include <host/engine/outbox.h>
#include <host/engine/queryresult.h>
#include <host/engine/sessionoptions.h>
#include <host/engine/unsavedleases.h>
#include <host/engine/writerthreads.h>
#include <host/network/smallfetch.h>
#include <host/policy/failure.h>
#include <host/policy/sources.h>
#include <host/storage/storethread.h>
#include <inet/qt/download/framework/downloaddetails.h>
#include <inet/qt/download/records/connectionsmap.h>

#include <QHash>
#include <QObject>
#include <QSet>
#include <QSharedPointer>

#include <functional>
#include <memory>
#include <optional>

class AbstractDownload;
class DownloadAccessChief;
class ModuleRegistry;
class NetworkAccessChief;
class QtAppSystemDefaultUserAgentManager;
class ResourceGuard;
class DownloadRun;
class DownloadStream;
class ChecksumSearch;
class FileTakeOver;
struct TakenFile;

/// The host as front ends see it: opens the list, has modules found, runs downloads and tells everything by signals.
///
///     new ── open() ──> open ── close() ──> closing (stops what runs) ──> writers ended ── closed() ──> closed
///
/// A download's run begins with start() or query() and ends with exactly one finished(). Operations that fail return
/// false or 0 and say why. Lives in the thread of the downloads; only the writers have some of their own.
class DownloadSession : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DownloadSession)

public:
    explicit DownloadSession(QObject *parent = nullptr);
    /// What still runs is cut off; what is on disk and in the list stays. See close().
    ~DownloadSession() override;

    /// Once; again only where it failed.
    bool open(const SessionOptions &options, Failure *failure);
    /// What a person should know of the opening though it succeeded.
    QList<Failure> warnings() const;

    /// Some module serves the URL. With the first that is asked for, the modules are looked for; what is found that is
    /// none is warned of.
    bool isServed(const QUrl &url, Failure *failure);
    /// The unfinished download of the same request, or a new one. It is this process's from now on. 0 = failed.
    /// @param line gets the one that the list has of it now
    /// @param isNew gets whether the list did not have it; both may be null
    /// @param taken a file that it begins with; null = none. Fails where that is not as it was compared any more, or
    /// findDone() has it by now
    qint64 add(const DownloadRequest &request, Failure *failure, ListEntry *line = nullptr, bool *isNew = nullptr,
               const TakenFile *taken = nullptr);
    /// One that has finished and is all that a request asks for.
    struct Done {
        qint64 id = 0;
        QString path; ///< of its file
        bool isToCompare = false; ///< with a checksum, before that can be said
    };
    /// The one of the same request that is active here; 0 = none is.
    qint64 findActive(const DownloadRequest &request) const;
    /// The unfinished one of the list that the same request would go on with; 0 = there is none.
    qint64 findUnfinished(const DownloadRequest &request);
    /// The finished one of the same request whose file is on the disk in its full length. Nothing where there is none,
    /// or an unfinished one beside it.
    std::optional<Done> findDone(const DownloadRequest &request);
    /// A file that lies where the request's would, that the list knows nothing of, and that the request would go on
    /// with; empty = there is none.
    QString fileToTakeOver(const DownloadRequest &request);
    /// Looks for the checksum of a finished file where its options say.
    ChecksumSearch *makeChecksumSearch(const AbstractDownloadPersistentInfo &record, const DownloadOptions &options,
                                       const SmallFetch::Patience &patience);
    /// Looks whether that file is the server's; a child of @p parent, which begins it.
    FileTakeOver *makeTakeOver(const DownloadRequest &request, const QString &path,
                               const SmallFetch::Patience &patience, QObject *parent);
    /// Goes on with a download of the list. What its file on disk cannot hold is fetched again.
    bool start(qint64 id, Failure *failure) { return start(id, Sources(), failure); }
    /// The same, from some of its addresses only.
    bool start(qint64 id, const Sources &sources, Failure *failure);
    /// Fetches all of it again; what was downloaded is discarded.
    bool restart(qint64 id, Failure *failure);
    /// Makes a finished download one to be fetched anew, whose file stays until the new one is whole and takes its
    /// place (ReplacedFile). One that was given a checksum is saved beside it, unless the old one is unwanted.
    bool beginReplacing(qint64 id, bool isUnwanted, Failure *failure);
    /// Is content with the bytes that are there: they become the file. False when they are not one piece from the
    /// start.
    bool finishNow(qint64 id, Failure *failure);
    /// Learns what a URL holds without downloading it: answered by queried(), if it succeeds, and finished(). Not put
    /// into the list; the id is below 0.
    qint64 query(const DownloadRequest &request, Failure *failure);
    /// Gives a download another address for the same file. What was downloaded stays; whether it still fits is checked
    /// against the server's answer when the download goes on. The address's login and headers are the request's; what
    /// was kept for another server is forgotten.
    bool setUrl(qint64 id, const DownloadRequest &request, Failure *failure);
    /// Changes the options of a download of the list, and takes the headers that are given for it. True without a
    /// change where there is no such download; false where the list cannot be read.
    bool renew(qint64 id, const OptionChanges &changes, Failure *failure);
    /// As add() of a request for a download that another process has: once hold() has it.
    void renewOnceHeld(qint64 id, const DownloadRequest &request) { m_renewals.insert(id, withoutSecrets(request)); }
    /// The same headers for a record that is only to be looked up; nothing is kept.
    void takeHeaders(AbstractDownloadPersistentInfo &record, OptionChanges &changes);
    /// Headers that a download of the list was begun with and that nobody knows now.
    QList<SecretHeader> missingHeaders(qint64 id);
    /// Forgets a download that does not run. Its file stays unless it is to go, too.
    bool remove(qint64 id, bool withFile, Failure *failure);
    /// The download stays this process's between its runs, until letGo(). False when it is another's.
    bool hold(qint64 id, Failure *failure);
    void letGo(qint64 id);
    /// The same for many that do not run.
    void letGo(const QList<qint64> &ids);
    /// Of one that is held, as its newest run, or else its claim, left it; null = it is not. Good until the next call
    /// of the session, and until the loop.
    const Lease *lease(qint64 id) const;
    /// Of one that was added to be streamed, from then until it leaves the list; null where it was not.
    std::shared_ptr<DownloadStream> stream(qint64 id) const { return m_streams.value(id); }
    /// What is known of the resource by now.
    ResourceMemory memoryOf(qint64 id) const;
    void stop(qint64 id);
    void stopAll();
    /// No download runs.
    bool isIdle() const { return m_running.isEmpty(); }

    /// Of a running download; a default-made one when it does not run.
    AbstractDownloadPersistentInfo info(qint64 id) const;
    DownloadStatus status(qint64 id) const;
    /// As the list has it; nothing when there is none.
    std::optional<AbstractDownloadPersistentInfo> record(qint64 id);
    /// The one that the next run of a download begins with; without a host when the list has no such download.
    QtHostAndPort serverOf(qint64 id);
    /// Behind a record() that gave nothing.
    Failure whyNoRecord(qint64 id) const;
    /// Of the list's newest operation; for one that failed.
    Failure listFailure() const { return m_list.lastFailure(); }
    DownloadOptions options(qint64 id);
    bool setOptions(qint64 id, const DownloadOptions &options, Failure *failure);
    /// The same for some of them, in one step. False where another process is at work on the download. @param how
    /// changes them, in another thread
    bool changeOptions(qint64 id, const std::function<void(DownloadOptions &)> &how, Failure *failure);
    /// The same of its checksum. What the list does not take now it is given later.
    bool changeChecksum(qint64 id, const std::function<void(DownloadOptions &)> &how, Failure *failure);
    /// See DownloadStore::setDigestResult(). What the list does not take now it is given later.
    bool setDigestResult(qint64 id, ChecksumResult result, Failure *failure);
    DownloadStore &list() { return m_list; }
    /// Limits of a running download, from now on.
    void setUsage(qint64 id, const NetworkUsageSettings &usage);
    /// Those that all downloads of this process have now; the same of one of them, and to a server.
    int connections() const;
    int connectionsOf(qint64 id) const;
    int connectionsTo(const QtHostAndPort &server) const;
    /// How a running download has used the network up to now.
    DownloadDetails details(qint64 id) const;
    /// Of all downloads together.
    const NetworkUsageSettings &usageOfAll() const { return m_options.allTogether; }
    /// From now on.
    void setUsageOfAll(const NetworkUsageSettings &usage);
    /// Those that the list has for it, or else the session's.
    NetworkUsageSettings usageOf(const DownloadOptions &options) const;
    /// A download for work beside those that run; a child of @p parent. Null where no module serves the record's
    /// address.
    /// @param guard of its requests
    AbstractDownload *createDownload(const AbstractDownloadPersistentInfo &record,
                                     const std::shared_ptr<ResourceGuard> &guard, QObject *parent);
    /// Gives such a one what it needs to reach the servers of the record.
    void prepare(AbstractDownload &download, const AbstractDownloadPersistentInfo &record,
                 const DownloadOptions &options);
    /// The answer to fileExistsActionRequired().
    void fileExistsAction(qint64 id, int fileIndex, AbstractDownloadFileExistsAction action);

    /// Stops everything in order; answered by closed().
    void close();

Q_SIGNALS:
    void progressChanged(qint64 id, qint64 done, qint64 total);
    void changed(qint64 id);
    void gotResponseHeaders(qint64 id, qint64 sectionId, const QList<QString> &headers);
    void sendingRequestHeaders(qint64 id, qint64 sectionId, const QList<QString> &headers);
    void fileExistsActionRequired(qint64 id, int fileIndex, const QList<QString> &existingPaths);
    void performingFilesOperations(qint64 id, bool performing);
    void stopping(qint64 id);
    /// Somebody else has the download now, or the list does not take back what the run is about to undo: finished()
    /// follows.
    void cannotGoOn(qint64 id, const Failure &why);
    /// Something that a person should know and that does not end the download.
    void warned(qint64 id, const Failure &what);
    void queried(qint64 id, const QueryResult &result);
    /// The run is over, and the record saved. @param info its last error is the run's; finished without an error means
    /// that every byte is on disk under the final name @param responseHeaders lines of the newest answer
    void finished(qint64 id, const AbstractDownloadPersistentInfo &info, const DownloadDetails &details,
                  const QList<QString> &responseHeaders);
    void closed();

private:
    struct Entering;

    void prepareModules();
    DownloadRequest withoutSecrets(const DownloadRequest &request);
    QList<SecretHeader> takeHeaders(const QUrl &url, const QVariantMap &own, const QVariantMap &forAll,
                                    QVariantMap *harmless);
    void remember(const QList<SecretHeader> &headers);
    static void addHarmless(const QVariantMap &headers, AbstractDownloadPersistentInfo &record);
    static void forgetSecretsOf(const QUrl &before, const QUrl &after, DownloadOptions &options);
    void trustServers(const AbstractDownloadPersistentInfo &record, const DownloadOptions &options);
    bool enter(DownloadStore &list, Entering &entering);
    void noteEntered(const Lease &lease);
    qint64 claimFound(DownloadStore &list, const DownloadRequest &request, Failure *failure);
    AbstractDownload *createDownload(const AbstractDownloadPersistentInfo &record,
                                     const QSharedPointer<DownloadAccessChief> &chief, QObject *parent);
    void warnOfTheSame(const AbstractDownloadPersistentInfo &record,
                       const QList<AbstractDownloadPersistentInfo> &candidates);
    QSharedPointer<QNetworkAccessManager> managerFor(const DownloadOptions &options) const;
    bool trustsAll(const DownloadOptions &options) const;
    QList<SmallFetch::Field> fieldsOf(const AbstractDownloadPersistentInfo &record) const;
    std::optional<Done> findDone(DownloadStore &list, const DownloadRequest &request) const;
    bool isStillFree(DownloadStore &list, const DownloadRequest &request, const TakenFile &file,
                     Failure *failure) const;
    static bool makeIncomplete(const TakenFile &file, Failure *failure);
    static void planEmpty(const DownloadRequest &request, AbstractDownloadPersistentInfo &record);
    static bool keepTaken(DownloadStore &list, Lease &added, const TakenFile &file);
    std::shared_ptr<DownloadStream> makeStream(DownloadRequest &request, Failure *failure);
    bool prepareStream(Lease &lease, Failure *failure) const;
    bool mayBegin(qint64 id, Failure *failure) const;
    bool takeLease(qint64 id, Lease &lease, Failure *failure);
    bool renewOptions(qint64 id, const OptionChanges &changes, Failure *failure);
    bool renewHeld(Lease &lease, Failure *failure);
    bool isTaken(qint64 id, DownloadStore::Claim claim, const DownloadStore::Owner &owner, Failure *failure);
    void releaseClaim(qint64 id);
    qint64 fenceOf(qint64 id) const;
    void releaseRest();

    std::optional<Lease> claimToRun(qint64 id, Failure *failure);
    Failure lostBetweenRuns(const Lease &held);
    void leaveClaim(qint64 id, const Failure &why);
    bool updateUnder(const Lease &lease);
    bool updateUnder(const Lease &lease, const DownloadOptions &before);
    bool checkAgainstDisk(Lease &lease);
    bool fetchAgainIfGone(Lease &lease);
    void findFile(const AbstractDownloadPersistentInfo &record, const FileIdentity &file) const;
    Failure leaveDisk(const Lease &lease, bool withFile);
    void run(const Lease &lease, DownloadStore *list, AbstractDownloadCommand command, const Sources &sources = {});
    bool change(qint64 id, const std::function<Failure(Lease &)> &how, Failure *failure);
    /// Length of the file that the record names; -1 when it is not there. A link is none of ours, nor is a file that is
    /// known to be another than the one that was made.
    static qint64 lengthOnDisk(const AbstractDownloadPersistentInfo &record, const FileIdentity &known);
    /// "Finished" is said to nobody while the disk says otherwise.
    static void checkWhole(AbstractDownloadPersistentInfo &info, const FileIdentity &file);
    static Failure deleteFiles(const AbstractDownloadPersistentInfo &record, const FileIdentity &known);
    bool keepThatItIsEarly(Lease &lease);
    static ResourceMemory memoryOf(const Lease &lease);
    void relaySignals(DownloadRun *download);
    void onFileInTheWay(const DownloadRun &download, int fileIndex, const QList<QString> &paths);
    void warnOfSave(qint64 id, const Failure &what);
    void lookAfterClaims();
    void onFinished(DownloadRun *download);
    void endWriters();

    SessionOptions m_options;
    StoreThread m_list;
    UnsavedLeases m_unsaved; ///< of runs that are over
    QSharedPointer<NetworkAccessChief> m_chief;
    const QSharedPointer<QtAppSystemDefaultUserAgentManager> m_userAgentManager;
    ModuleRegistry *m_modules = nullptr; ///< a child, once it is open
    QHash<qint64, DownloadRun *> m_running; ///< children
    QHash<qint64, std::shared_ptr<DownloadStream>> m_streams; ///< of those that are streamed
    QSet<qint64> m_claimed;
    QHash<qint64, Lease> m_held; ///< of m_claimed; those that stay so between runs
    QHash<qint64, QtHostAndPort> m_servers; ///< of m_claimed; those that were added here and not held yet
    QHash<qint64, DownloadRequest> m_renewals; ///< of those that are to be held
    qint64 m_lastQueryId = 0;
    qint64 m_openedAt = 0; ///< nanoseconds since 1970
    bool m_isListBehind = false; ///< and people know
    bool m_closing = false;
    Outbox m_outbox; ///< of what comes at the end of a run
    WriterThreads m_writers; ///< ends before all that is above
};
