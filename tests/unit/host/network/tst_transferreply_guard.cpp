// SPDX-License-Identifier: MIT
#include <host/network/resourceguard.h>
#include <tests/support/testca.h>
#include <tests/unit/host/network/transferbench.h>

#include <QPointer>
#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{

using Task = ResourceGuard::Task;

const QByteArray kRange = QByteArrayLiteral("bytes=1000-");
constexpr qint64 kStart = 1000;
constexpr int kManyRedirects = 20;

/// Asks as modules do: who is told of a redirect drops its reply and asks there, from inside the signal.
class Follower : public QObject
{
public:
    struct Hop {
        QUrl url;
        bool isMadeUp = false;
    };

    Follower(QNetworkAccessManager &manager, ResourceGuard &guard, const QNetworkRequest &request)
        : m_manager(manager)
        , m_guard(guard)
        , m_request(request)
    {
        ask(request.url());
    }

    bool wait() const
    {
        return QTest::qWaitFor([this] { return m_recorder && m_recorder->hasEnded(); }, ScriptedServer::kPatienceMs);
    }

    QNetworkReply &reply() { return *m_replies.back(); }
    QByteArray body() const { return m_recorder->body; }
    QStringList events() const { return m_recorder->events; }
    QList<QUrl> urls() const
    {
        QList<QUrl> urls;
        for (const Hop &hop : hops)
            urls.append(hop.url);
        return urls;
    }

    QList<Hop> hops; ///< that were asked for, in order

private:
    void ask(const QUrl &url)
    {
        QVERIFY(hops.size() < kManyRedirects);
        m_guard.expect(url);
        hops.append({url, m_guard.isMadeUp()});
        m_request.setUrl(url);
        m_replies.emplace_back(m_manager.get(m_request));
        QNetworkReply *const reply = m_replies.back().get();
        m_recorder = std::make_unique<ReplyRecorder>(reply);
        connect(reply, &QNetworkReply::metaDataChanged, this, [this, reply] { follow(*reply); });
    }

    void follow(QNetworkReply &reply)
    {
        const QUrl target = reply.attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
        if (target.isEmpty())
            return;
        reply.disconnect(this);
        reply.abort();
        ask(reply.url().resolved(target));
    }

    QNetworkAccessManager &m_manager;
    ResourceGuard &m_guard;
    QNetworkRequest m_request;
    std::vector<std::unique_ptr<QNetworkReply>> m_replies;
    std::unique_ptr<ReplyRecorder> m_recorder;
};

ScriptedResponse fileWithTag(quint64 seed, qint64 size, const QByteArray &etag)
{
    ScriptedResponse response = ScriptedResponse::file(seed, size);
    response.headers = {{"ETag", etag}};
    return response;
}

}

/// Replies whose requests belong to a download: to whom they lead, and what they refuse.
class TestTransferReplyGuard : public TransferBench
{
    Q_OBJECT

private Q_SLOTS:
    void aMadeUpRedirectIsToldAsSuch();
    void aServerCannotMakeOneUp();
    void aChainEndsInTheTarget();
    void theTargetIsAskedInTheAddresssPlace();
    void aDownloadThatSendsABodyAsksTheAddress();
    void aTargetThatIsGoneLeadsBack_data();
    void aTargetThatIsGoneLeadsBack();
    void aTargetWhoseCertificateIsRefusedLeadsBack();
    void aTargetThatIsOverloadedDoesNot();
    void aRefusedAnswerHandsOutNothing_data();
    void aRefusedAnswerHandsOutNothing();
    void aDateThatMeansNothingIsNotHandedOn();
    void aFieldIsHandedOnInItsUsualSpelling();
    void bytesThatAreReadAreEvidence();
    void aReplyMayBeEndedInEverySignal_data();
    void aReplyMayBeEndedInEverySignal();
    void anAnswerThatWasDroppedBindsNobody();

private:
    void setUp() override;
    void tearDown() override;
    /// Bytes are held of what "/address" led to at that URL.
    void remember(const QUrl &target, const QByteArray &etag = "\"7\"");
    std::unique_ptr<Follower> follow(const QByteArray &range = kRange);
    QUrl url(const QString &path) const { return m_server->url(path); }

    std::shared_ptr<ResourceGuard> m_guard;
};

void TestTransferReplyGuard::setUp()
{
    TransferBench::setUp();
    m_guard = std::make_shared<ResourceGuard>(Task::Download);
    m_manager = std::make_unique<TransferManager>(m_hub, m_guard);
    m_server->setResponse("/file", fileWithTag(kSeed, kSize, "\"7\""));
    m_server->setResponse("/address", ScriptedResponse::redirect("/file"));
}

