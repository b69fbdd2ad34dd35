// SPDX-License-Identifier: MIT
#include <cli/foreignbytes.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestForeignBytes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingIsLost_data();
    void nothingIsLost();
    void differentBytesAreDifferentTexts();
};

void TestForeignBytes::nothingIsLost_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("encoded");
    QTest::addColumn<QByteArray>("shown");
    QTest::newRow("plain text") << QByteArray("a/b") << QByteArray("a/b") << QByteArray("a/b");
    QTest::newRow("all sizes of characters") << QByteArray("ü€😀") << QByteArray("ü€😀") << QByteArray("ü€😀");
    QTest::newRow("a mark of byte order") << QByteArray("\ufeffa") << QByteArray("\ufeffa") << QByteArray("\ufeffa");
    QTest::newRow("what stands for unknown characters")
        << QByteArray("\ufffd") << QByteArray("\ufffd") << QByteArray("\ufffd");
    QTest::newRow("a letter of another encoding")
        << QByteArray("caf\xe9") << QByteArray("caf%E9") << QByteArray("caf\\xe9");
    QTest::newRow("foreign bytes beside characters")
        << QByteArray("😀\xff\xfe\u00fc\x80") << QByteArray("😀%FF%FE\u00fc%80") << QByteArray("😀\\xff\\xfe\u00fc\\x80");
    QTest::newRow("a mark of byte order among them")
        << QByteArray("\xff\ufeff") << QByteArray("%FF\ufeff") << QByteArray("\\xff\ufeff");
    QTest::newRow("a character that is cut off")
        << QByteArray("a\xe2\x82") << QByteArray("a%E2%82") << QByteArray("a\\xe2\\x82");
    QTest::newRow("half a character, written out")
        << QByteArray("\xed\xb3\xa9") << QByteArray("%ED%B3%A9") << QByteArray("\\xed\\xb3\\xa9");
}

void TestForeignBytes::nothingIsLost()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, encoded);
    QFETCH(QByteArray, shown);
    const QString text = ForeignBytes::text(bytes);
    QCOMPARE(ForeignBytes::bytes(text), bytes);
    QCOMPARE(ForeignBytes::percentEncoded(text).toUtf8(), encoded);
    QCOMPARE(ForeignBytes::shown(text).toUtf8(), shown);
    QCOMPARE(ForeignBytes::areIn(text), encoded != bytes);
}

void TestForeignBytes::differentBytesAreDifferentTexts()
{
    QVERIFY(ForeignBytes::text("caf\xe9") != ForeignBytes::text("caf\xe8"));
    QVERIFY(ForeignBytes::text("caf\xe9") != ForeignBytes::text("caf\ufffd"));
}

QTEST_GUILESS_MAIN(TestForeignBytes)
#include "tst_foreignbytes.moc"
