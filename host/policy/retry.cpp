// SPDX-License-Identifier: MIT
#include <host/policy/retry.h>

#include <host/parsing/httpdate.h>

#include <QFileDevice>
#include <QNetworkReply>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Doubling more often leaves any limit behind.
constexpr int kMostDoublings = 20;

bool mayNetworkErrorPass(int code)
{
    switch (QNetworkReply::NetworkError(code)) {
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::HostNotFoundError: // a name server that does not answer looks the same
    case QNetworkReply::TimeoutError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::UnknownNetworkError:
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::ProxyTimeoutError:
    case QNetworkReply::UnknownProxyError:
    case QNetworkReply::ContentReSendError:
    case QNetworkReply::InternalServerError:
    case QNetworkReply::ServiceUnavailableError:
    case QNetworkReply::UnknownServerError:
        return true;
    default:
        return false;
    }
}

bool mayStatusPass(int status)
{
    return status == 408 || status == 425 || status == 429 || (status >= 500 && status <= 599);
}

}

bool Retry::isWorthwhile(const AbstractError &error)
{
    if (error.category == ErrorCategory::kNetwork)
        return mayNetworkErrorPass(error.code);
    return error.category == ErrorCategory::kHttp && mayStatusPass(error.code);
}

std::optional<qint64> Retry::parseRetryAfter(const QString &value, const QDateTime &now)
{
    const QString text = value.simplified();
    const bool isNumber =
        !text.isEmpty() && std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; });
    if (isNumber) {
        // More digits than any sensible time has would not fit.
        const qint64 seconds = text.size() > 9 ? 1'000'000'000 : text.toLongLong();
        return seconds * 1000;
    }
    const std::optional<QDateTime> date = HttpDate::parse(text);
    if (!date)
        return std::nullopt;
    return std::max<qint64>(0, now.msecsTo(*date));
}

std::optional<qint64> Retry::retryAfter(const QList<QString> &headerLines, const QDateTime &now)
{
    constexpr auto kName = "retry-after:"_L1;
    for (const QString &line : headerLines) {
        if (line.startsWith(kName, Qt::CaseInsensitive))
            return parseRetryAfter(line.sliced(kName.size()), now);
    }
    return std::nullopt;
}

qint64 Retry::delayMs(const Wait &wait)
{
    const int doublings = std::clamp(wait.attempt - 1, 0, kMostDoublings);
    const qint64 full = std::clamp<qint64>(wait.baseMs << doublings, 0, std::max(kLongestWaitMs, wait.baseMs));
    const double share = 0.5 + std::clamp(wait.jitter, 0.0, 1.0) / 2;
    return std::max(qint64(double(full) * share), wait.askedMs.value_or(0));
}
