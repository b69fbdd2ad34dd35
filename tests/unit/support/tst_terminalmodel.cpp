// SPDX-License-Identifier: MIT
#include <tests/support/terminalmodel.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestTerminalModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsWrittenStands_data();
    void whatIsWrittenStands();
    void bytesMayComeOneByOne();
    void codesThatItDoesNotKnowAreKept();
    void withoutWrappingTheRestOfALineIsLost();
    void theCursorDoesNotLeaveTheScreen();
    void aNarrowerTerminalWrapsAnew();
    void aNarrowerTerminalCutsOff();
};

void TestTerminalModel::whatIsWrittenStands_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("lines");

    QTest::newRow("two lines") << QByteArray("ab\r\ncd") << QStringList{u"ab"_s, u"cd"_s};
    QTest::newRow("a carriage return writes over") << QByteArray("abc\rx") << QStringList{u"xbc"_s};
    QTest::newRow("a newline keeps the column") << QByteArray("ab\nc") << QStringList{u"ab"_s, u"  c"_s};
    QTest::newRow("cursor up") << QByteArray("a\r\nb\r\nc\033[2Ax") << QStringList{u"ax"_s, u"b"_s, u"c"_s};
    QTest::newRow("erase line") << QByteArray("abc\r\033[Kx") << QStringList{u"x"_s};
    QTest::newRow("erase below") << QByteArray("abc\r\ndef\033[A\r\033[J") << QStringList{};
    QTest::newRow("erase below keeps what is before it")
        << QByteArray("a\r\nbc\r\nd\033[A\033[J") << QStringList{u"a"_s, u"b"_s};
    QTest::newRow("a long line wraps") << QByteArray("0123456789ab") << QStringList{u"0123456789"_s, u"ab"_s};
    QTest::newRow("a wide character takes two columns")
        << QByteArray("\xe6\x96\x87\xe6\x96\x87\xe6\x96\x87\xe6\x96\x87\xe6\x96\x87x")
        << QStringList{u"文文文文文"_s, u"x"_s};
    QTest::newRow("a mark takes none") << QByteArray("e\xcc\x81x") << QStringList{u"e\u0301x"_s};
    QTest::newRow("colours take none") << QByteArray("\033[1;32mab\033[m") << QStringList{u"ab"_s};
}

void TestTerminalModel::whatIsWrittenStands()
{
    QFETCH(QByteArray, bytes);
    TerminalModel terminal(10, 5);
    terminal.feed(bytes);
    QTEST(terminal.lines(), "lines");
}

void TestTerminalModel::bytesMayComeOneByOne()
{
    TerminalModel terminal(10, 5);
    const QByteArray bytes("ab\r\033[J\033[32m\xe6\x96\x87\033[m");
    for (const char c : bytes)
        terminal.feed(QByteArray(1, c));
    QCOMPARE(terminal.lines(), QStringList{u"文"_s});
    QCOMPARE(terminal.colourCodes(), 2);
    QVERIFY(terminal.unknownCodes().isEmpty());
}

void TestTerminalModel::codesThatItDoesNotKnowAreKept()
{
    TerminalModel terminal(10, 5);
    terminal.feed("a\033[2J\033[?25lb\007");
    QCOMPARE(terminal.unknownCodes(), (QStringList{u"[2J"_s, u"[?25l"_s, u"\u0007"_s}));
    QCOMPARE(terminal.lines(), QStringList{u"ab"_s});
}

void TestTerminalModel::withoutWrappingTheRestOfALineIsLost()
{
    TerminalModel terminal(4, 5);
    terminal.feed("\033[?7labcdef\033[?7h");
    QCOMPARE(terminal.lines(), QStringList{u"abcd"_s});
    QCOMPARE(terminal.lostCharacters(), 2);
    QCOMPARE(terminal.frames(), QList<QStringList>{{u"abcd"_s}});
}

void TestTerminalModel::theCursorDoesNotLeaveTheScreen()
{
    TerminalModel terminal(10, 2);
    terminal.feed("a\r\nb\r\nc\033[5A\rx");
    QCOMPARE(terminal.lines(), (QStringList{u"a"_s, u"x"_s, u"c"_s}));
}

void TestTerminalModel::aNarrowerTerminalWrapsAnew()
{
    TerminalModel terminal(8, 5, TerminalModel::OnResize::WrapAnew);
    terminal.feed("abcdef\r\nghijkl\r");
    terminal.resize(4, 5);
    QCOMPARE(terminal.lines(), (QStringList{u"abcd"_s, u"ef"_s, u"ghij"_s, u"kl"_s}));
    QCOMPARE(terminal.wholeLines(), (QStringList{u"abcdef"_s, u"ghijkl"_s}));
    terminal.feed("\033[Jx");
    QCOMPARE(terminal.lines(), (QStringList{u"abcd"_s, u"ef"_s, u"x"_s}));
    terminal.resize(8, 5);
    QCOMPARE(terminal.lines(), (QStringList{u"abcdef"_s, u"x"_s}));
}

void TestTerminalModel::aNarrowerTerminalCutsOff()
{
    TerminalModel terminal(8, 5, TerminalModel::OnResize::CutOff);
    terminal.feed("abcdef\r\nghijkl\r");
    terminal.resize(4, 5);
    QCOMPARE(terminal.lines(), (QStringList{u"abcd"_s, u"ghij"_s}));
    terminal.feed("\033[Jx");
    QCOMPARE(terminal.lines(), (QStringList{u"abcd"_s, u"x"_s}));
}

QTEST_GUILESS_MAIN(TestTerminalModel)
#include "tst_terminalmodel.moc"
