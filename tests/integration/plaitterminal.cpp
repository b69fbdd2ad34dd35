// SPDX-License-Identifier: MIT
#include <tests/integration/plaitterminal.h>

#include <QTest>

#include <array>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

PlaitTerminal::PlaitTerminal(int columns, int rows, TerminalModel::OnResize onResize)
    : m_model(columns, rows, onResize)
{
    m_opened = open(columns, rows);
}

PlaitTerminal::~PlaitTerminal()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished();
    }
    if (m_file >= 0)
        close(m_file);
}

bool PlaitTerminal::start(const PlaitSandbox &sandbox, const QStringList &arguments, const QStringList &variables)
{
    if (!m_opened)
        return false;
    QProcessEnvironment environment = sandbox.environment();
    environment.remove(u"NO_COLOR"_s);
    environment.insert(u"TERM"_s, u"xterm"_s);
    for (const QString &variable : variables)
        environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
    m_process.setProcessEnvironment(environment);
    m_process.setWorkingDirectory(sandbox.downloads());
    m_process.setChildProcessModifier([name = m_name.constData()] {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setsid();
        // The first terminal that the leader of a session opens is the session's.
        const int terminal = ::open(name, O_RDWR);
        for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            dup2(terminal, file);
        close(terminal);
    });
    m_process.start(PlaitSandbox::program(), arguments);
    return m_process.waitForStarted();
}

bool PlaitTerminal::waitFor(const std::function<bool()> &condition)
{
    const auto isOver = [this, &condition] {
        drain();
        return condition() || m_process.state() == QProcess::NotRunning;
    };
    return QTest::qWaitFor(isOver, PlaitSandbox::kPatienceMs) && condition();
}

int PlaitTerminal::finish()
{
    const auto hasEnded = [this] {
        drain();
        return m_process.state() == QProcess::NotRunning;
    };
    if (!QTest::qWaitFor(hasEnded, PlaitSandbox::kPatienceMs))
        return -1;
    drain();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

void PlaitTerminal::resize(int columns, int rows)
{
    drain();
    setSize(columns, rows);
    m_model.resize(columns, rows);
}

void PlaitTerminal::type(const QByteArray &keys)
{
    [[maybe_unused]] const ssize_t written = write(m_file, keys.constData(), size_t(keys.size()));
}

void PlaitTerminal::interrupt()
{
    type("\x03");
}

bool PlaitTerminal::open(int columns, int rows)
{
    m_file = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_file < 0 || grantpt(m_file) != 0 || unlockpt(m_file) != 0)
        return false;
    std::array<char, 64> name = {};
    if (ptsname_r(m_file, name.data(), name.size()) != 0)
        return false;
    m_name = name.data();
    return setSize(columns, rows);
}

/// The system sends SIGWINCH to the program.
bool PlaitTerminal::setSize(int columns, int rows) const
{
    winsize size = {};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = static_cast<unsigned short>(rows);
    return ioctl(m_file, TIOCSWINSZ, &size) == 0;
}

void PlaitTerminal::drain()
{
    std::array<char, 4096> buffer;
    for (ssize_t count = 0; (count = read(m_file, buffer.data(), buffer.size())) > 0;) {
        const QByteArray bytes(buffer.data(), count);
        m_bytes += bytes;
        m_model.feed(bytes);
    }
}
