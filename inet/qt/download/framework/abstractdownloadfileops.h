// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>
#include <inet/qt/download/records/abstractdownloadsettings.h>
#include <inet/qt/download/records/abstracterror.h>
#include <inet/qt/download/records/exportmacro.h>

#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>

#include <memory>

/// What is done to a download's target files besides writing data into them: creating, and bringing to the final name.
///
/// Which operations remain is decided from the record alone, so that asking twice is harmless. An incomplete file
/// carries kPartSuffix behind its name; the final name appears by a rename that replaces nothing unless asked to.
/// Names are made safe: no path, no "." or "..", no control characters, not too long, never outside the folder.
///
/// Lives in the writers' thread; operations may be called from the download's. Each performInitializeOps() is answered
/// by exactly one queued performInitializeOpsFinished(), an empty list included.
class DOWNLOADFRAMEWORK_EXPORT AbstractDownloadFileOps : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AbstractDownloadFileOps)

public:
    static constexpr char16_t kPartSuffix[] = u".part";

    /// One operation on one file.
    struct FileInitializeOperation {
        enum Kind : qint32 {
            Create = 0, ///< make the (incomplete) file; the folder too
            Finish = 1, ///< exact length, then the final name
        };

        qint32 fileIndex = 0;
        Kind kind = Create;
        QString name; ///< Create: the wished final name, as the record has it. Finish: path in the folder of the
                      ///< incomplete file
        qint64 size = -1; ///< exact length of the file in the end, data start included; -1 = unknown
        QString resultPath; ///< set by the operation: path in the folder as it is afterwards
        bool isChosen = false; ///< Create: a person typed the name, so it is taken as it is

        friend bool operator==(const FileInitializeOperation &, const FileInitializeOperation &) = default;
    };

    explicit AbstractDownloadFileOps(QObject *parent);
    ~AbstractDownloadFileOps() override;

    /// A name that can stand in a folder, whatever the network said. Never empty. Bytes are counted as in UTF-8.
    static QString safeFileName(const QString &name);

    void setExistingFileReaction(AbstractDownloadExistingFileReaction reaction);
    /// What is in the way is emptied, where the reaction is to overwrite it.
    void setTruncateFilesWhenCreating(bool truncate);

    /// What remains to be done, in order. @param selectedOnly files that are not selected are left alone
    QList<FileInitializeOperation> calcFilesInitOps(const AbstractDownloadSettings &settings,
                                                    const AbstractDownloadPersistentInfo &info,
                                                    bool selectedOnly) const;
    /// Begins; the answer is performInitializeOpsFinished().
    void performInitializeOps(const QString &folder, const QList<FileInitializeOperation> &operations);
    /// Writes the outcome of the first @p done operations into the record.
    void applyFilesInitOpsFinished(const QList<FileInitializeOperation> &operations, int done,
                                   AbstractDownloadPersistentInfo &info) const;
    /// The answer to fileExistsActionRequired(). Ignored when nothing was asked.
    void fileExistsAction(int fileIndex, AbstractDownloadFileExistsAction action);

public Q_SLOTS:
    /// Withdraws an open question: the operations end with the error of a deliberate stop.
    void withdrawQuestion();

Q_SIGNALS:
    /// @param done so many operations, from the first, succeeded @param error of the first that did not; code 0 = none.
    /// Errors are of category "QtFileError".
    void performInitializeOpsFinished(const QString &folder,
                                      const QList<AbstractDownloadFileOps::FileInitializeOperation> &operations,
                                      int done, const AbstractError &error);
    /// The operations wait for fileExistsAction(). @param existingPaths what is in the way
    void fileExistsActionRequired(int fileIndex, const QList<QString> &existingPaths);
    void fileExistsActionApplied(int fileIndex, AbstractDownloadFileExistsAction action, const AbstractError &error);

private:
    class Private;
    const std::unique_ptr<Private> d;
};
Q_DECLARE_METATYPE(AbstractDownloadFileOps::FileInitializeOperation)
