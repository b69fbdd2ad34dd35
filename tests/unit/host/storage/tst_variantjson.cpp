// SPDX-License-Identifier: MIT
#include <host/storage/variantjson.h>

#include <QDateTime>
#include <QSize>
#include <QTest>
#include <QTimeZone>
#include <QUrl>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

class TestVariantJson : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void comesBackEqual_data();
    void comesBackEqual();
    void plainValuesArePlainJson();
    void noMapIsNoText();
    void textThatIsNoObjectIsNoMap();
    void notANumberComesBack();
};

void TestVariantJson::comesBackEqual_data()
{
    QTest::addColumn<QVariant>("value");

    QTest::newRow("text") << QVariant(u"naïve 🎈 \"quoted\"\n"_s);
    QTest::newRow("an empty text") << QVariant(u""_s);
    QTest::newRow("nothing") << QVariant();
    QTest::newRow("a truth") << QVariant(true);
    QTest::newRow("an integer") << QVariant(-5);
    QTest::newRow("the largest integer") << QVariant(std::numeric_limits<qint64>::max());
    QTest::newRow("the smallest integer") << QVariant(std::numeric_limits<qint64>::min());
    QTest::newRow("an unsigned integer beyond the signed ones") << QVariant(std::numeric_limits<quint64>::max());
    QTest::newRow("a fraction") << QVariant(0.1);
    QTest::newRow("infinity") << QVariant(std::numeric_limits<double>::infinity());
    QTest::newRow("bytes") << QVariant(QByteArray("\0\xff\x80", 3));
    QTest::newRow("a time") << QVariant(QDateTime({2024, 2, 29}, {23, 59, 58, 987}, Qt::UTC));
    QTest::newRow("an invalid time") << QVariant(QDateTime());
    QTest::newRow("a URL") << QVariant(QUrl(u"http://a.example/b%20c?d=%2F#e"_s));
    QTest::newRow("a list of texts") << QVariant(QStringList{u"a"_s, u"b"_s});
    QTest::newRow("a list of anything") << QVariant(QVariantList{1, u"two"_s, QByteArray("three"), QVariant()});
    QTest::newRow("a map in a map") << QVariant(QVariantMap{{u"a"_s, QVariantMap{{u"b"_s, 1}}}});
    QTest::newRow("an empty map") << QVariant(QVariantMap());
    QTest::newRow("a map that looks like one of ours") << QVariant(QVariantMap{{u"$bytes"_s, u"QQ=="_s}});
    QTest::newRow("any other type") << QVariant(QSize(3, 4));
}

void TestVariantJson::comesBackEqual()
{
    QFETCH(QVariant, value);
    const QVariantMap map{{u"key"_s, value}, {u"other"_s, 1}};
    const QVariantMap back = VariantJson::toMap(VariantJson::fromMap(map));
    QCOMPARE(back.value(u"key"_s), value);
    QCOMPARE(back, map);
}

void TestVariantJson::plainValuesArePlainJson()
{
    const QVariantMap map{{u"count"_s, 3}, {u"name"_s, u"x"_s}, {u"tags"_s, QVariantList{u"a"_s, true}}};
    QCOMPARE(VariantJson::fromMap(map), uR"({"count":3,"name":"x","tags":["a",true]})"_s);
}

void TestVariantJson::noMapIsNoText()
{
    QVERIFY(VariantJson::fromMap({}).isEmpty());
}

void TestVariantJson::textThatIsNoObjectIsNoMap()
{
    for (const QString &text : {u""_s, u"[1]"_s, u"{"_s, u"x"_s})
        QVERIFY(VariantJson::toMap(text).isEmpty());
}

void TestVariantJson::notANumberComesBack()
{
    const QVariantMap map{{u"key"_s, std::numeric_limits<double>::quiet_NaN()}};
    QVERIFY(std::isnan(VariantJson::toMap(VariantJson::fromMap(map)).value(u"key"_s).toDouble()));
}

QTEST_GUILESS_MAIN(TestVariantJson)
#include "tst_variantjson.moc"
