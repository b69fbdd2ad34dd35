// SPDX-License-Identifier: MIT
#include <host/network/networkaccesschief.h>
#include <host/network/smallfetch.h>
#include <host/network/transfermanager.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testca.h>

#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto kGate = "gate"_L1;
constexpr qint64 kRoom = 100;
constexpr int kRetryNow = 3;

}

/// A piece, or a list, that something beside a download needs: once, whole or cut where it says so, or with the reason.
class TestSmallFetch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void theAnswerComesOnceAndNotFromInside();
    void moreThanThereIsRoomForIsCutAndSaysSo();
    void whatJustFitsIsNotCut();
    void ofAPieceOnlyItsBytesAreAskedFor();
    void whereItCameFromIsTheLastOfItsRedirects();
    void ofRedirectsOnlyAsManyAreFollowedAsOfADownload_data();
    void ofRedirectsOnlyAsManyAreFollowedAsOfADownload();
    void aRefusalIsAnAnswerWithItsStatus();
    void whatMayPassIsAskedAgainAsOftenAsIsSaid();
    void whatStaysIsAskedOnce();
    void whoAsksForTooLongARestIsNotAskedAgain();
    void theNextIsBegunByWhoHearsOfTheLast();
    void whoIsSilentIsGivenUp();
    void whatIsDroppedEndsItsConnectionAndTellsNothing();
    void anUnknownCertificateIsTakenOnlyWhereItIsSaid_data();
    void anUnknownCertificateIsTakenOnlyWhereItIsSaid();

private:
    void make(const SmallFetch::Patience &patience = {});
    SmallFetch::Asked asked(const QString &path) const;
    SmallFetch::Answer answerTo(const SmallFetch::Asked &asked);

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<NetworkAccessChief> m_chief;
    std::unique_ptr<SmallFetch> m_fetch;
    std::unique_ptr<QSignalSpy> m_done;
    std::unique_ptr<QSignalSpy> m_retrying;
};

void TestSmallFetch::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_chief = std::make_unique<NetworkAccessChief>();
    make();
}

void TestSmallFetch::cleanup()
{
    m_fetch.reset();
    m_chief.reset();
    m_server.reset();
}

void TestSmallFetch::make(const SmallFetch::Patience &patience)
{
    m_fetch = std::make_unique<SmallFetch>(m_chief->takeManager({}), patience);
    m_done = std::make_unique<QSignalSpy>(m_fetch.get(), &SmallFetch::done);
    m_retrying = std::make_unique<QSignalSpy>(m_fetch.get(), &SmallFetch::retrying);
}

SmallFetch::Asked TestSmallFetch::asked(const QString &path) const
{
    SmallFetch::Asked asked;
    asked.url = m_server->url(path);
    asked.most = kRoom;
    return asked;
}

SmallFetch::Answer TestSmallFetch::answerTo(const SmallFetch::Asked &asked)
{
    m_fetch->begin(asked);
    const bool came = QTest::qWaitFor([this] { return !m_done->isEmpty(); }, ScriptedServer::kPatienceMs);
    return came ? m_done->constFirst().constFirst().value<SmallFetch::Answer>() : SmallFetch::Answer();
}

void TestSmallFetch::theAnswerComesOnceAndNotFromInside()
{
    m_server->setResponse("/list", ScriptedResponse::ok("sum  file").withHeader("X-Kind", "sums"));
    m_fetch->begin(asked(u"/list"_s));
    QVERIFY(m_done->isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(m_done->size(), 1, ScriptedServer::kPatienceMs);
    const auto answer = m_done->constFirst().constFirst().value<SmallFetch::Answer>();
    QVERIFY(!answer.error);
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.bytes, QByteArray("sum  file"));
    QCOMPARE(answer.field("x-kind"), QByteArray("sums"));
    QVERIFY(!answer.isCut);
    QVERIFY(m_server->waitForRequests(1));
    QCOMPARE(m_done->size(), 1);
}

