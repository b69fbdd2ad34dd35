// SPDX-License-Identifier: MIT
#include <host/network/guardednetworkaccessmanager.h>
#include <host/network/guardedreply.h>
#include <host/network/sharedcookiejar.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QNetworkReply>
#include <QPointer>
#include <QSignalSpy>
#include <QSslError>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 7;
constexpr qint64 kSize = 300 * 1024;
constexpr qint64 kStart = 1000;

/// Everything that a reply tells, in order.
class Recorder : public QObject
{
public:
    explicit Recorder(QNetworkReply *reply)
    {
        connect(reply, &QNetworkReply::metaDataChanged, this, [this] { events.append(u"head"_s); });
        connect(reply, &QNetworkReply::readyRead, this, [this, reply] {
            if (events.isEmpty() || events.last() != "data"_L1)
                events.append(u"data"_s);
            body += reply->readAll();
        });
        connect(reply, &QNetworkReply::errorOccurred, this,
                [this](QNetworkReply::NetworkError code) { events.append(u"error %1"_s.arg(code)); });
        connect(reply, &QNetworkReply::finished, this, [this] { events.append(u"finished"_s); });
    }

    bool wait() const
    {
        return QTest::qWaitFor([this] { return events.contains(u"finished"_s); }, ScriptedServer::kPatienceMs);
    }

    QStringList events;
    QByteArray body;
};

QByteArray content(qint64 from = 0)
{
    return TestFiles::content(kSeed, from, kSize - from);
}

}

class TestGuardedReply : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void aWholeAnswerPassesAsItIs();
    void theHeadIsTheInnerReplys();
    void headersKeepOrderAndSpelling();
    void thePieceThatWasAskedForPasses();
    void aPieceThatWasNotAskedForIsRefused_data();
    void aPieceThatWasNotAskedForIsRefused();
    void withoutARangeAPartialAnswerIsNotJudged();
    void aWholeAnswerToARangeIsNotJudged();
    void anErrorStatusComesWithItsHead();
    void aBodyCutShortIsAnError();
    void aBodyOfUnknownLengthMayEndAnywhere();
    void aHeadAloneHasNoBodyToMiss();
    void aRedirectIsShownNotFollowed();
    void aPostIsSentWithItsBody();
    void unreadDataStaysWhereItIs();
    void abortEndsItOnce();
    void abortAfterTheEndDoesNothing();
    void itMayBeDroppedWhenTheErrorIsHeard();
    void itMayBeDeletedWhenTheErrorIsHeard();
    void itMayBeDroppedWhenTheHeadIsHeard();
    void itDiesWithItsManager();
    void aCertificateThatIsNotTrustedIsReported();
    void aCertificateMayBeAcceptedAllTheSame();

private:
    QNetworkRequest request(const QByteArray &path = "/file", const QByteArray &range = {}) const;
    QNetworkReply *get(const QNetworkRequest &request) { return m_manager->get(request); }

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<GuardedNetworkAccessManager> m_manager;
};

void TestGuardedReply::init()
{
    m_server = std::make_unique<ScriptedServer>();
    QVERIFY(m_server->isListening());
    m_server->setResponse("/file", ScriptedResponse::file(kSeed, kSize));
    m_manager = std::make_unique<GuardedNetworkAccessManager>(QSharedPointer<SharedCookieJar>::create());
}

void TestGuardedReply::cleanup()
{
    m_manager.reset();
    m_server.reset();
}

QNetworkRequest TestGuardedReply::request(const QByteArray &path, const QByteArray &range) const
{
    QNetworkRequest request(m_server->url(QString::fromLatin1(path)));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    if (!range.isEmpty())
        request.setRawHeader("Range", range);
    return request;
}

void TestGuardedReply::aWholeAnswerPassesAsItIs()
{
    QNetworkReply *const reply = get(request());
    QVERIFY(qobject_cast<GuardedReply *>(reply));
    QCOMPARE(reply->parent(), m_manager.get());
    QCOMPARE(reply->manager(), m_manager.get());
    QVERIFY(reply->isOpen() && reply->isSequential());
    QVERIFY(reply->openMode() & QIODevice::Unbuffered);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, (QStringList{u"head"_s, u"data"_s, u"finished"_s}));
    QVERIFY(recorder.body == content());
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QVERIFY(reply->isFinished());
}

