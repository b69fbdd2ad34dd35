// SPDX-License-Identifier: MIT
#pragma once

#include <tests/faults/plaitrun.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/hostilejudge.h>
#include <tests/support/hostileservers.h>
#include <tests/support/hostileworld.h>

#include <QHash>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

/// What seeds came to.
struct HostileScore {
    int seeds = 0;
    int runs = 0;
    int interrupted = 0; ///< runs
    int requests = 0;
    int finished = 0; ///< files of status 0
    int right = 0; ///< of these: one of the versions
    int excusable = 0; ///< of these: what answers without any sign of it made
    int mostInVain = 0; ///< most requests within ten seconds that brought nothing new
    qint64 claimedBytes = 0; ///< of lists, all of which were compared
    QHash<QString, int> assurances; ///< of finished files
    QHash<int, int> statuses; ///< of files at the end of runs
    QHash<QString, int> wrongs; ///< by kind

    void add(const HostileScore &other);
};

/// The program against the servers of one hostile world, interrupted and taken up again. All it does follows from its
/// seed, but for the speed of the machine.
class HostileSeed
{
    Q_DISABLE_COPY_MOVE(HostileSeed)

public:
    explicit HostileSeed(quint32 seed);

    /// @return what is wrong, a line each; empty: nothing
    QStringList run(HostileScore &score);
    /// The world in words and all that was answered.
    QString told() const;
    /// Where everything lies for whoever wants to look.
    QString keep() const;

private:
    bool runOnce(bool mayInterrupt, HostileScore &score);
    PlaitRun::Interruption nextInterruption();
    QStringList arguments(QStringList *asked);
    QString urlOf(int resource) const;
    QString nameOf(int resource) const;

    void checkRun(const PlaitRun &run, const QHash<QString, QJsonObject> &summaries, const QStringList &asked);
    void checkSummary(int resource, const QJsonObject &summary, HostileScore &score);
    void checkFinished(int resource, const QJsonObject &summary, HostileScore &score);
    void checkAssurance(int resource, const QString &assurance, const QByteArray &file, HostileScore &score);
    void checkFiles();
    void checkClaims(HostileScore &score);
    void checkRequests(int resource, HostileScore &score);
    HostileJudge judgeOf(int resource) const;
    int resourceOf(const QString &fileName) const;
    void find(const QString &kind, const QString &what);

    const quint32 m_seed;
    QRandomGenerator m_chance;
    const HostileWorld m_world;
    HostileServers m_servers;
    PlaitSandbox m_sandbox;
    int m_runs = 0;
    QStringList m_history;
    QHash<QString, int> m_kinds;
    QStringList m_findings;
};
