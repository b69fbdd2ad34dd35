// SPDX-License-Identifier: MIT
#include <cli/textcolumns.h>

#include <QTest>

#include <cwchar>

using namespace Qt::StringLiterals;

class TestTextColumns : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void width_data();
    void width();
    void noCharacterIsWiderThanItIsCounted();
    void left_data();
    void left();
    void shortened_data();
    void shortened();
    void ofALongNameTheMiddleIsLeftOut_data();
    void ofALongNameTheMiddleIsLeftOut();
    void blanksAreCountedInColumns();
};

void TestTextColumns::width_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("columns");

    QTest::newRow("nothing") << QString() << 0;
    QTest::newRow("letters") << u"naïve"_s << 5;
    QTest::newRow("Chinese") << u"文件"_s << 4;
    QTest::newRow("Korean") << u"한글"_s << 4;
    QTest::newRow("Korean in its parts") << u"\u1112\u1161\u11ab"_s << 2;
    QTest::newRow("Japanese, half width") << u"ｶﾅ"_s << 2;
    QTest::newRow("Latin letters, full width") << u"Ａ"_s << 2;
    QTest::newRow("a letter and its mark") << u"e\u0301"_s << 1;
    QTest::newRow("an emoji") << u"🎈"_s << 2;
    QTest::newRow("a character of the second plane") << u"𠀀"_s << 2;
    QTest::newRow("a joiner") << u"a\u200db"_s << 2;
    QTest::newRow("a heart that some draw wide") << u"\u2764\ufe0f"_s << 2;
    QTest::newRow("the strip's characters") << u"█▒►░"_s << 4;
}

void TestTextColumns::width()
{
    QFETCH(QString, text);
    QTEST(TextColumns::width(text), "columns");
}

/// The C library's table is another one, of the same standard.
void TestTextColumns::noCharacterIsWiderThanItIsCounted()
{
    for (char32_t c = 0x20; c < 0x40000; ++c) {
        const int width = wcwidth(wchar_t(c));
        if (width > TextColumns::width(QString::fromUcs4(&c, 1)))
            QFAIL(qPrintable(u"U+%1 takes %2 columns"_s.arg(uint(c), 4, 16).arg(width)));
    }
}

void TestTextColumns::left_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("left");

    QTest::newRow("all of it") << u"abc"_s << 3 << u"abc"_s;
    QTest::newRow("a part") << u"abc"_s << 2 << u"ab"_s;
    QTest::newRow("no room") << u"abc"_s << 0 << QString();
    QTest::newRow("less than no room") << u"abc"_s << -1 << QString();
    QTest::newRow("half a wide character is none") << u"文件"_s << 3 << u"文"_s;
    QTest::newRow("a mark stays with its letter") << u"e\u0301x"_s << 1 << u"e\u0301"_s;
    QTest::newRow("two code units stay together") << u"🎈🎈"_s << 2 << u"🎈"_s;
}

void TestTextColumns::left()
{
    QFETCH(QString, text);
    QFETCH(int, columns);
    QTEST(TextColumns::left(text, columns), "left");
}

void TestTextColumns::shortened_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("shortened");

    QTest::newRow("it fits") << u"abcd"_s << 4 << u"abcd"_s;
    QTest::newRow("it does not") << u"abcde"_s << 4 << u"a..."_s;
    QTest::newRow("wide characters") << u"文件文件"_s << 7 << u"文件..."_s;
    QTest::newRow("less room than the dots take") << u"abcde"_s << 2 << u".."_s;
}

void TestTextColumns::shortened()
{
    QFETCH(QString, text);
    QFETCH(int, columns);
    QTEST(TextColumns::shortened(text, columns, u"..."_s), "shortened");
}

void TestTextColumns::ofALongNameTheMiddleIsLeftOut_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("shortened");

    QTest::newRow("it fits") << u"abcd"_s << 4 << u"abcd"_s;
    QTest::newRow("it does not") << u"abcdefgh.iso"_s << 9 << u"abcd….iso"_s;
    QTest::newRow("wide characters") << u"文件文件.iso"_s << 9 << u"文件….iso"_s;
    QTest::newRow("two code units stay together") << u"🎈🎈🎈🎈"_s << 5 << u"🎈…🎈"_s;
    QTest::newRow("hardly any room") << u"abcd"_s << 2 << u"a…"_s;
}

void TestTextColumns::ofALongNameTheMiddleIsLeftOut()
{
    QFETCH(QString, text);
    QFETCH(int, columns);
    QTEST(TextColumns::middleShortened(text, columns, u"…"_s), "shortened");
}

void TestTextColumns::blanksAreCountedInColumns()
{
    QCOMPARE(TextColumns::padded(u"文"_s, 4), u"文  "_s);
    QCOMPARE(TextColumns::rightAligned(u"文"_s, 4), u"  文"_s);
    QCOMPARE(TextColumns::padded(u"abc"_s, 2), u"abc"_s);
}

QTEST_GUILESS_MAIN(TestTextColumns)
#include "tst_textcolumns.moc"
