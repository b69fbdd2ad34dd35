// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
using Kind = RealServers::Kind;
using Scheme = RealServer::Scheme;

constexpr qint64 kSizes[] = {0, 1, 307200, 307201};
constexpr qint64 kMiddleSize = 3000000;
constexpr quint64 kSeed = 11;

QString nameOf(qint64 size)
{
    return u"file-%1.bin"_s.arg(size);
}
}

/// What a server has is what comes to lie on disk, byte for byte and under the right name.
class TestPlaitTransfer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aFileOfAnySizeArrivesWhole_data();
    void aFileOfAnySizeArrivesWhole();
    void aFileOfUnknownLengthArrivesWhole_data();
    void aFileOfUnknownLengthArrivesWhole();
    void aScriptedBodyOfUnknownLengthArrivesWhole_data();
    void aScriptedBodyOfUnknownLengthArrivesWhole();
    void fifteenRedirectsAreFollowed_data();
    void fifteenRedirectsAreFollowed();
    void aServerThatIgnoresRangesGivesTheWholeFile();
    void aLargerFileComesOverSeveralConnections();
    void theOutputNameIsExact();
    void theWorkingFolderIsTheDefault();
    void theNameComesFromContentDisposition();
    void aDangerousNameStaysInTheFolder();
    void anExistingFileIsNotReplaced();
    void aFileIsAsOldAsItsServerSays_data();
    void aFileIsAsOldAsItsServerSays();
    void quietPrintsNothingButErrors();
    void progressForProgramsStandsAlone();

private:
    QStringList trust() const;

    RealServers m_servers;
};

void TestPlaitTransfer::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    for (const qint64 size : kSizes) {
        QVERIFY(m_servers.addFile(nameOf(size), kSeed, size));
    }
    QVERIFY(m_servers.addFile(nameOf(kMiddleSize), kSeed, kMiddleSize));
}

QStringList TestPlaitTransfer::trust() const
{
    return {u"--ca-certificate"_s, m_servers.ca().caFile()};
}

void TestPlaitTransfer::aFileOfAnySizeArrivesWhole_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<Scheme>("scheme");
    QTest::addColumn<qint64>("size");
    for (const Kind kind : {Kind::Nginx, Kind::Lighttpd}) {
        for (const Scheme scheme : {Scheme::Http, Scheme::Https}) {
            for (const qint64 size : kSizes) {
                QTest::addRow("%lld bytes over %s from %s", size, scheme == Scheme::Http ? "http" : "https",
                              kind == Kind::Nginx ? "nginx" : "lighttpd")
                    << kind << scheme << size;
            }
        }
    }
}

void TestPlaitTransfer::aFileOfAnySizeArrivesWhole()
{
    QFETCH(Kind, kind);
    QFETCH(Scheme, scheme);
    QFETCH(qint64, size);
    PlaitSandbox plait;
    const QString url = m_servers.server(kind).url(u'/' + nameOf(size), scheme).toString();
    const PlaitResult result = plait.run(trust() + QStringList(url));
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(nameOf(size)));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(nameOf(size))), TestFiles::sha256OfContent(kSeed, size));
}

void TestPlaitTransfer::aFileOfUnknownLengthArrivesWhole_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<qint64>("size");
    const auto rows = [](const char *name, Kind kind, const QString &pattern) {
        for (const qint64 size : {qint64(1), qint64(307201), kMiddleSize}) {
            QTest::addRow("%lld bytes, %s", size, name) << kind << pattern << size;
        }
    };
    rows("chunked by nginx", Kind::Nginx, u"/chunked/%1"_s);
    rows("ended by nginx's closing", Kind::Nginx, u"/until-close/%1"_s);
    rows("chunked by lighttpd", Kind::Lighttpd, u"/cgi/chunked.sh?%1"_s);
}

void TestPlaitTransfer::aFileOfUnknownLengthArrivesWhole()
{
    QFETCH(Kind, kind);
    QFETCH(QString, pattern);
    QFETCH(qint64, size);
    PlaitSandbox plait;
    const QString url = m_servers.server(kind).url(pattern.arg(nameOf(size))).toString();
    const PlaitResult result = plait.run({url, u"-o"_s, u"out.bin"_s});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(u"out.bin"_s));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"out.bin"_s)), TestFiles::sha256OfContent(kSeed, size));
}

