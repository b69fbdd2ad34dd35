// SPDX-License-Identifier: MIT
#include <tests/faults/campaignarguments.h>
#include <tests/faults/plaitrun.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/sidebyside.h>
#include <tests/support/moodyfileserver.h>
#include <tests/support/testfiles.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonObject>
#include <QMutex>
#include <QProcess>
#include <QRandomGenerator>
#include <QTextStream>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDefaultFiles = 1000;
constexpr int kFilesOfBatch = 25;
constexpr int kSideBySide = 4;
constexpr int kPatienceMs = 120000;
constexpr int kReportEvery = 1000;
constexpr int kMostConnections = 8;
constexpr int kMostSideBySide = 24;
constexpr int kPercentStopped = 30;
constexpr int kEarliestStopMs = 30;
constexpr int kLatestStopMs = 1500;
constexpr int kStopped = PlaitRun::kStopped;
constexpr int kNever = PlaitRun::kNever;

struct Score {
    int files = 0;
    int requests = 0;
    int faults = 0;
    int wholeAtOnce = 0;
    int stopped = 0; ///< runs
    double mostOfBound = 0;
    QHash<int, int> statuses; ///< of files, in runs with faults

    void add(const Score &other)
    {
        files += other.files;
        requests += other.requests;
        faults += other.faults;
        wholeAtOnce += other.wholeAtOnce;
        stopped += other.stopped;
        mostOfBound = std::max(mostOfBound, other.mostOfBound);
        for (auto it = other.statuses.cbegin(); it != other.statuses.cend(); ++it)
            statuses[it.key()] += it.value();
    }
};
}

/// Files of a moody server that one program fetches, at last soundly. All it does follows from its seed, but for the
/// speed of the machine.
class MoodyBatch
{
    Q_DISABLE_COPY_MOVE(MoodyBatch)

public:
    MoodyBatch(quint32 seed, MoodyFileServer &server)
        : m_seed(seed)
        , m_chance(seed)
        , m_server(server)
    {
        for (int i = 0; i < kFilesOfBatch; ++i)
            m_files.emplace_back(quint64(seed) * kFilesOfBatch + quint64(i));
        pickOptions();
    }

    ~MoodyBatch()
    {
        for (int i = 0; i < kFilesOfBatch; ++i)
            m_server.forget(fileSeed(i));
    }

    /// @return what is wrong, a line each; empty: nothing
    QStringList run(Score &score)
    {
        const bool isStopped = m_chance.bounded(100) < kPercentStopped;
        if (isStopped) {
            const PlaitRun run = runOnce(m_chance.bounded(kEarliestStopMs, kLatestStopMs), false);
            score.stopped += wasStopped(run);
        }
        const PlaitRun moody = runOnce(kNever, false);
        const QHash<QString, QJsonObject> summaries = moody.summaries();
        for (const QJsonObject &summary : summaries)
            ++score.statuses[summary.value(u"status"_s).toInt(-1)];
        score.wholeAtOnce += kFilesOfBatch - int(missing().size());
        for (int i = 0; i < kFilesOfBatch; ++i)
            m_server.soothe(fileSeed(i));
        runOnce(kNever, true);
        checkAll();
        checkRequests(score);
        score.files += kFilesOfBatch;
        return m_findings;
    }

    /// Where everything lies for whoever wants to look.
    QString keep()
    {
        const QString kept = QDir::temp().filePath(u"plait-network-%1"_s.arg(m_seed));
        QProcess::execute(u"cp"_s, {u"-aT"_s, QFileInfo(m_sandbox.dataHome()).absolutePath(), kept});
        QFile log(QDir(kept).filePath(u"server.log"_s));
        if (log.open(QIODevice::WriteOnly)) {
            for (int i = 0; i < kFilesOfBatch; ++i)
                log.write(told(i).toUtf8() + '\n');
        }
        return kept;
    }

