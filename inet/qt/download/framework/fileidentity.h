// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/exportmacro.h>

#include <QString>
#include <QtGlobal>

/// By what a file is known on its file system, whatever its name: its number there and when it was made.
struct DOWNLOADFRAMEWORK_EXPORT FileIdentity {
    QString text; ///< empty = unknown

    /// Of the file of that path; a link is not followed. Unknown when there is none, and on a file system that tells
    /// neither.
    static FileIdentity of(const QString &path);
    /// Of an open file.
    static FileIdentity of(int descriptor);
    /// Of the file of that name in an open folder; a link is not followed.
    static FileIdentity in(int folder, const QString &name);

    /// Of a file that is about to be made; like no file's that is there.
    static FileIdentity planned();

    /// When it was made, or was about to be: nanoseconds since 1970; 0 = unknown, or the other of the two.
    qint64 birth() const;
    /// Its number on the file system; 0 = none that lasts.
    quint64 number() const;
    qint64 plannedAt() const;
    /// In nanoseconds since 1970.
    static qint64 now();

    bool isKnown() const { return !text.isEmpty(); }
    /// Both are files that were there, and not the same one. A file system that does not say when a file was made may
    /// number it anew at any time, so that nothing can be said of its files.
    bool isOther(const FileIdentity &file) const;

    friend bool operator==(const FileIdentity &, const FileIdentity &) = default;
};
