// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/ftpserver.h>
#include <tests/support/testfiles.h>

#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kNotFound = 3;
constexpr int kUnfinished = 7;
constexpr int kAuthentication = 24;

constexpr quint64 kSeed = 31;
constexpr qint64 kSize = 8 * 1024 * 1024;
constexpr qint64 kWord = 16;
constexpr qint64 kSlow = 300000; // bytes a second and connection

const QString kName = QStringLiteral("file.bin");

// Beginnings in the middle of the file, from the place-th command on.
qsizetype startsInTheMiddle(const FtpServer &server, qsizetype place)
{
    const QByteArrayList commands = server.commands().mid(place);
    return std::count_if(commands.begin(), commands.end(),
                         [](const QByteArray &command) { return command.startsWith("REST ") && command != "REST 0"; });
}
}

/// ftp is as good as http: several connections, resuming, and failures that say what to do.
class TestPlaitFtp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aFileOfAnySizeArrivesWhole_data();
    void aFileOfAnySizeArrivesWhole();
    void aNameIsKeptAsItStands_data();
    void aNameIsKeptAsItStands();
    void aFileComesOverSeveralConnections();
    void aStoppedDownloadGoesOnInTheMiddle();
    void aServerThatCannotBeginInTheMiddleGivesTheWholeFile_data();
    void aServerThatCannotBeginInTheMiddleGivesTheWholeFile();
    void theUserOfTheUrlIsLetIn();
    void aWrongPasswordIsSaid();
    void aMissingFileIsSaid();

private:
    void verifyWhole(PlaitSandbox &plait, qint64 size) const;

    std::unique_ptr<FtpServer> m_server;
};

void TestPlaitFtp::init()
{
    m_server = std::make_unique<FtpServer>();
    QVERIFY2(m_server->isListening(), qPrintable(m_server->errorText()));
}

void TestPlaitFtp::verifyWhole(PlaitSandbox &plait, qint64 size) const
{
    QCOMPARE(plait.files(), QStringList(kName));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName)), TestFiles::sha256OfContent(kSeed, size));
}

void TestPlaitFtp::aFileOfAnySizeArrivesWhole_data()
{
    QTest::addColumn<qint64>("size");
    for (const qint64 size : {qint64(0), qint64(1), qint64(307201), kSize})
        QTest::addRow("%lld bytes", size) << size;
}

void TestPlaitFtp::aFileOfAnySizeArrivesWhole()
{
    QFETCH(qint64, size);
    QVERIFY(m_server->addFile(kName, kSeed, size));
    PlaitSandbox plait;
    const PlaitResult result = plait.run({m_server->url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, size);
}

void TestPlaitFtp::aNameIsKeptAsItStands_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("without an extension") << u"f"_s;
    QTest::newRow("of a known kind without an extension") << u"README"_s;
    QTest::newRow("with an extension that nobody knows") << u"f.xyzzy"_s;
    QTest::newRow("with white space behind its last dot") << u"release 1.2 beta"_s;
    QTest::newRow("with a page's extension") << u"index.html"_s;
}

void TestPlaitFtp::aNameIsKeptAsItStands()
{
    QFETCH(QString, name);
    QVERIFY(m_server->addFile(name, kSeed, kWord));
    PlaitSandbox plait;
    const PlaitResult result = plait.run({m_server->url(u'/' + name).toString(QUrl::FullyEncoded)});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(name));
}

void TestPlaitFtp::aFileComesOverSeveralConnections()
{
    QVERIFY(m_server->addFile(kName, kSeed, kSize));
    m_server->setRate(2 * kSlow);
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"-x"_s, u"4"_s, m_server->url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, kSize);
    QVERIFY2(startsInTheMiddle(*m_server, 0) >= 3, m_server->commands().join('\n'));
    QVERIFY(m_server->connectionsCount() >= 4);
}

void TestPlaitFtp::aStoppedDownloadGoesOnInTheMiddle()
{
    QVERIFY(m_server->addFile(kName, kSeed, kSize));
    m_server->setRate(kSlow);
    PlaitSandbox plait;
    const QString url = m_server->url(u"/file.bin"_s, FtpServer::tester()).toString(QUrl::FullyEncoded);
    plait.start({url});
    const QByteArray beginning = TestFiles::content(kSeed, 0, kWord);
    QVERIFY2(QTest::qWaitFor([&] { return !plait.isRunning() || plait.partBeginsWith(kName, beginning); },
                             PlaitSandbox::kPatienceMs)
                 && plait.isRunning(),
             plait.errorText());
    plait.sendSignal(SIGTERM);
    const PlaitResult stopped = plait.finish();
    QVERIFY2(stopped.status == kUnfinished, stopped.err);
    QCOMPARE(plait.files(), QStringList(kName + u".part"_s));

    const qsizetype place = m_server->commands().size();
    m_server->setRate(0);
    const PlaitResult result = plait.run({url});
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, kSize);
    QVERIFY2(startsInTheMiddle(*m_server, place) >= 1, m_server->commands().mid(place).join('\n'));
}

void TestPlaitFtp::aServerThatCannotBeginInTheMiddleGivesTheWholeFile_data()
{
    QTest::addColumn<QByteArray>("without");
    QTest::newRow("without REST") << "REST"_ba;
    QTest::newRow("without SIZE") << "SIZE"_ba;
    QTest::newRow("without both, and without times") << "REST,SIZE,MDTM"_ba;
}

void TestPlaitFtp::aServerThatCannotBeginInTheMiddleGivesTheWholeFile()
{
    QFETCH(QByteArray, without);
    QVERIFY(m_server->addFile(kName, kSeed, kSize));
    m_server->setWithout(without);
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"-x"_s, u"4"_s, m_server->url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, kSize);
}

void TestPlaitFtp::theUserOfTheUrlIsLetIn()
{
    QVERIFY(m_server->addFile(kName, kSeed, kSize));
    PlaitSandbox plait;
    const QUrl url = m_server->url(u"/file.bin"_s, FtpServer::tester());
    const PlaitResult result = plait.run({url.toString(QUrl::FullyEncoded)});
    QVERIFY2(result.status == 0, result.err);
    verifyWhole(plait, kSize);
    QVERIFY(m_server->commands("USER").contains("USER tester"));
    QVERIFY(!m_server->commands("USER").contains("USER anonymous"));
}

void TestPlaitFtp::aWrongPasswordIsSaid()
{
    QVERIFY(m_server->addFile(kName, kSeed, kSize));
    PlaitSandbox plait;
    const PlaitResult result = plait.run({m_server->url(u"/file.bin"_s, u"tester:falsch"_s).toString()});
    QCOMPARE(result.status, kAuthentication);
    QVERIFY2(result.err.contains("does not let in \"tester\" with that password"), result.err);
    QVERIFY2(result.err.contains("--user NAME:PASSWORD"), result.err);
    QVERIFY2(!result.err.contains("falsch") && !result.out.contains("falsch"), result.err);
    QVERIFY(plait.files().isEmpty());
}

void TestPlaitFtp::aMissingFileIsSaid()
{
    PlaitSandbox plait;
    const PlaitResult result = plait.run({m_server->url(u"/none.bin"_s).toString()});
    QCOMPARE(result.status, kNotFound);
    QVERIFY2(result.err.contains("has no such file"), result.err);
    QVERIFY(plait.files().isEmpty());
}

QTEST_GUILESS_MAIN(TestPlaitFtp)
#include "tst_plait_ftp.moc"
