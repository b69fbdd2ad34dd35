// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/sectionbench.h>

#include <inet/qt/download/framework/memorydataasyncwriter.h>

#include <QNetworkRequest>
#include <QSslError>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const NetworkUsageSettings kSomeLimits{200000, 5, 3, true};

QByteArray bytes(qint64 size, char fill = 'x')
{
    return QByteArray(size, fill);
}

}

class tst_WwwDownloadSectionLifecycle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void constructionStartsNothing();
    void startAsksForTheMissingBytes();
    void noWriterIsMadeBeforeAGoodAnswer();
    void aWholeRun();
    void startOfARunningSectionDoesNothing();
    void aSectionRunsAgain();
    void startClearsTheErrorOfTheRunBefore();

    void usageSettingsReachTheTransfer();
    void networkSettingsReachTheTransfer();

    void stop_data();
    void stop();
    void aStopKeepsWhatHasCome();
    void stopOfAnIdleSectionKeepsWhatIsKnown();
    void aStopForgetsTheFileThatWasAskedFor();
    void aSecondStopDoesNotWaitForTheWriter();
    void aStartDropsTheWriterThatIsStillClosing();

    void anErrorOfTheTransferEndsTheSection();
    void sslErrorsAreKept();
    void unknownSizeIsLearntFromTheEnd();
    void nothingIsLearntFromAnEndWithError();
    void aSectionIsFinishedOnlyWhenIdle();
    void errorsAreAskedForInOrder();
    void anErrorIsAsOldAsTheTransfersOwn();
    void clearLastErrorClearsAllThree();

    void everyStepIsLogged();
    void noLogWhenSuppressed();
    void connectionsAreReportedAndTakenBack();
    void aSilentTransferTimesOut();
};

void tst_WwwDownloadSectionLifecycle::constructionStartsNothing()
{
    SectionBench bench;
    const WwwDownloadSection *section = bench.make({100, 50, 20});
    QCOMPARE(section->id(), 1);
    QCOMPARE(section->section(), (AbstractDownloadSection{100, 50, 20}));
    QVERIFY(!section->isRunning());
    QVERIFY(!section->isFinished());
    QVERIFY(!section->isLastErrorFileError());
    QCOMPARE(section->lastError(), AbstractError());
    QVERIFY(!section->lastErrorTime().isValid());
    QVERIFY(section->lastSslErrors().isEmpty());
    QCOMPARE(section->networkUsageSettings(), NetworkUsageSettings());
    QVERIFY(section->networkSettings().bypassCache);
    QVERIFY(!section->networkSettings().ignoreSslErrors);
    QVERIFY(section->connectionsMap().isEmpty());
    QCOMPARE(section->speed(NetworkTrafficDirection::Download, true), 0);
    QVERIFY(bench.transfers().isEmpty());
    QVERIFY(bench.events.isEmpty());
    QCOMPARE(bench.mirrors->nextMirrorConnectionCount(), 0);
}

void tst_WwwDownloadSectionLifecycle::startAsksForTheMissingBytes()
{
    SectionBench bench;
    bench.make({100, 50, 20})->start();
    QCOMPARE(bench.replies.size(), 1);
    QCOMPARE(bench.reply()->url(), bench.info->url);
    QCOMPARE(bench.range(0), "bytes=120-"_ba);
    QCOMPARE(bench.reply()->request().rawHeader("User-Agent"_ba), "bench/1"_ba);
    const WwwDownloadSourceInfo source = bench.transfer()->source();
    QCOMPARE(source.sectionOffset, 100);
    QCOMPARE(source.sectionLength, 50);
    QCOMPARE(source.sectionDownloaded, 20);
}

void tst_WwwDownloadSectionLifecycle::noWriterIsMadeBeforeAGoodAnswer()
{
    SectionBench bench;
    bench.make()->start();
    QVERIFY(!bench.memoryWriter());
    bench.answerWhole(10);
    QVERIFY(bench.memoryWriter());
}

