// SPDX-License-Identifier: MIT
#include <tests/integration/programrun.h>

#include <tests/integration/plaitsandbox.h>

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QList>
#include <QProcess>

#include <csignal>

#include <sys/prctl.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kLookEveryMs = 20;

/// @return whether it has ended
bool waitForEnd(QProcess &process, int patienceMs)
{
    return process.state() == QProcess::NotRunning || process.waitForFinished(patienceMs)
        || process.state() == QProcess::NotRunning;
}

/// @return whether the condition came true while it ran
bool waitForCondition(QProcess &process, int patienceMs, const std::function<bool()> &isTime)
{
    QElapsedTimer clock;
    clock.start();
    while (!clock.hasExpired(patienceMs) && !waitForEnd(process, kLookEveryMs)) {
        if (isTime()) {
            return true;
        }
    }
    return false;
}

/// @return whether it is to be interrupted now
bool waitForInterruption(QProcess &process, int patienceMs, const ProgramRun::Interruption &interruption)
{
    if (interruption.isTime) {
        return waitForCondition(process, patienceMs, interruption.isTime);
    }
    return interruption.afterMs != ProgramRun::kNever && !waitForEnd(process, interruption.afterMs);
}
}

ProgramRun ProgramRun::of(const PlaitSandbox &sandbox, const QString &program, const QStringList &arguments,
                          int patienceMs, const Interruption &interruption)
{
    QElapsedTimer clock;
    clock.start();
    QProcess process;
    process.setProcessEnvironment(sandbox.environment());
    process.setWorkingDirectory(sandbox.downloads());
    process.setStandardInputFile(QProcess::nullDevice());
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process.start(program, arguments);
    ProgramRun run;
    if (!process.waitForStarted()) {
        return run;
    }
    const bool isLate = waitForInterruption(process, patienceMs, interruption);
    if (isLate) {
        ::kill(static_cast<pid_t>(process.processId()), interruption.signal);
    }
    run.hasEnded = waitForEnd(process, patienceMs);
    if (!run.hasEnded) {
        process.kill();
        process.waitForFinished();
    }
    run.tookMs = int(clock.elapsed());
    if (process.exitStatus() == QProcess::NormalExit) {
        run.status = process.exitCode();
    } else {
        run.isKilled = isLate && run.hasEnded && process.exitCode() == interruption.signal;
    }
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

QHash<QString, QJsonObject> ProgramRun::summaries() const
{
    QHash<QString, QJsonObject> summaries;
    const QList<QByteArray> lines = out.split('\n');
    for (const QByteArray &line : lines) {
        const QJsonObject event = QJsonDocument::fromJson(line).object();
        if (event.value(u"event"_s).toString() == u"summary"_s) {
            summaries.insert(event.value(u"url"_s).toString(), event);
        }
    }
    return summaries;
}
