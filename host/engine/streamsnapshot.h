// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

/// Of a download whose bytes are for somebody who reads them from the beginning on while they come.
struct StreamSnapshot {
    QString path; ///< of the file, as it is named now; whoever has it open keeps it. Empty = it is not there yet
    qint64 ready = 0; ///< bytes from its beginning that may be read
    qint64 taken = 0; ///< of these, those that were read, and need not be there any more

    friend bool operator==(const StreamSnapshot &, const StreamSnapshot &) = default;
};
