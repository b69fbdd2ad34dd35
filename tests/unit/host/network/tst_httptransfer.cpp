// SPDX-License-Identifier: MIT
#include <host/network/networkaccesschief.h>
#include <tests/support/scriptedserver.h>

#include <QNetworkReply>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

/// Transfers over connections that others have used before.
class TestHttpTransfer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatLiesBehindAnotherAnswerIsPassedOver();
    void whatIsNoAnswerIsNotAskedForTwice_data();
    void whatIsNoAnswerIsNotAskedForTwice();
    void silenceIsNoEndOfTheConnection();

private:
    /// One after the other, beginning without a connection. @return what the last one came to
    QNetworkReply::NetworkError get(int count, QByteArray *body);

    ScriptedServer m_server;
};

QNetworkReply::NetworkError TestHttpTransfer::get(int count, QByteArray *body)
{
    const QUrl url = m_server.url(u"/file"_s);
    NetworkAccessChief chief;
    const QSharedPointer<QNetworkAccessManager> manager = chief.takeManager(url);
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    for (int i = 0; i < count; ++i) {
        const std::unique_ptr<QNetworkReply> reply(manager->get(QNetworkRequest(url)));
        if (!QTest::qWaitFor([&reply] { return reply->isFinished(); }, ScriptedServer::kPatienceMs))
            return QNetworkReply::TimeoutError;
        error = reply->error();
        *body = reply->readAll();
    }
    return error;
}

void TestHttpTransfer::whatLiesBehindAnotherAnswerIsPassedOver()
{
    m_server.setResponses("/file",
                          {ScriptedResponse::ok("first"), ScriptedResponse::garbage("left over\r\n\r\n"),
                           ScriptedResponse::ok("second")});
    QByteArray body;
    QCOMPARE(get(2, &body), QNetworkReply::NoError);
    QCOMPARE(body, QByteArray("second"));
    const QList<ScriptedRequest> requests = m_server.requests();
    QCOMPARE(requests.size(), 3);
    QCOMPARE(requests.at(1).connection, requests.at(0).connection);
    QVERIFY(requests.at(2).connection != requests.at(1).connection);
}

void TestHttpTransfer::whatIsNoAnswerIsNotAskedForTwice_data()
{
    QTest::addColumn<int>("before");
    QTest::newRow("on the first connection") << 0;
    QTest::newRow("on the new one, where it stood on the old one") << 1;
}

void TestHttpTransfer::whatIsNoAnswerIsNotAskedForTwice()
{
    QFETCH(int, before);
    const qsizetype already = m_server.requests().size();
    const ScriptedResponse garbage = ScriptedResponse::garbage("no head at all\r\n\r\n");
    QList<ScriptedResponse> responses(before, ScriptedResponse::ok("first"));
    m_server.setResponses("/file", responses << garbage);
    QByteArray body;
    QCOMPARE(get(before + 1, &body), QNetworkReply::ProtocolFailure);
    QCOMPARE(m_server.requests().size() - already, 1 + 2 * before);
}

void TestHttpTransfer::silenceIsNoEndOfTheConnection()
{
    ScriptedResponse response = ScriptedResponse::ok("abcdef");
    response.holdAfter = 3;
    m_server.setResponses("/file", {response});
    const QUrl url = m_server.url(u"/file"_s);
    NetworkAccessChief chief;
    NetworkOptions options;
    options.path.silenceTimeoutMs = 1000;
    Failure failure;
    QVERIFY(chief.apply(options, &failure));
    const QSharedPointer<QNetworkAccessManager> manager = chief.takeManager(url);
    const std::unique_ptr<QNetworkReply> reply(manager->get(QNetworkRequest(url)));
    QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), ScriptedServer::kPatienceMs);
    QCOMPARE(reply->error(), QNetworkReply::TimeoutError);
    QCOMPARE(reply->errorString(), u"Nothing more came for too long, after 3 bytes."_s);
}

QTEST_GUILESS_MAIN(TestHttpTransfer)
#include "tst_httptransfer.moc"
