// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/transferbench.h>

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

namespace
{

/// A signal, and what makes a transfer send it.
struct Moment {
    const char *signalName;
    /// How many of that signal are let pass first.
    int skipped;
    /// Plays the bench up to and through the signal.
    void (*play)(TransferBench &);
};

void playStart(TransferBench &bench)
{
    bench.start();
}

void playHead(TransferBench &bench)
{
    bench.start();
    bench.reply()->sendHead(200);
}

void playRedirect(TransferBench &bench)
{
    bench.start();
    bench.reply()->sendRedirect("http://b.test/g");
}

void playData(TransferBench &bench)
{
    bench.startReceiving();
    bench.downloader->second++;
    bench.reply()->sendData("abc");
}

void playLastData(TransferBench &bench)
{
    bench.startReceiving(3);
    bench.reply()->sendData("abcdef");
}

void playConfirmation(TransferBench &bench)
{
    playData(bench);
    bench.reply()->sendData("def");
    bench.downloader->second++;
    bench.downloader->onDataProcessed(3);
}

void playTruncation(TransferBench &bench)
{
    bench.startReceiving(100);
    bench.reply()->sendData("abc");
    bench.downloader->truncateSection(2);
}

void playEnd(TransferBench &bench)
{
    bench.startReceiving();
    bench.reply()->addData("abc");
    bench.reply()->end();
}

/// The chunk is handed out after the reply was let go.
void playEndOfHeldBackData(TransferBench &bench)
{
    bench.startReceiving();
    bench.reply()->sendData("abc");
    bench.reply()->end();
}

void playFailure(TransferBench &bench)
{
    bench.startReceiving(100);
    bench.reply()->addData("abc");
    bench.reply()->end(QNetworkReply::RemoteHostClosedError, u"closed"_s);
}

void playStop(TransferBench &bench)
{
    bench.startReceiving();
    bench.reply()->sendData("abc");
    bench.downloader->stop();
}

void playTimeout(TransferBench &bench)
{
    bench.startReceiving();
    bench.reply()->sendData("abc");
    TransferBench::fire(bench.inactivityTimer());
}

void playLetOut(TransferBench &bench)
{
    bench.downloader->setDontEmitData(true);
    bench.startReceiving();
    bench.reply()->sendData("abc");
    bench.downloader->setDontEmitData(false);
}

void playSixteenthRedirect(TransferBench &bench)
{
    bench.start();
    for (int i = 0; i < 16; ++i)
        bench.reply()->sendRedirect("/next");
}

/// Does something in the middle of that signal, once.
void at(const Moment &moment, TransferBench &bench, const std::function<void()> &function)
{
    bench.onEvent = [&bench, moment, function, done = false](const QString &name) mutable {
        if (done || name != QLatin1String(moment.signalName) || bench.events.count(name) <= moment.skipped)
            return;
        done = true;
        function();
    };
}

/// Adds up the connections for a receiver that is told after the bench, and so after what is done in its signals.
void sumUpForAnother(const TransferBench &bench, QtConnectionsMap &sum)
{
    QObject::connect(bench.downloader.get(), &WwwDownloader::connectionsMapChangedDelta, bench.downloader.get(),
                     [&sum](const QtConnectionsMap &delta) { uniteConnectionsMaps(sum, delta); });
}

}
Q_DECLARE_METATYPE(Moment)

/// Receivers that stop, restart, delete or confirm in the middle of a signal.
class TestWwwDownloaderReentry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stop_data() { addMoments(); }
    void stop();
    void restart_data() { addMoments(); }
    void restart();
    void restartAfterStopOfAnother_data() { addMoments(); }
    void restartAfterStopOfAnother();
    void deleteLater_data() { addMoments(); }
    void deleteLater();
    void restartBeforeSending_data();
    void restartBeforeSending();
    void stopBeforeSending_data() { restartBeforeSending_data(); }
    void stopBeforeSending();
    void stopAtTheEndOfAWholeAnswer_data();
    void stopAtTheEndOfAWholeAnswer();
    void stopAsTheAnswerFails();
    void restartAsARunFails();
    void confirmationInsideTheSignal();
    void confirmationInsideStop();

private:
    static void addMoments();
};

