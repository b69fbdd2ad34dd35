// SPDX-License-Identifier: MIT
#include <tests/faults/campaignarguments.h>
#include <tests/faults/listclaims.h>
#include <tests/faults/plaitrun.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/sidebyside.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kDefaultKills = 1000;
constexpr int kDownloads = 5;
constexpr double kSmallest = 200e3;
constexpr double kLargest = 6e6;
/// A server that limits its speed gives the bytes of the first second at once.
constexpr double kShortest = 1.2; ///< seconds
constexpr double kLongest = 2.5;
constexpr double kLeastSection = 307200;
constexpr double kConnections = 4;
/// A moment in this part of the time that a whole run takes: some runs are over before they are killed.
constexpr double kLatest = 1.25;
constexpr int kReportEvery = 50;
constexpr int kSideBySide = 4;
/// The next run after so many in one set is left alone: it has to come to its end.
constexpr int kMostKillsOfSet = 100;
constexpr int kPatienceMs = 120000;
constexpr int kNever = PlaitRun::kNever;

/// What the server has and a download has to become.
struct Target {
    QString name;
    quint64 seed = 0;
    qint64 size = 0;
    int rate = 0; ///< KiB a second and connection
    QString url;
    QByteArray sha256;
};

/// What sets came to.
struct Score {
    int kills = 0;
    int sets = 0;
    int killsWithProgress = 0; ///< the list had some
    int killsWithSomeDone = 0; ///< a file had its final name, and others were missing
    int killsWhileAdding = 0; ///< the list did not have all of them yet
    qint64 claimedBytes = 0; ///< of the list at kills, all of which were compared

    void add(const Score &other)
    {
        kills += other.kills;
        sets += other.sets;
        killsWithProgress += other.killsWithProgress;
        killsWithSomeDone += other.killsWithSomeDone;
        killsWhileAdding += other.killsWhileAdding;
        claimedBytes += other.claimedBytes;
    }
};

QList<Target> targetsOf(quint32 setSeed, QRandomGenerator &chance)
{
    QList<Target> targets;
    for (int i = 0; i < kDownloads; ++i) {
        Target target;
        target.name = u"set-%1-%2.bin"_s.arg(setSeed).arg(i);
        target.seed = quint64(setSeed) * kDownloads + quint64(i);
        target.size = qint64(kSmallest * std::pow(kLargest / kSmallest, chance.generateDouble()));
        const double connections = std::clamp(double(target.size) / kLeastSection, 1.0, kConnections);
        const double seconds = kShortest + (kLongest - kShortest) * chance.generateDouble();
        target.rate = int(double(target.size) / 1024 / connections / seconds);
        targets.append(target);
    }
    return targets;
}
}

/// Five downloads and one list, killed and taken up again until all are done. What it does follows from its seed, but
/// for the speed of the machine.
class KillSet
{
    Q_DISABLE_COPY_MOVE(KillSet)

public:
    /// @param wholeRunMs how long a run takes that is left alone; kNever = this set is not to be killed
    KillSet(quint32 seed, int wholeRunMs)
        : m_seed(seed)
        , m_chance(seed)
        , m_wholeRunMs(wholeRunMs)
        , m_targets(targetsOf(seed, m_chance))
    {
    }

    /// Puts its files onto the server, and takes them off again with the set.
    bool putOn(NginxServer &server)
    {
        m_served = QDir(server.folder());
        for (Target &target : m_targets) {
            if (!server.addFile(target.name, target.seed, target.size))
                return false;
            target.url = server.url(u"/rate/%1k/%2"_s.arg(QString::number(target.rate), target.name)).toString();
            target.sha256 = TestFiles::sha256OfContent(target.seed, target.size);
        }
        return true;
    }

    ~KillSet()
    {
        for (const Target &target : m_targets)
            m_served.remove(target.name);
    }

    /// Until all are done or something is wrong. @param mostKills after which it is left alone
    /// @return what is wrong; empty = nothing
    QString run(int mostKills, Score &score)
    {
        while (!m_over && m_failure.isEmpty()) {
            const bool canKill = m_wholeRunMs != kNever && m_kills < std::min(mostKills, kMostKillsOfSet);
            runOnce(canKill ? nextKillMs() : kNever, score);
        }
        score.sets += int(m_failure.isEmpty());
        return m_failure;
    }

    /// How long the last run took.
    int lastRunMs() const { return m_lastRunMs; }

    /// What happened, and where everything lies for whoever wants to look.
    QString report() const
    {
        QString text;
        for (const Target &target : m_targets)
            text += u"  %1: %2 bytes, %3 KiB/s and connection\n"_s.arg(target.name, QString::number(target.size),
                                                                       QString::number(target.rate));
        text += m_history.join(u'\n') + u'\n';
        const QString kept = QDir::temp().filePath(u"plait-kill-%1"_s.arg(m_seed));
        QProcess::execute(u"cp"_s, {u"-aT"_s, QFileInfo(m_sandbox.dataHome()).absolutePath(), kept});
        return text + u"  list and files as they were left: %1\n"_s.arg(kept);
    }

private:
    /// Early moments come more often: there everything begins at once.
    int nextKillMs()
    {
        const double part = m_chance.generateDouble();
        return int(part * part * kLatest * m_wholeRunMs);
    }

