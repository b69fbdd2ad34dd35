// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// What every kind of file has: a kind and a name.
struct AbstractFileInfo {
    int type = 0; ///< kind of content, 0..63: 0 unknown, 1 audio, 2 video, 3 picture, 4 document
    QString name; ///< name shown to people, and the relative path on disk where no other is given

    friend bool operator==(const AbstractFileInfo &, const AbstractFileInfo &) = default;
};
