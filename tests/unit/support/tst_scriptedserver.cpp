// SPDX-License-Identifier: MIT
#include <tests/support/scriptedserver.h>

#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QElapsedTimer>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
using Framing = ScriptedResponse::Framing;

constexpr int kPatienceMs = ScriptedServer::kPatienceMs;

// A client that hides nothing: it sends bytes and keeps what comes back.
class Client
{
public:
    explicit Client(const ScriptedServer &server)
    {
        m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), server.port());
        m_socket.waitForConnected(kPatienceMs);
    }

    void send(const QByteArray &bytes) { m_socket.write(bytes); }

    void get(const QByteArray &target, const QByteArray &headers = QByteArray())
    {
        send("GET " + target + " HTTP/1.1\r\nHost: test\r\n" + headers + "\r\n");
    }

    bool waitFor(const QByteArray &bytes)
    {
        return QTest::qWaitFor([&] { return received().contains(bytes); }, kPatienceMs);
    }

    bool waitForSize(qsizetype size)
    {
        return QTest::qWaitFor([&] { return received().size() >= size; }, kPatienceMs);
    }

    bool waitForClose()
    {
        const bool closed =
            QTest::qWaitFor([&] { return m_socket.state() == QAbstractSocket::UnconnectedState; }, kPatienceMs);
        received();
        return closed;
    }

    const QByteArray &received()
    {
        m_received += m_socket.readAll();
        return m_received;
    }

    QByteArray head() { return received().left(received().indexOf("\r\n\r\n")); }

    QByteArray body() { return received().mid(received().indexOf("\r\n\r\n") + 4); }

    QTcpSocket &socket() { return m_socket; }

private:
    QTcpSocket m_socket;
    QByteArray m_received;
};

// The whole answer to one request, on a connection of its own.
QByteArray answerTo(const ScriptedServer &server, const QByteArray &target, const QByteArray &headers = QByteArray())
{
    Client client(server);
    client.get(target, headers + "Connection: close\r\n");
    client.waitForClose();
    return client.received();
}

ScriptedResponse closing(ScriptedResponse response)
{
    response.closesConnection = true;
    return response;
}
}

class TestScriptedServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anUnknownPathIs404();
    void anAnswerIsSentWordForWord();
    void headersCanLieAndBeLeftOut();
    void requestsAreRecordedInOrderWithTheirConnections();
    void aRequestBodyIsRecorded();
    void aHeadRequestGetsNoBody();
    void rangesAreCut_data();
    void rangesAreCut();
    void rangesCanBeIgnored();
    void ifRangeIsHonoured_data();
    void ifRangeIsHonoured();
    void aWrongContentRangeCanBeTold();
    void chunksAreSentWithoutALength();
    void aBodyCanEndWithTheConnection();
    void aBodyIsCutAtTheExactByte_data();
    void aBodyIsCutAtTheExactByte();
    void aCutCanBeAReset();
    void aBodyIsHeldAtTheExactByteUntilReleased();
    void aHeadIsHeldUntilReleased();
    void oneGateHoldsSeveralAnswers();
    void aGateCanBeShutAgain();
    void aLimitedRateStillDeliversEverything();
    void aConnectionCanBeClosedWithoutAnswer();
    void garbageIsSentAsItStands();
    void answersCanChangeFromRequestToRequest();
    void aHandlerSeesTheRequest();
    void aRedirectChainEndsAtItsTarget();
    void httpsWorksWithTheTestCertificate();
    void httpsIsRefusedWithoutTheAuthority();
    void droppedConnectionsEndAtOnce();
    void afterStopListeningConnectionsAreRefused();
    void nobodyListensAtARefusedPort();
    void aClientThatLeavesIsForgotten();
    void aLargeBodyArrivesWhole();
};

void TestScriptedServer::anUnknownPathIs404()
{
    const ScriptedServer server;
    QVERIFY(server.isListening());
    Client client(server);
    client.get("/nothing");
    QVERIFY(client.waitFor("HTTP/1.1 404 Not Found\r\n"));
}

