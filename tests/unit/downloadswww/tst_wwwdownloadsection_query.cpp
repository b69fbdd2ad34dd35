// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/sectionbench.h>

#include <inet/qt/download/framework/memorydataasyncwriter.h>

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const NetworkUsageSettings kSomeLimits{200000, 5, 3, true};

}

/// What a query leaves behind, and what becomes of it.
class tst_WwwDownloadSectionQuery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aQueryReadsInSmallSteps();
    void aQueryKeepsItsTransfer();
    void theTransferOfAQueryIsGivenUpInTime_data();
    void theTransferOfAQueryIsGivenUpInTime();
    void aMinimalQueryKeepsNothing();
    void aNewQueryLetsTheFormerTransferGo();
    void aRefusedQueryKeepsNothing();

    void startAfterAQueryAdoptsItsTransfer_data();
    void startAfterAQueryAdoptsItsTransfer();
    void anAdoptedTransferThatRunsIsNoLongerHeldBack();
    void adoptingReportsTheConnectionsAgain();
    void startAfterAQueryOfWhichTheTransferDiedAsksAnew();
    void aQueryAfterAQueryAsksAnew();

    void droppingAQuerysTransfer_data();
    void droppingAQuerysTransfer();
    void stopLetsAQuerysTransferGo();

    void aFailedAdoptedTransferIsStartedAnew_data();
    void aFailedAdoptedTransferIsStartedAnew();
    void anAdoptedTransferThatTimesOutIsStartedAnew();
    void aRestartedTransferKeepsTheWriter();
    void aRestartThatFailsTooEndsTheSection();
    void aRunAfterAnAdoptingOneFailsLikeAnyOther();
    void aRunAfterAnInterruptedRestartHasAWriter();
};

void tst_WwwDownloadSectionQuery::aQueryReadsInSmallSteps()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->setNetworkUsageSettings(kSomeLimits);
    section->query(false);
    NetworkUsageSettings expected = kSomeLimits;
    expected.downloadLimit = 30;
    QCOMPARE(bench.transfer()->networkUsageSettings(), expected);
    QCOMPARE(bench.reply()->readBufferSizes().last(), 30);
    QCOMPARE(section->networkUsageSettings(), kSomeLimits);

    expected.maximumConnections = 9;
    NetworkUsageSettings others = kSomeLimits;
    others.maximumConnections = 9;
    section->setNetworkUsageSettings(others);
    QCOMPARE(bench.transfer()->networkUsageSettings(), expected);
}

void tst_WwwDownloadSectionQuery::aQueryKeepsItsTransfer()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->query(false);
    bench.answerWhole(100);
    QVERIFY(!section->isRunning());
    QCOMPARE(bench.events.mid(3), (QStringList{u"persistentInfoChanged"_s, u"gotOkResponse"_s, u"idle"_s}));
    QCOMPARE(bench.transfers().size(), 1);
    QVERIFY(bench.transfer()->isRunning());
    QVERIFY(!bench.reply()->wasAborted());
    QVERIFY(!bench.memoryWriter());
    QVERIFY(section->connectionsMap().isEmpty());
    QVERIFY(bench.queryKeptTimer()->isActive());
    QVERIFY(bench.queryKeptTimer()->isSingleShot());
    QCOMPARE(bench.queryKeptTimer()->interval(), 90000);
}

void tst_WwwDownloadSectionQuery::theTransferOfAQueryIsGivenUpInTime_data()
{
    QTest::addColumn<bool>("isFinished");
    QTest::newRow("unless it has finished") << true;
    QTest::newRow("while it runs") << false;
}

void tst_WwwDownloadSectionQuery::theTransferOfAQueryIsGivenUpInTime()
{
    QFETCH(bool, isFinished);
    SectionBench bench;
    bench.make();
    bench.runQuery(5);
    if (isFinished)
        bench.finishWith("01234"_ba);
    SectionBench::fire(bench.queryKeptTimer());
    QCOMPARE(bench.transfers().size(), isFinished ? 1 : 0);
    QCOMPARE(bench.chief->outCount(), 0);
    QVERIFY(bench.events.isEmpty());
}

void tst_WwwDownloadSectionQuery::aMinimalQueryKeepsNothing()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(100);
    section->query(true);
    bench.answerWhole(100);
    QVERIFY(!section->isRunning());
    QVERIFY(bench.transfers().isEmpty());
    QTRY_COMPARE(bench.chief->outCount(), 0);
    QCOMPARE(bench.count(u"gotOkResponse"_s), 1);
}

void tst_WwwDownloadSectionQuery::aNewQueryLetsTheFormerTransferGo()
{
    SectionBench bench;
    bench.make();
    bench.runQuery(100);
    const QPointer<WwwDownloader> former = bench.transfer();
    bench.queryKeptTimer()->stop();
    bench.section->query(false);
    bench.answerWhole(100);
    QCOMPARE(bench.transfers().size(), 1);
    QVERIFY(bench.transfer() != former);
    QVERIFY(bench.queryKeptTimer()->isActive());
    QTRY_VERIFY(!former);
    QCOMPARE(bench.chief->outCount(), 1);
}

