// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QtGlobal>

/// By what a file is known on its file system, whatever its name: its number there and when it was made.
struct FileIdentity {
    QString text; ///< empty = unknown

    /// Of the file of that path; a link is not followed. Unknown when there is none.
    static FileIdentity of(const QString &path);
    /// Of an open file.
    static FileIdentity of(int descriptor);

    /// Of a file that is about to be made; like no file's that is there.
    static FileIdentity planned();

    /// When it was made, or was about to be: nanoseconds since 1970; 0 = unknown, or the other of the two.
    qint64 birth() const;
    qint64 plannedAt() const;
    /// In nanoseconds since 1970.
    static qint64 now();

    bool isKnown() const { return !text.isEmpty(); }

    friend bool operator==(const FileIdentity &, const FileIdentity &) = default;
};
