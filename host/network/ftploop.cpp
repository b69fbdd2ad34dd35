// SPDX-License-Identifier: MIT
#include <host/network/ftploop.h>

#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <limits>

#include <sys/socket.h>
#include <unistd.h>

namespace
{

/// Once in a process, before anything else of the library.
CURLM *makeMulti()
{
    static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    return initialised == CURLE_OK ? curl_multi_init() : nullptr;
}

}

QSharedPointer<FtpLoop> FtpLoop::create()
{
    return QSharedPointer<FtpLoop>(new FtpLoop);
}

FtpLoop::FtpLoop()
    : m_multi(makeMulti())
    , m_timer(new QTimer)
{
    m_timer->setSingleShot(true);
    connect(m_timer.get(), &QTimer::timeout, this, [this] { turn(CURL_SOCKET_TIMEOUT, 0); });
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETFUNCTION, &FtpLoop::onSocket);
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERFUNCTION, &FtpLoop::onTimer);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERDATA, this);
}

FtpLoop::~FtpLoop()
{
    // The library takes its leave of every server and waits for the answer, unless there is no connection any more.
    for (const curl_socket_t socket : std::as_const(m_openSockets))
        ::shutdown(socket, SHUT_RDWR);
    curl_multi_cleanup(m_multi);
}

void FtpLoop::add(CURL *handle, Transfer *transfer)
{
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, &FtpLoop::openSocket);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETFUNCTION, &FtpLoop::closeSocket);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETDATA, this);
    m_transfers.insert(handle, transfer);
    curl_multi_add_handle(m_multi, handle);
}

void FtpLoop::remove(CURL *handle)
{
    if (m_transfers.remove(handle) > 0)
        curl_multi_remove_handle(m_multi, handle);
}

void FtpLoop::resume(CURL *handle)
{
    if (!m_transfers.contains(handle))
        return;
    curl_easy_pause(handle, CURLPAUSE_CONT);
    tellTransfers();
}

int FtpLoop::onSocket(CURL *, curl_socket_t socket, int what, void *loop, void *)
{
    static_cast<FtpLoop *>(loop)->watch(socket, what);
    return 0;
}

int FtpLoop::onTimer(CURLM *, long milliseconds, void *loop)
{
    QTimer *const timer = static_cast<FtpLoop *>(loop)->m_timer.get();
    if (milliseconds < 0)
        timer->stop();
    else
        timer->start(int(std::min<long>(milliseconds, std::numeric_limits<int>::max())));
    return 0;
}

curl_socket_t FtpLoop::openSocket(void *loop, curlsocktype, curl_sockaddr *address)
{
    const curl_socket_t socket = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (socket == -1)
        return CURL_SOCKET_BAD;
    static_cast<FtpLoop *>(loop)->m_openSockets.insert(socket);
    return socket;
}

int FtpLoop::closeSocket(void *loop, curl_socket_t socket)
{
    static_cast<FtpLoop *>(loop)->m_openSockets.remove(socket);
    return ::close(socket);
}

void FtpLoop::watch(curl_socket_t socket, int what)
{
    if (what == CURL_POLL_REMOVE) {
        // Deleted later, but its number may be another socket's in a moment.
        if (const auto found = m_watches.find(socket); found != m_watches.end()) {
            found->second.read->setEnabled(false);
            found->second.write->setEnabled(false);
            m_watches.erase(found);
        }
        return;
    }
    Watch &watch = m_watches[socket];
    if (!watch.read) {
        watch.read = makeNotifier(socket, QSocketNotifier::Read, CURL_CSELECT_IN);
        watch.write = makeNotifier(socket, QSocketNotifier::Write, CURL_CSELECT_OUT);
    }
    watch.read->setEnabled((what & CURL_POLL_IN) != 0);
    watch.write->setEnabled((what & CURL_POLL_OUT) != 0);
}

DeferredPointer<QSocketNotifier> FtpLoop::makeNotifier(curl_socket_t socket, int type, int event)
{
    DeferredPointer<QSocketNotifier> notifier(new QSocketNotifier(socket, QSocketNotifier::Type(type)));
    connect(notifier.get(), &QSocketNotifier::activated, this, [this, socket, event] { turn(socket, event); });
    return notifier;
}

void FtpLoop::turn(curl_socket_t socket, int event)
{
    int running = 0;
    curl_multi_socket_action(m_multi, socket, event, &running);
    tellTransfers();
}

void FtpLoop::tellTransfers()
{
    // The last transfer may take its leave in what it is told.
    const QSharedPointer<FtpLoop> self = sharedFromThis();
    const QList<CURL *> handles = m_transfers.keys();
    for (CURL *const handle : handles) {
        if (Transfer *const transfer = m_transfers.value(handle))
            transfer->onTurn();
    }
    tellEnds();
}

void FtpLoop::tellEnds()
{
    int left = 0;
    while (const CURLMsg *const message = curl_multi_info_read(m_multi, &left)) {
        CURL *const handle = message->easy_handle;
        const CURLcode code = message->data.result;
        Transfer *const transfer = m_transfers.value(handle);
        if (message->msg != CURLMSG_DONE || !transfer)
            continue;
        remove(handle);
        transfer->onEnded(code);
    }
}
