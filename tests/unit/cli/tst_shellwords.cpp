// SPDX-License-Identifier: MIT
#include <cli/shellwords.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestShellWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wordsAreThoseOfAShell_data();
    void wordsAreThoseOfAShell();
    void whatIsForAShellIsSetApart_data();
    void whatIsForAShellIsSetApart();
    void whatOnlyAShellKnowsIsSaid_data();
    void whatOnlyAShellKnowsIsSaid();
};

void TestShellWords::wordsAreThoseOfAShell_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("words");
    const auto row = [](const char *name, const QString &line, const QStringList &words) {
        QTest::newRow(name) << line << words;
    };
    row("nothing", u"  "_s, {});
    row("blanks", u" a  b\tc\n"_s, {u"a"_s, u"b"_s, u"c"_s});
    row("single quotes", u"a 'b  \"c\\' d"_s, {u"a"_s, u"b  \"c\\"_s, u"d"_s});
    row("double quotes", u"\"a 'b' \\\" \\\\ \\x\""_s, {u"a 'b' \" \\ \\x"_s});
    row("an empty word", u"a '' \"\""_s, {u"a"_s, QString(), QString()});
    row("quotes within a word", u"a'b c'\"d\"e"_s, {u"ab cde"_s});
    row("a backslash", u"a\\ b \\'c"_s, {u"a b"_s, u"'c"_s});
    row("lines that are continued", u"a \\\n  b \\\r\n c"_s, {u"a"_s, u"b"_s, u"c"_s});
    row("escapes", u"$'a\\'b\\n\\u0021\\x41\\\\'"_s, {u"a'b\n!A\\"_s});
    row("a dollar that is one", u"a$ \"5$\" '$x'"_s, {u"a$"_s, u"5$"_s, u"$x"_s});
    row("signs in quotes", u"'a&b|c;d' \"e>f\""_s, {u"a&b|c;d"_s, u"e>f"_s});
    row("another alphabet", u"'ä €' ü"_s, {u"ä €"_s, u"ü"_s});
    row("cmd, joined lines", u"curl \"http://h/?a=1&b=2\" ^\r\n  -H \"X: y\" ^\r\n  --compressed"_s,
        {u"curl"_s, u"http://h/?a=1&b=2"_s, u"-H"_s, u"X: y"_s, u"--compressed"_s});
    row("cmd, each sign escaped", u"curl ^\"http://h/?a=1^&b=^%^22^\" ^\n -H ^\"X: ^\\^\"y^\\^\"^\""_s,
        {u"curl"_s, u"http://h/?a=1&b=%22"_s, u"-H"_s, u"X: \"y\""_s});
    row("cmd, doubled quotes", u"a ^\r\n \"b \"\"c\"\" d\""_s, {u"a"_s, u"b \"c\" d"_s});
}

void TestShellWords::wordsAreThoseOfAShell()
{
    QFETCH(QString, line);
    const ShellWords::Split split = ShellWords::split(line);
    QVERIFY2(split.problem.isEmpty(), qPrintable(split.problem));
    QTEST(split.words, "words");
    QVERIFY(split.rest.isEmpty() && split.output.isEmpty());
}

void TestShellWords::whatIsForAShellIsSetApart_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("words");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("rest");
    QTest::newRow("a pipe") << u"curl u | tar x"_s << u"curl u"_s << QString() << u"| tar x"_s;
    QTest::newRow("another command") << u"curl u; rm -rf x"_s << u"curl u"_s << QString() << u"; rm -rf x"_s;
    QTest::newRow("a condition") << u"curl u&&x"_s << u"curl u"_s << QString() << u"&&x"_s;
    QTest::newRow("a file") << u"curl u > f.iso"_s << u"curl u"_s << u"f.iso"_s << QString();
    QTest::newRow("a file without a blank") << u"curl u >'f 1'"_s << u"curl u"_s << u"f 1"_s << QString();
    QTest::newRow("a file in the middle") << u"curl > f u"_s << u"curl u"_s << u"f"_s << QString();
    QTest::newRow("the end of a file") << u"curl u >> f"_s << u"curl u"_s << u"f"_s << QString();
    QTest::newRow("a file for errors") << u"curl u 2>/dev/null"_s << u"curl u"_s << QString() << u">/dev/null"_s;
}

void TestShellWords::whatIsForAShellIsSetApart()
{
    QFETCH(QString, line);
    const ShellWords::Split split = ShellWords::split(line);
    QVERIFY2(split.problem.isEmpty(), qPrintable(split.problem));
    QTEST(split.words.join(u' '), "words");
    QTEST(split.output, "output");
    QTEST(split.rest, "rest");
}

void TestShellWords::whatOnlyAShellKnowsIsSaid_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("part");
    QTest::newRow("a variable") << u"curl -H \"X: $TOKEN\" u"_s << u"\"$TOKEN\" stands for"_s;
    QTest::newRow("a variable in braces") << u"curl ${URL}"_s << u"\"${URL}\" stands for"_s;
    QTest::newRow("a command") << u"curl $(cat url)"_s << u"\"$(\" stands for"_s;
    QTest::newRow("a command of old") << u"curl `cat url`"_s << u"\"`cat\" stands for"_s;
    QTest::newRow("an open quote") << u"curl 'u"_s << u"a quote is open"_s;
    QTest::newRow("an open double quote") << u"curl \"u\\\""_s << u"a quote is open"_s;
    QTest::newRow("an open quote with escapes") << u"curl $'u\\'"_s << u"a quote is open"_s;
}

void TestShellWords::whatOnlyAShellKnowsIsSaid()
{
    QFETCH(QString, line);
    QFETCH(QString, part);
    const QString problem = ShellWords::split(line).problem;
    QVERIFY2(problem.contains(part), qPrintable(problem));
}

QTEST_GUILESS_MAIN(TestShellWords)
#include "tst_shellwords.moc"
