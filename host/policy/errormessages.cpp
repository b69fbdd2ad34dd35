// SPDX-License-Identifier: MIT
#include <host/policy/errormessages.h>

#include <host/parsing/authchallenges.h>
#include <host/parsing/securitywords.h>
#include <host/policy/exitstatus.h>

#include <QDir>
#include <QNetworkReply>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kProxyUnauthorized = 407;

/// One failure on its way to a sentence.
struct Failure {
    const AbstractError &error;
    const AbstractDownloadPersistentInfo &info;

    QString quotedUrl() const { return u'"' + info.url.toDisplayString() + u'"'; }
    QString quotedHost() const { return u'"' + info.finalSource().host() + u'"'; }
    QString quotedTitle() const { return info.files.isEmpty() ? quotedUrl() : u'"' + info.downloadTitle() + u'"'; }
    QString quotedFolder() const { return u'"' + QDir::toNativeSeparators(info.folder) + u'"'; }
    QString quotedFile() const
    {
        return info.files.isEmpty() ? quotedFolder() : u'"' + QDir::toNativeSeparators(info.filePath(0)) + u'"';
    }
    bool isFtp() const { return info.finalSource().scheme() == "ftp"_L1; }
    bool isOfProxyLogin() const
    {
        return (isHttpStatus() && error.code == kProxyUnauthorized)
            || (error.category == ErrorCategory::kNetwork
                && error.code == QNetworkReply::ProxyAuthenticationRequiredError);
    }
    bool isHttpStatus() const { return error.category == ErrorCategory::kHttp; }

    /// Some errors are made where the way out is known, and say everything themselves.
    bool isSentence() const
    {
        const bool mayBe = error.category == ErrorCategory::kFile || error.category == ErrorCategory::kNetwork;
        return mayBe && sentence().startsWith("cannot "_L1);
    }
    bool saysWhoAsks() const { return sentence().contains(" asks for "_L1); }
    QString sentence() const { return QString::fromStdString(error.description).simplified(); }

    /// The device's or the network's own words, or ours where there are none; without a full stop.
    QString reason(const QString &otherwise) const
    {
        QString text = sentence();
        while (text.endsWith(u'.'))
            text.chop(1);
        return text.isEmpty() ? otherwise : text;
    }

    /// " (HTTP status 404)", or nothing.
    QString inBrackets() const { return isHttpStatus() ? u" (HTTP status %1)"_s.arg(error.code) : QString(); }
};

QString unknown(const Failure &failure)
{
    return u"cannot download %1: %2. Run the same command again with --log FILE to see what happened."_s.arg(
        failure.quotedTitle(), failure.reason(u"the transfer ended without a file and without a reason"_s));
}

QString timeOut(const Failure &failure)
{
    return u"cannot download %1: the server %2 sent nothing for too long. Run the same command again to resume."_s.arg(
        failure.quotedTitle(), failure.quotedHost());
}

QString notFound(const Failure &failure)
{
    return u"cannot download %1: the server has no such file%2. Check the address."_s.arg(failure.quotedUrl(),
                                                                                          failure.inBrackets());
}

QString networkProblem(const Failure &failure)
{
    return u"cannot download %1 from %2: %3. Check the network and run the same command again to resume."_s.arg(
        failure.quotedTitle(), failure.quotedHost(), failure.reason(u"the network failed"_s));
}

QString cannotResume(const Failure &failure)
{
    return u"cannot resume %1: the server does not send the rest of a file alone. What was downloaded stays in %2; "
           u"\"plait restart %3\" fetches all of it again."_s.arg(failure.quotedTitle(), failure.quotedFile(),
                                                                  QString::number(failure.info.id));
}

QString resourceChanged(const Failure &failure)
{
    return u"cannot resume %1: the server no longer has the same file (%4). What was downloaded stays in %2; \"plait "
           u"restart %3\" fetches the new one."_s.arg(failure.quotedTitle(), failure.quotedFile(),
                                                      QString::number(failure.info.id),
                                                      failure.reason(u"its ETag, size or date changed"_s));
}

QString diskFull(const Failure &failure)
{
    return u"cannot save %1: %2. Make room on the disk of %3 and run the same command again to resume, or choose "
           u"another folder with -d."_s.arg(failure.quotedTitle(), failure.reason(u"the disk is full"_s),
                                            failure.quotedFolder());
}

QString fileExists(const Failure &failure)
{
    return u"cannot give %1 its final name: %2. Move what is in the way, or choose another name with -o."_s.arg(
        failure.quotedFile(), failure.reason(u"a file of that name exists already"_s));
}

QString cannotCreateFile(const Failure &failure)
{
    return u"cannot create %1: %2. Check that you may write there, or choose another folder with -d."_s.arg(
        failure.quotedFile(), failure.reason(u"the file could not be opened"_s));
}

QString fileError(const Failure &failure)
{
    return u"cannot write %1: %2. Check the disk and run the same command again to resume."_s.arg(
        failure.quotedFile(), failure.reason(u"the disk reported an error"_s));
}

QString nameResolution(const Failure &failure)
{
    return u"cannot find the host %1: %2. Check the address and the network."_s.arg(failure.quotedHost(),
                                                                                    failure.reason(u"no such name"_s));
}