void TestSmallFetch::moreThanThereIsRoomForIsCutAndSaysSo()
{
    ScriptedResponse endless = ScriptedResponse::ok(QByteArray(kRoom + 1, 'x'));
    endless.framing = ScriptedResponse::Framing::CloseDelimited;
    m_server->setResponse("/list", endless);
    const SmallFetch::Answer answer = answerTo(asked(u"/list"_s));
    QVERIFY(!answer.error);
    QVERIFY(answer.isCut);
    QCOMPARE(answer.bytes, QByteArray(kRoom, 'x'));
}

void TestSmallFetch::whatJustFitsIsNotCut()
{
    m_server->setResponse("/list", ScriptedResponse::ok(QByteArray(kRoom, 'x')));
    const SmallFetch::Answer answer = answerTo(asked(u"/list"_s));
    QVERIFY(!answer.isCut);
    QCOMPARE(answer.bytes.size(), kRoom);
}

void TestSmallFetch::ofAPieceOnlyItsBytesAreAskedFor()
{
    ScriptedResponse file = ScriptedResponse::ok("0123456789");
    file.honoursRanges = true;
    m_server->setResponse("/file", file);
    SmallFetch::Asked piece = asked(u"/file"_s);
    piece.first = 3;
    piece.most = 4;
    piece.headers = {{"Accept", "text/plain"}};
    const SmallFetch::Answer answer = answerTo(piece);
    QCOMPARE(answer.status, 206);
    QCOMPARE(answer.bytes, QByteArray("3456"));
    QCOMPARE(m_server->requests().constFirst().header("Range"), QByteArray("bytes=3-6"));
    QCOMPARE(m_server->requests().constFirst().header("Accept"), QByteArray("text/plain"));
}

void TestSmallFetch::whereItCameFromIsTheLastOfItsRedirects()
{
    m_server->addRedirectChain("/hop", 2, "/list");
    m_server->setResponse("/list", ScriptedResponse::ok("here"));
    const SmallFetch::Answer answer = answerTo(asked(u"/hop/2"_s));
    QCOMPARE(answer.bytes, QByteArray("here"));
    QCOMPARE(answer.url, m_server->url(u"/list"_s));
    QCOMPARE(answer.redirects, 2);
}

void TestSmallFetch::ofRedirectsOnlyAsManyAreFollowedAsOfADownload_data()
{
    QTest::addColumn<int>("hops");
    QTest::addColumn<bool>("isFollowed");
    QTest::newRow("the last that is followed") << SmallFetch::kMostRedirects << true;
    QTest::newRow("one that is not") << SmallFetch::kMostRedirects + 1 << false;
}

void TestSmallFetch::ofRedirectsOnlyAsManyAreFollowedAsOfADownload()
{
    QFETCH(int, hops);
    QFETCH(bool, isFollowed);
    m_server->addRedirectChain("/hop", hops, "/list");
    m_server->setResponse("/list", ScriptedResponse::ok("here"));
    const SmallFetch::Answer answer = answerTo(asked(u"/hop/%1"_s.arg(hops)));
    QCOMPARE(answer.bytes, isFollowed ? QByteArray("here") : QByteArray());
    QCOMPARE(bool(answer.error), !isFollowed);
}

void TestSmallFetch::aRefusalIsAnAnswerWithItsStatus()
{
    m_server->setResponse("/list", ScriptedResponse::error(403));
    const SmallFetch::Answer answer = answerTo(asked(u"/list"_s));
    QVERIFY(answer.error);
    QCOMPARE(answer.status, 403);
    QVERIFY(m_retrying->isEmpty());
}

void TestSmallFetch::whatMayPassIsAskedAgainAsOftenAsIsSaid()
{
    make({kRetryNow, 0});
    m_server->setResponse("/list", ScriptedResponse::error(503));
    const SmallFetch::Answer answer = answerTo(asked(u"/list"_s));
    QCOMPARE(answer.status, 503);
    QCOMPARE(m_server->requests("/list").size(), kRetryNow);
    QCOMPARE(m_retrying->size(), kRetryNow - 1);
    QCOMPARE(m_retrying->constFirst().at(1).toInt(), 2);
}

