// SPDX-License-Identifier: MIT
#include <cli/exitstatus.h>

#include <QTest>

Q_DECLARE_METATYPE(ExitStatus)

class TestExitStatus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void numbers();
    void statusOfFailure_data();
    void statusOfFailure();
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

void TestExitStatus::statusOfFailure_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<ExitStatus>("status");
    const auto row = [](Failure::Kind kind, ExitStatus status) {
        QTest::newRow(qPrintable(Failure::keyOf(kind))) << int(kind) << status;
    };
    using Kind = Failure::Kind;
    row(Kind::TimedOut, ExitStatus::TimeOut);
    row(Kind::NothingCame, ExitStatus::TimeOut);
    row(Kind::NotFound, ExitStatus::NotFound);
    row(Kind::NetworkFailed, ExitStatus::NetworkProblem);
    row(Kind::HostNotFound, ExitStatus::NameResolution);
    row(Kind::BadAnswer, ExitStatus::BadResponse);
    row(Kind::TooManyRedirects, ExitStatus::TooManyRedirects);
    row(Kind::ServerOverloaded, ExitStatus::ServerOverloaded);
    row(Kind::LoginRequired, ExitStatus::Authentication);
    row(Kind::LoginRefused, ExitStatus::Authentication);
    row(Kind::ProxyLoginRequired, ExitStatus::Authentication);
    row(Kind::CertificateRefused, ExitStatus::CertificateRefused);
    row(Kind::ProxyCertificateRefused, ExitStatus::CertificateRefused);
    row(Kind::EncryptionFailed, ExitStatus::CertificateRefused);
    row(Kind::UnsupportedUrl, ExitStatus::BadOption);
    row(Kind::ProxyUnusable, ExitStatus::BadOption);
    row(Kind::CertificatesUnusable, ExitStatus::BadOption);
    row(Kind::ClientCertificateUnusable, ExitStatus::BadOption);
    row(Kind::InterfaceUnusable, ExitStatus::BadOption);
    row(Kind::ValueUnusable, ExitStatus::BadOption);
    row(Kind::CookiesUnusable, ExitStatus::BadOption);
    row(Kind::LoginsUnusable, ExitStatus::BadOption);
    row(Kind::CannotResume, ExitStatus::CannotResume);
    row(Kind::ResourceChanged, ExitStatus::ResourceChanged);
    row(Kind::ChecksumDiffers, ExitStatus::ChecksumMismatch);
    row(Kind::DigestDiffers, ExitStatus::ChecksumMismatch);
    row(Kind::ChecksumUnusable, ExitStatus::ChecksumMismatch);
    row(Kind::DiskFull, ExitStatus::DiskFull);
    row(Kind::NoRoom, ExitStatus::DiskFull);
    row(Kind::NameTaken, ExitStatus::FileExists);
    row(Kind::CannotCreateFile, ExitStatus::CannotCreateFile);
    row(Kind::FileFailed, ExitStatus::FileError);
    row(Kind::CannotReadFile, ExitStatus::FileError);
    row(Kind::CannotDeleteFile, ExitStatus::FileError);
    row(Kind::Stopped, ExitStatus::Unfinished);
    row(Kind::StoppedBeforeComparing, ExitStatus::Unfinished);
    row(Kind::Skipped, ExitStatus::Done);
    row(Kind::None, ExitStatus::Done);
    row(Kind::Unknown, ExitStatus::Unknown);
    row(Kind::NoSuchDownload, ExitStatus::Unknown);
    row(Kind::WrongState, ExitStatus::Unknown);
    row(Kind::OwnedByOther, ExitStatus::Unknown);
    row(Kind::CannotBegin, ExitStatus::Unknown);
    row(Kind::CannotChange, ExitStatus::Unknown);
    row(Kind::CannotFinish, ExitStatus::Unknown);
    row(Kind::NothingToCompare, ExitStatus::Unknown);
    row(Kind::CannotOpenList, ExitStatus::Unknown);
    row(Kind::NoModule, ExitStatus::Unknown);
    row(Kind::CannotChangeList, ExitStatus::Unknown);
}

void TestExitStatus::statusOfFailure()
{
    QFETCH(int, kind);
    QTEST(exitStatusOf(Failure::make(Failure::Kind(kind), {})), "status");
}

QTEST_GUILESS_MAIN(TestExitStatus)
#include "tst_exitstatus.moc"