void tst_WwwDownloadSectionLifecycle::aWholeRun()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    QVERIFY(section->isRunning());
    bench.answerWhole(10);
    bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());

    QVERIFY(section->isFinished());
    QCOMPARE(section->section(), (AbstractDownloadSection{0, 10, 10}));
    QCOMPARE(section->lastError(), AbstractError());
    QCOMPARE(bench.info->content, "0123456789"_ba);
    QCOMPARE(bench.events,
             (QStringList{u"running"_s, u"requestHeaders"_s, u"responseHeaders"_s, u"persistentInfoChanged"_s,
                          u"gotOkResponse"_s, u"idle"_s}));
    QVERIFY(bench.transfers().isEmpty());
    QVERIFY(!bench.memoryWriter());
    QCOMPARE(bench.chief->outCount(), 0);
}

void tst_WwwDownloadSectionLifecycle::startOfARunningSectionDoesNothing()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.events.clear();
    const LogCapture log;
    section->start();
    section->query(false);
    QCOMPARE(bench.replies.size(), 1);
    QVERIFY(bench.events.isEmpty());
    QVERIFY(log.lines.isEmpty());
    QCOMPARE(bench.transfer()->networkUsageSettings().downloadLimit, 0);
}

void tst_WwwDownloadSectionLifecycle::aSectionRunsAgain()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make({0, 10, 0});
    bench.addFile(10, {section->section()});
    section->start();
    bench.answerWhole(10);
    bench.reply()->sendData("0123"_ba);
    QTRY_COMPARE(section->section().downloaded, 4);
    section->stop(SectionBench::anError(), false);
    QVERIFY(bench.waitUntilIdle());

    section->start();
    QCOMPARE(bench.range(1), "bytes=4-"_ba);
    bench.answerPart(4, 10);
    bench.finishWith("456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(bench.info->content, "0123456789"_ba);
}

void tst_WwwDownloadSectionLifecycle::startClearsTheErrorOfTheRunBefore()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    section->stop(SectionBench::anError(), true);
    QVERIFY(section->lastError());
    section->start();
    QCOMPARE(section->lastError(), AbstractError());
    QVERIFY(!section->isLastErrorFileError());
}

void tst_WwwDownloadSectionLifecycle::usageSettingsReachTheTransfer()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->setNetworkUsageSettings(kSomeLimits);
    QCOMPARE(section->networkUsageSettings(), kSomeLimits);
    section->start();
    QCOMPARE(bench.transfer()->networkUsageSettings(), kSomeLimits);

    section->setNetworkUsageSettings({1000, 0, 0, false});
    QCOMPARE(bench.transfer()->networkUsageSettings(), (NetworkUsageSettings{1000, 0, 0, false}));

    bench.transfer()->setNetworkUsageSettings({});
    section->setNetworkUsageSettings({1000, 0, 0, false});
    QCOMPARE(bench.transfer()->networkUsageSettings(), NetworkUsageSettings());
}

void tst_WwwDownloadSectionLifecycle::networkSettingsReachTheTransfer()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    const AbstractNetworkConsumerSettings before{u"agent"_s, u"profile"_s, false, true};
    section->setNetworkSettings(before);
    QCOMPARE(section->networkSettings(), before);
    section->start();
    QCOMPARE(bench.transfer()->networkSettings(), before);

    const AbstractNetworkConsumerSettings later{u"other"_s, QString(), true, false};
    section->setNetworkSettings(later);
    QCOMPARE(bench.transfer()->networkSettings(), later);
}

void tst_WwwDownloadSectionLifecycle::stop_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<bool>("waits");
    QTest::newRow("before an answer") << u"asked"_s << false;
    QTest::newRow("while the file is being created") << u"waiting"_s << false;
    QTest::newRow("while the writer is opening") << u"opening"_s << true;
    QTest::newRow("with an open writer") << u"open"_s << true;
    QTest::newRow("with data that is not yet accounted") << u"writing"_s << true;
}

