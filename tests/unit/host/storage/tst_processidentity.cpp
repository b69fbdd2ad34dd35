// SPDX-License-Identifier: MIT
#include <host/storage/processidentity.h>

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

class TestProcessIdentity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thisProcessIsAlive();
    void anotherProcessDies();
    void aNumberGivenOutAgainIsSomebodyElse();
    void anEarlierRunOfTheMachineIsOver();
    void anotherContainerIsNotHere();
    void anOwnerThatAnEarlierVersionWroteIsLookedForHere();
    void nobodyIsNotAlive();
    void aProcessThatNobodyAsksForIsDead();
};

void TestProcessIdentity::thisProcessIsAlive()
{
    const ProcessIdentity me = ProcessIdentity::current();
    QCOMPARE(me.pid, QCoreApplication::applicationPid());
    QVERIFY(me.startTime > 0);
    QVERIFY(!me.bootId.isEmpty());
    QVERIFY(me.isAlive());
    QCOMPARE(ProcessIdentity::current(), me);
}

void TestProcessIdentity::anotherProcessDies()
{
    QProcess other;
    other.start(u"cat"_s, {});
    QVERIFY(other.waitForStarted());
    const ProcessIdentity identity = ProcessIdentity::ofProcess(other.processId());
    QVERIFY(identity.isAlive());
    QVERIFY(identity != ProcessIdentity::current());
    other.closeWriteChannel();
    QVERIFY(other.waitForFinished());
    QVERIFY(!identity.isAlive());
}

void TestProcessIdentity::aNumberGivenOutAgainIsSomebodyElse()
{
    ProcessIdentity earlier = ProcessIdentity::current();
    --earlier.startTime;
    QVERIFY(!earlier.isAlive());
}

void TestProcessIdentity::anEarlierRunOfTheMachineIsOver()
{
    ProcessIdentity earlier = ProcessIdentity::current();
    earlier.bootId = u"another"_s;
    QVERIFY(!earlier.isAlive());
}

/// Its numbers are other processes'.
void TestProcessIdentity::anotherContainerIsNotHere()
{
    ProcessIdentity elsewhere = ProcessIdentity::current();
    QVERIFY(elsewhere.isHere());
    QVERIFY2(elsewhere.bootId.contains(u'/'), qPrintable(elsewhere.bootId));
    elsewhere.bootId += u'1';
    QVERIFY(!elsewhere.isHere());
    QVERIFY(!elsewhere.isAlive());
}

void TestProcessIdentity::anOwnerThatAnEarlierVersionWroteIsLookedForHere()
{
    ProcessIdentity owner = ProcessIdentity::current();
    owner.bootId = owner.bootId.section(u'/', 0, 0);
    QVERIFY(owner.isAlive());
    --owner.startTime;
    QVERIFY(owner.isHere());
    QVERIFY(!owner.isAlive());
}

void TestProcessIdentity::nobodyIsNotAlive()
{
    QVERIFY(ProcessIdentity().isNobody());
    QVERIFY(!ProcessIdentity().isAlive());
}

/// It has ended, but stands in the table until its parent hears of it.
void TestProcessIdentity::aProcessThatNobodyAsksForIsDead()
{
    QProcess parent;
    parent.start(u"sh"_s, {u"-c"_s, u"true & echo $!; exec cat"_s});
    QVERIFY(parent.waitForReadyRead());
    const qint64 child = parent.readLine().trimmed().toLongLong();
    QVERIFY(child > 0);
    QTRY_VERIFY(ProcessIdentity::ofProcess(child).isNobody());
    parent.closeWriteChannel();
    QVERIFY(parent.waitForFinished());
}

QTEST_GUILESS_MAIN(TestProcessIdentity)
#include "tst_processidentity.moc"
