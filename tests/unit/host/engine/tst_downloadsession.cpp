// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>
#include <host/storage/downloadlist.h>
#include <host/storage/processidentity.h>
#include <tests/unit/host/engine/fakemodule.h>

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

constexpr auto kEndless = "/endless";

bool writeFile(const QString &path, qint64 size)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(QByteArray(size, 'x')) == size;
}

}

class TestDownloadSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void aDownloadRunsAndIsRemembered();
    void aStoppedDownloadIsFoundAgain();
    void anotherBodyIsAnotherDownload();
    void aFinishedDownloadIsNotFoundAgain();
    void aFailedDownloadKeepsItsSections();
    void whatTheDiskDoesNotHoldIsForgotten();
    void aLinkInPlaceOfTheFileIsNotBelieved();
    void anotherFileOfItsLengthIsNotBelieved();
    void aFinishThatTheDiskDeniesIsAnError();
    void anUnsupportedUrlIsRefused();
    void aDownloadOfAnotherProcessIsLeftAlone();
    void startingTwiceIsRefused();
    void finishingNowIsRefusedWhereTheFileWouldHaveHoles();
    void finishingNowMakesWhatIsThereTheFile();
    void aQueryIsAnsweredAndNotRemembered();
    void closingStopsWhatRuns();
    void closingWhenIdleEndsToo();
    void afterClosingNothingStarts();
    void aSessionThatIsDroppedReleasesItsDownloads();
    void aMissingModuleIsReported();
    void itMayBeDestroyedByWhoeverHearsOfAnEnd_data();
    void itMayBeDestroyedByWhoeverHearsOfAnEnd();
    void aDownloadOfTheListThatNobodyServesIsNotStarted();
    void whatIsNoModuleIsWarnedOfWhileOthersServe();
    void aListThatCannotBeOpenedIsReported();
    void certificatesThatAreNoneAreReported();

private:
    SessionOptions options() const;
    DownloadRequest request(const QString &path) const;
    qint64 add(const QString &path);
    Info runToEnd(qint64 id);
    std::optional<Info> inList(qint64 id) const;

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<DownloadSession> m_session;
    Failure m_error;
};

void TestDownloadSession::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_session = std::make_unique<DownloadSession>();
    m_error = {};
    QVERIFY2(m_session->open(options(), &m_error), qPrintable(m_error.plain()));
}

void TestDownloadSession::cleanup()
{
    m_session.reset();
}

SessionOptions TestDownloadSession::options() const
{
    SessionOptions options;
    options.listPath = m_dir->filePath(u"list.sqlite"_s);
    options.moduleFolders = {QStringLiteral(FAKE_MODULES) + "/good"_L1};
    return options;
}

DownloadRequest TestDownloadSession::request(const QString &path) const
{
    DownloadRequest request;
    request.url = QUrl(u"http://host"_s + path);
    request.folder = m_dir->path();
    return request;
}

qint64 TestDownloadSession::add(const QString &path)
{
    return m_session->add(request(path), &m_error);
}

Info TestDownloadSession::runToEnd(qint64 id)
{
    QSignalSpy finished(m_session.get(), &DownloadSession::finished);
    if (!m_session->start(id, &m_error) || (finished.isEmpty() && !finished.wait()))
        return {};
    return finished.first().at(1).value<Info>();
}

std::optional<Info> TestDownloadSession::inList(qint64 id) const
{
    DownloadList list;
    return list.open(options().listPath) ? list.load(id) : std::nullopt;
}

void TestDownloadSession::aDownloadRunsAndIsRemembered()
{
    const qint64 id = add(FakePaths::kDone);
    QVERIFY2(id > 0, qPrintable(m_error.plain()));
    QSignalSpy progress(m_session.get(), &DownloadSession::progressChanged);
    const Info info = runToEnd(id);
    QVERIFY2(info.isFinished(), qPrintable(m_error.plain()));
    QVERIFY(!info.lastError);
    QCOMPARE(progress.size(), 1);
    QCOMPARE(progress.first().first().toLongLong(), id);
    QVERIFY(m_session->isIdle());
    QVERIFY(inList(id)->isFinished());
    QCOMPARE(inList(id)->moduleId, u"downloadswww"_s);
}

