// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/transferbench.h>

#include <QPointer>
#include <QTest>

#include <functional>
#include <vector>

using namespace Qt::StringLiterals;

/// How replies end before their answers do: aborted and deleted in every slot, by themselves and with their manager.
class TestTransferReplyEnding : public TransferBench
{
    Q_OBJECT

private Q_SLOTS:
    void abortEndsItOnceAndAtOnce_data();
    void abortEndsItOnceAndAtOnce();
    void abortAfterTheEndDoesNothing();
    void closeEndsIt();
    void itMayBeAbortedInEverySignal_data();
    void itMayBeAbortedInEverySignal();
    void itMayBeDeletedInEverySignal_data();
    void itMayBeDeletedInEverySignal();
    void itMayBeDeletedWhileItsNewsAreOnTheWay();
    void whatWasStartedAndDeletedAtOnceIsNeverHeardOf();
    void itMayBeDroppedWhenTheErrorIsHeard();
    void theyDieWithTheirManager();
    void hundredsRunAtOnce();
    void blocksThatWereTakenOutliveEverything();

private:
    /// In turn: the reply, and what it is to do when this signal comes.
    void act(QNetworkReply *reply, const QString &signal, const std::function<void()> &action);
    void setAnswers();
};

namespace
{

void addSignals()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QString>("signal");
    QTest::newRow("the head") << "/file"_ba << QByteArray() << u"head"_s;
    QTest::newRow("data") << "/file"_ba << QByteArray() << u"data"_s;
    QTest::newRow("the channel's end") << "/file"_ba << QByteArray() << u"channel"_s;
    QTest::newRow("the end") << "/file"_ba << QByteArray() << u"finished"_s;
    QTest::newRow("the head of an error") << "/missing"_ba << QByteArray() << u"head"_s;
    QTest::newRow("an error") << "/missing"_ba << QByteArray() << u"error"_s;
    QTest::newRow("the channel's end behind an error") << "/missing"_ba << QByteArray() << u"channel"_s;
    QTest::newRow("the end behind an error") << "/missing"_ba << QByteArray() << u"finished"_s;
    QTest::newRow("the error of a piece that nobody asked for") << "/piece"_ba
                                                                << "bytes=5-"_ba << u"error"_s;
    QTest::newRow("the error of an answer cut short") << "/cut"_ba << QByteArray() << u"error"_s;
}

}

void TestTransferReplyEnding::act(QNetworkReply *reply, const QString &signal, const std::function<void()> &action)
{
    const auto on = [signal, action](const QString &name) {
        if (name == signal)
            action();
    };
    connect(reply, &QNetworkReply::metaDataChanged, this, [on] { on(u"head"_s); });
    connect(reply, &QNetworkReply::readyRead, this, [on] { on(u"data"_s); });
    connect(reply, &QNetworkReply::errorOccurred, this, [on] { on(u"error"_s); });
    connect(reply, &QNetworkReply::readChannelFinished, this, [on] { on(u"channel"_s); });
    connect(reply, &QNetworkReply::finished, this, [on] { on(u"finished"_s); });
}

void TestTransferReplyEnding::setAnswers()
{
    ScriptedResponse missing = ScriptedResponse::ok("the reason");
    missing.status = 404;
    m_server->setResponse("/missing", missing);
    ScriptedResponse piece = ScriptedResponse::ok("x");
    piece.status = 206;
    m_server->setResponse("/piece", piece);
    ScriptedResponse cut = ScriptedResponse::file(kSeed, kSize);
    cut.cutAfter = 5000;
    m_server->setResponse("/cut", cut);
}

void TestTransferReplyEnding::abortEndsItOnceAndAtOnce_data()
{
    QTest::addColumn<QString>("when");
    QTest::newRow("before it begins") << QString();
    QTest::newRow("while it waits for the answer") << u"asked"_s;
    QTest::newRow("in its middle") << u"data"_s;
}