void TestGuardedReply::theHeadIsTheInnerReplys()
{
    ScriptedResponse response = ScriptedResponse::ok(content());
    response.withHeader("Content-Type", "text/x-test").withHeader("ETag", "\"1\"");
    m_server->setResponse("/file", response);
    QNetworkReply *const reply = get(request());
    QCOMPARE(reply->operation(), QNetworkAccessManager::GetOperation);
    QCOMPARE(reply->request().url(), reply->url());
    int statusAtHead = 0;
    connect(reply, &QNetworkReply::metaDataChanged, this,
            [&] { statusAtHead = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(); });
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(statusAtHead, 200);
    QCOMPARE(reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString(), u"OK"_s);
    QCOMPARE(reply->header(QNetworkRequest::ContentTypeHeader).toString(), u"text/x-test"_s);
    QCOMPARE(reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(), kSize);
    QCOMPARE(reply->rawHeader("etag"), QByteArray("\"1\""));
}

void TestGuardedReply::headersKeepOrderAndSpelling()
{
    ScriptedResponse response = ScriptedResponse::ok("body");
    response.withHeader("X-ZZ", "1").withHeader("x-aa", "2").withHeader("X-Mm", "3");
    m_server->setResponse("/headers", response);
    QNetworkReply *const reply = get(request("/headers"));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QList<QByteArray> names;
    for (const QNetworkReply::RawHeaderPair &header : reply->rawHeaderPairs()) {
        if (header.first.startsWith("X-") || header.first.startsWith("x-"))
            names.append(header.first);
    }
    QCOMPARE(names, (QList<QByteArray>{"X-ZZ", "x-aa", "X-Mm"}));
}

void TestGuardedReply::thePieceThatWasAskedForPasses()
{
    QNetworkReply *const reply = get(request("/file", "bytes=1000-"));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, (QStringList{u"head"_s, u"data"_s, u"finished"_s}));
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 206);
    QVERIFY(recorder.body == content(kStart));
}

void TestGuardedReply::aPieceThatWasNotAskedForIsRefused_data()
{
    QTest::addColumn<QByteArray>("contentRange");

    const QByteArray total = QByteArray::number(kSize);
    QTest::newRow("from the beginning") << "bytes 0-" + QByteArray::number(kSize - 1) + '/' + total;
    QTest::newRow("one byte too early") << "bytes 999-" + QByteArray::number(kSize - 1) + '/' + total;
    QTest::newRow("malformed") << QByteArray("1000-2000/3000");
    QTest::newRow("contradicts itself") << "bytes 1000-" + total + '/' + total;
    QTest::newRow("missing") << QByteArray();
}

void TestGuardedReply::aPieceThatWasNotAskedForIsRefused()
{
    QFETCH(QByteArray, contentRange);
    ScriptedResponse response = ScriptedResponse::ok(content());
    response.status = 206;
    response.holdAfter = 100;
    if (!contentRange.isEmpty())
        response.withHeader("Content-Range", contentRange);
    m_server->setResponse("/file", response);
    QNetworkReply *const reply = get(request("/file", "bytes=1000-"));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, (QStringList{u"error 399"_s, u"finished"_s}));
    QCOMPARE(reply->error(), QNetworkReply::ProtocolFailure);
    QVERIFY2(reply->errorString().contains(u"\"bytes=1000-\""_s), qPrintable(reply->errorString()));
    if (!contentRange.isEmpty())
        QVERIFY2(reply->errorString().contains(QString::fromLatin1(contentRange)), qPrintable(reply->errorString()));
    QCOMPARE(reply->bytesAvailable(), 0);
    QVERIFY(reply->readAll().isEmpty());
    QVERIFY(reply->isFinished());
    QVERIFY(m_server->waitForNoConnections());
    QCOMPARE(recorder.events.size(), 2);
}

void TestGuardedReply::withoutARangeAPartialAnswerIsNotJudged()
{
    ScriptedResponse response = ScriptedResponse::ok("part");
    response.status = 206;
    m_server->setResponse("/file", response.withHeader("Content-Range", "bytes 5-8/9"));
    const Recorder recorder(get(request()));
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.body, QByteArray("part"));
}

void TestGuardedReply::aWholeAnswerToARangeIsNotJudged()
{
    m_server->setResponse("/file", ScriptedResponse::ok("whole"));
    QNetworkReply *const reply = get(request("/file", "bytes=1000-"));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, (QStringList{u"head"_s, u"data"_s, u"finished"_s}));
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
}