void TestDownloadSession::aStoppedDownloadIsFoundAgain()
{
    const qint64 id = add(QLatin1String(kEndless));
    QVERIFY(m_session->start(id, &m_error));
    QVERIFY(!m_session->isIdle());
    QCOMPARE(m_session->status(id).connections, 3);
    QSignalSpy stopping(m_session.get(), &DownloadSession::stopping);
    QSignalSpy finished(m_session.get(), &DownloadSession::finished);
    m_session->stop(id);
    QCOMPARE(stopping.size(), 1);
    QVERIFY(finished.wait());
    QCOMPARE(finished.first().at(1).value<Info>().lastError.code, int(GenericErrorCode::OperationAborted));
    QCOMPARE(add(QLatin1String(kEndless)), id);
    QVERIFY(m_session->start(id, &m_error));
}

void TestDownloadSession::anotherBodyIsAnotherDownload()
{
    const qint64 id = add(u"/form"_s);
    DownloadRequest post = request(u"/form"_s);
    post.postData = "a=1";
    const qint64 posted = m_session->add(post, &m_error);
    QVERIFY(posted > 0);
    QVERIFY(posted != id);
    QCOMPARE(m_session->add(post, &m_error), posted);
}

void TestDownloadSession::aFinishedDownloadIsNotFoundAgain()
{
    const qint64 id = add(FakePaths::kDone);
    QVERIFY(runToEnd(id).isFinished());
    const qint64 again = add(FakePaths::kDone);
    QVERIFY(again > 0);
    QVERIFY(again != id);
}

void TestDownloadSession::aFailedDownloadKeepsItsSections()
{
    const qint64 id = add(FakePaths::kFails);
    const Info info = runToEnd(id);
    QCOMPARE(info.lastError.code, 404);
    const Info remembered = inList(id).value();
    QCOMPARE(remembered.lastError, info.lastError);
    QCOMPARE(remembered.bytesDownloaded(false), 10);
    QVERIFY(!remembered.isFinished());
}

void TestDownloadSession::whatTheDiskDoesNotHoldIsForgotten()
{
    const qint64 id = add(FakePaths::kFails);
    runToEnd(id);
    QSignalSpy warned(m_session.get(), &DownloadSession::warned);
    QVERIFY(writeFile(m_dir->filePath(u"fake.bin.part"_s), 10));
    runToEnd(id);
    QVERIFY(warned.isEmpty());
    QVERIFY(writeFile(m_dir->filePath(u"fake.bin.part"_s), 9));
    QVERIFY(m_session->start(id, &m_error));
    QCOMPARE(warned.size(), 1);
    QVERIFY(warned.first().at(1).value<Failure>().subject.path.endsWith(u"fake.bin.part"_s));
}

void TestDownloadSession::aLinkInPlaceOfTheFileIsNotBelieved()
{
    const qint64 id = add(FakePaths::kFails);
    runToEnd(id);
    QVERIFY(writeFile(m_dir->filePath(u"elsewhere"_s), 5000));
    QVERIFY(QFile::link(m_dir->filePath(u"elsewhere"_s), m_dir->filePath(u"fake.bin.part"_s)));
    QSignalSpy warned(m_session.get(), &DownloadSession::warned);
    QVERIFY(m_session->start(id, &m_error));
    QCOMPARE(warned.size(), 1);
}