void tst_WwwDownloadSectionLifecycle::stop()
{
    QFETCH(QString, state);
    QFETCH(bool, waits);
    SectionBench bench;
    if (state == "waiting"_L1)
        bench.useFolder();
    WwwDownloadSection *section = bench.make({0, 10, 0});
    section->start();
    if (state != "asked"_L1)
        bench.answerWhole(10);
    if (state == "open"_L1 || state == "writing"_L1)
        QTRY_VERIFY(bench.memoryWriter()->isOpen());
    if (state == "writing"_L1)
        bench.reply()->sendData("0123456789"_ba);
    const QPointer<FakeReply> answer = bench.reply();
    const QPointer<MemoryDataAsyncWriter> writer = bench.memoryWriter();

    const LogCapture log;
    const AbstractError error(3, "Family", "place", "reason");
    section->stop(error, true);
    QCOMPARE(section->isRunning(), waits);
    QCOMPARE(section->lastError(), error);
    QVERIFY(section->isLastErrorFileError());
    QVERIFY(section->lastErrorTime().isValid());
    QVERIFY(bench.transfers().isEmpty());
    QVERIFY(!answer || answer->wasAborted() || answer->isFinished());
    QCOMPARE(log.lines.first(),
             u"D: [Section #1]: stopping with error: {ERROR: |CODE|: 3, |CATEGORY|: Family, |SOURCE|: place, "
             "|DESCRIPTION|: reason}"_s);
    QVERIFY(bench.connections().isEmpty());

    QVERIFY(bench.waitUntilIdle());
    QVERIFY(!bench.memoryWriter());
    QTRY_VERIFY(!writer);
    QCOMPARE(section->lastError(), error);
    QCOMPARE(bench.events.last(), u"idle"_s);
    QCOMPARE(section->section().downloaded, state == "writing"_L1 ? 10 : 0);
    bench.events.clear();
    section->onFileCreated();
    QVERIFY(bench.events.isEmpty());
}

void tst_WwwDownloadSectionLifecycle::aStopKeepsWhatHasCome()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make({0, 10, 0});
    section->start();
    bench.answerWhole(10);
    QTRY_VERIFY(bench.memoryWriter()->isOpen());
    bench.reply()->sendData("0123"_ba);
    section->stop(SectionBench::anError(), false);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(section->section().downloaded, 4);
}

void tst_WwwDownloadSectionLifecycle::stopOfAnIdleSectionKeepsWhatIsKnown()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    const LogCapture log;
    section->stop(SectionBench::anError(), true);
    QVERIFY(!section->isRunning());
    QCOMPARE(section->lastError(), AbstractError());
    QVERIFY(!section->isLastErrorFileError());
    QVERIFY(bench.events.isEmpty());
    QVERIFY(log.lines.isEmpty());
}

void tst_WwwDownloadSectionLifecycle::aStopForgetsTheFileThatWasAskedFor()
{
    SectionBench bench;
    bench.useFolder();
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(10);
    QCOMPARE(bench.count(u"waitingFileCreate"_s), 1);
    section->stop(SectionBench::anError(), false);
    section->start();
    bench.reply()->end(QNetworkReply::ConnectionRefusedError);
    QVERIFY(!section->isRunning());
}

void tst_WwwDownloadSectionLifecycle::aSecondStopDoesNotWaitForTheWriter()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(10);
    QTRY_VERIFY(bench.memoryWriter()->isOpen());
    section->stop(SectionBench::anError(1), false);
    QVERIFY(section->isRunning());
    section->stop(SectionBench::anError(2), true);
    QVERIFY(!section->isRunning());
    QCOMPARE(section->lastError().code, 1);
    QVERIFY(!section->isLastErrorFileError());
    QCOMPARE(bench.count(u"idle"_s), 1);
}

void tst_WwwDownloadSectionLifecycle::aStartDropsTheWriterThatIsStillClosing()
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
    QVERIFY(!bench.memoryWriter());
    bench.answerWhole(10);
    bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(bench.info->content, "0123456789"_ba);
    QCOMPARE(section->lastError(), AbstractError());
    QVERIFY(!former);
}

void tst_WwwDownloadSectionLifecycle::anErrorOfTheTransferEndsTheSection()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(10);
    bench.reply()->sendData("0123"_ba);
    bench.reply()->end(QNetworkReply::RemoteHostClosedError, u"cut"_s);
    QVERIFY(section->isRunning());
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(section->lastError().code, int(QNetworkReply::RemoteHostClosedError));
    QCOMPARE(section->lastError().category, std::string(ErrorCategory::kNetwork));
    QCOMPARE(section->lastError().description, std::string("cut"));
    QVERIFY(!section->isLastErrorFileError());
    QVERIFY(!section->isFinished());
    // What came before the cut is kept.
    QCOMPARE(section->section().downloaded, 4);
    QCOMPARE(bench.info->content, "0123"_ba);
}

