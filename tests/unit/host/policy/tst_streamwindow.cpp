// SPDX-License-Identifier: MIT
#include <host/policy/streamwindow.h>

#include <QTest>

using namespace Qt::StringLiterals;
using StreamWindow::Ranges;
using StreamWindow::Sample;
using StreamWindow::Verdict;
using What = StreamWindow::Verdict::What;
using Record = AbstractDownloadPersistentInfo;

namespace
{

constexpr qint64 kMiB = qint64(1024) * 1024;
constexpr qint64 kGiB = 1024 * kMiB;
constexpr qint64 kWindow = StreamWindow::kWindow;
constexpr qint64 kPiece = StreamWindow::kLargestPiece;

/// So many whole pieces, and the same number of which nothing is there.
Ranges pieces(int whole, int missing)
{
    Ranges ranges;
    for (int i = 0; i < whole + missing; ++i)
        ranges.append({i * kPiece, kPiece, i < whole ? kPiece : 0});
    return ranges;
}

qint64 bytesIn(const Ranges &ranges)
{
    qint64 sum = 0;
    for (const AbstractDownloadSection &range : ranges)
        sum += range.downloaded;
    return sum;
}

}

class TestStreamWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatMayBeReadEndsAtTheFirstGap_data();
    void whatMayBeReadEndsAtTheFirstGap();
    void aFileIsCutFromItsBeginning();
    void whatIsThereStaysWhereItIs();
    void aHugeFileIsCutUpToSomePlace();
    void whatIsCutNeedNoSecondCut();
    void theReaderDecidesWhatMayBeFetched_data();
    void theReaderDecidesWhatMayBeFetched();
    void whoWaitedGoesOnWhenHalfIsFree();
    void aPartAloneIsSentByServersThatHaveSaidSo_data();
    void aPartAloneIsSentByServersThatHaveSaidSo();
};

void TestStreamWindow::whatMayBeReadEndsAtTheFirstGap_data()
{
    QTest::addColumn<Ranges>("ranges");
    QTest::addColumn<qint64>("ready");
    QTest::newRow("nothing is known") << Ranges() << qint64(0);
    QTest::newRow("of unknown size") << Ranges{{0, -1, 7}} << qint64(7);
    QTest::newRow("the first is not whole, the second is") << Ranges{{0, 10, 4}, {10, 10, 10}} << qint64(4);
    QTest::newRow("the first is whole, the second begun") << Ranges{{0, 10, 10}, {10, 10, 3}} << qint64(13);
    QTest::newRow("all is there") << Ranges{{0, 10, 10}, {10, 10, 10}} << qint64(20);
    QTest::newRow("the beginning is missing") << Ranges{{5, 10, 10}} << qint64(0);
}

void TestStreamWindow::whatMayBeReadEndsAtTheFirstGap()
{
    QFETCH(Ranges, ranges);
    QTEST(StreamWindow::ready(ranges), "ready");
}

void TestStreamWindow::aFileIsCutFromItsBeginning()
{
    const Ranges cut = StreamWindow::cutAhead({{0, kGiB, 0}});
    qint64 end = 0;
    for (const AbstractDownloadSection &range : cut) {
        QCOMPARE(range.offset, end);
        QVERIFY(range.size >= StreamWindow::kSmallestPiece);
        QVERIFY(range.size <= 2 * kPiece);
        end = range.end();
    }
    QCOMPARE(end, kGiB);
    QCOMPARE(cut.first().size, StreamWindow::kSmallestPiece);
    QVERIFY(cut.size() > 40 && cut.size() < 100);
}

void TestStreamWindow::whatIsThereStaysWhereItIs()
{
    const Ranges halves{
        {0, 100 * kMiB, 30 * kMiB}, {100 * kMiB, 100 * kMiB, 100 * kMiB}, {200 * kMiB, 90 * kMiB, kMiB}};
    const Ranges cut = StreamWindow::cutAhead(halves);
    QCOMPARE(StreamWindow::ready(cut), 30 * kMiB);
    QCOMPARE(bytesIn(cut), bytesIn(halves));
    QCOMPARE(cut.first().downloaded, 30 * kMiB);
    QVERIFY(cut.contains(halves.at(1)));
    QCOMPARE(cut.last().end(), 290 * kMiB);
    QCOMPARE(StreamWindow::cutAhead({{0, -1, 5}}), (Ranges{{0, -1, 5}}));
}

void TestStreamWindow::aHugeFileIsCutUpToSomePlace()
{
    const Ranges cut = StreamWindow::cutAhead({{0, 1024 * kGiB, 0}});
    QCOMPARE(cut.size(), StreamWindow::kMostPieces + 1);
    QCOMPARE(cut.last().end(), 1024 * kGiB);
    // The rest is cut before it is reached.
    Sample sample{cut, cut.last().offset - kWindow, 8, true};
    QCOMPARE(StreamWindow::judge(sample).what, What::GoOn);
    ++sample.taken;
    QCOMPARE(StreamWindow::judge(sample).what, What::CutAhead);
}

