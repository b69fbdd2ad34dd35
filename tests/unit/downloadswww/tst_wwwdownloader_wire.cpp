// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownloader.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testaccesschief.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 7;

/// A transfer that can be told that a second has passed, or that none passes.
class HastyDownloader : public WwwDownloader
{
public:
    using WwwDownloader::WwwDownloader;

    qint64 ahead = 0;
    bool clockStands = false;

protected:
    qint64 currentSecond() const override { return clockStands ? 1 : WwwDownloader::currentSecond() + ahead; }
};

/// A transfer over the real network layer, whose chunks are confirmed as a writer does: later.
class WireTransfer
{
public:
    WireTransfer()
        : chief(new TestAccessChief)
        , downloader(chief, nullptr)
    {
        QObject::connect(&downloader, &WwwDownloader::requestHeaders, &downloader,
                         [this](const QList<QString> &headers) { reported.append(headers); });
        QObject::connect(&downloader, &WwwDownloader::gotHeaders, &downloader,
                         [this] { status = downloader.httpStatusCode(); });
        QObject::connect(
            &downloader, &WwwDownloader::gotData, &downloader,
            [this](const QByteArray &data) {
                received.append(data);
                largestChunk = qMax(largestChunk, data.size());
                if (confirms)
                    downloader.onDataProcessed(data.size());
            },
            Qt::QueuedConnection);
    }

    void start(const QUrl &url, qint64 offset = 0, qint64 length = -1)
    {
        WwwDownloadSourceInfo source;
        source.url = url;
        source.sectionOffset = offset;
        source.sectionLength = length;
        start(source);
    }
    void start(const WwwDownloadSourceInfo &source) { downloader.start(source, u"tester/1"_s); }

    QSharedPointer<TestAccessChief> chief;
    HastyDownloader downloader;
    QList<QList<QString>> reported; ///< requests
    QByteArray received;
    qsizetype largestChunk = 0;
    int status = 0;
    bool confirms = true;
};

/// A request as it came, in the words and the order of a report; reports leave out the port of the host.
QList<QString> inWords(const ScriptedRequest &request, const QByteArrayList &headerNames)
{
    QList<QString> lines{QString::fromUtf8(request.method + ' ' + request.target + ' ' + request.version)};
    for (const QByteArray &name : headerNames) {
        QByteArray value = request.header(name);
        if (name == "Host")
            value.truncate(value.lastIndexOf(':'));
        lines.append(QString::fromUtf8(name + ": " + value));
    }
    return lines;
}

}

/// The transfer against servers that misbehave as told.
class TestWwwDownloaderWire : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestIsSentAsReported();
    void postIsSentAsReported();
    void wholeResource();
    void earlyHandOutKeepsNoMoreThanTheNetworkDoes();
    void rangeEndsWithItsSection();
    void redirectChains_data();
    void redirectChains();
    void redirectWithoutLocation();
    void endings_data();
    void endings();
    void nobodyListens();
    void unconfirmedChunkStopsTheServer();
    void smallReadBufferHoldsFromTheFirstBurst();
    void whatComesBehindAFullBufferIsFetched();
    void stopInMidTransferClosesTheConnection();
    void restartInMidTransfer();
    void untrustedCertificate_data();
    void untrustedCertificate();
};

void TestWwwDownloaderWire::requestIsSentAsReported()
{
    ScriptedServer server;
    server.setResponse("/dir/file", ScriptedResponse::file(kSeed, 2000));
    WwwDownloadSourceInfo source;
    source.url = server.url(u"/dir/file?x=1"_s);
    source.sectionOffset = 1000;
    source.sectionDownloaded = 24;
    source.cookies = {QNetworkCookie("c", "1")};
    source.parameters.insert(u"headers"_s, QVariantMap{{u"X-Custom"_s, u"value"_s}});
    WireTransfer transfer;
    transfer.start(source);
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);

    QCOMPARE(server.requests().size(), 1);
    const ScriptedRequest request = server.requests().first();
    QCOMPARE(request.method, "GET");
    QCOMPARE(request.target, "/dir/file?x=1");
    QCOMPARE(request.version, "HTTP/1.1");
    QCOMPARE(request.header("Range"), "bytes=1024-");
    QCOMPARE(request.header("User-Agent"), "tester/1");
    QCOMPARE(request.header("Referer"), server.url(u"/dir/"_s).toEncoded());
    QCOMPARE(request.header("Cookie"), "c=1");
    QCOMPARE(request.header("X-Custom"), "value");
    QCOMPARE(transfer.reported,
             QList<QList<QString>>{inWords(request, {"Host", "User-Agent", "Referer", "Range", "X-Custom", "Cookie"})});
    QCOMPARE(transfer.status, 206);
    QCOMPARE(transfer.received, TestFiles::content(kSeed, 1024, 976));
}