void TestPlaitTransfer::aScriptedBodyOfUnknownLengthArrivesWhole_data()
{
    QTest::addColumn<ScriptedResponse::Framing>("framing");
    QTest::addColumn<qint64>("size");
    for (const qint64 size : {qint64(0), qint64(1), qint64(700000)}) {
        QTest::addRow("%lld bytes, chunked", size) << ScriptedResponse::Framing::Chunked << size;
        QTest::addRow("%lld bytes, until the connection closes", size)
            << ScriptedResponse::Framing::CloseDelimited << size;
    }
}

void TestPlaitTransfer::aScriptedBodyOfUnknownLengthArrivesWhole()
{
    QFETCH(ScriptedResponse::Framing, framing);
    QFETCH(qint64, size);
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok(TestFiles::content(kSeed, 0, size));
    response.framing = framing;
    server.setResponse("/stream.bin", response);
    PlaitSandbox plait;
    const PlaitResult result = plait.run({server.url(u"/stream.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(u"stream.bin"_s));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"stream.bin"_s)), TestFiles::sha256OfContent(kSeed, size));
}

void TestPlaitTransfer::fifteenRedirectsAreFollowed_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<Scheme>("scheme");
    QTest::newRow("nginx, http") << Kind::Nginx << Scheme::Http;
    QTest::newRow("nginx, https") << Kind::Nginx << Scheme::Https;
    QTest::newRow("lighttpd, http") << Kind::Lighttpd << Scheme::Http;
    QTest::newRow("lighttpd, https") << Kind::Lighttpd << Scheme::Https;
}

void TestPlaitTransfer::fifteenRedirectsAreFollowed()
{
    QFETCH(Kind, kind);
    QFETCH(Scheme, scheme);
    PlaitSandbox plait;
    const QUrl url = m_servers.server(kind).url(u"/redirect/15/file-307201.bin"_s, scheme);
    const PlaitResult result = plait.run(trust() + QStringList(url.toString()));
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(u"file-307201.bin"_s));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"file-307201.bin"_s)), TestFiles::sha256OfContent(kSeed, 307201));
}

void TestPlaitTransfer::aServerThatIgnoresRangesGivesTheWholeFile()
{
    PlaitSandbox plait;
    const PlaitResult result = plait.run({m_servers.nginx().url(u"/no-ranges/file-3000000.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(nameOf(kMiddleSize)));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(nameOf(kMiddleSize))), TestFiles::sha256OfContent(kSeed, kMiddleSize));
}

void TestPlaitTransfer::aLargerFileComesOverSeveralConnections()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::file(kSeed, kMiddleSize);
    response.holdAfter = 100000;
    server.setResponse("/file.bin", response);
    PlaitSandbox plait;
    plait.start({server.url(u"/file.bin"_s).toString()});
    QVERIFY2(server.waitForHeld(QString(), 2), plait.errorText());
    server.release();
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"file.bin"_s)), TestFiles::sha256OfContent(kSeed, kMiddleSize));
    const QList<ScriptedRequest> requests = server.requests();
    QVERIFY(std::any_of(requests.begin(), requests.end(), [](const ScriptedRequest &request) {
        const QByteArray range = request.header("Range");
        return range.startsWith("bytes=") && !range.startsWith("bytes=0-");
    }));
}

void TestPlaitTransfer::theOutputNameIsExact()
{
    PlaitSandbox plait;
    const QString url = m_servers.nginx().url(u"/file-307200.bin"_s).toString();
    const PlaitResult result = plait.run({url, u"-o"_s, u"another name"_s});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(u"another name"_s));
}

