// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/apacheserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>
#include <tests/support/vsftpdserver.h>

#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kNotFound = 3;
constexpr int kUnfinished = 7;
constexpr int kAuthentication = 24;

constexpr quint64 kSeed = 41;
constexpr qint64 kSize = 6 * 1024 * 1024;
constexpr qint64 kSlow = 300000; // bytes a second and connection
constexpr qint64 kWord = 16;
const QString kName = u"file.bin"_s;

bool asksForTheMiddle(const RealServer::LogEntry &entry)
{
    return entry.status == 206 && !entry.range.startsWith("bytes=0-");
}

qsizetype startsInTheMiddle(const QByteArrayList &commands)
{
    return std::count_if(commands.begin(), commands.end(),
                         [](const QByteArray &command) { return command.startsWith("REST ") && command != "REST 0"; });
}
}

/// Servers that many people run, and that no other test has: Apache httpd and vsftpd.
class TestPlaitServers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void aFileOfApacheArrivesWhole_data();
    void aFileOfApacheArrivesWhole();
    void apacheIsAskedForSeveralPiecesAtOnce();
    void apacheLetsInWhoSaysWhoHeIs_data();
    void apacheLetsInWhoSaysWhoHeIs();
    void apacheRefusesWhoDoesNot_data();
    void apacheRefusesWhoDoesNot();
    void oneConnectionToApacheServesOneFileAfterTheOther_data();
    void oneConnectionToApacheServesOneFileAfterTheOther();

    void aFileOfVsftpdArrivesWhole_data();
    void aFileOfVsftpdArrivesWhole();
    void aFileOfVsftpdComesOverSeveralConnections();
    void aStoppedDownloadFromVsftpdGoesOnInTheMiddle();
    void vsftpdRefusesAPasswordThatItDoesNotKnow();
    void whatVsftpdDoesNotHaveIsSaid_data();
    void whatVsftpdDoesNotHaveIsSaid();

private:
    void verifyWhole(const PlaitResult &result, qint64 size) const;
    void verifyRefused(const PlaitResult &result, int status, const QByteArray &words) const;
    QUrl apacheUrl(const QString &path, const char *login = "") const;

    TestCa m_ca;
    ApacheServer m_apache;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitServers::initTestCase()
{
    QVERIFY2(m_ca.isValid(), qPrintable(m_ca.errorText()));
    QVERIFY2(m_apache.start(m_ca), qPrintable(m_apache.errorText()));
    QVERIFY(m_apache.addFile(kName, kSeed, kSize));
}

void TestPlaitServers::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
}

void TestPlaitServers::verifyWhole(const PlaitResult &result, qint64 size) const
{
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(m_plait->files(), QStringList(kName));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(kName)), TestFiles::sha256OfContent(kSeed, size));
}

void TestPlaitServers::verifyRefused(const PlaitResult &result, int status, const QByteArray &words) const
{
    QVERIFY2(result.status == status, result.err);
    QVERIFY2(result.err.contains(words), result.err);
    QCOMPARE(m_plait->files(), QStringList());
}

QUrl TestPlaitServers::apacheUrl(const QString &path, const char *login) const
{
    QUrl url = m_apache.url(path);
    url.setUserInfo(QString::fromLatin1(login));
    return url;
}

void TestPlaitServers::aFileOfApacheArrivesWhole_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<RealServer::Scheme>("scheme");
    QTest::newRow("with its length") << u"/file.bin"_s << RealServer::Scheme::Http;
    QTest::newRow("in chunks") << u"/chunked/file.bin"_s << RealServer::Scheme::Http;
    QTest::newRow("up to the end of the connection") << u"/until-close/file.bin"_s << RealServer::Scheme::Http;
    QTest::newRow("from a folder without ranges") << u"/no-ranges/file.bin"_s << RealServer::Scheme::Http;
    QTest::newRow("with its length, over TLS") << u"/file.bin"_s << RealServer::Scheme::Https;
    QTest::newRow("in chunks, over TLS") << u"/chunked/file.bin"_s << RealServer::Scheme::Https;
    QTest::newRow("up to the end of the connection, over TLS")
        << u"/until-close/file.bin"_s << RealServer::Scheme::Https;
}