void TestScriptedServer::anAnswerIsSentWordForWord()
{
    ScriptedServer server;
    ScriptedResponse response = closing(ScriptedResponse::ok("hello"));
    response.status = 299;
    response.reason = "Quite Well";
    response.withHeader("X-one", "1").withHeader("X-ONE", "2");
    server.setResponse("/a", response);
    QCOMPARE(answerTo(server, "/a?query"),
             QByteArray("HTTP/1.1 299 Quite Well\r\nX-one: 1\r\nX-ONE: 2\r\nContent-Length: 5\r\nConnection: "
                        "close\r\n\r\nhello"));
}

void TestScriptedServer::headersCanLieAndBeLeftOut()
{
    ScriptedServer server;
    ScriptedResponse response = closing(ScriptedResponse::ok("hello"));
    response.withHeader("content-length", "99");
    response.leaveOut = {"connection"};
    server.setResponse("/a", response);
    QCOMPARE(answerTo(server, "/a"), QByteArray("HTTP/1.1 200 OK\r\ncontent-length: 99\r\n\r\nhello"));
}

void TestScriptedServer::requestsAreRecordedInOrderWithTheirConnections()
{
    ScriptedServer server;
    server.setFallback([](const ScriptedRequest &) { return ScriptedResponse::ok("x"); });
    Client first(server);
    first.get("/one?a=b", "X-Name: value \r\n");
    QVERIFY(first.waitFor("\r\n\r\nx"));
    Client second(server);
    second.get("/two");
    QVERIFY(second.waitFor("\r\n\r\nx"));
    first.get("/three");
    QVERIFY(server.waitForRequests(3));

    const QList<ScriptedRequest> requests = server.requests();
    QCOMPARE(requests.at(0).method, QByteArray("GET"));
    QCOMPARE(requests.at(0).target, QByteArray("/one?a=b"));
    QCOMPARE(requests.at(0).path(), QByteArray("/one"));
    QCOMPARE(requests.at(0).version, QByteArray("HTTP/1.1"));
    QCOMPARE(requests.at(0).headers.size(), 2);
    QCOMPARE(requests.at(0).headers.at(1), ScriptedRequest::Header("X-Name", "value"));
    QCOMPARE(requests.at(0).header("x-name"), QByteArray("value"));
    QVERIFY(!requests.at(0).hasHeader("Range"));
    QCOMPARE(requests.at(1).connection, 2);
    QCOMPARE(requests.at(2).connection, 1);
    QCOMPARE(requests.at(2).order, 2);
    QCOMPARE(server.requests("/one").size(), 1);
    QCOMPARE(server.connectionCount(), 2);
    QCOMPARE(server.peakConnections(), 2);
}

void TestScriptedServer::aRequestBodyIsRecorded()
{
    ScriptedServer server;
    Client client(server);
    client.send("POST /form HTTP/1.1\r\nContent-Length: 7\r\n\r\nab");
    client.socket().flush();
    client.send("cdefgGET /next HTTP/1.1\r\n\r\n");
    QVERIFY(server.waitForRequests(2));
    QCOMPARE(server.requests().at(0).method, QByteArray("POST"));
    QCOMPARE(server.requests().at(0).body, QByteArray("abcdefg"));
    QCOMPARE(server.requests().at(1).target, QByteArray("/next"));
}

void TestScriptedServer::aHeadRequestGetsNoBody()
{
    ScriptedServer server;
    server.setResponse("/a", closing(ScriptedResponse::ok("hello")));
    Client client(server);
    client.send("HEAD /a HTTP/1.1\r\n\r\n");
    QVERIFY(client.waitForClose());
    QVERIFY(client.head().contains("Content-Length: 5"));
    QCOMPARE(client.body(), QByteArray());
}

void TestScriptedServer::rangesAreCut_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("contentRange");
    QTest::addColumn<QByteArray>("body");
    const auto row = [](const char *name, const char *range, int status, const char *contentRange, const char *body) {
        QTest::newRow(name) << QByteArray(range) << status << QByteArray(contentRange) << QByteArray(body);
    };
    row("a piece", "bytes=2-4", 206, "Content-Range: bytes 2-4/10\r\n", "234");
    row("an open end", "bytes=7-", 206, "Content-Range: bytes 7-9/10\r\n", "789");
    row("the whole file from 0", "bytes=0-", 206, "Content-Range: bytes 0-9/10\r\n", "0123456789");
    row("an end beyond the file", "bytes=8-99", 206, "Content-Range: bytes 8-9/10\r\n", "89");
    row("the last bytes", "bytes=-2", 206, "Content-Range: bytes 8-9/10\r\n", "89");
    row("a start at the end of the file", "bytes=10-", 416, "Content-Range: bytes */10\r\n", "");
    row("a range that is none", "bytes=5-2", 200, "", "0123456789");
    row("two ranges", "bytes=0-1,3-4", 200, "", "0123456789");
}