void TestDownloadSession::anotherFileOfItsLengthIsNotBelieved()
{
    const QString path = m_dir->filePath(u"fake.bin.part"_s);
    const qint64 id = add(FakePaths::kFails);
    QVERIFY(writeFile(path, 10));
    runToEnd(id);
    QSignalSpy warned(m_session.get(), &DownloadSession::warned);
    runToEnd(id);
    QCOMPARE(warned.size(), 0);
    QVERIFY(QFile::rename(path, path + u".ours"_s));
    QVERIFY(writeFile(path, 10));
    QVERIFY(m_session->start(id, &m_error));
    QCOMPARE(warned.size(), 1);
    QVERIFY(warned.first().at(1).value<Failure>().subject.path.endsWith(u"fake.bin.part"_s));
}

void TestDownloadSession::aFinishThatTheDiskDeniesIsAnError()
{
    const Info info = runToEnd(add(FakePaths::kLies));
    QVERIFY(info.isFinished());
    QCOMPARE(QString::fromStdString(info.lastError.category), QLatin1String(ErrorCategory::kFile));
}

void TestDownloadSession::anUnsupportedUrlIsRefused()
{
    DownloadRequest unsupported = request(u"/x"_s);
    unsupported.url = QUrl(u"gopher://host/x"_s);
    QVERIFY(!m_session->isServed(unsupported.url, &m_error));
    QCOMPARE(m_session->add(unsupported, &m_error), 0);
    QCOMPARE(m_error.kind, Failure::Kind::UnsupportedUrl);
    QCOMPARE(m_error.subject.url, unsupported.url);
    QCOMPARE(m_session->query(unsupported, &m_error), 0);
    QVERIFY(m_session->isIdle());
}

/// Process 1 is always there.
void TestDownloadSession::aDownloadOfAnotherProcessIsLeftAlone()
{
    const qint64 id = add(QLatin1String(kEndless));
    m_session.reset();
    QProcess shell;
    shell.start(u"sqlite3"_s,
                {options().listPath,
                 u"UPDATE downloads SET owner_pid = 1, owner_start_time = %1, owner_boot_id = '%2'"_s
                     .arg(ProcessIdentity::ofProcess(1).startTime)
                     .arg(ProcessIdentity::ofProcess(1).bootId)});
    QVERIFY(shell.waitForFinished());
    QCOMPARE(shell.exitCode(), 0);
    m_session = std::make_unique<DownloadSession>();
    QVERIFY(m_session->open(options(), &m_error));
    QCOMPARE(add(QLatin1String(kEndless)), 0);
    QCOMPARE(m_error.kind, Failure::Kind::OwnedByOther);
    QCOMPARE(m_error.number, 1);
    QVERIFY(!m_session->start(id, &m_error));
}

void TestDownloadSession::startingTwiceIsRefused()
{
    const qint64 id = add(QLatin1String(kEndless));
    QVERIFY(m_session->start(id, &m_error));
    QVERIFY(!m_session->start(id, &m_error));
    QVERIFY(!m_session->start(id + 1, &m_error));
    QVERIFY2(m_error.plain().contains(u"not-of-this-process"_s), qPrintable(m_error.plain()));
}

void TestDownloadSession::finishingNowIsRefusedWhereTheFileWouldHaveHoles()
{
    const qint64 id = add(FakePaths::kFails);
    runToEnd(id);
    DownloadList list;
    QVERIFY(list.open(options().listPath));
    Info info = list.load(id).value();
    info.files.first().sections = {{0, 5, 4}, {5, 995, 6}};
    QVERIFY(list.update(info));
    QVERIFY(writeFile(m_dir->filePath(u"fake.bin.part"_s), 20));
    QVERIFY(!m_session->finishNow(id, &m_error));
    QVERIFY2(m_error.plain().contains(u"has-gaps"_s), qPrintable(m_error.plain()));
    QVERIFY(m_session->isIdle());
    QCOMPARE(inList(id)->files.first().sections, info.files.first().sections);
    QVERIFY2(m_session->start(id, &m_error), qPrintable(m_error.plain()));
}

