// SPDX-License-Identifier: MIT
#include <cli/commandline.h>
#include <cli/commandoptions.h>

#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

using Outcome = CommandLine::Outcome;

class TestCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFirstWordIsTheCommandOrGetIsMeant_data();
    void theFirstWordIsTheCommandOrGetIsMeant();
    void everyCommandHasItsOwnHelp_data();
    void everyCommandHasItsOwnHelp();
    void allOptionsOfACommandAreListed();
    void theProgramsHelpNamesAllCommandsOnOneScreen();
    void helpTellsOfOtherPrograms();
    void helpTellsOfAnOption_data();
    void helpTellsOfAnOption();
    void helpThatThereIsNoneOfNamesTheNearest();
    void othersNamesOfCommandsAreAnswered_data();
    void othersNamesOfCommandsAreAnswered();
    void everyOptionIsNear_data();
    void everyOptionIsNear();
    void everyGroupBelongsToACommandAndEveryCommandToGroups();
    void configTakesAndPrintsEverySetting();
    void whatIsTypedComesBeforeTheFile();
    void theFileIsForCommandsThatHaveTheOption();
    void itIsKnownWhereAValueComesFrom();
    void aMistakeInTheFileIsSaidWithItsLine();
    void anotherCommandBehindTheAddressesIsSaid();
    void optionsThatCannotStandTogetherAreSaid();
    void settingsThatCannotStandTogetherAreSaid();
    void ofAnOptionGivenTwiceTheLastCounts();
    void aFlagMayBeSetToFalse();
    void secretsAreKnownByTheirOptions();
    void theSettingsFileIsNamedAmongTheWords_data();
    void theSettingsFileIsNamedAmongTheWords();

private:
    Outcome read(const QStringList &words, const QByteArray &settings = {}) const
    {
        QFile file(path());
        if (!file.open(QIODevice::WriteOnly) || file.write(settings) != settings.size())
            qFatal("the settings could not be written");
        file.close();
        return CommandLine::read(words, path());
    }
    QString helpOf(const QStringList &words) const
    {
        const Outcome outcome = read(words);
        return !outcome.command && outcome.isHelp ? outcome.text : u"no help: "_s + outcome.text;
    }
    /// Of 80 columns and 24 lines, the last of which is for what is typed next.
    static bool fitsAScreen(const QStringList &lines)
    {
        return lines.size() <= 24 && lines.constLast().isEmpty()
            && std::all_of(lines.cbegin(), lines.cend(), [](const QString &line) { return line.size() <= 80; });
    }
    QString path() const { return m_folder.filePath(u"plait.conf"_s); }

    QTemporaryDir m_folder;
};

void TestCommandLine::theFirstWordIsTheCommandOrGetIsMeant_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<Command>("command");
    QTest::addColumn<QStringList>("rest");
    QTest::newRow("an address") << QStringList{u"http://h/x"_s} << Command::Get << QStringList{u"http://h/x"_s};
    QTest::newRow("options and an address")
        << QStringList{u"-x"_s, u"2"_s, u"http://h/x"_s} << Command::Get << QStringList{u"http://h/x"_s};
    QTest::newRow("nothing") << QStringList() << Command::Get << QStringList();
    QTest::newRow("get") << QStringList{u"get"_s, u"a"_s, u"b"_s} << Command::Get << QStringList{u"a"_s, u"b"_s};
    for (const CommandRow &row : CommandTable::rows()) {
        if (row.command == Command::Help || row.command == Command::Import)
            continue; // another command's, or a text
        QStringList rest(row.leastWords, u"1"_s);
        QTest::newRow(row.name) << QStringList{QString::fromLatin1(row.name)} + rest << row.command << rest;
    }
}

void TestCommandLine::theFirstWordIsTheCommandOrGetIsMeant()
{
    QFETCH(QStringList, words);
    const Outcome outcome = read(words);
    QVERIFY2(outcome.command, qPrintable(outcome.text));
    QTEST(outcome.command->command, "command");
    QTEST(outcome.words, "rest");
}

void TestCommandLine::everyCommandHasItsOwnHelp_data()
{
    QTest::addColumn<QString>("name");
    for (const CommandRow &row : CommandTable::rows())
        QTest::newRow(row.name) << QString::fromLatin1(row.name);
}

