// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/sectionbench.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QString kMain = u"http://a.test/dir/file.bin"_s;
const QString kMirror = u"http://m.test/file.bin"_s;

}

/// Every source that a section takes goes back exactly once, and as it was.
class tst_WwwDownloadSectionMirrors : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSourceIsHeldForARun();
    void aFailureIsCounted();
    void aStopIsNoFailure();
    void aRedirectedSourceGoesBackAsItWas_data();
    void aRedirectedSourceGoesBackAsItWas();
    void aParkedTransferHoldsNoSource();
    void anAdoptedTransferHoldsItsSourceAgain();
    void anAdoptedTransferMayComeFromNoSource();
    void aRestartTakesTheBetterSource();
    void aSectionThatGoesGivesItsSourceBack();
    void sectionsShareTheSources();
};

void tst_WwwDownloadSectionMirrors::aSourceIsHeldForARun()
{
    SectionBench bench;
    bench.make()->start();
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 1);
    bench.answerWhole(4);
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 1);
    bench.finishWith("0123"_ba);
    // The transfer is over, though the writer is not.
    QVERIFY(bench.section->isRunning());
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
    QVERIFY(bench.mirrors->containsMirrorWithoutErrors());
}

void tst_WwwDownloadSectionMirrors::aFailureIsCounted()
{
    SectionBench bench;
    bench.make()->start();
    bench.reply()->end(QNetworkReply::ConnectionRefusedError);
    QVERIFY(!bench.section->isRunning());
    QVERIFY(!bench.mirrors->containsMirrorWithoutErrors());
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionMirrors::aStopIsNoFailure()
{
    SectionBench bench;
    bench.make()->start();
    bench.section->stop(SectionBench::anError(), false);
    QVERIFY(bench.mirrors->containsMirrorWithoutErrors());
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionMirrors::aRedirectedSourceGoesBackAsItWas_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("after a good end") << false;
    QTest::newRow("after an error") << true;
}

void tst_WwwDownloadSectionMirrors::aRedirectedSourceGoesBackAsItWas()
{
    QFETCH(bool, fails);
    SectionBench bench;
    bench.make()->start();
    // To a place that is a mirror too: nobody took that.
    bench.addMirror(kMirror);
    bench.reply()->sendRedirect(kMirror.toLatin1());
    bench.answerWhole(4);
    if (fails)
        bench.reply()->end(QNetworkReply::RemoteHostClosedError);
    else
        bench.finishWith("0123"_ba);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(bench.mirrors->nextMirrorUrl(), QUrl(fails ? kMirror : kMain));
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
    // One pick of the first brings the other up, with its own counter.
    bench.mirrors->pickMirror();
    bench.mirrors->pickMirror();
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), fails ? 2 : 1);
}

void tst_WwwDownloadSectionMirrors::aParkedTransferHoldsNoSource()
{
    SectionBench bench;
    bench.make();
    bench.runQuery(4);
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
    bench.section->dropDldrOfQueryIfRequired();
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionMirrors::anAdoptedTransferHoldsItsSourceAgain()
{
    SectionBench bench;
    bench.addMirror(kMirror);
    bench.make();
    bench.runQuery(4);
    QCOMPARE(bench.reply()->url(), QUrl(kMain));
    bench.section->start();
    QCOMPARE(bench.mirrors->nextMirrorUrl(), QUrl(kMirror));
    bench.finishWith("0123"_ba);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(bench.mirrors->nextMirrorUrl(), QUrl(kMain));
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionMirrors::anAdoptedTransferMayComeFromNoSource()
{
    SectionBench bench;
    bench.make();
    bench.runQuery(4);
    AbstractDownloadSourceInfo other;
    other.url = QUrl(kMirror);
    bench.mirrors->setMirrors(other, {});
    bench.section->start();
    QCOMPARE(bench.replies.size(), 1);
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
    bench.finishWith("0123"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(bench.section->isFinished());
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionMirrors::aRestartTakesTheBetterSource()
{
    SectionBench bench;
    bench.addMirror(kMirror);
    bench.make();
    bench.runQuery(4);
    bench.section->start();
    bench.reply()->end(QNetworkReply::RemoteHostClosedError);
    QTRY_COMPARE(bench.replies.size(), 2);
    QCOMPARE(bench.reply()->url(), QUrl(kMirror));
    bench.answerWhole(4);
    bench.finishWith("0123"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(bench.section->isFinished());
    QCOMPARE(bench.mirrors->nextMirrorUrl(), QUrl(kMirror));
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionMirrors::aSectionThatGoesGivesItsSourceBack()
{
    SectionBench bench;
    bench.make()->start();
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 1);
    bench.destroySection();
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
    QVERIFY(bench.mirrors->containsMirrorWithoutErrors());
}

void tst_WwwDownloadSectionMirrors::sectionsShareTheSources()
{
    SectionBench bench;
    bench.addMirror(kMirror);
    bench.make({0, 5, 0})->start();
    WwwDownloadSection other(2, QString(), {5, 5, 0}, bench.info, bench.chief, false, bench.mirrors, nullptr);
    other.start();
    QCOMPARE(bench.replies.at(0)->url(), QUrl(kMain));
    QCOMPARE(bench.replies.at(1)->url(), QUrl(kMirror));
    other.stop(SectionBench::anError(), false);
    QCOMPARE(bench.mirrors->nextMirrorUrl(), QUrl(kMirror));
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

QTEST_GUILESS_MAIN(tst_WwwDownloadSectionMirrors)
#include "tst_wwwdownloadsection_mirrors.moc"
