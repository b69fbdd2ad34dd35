// SPDX-License-Identifier: MIT
#include <tests/support/rawserver.h>
#include <tests/unit/support/rawclient.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
RawAnswer raw(const QByteArray &bytes, RawAnswer::End end = RawAnswer::End::Close)
{
    RawAnswer answer;
    answer.bytes = bytes;
    answer.end = end;
    return answer;
}
}

class TestRawServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void bytesGoOutAsTheyWereGiven();
    void inPiecesTheyAreTheSame();
    void aFillingStandsWhereItWasAskedFor();
    void aResetComesBehindTheLastByte();
    void aConnectionThatIsKeptGetsTheNextAnswer();
    void whatFollowsTheLastAnswerIsNotFound();
    void answersAreOfTheirKeyAlone();
    void aGreetingWaitsForNoRequest();

private:
    QByteArray received(const QByteArray &target);

    std::unique_ptr<RawServer> m_server;
};

void TestRawServer::init()
{
    m_server = std::make_unique<RawServer>();
    QVERIFY(m_server->isListening());
}

QByteArray TestRawServer::received(const QByteArray &target)
{
    RawClient client(quint16(m_server->url("a", "b").port()));
    client.get(target);
    return client.waitForClose() ? client.received() : QByteArray("(not closed)");
}

void TestRawServer::bytesGoOutAsTheyWereGiven()
{
    const QByteArray bytes = "HTTP/1.1 2x0\n\0\r\r\xff no head\n"_ba;
    m_server->setAnswers("a", {raw(bytes)});
    QCOMPARE(received("/a/file"), bytes);
}

void TestRawServer::inPiecesTheyAreTheSame()
{
    RawAnswer answer = raw("HTTP/1.1 200 OK\r\n\r\nhello");
    for (const qsizetype piece : {1, 7, 4096}) {
        answer.piece = piece;
        m_server->setAnswers("a", {answer});
        QCOMPARE(received("/a/file"), answer.bytes);
    }
}

void TestRawServer::aFillingStandsWhereItWasAskedFor()
{
    RawAnswer answer = raw("begin end");
    answer.fillAt = 6;
    answer.fillSize = 300000;
    answer.filling = 'z';
    m_server->setAnswers("a", {answer});
    QCOMPARE(received("/a/file"), "begin " + QByteArray(300000, 'z') + "end");
}

void TestRawServer::aResetComesBehindTheLastByte()
{
    const QByteArray bytes(100000, 'x');
    m_server->setAnswers("a", {raw(bytes, RawAnswer::End::Reset)});
    QCOMPARE(received("/a/file"), bytes);
}

void TestRawServer::aConnectionThatIsKeptGetsTheNextAnswer()
{
    m_server->setAnswers("a", {raw("one", RawAnswer::End::KeepOpen), raw("two")});
    RawClient client(quint16(m_server->url("a", "b").port()));
    client.get("/a/file");
    QVERIFY(client.waitFor("one"));
    QCOMPARE(client.socket().state(), QAbstractSocket::ConnectedState);
    client.get("/a/file");
    QVERIFY(client.waitForClose());
    QCOMPARE(client.received(), "onetwo");
}

void TestRawServer::whatFollowsTheLastAnswerIsNotFound()
{
    m_server->setAnswers("a", {raw("one")});
    QCOMPARE(received("/a/file"), "one");
    QVERIFY(received("/a/file").startsWith("HTTP/1.1 404 "));
}

void TestRawServer::answersAreOfTheirKeyAlone()
{
    m_server->setAnswers("a", {raw("of a")});
    m_server->setAnswers("b", {raw("of b")});
    QCOMPARE(received("/b/file"), "of b");
    QCOMPARE(received("/a/file"), "of a");
}

void TestRawServer::aGreetingWaitsForNoRequest()
{
    m_server->setGreeting(raw("welcome"));
    RawClient client(quint16(m_server->url("a", "b").port()));
    QVERIFY(client.waitForClose());
    QCOMPARE(client.received(), "welcome");
}

QTEST_GUILESS_MAIN(TestRawServer)
#include "tst_rawserver.moc"
