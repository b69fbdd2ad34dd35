// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/plaitterminal.h>
#include <tests/support/nginxserver.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QRegularExpression>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
constexpr quint64 kSeed = 31;
constexpr qint64 kSize = qint64(2) * 1024 * 1024;
constexpr int kRows = 24;
// Terminals of fewer columns have no room for a strip.
constexpr int kStripColumns = 80;
// Four connections of this rate take a few seconds.
const QString kSlowFile = u"/rate/100k/file.bin"_s;
const QString kOtherSlowFile = u"/rate/100k/other.bin"_s;
// Slow enough for four connections to be there at once.
constexpr qint64 kHeldRate = qint64(400) * 1024;
const QString kLongName = u"a-name-that-is-much-longer-than-any-terminal-of-forty-columns-could-show.bin"_s;

QString allFrames(const TerminalModel &screen)
{
    QStringList texts;
    for (const QStringList &frame : screen.frames())
        texts.append(frame.join(u'\n'));
    return texts.join(u"\n--\n"_s) + u"\n== "_s + screen.unknownCodes().join(u' ');
}

QStringList linesAbout(const QString &name, const TerminalModel &screen)
{
    QStringList lines;
    for (const QStringList &frame : screen.frames())
        lines += frame.filter(name);
    return lines;
}

/// Times and speeds are other ones each time.
QString steady(QString text)
{
    static const QRegularExpression time(u"in \\d+\\.\\d s \\([0-9.]+ [KM]iB/s\\)"_s);
    return text.replace(time, u"in 9.9 s (9.9 KiB/s)"_s);
}

/// Part of the file is there, and bytes arrive.
bool hasStripInProgress(const QString &line)
{
    return line.contains(u'[') && line.contains(u'█') && line.contains(u'►') && line.contains(u'░');
}

bool showsStripInProgress(const TerminalModel &screen)
{
    return !screen.frames().isEmpty()
        && std::any_of(screen.frames().last().begin(), screen.frames().last().end(), &hasStripInProgress);
}

/// The line of each of two downloads, and the one of both.
bool showsAll(const TerminalModel &screen)
{
    const QStringList frame = screen.frames().isEmpty() ? QStringList() : screen.frames().last();
    return frame.size() == 3 && frame.at(0).contains(u'%') && frame.at(1).contains(u'%');
}

/// Shows so many lines, none of them wider than the terminal, and the strip where there is room for it.
bool fits(const TerminalModel &screen, qsizetype lines, int columns)
{
    const QStringList frame = screen.frames().last();
    return frame.size() == lines && frame.first().contains(u'[') == (columns >= kStripColumns)
        && std::all_of(frame.begin(), frame.end(), [=](const QString &line) { return line.size() < columns; });
}

QStringList fourConnections(const QStringList &more)
{
    return QStringList{u"-x"_s, u"4"_s} + more;
}
}

Q_DECLARE_METATYPE(TerminalModel::OnResize)

/// The program on a terminal, seen through the terminal's eyes.
class TestPlaitTerminal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void theStripShowsWhatIsThereAndWhereBytesArrive_data();
    void theStripShowsWhatIsThereAndWhereBytesArrive();
    void anotherSizeLeavesNoRemains_data();
    void anotherSizeLeavesNoRemains();
    void severalDownloadsFitEverySize();
    void severalDownloadsLeaveTheirLastLinesAlone();
    void stoppingTakesTheLiveLinesAway();
    void noColourIsUsedWhereNoneIsWanted();
    void withoutUtf8TheStripIsAscii();
    void aDumbTerminalGetsNoCodes();

private:
    QString url(const QString &path) const { return m_server.url(path).toString(); }
    /// A file that comes to half by itself: a download of it lasts until the server is released.
    QString heldUrl(const QString &name);

    TestCa m_ca;
    NginxServer m_server;
    ScriptedServer m_holder;
};

void TestPlaitTerminal::initTestCase()
{
    QVERIFY2(m_ca.isValid(), qPrintable(m_ca.errorText()));
    QVERIFY2(m_server.start(m_ca), qPrintable(m_server.errorText()));
    QVERIFY(m_server.addFile(u"file.bin"_s, kSeed, kSize));
    QVERIFY(m_server.addFile(u"other.bin"_s, kSeed + 1, kSize));
    QVERIFY(m_server.addFile(u"small.bin"_s, kSeed + 2, 1000));
}

QString TestPlaitTerminal::heldUrl(const QString &name)
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.bytesPerSecond = kHeldRate;
    response.holdAfter = kSize / 8;
    m_holder.setResponse('/' + name.toUtf8(), response);
    m_holder.shut();
    return m_holder.url(u'/' + name).toString();
}