void TestGuardedReply::anErrorStatusComesWithItsHead()
{
    QNetworkReply *const reply = get(request("/nothing-here"));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events.first(), u"head"_s);
    QCOMPARE(recorder.events.mid(recorder.events.size() - 2), (QStringList{u"error 203"_s, u"finished"_s}));
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 404);
    QVERIFY(!reply->errorString().isEmpty());
}

/// The end of the connection overtakes the body now and then; no number of tries may let a short one pass.
void TestGuardedReply::aBodyCutShortIsAnError()
{
    constexpr int kTries = 30;
    constexpr qint64 kCut = 5000;
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.cutAfter = kCut;
    m_server->setResponse("/file", response);
    for (int i = 0; i < kTries; ++i) {
        const std::unique_ptr<QNetworkReply> reply(get(request()));
        const Recorder recorder(reply.get());
        QVERIFY(recorder.wait());
        QCOMPARE(recorder.events.mid(recorder.events.size() - 2), (QStringList{u"error 2"_s, u"finished"_s}));
        QCOMPARE(recorder.events.count(u"finished"_s), 1);
        QCOMPARE(recorder.body + reply->readAll(), content().first(kCut));
    }
}

void TestGuardedReply::aBodyOfUnknownLengthMayEndAnywhere()
{
    ScriptedResponse response = ScriptedResponse::ok("content");
    response.framing = ScriptedResponse::Framing::CloseDelimited;
    m_server->setResponse("/file", response);
    const Recorder untilClose(get(request()));
    QVERIFY(untilClose.wait());
    QCOMPARE(untilClose.events, (QStringList{u"head"_s, u"data"_s, u"finished"_s}));
    QCOMPARE(untilClose.body, QByteArray("content"));

    response.framing = ScriptedResponse::Framing::Chunked;
    m_server->setResponse("/file", response);
    const Recorder inChunks(get(request()));
    QVERIFY(inChunks.wait());
    QCOMPARE(inChunks.events, (QStringList{u"head"_s, u"data"_s, u"finished"_s}));
    QCOMPARE(inChunks.body, QByteArray("content"));
}

void TestGuardedReply::aHeadAloneHasNoBodyToMiss()
{
    m_server->setResponse("/file", ScriptedResponse::ok({}).withHeader("Content-Length", "5"));
    const Recorder recorder(m_manager->head(request()));
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, (QStringList{u"head"_s, u"finished"_s}));
}

void TestGuardedReply::aRedirectIsShownNotFollowed()
{
    m_server->setResponse("/away", ScriptedResponse::redirect("/file"));
    QNetworkReply *const reply = get(request("/away"));
    QUrl targetAtHead;
    connect(reply, &QNetworkReply::metaDataChanged, this,
            [&] { targetAtHead = reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl(); });
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(reply->url().resolved(targetAtHead), m_server->url(u"/file"_s));
    QCOMPARE(m_server->requests().size(), 1);
}

void TestGuardedReply::aPostIsSentWithItsBody()
{
    QNetworkRequest post = request();
    post.setHeader(QNetworkRequest::ContentTypeHeader, u"text/plain"_s);
    QNetworkReply *const reply = m_manager->post(post, QByteArray("a=1&b=2"));
    QSignalSpy uploaded(reply, &QNetworkReply::uploadProgress);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(m_server->requests().first().method, QByteArray("POST"));
    QCOMPARE(m_server->requests().first().body, QByteArray("a=1&b=2"));
    QVERIFY(!uploaded.isEmpty());
}

/// With a bounded buffer the far side is slowed down, and small reads get everything.
void TestGuardedReply::unreadDataStaysWhereItIs()
{
    constexpr qint64 kBuffer = 4096;
    QNetworkReply *const reply = get(request());
    connect(reply, &QNetworkReply::metaDataChanged, reply, [reply] { reply->setReadBufferSize(kBuffer); });
    QTRY_VERIFY(reply->bytesAvailable() > 0);
    QCOMPARE(reply->readBufferSize(), kBuffer);
    QByteArray body;
    const bool whole = QTest::qWaitFor(
        [&] {
            body += reply->read(1000);
            return body.size() == kSize && reply->isFinished();
        },
        ScriptedServer::kPatienceMs);
    QVERIFY(whole);
    QVERIFY(body == content());
}