void TestDownloadSession::finishingNowMakesWhatIsThereTheFile()
{
    const qint64 id = add(FakePaths::kFails);
    QCOMPARE(runToEnd(id).bytesDownloaded(false), 10);
    QVERIFY(writeFile(m_dir->filePath(u"fake.bin.part"_s), 10));
    QSignalSpy finished(m_session.get(), &DownloadSession::finished);
    QVERIFY2(m_session->finishNow(id, &m_error), qPrintable(m_error.plain()));
    QVERIFY(finished.wait());
    const Info info = finished.first().at(1).value<Info>();
    QVERIFY2(info.isFinished() && !info.lastError, info.lastError.description.c_str());
    QVERIFY(QFile::exists(m_dir->filePath(u"fake.bin"_s)));
    QCOMPARE(inList(id)->files.first().size, 10);
    QCOMPARE(inList(id)->files.first().sections, (QList<AbstractDownloadSection>{{0, 10, 10}}));
    QCOMPARE(m_session->list().memory(id).evidence.reason(), Evidence::Doubt::FinishedEarly);
}

void TestDownloadSession::aQueryIsAnsweredAndNotRemembered()
{
    QSignalSpy queried(m_session.get(), &DownloadSession::queried);
    QSignalSpy finished(m_session.get(), &DownloadSession::finished);
    const qint64 id = m_session->query(request(u"/x"_s), &m_error);
    QVERIFY(id < 0);
    QVERIFY(finished.wait());
    QCOMPARE(queried.size(), 1);
    QCOMPARE(queried.first().first().toLongLong(), id);
    const auto result = queried.first().at(1).value<QueryResult>();
    QCOMPARE(result.name, u"queried.bin"_s);
    QCOMPARE(result.resume, QueryResult::Resume::Supported);
    DownloadList list;
    QVERIFY(list.open(options().listPath));
    QVERIFY(list.list().isEmpty());
}

void TestDownloadSession::closingStopsWhatRuns()
{
    const qint64 id = add(QLatin1String(kEndless));
    QVERIFY(m_session->start(id, &m_error));
    QSignalSpy finished(m_session.get(), &DownloadSession::finished);
    QSignalSpy closed(m_session.get(), &DownloadSession::closed);
    m_session->close();
    m_session->close();
    QVERIFY(closed.wait());
    QCOMPARE(finished.size(), 1);
    QCOMPARE(closed.size(), 1);
    QVERIFY(m_session->isIdle());
}

void TestDownloadSession::closingWhenIdleEndsToo()
{
    QSignalSpy closed(m_session.get(), &DownloadSession::closed);
    m_session->close();
    QCOMPARE(closed.size(), 0);
    QVERIFY(closed.wait());
}

void TestDownloadSession::afterClosingNothingStarts()
{
    const qint64 id = add(QLatin1String(kEndless));
    m_session->close();
    QVERIFY(!m_session->start(id, &m_error));
    QCOMPARE(m_session->query(request(u"/x"_s), &m_error), 0);
}

void TestDownloadSession::aSessionThatIsDroppedReleasesItsDownloads()
{
    const qint64 id = add(QLatin1String(kEndless));
    QVERIFY(m_session->start(id, &m_error));
    m_session.reset();
    QProcess shell;
    shell.start(u"sqlite3"_s, {options().listPath, u"SELECT count(*) FROM downloads WHERE owner_pid IS NOT NULL"_s});
    QVERIFY(shell.waitForFinished());
    QCOMPARE(shell.readAllStandardOutput().trimmed(), QByteArray("0"));
}

void TestDownloadSession::aMissingModuleIsReported()
{
    SessionOptions other = options();
    other.moduleFolders = {u"/nowhere"_s};
    other.listPath = m_dir->filePath(u"other.sqlite"_s);
    DownloadSession session;
    QVERIFY2(session.open(other, &m_error), qPrintable(m_error.plain()));
    QCOMPARE(session.add(request(QLatin1String(kEndless)), &m_error), 0);
    QCOMPARE(m_error.kind, Failure::Kind::NoModule);
    QCOMPARE(m_error.plain(), u"\"/nowhere\""_s);
}