void TestSmallFetch::whatStaysIsAskedOnce()
{
    make({kRetryNow, 0});
    m_server->setResponse("/list", ScriptedResponse::error(404));
    QCOMPARE(answerTo(asked(u"/list"_s)).status, 404);
    QCOMPARE(m_server->requests("/list").size(), 1);
}

void TestSmallFetch::whoAsksForTooLongARestIsNotAskedAgain()
{
    make({kRetryNow, 0});
    m_server->setResponse("/list", ScriptedResponse::error(503).withHeader("Retry-After", "86400"));
    QCOMPARE(answerTo(asked(u"/list"_s)).status, 503);
    QCOMPARE(m_server->requests("/list").size(), 1);
}

void TestSmallFetch::theNextIsBegunByWhoHearsOfTheLast()
{
    m_server->setResponse("/first", ScriptedResponse::ok("1"));
    m_server->setResponse("/second", ScriptedResponse::ok("2"));
    QByteArray all;
    connect(m_fetch.get(), &SmallFetch::done, this, [&](const SmallFetch::Answer &answer) {
        all += answer.bytes;
        if (answer.bytes == "1")
            m_fetch->begin(asked(u"/second"_s));
    });
    m_fetch->begin(asked(u"/first"_s));
    QTRY_COMPARE_WITH_TIMEOUT(all, QByteArray("12"), ScriptedServer::kPatienceMs);
}

/// Half a minute is reached by its timer.
void TestSmallFetch::whoIsSilentIsGivenUp()
{
    ScriptedResponse silent = ScriptedResponse::ok("never said");
    silent.headGate = kGate;
    m_server->setResponse("/list", silent);
    m_fetch->begin(asked(u"/list"_s));
    QVERIFY(m_server->waitForHeld(kGate));
    const QList<QTimer *> timers = m_fetch->findChildren<QTimer *>();
    const auto silence = std::find_if(timers.cbegin(), timers.cend(),
                                      [](const QTimer *timer) { return timer->interval() == SmallFetch::kPatienceMs; });
    QVERIFY(silence != timers.cend());
    QVERIFY((*silence)->isActive());
    (*silence)->start(0);
    QTRY_COMPARE_WITH_TIMEOUT(m_done->size(), 1, ScriptedServer::kPatienceMs);
    QCOMPARE(m_done->constFirst().constFirst().value<SmallFetch::Answer>().error.code,
             int(QNetworkReply::TimeoutError));
}

void TestSmallFetch::whatIsDroppedEndsItsConnectionAndTellsNothing()
{
    ScriptedResponse held = ScriptedResponse::ok("0123456789");
    held.holdAfter = 5;
    held.holdGate = kGate;
    m_server->setResponse("/list", held);
    m_fetch->begin(asked(u"/list"_s));
    QVERIFY(m_server->waitForHeld(kGate));
    bool isTold = false;
    connect(m_fetch.get(), &SmallFetch::done, this, [&isTold] { isTold = true; });
    m_done.reset();
    m_retrying.reset();
    m_fetch.reset();
    QVERIFY(m_server->waitForNoConnections());
    QCoreApplication::processEvents();
    QVERIFY(!isTold);
}

void TestSmallFetch::anUnknownCertificateIsTakenOnlyWhereItIsSaid_data()
{
    QTest::addColumn<bool>("trustsAll");
    QTest::newRow("said") << true;
    QTest::newRow("not said") << false;
}

void TestSmallFetch::anUnknownCertificateIsTakenOnlyWhereItIsSaid()
{
    QFETCH(bool, trustsAll);
    const TestCa authority;
    m_server = std::make_unique<ScriptedServer>(authority.serverConfiguration());
    m_server->setResponse("/list", ScriptedResponse::ok("here"));
    SmallFetch::Asked secret = asked(u"/list"_s);
    secret.trustsAll = trustsAll;
    const SmallFetch::Answer answer = answerTo(secret);
    QCOMPARE(answer.bytes, trustsAll ? QByteArray("here") : QByteArray());
    QCOMPARE(bool(answer.error), !trustsAll);
}

QTEST_GUILESS_MAIN(TestSmallFetch)
#include "tst_smallfetch.moc"