void TestGuardedReply::abortEndsItOnce()
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.holdAfter = 100;
    m_server->setResponse("/file", response);
    QNetworkReply *const reply = get(request());
    const Recorder recorder(reply);
    QTRY_COMPARE(recorder.body.size(), 100);
    reply->abort();
    QCOMPARE(recorder.events, (QStringList{u"head"_s, u"data"_s, u"error 5"_s, u"finished"_s}));
    reply->abort();
    QCOMPARE(recorder.events.size(), 4);
    QCOMPARE(reply->error(), QNetworkReply::OperationCanceledError);
    QVERIFY(m_server->waitForNoConnections());
}

void TestGuardedReply::abortAfterTheEndDoesNothing()
{
    QNetworkReply *const reply = get(request());
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    reply->abort();
    QCOMPARE(recorder.events.last(), u"finished"_s);
    QCOMPARE(reply->error(), QNetworkReply::NoError);
}

/// As a transfer does it: the error ends everything, "finished" is not awaited.
void TestGuardedReply::itMayBeDroppedWhenTheErrorIsHeard()
{
    for (const QByteArray &path : {QByteArray("/nothing-here"), QByteArray("/refused")}) {
        ScriptedResponse response = ScriptedResponse::ok("x");
        response.status = 206;
        m_server->setResponse("/refused", response);
        QPointer<QNetworkReply> reply = get(request(path, "bytes=1000-"));
        int errors = 0;
        connect(reply, &QNetworkReply::errorOccurred, this, [&] {
            ++errors;
            reply->readAll();
            reply->setParent(nullptr);
            reply->deleteLater();
        });
        QTRY_VERIFY(reply.isNull());
        QCOMPARE(errors, 1);
        QVERIFY(!m_manager->hasLivingReplies());
    }
}

void TestGuardedReply::itMayBeDeletedWhenTheErrorIsHeard()
{
    ScriptedResponse response = ScriptedResponse::ok("x");
    response.status = 206;
    m_server->setResponse("/refused", response);
    QPointer<QNetworkReply> reply = get(request("/refused", "bytes=1000-"));
    connect(reply, &QNetworkReply::errorOccurred, this, [&] { reply->deleteLater(); });
    QTRY_VERIFY(reply.isNull());
}

void TestGuardedReply::itMayBeDroppedWhenTheHeadIsHeard()
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.holdAfter = 100;
    m_server->setResponse("/file", response);
    QPointer<QNetworkReply> reply = get(request());
    connect(reply, &QNetworkReply::metaDataChanged, this, [&] {
        reply->disconnect(this);
        reply->abort();
        reply->setParent(nullptr);
        reply->deleteLater();
    });
    QTRY_VERIFY(reply.isNull());
    QVERIFY(m_server->waitForNoConnections());
}

void TestGuardedReply::itDiesWithItsManager()
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.holdAfter = 100;
    m_server->setResponse("/file", response);
    const QPointer<QNetworkReply> reply = get(request());
    QTRY_VERIFY(reply->bytesAvailable() > 0);
    m_manager.reset();
    QVERIFY(reply.isNull());
}

void TestGuardedReply::aCertificateThatIsNotTrustedIsReported()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    m_server = std::make_unique<ScriptedServer>(ca.serverConfiguration());
    m_server->setResponse("/file", ScriptedResponse::ok("secret"));
    QNetworkReply *const reply = get(request());
    QSignalSpy sslErrors(reply, &QNetworkReply::sslErrors);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(sslErrors.size(), 1);
    QVERIFY(!sslErrors.first().first().value<QList<QSslError>>().isEmpty());
    QCOMPARE(recorder.events, (QStringList{u"error 6"_s, u"finished"_s}));
    QVERIFY(recorder.body.isEmpty());
}

void TestGuardedReply::aCertificateMayBeAcceptedAllTheSame()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    m_server = std::make_unique<ScriptedServer>(ca.serverConfiguration());
    m_server->setResponse("/file", ScriptedResponse::ok("secret"));
    QNetworkReply *const reply = get(request());
    QSignalSpy encrypted(reply, &QNetworkReply::encrypted);
    connect(reply, &QNetworkReply::sslErrors, reply, [reply] { reply->ignoreSslErrors(); });
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, (QStringList{u"head"_s, u"data"_s, u"finished"_s}));
    QCOMPARE(recorder.body, QByteArray("secret"));
    QVERIFY(reply->attribute(QNetworkRequest::ConnectionEncryptedAttribute).toBool());
    QCOMPARE(encrypted.size(), 1);
    QVERIFY(!reply->sslConfiguration().peerCertificate().isNull());
}

QTEST_GUILESS_MAIN(TestGuardedReply)
#include "tst_guardedreply.moc"