void TestWwwDownloaderWire::postIsSentAsReported()
{
    ScriptedServer server;
    server.setResponse("/form", ScriptedResponse::ok("fine"));
    WwwDownloadSourceInfo source;
    source.url = server.url(u"/form"_s);
    source.postData = "a=1&b=2";
    WireTransfer transfer;
    transfer.start(source);
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);

    const ScriptedRequest request = server.requests().first();
    QCOMPARE(request.method, "POST");
    QCOMPARE(request.body, "a=1&b=2");
    QCOMPARE(request.header("Content-Type"), "application/x-www-form-urlencoded");
    QCOMPARE(transfer.reported,
             QList<QList<QString>>{inWords(request, {"Host", "User-Agent", "Referer", "Content-Type"})});
    QCOMPARE(transfer.received, "fine");
}

void TestWwwDownloaderWire::wholeResource()
{
    ScriptedServer server;
    const qint64 size = 3'000'000;
    server.setResponse("/f", ScriptedResponse::file(kSeed, size));
    WireTransfer transfer;
    transfer.start(server.url(u"/f"_s));
    QTRY_VERIFY_WITH_TIMEOUT(!transfer.downloader.isRunning(), ScriptedServer::kPatienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);
    QVERIFY(transfer.received == TestFiles::content(kSeed, 0, size));
    QCOMPARE(transfer.status, 200);
    QCOMPARE(transfer.downloader.lastError(), AbstractError());
    QCOMPARE(transfer.downloader.source().sectionLength, size);
    QVERIFY(!server.requests().first().hasHeader("Range"));
}

void TestWwwDownloaderWire::earlyHandOutKeepsNoMoreThanTheNetworkDoes()
{
    ScriptedServer server;
    const qint64 size = 20'000'000;
    server.setResponse("/f", ScriptedResponse::file(kSeed, size));
    WireTransfer transfer;
    transfer.chief->setProperty("earlyHandOutSize", qint64(1));
    transfer.downloader.clockStands = true;
    transfer.start(server.url(u"/f"_s));
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);
    QVERIFY(transfer.received == TestFiles::content(kSeed, 0, size));
    QVERIFY2(transfer.largestChunk <= 4 * WwwDownloader::kReadBufferSize, QByteArray::number(transfer.largestChunk));
}

