// SPDX-License-Identifier: MIT
#include <cli/pages/completions.h>

#include <cli/commandoptions.h>

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// The completions, asked of the shells themselves. The program is a stand-in with a list of two downloads.
class TestCompletions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void theScriptIsOneToItsShell_data();
    void theScriptIsOneToItsShell();
    void eachCommandIsOfferedItsOptionsAndNoOthers_data();
    void eachCommandIsOfferedItsOptionsAndNoOthers();
    void whatIsCompletedFitsWhereItStands_data();
    void whatIsCompletedFitsWhereItStands();
    void eachValueIsCompletedAsItsOptionWants();

private:
    /// What the shell offers for the last of the words, each in a line.
    QStringList offered(const QString &shell, const QStringList &words) const;
    QByteArray output(const QString &program, const QStringList &arguments) const;
    QString path(const QString &name) const { return m_folder.filePath(name); }
    void write(const QString &name, const QByteArray &text) const;

    QTemporaryDir m_folder;
};

namespace
{

const QStringList kShells{u"bash"_s, u"zsh"_s, u"fish"_s};

QStringList sorted(QStringList words)
{
    words.sort();
    return words;
}

/// What zsh's own functions would make of what they are told is theirs to test.
const QString kZsh = uR"sh(
_arguments() {
    for told; do
        [[ $told == \** && $told != \*-* ]] && print -r -- "words:$told"
        [[ $told =~ '^(\([^)]*\)|\*)?(--[a-z0-9-]+)' ]] && print -r -- "$match[2]"
    done
}
_files() { print -r -- "files" }
_describe() { print -rl -- "${(@P)${@[-1]}%%:*}" }
words=("$@")
CURRENT=$#words
set --
source "$script"
)sh"_s;

const QString kBash = uR"sh(
source "$script"
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
_plait
[ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\n' "${COMPREPLY[@]}"
)sh"_s;

}

void TestCompletions::initTestCase()
{
    for (const QString &shell : kShells)
        QVERIFY2(!QStandardPaths::findExecutable(shell).isEmpty(),
                 qPrintable(shell + " is missing; \"./dev test\" installs it"_L1));
    write(u"bash.script"_s, Completions::forBash().toUtf8());
    write(u"zsh.script"_s, Completions::forZsh().toUtf8());
    write(u"fish.script"_s, Completions::forFish().toUtf8());
    write(u"plait"_s, "#!/bin/sh\nprintf '     7  done  1.0 KiB  a b.iso\\n    12  43 %%  5.0 KiB  c.iso\\n'\n");
    QVERIFY(QFile::setPermissions(path(u"plait"_s), QFile::ReadOwner | QFile::ExeOwner));
    write(u"file.txt"_s, "x");
    QVERIFY(QDir(m_folder.path()).mkdir(u"folder"_s));
}

void TestCompletions::write(const QString &name, const QByteArray &text) const
{
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
}

QByteArray TestCompletions::output(const QString &program, const QStringList &arguments) const
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"PATH"_s, m_folder.path() + u':' + environment.value(u"PATH"_s));
    for (const QString &name : {u"HOME"_s, u"XDG_CONFIG_HOME"_s, u"XDG_DATA_HOME"_s, u"XDG_CACHE_HOME"_s})
        environment.insert(name, m_folder.path());
    environment.insert(u"script"_s, path(program + u".script"_s));
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(m_folder.path());
    process.start(program, arguments);
    process.closeWriteChannel();
    const bool hasEnded = process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit;
    const QByteArray complaint = process.readAllStandardError();
    return hasEnded && complaint.isEmpty() ? process.readAllStandardOutput() : "complaint: " + complaint;
}

QStringList TestCompletions::offered(const QString &shell, const QStringList &words) const
{
    QByteArray text;
    if (shell == "fish"_L1)
        text = output(shell, {u"--no-config"_s, u"-c"_s, u"source $script; complete -C \"$argv\""_s, words.join(u' ')});
    else if (shell == "zsh"_L1)
        text = output(shell, QStringList{u"-f"_s, u"-c"_s, kZsh, u"zsh"_s} + words);
    else
        text = output(shell, QStringList{u"--norc"_s, u"--noprofile"_s, u"-c"_s, kBash, u"bash"_s} + words);
    QStringList lines = QString::fromUtf8(text).split(u'\n', Qt::SkipEmptyParts);
    for (QString &line : lines)
        line = line.section(u'\t', 0, 0);
    lines.removeDuplicates();
    return sorted(lines);
}

void TestCompletions::theScriptIsOneToItsShell_data()
{
    QTest::addColumn<QString>("shell");
    for (const QString &shell : kShells)
        QTest::newRow(qPrintable(shell)) << shell;
}

void TestCompletions::theScriptIsOneToItsShell()
{
    QFETCH(QString, shell);
    QCOMPARE(output(shell, {u"-n"_s, path(shell + u".script"_s)}), QByteArray());
}

void TestCompletions::eachCommandIsOfferedItsOptionsAndNoOthers_data()
{
    QTest::addColumn<QString>("shell");
    QTest::addColumn<QString>("command");
    for (const QString &shell : kShells) {
        for (const CommandRow &command : CommandTable::rows())
            QTest::addRow("%s: %s", qPrintable(shell), command.name) << shell << QString::fromLatin1(command.name);
        QTest::addRow("%s: no command named", qPrintable(shell)) << shell << QString();
    }
}

