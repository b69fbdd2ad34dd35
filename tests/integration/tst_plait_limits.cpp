// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QMutex>
#include <QMutexLocker>
#include <QTest>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;

constexpr quint64 kSeed = 41;
constexpr qint64 kSize = 300000; // too small to be split
constexpr qint64 kHalf = 150000;
constexpr qint64 kLargeSize = 4194304;

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

QTEST_GUILESS_MAIN(TestPlaitLimits)
#include "tst_plait_limits.moc"
