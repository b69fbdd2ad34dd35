// SPDX-License-Identifier: MIT
#include <host/network/requestgate.h>
#include <host/network/resourceguard.h>
#include <tests/unit/host/network/transferbench.h>

#include <QCoreApplication>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kHalf = 150 * 1024;

/// Of the rest of the file.
QByteArray headOfRest(const QByteArray &framing)
{
    return "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 153600-307199/307200\r\n" + framing + "\r\n";
}

/// Not one more than it was asked before has to wait.
constexpr int kAsks = 6;

}

/// Answers that bring nothing, and who has to wait for them.
class TestTransferReplyNothing : public TransferBench
{
    Q_OBJECT

private Q_SLOTS:
    void anAnswerWithTheRestIsToldWithItsFirstByte();
    void anAnswerWithoutTheRestIsAnError_data();
    void anAnswerWithoutTheRestIsAnError();
    void theWholeWithoutAByteIsAnErrorWhereBytesAreHeld();
    void aLookTakesAnEmptyAnswer();
    void anEmptyFileIsAsSureAsItsFraming_data();
    void anEmptyFileIsAsSureAsItsFraming();
    void whoBringsNothingIsAskedLater_data();
    void whoBringsNothingIsAskedLater();
    void aRequestThatWaitsIsNotSentAndMayBeAborted();
    void aRequestThatWaitedIsSentInTheEnd();
    void aRequestThatWouldWaitForTooLongIsAnError();

private:
    Reply ask(ResourceGuard::Task task, bool holdsBytes, const QByteArray &path = "/file",
              const QByteArray &range = {});
    bool hasToWait() const;

    std::shared_ptr<ResourceGuard> m_guard;
    std::unique_ptr<TransferManager> m_guarded;
};

TransferBench::Reply TestTransferReplyNothing::ask(ResourceGuard::Task task, bool holdsBytes, const QByteArray &path,
                                                   const QByteArray &range)
{
    m_guard = std::make_shared<ResourceGuard>(task);
    m_guard->setMemory({}, holdsBytes);
    m_guarded = std::make_unique<TransferManager>(m_hub, m_guard);
    return Reply(m_guarded->get(request(path, range)));
}

/// Whether the second of two requests would.
bool TestTransferReplyNothing::hasToWait() const
{
    const qint64 now = m_hub->gate()->now();
    m_hub->gate()->begin(m_server->url(u"/file"_s), now);
    return m_hub->gate()->begin(m_server->url(u"/file"_s), now) > 0;
}

void TestTransferReplyNothing::anAnswerWithTheRestIsToldWithItsFirstByte()
{
    holdFileAfter(0);
    const Reply reply = ask(ResourceGuard::Task::Download, true, "/file", "bytes=153600-");
    const Recorder recorder(reply.get());
    const Reply other = get();
    const Recorder heads(other.get());
    QVERIFY(m_server->waitForHeld(QString(), 2));
    QVERIFY(QTest::qWaitFor([&heads] { return heads.events.contains(u"head"_s); }));
    QCOMPARE(recorder.events, QStringList());
    m_server->release();
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::wholeAnswer());
    QCOMPARE(statusOf(*reply), 206);
    QCOMPARE(recorder.body, content(kHalf));
}

void TestTransferReplyNothing::anAnswerWithoutTheRestIsAnError_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<Error>("error");
    QTest::newRow("closed at once") << headOfRest("Connection: close\r\n") << Error::RemoteHostClosedError;
    QTest::newRow("no chunk") << headOfRest("Transfer-Encoding: chunked\r\n") + "0\r\n\r\n"
                              << Error::UnknownServerError;
    QTest::newRow("cut before its first byte")
        << headOfRest("Content-Length: 153600\r\n") << Error::RemoteHostClosedError;
}

void TestTransferReplyNothing::anAnswerWithoutTheRestIsAnError()
{
    QFETCH(QByteArray, answer);
    QFETCH(Error, error);
    m_server->setResponse("/file", ScriptedResponse::garbage(answer));
    const Reply reply = ask(ResourceGuard::Task::Download, true, "/file", "bytes=153600-");
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::failureWith(error));
    QVERIFY2(error != Error::UnknownServerError || reply->errorString() == "The server answered with nothing new."_L1,
             qPrintable(reply->errorString()));
}

void TestTransferReplyNothing::theWholeWithoutAByteIsAnErrorWhereBytesAreHeld()
{
    m_server->setResponse("/file", ScriptedResponse::ok({}));
    const Reply reply = ask(ResourceGuard::Task::Download, true);
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::failureWith(Error::UnknownServerError));
}

void TestTransferReplyNothing::aLookTakesAnEmptyAnswer()
{
    m_server->setResponse("/file", ScriptedResponse::ok({}));
    const Reply reply = ask(ResourceGuard::Task::Look, true);
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, (QStringList{u"head"_s, u"channel"_s, u"finished"_s}));
}

void TestTransferReplyNothing::anEmptyFileIsAsSureAsItsFraming_data()
{
    QTest::addColumn<QByteArray>("framing");
    QTest::addColumn<bool>("isSure");
    QTest::newRow("of length 0") << QByteArray("Content-Length: 0\r\n\r\n") << true;
    QTest::newRow("the last chunk alone") << QByteArray("Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n") << true;
    QTest::newRow("to the end of the connection") << QByteArray("Connection: close\r\n\r\n") << false;
}

