// SPDX-License-Identifier: MIT
#include <host/policy/exitstatus.h>

#include <QFileDevice>
#include <QNetworkReply>
#include <QTest>

#include <cerrno>
#include <cstring>

Q_DECLARE_METATYPE(ExitStatus)

namespace
{

using Info = AbstractDownloadPersistentInfo;

AbstractError errorOf(const char *category, int code, const std::string &description = {})
{
    return {code, category, "somewhere,1", description};
}

}

class TestExitStatus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void numbers();
    void statusOfError_data();
    void statusOfError();
    void noErrorIsDoneOnlyWhenFinished();
    void aNameThatIsTakenIsToldFromOtherOpenErrors();
};

/// Scripts rest on them.
void TestExitStatus::numbers()
{
    QCOMPARE(int(ExitStatus::Done), 0);
    QCOMPARE(int(ExitStatus::Unknown), 1);
    QCOMPARE(int(ExitStatus::TimeOut), 2);
    QCOMPARE(int(ExitStatus::NotFound), 3);
    QCOMPARE(int(ExitStatus::NetworkProblem), 6);
    QCOMPARE(int(ExitStatus::Unfinished), 7);
    QCOMPARE(int(ExitStatus::CannotResume), 8);
    QCOMPARE(int(ExitStatus::DiskFull), 9);
    QCOMPARE(int(ExitStatus::FileExists), 13);
    QCOMPARE(int(ExitStatus::CannotCreateFile), 16);
    QCOMPARE(int(ExitStatus::FileError), 17);
    QCOMPARE(int(ExitStatus::NameResolution), 19);
    QCOMPARE(int(ExitStatus::BadResponse), 22);
    QCOMPARE(int(ExitStatus::TooManyRedirects), 23);
    QCOMPARE(int(ExitStatus::Authentication), 24);
    QCOMPARE(int(ExitStatus::BadOption), 28);
    QCOMPARE(int(ExitStatus::ServerOverloaded), 29);
    QCOMPARE(int(ExitStatus::ResourceChanged), 33);
    QCOMPARE(int(ExitStatus::CertificateRefused), 34);
    QCOMPARE(int(ExitStatus::EndedAtOnce), 130);
    QCOMPARE(int(ExitStatus::ReaderGone), 141);
}

