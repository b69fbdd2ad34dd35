// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kTransfers = 800;
constexpr int kPatienceMs = 60000;
constexpr quint64 kSeed = 53;
constexpr qint64 kSize = 40000;
constexpr qint64 kBeginning = 5000;
/// KiB
constexpr qint64 kMostMemory = 256 * 1024;
/// Those of the program itself, of its syncers and of the name look-ups; transfers have none.
constexpr int kMostThreads = 24;
/// A transfer has a socket and a file.
constexpr int kPerTransfer = 2;
constexpr int kOtherDescriptors = 100;

qint64 statusField(qint64 processId, const QByteArray &name)
{
    const QList<QByteArray> lines = TestFiles::readFile(u"/proc/%1/status"_s.arg(processId)).split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(name + ':')) {
            return line.simplified().split(' ').at(1).toLongLong();
        }
    }
    return -1;
}

int networkThreadsCount(qint64 processId)
{
    const QDir tasks(u"/proc/%1/task"_s.arg(processId));
    int count = 0;
    const QStringList names = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        count += TestFiles::readFile(tasks.filePath(name + u"/comm"_s)) == "network\n" ? 1 : 0;
    }
    return count;
}

qsizetype descriptorsCount(qint64 processId)
{
    return QDir(u"/proc/%1/fd"_s.arg(processId))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}
}

/// Hundreds of transfers at once cost sockets and files, and little else.
class TestPlaitMany : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eightHundredTransfersShareAThreadAndLittleMemory();
    void whatFindsNoDescriptorWaitsForOne();

private:
    static QString nameOf(int number) { return u"f%1.bin"_s.arg(number); }
    QStringList arguments(const PlaitSandbox &plait, const ScriptedServer &server, int count) const;
    void verifyAllAreWhole(const PlaitSandbox &plait, int count) const;
};

QStringList TestPlaitMany::arguments(const PlaitSandbox &plait, const ScriptedServer &server, int count) const
{
    QFile list(QDir(plait.dataHome()).filePath(u"addresses"_s));
    if (!list.open(QIODevice::WriteOnly)) {
        return {};
    }
    for (int number = 0; number < count; ++number) {
        list.write(server.url(u'/' + nameOf(number)).toEncoded() + '\n');
    }
    return {u"-j"_s, QString::number(count), u"-i"_s, list.fileName()};
}

void TestPlaitMany::verifyAllAreWhole(const PlaitSandbox &plait, int count) const
{
    QCOMPARE(plait.files().size(), count);
    const QByteArray right = TestFiles::sha256OfContent(kSeed, kSize);
    for (int number = 0; number < count; ++number) {
        QCOMPARE(TestFiles::sha256OfFile(plait.path(nameOf(number))), right);
    }
}

void TestPlaitMany::eightHundredTransfersShareAThreadAndLittleMemory()
{
    ScriptedServer server;
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.holdAfter = kBeginning;
    server.setFallback([response](const ScriptedRequest &) { return response; });
    PlaitSandbox plait;
    plait.start(arguments(plait, server, kTransfers));
    QVERIFY2(server.waitForHeld(QString(), kTransfers, kPatienceMs), plait.errorText());

    const qint64 id = plait.engineProcessId();
    QCOMPARE(networkThreadsCount(id), 1);
    const qint64 threads = statusField(id, "Threads");
    QVERIFY2(threads > 0 && threads <= kMostThreads, QByteArray::number(threads));
    const qsizetype descriptors = descriptorsCount(id);
    QVERIFY2(descriptors > kTransfers && descriptors <= kPerTransfer * kTransfers + kOtherDescriptors,
             QByteArray::number(descriptors));
    server.release();
    qint64 memory = 0;
    const bool hasEnded = QTest::qWaitFor(
        [&] {
            memory = std::max(memory, statusField(id, "VmHWM"));
            return !plait.isRunning();
        },
        PlaitSandbox::kPatienceMs);
    QVERIFY(hasEnded);
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == 0, result.err);
    QVERIFY2(memory > 0 && memory <= kMostMemory, QByteArray::number(memory));
    verifyAllAreWhole(plait, kTransfers);
}

void TestPlaitMany::whatFindsNoDescriptorWaitsForOne()
{
    constexpr int kCount = 300;
    constexpr int kDescriptors = 256;
    ScriptedServer server;
    server.setFallback([](const ScriptedRequest &) { return ScriptedResponse::file(kSeed, kSize); });
    PlaitSandbox plait;
    plait.setDescriptorLimit(kDescriptors);
    const PlaitResult result = plait.run(arguments(plait, server, kCount) + QStringList{u"--tries"_s, u"1"_s});
    QVERIFY2(result.status == 0, result.err);
    QVERIFY2(server.peakConnections() < kDescriptors / 2, QByteArray::number(server.peakConnections()));
    verifyAllAreWhole(plait, kCount);
}

QTEST_GUILESS_MAIN(TestPlaitMany)
#include "tst_plait_many.moc"