void TestTransferReplyEnding::abortEndsItOnceAndAtOnce()
{
    QFETCH(QString, when);
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.holdAfter = 100;
    if (when == "asked"_L1)
        response.headGate = u"head"_s;
    m_server->setResponse("/file", response);
    const Reply reply = get();
    const Recorder recorder(reply.get());
    if (when == "asked"_L1)
        QVERIFY(m_server->waitForHeld(u"head"_s));
    if (when == "data"_L1)
        QTRY_COMPARE(recorder.body.size(), 100);
    const QStringList before = recorder.events;
    reply->abort();
    const QStringList after = before + Recorder::failureWith(QNetworkReply::OperationCanceledError);
    QCOMPARE(recorder.events, after);
    QVERIFY(reply->isFinished());
    QCOMPARE(reply->bytesAvailable(), 0);
    reply->abort();
    QVERIFY(m_server->waitForNoConnections());
    QCOMPARE(recorder.events, after);
}

void TestTransferReplyEnding::abortAfterTheEndDoesNothing()
{
    const Reply reply = get();
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    reply->abort();
    QCOMPARE(recorder.events, Recorder::wholeAnswer());
    QCOMPARE(reply->error(), QNetworkReply::NoError);
}

void TestTransferReplyEnding::closeEndsIt()
{
    holdFileAfter(100);
    const Reply reply = get();
    const Recorder recorder(reply.get());
    QTRY_COMPARE(recorder.body.size(), 100);
    reply->close();
    QVERIFY(!reply->isOpen());
    QCOMPARE(recorder.events.count(u"finished"_s), 1);
    QVERIFY(m_server->waitForNoConnections());
}

void TestTransferReplyEnding::itMayBeAbortedInEverySignal_data()
{
    addSignals();
}

void TestTransferReplyEnding::itMayBeAbortedInEverySignal()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, range);
    QFETCH(QString, signal);
    setAnswers();
    const Reply reply = get(path, range);
    const Recorder recorder(reply.get());
    int calls = 0;
    act(reply.get(), signal, [&] {
        ++calls;
        reply->abort();
    });
    QVERIFY(recorder.wait());
    QVERIFY(calls > 0);
    QCOMPARE(recorder.events.count(u"finished"_s), 1);
    QCOMPARE(recorder.events.count(u"channel"_s), 1);
    QVERIFY(recorder.events.filter(u"error"_s).size() <= 1);
    const bool isBeforeTheEnd = signal == "head"_L1 || signal == "data"_L1;
    QCOMPARE(reply->error() == QNetworkReply::OperationCanceledError, isBeforeTheEnd);
    const Reply next = get();
    const Recorder second(next.get());
    QVERIFY(second.wait());
    QVERIFY(second.body == content());
    QCOMPARE(recorder.events.last(), u"finished"_s);
}

void TestTransferReplyEnding::itMayBeDeletedInEverySignal_data()
{
    addSignals();
}

void TestTransferReplyEnding::itMayBeDeletedInEverySignal()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, range);
    QFETCH(QString, signal);
    setAnswers();
    const QPointer<QNetworkReply> reply = get(path, range).release();
    act(reply, signal, [&] { delete reply.data(); });
    QTRY_VERIFY_WITH_TIMEOUT(reply.isNull(), ScriptedServer::kPatienceMs);
    const Reply next = get();
    const Recorder recorder(next.get());
    QVERIFY(recorder.wait());
    QVERIFY(recorder.body == content());
}

void TestTransferReplyEnding::itMayBeDeletedWhileItsNewsAreOnTheWay()
{
    constexpr int kTries = 200;
    m_server->setResponse("/file", ScriptedResponse::ok("content"));
    for (int i = 0; i < kTries; ++i) {
        Reply reply = get();
        const Recorder recorder(reply.get());
        // The server has answered, or is about to; nobody has looked.
        QVERIFY(m_server->waitForRequests(i + 1));
        reply.reset();
        QCoreApplication::processEvents();
        QVERIFY(!recorder.events.contains(u"error 5"_s));
    }
}

