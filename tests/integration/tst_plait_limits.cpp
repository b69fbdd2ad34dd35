// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QMutex>
#include <QMutexLocker>
#include <QTest>

#include <memory>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;

constexpr quint64 kSeed = 41;
constexpr qint64 kSize = 300000; // too small to be split
constexpr qint64 kHalf = 150000;
constexpr qint64 kLargeSize = 4194304;
constexpr qint64 kHugeSize = 8000000;
constexpr qint64 kBeginning = 1000;

const QString kName = QStringLiteral("file.bin");
const QString kPath = QStringLiteral("/file.bin");

QByteArray statusText(const PlaitResult &result)
{
    return "status " + QByteArray::number(result.status) + ": " + result.err;
}

ScriptedResponse wholeFile(quint64 seed = kSeed, qint64 size = kSize)
{
    return ScriptedResponse::file(seed, size);
}

QString pathOf(int file)
{
    return u"/file%1.bin"_s.arg(file);
}

QString gateOf(int file)
{
    return u"gate %1"_s.arg(file);
}

// Every answer stops in its middle until its gate is opened, so that what runs at once stays visible.
ScriptedResponse heldFile(const QString &gate)
{
    ScriptedResponse response = wholeFile(kSeed, kHugeSize);
    response.holdAfter = kBeginning;
    response.holdGate = gate;
    return response;
}

// Serves slow files, and sees whether one was asked for while another was still being sent.
class OverlapWatch
{
public:
    OverlapWatch(ScriptedServer &server, qint64 size)
        : m_server(server)
    {
        server.setFallback([this, size](const ScriptedRequest &request) {
            const QList<ScriptedRequest> requests = m_server.requests();
            for (const ScriptedRequest &other : requests) {
                const qint64 missing = size - PartWay::startOf(other) - m_server.bodyBytesSent(other.order);
                if (other.connection != request.connection && missing > 0 && !m_server.hasEnded(other.connection)) {
                    note(request, other, missing);
                }
            }
            ScriptedResponse response = wholeFile(kSeed, size);
            response.bytesPerSecond = size;
            return response;
        });
    }

    // A line for each; empty = there were none.
    QByteArray overlaps() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_overlaps;
    }

private:
    void note(const ScriptedRequest &request, const ScriptedRequest &other, qint64 missing)
    {
        const QMutexLocker locker(&m_mutex);
        m_overlaps += request.target + ' ' + request.header("Range") + " was asked for while " + other.target + ' '
            + other.header("Range") + " lacked " + QByteArray::number(missing) + " bytes\n";
    }

    ScriptedServer &m_server;
    mutable QMutex m_mutex;
    QByteArray m_overlaps;

    Q_DISABLE_COPY_MOVE(OverlapWatch)
};
}

/// What is set for all downloads together holds for all of them together.
class TestPlaitLimits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void downloadsOfOneServerGoOneAfterTheOther_data();
    void downloadsOfOneServerGoOneAfterTheOther();
    void aServersLimitHoldsNoOtherServerBack();
    void eachDownloadHasItsConnectionsAndAllHaveTheirs_data();
    void eachDownloadHasItsConnectionsAndAllHaveTheirs();
    void whatADownloadLeavesIsTheOthers();
    void aDownloadWaitsForAConnection();
    void fiftyServersAreAskedAtOnce();
};

void TestPlaitLimits::downloadsOfOneServerGoOneAfterTheOther_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("files");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("severalAtOnce");
    const QStringList one{u"--max-overall-connections-per-server"_s, u"1"_s};
    QTest::newRow("small files, without a limit") << QStringList() << 3 << kSize << true;
    QTest::newRow("small files") << one << 3 << kSize << false;
    QTest::newRow("a large file, without a limit") << QStringList() << 1 << kLargeSize << true;
    QTest::newRow("a large file") << one << 1 << kLargeSize << false;
    QTest::newRow("large files") << one << 3 << kLargeSize << false;
}

