// SPDX-License-Identifier: MIT
#include <cli/optionparser.h>

#include <QMap>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Options = QMap<QString, QStringList>;

/// As a person would type it, without quotes.
OptionParser::Parsed parsed(const QString &line)
{
    return OptionParser::parse(line.split(u' ', Qt::SkipEmptyParts));
}

Options optionsOf(const OptionParser::Parsed &parsed)
{
    Options options;
    for (const OptionParser::Typed &typed : parsed.options)
        options.insert(QString::fromLatin1(typed.row->name), typed.texts);
    return options;
}

}

Q_DECLARE_METATYPE(Options)

class TestOptionParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wordsAreToldFromOptions_data();
    void wordsAreToldFromOptions();
    void aLineForAnotherProgramIsOneOfOurs_data();
    void aLineForAnotherProgramIsOneOfOurs();
    void whatIsLeftOutOfALineIsNoted();
    void anAnswerIsNoComplaint_data();
    void anAnswerIsNoComplaint();
    void aComplaintSaysWhatToDo_data();
    void aComplaintSaysWhatToDo();
};

void TestOptionParser::wordsAreToldFromOptions_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<Options>("options");
    const auto row = [](const char *name, const QString &line, const QStringList &words, const Options &options) {
        QTest::newRow(name) << line << words << options;
    };
    row("nothing but addresses", u"get a b"_s, {u"a"_s, u"b"_s}, {});
    row("options among addresses", u"get a -x 2 b"_s, {u"a"_s, u"b"_s}, {{u"max-connections"_s, {u"2"_s}}});
    row("a name in full, and its value behind a sign", u"get --max-connections=2 a"_s, {u"a"_s},
        {{u"max-connections"_s, {u"2"_s}}});
    row("what may be given several times", u"get --header A:1 --header B:2 a"_s, {u"a"_s},
        {{u"header"_s, {u"A:1"_s, u"B:2"_s}}});
    row("a synonym is ours", u"get --split 3 a"_s, {u"a"_s}, {{u"max-connections"_s, {u"3"_s}}});
    row("behind two dashes there are no options", u"get -q -- --tries"_s, {u"--tries"_s}, {{u"quiet"_s, {u"true"_s}}});
    row("of what may be given once, the last counts", u"get -x 2 --tries 3 -x 4 --tries=5 a"_s, {u"a"_s},
        {{u"max-connections"_s, {u"4"_s}}, {u"tries"_s, {u"5"_s}}});
    row("the same name twice is one name", u"get -o f -o f a"_s, {u"a"_s}, {{u"output"_s, {u"f"_s}}});
    row("numbers of a command of the list", u"show 3 --json"_s, {u"3"_s}, {{u"json"_s, {u"true"_s}}});
    row("a value that is nothing of its kind is not looked at here", u"get --tries many a"_s, {u"a"_s},
        {{u"tries"_s, {u"many"_s}}});
}

void TestOptionParser::wordsAreToldFromOptions()
{
    QFETCH(QString, line);
    const OptionParser::Parsed parsed = ::parsed(line);
    QVERIFY2(parsed.command, qPrintable(parsed.text));
    QCOMPARE(QString::fromLatin1(parsed.command->name), line.section(u' ', 0, 0));
    QTEST(parsed.words, "words");
    QTEST(optionsOf(parsed), "options");
    QVERIFY(parsed.notes.isEmpty() && parsed.text.isEmpty());
}

void TestOptionParser::aLineForAnotherProgramIsOneOfOurs_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<Options>("options");
    QTest::newRow("its own options") << u"import curl -o f http://h/f"_s << QStringList{u"http://h/f"_s}
                                     << Options{{u"output"_s, {u"f"_s}}};
    QTest::newRow("ours before it") << u"import -d sub -- wget --tries=3 http://h/f"_s << QStringList{u"http://h/f"_s}
                                    << Options{{u"dir"_s, {u"sub"_s}}, {u"tries"_s, {u"3"_s}}};
    QTest::newRow("an address that looks like an option")
        << u"import -- curl -- --tries"_s << QStringList{u"--tries"_s} << Options();
}

void TestOptionParser::aLineForAnotherProgramIsOneOfOurs()
{
    QFETCH(QString, line);
    const OptionParser::Parsed parsed = ::parsed(line);
    QVERIFY2(parsed.command, qPrintable(parsed.text));
    QCOMPARE(parsed.command->command, Command::Get);
    QTEST(parsed.words, "words");
    QTEST(optionsOf(parsed), "options");
}

