// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/runguard.h>

#include <QTest>

#include <memory>

namespace
{
/// Something that runs.
struct Runner : QObject {
    quint64 runsEnded = 3;
};
}

class TestRunGuard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void holdsWhileTheRunGoesOn();
    void endsWithTheRun();
    void endsWithTheObject();
    void lastsThroughRunsWhereNoneAreCounted();
};

void TestRunGuard::holdsWhileTheRunGoesOn()
{
    const Runner runner;
    const RunGuard guard(&runner, runner.runsEnded);
    QVERIFY(guard);
}

void TestRunGuard::endsWithTheRun()
{
    Runner runner;
    const RunGuard before(&runner, runner.runsEnded);
    ++runner.runsEnded;
    const RunGuard after(&runner, runner.runsEnded);
    QVERIFY(!before);
    QVERIFY(after);
}

void TestRunGuard::endsWithTheObject()
{
    auto runner = std::make_unique<Runner>();
    const RunGuard ofRun(runner.get(), runner->runsEnded);
    const RunGuard ofObject(runner.get());
    runner.reset();
    QVERIFY(!ofRun);
    QVERIFY(!ofObject);
}

void TestRunGuard::lastsThroughRunsWhereNoneAreCounted()
{
    Runner runner;
    const RunGuard guard(&runner);
    ++runner.runsEnded;
    QVERIFY(guard);
}

QTEST_GUILESS_MAIN(TestRunGuard)
#include "tst_runguard.moc"
