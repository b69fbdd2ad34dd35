// SPDX-License-Identifier: MIT
#include <tests/faults/plaitrun.h>

#include <tests/integration/plaitsandbox.h>

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QList>
#include <QProcess>

#include <csignal>

#include <sys/prctl.h>

using namespace Qt::StringLiterals;

PlaitRun PlaitRun::of(const PlaitSandbox &sandbox, const QStringList &arguments, Interruption interruption,
                      int patienceMs)
{
    QElapsedTimer clock;
    clock.start();
    QProcess process;
    process.setProcessEnvironment(sandbox.environment());
    process.setWorkingDirectory(sandbox.downloads());
    process.setStandardInputFile(QProcess::nullDevice());
    process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process.start(PlaitSandbox::program(), arguments);
    process.waitForStarted();
    PlaitRun run;
    const bool isLate = interruption.afterMs != kNever && !process.waitForFinished(interruption.afterMs);
    if (isLate && interruption.signal == SIGKILL)
        process.kill();
    else if (isLate)
        process.terminate();
    run.hasEnded = process.state() == QProcess::NotRunning || process.waitForFinished(patienceMs);
    if (!run.hasEnded)
        process.kill();
    process.waitForFinished();
    run.tookMs = int(clock.elapsed());
    if (process.exitStatus() == QProcess::NormalExit)
        run.status = process.exitCode();
    else
        run.isKilled = isLate && run.hasEnded && process.exitCode() == interruption.signal;
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

QHash<QString, QJsonObject> PlaitRun::summaries() const
{
    QHash<QString, QJsonObject> summaries;
    const QList<QByteArray> lines = out.split('\n');
    for (const QByteArray &line : lines) {
        const QJsonObject event = QJsonDocument::fromJson(line).object();
        if (event.value(u"event"_s).toString() == u"summary"_s)
            summaries.insert(event.value(u"url"_s).toString(), event);
    }
    return summaries;
}
