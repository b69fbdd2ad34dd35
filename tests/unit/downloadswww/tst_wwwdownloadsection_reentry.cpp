// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/sectionbench.h>

#include <inet/qt/download/framework/memorydataasyncwriter.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kSize = 10;

QByteArray body()
{
    return "0123456789"_ba;
}

/// Does something at the first event of that name, and never again.
void once(SectionBench &bench, const QString &event, const std::function<void()> &action)
{
    bench.atEvent = [&bench, event, action](const QString &name) {
        if (name != event)
            return;
        bench.atEvent = {};
        action();
    };
}

}

/// Receivers that stop and start a section from inside its signals.
class tst_WwwDownloadSectionReentry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopFromASignal_data();
    void stopFromASignal();
    void restartFromASignal_data() { stopFromASignal_data(); }
    void restartFromASignal();
    void aStopWhileTheFileIsAskedFor();
    void theFileMayComeAtOnce();

    void stopWhileAdopting();
    void restartWhileAdopting();
    void restartWhileStopping();
    void restartWhileAQueryIsParked();
    void restartWhileARefusalIsTold();
    void restartWhileARedirectBeforeAnErrorIsTold_data();
    void restartWhileARedirectBeforeAnErrorIsTold();
    void restartWhileTheSizeIsLearnt();
    void restartAtTheEnd();
};

void tst_WwwDownloadSectionReentry::stopFromASignal_data()
{
    QTest::addColumn<QString>("event");
    for (const char *event :
         {"running", "connections", "requestHeaders", "responseHeaders", "persistentInfoChanged", "gotOkResponse"})
        QTest::newRow(event) << QString::fromLatin1(event);
}

void tst_WwwDownloadSectionReentry::stopFromASignal()
{
    QFETCH(QString, event);
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    once(bench, event, [&] { section->stop(SectionBench::anError(), false); });
    section->start();
    if (section->isRunning())
        bench.answerWhole(kSize);
    QVERIFY(!bench.atEvent);
    QVERIFY(!section->isRunning());
    QCOMPARE(section->lastError(), SectionBench::anError());
    QCOMPARE(bench.events.last(), u"idle"_s);
    QVERIFY(bench.transfers().isEmpty());
    QVERIFY(!bench.memoryWriter());
    QVERIFY(bench.connections().isEmpty());
    QCOMPARE(bench.chief->outCount(), 0);
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
    // Nothing of the run is left that could speak later.
    const qsizetype said = bench.events.size();
    QCoreApplication::processEvents();
    QCOMPARE(bench.events.size(), said);
}

void tst_WwwDownloadSectionReentry::restartFromASignal()
{
    QFETCH(QString, event);
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    once(bench, event, [&] {
        section->stop(SectionBench::anError(), false);
        section->start();
    });
    section->start();
    if (bench.atEvent)
        bench.answerWhole(kSize);
    QVERIFY(!bench.atEvent);
    QVERIFY(section->isRunning());
    QVERIFY(!section->lastError());
    QCOMPARE(bench.transfers().size(), 1);
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 1);
    QCOMPARE(unitedEntry(bench.connections()).count, 1);

    bench.answerWhole(kSize);
    bench.finishWith(body());
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(bench.info->content, body());
    QVERIFY(bench.connections().isEmpty());
    QCOMPARE(bench.chief->outCount(), 0);
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionReentry::aStopWhileTheFileIsAskedFor()
{
    SectionBench bench;
    bench.useFolder();
    WwwDownloadSection *section = bench.make();
    once(bench, u"waitingFileCreate"_s, [&] { section->stop(SectionBench::anError(), false); });
    section->start();
    bench.answerWhole(kSize);
    QVERIFY(!section->isRunning());
    section->onFileCreated();
    QVERIFY(bench.transfers().isEmpty());
    QCOMPARE(bench.events.last(), u"idle"_s);
}

void tst_WwwDownloadSectionReentry::theFileMayComeAtOnce()
{
    SectionBench bench;
    bench.useFolder();
    WwwDownloadSection *section = bench.make();
    once(bench, u"waitingFileCreate"_s, [&] { section->onFileCreated(); });
    section->start();
    bench.answerWhole(kSize);
    bench.finishWith(body());
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
}

