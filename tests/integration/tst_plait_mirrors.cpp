// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QMutex>
#include <QMutexLocker>
#include <QTest>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kNotFound = 3;
constexpr int kResourceChanged = 33;

constexpr quint64 kSeed = 31;
constexpr qint64 kSize = 300000; // too small to be split
constexpr qint64 kHalf = 150000;
constexpr qint64 kLargeSize = 4194304;

const QString kName = QStringLiteral("file.bin");
const QString kPath = QStringLiteral("/file.bin");
const QStringList kAtOnce{QStringLiteral("--retry-wait"), QStringLiteral("0.01")};
// Longer than any test waits.
const QStringList kMuchLater{QStringLiteral("--retry-wait"), QStringLiteral("3000")};

ScriptedResponse wholeFile()
{
    return ScriptedResponse::file(kSeed, kSize);
}

// Of that size. The ETag of one address says nothing of another's: size and date tell their files apart.
ScriptedResponse otherFile(qint64 size = kSize)
{
    ScriptedResponse response = ScriptedResponse::file(kSeed + 1, size);
    response.headers = {{"ETag", "\"other\""}, {"Last-Modified", "Thu, 02 Jan 2020 00:00:00 GMT"}};
    return response;
}

QList<QByteArray> linesWith(const QByteArray &text, const QByteArray &part)
{
    QList<QByteArray> lines = text.split('\n');
    lines.removeIf([&part](const QByteArray &line) { return !line.contains(part); });
    return lines;
}

// Servers of one file, who answer by the place in which each of them was asked first: which one that is, is the
// program's choice.
class Mirrors
{
public:
    explicit Mirrors(const QList<ScriptedResponse> &responses)
        : m_responses(responses)
    {
        for (qsizetype i = 0; i < responses.size(); ++i) {
            m_servers.push_back(std::make_unique<ScriptedServer>());
            m_servers.back()->setHandler("/file.bin", [this, i](const ScriptedRequest &) { return answerOf(i); });
        }
    }

    // Forgets who was asked.
    void begin(const QList<ScriptedResponse> &responses)
    {
        const QMutexLocker locker(&m_mutex);
        m_responses = responses;
        m_asked.clear();
        m_requests.clear();
    }

    QStringList options() const
    {
        QStringList options{m_servers.front()->url(kPath).toString()};
        for (std::size_t i = 1; i < m_servers.size(); ++i) {
            options << u"--mirror"_s << m_servers.at(i)->url(kPath).toString();
        }
        return options;
    }

    // Of the one that was asked so; empty = not so many were.
    QByteArray url(qsizetype place) const
    {
        const QMutexLocker locker(&m_mutex);
        const auto server = m_asked.value(place, -1);
        return server < 0 ? QByteArray() : m_servers.at(std::size_t(server))->url(kPath).toEncoded();
    }

    int requests(qsizetype place) const
    {
        const QMutexLocker locker(&m_mutex);
        return int(m_requests.count(m_asked.value(place, -1)));
    }

private:
    // In the thread of that server.
    ScriptedResponse answerOf(qsizetype server)
    {
        const QMutexLocker locker(&m_mutex);
        if (!m_asked.contains(server)) {
            m_asked.append(server);
        }
        m_requests.append(server);
        return m_responses.value(m_asked.indexOf(server));
    }

    mutable QMutex m_mutex;
    QList<ScriptedResponse> m_responses;
    QList<qsizetype> m_asked;
    QList<qsizetype> m_requests;
    std::vector<std::unique_ptr<ScriptedServer>> m_servers; // end first

    Q_DISABLE_COPY_MOVE(Mirrors)
};
}

/// A file that lies in several places comes from those that have it, and from no other.
class TestPlaitMirrors : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anAddressWithoutTheFileIsPutAside_data();
    void anAddressWithoutTheFileIsPutAside();
    void anAddressThatHasAnotherFileByNowIsPutAside_data();
    void anAddressThatHasAnotherFileByNowIsPutAside();
    void aFileOfSeveralConnectionsIsNotMadeOfTwo_data();
    void aFileOfSeveralConnectionsIsNotMadeOfTwo();
    void whenNoAddressIsLeftEachHasItsReason();
    void whenNoAddressHasTheRestWhatCameStays_data();
    void whenNoAddressHasTheRestWhatCameStays();

private:
    static void verifyWhole(PlaitSandbox &plait, qint64 size = kSize);
};

