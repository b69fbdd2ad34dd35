// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/transferbench.h>

#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QNetworkProxy>
#include <QTest>

using namespace Qt::StringLiterals;

/// What replies tell of an answer, and in which order.
class TestTransferReply : public TransferBench
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsToldInWhichOrder_data();
    void whatIsToldInWhichOrder();
    void aRefusedConnectionIsAnError();
    void anOperationThatIsNotServedIsRefused();
    void nothingIsToldBeforeTheEventLoop();
    void aReplyIsItsManagersAndCanBeRead();
    void theHeadIsThereWhenItIsToldOf();
    void fieldsKeepOrderAndSpelling();
    void fieldsOfOneNameAreJoinedAsQtJoinsThem();
    void theCookiesAreInTheJarBeforeTheHeadIsToldOf();
    void whoKeepsHisCookiesHimselfIsLeftToIt();
    void thePieceThatWasAskedForPasses();
    void aPieceThatWasNotAskedForIsRefused_data();
    void aPieceThatWasNotAskedForIsRefused();
    void aPieceThatNobodyAskedForIsRefusedUnlessItIsTheWhole();
    void aWholeAnswerToARangeIsNotJudged();
    void aBodyCutShortIsAnError_data();
    void aBodyCutShortIsAnError();
    void aBodyOfUnknownLengthEndsWithItsFraming();
    void aRedirectIsToldNotFollowed();
    void aPostIsSentWithItsBody();
};

namespace
{

const QStringList kEnd{u"channel"_s, u"finished"_s};

QStringList headAndFailure(QNetworkReply::NetworkError code)
{
    return QStringList{u"head"_s, u"data"_s} + ReplyRecorder::failureWith(code);
}

}

void TestTransferReply::whatIsToldInWhichOrder_data()
{
    QTest::addColumn<ScriptedResponse>("response");
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<int>("status");
    QTest::addColumn<QStringList>("events");
    const auto row = [](const char *name, const ScriptedResponse &response, int status, const QStringList &events,
                        const QByteArray &range = {}) { QTest::newRow(name) << response << range << status << events; };
    const auto error = [](int status) {
        ScriptedResponse response = ScriptedResponse::ok("the reason");
        response.status = status;
        return response;
    };
    row("a file", ScriptedResponse::file(kSeed, kSize), 200, Recorder::wholeAnswer());
    row("an empty file", ScriptedResponse::ok({}), 200, QStringList{u"head"_s} + kEnd);
    row("a piece of a file", ScriptedResponse::file(kSeed, kSize), 206, Recorder::wholeAnswer(), "bytes=1000-");
    row("a range behind the end", ScriptedResponse::file(kSeed, 10), 416,
        QStringList{u"head"_s} + Recorder::failureWith(QNetworkReply::UnknownContentError), "bytes=1000-");
    row("a missing file", error(404), 404, headAndFailure(QNetworkReply::ContentNotFoundError));
    row("a question who is there", error(401).withHeader("WWW-Authenticate", "Basic realm=\"x\""), 401,
        headAndFailure(QNetworkReply::AuthenticationRequiredError));
    row("a server's failure", error(500), 500, headAndFailure(QNetworkReply::InternalServerError));
    row("a redirect", ScriptedResponse::redirect("/file"), 302, QStringList{u"head"_s} + kEnd);
    row("a head that cannot be read", ScriptedResponse::garbage("HTTP/1.1 200 OK\r\nno colon\r\n\r\nbody"), 0,
        Recorder::failureWith(QNetworkReply::ProtocolFailure));
    row("no answer", ScriptedResponse::noAnswer(), 0, Recorder::failureWith(QNetworkReply::RemoteHostClosedError));
}

void TestTransferReply::whatIsToldInWhichOrder()
{
    QFETCH(ScriptedResponse, response);
    QFETCH(QByteArray, range);
    QFETCH(QStringList, events);
    m_server->setResponse("/file", response);
    const Reply reply = get("/file", range);
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, events);
    QTEST(statusOf(*reply), "status");
    QVERIFY(reply->isFinished() && !reply->isRunning());
    QCOMPARE(reply->error() == QNetworkReply::NoError, !events.join(u' ').contains(u"error"_s));
    if (reply->error() != QNetworkReply::NoError)
        QVERIFY(!reply->errorString().isEmpty());
}