void TestWwwDownloaderReentry::addMoments()
{
    QTest::addColumn<Moment>("moment");
    const auto row = [](const char *name, const Moment &moment) { QTest::newRow(name) << moment; };
    row("running, as a run begins", {"running", 0, playStart});
    row("connectionsMapChangedDelta, as a connection is taken", {"connectionsMapChangedDelta", 0, playStart});
    row("requestHeaders", {"requestHeaders", 0, playStart});
    row("responseHeaders", {"responseHeaders", 0, playHead});
    row("responseHeaders of a redirect", {"responseHeaders", 0, playRedirect});
    row("connectionsMapChangedDelta, as a redirect leaves a server", {"connectionsMapChangedDelta", 1, playRedirect});
    row("connectionsMapChangedDelta, as a redirect comes to a server", {"connectionsMapChangedDelta", 2, playRedirect});
    row("requestHeaders of a redirect", {"requestHeaders", 1, playRedirect});
    row("gotHeaders", {"gotHeaders", 0, playHead});
    row("gotData", {"gotData", 0, playData});
    row("gotData with the last bytes of the section", {"gotData", 0, playLastData});
    row("gotData after a confirmation", {"gotData", 1, playConfirmation});
    row("gotData of a truncated section", {"gotData", 0, playTruncation});
    row("gotData at the end of the answer", {"gotData", 0, playEnd});
    row("gotData behind the end of the answer", {"gotData", 0, playEndOfHeldBackData});
    row("gotData as the answer fails", {"gotData", 0, playFailure});
    row("gotData as the run is stopped", {"gotData", 0, playStop});
    row("gotData as it is no longer held back", {"gotData", 0, playLetOut});
    row("timedOut", {"timedOut", 0, playTimeout});
    row("gotData after the time-out", {"gotData", 0, playTimeout});
    row("connectionsMapChangedDelta, as a run ends", {"connectionsMapChangedDelta", 1, playEnd});
    row("connectionsMapChangedDelta, as a run is stopped", {"connectionsMapChangedDelta", 1, playStop});
    row("running, as the answer ends", {"running", 1, playEnd});
    row("running, as the answer fails", {"running", 1, playFailure});
    row("running, as the section is complete", {"running", 1, playLastData});
    row("running, as the run is stopped", {"running", 1, playStop});
    row("running, as the run times out", {"running", 1, playTimeout});
    row("running, as there are too many redirects", {"running", 1, playSixteenthRedirect});
}

void TestWwwDownloaderReentry::stop()
{
    QFETCH(Moment, moment);
    QtConnectionsMap toldToAnother;
    TransferBench bench;
    sumUpForAnother(bench, toldToAnother);
    bool reached = false;
    at(moment, bench, [&] {
        reached = true;
        bench.downloader->stop();
        QVERIFY(!bench.downloader->isRunning());
    });
    moment.play(bench);
    QVERIFY(reached);
    QVERIFY(!bench.downloader->isRunning());
    QCOMPARE(bench.runs, (QList<bool>{true, false}));
    QCOMPARE(bench.chief->outCount(), 0);
    QVERIFY(bench.connections().isEmpty());
    QCOMPARE(toldToAnother, QtConnectionsMap());
    QVERIFY(bench.downloader->connectionsMap().isEmpty());
    QVERIFY(!bench.inactivityTimer()->isActive());
    QVERIFY(!bench.readTimer()->isActive());
}

