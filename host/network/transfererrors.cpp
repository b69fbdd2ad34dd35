// SPDX-License-Identifier: MIT
#include <host/network/transfererrors.h>

#include <host/parsing/securitywords.h>

#include <curl/curl.h>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kFirstError = 400;
constexpr int kFirstServerError = 500;
constexpr int kProxyUnauthorized = 407;

using Error = QNetworkReply::NetworkError;
using TransferErrors::Circumstances;

/// Anything from 400 on to 499 passes: too many users, a file that is busy.
bool mayPass(int ftpAnswer)
{
    return ftpAnswer / 100 == 4;
}

/// The server understood the question and said no.
Error refusedByFtp(int answer, Error otherwise)
{
    return mayPass(answer) ? QNetworkReply::ServiceUnavailableError : otherwise;
}

Error unconnected(const Circumstances &circumstances)
{
    switch (circumstances.systemError) {
    case ECONNREFUSED:
        return circumstances.isByProxy ? QNetworkReply::ProxyConnectionRefusedError
                                       : QNetworkReply::ConnectionRefusedError;
    case ETIMEDOUT:
        return circumstances.isByProxy ? QNetworkReply::ProxyTimeoutError : QNetworkReply::TimeoutError;
    default:
        return QNetworkReply::UnknownNetworkError;
    }
}

Error refusedByProxy(int status)
{
    return status == kProxyUnauthorized ? QNetworkReply::ProxyAuthenticationRequiredError
                                        : QNetworkReply::UnknownProxyError;
}

/// A SOCKS proxy has no status. One that asks who is there is not asked again without an answer.
Error refusedBySocks(int proxyError)
{
    switch (proxyError) {
    case CURLPX_NO_AUTH:
    case CURLPX_USER_REJECTED:
        return QNetworkReply::ProxyAuthenticationRequiredError;
    default:
        return QNetworkReply::UnknownProxyError;
    }
}

/// What does not depend on the protocol; NoError = that does.
Error common(int code, const Circumstances &circumstances)
{
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
        return QNetworkReply::HostNotFoundError;
    case CURLE_COULDNT_RESOLVE_PROXY:
        return QNetworkReply::ProxyNotFoundError;
    case CURLE_PROXY:
        return refusedBySocks(circumstances.proxyError);
    case CURLE_COULDNT_CONNECT:
        return unconnected(circumstances);
    case CURLE_OPERATION_TIMEDOUT:
        return QNetworkReply::TimeoutError;
    case CURLE_PARTIAL_FILE:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
        return QNetworkReply::RemoteHostClosedError;
    default:
        return QNetworkReply::NoError;
    }
}

}

QNetworkReply::NetworkError TransferErrors::fromHttp(int code, const Circumstances &circumstances)
{
    if (circumstances.proxyStatus >= kFirstError)
        return refusedByProxy(circumstances.proxyStatus);
    if (const Error error = common(code, circumstances); error != QNetworkReply::NoError)
        return error;
    switch (code) {
    case CURLE_OK: // An end without an answer.
        return QNetworkReply::RemoteHostClosedError;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
        return QNetworkReply::SslHandshakeFailedError;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_UNSUPPORTED_PROTOCOL: // An answer without a head.
    case CURLE_OUT_OF_MEMORY: // A line of the head is longer than any may be.
    case CURLE_WRITE_ERROR:
        return QNetworkReply::ProtocolFailure;
    default:
        return QNetworkReply::UnknownNetworkError;
    }
}

QNetworkReply::NetworkError TransferErrors::fromFtp(int code, const Circumstances &circumstances)
{
    if (code == CURLE_OK)
        return QNetworkReply::NoError;
    if (const Error error = common(code, circumstances); error != QNetworkReply::NoError)
        return error;
    const int answer = circumstances.ftpAnswer;
    switch (code) {
    case CURLE_LOGIN_DENIED:
        return refusedByFtp(answer, QNetworkReply::AuthenticationRequiredError);
    // A folder that is not there and one that may not be entered get the same answer from servers.
    case CURLE_REMOTE_ACCESS_DENIED:
    case CURLE_REMOTE_FILE_NOT_FOUND:
        return refusedByFtp(answer, QNetworkReply::ContentNotFoundError);
    default:
        return refusedByFtp(answer, QNetworkReply::UnknownNetworkError);
    }
}

QNetworkReply::NetworkError TransferErrors::fromStatus(int status)
{
    switch (status) {
    case 400:
    case 418:
        return QNetworkReply::ProtocolInvalidOperationError;
    case 401:
        return QNetworkReply::AuthenticationRequiredError;
    case 403:
        return QNetworkReply::ContentAccessDenied;
    case 404:
        return QNetworkReply::ContentNotFoundError;
    case 405:
        return QNetworkReply::ContentOperationNotPermittedError;
    case kProxyUnauthorized:
        return QNetworkReply::ProxyAuthenticationRequiredError;
    case 409:
        return QNetworkReply::ContentConflictError;
    case 410:
        return QNetworkReply::ContentGoneError;
    case 500:
        return QNetworkReply::InternalServerError;
    case 501:
        return QNetworkReply::OperationNotImplementedError;
    case 503:
        return QNetworkReply::ServiceUnavailableError;
    default:
        break;
    }
    if (status > kFirstServerError)
        return QNetworkReply::UnknownServerError;
    return status >= kFirstError ? QNetworkReply::UnknownContentError : QNetworkReply::NoError;
}

bool TransferErrors::isProxys(QNetworkReply::NetworkError error)
{
    return error >= QNetworkReply::ProxyConnectionRefusedError && error <= QNetworkReply::UnknownProxyError;
}

QString TransferErrors::textFor(QNetworkReply::NetworkError error, const QUrl &url, const QString &words)
{
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return u"Connection refused"_s;
    case QNetworkReply::ProxyConnectionRefusedError:
        return u"The proxy refused the connection"_s;
    case QNetworkReply::HostNotFoundError:
        return u"Host %1 not found"_s.arg(url.host());
    case QNetworkReply::ProxyNotFoundError:
        return u"The proxy's host was not found"_s;
    case QNetworkReply::TimeoutError:
        return u"Connection timed out"_s;
    case QNetworkReply::RemoteHostClosedError:
        return u"Connection closed"_s;
    case QNetworkReply::SslHandshakeFailedError:
        // Certificates have words of their own: what fails before them cannot be helped by naming an authority.
        return SecurityWords::noAgreement(url.host(), words.section("::"_L1, -1));
    default:
        return words;
    }
}