void TestPlaitLimits::downloadsOfOneServerGoOneAfterTheOther()
{
    QFETCH(QStringList, options);
    QFETCH(int, files);
    QFETCH(qint64, size);
    QFETCH(bool, severalAtOnce);
    ScriptedServer server;
    const OverlapWatch watch(server, size);
    PlaitSandbox plait;
    QStringList arguments = options + QStringList{u"-j"_s, u"3"_s};
    QStringList names;
    for (int i = 0; i < files; ++i) {
        names.append(u"file%1.bin"_s.arg(i));
        arguments.append(server.url(u'/' + names.constLast()).toString());
    }
    const PlaitResult result = plait.run(arguments);
    QVERIFY2(result.status == kDone, statusText(result));
    QCOMPARE(plait.files(), names);
    for (const QString &name : std::as_const(names)) {
        QCOMPARE(TestFiles::sha256OfFile(plait.path(name)), TestFiles::sha256OfContent(kSeed, size));
    }
    QVERIFY2(watch.overlaps().isEmpty() != severalAtOnce, watch.overlaps());
}

void TestPlaitLimits::aServersLimitHoldsNoOtherServerBack()
{
    ScriptedServer slow;
    ScriptedServer other;
    ScriptedResponse held = wholeFile();
    held.holdAfter = kHalf;
    slow.setResponse("/file.bin", held);
    slow.setResponse("/next.bin", wholeFile());
    other.setResponse("/other.bin", wholeFile());
    PlaitSandbox plait;
    plait.start({u"--max-overall-connections-per-server"_s, u"1"_s, u"-j"_s, u"2"_s, slow.url(kPath).toString(),
                 slow.url(u"/next.bin"_s).toString(), other.url(u"/other.bin"_s).toString()});
    QVERIFY2(slow.waitForHeld(QString()), plait.errorText());
    QVERIFY2(QTest::qWaitFor([&] { return !plait.isRunning() || plait.has(u"other.bin"_s); }, PlaitSandbox::kPatienceMs)
                 && plait.isRunning(),
             plait.errorText());
    QVERIFY(slow.requests("/next.bin").isEmpty());
    slow.release();
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == kDone, statusText(result));
    QCOMPARE(plait.files(), QStringList({kName, u"next.bin"_s, u"other.bin"_s}));
}

void TestPlaitLimits::eachDownloadHasItsConnectionsAndAllHaveTheirs_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QList<int>>("connections");
    QTest::addColumn<QByteArray>("note");
    const QStringList overall{u"--max-overall-connections"_s};
    QTest::newRow("eight each") << QStringList{u"-x"_s, u"8"_s} << QList<int>{8, 8}
                                << QByteArray("8 connections at most: limit of 8 reached");
    QTest::newRow("two each") << QStringList{u"-x"_s, u"2"_s} << QList<int>{2, 2}
                              << QByteArray("2 connections at most: limit of 2 reached");
    QTest::newRow("two each to a server") << QStringList{u"--max-connections-per-server"_s, u"2"_s} << QList<int>{2, 2}
                                          << QByteArray("2 connections at most: limit of 2 per server reached");
    QTest::newRow("eight together") << overall + QStringList{u"8"_s} << QList<int>{4, 4}
                                    << QByteArray("4 connections at most: limit of 8 for all downloads reached");
    QTest::newRow("ten together, and four each") << overall + QStringList{u"10"_s, u"-x"_s, u"4"_s} << QList<int>{4, 4}
                                                 << QByteArray("4 connections at most: limit of 4 reached");
    QTest::newRow("nine for three") << overall + QStringList{u"9"_s} << QList<int>{3, 3, 3}
                                    << QByteArray("3 connections at most: limit of 9 for all downloads reached");
}

