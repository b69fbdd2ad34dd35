// SPDX-License-Identifier: MIT
#include <cli/commandoptions.h>
#include <cli/commandtable.h>
#include <cli/pages/manpages.h>
#include <cli/pages/roff.h>

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

class TestManPages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void pagesAreSetWithoutAWarning_data();
    void pagesAreSetWithoutAWarning();
    void theProgramsPageHasEachCommandAndOptionAndNoOthers();
    void theSettingsPageHasEachSettingAndNoOthers();
    void aPageHasWhatPeopleLookFor();
    void markdownBecomesRoff_data();
    void markdownBecomesRoff();

private:
    /// As a terminal of 100 columns shows it; empty where there was a warning, which is told.
    static QString shown(const QString &page);

    QString m_manual;
};

void TestManPages::initTestCase()
{
    QFile file(QStringLiteral(PLAIT_SOURCE_ROOT "/docs/manual.md"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    m_manual = QString::fromUtf8(file.readAll());
}

QString TestManPages::shown(const QString &page)
{
    QProcess groff;
    groff.start(u"groff"_s, {u"-man"_s, u"-ww"_s, u"-Tutf8"_s, u"-P-c"_s, u"-P-bou"_s, u"-rLL=100n"_s});
    groff.write(page.toUtf8());
    groff.closeWriteChannel();
    if (!groff.waitForFinished(60000) || groff.exitStatus() != QProcess::NormalExit)
        return {};
    const QByteArray warnings = groff.readAllStandardError();
    if (!warnings.isEmpty())
        qWarning("%s", warnings.constData());
    return warnings.isEmpty() ? QString::fromUtf8(groff.readAllStandardOutput()) : QString();
}

void TestManPages::pagesAreSetWithoutAWarning_data()
{
    QTest::addColumn<QString>("page");
    QTest::newRow("plait(1)") << ManPages::ofProgram(m_manual);
    QTest::newRow("plait.conf(5)") << ManPages::ofSettings(m_manual);
}

void TestManPages::pagesAreSetWithoutAWarning()
{
    QFETCH(QString, page);
    const QString text = shown(page);
    QVERIFY(text.contains("NAME\n"_L1) && text.contains("SEE ALSO\n"_L1));
    // Marks of the manual that were left as they are.
    static const QRegularExpression mark(u"\\*\\*|\\]\\(|\\|---|^ *##|`"_s, QRegularExpression::MultilineOption);
    const QRegularExpressionMatch left = mark.match(QString(text).remove(u"`sha256sum`"_s));
    QVERIFY2(!left.hasMatch(), qPrintable(text.mid(left.capturedStart() - 100, 200)));
}

void TestManPages::theProgramsPageHasEachCommandAndOptionAndNoOthers()
{
    const QString page = ManPages::ofProgram(m_manual);
    for (const CommandRow &command : CommandTable::rows())
        QVERIFY2(page.contains(u"\nplait "_s + Roff::escaped(QString::fromUtf8(command.usage))), command.name);
    // The names stand in a line of their own, behind the mark of an entry.
    static const QRegularExpression entry(u"\\.TP\\n((?:[a-z\\\\-]+(?:, )?)* ?\\\\fB\\\\-.*)\\n"_s);
    static const QRegularExpression option(u"\\\\fB((?:\\\\-|[a-z0-9])+)"_s);
    QStringList named;
    for (const QRegularExpressionMatch &names : entry.globalMatch(page)) {
        for (const QRegularExpressionMatch &name : option.globalMatch(names.captured(1)))
            named.append(name.captured(1).remove(u'\\'));
    }
    named.removeIf([](const QString &name) { return !name.startsWith("--"_L1); });
    QStringList expected{u"--help"_s};
    for (const OptionRow *row : CommandOptions::table().rows())
        expected.append(u"--"_s + QLatin1StringView(row->name));
    named.removeDuplicates();
    named.sort();
    expected.sort();
    QCOMPARE(named, expected);
    for (const OptionRow *row : CommandOptions::table().rows()) {
        for (const QString &other : row->names().mid(1))
            QVERIFY2(page.contains(u"\\fB"_s + Roff::escaped(u"--"_s + other) + u"\\fP"_s), qPrintable(other));
    }
}

void TestManPages::theSettingsPageHasEachSettingAndNoOthers()
{
    static const QRegularExpression setting(u"\\.TP\\n\\\\fB([a-z0-9\\\\-]+) = "_s);
    QStringList named;
    const QString page = ManPages::ofSettings(m_manual);
    for (const QRegularExpressionMatch &match : setting.globalMatch(page))
        named.append(match.captured(1).remove(u'\\'));
    QStringList expected;
    for (const OptionRow *row : CommandOptions::table().at(OptionRow::SettingsFile))
        expected.append(QString::fromLatin1(row->name));
    QCOMPARE(named, expected);
    QVERIFY(page.contains("\\fBheader = N: V\\fP\nsend this header"_L1));
}

void TestManPages::aPageHasWhatPeopleLookFor()
{
    const QString text = shown(ManPages::ofProgram(m_manual));
    for (const QString &heading : {u"SYNOPSIS"_s, u"DESCRIPTION"_s, u"COMMANDS"_s, u"OPTIONS"_s, u"FILES AND FOLDERS"_s,
                                   u"ENVIRONMENT"_s, u"EXIT STATUS"_s, u"EXAMPLES"_s})
        QVERIFY2(text.contains(u'\n' + heading + u'\n'), qPrintable(heading));
    QVERIFY(text.contains("\n       -x, --max-connections N\n"_L1));
    QVERIFY(text.contains("\n       33     the server no longer has the same file; what was downloaded stays\n"
                          "              plait restart ID\n"_L1));
    QVERIFY(text.contains("           plait -o new.iso -x 16 https://example.com/file.iso\n"_L1));
}

void TestManPages::markdownBecomesRoff_data()
{
    QTest::addColumn<QString>("markdown");
    QTest::addColumn<QString>("roff");
    const auto row = [](const char *name, const QString &markdown, const QString &roff) {
        QTest::newRow(name) << markdown << roff;
    };
    row("lines of a paragraph are one", u"a\nb\n\nc\n"_s, u".PP\na b\n.PP\nc\n"_s);
    row("code is bold, and its dashes are dashes", u"see `-x 1`"_s, u".PP\nsee \\fB\\-x 1\\fP\n"_s);
    row("words between stars are bold", u"**get** this"_s, u".PP\n\\fBget\\fP this\n"_s);
    row("a link is its words", u"see [Limits](#limits)."_s, u".PP\nsee Limits.\n"_s);
    row("a full stop at the beginning is no command", u"`x` and\n\n.part is left"_s,
        u".PP\n\\fBx\\fP and\n.PP\n\\&.part is left\n"_s);
    row("neither is one in a block", u"```\n.TH x\n'a\n```\n"_s, u".PP\n.RS 4\n.nf\n\\&.TH x\n\\(aqa\n.fi\n.RE\n"_s);
    row("a backslash is shown", u"`a\\b`"_s, u".PP\n\\fBa\\eb\\fP\n"_s);
    row("other characters have their numbers", u"a…"_s, u".PP\na\\[u2026]\n"_s);
    row("items of a list", u"- a\n  b\n- c\n"_s, u".IP \\(bu 2\na b\n.IP \\(bu 2\nc\n"_s);
    row("a row of a table is an entry", u"| s | m | d |\n|---|---|---|\n| 7 | stopped | a \\| b |\n| 8 | x | |\n"_s,
        u".TP\n7\nstopped\n.br\na | b\n.TP\n8\nx\n"_s);
    row("commands and options are one name", u"| command | o | m |\n|---|---|---|\n| list | `-n` | lines |\n"_s,
        u".TP\nlist \\fB\\-n\\fP\nlines\n"_s);
    row("a lower heading", u"### Stopping\n\na"_s, u".SS Stopping\n.PP\na\n"_s);
}

void TestManPages::markdownBecomesRoff()
{
    QFETCH(QString, markdown);
    QTEST(Roff::blocks(markdown), "roff");
}

QTEST_GUILESS_MAIN(TestManPages)
#include "tst_manpages.moc"
