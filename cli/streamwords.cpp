// SPDX-License-Identifier: MIT
#include <cli/streamwords.h>

#include <cli/failurenames.h>
#include <cli/failurewords.h>
#include <cli/roomwords.h>

using namespace Qt::StringLiterals;
using namespace FailureNames;

namespace
{

using Kind = Failure::Kind;

/// What comes before it is read lies in a file.
QString cannotKeep(const Failure &failure, const QString &why)
{
    const QString where = failure.subject.folder.isEmpty() ? QString() : u" in "_s + quotedFolder(failure);
    return u"cannot keep what comes of %1%2 until it is read: %3. %4, or name a folder on another disk in "
           u"XDG_CACHE_HOME, and run the same command again."_s.arg(quotedUrl(failure), where, why,
                                                                    RoomWords::firstStep(failure));
}

QString cannotGoOn(const Failure &failure, const QString &why, const QString &next)
{
    return u"cannot go on with %1: %2. Run the same command again %3."_s.arg(quotedUrl(failure), why, next);
}

QString notCompared(const Failure &failure)
{
    return u"what came from %1 was not compared with its checksum: %2."_s.arg(quotedUrl(failure),
                                                                              reason(failure, u"nobody said why"_s));
}

/// What a sentence is made of has no end of its own.
QString withoutStop(QString text)
{
    while (text.endsWith(u'.'))
        text.chop(1);
    return text;
}

QString clauseOf(const Failure &failure, const QString &otherwise)
{
    return withoutStop(reason(failure, otherwise));
}

QString ofItsKind(const Failure &failure)
{
    switch (failure.kind) {
    case Kind::ResourceChanged:
        return cannotGoOn(
            failure,
            u"the server no longer has the same file (%1)"_s.arg(reason(failure, u"its ETag, size or date changed"_s)),
            u"for the new one"_s);
    case Kind::CannotResume:
        return cannotGoOn(failure, u"the server does not send the rest of a file alone"_s, u"to begin anew"_s);
    case Kind::CannotBegin:
        return cannotGoOn(failure, clauseOf(failure, u"what came of it is gone"_s), u"to begin anew"_s);
    case Kind::ChecksumDiffers:
    case Kind::DigestDiffers:
        return u"what came from %1 is not the file that was meant: %2."_s.arg(
            quotedUrl(failure), reason(failure, u"its checksum is another one"_s));
    case Kind::ChecksumNotFound:
    case Kind::ChecksumUnusable:
    case Kind::CannotReadFile:
        return notCompared(failure);
    case Kind::DiskFull:
    case Kind::NoRoom:
        return cannotKeep(
            failure, withoutStop(clauseOf(failure, RoomWords::reason(failure)) + u'.' + RoomWords::facts(failure)));
    case Kind::CannotCreateFile:
    case Kind::FileFailed:
    case Kind::NotOnDisk:
    case Kind::NameTaken:
        return cannotKeep(failure, clauseOf(failure, u"the disk reported an error"_s));
    case Kind::StoppedBeforeComparing:
        return u"stopped before all was compared with its checksum."_s;
    default:
        return FailureWords::sentence(failure);
    }
}

QString whatWentOut(qint64 out)
{
    return out > 0 ? u" %1 bytes of it went out already."_s.arg(out) : QString();
}

}

QString StreamWords::sentence(const Failure &failure, qint64 out)
{
    // In no list, it has no number that a command could name.
    Failure unlisted = failure;
    unlisted.subject.id = 0;
    return (failure.addresses.isEmpty() ? ofItsKind(unlisted) : FailureWords::sentence(unlisted)) + whatWentOut(out);
}