    void runOnce(int killMs, Score &score)
    {
        const ListOnDisk before(m_sandbox);
        const bool isAllListed = before.urls().size() == kDownloads;
        QStringList arguments{u"-j"_s, u"5"_s, u"-x"_s, u"4"_s, u"-q"_s};
        arguments = isAllListed ? QStringList{u"resume"_s, u"--all"_s} + arguments
                                : arguments + QStringList{u"-d"_s, m_sandbox.downloads(), u"-i"_s, writeInput()};
        const PlaitRun run = PlaitRun::of(m_sandbox, arguments, {killMs, SIGKILL}, kPatienceMs);
        m_lastRunMs = run.tookMs;
        m_history.append(
            u"  %1: %2"_s.arg(isAllListed ? u"plait resume --all"_s : u"plait -i"_s,
                              run.isKilled ? u"killed after %1 ms"_s.arg(killMs) : u"ended with %1"_s.arg(run.status)));
        if (!run.hasEnded)
            fail(u"it did not come to its end in %1 s"_s.arg(kPatienceMs / 1000));
        else if (!run.isKilled && run.status != 0)
            fail(u"it ended with %1: %2"_s.arg(run.status).arg(QString::fromUtf8(run.err)));
        const ListOnDisk after(m_sandbox);
        checkFiles();
        checkClaims(after);
        if (run.isKilled)
            count(after, score);
        else
            checkEnd(after, isAllListed);
    }

    /// What has its name already is not asked for again.
    QString writeInput()
    {
        const QString path = QDir(m_sandbox.dataHome()).filePath(u"urls"_s);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            fail(u"cannot write \"%1\""_s.arg(path));
        for (const Target &target : m_targets) {
            if (!m_sandbox.has(target.name))
                file.write(target.url.toUtf8() + '\n');
        }
        return path;
    }

    void checkFiles()
    {
        const QStringList names = m_sandbox.files();
        for (const QString &name : names) {
            const bool isPart = name.endsWith(u".part"_s);
            const Target *const target = find(isPart ? name.chopped(5) : name);
            if (!target)
                fail(u"there is a file \"%1\", which nobody asked for"_s.arg(name));
            else if (!isPart && TestFiles::sha256OfFile(m_sandbox.path(name)) != target->sha256)
                fail(u"\"%1\" is not what the server has"_s.arg(name));
        }
    }

    void checkClaims(const ListOnDisk &list)
    {
        const QList<ListClaim> claims = list.claims();
        for (const ListClaim &claim : claims) {
            const Target *const target = find(claim.name);
            if (!target || claim.bytes() != TestFiles::content(target->seed, claim.offset, claim.size))
                fail(u"the list says that %1 bytes from %2 on are in \"%3\", which they are not"_s.arg(claim.size)
                         .arg(claim.offset)
                         .arg(claim.file()));
        }
        const QStringList urls = list.urls();
        if (QSet<QString>(urls.cbegin(), urls.cend()).size() != urls.size())
            fail(u"the list has a download twice: %1"_s.arg(urls.join(u", "_s)));
    }

    void checkEnd(const ListOnDisk &list, bool wasAllListed)
    {
        const bool isAllDone = list.urls().size() == kDownloads && list.unfinishedUrls().isEmpty();
        if (!isAllDone && wasAllListed)
            fail(u"it ended with 0, but the list has as unfinished: %1"_s.arg(list.unfinishedUrls().join(u", "_s)));
        if (!isAllDone)
            return;
        QStringList expected;
        for (const Target &target : m_targets)
            expected.append(target.name);
        if (m_sandbox.files() != expected)
            fail(u"all are done, and the folder holds: %1"_s.arg(m_sandbox.files().join(u", "_s)));
        m_over = true;
    }

    void count(const ListOnDisk &list, Score &score)
    {
        ++m_kills;
        ++score.kills;
        qint64 claimed = 0;
        const QList<ListClaim> claims = list.claims();
        for (const ListClaim &claim : claims)
            claimed += claim.size;
        const qsizetype done = std::count_if(m_targets.cbegin(), m_targets.cend(),
                                             [this](const Target &target) { return m_sandbox.has(target.name); });
        score.claimedBytes += claimed;
        score.killsWithProgress += int(claimed > 0);
        score.killsWithSomeDone += int(done > 0 && done < kDownloads);
        score.killsWhileAdding += int(list.urls().size() < kDownloads);
    }

    const Target *find(const QString &name) const
    {
        const auto it = std::find_if(m_targets.cbegin(), m_targets.cend(),
                                     [&name](const Target &target) { return target.name == name; });
        return it == m_targets.cend() ? nullptr : &*it;
    }

