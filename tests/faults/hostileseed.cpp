// SPDX-License-Identifier: MIT
#include <tests/faults/hostileseed.h>

#include <tests/faults/listclaims.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <algorithm>
#include <csignal>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kMostInterrupted = 4;
constexpr int kPercentInterrupted = 55;
constexpr int kEarliestMs = 20;
constexpr int kLatestMs = 400;
constexpr int kPatienceMs = 60000;
constexpr int kUnresumable = 8;
constexpr int kChanged = 33;
/// Requests within so long that bring nothing new, to a server of one address that a person gave.
constexpr qint64 kVainPeriodMs = 10000;
constexpr int kMostInVain = 20;

template<typename Key>
void addAll(QHash<Key, int> &sum, const QHash<Key, int> &other)
{
    for (auto it = other.cbegin(); it != other.cend(); ++it)
        sum[it.key()] += it.value();
}

/// Most requests in any such time between two that brought something.
int mostInVain(const QList<HostileServers::Entry> &log)
{
    int most = 0;
    QList<qint64> moments;
    int run = 0;
    for (const HostileServers::Entry &entry : log) {
        if (entry.run != run || entry.bringsNew)
            moments.clear();
        run = entry.run;
        if (entry.isRedirect || entry.bringsNew)
            continue;
        moments.append(entry.atMs);
        while (entry.atMs - moments.constFirst() > kVainPeriodMs)
            moments.removeFirst();
        most = std::max(most, int(moments.size()));
    }
    return most;
}
}

void HostileScore::add(const HostileScore &other)
{
    seeds += other.seeds;
    runs += other.runs;
    interrupted += other.interrupted;
    requests += other.requests;
    finished += other.finished;
    right += other.right;
    excusable += other.excusable;
    mostInVain = std::max(mostInVain, other.mostInVain);
    claimedBytes += other.claimedBytes;
    addAll(assurances, other.assurances);
    addAll(statuses, other.statuses);
    addAll(wrongs, other.wrongs);
}

HostileSeed::HostileSeed(quint32 seed)
    : m_seed(seed)
    , m_chance(seed + 1)
    , m_world(HostileWorld::fromSeed(seed))
    , m_servers(m_world)
{
}

QStringList HostileSeed::run(HostileScore &score)
{
    if (!m_servers.areListening())
        find(u"no server"_s, u"no port could be opened"_s);
    const bool isInterrupted = m_chance.bounded(100) < kPercentInterrupted;
    int left = isInterrupted ? 1 + m_chance.bounded(kMostInterrupted) : 0;
    // What could not be done is tried once more.
    for (int runs = left + 2; runs > 0 && runOnce(left > 0, score); --runs)
        --left;
    for (int i = 0; i < m_world.resources.size(); ++i)
        checkRequests(i, score);
    score.seeds += 1;
    addAll(score.wrongs, m_kinds);
    return m_findings;
}

QString HostileSeed::told() const
{
    QString text = u"  "_s + m_world.inWords() + u"\n  "_s + m_history.join(u"\n  "_s);
    for (int i = 0; i < m_world.resources.size(); ++i) {
        const QList<HostileServers::Entry> log = m_servers.log(i);
        for (const HostileServers::Entry &entry : log)
            text += u"\n    "_s + entry.line;
    }
    return text;
}

QString HostileSeed::keep() const
{
    const QString kept = QDir::temp().filePath(u"plait-hostile-%1"_s.arg(m_seed));
    QProcess::execute(u"cp"_s, {u"-aT"_s, QFileInfo(m_sandbox.dataHome()).absolutePath(), kept});
    return kept;
}

/// @return whether there is anything left to do
bool HostileSeed::runOnce(bool mayInterrupt, HostileScore &score)
{
    QStringList asked;
    const QStringList options = arguments(&asked);
    if (asked.isEmpty())
        return false;
    m_servers.beginRun();
    ++m_runs;
    const PlaitRun run =
        PlaitRun::of(m_sandbox, options, mayInterrupt ? nextInterruption() : PlaitRun::Interruption(), kPatienceMs);
    m_history.append(u"run %1, %2 ms, %3: plait %4"_s.arg(QString::number(m_runs), QString::number(run.tookMs),
                                                          run.isKilled ? u"killed"_s : u"status %1"_s.arg(run.status),
                                                          options.join(u' ')));
    score.runs += 1;
    score.interrupted += int(run.isKilled || run.status == PlaitRun::kStopped);
    const QHash<QString, QJsonObject> summaries = run.summaries();
    checkRun(run, summaries, asked);
    for (int i = 0; i < m_world.resources.size(); ++i) {
        if (summaries.contains(urlOf(i)))
            checkSummary(i, summaries.value(urlOf(i)), score);
    }
    checkFiles();
    checkClaims(score);
    return m_findings.isEmpty();
}

