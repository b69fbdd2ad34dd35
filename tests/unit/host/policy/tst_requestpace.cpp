// SPDX-License-Identifier: MIT
#include <host/policy/requestpace.h>

#include <QTest>

using namespace Qt::StringLiterals;
using Outcome = RequestPace::Outcome;
using Outcomes = QList<Outcome>;

namespace
{

const QtHostAndPort kServer{QStringLiteral("a"), 80};

Outcomes times(int count, Outcome outcome)
{
    return Outcomes(count, outcome);
}

}

class TestRequestPace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whoBringsNothingIsAskedMoreAndMoreSeldom_data();
    void whoBringsNothingIsAskedMoreAndMoreSeldom();
    void theTimeSinceTheLastRequestCounts();
    void ofSeveralThatWaitOneGoesAtATime();
    void eachServerAndPortHasItsOwn();
    void aServerThatBringsNothingIsAskedSeldomInTenSeconds();
    void theSteadyPaceIsNoStorm();
    void ofManyThatWaitForOneServerSomeWaitForTooLong();
    void whatWasLongAgoIsForgotten();
    void aServerThatGoesOnBringingNothingIsNotForgotten();
};

void TestRequestPace::whoBringsNothingIsAskedMoreAndMoreSeldom_data()
{
    QTest::addColumn<Outcomes>("outcomes");
    QTest::addColumn<qint64>("wait");
    const auto row = [](const char *name, const Outcomes &outcomes, qint64 wait) {
        QTest::newRow(name) << outcomes << wait;
    };
    const Outcomes enough{Outcome::Enough};
    const Outcomes little{Outcome::Little};
    row("a server that is new", {}, 0);
    row("a sound one", enough, 0);
    row("three times nothing", times(3, Outcome::Nothing), 0);
    row("four times", times(4, Outcome::Nothing), 250);
    row("five times", times(5, Outcome::Nothing), 500);
    row("eight times", times(8, Outcome::Nothing), 4000);
    row("nine times", times(9, Outcome::Nothing), 5000);
    row("a thousand times", times(1000, Outcome::Nothing), 5000);
    row("and then enough", times(9, Outcome::Nothing) + enough, 0);
    row("and then a little", times(9, Outcome::Nothing) + little, 0);
    row("three times a little", times(3, Outcome::Little), 0);
    row("four times", times(4, Outcome::Little), 125);
    row("a thousand times", times(1000, Outcome::Little), 125);
    row("a little, and enough at last", times(1000, Outcome::Little) + enough, 0);
    row("a little each time, and then nothing", times(1000, Outcome::Little) + times(3, Outcome::Nothing), 125);
    row("and nothing again", times(1000, Outcome::Little) + times(4, Outcome::Nothing), 250);
}

void TestRequestPace::whoBringsNothingIsAskedMoreAndMoreSeldom()
{
    constexpr qint64 kNow = 1000;
    QFETCH(Outcomes, outcomes);
    RequestPace pace;
    for (const Outcome outcome : outcomes)
        pace.note(kServer, outcome, kNow);
    QCOMPARE(pace.begin(kServer, kNow, kNow), 0); // nobody knows when the last one was
    QTEST(pace.begin(kServer, kNow, kNow), "wait");
}

void TestRequestPace::theTimeSinceTheLastRequestCounts()
{
    RequestPace pace;
    for (int i = 0; i < 6; ++i)
        pace.note(kServer, Outcome::Nothing, 0);
    QCOMPARE(pace.begin(kServer, 0, 0), 0);
    QCOMPARE(pace.begin(kServer, 300, 300), 700);
    QCOMPARE(pace.begin(kServer, 1000, 1000), 0);
    QCOMPARE(pace.begin(kServer, 5000, 5000), 0);
}

void TestRequestPace::ofSeveralThatWaitOneGoesAtATime()
{
    RequestPace pace;
    for (int i = 0; i < 4; ++i)
        pace.note(kServer, Outcome::Nothing, 0);
    QCOMPARE(pace.begin(kServer, 0, 0), 0);
    QCOMPARE(pace.begin(kServer, 0, 0), 250);
    QCOMPARE(pace.begin(kServer, 0, 0), 250);
    QCOMPARE(pace.begin(kServer, 250, 250), 0);
    QCOMPARE(pace.begin(kServer, 250, 250), 250);
}

