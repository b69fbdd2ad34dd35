// SPDX-License-Identifier: MIT
#include <host/network/transferreply.h>

#include <host/network/requestgate.h>
#include <host/network/resourceguard.h>
#include <host/network/sslproblems.h>
#include <host/network/transferloop.h>
#include <host/network/transfermanager.h>
#include <host/parsing/partialanswer.h>
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/records/connectionsmap.h>

#include <QEvent>
#include <QSslError>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// A smaller window is a wish to be held back, kernel and all.
constexpr qint64 kSmallestFreeWindow = 128 * 1024;
constexpr int kPartialContent = 206;
const QString kTooManyWait =
    QStringLiteral("The server brings nothing, and too many requests wait to ask it again. Try again later.");
const QString kNothingNew = QStringLiteral("The server answered with nothing new.");

/// All of it, or all that was left: short for a good reason, unlike a part that is sound and has another behind it.
bool reachesEnd(const TransferPipe::Head &head)
{
    if (head.status != kPartialContent)
        return head.isEndKnown;
    const auto isRange = [](const QNetworkReply::RawHeaderPair &field) {
        return field.first.compare("Content-Range", Qt::CaseInsensitive) == 0;
    };
    const auto field = std::find_if(head.fields.cbegin(), head.fields.cend(), isRange);
    if (field == head.fields.cend())
        return false;
    const auto range = PartialAnswer::parseContentRange(field->second);
    return range && range->total >= 0 && range->last == range->total - 1;
}

}

TransferReply::TransferReply(QNetworkAccessManager::Operation operation, const QNetworkRequest &original,
                             const TransferRequest &request, const Way &way, std::shared_ptr<TransferMeans> means,
                             std::shared_ptr<TransferLoop> loop, TransferManager *manager)
    : QNetworkReply(manager)
    , m_manager(manager)
    , m_means(std::move(means))
    , m_loop(std::move(loop))
    , m_way(way)
    , m_request(request)
{
    present(operation, original);
    if (m_way.gate)
        m_askedMs = m_way.gate->now();
    beginInTurn();
}

TransferReply::TransferReply(QNetworkAccessManager::Operation operation, const QNetworkRequest &original,
                             NetworkError error, const QString &text, TransferManager *manager)
    : QNetworkReply(manager)
    , m_manager(manager)
{
    present(operation, original);
    const auto tell = [this, error, text] {
        if (!isFinished())
            endWith(error, text);
    };
    QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection);
}

TransferReply::TransferReply(const QNetworkRequest &original, const Way &way, const QUrl &target,
                             TransferManager *manager)
    : QNetworkReply(manager)
    , m_manager(manager)
    , m_way(way)
{
    present(QNetworkAccessManager::GetOperation, original);
    const auto tell = [this, target] {
        if (!isFinished())
            leadTo(target);
    };
    QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection);
}

TransferReply::~TransferReply()
{
    leave();
    endAnswer();
}

void TransferReply::close()
{
    QNetworkReply::close();
    abort();
}

qint64 TransferReply::bytesAvailable() const
{
    return QNetworkReply::bytesAvailable() + shown();
}

void TransferReply::setReadBufferSize(qint64 size)
{
    QNetworkReply::setReadBufferSize(size);
    if (!m_transfer)
        return;
    boundWhatComesIn();
    lookAgain();
}

QByteArray TransferReply::takeBlock(qint64 maxSize)
{
    if (!m_transfer)
        return {};
    const QByteArray block = m_transfer->pipe().takeBlock(maxSize);
    afterRead(block.size());
    return block;
}

std::optional<TransferStatus> TransferReply::status() const
{
    if (!m_transfer || isFinished())
        return std::nullopt;
    const QtHostAndPort server = hostAndPortFromUrl(m_request.url);
    TransferStatus status{u"%1:%2"_s.arg(server.host).arg(server.port)};
    if (!m_answer)
        return status;
    const bool isPart = m_answer->status == kPartialContent;
    status.position = (isPart ? PartialAnswer::askedStart(m_request.range).value_or(0) : 0) + m_taken;
    status.speed = m_speed.at(m_clock.elapsed());
    return status;
}

void TransferReply::abort()
{
    if (isFinished())
        return;
    leave();
    endWith(OperationCanceledError, tr("Operation canceled"));
}