void TestPlaitServers::aFileOfApacheArrivesWhole()
{
    QFETCH(QString, path);
    QFETCH(RealServer::Scheme, scheme);
    verifyWhole(m_plait->run({u"--ca-certificate"_s, m_ca.caFile(), m_apache.url(path, scheme).toString()}), kSize);
}

void TestPlaitServers::apacheIsAskedForSeveralPiecesAtOnce()
{
    verifyWhole(m_plait->run({u"-x"_s, u"4"_s, u"--limit-rate"_s, u"4M"_s, u"--user-agent"_s, u"pieces"_s,
                              apacheUrl(u"/file.bin"_s).toString()}),
                kSize);
    const auto piecesCount = [this] {
        const QList<RealServer::LogEntry> entries = m_apache.logEntriesOf("pieces");
        return std::count_if(entries.begin(), entries.end(), asksForTheMiddle);
    };
    QTRY_VERIFY2(piecesCount() >= 3, m_apache.accessLog());
}

void TestPlaitServers::apacheLetsInWhoSaysWhoHeIs_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("by basic authentication") << u"/basic/file.bin"_s;
    QTest::newRow("by digest authentication with MD5") << u"/digest/file.bin"_s;
}

void TestPlaitServers::apacheLetsInWhoSaysWhoHeIs()
{
    QFETCH(QString, path);
    verifyWhole(
        m_plait->run({u"-x"_s, u"4"_s, u"--limit-rate"_s, u"8M"_s, apacheUrl(path, ApacheServer::kLogin).toString()}),
        kSize);
}

void TestPlaitServers::apacheRefusesWhoDoesNot_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("login");
    QTest::addColumn<QByteArray>("words");
    for (const QString &way : {u"basic"_s, u"digest"_s}) {
        const QString path = u'/' + way + u"/file.bin"_s;
        QTest::addRow("nobody, where it asks for %s", qPrintable(way))
            << path << QByteArray() << "asks for a name and a password"_ba;
        QTest::addRow("a wrong password, where it asks for %s", qPrintable(way)) << path << "me:wrong"_ba
                                                                                 << R"(does not let in "me")"_ba;
        QTest::addRow("a wrong name, where it asks for %s", qPrintable(way)) << path << "you:secret"_ba
                                                                             << R"(does not let in "you")"_ba;
    }
}

void TestPlaitServers::apacheRefusesWhoDoesNot()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, login);
    QFETCH(QByteArray, words);
    verifyRefused(m_plait->run({apacheUrl(path, login).toString()}), kAuthentication, words);
}

void TestPlaitServers::oneConnectionToApacheServesOneFileAfterTheOther_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("with their length") << u"/"_s;
    QTest::newRow("in chunks") << u"/chunked/"_s;
    QTest::newRow("behind a login by digest") << u"/digest/"_s;
}

void TestPlaitServers::oneConnectionToApacheServesOneFileAfterTheOther()
{
    QFETCH(QString, folder);
    constexpr qint64 kSmall = 20000;
    const QByteArray agent = "reuse" + folder.toLatin1().replace('/', '-');
    QStringList arguments{u"-j"_s, u"1"_s, u"--user-agent"_s, QString::fromLatin1(agent)};
    for (const QString &name : {u"a.bin"_s, u"b.bin"_s, u"c.bin"_s}) {
        QVERIFY(m_apache.addFile(name, kSeed, kSmall));
        arguments.append(apacheUrl(folder + name, ApacheServer::kLogin).toString());
    }
    const PlaitResult result = m_plait->run(arguments);
    QVERIFY2(result.status == kDone, result.err);
    for (const QString &name : {u"a.bin"_s, u"b.bin"_s, u"c.bin"_s}) {
        QCOMPARE(TestFiles::sha256OfFile(m_plait->path(name)), TestFiles::sha256OfContent(kSeed, kSmall));
    }
    QTRY_VERIFY2(m_apache.logEntriesOf(agent).size() >= 3, m_apache.accessLog());
    QCOMPARE(m_apache.connectionsOf(agent), 1);
}