void TestTransferReplyNothing::anEmptyFileIsAsSureAsItsFraming()
{
    QFETCH(QByteArray, framing);
    QFETCH(bool, isSure);
    m_server->setResponse("/file", ScriptedResponse::garbage("HTTP/1.1 200 OK\r\n" + framing));
    const Reply reply = ask(ResourceGuard::Task::Download, false);
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, (QStringList{u"head"_s, u"channel"_s, u"finished"_s}));
    const Evidence evidence = m_guard->memory().evidence;
    QCOMPARE(evidence.answers, 1);
    QCOMPARE(evidence.assurance(false), isSure ? Assurance::Consistent : Assurance::Unproven);
    QCOMPARE(evidence.reason(), isSure ? Evidence::Doubt::None : Evidence::Doubt::NoLength);
}

void TestTransferReplyNothing::whoBringsNothingIsAskedLater_data()
{
    QTest::addColumn<ScriptedResponse>("response");
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<bool>("holdsBytes");
    QTest::addColumn<bool>("waits");
    const QByteArray whole;
    const auto cut = [](qint64 size) {
        ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
        response.cutAfter = size;
        return response;
    };
    QTest::newRow("nothing where bytes are held") << ScriptedResponse::ok({}) << whole << true << true;
    QTest::newRow("cut before the first byte") << cut(0) << whole << false << true;
    QTest::newRow("cut after a few") << cut(1024) << whole << false << true;
    QTest::newRow("cut after many") << cut(kHalf) << whole << false << false;
    const auto part = [](const QByteArray &range) {
        return ScriptedResponse::garbage("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + range
                                         + "\r\nContent-Length: 1\r\n\r\nx");
    };
    QTest::newRow("sound, and a byte of many") << part("0-0/3000") << QByteArray("bytes=0-") << false << true;
    QTest::newRow("sound, and of a file without a known end")
        << part("0-0/*") << QByteArray("bytes=0-") << false << true;
    QTest::newRow("the last byte of many") << part("2999-2999/3000") << QByteArray("bytes=2999-") << false << false;
    QTest::newRow("a small file that ends with its connection")
        << ScriptedResponse::garbage("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\nx") << whole << false << true;
    QTest::newRow("a small file in chunks")
        << ScriptedResponse::garbage("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\n\r\n")
        << whole << false << false;
    QTest::newRow("a small file") << ScriptedResponse::ok("x") << whole << false << false;
    QTest::newRow("an empty file") << ScriptedResponse::ok({}) << whole << false << false;
    QTest::newRow("no such file") << ScriptedResponse::error(404) << whole << false << false;
    QTest::newRow("an overloaded server") << ScriptedResponse::error(503) << whole << false << false;
    QTest::newRow("a redirect") << ScriptedResponse::redirect("/other") << whole << false << false;
    QTest::newRow("no answer at all") << ScriptedResponse::noAnswer() << whole << false << false;
}

void TestTransferReplyNothing::whoBringsNothingIsAskedLater()
{
    QFETCH(ScriptedResponse, response);
    QFETCH(QByteArray, range);
    QFETCH(bool, holdsBytes);
    QFETCH(bool, waits);
    m_server->setResponse("/file", response);
    for (int i = 0; i < kAsks && !(waits && hasToWait()); ++i) {
        const Reply reply = ask(ResourceGuard::Task::Download, holdsBytes, "/file", range);
        const Recorder recorder(reply.get());
        QVERIFY(recorder.wait());
    }
    QCOMPARE(hasToWait(), waits);
}

void TestTransferReplyNothing::aRequestThatWaitsIsNotSentAndMayBeAborted()
{
    const QUrl url = m_server->url(u"/file"_s);
    for (int i = 0; i < 20; ++i)
        m_hub->gate()->note(url, RequestPace::Outcome::Nothing);
    QVERIFY(hasToWait());
    const Reply reply = ask(ResourceGuard::Task::Download, false);
    const Recorder recorder(reply.get());
    // What was asked for later, and waits for nobody, comes first.
    m_server->setResponse("/other", ScriptedResponse::ok("x"));
    const Reply other = get("/other");
    const Recorder otherRecorder(other.get());
    QVERIFY(otherRecorder.wait());
    QCOMPARE(recorder.events, QStringList());
    QVERIFY(m_server->requests("/file").isEmpty());
    reply->abort();
    QCOMPARE(recorder.events, Recorder::failureWith(Error::OperationCanceledError));
}

void TestTransferReplyNothing::aRequestThatWaitedIsSentInTheEnd()
{
    const QUrl url = m_server->url(u"/file"_s);
    for (int i = 0; i <= RequestPace::kFree; ++i)
        m_hub->gate()->note(url, RequestPace::Outcome::Nothing);
    QVERIFY(hasToWait());
    const Reply reply = ask(ResourceGuard::Task::Download, false);
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::wholeAnswer());
    QCOMPARE(recorder.body, content());
    QVERIFY(!hasToWait());
}

void TestTransferReplyNothing::aRequestThatWouldWaitForTooLongIsAnError()
{
    qint64 now = 0;
    const QUrl url = m_server->url(u"/file"_s);
    m_hub->gate()->setClock([&now] { return now; });
    for (int i = 0; i <= RequestPace::kFree; ++i)
        m_hub->gate()->note(url, RequestPace::Outcome::Nothing);
    QVERIFY(hasToWait());
    const Reply reply = ask(ResourceGuard::Task::Download, false);
    const Recorder recorder(reply.get());
    // All that time others were first.
    now = RequestPace::kPatienceMs;
    for (int i = 0; i <= RequestPace::kFree; ++i)
        m_hub->gate()->note(url, RequestPace::Outcome::Nothing);
    QVERIFY(hasToWait());
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, Recorder::failureWith(Error::UnknownServerError));
    QVERIFY2(reply->errorString().contains(u"too many requests wait"_s), qPrintable(reply->errorString()));
    QVERIFY(m_server->requests("/file").isEmpty());
}

QTEST_GUILESS_MAIN(TestTransferReplyNothing)
#include "tst_transferreply_nothing.moc"
