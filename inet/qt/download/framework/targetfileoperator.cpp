// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/targetfileoperator.h>

#include <inet/qt/download/framework/fileerror.h>
#include <inet/qt/download/framework/plainfile.h>
#include <inet/qt/download/framework/targetfilename.h>
#include <inet/qt/download/framework/targetfolder.h>

#include <QFileDevice>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace
{

using Operation = TargetFileOperator::Operation;
using Outcome = TargetFileOperator::Outcome;

/// A folder that holds so many files of one name is a fault, not a collection.
constexpr int kMaxNumber = 100000;

int codeOf(int number, QFileDevice::FileError otherwise)
{
    switch (number) {
    case EACCES:
    case EPERM:
    case EROFS:
        return QFileDevice::PermissionsError;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
    case EMFILE:
    case ENFILE:
    case ENOMEM:
        return QFileDevice::ResourceError;
    default:
        return otherwise;
    }
}

// What could not be done.
const QString kCreate = u"create"_s;
const QString kUseFolder = u"use the folder"_s;

/// @param isNew whether it was about a file that is not there yet
QString adviceFor(int number, bool isNew)
{
    if (PlainFile::isInTheWay(number))
        return u" Move away what is in its place, or choose another name."_s;
    switch (number) {
    case EACCES:
    case EPERM:
    case EROFS:
        return u" Choose a folder that you may write to."_s;
    case ENOSPC:
    case EDQUOT:
        return u" Free some space and start the download again."_s;
    case ENAMETOOLONG:
        return u" Choose a shorter name."_s;
    case ENOTDIR:
        return u" Choose another folder."_s;
    case ENOENT:
        if (isNew)
            return u" Choose another folder."_s;
        [[fallthrough]];
    case ENODATA:
        return u" Restart the download to fetch it again."_s;
    default:
        return {};
    }
}

Outcome failed(int code, const QString &text, const std::string &source)
{
    return {{}, AbstractError(code, ErrorCategory::kFile, FileError::wholeSource(source), text.toStdString())};
}

/// @param what as in: cannot "create" a file
Outcome failed(const QString &what, const QString &path, int number, QFileDevice::FileError otherwise,
               const std::string &source)
{
    return failed(codeOf(number, otherwise),
                  "cannot "_L1 + what + " \""_L1 + path + "\": "_L1 + PlainFile::reason(path, number) + u'.'
                      + adviceFor(number, what == kCreate || what == kUseFolder),
                  FileError::sourceWith(source, number));
}

Outcome skipped(const QString &what, const QString &path, QFileDevice::FileError code, const std::string &source)
{
    return failed(code,
                  "cannot "_L1 + what + " \""_L1 + path
                      + "\": a file of that name exists and is to be left alone. Move it away, or have the new file "
                        "renamed."_L1,
                  FileError::sourceWith(source, EEXIST));
}

Outcome incomplete(const QString &path, qint64 found, qint64 wanted, const std::string &source)
{
    return failed(QFileDevice::ReadError,
                  "cannot finish \""_L1 + path + "\": bytes are missing, it has "_L1 + QString::number(found)
                      + " of "_L1 + QString::number(wanted) + '.'_L1 + adviceFor(ENODATA, false),
                  source);
}

/// The incomplete file is looked for first: whoever else makes one may be giving it the final name just now.
QStringList inTheWayOf(const TargetFolder &folder, const QString &name)
{
    const QString part = TargetFileName::partOf(name);
    const bool isPartThere = folder.exists(part);
    QStringList paths;
    if (folder.exists(name))
        paths.append(folder.pathOf(name));
    if (isPartThere)
        paths.append(folder.pathOf(part));
    return paths;
}

/// @param name the wished name; the one that was taken, afterwards
int renameToFree(TargetFolder &folder, const QString &partName, QString &name)
{
    const QString wished = name;
    int error = EEXIST;
    for (int number = 1; number <= kMaxNumber && error == EEXIST; ++number) {
        name = TargetFileName::numbered(wished, number);
        error = inTheWayOf(folder, name).isEmpty() ? folder.renameWithoutReplacing(partName, name) : EEXIST;
    }
    return error;
}

}

TargetFileOperator::TargetFileOperator(const QString &folder, const QHash<int, OwnFiles::Making> &making)
    : m_folder(folder)
    , m_making(making)
{
}

Outcome TargetFileOperator::perform(Operation &operation, Reaction reaction, bool truncate)
{
    if (m_folder.isEmpty())
        return failed(QFileDevice::OpenError, u"no folder is set for the download. Choose one."_s, errorSourceHere());
    TargetFolder folder(m_folder, m_making.value(operation.fileIndex));
    if (const int error = folder.open())
        return failed(kUseFolder, folder.pathOf({}), error, QFileDevice::OpenError, errorSourceHere());
    return operation.kind == Operation::Create ? create(folder, operation, reaction, truncate)
                                               : finish(folder, operation, reaction);
}

