// SPDX-License-Identifier: MIT
#include <cli/standardoutput.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Where another program has made the stream one that does not wait.
void waitForRoom()
{
    pollfd stream{STDOUT_FILENO, POLLOUT, 0};
    ::poll(&stream, 1, -1);
}

}

void StandardOutput::prepareProcess()
{
    // open() takes the lowest number that is free. Opened the wrong way round, the stream fails as if it were closed.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == -1)
            (void)::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
    std::signal(SIGPIPE, SIG_IGN);
    // A file that grows beyond "ulimit -f" is a failure of its download, and no end of the others.
    std::signal(SIGXFSZ, SIG_IGN);
}

StandardOutput::StandardOutput()
{
    open(WriteOnly | Unbuffered);
}

ExitStatus StandardOutput::finalStatus(ExitStatus status, QString *complaint) const
{
    complaint->clear();
    // Whoever writes no more has stopped for that.
    const bool isGood = status == ExitStatus::Done || status == ExitStatus::Unfinished;
    if (m_error == EPIPE)
        return isGood ? ExitStatus::ReaderGone : status;
    if (m_error == 0)
        return status;
    *complaint = u"cannot write to standard output: %1."_s.arg(QString::fromLocal8Bit(std::strerror(m_error)));
    return isGood ? ExitStatus::Unknown : status;
}

qint64 StandardOutput::writeData(const char *data, qint64 size)
{
    qint64 done = 0;
    while (m_error == 0 && done < size) {
        const ssize_t written = ::write(STDOUT_FILENO, data + done, std::size_t(size - done));
        if (written > 0)
            done += written;
        else if (written < 0 && errno == EAGAIN)
            waitForRoom();
        else if (written == 0 || errno != EINTR)
            giveUp(written == 0 ? EIO : errno);
    }
    return m_error == 0 ? size : -1;
}

void StandardOutput::giveUp(int error)
{
    if (m_error != 0)
        return;
    m_error = error;
    if (error == EPIPE)
        Q_EMIT readerGone();
}