void TestTransferReplyEnding::whatWasStartedAndDeletedAtOnceIsNeverHeardOf()
{
    for (int i = 0; i < 200; ++i)
        getDirectly().reset();
    const std::unique_ptr<TransferReply> last = getDirectly();
    const Recorder recorder(last.get());
    QVERIFY(recorder.wait());
    QVERIFY(recorder.body == content());
    QTRY_COMPARE(m_means->budget.running(), 0);
}

/// As a download does it: the error ends everything, "finished" is not awaited.
void TestTransferReplyEnding::itMayBeDroppedWhenTheErrorIsHeard()
{
    setAnswers();
    for (const QByteArray &path : {"/missing"_ba, "/piece"_ba, "/cut"_ba}) {
        const QPointer<QNetworkReply> reply = get(path, path == "/piece" ? "bytes=5-"_ba : QByteArray()).release();
        int errors = 0;
        connect(reply, &QNetworkReply::errorOccurred, this, [&] {
            ++errors;
            reply->readAll();
            reply->disconnect(this);
            reply->abort();
            reply->setParent(nullptr);
            reply->deleteLater();
        });
        QTRY_VERIFY(reply.isNull());
        QCOMPARE(errors, 1);
    }
}

void TestTransferReplyEnding::theyDieWithTheirManager()
{
    holdFileAfter(100);
    std::vector<QPointer<QNetworkReply>> replies;
    for (int i = 0; i < 20; ++i)
        replies.emplace_back(get().release());
    QTRY_VERIFY(replies.back()->bytesAvailable() > 0);
    m_manager.reset();
    for (const QPointer<QNetworkReply> &reply : replies)
        QVERIFY(reply.isNull());
    QVERIFY(m_server->waitForNoConnections());
}

void TestTransferReplyEnding::hundredsRunAtOnce()
{
    constexpr int kCount = 500;
    constexpr qint64 kPiece = 64 * 1024;
    ScriptedResponse response = ScriptedResponse::file(kSeed, kPiece);
    response.holdAfter = 1000;
    m_server->setResponse("/file", response);
    std::vector<std::unique_ptr<TransferReply>> replies;
    std::vector<std::unique_ptr<Recorder>> recorders;
    for (int i = 0; i < kCount; ++i) {
        replies.push_back(getDirectly());
        replies.back()->setReadBufferSize(131072);
        recorders.push_back(std::make_unique<Recorder>(replies.back().get()));
    }
    QVERIFY(m_server->waitForHeld({}, kCount, 3 * ScriptedServer::kPatienceMs));
    QCOMPARE(m_means->budget.running(), kCount);
    QCOMPARE(m_server->openConnections(), kCount);
    m_server->release();
    const QByteArray whole = content(0, kPiece);
    for (const std::unique_ptr<Recorder> &recorder : recorders) {
        QVERIFY(recorder->wait());
        QCOMPARE(recorder->events, Recorder::wholeAnswer());
        QVERIFY(recorder->body == whole);
    }
    QTRY_COMPARE(m_means->budget.running(), 0);
}

void TestTransferReplyEnding::blocksThatWereTakenOutliveEverything()
{
    std::unique_ptr<TransferReply> reply = getDirectly();
    const Recorder recorder(reply.get(), Recorder::Reads::Nothing);
    QVERIFY(recorder.wait());
    std::vector<QByteArray> blocks;
    for (QByteArray block = reply->takeBlock(-1); !block.isEmpty(); block = reply->takeBlock(-1))
        blocks.push_back(block);
    reply.reset();
    m_manager.reset();
    m_loop.reset();
    m_means.reset();
    QByteArray body;
    for (const QByteArray &block : blocks)
        body += block;
    QVERIFY(body == content());
}

QTEST_GUILESS_MAIN(TestTransferReplyEnding)
#include "tst_transferreply_ending.moc"