PlaitRun::Interruption HostileSeed::nextInterruption()
{
    return {m_chance.bounded(kEarliestMs, kLatestMs), m_chance.bounded(2) == 0 ? SIGKILL : SIGTERM};
}

/// @param asked what is to be told of: not what is done
QStringList HostileSeed::arguments(QStringList *asked)
{
    const ListOnDisk list(m_sandbox);
    for (int i = 0; i < m_world.resources.size(); ++i) {
        if (!list.urls().contains(urlOf(i)) || list.unfinishedUrls().contains(urlOf(i)))
            asked->append(urlOf(i));
    }
    QStringList arguments{u"--json"_s,
                          u"-q"_s,
                          u"-x"_s,
                          QString::number(m_world.connections),
                          u"--tries"_s,
                          QString::number(m_world.tries),
                          u"--retry-wait"_s,
                          u"0.02"_s,
                          u"--on-changed"_s,
                          m_world.restartsChanged ? u"restart"_s : u"fail"_s,
                          u"--on-unresumable"_s,
                          m_world.restartsUnresumable ? u"restart"_s : u"fail"_s};
    const bool isAllListed =
        std::all_of(asked->cbegin(), asked->cend(), [&](const QString &url) { return list.urls().contains(url); });
    if (m_runs > 0 && isAllListed && m_chance.bounded(2) == 0)
        return QStringList{u"resume"_s, u"--all"_s} + arguments;
    if (m_world.hasMirror)
        arguments += {u"--mirror"_s, m_servers.url(0, 1).toString()};
    const HostileVersion first = m_world.resources.constFirst().versions.constFirst();
    if (m_world.hasChecksum)
        arguments += {u"--checksum"_s,
                      u"sha-256="_s + QString::fromLatin1(TestFiles::sha256OfContent(first.content, first.size))};
    return *asked + arguments + QStringList{u"-d"_s, m_sandbox.downloads()};
}

QString HostileSeed::urlOf(int resource) const
{
    return m_servers.url(resource).toString();
}

QString HostileSeed::nameOf(int resource) const
{
    return QString::fromLatin1(m_world.resources.at(resource).name);
}

void HostileSeed::checkRun(const PlaitRun &run, const QHash<QString, QJsonObject> &summaries, const QStringList &asked)
{
    if (!run.hasEnded)
        find(u"hangs"_s, u"it did not come to its end in %1 s"_s.arg(kPatienceMs / 1000));
    else if (run.status < 0 && !run.isKilled)
        find(u"died"_s, u"it died: "_s + QString::fromUtf8(run.err));
    else if (run.err.contains("Sanitizer") || run.err.contains("runtime error:"))
        find(u"sanitizer"_s, QString::fromUtf8(run.err));
    if (run.status < 0)
        return;
    bool isAllDone = true;
    for (const QString &url : asked) {
        const int status = summaries.value(url).value(u"status"_s).toInt(-1);
        isAllDone &= status == 0;
        if (status < 0 && run.status != PlaitRun::kStopped)
            find(u"silent"_s, u"nothing was said of %1: %2"_s.arg(url, QString::fromUtf8(run.err)));
    }
    if ((run.status == 0) != isAllDone && run.status != PlaitRun::kStopped)
        find(u"status"_s, u"it ended with %1 where the files say otherwise"_s.arg(run.status));
}

void HostileSeed::checkSummary(int resource, const QJsonObject &summary, HostileScore &score)
{
    const int status = summary.value(u"status"_s).toInt(-1);
    const QString sentence = summary.value(u"error"_s).toString();
    ++score.statuses[status];
    m_history.append(u"    %1: %2 %3"_s.arg(nameOf(resource), QString::number(status), sentence));
    if (status == 0)
        checkFinished(resource, summary, score);
    else if (status != PlaitRun::kStopped && sentence.isEmpty())
        find(u"no sentence"_s, u"status %1 without a sentence"_s.arg(status));
    const HostileResource &served = m_world.resources.at(resource);
    const bool isRestNotToBeHad = (status == kUnresumable || status == kChanged) && !served.isResumable();
    const bool isExcused = status == PlaitRun::kStopped || isRestNotToBeHad;
    if (served.isSound() && status != 0 && !isExcused)
        find(u"sound"_s,
             u"served soundly, %1 ended with %2: %3"_s.arg(nameOf(resource), QString::number(status), sentence));
}