void TestPlaitTransfer::theWorkingFolderIsTheDefault()
{
    PlaitSandbox plait;
    const PlaitResult result = plait.runBare({m_servers.nginx().url(u"/file-1.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(u"file-1.bin"_s));
}

void TestPlaitTransfer::theNameComesFromContentDisposition()
{
    ScriptedServer server;
    server.setResponse(
        "/get.php",
        ScriptedResponse::file(kSeed, 10).withHeader("Content-Disposition", "attachment; filename=\"report.pdf\""));
    PlaitSandbox plait;
    const PlaitResult result = plait.run({server.url(u"/get.php?id=7"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(u"report.pdf"_s));
}

void TestPlaitTransfer::aDangerousNameStaysInTheFolder()
{
    ScriptedServer server;
    server.setResponse("/x",
                       ScriptedResponse::file(kSeed, 10).withHeader("Content-Disposition",
                                                                    "attachment; filename=\"../../escaped.bin\""));
    PlaitSandbox plait;
    const PlaitResult result = plait.run({server.url(u"/x"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files().size(), 1);
    QVERIFY(!QFile::exists(plait.path(u"../../escaped.bin"_s)));
    QVERIFY(!QFile::exists(plait.path(u"../escaped.bin"_s)));
    QCOMPARE(TestFiles::readFile(plait.path(plait.files().constFirst())), TestFiles::content(kSeed, 0, 10));
}

void TestPlaitTransfer::anExistingFileIsNotReplaced()
{
    PlaitSandbox plait;
    QVERIFY(TestFiles::writeFile(plait.path(u"file-1.bin"_s), 99, 50));
    const PlaitResult result = plait.run({m_servers.nginx().url(u"/file-1.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"file-1.bin"_s)), TestFiles::sha256OfContent(99, 50));
    QStringList others = plait.files();
    others.removeAll(u"file-1.bin"_s);
    QCOMPARE(others.size(), 1);
    QCOMPARE(TestFiles::readFile(plait.path(others.constFirst())), TestFiles::content(kSeed, 0, 1));
}

void TestPlaitTransfer::aFileIsAsOldAsItsServerSays_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("isAsOld");
    QTest::newRow("over one connection") << QStringList{u"-x"_s, u"1"_s} << qint64(1000) << true;
    QTest::newRow("over several") << QStringList{u"-x"_s, u"4"_s} << kMiddleSize << true;
    QTest::newRow("where nobody wants it") << QStringList{u"--no-remote-time"_s} << qint64(1000) << false;
}

void TestPlaitTransfer::aFileIsAsOldAsItsServerSays()
{
    QFETCH(QStringList, arguments);
    QFETCH(qint64, size);
    QFETCH(bool, isAsOld);
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, size));
    PlaitSandbox plait;
    const PlaitResult result = plait.run(arguments + QStringList{server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == 0, result.err);
    const QDateTime said(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC);
    QCOMPARE(QFileInfo(plait.path(u"file.bin"_s)).lastModified() == said, isAsOld);
}

void TestPlaitTransfer::quietPrintsNothingButErrors()
{
    PlaitSandbox plait;
    const QString url = m_servers.nginx().url(u"/file-1.bin"_s).toString();
    for (const QStringList &more : {QStringList{}, {u"-d"_s, u"elsewhere"_s}, {u"--on-exists"_s, u"skip"_s}}) {
        const PlaitResult result = plait.runBare(QStringList{u"-q"_s, url} + more);
        QCOMPARE(result.status, 0);
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(result.err, QByteArray());
    }
    const PlaitResult failed =
        plait.runBare({u"-q"_s, m_servers.nginx().url(u"/status/404"_s).toString(), url, u"--on-exists"_s, u"skip"_s});
    QCOMPARE(failed.status, 3);
    QVERIFY2(failed.err.count('\n') == 1 && failed.err.contains("HTTP status 404"), failed.err);
}

void TestPlaitTransfer::progressForProgramsStandsAlone()
{
    PlaitSandbox plait;
    const PlaitResult result =
        plait.run({u"--progress"_s, u"json"_s, m_servers.nginx().url(u"/rate/100k/file-307200.bin"_s).toString()});
    QCOMPARE(result.status, 0);
    QVERIFY(!result.out.isEmpty());
    for (const QByteArray &line : result.out.split('\n'))
        QVERIFY2(line.isEmpty() || line.contains("\"event\":\"progress\""), line);
    QVERIFY2(result.err.startsWith("Saved \""), result.err);
}

QTEST_GUILESS_MAIN(TestPlaitTransfer)
#include "tst_plait_transfer.moc"
