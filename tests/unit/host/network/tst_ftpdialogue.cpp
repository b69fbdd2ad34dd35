// SPDX-License-Identifier: MIT
#include <host/network/ftpdialogue.h>

#include <QByteArrayList>
#include <QTest>

class TestFtpDialogue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatItMakesOfTheLines_data();
    void whatItMakesOfTheLines();
};

void TestFtpDialogue::whatItMakesOfTheLines_data()
{
    QTest::addColumn<QByteArrayList>("lines");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("takesRanges");
    QTest::addColumn<bool>("hasBegun");
    const auto row = [](const char *name, const QByteArrayList &lines, qint64 size, bool takesRanges, bool hasBegun) {
        QTest::newRow(name) << lines << size << takesRanges << hasBegun;
    };
    row("nothing was said", {}, -1, false, false);
    row("a whole dialogue",
        {"220 hello\r\n", "230 in\r\n", "213 20200101000000\r\n", "229 Extended (|||4711|)\r\n", "200 binary\r\n",
         "350 Restarting at 0\r\n", "213 307201\r\n", "150 Opening\r\n"},
        307201, true, true);
    row("a time is no size", {"213 20200101000000\r\n", "227 Passive (127,0,0,1,1,2)\r\n"}, -1, false, false);
    row("an empty file has a size", {"227 Passive\r\n", "213 0\r\n"}, 0, false, false);
    row("a size of more than four GiB", {"227 Passive\r\n", "213 5000000000\r\n"}, 5000000000, false, false);
    row("a size that is no number is none", {"227 Passive\r\n", "213 -5\r\n"}, -1, false, false);
    row("a size that no file has is none", {"227 Passive\r\n", "213 99999999999999999999\r\n"}, -1, false, false);
    row("a size that is refused is none", {"227 Passive\r\n", "550 no\r\n"}, -1, false, false);
    row("ranges that are refused", {"227 Passive\r\n", "502 REST is not known\r\n", "213 5\r\n"}, 5, false, false);
    row("a connection that was open already", {"227 Passive\r\n", "125 go\r\n"}, -1, false, true);
    row("a greeting may begin a line with any number", {"220-hi\r\n", "227 guests\r\n", "150 files\r\n", "220 end\r\n"},
        -1, false, false);
    row("a text ends with its own number only",
        {"229 Extended\r\n", "250-listing\r\n", "213 5\r\n", "250-\r\n", "150 more\r\n", "250 end\r\n", "213 6\r\n"}, 6,
        false, false);
    row("a proxy's words mean nothing", {"HTTP/1.1 200 Connection established\r\n", "\r\n"}, -1, false, false);
    row("a status alone, without an end", {"227", "150"}, -1, false, true);
    row("shorter than a status", {"22", "", "1"}, -1, false, false);
}

void TestFtpDialogue::whatItMakesOfTheLines()
{
    QFETCH(QByteArrayList, lines);
    FtpDialogue dialogue;
    for (const QByteArray &line : std::as_const(lines))
        dialogue.addLine(line);
    QTEST(dialogue.size(), "size");
    QTEST(dialogue.takesRanges(), "takesRanges");
    QTEST(dialogue.hasBegun(), "hasBegun");
}

QTEST_GUILESS_MAIN(TestFtpDialogue)
#include "tst_ftpdialogue.moc"