    /// The first thing that is wrong counts.
    void fail(const QString &what)
    {
        if (m_failure.isEmpty())
            m_failure = what;
    }

    const quint32 m_seed;
    QRandomGenerator m_chance;
    const int m_wholeRunMs;
    QList<Target> m_targets;
    QDir m_served;
    PlaitSandbox m_sandbox;
    QStringList m_history;
    int m_kills = 0;
    int m_lastRunMs = 0;
    bool m_over = false;
    QString m_failure;
};

namespace
{

/// Sets that run side by side, each in a thread of its own: they mostly wait for their servers.
class Campaign
{
    Q_DISABLE_COPY_MOVE(Campaign)

public:
    Campaign(quint32 seed, int mostKills, QTextStream &out)
        : m_seed(seed)
        , m_mostKills(mostKills)
        , m_out(out)
    {
    }

    /// Empty = the server is there.
    QString prepare() { return m_server.start(m_ca) ? QString() : m_server.errorText(); }

    bool run()
    {
        m_clock.start();
        m_wholeRunMs = runSet(m_seed, kNever, m_mostKills);
        m_score = {};
        tell(u"seed %1: %2 kills; a run that is left alone takes %3 ms\n"_s.arg(m_seed)
                 .arg(m_mostKills)
                 .arg(m_wholeRunMs));
        runSideBySide(kSideBySide, [this] { return workOne(); });
        if (!m_failed)
            report();
        return !m_failed;
    }

private:
    /// Each set has a seed of its own, so that one can be repeated without those before it.
    bool workOne()
    {
        quint32 seed = 0;
        int mostKills = 0;
        if (!takeNext(&seed, &mostKills))
            return false;
        runSet(seed, m_wholeRunMs, mostKills);
        reportProgress();
        return true;
    }

    bool takeNext(quint32 *seed, int *mostKills)
    {
        const QMutexLocker lock(&m_mutex);
        *seed = m_seed + m_begun;
        *mostKills = m_mostKills - m_score.kills;
        const bool isOver = m_failed || *mostKills <= 0;
        m_begun += quint32(!isOver);
        return !isOver;
    }

    /// @param wholeRunMs kNever = not to be killed @return how long the last run took
    int runSet(quint32 seed, int wholeRunMs, int mostKills)
    {
        KillSet set(seed, wholeRunMs);
        Score score;
        const QString failure =
            set.putOn(m_server) ? set.run(mostKills, score) : u"cannot put the files onto the server"_s;
        const QMutexLocker lock(&m_mutex);
        m_score.add(score);
        if (failure.isEmpty() || m_failed)
            return set.lastRunMs();
        m_failed = true;
        tell(u"WRONG after %1 kills: %2\n%3  once more: PLAIT_SEED=%4 ./dev faults kill\n"_s.arg(
            QString::number(m_score.kills), failure, set.report(), QString::number(seed)));
        return set.lastRunMs();
    }

    void reportProgress()
    {
        const QMutexLocker lock(&m_mutex);
        if (m_score.kills / kReportEvery == m_reported)
            return;
        m_reported = m_score.kills / kReportEvery;
        tell(u"%1 kills, %2 sets done, %3 s\n"_s.arg(m_score.kills).arg(m_score.sets).arg(m_clock.elapsed() / 1000));
    }

    void report()
    {
        tell(u"all right: %1 kills in %2 sets of %3 downloads, %4 s\n"_s.arg(m_score.kills)
                 .arg(m_score.sets)
                 .arg(kDownloads)
                 .arg(m_clock.elapsed() / 1000)
             + u"  killed while the list was being filled: %1\n"_s.arg(m_score.killsWhileAdding)
             + u"  killed with progress in the list: %1 (%2 bytes of it compared with the disk)\n"_s
                   .arg(m_score.killsWithProgress)
                   .arg(m_score.claimedBytes)
             + u"  killed with some files done and some not: %1\n"_s.arg(m_score.killsWithSomeDone));
    }

    void tell(const QString &text) { m_out << text << Qt::flush; }

    const quint32 m_seed;
    const int m_mostKills;
    QTextStream &m_out;
    TestCa m_ca;
    NginxServer m_server;
    QElapsedTimer m_clock;
    int m_wholeRunMs = 0;
    QMutex m_mutex; ///< for all that follows
    Score m_score;
    quint32 m_begun = 0; ///< sets
    int m_reported = 0;
    bool m_failed = false;
};

}

/// killcampaign [KILLS], with PLAIT_SEED: however often the program is killed, at whatever moment, all downloads end
/// right, and no file has its final name before it is.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    const auto arguments = CampaignArguments::read(argc, argv, u"KILLS"_s, kDefaultKills);
    if (!arguments)
        return EXIT_FAILURE;
    Campaign campaign(arguments->seed, arguments->count, out);
    const QString errorText = campaign.prepare();
    if (!errorText.isEmpty()) {
        out << "nginx: " << errorText << '\n';
        return EXIT_FAILURE;
    }
    return campaign.run() ? EXIT_SUCCESS : EXIT_FAILURE;
}
