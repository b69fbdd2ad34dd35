// SPDX-License-Identifier: MIT
#include <benchmarks/measuredrun.h>

#include <QElapsedTimer>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr double kMillisecondsPerSecond = 1000;
constexpr double kMicrosecondsPerSecond = 1e6;
constexpr qint64 kKibi = 1024;

/// A list of C strings and the bytes that they point to.
class Strings
{
    Q_DISABLE_COPY_MOVE(Strings)

public:
    explicit Strings(const QStringList &texts)
    {
        for (const QString &text : texts)
            m_bytes.push_back(QFile::encodeName(text));
        for (QByteArray &bytes : m_bytes)
            m_pointers.push_back(bytes.data());
        m_pointers.push_back(nullptr);
    }

    char *const *data() const { return m_pointers.data(); }

private:
    std::vector<QByteArray> m_bytes;
    std::vector<char *> m_pointers;
};

pid_t spawn(const QString &program, const QStringList &arguments, const QStringList &environment)
{
    const Strings words(QStringList{program} + arguments);
    const Strings variables(environment);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    pid_t pid = -1;
    const int error =
        posix_spawn(&pid, QFile::encodeName(program).constData(), &actions, nullptr, words.data(), variables.data());
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : -1;
}

double secondsOf(const timeval &time)
{
    return double(time.tv_sec) + double(time.tv_usec) / kMicrosecondsPerSecond;
}

}

MeasuredRun MeasuredRun::of(const QString &program, const QStringList &arguments, const QStringList &environment)
{
    MeasuredRun run;
    QElapsedTimer clock;
    clock.start();
    const pid_t pid = spawn(program, arguments, environment);
    int status = 0;
    rusage usage{};
    pid_t ended = -1;
    do {
        ended = pid > 0 ? ::wait4(pid, &status, 0, &usage) : -1;
    } while (pid > 0 && ended == -1 && errno == EINTR);
    if (ended != pid || pid <= 0)
        return run;
    run.seconds = double(clock.elapsed()) / kMillisecondsPerSecond;
    run.processorSeconds = secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
    run.peakBytes = usage.ru_maxrss * kKibi;
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}
