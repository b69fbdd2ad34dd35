// SPDX-License-Identifier: MIT
#include <host/parsing/partialanswer.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
constexpr qint64 kNothing = -1;
}

class TestPartialAnswer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void askedStart_data();
    void askedStart();
    void parseContentRange_data();
    void parseContentRange();
    void parseUnsatisfiedTotal_data();
    void parseUnsatisfiedTotal();
    void refusal_data();
    void refusal();
    void aRefusalNamesBothRanges();
};

void TestPartialAnswer::askedStart_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<qint64>("start");

    QTest::newRow("an open range") << QByteArray("bytes=1024-") << qint64(1024);
    QTest::newRow("a closed range") << QByteArray("bytes=5-9") << qint64(5);
    QTest::newRow("from the first byte") << QByteArray("bytes=0-") << qint64(0);
    QTest::newRow("the unit may be in upper case") << QByteArray("BYTES=7-") << qint64(7);
    QTest::newRow("blanks around are ignored") << QByteArray(" bytes= 7 - ") << qint64(7);
    QTest::newRow("beyond 32 bits") << QByteArray("bytes=5000000000-") << Q_INT64_C(5000000000);
    QTest::newRow("a suffix has no start") << QByteArray("bytes=-500") << kNothing;
    QTest::newRow("several ranges are not judged") << QByteArray("bytes=0-1,5-9") << kNothing;
    QTest::newRow("another unit is not judged") << QByteArray("lines=5-") << kNothing;
    QTest::newRow("a sign is no digit") << QByteArray("bytes=+5-") << kNothing;
    QTest::newRow("an end that is no number") << QByteArray("bytes=5-x") << kNothing;
    QTest::newRow("no dash") << QByteArray("bytes=5") << kNothing;
    QTest::newRow("a number that fits nowhere") << QByteArray("bytes=99999999999999999999-") << kNothing;
    QTest::newRow("nothing behind the unit") << QByteArray("bytes=") << kNothing;
    QTest::newRow("no range") << QByteArray() << kNothing;
}

void TestPartialAnswer::askedStart()
{
    QFETCH(QByteArray, range);
    QFETCH(qint64, start);
    QCOMPARE(PartialAnswer::askedStart(range).value_or(kNothing), start);
}

void TestPartialAnswer::parseContentRange_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<bool>("parses");
    QTest::addColumn<qint64>("first");
    QTest::addColumn<qint64>("last");
    QTest::addColumn<qint64>("total");

    const auto good = [](const char *name, const char *header, qint64 first, qint64 last, qint64 total) {
        QTest::newRow(name) << QByteArray(header) << true << first << last << total;
    };
    const auto bad = [](const char *name, const char *header) {
        QTest::newRow(name) << QByteArray(header) << false << kNothing << kNothing << kNothing;
    };
    good("a piece of a known whole", "bytes 100-199/5000", 100, 199, 5000);
    good("the total may be unknown", "bytes 100-199/*", 100, 199, -1);
    good("the unit may be in upper case", "Bytes 0-0/1", 0, 0, 1);
    good("contradictions are none of the parser's business", "bytes 9-5/3", 9, 5, 3);
    bad("an unsatisfied range", "bytes */5000");
    bad("no total", "bytes 100-199");
    bad("no last byte", "bytes 100-/5000");
    bad("no dash", "bytes 100/5000");
    bad("two headers joined into one", "bytes 0-4/10, bytes 5-9/10");
    bad("another unit", "lines 1-2/3");
    bad("no unit", "100-199/5000");
    bad("an equals sign in place of the blank", "bytes=100-199/5000");
    bad("a dash behind the slash", "bytes 100/50-00");
    bad("negative", "bytes -5-9/10");
    bad("too large", "bytes 0-9/99999999999999999999");
    bad("empty", "");
}

void TestPartialAnswer::parseContentRange()
{
    QFETCH(QByteArray, header);
    QFETCH(bool, parses);
    QFETCH(qint64, first);
    QFETCH(qint64, last);
    QFETCH(qint64, total);
    const std::optional<PartialAnswer::ContentRange> range = PartialAnswer::parseContentRange(header);
    QCOMPARE(range.has_value(), parses);
    if (parses)
        QCOMPARE(*range, (PartialAnswer::ContentRange{first, last, total}));
}