void TestCommandLine::everyCommandHasItsOwnHelp()
{
    QFETCH(QString, name);
    const CommandRow &command = *CommandTable::find(name);
    const QStringList page = helpOf({name, u"--help"_s}).split(u'\n');
    QVERIFY2(page.constFirst().startsWith("Usage: plait "_L1) && page.at(1) == QLatin1StringView(command.help),
             qPrintable(page.join(u'\n')));
    QVERIFY2(page.contains(u"Examples:"_s), "a page needs examples");
    QVERIFY2(fitsAScreen(page), qPrintable(page.join(u'\n')));
    QCOMPARE(helpOf({name, u"-h"_s}).split(u'\n'), page);
    QCOMPARE(helpOf({u"help"_s, name}).split(u'\n'), page);
    const QStringList frequent = QString::fromLatin1(command.frequent).split(u' ', Qt::SkipEmptyParts);
    for (const QString &option : frequent) {
        const OptionRow *const row = CommandOptions::table().find(option);
        QVERIFY2(row && command.takes(*row), qPrintable(option));
    }
}

void TestCommandLine::allOptionsOfACommandAreListed()
{
    for (const CommandRow &command : CommandTable::rows()) {
        const QString text = helpOf({u"help"_s, u"options"_s, QString::fromLatin1(command.name)});
        QCOMPARE(helpOf({u"help"_s, QString::fromLatin1(command.name), u"options"_s}), text);
        for (const OptionRow *row : CommandOptions::table().rows()) {
            const QString name = u"--"_s + QLatin1StringView(row->name);
            const bool isNamed = text.contains(name + u' ') || text.contains(name + u'\n');
            QVERIFY2(isNamed == command.takes(*row), row->name);
        }
        const QStringList lines = text.split(u'\n');
        QVERIFY(std::all_of(lines.cbegin(), lines.cend(), [](const QString &line) { return line.size() <= 80; }));
    }
    QCOMPARE(helpOf({u"help"_s, u"options"_s}), helpOf({u"help"_s, u"options"_s, u"get"_s}));
}

void TestCommandLine::theProgramsHelpNamesAllCommandsOnOneScreen()
{
    const QString text = helpOf({u"--help"_s});
    QCOMPARE(helpOf({u"help"_s}), text);
    QVERIFY2(fitsAScreen(text.split(u'\n')), qPrintable(text));
    for (const CommandRow &command : CommandTable::rows())
        QVERIFY2(text.contains(u"\n  %1 "_s.arg(QLatin1StringView(command.name))), command.name);
}

void TestCommandLine::helpTellsOfOtherPrograms()
{
    for (const QString &name : {u"curl"_s, u"wget"_s, u"aria2"_s}) {
        const QString text = helpOf({u"help"_s, name});
        QVERIFY2(text.contains("--output FILE"_L1) && text.contains("leave it out: "_L1), qPrintable(text));
    }
}

void TestCommandLine::helpTellsOfAnOption_data()
{
    QTest::addColumn<QString>("topic");
    QTest::addColumn<QString>("part");
    QTest::newRow("by its name") << u"--limit-rate"_s << u"see Times of"_s;
    QTest::newRow("without dashes") << u"limit-rate"_s << u"--max-download-limit"_s;
    QTest::newRow("the commands that take it") << u"schedule"_s << u"get, resume, retry, restart, finish"_s;
    QTest::newRow("by its letter") << u"-x"_s << u"--max-connections N"_s;
    QTest::newRow("by a name of others that is ours") << u"--split"_s << u"--max-connections N"_s;
    QTest::newRow("of others") << u"--remote-name"_s << u"leave it out"_s;
    QTest::newRow("what it may be") << u"sort"_s << u"name, size"_s;
}

void TestCommandLine::helpTellsOfAnOption()
{
    QFETCH(QString, topic);
    QFETCH(QString, part);
    const QString text = helpOf({u"help"_s, topic});
    QVERIFY2(text.startsWith("  "_L1) && text.contains(part), qPrintable(text));
    QVERIFY2(!text.contains(u'`') && !text.contains("]("_L1), qPrintable(text));
}

void TestCommandLine::othersNamesOfCommandsAreAnswered_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("answer");
    QTest::newRow("ls") << QStringList{u"ls"_s} << u"Did you mean \"plait list\"?"_s;
    QTest::newRow("rm") << QStringList{u"rm"_s, u"3"_s} << u"Did you mean \"plait remove\"?"_s;
    QTest::newRow("status") << QStringList{u"status"_s} << u"Did you mean \"plait list\"?"_s;
    QTest::newRow("version") << QStringList{u"version"_s} << u"Did you mean \"plait --version\"?"_s;
    QTest::newRow("stop") << QStringList{u"stop"_s, u"3"_s} << u"by Ctrl-C. \"plait resume --all\" goes on."_s;
    QTest::newRow("pause") << QStringList{u"pause"_s, u"3"_s} << u"by Ctrl-C. \"plait resume --all\" goes on."_s;
}

