// SPDX-License-Identifier: MIT
#include <host/policy/failure.h>

#include <host/parsing/authchallenges.h>
#include <host/parsing/securitywords.h>
#include <host/policy/proxychoice.h>
#include <host/policy/schemes.h>
#include <inet/qt/download/framework/fileerror.h>

#include <QFileDevice>
#include <QNetworkReply>

#include <cerrno>

namespace
{

using Kind = Failure::Kind;
using Remedy = Failure::Remedy;
using Info = AbstractDownloadPersistentInfo;

constexpr int kHttpPort = 80;
constexpr int kBadRequest = 400;

Kind kindOfGeneric(int code)
{
    switch (GenericErrorCode(code)) {
    case GenericErrorCode::TooManyRedirects:
        return Kind::TooManyRedirects;
    case GenericErrorCode::OperationAborted:
        return Kind::Stopped;
    case GenericErrorCode::NotSupported:
        return Kind::UnsupportedUrl;
    case GenericErrorCode::Unexpected:
        break;
    }
    return Kind::Unknown;
}

/// The target's name is taken and the file there is not to be touched.
bool isNameTaken(int number, const Info &info)
{
    return info.existingFileReaction == AbstractDownloadExistingFileReaction::Skip || number == EEXIST
        || number == EISDIR;
}

Kind kindOfFile(int code, int number, const Info &info)
{
    switch (QFileDevice::FileError(code)) {
    case QFileDevice::ResourceError:
        return number == EMFILE || number == ENFILE || number == ENOMEM ? Kind::FileFailed : Kind::DiskFull;
    case QFileDevice::OpenError:
        return isNameTaken(number, info) ? Kind::NameTaken : Kind::CannotCreateFile;
    case QFileDevice::PermissionsError:
        return Kind::CannotCreateFile;
    case QFileDevice::RenameError:
        return isNameTaken(number, info) ? Kind::NameTaken : Kind::FileFailed;
    default:
        return Kind::FileFailed;
    }
}

Kind kindOfSecurity(const QString &text)
{
    switch (SecurityWords::refusalIn(text)) {
    case SecurityWords::Refusal::ProxyCertificate:
        return Kind::ProxyCertificateRefused;
    case SecurityWords::Refusal::NoAgreement:
    case SecurityWords::Refusal::NoTls:
        return Kind::EncryptionFailed;
    case SecurityWords::Refusal::Certificate:
        break;
    }
    return Kind::CertificateRefused;
}

Kind kindOfNetwork(int code)
{
    switch (QNetworkReply::NetworkError(code)) {
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ProxyTimeoutError:
        return Kind::TimedOut;
    case QNetworkReply::HostNotFoundError:
        return Kind::HostNotFound;
    case QNetworkReply::ProxyNotFoundError:
        return Kind::ProxyNotFound;
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::UnknownProxyError:
        return Kind::ProxyFailed;
    case QNetworkReply::TooManyRedirectsError:
        return Kind::TooManyRedirects;
    case QNetworkReply::ProxyAuthenticationRequiredError:
        return Kind::ProxyLoginRequired;
    case QNetworkReply::AuthenticationRequiredError:
        return Kind::LoginRequired;
    case QNetworkReply::ContentNotFoundError:
    case QNetworkReply::ContentGoneError:
        return Kind::NotFound;
    case QNetworkReply::ServiceUnavailableError:
        return Kind::ServerOverloaded;
    case QNetworkReply::ProtocolUnknownError: // What a person gave was refused before: a server has sent there.
    case QNetworkReply::InsecureRedirectError:
    case QNetworkReply::ContentAccessDenied:
    case QNetworkReply::ContentOperationNotPermittedError:
    case QNetworkReply::ContentReSendError:
    case QNetworkReply::ContentConflictError:
    case QNetworkReply::UnknownContentError:
    case QNetworkReply::ProtocolInvalidOperationError:
    case QNetworkReply::ProtocolFailure:
    case QNetworkReply::InternalServerError:
    case QNetworkReply::OperationNotImplementedError:
    case QNetworkReply::UnknownServerError:
        return Kind::BadAnswer;
    default:
        return Kind::NetworkFailed;
    }
}

Kind kindOfHttp(int status)
{
    switch (status) {
    case 404:
    case 410:
        return Kind::NotFound;
    case 401:
        return Kind::LoginRequired;
    case 407:
        return Kind::ProxyLoginRequired;
    case 429:
    case 502:
    case 503:
    case 504:
        return Kind::ServerOverloaded;
    default:
        return Kind::BadAnswer;
    }
}

Kind kindOfDownload(int code)
{
    switch (DownloadErrorCode(code)) {
    case DownloadErrorCode::ResumeNotSupported:
        return Kind::CannotResume;
    case DownloadErrorCode::ResourceChanged:
        return Kind::ResourceChanged;
    }
    return Kind::Unknown;
}

Kind kindOf(const AbstractError &error, const Info &info, const QString &text)
{
    if (error.category == ErrorCategory::kGeneric)
        return kindOfGeneric(error.code);
    if (error.category == ErrorCategory::kFile)
        return kindOfFile(error.code, FileError::numberOf(error), info);
    if (error.category == ErrorCategory::kNetwork)
        return error.code == QNetworkReply::SslHandshakeFailedError ? kindOfSecurity(text) : kindOfNetwork(error.code);
    if (error.category == ErrorCategory::kHttp)
        return kindOfHttp(error.code);
    return error.category == ErrorCategory::kDownload ? kindOfDownload(error.code) : Kind::Unknown;
}

int numberOf(const AbstractError &error)
{
    return error.category == ErrorCategory::kHttp ? error.code : FileError::numberOf(error);
}

bool isLogin(Kind kind)
{
    return kind == Kind::LoginRequired || kind == Kind::ProxyLoginRequired;
}

Kind kindOfLogin(Kind kind, const QString &text)
{
    if (!AuthChallenges::isOfGiven(text))
        return kind;
    return kind == Kind::ProxyLoginRequired ? Kind::ProxyLoginRefused : Kind::LoginRefused;
}

/// Who asks for which login is known from its challenges alone; other words say no more than the kind does.
Failure loginFailure(Kind kind, const AbstractError &error, const Info &info, const QString &text)
{
    const auto subject = Failure::Subject::of(info);
    if (!AuthChallenges::isRefusal(text))
        return Failure::make(kind, subject, {}, numberOf(error));
    Failure failure = Failure::make(kindOfLogin(kind, text), subject, text, numberOf(error));
    if (AuthChallenges::isOfUnspoken(text))
        failure.remedies = {Remedy::GiveHeader};
    return failure;
}

/// By what is wrong with the certificate; more than one thing may be.
QList<Remedy> remediesOfCertificate(const QString &text)
{
    switch (SecurityWords::flawIn(text)) {
    case SecurityWords::Flaw::Time:
        return {Remedy::CheckClock, Remedy::AllowInsecure};
    case SecurityWords::Flaw::Host:
        return {Remedy::CheckAddress, Remedy::AllowInsecure};
    case SecurityWords::Flaw::Authority:
        break;
    }
    return {Remedy::NameAuthority, Remedy::AllowInsecure};
}

/// A server that expects TLS answers words of http with 400, with something that is none, or not at all.
bool mayBeForTls(const AbstractError &error, const Info &info)
{
    const QUrl url = info.finalSource();
    const bool isAtOtherPort = Schemes::isPlainHttp(url) && url.port(kHttpPort) != kHttpPort;
    if (!isAtOtherPort || info.bytesDownloaded(false) > 0)
        return false;
    if (error.category == ErrorCategory::kHttp)
        return error.code == kBadRequest;
    return error.category == ErrorCategory::kNetwork
        && (error.code == QNetworkReply::RemoteHostClosedError || error.code == QNetworkReply::ProtocolFailure);
}

bool isAsAsked(const Info &info)
{
    const QUrl url = info.finalSource();
    return url.host() == info.url.host() && url.port() == info.url.port() && url.scheme() == info.url.scheme();
}

/// At another port of the same machine, it is that one which did not do.
QString spokenTo(const Info &info)
{
    const QUrl url = info.finalSource();
    const QString host = url.host();
    if (host != info.url.host() || url.port() == info.url.port() || url.port() <= 0)
        return host;
    return (host.contains(u':') ? u'[' + host + u']' : host) + u':' + QString::number(url.port());
}

/// Behind a proxy nobody knows who did not understand, and another scheme is advice for an address that was typed.
void amendRemedies(Failure &failure, const AbstractError &error, const Info &info)
{
    if (failure.kind == Kind::CertificateRefused)
        failure.remedies = remediesOfCertificate(failure.detail);
    if (error.category == ErrorCategory::kNetwork && error.code == QNetworkReply::ProtocolUnknownError)
        failure.remedies.append(Remedy::CheckAddress); // a redirect to what is never fetched, now or later
    const bool isNoTls = SecurityWords::refusalIn(failure.detail) == SecurityWords::Refusal::NoTls;
    if (failure.kind == Kind::EncryptionFailed ? isNoTls
                                               : mayBeForTls(error, info) && !ProxyChoice::isNamedIn(failure.detail))
        failure.remedies.append(isAsAsked(info) ? Remedy::OtherScheme : Remedy::CheckAddress);
}

QString textOf(const AbstractError &error)
{
    return QString::fromStdString(error.description).simplified();
}

QString clauseOf(QString text)
{
    while (text.endsWith(u'.'))
        text.chop(1);
    return text;
}

}

Failure::Subject Failure::Subject::of(const AbstractDownloadPersistentInfo &info)
{
    Subject subject{info.id,       info.url.adjusted(QUrl::RemovePassword), info.downloadTitle(), {}, info.folder,
                    spokenTo(info)};
    if (!info.files.isEmpty())
        subject.path = info.filePath(0);
    return subject;
}

Failure::Subject Failure::Subject::of(qint64 id)
{
    Subject subject;
    subject.id = id;
    return subject;
}

Failure Failure::of(const AbstractError &error, const AbstractDownloadPersistentInfo &info)
{
    if (!error)
        return info.isFinished() ? Failure() : make(Kind::Unknown, Subject::of(info));
    const QString text = textOf(error);
    const Kind kind = kindOf(error, info, text);
    if (isLogin(kind))
        return loginFailure(kind, error, info, clauseOf(text));
    const bool isWhole = FileError::isWhole(error);
    Failure failure = isWhole ? told(kind, Subject::of(info), text) : make(kind, Subject::of(info), clauseOf(text));
    failure.number = numberOf(error);
    amendRemedies(failure, error, info);
    return failure;
}
