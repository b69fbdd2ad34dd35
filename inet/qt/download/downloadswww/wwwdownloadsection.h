// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/downloadswww/wwwdownloader.h>
#include <inet/qt/download/framework/abstractdataasyncprocessor.h>
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/framework/abstractnetworkconsumerwithextratasks.h>
#include <inet/qt/download/framework/deferredpointer.h>
#include <inet/qt/download/framework/statetable.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>
#include <inet/qt/download/records/wwwdownloadsourceinfo.h>
#include <inet/qt/download/sources/downloadmirrorsusagemanager.h>

#include <QSharedPointer>
#include <QTimer>

class HttpHeadersParser;
class QThread;

/// One byte range of a download's file: runs one transfer at a time into one writer.
///
///     idle ── start() ──> requesting ── good head, ──> waiting for the file ──> opening ──> writing
///                                  adopted transfer       (where there is none)                │ all is written
///                                                                                              v
///     idle <─────────────────────────────── closed ───────────────────────────────────────── closing
///
///     idle ── query() ──> requesting ── good head ──> idle, the transfer is kept for 90 s
///
///     requesting                         ── stop(), error ──> idle
///     waiting for the file               ── stop() ──> idle
///     opening                            ── failed ──> idle
///     writing                            ── failed ──> stopping ── closed ──> idle
///     opening, writing, closing          ── stop() ──> stopping ── closed ──> idle
///
/// An adopted transfer that fails, by a time-out too, is asked for anew at once, from the first byte that is not
/// written and into the same writer, whose state that does not touch. Nothing else is tried again in here: a time-out,
/// a cut connection or a refused answer ends the section with an error.
///
/// A stop with an open writer hands over what has come and lasts until the writer has closed. While the writer opens
/// there is nobody to hand it to: what has come until then is dropped, and fetched again by the next start.
///
/// Owned by the download, in whose thread it lives; the writer may live in another, which only queued signals cross.
class WwwDownloadSection : public AbstractNetworkConsumerWithExtraTasks
{
    Q_OBJECT

public:
    /// How long the transfer of a query is kept for a start that follows it, in ms.
    static constexpr int kQueryTransferKeptMs = 90000;
    /// Files of at least so many bytes get their disk space before the data comes.
    static constexpr qint64 kSmallestPreallocatedSize = 307201;
    /// Bytes that a query reads of the body at a time: it wants the head only.
    static constexpr qint64 kQueryReadLimit = 30;
    static constexpr int kLogLevel = 4;
    /// One line for each change of state.
    static constexpr int kStateLogLevel = 5;

    enum class State {
        Idle,
        Requesting, ///< there is no writer yet
        WaitingFile, ///< the writer may be opened once somebody has made the file
        Opening,
        Writing,
        Closing, ///< all is written
        Stopping, ///< nobody feeds the writer any more; its close is waited for
    };
    static const StateTable<State> &states();

    /// @param section the range; size -1 = up to the end of the resource
    /// @param info the download's record, shared with it and with all of its sections
    /// @param resourceCheck build the record's file information anew from the first response
    WwwDownloadSection(qint64 id, const QString &logPrefix, const AbstractDownloadSection &section,
                       QSharedPointer<AbstractDownloadPersistentInfo> info,
                       QSharedPointer<AbstractNetworkAccessChief> chief, bool resourceCheck,
                       QSharedPointer<DownloadMirrorsUsageManager> mirrors, QObject *parent);
    ~WwwDownloadSection() override;

    qint64 id() const override;
    void setNetworkSettings(const AbstractNetworkConsumerSettings &settings) override;
    AbstractNetworkConsumerSettings networkSettings() const override;
    void setNetworkUsageSettings(const NetworkUsageSettings &settings) override;
    NetworkUsageSettings networkUsageSettings() const override;
    QtConnectionsMap connectionsMap() const override;
    qint64 speed(NetworkTrafficDirection direction, bool payloadOnly) const override;
    /// The section's own error, else its transfer's, else its writer's.
    AbstractError lastError() const override;
    QList<QSslError> lastSslErrors() const override;
    QDateTime lastErrorTime() const override;
    void clearLastError() override;
    bool isRunning() const override;

    /// Not running, and every byte of the range is written. Never while the size is unknown.
    bool isFinished() const;
    /// The last error came from the disk, not from the network.
    bool isLastErrorFileError() const;
    /// It has taken a source from the mirror manager and not given it back.
    bool isUsingMirror() const { return m_handedOutSource.url.isValid(); }
    /// As the mirror manager named the source of the newest transfer; empty before the first.
    QUrl lastSourceUrl() const { return m_lastSourceUrl; }
    /// The range with its progress, the one that counts.
    AbstractDownloadSection section() const;

    /// Judges the response's validators against the file as it was recorded.
    static bool isResourceChanged(const AbstractDownloadFileInfo &file, const HttpHeadersParser &parser);
    /// Empty without a strong ETag.
    static AbstractDownloadGuid getDownloadGuid(const QSharedPointer<AbstractDownloadPersistentInfo> &info,
                                                const HttpHeadersParser &parser);
    /// Neither @p same nor @p changed is set when the two say nothing about each other.
    static void compareDownloadsByHttpEtag(const AbstractDownloadGuid &a, const AbstractDownloadGuid &b, bool &same,
                                           bool &changed);