void tst_WwwDownloadSectionLifecycle::sslErrorsAreKept()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    const QList<QSslError> errors{QSslError(QSslError::SelfSignedCertificate)};
    bench.reply()->sendSslErrors(errors);
    QVERIFY(section->lastSslErrors().isEmpty());
    bench.reply()->end(QNetworkReply::SslHandshakeFailedError);
    QVERIFY(!section->isRunning());
    QCOMPARE(section->lastSslErrors(), errors);
    QCOMPARE(section->lastError().code, int(QNetworkReply::SslHandshakeFailedError));
}

void tst_WwwDownloadSectionLifecycle::unknownSizeIsLearntFromTheEnd()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.reply()->sendHead(200);
    QCOMPARE(section->section().size, -1);
    bench.info->files.first().sections = {AbstractDownloadSection()};
    bench.events.clear();
    bench.finishWith("0123456"_ba);
    QVERIFY(bench.waitUntilIdle());
    const AbstractDownloadSection expected{0, 7, 7};
    QCOMPARE(section->section(), expected);
    QCOMPARE(bench.info->files.first().size, 7);
    QCOMPARE(bench.info->files.first().sections, QList<AbstractDownloadSection>{expected});
    QVERIFY(section->isFinished());
    QCOMPARE(bench.events, (QStringList{u"persistentInfoChanged"_s, u"idle"_s}));
}

void tst_WwwDownloadSectionLifecycle::nothingIsLearntFromAnEndWithError()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.reply()->sendHead(200);
    bench.info->files.first().sections = {AbstractDownloadSection()};
    bench.events.clear();
    bench.reply()->sendData("0123"_ba);
    bench.reply()->end(QNetworkReply::RemoteHostClosedError);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(section->section(), (AbstractDownloadSection{0, -1, 4}));
    QCOMPARE(bench.info->files.first().size, -1);
    QVERIFY(!section->isFinished());
    QCOMPARE(bench.events, QStringList{u"idle"_s});
}

void tst_WwwDownloadSectionLifecycle::aSectionIsFinishedOnlyWhenIdle()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make({0, 10, 10});
    QVERIFY(section->isFinished());
    section->start();
    QVERIFY(!section->isFinished());
    section->stop(SectionBench::anError(), false);
    QVERIFY(section->isFinished());
}

void tst_WwwDownloadSectionLifecycle::errorsAreAskedForInOrder()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    // No writer begins before the start of its array.
    bench.addFile(10).dataStart = -100;
    const auto letTimePass = [] {
        const QDateTime before = QDateTime::currentDateTime();
        return QTest::qWaitFor([before] { return QDateTime::currentDateTime() > before; });
    };
    QVERIFY(letTimePass());
    bench.answerWhole(10);
    QCOMPARE(section->lastError().category, std::string(ErrorCategory::kFile));
    QVERIFY(section->lastErrorTime() > bench.transfer()->lastErrorTime());
    QCOMPARE(section->lastErrorTime(), bench.memoryWriter()->lastErrorTime());

    AbstractError inTimeOut;
    QDateTime timeInTimeOut;
    QDateTime timeOfTransfer;
    bench.atEvent = [&](const QString &event) {
        if (event != "timedOut"_L1)
            return;
        inTimeOut = section->lastError();
        timeInTimeOut = section->lastErrorTime();
        timeOfTransfer = bench.transfer()->lastErrorTime();
        QVERIFY(timeOfTransfer > bench.memoryWriter()->lastErrorTime());
    };
    // The writer's failure is not told yet: its signal is queued.
    const QDateTime before = QDateTime::currentDateTime();
    while (QDateTime::currentDateTime() == before) {}
    for (QTimer *timer : bench.transfer()->findChildren<QTimer *>()) {
        if (timer->interval() == WwwDownloader::kInactivityLimitMs)
            SectionBench::fire(timer);
    }
    QCOMPARE(inTimeOut.category, std::string(ErrorCategory::kNetwork));
    QCOMPARE(timeInTimeOut, timeOfTransfer);

    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->lastError());
    section->start();
    section->stop(SectionBench::anError(), false);
    QCOMPARE(section->lastError(), SectionBench::anError());
}