void TransferReply::ignoreSslErrors()
{
    m_trustsAll = true;
}

bool TransferReply::event(QEvent *event)
{
    const bool isLimit = event->type() == QEvent::DynamicPropertyChange
        && static_cast<QDynamicPropertyChangeEvent *>(event)->propertyName()
            == AbstractNetworkAccessChief::kDownloadLimit;
    if (isLimit && m_transfer)
        boundWhatComesIn();
    return QNetworkReply::event(event);
}

qint64 TransferReply::readData(char *data, qint64 maxSize)
{
    const qint64 count = m_transfer ? m_transfer->pipe().read(data, std::min(maxSize, shown())) : 0;
    afterRead(count);
    return count == 0 && isFinished() ? -1 : count;
}

void TransferReply::ignoreSslErrorsImplementation(const QList<QSslError> &errors)
{
    m_expectedErrors = errors;
}

void TransferReply::present(QNetworkAccessManager::Operation operation, const QNetworkRequest &original)
{
    setOperation(operation);
    setRequest(original);
    setUrl(original.url());
    m_clock.start();
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    // A manager listens to its replies in their own name, unguarded against its death.
    connect(m_manager, &QObject::destroyed, this, [this] { disconnect(this, nullptr, this, nullptr); });
}

void TransferReply::beginInTurn()
{
    const qint64 wait = m_way.gate ? m_way.gate->begin(url(), m_askedMs) : 0;
    if (wait == RequestPace::kTooLong) {
        endWith(UnknownServerError, kTooManyWait);
        return;
    }
    if (wait == 0) {
        begin(m_request);
        if (m_way.path.isLed)
            QTimer::singleShot(m_way.guard->patienceMs(), this, &TransferReply::onSilence);
        return;
    }
    const auto lookAgain = [this] {
        if (!isFinished())
            beginInTurn();
    };
    QTimer::singleShot(wait, this, lookAgain);
}

void TransferReply::begin(const TransferRequest &request)
{
    leave();
    m_transfer = Transfer::make(request, m_means);
    // The pipe is locked in the call, and leave() needs the lock: this object lives.
    m_transfer->pipe().setNews(
        [this] { QMetaObject::invokeMethod(this, &TransferReply::onNews, Qt::QueuedConnection); });
    m_loop->start(m_transfer);
    if (readBufferSize() > 0 || limit() > 0)
        boundWhatComesIn();
}

void TransferReply::leave()
{
    if (!m_transfer)
        return;
    m_transfer->pipe().setNews(nullptr);
    m_loop->cancel(m_transfer);
    m_transfer.reset();
}

/// By the smaller of two wishes: a small window, and what is read in a second.
void TransferReply::boundWhatComesIn()
{
    const qint64 window = readBufferSize() < kSmallestFreeWindow ? readBufferSize() : 0;
    m_transfer->pipe().setWindow(readBufferSize());
    m_transfer->pipe().setLimit(limit());
    m_loop->holdBack(m_transfer, window > 0 && limit() > 0 ? std::min(window, limit()) : std::max(window, limit()));
    if (m_transfer->pipe().wantsMore())
        m_loop->resume(m_transfer);
}

/// Not at once: somebody is just reading.
void TransferReply::lookAgain()
{
    if (!std::exchange(m_isLookDue, true))
        QMetaObject::invokeMethod(this, &TransferReply::onNews, Qt::QueuedConnection);
}

void TransferReply::onNews()
{
    m_isLookDue = false;
    if (!m_transfer || isFinished())
        return;
    const RunGuard run(this, m_runsEnded);
    TransferPipe &pipe = m_transfer->pipe();
    pipe.acknowledge();
    // Before anything is told, so that data which comes while something is told waits for its own news.
    const std::optional<TransferPipe::End> end = pipe.end();
    if (const std::optional<TransferPipe::Head> head = pipe.takeHead())
        onHead(*head);
    if (run && m_isHeadHeld && m_transfer->pipe().size() > 0)
        tellHeldHead();
    if (run && !m_isHeadHeld)
        tellData();
    if (run && end)
        tellEnd(*end);
}

void TransferReply::tellData()
{
    const qint64 size = shown();
    if (size <= m_told)
        return;
    m_told = size;
    Q_EMIT readyRead();
}

