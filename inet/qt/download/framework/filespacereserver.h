// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

/// Takes disk space for a file that is to become large, so that a full disk shows at the beginning.
///
/// At once where the file system can; else by steps that put zeros behind the file's end, never over data, never
/// shrinking it. Used in one thread.
class FileSpaceReserver
{
public:
    enum class Result {
        Done,
        MoreToDo, ///< reserveStep() is to be called again
        Failed, ///< errorNumber() says why
    };

    /// Bytes that one step adds.
    static constexpr qint64 kStep = Q_INT64_C(8) * 1024 * 1024;

    FileSpaceReserver(const QString &path, qint64 size);

    Result reserveAtOnce(int file);
    Result reserveStep(int file);

    qint64 size() const { return m_size; }
    /// So many bytes of the file are there, as last seen.
    qint64 reserved() const { return m_reserved; }
    /// The system's, or PlainFile::kAnotherFile: the path is no longer that of the file.
    int errorNumber() const { return m_errorNumber; }

private:
    Result fail(int number);
    Result checkFreeSpace(int file);
    Result appendZeros(int file, qint64 count);

    const QString m_path;
    const qint64 m_size;
    qint64 m_reserved = 0;
    int m_errorNumber = 0;
};
