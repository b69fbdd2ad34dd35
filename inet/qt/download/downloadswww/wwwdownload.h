// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/downloadswww/recordkeeper.h>
#include <inet/qt/download/downloadswww/sectionplan.h>
#include <inet/qt/download/downloadswww/wwwdownloader.h>
#include <inet/qt/download/downloadswww/wwwdownloadsection.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/abstractdownloadfileops.h>
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/framework/abstractnetworkconsumerswithextrataskspack.h>
#include <inet/qt/download/framework/deferredpointer.h>
#include <inet/qt/download/framework/downloaddetails.h>
#include <inet/qt/download/framework/qtappsystemdefaultuseragentmanager.h>
#include <inet/qt/download/framework/statetable.h>
#include <inet/qt/download/sources/downloadmirrorsusagemanager.h>

#include <QSharedPointer>
#include <QTimer>
#include <QWeakPointer>

/// The controller of one download: starts, stops and finishes it, divides its file into sections, keeps its record.
///
///     idle ── start() ──> running ── last byte ──> final file operations ──> finished ──┐
///      ^                    │  ^                                                        │
///      │                    │  └── some section still wanted                             │ stop(no error)
///      │               stop(), error                                                    v
///      └───────────────────────────── stopping: waits for file operations and sections <┘
///
/// A command to finish now goes through stopping into the final file operations. What the sections are to be, a
/// SectionPlan decides; what of them and of given records is kept, a RecordKeeper. Receivers may stop it, start it
/// again or delete it later from any of its signals. A record never holds an error while its download still runs: the
/// error is written when stopping ends.
///
/// Owned by the host; it, its sections and their transfers live in one thread. Writers and file operations live in the
/// writers' thread.
class WwwDownload : public AbstractDownload
{
    Q_OBJECT

public:
    static constexpr char kModuleId[] = "downloadswww";
    static constexpr int kProgressIntervalMs = 1000;
    static constexpr int kLogLevel = 1;
    static constexpr int kSectionLogLevel = 4;
    /// One line for each change of where a run stands.
    static constexpr int kStateLogLevel = 5;

    /// Where a run stands: those of the state's bits that tell.
    enum class RunState : quint32 {
        Idle = 0,
        Running = 0x001,
        FinalFileOps = 0x011,
        Stopping = 0x003,
        StoppingFileOps = 0x013, ///< the final file operations are waited for
        FinishingNow = 0x043,
        FinishingFileOps = 0x053,
    };
    static const StateTable<RunState> &states();

    WwwDownload(qint64 id, QSharedPointer<AbstractNetworkAccessChief> chief,
                QWeakPointer<QtAppSystemDefaultUserAgentManager> userAgentManager, QObject *parent);
    ~WwwDownload() override;

    void setNetworkSettings(const AbstractNetworkConsumerSettings &settings) override;
    AbstractNetworkConsumerSettings networkSettings() const override;
    void setNetworkUsageSettings(const NetworkUsageSettings &settings) override;
    NetworkUsageSettings networkUsageSettings() const override;
    QtConnectionsMap connectionsMap() const override;
    qint64 speed(NetworkTrafficDirection direction, bool payloadOnly) const override;
    /// The record's: the download's own gets there when stopping ends.
    AbstractError lastError() const override;
    QList<QSslError> lastSslErrors() const override;
    QDateTime lastErrorTime() const override;
    void clearLastError() override;
    bool isRunning() const override;

