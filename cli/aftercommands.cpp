// SPDX-License-Identifier: MIT
#include <cli/aftercommands.h>

#include <QProcess>
#include <QStandardPaths>

#include <csignal>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

QString reasonOf(int status, QProcess::ExitStatus how)
{
    if (how == QProcess::CrashExit)
        return u"it was ended by a signal"_s;
    return status == 0 ? QString() : u"it ended with status %1"_s.arg(status);
}

}

bool AfterCommands::isProgram(const QString &command)
{
    return !QStandardPaths::findExecutable(command).isEmpty();
}

void AfterCommands::call(const QString &command, const QString &path, qint64 id)
{
    auto *const process = new QProcess(this);
    ++m_running;
    process->setProgram(command);
    process->setArguments({path, QString::number(id)});
    process->setStandardInputFile(QProcess::nullDevice());
    process->setProcessChannelMode(QProcess::ForwardedChannels);
    process->setChildProcessModifier([] {
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
        std::signal(SIGXFSZ, SIG_DFL);
    });
    connect(process, &QProcess::finished, this,
            [this, process, id](int status, QProcess::ExitStatus how) { end(process, id, reasonOf(status, how)); });
    connect(process, &QProcess::errorOccurred, this, [this, process, id](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end(process, id, u"it cannot be started"_s);
    });
    process->start();
}

void AfterCommands::end(QProcess *process, qint64 id, const QString &reason)
{
    process->deleteLater();
    --m_running;
    if (!reason.isEmpty())
        Q_EMIT failed(id, process->program(), reason);
    if (isIdle())
        Q_EMIT idle();
}