void TestCommandLine::othersNamesOfCommandsAreAnswered()
{
    QFETCH(QStringList, words);
    QFETCH(QString, answer);
    const Outcome outcome = read(words);
    QVERIFY(!outcome.command && !outcome.isHelp);
    QVERIFY2(outcome.text.endsWith(answer), qPrintable(outcome.text));
}

void TestCommandLine::helpThatThereIsNoneOfNamesTheNearest()
{
    const Outcome near = read({u"help"_s, u"resmue"_s});
    QVERIFY(!near.command && !near.isHelp);
    QVERIFY2(near.text.contains("Did you mean \"plait help resume\"?"_L1), qPrintable(near.text));
    QVERIFY(read({u"help"_s, u"xyzzy"_s}).text.contains("Run \"plait help\""_L1));
}

void TestCommandLine::everyOptionIsNear_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("answer");
    const auto row = [](const char *name, const QStringList &words, const QString &answer) {
        QTest::newRow(name) << words << answer;
    };
    row("ours", {u"--outptu"_s}, u"Did you mean \"--output\"?"_s);
    row("a synonym is told as ours", {u"--ouptut-document"_s}, u"Did you mean \"--output\"?"_s);
    row("what was begun is gone on with", {u"--output-documen"_s}, u"Did you mean \"--output-document\"?"_s);
    row("one of others", {u"--contineu"_s}, u"Did you mean \"--continue\"?"_s);
    row("help", {u"resume"_s, u"--hlep"_s}, u"Did you mean \"--help\"?"_s);
    row("of another command", {u"--unfinished"_s}, u"It is one of \"plait list\"."_s);
    row("none", {u"--xyzzy"_s}, u"Run \"plait help options\""_s);
    row("a value stays hidden", {u"--usr=anna:pw"_s}, u"\"--usr=…\" here. Did you mean \"--user\"?"_s);
}

void TestCommandLine::everyOptionIsNear()
{
    QFETCH(QStringList, words);
    QFETCH(QString, answer);
    const Outcome outcome = read(words);
    QVERIFY(!outcome.command && !outcome.isHelp);
    QVERIFY2(outcome.text.contains(answer), qPrintable(outcome.text));
}

void TestCommandLine::everyGroupBelongsToACommandAndEveryCommandToGroups()
{
    QSet<QString> groups;
    for (const OptionRow *row : CommandOptions::table().rows())
        groups.insert(QString::fromLatin1(row->group));
    QSet<QString> used;
    for (const CommandRow &command : CommandTable::rows()) {
        const QStringList names = QString::fromLatin1(command.groups).split(u' ', Qt::SkipEmptyParts);
        used += QSet<QString>(names.cbegin(), names.cend());
    }
    QCOMPARE(used, groups);
}

void TestCommandLine::configTakesAndPrintsEverySetting()
{
    QStringList lost;
    for (const OptionRow *row : CommandOptions::table().rows()) {
        if (row->places.testFlag(OptionRow::SettingsFile) && !CommandTable::find(u"config"_s)->takes(*row))
            lost.append(QString::fromLatin1(row->name));
    }
    QCOMPARE(lost, QStringList());
}

void TestCommandLine::whatIsTypedComesBeforeTheFile()
{
    const Outcome outcome = read({u"--tries"_s, u"2"_s, u"--header"_s, u"A: 1"_s, u"u"_s},
                                 "tries = 3\nheader = B: 2\nheader = C: 3\nmax-downloads = 7\n");
    QVERIFY2(outcome.command, qPrintable(outcome.text));
    QCOMPARE(outcome.values.number("tries"_L1), 2);
    QCOMPARE(outcome.values.texts("header"_L1), QStringList{u"A: 1"_s});
    QCOMPARE(outcome.values.number("max-downloads"_L1), 7);
}

void TestCommandLine::theFileIsForCommandsThatHaveTheOption()
{
    const Outcome outcome = read({u"list"_s}, "tries = 3\nlimit = 9\ndir = $PLAIT_NOWHERE\n");
    QVERIFY2(outcome.command, qPrintable(outcome.text));
    QVERIFY(!outcome.values.has("tries"_L1));
    QCOMPARE(outcome.values.number("limit"_L1), 9);
}

