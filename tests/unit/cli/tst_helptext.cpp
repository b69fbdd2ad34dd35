// SPDX-License-Identifier: MIT
#include <cli/commandoptions.h>
#include <cli/habits.h>
#include <cli/helptext.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// Where the words beside the names of options begin.
constexpr qsizetype kOptionColumn = 27;
constexpr qsizetype kMostBeforeAName = 6;

qsizetype blanksBefore(const QString &line)
{
    qsizetype blanks = 0;
    while (blanks < line.size() && line.at(blanks) == u' ')
        ++blanks;
    return blanks;
}

QString pageAbout(const QStringList &topics)
{
    QString problem;
    const QString page = HelpText::about(topics, &problem);
    return problem.isEmpty() ? page : u"problem: "_s + problem;
}

}

class TestHelpText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thereIsAPageAboutEachTopic_data();
    void thereIsAPageAboutEachTopic();
    void whatThereIsNoHelpAboutIsSaid_data();
    void whatThereIsNoHelpAboutIsSaid();
    void allWordsOfAnOptionAreThere();
    void wordsStandInOneColumn();
    void pagesOfOtherProgramsFitATerminal();
};

void TestHelpText::thereIsAPageAboutEachTopic_data()
{
    QTest::addColumn<QStringList>("topics");
    QTest::addColumn<QString>("page");
    const CommandRow &list = *CommandTable::find(u"list"_s);
    const auto row = [](const char *name, const QStringList &topics, const QString &page) {
        QTest::newRow(name) << topics << page;
    };
    row("nothing", {}, HelpText::ofProgram());
    row("a command", {u"list"_s}, HelpText::ofCommand(list));
    row("all options of a command", {u"options"_s, u"list"_s}, HelpText::ofOptions(list));
    row("the same the other way round", {u"list"_s, u"options"_s}, HelpText::ofOptions(list));
    row("all options of what is done most", {u"options"_s}, HelpText::ofOptions(CommandTable::unnamed()));
    row("another program by its path", {u"/usr/bin/aria2c"_s}, pageAbout({u"aria2"_s}));
}

void TestHelpText::thereIsAPageAboutEachTopic()
{
    QFETCH(QStringList, topics);
    QTEST(pageAbout(topics), "page");
}

void TestHelpText::whatThereIsNoHelpAboutIsSaid_data()
{
    QTest::addColumn<QStringList>("topics");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *name, const QStringList &topics, const QString &problem) {
        QTest::newRow(name) << topics << u"problem: "_s + problem;
    };
    const QString run = u" Run \"plait help\" to see what there is."_s;
    row("a command with a slip", {u"lsit"_s}, u"there is no help about \"lsit\". Did you mean \"plait help list\"?"_s);
    row("the word for options with a slip", {u"optoins"_s},
        u"there is no help about \"optoins\". Did you mean \"plait help options\"?"_s);
    row("another program with a slip", {u"wegt"_s},
        u"there is no help about \"wegt\". Did you mean \"plait help wget\"?"_s);
    row("options of what is no command", {u"options"_s, u"xyzzy"_s}, u"there is no help about \"xyzzy\"."_s + run);
    row("something long is told in part", {QString(300, u'x')},
        u"there is no help about \"%1\"."_s.arg(QString(30, u'x')) + run);
}

void TestHelpText::whatThereIsNoHelpAboutIsSaid()
{
    QFETCH(QStringList, topics);
    QTEST(pageAbout(topics), "problem");
}

/// Lines are broken between words, and a name that is too long for its column is no reason to lose any.
void TestHelpText::allWordsOfAnOptionAreThere()
{
    for (const CommandRow &command : CommandTable::rows()) {
        const QString page = HelpText::ofOptions(command).simplified();
        const QList<const OptionRow *> rows = command.options();
        for (const OptionRow *row : rows) {
            const QString entry = u"--%1 %2 %3"_s.arg(QLatin1StringView(row->name), QLatin1StringView(row->valueName),
                                                      QString::fromUtf8(row->help));
            QVERIFY2(page.contains(entry.simplified()), qPrintable(entry));
            const QStringList choices = QString::fromLatin1(row->choices).split(u' ', Qt::SkipEmptyParts);
            QVERIFY2(choices.isEmpty() || page.contains(u": "_s + choices.join(u", "_s)), row->name);
        }
    }
}

void TestHelpText::wordsStandInOneColumn()
{
    for (const CommandRow &command : CommandTable::rows()) {
        const QStringList lines = HelpText::ofOptions(command).split(u'\n');
        for (const QString &line : lines) {
            const qsizetype blanks = blanksBefore(line);
            QVERIFY2(blanks <= kMostBeforeAName || blanks == kOptionColumn, qPrintable(line));
        }
    }
}

void TestHelpText::pagesOfOtherProgramsFitATerminal()
{
    const QList<const Habits::Tool *> tools = Habits::tools();
    for (const Habits::Tool *tool : tools) {
        const QStringList lines = pageAbout({tool->name}).split(u'\n');
        QVERIFY2(lines.constFirst().startsWith(u"What you know from %1,"_s.arg(tool->name)),
                 qPrintable(lines.constFirst()));
        for (const QString &line : lines)
            QVERIFY2(line.size() <= 80, qPrintable(line));
    }
}

QTEST_GUILESS_MAIN(TestHelpText)
#include "tst_helptext.moc"
