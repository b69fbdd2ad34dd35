// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/transferbench.h>

#include <QTest>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <vector>

#include <dlfcn.h>
#include <netdb.h>

using namespace Qt::StringLiterals;

namespace
{

/// Names that end with "slow.invalid" are looked up until they are let go.
class SlowNames
{
public:
    bool isSlow(const char *name) const { return name && QByteArrayView(name).endsWith("slow.invalid"); }
    void waitHere()
    {
        std::unique_lock lock(m_mutex);
        ++m_waiting;
        m_changed.wait(lock, [this] { return !m_isShut; });
        --m_waiting;
    }
    void shut()
    {
        const std::lock_guard lock(m_mutex);
        m_isShut = true;
    }
    void letGo()
    {
        const std::lock_guard lock(m_mutex);
        m_isShut = false;
        m_changed.notify_all();
    }
    int waiting()
    {
        const std::lock_guard lock(m_mutex);
        return m_waiting;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isShut = false;
    int m_waiting = 0;
};

/// Never gone: a look-up that nobody waits for may end after everything.
SlowNames &slowNames()
{
    static auto *const names = new SlowNames;
    return *names;
}

}

/// Stands before the system's own.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char *name, const char *service,
                                                                  const addrinfo *hints, addrinfo **result)
{
    using Function = int (*)(const char *, const char *, const addrinfo *, addrinfo **);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (!slowNames().isSlow(name))
        return real(name, service, hints, result);
    slowNames().waitHere();
    return EAI_NONAME;
}

/// What transfers share beneath their replies: the thread, the names, the connections.
class TestTransferLoop : public TransferBench
{
    Q_OBJECT

private Q_SLOTS:
    void aNameThatIsLookedUpHoldsUpNobody_data();
    void aNameThatIsLookedUpHoldsUpNobody();
    void aNameThatIsNotFoundIsSaid();
    void aConnectionServesAgain();
    void aConnectionServesAgainBesideManyThatAreInUse();
    void aGetIsTriedAgainWhereItsConnectionHadDied();
    void aGetOverANewConnectionIsNotTriedAgain();
    void aPostIsNeverSentTwice_data();
    void aPostIsNeverSentTwice();
    void aConnectionOfAnAnswerThatWasBrokenOffIsNotUsedAgain();
    void aLoopMayEndWithTransfersAlive();

protected:
    void tearDown() override;
};

void TestTransferLoop::tearDown()
{
    slowNames().letGo();
    TransferBench::tearDown();
    QTRY_COMPARE(slowNames().waiting(), 0);
}

void TestTransferLoop::aNameThatIsLookedUpHoldsUpNobody_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("its transfer is aborted") << u"abort"_s;
    QTest::newRow("its transfer is deleted") << u"delete"_s;
    QTest::newRow("its manager is deleted") << u"manager"_s;
}

void TestTransferLoop::aNameThatIsLookedUpHoldsUpNobody()
{
    QFETCH(QString, how);
    slowNames().shut();
    QNetworkReply *const slow = m_manager->get(QNetworkRequest(QUrl(u"http://slow.invalid/x"_s)));
    const Recorder recorder(slow);
    QTRY_COMPARE(slowNames().waiting(), 1);
    if (how == "abort"_L1) {
        slow->abort();
        QCOMPARE(recorder.events, Recorder::failureWith(QNetworkReply::OperationCanceledError));
    } else if (how == "delete"_L1) {
        delete slow;
    } else {
        m_manager = std::make_unique<TransferManager>(m_hub);
    }
    const Reply reply = get();
    const Recorder other(reply.get());
    QVERIFY(other.wait());
    QVERIFY(other.body == content());
    QCOMPARE(slowNames().waiting(), 1);
}

void TestTransferLoop::aNameThatIsNotFoundIsSaid()
{
    const Reply reply(m_manager->get(QNetworkRequest(QUrl(u"http://not.slow.invalid/x"_s))));
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::failureWith(QNetworkReply::HostNotFoundError));
    QCOMPARE(reply->errorString(), u"Host not.slow.invalid not found"_s);
}

