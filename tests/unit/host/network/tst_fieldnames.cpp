// SPDX-License-Identifier: MIT
#include <host/network/fieldnames.h>

#include <QTest>

using namespace Qt::StringLiterals;

/// In which spelling fields are handed on.
class TestFieldNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aKnownFieldGetsItsUsualSpelling_data();
    void aKnownFieldGetsItsUsualSpelling();
    void anUnknownFieldKeepsItsOwn();
    void aDateInAnOlderFormIsHandedOnInTodays_data();
    void aDateInAnOlderFormIsHandedOnInTodays();
    void whatIsNoDateStaysAsItIs();
};

void TestFieldNames::aKnownFieldGetsItsUsualSpelling_data()
{
    QTest::addColumn<QByteArray>("usual");
    for (const char *const name :
         {"Accept-Ranges", "Content-Disposition", "Content-Encoding", "Content-Length", "Content-Range", "Content-Type",
          "ETag", "Last-Modified", "Location", "Retry-After", "Set-Cookie", "WWW-Authenticate"})
        QTest::newRow(name) << QByteArray(name);
}

void TestFieldNames::aKnownFieldGetsItsUsualSpelling()
{
    QFETCH(QByteArray, usual);
    QCOMPARE(FieldNames::usual(usual.toLower()), usual);
    QCOMPARE(FieldNames::usual(usual.toUpper()), usual);
    QCOMPARE(FieldNames::usual(usual), usual);
}

void TestFieldNames::anUnknownFieldKeepsItsOwn()
{
    QCOMPARE(FieldNames::usual("x-Cache-KEY"), "x-Cache-KEY"_ba);
    QCOMPARE(FieldNames::usual("Last-Modified-By"), "Last-Modified-By"_ba);
    QCOMPARE(FieldNames::usual({}), QByteArray());
}

void TestFieldNames::aDateInAnOlderFormIsHandedOnInTodays_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("today's") << "Sun, 13 Sep 2020 12:26:40 GMT"_ba;
    QTest::newRow("with dashes") << "Sunday, 13-Sep-20 12:26:40 GMT"_ba;
    QTest::newRow("of C's asctime") << "Sun Sep 13 12:26:40 2020"_ba;
}

void TestFieldNames::aDateInAnOlderFormIsHandedOnInTodays()
{
    QFETCH(QByteArray, sent);
    QCOMPARE(FieldNames::usualValue("Last-Modified", sent), "Sun, 13 Sep 2020 12:26:40 GMT"_ba);
}

void TestFieldNames::whatIsNoDateStaysAsItIs()
{
    QCOMPARE(FieldNames::usualValue("Last-Modified", "yesterday"), "yesterday"_ba);
    QCOMPARE(FieldNames::usualValue("X-Date", "Sunday, 13-Sep-20 12:26:40 GMT"), "Sunday, 13-Sep-20 12:26:40 GMT"_ba);
}

QTEST_GUILESS_MAIN(TestFieldNames)

#include "tst_fieldnames.moc"