void tst_WwwDownloadSectionQuery::aRefusedQueryKeepsNothing()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->query(false);
    bench.reply()->sendHead(404, "Not Found"_ba);
    QVERIFY(!section->isRunning());
    QCOMPARE(
        section->lastError(),
        AbstractError(404, "HttpError", errorSource("inet/qt/download/downloadswww/wwwdownloadsection.cpp", 626), {}));
    QVERIFY(bench.transfers().isEmpty());
    QVERIFY(!bench.queryKeptTimer()->isActive());
}

void tst_WwwDownloadSectionQuery::startAfterAQueryAdoptsItsTransfer_data()
{
    QTest::addColumn<bool>("isFinished");
    QTest::addColumn<qint64>("length");
    QTest::newRow("finished meanwhile") << true << qint64(10);
    QTest::newRow("still running") << false << qint64(10);
    QTest::newRow("finished meanwhile, of unknown length") << true << qint64(-1);
    QTest::newRow("still running, of unknown length") << false << qint64(-1);
}

void tst_WwwDownloadSectionQuery::startAfterAQueryAdoptsItsTransfer()
{
    QFETCH(bool, isFinished);
    QFETCH(qint64, length);
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->query(false);
    if (length == -1)
        bench.reply()->sendHead(200);
    else
        bench.answerWhole(length);
    QVERIFY(!section->isRunning());
    if (isFinished)
        bench.finishWith("0123456789"_ba);

    section->start();
    QVERIFY(section->isRunning());
    QCOMPARE(bench.replies.size(), 1);
    QCOMPARE(bench.transfers().size(), 1);
    QVERIFY(bench.memoryWriter());
    if (!isFinished)
        bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(section->section().size, 10);
    QCOMPARE(bench.info->content, "0123456789"_ba);
    QCOMPARE(bench.count(u"gotOkResponse"_s), 1);
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionQuery::anAdoptedTransferThatRunsIsNoLongerHeldBack()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->setNetworkUsageSettings(kSomeLimits);
    bench.runQuery(10);
    QCOMPARE(bench.transfer()->networkUsageSettings().downloadLimit, 30);
    section->start();
    QCOMPARE(bench.transfer()->networkUsageSettings(), kSomeLimits);
}

void tst_WwwDownloadSectionQuery::adoptingReportsTheConnectionsAgain()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    QVERIFY(bench.connections().isEmpty());
    QVERIFY(section->connectionsMap().isEmpty());
    section->start();
    QCOMPARE(unitedEntry(bench.connections()).count, 1);
    QCOMPARE(section->connectionsMap(), bench.connections());
    bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(bench.connections().isEmpty());
}

void tst_WwwDownloadSectionQuery::startAfterAQueryOfWhichTheTransferDiedAsksAnew()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    bench.reply()->sendData("01"_ba);
    bench.reply()->end(QNetworkReply::RemoteHostClosedError);
    section->start();
    QCOMPARE(bench.replies.size(), 2);
    QCOMPARE(bench.transfers().size(), 1);
    QVERIFY(!bench.memoryWriter());
    bench.answerWhole(10);
    bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(bench.info->content, "0123456789"_ba);
}

void tst_WwwDownloadSectionQuery::aQueryAfterAQueryAsksAnew()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    section->query(false);
    QCOMPARE(bench.replies.size(), 2);
    QVERIFY(section->isRunning());
}

void tst_WwwDownloadSectionQuery::droppingAQuerysTransfer_data()
{
    QTest::addColumn<bool>("isFinished");
    QTest::newRow("a transfer that runs is given up") << false;
    QTest::newRow("a finished transfer stays") << true;
}

void tst_WwwDownloadSectionQuery::droppingAQuerysTransfer()
{
    QFETCH(bool, isFinished);
    SectionBench bench;
    bench.make();
    bench.section->dropDldrOfQueryIfRequired();
    bench.runQuery(10);
    if (isFinished)
        bench.finishWith("0123456789"_ba);
    const QPointer<FakeReply> first = bench.reply();
    bench.section->dropDldrOfQueryIfRequired();
    QCOMPARE(bench.transfers().size(), isFinished ? 1 : 0);
    if (!isFinished)
        QVERIFY(!first || first->wasAborted());
    QCOMPARE(bench.chief->outCount(), 0);

    bench.section->start();
    QCOMPARE(bench.replies.size(), isFinished ? 1 : 2);
}

void tst_WwwDownloadSectionQuery::stopLetsAQuerysTransferGo()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    const QPointer<FakeReply> answer = bench.reply();
    section->stop(SectionBench::anError(), false);
    QVERIFY(bench.transfers().isEmpty());
    QTRY_VERIFY(!answer);
    QCOMPARE(bench.chief->outCount(), 0);
    section->start();
    QCOMPARE(bench.replies.size(), 2);
}

