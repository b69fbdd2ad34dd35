// SPDX-License-Identifier: MIT
#include <cli/exitstatus.h>
#include <cli/signalwatcher.h>

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

class TestSignalWatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFirstSignalAsksForAStop_data();
    void theFirstSignalAsksForAStop();
    void theSecondSignalEndsTheProcess();
    void signalsThatComeTogetherAreOne();
    void aSignalThatWasIgnoredBeforeStaysSo();
    void withoutAWatcherSignalsWorkAsEver();
    void anotherWatcherCountsAnew();
};

void TestSignalWatcher::theFirstSignalAsksForAStop_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("interrupt") << SIGINT;
    QTest::newRow("terminate") << SIGTERM;
    QTest::newRow("hang up") << SIGHUP;
}

void TestSignalWatcher::theFirstSignalAsksForAStop()
{
    QFETCH(int, number);
    const SignalWatcher watcher;
    QSignalSpy stop(&watcher, &SignalWatcher::stopRequested);
    QCOMPARE(raise(number), 0);
    QCOMPARE(stop.size(), 0);
    QVERIFY(stop.wait());
    QCOMPARE(stop.size(), 1);
}

/// In a child, which does not return to its event loop.
void TestSignalWatcher::theSecondSignalEndsTheProcess()
{
    const pid_t child = fork();
    if (child == 0) {
        const SignalWatcher watcher;
        raise(SIGINT);
        QElapsedTimer clock;
        clock.start();
        while (!clock.hasExpired(SignalWatcher::kOneWishMs + 1)) {}
        raise(SIGTERM);
        _exit(0);
    }
    QVERIFY(child > 0);
    int status = 0;
    QCOMPARE(waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), int(ExitStatus::EndedAtOnce));
}

void TestSignalWatcher::signalsThatComeTogetherAreOne()
{
    const SignalWatcher watcher;
    QSignalSpy stop(&watcher, &SignalWatcher::stopRequested);
    QCOMPARE(raise(SIGINT), 0);
    QCOMPARE(raise(SIGTERM), 0);
    QVERIFY(stop.wait());
    QCoreApplication::processEvents();
    QCOMPARE(stop.size(), 1);
}

void TestSignalWatcher::aSignalThatWasIgnoredBeforeStaysSo()
{
    signal(SIGHUP, SIG_IGN);
    {
        const SignalWatcher watcher;
        QSignalSpy stop(&watcher, &SignalWatcher::stopRequested);
        QCOMPARE(raise(SIGHUP), 0);
        QCOMPARE(raise(SIGINT), 0);
        QVERIFY(stop.wait());
        QCOMPARE(stop.size(), 1);
    }
    signal(SIGHUP, SIG_DFL);
}

void TestSignalWatcher::withoutAWatcherSignalsWorkAsEver()
{
    const pid_t child = fork();
    if (child == 0) {
        {
            const SignalWatcher watcher;
        }
        raise(SIGTERM);
        _exit(0);
    }
    QVERIFY(child > 0);
    int status = 0;
    QCOMPARE(waitpid(child, &status, 0), child);
    QVERIFY(WIFSIGNALED(status));
    QCOMPARE(WTERMSIG(status), SIGTERM);
}

void TestSignalWatcher::anotherWatcherCountsAnew()
{
    for (int i = 0; i < 2; ++i) {
        const SignalWatcher watcher;
        QSignalSpy stop(&watcher, &SignalWatcher::stopRequested);
        raise(SIGINT);
        QVERIFY(stop.wait());
    }
}

QTEST_GUILESS_MAIN(TestSignalWatcher)
#include "tst_signalwatcher.moc"
