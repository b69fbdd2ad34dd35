// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/recentspeed.h>
#include <host/network/requestpath.h>
#include <host/network/transfer.h>
#include <host/network/transferrequest.h>
#include <host/network/transferstatus.h>
#include <host/policy/evidence.h>
#include <host/policy/requestpace.h>

#include <QElapsedTimer>
#include <QNetworkReply>
#include <QPointer>

#include <memory>
#include <optional>

class RequestGate;
class ResourceGuard;
class TransferManager;
class TransferLoop;

/// The reply of a transfer that runs in the network thread.
///
///     waiting ── head ──> receiving ── all is there, and the rest fits into the window ──> finished
///       │ ^                   └─ an error, likewise ──────────────────────────────────────> finished
///       │ └─ sslErrors(), and somebody says ignoreSslErrors(): once more, to that certificate alone
///       └──── an error ─────────────────────────────────────────────────────────────────> finished
///
///     from all on the way: abort() ──> finished (OperationCanceledError)
///
/// Of a request that belongs to a download, the answer is held against what the download's guard knows before anybody
/// hears of it; what is not welcome ends with an error, or leads back to where its request came from. An answer that
/// could only bring more of what is there already is told with its first byte: without one it is an error, and nobody
/// has taken it for an answer. Such a request may have to wait for its turn before it is sent; it ends with an error
/// where that would take too long.
///
/// To its receivers it is as any other: metaDataChanged() before readyRead(), and then errorOccurred() if there is an
/// error, readChannelFinished() and finished(), once. Redirects are told, not followed. Nothing is emitted in the
/// constructor, and every signal's receiver may delete this object.
///
/// The read buffer's size is a window: no more than that is shown to be available, so that who reads all of it reads so
/// much. How much more lies behind it is the transport's own affair, unless the window is small, which is a wish to be
/// held back. After a read that leaves something, readyRead() comes again by itself; after one that was answered by
/// no read, it does not.
class TransferReply : public QNetworkReply
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TransferReply)

public:
    /// Of a request that belongs to a download.
    struct Way {
        std::shared_ptr<ResourceGuard> guard; ///< null = it belongs to none
        RequestPath path; ///< how it came about
        std::shared_ptr<RequestGate> gate; ///< who says when it may be sent; null = at once
    };

    TransferReply(QNetworkAccessManager::Operation operation, const QNetworkRequest &original,
                  const TransferRequest &request, const Way &way, std::shared_ptr<TransferMeans> means,
                  std::shared_ptr<TransferLoop> loop, TransferManager *manager);
    /// A reply that leads to @p target as soon as the event loop runs, without asking anybody.
    TransferReply(const QNetworkRequest &original, const Way &way, const QUrl &target, TransferManager *manager);
    /// A reply that ends with an error as soon as the event loop runs.
    TransferReply(QNetworkAccessManager::Operation operation, const QNetworkRequest &original, NetworkError error,
                  const QString &text, TransferManager *manager);
    ~TransferReply() override;

    void close() override;
    qint64 bytesAvailable() const override;
    void setReadBufferSize(qint64 size) override;

    /// What has been received, at most @p maxSize bytes of it; -1 = as much as comes without copying, which may be more
    /// than bytesAvailable() says. Empty = nothing is there.
    Q_INVOKABLE QByteArray takeBlock(qint64 maxSize);

    /// Nothing before its turn, at its end, and of what was never sent.
    std::optional<TransferStatus> status() const;

Q_SIGNALS:
    /// The URL that a redirect leads to, with the login that is shown nowhere else; before metaDataChanged().
    void redirectedWithLogin(const QUrl &url);

public Q_SLOTS:
    void abort() override;
    void ignoreSslErrors() override;

protected:
    bool event(QEvent *event) override;
    qint64 readData(char *data, qint64 maxSize) override;
    void ignoreSslErrorsImplementation(const QList<QSslError> &errors) override;

private:
    void present(QNetworkAccessManager::Operation operation, const QNetworkRequest &original);
    void beginInTurn();
    void begin(const TransferRequest &request);
    void leave();

    void boundWhatComesIn();
    void lookAgain();
    void onNews();
    void onHead(const TransferPipe::Head &head);
    bool isWelcome(TransferPipe::Head &head);
    void tellHeldHead();
    void tellHead(const TransferPipe::Head &head);
    void tellRedirect(const QUrl &target);
    void leadTo(const QUrl &target);
    bool leadsBack(NetworkError error);
    void onSilence();
    void endAnswer();
    void takeFields(const TransferPipe::Head &head);
    void takeRedirect(int status);
    void keepCookies(const QList<QByteArray> &lines);
    void tellData();
    void tellEnd(const TransferPipe::End &end);
    void conclude(const TransferPipe::End &end);
    void noteOutcome(RequestPace::Outcome outcome);
    void askForTrust(const TransferPipe::End &end);
    void endWith(NetworkError error, const QString &text);
    void afterRead(qint64 size);

    qint64 shown() const;
    qint64 limit() const;
    bool isExpected(const QList<QSslError> &errors) const;

    const QPointer<TransferManager> m_manager;
    const std::shared_ptr<TransferMeans> m_means;
    const std::shared_ptr<TransferLoop> m_loop;
    const Way m_way;
    std::optional<TransferPipe::Head> m_answer; ///< a good one, since it came
    Evidence::Answer m_evidence; ///< what that says of the resource
    quint64 m_runsEnded = 0; ///< 1 = it has finished
    bool m_isAnswering = false; ///< it is good, and not over
    bool m_isLeading = false; ///< by an answer that no server sent
    bool m_isHeadHeld = false; ///< it is told with the first byte
    TransferPipe::Head m_heldHead;
    qint64 m_taken = 0; ///< bytes of it
    RecentSpeed m_speed; ///< of these, by the clock
    QElapsedTimer m_clock; ///< since it was made
    qint64 m_askedMs = 0; ///< when it began to wait for its turn, by the gate's clock
    TransferRequest m_request;
    std::shared_ptr<Transfer> m_transfer; ///< null once it has ended and all is read, and where there was none
    qint64 m_told = 0; ///< bytes that were shown by the last readyRead() and are unread
    bool m_isLookDue = false;
    bool m_trustsAll = false;
    QList<QSslError> m_expectedErrors;
};
