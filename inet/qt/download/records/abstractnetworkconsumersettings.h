// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QString>

/// How a consumer makes its requests.
struct AbstractNetworkConsumerSettings {
    QString userAgent; ///< used where a transfer is given none of its own; empty = none
    QString profile; ///< name of the host's access profile; the module stores and returns it
    bool bypassCache = true; ///< neither read from nor write to a cache
    bool ignoreSslErrors = false; ///< go on when the server's certificate is not trusted

    friend bool operator==(const AbstractNetworkConsumerSettings &, const AbstractNetworkConsumerSettings &) = default;
};
Q_DECLARE_METATYPE(AbstractNetworkConsumerSettings)