void TestOptionParser::whatIsLeftOutOfALineIsNoted()
{
    const OptionParser::Parsed parsed = ::parsed(u"import curl -k http://h/f"_s);
    QVERIFY2(parsed.command, qPrintable(parsed.text));
    QCOMPARE(parsed.notes.size(), 1);
    QVERIFY2(parsed.notes.constFirst().startsWith(u"\"-k\" is left out"_s), qPrintable(parsed.notes.constFirst()));
}

void TestOptionParser::anAnswerIsNoComplaint_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("beginning");
    QTest::newRow("the program") << u"--help"_s << u"plait downloads"_s;
    QTest::newRow("the program, by a command") << u"help"_s << u"plait downloads"_s;
    QTest::newRow("a command") << u"list -h"_s << u"Usage: plait list"_s;
    QTest::newRow("a command in the middle of a line") << u"get http://h/f --help"_s << u"Usage: plait .get. URL"_s;
    QTest::newRow("the command that takes other programs' lines") << u"import --help"_s << u"Usage: plait import"_s;
    QTest::newRow("not what the other program has to say")
        << u"import -h curl http://h/f"_s << u"Usage: plait import"_s;
    QTest::newRow("the version") << u"--version"_s << u"plait \\d+\\."_s;
    QTest::newRow("the version, behind a command") << u"get http://h/f --version"_s << u"plait \\d+\\."_s;
}

void TestOptionParser::anAnswerIsNoComplaint()
{
    QFETCH(QString, line);
    QFETCH(QString, beginning);
    const OptionParser::Parsed parsed = ::parsed(line);
    QVERIFY(!parsed.command && parsed.isHelp);
    QVERIFY2(QRegularExpression(u'^' + beginning).match(parsed.text).hasMatch(), qPrintable(parsed.text));
}

void TestOptionParser::aComplaintSaysWhatToDo_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("end");
    QTest::newRow("an option that another command has")
        << u"show 1 --unfinished"_s << u"It is one of \"plait list\"."_s;
    QTest::newRow("the beginning of an option") << u"get --outp 3"_s << u"Did you mean \"--output\"?"_s;
    QTest::newRow("the beginning of its other name")
        << u"get --output-docu 3"_s << u"Did you mean \"--output-document\"?"_s;
    QTest::newRow("an option with a slip") << u"list --limti 3"_s << u"Did you mean \"--limit\"?"_s;
    QTest::newRow("a letter that is none")
        << u"list -y"_s << u"there is no option \"-y\" here. Run \"plait help options list\" to see what there is."_s;
    QTest::newRow("a long name that is near to none")
        << u"get --xyzzy"_s
        << u"there is no option \"--xyzzy\" here. Run \"plait help options\" to see what there is."_s;
    QTest::newRow("a word too many")
        << u"config abc"_s << u"\"abc\" is a word too many. Run \"plait help options config\" to see what there is."_s;
    QTest::newRow("an option without its value")
        << u"list --limit"_s << u"\"--limit\" needs a value. Write \"--limit N\"."_s;
    QTest::newRow("two that exclude each other")
        << u"get -q -v http://h/f"_s
        << u"\"--quiet\" and \"--verbose\" cannot stand together. Leave one of them out."_s;
    QTest::newRow("two names for a file")
        << u"get -o a http://h/f -o b http://h/g"_s
        << u"\"--output\" is given twice: \"a\" and \"b\". Run plait once for each."_s;
    QTest::newRow("two bodies") << u"get --post-data pw=1 --post-data pw=2 http://h/f"_s
                                << u"\"--post-data\" is given twice. Run plait once for each."_s;
    QTest::newRow("no number to show")
        << u"show"_s << u"\"plait show\" is written \"plait show ID…\". Run \"plait list\" to see the numbers."_s;
    QTest::newRow("no number to remove")
        << u"remove"_s << u"\"plait remove\" is written \"plait remove ID…\". Run \"plait list\" to see the numbers."_s;
    QTest::newRow("no address to set")
        << u"set-url 7"_s
        << u"\"plait set-url\" is written \"plait set-url ID URL\". Run \"plait list\" to see the numbers."_s;
    QTest::newRow("no other program") << u"import ftp://h/f"_s << QString();
}

void TestOptionParser::aComplaintSaysWhatToDo()
{
    QFETCH(QString, line);
    QFETCH(QString, end);
    const OptionParser::Parsed parsed = ::parsed(line);
    QVERIFY(!parsed.command && !parsed.isHelp && !parsed.text.isEmpty());
    QVERIFY2(parsed.text.endsWith(end), qPrintable(parsed.text));
}

QTEST_GUILESS_MAIN(TestOptionParser)
#include "tst_optionparser.moc"
