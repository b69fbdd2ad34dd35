// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/ownfiles.h>

#include <QString>
#include <QtGlobal>

/// An open folder, in which names are looked up and changed without ever following a link or leaving it.
///
/// Every operation returns 0, the system's error number, PlainFile::kAnotherFile or, where a file is taken, kTaken.
/// Used in one thread.
class TargetFolder
{
    Q_DISABLE_COPY_MOVE(TargetFolder)

public:
    /// @param making whose permission is asked, besides that of each file, before anything is made or changed
    explicit TargetFolder(const QString &path, const OwnFiles::Making &making = {});
    ~TargetFolder();

    /// Makes the folder, and those above it, where they are missing.
    int open();
    /// Goes down into sub-folders that exist; "." and ".." are refused.
    int enter(const QString &subPath);

    /// For messages.
    QString pathOf(const QString &name) const;

    /// Whatever it is, a dangling link included.
    bool exists(const QString &name) const;
    bool isFolder(const QString &name) const;
    /// -1 when it is no plain file.
    qint64 fileSize(const QString &name) const;

    /// What is made is the download's own.
    int createExclusively(const QString &name);
    /// What is there goes, and a new one is made that is the download's own. EEXIST where it is another download's.
    int makeAnew(const QString &name);
    /// A plain file that can be written to is the download's own from now on. EEXIST where it is another download's.
    int takeOver(const QString &name);
    /// Whether what stands under the new name is the file that the download had under the other; whether it is known to
    /// be another. Both are false where nothing can be said.
    bool isOwnUnder(const QString &newName, const QString &name) const;
    bool isOtherUnder(const QString &newName, const QString &name) const;
    /// Cuts the download's own file to the size, and pushes it to the disk. @param mayGrow extends a shorter one too
    /// @param found length as it was; ENODATA when that is not enough
    int bringToSize(const QString &name, qint64 size, bool mayGrow, qint64 &found);
    /// EEXIST when something of the new name is there.
    int renameWithoutReplacing(const QString &name, const QString &newName);
    int renameOver(const QString &name, const QString &newName);
    /// Pushes the names to the disk.
    int sync();

private:
    bool mayChange(const QString &name) const;
    bool isAnothers(const QString &name) const;
    int remove(const QString &name);
    int make(const QString &name);

    QString m_path;
    const OwnFiles::Making m_making;
    int m_folder = -1;
};
