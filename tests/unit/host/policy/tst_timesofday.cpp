// SPDX-License-Identifier: MIT
#include <host/policy/ratesofday.h>
#include <host/policy/timesofday.h>

#include <QTest>

#include <ctime>

using namespace Qt::StringLiterals;

/// The machine is in Central Europe: clocks go from 2 to 3 on 29 March 2026, and from 3 back to 2 on 25 October.
class TestTimesOfDay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void windowsAreReadAndWritten_data();
    void windowsAreReadAndWritten();
    void whatIsNoWindowIsRefused_data();
    void whatIsNoWindowIsRefused();
    void aMomentIsInsideOrOutside_data();
    void aMomentIsInsideOrOutside();
    void theNextBeginningIsKnown_data();
    void theNextBeginningIsKnown();
    void anHourThatComesTwiceCountsTwice();
    void anHourThatIsLeftOutDoesNotCome();
    void ratesAreReadAndWritten_data();
    void ratesAreReadAndWritten();
    void whatIsNoRateIsRefused_data();
    void whatIsNoRateIsRefused();
    void theRateIsThatOfTheHour_data();
    void theRateIsThatOfTheHour();

private:
    /// 2026-11-16 is a Monday.
    static QDateTime on(int day, const QString &time)
    {
        return {QDate(2026, 11, day), QTime::fromString(time, u"hh:mm"_s)};
    }
};

void TestTimesOfDay::initTestCase()
{
    // In full, so that no data of time zones is needed.
    qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    tzset();
    QCOMPARE(QDateTime(QDate(2026, 7, 1), QTime(12, 0)).offsetFromUtc(), 7200);
}

void TestTimesOfDay::windowsAreReadAndWritten_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("written");
    const auto row = [](const char *name, const char *text, const char *written) {
        QTest::newRow(name) << QString::fromLatin1(text) << QString::fromLatin1(written);
    };
    row("one", "01:00-07:00", "01:00-07:00");
    row("hours without a zero", "1:00-7:30", "01:00-07:30");
    row("over midnight", "22:00-06:00", "22:00-06:00");
    row("to the end of the day", "18:00-24:00", "18:00-24:00");
    row("several, with blanks", "01:00-02:00, 03:00-04:00", "01:00-02:00,03:00-04:00");
    row("of a day", "sun@08:00-12:00", "sun@08:00-12:00");
    row("of days, in capitals", "Mon-Fri@08:00-12:00", "mon-fri@08:00-12:00");
    row("of days over the end of the week", "sat-mon@08:00-12:00", "sat-mon@08:00-12:00");
    row("of all days", "mon-sun@08:00-12:00", "08:00-12:00");
    row("none", "", "");
}

void TestTimesOfDay::windowsAreReadAndWritten()
{
    QFETCH(QString, text);
    const std::optional<TimesOfDay> times = TimesOfDay::fromText(text);
    QVERIFY(times);
    QTEST(times->toText(), "written");
    QCOMPARE(TimesOfDay::fromText(times->toText()), times);
    QCOMPARE(times->isEmpty(), text.isEmpty());
}

void TestTimesOfDay::whatIsNoWindowIsRefused_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text : {"night", "01:00", "01:00-", "25:00-26:00", "01:60-02:00", "24:00-01:00", "24:01-02:00",
                             "01:00-01:00", "01:00-02:00,", "mo@01:00-02:00", "mon-fri-sun@01:00-02:00", "@01:00-02:00",
                             "01:00-02:00@mon", "01:00-02:00-03:00", "1:0-2:0"})
        QTest::newRow(text) << QString::fromLatin1(text);
}

void TestTimesOfDay::whatIsNoWindowIsRefused()
{
    QFETCH(QString, text);
    QVERIFY(!TimesOfDay::fromText(text));
}

