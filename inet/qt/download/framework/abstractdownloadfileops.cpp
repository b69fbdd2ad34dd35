// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownloadfileops.h>

#include <inet/qt/download/framework/assertion.h>
#include <inet/qt/download/framework/ownfiles.h>
#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/framework/targetfilename.h>
#include <inet/qt/download/framework/targetfileoperator.h>
#include <inet/qt/download/framework/threadaffinity.h>

#include <QHash>
#include <QQueue>
#include <QSet>

#include <atomic>
#include <optional>

using Operation = AbstractDownloadFileOps::FileInitializeOperation;

namespace
{

AbstractDownloadExistingFileReaction reactionOf(AbstractDownloadFileExistsAction action)
{
    switch (action) {
    case AbstractDownloadFileExistsAction::Overwrite:
        return AbstractDownloadExistingFileReaction::Overwrite;
    case AbstractDownloadFileExistsAction::Skip:
        return AbstractDownloadExistingFileReaction::Skip;
    case AbstractDownloadFileExistsAction::Rename:
        break;
    }
    return AbstractDownloadExistingFileReaction::Rename;
}

/// Only together with CreatedOnDisk: a restart deletes the file and clears that bit alone.
bool isFinal(const AbstractDownloadFileInfo &file)
{
    return file.isOnDisk() && (file.fileFlags & AbstractDownloadFileInfo::FinalOnDisk) != 0;
}

/// A dot in front is no server's trick where the address, which a person gave, ends with that very name.
bool isHiddenByAddress(const AbstractDownloadPersistentInfo &info, const AbstractDownloadFileInfo &file)
{
    const QString shown = file.name.mid(1);
    return file.name.startsWith(u'.') && TargetFileName::safe(shown) == shown
        && info.url.fileName(QUrl::FullyDecoded) == file.name;
}

Operation createOperation(int index, const AbstractDownloadFileInfo &file, qint64 size, bool isChosen)
{
    return {index, Operation::Create, file.name, size, {}, isChosen};
}

Operation finishOperation(int index, const AbstractDownloadFileInfo &file, qint64 size, bool isChosen)
{
    const QString path =
        file.isOnDisk() ? file.relativePath() : TargetFileName::partOf(TargetFileName::fromPath(file.name, isChosen));
    return {index, Operation::Finish, path, size, {}, false};
}

/// What was planned is carried out later, when another download may wish for the same name.
QHash<int, OwnFiles::Making> makingOf(const QString &folder, const QList<Operation> &operations)
{
    QHash<int, OwnFiles::Making> making;
    for (const Operation &operation : operations) {
        if (operation.kind == Operation::Create)
            making.insert(operation.fileIndex, OwnFiles::takeMaking(folder + u'/' + operation.name));
    }
    return making;
}

void applyOperation(const Operation &operation, AbstractDownloadFileInfo &file)
{
    using File = AbstractDownloadFileInfo;
    file.pathOnDisk = operation.resultPath;
    if (operation.kind == Operation::Create)
        file.fileFlags = quint8((file.fileFlags & ~(File::Preallocated | File::FinalOnDisk)) | File::CreatedOnDisk);
    else
        file.fileFlags |= File::FinalOnDisk;
}

}

/// One list at a time, from the first operation to the last; it pauses only while a question is open.
class AbstractDownloadFileOps::Private
{
public:
    struct Run {
        QString folder;
        QList<Operation> operations;
        int done = 0;
        TargetFileOperator fileOperator;
    };

    explicit Private(AbstractDownloadFileOps *ops)
        : q(ops)
    {
    }
    ~Private()
    {
        for (auto file = m_finished.cbegin(); file != m_finished.cend(); ++file)
            OwnFiles::forget(file.key(), file.value());
    }

    void begin(const Run &run);
    void answer(int fileIndex, AbstractDownloadFileExistsAction action);
    void withdraw();

    AbstractDownloadFileOps *const q;
    std::atomic<AbstractDownloadExistingFileReaction> reaction = AbstractDownloadExistingFileReaction::Rename;
    std::atomic<bool> truncate = false;

private:
    void proceed(std::optional<AbstractDownloadFileExistsAction> answered = {});
    void finish(const AbstractError &error);

    AbstractDownloadExistingFileReaction reactionTo(const Operation &operation) const;

    QQueue<Run> m_runs;
    bool m_asking = false;
    /// Who said at the beginning what is to become of a file in the way is not asked again at the end.
    QHash<int, AbstractDownloadFileExistsAction> m_answers;
    QHash<QString, FileIdentity> m_finished; ///< files, by the paths that they had until then
};

AbstractDownloadFileOps::AbstractDownloadFileOps(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this))
{
}

AbstractDownloadFileOps::~AbstractDownloadFileOps() = default;

QString AbstractDownloadFileOps::safeFileName(const QString &name)
{
    return TargetFileName::safe(name);
}

void AbstractDownloadFileOps::setExistingFileReaction(AbstractDownloadExistingFileReaction reaction)
{
    d->reaction = reaction;
}

void AbstractDownloadFileOps::setTruncateFilesWhenCreating(bool truncate)
{
    d->truncate = truncate;
}