void tst_WwwDownloadSectionQuery::aFailedAdoptedTransferIsStartedAnew_data()
{
    QTest::addColumn<bool>("isOpen");
    QTest::addColumn<bool>("isFile");
    QTest::newRow("the writer is open") << true << false;
    QTest::newRow("the writer is opening") << false << false;
    QTest::newRow("the file is still to be created") << false << true;
}

void tst_WwwDownloadSectionQuery::aFailedAdoptedTransferIsStartedAnew()
{
    QFETCH(bool, isOpen);
    QFETCH(bool, isFile);
    SectionBench bench;
    if (isFile)
        bench.useFolder();
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    section->start();
    bench.reply()->sendData("0123"_ba);
    if (isOpen)
        QTRY_COMPARE(section->section().downloaded, 4);
    bench.info->files.first().sections = {section->section()};
    bench.reply()->end(QNetworkReply::RemoteHostClosedError);
    QVERIFY(section->isRunning());
    QCOMPARE(bench.replies.size(), 1);

    QTRY_COMPARE(bench.replies.size(), 2);
    const qint64 done = section->section().downloaded;
    QCOMPARE(done, isOpen ? 4 : 0);
    if (isOpen)
        bench.answerPart(done, 10);
    else
        bench.answerWhole(10);
    bench.finishWith("0123456789"_ba.mid(done));
    if (isFile) {
        bench.info->files.first().fileFlags |= AbstractDownloadFileInfo::CreatedOnDisk;
        QVERIFY(QFile(bench.info->filePath(0)).open(QIODevice::ReadWrite));
        section->onFileCreated();
    }
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(section->lastError(), AbstractError());
    QVERIFY(section->isFinished());
    if (!isFile)
        QCOMPARE(bench.info->content, "0123456789"_ba);
}

void tst_WwwDownloadSectionQuery::anAdoptedTransferThatTimesOutIsStartedAnew()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    bench.info->files.first().sections = {section->section()};
    section->start();
    bench.reply()->sendData("0123"_ba);
    QTRY_COMPARE(section->section().downloaded, 4);
    bench.info->files.first().sections = {section->section()};
    const auto timeOut = [&bench] {
        for (QTimer *timer : bench.transfer()->findChildren<QTimer *>()) {
            if (timer->interval() == WwwDownloader::kInactivityLimitMs)
                SectionBench::fire(timer);
        }
    };
    timeOut();
    QCOMPARE(bench.count(u"timedOut"_s), 1);
    QVERIFY(section->isRunning());
    QVERIFY(!section->lastError());
    QTRY_COMPARE(bench.replies.size(), 2);
    QCOMPARE(bench.range(1), "bytes=4-"_ba);

    timeOut();
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(bench.count(u"timedOut"_s), 2);
    QCOMPARE(section->lastError().code, int(QNetworkReply::TimeoutError));
    QCOMPARE(bench.replies.size(), 2);
}

void tst_WwwDownloadSectionQuery::aRestartedTransferKeepsTheWriter()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    bench.info->files.first().sections = {section->section()};
    section->start();
    QTRY_VERIFY(bench.memoryWriter()->isOpen());
    const MemoryDataAsyncWriter *writer = bench.memoryWriter();
    bench.reply()->end(QNetworkReply::RemoteHostClosedError);
    QTRY_COMPARE(bench.replies.size(), 2);
    bench.answerWhole(10);
    QCOMPARE(bench.memoryWriter(), writer);
    QCOMPARE(bench.count(u"gotOkResponse"_s), 1);
    bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
}

void tst_WwwDownloadSectionQuery::aRestartThatFailsTooEndsTheSection()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    section->start();
    bench.reply()->end(QNetworkReply::RemoteHostClosedError);
    QTRY_COMPARE(bench.replies.size(), 2);
    bench.reply()->end(QNetworkReply::ConnectionRefusedError);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(section->lastError().code, int(QNetworkReply::ConnectionRefusedError));
    QCOMPARE(bench.replies.size(), 2);
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionQuery::aRunAfterAnAdoptingOneFailsLikeAnyOther()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    section->start();
    section->stop(SectionBench::anError(), false);
    QVERIFY(bench.waitUntilIdle());
    section->start();
    bench.reply()->end(QNetworkReply::ConnectionRefusedError);
    QVERIFY(!section->isRunning());
    QCOMPARE(section->lastError().code, int(QNetworkReply::ConnectionRefusedError));
}

void tst_WwwDownloadSectionQuery::aRunAfterAnInterruptedRestartHasAWriter()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(10);
    section->start();
    bench.reply()->end(QNetworkReply::RemoteHostClosedError);
    QTRY_COMPARE(bench.replies.size(), 2);
    section->stop(SectionBench::anError(), false);
    QVERIFY(bench.waitUntilIdle());
    section->start();
    bench.answerWhole(10);
    QVERIFY(bench.memoryWriter());
    bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
}

QTEST_GUILESS_MAIN(tst_WwwDownloadSectionQuery)
#include "tst_wwwdownloadsection_query.moc"