void TestPlaitServers::aFileOfVsftpdArrivesWhole_data()
{
    QTest::addColumn<qint64>("size");
    for (const qint64 size : {qint64(0), qint64(1), kSize}) {
        QTest::addRow("%lld bytes", size) << size;
    }
}

void TestPlaitServers::aFileOfVsftpdArrivesWhole()
{
    QFETCH(qint64, size);
    VsftpdServer server;
    QVERIFY(server.addFile(kName, kSeed, size));
    QVERIFY2(server.start(), qPrintable(server.errorText()));
    verifyWhole(m_plait->run({server.url(u"/file.bin"_s).toString()}), size);
}

void TestPlaitServers::aFileOfVsftpdComesOverSeveralConnections()
{
    VsftpdServer server;
    QVERIFY(server.addFile(kName, kSeed, kSize));
    QVERIFY2(server.start(4 * kSlow), qPrintable(server.errorText()));
    verifyWhole(m_plait->run({u"-x"_s, u"4"_s, server.url(u"/file.bin"_s).toString()}), kSize);
    QVERIFY2(startsInTheMiddle(server.commands()) >= 3, server.commands().join('\n'));
}

void TestPlaitServers::aStoppedDownloadFromVsftpdGoesOnInTheMiddle()
{
    VsftpdServer server;
    QVERIFY(server.addFile(kName, kSeed, kSize));
    QVERIFY2(server.start(kSlow), qPrintable(server.errorText()));
    const QString url = server.url(u"/file.bin"_s).toString();
    m_plait->start({u"-x"_s, u"1"_s, url});
    const QByteArray beginning = TestFiles::content(kSeed, 0, kWord);
    QVERIFY2(QTest::qWaitFor([&] { return !m_plait->isRunning() || m_plait->partBeginsWith(kName, beginning); },
                             PlaitSandbox::kPatienceMs)
                 && m_plait->isRunning(),
             m_plait->errorText());
    m_plait->sendSignal(SIGTERM);
    const PlaitResult stopped = m_plait->finish();
    QVERIFY2(stopped.status == kUnfinished, stopped.err);
    QCOMPARE(m_plait->files(), QStringList(kName + u".part"_s));
    QCOMPARE(startsInTheMiddle(server.commands()), 0);

    verifyWhole(m_plait->run({url}), kSize);
    QVERIFY2(startsInTheMiddle(server.commands()) >= 1, server.commands().join('\n'));
}

void TestPlaitServers::vsftpdRefusesAPasswordThatItDoesNotKnow()
{
    VsftpdServer server;
    QVERIFY(server.addFile(kName, kSeed, kWord));
    QVERIFY2(server.start(), qPrintable(server.errorText()));
    const PlaitResult result = m_plait->run({server.url(u"/file.bin"_s, u"tester:falsch"_s).toString()});
    verifyRefused(result, kAuthentication, R"(does not let in "tester")");
    QVERIFY2(!result.err.contains("falsch") && !result.out.contains("falsch"), result.err);
    QCOMPARE(server.commands("RETR").size(), 0);
}

void TestPlaitServers::whatVsftpdDoesNotHaveIsSaid_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("a file that is not there") << u"/none.bin"_s;
    QTest::newRow("a file in a folder that is not there") << u"/none/file.bin"_s;
    QTest::newRow("a folder that is asked for as a file") << u"/folder"_s;
}

void TestPlaitServers::whatVsftpdDoesNotHaveIsSaid()
{
    QFETCH(QString, path);
    VsftpdServer server;
    QVERIFY(server.addFolder(u"folder"_s));
    QVERIFY2(server.start(), qPrintable(server.errorText()));
    verifyRefused(m_plait->run({server.url(path).toString()}), kNotFound, "has no such file");
}

QTEST_GUILESS_MAIN(TestPlaitServers)
#include "tst_plait_servers.moc"