void TestExitStatus::statusOfError_data()
{
    QTest::addColumn<AbstractError>("error");
    QTest::addColumn<ExitStatus>("status");

    const auto generic = [](const char *name, int code, ExitStatus status) {
        QTest::newRow(name) << errorOf(ErrorCategory::kGeneric, code) << status;
    };
    generic("a run without a file", 1, ExitStatus::Unknown);
    generic("redirects without end", 2, ExitStatus::TooManyRedirects);
    generic("a deliberate stop", 4, ExitStatus::Unfinished);
    generic("something unsupported", 6, ExitStatus::BadOption);
    generic("a code of later versions", 99, ExitStatus::Unknown);

    const auto http = [](const char *name, int code, ExitStatus status) {
        QTest::newRow(name) << errorOf(ErrorCategory::kHttp, code) << status;
    };
    http("status 404", 404, ExitStatus::NotFound);
    http("status 410", 410, ExitStatus::NotFound);
    http("status 401", 401, ExitStatus::Authentication);
    http("status 407", 407, ExitStatus::Authentication);
    http("status 403", 403, ExitStatus::BadResponse);
    http("status 416", 416, ExitStatus::BadResponse);
    http("status 429", 429, ExitStatus::ServerOverloaded);
    http("status 500", 500, ExitStatus::BadResponse);
    http("status 502", 502, ExitStatus::ServerOverloaded);
    http("status 503", 503, ExitStatus::ServerOverloaded);
    http("status 504", 504, ExitStatus::ServerOverloaded);
    http("status 206 where 200 was due", 206, ExitStatus::BadResponse);

    const auto network = [](const char *name, QNetworkReply::NetworkError code, ExitStatus status) {
        QTest::newRow(name) << errorOf(ErrorCategory::kNetwork, code) << status;
    };
    network("nobody listens", QNetworkReply::ConnectionRefusedError, ExitStatus::NetworkProblem);
    network("a body cut short", QNetworkReply::RemoteHostClosedError, ExitStatus::NetworkProblem);
    network("no such host", QNetworkReply::HostNotFoundError, ExitStatus::NameResolution);
    network("no such proxy", QNetworkReply::ProxyNotFoundError, ExitStatus::NameResolution);
    network("silence", QNetworkReply::TimeoutError, ExitStatus::TimeOut);
    network("a proxy's silence", QNetworkReply::ProxyTimeoutError, ExitStatus::TimeOut);
    network("a certificate that is not trusted", QNetworkReply::SslHandshakeFailedError,
            ExitStatus::CertificateRefused);
    network("the network went away", QNetworkReply::TemporaryNetworkFailureError, ExitStatus::NetworkProblem);
    network("a proxy that refuses", QNetworkReply::ProxyConnectionRefusedError, ExitStatus::NetworkProblem);
    network("any other network error", QNetworkReply::UnknownNetworkError, ExitStatus::NetworkProblem);
    network("redirects counted by Qt", QNetworkReply::TooManyRedirectsError, ExitStatus::TooManyRedirects);
    network("a redirect out of encryption", QNetworkReply::InsecureRedirectError, ExitStatus::BadResponse);
    network("a password is asked for", QNetworkReply::AuthenticationRequiredError, ExitStatus::Authentication);
    network("a proxy asks for a password", QNetworkReply::ProxyAuthenticationRequiredError, ExitStatus::Authentication);
    network("404 as Qt says it", QNetworkReply::ContentNotFoundError, ExitStatus::NotFound);
    network("410 as Qt says it", QNetworkReply::ContentGoneError, ExitStatus::NotFound);
    network("403 as Qt says it", QNetworkReply::ContentAccessDenied, ExitStatus::BadResponse);
    network("500 as Qt says it", QNetworkReply::InternalServerError, ExitStatus::BadResponse);
    network("503 as Qt says it", QNetworkReply::ServiceUnavailableError, ExitStatus::ServerOverloaded);
    network("a piece that was not asked for", QNetworkReply::ProtocolFailure, ExitStatus::BadResponse);
    network("a folder of an FTP server", QNetworkReply::ContentOperationNotPermittedError, ExitStatus::BadResponse);
    network("an FTP range behind the end", QNetworkReply::UnknownContentError, ExitStatus::BadResponse);
    network("a scheme that Qt does not speak", QNetworkReply::ProtocolUnknownError, ExitStatus::BadOption);

    const auto file = [](const char *name, QFileDevice::FileError code, int systemError, ExitStatus status) {
        QTest::newRow(name) << errorOf(ErrorCategory::kFile, code, std::strerror(systemError)) << status;
    };
    file("a full disk", QFileDevice::ResourceError, ENOSPC, ExitStatus::DiskFull);
    file("a full quota", QFileDevice::ResourceError, EDQUOT, ExitStatus::DiskFull);
    file("too many open files is no full disk", QFileDevice::ResourceError, EMFILE, ExitStatus::FileError);
    file("no memory is no full disk", QFileDevice::ResourceError, ENOMEM, ExitStatus::FileError);
    file("a folder that may not be written", QFileDevice::PermissionsError, EACCES, ExitStatus::CannotCreateFile);
    file("a file that cannot be opened", QFileDevice::OpenError, ENOTDIR, ExitStatus::CannotCreateFile);
    file("a folder in the file's place", QFileDevice::OpenError, EISDIR, ExitStatus::FileExists);
    file("the final name is taken", QFileDevice::RenameError, EEXIST, ExitStatus::FileExists);
    file("a rename that fails otherwise", QFileDevice::RenameError, EIO, ExitStatus::FileError);
    file("a disk that fails", QFileDevice::WriteError, EIO, ExitStatus::FileError);
    file("a file that has lost bytes", QFileDevice::ReadError, EIO, ExitStatus::FileError);

    const auto download = [](const char *name, int code, ExitStatus status) {
        QTest::newRow(name) << errorOf(ErrorCategory::kDownload, code) << status;
    };
    download("the whole in place of a part", 1, ExitStatus::CannotResume);
    download("another resource than before", 2, ExitStatus::ResourceChanged);
    download("a download error of later versions", 77, ExitStatus::Unknown);

    QTest::newRow("a category of other modules") << errorOf("OtherError", 3) << ExitStatus::Unknown;
}

void TestExitStatus::statusOfError()
{
    QFETCH(AbstractError, error);
    QTEST(exitStatusOf(error, Info()), "status");
}

void TestExitStatus::noErrorIsDoneOnlyWhenFinished()
{
    Info info;
    QCOMPARE(exitStatusOf({}, info), ExitStatus::Unknown);
    info.setFinished(true, true);
    QCOMPARE(exitStatusOf({}, info), ExitStatus::Done);
}

void TestExitStatus::aNameThatIsTakenIsToldFromOtherOpenErrors()
{
    Info info;
    const AbstractError error = errorOf(ErrorCategory::kFile, QFileDevice::OpenError, "left alone");
    QCOMPARE(exitStatusOf(error, info), ExitStatus::CannotCreateFile);
    info.existingFileReaction = AbstractDownloadExistingFileReaction::Skip;
    QCOMPARE(exitStatusOf(error, info), ExitStatus::FileExists);
}

QTEST_GUILESS_MAIN(TestExitStatus)
#include "tst_exitstatus.moc"