/// What is left has to fit into the window, so that who reads when it is all over need not read more than that.
void TransferReply::tellEnd(const TransferPipe::End &end)
{
    if (!end.certificate.isEmpty()) {
        askForTrust(end);
        return;
    }
    if (leadsBack(end.error))
        return;
    const qint64 left = m_transfer->pipe().size();
    if (readBufferSize() > 0 && left > readBufferSize())
        return;
    const RunGuard run(this, m_runsEnded);
    // All is shown from now on.
    tellData();
    if (run)
        conclude(end);
}

/// An answer that brings nothing is a failure, unless the file is empty.
void TransferReply::conclude(const TransferPipe::End &end)
{
    if (!m_answer) {
        endWith(end.error, end.text);
        return;
    }
    using Outcome = RequestPace::Outcome;
    endAnswer();
    const qint64 bytes = m_taken + m_transfer->pipe().size();
    const bool isNothing = bytes == 0 && end.error == NoError;
    if (isNothing && !m_isHeadHeld && !m_way.guard->needsBytes(m_way.path)) {
        m_way.guard->takeEmptyFile(m_evidence);
        endWith(NoError, {});
        return;
    }
    const bool isAll = bytes > 0 && end.error == NoError && reachesEnd(*m_answer);
    const bool isEnough = bytes >= RequestPace::kEnough || isAll;
    noteOutcome(isEnough ? Outcome::Enough : bytes > 0 ? Outcome::Little : Outcome::Nothing);
    endWith(isNothing ? UnknownServerError : end.error, isNothing ? kNothingNew : end.text);
}

void TransferReply::noteOutcome(RequestPace::Outcome outcome)
{
    if (m_way.gate)
        m_way.gate->note(url(), outcome);
}

void TransferReply::askForTrust(const TransferPipe::End &end)
{
    const QList<QSslError> errors = SslProblems::errorsFrom(end.problems, end.certificate);
    const RunGuard run(this, m_runsEnded);
    Q_EMIT sslErrors(errors);
    if (!run)
        return;
    if (!m_trustsAll && !isExpected(errors)) {
        if (!leadsBack(SslHandshakeFailedError))
            endWith(SslHandshakeFailedError, SslProblems::textFor(errors));
        return;
    }
    TransferRequest again = m_request;
    again.pinnedCertificate = end.certificate;
    begin(again);
}

void TransferReply::endWith(NetworkError error, const QString &text)
{
    Q_ASSERT(QThread::currentThread() == thread());
    Q_ASSERT_X(!isFinished(), "TransferReply", "one finished()");
    const RunGuard lives(this);
    if (error != NoError)
        setError(error, text);
    setFinished(true);
    ++m_runsEnded;
    endAnswer();
    if (error != NoError)
        Q_EMIT errorOccurred(error);
    if (lives)
        Q_EMIT readChannelFinished();
    if (lives)
        Q_EMIT finished();
}

/// What lies behind the window moves up, and the far side may send more.
void TransferReply::afterRead(qint64 size)
{
    // What is left is told of again.
    if (size > 0)
        m_told = 0;
    if (size > 0 && m_answer) {
        const qint64 before = std::exchange(m_taken, m_taken + size);
        m_speed.add(size, m_clock.elapsed());
        if (before == 0)
            m_way.guard->takeBytes(m_evidence);
        if (before < RequestPace::kEnough && m_taken >= RequestPace::kEnough)
            noteOutcome(RequestPace::Outcome::Enough);
    }
    if (!m_transfer)
        return;
    if (m_transfer->pipe().wantsMore())
        m_loop->resume(m_transfer);
    if (!isFinished() && (shown() > m_told || m_transfer->pipe().end()))
        lookAgain();
}

qint64 TransferReply::shown() const
{
    if (!m_transfer)
        return 0;
    const qint64 size = m_transfer->pipe().size();
    return readBufferSize() > 0 && !isFinished() ? std::min(size, readBufferSize()) : size;
}

qint64 TransferReply::limit() const
{
    return property(AbstractNetworkAccessChief::kDownloadLimit).toLongLong();
}

bool TransferReply::isExpected(const QList<QSslError> &errors) const
{
    return !m_expectedErrors.isEmpty() && std::all_of(errors.cbegin(), errors.cend(), [this](const QSslError &error) {
        return m_expectedErrors.contains(error);
    });
}
