// SPDX-License-Identifier: MIT
#include <cli/progressprinter.h>

#include <QTest>
#include <QTextStream>

#include <cstdlib>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kNoTerminal = -1;
const QUrl kUrl(u"http://host/x"_s);

/// A printer and what it printed.
struct Bench {
    explicit Bench(int terminal = kNoTerminal, bool quiet = false)
        : printer(answers, notes, terminal, quiet)
    {
        printer.begin(kUrl);
    }

    QString answersText;
    QString notesText;
    QTextStream answers{&answersText};
    QTextStream notes{&notesText};
    ProgressPrinter printer;
};

/// A terminal of 40 columns.
struct Terminal {
    Q_DISABLE_COPY_MOVE(Terminal)

    Terminal()
    {
        winsize size = {};
        size.ws_col = kColumns;
        size.ws_row = 24;
        opened = grantpt(file) == 0 && ioctl(file, TIOCSWINSZ, &size) == 0;
    }
    ~Terminal() { close(file); }

    static constexpr int kColumns = 40;
    const int file = posix_openpt(O_RDWR | O_NOCTTY);
    bool opened = false;
};

DownloadStatus statusOf(qint64 done, qint64 total)
{
    DownloadStatus status;
    status.done = done;
    status.total = total;
    return status;
}

QueryResult queryResult()
{
    return {u"x\u001b.iso"_s, 2048, u"application/x-iso"_s, QueryResult::Resume::Supported, QUrl(u"http://host/a b"_s)};
}

}

class TestProgressPrinter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void elsewhereEveryTenthIsALine();
    void elsewhereAnUnknownSizeIsToldEachTimeItDoubles();
    void theNextDownloadBeginsAnew();
    void onATerminalOneLineIsDrawnAnew();
    void anErrorClearsTheLine();
    void quietPrintsErrorsOnly();
    void aQueryGoesToStandardOutput();
    void whatAQueryDoesNotLearnIsUnknown();
    void aSavedFileIsNamed();
    void whatStrangersSayCannotCommandTheTerminal();
};

void TestProgressPrinter::elsewhereEveryTenthIsALine()
{
    Bench bench;
    for (int done = 0; done <= 1000; ++done)
        bench.printer.progress(u"x"_s, statusOf(done, 1000));
    const QStringList lines = bench.notesText.split(u'\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 10);
    QCOMPARE(lines.first(), u"x: 10% 100 B of 1000 B"_s);
    QCOMPARE(lines.last(), u"x: 100% 1000 B of 1000 B"_s);
    QVERIFY(!bench.notesText.contains(u'\r'));
}

void TestProgressPrinter::elsewhereAnUnknownSizeIsToldEachTimeItDoubles()
{
    Bench bench;
    constexpr qint64 kMiB = 1024 * 1024;
    for (qint64 done = 0; done <= 8 * kMiB; done += kMiB / 2)
        bench.printer.progress(u"x"_s, statusOf(done, -1));
    QCOMPARE(bench.notesText, u"x: 1.0 MiB\nx: 2.0 MiB\nx: 4.0 MiB\nx: 8.0 MiB\n"_s);
}

void TestProgressPrinter::theNextDownloadBeginsAnew()
{
    Bench bench;
    bench.printer.progress(u"x"_s, statusOf(90, 100));
    bench.printer.begin(kUrl);
    bench.printer.progress(u"y"_s, statusOf(10, 100));
    QVERIFY(bench.notesText.contains(u"y: 10%"_s));
}

void TestProgressPrinter::onATerminalOneLineIsDrawnAnew()
{
    const Terminal terminal;
    QVERIFY(terminal.opened);
    Bench bench(terminal.file);
    bench.printer.progress(QString(100, u'n'), statusOf(1, 1000));
    bench.printer.progress(QString(100, u'n'), statusOf(2, 1000));
    QVERIFY(!bench.notesText.contains(u'\n'));
    const QStringList lines = bench.notesText.split(u"\r\u001b[K"_s, Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 2);
    for (const QString &line : lines)
        QVERIFY2(line.size() < Terminal::kColumns, qPrintable(line));
    QVERIFY(lines.last().endsWith(u": 0% 2 B of 1000 B"_s));
}

void TestProgressPrinter::anErrorClearsTheLine()
{
    const Terminal terminal;
    Bench bench(terminal.file);
    bench.printer.progress(u"x"_s, statusOf(1, 1000));
    Summary summary;
    summary.errorText = u"cannot do it."_s;
    bench.printer.end(summary);
    QVERIFY2(bench.notesText.endsWith(u"\r\u001b[Kplait: cannot do it.\n"_s), qPrintable(bench.notesText));
}

void TestProgressPrinter::quietPrintsErrorsOnly()
{
    Bench bench(kNoTerminal, true);
    bench.printer.progress(u"x"_s, statusOf(100, 100));
    Summary summary;
    summary.path = u"/tmp/x"_s;
    bench.printer.end(summary);
    QVERIFY(bench.notesText.isEmpty());
    summary.errorText = u"cannot do it."_s;
    bench.printer.end(summary);
    bench.printer.warn(u"look here"_s);
    QCOMPARE(bench.notesText, u"plait: cannot do it.\nplait: look here\n"_s);
}

void TestProgressPrinter::aQueryGoesToStandardOutput()
{
    Bench bench(kNoTerminal, true);
    bench.printer.queried(queryResult());
    QCOMPARE(bench.answersText,
             u"Name: x?.iso\nSize: 2048 bytes (2.0 KiB)\nType: application/x-iso\nResume: yes\n"
             u"URL: http://host/a%20b\n"_s);
    QVERIFY(bench.notesText.isEmpty());
}

void TestProgressPrinter::whatAQueryDoesNotLearnIsUnknown()
{
    Bench bench;
    QueryResult result;
    result.url = kUrl;
    bench.printer.queried(result);
    QCOMPARE(bench.answersText, u"Name: \nSize: unknown\nType: unknown\nResume: unknown\nURL: http://host/x\n"_s);
}

void TestProgressPrinter::aSavedFileIsNamed()
{
    Bench bench;
    Summary summary;
    summary.path = u"/tmp/x.iso"_s;
    summary.bytes = 2048;
    summary.seconds = 1.21;
    bench.printer.end(summary);
    QCOMPARE(bench.notesText, u"Saved \"/tmp/x.iso\": 2.0 KiB in 1.2 s\n"_s);
    QVERIFY(bench.answersText.isEmpty());
}

void TestProgressPrinter::whatStrangersSayCannotCommandTheTerminal()
{
    Bench bench;
    Summary summary;
    summary.errorText = u"\u001b]0;owned\u0007"_s;
    bench.printer.end(summary);
    QCOMPARE(bench.notesText, u"plait: ?]0;owned?\n"_s);
}

QTEST_GUILESS_MAIN(TestProgressPrinter)
#include "tst_progressprinter.moc"