    void doCommand(AbstractDownloadCommand command) override;
    void fileExistsAction(int fileIndex, AbstractDownloadFileExistsAction action) override;
    AbstractDownloadPersistentInfo info() const override;
    bool setInfo(const AbstractDownloadPersistentInfo &info) override;
    bool updateInfoFields(const AbstractDownloadPersistentInfo &info, qint64 fields, BitFlagsUpdateMode mode) override;
    QSet<int> supportedDestinations() const override;
    bool supportsWriteOffset() const override;
    bool setWritersThread(QThread *thread) override;
    void setSettings(const AbstractDownloadSettings &settings) override;
    AbstractDownloadSettings settings() const override;
    int currentTasks() const override;
    QMap<int, Progress> tasksProgress() const override;
    CompareDownloadsResult compareDownloads(const AbstractDownloadPersistentInfo &other) const override;
    bool acquireDownloadsMergeOptions(const AbstractDownloadPersistentInfo &other,
                                      AbstractDownloadMergeOptions &thisOptions,
                                      AbstractDownloadMergeOptions &otherOptions) override;
    bool mergeIntoThisDownload(const AbstractDownloadPersistentInfo &other,
                               const AbstractDownloadMergeOptions &options) override;
    bool mergeIntoOtherDownload(AbstractDownloadPersistentInfo &other,
                                const AbstractDownloadMergeOptions &options) override;
    bool isQueryingInfo() const override;
    bool isStopping() const override;
    bool isFinalizing() const override;
    /// DownloadDetails.
    QVariant details() const override;
    /// Null before setInfo().
    AbstractDownloadPersistentInfo *rwInfo() override;

    bool queryMode() const;
    /// Sum over the sections, the one in creation left out.
    qint64 bytesDownloaded() const;
    bool isSameContent(const AbstractDownloadPersistentInfo &other) const;
    void start(AbstractDownloadCommand command);
    void stop(const AbstractError &error);

    /// In the order of the pack.
    QList<QSharedPointer<WwwDownloadSection>> sections(bool includeCreating) const;
    /// By offset; the one in creation last.
    QList<QSharedPointer<WwwDownloadSection>> sortedSections(bool includeCreating) const;
    /// Null when there is none.
    QSharedPointer<WwwDownloadSection> section(qint64 id) const;
    QSharedPointer<WwwDownloadSection> creatingSection() const;
    int runningSectionCount() const;
    /// Where its sections take their sources from.
    const DownloadMirrorsUsageManager &mirrors() const { return *m_mirrors; }
    /// Record from live sections, or live sections from the record.
    bool serializeSections(bool toRecord);

    SectionScheduling::CreateVerdict mayCreateSection() const;
    /// -1 below every limit, 0 exactly at one, 1 over one.
    int checkConnectionsLimit(bool *capHit) const;

Q_SIGNALS:
    void fileCreated();

private Q_SLOTS:
    void onSectionsRunning(bool isRunning);
    void onSectionItemRunning(qint64 id, bool isRunning);
    void updateProgress();

    void onSectionWaitingFileCreate();
    void onPersistentInfoChanged();
    void onSectionFilePreallocating(qint64 size);
    void onSectionFilePreallocated();
    void onGlobalConnectionsChanged();

    void onPerformInitializeOpsFinished(const QString &folder,
                                        const QList<AbstractDownloadFileOps::FileInitializeOperation> &operations,
                                        int done, const AbstractError &error);
    void onFileExistsActionRequired(int fileIndex, const QList<QString> &existingPaths);

    void onCircDownloaderGotHeaders();
    void onCircDownloaderRunning(bool isRunning);

private:
    using SectionPointer = QSharedPointer<WwwDownloadSection>;

    enum StateBit : quint32 {
        Running = 0x001,
        Stopping = 0x002,
        InitialFileOps = 0x008,
        FinalFileOps = 0x010,
        FinishNowRequested = 0x020,
        FinishingNow = 0x040,
    };

    static constexpr quint32 kRunStateBits = Running | Stopping | FinalFileOps | FinishingNow;

    bool hasState(StateBit bit) const { return (m_state & bit) != 0; }
    void setState(StateBit bit, bool on) { m_state = on ? m_state | bit : m_state & ~quint32(bit); }
    bool hasFile() const { return m_record.hasFile(); }
    AbstractDownloadFileInfo &firstFile() const { return m_record.firstFile(); }
    void log(const QString &text, int level = kLogLevel) const;

