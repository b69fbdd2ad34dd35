// SPDX-License-Identifier: MIT
#include <tests/faults/listclaims.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <sys/prctl.h>

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
/// The next run after so many in one set is left alone: it has to come to its end.
constexpr int kMostKillsOfSet = 100;
constexpr int kPatienceMs = 120000;
constexpr int kNever = -1;

/// What the server has and a download has to become.
struct Target {
    QString name;
    quint64 seed = 0;
    qint64 size = 0;
    int rate = 0; ///< KiB a second and connection
    QString url;
    QByteArray sha256;
};

/// What all sets came to.
struct Score {
    int kills = 0;
    int sets = 0;
    int killsWithProgress = 0; ///< the list had some
    int killsWithSomeDone = 0; ///< a file had its final name, and others were missing
    int killsWhileAdding = 0; ///< the list did not have all of them yet
    qint64 claimedBytes = 0; ///< of the list at kills, all of which were compared
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

/// Starts the program; it dies with this one.
void launch(QProcess &process, const PlaitSandbox &sandbox, const QStringList &arguments)
{
    process.setProcessEnvironment(sandbox.environment());
    process.setWorkingDirectory(sandbox.downloads());
    process.setStandardInputFile(QProcess::nullDevice());
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process.start(PlaitSandbox::program(), arguments);
    process.waitForStarted();
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
            runOnce(canKill ? int(m_chance.bounded(kLatest * m_wholeRunMs)) : kNever, score);
        }
        return m_failure;
    }

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
    void runOnce(int killMs, Score &score)
    {
        const ListOnDisk before(m_sandbox);
        const bool isAllListed = before.urls().size() == kDownloads;
        QStringList arguments{u"-j"_s, u"5"_s, u"-x"_s, u"4"_s, u"-q"_s};
        arguments = isAllListed ? QStringList{u"resume"_s, u"--all"_s} + arguments
                                : arguments + QStringList{u"-d"_s, m_sandbox.downloads(), u"-i"_s, writeInput()};
        QProcess process;
        launch(process, m_sandbox, arguments);
        const bool ended = process.waitForFinished(killMs == kNever ? kPatienceMs : killMs);
        if (!ended)
            process.kill();
        process.waitForFinished();
        m_history.append(u"  %1: %2"_s.arg(isAllListed ? u"plait resume --all"_s : u"plait -i"_s,
                                           ended ? u"ended with %1"_s.arg(process.exitCode())
                                                 : u"killed after %1 ms"_s.arg(killMs)));
        const bool killed = process.exitStatus() == QProcess::CrashExit && !ended;
        if (killed && killMs == kNever)
            fail(u"it did not come to its end in %1 s"_s.arg(kPatienceMs / 1000));
        else if (!killed && (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0))
            fail(u"it ended with %1: %2"_s.arg(process.exitCode())
                     .arg(QString::fromUtf8(process.readAllStandardError())));
        const ListOnDisk after(m_sandbox);
        checkFiles();
        checkClaims(after);
        if (killed)
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
    bool m_over = false;
    QString m_failure;
};

namespace
{

struct Campaign {
    quint32 seed = 1;
    int mostKills = kDefaultKills;
    NginxServer server;
    Score score;
    QElapsedTimer clock;
    int reported = 0;
};

/// @param wholeRunMs kNever = not to be killed
bool runSet(Campaign &campaign, quint32 seed, int wholeRunMs, QTextStream &out)
{
    KillSet set(seed, wholeRunMs);
    const QString failure = set.putOn(campaign.server)
        ? set.run(campaign.mostKills - campaign.score.kills, campaign.score)
        : u"cannot put the files onto the server"_s;
    if (failure.isEmpty())
        return true;
    out << "WRONG after " << campaign.score.kills << " kills: " << failure << '\n'
        << set.report() << "  once more: PLAIT_SEED=" << seed << " ./dev faults kill\n"
        << Qt::flush;
    return false;
}

void reportProgress(Campaign &campaign, QTextStream &out)
{
    const Score &score = campaign.score;
    if (score.kills / kReportEvery == campaign.reported)
        return;
    campaign.reported = score.kills / kReportEvery;
    out << score.kills << " kills, " << score.sets << " sets done, " << campaign.clock.elapsed() / 1000 << " s\n"
        << Qt::flush;
}

bool run(Campaign &campaign, QTextStream &out)
{
    campaign.clock.start();
    if (!runSet(campaign, campaign.seed, kNever, out))
        return false;
    const int wholeRunMs = int(campaign.clock.elapsed());
    out << "seed " << campaign.seed << ": " << campaign.mostKills << " kills; a run that is left alone takes "
        << wholeRunMs << " ms\n"
        << Qt::flush;
    Score &score = campaign.score;
    while (score.kills < campaign.mostKills) {
        // Each has a seed of its own, so that one can be repeated without those before it.
        if (!runSet(campaign, campaign.seed + quint32(score.sets), wholeRunMs, out))
            return false;
        ++score.sets;
        reportProgress(campaign, out);
    }
    out << "all right: " << score.kills << " kills in " << score.sets << " sets of " << kDownloads << " downloads, "
        << campaign.clock.elapsed() / 1000 << " s\n"
        << "  killed while the list was being filled: " << score.killsWhileAdding << '\n'
        << "  killed with progress in the list: " << score.killsWithProgress << " (" << score.claimedBytes
        << " bytes of it compared with the disk)\n"
        << "  killed with some files done and some not: " << score.killsWithSomeDone << '\n'
        << Qt::flush;
    return true;
}

}

/// killcampaign [KILLS], with PLAIT_SEED: however often the program is killed, at whatever moment, all downloads end
/// right, and no file has its final name before it is.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    Campaign campaign;
    bool isSeed = true;
    bool isCount = true;
    if (qEnvironmentVariableIsSet("PLAIT_SEED"))
        campaign.seed = qEnvironmentVariable("PLAIT_SEED").toUInt(&isSeed);
    if (argc > 1)
        campaign.mostKills = QString::fromLocal8Bit(argv[1]).toInt(&isCount);
    if (argc > 2 || !isSeed || !isCount || campaign.mostKills < 1) {
        out << "usage: [PLAIT_SEED=N] killcampaign [KILLS]\n";
        return EXIT_FAILURE;
    }
    TestCa ca;
    if (!campaign.server.start(ca)) {
        out << "nginx: " << campaign.server.errorText() << '\n';
        return EXIT_FAILURE;
    }
    return run(campaign, out) ? EXIT_SUCCESS : EXIT_FAILURE;
}
