// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/sectionbench.h>

#include <inet/qt/download/framework/memorydataasyncwriter.h>

#include <QTest>

using namespace Qt::StringLiterals;

/// How a section counts what its writer reports, and how its range is reshaped.
class tst_WwwDownloadSectionProgress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void progress_data();
    void progress();

    void strangersAreNotListenedTo_data();
    void strangersAreNotListenedTo();
    void aFormerWriterIsNotListenedTo();
    void anIdleSectionDoesNotListen();
    void aLateFailureDoesNotEndAClosingSection();
    void allDataProcessedMeansNothingWithoutAFailedTransfer();

    void aRestartGoesOnAtTheSamePlace();
    void aRunningSectionGivesItsTailAway();
    void anIdleSectionGivesItsTailAway();
    void aNeighbourIsTakenOver();
};

void tst_WwwDownloadSectionProgress::progress_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("count");
    QTest::addColumn<qint64>("downloaded");
    QTest::addColumn<bool>("isOver");
    const auto row = [](const char *name, qint64 size, qint64 count, qint64 downloaded, bool isOver) {
        QTest::newRow(name) << size << count << downloaded << isOver;
    };
    row("nothing changes nothing", 10, 0, 2, false);
    row("less than nothing changes nothing", 10, -2, 2, false);
    row("a piece counts", 10, 3, 5, false);
    row("the last piece counts", 10, 8, 10, false);
    row("what exceeds the range does not", 10, 9, 10, true);
    row("an unknown size bears any", -1, 900, 902, false);
}

void tst_WwwDownloadSectionProgress::progress()
{
    QFETCH(qint64, size);
    QFETCH(qint64, count);
    QFETCH(qint64, downloaded);
    QFETCH(bool, isOver);
    SectionBench bench;
    const AbstractDownloadSection range{20, size, 2};
    bench.addFile(40, {range});
    WwwDownloadSection *section = bench.make(range);
    section->start();
    bench.answerPart(22, 40);
    QTRY_VERIFY(bench.memoryWriter()->isOpen());
    Q_EMIT bench.memoryWriter()->dataProcessed(count);
    QCOMPARE(section->section(), (AbstractDownloadSection{20, size, downloaded}));
    QCOMPARE(bench.transfers().size(), isOver ? 0 : 1);
    QVERIFY(section->isRunning());
    if (!isOver)
        return;
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(section->lastError(), AbstractError());
    QVERIFY(!section->isLastErrorFileError());
    QVERIFY(section->isFinished());
}

void tst_WwwDownloadSectionProgress::strangersAreNotListenedTo_data()
{
    QTest::addColumn<QByteArray>("slot");
    for (const char *slot : {"onWriterOpened", "onWriterClosed", "onWriterFailed", "onWriterAllDataIsProcessed",
                             "onWriterDataProcessed", "onWriterPreallocateFinished"})
        QTest::newRow(slot) << QByteArray(slot);
}

void tst_WwwDownloadSectionProgress::strangersAreNotListenedTo()
{
    QFETCH(QByteArray, slot);
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(10);
    QTRY_VERIFY(bench.memoryWriter()->isOpen());
    bench.events.clear();
    const LogCapture log;
    const bool takesSize = slot == "onWriterDataProcessed" || slot == "onWriterPreallocateFinished";
    QVERIFY(takesSize ? QMetaObject::invokeMethod(section, slot.constData(), Q_ARG(qint64, 5))
                      : QMetaObject::invokeMethod(section, slot.constData()));
    QVERIFY(log.lines.isEmpty());
    QVERIFY(bench.events.isEmpty());
    QVERIFY(section->isRunning());
    QCOMPARE(section->section().downloaded, 0);
    QCOMPARE(bench.info->files.first().fileFlags, 0);
    QCOMPARE(bench.transfers().size(), 1);
}

void tst_WwwDownloadSectionProgress::aFormerWriterIsNotListenedTo()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(10);
    bench.info->files.first().sections = {section->section()};
    QTRY_VERIFY(bench.memoryWriter()->isOpen());
    const QPointer<MemoryDataAsyncWriter> former = bench.memoryWriter();
    section->stop(SectionBench::anError(), false);
    section->stop(SectionBench::anError(), false);
    section->start();
    bench.answerWhole(10);
    QVERIFY(bench.memoryWriter());
    QVERIFY(former && former != bench.memoryWriter());
    Q_EMIT former->dataProcessed(5);
    Q_EMIT former->failed();
    Q_EMIT former->closed();
    QCOMPARE(section->section().downloaded, 0);
    QVERIFY(section->isRunning());
    QVERIFY(!section->lastError());
}

