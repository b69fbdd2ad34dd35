// SPDX-License-Identifier: MIT
#include <host/policy/exitstatus.h>

#include <QFileDevice>
#include <QNetworkReply>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <string>

namespace
{

ExitStatus statusOfGeneric(int code)
{
    switch (GenericErrorCode(code)) {
    case GenericErrorCode::TooManyRedirects:
        return ExitStatus::TooManyRedirects;
    case GenericErrorCode::OperationAborted:
        return ExitStatus::Unfinished;
    case GenericErrorCode::NotSupported:
        return ExitStatus::BadOption;
    case GenericErrorCode::Unexpected:
        break;
    }
    return ExitStatus::Unknown;
}

/// Whether the error's text holds the system's words for one of these; Qt's codes put several of them together.
bool saysOneOf(const AbstractError &error, std::initializer_list<int> systemErrors)
{
    return std::any_of(systemErrors.begin(), systemErrors.end(), [&error](int number) {
        return error.description.find(std::strerror(number)) != std::string::npos;
    });
}

/// The target's name is taken and the file there is not to be touched.
bool isNameTaken(const AbstractError &error, const AbstractDownloadPersistentInfo &info)
{
    return info.existingFileReaction == AbstractDownloadExistingFileReaction::Skip
        || saysOneOf(error, {EEXIST, EISDIR});
}

ExitStatus statusOfFile(const AbstractError &error, const AbstractDownloadPersistentInfo &info)
{
    switch (QFileDevice::FileError(error.code)) {
    case QFileDevice::ResourceError:
        return saysOneOf(error, {EMFILE, ENFILE, ENOMEM}) ? ExitStatus::FileError : ExitStatus::DiskFull;
    case QFileDevice::OpenError:
        return isNameTaken(error, info) ? ExitStatus::FileExists : ExitStatus::CannotCreateFile;
    case QFileDevice::PermissionsError:
        return ExitStatus::CannotCreateFile;
    case QFileDevice::RenameError:
        return isNameTaken(error, info) ? ExitStatus::FileExists : ExitStatus::FileError;
    default:
        return ExitStatus::FileError;
    }
}

ExitStatus statusOfNetwork(int code)
{
    switch (QNetworkReply::NetworkError(code)) {
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ProxyTimeoutError:
        return ExitStatus::TimeOut;
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::ProxyNotFoundError:
        return ExitStatus::NameResolution;
    case QNetworkReply::SslHandshakeFailedError:
        return ExitStatus::CertificateRefused;
    case QNetworkReply::TooManyRedirectsError:
        return ExitStatus::TooManyRedirects;
    case QNetworkReply::ProxyAuthenticationRequiredError:
    case QNetworkReply::AuthenticationRequiredError:
        return ExitStatus::Authentication;
    case QNetworkReply::ContentNotFoundError:
    case QNetworkReply::ContentGoneError:
        return ExitStatus::NotFound;
    case QNetworkReply::ServiceUnavailableError:
        return ExitStatus::ServerOverloaded;
    case QNetworkReply::ProtocolUnknownError:
        return ExitStatus::BadOption;
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
        return ExitStatus::BadResponse;
    default:
        return ExitStatus::NetworkProblem;
    }
}

ExitStatus statusOfHttp(int status)
{
    switch (status) {
    case 404:
    case 410:
        return ExitStatus::NotFound;
    case 401:
    case 407:
        return ExitStatus::Authentication;
    case 429:
    case 502:
    case 503:
    case 504:
        return ExitStatus::ServerOverloaded;
    default:
        return ExitStatus::BadResponse;
    }
}

ExitStatus statusOfDownload(int code)
{
    switch (DownloadErrorCode(code)) {
    case DownloadErrorCode::ResumeNotSupported:
        return ExitStatus::CannotResume;
    case DownloadErrorCode::ResourceChanged:
        return ExitStatus::ResourceChanged;
    }
    return ExitStatus::Unknown;
}

}

ExitStatus exitStatusOf(const AbstractError &error, const AbstractDownloadPersistentInfo &info)
{
    if (!error)
        return info.isFinished() ? ExitStatus::Done : ExitStatus::Unknown;
    if (error.category == ErrorCategory::kGeneric)
        return statusOfGeneric(error.code);
    if (error.category == ErrorCategory::kFile)
        return statusOfFile(error, info);
    if (error.category == ErrorCategory::kNetwork)
        return statusOfNetwork(error.code);
    if (error.category == ErrorCategory::kHttp)
        return statusOfHttp(error.code);
    if (error.category == ErrorCategory::kDownload)
        return statusOfDownload(error.code);
    return ExitStatus::Unknown;
}