QList<Operation> AbstractDownloadFileOps::calcFilesInitOps(const AbstractDownloadSettings &,
                                                           const AbstractDownloadPersistentInfo &info,
                                                           bool selectedOnly) const
{
    QList<Operation> operations;
    if (info.destinationType != AbstractDownloadPersistentInfo::ToFolder)
        return operations;
    const bool areChosen = info.hasFlag(AbstractDownloadPersistentInfo::RenameBlocked);
    for (int index = 0; index < info.files.size(); ++index) {
        const AbstractDownloadFileInfo &file = info.files.at(index);
        if (selectedOnly && !file.selected)
            continue;
        const bool isChosen = areChosen || isHiddenByAddress(info, file);
        const qint64 size = file.size < 0 ? -1 : qMax<qint64>(file.dataStart, 0) + file.size;
        if (!file.isOnDisk())
            operations.append(createOperation(index, file, size, isChosen));
        if (file.size >= 0 && file.isComplete() && !isFinal(file))
            operations.append(finishOperation(index, file, size, isChosen));
    }
    return operations;
}

void AbstractDownloadFileOps::performInitializeOps(const QString &folder, const QList<Operation> &operations)
{
    const Private::Run run{folder, operations, 0, TargetFileOperator(folder, makingOf(folder, operations))};
    QMetaObject::invokeMethod(
        this, [this, run] { d->begin(run); }, Qt::QueuedConnection);
}

void AbstractDownloadFileOps::applyFilesInitOpsFinished(const QList<Operation> &operations, int done,
                                                        AbstractDownloadPersistentInfo &info) const
{
    for (int i = 0; i < done && i < operations.size(); ++i) {
        const Operation &operation = operations.at(i);
        if (operation.fileIndex >= 0 && operation.fileIndex < info.files.size())
            applyOperation(operation, info.files[operation.fileIndex]);
    }
}

void AbstractDownloadFileOps::fileExistsAction(int fileIndex, AbstractDownloadFileExistsAction action)
{
    QMetaObject::invokeMethod(
        this, [this, fileIndex, action] { d->answer(fileIndex, action); }, Qt::QueuedConnection);
}

void AbstractDownloadFileOps::withdrawQuestion()
{
    QMetaObject::invokeMethod(
        this, [this] { d->withdraw(); }, Qt::QueuedConnection);
}

void AbstractDownloadFileOps::Private::begin(const Run &run)
{
    m_runs.enqueue(run);
    if (m_runs.size() == 1)
        proceed();
}

void AbstractDownloadFileOps::Private::answer(int fileIndex, AbstractDownloadFileExistsAction action)
{
    if (!m_asking || m_runs.head().operations.at(m_runs.head().done).fileIndex != fileIndex)
        return;
    m_asking = false;
    proceed(action);
}

void AbstractDownloadFileOps::Private::withdraw()
{
    if (!m_asking)
        return;
    m_asking = false;
    finish(operationAbortedError(errorSourceHere().c_str()));
}

AbstractDownloadExistingFileReaction AbstractDownloadFileOps::Private::reactionTo(const Operation &operation) const
{
    const auto answer = m_answers.constFind(operation.fileIndex);
    return answer == m_answers.constEnd() ? reaction.load() : reactionOf(*answer);
}

/// @param answered the reaction to what is in the way of the operation that comes next, and of its file from then on
void AbstractDownloadFileOps::Private::proceed(std::optional<AbstractDownloadFileExistsAction> answered)
{
    DOWNLOAD_ASSERT(isCalledAtHome(q) && !m_asking && !m_runs.isEmpty());
    const RunGuard guard(q);
    Run &run = m_runs.head();
    while (run.done < run.operations.size()) {
        Operation &operation = run.operations[run.done];
        if (answered)
            m_answers.insert(operation.fileIndex, *answered);
        else if (operation.kind == Operation::Create)
            m_answers.remove(operation.fileIndex);
        const TargetFileOperator::Outcome outcome =
            run.fileOperator.perform(operation, reactionTo(operation), truncate);
        if (!outcome.inTheWay.isEmpty()) {
            m_asking = true;
            Q_EMIT q->fileExistsActionRequired(operation.fileIndex, outcome.inTheWay);
            return;
        }
        if (answered)
            Q_EMIT q->fileExistsActionApplied(operation.fileIndex, *answered, outcome.error);
        if (!guard)
            return;
        if (outcome.error) {
            finish(outcome.error);
            return;
        }
        answered.reset();
        ++run.done;
    }
    finish({});
}

void AbstractDownloadFileOps::Private::finish(const AbstractError &error)
{
    DOWNLOAD_ASSERT(!m_asking && !m_runs.isEmpty());
    const Run run = m_runs.dequeue();
    for (int i = 0; i < run.done; ++i) {
        const QString path = run.folder + u'/' + run.operations.at(i).name;
        if (run.operations.at(i).kind == Operation::Finish)
            m_finished.insert(path, OwnFiles::at(path));
    }
    const auto next = [this] {
        if (!m_runs.isEmpty() && !m_asking)
            proceed();
    };
    if (!m_runs.isEmpty())
        QMetaObject::invokeMethod(q, next, Qt::QueuedConnection);
    Q_EMIT q->performInitializeOpsFinished(run.folder, run.operations, run.done, error);
}