void TestTransferReplyGuard::tearDown()
{
    m_manager.reset();
    m_guard.reset();
    TransferBench::tearDown();
}

void TestTransferReplyGuard::remember(const QUrl &target, const QByteArray &etag)
{
    KnownAddress known{url(u"/address"_s), target, target.isEmpty() ? 0 : 1, {}};
    known.identity.etag = etag;
    known.identity.total = kSize;
    m_guard->setMemory({{known}, {}}, true);
}

std::unique_ptr<Follower> TestTransferReplyGuard::follow(const QByteArray &range)
{
    return std::make_unique<Follower>(*m_manager, *m_guard, request("/address", range));
}

void TestTransferReplyGuard::aMadeUpRedirectIsToldAsSuch()
{
    remember(url(u"/file"_s));
    const Reply reply = get("/address", kRange);
    const Recorder recorder(reply.get());
    bool isMadeUp = false;
    connect(reply.get(), &QNetworkReply::metaDataChanged, this, [&] { isMadeUp = m_guard->isMadeUp(); });
    QVERIFY2(recorder.events.isEmpty(), "nothing is told before the event loop");
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, (QStringList{u"head"_s, u"channel"_s, u"finished"_s}));
    QCOMPARE(statusOf(*reply), 307);
    QCOMPARE(reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray(),
             "Remembered, Nothing Was Sent"_ba);
    QCOMPARE(reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl(), url(u"/file"_s));
    QCOMPARE(reply->rawHeaderPairs(), (QList<QNetworkReply::RawHeaderPair>{{"Location", url(u"/file"_s).toEncoded()}}));
    QVERIFY(isMadeUp);
    QVERIFY(!m_guard->isMadeUp());
    QCOMPARE(m_server->connectionCount(), 0);
}

void TestTransferReplyGuard::aServerCannotMakeOneUp()
{
    ScriptedResponse redirect = ScriptedResponse::redirect("/file", 307);
    redirect.reason = ResourceGuard::kMadeUpReason;
    m_server->setResponse("/address", redirect);
    bool isMadeUp = false;
    const Reply reply = get("/address");
    connect(reply.get(), &QNetworkReply::metaDataChanged, this, [&] { isMadeUp = m_guard->isMadeUp(); });
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QVERIFY(!isMadeUp);
    const auto follower = follow({});
    QVERIFY(follower->wait());
    QCOMPARE(m_guard->memory().addresses.constFirst().redirects, 1);
}

void TestTransferReplyGuard::aChainEndsInTheTarget()
{
    m_server->addRedirectChain("/hop", 3, "/file");
    m_server->setResponse("/address", ScriptedResponse::redirect("/hop/3"));
    const auto follower = follow({});
    QVERIFY(follower->wait());
    QCOMPARE(follower->body(), content());
    const QList<KnownAddress> learnt = m_guard->memory().addresses;
    QCOMPARE(learnt.size(), 1);
    QCOMPARE(learnt.constFirst().url, url(u"/address"_s));
    QCOMPARE(learnt.constFirst().target, url(u"/file"_s));
    QCOMPARE(learnt.constFirst().redirects, 4);
    QCOMPARE(learnt.constFirst().identity.etag, "\"7\""_ba);
    QCOMPARE(learnt.constFirst().identity.total, kSize);
}

void TestTransferReplyGuard::theTargetIsAskedInTheAddresssPlace()
{
    remember(url(u"/file"_s));
    const auto follower = follow();
    QVERIFY(follower->wait());
    QCOMPARE(follower->body(), content(kStart));
    QCOMPARE(follower->urls(), (QList<QUrl>{url(u"/address"_s), url(u"/file"_s)}));
    QVERIFY(follower->hops.at(0).isMadeUp && !follower->hops.at(1).isMadeUp);
    QCOMPARE(m_server->requests("/address").size(), 0);
    QCOMPARE(m_server->requests("/file").size(), 1);
    QCOMPARE(m_server->requests("/file").constFirst().header("Range"), kRange);
}

void TestTransferReplyGuard::aDownloadThatSendsABodyAsksTheAddress()
{
    remember(url(u"/file"_s));
    m_guard->setMayLead(false);
    const auto follower = follow();
    QVERIFY(follower->wait());
    QCOMPARE(m_server->requests("/address").size(), 1);
}

