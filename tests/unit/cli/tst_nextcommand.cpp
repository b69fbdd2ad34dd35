// SPDX-License-Identifier: MIT
#include <cli/nextcommand.h>

#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

/// Commands that people are told to type, read by a shell.
class TestNextCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { NextCommand::setFiles({}, {}); }

    void aShellReadsWhatWasMeant_data();
    void aShellReadsWhatWasMeant();
    void plainWordsHaveNoQuotes();
    void anotherListMayBeMeant();
};

namespace
{

QStringList readByShell(const QString &command)
{
    QProcess shell;
    shell.start(u"sh"_s, {u"-c"_s, u"plait() { printf '%s\\n' \"$@\"; }; "_s + command});
    return shell.waitForFinished() ? QString::fromUtf8(shell.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts)
                                   : QStringList();
}

}

void TestNextCommand::aShellReadsWhatWasMeant_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<QString>("config");
    QTest::addColumn<QStringList>("words");
    const QStringList resume{u"resume"_s, u"7"_s};
    const auto row = [&resume](const char *name, const QString &list, const QString &config, const QStringList &files) {
        QTest::newRow(name) << list << config << resume + files;
    };
    row("nothing was named", {}, {}, {});
    row("a list", u"l.sqlite"_s, {}, {u"--list"_s, u"l.sqlite"_s});
    row("blanks", u"my list"_s, {}, {u"--list"_s, u"my list"_s});
    row("signs of shells", u"a'b\"c$d`e;~"_s, {}, {u"--list"_s, u"a'b\"c$d`e;~"_s});
    row("a home that is none", u"~/l"_s, {}, {u"--list"_s, u"~/l"_s});
    row("a name that looks like an option", u"-l"_s, {}, {u"--list=-l"_s});
    row("other letters", u"/home/änne/l"_s, {}, {u"--list"_s, u"/home/änne/l"_s});
    row("settings", {}, u"my conf"_s, {u"--config"_s, u"my conf"_s});
    row("both", u"l"_s, u"c"_s, {u"--list"_s, u"l"_s, u"--config"_s, u"c"_s});
}

void TestNextCommand::aShellReadsWhatWasMeant()
{
    QFETCH(QString, list);
    QFETCH(QString, config);
    NextCommand::setFiles(list, config);
    QTEST(readByShell(NextCommand::line(u"resume 7"_s)), "words");
}

void TestNextCommand::plainWordsHaveNoQuotes()
{
    NextCommand::setFiles(u"/var/lib/l-1.sqlite"_s, {});
    QCOMPARE(NextCommand::line(u"resume 7"_s), u"plait resume 7 --list /var/lib/l-1.sqlite"_s);
    QCOMPARE(NextCommand::quoted({}), u"''"_s);
}

void TestNextCommand::anotherListMayBeMeant()
{
    NextCommand::setFiles(u"typed"_s, {});
    QCOMPARE(NextCommand::lineFor(u"other one"_s, u"list --repair x"_s), u"plait list --repair x --list 'other one'"_s);
}

QTEST_GUILESS_MAIN(TestNextCommand)
#include "tst_nextcommand.moc"
