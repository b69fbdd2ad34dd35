// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/downloadswww/speedperiod.h>
#include <inet/qt/download/framework/abstractnetworkconsumerwithextratasks.h>
#include <inet/qt/download/framework/deferredpointer.h>
#include <inet/qt/download/framework/statetable.h>
#include <inet/qt/download/records/wwwdownloadsourceinfo.h>

#include <QByteArray>
#include <QMetaMethod>
#include <QNetworkReply>
#include <QSharedPointer>
#include <QString>
#include <QUrl>

class AbstractNetworkAccessChief;
class QNetworkAccessManager;
class QNetworkRequest;
class QTimer;

/// One network transfer: sends a request and hands on what comes back, never more than its section may take.
///
///     idle ── start() ──> requesting ── answer ──> receiving ── end of section, end of answer ──> idle
///                          ^      │                    │
///                          │      └── redirect (15     │ one chunk is out at a time: reading goes on
///                          └───────── are followed)    │ as onDataProcessed() confirms it
///
///     from both on the way: error, 120 s without a byte, the 16th redirect, stop() ──> idle
///
/// Writes nothing of its states into the log: only its owner knows in whose name, and whether it may.
///
/// A run begins with running(true) and ends with running(false), which is the last thing that it does; lastError() then
/// tells how. What is still buffered or unconfirmed outlives the run, see isDataProcessed().
///
/// Receivers may stop, restart or delete later this object from any of its signals.
///
/// Owned by a section or a download, in whose thread it lives; nothing blocks.
class WwwDownloader : public AbstractNetworkConsumerWithExtraTasks
{
    Q_OBJECT

public:
    /// Redirects that are followed in one run.
    static constexpr int kMaximumRedirects = 15;
    /// Silence after which a run is given up, in ms.
    static constexpr int kInactivityLimitMs = 120000;
    /// How long data that may not be read yet is left alone, in ms.
    static constexpr int kReadIntervalMs = 50;
    static constexpr int kHandOutIntervalMs = 1000;
    /// Bytes that the network layer may hold for us; a speed limit below it takes its place.
    static constexpr qint64 kReadBufferSize = 131072;
    /// With that many bytes kept here nothing more is read while setDontEmitData() holds them back: it may last, and
    /// what is left in the network holds the far side back.
    static constexpr qint64 kHeldBackSize = kReadBufferSize;

    enum class State {
        Idle,
        Requesting, ///< no answer that is final has come yet
        Receiving, ///< gotHeaders() has been sent
    };
    static const StateTable<State> &states();

    WwwDownloader(QSharedPointer<AbstractNetworkAccessChief> chief, QObject *parent);
    ~WwwDownloader() override;

    /// Always 0: a transfer has no siblings.
    qint64 id() const override;
    void setNetworkSettings(const AbstractNetworkConsumerSettings &settings) override;
    AbstractNetworkConsumerSettings networkSettings() const override;
    /// A limit takes effect at once.
    void setNetworkUsageSettings(const NetworkUsageSettings &settings) override;
    NetworkUsageSettings networkUsageSettings() const override;
    QtConnectionsMap connectionsMap() const override;
    /// Payload is all that is counted; 0 for uploads.
    qint64 speed(NetworkTrafficDirection direction, bool payloadOnly) const override;
    AbstractError lastError() const override;
    QList<QSslError> lastSslErrors() const override;
    QDateTime lastErrorTime() const override;
    void clearLastError() override;
    bool isRunning() const override;

    /// Every byte of the section was received; never while its length is unknown.
    bool isFinished() const;
    /// The run is over and everything received was handed out and confirmed.
    bool isDataProcessed() const;
    /// As given to start(), with the section as it stands now.
    WwwDownloadSourceInfo source() const;
    /// The source after redirects: the final URL, and the cookies that belong there. Before an answer, as source().
    const WwwDownloadSourceInfo &redirectedSource() const;
    /// Header pairs of the answer, redirects excepted; empty before gotHeaders().
    QList<QNetworkReply::RawHeaderPair> headers() const;
    /// -1 without an answer, after the run, and where there is no such thing as a status.
    int httpStatusCode() const;
    /// Bytes received since construction.
    qint64 totalBytes() const;

    /// While set, received data is kept, not handed out.
    void setDontEmitData(bool dontEmit);
    /// Hands out what has been received, if that may be, without waiting for the second to be over.
    void emitDataIfPossible();