void TestScriptedServer::rangesAreCut()
{
    QFETCH(QByteArray, range);
    QFETCH(int, status);
    QFETCH(QByteArray, contentRange);
    QFETCH(QByteArray, body);
    ScriptedServer server;
    ScriptedResponse response = closing(ScriptedResponse::ok("0123456789"));
    response.honoursRanges = true;
    server.setResponse("/a", response);
    Client client(server);
    client.get("/a", "Range: " + range + "\r\n");
    QVERIFY(client.waitForClose());
    QVERIFY(client.head().startsWith("HTTP/1.1 " + QByteArray::number(status)));
    QVERIFY(client.received().contains(contentRange));
    QCOMPARE(client.head().contains("Content-Range"), !contentRange.isEmpty());
    QVERIFY(client.received().contains("Content-Length: " + QByteArray::number(body.size()) + "\r\n"));
    QVERIFY(client.received().contains("Accept-Ranges: bytes\r\n"));
    QCOMPARE(client.body(), body);
}

void TestScriptedServer::rangesCanBeIgnored()
{
    ScriptedServer server;
    server.setResponse("/a", closing(ScriptedResponse::ok("0123456789")));
    const QByteArray answer = answerTo(server, "/a", "Range: bytes=3-\r\n");
    QVERIFY(answer.startsWith("HTTP/1.1 200 OK\r\n"));
    QVERIFY(answer.endsWith("\r\n\r\n0123456789"));
    QVERIFY(!answer.contains("Accept-Ranges"));
}

void TestScriptedServer::ifRangeIsHonoured_data()
{
    QTest::addColumn<QByteArray>("condition");
    QTest::addColumn<QByteArray>("start");
    QTest::newRow("the ETag gives the piece") << QByteArray("\"tag\"") << QByteArray("HTTP/1.1 206 ");
    QTest::newRow("the modification time gives the piece")
        << QByteArray("Wed, 01 Jan 2020 00:00:00 GMT") << QByteArray("HTTP/1.1 206 ");
    QTest::newRow("another ETag gives the whole file") << QByteArray("\"old\"") << QByteArray("HTTP/1.1 200 ");
}

void TestScriptedServer::ifRangeIsHonoured()
{
    QFETCH(QByteArray, condition);
    QFETCH(QByteArray, start);
    ScriptedServer server;
    ScriptedResponse response = closing(ScriptedResponse::ok("0123456789"));
    response.honoursRanges = true;
    response.withHeader("ETag", "\"tag\"").withHeader("Last-Modified", "Wed, 01 Jan 2020 00:00:00 GMT");
    server.setResponse("/a", response);
    QVERIFY(answerTo(server, "/a", "Range: bytes=3-\r\nIf-Range: " + condition + "\r\n").startsWith(start));
}

void TestScriptedServer::aWrongContentRangeCanBeTold()
{
    ScriptedServer server;
    ScriptedResponse response = closing(ScriptedResponse::ok("0123456789"));
    response.honoursRanges = true;
    response.withHeader("Content-Range", "bytes 4-9/10");
    server.setResponse("/a", response);
    const QByteArray answer = answerTo(server, "/a", "Range: bytes=3-\r\n");
    QVERIFY(answer.startsWith("HTTP/1.1 206 "));
    QCOMPARE(answer.count("Content-Range: "), 1);
    QVERIFY(answer.contains("Content-Range: bytes 4-9/10\r\n"));
    QVERIFY(answer.endsWith("\r\n\r\n3456789"));
}

void TestScriptedServer::chunksAreSentWithoutALength()
{
    ScriptedServer server;
    ScriptedResponse response = closing(ScriptedResponse::ok("0123456789"));
    response.framing = Framing::Chunked;
    response.chunkSize = 4;
    server.setResponse("/a", response);
    const QByteArray answer = answerTo(server, "/a");
    QVERIFY(answer.contains("Transfer-Encoding: chunked\r\n"));
    QVERIFY(!answer.contains("Content-Length"));
    QVERIFY(answer.endsWith("\r\n\r\n4\r\n0123\r\n4\r\n4567\r\n2\r\n89\r\n0\r\n\r\n"));
}

