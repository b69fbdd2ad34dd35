// SPDX-License-Identifier: MIT
#include <host/network/smallfetch.h>

#include <host/policy/retry.h>

#include <QDateTime>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRandomGenerator>

#include <algorithm>

namespace
{

constexpr int kFirstRefusal = 400;

AbstractError errorOf(const QNetworkReply &reply, int status)
{
    if (status >= kFirstRefusal)
        return {status, ErrorCategory::kHttp, errorSourceHere(), {}};
    if (reply.error() == QNetworkReply::NoError)
        return {};
    return {int(reply.error()), ErrorCategory::kNetwork, errorSourceHere(), reply.errorString().toStdString()};
}

QNetworkRequest requestFor(const SmallFetch::Asked &asked, const QUrl &url)
{
    QNetworkRequest request(url);
    for (const SmallFetch::Field &field : asked.headers)
        request.setRawHeader(field.first, field.second);
    if (asked.first >= 0)
        request.setRawHeader("Range",
                             "bytes=" + QByteArray::number(asked.first) + '-'
                                 + QByteArray::number(asked.first + asked.most - 1));
    return request;
}

}

QByteArray SmallFetch::Answer::field(const char *name) const
{
    const auto found = std::find_if(fields.cbegin(), fields.cend(), [name](const Field &field) {
        return field.first.compare(name, Qt::CaseInsensitive) == 0;
    });
    return found == fields.cend() ? QByteArray() : found->second;
}

SmallFetch::SmallFetch(const QSharedPointer<QNetworkAccessManager> &manager, const Patience &patience, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
    , m_patience(patience)
    , m_silence(this)
    , m_rest(this)
{
    m_rest.setSingleShot(true);
    connect(&m_rest, &QTimer::timeout, this, &SmallFetch::ask);
    m_silence.setSingleShot(true);
    m_silence.setInterval(kPatienceMs);
    connect(&m_silence, &QTimer::timeout, this, [this] {
        leave();
        end({QNetworkReply::TimeoutError, ErrorCategory::kNetwork, errorSourceHere(), "Connection timed out"});
    });
}

SmallFetch::~SmallFetch()
{
    leave();
}

void SmallFetch::begin(const Asked &asked)
{
    Q_ASSERT_X(!m_reply && !m_rest.isActive(), "SmallFetch", "one at a time");
    m_asked = asked;
    m_attempt = 1;
    ask();
}

void SmallFetch::ask()
{
    m_answer = {};
    send(m_asked.url);
}

void SmallFetch::send(const QUrl &url)
{
    m_answer.url = url;
    m_answer.bytes.clear();
    m_reply = m_manager->get(requestFor(m_asked, url));
    m_silence.start();
    connect(m_reply, &QNetworkReply::metaDataChanged, &m_silence, QOverload<>::of(&QTimer::start));
    connect(m_reply, &QNetworkReply::readyRead, this, &SmallFetch::read);
    connect(m_reply, &QNetworkReply::finished, this, &SmallFetch::onFinished);
    if (m_asked.trustsAll)
        connect(m_reply, &QNetworkReply::sslErrors, m_reply, [reply = m_reply.data()] { reply->ignoreSslErrors(); });
}

void SmallFetch::read()
{
    m_silence.start();
    const QByteArray more = m_reply->readAll();
    const qint64 room = m_asked.most - m_answer.bytes.size();
    m_answer.isCut = m_answer.isCut || more.size() > room;
    m_answer.bytes += more.first(std::min<qsizetype>(more.size(), room));
    if (m_answer.isCut)
        onFinished();
}

/// Or as much of it came as is wanted.
void SmallFetch::onFinished()
{
    const QPointer<QNetworkReply> reply = m_reply;
    m_answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    m_answer.fields = reply->rawHeaderPairs();
    const QUrl target = reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    const AbstractError error = m_answer.isCut ? AbstractError() : errorOf(*reply, m_answer.status);
    leave();
    if (target.isEmpty()) {
        end(error);
    } else if (++m_answer.redirects > kMostRedirects) {
        end({int(GenericErrorCode::TooManyRedirects), ErrorCategory::kGeneric, errorSourceHere(), {}});
    } else {
        m_answer.isCut = false;
        send(m_answer.url.resolved(target));
    }
}

void SmallFetch::leave()
{
    m_silence.stop();
    QNetworkReply *const reply = m_reply;
    m_reply.clear();
    if (!reply)
        return;
    reply->disconnect(this);
    if (!reply->isFinished())
        reply->abort();
    reply->deleteLater();
}

void SmallFetch::end(const AbstractError &error)
{
    m_answer.error = error;
    const Answer answer = m_answer;
    const std::optional<qint64> ms = rest();
    if (!ms) {
        Q_EMIT done(answer);
        return;
    }
    m_rest.start(int(*ms));
    Q_EMIT retrying(answer, ++m_attempt, *ms);
}

std::optional<qint64> SmallFetch::rest() const
{
    const bool isLast = m_patience.mostTries > 0 && m_attempt >= m_patience.mostTries;
    if (isLast || !Retry::isWorthwhile(m_answer.error))
        return std::nullopt;
    Retry::Wait wait{m_attempt, m_patience.waitMs, QRandomGenerator::global()->generateDouble()};
    wait.askedMs =
        Retry::parseRetryAfter(QString::fromLatin1(m_answer.field("Retry-After")), QDateTime::currentDateTimeUtc());
    if (wait.askedMs.value_or(0) > Retry::kLongestAskedMs)
        return std::nullopt;
    return Retry::delayMs(wait);
}