void TestStreamWindow::whatIsCutNeedNoSecondCut()
{
    for (const qint64 size : {qint64(1), 4 * kMiB, 4 * kMiB + 1, 37 * kMiB, kGiB}) {
        const Ranges cut = StreamWindow::cutAhead({{0, size, 0}});
        QVERIFY(StreamWindow::judge({cut, 0, 8, true}).what != What::CutAhead);
        QCOMPARE(StreamWindow::cutAhead(cut), cut);
    }
}

void TestStreamWindow::theReaderDecidesWhatMayBeFetched_data()
{
    QTest::addColumn<Sample>("sample");
    QTest::addColumn<Verdict>("verdict");
    const int inWindow = int(kWindow / kPiece);
    QTest::newRow("nobody knows anything yet") << Sample{{}, 0, 8, false} << Verdict{What::GoOn, 1};
    QTest::newRow("whether parts are sent is not known")
        << Sample{{{0, kGiB, 9}}, 0, 8, false} << Verdict{What::GoOn, 1};
    QTest::newRow("parts are sent") << Sample{{{0, kGiB, 9}}, 0, 8, true} << Verdict{What::CutAhead, 1};
    QTest::newRow("over one connection nothing need be cut")
        << Sample{{{0, kGiB, 9}}, 0, 1, true} << Verdict{What::GoOn, 1};
    QTest::newRow("over one connection the reader is waited for")
        << Sample{{{0, kGiB, kWindow}}, 0, 1, true} << Verdict{What::Wait, 1};
    QTest::newRow("a small file is none to be cut") << Sample{{{0, kMiB, 9}}, 0, 8, true} << Verdict{What::GoOn, 8};
    QTest::newRow("much is free") << Sample{pieces(8, 100), 0, 8, true} << Verdict{What::GoOn, 8};
    QTest::newRow("as many as are free") << Sample{pieces(inWindow - 3, 100), 0, 8, true} << Verdict{What::GoOn, 3};
    QTest::newRow("as many as are free, without a limit")
        << Sample{pieces(inWindow - 3, 100), 0, 0, true} << Verdict{What::GoOn, 3};
    QTest::newRow("none is free") << Sample{pieces(inWindow, 100), 0, 8, true} << Verdict{What::Wait, 1};
    QTest::newRow("one is free by what was taken")
        << Sample{pieces(inWindow, 100), 1, 8, true} << Verdict{What::GoOn, 1};
    QTest::newRow("the end is near") << Sample{pieces(8, 2), 0, 8, true} << Verdict{What::GoOn, 8};
    QTest::newRow("all is there") << Sample{pieces(50, 0), 0, 8, true} << Verdict{What::GoOn, 8};
    QTest::newRow("one connection, and the reader is near")
        << Sample{{{0, -1, kWindow - 1}}, 0, 8, false} << Verdict{What::GoOn, 1};
    QTest::newRow("one connection, and the reader is far")
        << Sample{{{0, -1, kWindow}}, 0, 8, false} << Verdict{What::Trickle, 1};
}

void TestStreamWindow::theReaderDecidesWhatMayBeFetched()
{
    QFETCH(Sample, sample);
    QFETCH(Verdict, verdict);
    const Verdict given = StreamWindow::judge(sample);
    QCOMPARE(given.what, verdict.what);
    QCOMPARE(given.connections, verdict.connections);
}

void TestStreamWindow::whoWaitedGoesOnWhenHalfIsFree()
{
    const Ranges full = pieces(int(kWindow / kPiece), 100);
    QVERIFY(!StreamWindow::mayGoOn({full, 0, 8, true}));
    QVERIFY(!StreamWindow::mayGoOn({full, kWindow / 2, 8, true}));
    QVERIFY(StreamWindow::mayGoOn({full, kWindow / 2 + 1, 8, true}));
}

void TestStreamWindow::aPartAloneIsSentByServersThatHaveSaidSo_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("support");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("isResumable");
    QTest::newRow("it has said so") << u"http://h/f"_s << int(Record::ResumeSupported) << kMiB << true;
    QTest::newRow("of unknown size") << u"http://h/f"_s << int(Record::ResumeSupported) << qint64(-1) << false;
    QTest::newRow("it has not been asked") << u"http://h/f"_s << int(Record::ResumeUnknown) << kMiB << false;
    QTest::newRow("it does not") << u"http://h/f"_s << int(Record::ResumeNotSupported) << kMiB << false;
}

void TestStreamWindow::aPartAloneIsSentByServersThatHaveSaidSo()
{
    QFETCH(QString, url);
    QFETCH(int, support);
    QFETCH(qint64, size);
    Record record;
    record.url = QUrl(url);
    record.resumeSupport = support;
    AbstractDownloadFileInfo file;
    file.size = size;
    record.files = {file};
    QTEST(StreamWindow::isResumable(record), "isResumable");
}

QTEST_GUILESS_MAIN(TestStreamWindow)
#include "tst_streamwindow.moc"
