// SPDX-License-Identifier: MIT
#include <host/parsing/httpdate.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

QDateTime utc(int year, int month, int day, int hour, int minute, int second)
{
    return {QDate(year, month, day), QTime(hour, minute, second), Qt::UTC};
}

}

class TestHttpDate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void datesAreRead_data();
    void datesAreRead();
    void whatIsWrittenIsReadAgain();
};

void TestHttpDate::datesAreRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDateTime>("time");
    const auto row = [](const char *name, const QString &text, const QDateTime &time) {
        QTest::newRow(name) << text << time;
    };
    const QDateTime none;
    row("the usual form", u"Sun, 06 Nov 1994 08:49:37 GMT"_s, utc(1994, 11, 6, 8, 49, 37));
    row("a day of one digit", u"Sun, 6 Nov 1994 08:49:37 GMT"_s, utc(1994, 11, 6, 8, 49, 37));
    row("a wrong day of the week", u"Mon, 06 Nov 1994 08:49:37 GMT"_s, utc(1994, 11, 6, 8, 49, 37));
    row("a month in small letters", u"Sun, 06 nov 1994 08:49:37 GMT"_s, utc(1994, 11, 6, 8, 49, 37));
    row("two digits of the last century", u"Sunday, 06-Nov-94 08:49:37 GMT"_s, utc(1994, 11, 6, 8, 49, 37));
    row("two digits of this one", u"Friday, 01-Mar-30 00:00:00 GMT"_s, utc(2030, 3, 1, 0, 0, 0));
    row("dashes and four digits", u"Wed, 01-Mar-2023 10:00:00 GMT"_s, utc(2023, 3, 1, 10, 0, 0));
    row("that of C", u"Sun Nov  6 08:49:37 1994"_s, utc(1994, 11, 6, 8, 49, 37));
    row("a leap day", u"Thu, 29 Feb 2024 23:59:59 GMT"_s, utc(2024, 2, 29, 23, 59, 59));
    row("a day that there is not", u"Wed, 29 Feb 2023 23:59:59 GMT"_s, none);
    row("an hour that there is not", u"Thu, 29 Feb 2024 24:00:00 GMT"_s, none);
    row("words for a time", u"Thu, 29 Feb 2024 aa:bb:cc GMT"_s, none);
    row("a sign before a number", u"Thu, +29 Feb 2024 23:59:59 GMT"_s, none);
    row("words for a year", u"Thu, 29 Feb xx 23:59:59 GMT"_s, none);
    row("no month", u"Thu, 29 Foo 2024 23:59:59 GMT"_s, none);
    row("another zone", u"Sun, 06 Nov 1994 08:49:37 +0100"_s, none);
    row("a date alone", u"Sun, 06 Nov 1994"_s, none);
    row("no date", u"yesterday"_s, none);
    row("nothing", QString(), none);
    row("blanks", u"   "_s, none);
    row("a number", u"1700000000"_s, none);
}

void TestHttpDate::datesAreRead()
{
    QFETCH(QString, text);
    QFETCH(QDateTime, time);
    const std::optional<QDateTime> read = HttpDate::parse(text);
    QCOMPARE(read.has_value(), time.isValid());
    if (read)
        QCOMPARE(*read, time);
}

void TestHttpDate::whatIsWrittenIsReadAgain()
{
    const QDateTime time = utc(2026, 1, 9, 3, 4, 5);
    QCOMPARE(HttpDate::format(time), u"Fri, 09 Jan 2026 03:04:05 GMT"_s);
    QCOMPARE(HttpDate::parse(HttpDate::format(time)), time);
}

QTEST_GUILESS_MAIN(TestHttpDate)
#include "tst_httpdate.moc"