Outcome TargetFileOperator::create(TargetFolder &folder, Operation &operation, Reaction reaction, bool truncate)
{
    const QString name = TargetFileName::fromPath(operation.name, operation.isChosen);
    const QString part = TargetFileName::partOf(name);
    if (inTheWayOf(folder, name).isEmpty()) {
        const int error = folder.createExclusively(part);
        if (error == 0)
            return created(operation, part);
        if (error != EEXIST)
            return failed(kCreate, folder.pathOf(part), error, QFileDevice::OpenError, errorSourceHere());
    }
    switch (reaction) {
    case Reaction::Ask:
        return {inTheWayOf(folder, name), {}};
    case Reaction::Skip:
        return skipped(kCreate, folder.pathOf(name), QFileDevice::OpenError, errorSourceHere());
    case Reaction::Overwrite:
        return createOver(folder, operation, name, truncate);
    case Reaction::NotSet:
    case Reaction::Rename:
        break;
    }
    return createNumbered(folder, operation, name);
}

Outcome TargetFileOperator::createNumbered(TargetFolder &folder, Operation &operation, const QString &name)
{
    int error = EEXIST;
    for (int number = 1; number <= kMaxNumber && error == EEXIST; ++number) {
        const QString candidate = TargetFileName::numbered(name, number);
        if (!inTheWayOf(folder, candidate).isEmpty())
            continue;
        const QString part = TargetFileName::partOf(candidate);
        error = folder.createExclusively(part);
        if (error == 0)
            return created(operation, part);
    }
    return failed(kCreate, folder.pathOf(name), error, QFileDevice::OpenError, errorSourceHere());
}

/// The finished file stays until the new one takes its place. An incomplete one is begun anew rather than emptied: its
/// name may be a link, or the file be known by other names. That of another download is nobody's to take.
Outcome TargetFileOperator::createOver(TargetFolder &folder, Operation &operation, const QString &name, bool truncate)
{
    const QString part = TargetFileName::partOf(name);
    if (m_created.values().contains(part))
        return createNumbered(folder, operation, name);
    if (folder.isFolder(name))
        return failed(u"replace"_s, folder.pathOf(name), EISDIR, QFileDevice::OpenError, errorSourceHere());
    const int error = folder.exists(part) && !truncate ? folder.takeOver(part) : folder.makeAnew(part);
    if (error == EEXIST)
        return createNumbered(folder, operation, name);
    if (error != 0)
        return failed(kCreate, folder.pathOf(part), error, QFileDevice::OpenError, errorSourceHere());
    return created(operation, part);
}

Outcome TargetFileOperator::created(Operation &operation, const QString &partName)
{
    m_created.insert(operation.fileIndex, partName);
    operation.resultPath = partName;
    return {};
}

Outcome TargetFileOperator::finish(TargetFolder &folder, Operation &operation, Reaction reaction)
{
    const QString path = m_created.value(operation.fileIndex, operation.name);
    const QString subPath = path.section(u'/', 0, -2);
    const QString name = path.section(u'/', -1);
    int error = name.isEmpty() || path.startsWith(u'/') ? EACCES : folder.enter(subPath);
    if (name == "."_L1 || name == ".."_L1)
        error = EACCES;
    if (error != 0)
        return failed(u"finish"_s, folder.pathOf(path), error, QFileDevice::OpenError, errorSourceHere());

    qint64 found = 0;
    error = folder.bringToSize(name, operation.size, m_created.contains(operation.fileIndex), found);
    const QString finalName = TargetFileName::finalOf(name);
    // Who was stopped between the rename and the record finds the work done: by the file itself, never by its length.
    if (error == ENOENT && finalName != name && folder.isOwnUnder(finalName, name)
        && (operation.size < 0 || folder.fileSize(finalName) == operation.size)) {
        operation.resultPath = TargetFileName::finalOf(path);
        return {};
    }
    if (error == ENODATA)
        return incomplete(folder.pathOf(name), found, operation.size, errorSourceHere());
    if (error != 0)
        return failed(u"finish"_s, folder.pathOf(name), error, QFileDevice::ResizeError, errorSourceHere());
    return bringToName(folder, operation, subPath, name, reaction);
}

Outcome TargetFileOperator::bringToName(TargetFolder &folder, Operation &operation, const QString &subPath,
                                        const QString &partName, Reaction reaction)
{
    const QString wished = TargetFileName::finalOf(partName);
    QString name = wished;
    int error = wished == partName ? 0 : folder.renameWithoutReplacing(partName, wished);
    if (error == EEXIST && reaction == Reaction::Ask)
        return {{folder.pathOf(wished)}, {}};
    if (error == EEXIST && reaction == Reaction::Skip)
        return skipped(u"finish"_s, folder.pathOf(wished), QFileDevice::RenameError, errorSourceHere());
    if (error == EEXIST && reaction == Reaction::Overwrite)
        error = folder.renameOver(partName, wished);
    else if (error == EEXIST)
        error = renameToFree(folder, partName, name);
    // What was looked at before may have been exchanged since; the name is not for that.
    if (error == 0 && folder.isOtherUnder(name, partName)) {
        folder.renameWithoutReplacing(name, partName);
        error = PlainFile::kAnotherFile;
    }
    if (error == 0)
        error = folder.sync();
    if (error != 0)
        return failed(u"rename to"_s, folder.pathOf(name), error, QFileDevice::RenameError, errorSourceHere());
    operation.resultPath = subPath.isEmpty() ? name : subPath + u'/' + name;
    return {};
}
