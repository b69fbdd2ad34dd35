// SPDX-License-Identifier: MIT
#include <host/network/ftperrors.h>

#include <curl/curl.h>

#include <cerrno>

namespace
{

/// Anything from 400 on to 499 passes: too many users, a file that is busy.
bool mayPass(int answer)
{
    return answer / 100 == 4;
}

QNetworkReply::NetworkError unconnected(int systemError)
{
    switch (systemError) {
    case ECONNREFUSED:
        return QNetworkReply::ConnectionRefusedError;
    case ETIMEDOUT:
        return QNetworkReply::TimeoutError;
    default:
        return QNetworkReply::UnknownNetworkError;
    }
}

/// The server understood the question and said no.
QNetworkReply::NetworkError refused(int answer, QNetworkReply::NetworkError otherwise)
{
    return mayPass(answer) ? QNetworkReply::ServiceUnavailableError : otherwise;
}

}

QNetworkReply::NetworkError ftpNetworkError(int code, int answer, int systemError)
{
    switch (code) {
    case CURLE_OK:
        return QNetworkReply::NoError;
    case CURLE_COULDNT_RESOLVE_HOST:
        return QNetworkReply::HostNotFoundError;
    case CURLE_COULDNT_RESOLVE_PROXY:
        return QNetworkReply::ProxyNotFoundError;
    case CURLE_COULDNT_CONNECT:
        return unconnected(systemError);
    case CURLE_OPERATION_TIMEDOUT:
        return QNetworkReply::TimeoutError;
    case CURLE_LOGIN_DENIED:
        return refused(answer, QNetworkReply::AuthenticationRequiredError);
    // A folder that is not there and one that may not be entered get the same answer from servers.
    case CURLE_REMOTE_ACCESS_DENIED:
    case CURLE_REMOTE_FILE_NOT_FOUND:
        return refused(answer, QNetworkReply::ContentNotFoundError);
    case CURLE_PARTIAL_FILE:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
        return QNetworkReply::RemoteHostClosedError;
    default:
        return refused(answer, QNetworkReply::UnknownNetworkError);
    }
}
