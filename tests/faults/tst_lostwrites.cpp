// SPDX-License-Identifier: MIT
#include <tests/faults/listclaims.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kContentSeed = 4711;
constexpr qint64 kSize = 3000000;
constexpr int kDied = 137;
constexpr int kAtOnce = 16;
constexpr int kDefaultSeeds = 200;
const QString kName = u"file.bin"_s;

struct Seeds {
    quint32 first = 1;
    quint32 count = kDefaultSeeds;
};

/// PLAIT_SEEDS=first:count
Seeds seedsAskedFor()
{
    const QStringList parts = qEnvironmentVariable("PLAIT_SEEDS").split(u':');
    if (parts.size() != 2)
        return {};
    return {parts.first().toUInt(), parts.last().toUInt()};
}

bool holds(const ListClaim &claim)
{
    return claim.bytes() == TestFiles::content(kContentSeed, claim.offset, claim.size);
}

}

/// One download that dies up to two times and is resumed until it is done.
class UnluckyRun
{
    Q_DISABLE_COPY_MOVE(UnluckyRun)

public:
    /// @param calls how many a run without faults makes
    UnluckyRun(quint32 seed, int calls, const QString &url)
        : m_seed(seed)
        , m_chance(seed)
        , m_calls(calls)
        , m_url(url)
    {
        const int deaths = 1 + int(m_chance.bounded(2));
        for (int i = 0; i < deaths; ++i)
            m_deaths.append(1 + int(m_chance.bounded(m_calls)));
        begin();
    }

    bool isOver() const { return m_over; }
    QString failure() const { return m_failure; }
    int deaths() const { return m_deathCount; }
    bool hadClaims() const { return m_hadClaims; }

    void poll()
    {
        if (m_over || m_sandbox.isRunning())
            return;
        const PlaitResult result = m_sandbox.finish();
        if (result.status == kDied && m_isToDie)
            ++m_deathCount;
        else if (result.status != 0)
            fail(u"ended with %1: %2"_s.arg(result.status).arg(QString::fromUtf8(result.err)));
        checkDisk(result.status == kDied);
        if (m_failure.isEmpty() && result.status == 0)
            checkResult();
        m_over = !m_failure.isEmpty() || result.status == 0;
        if (!m_over)
            begin();
    }

private:
    void begin()
    {
        m_isToDie = !m_deaths.isEmpty();
        const int at = m_isToDie ? m_deaths.takeFirst() : 0;
        if (m_isToDie) {
            qputenv("LD_PRELOAD", LOST_WRITES);
            qputenv("PLAIT_LOST_FOLDER", QFile::encodeName(QFileInfo(m_sandbox.dataHome()).absolutePath()));
            qputenv("PLAIT_LOST_AT", QByteArray::number(at));
            qputenv("PLAIT_LOST_SEED", QByteArray::number(m_seed));
        }
        m_sandbox.start({u"-x"_s, u"4"_s, u"-q"_s, m_url});
        for (const char *name : {"LD_PRELOAD", "PLAIT_LOST_FOLDER", "PLAIT_LOST_AT", "PLAIT_LOST_SEED"})
            qunsetenv(name);
    }

    void checkDisk(bool died)
    {
        const QList<ListClaim> claims = ListOnDisk(m_sandbox).claims();
        m_hadClaims = m_hadClaims || (died && !claims.isEmpty());
        for (const ListClaim &claim : claims) {
            if (!holds(claim))
                fail(u"the list says that %1 bytes from %2 on are in \"%3\", which they are not"_s.arg(claim.size)
                         .arg(claim.offset)
                         .arg(claim.file()));
        }
    }

    void checkResult()
    {
        QStringList whole = m_sandbox.files();
        whole.erase(
            std::remove_if(whole.begin(), whole.end(), [](const QString &name) { return name.endsWith(u".part"_s); }),
            whole.end());
        if (whole.isEmpty())
            fail(u"there is no file"_s);
        for (const QString &name : std::as_const(whole)) {
            if (TestFiles::sha256OfFile(m_sandbox.path(name)) != TestFiles::sha256OfContent(kContentSeed, kSize))
                fail(u"\"%1\" is not what the server has"_s.arg(name));
        }
    }

    void fail(const QString &what)
    {
        m_failure = u"seed %1, after %2 deaths: %3"_s.arg(m_seed).arg(m_deathCount).arg(what);
    }

    const quint32 m_seed;
    QRandomGenerator m_chance;
    const int m_calls;
    const QString m_url;
    QList<int> m_deaths;
    PlaitSandbox m_sandbox;
    int m_deathCount = 0;
    bool m_isToDie = false;
    bool m_hadClaims = false;
    bool m_over = false;
    QString m_failure;
};

/// A machine that loses its power loses what no sync has written through, in whatever order it likes.
class TestLostWrites : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void whateverIsLostTheDownloadEndsRight();

private:
    int callsOfOneRun() const;
    QString url() const { return m_servers.nginx().url(u"/rate/300k/"_s + kName).toString(); }

    mutable RealServers m_servers;
};

void TestLostWrites::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    QVERIFY(m_servers.addFile(kName, kContentSeed, kSize));
}

int TestLostWrites::callsOfOneRun() const
{
    const QTemporaryDir folder;
    const QString report = folder.filePath(u"calls"_s);
    PlaitSandbox sandbox;
    qputenv("LD_PRELOAD", LOST_WRITES);
    qputenv("PLAIT_LOST_FOLDER", QFile::encodeName(QFileInfo(sandbox.dataHome()).absolutePath()));
    qputenv("PLAIT_LOST_REPORT", QFile::encodeName(report));
    const PlaitResult result = sandbox.run({u"-x"_s, u"4"_s, u"-q"_s, url()});
    for (const char *name : {"LD_PRELOAD", "PLAIT_LOST_FOLDER", "PLAIT_LOST_REPORT"})
        qunsetenv(name);
    if (result.status != 0)
        qWarning("%s", result.err.constData());
    return result.status == 0 ? TestFiles::readFile(report).toInt() : 0;
}

void TestLostWrites::whateverIsLostTheDownloadEndsRight()
{
    const int calls = callsOfOneRun();
    QVERIFY(calls > 0);
    const Seeds seeds = seedsAskedFor();
    quint32 next = 0;
    int deaths = 0;
    int withClaims = 0;
    QStringList failures;
    std::vector<std::unique_ptr<UnluckyRun>> runs;
    const auto step = [&] {
        while (next < seeds.count && runs.size() < kAtOnce)
            runs.push_back(std::make_unique<UnluckyRun>(seeds.first + next++, calls, url()));
        for (const auto &run : runs)
            run->poll();
        for (auto it = runs.begin(); it != runs.end();) {
            const UnluckyRun &run = **it;
            if (!run.isOver()) {
                ++it;
                continue;
            }
            deaths += run.deaths();
            withClaims += int(run.hadClaims());
            if (!run.failure().isEmpty())
                failures.append(run.failure());
            it = runs.erase(it);
        }
        return runs.empty() && next == seeds.count;
    };
    QVERIFY(QTest::qWaitFor(step, 850000));
    qInfo("%u seeds, %d deaths, %d seeds with progress in the list at a death; a run has %d calls", seeds.count, deaths,
          withClaims, calls);
    QVERIFY2(failures.isEmpty(), qPrintable(failures.join(u'\n')));
    QVERIFY2(deaths > 0, "the machine never failed");
}

QTEST_GUILESS_MAIN(TestLostWrites)
#include "tst_lostwrites.moc"
