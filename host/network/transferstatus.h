// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

/// A transfer that goes on, at this moment. A value.
struct TransferStatus {
    QString server; ///< "host:port"
    qint64 position = -1; ///< in the file, of the next byte; -1 = its server has not answered yet
    qint64 speed = 0; ///< bytes/s
};