void TestCompletions::eachCommandIsOfferedItsOptionsAndNoOthers()
{
    QFETCH(QString, shell);
    QFETCH(QString, command);
    const CommandRow &row = command.isEmpty() ? CommandTable::unnamed() : *CommandTable::find(command);
    QStringList expected{u"--help"_s};
    for (const OptionRow *option : row.options())
        expected.append(u"--"_s + QLatin1StringView(option->name));
    QStringList words = command.isEmpty() ? QStringList{u"plait"_s} : QStringList{u"plait"_s, command};
    words.append(u"--"_s);
    QStringList options = offered(shell, words);
    options.removeIf([](const QString &word) { return word.startsWith("words:"_L1); });
    options.removeAll(command.isEmpty() ? u"--version"_s : QString());
    QCOMPARE(options, sorted(expected));
}

void TestCompletions::whatIsCompletedFitsWhereItStands_data()
{
    QTest::addColumn<QString>("shell");
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QStringList>("expected");
    const QString none;
    for (const QString &shell : {u"bash"_s, u"fish"_s}) {
        const auto row = [&shell](const char *name, const QStringList &words, const QStringList &expected) {
            QTest::addRow("%s: %s", qPrintable(shell), name) << shell << QStringList{u"plait"_s} + words << expected;
        };
        row("a command that was begun", {u"res"_s}, {u"restart"_s, u"resume"_s});
        row("all commands", {none}, sorted(CommandTable::names()));
        row("one of several words", {u"--on-exists"_s, u"o"_s}, {u"overwrite"_s});
        row("numbers of the list", {u"resume"_s, none}, {u"12"_s, u"7"_s});
        row("a file", {u"-i"_s, u"file"_s}, {u"file.txt"_s});
        row("a list of checksums", {u"--checksum-file"_s, u"file"_s}, {u"file.txt"_s});
        row("nothing of ours behind the dashes of a line", {u"import"_s, u"--"_s, u"curl"_s, u"--out"_s}, {});
        row("nothing of ours behind another program", {u"import"_s, u"wget"_s, u"--on-exists"_s, u"ski"_s}, {});
        row("files for another program", {u"import"_s, u"--"_s, u"curl"_s, u"-T"_s, u"file"_s}, {u"file.txt"_s});
        row("ours before the line", {u"import"_s, u"--on-ex"_s}, {u"--on-exists"_s});
        row("what is no folder is none", {u"-d"_s, u"file"_s}, {});
        row("an address is left to who types it", {u"get"_s, none}, {});
        row("a topic of help", {u"help"_s, u"cu"_s}, {u"curl"_s});
        row("an option that was begun", {u"--checks"_s}, {u"--checksum"_s, u"--checksum-file"_s});
        row("an option behind an address", {u"http://h/x"_s, u"--ref"_s}, {u"--referer"_s});
    }
    QTest::newRow("bash: a value behind its sign")
        << u"bash"_s << QStringList{u"plait"_s, u"--on-exists"_s, u"="_s, u"sk"_s} << QStringList{u"skip"_s};
    QTest::newRow("bash: nothing yet behind the sign")
        << u"bash"_s << QStringList{u"plait"_s, u"list"_s, u"--sort"_s, u"="_s}
        << QStringList{u"id"_s, u"name"_s, u"size"_s, u"time"_s};
    QTest::newRow("fish: a value behind its sign")
        << u"fish"_s << QStringList{u"plait"_s, u"--on-exists=sk"_s} << QStringList{u"--on-exists=skip"_s};
    QTest::newRow("zsh: files behind the dashes of a line")
        << u"zsh"_s << QStringList{u"plait"_s, u"import"_s, u"--"_s, u"curl"_s, u"--out"_s} << QStringList{u"files"_s};
    QTest::newRow("zsh: all commands") << u"zsh"_s << QStringList{u"plait"_s, none} << sorted(CommandTable::names());
}

void TestCompletions::whatIsCompletedFitsWhereItStands()
{
    QFETCH(QString, shell);
    QFETCH(QStringList, words);
    QFETCH(QStringList, expected);
    QCOMPARE(offered(shell, words), expected);
}

void TestCompletions::eachValueIsCompletedAsItsOptionWants()
{
    using Completions::Source;
    const QHash<QString, Source> expected{
        {u"dir"_s, Source::Folders},      {u"output"_s, Source::Files},         {u"input-file"_s, Source::Files},
        {u"cert"_s, Source::Files},       {u"on-complete"_s, Source::Programs}, {u"progress"_s, Source::Words},
        {u"checksum"_s, Source::Nothing}, {u"limit-rate"_s, Source::Nothing},   {u"checksum-file"_s, Source::Files},
        {u"log"_s, Source::Files},
    };
    for (auto option = expected.cbegin(); option != expected.cend(); ++option) {
        const OptionRow *const row = CommandOptions::table().find(option.key());
        QVERIFY2(row && Completions::valuesOf(*row) == option.value(), qPrintable(option.key()));
    }
    for (const OptionRow *row : CommandOptions::table().rows()) {
        QVERIFY2(!row->isPath() || Completions::valuesOf(*row) != Source::Nothing, row->name);
    }
}

QTEST_GUILESS_MAIN(TestCompletions)
#include "tst_completions.moc"