void TestWwwDownloaderWire::rangeEndsWithItsSection()
{
    ScriptedServer server;
    server.setResponse("/f", ScriptedResponse::file(kSeed, 500'000));
    WireTransfer transfer;
    transfer.start(server.url(u"/f"_s), 1000, 100'000);
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);
    QVERIFY(transfer.received == TestFiles::content(kSeed, 1000, 100'000));
    QCOMPARE(transfer.downloader.lastError(), AbstractError());
    QVERIFY(transfer.downloader.isFinished());
}

void TestWwwDownloaderWire::redirectChains_data()
{
    QTest::addColumn<int>("hops");
    QTest::addColumn<int>("code");
    QTest::newRow("one redirect") << 1 << 0;
    QTest::newRow("15 redirects are followed") << 15 << 0;
    QTest::newRow("the 16th is too many") << 16 << 2;
}

void TestWwwDownloaderWire::redirectChains()
{
    QFETCH(int, hops);
    QFETCH(int, code);
    ScriptedServer server;
    server.setResponse("/target", ScriptedResponse::ok("here"));
    server.addRedirectChain("/hop", hops, "/target");
    WireTransfer transfer;
    transfer.start(server.url(u"/hop/%1"_s.arg(hops)));
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);
    const AbstractError error = transfer.downloader.lastError();
    QCOMPARE(error.code, code);
    QCOMPARE(error.category, code ? "GenericError" : "");
    QCOMPARE(transfer.received, code ? QByteArray() : QByteArray("here"));
    if (!code)
        QCOMPARE(transfer.downloader.redirectedSource().url, server.url(u"/target"_s));
    QCOMPARE(transfer.chief->outCount(), 0);
}

void TestWwwDownloaderWire::redirectWithoutLocation()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("nowhere");
    response.status = 302;
    server.setResponse("/f", response);
    WireTransfer transfer;
    transfer.start(server.url(u"/f"_s));
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);
    QCOMPARE(transfer.status, 302);
    QCOMPARE(server.requests().size(), 1);
}

void TestWwwDownloaderWire::endings_data()
{
    QTest::addColumn<ScriptedResponse>("response");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("code");
    QTest::addColumn<qint64>("received");
    QTest::addColumn<qint64>("length");

    ScriptedResponse response = ScriptedResponse::ok(QByteArray(5000, 'x'));
    QTest::newRow("a known length") << response << 200 << 0 << qint64(5000) << qint64(5000);
    response.cutAfter = 3000;
    QTest::newRow("a body shorter than its length") << response << 200 << 2 << qint64(3000) << qint64(-1);
    response.framing = ScriptedResponse::Framing::CloseDelimited;
    QTest::newRow("a body without a length, of which nobody can tell")
        << response << 200 << 0 << qint64(3000) << qint64(3000);
    QTest::newRow("an empty body") << ScriptedResponse::ok({}) << 200 << 0 << qint64(0) << qint64(0);
    QTest::newRow("a missing page") << ScriptedResponse::error(404) << 404 << 203 << qint64(-1) << qint64(-1);
    QTest::newRow("a busy server") << ScriptedResponse::error(503) << 503 << 403 << qint64(-1) << qint64(-1);
    QTest::newRow("no answer at all") << ScriptedResponse::noAnswer() << 0 << 2 << qint64(0) << qint64(-1);
}

void TestWwwDownloaderWire::endings()
{
    QFETCH(ScriptedResponse, response);
    QFETCH(int, status);
    QFETCH(int, code);
    QFETCH(qint64, received);
    ScriptedServer server;
    server.setResponse("/f", response);
    WireTransfer transfer;
    transfer.start(server.url(u"/f"_s));
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);
    QCOMPARE(transfer.status, status);
    QCOMPARE(transfer.downloader.lastError().code, code);
    QCOMPARE(transfer.downloader.lastError().category, code ? "QtNetworkError" : "");
    QCOMPARE(transfer.downloader.lastError().description.empty(), code == 0);
    if (received >= 0)
        QCOMPARE(transfer.received.size(), received);
    QTEST(transfer.downloader.source().sectionLength, "length");
}

void TestWwwDownloaderWire::nobodyListens()
{
    WireTransfer transfer;
    transfer.start(QUrl(u"http://127.0.0.1:%1/f"_s.arg(ScriptedServer::refusedPort())));
    QTRY_VERIFY_WITH_TIMEOUT(!transfer.downloader.isRunning(), ScriptedServer::kPatienceMs);
    QCOMPARE(transfer.downloader.lastError().code, int(QNetworkReply::ConnectionRefusedError));
    QCOMPARE(transfer.status, 0);
}

void TestWwwDownloaderWire::unconfirmedChunkStopsTheServer()
{
    ScriptedServer server;
    const qint64 size = 256 * 1024 * 1024;
    server.setResponse("/f", ScriptedResponse::file(kSeed, size));
    WireTransfer transfer;
    transfer.confirms = false;
    // The first bytes are handed out as they come. In a whole second the server may have sent everything.
    connect(&transfer.downloader, &WwwDownloader::gotHeaders, this, [&] { ++transfer.downloader.ahead; });
    transfer.start(server.url(u"/f"_s));
    QTRY_VERIFY_WITH_TIMEOUT(!transfer.received.isEmpty(), ScriptedServer::kPatienceMs);
    const qint64 received = transfer.received.size();
    const QNetworkReply *const reply = transfer.chief->lastManager()->findChild<QNetworkReply *>();
    QVERIFY(reply);
    // The network layer fills up to its bound, and no further while nothing is confirmed.
    QTRY_VERIFY_WITH_TIMEOUT(reply->bytesAvailable() >= WwwDownloader::kReadBufferSize / 2,
                             ScriptedServer::kPatienceMs);
    QVERIFY2(reply->bytesAvailable() <= 4 * WwwDownloader::kReadBufferSize,
             QByteArray::number(reply->bytesAvailable()));
    QCOMPARE(transfer.received.size(), received);
    QVERIFY(server.bodyBytesSent(0) < size);
}