    QString options() const { return m_options.join(u' '); }

private:
    quint64 fileSeed(int i) const { return quint64(m_seed) * kFilesOfBatch + quint64(i); }
    QString nameOf(int i) const { return QString::fromLatin1(m_files.at(size_t(i)).name()); }
    QString urlOf(int i) const { return m_server.url(m_files.at(size_t(i))).toString(); }

    QString told(int i) const
    {
        return u"%1: %2\n    "_s.arg(nameOf(i), m_files.at(size_t(i)).inWords())
            + m_server.log(fileSeed(i)).lines.join(u"\n    "_s);
    }

    void pickOptions()
    {
        m_connections = 1 + m_chance.bounded(kMostConnections);
        m_tries = 2 + m_chance.bounded(10);
        m_restarts = m_chance.bounded(2) == 0;
        m_options = {u"-x"_s,           QString::number(m_connections),
                     u"-j"_s,           QString::number(4 + m_chance.bounded(kMostSideBySide)),
                     u"--tries"_s,      QString::number(m_tries),

                     u"--on-changed"_s, u"fail"_s};
        if (m_chance.bounded(100) < 20)
            m_options += {u"--limit-rate"_s, QString::number(300 + m_chance.bounded(3000)) + u'K'};
    }

    QList<int> missing() const
    {
        QList<int> missing;
        for (int i = 0; i < kFilesOfBatch; ++i) {
            if (!m_sandbox.has(nameOf(i)))
                missing.append(i);
        }
        return missing;
    }

    /// What has its name already is not asked for again.
    PlaitRun runOnce(int stopMs, bool hasToSucceed)
    {
        const QList<int> asked = missing();
        if (asked.isEmpty())
            return {};
        const QString input = QDir(m_sandbox.dataHome()).filePath(u"urls"_s);
        QFile file(input);
        if (!file.open(QIODevice::WriteOnly))
            m_findings.append(u"cannot write \"%1\""_s.arg(input));
        for (const int i : asked)
            file.write(urlOf(i).toUtf8() + '\n');
        file.close();
        // What is there of a file of unknown size may be all of it.
        const QString onUnresumable = m_restarts || hasToSucceed ? u"restart"_s : u"fail"_s;
        const PlaitRun run = PlaitRun::of(m_sandbox,
                                          m_options
                                              + QStringList{u"--on-unresumable"_s, onUnresumable, u"--json"_s, u"-q"_s,
                                                            u"--retry-wait"_s, u"0.01"_s, u"--user"_s,
                                                            QString::fromLatin1(MoodyFile::kLogin), u"-d"_s,
                                                            m_sandbox.downloads(), u"-i"_s, input},
                                          {stopMs, SIGTERM}, kPatienceMs);
        ++m_runs;
        const QHash<QString, QJsonObject> summaries = run.summaries();
        checkRun(run, summaries, asked, stopMs != kNever);
        for (const int i : asked)
            checkFile(i, summaries.value(urlOf(i)), stopMs != kNever, hasToSucceed);
        return run;
    }

    /// It may be asked before it can do so in order.
    static bool wasStopped(const PlaitRun &run) { return run.isKilled || run.status == kStopped; }

    void checkRun(const PlaitRun &run, const QHash<QString, QJsonObject> &summaries, const QList<int> &asked,
                  bool mayBeStopped)
    {
        if (!run.hasEnded)
            m_findings.append(u"run %1 hangs; not done: %2"_s.arg(QString::number(m_runs), notTold(summaries, asked)));
        else if (run.status < 0 && !run.isKilled)
            m_findings.append(u"run %1 died: %2"_s.arg(QString::number(m_runs), QString::fromUtf8(run.err)));
        else if (run.err.contains("Sanitizer") || run.err.contains("runtime error:"))
            m_findings.append(u"run %1: %2"_s.arg(QString::number(m_runs), QString::fromUtf8(run.err)));
        const bool isAllDone = std::all_of(asked.cbegin(), asked.cend(), [&](int i) {
            return summaries.value(urlOf(i)).value(u"status"_s).toInt(-1) == 0;
        });
        if (run.status >= 0 && (run.status == 0) != isAllDone && !(mayBeStopped && run.status == kStopped))
            m_findings.append(u"run %1 ended with %2 where the files say otherwise"_s.arg(m_runs).arg(run.status));
    }

