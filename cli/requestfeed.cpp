// SPDX-License-Identifier: MIT
#include <cli/requestfeed.h>

#include <array>
#include <cerrno>

#include <unistd.h>

namespace
{

constexpr qsizetype kPiece = 65536;

}

RequestFeed::RequestFeed(int input, const ListedRequests::Common &common, QObject *parent)
    : QObject(parent)
    , m_input(input)
    , m_common(common)
    , m_notifier(input, QSocketNotifier::Read)
    , m_quiet(this)
{
    m_quiet.setInterval(kQuietMs);
    m_quiet.setSingleShot(true);
    connect(&m_notifier, &QSocketNotifier::activated, this, &RequestFeed::onReadable);
    connect(&m_quiet, &QTimer::timeout, this, &RequestFeed::onQuiet);
}

void RequestFeed::stop()
{
    m_notifier.setEnabled(false);
    m_quiet.stop();
}

void RequestFeed::onReadable()
{
    std::array<char, kPiece> piece;
    const ssize_t count = ::read(m_input, piece.data(), piece.size());
    if (count > 0) {
        m_list.add(QByteArray(piece.data(), count));
        m_quiet.start();
        tell(m_list.takeFollowed());
    } else if (count == 0) {
        end({});
    } else if (errno != EINTR && errno != EAGAIN) {
        end(qt_error_string(errno));
    }
}

void RequestFeed::onQuiet()
{
    tell(m_list.takeQuiet());
}

void RequestFeed::end(const QString &problem)
{
    stop();
    tell(m_list.takeRest());
    Q_EMIT ended(problem);
}

void RequestFeed::tell(const AddressList &list)
{
    const ListedRequests listed = ListedRequests::of(list, m_common);
    if (!listed.requests.isEmpty() || !listed.complaints.isEmpty())
        Q_EMIT arrived(listed);
}
