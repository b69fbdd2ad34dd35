// SPDX-License-Identifier: MIT
#include <cli/signalwatcher.h>

#include <cli/exitstatus.h>
#include <cli/screen.h>

#include <QSocketNotifier>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// The handler may touch nothing else.
std::atomic<qint64> s_firstMs = 0; ///< when the first signal came; 0 = none has
std::atomic<int> s_writeEnd = -1;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<qint64>::is_always_lock_free);

qint64 nowMs()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

void onSignal(int)
{
    const int errorBefore = errno;
    const qint64 now = nowMs();
    // Two may come at once, in two threads: being the first and saying when is one step.
    qint64 firstMs = 0;
    const bool isFirst = s_firstMs.compare_exchange_strong(firstMs, now);
    if (!isFirst && now - firstMs >= SignalWatcher::kOneWishMs) {
        Screen::eraseAtOnce();
        std::_Exit(int(ExitStatus::EndedAtOnce));
    }
    const char byte = 0;
    if (isFirst) {
        [[maybe_unused]] const ssize_t written = write(s_writeEnd, &byte, 1);
    }
    errno = errorBefore;
}

void setHandler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (int number : kSignals) {
        struct sigaction before = {};
        sigaction(number, nullptr, &before);
        // Who started the process may have meant it to outlive the terminal.
        if (before.sa_handler != SIG_IGN)
            sigaction(number, &action, nullptr);
    }
}

}

SignalWatcher::SignalWatcher(QObject *parent)
    : QObject(parent)
{
    if (pipe2(m_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    m_notifier = new QSocketNotifier(m_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SignalWatcher::onReadable);
    s_firstMs = 0;
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