void TestWwwDownloaderReentry::restart()
{
    QFETCH(Moment, moment);
    QtConnectionsMap toldToAnother;
    TransferBench bench;
    sumUpForAnother(bench, toldToAnother);
    bool reached = false;
    at(moment, bench, [&] {
        reached = true;
        bench.downloader->stop();
        bench.start(TransferBench::source(u"http://second.test/f"_s));
    });
    moment.play(bench);
    QVERIFY(reached);

    // Nothing of the first run reaches into the second.
    QVERIFY(bench.downloader->isRunning());
    QCOMPARE(bench.runs, (QList<bool>{true, false, true}));
    QCOMPARE(bench.chief->outCount(), 1);
    QCOMPARE(bench.connections(), bench.downloader->connectionsMap());
    QCOMPARE(toldToAnother, bench.downloader->connectionsMap());
    QVERIFY(bench.inactivityTimer()->isActive());
    QCOMPARE(bench.reply()->url().host(), u"second.test"_s);
    QVERIFY(!bench.reply()->wasAborted());
    QCOMPARE(bench.downloader->lastError(), AbstractError());
    QCOMPARE(bench.downloader->source().url, bench.reply()->url());
    QCOMPARE(bench.downloader->source().sectionLength, -1);
    QCOMPARE(bench.downloader->source().sectionDownloaded, 0);
    QCOMPARE(bench.downloader->redirectedSource().url, bench.reply()->url());

    // And the second is a run like any other.
    bench.downloader->onDataProcessed(1000);
    bench.chunks.clear();
    bench.events.clear();
    bench.reply()->sendHead(200, "OK"_ba, {{"X-Run"_ba, "second"_ba}});
    QCOMPARE(bench.events, (QStringList{u"responseHeaders"_s, u"gotHeaders"_s}));
    QCOMPARE(bench.downloader->headers().size(), 1);
    bench.reply()->sendData("fresh");
    bench.reply()->end();
    QCOMPARE(bench.received(), "fresh");
    QCOMPARE(bench.downloader->source().sectionLength, 5);
    QCOMPARE(bench.runs, (QList<bool>{true, false, true, false}));
    QVERIFY(bench.connections().isEmpty());
    QCOMPARE(toldToAnother, QtConnectionsMap());
}

void TestWwwDownloaderReentry::restartAfterStopOfAnother()
{
    QFETCH(Moment, moment);
    TransferBench bench;
    // The one who stops is told of the end in the middle of it, and begins anew there.
    bool stopped = false;
    at(moment, bench, [&] {
        connect(bench.downloader.get(), &WwwDownloader::running, this, [&](bool isRunning) {
            if (!isRunning && !stopped) {
                stopped = true;
                bench.start(TransferBench::source(u"http://second.test/f"_s));
            }
        });
        if (bench.downloader->isRunning()) {
            bench.downloader->stop();
        } else {
            stopped = true;
            bench.start(TransferBench::source(u"http://second.test/f"_s));
        }
    });
    moment.play(bench);
    QVERIFY(stopped);
    QVERIFY(bench.downloader->isRunning());
    QCOMPARE(bench.runs, (QList<bool>{true, false, true}));
    QCOMPARE(bench.reply()->url().host(), u"second.test"_s);
    QVERIFY(!bench.reply()->wasAborted());
    QCOMPARE(bench.chief->outCount(), 1);
    QCOMPARE(bench.connections(), bench.downloader->connectionsMap());
}

void TestWwwDownloaderReentry::deleteLater()
{
    QFETCH(Moment, moment);
    TransferBench bench;
    bool reached = false;
    at(moment, bench, [&] {
        reached = true;
        bench.downloader->deleteLater();
    });
    moment.play(bench);
    QVERIFY(reached);
    bench.onEvent = {};
    WwwDownloader *const deletedByItself = bench.downloader.release();
    QSignalSpy deaths(deletedByItself, &QObject::destroyed);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(deaths.size(), 1);
    QCOMPARE(bench.chief->outCount(), 0);
    QVERIFY(bench.connections().isEmpty());
    // The reply was put off until after it.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!bench.reply());
}

void TestWwwDownloaderReentry::restartBeforeSending_data()
{
    QTest::addColumn<Moment>("moment");
    const auto row = [](const char *name, const char *signalName) {
        QTest::newRow(name) << Moment{signalName, 0, playStart};
    };
    row("as the run begins", "running");
    row("as the connection is announced", "connectionsMapChangedDelta");
    row("as the request is reported", "requestHeaders");
}

void TestWwwDownloaderReentry::restartBeforeSending()
{
    QFETCH(Moment, moment);
    TransferBench bench;
    at(moment, bench, [&] {
        bench.downloader->stop();
        bench.start(TransferBench::source(u"http://second.test/f"_s));
    });
    moment.play(bench);
    QCOMPARE(bench.replies.size(), 1);
    QCOMPARE(bench.reply()->url().host(), u"second.test"_s);
}

