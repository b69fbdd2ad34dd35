// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QByteArray>
#include <QString>

#include <optional>

#include <sys/types.h>

/// The file that log lines go to: of bounded size while it is written, for its owner's eyes alone, without secrets, and
/// safe to be shown on a terminal.
///
/// A file that would grow beyond kMostBytes becomes NAME.1, that one NAME.2 and so on; of these kOldFiles are kept.
/// Several programs may write the same file at once. Made and closed by one thread; write() may be called from any, one
/// at a time.
class LogFile
{
    Q_DISABLE_COPY_MOVE(LogFile)

public:
    static constexpr qint64 kMostBytes = qint64(4) * 1024 * 1024; ///< of one file
    static constexpr int kOldFiles = 3;
    static constexpr qsizetype kLongestText = 4096; ///< characters; what is behind them is cut off

    LogFile() = default;
    ~LogFile();

    /// Appends to the file, which is made where it is missing, as its folder is. Only a plain file of this user will
    /// do, under no other name, and not behind a link. False, with the reason in @p errorText, where there is none.
    bool open(const QString &path, Clause *why);
    /// One line, with time and level before the text. What cannot be written is lost.
    void write(int level, const QString &text);

private:
    bool reopen(Clause *why);
    std::optional<qint64> sizeAtItsPlace() const;
    bool makeRoom(qint64 bytes);
    bool moveAside() const;
    void close();

    QByteArray lineOf(int level, const QString &text);
    QString now();

    QByteArray m_path;
    int m_file = -1;
    dev_t m_device = 0; ///< of the file, as long as it is open, as the next
    ino_t m_inode = 0;
    qint64 m_second = -1; ///< since 1970, of the last line
    QString m_secondText; ///< how it is written in local time
};