void tst_WwwDownloadSectionProgress::anIdleSectionDoesNotListen()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(10);
    QTRY_VERIFY(bench.memoryWriter()->isOpen());
    section->stop(SectionBench::anError(), false);
    section->stop(SectionBench::anError(), false);
    QVERIFY(!section->isRunning());
    bench.events.clear();
    const LogCapture log;
    MemoryDataAsyncWriter *writer = bench.memoryWriter();
    QVERIFY(writer);
    Q_EMIT writer->opened();
    Q_EMIT writer->dataProcessed(5);
    Q_EMIT writer->allDataIsProcessed();
    Q_EMIT writer->failed();
    Q_EMIT writer->closed();
    QCOMPARE(section->section().downloaded, 0);
    QVERIFY(!section->isLastErrorFileError());
    QVERIFY(bench.events.isEmpty());
    QVERIFY(log.lines.isEmpty());
}

void tst_WwwDownloadSectionProgress::aLateFailureDoesNotEndAClosingSection()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(10);
    QTRY_VERIFY(bench.memoryWriter()->isOpen());
    section->stop(SectionBench::anError(), false);
    Q_EMIT bench.memoryWriter()->failed();
    QVERIFY(section->isRunning());
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(section->lastError(), SectionBench::anError());
    QVERIFY(!section->isLastErrorFileError());
    QVERIFY(!bench.memoryWriter());
}

void tst_WwwDownloadSectionProgress::allDataProcessedMeansNothingWithoutAFailedTransfer()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(10);
    QTRY_VERIFY(bench.memoryWriter()->isOpen());
    Q_EMIT bench.memoryWriter()->allDataIsProcessed();
    QCOMPARE(bench.replies.size(), 1);
    QVERIFY(section->isRunning());
}

void tst_WwwDownloadSectionProgress::aRestartGoesOnAtTheSamePlace()
{
    SectionBench bench;
    bench.addFile(10).dataStart = 3;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    section->start();
    bench.reply()->sendData("0123"_ba);
    QTRY_COMPARE(section->section().downloaded, 4);
    bench.info->files.first().sections = {section->section()};
    bench.reply()->end(QNetworkReply::RemoteHostClosedError);
    QTRY_COMPARE(bench.replies.size(), 2);
    QCOMPARE(bench.range(1), "bytes=4-"_ba);
    bench.answerPart(4, 10);
    bench.finishWith("456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(bench.info->content, QByteArray(3, '\0') + "0123456789"_ba);
}

void tst_WwwDownloadSectionProgress::aRunningSectionGivesItsTailAway()
{
    SectionBench bench;
    bench.addFile(10, {{0, 10, 0}});
    WwwDownloadSection *section = bench.make({0, 10, 0});
    section->start();
    bench.answerWhole(10);
    WwwDownloadSection other(2, QString(), {6, 4, 0}, bench.info, bench.chief, false, bench.mirrors, nullptr);
    section->truncateSection(&other);
    QCOMPARE(section->section(), (AbstractDownloadSection{0, 6, 0}));
    QCOMPARE(other.section(), (AbstractDownloadSection{6, 4, 0}));
    bench.reply()->sendData("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(bench.info->content, "012345"_ba);
    QVERIFY(!section->lastError());
}

void tst_WwwDownloadSectionProgress::anIdleSectionGivesItsTailAway()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make({0, 10, 3});
    WwwDownloadSection other(2, QString(), {8, 2, 0}, bench.info, bench.chief, false, bench.mirrors, nullptr);
    section->truncateSection(&other);
    QCOMPARE(section->section(), (AbstractDownloadSection{0, 8, 3}));
}

void tst_WwwDownloadSectionProgress::aNeighbourIsTakenOver()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make({5, 10, 10});
    section->onCompactSections(7);
    QCOMPARE(section->section(), (AbstractDownloadSection{5, 17, 17}));
    QVERIFY(section->isFinished());
}

QTEST_GUILESS_MAIN(tst_WwwDownloadSectionProgress)
#include "tst_wwwdownloadsection_progress.moc"