void TestPlaitMirrors::verifyWhole(PlaitSandbox &plait, qint64 size)
{
    QCOMPARE(plait.files(), QStringList(kName));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName)), TestFiles::sha256OfContent(kSeed, size));
}

void TestPlaitMirrors::anAddressWithoutTheFileIsPutAside_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("places");
    QTest::newRow("404 from one of two") << 404 << 2;
    QTest::newRow("404 from two of three") << 404 << 3;
    QTest::newRow("403 from two of three") << 403 << 3;
    QTest::newRow("401 from one of two") << 401 << 2;
    QTest::newRow("500 from one of two") << 500 << 2;
    QTest::newRow("503 from two of three") << 503 << 3;
}

void TestPlaitMirrors::anAddressWithoutTheFileIsPutAside()
{
    QFETCH(int, status);
    QFETCH(int, places);
    QList<ScriptedResponse> responses(places - 1, ScriptedResponse::error(status));
    const Mirrors mirrors(responses << wholeFile());
    PlaitSandbox plait;
    const PlaitResult result = plait.run(kMuchLater + mirrors.options());
    QVERIFY2(result.status == kDone, "status " + QByteArray::number(result.status) + ": " + result.err);
    verifyWhole(plait);
    for (int place = 0; place < places - 1; ++place) {
        QCOMPARE(mirrors.requests(place), 1);
        const QList<QByteArray> lines = linesWith(result.err, mirrors.url(place));
        QVERIFY2(lines.size() == 1, result.err);
        QVERIFY2(lines.constFirst().count(mirrors.url(place)) == 1, result.err);
        QVERIFY2(lines.constFirst().contains("HTTP status " + QByteArray::number(status)), result.err);
        QVERIFY2(lines.constFirst().contains("trying another address"), result.err);
        QVERIFY2(!lines.constFirst().contains("trying again"), result.err);
    }
    QVERIFY2(!result.err.contains(mirrors.url(places - 1)), result.err);
}

void TestPlaitMirrors::anAddressThatHasAnotherFileByNowIsPutAside_data()
{
    QTest::addColumn<ScriptedResponse>("changed");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("404") << ScriptedResponse::error(404) << QByteArray("HTTP status 404");
    QTest::newRow("a longer file") << ScriptedResponse::file(kSeed, kSize + 1000) << QByteArray("another file");
    QTest::newRow("a shorter file") << ScriptedResponse::file(kSeed, kSize - 1000) << QByteArray("another file");
    QTest::newRow("a file of another date") << otherFile() << QByteArray("another file");
    ScriptedResponse whole = wholeFile();
    whole.honoursRanges = false;
    QTest::newRow("no ranges any more") << whole << QByteArray("does not send the rest of a file alone");
}

void TestPlaitMirrors::anAddressThatHasAnotherFileByNowIsPutAside()
{
    QFETCH(ScriptedResponse, changed);
    QFETCH(QByteArray, reason);
    const ScriptedResponse half = PartWay::held(kSeed, kSize, kHalf);
    Mirrors mirrors({half, half});
    PlaitSandbox plait;
    const QStringList command =
        kMuchLater + QStringList{u"--on-changed"_s, u"fail"_s, u"--on-unresumable"_s, u"fail"_s} + mirrors.options();
    const QString trouble = PartWay::leave(plait, command, kName, kSeed);
    QVERIFY2(trouble.isEmpty(), qPrintable(trouble));
    mirrors.begin({changed, wholeFile()});

    const PlaitResult result = plait.run(command);
    QVERIFY2(result.status == kDone, "status " + QByteArray::number(result.status) + ": " + result.err);
    verifyWhole(plait);
    const QList<QByteArray> lines = linesWith(result.err, mirrors.url(0));
    QVERIFY2(lines.size() == 1, result.err);
    QVERIFY2(lines.constFirst().contains(reason + "; trying another address"), result.err);
}

void TestPlaitMirrors::aFileOfSeveralConnectionsIsNotMadeOfTwo_data()
{
    QTest::addColumn<ScriptedResponse>("other");
    QTest::newRow("a mirror without the file") << ScriptedResponse::error(404);
    QTest::newRow("a mirror that is overloaded") << ScriptedResponse::error(503);
    QTest::newRow("a mirror with a longer file") << ScriptedResponse::file(kSeed, kLargeSize + 1000);
    QTest::newRow("a mirror with a shorter file") << ScriptedResponse::file(kSeed, kLargeSize - 1000);
    QTest::newRow("a mirror with a file of another date") << otherFile(kLargeSize);
    ScriptedResponse whole = ScriptedResponse::file(kSeed, kLargeSize);
    whole.honoursRanges = false;
    QTest::newRow("a mirror without ranges") << whole;
}

