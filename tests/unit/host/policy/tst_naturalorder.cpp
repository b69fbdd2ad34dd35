// SPDX-License-Identifier: MIT
#include <host/policy/naturalorder.h>

#include <inet/qt/download/response/fileinfoutils.h>

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

class TestNaturalOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneStandsBeforeTheOther_data();
    void oneStandsBeforeTheOther();
    void namesThatDifferInCaseAndZerosStandBesideEachOther();
    void itIsTheOrderThatModulesHave();
};

void TestNaturalOrder::oneStandsBeforeTheOther_data()
{
    QTest::addColumn<QString>("one");
    QTest::addColumn<QString>("other");
    const auto row = [](const char *name, const QString &one, const QString &other) {
        QTest::newRow(name) << one << other;
    };
    row("a smaller number", u"file2"_s, u"File10"_s);
    row("a smaller number behind zeros", u"file002"_s, u"file10"_s);
    row("a smaller number of as many digits", u"v19.tar"_s, u"v20.tar"_s);
    row("the second number decides", u"1.9.9"_s, u"1.10.0"_s);
    row("nothing behind the same", u"file"_s, u"file0"_s);
    row("letters without regard to case", u"ALPHA"_s, u"beta"_s);
    row("signs before numbers", u"file-1"_s, u"file1"_s);
    row("numbers before letters", u"file1"_s, u"filea"_s);
    row("a number before what stands behind digits", u"file99"_s, u"file:"_s);
    row("digits of another script by their value", u"file\u0662"_s, u"file10"_s);
    row("a number of more digits than a byte counts", u'9' + QString(400, u'1'), u'1' + QString(401, u'0'));
    row("letters beside the first 65,536 behind those", u"\uff21"_s, QString::fromUcs4(U"\U0001F600"));
}

void TestNaturalOrder::oneStandsBeforeTheOther()
{
    QFETCH(const QString, one);
    QFETCH(const QString, other);
    QVERIFY(NaturalOrder::precedes(one, other));
    QVERIFY(!NaturalOrder::precedes(other, one));
}

void TestNaturalOrder::namesThatDifferInCaseAndZerosStandBesideEachOther()
{
    QCOMPARE(NaturalOrder::key(u"File010.ISO"_s), NaturalOrder::key(u"file10.iso"_s));
    QCOMPARE(NaturalOrder::key(u"000"_s), NaturalOrder::key(u"0"_s));
    QVERIFY(NaturalOrder::key({}).isEmpty());
}

void TestNaturalOrder::itIsTheOrderThatModulesHave()
{
    constexpr int kPairs = 20000;
    const QString letters = u"aB.-:/z\u00e9001239"_s;
    const auto comparison = abstractDownloadsPeristentInfoCompFunction({2, 0});
    QRandomGenerator dice(1);
    const auto someName = [&] {
        AbstractDownloadPersistentInfo record;
        for (quint32 length = 1 + dice.bounded(7); length > 0; --length)
            record.customTitle.append(letters.at(dice.bounded(letters.size())));
        return record;
    };
    for (int i = 0; i < kPairs; ++i) {
        const AbstractDownloadPersistentInfo one = someName();
        const AbstractDownloadPersistentInfo other = someName();
        QVERIFY2(NaturalOrder::precedes(one.customTitle, other.customTitle) == comparison(one, other),
                 qPrintable(one.customTitle + u' ' + other.customTitle));
    }
}

QTEST_GUILESS_MAIN(TestNaturalOrder)
#include "tst_naturalorder.moc"