void TestTimesOfDay::aMomentIsInsideOrOutside_data()
{
    QTest::addColumn<QString>("times");
    QTest::addColumn<QDateTime>("moment");
    QTest::addColumn<bool>("isInside");
    const auto row = [](const char *name, const char *times, const QDateTime &moment, bool isInside) {
        QTest::newRow(name) << QString::fromLatin1(times) << moment << isInside;
    };
    row("without any it is always inside", "", on(16, u"12:00"_s), true);
    row("a minute before", "01:00-07:00", on(16, u"00:59"_s), false);
    row("it begins with its first minute", "01:00-07:00", on(16, u"01:00"_s), true);
    row("the last minute", "01:00-07:00", on(16, u"06:59"_s), true);
    row("its end is outside", "01:00-07:00", on(16, u"07:00"_s), false);
    row("in the evening, over midnight", "22:00-06:00", on(16, u"23:00"_s), true);
    row("in the morning, over midnight", "22:00-06:00", on(16, u"05:59"_s), true);
    row("between two nights", "22:00-06:00", on(16, u"06:00"_s), false);
    row("until midnight", "18:00-24:00", on(16, u"23:59"_s), true);
    row("after that midnight", "18:00-24:00", on(16, u"00:00"_s), false);
    row("in the second of two", "01:00-02:00,03:00-04:00", on(16, u"03:30"_s), true);
    row("between two", "01:00-02:00,03:00-04:00", on(16, u"02:30"_s), false);
    row("on its day", "mon@08:00-12:00", on(16, u"09:00"_s), true);
    row("on another day", "tue@08:00-12:00", on(16, u"09:00"_s), false);
    row("the morning after the night that began on its day", "mon@22:00-06:00", on(17, u"05:00"_s), true);
    row("the morning of its day, of a night that began before", "mon@22:00-06:00", on(16, u"05:00"_s), false);
    row("sunday's night on monday", "sun@22:00-06:00", on(16, u"05:00"_s), true);
    row("over the end of the week", "sat-mon@08:00-12:00", on(15, u"09:00"_s), true);
    row("not in its middle", "sat-mon@08:00-12:00", on(18, u"09:00"_s), false);
    row("a moment told in other words", "01:00-07:00", on(16, u"01:00"_s).toUTC(), true);
}

void TestTimesOfDay::aMomentIsInsideOrOutside()
{
    QFETCH(QString, times);
    QFETCH(QDateTime, moment);
    QTEST(TimesOfDay::fromText(times)->contains(moment), "isInside");
}

void TestTimesOfDay::theNextBeginningIsKnown_data()
{
    QTest::addColumn<QString>("times");
    QTest::addColumn<QDateTime>("moment");
    QTest::addColumn<QDateTime>("next");
    const auto row = [](const char *name, const char *times, const QDateTime &moment, const QDateTime &next) {
        QTest::newRow(name) << QString::fromLatin1(times) << moment << next;
    };
    row("later today", "22:00-06:00", on(16, u"12:00"_s), on(16, u"22:00"_s));
    row("tomorrow", "01:00-07:00", on(16, u"12:00"_s), on(17, u"01:00"_s));
    row("the nearer one of two", "20:00-21:00,14:00-15:00", on(16, u"12:00"_s), on(16, u"14:00"_s));
    row("not before its day", "sat@08:00-12:00", on(16, u"12:00"_s), on(21, u"08:00"_s));
    row("a week from now", "mon@08:00-12:00", on(16, u"12:00"_s), on(23, u"08:00"_s));
    row("without any there is none", "", on(16, u"12:00"_s), {});
    row("where clocks are put forward, an hour later", "02:30-05:00", QDateTime(QDate(2026, 3, 29), QTime(1, 0)),
        QDateTime(QDate(2026, 3, 29), QTime(3, 30)));
}

void TestTimesOfDay::theNextBeginningIsKnown()
{
    QFETCH(QString, times);
    QFETCH(QDateTime, moment);
    QTEST(TimesOfDay::fromText(times)->nextBegin(moment), "next");
}

