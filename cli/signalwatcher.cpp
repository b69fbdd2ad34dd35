// SPDX-License-Identifier: MIT
#include <cli/signalwatcher.h>

#include <cli/screen.h>
#include <host/policy/exitstatus.h>

#include <QSocketNotifier>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// The handler may touch nothing else.
std::atomic<int> s_count = 0;
std::atomic<int> s_writeEnd = -1;
static_assert(std::atomic<int>::is_always_lock_free);

void onSignal(int)
{
    const int errorBefore = errno;
    if (s_count.fetch_add(1) > 0) {
        Screen::eraseAtOnce();
        std::_Exit(int(ExitStatus::EndedAtOnce));
    }
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = write(s_writeEnd, &byte, 1);
    errno = errorBefore;
}

void setHandler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (int number : kSignals)
        sigaction(number, &action, nullptr);
}

}

SignalWatcher::SignalWatcher(QObject *parent)
    : QObject(parent)
{
    if (pipe2(m_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    m_notifier = new QSocketNotifier(m_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SignalWatcher::onReadable);
    s_count = 0;
    s_writeEnd = m_pipe[1];
    setHandler(&onSignal);
}

SignalWatcher::~SignalWatcher()
{
    if (!m_notifier)
        return;
    setHandler(SIG_DFL);
    m_notifier->setEnabled(false);
    close(m_pipe[0]);
    close(m_pipe[1]);
}

void SignalWatcher::onReadable()
{
    char bytes[16];
    if (read(m_pipe[0], bytes, sizeof bytes) > 0)
        Q_EMIT stopRequested();
}
