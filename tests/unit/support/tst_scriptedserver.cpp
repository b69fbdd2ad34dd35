// SPDX-License-Identifier: MIT
#include <tests/support/scriptedserver.h>

#include <tests/unit/support/rawclient.h>

#include <QTest>

using namespace Qt::StringLiterals;

/// What the server records of requests, and what it answers.
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
    void garbageIsSentAsItStands();
    void answersCanChangeFromRequestToRequest();
    void aHandlerSeesTheRequest();
    void aRedirectChainEndsAtItsTarget();
};

void TestScriptedServer::anUnknownPathIs404()
{
    const ScriptedServer server;
    QVERIFY(server.isListening());
    RawClient client(server);
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
    RawClient first(server);
    first.get("/one?a=b", "X-Name: value \r\n");
    QVERIFY(first.waitFor("\r\n\r\nx"));
    RawClient second(server);
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
    RawClient client(server);
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
    RawClient client(server);
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
    RawClient client(server);
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
    response.framing = ScriptedResponse::Framing::Chunked;
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
    response.framing = ScriptedResponse::Framing::CloseDelimited;
    server.setResponse("/a", response);
    QCOMPARE(answerTo(server, "/a"), QByteArray("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n0123456789"));
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
    RawClient client(server);
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
    RawClient client(server);
    client.get("/chain/3");
    QVERIFY(client.waitFor("Location: /chain/2\r\n"));
    client.get("/chain/1");
    QVERIFY(client.waitFor("Location: /end\r\n"));
    QCOMPARE(client.received().count("HTTP/1.1 302 Found\r\n"), 2);
}

QTEST_GUILESS_MAIN(TestScriptedServer)
#include "tst_scriptedserver.moc"