void TestPlaitMirrors::aFileOfSeveralConnectionsIsNotMadeOfTwo()
{
    QFETCH(ScriptedResponse, other);
    ScriptedResponse slow = ScriptedResponse::file(kSeed, kLargeSize);
    slow.bytesPerSecond = kLargeSize / 2;
    const Mirrors mirrors({slow, other});
    PlaitSandbox plait;
    const PlaitResult result = plait.run(kAtOnce + mirrors.options());
    QVERIFY2(result.status == kDone, "status " + QByteArray::number(result.status) + ": " + result.err);
    verifyWhole(plait, kLargeSize);
}

void TestPlaitMirrors::whenNoAddressIsLeftEachHasItsReason()
{
    const Mirrors mirrors({ScriptedResponse::error(404), ScriptedResponse::error(410)});
    PlaitSandbox plait;
    const PlaitResult result = plait.run(kAtOnce + mirrors.options());
    QVERIFY2(result.status == kNotFound, "status " + QByteArray::number(result.status) + ": " + result.err);
    const QByteArray error = result.err.mid(result.err.indexOf("cannot download"));
    QVERIFY2(error.contains(mirrors.url(0) + ": HTTP status 404"), result.err);
    QVERIFY2(error.contains(mirrors.url(1) + ": HTTP status 410"), result.err);
    QCOMPARE(mirrors.requests(0), 1);
    QCOMPARE(mirrors.requests(1), 1);
    QCOMPARE(plait.files(), QStringList());
    // The list keeps them all.
    const PlaitResult shown = plait.runBare({u"show"_s, u"1"_s});
    QVERIFY2(shown.out.contains(mirrors.url(0)), shown.out);
    QVERIFY2(shown.out.contains(mirrors.url(1)), shown.out);
}

void TestPlaitMirrors::whenNoAddressHasTheRestWhatCameStays_data()
{
    QTest::addColumn<ScriptedResponse>("first");
    QTest::addColumn<ScriptedResponse>("second");
    QTest::addColumn<QByteArray>("firstReason");
    QTest::addColumn<QByteArray>("secondReason");
    QTest::addColumn<int>("status");
    const ScriptedResponse changed = otherFile();
    const ScriptedResponse gone = ScriptedResponse::error(404);
    QTest::newRow("first another file, then none")
        << changed << gone << QByteArray("another file") << QByteArray("HTTP status 404") << kNotFound;
    QTest::newRow("first none, then another file")
        << gone << changed << QByteArray("HTTP status 404") << QByteArray("another file") << kResourceChanged;
    QTest::newRow("two other files") << changed << changed << QByteArray("another file") << QByteArray("another file")
                                     << kResourceChanged;
}

void TestPlaitMirrors::whenNoAddressHasTheRestWhatCameStays()
{
    QFETCH(ScriptedResponse, first);
    QFETCH(ScriptedResponse, second);
    QFETCH(QByteArray, firstReason);
    QFETCH(QByteArray, secondReason);
    QFETCH(int, status);
    const ScriptedResponse half = PartWay::held(kSeed, kSize, kHalf);
    Mirrors mirrors({half, half});
    PlaitSandbox plait;
    const QStringList command = QStringList{u"--on-changed"_s, u"fail"_s} + mirrors.options();
    const QString trouble = PartWay::leave(plait, command, kName, kSeed);
    QVERIFY2(trouble.isEmpty(), qPrintable(trouble));
    const QByteArray kept = TestFiles::sha256OfFile(plait.path(kName + u".part"_s));
    mirrors.begin({first, second});

    const PlaitResult result = plait.run(command);
    QVERIFY2(result.status == status, "status " + QByteArray::number(result.status) + ": " + result.err);
    const QByteArray error = result.err.mid(result.err.indexOf("cannot "));
    QVERIFY2(error.contains(mirrors.url(0) + ": " + firstReason), result.err);
    QVERIFY2(error.contains(mirrors.url(1) + ": " + secondReason), result.err);
    QCOMPARE(plait.files(), QStringList(kName + u".part"_s));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(kName + u".part"_s)), kept);
}

QTEST_GUILESS_MAIN(TestPlaitMirrors)
#include "tst_plait_mirrors.moc"