    void start(bool query, bool minimalMode);
    /// The thread in which files are written. Null is ignored.
    void setWriterThread(QThread *thread);
    /// Gives the tail of the range to @p other.
    void truncateSection(WwwDownloadSection *other);
    /// Takes over the next @p size bytes, which are all there.
    void onCompactSections(qint64 size);

public Q_SLOTS:
    /// Learns what the response head says, and keeps the transfer for a start that follows soon, unless @p minimalMode.
    void query(bool minimalMode);
    void start();
    /// Ends the run with that error; at once, or when the writer has closed.
    void stop(const AbstractError &error, bool isFileError);
    /// The file that waitingFileCreate() asked for is there.
    void onFileCreated();
    /// Gives up the transfer that a query left, unless it has finished.
    void dropDldrOfQueryIfRequired();

Q_SIGNALS:
    /// The response fits the range; the record says what it told.
    void gotOkResponse();
    void persistentInfoChanged();
    /// There is data and no file to put it into.
    void waitingFileCreate();
    void preallocatingFile(qint64 currentSize);
    void filePreallocated();
    void timedOut();
    void requestHeaders(const QList<QString> &headers);
    void responseHeaders(const QList<QString> &headers);

private Q_SLOTS:
    void onDownloaderRunning(bool isRunning);
    void onDownloaderGotHeaders();
    void onWriterDataProcessed(qint64 bytes);
    void onWriterAllDataIsProcessed();
    void onWriterFailed();
    void onWriterOpened();
    void onWriterClosed();
    void onWriterPreallocateFinished(qint64 size);

private:
    enum class StatusVerdict { Accepted, WholeInsteadOfRange, Unexpected };
    /// Where the run's transfer comes from.
    enum class TransferOrigin {
        Own,
        Query, ///< adopted from a query: a failure is no end yet
        Renewed, ///< in place of an adopted one that failed, until its head has come: goes on into the writer there is
    };

    void log(const QString &text, int level = kLogLevel) const;
    void logState() const;
    void transition(State to);
    bool isOver() const { return m_state == State::Idle || m_state == State::Stopping; }
    void checkStopped();
    void learnSizeFromEnd();

    NetworkUsageSettings settingsForDownloader() const;
    void createDownloader();
    void connectDownloader(WwwDownloader *downloader, bool connectIt);
    void attachDownloader(DeferredPointer<WwwDownloader> downloader);
    DeferredPointer<WwwDownloader> detachDownloader();
    bool adoptQueryTransfer(bool previousWasQuery);
    void startTransfer();
    AbstractDownloadSourceInfo pickMirror();
    void finishedUsingMirror();

    static StatusVerdict judgeStatus(int status, qint64 position);
    void refuseStatus(StatusVerdict verdict, int status, bool isRecordChanged);
    void refuse(const AbstractError &error, bool isRecordChanged);
    void tellOkResponse(bool isRecordChanged);
    void proceed();
    bool learnResumeSupport(qint32 support);
    bool updateRedirectedSource();
    bool updateFinalUrl(const QUrl &answered);
    bool isFileInfoToBeBuilt() const;
    void buildFileInfo(const HttpHeadersParser &parser, bool changed);
    AbstractDownloadFileInfo newFileInfo(const HttpHeadersParser &parser) const;
    void takeStreamName(const HttpHeadersParser &parser, bool changed);
    bool learnSizeOfKnownFile(int status, qint64 size);
    bool isKnownResourceChanged(const AbstractDownloadGuid &guid, const HttpHeadersParser &parser) const;
    void keepQueryTransfer();

    bool isDestinationFile() const;
    void setWriter(AbstractDataAsyncProcessor *writer);
    void proceedToWriting();
    void createWriter();
    void connectWriter(AbstractDataAsyncProcessor *writer, bool connectIt);
    void connectDownloaderWithWriter(WwwDownloader *downloader, AbstractDataAsyncProcessor *writer, bool connectIt);
    void tryOpenWriter();
    void openWriter();
    void releaseWriter();
    bool isWriterOpeningOrOpen() const;
    bool isValidWriterSender() const;
    bool checkIfAllDataIsWritten();

    const qint64 m_id;
    const QString m_logPrefix;
    AbstractDownloadSection m_section;
    const QSharedPointer<AbstractDownloadPersistentInfo> m_info;
    const QSharedPointer<AbstractNetworkAccessChief> m_chief;
    bool m_resourceCheck;
    const QSharedPointer<DownloadMirrorsUsageManager> m_mirrors;
    bool m_query = false;
    bool m_minimal = false;
    bool m_gotResponse = false; ///< in this run
    NetworkUsageSettings m_usageSettings;
    AbstractNetworkConsumerSettings m_networkSettings;
    DeferredPointer<WwwDownloader> m_downloader;
    DeferredPointer<WwwDownloader> m_queryDownloader; ///< kept from a query start
    DeferredPointer<AbstractDataAsyncProcessor> m_writer;
    AbstractError m_lastError;
    QList<QSslError> m_lastSslErrors;
    QDateTime m_lastErrorTime;
    QThread *m_writerThread = nullptr;
    State m_state = State::Idle;
    quint64 m_runsEnded = 0; ///< for RunGuard
    bool m_lastErrorIsFileError = false;
    TransferOrigin m_transferOrigin = TransferOrigin::Own;
    AbstractDownloadSourceInfo m_currentSource; ///< as redirects have left it
    QUrl m_lastSourceUrl;
    AbstractDownloadSourceInfo m_handedOutSource; ///< as the mirror manager knows it; invalid URL = none is held
    QTimer m_queryKeptTimer;

    Q_DISABLE_COPY_MOVE(WwwDownloadSection)
};