void TestPartialAnswer::parseUnsatisfiedTotal_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<qint64>("total");

    QTest::newRow("a total") << QByteArray("bytes */5000") << qint64(5000);
    QTest::newRow("an empty file") << QByteArray("Bytes */0") << qint64(0);
    QTest::newRow("an unknown total") << QByteArray("bytes */*") << kNothing;
    QTest::newRow("no total") << QByteArray("bytes */") << kNothing;
    QTest::newRow("a piece") << QByteArray("bytes 0-4999/5000") << kNothing;
    QTest::newRow("another unit") << QByteArray("lines */5000") << kNothing;
    QTest::newRow("two headers joined into one") << QByteArray("bytes */5, bytes */5") << kNothing;
    QTest::newRow("too large") << QByteArray("bytes */99999999999999999999") << kNothing;
    QTest::newRow("empty") << QByteArray() << kNothing;
}

void TestPartialAnswer::parseUnsatisfiedTotal()
{
    QFETCH(QByteArray, header);
    QTEST(PartialAnswer::parseUnsatisfiedTotal(header).value_or(kNothing), "total");
}

void TestPartialAnswer::refusal_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QByteArray>("contentRange");
    QTest::addColumn<bool>("refused");

    const QByteArray from1000 = "bytes=1000-";
    QTest::newRow("the piece that was asked for") << from1000 << QByteArray("bytes 1000-4999/5000") << false;
    QTest::newRow("a shorter piece at the right place") << from1000 << QByteArray("bytes 1000-1999/5000") << false;
    QTest::newRow("a total that the server does not know") << from1000 << QByteArray("bytes 1000-4999/*") << false;
    QTest::newRow("the last byte alone") << from1000 << QByteArray("bytes 1000-1000/1001") << false;
    QTest::newRow("a piece from the beginning") << from1000 << QByteArray("bytes 0-4999/5000") << true;
    QTest::newRow("one byte too early") << from1000 << QByteArray("bytes 999-4999/5000") << true;
    QTest::newRow("one byte too late") << from1000 << QByteArray("bytes 1001-4999/5000") << true;
    QTest::newRow("no word on which piece") << from1000 << QByteArray() << true;
    QTest::newRow("a malformed word on it") << from1000 << QByteArray("1000-4999/5000") << true;
    QTest::newRow("several words on it") << from1000 << QByteArray("bytes 1000-1/2, bytes 1000-1/2") << true;
    QTest::newRow("it ends before it begins") << from1000 << QByteArray("bytes 1000-999/5000") << true;
    QTest::newRow("it ends at the total") << from1000 << QByteArray("bytes 1000-5000/5000") << true;
    QTest::newRow("it ends behind the total") << from1000 << QByteArray("bytes 1000-9999/5000") << true;
    QTest::newRow("it ends where no file can") << from1000 << QByteArray("bytes 1000-9223372036854775807/*") << true;
    QTest::newRow("nothing was asked for") << QByteArray() << QByteArray("bytes 7-8/9") << false;
    QTest::newRow("what was asked for is not understood")
        << QByteArray("bytes=-5") << QByteArray("bytes 7-8/9") << false;
}

void TestPartialAnswer::refusal()
{
    QFETCH(QByteArray, range);
    QFETCH(QByteArray, contentRange);
    QTEST(!PartialAnswer::refusal(range, contentRange).isEmpty(), "refused");
}

void TestPartialAnswer::aRefusalNamesBothRanges()
{
    const QString text = PartialAnswer::refusal("bytes=1000-", "bytes 0-9/10");
    QVERIFY2(text.contains(u"\"bytes=1000-\""_s), qPrintable(text));
    QVERIFY2(text.contains(u"\"bytes 0-9/10\""_s), qPrintable(text));
    QVERIFY(PartialAnswer::refusal("bytes=1000-", {}).contains(u"no Content-Range"_s));
}

QTEST_GUILESS_MAIN(TestPartialAnswer)
#include "tst_partialanswer.moc"
