// SPDX-License-Identifier: MIT
#include <cli/streamwriter.h>

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace
{

constexpr qint64 kPiece = qint64(256) * 1024;
/// Told at once at the latest; small against what an engine lets lie before the reader.
constexpr qint64 kToldStep = qint64(4) * 1024 * 1024;

/// 0, or the system's error number. Who made the descriptor one that does not wait is waited for.
int writeAll(int descriptor, const char *data, qint64 size)
{
    while (size > 0) {
        const ssize_t count = ::write(descriptor, data, std::size_t(size));
        if (count > 0) {
            data += count;
            size -= count;
        } else if (count < 0 && errno == EAGAIN) {
            pollfd room{descriptor, POLLOUT, 0};
            ::poll(&room, 1, -1);
        } else if (count == 0 || errno != EINTR) {
            return count == 0 ? EIO : errno;
        }
    }
    return 0;
}

}

/// What the thread does, and what both sides know. Outlives the one that goes first.
class StreamWriter::Work
{
public:
    Work(StreamWriter *owner, int descriptor)
        : m_owner(owner)
        , m_descriptor(descriptor)
    {
    }
    ~Work()
    {
        if (m_file >= 0)
            ::close(m_file);
    }

    void leave();
    void follow(const StreamSnapshot &stream);
    void run();

private:
    qint64 waitForMore();
    bool writeUpTo(qint64 ready);
    bool isLeft();
    void tellAdvanced();
    void tellFailed(int error, bool isOutput);
    template<typename News>
    void tell(News news);

    std::mutex m_mutex;
    std::condition_variable m_more;
    StreamWriter *m_owner; ///< null = it is gone
    StreamSnapshot m_stream;

    const int m_descriptor;
    int m_file = -1;
    qint64 m_written = 0;
    qint64 m_told = 0;
};

void StreamWriter::Work::leave()
{
    const std::lock_guard lock(m_mutex);
    m_owner = nullptr;
    m_more.notify_one();
}

/// A file that is just getting another name is opened the next time.
void StreamWriter::Work::follow(const StreamSnapshot &stream)
{
    const std::lock_guard lock(m_mutex);
    if (m_file < 0 && !stream.path.isEmpty())
        m_file = ::open(QFile::encodeName(stream.path).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    m_stream = stream;
    m_more.notify_one();
}

void StreamWriter::Work::run()
{
    for (qint64 ready = waitForMore(); ready >= 0; ready = waitForMore()) {
        if (!writeUpTo(ready))
            return;
    }
}

/// Bytes that may be written; -1 = nobody wants them any more.
qint64 StreamWriter::Work::waitForMore()
{
    std::unique_lock lock(m_mutex);
    m_more.wait(lock, [this] { return !m_owner || (m_file >= 0 && m_stream.ready > m_written); });
    return m_owner ? m_stream.ready : -1;
}

bool StreamWriter::Work::writeUpTo(qint64 ready)
{
    std::vector<char> piece(kPiece);
    while (m_written < ready && !isLeft()) {
        const ssize_t count =
            ::pread(m_file, piece.data(), std::size_t(std::min(kPiece, ready - m_written)), m_written);
        const int error = count > 0 ? writeAll(m_descriptor, piece.data(), count) : 0;
        if (count <= 0 || error != 0) {
            tellFailed(count < 0 ? errno : count == 0 ? EIO : error, count > 0);
            return false;
        }
        m_written += count;
        if (m_written - m_told >= kToldStep)
            tellAdvanced();
    }
    if (m_written > m_told)
        tellAdvanced();
    return true;
}

bool StreamWriter::Work::isLeft()
{
    const std::lock_guard lock(m_mutex);
    return !m_owner;
}

void StreamWriter::Work::tellAdvanced()
{
    m_told = m_written;
    tell([written = m_written](StreamWriter &owner) { owner.onAdvanced(written); });
}

void StreamWriter::Work::tellFailed(int error, bool isOutput)
{
    tell([error, isOutput](StreamWriter &owner) { Q_EMIT owner.failed(error, isOutput); });
}

/// What is on its way to an owner that goes goes with it.
template<typename News>
void StreamWriter::Work::tell(News news)
{
    const std::lock_guard lock(m_mutex);
    if (StreamWriter *const owner = m_owner)
        QMetaObject::invokeMethod(
            owner, [owner, news] { news(*owner); }, Qt::QueuedConnection);
}

StreamWriter::StreamWriter(int descriptor, QObject *parent)
    : QObject(parent)
    , m_work(std::make_shared<Work>(this, descriptor))
{
    std::thread([work = m_work] { work->run(); }).detach();
}

StreamWriter::~StreamWriter()
{
    m_work->leave();
}

void StreamWriter::follow(const StreamSnapshot &stream)
{
    m_work->follow(stream);
}

void StreamWriter::onAdvanced(qint64 written)
{
    m_written = written;
    Q_EMIT advanced(written);
}
