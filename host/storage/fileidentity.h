// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// By what a file is known on its file system, whatever its name: its number there and when it was made.
struct FileIdentity {
    QString text; ///< empty = unknown

    /// Of the file of that path; a link is not followed. Unknown when there is none.
    static FileIdentity of(const QString &path);
    /// Of an open file.
    static FileIdentity of(int descriptor);

    bool isKnown() const { return !text.isEmpty(); }

    friend bool operator==(const FileIdentity &, const FileIdentity &) = default;
};