void tst_WwwDownloadSectionReentry::stopWhileAdopting()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(kSize);
    once(bench, u"connections"_s, [&] { section->stop(SectionBench::anError(), false); });
    section->start();
    QVERIFY(!section->isRunning());
    QVERIFY(!bench.memoryWriter());
    QVERIFY(bench.transfers().isEmpty());
    QVERIFY(bench.connections().isEmpty());
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionReentry::restartWhileAdopting()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    bench.runQuery(kSize);
    once(bench, u"connections"_s, [&] {
        section->stop(SectionBench::anError(), false);
        section->start();
    });
    section->start();
    QVERIFY(section->isRunning());
    QCOMPARE(bench.replies.size(), 2);
    QVERIFY(!bench.memoryWriter());
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 1);
    bench.answerWhole(kSize);
    bench.finishWith(body());
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionReentry::restartWhileStopping()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    once(bench, u"connections"_s, [&] {
        section->stop(SectionBench::anError(1), false);
        section->start();
    });
    section->stop(SectionBench::anError(2), false);
    QVERIFY(section->isRunning());
    QCOMPARE(bench.transfers().size(), 1);
    QVERIFY(!section->lastError());
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 1);
}

void tst_WwwDownloadSectionReentry::restartWhileAQueryIsParked()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->query(false);
    once(bench, u"gotOkResponse"_s, [&] {
        once(bench, u"connections"_s, [&] {
            section->stop(SectionBench::anError(), false);
            section->query(false);
        });
    });
    bench.answerWhole(kSize);
    QVERIFY(!bench.atEvent);
    QVERIFY(section->isRunning());
    QCOMPARE(bench.replies.size(), 2);
    QVERIFY(bench.reply() && !bench.reply()->wasAborted());
}

void tst_WwwDownloadSectionReentry::restartWhileARefusalIsTold()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make({4, 6, 0});
    section->start();
    once(bench, u"persistentInfoChanged"_s, [&] {
        section->stop(SectionBench::anError(), false);
        section->start();
    });
    bench.answerWhole(kSize);
    QVERIFY(section->isRunning());
    QVERIFY(!section->lastError());
    QCOMPARE(bench.transfers().size(), 1);
}

void tst_WwwDownloadSectionReentry::restartWhileARedirectBeforeAnErrorIsTold_data()
{
    QTest::addColumn<bool>("isAnswered");
    QTest::newRow("no answer from there") << false;
    QTest::newRow("an answer that is an error") << true;
}

void tst_WwwDownloadSectionReentry::restartWhileARedirectBeforeAnErrorIsTold()
{
    QFETCH(bool, isAnswered);
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    once(bench, u"persistentInfoChanged"_s, [&] {
        section->stop(SectionBench::anError(), false);
        section->start();
    });
    bench.reply()->sendRedirect("http://b.test/other.bin"_ba);
    if (isAnswered)
        bench.reply()->sendHead(404);
    else
        bench.reply()->end(QNetworkReply::ConnectionRefusedError);
    QVERIFY(!bench.atEvent);
    QVERIFY(section->isRunning());
    QVERIFY(!section->lastError());
    QCOMPARE(bench.transfers().size(), 1);
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 1);
}

void tst_WwwDownloadSectionReentry::restartWhileTheSizeIsLearnt()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.reply()->sendHead(200);
    bench.finishWith(body());
    once(bench, u"persistentInfoChanged"_s, [&] {
        section->stop(SectionBench::anError(), false);
        section->start();
    });
    QTRY_COMPARE(bench.replies.size(), 2);
    QVERIFY(section->isRunning());
    QCOMPARE(bench.transfers().size(), 1);
}

void tst_WwwDownloadSectionReentry::restartAtTheEnd()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    once(bench, u"idle"_s, [&] { section->start(); });
    section->start();
    bench.answerWhole(kSize);
    bench.reply()->sendData("0123"_ba);
    bench.info->files.first().sections = {section->section()};
    bench.reply()->end(QNetworkReply::RemoteHostClosedError);
    QTRY_COMPARE(bench.replies.size(), 2);
    QCOMPARE(bench.range(1), "bytes=4-"_ba);
    bench.answerPart(4, kSize);
    bench.finishWith(body().mid(4));
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(bench.info->content, body());
}

QTEST_GUILESS_MAIN(tst_WwwDownloadSectionReentry)
#include "tst_wwwdownloadsection_reentry.moc"