void TestTransferReplyGuard::aTargetThatIsGoneLeadsBack_data()
{
    QTest::addColumn<ScriptedResponse>("answer");
    ScriptedResponse whole = ScriptedResponse::ok("Please log in.");
    ScriptedResponse silent = ScriptedResponse::file(kSeed, kSize);
    silent.headGate = u"never"_s;
    QTest::newRow("403") << ScriptedResponse::error(403);
    QTest::newRow("404") << ScriptedResponse::error(404);
    QTest::newRow("401") << ScriptedResponse::error(401).withHeader("WWW-Authenticate", "Basic realm=\"x\"");
    QTest::newRow("a redirect") << ScriptedResponse::redirect("/login");
    QTest::newRow("a page in place of the rest") << whole;
    QTest::newRow("no answer") << ScriptedResponse::noAnswer();
    QTest::newRow("silence") << silent;
}

void TestTransferReplyGuard::aTargetThatIsGoneLeadsBack()
{
    QFETCH(ScriptedResponse, answer);
    m_server->setResponse("/old", answer);
    remember(url(u"/old"_s));
    m_guard->setPatience(200);
    const auto follower = follow();
    QVERIFY(follower->wait());
    QCOMPARE(follower->body(), content(kStart));
    QCOMPARE(follower->urls(), (QList<QUrl>{url(u"/address"_s), url(u"/old"_s), url(u"/address"_s), url(u"/file"_s)}));
    QCOMPARE(m_server->requests("/old").size(), 1);
    QCOMPARE(m_server->requests("/address").size(), 1);
    QCOMPARE(m_server->requests("/login").size(), 0);
    QCOMPARE(m_guard->memory().addresses.constFirst().target, url(u"/file"_s));
}

void TestTransferReplyGuard::aTargetWhoseCertificateIsRefusedLeadsBack()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    const ScriptedServer secure(ca.serverConfiguration());
    QVERIFY(secure.isListening());
    remember(secure.url(u"/file"_s));
    const auto follower = follow();
    QVERIFY(follower->wait());
    QCOMPARE(follower->body(), content(kStart));
    QCOMPARE(secure.requests().size(), 0);
}

void TestTransferReplyGuard::aTargetThatIsOverloadedDoesNot()
{
    m_server->setResponse("/old", ScriptedResponse::error(429).withHeader("Retry-After", "9"));
    remember(url(u"/old"_s));
    const auto follower = follow();
    QVERIFY(follower->wait());
    QCOMPARE(statusOf(follower->reply()), 429);
    QCOMPARE(follower->reply().rawHeader("Retry-After"), "9"_ba);
    QCOMPARE(m_server->requests("/address").size(), 0);
    QCOMPARE(m_guard->memory().addresses.constFirst().target, url(u"/old"_s));
}

void TestTransferReplyGuard::aRefusedAnswerHandsOutNothing_data()
{
    QTest::addColumn<ScriptedResponse>("answer");
    QTest::addColumn<QString>("reason");
    QTest::newRow("another ETag") << fileWithTag(kSeed, kSize, "\"8\"") << u"its ETag is \"8\", and was \"7\""_s;
    QTest::newRow("another weak ETag") << fileWithTag(kSeed, kSize, "W/\"8\"") << u"its ETag is \"8\", and was \"7\""_s;
    QTest::newRow("another size") << fileWithTag(kSeed, kSize + 1, "\"7\"") << u"its size is"_s;
}

void TestTransferReplyGuard::aRefusedAnswerHandsOutNothing()
{
    QFETCH(ScriptedResponse, answer);
    QFETCH(QString, reason);
    m_server->setResponse("/address", answer);
    remember({});
    const QSignalSpy refused(m_guard.get(), &ResourceGuard::refused);
    const Reply reply = get("/address", kRange);
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::failureWith(QNetworkReply::ContentConflictError));
    QVERIFY(recorder.body.isEmpty());
    QCOMPARE(reply->bytesAvailable(), 0);
    QVERIFY(!reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid());
    QVERIFY2(reply->errorString().contains(reason), qPrintable(reply->errorString()));
    QCOMPARE(refused.count(), 1);
    QCOMPARE(refused.at(0).at(0).toString(), reply->errorString());
}

void TestTransferReplyGuard::aDateThatMeansNothingIsNotHandedOn()
{
    remember({});
    const auto dated = [](const QByteArray &name, const QByteArray &day) {
        ScriptedResponse answer = fileWithTag(kSeed, kSize, "\"7\"");
        return answer.withHeader(name, day + " Jan 2024 10:00:00 GMT");
    };
    m_server->setResponses("/address", {dated("Last-Modified", "Mon, 01"), dated("last-modified", "Tue, 02")});
    const Reply first = get("/address", kRange);
    const Recorder firstRecorder(first.get());
    QVERIFY(firstRecorder.wait());
    QVERIFY(first->hasRawHeader("Last-Modified"));
    const Reply second = get("/address", kRange);
    const Recorder secondRecorder(second.get());
    QVERIFY(secondRecorder.wait());
    QCOMPARE(secondRecorder.body, content(kStart));
    QVERIFY(!second->hasRawHeader("Last-Modified"));
    QVERIFY(second->hasRawHeader("ETag"));
}

