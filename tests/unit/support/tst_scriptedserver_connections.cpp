// SPDX-License-Identifier: MIT
#include <tests/support/scriptedserver.h>

#include <tests/support/testca.h>
#include <tests/support/testfiles.h>
#include <tests/unit/support/rawclient.h>

#include <QElapsedTimer>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{
using Framing = ScriptedResponse::Framing;

constexpr int kPatienceMs = ScriptedServer::kPatienceMs;
}

/// When the server sends, holds, cuts and closes, and how its connections come and go.
class TestScriptedServerConnections : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aBodyIsCutAtTheExactByte_data();
    void aBodyIsCutAtTheExactByte();
    void aCutCanBeAReset();
    void aBodyIsHeldAtTheExactByteUntilReleased();
    void aHeadIsHeldUntilReleased();
    void oneGateHoldsSeveralAnswers();
    void aGateCanBeShutAgain();
    void aLimitedRateStillDeliversEverything();
    void aConnectionCanBeClosedWithoutAnswer();
    void httpsWorksWithTheTestCertificate();
    void httpsIsRefusedWithoutTheAuthority();
    void droppedConnectionsEndAtOnce();
    void afterStopListeningConnectionsAreRefused();
    void nobodyListensAtARefusedPort();
    void aClientThatLeavesIsForgotten();
    void aLargeBodyArrivesWhole();
};

void TestScriptedServerConnections::aBodyIsCutAtTheExactByte_data()
{
    QTest::addColumn<ScriptedResponse::Framing>("framing");
    QTest::addColumn<qint64>("cutAfter");
    QTest::addColumn<QByteArray>("end");
    QTest::newRow("after the head") << Framing::ContentLength << qint64(0) << QByteArray("\r\n\r\n");
    QTest::newRow("in the middle") << Framing::ContentLength << qint64(3) << QByteArray("\r\n\r\n012");
    QTest::newRow("without a length") << Framing::CloseDelimited << qint64(3) << QByteArray("\r\n\r\n012");
    QTest::newRow("chunked, without the last chunk")
        << Framing::Chunked << qint64(10) << QByteArray("\r\na\r\n0123456789\r\n");
}

void TestScriptedServerConnections::aBodyIsCutAtTheExactByte()
{
    QFETCH(ScriptedResponse::Framing, framing);
    QFETCH(qint64, cutAfter);
    QFETCH(QByteArray, end);
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("0123456789");
    response.framing = framing;
    response.cutAfter = cutAfter;
    server.setResponse("/a", response);
    const QByteArray answer = answerTo(server, "/a");
    QVERIFY2(answer.endsWith(end), answer.constData());
    QCOMPARE(answer.contains("Content-Length: 10\r\n"), framing == Framing::ContentLength);
    QCOMPARE(server.bodyBytesSent(0), cutAfter);
}

void TestScriptedServerConnections::aCutCanBeAReset()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("0123456789");
    response.cutAfter = 3;
    response.cut = ScriptedResponse::Cut::Reset;
    response.holdAfter = 3;
    server.setResponse("/a", response);
    RawClient client(server);
    client.get("/a");
    QVERIFY(client.waitFor("\r\n\r\n012"));
    server.release();
    QVERIFY(client.waitForClose());
    QCOMPARE(client.body(), QByteArray("012"));
    // A reset and an orderly end have one error number in Qt; the operating system's words differ.
    QCOMPARE(client.socket().error(), QAbstractSocket::RemoteHostClosedError);
    QVERIFY(!server.waitForHeld(QString(), 1, 0));
}

void TestScriptedServerConnections::aBodyIsHeldAtTheExactByteUntilReleased()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("0123456789");
    response.holdAfter = 4;
    response.holdGate = u"middle"_s;
    server.setResponse("/a", response);
    RawClient client(server);
    client.get("/a");
    QVERIFY(server.waitForHeld(u"middle"_s));
    QVERIFY(client.waitFor("\r\n\r\n0123"));
    QCOMPARE(server.bodyBytesSent(0), 4);
    QCOMPARE(client.body(), QByteArray("0123"));
    server.release(u"other"_s);
    QCOMPARE(server.heldCount(u"middle"_s), 1);
    server.release(u"middle"_s);
    QVERIFY(client.waitFor("\r\n\r\n0123456789"));
    QCOMPARE(server.heldCount(u"middle"_s), 0);
}

void TestScriptedServerConnections::aHeadIsHeldUntilReleased()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("x");
    response.headGate = u"head"_s;
    server.setResponse("/a", response);
    RawClient client(server);
    client.get("/a");
    QVERIFY(server.waitForHeld(u"head"_s));
    QCOMPARE(client.received(), QByteArray());
    server.release(u"head"_s);
    QVERIFY(client.waitFor("\r\n\r\nx"));
}