void TestWwwDownloaderReentry::stopBeforeSending()
{
    QFETCH(Moment, moment);
    TransferBench bench;
    at(moment, bench, [&] { bench.downloader->stop(); });
    moment.play(bench);
    QVERIFY(bench.replies.isEmpty());
}

void TestWwwDownloaderReentry::stopAtTheEndOfAWholeAnswer_data()
{
    QTest::addColumn<Moment>("moment");
    const auto row = [](const char *name, const Moment &moment) { QTest::newRow(name) << moment; };
    row("gotData at the end of the answer", {"gotData", 0, playEnd});
    row("gotData behind the end of the answer", {"gotData", 0, playEndOfHeldBackData});
}

void TestWwwDownloaderReentry::stopAtTheEndOfAWholeAnswer()
{
    QFETCH(Moment, moment);
    TransferBench bench;
    bool isCompleteAtTheEnd = false;
    connect(bench.downloader.get(), &WwwDownloader::running, this,
            [&](bool isRunning) { isCompleteAtTheEnd = !isRunning && bench.downloader->isFinished(); });
    at(moment, bench, [&] { bench.downloader->stop(); });
    moment.play(bench);
    // The next start would ask for what lies behind the end of the resource.
    QVERIFY(isCompleteAtTheEnd);
    QVERIFY(bench.downloader->isFinished());
    QCOMPARE(bench.downloader->source().sectionLength, 3);
    QCOMPARE(bench.downloader->source().sectionDownloaded, 3);
    QCOMPARE(bench.received(), "abc");
}

void TestWwwDownloaderReentry::stopAsTheAnswerFails()
{
    TransferBench bench;
    at({"gotData", 0, nullptr}, bench, [&] { bench.downloader->stop(); });
    bench.startReceiving();
    bench.reply()->addData("abc");
    bench.reply()->end(QNetworkReply::RemoteHostClosedError, u"closed"_s);
    QVERIFY(!bench.downloader->isRunning());
    QCOMPARE(bench.received(), "abc");
    QCOMPARE(bench.downloader->source().sectionLength, -1);
    QVERIFY(!bench.downloader->isFinished());
}

void TestWwwDownloaderReentry::restartAsARunFails()
{
    TransferBench bench;
    bench.startReceiving(100);
    connect(bench.downloader.get(), &WwwDownloader::running, this, [&](bool isRunning) {
        if (!isRunning)
            bench.start(100);
    });
    // The failed reply's finished comes behind its errorOccurred, when the next run has begun.
    bench.replies.first()->end(QNetworkReply::RemoteHostClosedError, u"closed"_s);
    QCOMPARE(bench.runs, (QList<bool>{true, false, true}));
    QVERIFY(bench.downloader->isRunning());
    QVERIFY(!bench.reply()->wasAborted());
    QCOMPARE(bench.downloader->lastError(), AbstractError());
    bench.downloader->disconnect(this);
}

void TestWwwDownloaderReentry::confirmationInsideTheSignal()
{
    TransferBench bench;
    connect(bench.downloader.get(), &WwwDownloader::gotData, this,
            [&](const QByteArray &data) { bench.downloader->onDataProcessed(data.size()); });
    bench.startReceiving(9);
    bench.downloader->second++;
    bench.reply()->sendData("abc");
    bench.reply()->sendData("def");
    bench.downloader->second++;
    bench.reply()->sendData("ghijkl");
    QCOMPARE(bench.received(), "abcdefghi");
    QVERIFY(bench.downloader->isDataProcessed());
    QCOMPARE(bench.runs, (QList<bool>{true, false}));
}

void TestWwwDownloaderReentry::confirmationInsideStop()
{
    TransferBench bench;
    connect(bench.downloader.get(), &WwwDownloader::gotData, this,
            [&](const QByteArray &data) { bench.downloader->onDataProcessed(data.size()); });
    bench.startReceiving();
    bench.reply()->sendData("abc");
    bench.reply()->addData("unread");
    bench.downloader->stop();
    // What the reply still held is not read any more: nobody would be told of it.
    QCOMPARE(bench.received(), "abc");
    QVERIFY(bench.downloader->isDataProcessed());
}

QTEST_GUILESS_MAIN(TestWwwDownloaderReentry)
#include "tst_wwwdownloader_reentry.moc"
