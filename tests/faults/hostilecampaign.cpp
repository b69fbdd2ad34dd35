// SPDX-License-Identifier: MIT
#include <tests/faults/campaignarguments.h>
#include <tests/faults/hostileseed.h>
#include <tests/integration/sidebyside.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMutex>
#include <QTextStream>

#include <algorithm>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDefaultSeeds = 2000;
/// They mostly wait for their servers.
constexpr int kSideBySide = 6;
constexpr int kReportEvery = 100;

template<typename Key>
QString inWords(const QHash<Key, int> &numbers)
{
    QList<Key> keys = numbers.keys();
    std::sort(keys.begin(), keys.end());
    QStringList words;
    for (const Key &key : std::as_const(keys))
        words.append(u"%1: %2"_s.arg(key).arg(numbers.value(key)));
    return words.join(u", "_s);
}

class Campaign
{
    Q_DISABLE_COPY_MOVE(Campaign)

public:
    Campaign(const CampaignArguments &arguments, QTextStream &out)
        : m_first(arguments.seed)
        , m_count(quint32(arguments.count))
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
        quint32 number = 0;
        {
            const QMutexLocker lock(&m_mutex);
            number = m_begun++;
        }
        if (number >= m_count)
            return false;
        runSeed(m_first + number);
        return true;
    }

    void runSeed(quint32 number)
    {
        HostileSeed seed(number);
        HostileScore score;
        const QStringList findings = seed.run(score);
        const QMutexLocker lock(&m_mutex);
        m_score.add(score);
        if (!findings.isEmpty()) {
            ++m_wrong;
            tell(u"WRONG, seed %1\n  %2\n%3\n  what was left: %4\n  once more: PLAIT_SEED=%1 ./dev faults hostile 1\n"_s
                     .arg(QString::number(number), findings.join(u"\n  "_s), seed.told(), seed.keep()));
        }
        if (m_score.seeds % kReportEvery == 0)
            tell(u"%1 seeds, %2 s\n"_s.arg(m_score.seeds).arg(m_clock.elapsed() / 1000));
    }

    void report()
    {
        tell(u"%1 of %2 seeds wrong (%3); %4 s\n"_s.arg(m_wrong)
                 .arg(m_count)
                 .arg(inWords(m_score.wrongs))
                 .arg(m_clock.elapsed() / 1000)
             + u"  runs: %1, interrupted: %2; requests: %3; most in ten seconds that brought nothing new: %4\n"_s
                   .arg(m_score.runs)
                   .arg(m_score.interrupted)
                   .arg(m_score.requests)
                   .arg(m_score.mostInVain)
             + u"  files of status 0: %1, right: %2, mixed or short without any sign: %3; how sure: %4\n"_s
                   .arg(m_score.finished)
                   .arg(m_score.right)
                   .arg(m_score.excusable)
                   .arg(inWords(m_score.assurances))
             + u"  statuses: %1\n  bytes of lists that were compared with the disk: %2\n"_s.arg(
                 inWords(m_score.statuses), QString::number(m_score.claimedBytes)));
    }

    void tell(const QString &text) { m_out << text << Qt::flush; }

    const quint32 m_first;
    const quint32 m_count;
    QTextStream &m_out;
    QElapsedTimer m_clock;
    QMutex m_mutex; ///< for all that follows
    HostileScore m_score;
    quint32 m_begun = 0;
    int m_wrong = 0;
};
}

/// hostilecampaign [SEEDS], with PLAIT_SEED: whatever servers do, nothing has status 0 that a correct reader of their
/// answers would not have got, nobody is asked in vain for long, and every other end has a sentence.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    const auto arguments = CampaignArguments::read(argc, argv, u"SEEDS"_s, kDefaultSeeds);
    if (!arguments)
        return EXIT_FAILURE;
    return Campaign(*arguments, out).run() ? EXIT_SUCCESS : EXIT_FAILURE;
}
