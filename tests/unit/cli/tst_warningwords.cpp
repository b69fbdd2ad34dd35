// SPDX-License-Identifier: MIT
#include <cli/warningwords.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestWarningWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anAttemptIsSaidWithItsAddressWhatHappenedAndWhatComes_data();
    void anAttemptIsSaidWithItsAddressWhatHappenedAndWhatComes();
    void aFailureIsSaidAsEverywhere();
    void hoursAreSaidByTheClock();
};

void TestWarningWords::anAttemptIsSaidWithItsAddressWhatHappenedAndWhatComes_data()
{
    using Kind = Failure::Kind;
    using Next = Warning::Next;
    QTest::addColumn<Warning>("warning");
    QTest::addColumn<QString>("words");
    Failure::Subject subject;
    subject.url = QUrl(u"http://a/f"_s);
    const auto row = [&](const char *name, const Failure &failure, Next next, qint64 ms, const QString &words) {
        QTest::newRow(name) << Warning{Warning::Kind::Retrying, failure, next, 2, ms, {}} << words;
    };
    const Failure busy = Failure::make(Kind::ServerOverloaded, subject, u"Service Unavailable"_s, 503);
    row("a status, in whole seconds", busy, Next::Again, 2600, u"http://a/f: HTTP status 503; trying again in 3 s"_s);
    row("less than a second is no time", busy, Next::Again, 999, u"http://a/f: HTTP status 503; trying again"_s);
    row("another address", Failure::make(Kind::NotFound, subject, {}, 404), Next::OtherAddress, 0,
        u"http://a/f: HTTP status 404; trying another address"_s);
    row("a process that may have died", Failure::make(Kind::OwnedByOther, subject, {}, 12), Next::Again, 44000,
        u"http://a/f: process 12, which cannot be seen from here, is at work on it, or has died; trying again in 44 s"_s);
    row("another file", Failure::make(Kind::ResourceChanged, subject), Next::FromTheBeginning, 5000,
        u"http://a/f: another file; fetching it from the beginning in 5 s"_s);
    row("no rest of a file", Failure::make(Kind::CannotResume, subject), Next::OtherAddress, 0,
        u"http://a/f: does not send the rest of a file alone; trying another address"_s);
    row("a number of the system is no status",
        Failure::make(Kind::NetworkFailed, subject, u"Connection refused"_s, 111), Next::Again, 1000,
        u"http://a/f: Connection refused; trying again in 1 s"_s);
    row("silence, of which nobody says more", Failure::make(Kind::TimedOut, subject), Next::Again, 2000,
        u"http://a/f: it sent nothing for too long; trying again in 2 s"_s);
    row("nobody said why", Failure::make(Kind::Unknown, subject), Next::Again, 0,
        u"http://a/f: it failed without a reason; trying again"_s);
}

void TestWarningWords::anAttemptIsSaidWithItsAddressWhatHappenedAndWhatComes()
{
    QFETCH(Warning, warning);
    QTEST(WarningWords::sentence(7, warning), "words");
}

void TestWarningWords::aFailureIsSaidAsEverywhere()
{
    Failure::Subject subject;
    subject.title = u"x.iso"_s;
    QCOMPARE(WarningWords::sentence(7, {.failure = Failure::make(Failure::Kind::Skipped, subject)}),
             u"\"x.iso\" is there already; skipped"_s);
}

void TestWarningWords::hoursAreSaidByTheClock()
{
    Warning warning{
        .kind = Warning::Kind::OutOfHours, .inMs = 3600'000, .until = QDateTime(QDate(2026, 11, 21), QTime(1, 5))};
    QCOMPARE(WarningWords::sentence(0, warning),
             u"it is not the hour that --schedule names: downloads wait until 01:05"_s);
    warning.inMs = 2 * 3600'000;
    QCOMPARE(WarningWords::sentence(0, warning),
             u"it is not the hour that --schedule names: downloads wait until 01:05 tomorrow"_s);
    warning.inMs = 24 * 3600'000;
    QCOMPARE(WarningWords::sentence(0, warning),
             u"it is not the hour that --schedule names: downloads wait until 01:05 on Saturday"_s);
}

QTEST_GUILESS_MAIN(TestWarningWords)
#include "tst_warningwords.moc"
