// SPDX-License-Identifier: MIT
#include <host/options/optiontable.h>
#include <host/storage/keptoptions.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

DownloadOptions someOptions()
{
    DownloadOptions options;
    options.rateLimit = Q_INT64_C(5000000000);
    options.connections = 7;
    options.connectionsPerServer = 3;
    options.checksumAlgorithm = u"md5"_s;
    options.checksumHex = u"d41d8cd98f00b204e9800998ecf8427e"_s;
    options.onChanged = 2;
    options.onUnresumable = 1;
    options.skipExisting = true;
    options.insecure = true;
    return options;
}

}

class TestKeptOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatHasNoColumnComesBackFromTheText();
    void whatHasAColumnIsNotInTheText();
    void aRateWithHoursHasNoColumn();
    void columnsAreOfOptionsThatAreKept();
    void whatNobodyKnowsIsLeftOut_data();
    void whatNobodyKnowsIsLeftOut();
};

void TestKeptOptions::whatHasNoColumnComesBackFromTheText()
{
    DownloadOptions back;
    KeptOptions::give(KeptOptions::toText(someOptions(), {}), back);
    QCOMPARE(back, someOptions());
    DownloadOptions few;
    few.connections = 7;
    KeptOptions::give(KeptOptions::toText(someOptions(), {u"max-connections"_s}), few);
    QCOMPARE(few, someOptions());
}

void TestKeptOptions::whatHasAColumnIsNotInTheText()
{
    QCOMPARE(KeptOptions::toText(someOptions()), QString());
    QStringList others = KeptOptions::withColumns();
    others.removeOne(u"limit-rate"_s);
    QCOMPARE(KeptOptions::toText(someOptions(), others), u"{\"limit-rate\":5000000000}"_s);
}

void TestKeptOptions::aRateWithHoursHasNoColumn()
{
    DownloadOptions options = someOptions();
    options.rateTimes = RatesOfDay::fromText(u"500K@08:00-18:00"_s)->timed;
    DownloadOptions back = someOptions();
    back.rateLimit = 5;
    KeptOptions::give(KeptOptions::toText(options), back);
    QCOMPARE(back, options);
}

void TestKeptOptions::columnsAreOfOptionsThatAreKept()
{
    const QStringList names = KeptOptions::withColumns();
    for (const QString &name : names) {
        const OptionRow *const row = OptionTable::ofHost().find(name);
        QVERIFY2(row && row->places.testFlag(OptionRow::Download), qPrintable(name));
    }
}

void TestKeptOptions::whatNobodyKnowsIsLeftOut_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("an option of a later version") << u"{\"go-backwards\":true,\"max-connections\":7}"_s;
    QTest::newRow("a value of a later version") << u"{\"on-changed\":\"burn\",\"max-connections\":7}"_s;
    QTest::newRow("an option that is not kept of a download") << u"{\"tries\":9,\"max-connections\":7}"_s;
}

void TestKeptOptions::whatNobodyKnowsIsLeftOut()
{
    QFETCH(QString, text);
    DownloadOptions expected;
    expected.connections = 7;
    DownloadOptions options;
    KeptOptions::give(text, options);
    QCOMPARE(options, expected);
    for (const QString &none : {u""_s, u"{"_s, u"[1]"_s, u"5"_s}) {
        DownloadOptions untouched = someOptions();
        KeptOptions::give(none, untouched);
        QCOMPARE(untouched, someOptions());
    }
}

QTEST_GUILESS_MAIN(TestKeptOptions)
#include "tst_keptoptions.moc"