QString badResponse(const Failure &failure)
{
    if (failure.isHttpStatus())
        return u"cannot download %1: the server answered with HTTP status %2. Check the address, or try again later."_s
            .arg(failure.quotedUrl(), QString::number(failure.error.code));
    return u"cannot download %1: %2. Try again later, or from another server."_s.arg(
        failure.quotedUrl(), failure.reason(u"the server's answer makes no sense"_s));
}

QString tooManyRedirects(const Failure &failure)
{
    return u"cannot download %1: the server sends from one address to the next without end. Open the address in a "
           u"browser to see where it leads."_s.arg(failure.quotedUrl());
}

/// Who asks for what is known, and the proxy is given its login elsewhere.
QString refusedLogin(const Failure &failure, const QString &refusal)
{
    const QString advice = failure.isOfProxyLogin()
        ? u"Write them into its address (--proxy), as NAME:PASSWORD@ before the host."_s
        : u"Give them with --user NAME:PASSWORD, or --netrc."_s;
    const QString otherWay = u"What it wants to see can only be given as a --header."_s;
    return u"cannot download %1: %2%3. %4"_s.arg(failure.quotedUrl(), refusal, failure.inBrackets(),
                                                 AuthChallenges::isOfUnspoken(refusal) ? otherWay : advice);
}

QString authentication(const Failure &failure)
{
    if (failure.isOfProxyLogin())
        return refusedLogin(failure,
                            failure.saysWhoAsks() ? failure.sentence() : u"the proxy asks for a name and a password"_s);
    if (failure.isFtp())
        return u"cannot download %1: %2 asks for a name and a password: %3. Give them with --user NAME:PASSWORD, or "
               u"--netrc."_s.arg(failure.quotedUrl(), failure.quotedHost(),
                                 failure.reason(u"it let nobody in without"_s));
    if (failure.saysWhoAsks())
        return refusedLogin(failure, failure.sentence());
    return u"cannot download %1: %2 asks for a name and a password%3. Give them with "
           u"--user NAME:PASSWORD, or --netrc."_s.arg(failure.quotedUrl(), failure.quotedHost(), failure.inBrackets());
}

QString serverOverloaded(const Failure &failure)
{
    return u"cannot download %1: the server %2 has too much to do%3. Wait a while and run the same command again to "
           u"resume."_s.arg(failure.quotedTitle(), failure.quotedHost(), failure.inBrackets());
}

QString certificateRefused(const Failure &failure)
{
    if (SecurityWords::refusalIn(failure.sentence()) == SecurityWords::Refusal::ProxyCertificate)
        return u"cannot download %1: %2. Name its authority with --ca-certificate FILE."_s.arg(failure.quotedUrl(),
                                                                                               failure.reason({}));
    return u"cannot download %1: the certificate of %2 is not trusted: %3. Name its authority with --ca-certificate "
           u"FILE, or go on at your own risk with --insecure."_s.arg(failure.quotedUrl(), failure.quotedHost(),
                                                                     failure.reason(u"it was refused"_s));
}

}

QString ErrorMessages::forDownload(const AbstractError &error, const AbstractDownloadPersistentInfo &info)
{
    if (!error)
        return {};
    const Failure failure{error, info};
    if (failure.isSentence())
        return failure.sentence();
    switch (exitStatusOf(error, info)) {
    case ExitStatus::TimeOut:
        return timeOut(failure);
    case ExitStatus::NotFound:
        return notFound(failure);
    case ExitStatus::NetworkProblem:
        return networkProblem(failure);
    case ExitStatus::Unfinished:
        return forStop();
    case ExitStatus::CannotResume:
        return cannotResume(failure);
    case ExitStatus::DiskFull:
        return diskFull(failure);
    case ExitStatus::FileExists:
        return fileExists(failure);
    case ExitStatus::CannotCreateFile:
        return cannotCreateFile(failure);
    case ExitStatus::FileError:
        return fileError(failure);
    case ExitStatus::NameResolution:
        return nameResolution(failure);
    case ExitStatus::BadResponse:
        return badResponse(failure);
    case ExitStatus::TooManyRedirects:
        return tooManyRedirects(failure);
    case ExitStatus::Authentication:
        return authentication(failure);
    case ExitStatus::BadOption:
        return forUnsupportedUrl(info.url);
    case ExitStatus::ServerOverloaded:
        return serverOverloaded(failure);
    case ExitStatus::ResourceChanged:
        return resourceChanged(failure);
    case ExitStatus::CertificateRefused:
        return certificateRefused(failure);
    case ExitStatus::Done:
    case ExitStatus::Unknown:
    case ExitStatus::ChecksumMismatch:
    case ExitStatus::EndedAtOnce:
    case ExitStatus::ReaderGone:
        break;
    }
    return unknown(failure);
}

QString ErrorMessages::forUnsupportedUrl(const QUrl &url)
{
    return u"cannot download \"%1\": nothing here serves such an address. Write a whole one, as in "
           u"\"https://example.com/file.zip\"."_s.arg(url.toDisplayString(QUrl::RemoveUserInfo));
}

QString ErrorMessages::forStop()
{
    return u"stopped; run the same command again to resume"_s;
}
