// SPDX-License-Identifier: MIT
#pragma once

#include <QNetworkReply>
#include <QString>
#include <QUrl>

/// What libcurl's codes and servers' answers are in QNetworkReply's terms. Pure.
namespace TransferErrors
{

/// What libcurl knows besides its code. 0 = nothing.
struct Circumstances {
    int proxyStatus = 0; ///< of a proxy's answer to CONNECT
    int proxyError = 0; ///< a CURLproxycode: what a SOCKS proxy had to say
    int ftpAnswer = 0; ///< the last one of the server
    int systemError = 0; ///< errno of the connection
    bool isByProxy = false;
};

/// @param code a CURLcode of a transfer without an answer
QNetworkReply::NetworkError fromHttp(int code, const Circumstances &circumstances);
/// @param code a CURLcode
QNetworkReply::NetworkError fromFtp(int code, const Circumstances &circumstances);
/// @param status of an answer over http; NoError below 400
QNetworkReply::NetworkError fromStatus(int status);

/// Nobody got as far as the server.
bool isProxys(QNetworkReply::NetworkError error);

/// @param words libcurl's own, for errors that have none of their own here
QString textFor(QNetworkReply::NetworkError error, const QUrl &url, const QString &words);

}
