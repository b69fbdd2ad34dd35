// SPDX-License-Identifier: MIT
#include <benchmarks/contestant.h>

#include <tests/support/testfiles.h>

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kPatienceMs = 600000;
constexpr double kMillisecondsPerSecond = 1000;

QProcessEnvironment environmentAt(const QString &home)
{
    QProcessEnvironment environment;
    environment.insert(u"PATH"_s, qEnvironmentVariable("PATH"));
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
    environment.insert(u"HOME"_s, home);
    environment.insert(u"XDG_DATA_HOME"_s, home);
    return environment;
}

}

Contestant Contestant::plait(int connections)
{
    return {u"plait"_s,
            QStringLiteral(PLAIT_PROGRAM),
            {u"-q"_s, u"-x"_s, QString::number(connections), u"-d"_s, u"%DIR%"_s}};
}

std::optional<Contestant> Contestant::aria2(int connections)
{
    const QString program = QStandardPaths::findExecutable(u"aria2c"_s);
    if (program.isEmpty())
        return {};
    const QString count = QString::number(connections);
    return Contestant{u"aria2c"_s,
                      program,
                      {u"--no-conf"_s, u"-q"_s, u"-x"_s, count, u"-s"_s, count, u"-k"_s, u"1M"_s,
                       u"--file-allocation=falloc"_s, u"-d"_s, u"%DIR%"_s}};
}

std::optional<double> Contestant::secondsFor(const QString &url, const QByteArray &sha256) const
{
    const QTemporaryDir home;
    const QTemporaryDir target;
    QProcess process;
    process.setProcessEnvironment(environmentAt(home.path()));
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QStringList all = arguments;
    all.replaceInStrings(u"%DIR%"_s, target.path());
    QElapsedTimer clock;
    clock.start();
    process.start(program, all + QStringList{url});
    const bool ended = process.waitForFinished(kPatienceMs);
    const double seconds = double(clock.elapsed()) / kMillisecondsPerSecond;
    if (!ended) {
        process.kill();
        process.waitForFinished();
    }
    const QStringList files = QDir(target.path()).entryList(QDir::Files);
    const bool isRight = files.size() == 1 && TestFiles::sha256OfFile(target.filePath(files.constFirst())) == sha256;
    if (!ended || process.exitCode() != 0 || !isRight)
        return {};
    return seconds;
}
