// SPDX-License-Identifier: MIT
#include <cli/clausewords.h>
#include <host/parsing/checksum.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestChecksum : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void textIsRead_data();
    void textIsRead();
    void whatIsNoChecksumIsExplained_data();
    void whatIsNoChecksumIsExplained();
};

void TestChecksum::textIsRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("read");
    const QString md5 = u"d41d8cd98f00b204e9800998ecf8427e"_s;
    const QString sha1 = u"da39a3ee5e6b4b0d3255bfef95601890afd80709"_s;
    QTest::newRow("md5") << u"md5="_s + md5 << u"md5="_s + md5;
    QTest::newRow("an algorithm in any spelling") << u"SHA1="_s + sha1 << u"sha-1="_s + sha1;
    QTest::newRow("digits in upper case") << u"sha_1="_s + sha1.toUpper() << u"sha-1="_s + sha1;
    QTest::newRow("blanks around the digits") << u"md5= "_s + md5 + u' ' << u"md5="_s + md5;
    QTest::newRow("as it is pasted") << u"sha256:"_s + QString(64, u'a') << u"sha-256="_s + QString(64, u'a');
    QTest::newRow("32 digits alone") << md5 << u"md5="_s + md5;
    QTest::newRow("40 digits alone") << sha1.toUpper() << u"sha-1="_s + sha1;
    QTest::newRow("56 digits alone") << QString(56, u'a') << u"sha-224="_s + QString(56, u'a');
    QTest::newRow("64 digits alone") << QString(64, u'a') << u"sha-256="_s + QString(64, u'a');
    QTest::newRow("96 digits alone") << QString(96, u'a') << u"sha-384="_s + QString(96, u'a');
    QTest::newRow("128 digits alone") << QString(128, u'a') << u"sha-512="_s + QString(128, u'a');
    QTest::newRow("sha-256") << u"sha-256="_s + QString(64, u'a') << u"sha-256="_s + QString(64, u'a');
    QTest::newRow("sha-512") << u"sha512="_s + QString(128, u'0') << u"sha-512="_s + QString(128, u'0');
}

void TestChecksum::textIsRead()
{
    QFETCH(QString, text);
    Clause problem;
    const std::optional<Checksum> checksum = Checksum::parse(text, &problem);
    QVERIFY2(checksum, qPrintable(ClauseWords::of(problem)));
    QTEST(checksum->toText(), "read");
    QCOMPARE(Checksum::parse(checksum->toText(), &problem), checksum);
}

void TestChecksum::whatIsNoChecksumIsExplained_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("part");
    QTest::newRow("no algorithm") << u"d41d8cd98f00b204e9800998ecf842"_s << u"ALGORITHM=HEX"_s;
    QTest::newRow("an unknown algorithm") << u"crc=00"_s << u"sha-256"_s;
    QTest::newRow("too few digits") << u"md5=00"_s << u"32"_s;
    QTest::newRow("too many digits") << u"md5="_s + QString(33, u'0') << u"32"_s;
    QTest::newRow("no hexadecimal digits") << u"md5="_s + QString(32, u'g') << u"hexadecimal"_s;
    QTest::newRow("nothing") << QString() << u"ALGORITHM=HEX"_s;
}

void TestChecksum::whatIsNoChecksumIsExplained()
{
    QFETCH(QString, text);
    QFETCH(QString, part);
    Clause problem;
    QVERIFY(!Checksum::parse(text, &problem));
    QVERIFY2(ClauseWords::of(problem).contains(part), qPrintable(ClauseWords::of(problem)));
}

QTEST_GUILESS_MAIN(TestChecksum)
#include "tst_checksum.moc"