    QString notTold(const QHash<QString, QJsonObject> &summaries, const QList<int> &asked) const
    {
        QStringList names;
        for (const int i : asked) {
            if (!summaries.contains(urlOf(i)))
                names.append(nameOf(i));
        }
        return names.join(u", "_s);
    }

    void checkFile(int i, const QJsonObject &summary, bool mayBeStopped, bool hasToSucceed)
    {
        const int status = summary.value(u"status"_s).toInt(-1);
        const QString sentence = summary.value(u"error"_s).toString();
        const bool isThere = m_sandbox.has(nameOf(i));
        if (isThere && TestFiles::sha256OfFile(m_sandbox.path(nameOf(i))) != m_files.at(size_t(i)).sha256())
            find(i, u"it is not what the server has (status %1)"_s.arg(status));
        else if (status == 0 && !isThere)
            find(i, u"status 0 without a file"_s);
        else if (status > 0 && isThere && !mayBeStopped)
            find(i, u"there is a file, and status %1: %2"_s.arg(status).arg(sentence));
        else if (status > 0 && status != kStopped && sentence.isEmpty())
            find(i, u"status %1 without a sentence"_s.arg(status));
        else if (status < 0 && !mayBeStopped)
            find(i, u"nothing was said of it"_s);
        else if (!isExplained(status, m_server.log(fileSeed(i))))
            find(i, u"nothing that the server did explains status %1: %2"_s.arg(status).arg(sentence));
        else if (status > 0 && hasToSucceed)
            find(i, u"served soundly, it ended with %1: %2"_s.arg(status).arg(sentence));
    }

    /// The login is right and the file always the same one; what is refused for its content was a fault.
    static bool isExplained(int status, const MoodyFileServer::Log &log)
    {
        constexpr int kNoSuchFile = 3;
        constexpr int kMakesNoSense = 22;
        constexpr int kAsksForLogin = 24;
        constexpr int kOtherFile = 33;
        const bool isNever = status == kNoSuchFile || status == kAsksForLogin || status == kOtherFile;
        return !isNever && (status != kMakesNoSense || log.faults > 0);
    }

    void checkAll()
    {
        const QList<int> left = missing();
        if (m_findings.isEmpty() && !left.isEmpty())
            find(left.first(), u"it is not there at the end"_s);
        QStringList names;
        for (int i = 0; i < kFilesOfBatch; ++i)
            names.append(nameOf(i));
        const QStringList files = m_sandbox.files();
        for (const QString &name : files) {
            if (!names.contains(name) && m_findings.isEmpty())
                m_findings.append(u"there is a file \"%1\", which nobody asked for"_s.arg(name));
        }
    }

    /// Each run asks once for each connection, and once more where all that it was to fetch had come before its answer,
    /// or for a section that is begun later; a fault ends a request and may have a run begin anew. Nobody has a reason
    /// for more.
    int boundFor(const MoodyFile &file, const MoodyFileServer::Log &log) const
    {
        return file.requestsToAsk() * (m_runs * 2 * m_connections + 2 * log.faults);
    }

    void checkRequests(Score &score)
    {
        for (int i = 0; i < kFilesOfBatch; ++i) {
            const MoodyFile &file = m_files.at(size_t(i));
            const MoodyFileServer::Log log = m_server.log(fileSeed(i));
            const int bound = boundFor(file, log);
            score.requests += log.requests;
            score.faults += log.faults;
            score.mostOfBound = std::max(score.mostOfBound, double(log.requests) / bound);
            if (log.requests > bound)
                find(i, u"%1 requests where %2 are enough"_s.arg(log.requests).arg(bound));
        }
    }