    RunState runState() const { return RunState(m_state & kRunStateBits); }
    RunState runStateWith(StateBit bit) const { return RunState(quint32(runState()) | bit); }
    RunState runStateWithout(StateBit bit) const { return RunState(quint32(runState()) & ~quint32(bit)); }
    void transition(RunState to);
    void setRunning(bool on);
    void logState() const;
    void setFinished(bool finished);
    void beginRun(AbstractDownloadCommand command);
    void endUnsupported();
    void carryOut(AbstractDownloadCommand command);
    void startAgain();
    void startQuery();
    void startDownload();
    void endWithoutSection();
    bool discardFirstFile();
    bool removeFirstFile();
    void continueToStop();
    void finishWithWhatIsThere();
    void rememberError(const AbstractError &error);
    void writeErrorToRecord();
    void onSectionsFinishedDownloading();
    void onPostDownloadJobFinished();
    void lookAgainOnceRemoved();
    void continueOrEnd();
    void setupTimer();
    void releaseTimer();
    void onSectionFailed(const SectionPointer &section, const AbstractError &error);
    void onSectionFinished(const SectionPointer &section);

    static bool isUnsupported() { return false; }
    SectionPlan::Sections plannedSections() const;
    SectionPlan::Situation planSituation() const;
    SectionPointer createNewSection();
    SectionPointer createSectionInstance(const AbstractDownloadSection &range, bool resourceCheck);
    void connectSection(const SectionPointer &section);
    bool isAllocating() const;
    SectionScheduling::ConnectionVerdict connectionsVerdict() const;
    bool startExtraSection();
    void noteConnections();
    void noteBound(ConnectionsBound bound);
    void startExtraSectionIfPossible();
    void onSectionGotOkResponse(qint64 id);
    bool confirmCreatingSection(const SectionPointer &section);
    void markSectionAsCreated(const SectionPointer &section);
    void onSectionTimedOut(qint64 id);
    void removeCreatingSection(bool takeError, const QString &reason);
    void removeAllSections();
    void compactFinishedSections();

    void onInfoChanged(bool sourceChanged, bool changedArg, bool emitChanged);
    void forgetSections();
    AbstractNetworkConsumerSettings myNetworkSettings() const;
    void clearLastError(bool notify);

    void checkIfResourceChanged();
    bool isCheckedResourceChanged() const;
    void needFileOps();
    void performFileOps(const QList<AbstractDownloadFileOps::FileInitializeOperation> &operations);
    void onFileThere();
    void applyFileOpsSettings();
    bool writePendingContent();
    void endWithFilesError(const AbstractError &error);
    void onSectionRequestHeaders(qint64 id, const QList<QString> &headers);
    void onSectionResponseHeaders(qint64 id, const QList<QString> &headers);

    const QSharedPointer<AbstractNetworkAccessChief> m_chief;
    const QWeakPointer<QtAppSystemDefaultUserAgentManager> m_userAgentManager;
    RecordKeeper m_record; ///< none until setInfo()
    AbstractDownloadCommand m_mode = AbstractDownloadCommand::Start;
    AbstractNetworkConsumersWithExtraTasksPack m_pack;
    SectionPlan m_plan;
    AbstractError m_lastError;
    QList<QSslError> m_lastSslErrors;
    QDateTime m_lastErrorTime;
    DeferredPointer<QTimer> m_progressTimer; ///< exists only while sections run
    AbstractDownloadSettings m_settings;
    AbstractNetworkConsumerSettings m_networkSettings;
    DeferredPointer<AbstractDownloadFileOps> m_fileOps;
    DeferredPointer<WwwDownloader> m_resourceChecker;
    QThread *m_writersThread = nullptr;
    quint32 m_state = 0; ///< StateBit
    quint64 m_runsEnded = 0; ///< for RunGuard
    const QSharedPointer<DownloadMirrorsUsageManager> m_mirrors;
    DownloadDetails m_details;
};