    /// The lone "&" that links of the cloud drive carry as their body: it must not be posted.
    static bool isPostDataInvalid(const WwwDownloadSourceInfo &source);

Q_SIGNALS:
    /// The request in words, once for each that is about to be sent: request line first.
    void requestHeaders(const QList<QString> &headers);
    /// The head of an answer in words, redirects included: status line first.
    void responseHeaders(const QList<QString> &headers);
    /// The head of the answer is known, and is not a redirect. Once in a run.
    void gotHeaders();
    /// The next bytes of the section; no more come before onDataProcessed() has confirmed these.
    void gotData(const QByteArray &data);
    /// The far side has been silent for too long; running(false) follows.
    void timedOut();

public Q_SLOTS:
    /// Ignored while running. The section's position says what is asked for.
    void start(const WwwDownloadSourceInfo &source, const QString &userAgent);
    /// Ends the run, handing out what is buffered if that may be. Ignored when not running.
    void stop();
    /// The section ends earlier (or later) than it was said at the start. Bytes beyond are dropped unless handed out.
    void truncateSection(qint64 newSize);
    /// So many of the bytes handed out are dealt with.
    void onDataProcessed(qint64 size);

protected:
    /// The clock by whose seconds data is handed out and limits are counted, in seconds since the epoch.
    virtual qint64 currentSecond() const;

private Q_SLOTS:
    void onSslErrors(const QList<QSslError> &errors);
    void onReadyRead();
    void onFinished();
    void onMetaDataChanged();
    void onError(QNetworkReply::NetworkError code);
    void onTimeout();

private:
    void transition(State to);
    void setRunning(bool on);
    void endRun();
    void setLastError(const AbstractError &error);

    void startRequest(const WwwDownloadSourceInfo &source, const QString &userAgent);
    QNetworkRequest constructRequest(const WwwDownloadSourceInfo &source, const QString &userAgent,
                                     QList<QString> &headers) const;
    void announceConnection();
    void installCookies(const WwwDownloadSourceInfo &source);
    void send(const QNetworkRequest &request, const WwwDownloadSourceInfo &source);
    void connectReply();
    void releaseReply();
    void abortReply();
    void releaseNam();

    void applyReadBufferSize();
    QUrl redirectTarget() const;
    void followRedirect(const QUrl &url);
    void setRedirectedSource(const QUrl &url);
    bool isCutShort() const;

    bool mayRead() const;
    qint64 readableSize();
    qint64 tellLimit();
    QByteArray take(qint64 maxSize);
    QByteArray takeBlock(qint64 maxSize);
    QByteArray takeRest();
    bool appendData(const QByteArray &data, bool force);
    bool isHandOutDue() const;
    bool checkDataExcess();

    const QSharedPointer<AbstractNetworkAccessChief> m_chief;
    QSharedPointer<QNetworkAccessManager> m_manager; // held while a request runs
    QUrl m_currentUrl; // for which the manager was taken
    NetworkUsageSettings m_usageSettings;
    AbstractNetworkConsumerSettings m_networkSettings;
    QtConnectionsMap m_connectionsMap;

    WwwDownloadSourceInfo m_source;
    QString m_userAgent;
    WwwDownloadSourceInfo m_redirectedSource;

    State m_state = State::Idle;
    quint64 m_runsEnded = 0; // for RunGuard
    AbstractError m_lastError;
    QList<QSslError> m_lastSslErrors;
    QDateTime m_lastErrorTime;

    DeferredPointer<QNetworkReply> m_reply;
    QMetaMethod m_takeBlock; // of that reply; invalid when it has none
    qint64 m_bodyBytes = 0; // read from that reply
    QList<QNetworkReply::RawHeaderPair> m_responseHeaders;
    int m_redirectCount = 0;

    mutable SpeedPeriod m_speedPeriod;
    QByteArray m_buffer; // received, not handed out
    qint64 m_inFlight = 0; // handed out, not confirmed
    bool m_dontEmitData = false;
    qint64 m_lastEmitSecond = 0;

    QTimer *const m_readTimer;
    QTimer *const m_handOutTimer;
    QTimer *const m_inactivityTimer;

    Q_DISABLE_COPY_MOVE(WwwDownloader)
};