void HostileSeed::checkFinished(int resource, const QJsonObject &summary, HostileScore &score)
{
    const QString path = summary.value(u"path"_s).toString();
    if (!QFileInfo::exists(path) || path.endsWith(u".part"_s)) {
        find(u"no file"_s, u"status 0 without a file: \"%1\""_s.arg(path));
        return;
    }
    const QByteArray file = TestFiles::readFile(path);
    HostileJudge judge = judgeOf(resource);
    const HostileJudge::Verdict verdict = judge.judge(file);
    ++score.finished;
    score.right += int(verdict == HostileJudge::Verdict::Right);
    score.excusable += int(verdict == HostileJudge::Verdict::Excusable);
    const HostileVersion first = m_world.resources.constFirst().versions.constFirst();
    if (m_world.hasChecksum && file != TestFiles::content(first.content, 0, first.size))
        find(u"checksum"_s, u"status 0, and not the file of the checksum: "_s + judge.composition(file));
    checkAssurance(resource, summary.value(u"assurance"_s).toString(), file, score);
}

/// What is wrong has been told by then.
void HostileSeed::checkAssurance(int resource, const QString &assurance, const QByteArray &file, HostileScore &score)
{
    HostileJudge judge = judgeOf(resource);
    ++score.assurances[assurance];
    if (assurance == u"verified"_s && !m_world.hasChecksum)
        find(u"overclaimed"_s, u"verified without a checksum"_s);
    else if (assurance == u"consistent"_s && !judge.isProven(file))
        find(u"overclaimed"_s, u"consistent, and nothing proves it: "_s + judge.composition(file));
    else if (m_world.hasChecksum && !assurance.isEmpty() && assurance != u"verified"_s)
        find(u"underclaimed"_s, u"compared with its checksum, and "_s + assurance);
    else if (assurance == u"unproven"_s && judge.isBeyondDoubt())
        find(u"underclaimed"_s, u"unproven, and nothing that was answered leaves a doubt"_s);
}

/// Whatever has its final name, though nobody may have been told.
void HostileSeed::checkFiles()
{
    const QStringList names = m_sandbox.files();
    for (const QString &name : names) {
        const int resource = resourceOf(name);
        if (resource < 0) {
            find(u"foreign file"_s, u"there is a file \"%1\", which nobody asked for"_s.arg(name));
        } else if (!name.endsWith(u".part"_s)) {
            HostileJudge judge = judgeOf(resource);
            const QByteArray file = TestFiles::readFile(m_sandbox.path(name));
            if (judge.judge(file) == HostileJudge::Verdict::Wrong)
                find(u"wrong file"_s, u"\"%1\" is no file of the server: %2"_s.arg(name, judge.composition(file)));
        }
    }
}

void HostileSeed::checkClaims(HostileScore &score)
{
    const QList<ListClaim> claims = ListOnDisk(m_sandbox).claims();
    for (const ListClaim &claim : claims) {
        const int resource = resourceOf(claim.name);
        const QByteArray bytes = claim.bytes();
        score.claimedBytes += bytes.size();
        if (resource < 0 || bytes.size() != claim.size || !judgeOf(resource).wereSent(bytes, claim.offset))
            find(u"claim"_s,
                 u"the list says that %1 bytes from %2 on are in \"%3\", which they are not"_s.arg(claim.size)
                     .arg(claim.offset)
                     .arg(claim.file()));
    }
}

void HostileSeed::checkRequests(int resource, HostileScore &score)
{
    const QList<HostileServers::Entry> log = m_servers.log(resource);
    score.requests += int(log.size());
    const int most = mostInVain(log);
    const int bound = kMostInVain * (m_world.hasMirror ? 2 : 1);
    score.mostInVain = std::max(score.mostInVain, most);
    if (most > bound)
        find(u"storm"_s,
             u"%1: %2 requests in ten seconds that brought nothing new, where %3 are enough"_s.arg(
                 nameOf(resource), QString::number(most), QString::number(bound)));
}

HostileJudge HostileSeed::judgeOf(int resource) const
{
    QList<HostileReading> readings;
    const QList<HostileServers::Entry> log = m_servers.log(resource);
    for (const HostileServers::Entry &entry : log)
        readings.append(entry.reading);
    return {m_world.resources.at(resource), readings};
}

/// -1: of none. One may have a number, "r0 (1).bin".
int HostileSeed::resourceOf(const QString &fileName) const
{
    for (int i = 0; i < m_world.resources.size(); ++i) {
        if (fileName.startsWith(nameOf(i).chopped(4)))
            return i;
    }
    return -1;
}

void HostileSeed::find(const QString &kind, const QString &what)
{
    ++m_kinds[kind];
    m_findings.append(u"run %1, %2: %3"_s.arg(QString::number(m_runs), kind, what));
}