void TestWwwDownloaderWire::smallReadBufferHoldsFromTheFirstBurst()
{
    ScriptedServer server;
    server.setResponse("/f", ScriptedResponse::file(kSeed, 64 * 1024 * 1024));
    WireTransfer transfer;
    transfer.downloader.setNetworkUsageSettings({30, 0, 0, false});
    qint64 inFirstBurst = -1;
    connect(&transfer.downloader, &WwwDownloader::gotHeaders, this,
            [&] { inFirstBurst = transfer.chief->lastManager()->findChild<QNetworkReply *>()->bytesAvailable(); });
    transfer.start(server.url(u"/f"_s));
    QTRY_VERIFY_WITH_TIMEOUT(inFirstBurst >= 0, ScriptedServer::kPatienceMs);
    QVERIFY2(inFirstBurst <= WwwDownloader::kReadBufferSize, QByteArray::number(inFirstBurst));
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.source().sectionDownloaded > 0, ScriptedServer::kPatienceMs);
}

void TestWwwDownloaderWire::whatComesBehindAFullBufferIsFetched()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok(QByteArray(700'000, 'x'));
    response.holdAfter = 600'000;
    response.holdGate = u"middle"_s;
    server.setResponse("/f", response);
    for (int round = 0; round < 10; ++round) {
        WireTransfer transfer;
        transfer.start(server.url(u"/f"_s));
        QTRY_COMPARE_WITH_TIMEOUT(transfer.downloader.source().sectionDownloaded, 600'000, ScriptedServer::kPatienceMs);
        transfer.downloader.stop();
    }
}

void TestWwwDownloaderWire::stopInMidTransferClosesTheConnection()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok(QByteArray(100'000, 'x'));
    response.holdAfter = 50'000;
    response.holdGate = u"middle"_s;
    server.setResponse("/f", response);
    WireTransfer transfer;
    transfer.start(server.url(u"/f"_s));
    QVERIFY(server.waitForHeld(u"middle"_s));
    QTRY_COMPARE_WITH_TIMEOUT(transfer.downloader.source().sectionDownloaded, 50'000, ScriptedServer::kPatienceMs);
    transfer.downloader.stop();
    QVERIFY(!transfer.downloader.isRunning());
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);
    QCOMPARE(transfer.received.size(), 50'000);
    QVERIFY(server.waitForNoConnections());
}

void TestWwwDownloaderWire::restartInMidTransfer()
{
    ScriptedServer server;
    server.setResponse("/f", ScriptedResponse::file(kSeed, 200'000));
    WireTransfer transfer;
    int heads = 0;
    connect(&transfer.downloader, &WwwDownloader::gotHeaders, this, [&] {
        if (++heads > 1)
            return;
        transfer.downloader.stop();
        transfer.start(server.url(u"/f"_s), 150'000);
    });
    transfer.start(server.url(u"/f"_s));
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);
    QCOMPARE(heads, 2);
    QVERIFY(transfer.received == TestFiles::content(kSeed, 150'000, 50'000));
    QCOMPARE(transfer.downloader.lastError(), AbstractError());
}

void TestWwwDownloaderWire::untrustedCertificate_data()
{
    QTest::addColumn<bool>("ignore");
    QTest::newRow("ends the run") << false;
    QTest::newRow("is passed over where that was set") << true;
}

void TestWwwDownloaderWire::untrustedCertificate()
{
    QFETCH(bool, ignore);
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    ScriptedServer server(ca.serverConfiguration());
    server.setResponse("/f", ScriptedResponse::ok("secret"));
    WireTransfer transfer;
    transfer.downloader.setNetworkSettings({{}, {}, true, ignore});
    transfer.start(server.url(u"/f"_s));
    QTRY_VERIFY_WITH_TIMEOUT(transfer.downloader.isDataProcessed(), ScriptedServer::kPatienceMs);
    QVERIFY(!transfer.downloader.lastSslErrors().isEmpty());
    QCOMPARE(transfer.downloader.lastError().code, ignore ? 0 : int(QNetworkReply::SslHandshakeFailedError));
    QCOMPARE(transfer.received, ignore ? QByteArray("secret") : QByteArray());
}

QTEST_GUILESS_MAIN(TestWwwDownloaderWire)
#include "tst_wwwdownloader_wire.moc"