void TestPlaitTerminal::theStripShowsWhatIsThereAndWhereBytesArrive_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<bool>("hasStrip");
    QTest::addColumn<bool>("hasSize");

    QTest::addColumn<QString>("left");

    QTest::newRow("40 columns have no room for a strip")
        << 40 << false << false
        << u"Saved \"file.bin\":\n  2.0 MiB in 9.9 s (9.9 KiB/s),\n  no checksum, 4 connections at most:\n"
           u"  limit of 4 reached"_s;
    QTest::newRow("80 columns") << 80 << true << false
                                << u"Saved \"file.bin\":\n  2.0 MiB in 9.9 s (9.9 KiB/s), no checksum,\n"
                                   u"  4 connections at most: limit of 4 reached"_s;
    QTest::newRow("200 columns") << 200 << true << true
                                 << u"Saved \"file.bin\": 2.0 MiB in 9.9 s (9.9 KiB/s), no checksum, "
                                    u"4 connections at most: limit of 4 reached"_s;
}

void TestPlaitTerminal::theStripShowsWhatIsThereAndWhereBytesArrive()
{
    QFETCH(int, columns);
    QFETCH(bool, hasStrip);
    PlaitSandbox plait;
    PlaitTerminal terminal(columns, kRows);
    const TerminalModel &screen = terminal.screen();
    QVERIFY(terminal.start(plait, fourConnections({url(kSlowFile)})));
    QCOMPARE(terminal.finish(), 0);

    const QStringList lines = linesAbout(u"file.bin"_s, screen);
    QVERIFY2(!lines.isEmpty(), terminal.bytes());
    QCOMPARE(std::any_of(lines.begin(), lines.end(), &hasStripInProgress), hasStrip);
    QTEST(!lines.filter(u"of 2.0 MiB"_s).isEmpty(), "hasSize");
    QVERIFY2(!lines.filter(u"KiB/s"_s).isEmpty(), qPrintable(allFrames(screen)));
    QVERIFY2(!lines.filter(u"0:0"_s).filter(u"left"_s).isEmpty(), qPrintable(allFrames(screen)));
    QCOMPARE(lines.filter(u"4 conn"_s).isEmpty(), !hasStrip);
    QCOMPARE(screen.lostCharacters(), 0);
    for (const QString &line : lines)
        QVERIFY2(line.size() < columns, qPrintable(line));
    QVERIFY2(screen.unknownCodes().isEmpty(), qPrintable(screen.unknownCodes().join(u' ')));
    const QString left = steady(screen.lines().join(u'\n'));
    QTEST(left, "left");
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"file.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitTerminal::anotherSizeLeavesNoRemains_data()
{
    QTest::addColumn<TerminalModel::OnResize>("onResize");
    QTest::newRow("the terminal wraps anew what stands") << TerminalModel::OnResize::WrapAnew;
    QTest::newRow("the terminal cuts off what stands") << TerminalModel::OnResize::CutOff;
}

void TestPlaitTerminal::anotherSizeLeavesNoRemains()
{
    QFETCH(TerminalModel::OnResize, onResize);
    PlaitSandbox plait;
    PlaitTerminal terminal(200, kRows, onResize);
    const TerminalModel &screen = terminal.screen();
    QVERIFY(terminal.start(plait, fourConnections({heldUrl(u"file.bin"_s)})));
    QVERIFY2(terminal.waitFor([&] { return showsStripInProgress(screen); }), terminal.bytes());
    for (const int columns : {60, 30, 80, 120}) {
        const qsizetype seen = screen.frames().size();
        terminal.resize(columns, kRows);
        QVERIFY2(terminal.waitFor([&] { return screen.frames().size() > seen && fits(screen, 1, columns); }),
                 terminal.bytes());
    }
    QVERIFY2(showsStripInProgress(screen), qPrintable(allFrames(screen)));
    m_holder.release();
    QCOMPARE(terminal.finish(), 0);
    QVERIFY2(screen.wholeLines().size() == 1, qPrintable(screen.wholeLines().join(u'\n')));
    QVERIFY(screen.wholeLines().first().startsWith("Saved \""_L1));
    QCOMPARE(screen.lostCharacters(), 0);
}

/// One of them has a name that is wider than the narrowest.
void TestPlaitTerminal::severalDownloadsFitEverySize()
{
    PlaitSandbox plait;
    PlaitTerminal terminal(40, kRows);
    const TerminalModel &screen = terminal.screen();
    QVERIFY(terminal.start(plait, fourConnections({heldUrl(u"file.bin"_s), heldUrl(kLongName)})));
    QVERIFY2(terminal.waitFor([&] { return showsAll(screen) && fits(screen, 3, 40); }), terminal.bytes());
    for (const int columns : {200, 40, 80, 20}) {
        const qsizetype seen = screen.frames().size();
        terminal.resize(columns, kRows);
        // A frame of the size before may have been on its way.
        QVERIFY2(terminal.waitFor([&] { return screen.frames().size() > seen && fits(screen, 3, columns); }),
                 terminal.bytes());
        const QStringList frame = screen.frames().last();
        QVERIFY2(frame.at(0).startsWith("file.bin"_L1) && frame.at(1).startsWith(kLongName.left(5))
                     && frame.at(2).startsWith("2 running"_L1),
                 qPrintable(allFrames(screen)));
    }
    m_holder.release();
    QCOMPARE(terminal.finish(), 0);
    QCOMPARE(screen.lostCharacters(), 0);
    QVERIFY2(screen.unknownCodes().isEmpty(), qPrintable(screen.unknownCodes().join(u' ')));
    QCOMPARE(screen.wholeLines().filter(u"Saved \""_s).size(), 2);
}

void TestPlaitTerminal::severalDownloadsLeaveTheirLastLinesAlone()
{
    PlaitSandbox plait;
    PlaitTerminal terminal(80, kRows);
    const TerminalModel &screen = terminal.screen();
    QVERIFY(terminal.start(plait, fourConnections({url(kSlowFile), url(u"/status/404"_s), url(kOtherSlowFile)})));
    QCOMPARE(terminal.finish(), 3);
    QVERIFY2(!linesAbout(u"running"_s, screen).isEmpty(), qPrintable(allFrames(screen)));
    const QStringList left = screen.wholeLines();
    QCOMPARE(left.filter(u"Saved \""_s).size(), 2);
    QCOMPARE(left.filter(u"plait: "_s).size(), 1);
    QCOMPARE(steady(left.mid(left.size() - 2).join(u'\n')),
             u"2 done, 1 failed, 4.0 MiB in 9.9 s (9.9 KiB/s)\n  404: HTTP status 404"_s);
    QCOMPARE(screen.lostCharacters(), 0);
}

void TestPlaitTerminal::stoppingTakesTheLiveLinesAway()
{
    PlaitSandbox plait;
    PlaitTerminal terminal(80, kRows);
    const TerminalModel &screen = terminal.screen();
    QVERIFY(terminal.start(plait, fourConnections({url(kSlowFile), url(kOtherSlowFile)})));
    QVERIFY2(terminal.waitFor([&] { return showsStripInProgress(screen); }), terminal.bytes());
    terminal.interrupt();
    QCOMPARE(terminal.finish(), 7);
    const QStringList left = screen.wholeLines();
    QVERIFY2(left.size() == 3 && left.last().startsWith(u"  stopped: "_s) && left.last().contains(u"file.bin"_s)
                 && left.first().startsWith(u"0 done, 2 stopped (run the same command again to resume),"_s),
             qPrintable(left.join(u'\n')));
}

void TestPlaitTerminal::noColourIsUsedWhereNoneIsWanted()
{
    PlaitSandbox plait;
    PlaitTerminal coloured(80, kRows);
    QVERIFY(coloured.start(plait, fourConnections({url(kSlowFile)})));
    QVERIFY2(coloured.waitFor([&] { return showsStripInProgress(coloured.screen()); }), coloured.bytes());
    QVERIFY(coloured.screen().colourCodes() > 0);
    coloured.interrupt();
    QCOMPARE(coloured.finish(), 7);

    PlaitTerminal plain(80, kRows);
    QVERIFY(plain.start(plait, fourConnections({url(kOtherSlowFile)}), {u"NO_COLOR=1"_s}));
    QVERIFY2(plain.waitFor([&] { return showsStripInProgress(plain.screen()); }), plain.bytes());
    plain.interrupt();
    QCOMPARE(plain.finish(), 7);
    QCOMPARE(plain.screen().colourCodes(), 0);
}

void TestPlaitTerminal::withoutUtf8TheStripIsAscii()
{
    PlaitSandbox plait;
    PlaitTerminal terminal(80, kRows);
    QVERIFY(terminal.start(plait, fourConnections({url(kSlowFile)}), {u"LC_ALL=C"_s}));
    QCOMPARE(terminal.finish(), 0);
    const QStringList lines = linesAbout(u"file.bin  ["_s, terminal.screen());
    QVERIFY2(!lines.filter(u"#>"_s).isEmpty(), qPrintable(allFrames(terminal.screen())));
    const QByteArray bytes = terminal.bytes();
    QVERIFY(std::none_of(bytes.begin(), bytes.end(), [](char c) { return (uchar(c) & 0x80) != 0; }));
}

void TestPlaitTerminal::aDumbTerminalGetsNoCodes()
{
    PlaitSandbox plait;
    PlaitTerminal terminal(80, kRows);
    QVERIFY(terminal.start(plait, {url(u"/small.bin"_s)}, {u"TERM=dumb"_s}));
    QCOMPARE(terminal.finish(), 0);
    QVERIFY2(!terminal.bytes().contains('\033'), terminal.bytes());
    QVERIFY(terminal.bytes().startsWith("Saved \""));
}

QTEST_GUILESS_MAIN(TestPlaitTerminal)
#include "tst_plait_terminal.moc"