void TestTransferReply::aRefusedConnectionIsAnError()
{
    const Reply reply(
        m_manager->get(QNetworkRequest(QUrl(u"http://127.0.0.1:%1/x"_s.arg(ScriptedServer::refusedPort())))));
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::failureWith(QNetworkReply::ConnectionRefusedError));
    QCOMPARE(reply->errorString(), u"Connection refused"_s);
}

void TestTransferReply::anOperationThatIsNotServedIsRefused()
{
    const Reply head(m_manager->head(request()));
    const Reply put(m_manager->put(request(), QByteArray("text")));
    const Recorder first(head.get());
    const Recorder second(put.get());
    QVERIFY(first.wait() && second.wait());
    QCOMPARE(first.events, Recorder::failureWith(QNetworkReply::ProtocolInvalidOperationError));
    QCOMPARE(second.events, first.events);
    QCOMPARE(m_server->connectionCount(), 0);
}

void TestTransferReply::nothingIsToldBeforeTheEventLoop()
{
    const Reply unknown(m_manager->get(QNetworkRequest(QUrl(u"gopher://host/x"_s))));
    const Reply file = get();
    const Recorder first(unknown.get());
    const Recorder second(file.get());
    QVERIFY(m_server->url(u"/"_s).isValid());
    QVERIFY(first.events.isEmpty() && second.events.isEmpty());
    QVERIFY(first.wait() && second.wait());
    QCOMPARE(first.events, Recorder::failureWith(QNetworkReply::ProtocolUnknownError));
    QCOMPARE(second.events, Recorder::wholeAnswer());
}

void TestTransferReply::aReplyIsItsManagersAndCanBeRead()
{
    const Reply reply = get();
    QCOMPARE(reply->parent(), m_manager.get());
    QCOMPARE(reply->manager(), m_manager.get());
    QVERIFY(reply->isOpen() && reply->isSequential() && reply->isRunning());
    QVERIFY(reply->openMode() & QIODevice::Unbuffered);
    QCOMPARE(reply->operation(), QNetworkAccessManager::GetOperation);
    QCOMPARE(reply->url(), m_server->url(u"/file"_s));
    QCOMPARE(reply->request().url(), reply->url());
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QVERIFY(recorder.body == content());
}

void TestTransferReply::theHeadIsThereWhenItIsToldOf()
{
    ScriptedResponse response = ScriptedResponse::ok(content());
    response.withHeader("Content-Type", "text/x-test").withHeader("ETag", "\"1\"");
    m_server->setResponse("/file", response);
    const Reply reply = get();
    int statusAtHead = 0;
    QByteArray tagAtHead;
    connect(reply.get(), &QNetworkReply::metaDataChanged, this, [&] {
        statusAtHead = statusOf(*reply);
        tagAtHead = reply->rawHeader("etag");
    });
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(statusAtHead, 200);
    QCOMPARE(tagAtHead, QByteArray("\"1\""));
    QCOMPARE(reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString(), u"OK"_s);
    QCOMPARE(reply->attribute(QNetworkRequest::ConnectionEncryptedAttribute).toBool(), false);
    QCOMPARE(reply->header(QNetworkRequest::ContentTypeHeader).toString(), u"text/x-test"_s);
    QCOMPARE(reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(), kSize);
}

void TestTransferReply::fieldsKeepOrderAndSpelling()
{
    ScriptedResponse response = ScriptedResponse::ok("body");
    response.withHeader("X-ZZ", "1").withHeader("x-aa", "2").withHeader("X-Mm", "3");
    m_server->setResponse("/file", response);
    const Reply reply = get();
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QList<QByteArray> names;
    for (const QNetworkReply::RawHeaderPair &header : reply->rawHeaderPairs()) {
        if (header.first.startsWith("X-") || header.first.startsWith("x-"))
            names.append(header.first);
    }
    QCOMPARE(names, (QList<QByteArray>{"X-ZZ", "x-aa", "X-Mm"}));
}

