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

QTEST_GUILESS_MAIN(TestFieldNames)

#include "tst_fieldnames.moc"