void TestScriptedServer::aBodyCanEndWithTheConnection()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("0123456789");
    response.framing = Framing::CloseDelimited;
    server.setResponse("/a", response);
    QCOMPARE(answerTo(server, "/a"), QByteArray("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n0123456789"));
}

void TestScriptedServer::aBodyIsCutAtTheExactByte_data()
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

void TestScriptedServer::aBodyIsCutAtTheExactByte()
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

void TestScriptedServer::aCutCanBeAReset()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("0123456789");
    response.cutAfter = 3;
    response.cut = ScriptedResponse::Cut::Reset;
    response.holdAfter = 3;
    server.setResponse("/a", response);
    Client client(server);
    client.get("/a");
    QVERIFY(client.waitFor("\r\n\r\n012"));
    server.release();
    QVERIFY(client.waitForClose());
    QCOMPARE(client.body(), QByteArray("012"));
    // A reset and an orderly end have one error number in Qt; the operating system's words differ.
    QCOMPARE(client.socket().error(), QAbstractSocket::RemoteHostClosedError);
    QVERIFY(!server.waitForHeld(QString(), 1, 0));
}

void TestScriptedServer::aBodyIsHeldAtTheExactByteUntilReleased()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("0123456789");
    response.holdAfter = 4;
    response.holdGate = u"middle"_s;
    server.setResponse("/a", response);
    Client client(server);
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

void TestScriptedServer::aHeadIsHeldUntilReleased()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("x");
    response.headGate = u"head"_s;
    server.setResponse("/a", response);
    Client client(server);
    client.get("/a");
    QVERIFY(server.waitForHeld(u"head"_s));
    QCOMPARE(client.received(), QByteArray());
    server.release(u"head"_s);
    QVERIFY(client.waitFor("\r\n\r\nx"));
}

void TestScriptedServer::oneGateHoldsSeveralAnswers()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("x");
    response.holdAfter = 0;
    server.setResponse("/a", response);
    Client first(server);
    Client second(server);
    first.get("/a");
    second.get("/a");
    QVERIFY(server.waitForHeld(QString(), 2));
    server.release();
    QVERIFY(first.waitFor("\r\n\r\nx"));
    QVERIFY(second.waitFor("\r\n\r\nx"));
}

void TestScriptedServer::aGateCanBeShutAgain()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("x");
    response.holdAfter = 0;
    server.setResponse("/a", response);
    server.release();
    Client client(server);
    client.get("/a");
    QVERIFY(client.waitFor("\r\n\r\nx"));
    server.shut();
    client.get("/a");
    QVERIFY(server.waitForHeld(QString()));
}

void TestScriptedServer::aLimitedRateStillDeliversEverything()
{
    ScriptedServer server;
    ScriptedResponse response = closing(ScriptedResponse::file(1, 30000));
    response.bytesPerSecond = 100000;
    server.setResponse("/a", response);
    QElapsedTimer timer;
    timer.start();
    Client client(server);
    client.get("/a");
    QVERIFY(client.waitForClose());
    QCOMPARE(client.body(), TestFiles::content(1, 0, 30000));
    // A lower bound does not depend on the machine's load: six ticks of 50 ms carry these bytes, the first after one.
    QVERIFY(timer.elapsed() >= 200);
}

void TestScriptedServer::aConnectionCanBeClosedWithoutAnswer()
{
    ScriptedServer server;
    server.setResponse("/a", ScriptedResponse::noAnswer());
    QCOMPARE(answerTo(server, "/a"), QByteArray());
    QCOMPARE(server.requests().size(), 1);
}

void TestScriptedServer::garbageIsSentAsItStands()
{
    ScriptedServer server;
    const QByteArray garbage("\0\1\2 not HTTP\r\n", 14);
    server.setResponse("/a", ScriptedResponse::garbage(garbage));
    QCOMPARE(answerTo(server, "/a"), garbage);
}