void TestTransferReply::fieldsOfOneNameAreJoinedAsQtJoinsThem()
{
    ScriptedResponse response = ScriptedResponse::ok("body");
    response.withHeader("X-Two", "1").withHeader("Link", "<a>").withHeader("x-two", "2").withHeader("Link", "<b>");
    response.withHeader("Set-Cookie", "a=1").withHeader("Set-Cookie", "b=2").withHeader("X-Empty", "");
    m_server->setResponse("/file", response);
    QNetworkAccessManager others;
    others.setProxy(QNetworkProxy::NoProxy);
    const Reply theirs(others.get(request()));
    const Reply ours = get();
    const Recorder first(theirs.get());
    const Recorder second(ours.get());
    QVERIFY(first.wait() && second.wait());
    for (const char *name : {"X-Two", "Link", "Set-Cookie", "X-Empty", "Content-Length"}) {
        QCOMPARE(ours->rawHeader(name), theirs->rawHeader(name));
        QCOMPARE(ours->hasRawHeader(name), theirs->hasRawHeader(name));
    }
    QCOMPARE(ours->rawHeader("X-Two"), QByteArray("1, 2"));
}

void TestTransferReply::theCookiesAreInTheJarBeforeTheHeadIsToldOf()
{
    m_server->setResponse(
        "/file", ScriptedResponse::ok("x").withHeader("Set-Cookie", "a=1; Path=/").withHeader("Set-Cookie", "b=2"));
    const Reply reply = get();
    QList<QNetworkCookie> atHead;
    connect(reply.get(), &QNetworkReply::metaDataChanged, this, [&] { atHead = m_jar->cookiesForUrl(reply->url()); });
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(atHead.size(), 2);
    const Reply next = get();
    const Recorder second(next.get());
    QVERIFY(second.wait());
    const QByteArray sent = m_server->requests().last().header("Cookie");
    QVERIFY2(sent == "a=1; b=2" || sent == "b=2; a=1", sent.constData());
}

void TestTransferReply::whoKeepsHisCookiesHimselfIsLeftToIt()
{
    m_server->setResponse("/file", ScriptedResponse::ok("x").withHeader("Set-Cookie", "a=1; Path=/"));
    const Recorder setting(get().release());
    QVERIFY(setting.wait());
    QNetworkRequest manual = request();
    manual.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    manual.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    m_server->setResponse("/file", ScriptedResponse::ok("x").withHeader("Set-Cookie", "b=2; Path=/"));
    const Reply reply(m_manager->get(manual));
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QVERIFY(!m_server->requests().last().hasHeader("Cookie"));
    QCOMPARE(m_jar->cookiesForUrl(reply->url()).size(), 1);
}

void TestTransferReply::thePieceThatWasAskedForPasses()
{
    const Reply reply = get("/file", "bytes=1000-");
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(statusOf(*reply), 206);
    QVERIFY(recorder.body == content(1000));
}

void TestTransferReply::aPieceThatWasNotAskedForIsRefused_data()
{
    QTest::addColumn<QByteArray>("contentRange");
    const QByteArray total = QByteArray::number(kSize);
    QTest::newRow("from the beginning") << "bytes 0-" + QByteArray::number(kSize - 1) + '/' + total;
    QTest::newRow("one byte too early") << "bytes 999-" + QByteArray::number(kSize - 1) + '/' + total;
    QTest::newRow("malformed") << QByteArray("1000-2000/3000");
    QTest::newRow("contradicts itself") << "bytes 1000-" + total + '/' + total;
    QTest::newRow("missing") << QByteArray();
}

void TestTransferReply::aPieceThatWasNotAskedForIsRefused()
{
    QFETCH(QByteArray, contentRange);
    ScriptedResponse response = ScriptedResponse::ok(content());
    response.status = 206;
    response.holdAfter = 100;
    if (!contentRange.isEmpty())
        response.withHeader("Content-Range", contentRange);
    m_server->setResponse("/file", response);
    const Reply reply = get("/file", "bytes=1000-");
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::failureWith(QNetworkReply::ProtocolFailure));
    QVERIFY2(reply->errorString().contains(u"\"bytes=1000-\""_s), qPrintable(reply->errorString()));
    if (!contentRange.isEmpty())
        QVERIFY2(reply->errorString().contains(QString::fromLatin1(contentRange)), qPrintable(reply->errorString()));
    QCOMPARE(reply->bytesAvailable(), 0);
    QVERIFY(reply->readAll().isEmpty());
    QVERIFY(m_server->waitForNoConnections());
}

