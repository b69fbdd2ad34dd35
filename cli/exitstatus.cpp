// SPDX-License-Identifier: MIT
#include <cli/exitstatus.h>

ExitStatus exitStatusOf(const Failure &failure)
{
    using Kind = Failure::Kind;
    switch (failure.kind) {
    case Kind::None:
    case Kind::Skipped:
    case Kind::SameResource:
    case Kind::TakenOver:
    case Kind::FoundWhole:
    case Kind::ChecksumFound:
    case Kind::NoChecksumFound:
        return ExitStatus::Done;
    case Kind::TimedOut:
    case Kind::NothingCame:
        return ExitStatus::TimeOut;
    case Kind::NotFound:
        return ExitStatus::NotFound;
    case Kind::NetworkFailed:
    case Kind::ProxyFailed:
        return ExitStatus::NetworkProblem;
    case Kind::HostNotFound:
    case Kind::ProxyNotFound:
        return ExitStatus::NameResolution;
    case Kind::BadAnswer:
        return ExitStatus::BadResponse;
    case Kind::TooManyRedirects:
        return ExitStatus::TooManyRedirects;
    case Kind::ServerOverloaded:
        return ExitStatus::ServerOverloaded;
    case Kind::LoginRequired:
    case Kind::LoginRefused:
    case Kind::ProxyLoginRequired:
    case Kind::ProxyLoginRefused:
        return ExitStatus::Authentication;
    case Kind::CertificateRefused:
    case Kind::ProxyCertificateRefused:
    case Kind::EncryptionFailed:
        return ExitStatus::CertificateRefused;
    case Kind::UnsupportedUrl:
    case Kind::ProxyUnusable:
    case Kind::CertificatesUnusable:
    case Kind::ClientCertificateUnusable:
    case Kind::InterfaceUnusable:
    case Kind::ValueUnusable:
    case Kind::CookiesUnusable:
    case Kind::LoginsUnusable:
        return ExitStatus::BadOption;
    case Kind::CannotResume:
    case Kind::CannotTakeOver:
        return ExitStatus::CannotResume;
    case Kind::ResourceChanged:
        return ExitStatus::ResourceChanged;
    case Kind::ChecksumDiffers:
    case Kind::DigestDiffers:
    case Kind::ChecksumNotFound:
    case Kind::ChecksumUnusable:
        return ExitStatus::ChecksumMismatch;
    case Kind::DiskFull:
    case Kind::NoRoom:
        return ExitStatus::DiskFull;
    case Kind::NameTaken:
        return ExitStatus::FileExists;
    case Kind::CannotCreateFile:
        return ExitStatus::CannotCreateFile;
    case Kind::FileFailed:
    case Kind::CannotReadFile:
    case Kind::FileShorter:
    case Kind::FileMissing:
    case Kind::NotOnDisk:
    case Kind::CannotDeleteFile:
        return ExitStatus::FileError;
    case Kind::Stopped:
    case Kind::StoppedBeforeComparing:
        return ExitStatus::Unfinished;
    case Kind::Unknown:
    case Kind::NoSuchDownload:
    case Kind::WrongState:
    case Kind::OwnedByOther:
    case Kind::CannotBegin:
    case Kind::CannotChange:
    case Kind::CannotFinish:
    case Kind::NothingToCompare:
    case Kind::CannotOpenList:
    case Kind::CannotReadList:
    case Kind::CannotChangeList:
    case Kind::CannotRepairList:
    case Kind::ListInMemory:
    case Kind::ListDamaged:
    case Kind::NoModule:
    case Kind::ModuleUnusable:
    case Kind::LoginsExposed:
        break;
    }
    return ExitStatus::Unknown;
}
