// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractdownloadfileops.h>
#include <inet/qt/download/framework/ownfiles.h>

#include <QHash>
#include <QStringList>

class TargetFolder;

/// Does the operations of one list, one by one, on the disk. Blocks; used in the writers' thread.
class TargetFileOperator
{
public:
    using Operation = AbstractDownloadFileOps::FileInitializeOperation;
    using Reaction = AbstractDownloadExistingFileReaction;

    struct Outcome {
        QStringList inTheWay; ///< nothing was done: somebody has to say what happens to these
        AbstractError error; ///< code 0 = done
    };

    /// @param making by file index; see OwnFiles::setMaking()
    explicit TargetFileOperator(const QString &folder, const QHash<int, OwnFiles::Making> &making = {});

    /// Sets the operation's resultPath when it succeeds.
    /// @param truncate with the reaction to overwrite, an incomplete file that is in the way is begun anew
    Outcome perform(Operation &operation, Reaction reaction, bool truncate);

private:
    Outcome create(TargetFolder &folder, Operation &operation, Reaction reaction, bool truncate);
    Outcome createNumbered(TargetFolder &folder, Operation &operation, const QString &name);
    Outcome createOver(TargetFolder &folder, Operation &operation, const QString &name, bool truncate);
    Outcome created(Operation &operation, const QString &partName);

    Outcome finish(TargetFolder &folder, Operation &operation, Reaction reaction);
    Outcome bringToName(TargetFolder &folder, Operation &operation, const QString &subPath, const QString &partName,
                        Reaction reaction);

    QString m_folder;
    QHash<int, OwnFiles::Making> m_making;
    QHash<int, QString> m_created; ///< paths of the files made by this list, by file index
};