void TestScriptedServerConnections::oneGateHoldsSeveralAnswers()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("x");
    response.holdAfter = 0;
    server.setResponse("/a", response);
    RawClient first(server);
    RawClient second(server);
    first.get("/a");
    second.get("/a");
    QVERIFY(server.waitForHeld(QString(), 2));
    server.release();
    QVERIFY(first.waitFor("\r\n\r\nx"));
    QVERIFY(second.waitFor("\r\n\r\nx"));
}

void TestScriptedServerConnections::aGateCanBeShutAgain()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("x");
    response.holdAfter = 0;
    server.setResponse("/a", response);
    server.release();
    RawClient client(server);
    client.get("/a");
    QVERIFY(client.waitFor("\r\n\r\nx"));
    server.shut();
    client.get("/a");
    QVERIFY(server.waitForHeld(QString()));
}

void TestScriptedServerConnections::aLimitedRateStillDeliversEverything()
{
    ScriptedServer server;
    ScriptedResponse response = closing(ScriptedResponse::file(1, 30000));
    response.bytesPerSecond = 100000;
    server.setResponse("/a", response);
    QElapsedTimer timer;
    timer.start();
    RawClient client(server);
    client.get("/a");
    QVERIFY(client.waitForClose());
    QCOMPARE(client.body(), TestFiles::content(1, 0, 30000));
    // A lower bound does not depend on the machine's load: six ticks of 50 ms carry these bytes, the first after one.
    QVERIFY(timer.elapsed() >= 200);
}

void TestScriptedServerConnections::aConnectionCanBeClosedWithoutAnswer()
{
    ScriptedServer server;
    server.setResponse("/a", ScriptedResponse::noAnswer());
    QCOMPARE(answerTo(server, "/a"), QByteArray());
    QCOMPARE(server.requests().size(), 1);
}

void TestScriptedServerConnections::httpsWorksWithTheTestCertificate()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    ScriptedServer server(ca.serverConfiguration());
    server.setResponse("/a", ScriptedResponse::file(2, 500000));
    QNetworkAccessManager manager;
    QNetworkRequest request(server.url(u"/a"_s));
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setCaCertificates(QSslCertificate::fromPath(ca.caFile()));
    request.setSslConfiguration(tls);
    const std::unique_ptr<QNetworkReply> reply(manager.get(request));
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), kPatienceMs);
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(reply->readAll(), TestFiles::content(2, 0, 500000));
}

void TestScriptedServerConnections::httpsIsRefusedWithoutTheAuthority()
{
    const TestCa ca;
    ScriptedServer server(ca.serverConfiguration());
    QNetworkAccessManager manager;
    const std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(server.url(u"/a"_s))));
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), kPatienceMs);
    QCOMPARE(reply->error(), QNetworkReply::SslHandshakeFailedError);
    QCOMPARE(server.requests().size(), 0);
}

void TestScriptedServerConnections::droppedConnectionsEndAtOnce()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("0123456789");
    response.holdAfter = 4;
    server.setResponse("/a", response);
    RawClient client(server);
    client.get("/a");
    QVERIFY(server.waitForHeld(QString()));
    server.dropConnections();
    QVERIFY(client.waitForClose());
    QCOMPARE(server.openConnections(), 0);
    QCOMPARE(server.heldCount(), 0);
    RawClient next(server);
    QCOMPARE(next.socket().state(), QAbstractSocket::ConnectedState);
}

void TestScriptedServerConnections::afterStopListeningConnectionsAreRefused()
{
    ScriptedServer server;
    server.setResponse("/a", ScriptedResponse::ok("x"));
    RawClient open(server);
    open.get("/a");
    QVERIFY(open.waitFor("\r\n\r\nx"));
    server.stopListening();
    const RawClient refused(server);
    open.get("/b");
    QVERIFY(open.waitFor(" 404 "));
    QCOMPARE(server.connectionCount(), 1);
}

void TestScriptedServerConnections::nobodyListensAtARefusedPort()
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), ScriptedServer::refusedPort());
    QVERIFY(!socket.waitForConnected(kPatienceMs));
    QCOMPARE(socket.error(), QAbstractSocket::ConnectionRefusedError);
}

void TestScriptedServerConnections::aClientThatLeavesIsForgotten()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("0123456789");
    response.holdAfter = 4;
    server.setResponse("/a", response);
    {
        RawClient client(server);
        client.get("/a");
        QVERIFY(server.waitForHeld(QString()));
    }
    QVERIFY(server.waitForNoConnections());
    QCOMPARE(server.heldCount(), 0);
    QCOMPARE(server.bodyBytesSent(0), 4);
}

void TestScriptedServerConnections::aLargeBodyArrivesWhole()
{
    constexpr qint64 kSize = 50000000;
    ScriptedServer server;
    server.setResponse("/a", closing(ScriptedResponse::file(9, kSize)));
    RawClient client(server);
    client.get("/a");
    QVERIFY(client.waitForClose());
    QCOMPARE(TestFiles::sha256(client.body()), TestFiles::sha256OfContent(9, kSize));
}

QTEST_GUILESS_MAIN(TestScriptedServerConnections)
#include "tst_scriptedserver_connections.moc"
