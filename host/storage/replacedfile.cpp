// SPDX-License-Identifier: MIT
#include <host/storage/replacedfile.h>

#include <host/policy/diskcheck.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace
{

using Action = AbstractDownloadFileExistsAction;
using Reaction = AbstractDownloadExistingFileReaction;

const QString kKey = u"replaces"_s;
const QString kFile = u"file"_s;
const QString kPath = u"path"_s;
const QString kReaction = u"reaction"_s;
const QString kIsEmpty = u"empty"_s;
const QString kIsUnwanted = u"unwanted"_s;

QVariantMap planOf(const AbstractDownloadPersistentInfo &record)
{
    return record.parameters.value(kKey).toMap();
}

/// The one that is there, unless it is known to be another's.
FileIdentity identityOf(const AbstractDownloadPersistentInfo &record, const FileIdentity &known)
{
    const FileIdentity there = record.files.isEmpty() ? FileIdentity() : FileIdentity::of(record.filePath(0));
    return known.isOther(there) ? FileIdentity() : there;
}

/// Of several files of one name this one has a number, and the next is to have the same.
void keepName(AbstractDownloadPersistentInfo &record)
{
    if (record.files.isEmpty() || record.hasFlag(AbstractDownloadPersistentInfo::RenameBlocked))
        return;
    const AbstractDownloadFileInfo &file = record.files.first();
    if (file.relativePath() != file.name)
        record.presetFileName = QFileInfo(file.relativePath()).completeBaseName();
}

void put(AbstractDownloadPersistentInfo &record, QVariantMap plan)
{
    const Reaction before = ReplacedFile::isPlanned(record) ? Reaction(planOf(record).value(kReaction).toInt())
                                                            : record.existingFileReaction;
    plan.insert(kReaction, int(before));
    record.parameters.insert(kKey, plan);
    record.existingFileReaction = Reaction::Ask;
}

}

void ReplacedFile::plan(AbstractDownloadPersistentInfo &record, const FileIdentity &file, bool isUnwanted)
{
    const QString path = record.files.isEmpty() ? QString() : record.filePath(0);
    put(record, {{kFile, identityOf(record, file).text}, {kPath, path}, {kIsUnwanted, isUnwanted}});
    keepName(record);
    DiskCheck::forgetProgress(record);
}

void ReplacedFile::planEmpty(AbstractDownloadPersistentInfo &record, const QString &path)
{
    put(record, {{kFile, FileIdentity::of(path).text}, {kIsEmpty, true}});
}

void ReplacedFile::setReaction(AbstractDownloadPersistentInfo &record, Reaction reaction)
{
    if (!isPlanned(record)) {
        record.existingFileReaction = reaction;
        return;
    }
    QVariantMap plan = planOf(record);
    plan.insert(kReaction, int(reaction));
    record.parameters.insert(kKey, plan);
}

bool ReplacedFile::isPlanned(const AbstractDownloadPersistentInfo &record)
{
    return record.parameters.contains(kKey) && record.existingFileReaction == Reaction::Ask;
}

QString ReplacedFile::pathOf(const AbstractDownloadPersistentInfo &record)
{
    const QString path = isPlanned(record) && !record.isFinished() ? planOf(record).value(kPath).toString() : QString();
    const FileIdentity file{planOf(record).value(kFile).toString()};
    return !path.isEmpty() && file.isKnown() && FileIdentity::of(path) == file ? path : QString();
}

std::optional<Action> ReplacedFile::answer(const AbstractDownloadPersistentInfo &record, const QStringList &inTheWay,
                                           bool mayReplace)
{
    if (!isPlanned(record))
        return std::nullopt;
    const QVariantMap plan = planOf(record);
    const FileIdentity file{plan.value(kFile).toString()};
    const bool isIt = inTheWay.size() == 1 && file.isKnown() && FileIdentity::of(inTheWay.first()) == file;
    // What is empty has nothing to lose, whatever comes.
    const bool isFree = plan.value(kIsEmpty).toBool() ? isIt && QFileInfo(inTheWay.first()).size() == 0
                                                      : mayReplace || plan.value(kIsUnwanted).toBool();
    if (isIt && isFree)
        return Action::Overwrite;
    switch (Reaction(plan.value(kReaction).toInt())) {
    case Reaction::Ask:
        return std::nullopt;
    case Reaction::Skip:
        return isIt ? Action::Rename : Action::Skip;
    case Reaction::Overwrite:
        return isIt ? Action::Rename : Action::Overwrite;
    case Reaction::NotSet:
    case Reaction::Rename:
        break;
    }
    return Action::Rename;
}
