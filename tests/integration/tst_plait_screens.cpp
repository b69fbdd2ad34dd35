// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/plaitterminal.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kColumns = 80;
constexpr int kRows = 24;
constexpr int kNotFound = 3;
constexpr quint64 kSeed = 31;
constexpr qint64 kSize = qint64(2) * 1024 * 1024;
constexpr double kCellWidth = 8.4;
constexpr int kCellHeight = 18;
constexpr int kMargin = 12;

/// Rows of a terminal as a picture of its characters.
QByteArray pictureOf(const QStringList &rows)
{
    const QString width = QString::number(kColumns * kCellWidth + 2 * kMargin);
    const QString height = QString::number(rows.size() * kCellHeight + 2 * kMargin);
    QString svg = u"<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%2\">\n"
                  u"<rect width=\"100%\" height=\"100%\" rx=\"6\" fill=\"#1c1f24\"/>\n"
                  u"<g font-family=\"DejaVu Sans Mono, monospace\" font-size=\"14\" fill=\"#d8dee6\" "
                  u"xml:space=\"preserve\">\n"_s.arg(width, height);
    for (qsizetype i = 0; i < rows.size(); ++i) {
        svg += u"<text x=\"%1\" y=\"%2\" textLength=\"%3\" lengthAdjust=\"spacingAndGlyphs\">%4</text>\n"_s.arg(
            QString::number(kMargin), QString::number(kMargin + 14 + i * kCellHeight),
            QString::number(double(rows.at(i).size()) * kCellWidth), rows.at(i).toHtmlEscaped());
    }
    return (svg + u"</g>\n</svg>\n"_s).toUtf8();
}

/// As a terminal does.
QStringList wrapped(const QStringList &lines)
{
    QStringList rows;
    for (const QString &line : lines) {
        for (qsizetype from = 0; from == 0 || from < line.size(); from += kColumns)
            rows.append(line.mid(from, kColumns));
    }
    return rows;
}

bool hasWord(const QStringList &rows, const QString &word)
{
    return std::any_of(rows.cbegin(), rows.cend(), [&word](const QString &row) { return row.contains(word); });
}

}

/// What people see on a terminal of 80 columns, from real runs. With PLAIT_WRITE_SCREENS=1 it is drawn into
/// docs/screens.
class TestPlaitScreens : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void severalDownloadsAndTheirEnd();
    void whatWasFetchedIsListed();
    void theHelpOfTheProgram();
    void anErrorSaysWhatToDo();

private:
    QString url(const QString &path) const { return m_server.url(path).toString(); }
    QStringList steady(QStringList rows) const;
    bool show(const QString &name, const QString &typed, const TerminalModel &screen);

    TestCa m_ca;
    NginxServer m_server;
    PlaitSandbox m_plait;
};

void TestPlaitScreens::initTestCase()
{
    QVERIFY2(m_ca.isValid(), qPrintable(m_ca.errorText()));
    QVERIFY2(m_server.start(m_ca), qPrintable(m_server.errorText()));
    QVERIFY(m_server.addFile(u"debian.iso"_s, kSeed, kSize));
    QVERIFY(m_server.addFile(u"holiday.mp4"_s, kSeed + 1, kSize));
    QVERIFY(m_server.addFile(u"notes.txt"_s, kSeed + 2, 1000));
}

QStringList TestPlaitScreens::steady(QStringList rows) const
{
    rows.replaceInStrings(url({}), u"https://files.example"_s);
    rows.replaceInStrings(m_plait.downloads(), u"/home/anna/Downloads"_s);
    return wrapped(rows);
}

/// Live lines are not too wide for it, and it is drawn where that was asked for.
bool TestPlaitScreens::show(const QString &name, const QString &typed, const TerminalModel &screen)
{
    if (screen.lines().isEmpty() || screen.lostCharacters() > 0)
        return false;
    if (!qEnvironmentVariableIsSet("PLAIT_WRITE_SCREENS"))
        return true;
    QFile file(QDir(QStringLiteral(PLAIT_SCREENS)).filePath(name + u".svg"_s));
    const QByteArray picture = pictureOf(QStringList{u"$ plait "_s + typed} + steady(screen.wholeLines()));
    return QDir().mkpath(QStringLiteral(PLAIT_SCREENS)) && file.open(QIODevice::WriteOnly)
        && file.write(picture) == picture.size();
}

void TestPlaitScreens::severalDownloadsAndTheirEnd()
{
    PlaitTerminal terminal(kColumns, kRows);
    const TerminalModel &screen = terminal.screen();
    QVERIFY(terminal.start(
        m_plait,
        {u"-x"_s, u"4"_s, url(u"/rate/100k/debian.iso"_s), url(u"/notes.txt"_s), url(u"/rate/100k/holiday.mp4"_s)}));
    static const QRegularExpression middle(u" [3-6]\\d%"_s);
    const auto isUnderWay = [&screen] {
        const QStringList rows = screen.lines();
        const auto shows = [&rows](const QString &name) {
            const QStringList found = rows.filter(name).filter(u"["_s);
            return !found.isEmpty() && found.last().contains(u'►') && found.last().contains(middle);
        };
        return shows(u"debian.iso"_s) && shows(u"holiday.mp4"_s) && hasWord(rows, u"notes.txt"_s);
    };
    QVERIFY2(terminal.waitFor(isUnderWay), terminal.bytes());
    const QString typed = u"-x 4 -i urls.txt"_s;
    QVERIFY(show(u"strip"_s, typed, screen));
    QCOMPARE(terminal.finish(), 0);
    QVERIFY2(hasWord(screen.lines(), u"3 done, 4.0 MiB in"_s), terminal.bytes());
    QVERIFY(show(u"end"_s, typed, screen));
}

void TestPlaitScreens::whatWasFetchedIsListed()
{
    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(m_plait, {u"list"_s}));
    QCOMPARE(terminal.finish(), 0);
    QVERIFY2(hasWord(terminal.screen().lines(), u"debian.iso"_s), terminal.bytes());
    QVERIFY(show(u"list"_s, u"list"_s, terminal.screen()));
}

void TestPlaitScreens::theHelpOfTheProgram()
{
    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(m_plait, {u"--help"_s}));
    QCOMPARE(terminal.finish(), 0);
    QVERIFY2(hasWord(terminal.screen().lines(), u"resume"_s), terminal.bytes());
    QVERIFY(show(u"help"_s, u"--help"_s, terminal.screen()));
}

void TestPlaitScreens::anErrorSaysWhatToDo()
{
    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(m_plait, {url(u"/nothing.zip"_s)}));
    QCOMPARE(terminal.finish(), kNotFound);
    QVERIFY2(hasWord(terminal.screen().wholeLines(), u"(HTTP status 404). Check the address."_s), terminal.bytes());
    QVERIFY(show(u"error"_s, u"https://files.example/nothing.zip"_s, terminal.screen()));
}

QTEST_GUILESS_MAIN(TestPlaitScreens)
#include "tst_plait_screens.moc"