void TestScriptedServer::answersCanChangeFromRequestToRequest()
{
    ScriptedServer server;
    ScriptedResponse first = ScriptedResponse::ok("x");
    first.withHeader("ETag", "\"1\"");
    ScriptedResponse second = ScriptedResponse::ok("x");
    second.withHeader("ETag", "\"2\"");
    server.setResponses("/a", {first, second});
    Client client(server);
    client.get("/a");
    QVERIFY(client.waitFor("ETag: \"1\""));
    client.get("/a");
    QVERIFY(client.waitFor("ETag: \"2\""));
    client.get("/a");
    QVERIFY(server.waitForRequests(3));
    QTRY_COMPARE(client.received().count("ETag: \"2\""), 2);
}

void TestScriptedServer::aHandlerSeesTheRequest()
{
    ScriptedServer server;
    server.setHandler("/echo", [](const ScriptedRequest &request) {
        return closing(ScriptedResponse::ok(request.method + ' ' + request.target + ' ' + request.header("X-A")));
    });
    QVERIFY(answerTo(server, "/echo?1", "x-a: b\r\n").endsWith("\r\n\r\nGET /echo?1 b"));
}

void TestScriptedServer::aRedirectChainEndsAtItsTarget()
{
    ScriptedServer server;
    server.addRedirectChain("/chain", 3, "/end");
    Client client(server);
    client.get("/chain/3");
    QVERIFY(client.waitFor("Location: /chain/2\r\n"));
    client.get("/chain/1");
    QVERIFY(client.waitFor("Location: /end\r\n"));
    QCOMPARE(client.received().count("HTTP/1.1 302 Found\r\n"), 2);
}

void TestScriptedServer::httpsWorksWithTheTestCertificate()
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

void TestScriptedServer::httpsIsRefusedWithoutTheAuthority()
{
    const TestCa ca;
    ScriptedServer server(ca.serverConfiguration());
    QNetworkAccessManager manager;
    const std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(server.url(u"/a"_s))));
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), kPatienceMs);
    QCOMPARE(reply->error(), QNetworkReply::SslHandshakeFailedError);
    QCOMPARE(server.requests().size(), 0);
}

void TestScriptedServer::droppedConnectionsEndAtOnce()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("0123456789");
    response.holdAfter = 4;
    server.setResponse("/a", response);
    Client client(server);
    client.get("/a");
    QVERIFY(server.waitForHeld(QString()));
    server.dropConnections();
    QVERIFY(client.waitForClose());
    QCOMPARE(server.openConnections(), 0);
    QCOMPARE(server.heldCount(), 0);
    Client next(server);
    QCOMPARE(next.socket().state(), QAbstractSocket::ConnectedState);
}

void TestScriptedServer::afterStopListeningConnectionsAreRefused()
{
    ScriptedServer server;
    server.setResponse("/a", ScriptedResponse::ok("x"));
    Client open(server);
    open.get("/a");
    QVERIFY(open.waitFor("\r\n\r\nx"));
    server.stopListening();
    const Client refused(server);
    open.get("/b");
    QVERIFY(open.waitFor(" 404 "));
    QCOMPARE(server.connectionCount(), 1);
}

void TestScriptedServer::nobodyListensAtARefusedPort()
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), ScriptedServer::refusedPort());
    QVERIFY(!socket.waitForConnected(kPatienceMs));
    QCOMPARE(socket.error(), QAbstractSocket::ConnectionRefusedError);
}

void TestScriptedServer::aClientThatLeavesIsForgotten()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::ok("0123456789");
    response.holdAfter = 4;
    server.setResponse("/a", response);
    {
        Client client(server);
        client.get("/a");
        QVERIFY(server.waitForHeld(QString()));
    }
    QVERIFY(server.waitForNoConnections());
    QCOMPARE(server.heldCount(), 0);
    QCOMPARE(server.bodyBytesSent(0), 4);
}

void TestScriptedServer::aLargeBodyArrivesWhole()
{
    constexpr qint64 kSize = 50000000;
    ScriptedServer server;
    server.setResponse("/a", closing(ScriptedResponse::file(9, kSize)));
    Client client(server);
    client.get("/a");
    QVERIFY(client.waitForClose());
    QCOMPARE(TestFiles::sha256(client.body()), TestFiles::sha256OfContent(9, kSize));
}

QTEST_GUILESS_MAIN(TestScriptedServer)
#include "tst_scriptedserver.moc"