void TestPlaitLimits::eachDownloadHasItsConnectionsAndAllHaveTheirs()
{
    QFETCH(QStringList, options);
    QFETCH(QList<int>, connections);
    QFETCH(QByteArray, note);
    ScriptedServer server;
    PlaitSandbox plait;
    QStringList arguments = options;
    for (qsizetype i = 0; i < connections.size(); ++i) {
        arguments.append(server.url(pathOf(int(i))).toString());
        server.setResponse(pathOf(int(i)).toUtf8(), heldFile(gateOf(int(i))));
    }
    plait.start(arguments);
    int all = 0;
    for (qsizetype i = 0; i < connections.size(); ++i) {
        all += connections.at(i);
        QVERIFY2(server.waitForHeld(gateOf(int(i)), connections.at(i)), plait.errorText());
    }
    QCOMPARE(server.peakConnections(), all);
    for (qsizetype i = 0; i < connections.size(); ++i) {
        server.release(gateOf(int(i)));
    }
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == kDone, statusText(result));
    // What the first one leaves as it ends is the others'.
    QVERIFY2(result.err.contains(note), result.err);
    for (qsizetype i = 0; i < connections.size(); ++i) {
        QCOMPARE(TestFiles::sha256OfFile(plait.path(pathOf(int(i)).sliced(1))),
                 TestFiles::sha256OfContent(kSeed, kHugeSize));
    }
}

void TestPlaitLimits::whatADownloadLeavesIsTheOthers()
{
    ScriptedServer server;
    ScriptedResponse first = heldFile(gateOf(0));
    server.setResponse(pathOf(0).toUtf8(), first);
    ScriptedResponse second = ScriptedResponse::ok(TestFiles::content(kSeed, 0, kHugeSize));
    second.withHeader("Accept-Ranges", "none");
    second.holdAfter = kHalf;
    second.holdGate = gateOf(1);
    server.setResponse(pathOf(1).toUtf8(), second);
    PlaitSandbox plait;
    plait.start(
        {u"--max-overall-connections"_s, u"8"_s, server.url(pathOf(0)).toString(), server.url(pathOf(1)).toString()});
    QVERIFY2(server.waitForHeld(gateOf(1), 1), plait.errorText());
    QVERIFY2(server.waitForHeld(gateOf(0), 7), plait.errorText());
    QCOMPARE(server.peakConnections(), 8);
    server.release(gateOf(1));
    // What has ended leaves its connection, too.
    QVERIFY2(server.waitForHeld(gateOf(0), 8), plait.errorText());
    server.release(gateOf(0));
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == kDone, statusText(result));
    QCOMPARE(server.peakConnections(), 8);
    QCOMPARE(plait.files().size(), 2);
}

void TestPlaitLimits::aDownloadWaitsForAConnection()
{
    constexpr int kFiles = 6;
    constexpr int kTogether = 2;
    ScriptedServer server;
    ScriptedResponse held = wholeFile();
    held.holdAfter = kHalf;
    server.setFallback([held](const ScriptedRequest &) { return held; });
    PlaitSandbox plait;
    QStringList arguments{u"-j"_s, u"6"_s, u"--max-overall-connections"_s, QString::number(kTogether)};
    for (int i = 0; i < kFiles; ++i) {
        arguments.append(server.url(pathOf(i)).toString());
    }
    plait.start(arguments);
    QVERIFY2(server.waitForHeld(QString(), kTogether), plait.errorText());
    server.release();
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == kDone, statusText(result));
    QCOMPARE(server.peakConnections(), kTogether);
    QCOMPARE(plait.files().size(), kFiles);
}

void TestPlaitLimits::fiftyServersAreAskedAtOnce()
{
    constexpr int kServers = 50;
    std::vector<std::unique_ptr<ScriptedServer>> servers;
    QStringList arguments{u"-j"_s, QString::number(kServers)};
    ScriptedResponse held = wholeFile();
    held.holdAfter = kHalf;
    for (int i = 0; i < kServers; ++i) {
        servers.push_back(std::make_unique<ScriptedServer>());
        servers.back()->setFallback([held](const ScriptedRequest &) { return held; });
        arguments.append(servers.back()->url(pathOf(i)).toString());
    }
    PlaitSandbox plait;
    plait.start(arguments);
    for (const auto &server : servers) {
        QVERIFY2(server->waitForHeld(QString()), plait.errorText());
    }
    for (const auto &server : servers) {
        server->release();
    }
    const PlaitResult result = plait.finish();
    QVERIFY2(result.status == kDone, statusText(result));
    QCOMPARE(plait.files().size(), kServers);
}

QTEST_GUILESS_MAIN(TestPlaitLimits)
#include "tst_plait_limits.moc"