void TestCommandLine::itIsKnownWhereAValueComesFrom()
{
    const Outcome outcome = read({u"config"_s, u"-j"_s, u"2"_s}, "\ntries = 3\n");
    QVERIFY2(outcome.command, qPrintable(outcome.text));
    QCOMPARE(outcome.values.given("max-downloads"_L1).constFirst().from, u"the command line"_s);
    QCOMPARE(outcome.values.given("tries"_L1).constFirst().from, path() + ":2"_L1);
}

void TestCommandLine::aMistakeInTheFileIsSaidWithItsLine()
{
    const Outcome outcome = read({u"u"_s}, "tries = many\ncolour = blue\n");
    QVERIFY(!outcome.command && !outcome.isHelp);
    QCOMPARE(outcome.text, path() + ":1: tries \"many\" is no number from 0 to 1000000."_L1);
    QVERIFY(read({u"list"_s}, "tries = many\ncolour = blue\n").text.startsWith(path() + ":2: \"colour\""_L1));
}

void TestCommandLine::anotherCommandBehindTheAddressesIsSaid()
{
    const Outcome outcome = read({u"-q"_s, u"list"_s});
    QVERIFY(!outcome.command);
    QVERIFY2(outcome.text.startsWith(u"\"list\" is a command, and a command comes first"_s), qPrintable(outcome.text));
}

void TestCommandLine::optionsThatCannotStandTogetherAreSaid()
{
    const Outcome outcome = read({u"list"_s, u"--check"_s, u"--repair"_s});
    QVERIFY(!outcome.command && !outcome.isHelp);
    QVERIFY2(outcome.text.contains(u"--check"_s) && outcome.text.contains(u"--repair"_s), qPrintable(outcome.text));
}

void TestCommandLine::settingsThatCannotStandTogetherAreSaid()
{
    const QByteArray both = "ipv4 = true\nipv6 = true\n";
    QCOMPARE(read({u"u"_s}, both).text,
             path() + ":2: \"ipv6\" and \"ipv4\" cannot stand together. Leave one of them out."_L1);
    QVERIFY(read({u"list"_s}, both).command);
    const Outcome typed = read({u"-6"_s, u"u"_s}, "ipv4 = true\n");
    QVERIFY2(typed.values.flag("ipv6"_L1) && !typed.values.flag("ipv4"_L1), qPrintable(typed.text));
}

void TestCommandLine::ofAnOptionGivenTwiceTheLastCounts()
{
    const Outcome outcome = read({u"-x"_s, u"2"_s, u"-x"_s, u"3"_s, u"u"_s});
    QVERIFY2(outcome.command, qPrintable(outcome.text));
    QCOMPARE(outcome.values.number("max-connections"_L1), 3);
}

void TestCommandLine::aFlagMayBeSetToFalse()
{
    const Outcome outcome = read({u"--netrc=false"_s, u"u"_s}, "netrc = true\nquiet\n");
    QVERIFY2(outcome.command, qPrintable(outcome.text));
    QVERIFY(!outcome.values.flag("netrc"_L1));
    QVERIFY(outcome.values.flag("quiet"_L1));
}

void TestCommandLine::secretsAreKnownByTheirOptions()
{
    const QList<QByteArray> options = CommandLine::secretOptions();
    for (const char *secret :
         {"--user", "-u", "--header", "-H", "--header-for-all", "--proxy", "--all-proxy", "--post-data", "--password",
          "--http-passwd", "-U", "--oauth2-bearer", "-b", "--data", "--key-password", "--pass"})
        QVERIFY2(options.contains(secret), secret);
    for (const char *open : {"--output", "-o", "-d", "--json", "-x", "-L", "--referer"})
        QVERIFY2(!options.contains(open), open);
}

void TestCommandLine::theSettingsFileIsNamedAmongTheWords_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("name");
    QTest::newRow("in two words") << QStringList{u"u"_s, u"--config"_s, u"f"_s} << u"f"_s;
    QTest::newRow("in one") << QStringList{u"--config=f"_s} << u"f"_s;
    QTest::newRow("nowhere") << QStringList{u"u"_s} << QString();
    QTest::newRow("without a name") << QStringList{u"--config"_s} << QString();
}

void TestCommandLine::theSettingsFileIsNamedAmongTheWords()
{
    QFETCH(QStringList, words);
    QTEST(CommandLine::configFileOf(words), "name");
}

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