void TestTransferReply::aPieceThatNobodyAskedForIsRefusedUnlessItIsTheWhole()
{
    ScriptedResponse response = ScriptedResponse::ok("part");
    response.status = 206;
    for (const char *contentRange : {"bytes 5-8/9", "bytes 0-3/4"}) {
        ScriptedResponse piece = response;
        m_server->setResponse("/file", piece.withHeader("Content-Range", contentRange));
        const Reply reply = get();
        const Recorder recorder(reply.get());
        QVERIFY(recorder.wait());
        const bool isWhole = QByteArrayView(contentRange).endsWith("/4");
        QCOMPARE(reply->error(), isWhole ? QNetworkReply::NoError : QNetworkReply::ProtocolFailure);
        QCOMPARE(recorder.body, isWhole ? QByteArray("part") : QByteArray());
    }
}

void TestTransferReply::aWholeAnswerToARangeIsNotJudged()
{
    m_server->setResponse("/file", ScriptedResponse::ok("whole"));
    const Reply reply = get("/file", "bytes=1000-");
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::wholeAnswer());
    QCOMPARE(statusOf(*reply), 200);
    QCOMPARE(recorder.body, QByteArray("whole"));
}

void TestTransferReply::aBodyCutShortIsAnError_data()
{
    QTest::addColumn<int>("framing");
    QTest::addColumn<int>("cut");
    QTest::newRow("of known length, closed")
        << int(ScriptedResponse::Framing::ContentLength) << int(ScriptedResponse::Cut::Orderly);
    QTest::newRow("in chunks, closed") << int(ScriptedResponse::Framing::Chunked)
                                       << int(ScriptedResponse::Cut::Orderly);
}

/// The end of the connection must not overtake the body; no number of tries may let a short one pass.
void TestTransferReply::aBodyCutShortIsAnError()
{
    QFETCH(int, framing);
    QFETCH(int, cut);
    constexpr int kTries = 30;
    constexpr qint64 kCut = 5000;
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.cutAfter = kCut;
    response.framing = ScriptedResponse::Framing(framing);
    response.cut = ScriptedResponse::Cut(cut);
    m_server->setResponse("/file", response);
    for (int i = 0; i < kTries; ++i) {
        const Reply reply = get();
        const Recorder recorder(reply.get());
        QVERIFY(recorder.wait());
        QCOMPARE(recorder.events, headAndFailure(QNetworkReply::RemoteHostClosedError));
        QVERIFY(recorder.body + reply->readAll() == content(0, kCut));
    }
}

void TestTransferReply::aBodyOfUnknownLengthEndsWithItsFraming()
{
    for (const auto framing : {ScriptedResponse::Framing::CloseDelimited, ScriptedResponse::Framing::Chunked}) {
        ScriptedResponse response = ScriptedResponse::ok("content");
        response.framing = framing;
        m_server->setResponse("/file", response);
        const Reply reply = get();
        const Recorder recorder(reply.get());
        QVERIFY(recorder.wait());
        QCOMPARE(recorder.events, Recorder::wholeAnswer());
        QCOMPARE(recorder.body, QByteArray("content"));
    }
}

void TestTransferReply::aRedirectIsToldNotFollowed()
{
    m_server->setResponse("/away", ScriptedResponse::redirect("/file"));
    const Reply reply = get("/away");
    QUrl targetAtHead;
    connect(reply.get(), &QNetworkReply::metaDataChanged, this,
            [&] { targetAtHead = reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl(); });
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(reply->url().resolved(targetAtHead), m_server->url(u"/file"_s));
    QCOMPARE(m_server->requests().size(), 1);
}

void TestTransferReply::aPostIsSentWithItsBody()
{
    QNetworkRequest post = request();
    post.setHeader(QNetworkRequest::ContentTypeHeader, u"text/plain"_s);
    const Reply reply(m_manager->post(post, QByteArray("a=1&b=2")));
    QCOMPARE(reply->operation(), QNetworkAccessManager::PostOperation);
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    const ScriptedRequest sent = m_server->requests().first();
    QCOMPARE(sent.method, QByteArray("POST"));
    QCOMPARE(sent.body, QByteArray("a=1&b=2"));
    QCOMPARE(sent.header("Content-Type"), QByteArray("text/plain"));
    QVERIFY(!sent.hasHeader("Expect"));
    QVERIFY(recorder.body == content());
}

QTEST_GUILESS_MAIN(TestTransferReply)
#include "tst_transferreply.moc"
