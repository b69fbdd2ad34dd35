// SPDX-License-Identifier: MIT
#pragma once

#include <tests/faults/campaignarguments.h>
#include <tests/integration/sidebyside.h>

#include <QElapsedTimer>
#include <QHash>
#include <QMutex>
#include <QTextStream>

#include <algorithm>
#include <functional>

/// "a: 1, b: 2", by key.
template<typename Key>
QString inWords(const QHash<Key, int> &numbers)
{
    QList<Key> keys = numbers.keys();
    std::sort(keys.begin(), keys.end());
    QStringList words;
    for (const Key &key : std::as_const(keys))
        words.append(QStringLiteral("%1: %2").arg(key).arg(numbers.value(key)));
    return words.join(QStringLiteral(", "));
}

/// Seeds, several at a time, and what came of them.
///
/// Seed is made of its number, and has run(score), told() and keep(). Score is added up, and has `seeds` and `wrongs`.
template<typename Seed, typename Score>
class SeedCampaign
{
    Q_DISABLE_COPY_MOVE(SeedCampaign)

public:
    /// What the score says, in lines.
    using Summary = std::function<QString(const Score &)>;

    /// @param name of the campaign, as ./dev faults knows it
    SeedCampaign(const QString &name, const CampaignArguments &arguments, const Summary &summary)
        : m_name(name)
        , m_first(arguments.seed)
        , m_count(quint32(arguments.count))
        , m_summary(summary)
        , m_out(stdout)
    {
    }

    /// False = there is something wrong, and it was told.
    bool run()
    {
        m_clock.start();
        runSideBySide(kSideBySide, [this] { return workOne(); });
        tell(QStringLiteral("%1 of %2 seeds wrong (%3); %4 s\n")
                 .arg(QString::number(m_wrong), QString::number(m_count), inWords(m_score.wrongs), seconds())
             + m_summary(m_score));
        return m_wrong == 0;
    }

private:
    /// They mostly wait.
    static constexpr int kSideBySide = 6;
    static constexpr int kReportEvery = 100;

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
        Seed seed(number);
        Score score;
        const QStringList findings = seed.run(score);
        const QMutexLocker lock(&m_mutex);
        m_score.add(score);
        if (!findings.isEmpty()) {
            ++m_wrong;
            tell(QStringLiteral("WRONG, seed %1\n  %2\n%3\n  what was left: %4\n"
                                "  once more: PLAIT_SEED=%1 ./dev faults %5 1\n")
                     .arg(QString::number(number), findings.join(QStringLiteral("\n  ")), seed.told(), seed.keep(),
                          m_name));
        }
        if (m_score.seeds % kReportEvery == 0)
            tell(QStringLiteral("%1 seeds, %2 s\n").arg(QString::number(m_score.seeds), seconds()));
    }

    QString seconds() const { return QString::number(m_clock.elapsed() / 1000); }
    void tell(const QString &text) { m_out << text << Qt::flush; }

    const QString m_name;
    const quint32 m_first;
    const quint32 m_count;
    const Summary m_summary;
    QTextStream m_out;
    QElapsedTimer m_clock;
    QMutex m_mutex; ///< for all that follows
    Score m_score;
    quint32 m_begun = 0;
    int m_wrong = 0;
};
