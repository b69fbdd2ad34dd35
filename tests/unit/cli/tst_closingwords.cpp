// SPDX-License-Identifier: MIT
#include <cli/closingwords.h>
#include <cli/summary.h>
#include <cli/tally.h>
#include <cli/textcolumns.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kMiB = 1024 * 1024;
const QString kNote = u"3 connections at most: limit of 3 reached"_s;

Summary saved()
{
    Summary summary;
    summary.path = u"/home/anna/debian-12.iso"_s;
    summary.bytes = 8 * kMiB;
    summary.fetched = 8 * kMiB;
    summary.seconds = 4;
    summary.connectionsNote = kNote;
    return summary;
}

Summary failed(const QString &url, const QString &reason)
{
    Summary summary;
    summary.url = QUrl(url);
    summary.status = ExitStatus::NotFound;
    summary.reason = reason;
    return summary;
}

Tally mixed()
{
    Tally tally;
    tally.add(saved());
    tally.add(saved());
    tally.add(failed(u"http://a/notes.txt"_s, u"HTTP status 404"_s));
    Summary skipped;
    skipped.isSkipped = true;
    tally.add(skipped);
    return tally;
}

}

class TestClosingWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ofOne_data();
    void ofOne();
    void whatIsKnownOfTheChecksumIsSaid_data();
    void whatIsKnownOfTheChecksumIsSaid();
    void aResumedDownloadIsAsFastAsWhatCameNow();
    void filesAreNamedFromWhereOneStands_data();
    void filesAreNamedFromWhereOneStands();
    void ofAll_data();
    void ofAll();
    void aLineThatIsNoAddressHasNoName();
    void noLineIsTooWide();
    void aThousandFailuresAreNotToldAgain();
    void whatWasStoppedIsNamedInOneLine();
};

void TestClosingWords::ofOne_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<QStringList>("lines");
    const QString whole = u"Saved \"/home/anna/debian-12.iso\": 8.0 MiB in 4.0 s (2.0 MiB/s), no checksum, "_s + kNote;
    QTest::newRow("in a file") << 0 << QStringList{whole};
    QTest::newRow("200 columns") << 199 << QStringList{whole};
    QTest::newRow("80 columns") << 79
                                << QStringList{u"Saved \"/home/anna/debian-12.iso\":"_s,
                                               u"  8.0 MiB in 4.0 s (2.0 MiB/s), no checksum,"_s, u"  "_s + kNote};
    QTest::newRow("40 columns") << 39
                                << QStringList{u"Saved \"/home/anna/debian-12.iso\":"_s,
                                               u"  8.0 MiB in 4.0 s (2.0 MiB/s),"_s,
                                               u"  no checksum, 3 connections at most:"_s, u"  limit of 3 reached"_s};
    QTest::newRow("25 columns") << 25
                                << QStringList{u"Saved \"/home/an…-12.iso\":"_s, u"  8.0 MiB in 4.0 s (2.0"_s,
                                               u"  MiB/s), no checksum, 3"_s, u"  connections at most:"_s,
                                               u"  limit of 3 reached"_s};
}

void TestClosingWords::ofOne()
{
    QFETCH(int, columns);
    QTEST(ClosingWords::ofOne(saved(), {.columns = columns}), "lines");
}

void TestClosingWords::whatIsKnownOfTheChecksumIsSaid_data()
{
    QTest::addColumn<bool>("isGiven");
    QTest::addColumn<FileAssurance>("assurance");
    QTest::addColumn<QString>("words");
    QTest::newRow("it is equal") << true << FileAssurance{Assurance::Verified, {}}
                                 << u"(2.0 MiB/s), checksum verified"_s;
    QTest::newRow("the server's own is equal")
        << false << FileAssurance{Assurance::Verified, {}} << u"(2.0 MiB/s), checksum verified"_s;
    QTest::newRow("nobody compared it") << true << FileAssurance{Assurance::Consistent, {}}
                                        << u"(2.0 MiB/s), checksum not compared"_s;
    QTest::newRow("there is none") << false << FileAssurance{Assurance::Consistent, {}}
                                   << u"(2.0 MiB/s), no checksum"_s;
    QTest::newRow("nothing proves the file")
        << false << FileAssurance{Assurance::Unproven, Evidence::Doubt::NoLength}
        << u"(2.0 MiB/s), no checksum, unproven: the server did not say how long the file is"_s;
}

void TestClosingWords::whatIsKnownOfTheChecksumIsSaid()
{
    QFETCH(bool, isGiven);
    QFETCH(FileAssurance, assurance);
    QFETCH(QString, words);
    Summary summary = saved();
    summary.connectionsNote.clear();
    if (isGiven)
        summary.checksum = ChecksumResult::NotCompared;
    summary.assurance = assurance;
    const QString line = ClosingWords::ofOne(summary, {}).first();
    QVERIFY2(line.endsWith(words), qPrintable(line));
}