void TestRequestPace::eachServerAndPortHasItsOwn()
{
    RequestPace pace;
    for (int i = 0; i < 4; ++i)
        pace.note(kServer, Outcome::Nothing, 0);
    QCOMPARE(pace.begin(kServer, 0, 0), 0);
    QCOMPARE(pace.begin(kServer, 0, 0), 250);
    for (const QtHostAndPort &other : {QtHostAndPort{u"a"_s, 81}, QtHostAndPort{u"b"_s, 80}}) {
        QCOMPARE(pace.begin(other, 0, 0), 0);
        QCOMPARE(pace.begin(other, 0, 0), 0);
    }
}

void TestRequestPace::aServerThatBringsNothingIsAskedSeldomInTenSeconds()
{
    RequestPace pace;
    int requests = 0;
    // Who asks again at once has the answer at once.
    for (qint64 now = 0; now < 10'000; ++now) {
        if (pace.begin(kServer, now, now) != 0)
            continue;
        ++requests;
        pace.note(kServer, Outcome::Nothing, now);
    }
    QVERIFY2(requests > RequestPace::kFree && requests <= 20, QByteArray::number(requests));
}

void TestRequestPace::theSteadyPaceIsNoStorm()
{
    constexpr qint64 kPeriodMs = 6000; // the watchdog looks once a second
    constexpr int kStorm = 60;
    RequestPace pace;
    int requests = 0;
    for (qint64 now = 0; now < kPeriodMs; ++now) {
        if (pace.begin(kServer, now, now) != 0)
            continue;
        ++requests;
        pace.note(kServer, Outcome::Little, now);
    }
    QVERIFY2(requests > 35 && requests < kStorm, QByteArray::number(requests));
}

void TestRequestPace::ofManyThatWaitForOneServerSomeWaitForTooLong()
{
    constexpr int kWaiting = 30;
    RequestPace pace;
    for (int i = 0; i < 20; ++i)
        pace.note(kServer, Outcome::Nothing, 0);
    QCOMPARE(pace.begin(kServer, 0, 0), 0);
    int sent = 0;
    int ended = 0;
    for (qint64 now = 0; now <= RequestPace::kPatienceMs; ++now) {
        for (int i = sent + ended; i < kWaiting; ++i) {
            const qint64 wait = pace.begin(kServer, now, 0);
            if (wait == RequestPace::kTooLong)
                ++ended;
            if (wait != 0)
                continue;
            ++sent;
            pace.note(kServer, Outcome::Nothing, now);
        }
    }
    QCOMPARE(sent, int(RequestPace::kPatienceMs / RequestPace::kLongestWaitMs));
    QCOMPARE(ended, kWaiting - sent);
}

void TestRequestPace::whatWasLongAgoIsForgotten()
{
    for (const Outcome outcome : {Outcome::Nothing, Outcome::Little}) {
        RequestPace pace;
        for (int i = 0; i < 20; ++i)
            pace.note(kServer, outcome, 1000);
        const qint64 last = 1000 + RequestPace::kMemoryMs - 1;
        QCOMPARE(pace.begin(kServer, last, last), 0);
        QVERIFY(pace.begin(kServer, last, last) > 0);
        QCOMPARE(pace.begin(kServer, last + 1, last + 1), 0);
        pace.note(kServer, outcome, last + 1);
        QCOMPARE(pace.begin(kServer, last + 2, last + 2), 0);
        QCOMPARE(pace.begin(kServer, last + 2, last + 2), 0);
    }
}

void TestRequestPace::aServerThatGoesOnBringingNothingIsNotForgotten()
{
    RequestPace pace;
    for (qint64 now = 0; now <= 10 * RequestPace::kMemoryMs; now += RequestPace::kMemoryMs / 2)
        pace.note(kServer, Outcome::Nothing, now);
    const qint64 last = 10 * RequestPace::kMemoryMs;
    QCOMPARE(pace.begin(kServer, last, last), 0);
    QCOMPARE(pace.begin(kServer, last, last), RequestPace::kLongestWaitMs);
}

QTEST_GUILESS_MAIN(TestRequestPace)
#include "tst_requestpace.moc"