void TestTransferReplyGuard::aFieldIsHandedOnInItsUsualSpelling()
{
    ScriptedResponse answer = ScriptedResponse::ok("x");
    answer.headers = {{"last-modified", "Mon, 01 Jan 2024 10:00:00 GMT"}, {"x-own", "1"}};
    m_server->setResponse("/address", answer);
    const Reply reply = get("/address");
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QVERIFY(reply->rawHeaderList().contains("Last-Modified"));
    QVERIFY(reply->rawHeaderList().contains("x-own"));
}

void TestTransferReplyGuard::bytesThatAreReadAreEvidence()
{
    remember(url(u"/file"_s));
    const auto follower = follow();
    QVERIFY(follower->wait());
    const Evidence evidence = m_guard->memory().evidence;
    QCOMPARE(evidence.answers, 1);
    QCOMPARE(evidence.address, url(u"/address"_s));
    QCOMPARE(evidence.etag, "\"7\""_ba);
    const Reply unread = get("/address", "bytes=2000-");
    const Recorder recorder(unread.get(), Recorder::Reads::Nothing);
    QVERIFY(recorder.wait());
    QCOMPARE(m_guard->memory().evidence, evidence);
}

void TestTransferReplyGuard::aReplyMayBeEndedInEverySignal_data()
{
    QTest::addColumn<QString>("signal");
    QTest::addColumn<bool>("isDeleted");
    for (const char *const signal : {"made up", "led back", "refused", "told of the refusal"}) {
        QTest::addRow("aborted: %s", signal) << QString::fromLatin1(signal) << false;
        QTest::addRow("deleted: %s", signal) << QString::fromLatin1(signal) << true;
    }
}

void TestTransferReplyGuard::aReplyMayBeEndedInEverySignal()
{
    QFETCH(QString, signal);
    QFETCH(bool, isDeleted);
    const bool isRefusal = signal.contains(u"refus"_s);
    m_server->setResponse("/old", ScriptedResponse::error(403));
    m_server->setResponse("/address", isRefusal ? fileWithTag(kSeed, kSize, "\"8\"") : ScriptedResponse::ok("x"));
    remember(isRefusal ? QUrl() : url(u"/old"_s));
    QPointer<QNetworkReply> reply = m_manager->get(request("/address", kRange));
    bool isEnded = false;
    const auto end = [&reply, &isEnded, isDeleted] {
        isEnded = true;
        if (isDeleted)
            delete reply.data();
        else
            reply->abort();
    };
    if (signal == "led back"_L1) {
        connect(reply, &QNetworkReply::metaDataChanged, this, [&] {
            delete reply.data();
            reply = m_manager->get(request("/old", kRange));
            connect(reply, &QNetworkReply::metaDataChanged, this, end);
        });
    } else if (signal == "refused"_L1) {
        connect(m_guard.get(), &ResourceGuard::refused, reply, end);
    } else if (isRefusal) {
        connect(reply, &QNetworkReply::errorOccurred, this, end);
    } else {
        connect(reply, &QNetworkReply::metaDataChanged, this, end);
    }
    QTRY_VERIFY(isEnded);
    QCOMPARE(reply.isNull(), isDeleted);
    if (reply)
        QVERIFY(reply->isFinished());
    delete reply.data();
    // Nor does the one that comes behind it find anything amiss.
    m_server->setResponse("/old", fileWithTag(kSeed, kSize, "\"7\""));
    const Reply next = get("/old", kRange);
    const Recorder recorder(next.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.body, content(kStart));
}

void TestTransferReplyGuard::anAnswerThatWasDroppedBindsNobody()
{
    holdFileAfter(0);
    Reply dropped = get("/file");
    QSignalSpy head(dropped.get(), &QNetworkReply::metaDataChanged);
    QVERIFY(head.wait());
    dropped.reset();
    m_server->setResponse("/file", fileWithTag(kSeed, kSize - 1, "\"8\""));
    const Reply next = get("/file");
    const Recorder recorder(next.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::wholeAnswer());
}

QTEST_GUILESS_MAIN(TestTransferReplyGuard)

#include "tst_transferreply_guard.moc"
