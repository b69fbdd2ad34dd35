// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/clause.h>

#include <QString>
#include <QtGlobal>

#include <memory>

/// A folder for one file that somebody reads while it is written, and that nobody keeps: below the person's cache
/// ($XDG_CACHE_HOME/plait/streams), or where that cannot be, below the folder for temporary files. Nobody else may look
/// into it. It goes with this object; of what processes left behind that died, the next one that makes such a folder
/// frees the disk.
class Spool
{
    Q_DISABLE_COPY_MOVE(Spool)

public:
    /// Null and a reason where none can be made.
    static std::unique_ptr<Spool> make(Clause *why);
    ~Spool();

    /// Absolute.
    const QString &folder() const { return m_folder; }
    /// The file, once it is there; from then on that very one is meant, whatever its name.
    bool setFile(const QString &path);
    /// Gives the disk back what the file's first so many bytes take there; its length stays. File systems that cannot
    /// keep them.
    void free(qint64 bytes);

private:
    Spool(const QString &folder, int lock);

    const QString m_folder;
    const int m_lock; ///< a descriptor of the folder, by which others see that it is in use
    int m_file = -1;
    qint64 m_freed = 0;
};