void TestClosingWords::aResumedDownloadIsAsFastAsWhatCameNow()
{
    Summary summary = saved();
    summary.fetched = 2 * kMiB;
    QString line = ClosingWords::ofOne(summary, {}).first();
    QVERIFY2(line.contains(u": 8.0 MiB, 2.0 MiB of it in 4.0 s (512.0 KiB/s), "_s), qPrintable(line));
    summary.fetched = 0;
    line = ClosingWords::ofOne(summary, {}).first();
    QVERIFY2(line.contains(u": 8.0 MiB in 4.0 s, "_s), qPrintable(line));
}

void TestClosingWords::filesAreNamedFromWhereOneStands_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("name");
    QTest::newRow("in its folder") << u"/home/anna"_s << u"\"debian-12.iso\""_s;
    QTest::newRow("above it") << u"/home"_s << u"\"anna/debian-12.iso\""_s;
    QTest::newRow("elsewhere") << u"/home/bert"_s << u"\"/home/anna/debian-12.iso\""_s;
    QTest::newRow("in a file, which is read anywhere") << QString() << u"\"/home/anna/debian-12.iso\""_s;
}

void TestClosingWords::filesAreNamedFromWhereOneStands()
{
    QFETCH(QString, folder);
    QFETCH(QString, name);
    const QString line = ClosingWords::ofOne(saved(), {.folder = folder}).first();
    QVERIFY2(line.startsWith(u"Saved "_s + name + u':'), qPrintable(line));
}

void TestClosingWords::ofAll_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<QStringList>("lines");
    const QStringList wide{u"2 done, 1 failed, 1 skipped, 16.0 MiB in 1:04 (256.0 KiB/s)"_s,
                           u"  notes.txt: HTTP status 404"_s};
    QTest::newRow("in a file") << 0 << wide;
    QTest::newRow("80 columns") << 79 << wide;
    QTest::newRow("40 columns") << 39
                                << QStringList{u"2 done, 1 failed, 1 skipped,"_s, u"16.0 MiB in 1:04 (256.0 KiB/s)"_s,
                                               u"  notes.txt: HTTP status 404"_s};
    QTest::newRow("20 columns") << 20
                                << QStringList{u"2 done, 1 failed,"_s, u"1 skipped, 16.0 MiB"_s, u"in 1:04 (256.0"_s,
                                               u"KiB/s)"_s, u"  notes.txt: HTTP s…"_s};
}

void TestClosingWords::ofAll()
{
    QFETCH(int, columns);
    QTEST(ClosingWords::ofAll(mixed(), 64, {.columns = columns}), "lines");
}

void TestClosingWords::aLineThatIsNoAddressHasNoName()
{
    Tally tally;
    tally.done = 1;
    tally.failed.append({QString(), u"urls.txt:2: \"bad line\" is no URL"_s});
    QCOMPARE(ClosingWords::ofAll(tally, 64, {.columns = 0}).last(), u"  urls.txt:2: \"bad line\" is no URL"_s);
}

void TestClosingWords::noLineIsTooWide()
{
    Summary summary = saved();
    summary.path = u"/tmp/"_s + QString(200, u'文') + u"\U0001F388.iso"_s;
    Tally tally = mixed();
    tally.add(failed(u"http://a/"_s + QString(300, u'n'), QString(300, u'r')));
    for (int columns = 30; columns <= 300; ++columns) {
        const QStringList lines =
            ClosingWords::ofOne(summary, {.columns = columns}) + ClosingWords::ofAll(tally, 64, {.columns = columns});
        for (const QString &line : lines)
            QVERIFY2(TextColumns::width(line) <= columns, qPrintable(line));
        QVERIFY2(lines.first().contains(u".iso\""_s), qPrintable(lines.first()));
    }
}

void TestClosingWords::aThousandFailuresAreNotToldAgain()
{
    Tally tally;
    for (int i = 0; i < 1000; ++i)
        tally.add(failed(u"http://a/%1"_s.arg(i), u"HTTP status 404"_s));
    const QStringList lines = ClosingWords::ofAll(tally, 1, {});
    QCOMPARE(lines.size(), 1 + 20 + 1);
    QCOMPARE(lines.last(), u"  … and 980 more"_s);
}

void TestClosingWords::whatWasStoppedIsNamedInOneLine()
{
    Tally tally;
    Summary stopped;
    stopped.isStopped = true;
    for (const char *address :
         {"http://a/1.iso", "http://a/2.iso", "http://a/3.iso", "http://a/4.iso", "http://a/5.iso"}) {
        stopped.url = QUrl(QLatin1StringView(address));
        tally.add(stopped);
    }
    QCOMPARE(ClosingWords::ofAll(tally, 1, {}).last(), u"  stopped: 1.iso, 2.iso, 3.iso and 2 more"_s);
    QCOMPARE(ClosingWords::ofAll(tally, 1, {.columns = 30}).last(), u"  stopped: 1.iso, … and 2 more"_s);
    QVERIFY(ClosingWords::ofAll(tally, 1, {}).first().contains(u"5 stopped (run the same command again to resume)"_s));
    stopped.isListed = false;
    tally.add(stopped);
    QVERIFY(ClosingWords::ofAll(tally, 1, {}).first().contains(u"6 stopped (the same command begins anew)"_s));
}

QTEST_GUILESS_MAIN(TestClosingWords)
#include "tst_closingwords.moc"