void TestTimesOfDay::anHourThatComesTwiceCountsTwice()
{
    const TimesOfDay times = *TimesOfDay::fromText(u"02:00-03:00"_s);
    const QDateTime first(QDate(2026, 10, 25), QTime(0, 30), Qt::UTC);
    QVERIFY(times.contains(first));
    QVERIFY(times.contains(first.addSecs(3600)));
    QVERIFY(!times.contains(first.addSecs(7200)));
    QVERIFY(!times.contains(first.addSecs(-3600)));
}

void TestTimesOfDay::anHourThatIsLeftOutDoesNotCome()
{
    const TimesOfDay times = *TimesOfDay::fromText(u"02:00-03:00"_s);
    const QDateTime before(QDate(2026, 3, 29), QTime(0, 59), Qt::UTC);
    for (int i = 0; i < 5; ++i)
        QVERIFY(!times.contains(before.addSecs(i * 1800)));
    // One that is longer is as much shorter.
    QVERIFY(TimesOfDay::fromText(u"02:00-05:00"_s)->contains(before.addSecs(60)));
}

void TestTimesOfDay::ratesAreReadAndWritten_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("written");
    const auto row = [](const char *name, const char *text, const char *written) {
        QTest::newRow(name) << QString::fromLatin1(text) << QString::fromLatin1(written);
    };
    row("one for all hours", "500K", "500K");
    row("none", "", "0");
    row("some hours", "500K@08:00-18:00", "500K@08:00-18:00");
    row("the usual one stands first", "500K@08:00-18:00, 2M", "2M,500K@08:00-18:00");
    row("days", "2048@mon-fri@8:00-18:00", "2K@mon-fri@08:00-18:00");
    row("no limit at some hours", "1M,0@01:00-07:00", "1M,0@01:00-07:00");
}

void TestTimesOfDay::ratesAreReadAndWritten()
{
    QFETCH(QString, text);
    const std::optional<RatesOfDay> rates = RatesOfDay::fromText(text);
    QVERIFY(rates);
    QTEST(rates->toText(), "written");
    QCOMPARE(RatesOfDay::fromText(rates->toText()), rates);
}

void TestTimesOfDay::whatIsNoRateIsRefused_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text :
         {"fast", "-1", "500K@", "500K@noon", "1M,2M", "500K@08:00", "x@08:00-18:00", "500K@01:00-02:00@mon"})
        QTest::newRow(text) << QString::fromLatin1(text);
}

void TestTimesOfDay::whatIsNoRateIsRefused()
{
    QFETCH(QString, text);
    QVERIFY(!RatesOfDay::fromText(text));
}

void TestTimesOfDay::theRateIsThatOfTheHour_data()
{
    QTest::addColumn<QString>("rates");
    QTest::addColumn<QDateTime>("moment");
    QTest::addColumn<qint64>("rate");
    const auto row = [](const char *name, const char *rates, const QDateTime &moment, qint64 rate) {
        QTest::newRow(name) << QString::fromLatin1(rates) << moment << rate;
    };
    row("the usual one", "2M,500K@08:00-18:00", on(16, u"07:59"_s), 2 * 1024 * 1024);
    row("that of the hour", "2M,500K@08:00-18:00", on(16, u"08:00"_s), 500 * 1024);
    row("none outside where there is no usual one", "500K@08:00-18:00", on(16, u"20:00"_s), 0);
    row("none at all at an hour", "1M,0@01:00-07:00", on(16, u"03:00"_s), 0);
    row("the first of two", "100K@12:00-13:00,500K@08:00-18:00", on(16, u"12:30"_s), 100 * 1024);
    row("days count", "500K@sat-sun@08:00-18:00", on(16, u"12:30"_s), 0);
}

void TestTimesOfDay::theRateIsThatOfTheHour()
{
    QFETCH(QString, rates);
    QFETCH(QDateTime, moment);
    QTEST(RatesOfDay::fromText(rates)->at(moment), "rate");
}

QTEST_GUILESS_MAIN(TestTimesOfDay)
#include "tst_timesofday.moc"
