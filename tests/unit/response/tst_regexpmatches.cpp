// SPDX-License-Identifier: MIT
#include <inet/qt/download/response/regexpmatches.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestRegExpMatches : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void captures_data();
    void captures();
};

void TestRegExpMatches::captures_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("group");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("every match is captured, in order")
        << u"<(\\w+)>"_s << u"<b> and <a> and <c>"_s << 1 << QStringList{u"b"_s, u"a"_s, u"c"_s};
    QTest::newRow("case is ignored") << u"k=(\\d)"_s << u"K=1 k=2"_s << 1 << QStringList{u"1"_s, u"2"_s};
    QTest::newRow("group 0 is the whole match") << u"a(b)"_s << u"abAB"_s << 0 << QStringList{u"ab"_s, u"AB"_s};
    QTest::newRow("the group asked for is the one returned")
        << u"(\\w)=(\\w)"_s << u"a=1 b=2"_s << 2 << QStringList{u"1"_s, u"2"_s};
    QTest::newRow("no match gives nothing") << u"x(y)"_s << u"abc"_s << 1 << QStringList{};
    QTest::newRow("an empty text gives nothing") << u"(a)"_s << QString() << 1 << QStringList{};
    QTest::newRow("a group that took no part gives an empty entry")
        << u"(a)|(b)"_s << u"ab"_s << 2 << QStringList{QString(), u"b"_s};
    QTest::newRow("a group that does not exist gives an empty entry per match")
        << u"(a)"_s << u"aa"_s << 7 << QStringList{QString(), QString()};
    QTest::newRow("a pattern that does not compile matches nothing") << u"(a"_s << u"(a(a"_s << 1 << QStringList{};
}

void TestRegExpMatches::captures()
{
    QFETCH(QString, pattern);
    QFETCH(QString, text);
    QFETCH(int, group);
    QFETCH(QStringList, expected);
    QCOMPARE(regExpMatches(pattern, text, group), expected);
}

QTEST_GUILESS_MAIN(TestRegExpMatches)
#include "tst_regexpmatches.moc"
