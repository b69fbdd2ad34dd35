// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/networkpath.h>
#include <host/parsing/urlcredentials.h>

#include <QByteArray>
#include <QList>
#include <QNetworkReply>
#include <QUrl>

#include <memory>

/// All that a transfer has to know of what is asked for. A plain value that goes into the network thread.
struct TransferRequest {
    QUrl url; ///< without a login
    bool isPost = false;
    QList<QNetworkReply::RawHeaderPair> headers; ///< as they go out
    QByteArray range; ///< value of the Range header; empty = there is none
    QByteArray body; ///< of a POST
    Login login; ///< for the server; empty = nobody in particular
    QUrl proxy; ///< as ProxyChoice gives it; empty = none
    QList<QByteArray> authorities; ///< DER of certificates to rest on, besides the system's
    /// DER of the one certificate that the server must show, whoever vouches for it; empty = any that can be trusted.
    QByteArray pinnedCertificate;
    std::shared_ptr<const NetworkPath> path; ///< null = any way
};