void TestTransferLoop::aConnectionServesAgain()
{
    for (int i = 0; i < 3; ++i) {
        const Reply reply = get();
        const Recorder recorder(reply.get());
        QVERIFY(recorder.wait());
        QVERIFY(recorder.body == content());
    }
    QCOMPARE(m_server->requests().size(), 3);
    QCOMPARE(m_server->connectionCount(), 1);
}

void TestTransferLoop::aConnectionServesAgainBesideManyThatAreInUse()
{
    constexpr int kInUse = 50;
    holdFileAfter(100);
    std::vector<Reply> held;
    for (int i = 0; i < kInUse; ++i)
        held.push_back(get());
    QVERIFY(m_server->waitForHeld(QString(), kInUse));
    m_server->setResponse("/other", ScriptedResponse::ok("other"));
    for (int i = 0; i < 3; ++i) {
        const Reply reply = get("/other");
        const Recorder recorder(reply.get());
        QVERIFY(recorder.wait());
        QCOMPARE(recorder.body, QByteArray("other"));
    }
    QCOMPARE(m_server->connectionCount(), kInUse + 1);
}

void TestTransferLoop::aGetIsTriedAgainWhereItsConnectionHadDied()
{
    m_server->setHandler("/again", [](const ScriptedRequest &request) {
        return request.connection == 1 ? ScriptedResponse::noAnswer() : ScriptedResponse::ok("content");
    });
    const Reply first = get();
    const Recorder before(first.get());
    QVERIFY(before.wait());
    const Reply reply = get("/again");
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::wholeAnswer());
    QCOMPARE(recorder.body, QByteArray("content"));
    QCOMPARE(m_server->requests("/again").size(), 2);
}

void TestTransferLoop::aGetOverANewConnectionIsNotTriedAgain()
{
    m_server->setResponse("/file", ScriptedResponse::noAnswer());
    const Reply reply = get();
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::failureWith(QNetworkReply::RemoteHostClosedError));
    QCOMPARE(m_server->requests().size(), 1);
}

void TestTransferLoop::aPostIsNeverSentTwice_data()
{
    QTest::addColumn<bool>("isConnected");
    QTest::newRow("over a new connection") << false;
    QTest::newRow("where a connection waits") << true;
}

void TestTransferLoop::aPostIsNeverSentTwice()
{
    QFETCH(bool, isConnected);
    m_server->setResponse("/post", ScriptedResponse::noAnswer());
    if (isConnected) {
        const Reply first = get();
        const Recorder before(first.get());
        QVERIFY(before.wait());
    }
    const Reply reply(m_manager->post(request("/post"), QByteArray("order=1")));
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::failureWith(QNetworkReply::RemoteHostClosedError));
    QCOMPARE(m_server->requests("/post").size(), 1);
    QCOMPARE(m_server->requests("/post").first().method, QByteArray("POST"));
    QCOMPARE(m_server->requests("/post").first().connection, isConnected ? 2 : 1);
}

void TestTransferLoop::aConnectionOfAnAnswerThatWasBrokenOffIsNotUsedAgain()
{
    holdFileAfter(100);
    const Reply reply = get();
    QTRY_COMPARE(reply->bytesAvailable(), 100);
    reply->abort();
    m_server->setResponse("/other", ScriptedResponse::ok("other"));
    const Reply next = get("/other");
    const Recorder recorder(next.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.body, QByteArray("other"));
    QCOMPARE(m_server->requests("/other").first().connection, 2);
}

void TestTransferLoop::aLoopMayEndWithTransfersAlive()
{
    slowNames().shut();
    holdFileAfter(100);
    std::vector<std::shared_ptr<Transfer>> transfers;
    for (const QUrl &url : {m_server->url(u"/file"_s), QUrl(u"http://slow.invalid/x"_s)}) {
        TransferRequest asked;
        asked.url = url;
        transfers.push_back(Transfer::make(asked, m_means));
        m_loop->start(transfers.back());
    }
    QTRY_VERIFY(transfers.front()->pipe().size() == 100 && slowNames().waiting() == 1);
    m_loop.reset();
    for (const std::shared_ptr<Transfer> &transfer : transfers)
        QVERIFY(!transfer->pipe().end());
    QCOMPARE(m_means->budget.running(), 0);
    QVERIFY(m_server->waitForNoConnections());
}

QTEST_GUILESS_MAIN(TestTransferLoop)
#include "tst_transferloop.moc"