void tst_WwwDownloadSectionLifecycle::anErrorIsAsOldAsTheTransfersOwn()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    const auto letTimePass = [] {
        const QDateTime before = QDateTime::currentDateTime();
        while (QDateTime::currentDateTime() == before) {}
    };
    QDateTime timeOfTransfer;
    // The transfer has failed by then, and says last of all that it has ended.
    bench.atEvent = [&](const QString &event) {
        if (event != "connections"_L1)
            return;
        timeOfTransfer = bench.transfer()->lastErrorTime();
        letTimePass();
    };
    letTimePass();
    bench.reply()->end(QNetworkReply::ConnectionRefusedError);
    QVERIFY(!section->isRunning());
    QVERIFY(timeOfTransfer.isValid());
    QCOMPARE(section->lastErrorTime(), timeOfTransfer);
}

void tst_WwwDownloadSectionLifecycle::clearLastErrorClearsAllThree()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    section->stop(SectionBench::anError(), true);
    section->clearLastError();
    QCOMPARE(section->lastError(), AbstractError());
    QVERIFY(!section->isLastErrorFileError());
    QVERIFY(section->lastErrorTime().isValid());

    section->start();
    bench.addFile(10).dataStart = -100;
    bench.reply()->sendSslErrors({QSslError(QSslError::SelfSignedCertificate)});
    bench.answerWhole(10);
    QVERIFY(bench.memoryWriter()->lastError());
    QVERIFY(!bench.transfer()->lastSslErrors().isEmpty());
    section->clearLastError();
    QCOMPARE(section->lastError(), AbstractError());
    QCOMPARE(bench.memoryWriter()->lastError(), AbstractError());
    QVERIFY(bench.transfer()->lastSslErrors().isEmpty());
}

void tst_WwwDownloadSectionLifecycle::everyStepIsLogged()
{
    SectionBench bench;
    bench.make();
    const LogCapture log;
    bench.section->start();
    bench.answerWhole(3);
    bench.finishWith(bytes(3));
    QVERIFY(bench.waitUntilIdle());
    QStringList expected{u"starting..."_s,       u"downloader running: 1"_s, u"creating writer..."_s,
                         u"opening writer..."_s, u"downloader running: 0"_s, u"writer opened."_s,
                         u"writer closed."_s};
    for (QString &line : expected)
        line.prepend(u"D: [Section #1]: "_s);
    QCOMPARE(log.lines, expected);
    QCOMPARE(log.levels, QList<int>(expected.size(), 4));
}

void tst_WwwDownloadSectionLifecycle::noLogWhenSuppressed()
{
    SectionBench bench;
    bench.info->setFlag(AbstractDownloadPersistentInfo::LoggingSuppressed, true);
    bench.make();
    const LogCapture log;
    bench.section->start();
    bench.answerWhole(3);
    bench.section->stop(SectionBench::anError(), false);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(log.lines.isEmpty());
}

void tst_WwwDownloadSectionLifecycle::connectionsAreReportedAndTakenBack()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    const QtConnectionsMap one{{hostAndPortFromUrl(bench.info->url), {1}}};
    QCOMPARE(section->connectionsMap(), one);
    QCOMPARE(bench.connections(), one);
    bench.answerWhole(10);
    bench.finishWith(bytes(10));
    QCOMPARE(section->speed(NetworkTrafficDirection::Download, true),
             bench.transfer()->speed(NetworkTrafficDirection::Download, true));
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->connectionsMap().isEmpty());
    QVERIFY(bench.connections().isEmpty());
}

void tst_WwwDownloadSectionLifecycle::aSilentTransferTimesOut()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make();
    section->start();
    for (QTimer *timer : bench.transfer()->findChildren<QTimer *>()) {
        if (timer->interval() == WwwDownloader::kInactivityLimitMs)
            SectionBench::fire(timer);
    }
    QCOMPARE(bench.count(u"timedOut"_s), 1);
    QVERIFY(!section->isRunning());
    QCOMPARE(section->lastError().code, int(QNetworkReply::TimeoutError));
    QCOMPARE(section->lastError().category, std::string(ErrorCategory::kNetwork));
    // Whether to try again is for those who asked.
    QCOMPARE(bench.replies.size(), 1);
}

QTEST_GUILESS_MAIN(tst_WwwDownloadSectionLifecycle)
#include "tst_wwwdownloadsection_lifecycle.moc"