    void find(int i, const QString &what)
    {
        m_findings.append(u"run %1, %2\n    %3"_s.arg(QString::number(m_runs), what, told(i)));
    }

    const quint32 m_seed;
    QRandomGenerator m_chance;
    MoodyFileServer &m_server;
    std::vector<MoodyFile> m_files;
    PlaitSandbox m_sandbox;
    QStringList m_options;
    int m_connections = 1;
    int m_tries = 1;
    bool m_restarts = false; ///< where the rest of a file is not to be had alone
    int m_runs = 0;
    QStringList m_findings;
};

namespace
{

/// Batches side by side, each in a thread of its own.
class Campaign
{
    Q_DISABLE_COPY_MOVE(Campaign)

public:
    Campaign(quint32 seed, int files, QTextStream &out)
        : m_seed(seed)
        , m_batches(quint32(files + kFilesOfBatch - 1) / kFilesOfBatch)
        , m_out(out)
    {
    }

    bool run()
    {
        m_clock.start();
        runSideBySide(kSideBySide, [this] { return workOne(); });
        report();
        return m_wrong == 0;
    }

private:
    bool workOne()
    {
        quint32 seed = 0;
        if (!takeNext(&seed))
            return false;
        runBatch(seed);
        return true;
    }

    bool takeNext(quint32 *seed)
    {
        const QMutexLocker lock(&m_mutex);
        *seed = m_seed + m_begun;
        return m_begun++ < m_batches;
    }

    void runBatch(quint32 seed)
    {
        MoodyBatch batch(seed, m_server);
        Score score;
        const QStringList findings = batch.run(score);
        const QMutexLocker lock(&m_mutex);
        m_score.add(score);
        if (!findings.isEmpty()) {
            ++m_wrong;
            tell(u"WRONG with %1\n  %2\n  what was left: %3\n  once more: PLAIT_SEED=%4 ./dev faults network 1\n"_s.arg(
                batch.options(), findings.join(u"\n  "_s), batch.keep(), QString::number(seed)));
        }
        if (m_score.files % kReportEvery == 0)
            tell(u"%1 files, %2 s\n"_s.arg(m_score.files).arg(m_clock.elapsed() / 1000));
    }

    void report()
    {
        QStringList statuses;
        QList<int> keys = m_score.statuses.keys();
        std::sort(keys.begin(), keys.end());
        for (const int status : keys)
            statuses.append(u"%1 with %2"_s.arg(m_score.statuses.value(status)).arg(status));
        tell(u"%1 of %2 batches wrong; %3 files, %4 s\n"_s.arg(m_wrong)
                 .arg(m_batches)
                 .arg(m_score.files)
                 .arg(m_clock.elapsed() / 1000)
             + u"  requests: %1, faulty answers: %2; most requests, of what is allowed: %3\n"_s.arg(m_score.requests)
                   .arg(m_score.faults)
                   .arg(m_score.mostOfBound, 0, 'f', 2)
             + u"  whole in spite of the faults: %1; runs stopped: %2\n  ended: %3\n"_s.arg(m_score.wholeAtOnce)
                   .arg(m_score.stopped)
                   .arg(statuses.join(u", "_s)));
    }

    void tell(const QString &text) { m_out << text << Qt::flush; }

    const quint32 m_seed;
    const quint32 m_batches;
    QTextStream &m_out;
    MoodyFileServer m_server;
    QElapsedTimer m_clock;
    QMutex m_mutex; ///< for all that follows
    Score m_score;
    quint32 m_begun = 0;
    int m_wrong = 0;
};

}

/// networkcampaign [FILES], with PLAIT_SEED: whatever a server does, a file that is said to be whole is, one that is
/// not comes to its end once the server is sound, and nobody is asked more often than the faults explain.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    const auto arguments = CampaignArguments::read(argc, argv, u"FILES"_s, kDefaultFiles);
    if (!arguments)
        return EXIT_FAILURE;
    return Campaign(arguments->seed, arguments->count, out).run() ? EXIT_SUCCESS : EXIT_FAILURE;
}
