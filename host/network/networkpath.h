// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

/// By which way, how patiently and as whom this machine speaks to servers. The same for all transfers of a session. A
/// plain value that goes into the network thread.
struct NetworkPath {
    enum class Family {
        Any,
        IPv4,
        IPv6,
    };

    QString interface; ///< of this machine: a name ("eth0") or an address; empty = the system's choice
    Family family = Family::Any; ///< what names of hosts are looked up as
    QStringList resolved; ///< "HOST:PORT:ADDRESS": these hosts are not looked up
    qint64 connectTimeoutMs = 0; ///< looking up, connecting and TLS together; 0 = as long as libcurl waits
    qint64 silenceTimeoutMs = 0; ///< without a byte, once there is a connection; 0 = as long as the download waits
    /// PEM files that a server is shown which asks who is there; empty = nothing is shown.
    QString certificateFile;
    QString keyFile; ///< empty = the key is in certificateFile
    QByteArray keyPassword; ///< empty = the key is not encrypted

    /// Why nothing can go this way. Reads the files.
    Failure problem() const;
};
