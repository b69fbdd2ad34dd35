// SPDX-License-Identifier: MIT
#include <cli/failurewords.h>

#include <cli/clausewords.h>
#include <cli/failurenames.h>
#include <cli/networkwords.h>
#include <cli/nextcommand.h>
#include <cli/roomwords.h>

#include <QDir>
#include <QStringList>

#include <cerrno>

using namespace Qt::StringLiterals;

using namespace FailureNames;

namespace
{

using Kind = Failure::Kind;
using Remedy = Failure::Remedy;

QString unknown(const Failure &failure)
{
    return u"cannot download %1: %2. Run the same command again with --log FILE to see what happened."_s.arg(
        quotedTitle(failure), reason(failure, u"the transfer ended without a file and without a reason"_s));
}

/// Of checksums: an address, or a file of this machine.
QString quotedList(const Failure &failure)
{
    const QUrl &url = failure.subject.url;
    return url.isLocalFile() ? quoted(QDir::toNativeSeparators(url.toLocalFile())) : quotedUrl(failure);
}

QString cannotResume(const Failure &failure)
{
    return u"cannot resume %1: the server does not send the rest of a file alone. What was downloaded stays in %2; "
           u"%3 fetches all of it again."_s.arg(quotedTitle(failure), quotedFile(failure),
                                                command("restart"_L1, failure));
}

QString resourceChanged(const Failure &failure)
{
    return u"cannot resume %1: the server no longer has the same file (%4). What was downloaded stays in %2; %3 "
           u"fetches the new one."_s.arg(quotedTitle(failure), quotedFile(failure), command("restart"_L1, failure),
                                         reason(failure, u"its ETag, size or date changed"_s));
}

QString checksumDiffers(const Failure &failure)
{
    const QString which = failure.kind == Kind::DigestDiffers ? u"the server means"_s : u"was meant"_s;
    return u"%1 is not the file that %2: %3. The file stays as it is; %4 fetches it again."_s.arg(
        quotedFile(failure), which, reason(failure, u"its checksum is another one"_s), command("restart"_L1, failure));
}

QString checksumUnusable(const Failure &failure)
{
    return u"%1 is there, but was not compared with its checksum: %2"_s.arg(quotedFile(failure), cause(failure));
}

QString noChecksumFound(const Failure &failure)
{
    if (failure.cause.isEmpty())
        return u"no checksum of %1 was found beside it"_s.arg(quoted(failure.subject.title));
    return u"nobody knows whether there is a checksum of %1 beside it: of %2, %3. To look again, run %4."_s.arg(
        quoted(failure.subject.title), quotedUrl(failure), cause(failure), command("resume"_L1, failure));
}

QString nameTaken(const Failure &failure)
{
    return u"cannot give %1 its final name: %2. Move what is in the way, or choose another name with -o."_s.arg(
        quotedFile(failure), reason(failure, u"a file of that name exists already"_s));
}

QString cannotCreateFile(const Failure &failure)
{
    return u"cannot create %1: %2. Check that you may write there, or choose another folder with -d."_s.arg(
        quotedFile(failure), reason(failure, u"the file could not be opened"_s));
}

QString fileFailed(const Failure &failure)
{
    return u"cannot write %1: %2. Check the disk and %3."_s.arg(
        quotedFile(failure), reason(failure, u"the disk reported an error"_s), sameCommand(failure));
}

QString cannotReadFile(const Failure &failure)
{
    return u"cannot read %1 for its checksum: %2."_s.arg(quotedFile(failure), cause(failure));
}

QString notOnDisk(const Failure &failure)
{
    return u"cannot make sure that %1 is on the disk: %2. What was written in this run will be fetched again. Check "
           u"the disk."_s.arg(quotedFile(failure), cause(failure));
}

QString stopped(const Failure &failure)
{
    const QString what = u"stopped; "_s + sameCommand(failure);
    return failure.subject.title.isEmpty() ? what : quoted(failure.subject.title) + u": "_s + what;
}

QString stoppedBeforeComparing(const Failure &failure)
{
    return u"stopped before %1 was compared with its checksum; %2 does it"_s.arg(quoted(failure.subject.title),
                                                                                 command("resume"_L1, failure));
}

QString noSuchDownload(const Failure &failure)
{
    return u"there is no download %1. Run \"%2\" to see them."_s.arg(QString::number(failure.subject.id),
                                                                     NextCommand::line(u"list"_s));
}

QString cannotBegin(const Failure &failure)
{
    return u"cannot begin download %1: %2. Wait until that is done, and run \"%3\"."_s.arg(
        numberOf(failure), cause(failure), commandOf("resume"_L1, failure));
}

QString ownedByOther(const Failure &failure)
{
    if (failure.number == 0)
        return u"lost download %1: another process has worked on it meanwhile, or removed it. \"%2\" shows it."_s.arg(
            numberOf(failure), commandOf("show"_L1, failure));
    if (failure.secondsLeft > 0)
        return u"cannot work on download %1: process %2 is at work on it, on another machine or in another container. "
               u"If "
               u"that has ended, the download is free in %3 s."_s.arg(
                   numberOf(failure), QString::number(failure.number), QString::number(failure.secondsLeft));
    return u"cannot work on download %1: process %2 is at work on it. Wait until that is done, or stop it."_s.arg(
        numberOf(failure), QString::number(failure.number));
}

/// What to do about a download that is not as it would have to be.
QString adviceFor(const Failure &failure)
{
    if (failure.remedies.contains(Remedy::StopFirst))
        return u" Stop it first."_s;
    if (failure.remedies.contains(Remedy::Remove))
        return u" Remove it if it is not wanted."_s;
    if (failure.remedies.contains(Remedy::OneConnection))
        return u" Resume it with -x 1 until the first gap is filled, or download all of it."_s;
    return {};
}

/// @param what as in: cannot "change" download 7
QString cannot(const QString &what, const Failure &failure, const QString &when = {})
{
    return u"cannot %1 download %2%3: %4."_s.arg(what, numberOf(failure), when, cause(failure)) + adviceFor(failure);
}

/// What to do about a list that cannot be worked with.
QString listAdvice(const Failure &failure)
{
    const bool isAnotherWelcome = failure.remedies.contains(Remedy::OtherList);
    if (failure.remedies.contains(Remedy::MoveAway))
        return isAnotherWelcome ? u" Move that out of the way, or name another file with --list."_s
                                : u" Move that out of the way."_s;
    if (failure.remedies.contains(Remedy::NewerProgram))
        return u" Use that version."_s;
    if (failure.remedies.contains(Remedy::MakeRoom))
        return u" Make room there, name another file with --list, or keep none with --no-list."_s;
    if (failure.remedies.contains(Remedy::StopFirst))
        return u" Wait until that is done, or stop it."_s;
    return isAnotherWelcome ? u" Name another file with --list."_s : QString();
}

/// @param what as in: cannot "open" the list
QString aboutList(const QString &what, const Failure &failure)
{
    const QString list =
        failure.subject.path.isEmpty() ? u"in memory"_s : quoted(QDir::toNativeSeparators(failure.subject.path));
    return u"cannot %1 the list %2: %3."_s.arg(what, list, reason(failure, u"nobody said why"_s)) + listAdvice(failure);
}

QString listDamaged(const Failure &failure)
{
    const QString which = quotedFile(failure);
    const QString kept = QDir::toNativeSeparators(failure.subject.keptAs);
    if (kept.isEmpty())
        return u"the list %1 was damaged. It was set aside, and a new one begun."_s.arg(which);
    return u"the list %1 was damaged%3. It is kept as %2, and a new list was begun; incomplete files stay where they "
           u"are. To bring over what can be read of it, run: %4"_s.arg(
               which, quoted(kept), cause(failure).isEmpty() ? QString() : u": "_s + cause(failure),
               NextCommand::lineFor(QDir::toNativeSeparators(failure.subject.path),
                                    u"list --repair "_s + NextCommand::quoted(kept)));
}

QString moduleUnusable(const Failure &failure)
{
    const QString advice = failure.remedies.contains(Remedy::MoveAway)
        ? u"Move it out of the way."_s
        : u"Install the one that came with this program."_s;
    return u"cannot load the module %1: %2. %3"_s.arg(quotedFile(failure), cause(failure), advice);
}

QString fromNoAddress(const Failure &failure)
{
    QStringList reasons;
    for (const Failure::Address &address : failure.addresses)
        reasons.append(u"%1: %2"_s.arg(address.url.toDisplayString(), ClauseWords::of(address.reason)));
    return u"cannot download %1 from any of its addresses: %2"_s.arg(quoted(failure.subject.title),
                                                                     reasons.join(u"; "_s));
}

QString cannotTakeOver(const Failure &failure)
{
    if (failure.remedies.isEmpty()) // nobody wanted to go on with it
        return u"%1 is not the list's, and not known to be the server's file: %2"_s.arg(quotedFile(failure),
                                                                                        cause(failure));
    return u"cannot go on with %1: %2. It stays as it is. Without -c the file gets another name; with --on-exists "
           u"overwrite it takes this one's place."_s.arg(quotedFile(failure), cause(failure));
}

QString sameResource(const Failure &failure)
{
    if (failure.number != 0)
        return u"%1 is there already, from download %2"_s.arg(quotedFile(failure), numberOf(failure));
    return u"download %1 has begun to fetch %2 into %3; this one begins once more. \"%4\" goes on with that "
           u"one."_s.arg(numberOf(failure), quotedTitle(failure), quotedFolder(failure),
                         commandOf("resume"_L1, failure));
}

QString ofItsKind(const Failure &failure)
{
    switch (failure.kind) {
    case Kind::None:
        return {};
    case Kind::TimedOut:
    case Kind::NothingCame:
    case Kind::NotFound:
    case Kind::NetworkFailed:
    case Kind::HostNotFound:
    case Kind::BadAnswer:
    case Kind::TooManyRedirects:
    case Kind::ServerOverloaded:
    case Kind::LoginRequired:
    case Kind::LoginRefused:
    case Kind::ProxyLoginRequired:
    case Kind::ProxyLoginRefused:
    case Kind::ProxyFailed:
    case Kind::ProxyNotFound:
    case Kind::CertificateRefused:
    case Kind::ProxyCertificateRefused:
    case Kind::EncryptionFailed:
    case Kind::UnsupportedUrl:
        return NetworkWords::sentence(failure);
    case Kind::CannotResume:
        return cannotResume(failure);
    case Kind::ResourceChanged:
        return resourceChanged(failure);
    case Kind::ChecksumDiffers:
    case Kind::DigestDiffers:
        return checksumDiffers(failure);
    case Kind::ChecksumNotFound:
        return u"%1 is there, but was not compared with its checksum: of %2, %3. To look again, run %4."_s.arg(
            quotedFile(failure), quotedList(failure), cause(failure), command("resume"_L1, failure));
    case Kind::ChecksumFound:
        return u"%1 is compared with the %2 checksum in %3"_s.arg(quoted(failure.subject.title), cause(failure),
                                                                  quotedList(failure));
    case Kind::NoChecksumFound:
        return noChecksumFound(failure);
    case Kind::ChecksumUnusable:
        return checksumUnusable(failure);
    case Kind::DiskFull:
    case Kind::NoRoom:
        return RoomWords::sentence(failure);
    case Kind::NameTaken:
        return nameTaken(failure);
    case Kind::CannotCreateFile:
        return cannotCreateFile(failure);
    case Kind::FileFailed:
        return fileFailed(failure);
    case Kind::CannotReadFile:
        return cannotReadFile(failure);
    case Kind::NotOnDisk:
        return notOnDisk(failure);
    case Kind::FileShorter:
        return u"%1 is shorter than what was downloaded; what it lacks is fetched again"_s.arg(quotedFile(failure));
    case Kind::FileMissing:
        return u"%1 is missing or not what the list says of it; the download begins anew"_s.arg(quotedFile(failure));
    case Kind::SameResource:
        return sameResource(failure);
    case Kind::CannotTakeOver:
        return cannotTakeOver(failure);
    case Kind::TakenOver:
        return u"%1 was begun already: %2 are there, and they are the server's wherever they were compared"_s.arg(
            quoted(failure.subject.title), cause(failure));
    case Kind::FoundWhole:
        return u"%1 is complete already: it is as long as the server's file, and the same wherever they were compared"_s
            .arg(quoted(failure.subject.title));
    case Kind::Skipped:
        return u"%1 is there already; skipped"_s.arg(quoted(failure.subject.title));
    case Kind::Stopped:
        return stopped(failure);
    case Kind::StoppedBeforeComparing:
        return stoppedBeforeComparing(failure);
    case Kind::NoSuchDownload:
        return noSuchDownload(failure);
    case Kind::CannotBegin:
        return cannotBegin(failure);
    case Kind::OwnedByOther:
        return ownedByOther(failure);
    case Kind::WrongState:
    case Kind::CannotChange:
        return cannot(u"change"_s, failure);
    case Kind::ValueUnusable:
        return cause(failure);
    case Kind::CannotDeleteFile:
        return u"cannot remove download %1: %2. \"%3\" takes it off the list and leaves the file."_s.arg(
            numberOf(failure), cause(failure), commandOf("remove"_L1, failure));
    case Kind::CannotFinish:
        return cannot(u"finish"_s, failure, u" now"_s);
    case Kind::NothingToCompare:
        return cannot(u"check"_s, failure);
    case Kind::CannotOpenList:
        return aboutList(u"open"_s, failure);
    case Kind::CannotReadList:
        return aboutList(u"read"_s, failure);
    case Kind::CannotChangeList:
        return aboutList(u"change"_s, failure);
    case Kind::CannotRepairList:
        return aboutList(u"repair"_s, failure);
    case Kind::ListDamaged:
        return listDamaged(failure);
    case Kind::ListInMemory:
        return u"%1: the list of downloads is kept in memory, and gone when this program ends. Name a file for it with "
               u"--list."_s.arg(cause(failure));
    case Kind::NoModule:
        return u"cannot find a module in %1. Set PLAIT_MODULE_DIR to the folder that holds them."_s.arg(cause(failure));
    case Kind::ModuleUnusable:
        return moduleUnusable(failure);
    case Kind::ProxyUnusable:
        return u"cannot use the proxy %1: %2. Give it as http://HOST:PORT, https://HOST:PORT or socks5://HOST:PORT."_s
            .arg(quoted(failure.subject.title), cause(failure));
    case Kind::CertificatesUnusable:
        return u"cannot read the certificates in %1: %2. Name a file in PEM form with --ca-certificate."_s.arg(
            quotedFile(failure), cause(failure));
    case Kind::ClientCertificateUnusable:
        return u"cannot show the certificate in %1 to servers: %2. Give it with --cert, and its key with --key."_s.arg(
            quotedFile(failure), cause(failure));
    case Kind::InterfaceUnusable:
        return u"cannot go out by the interface %1: %2. Give one of them, or an address of this machine."_s.arg(
            quoted(failure.subject.title), cause(failure));
    case Kind::CookiesUnusable:
        return u"cannot read the cookies in %1: %2. Export them in Netscape's format (cookies.txt)."_s.arg(
            quotedFile(failure), cause(failure));
    case Kind::LoginsUnusable:
        return u"cannot read the logins in %1: %2. Correct the file, or go on without it."_s.arg(quotedFile(failure),
                                                                                                 cause(failure));
    case Kind::LoginsExposed:
        return u"other users of this machine can get at the passwords in %1. Run: chmod 600 %1"_s.arg(
            quotedFile(failure));
    case Kind::Unknown:
        break;
    }
    return unknown(failure);
}

/// How what was told in whole sentences is done here.
QString wayOut(const Failure &failure)
{
    if (failure.kind == Kind::NameTaken)
        return u" -o NAME gives it another name, and --on-exists rename finds one."_s;
    if (failure.kind == Kind::CannotCreateFile && failure.number == ENAMETOOLONG)
        return u" -o NAME gives one."_s;
    if (failure.kind == Kind::DiskFull)
        return RoomWords::facts(failure)
            + u" To go on, run %1; -d chooses another folder."_s.arg(command("resume"_L1, failure));
    if (failure.kind == Kind::FileFailed && failure.number == ESTALE)
        return u" To fetch it again, run %1."_s.arg(command("restart"_L1, failure));
    return failure.kind == Kind::CannotCreateFile && failure.number > 0 ? u" -d FOLDER names one."_s : QString();
}

}

QString FailureWords::sentence(const Failure &failure)
{
    if (!failure.addresses.isEmpty())
        return fromNoAddress(failure);
    return failure.remedies.contains(Remedy::AsDetailSays) ? failure.detail + wayOut(failure) : ofItsKind(failure);
}
