// SPDX-License-Identifier: MIT
#include <tests/faults/campaignarguments.h>
#include <tests/faults/commandseed.h>
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

constexpr int kDefaultSeeds = 3000;
/// They mostly wait.
constexpr int kSideBySide = 6;
constexpr int kReportEvery = 100;

QString inWords(const QHash<QString, int> &numbers)
{
    QStringList words;
    for (auto it = numbers.cbegin(); it != numbers.cend(); ++it)
        words.append(u"%1: %2"_s.arg(it.key()).arg(it.value()));
    words.sort();
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
        CommandSeed seed(number);
        CommandScore score;
        const QStringList findings = seed.run(score);
        const QMutexLocker lock(&m_mutex);
        m_score.add(score);
        if (!findings.isEmpty()) {
            ++m_wrong;
            tell(
                u"WRONG, seed %1\n  %2\n%3\n  what was left: %4\n  once more: PLAIT_SEED=%1 ./dev faults commands 1\n"_s
                    .arg(QString::number(number), findings.join(u"\n  "_s), seed.told(), seed.keep()));
        }
        if (m_score.seeds % kReportEvery == 0)
            tell(u"%1 seeds, %2 s\n"_s.arg(m_score.seeds).arg(m_clock.elapsed() / 1000));
    }

    void report()
    {
        const qsizetype legal = qsizetype(downloadStates().exits().size());
        tell(u"%1 of %2 seeds wrong (%3); %4 s\n"_s.arg(QString::number(m_wrong), QString::number(m_count),
                                                        inWords(m_score.wrongs),
                                                        QString::number(m_clock.elapsed() / 1000))
             + u"  commands: %1, refused: %2; killed: %3; questions: %4; pages compared with a model: %5\n"_s.arg(
                 QString::number(m_score.commands), QString::number(m_score.refused), QString::number(m_score.kills),
                 QString::number(m_score.questions), QString::number(m_score.comparisons))
             + u"  files right at the end: %1, of these shorter because somebody was content: %2; changes of state of "
               u"%3 kinds, where %4 are legal\n"_s.arg(QString::number(m_score.files), QString::number(m_score.early),
                                                       QString::number(m_score.transitions.size()),
                                                       QString::number(legal)));
    }

    void tell(const QString &text) { m_out << text << Qt::flush; }

    const quint32 m_first;
    const quint32 m_count;
    QTextStream &m_out;
    QElapsedTimer m_clock;
    QMutex m_mutex; ///< for all that follows
    CommandScore m_score;
    quint32 m_begun = 0;
    int m_wrong = 0;
};

}

/// commandscampaign [SEEDS], with PLAIT_SEED: whatever commands come, and whenever the engine is killed, nothing is
/// lost, nothing is said that is not so, and every file is right in the end.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    const auto arguments = CampaignArguments::read(argc, argv, u"SEEDS"_s, kDefaultSeeds);
    if (!arguments)
        return EXIT_FAILURE;
    return Campaign(*arguments, out).run() ? EXIT_SUCCESS : EXIT_FAILURE;
}