/// As after a module was taken away that had begun it.
void TestDownloadSession::itMayBeDestroyedByWhoeverHearsOfAnEnd_data()
{
    QTest::addColumn<bool>("isQueried");
    QTest::addColumn<int>("finished");
    QTest::newRow("before the end of a query is told") << true << 0;
    QTest::newRow("with it, while it is closed") << false << 1;
}

void TestDownloadSession::itMayBeDestroyedByWhoeverHearsOfAnEnd()
{
    QFETCH(bool, isQueried);
    QFETCH(int, finished);
    int told = 0;
    const QObject listener;
    connect(m_session.get(), &DownloadSession::queried, &listener, [this, isQueried] {
        if (isQueried)
            m_session.reset();
    });
    connect(m_session.get(), &DownloadSession::finished, &listener, [this, &told] {
        ++told;
        m_session.reset();
    });
    QVERIFY(m_session->query(request(u"/x"_s), &m_error) < 0);
    if (!isQueried)
        m_session->close();
    QTRY_VERIFY(!m_session);
    QCOMPARE(told, finished);
}

void TestDownloadSession::aDownloadOfTheListThatNobodyServesIsNotStarted()
{
    const qint64 id = add(QLatin1String(kEndless));
    m_session.reset();
    SessionOptions other = options();
    other.moduleFolders = {u"/nowhere"_s};
    DownloadSession session;
    QVERIFY2(session.open(other, &m_error), qPrintable(m_error.plain()));
    QVERIFY(!session.start(id, &m_error));
    QCOMPARE(m_error.kind, Failure::Kind::NoModule);
    QVERIFY(session.isIdle());
    // Nobody holds it on to.
    DownloadSession whole;
    QVERIFY2(whole.open(options(), &m_error), qPrintable(m_error.plain()));
    QVERIFY2(whole.start(id, &m_error), qPrintable(m_error.plain()));
}

void TestDownloadSession::whatIsNoModuleIsWarnedOfWhileOthersServe()
{
    SessionOptions other = options();
    other.listPath = m_dir->filePath(u"other.sqlite"_s);
    other.moduleFolders.prepend(QStringLiteral(FAKE_MODULES) + "/version"_L1);
    DownloadSession session;
    QVERIFY2(session.open(other, &m_error), qPrintable(m_error.plain()));
    QSignalSpy warned(&session, &DownloadSession::warned);
    QVERIFY(session.add(request(QLatin1String(kEndless)), &m_error) > 0);
    QTRY_COMPARE(warned.size(), 1);
    const auto what = warned.first().at(1).value<Failure>();
    QCOMPARE(warned.first().at(0).toLongLong(), 0);
    QVERIFY2(what.plain().contains(u"other-interface(43)"_s), qPrintable(what.plain()));
}

void TestDownloadSession::aListThatCannotBeOpenedIsReported()
{
    SessionOptions other = options();
    other.listPath = m_dir->path();
    DownloadSession session;
    QVERIFY(!session.open(other, &m_error));
    QCOMPARE(m_error.kind, Failure::Kind::CannotOpenList);
    QCOMPARE(m_error.subject.path, m_dir->path());
}

void TestDownloadSession::certificatesThatAreNoneAreReported()
{
    SessionOptions other = options();
    other.caCertificatesFile = m_dir->filePath(u"ca.pem"_s);
    DownloadSession session;
    QVERIFY(!session.open(other, &m_error));
    QCOMPARE(m_error.kind, Failure::Kind::CertificatesUnusable);
    QCOMPARE(m_error.subject.path, other.caCertificatesFile);
    QVERIFY(writeFile(other.caCertificatesFile, 10));
    QVERIFY(!session.open(other, &m_error));
    QVERIFY2(m_error.plain().contains(u"no-certificates"_s), qPrintable(m_error.plain()));
}

QTEST_GUILESS_MAIN(TestDownloadSession)
#include "tst_downloadsession.moc"
