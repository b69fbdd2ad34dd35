// SPDX-License-Identifier: MIT
#include <host/network/transferloop.h>

#include <host/network/descriptorlimit.h>

#include <algorithm>
#include <csignal>
#include <utility>

#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

constexpr int kLongestNapMs = 60 * 1000;

/// Connections that wait for another request: so many, for so long.
constexpr long kIdleConnections = 32;
constexpr long kIdleSeconds = 60;

/// 0 = it has none.
int portOf(curl_socket_t socket, int (*nameOf)(int, sockaddr *, socklen_t *))
{
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (nameOf(socket, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        return 0;
    if (address.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6 *>(&address)->sin6_port);
    return address.ss_family == AF_INET ? ntohs(reinterpret_cast<const sockaddr_in *>(&address)->sin_port) : 0;
}

/// Once in a process, before anything else of the library.
CURLM *makeMulti()
{
    static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    return initialised == CURLE_OK ? curl_multi_init() : nullptr;
}

/// TLS sessions are kept by handle otherwise, and each transfer has its own. One thread uses it: it needs no lock.
CURLSH *makeShare()
{
    CURLSH *const share = curl_share_init();
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    return share;
}

/// Whoever closes a connection while something is written to it must not end the program.
void ignoreBrokenPipes()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}

TransferLoop::TransferLoop(std::shared_ptr<TransferMeans> means)
    : m_means(std::move(means))
    , m_share(makeShare())
    , m_multi(makeMulti())
{
    boundConnections();
    curl_multi_setopt(m_multi.get(), CURLMOPT_MAX_TOTAL_CONNECTIONS, DescriptorLimit::connections());
}

TransferLoop::~TransferLoop()
{
    end();
}

void TransferLoop::end()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isOver = true;
    }
    curl_multi_wakeup(m_multi.get());
    if (m_thread.joinable())
        m_thread.join();
}

void TransferLoop::start(const std::shared_ptr<Transfer> &transfer)
{
    leaveWord(Word::Kind::Start, transfer);
}

void TransferLoop::cancel(const std::shared_ptr<Transfer> &transfer)
{
    leaveWord(Word::Kind::Cancel, transfer);
}

void TransferLoop::resume(const std::shared_ptr<Transfer> &transfer)
{
    leaveWord(Word::Kind::Resume, transfer);
}

void TransferLoop::holdBack(const std::shared_ptr<Transfer> &transfer, qint64 bytes)
{
    leaveWord(Word::Kind::HoldBack, transfer, bytes);
}

curl_socket_t TransferLoop::openSocket(void *loop, curlsocktype, curl_sockaddr *address)
{
    const curl_socket_t socket = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (socket == -1)
        return CURL_SOCKET_BAD;
    static_cast<TransferLoop *>(loop)->m_sockets.insert(socket);
    return socket;
}

int TransferLoop::closeSocket(void *loop, curl_socket_t socket)
{
    static_cast<TransferLoop *>(loop)->m_sockets.erase(socket);
    return ::close(socket);
}

void TransferLoop::leaveWord(Word::Kind kind, const std::shared_ptr<Transfer> &transfer, qint64 bytes)
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_isOver)
            return;
        m_words.push_back({kind, transfer, bytes});
        if (!m_thread.joinable())
            m_thread = std::thread(&TransferLoop::run, this);
    }
    curl_multi_wakeup(m_multi.get());
}

void TransferLoop::run()
{
    pthread_setname_np(pthread_self(), "network");
    ignoreBrokenPipes();
    while (true) {
        std::vector<Word> words;
        {
            const std::lock_guard lock(m_mutex);
            if (m_isOver)
                break;
            words.swap(m_words);
        }
        for (const Word &word : words)
            heed(word);
        int running = 0;
        curl_multi_perform(m_multi.get(), &running);
        takeTurns();
        tellEnds();
        curl_multi_poll(m_multi.get(), nullptr, 0, kLongestNapMs, nullptr);
    }
    cutConnections();
    while (!m_running.empty())
        remove(m_running.begin());
}

void TransferLoop::heed(const Word &word)
{
    if (word.kind == Word::Kind::Start) {
        begin(word.transfer);
        return;
    }
    const auto found = m_running.find(word.transfer->handle());
    if (found == m_running.end())
        return;
    switch (word.kind) {
    case Word::Kind::Cancel:
        remove(found);
        break;
    case Word::Kind::Resume:
        word.transfer->resume();
        break;
    case Word::Kind::HoldBack:
        word.transfer->holdBack(word.bytes, socketOf(found->first));
        break;
    case Word::Kind::Start:
        break;
    }
}

/// The library tells a running transfer's ports, but its socket only when it is over.
curl_socket_t TransferLoop::socketOf(CURL *handle) const
{
    long local = 0;
    long remote = 0;
    curl_easy_getinfo(handle, CURLINFO_LOCAL_PORT, &local);
    curl_easy_getinfo(handle, CURLINFO_PRIMARY_PORT, &remote);
    const auto found = std::find_if(m_sockets.cbegin(), m_sockets.cend(), [&](curl_socket_t socket) {
        return local != 0 && portOf(socket, &::getsockname) == local && portOf(socket, &::getpeername) == remote;
    });
    return found == m_sockets.cend() ? CURL_SOCKET_BAD : *found;
}

void TransferLoop::begin(const std::shared_ptr<Transfer> &transfer)
{
    m_means->budget.enter();
    transfer->prepare();
    CURL *const handle = transfer->handle();
    curl_easy_setopt(handle, CURLOPT_SHARE, m_share.get());
    curl_easy_setopt(handle, CURLOPT_MAXAGE_CONN, kIdleSeconds);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, &TransferLoop::openSocket);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETFUNCTION, &TransferLoop::closeSocket);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETDATA, this);
    add(transfer);
}

/// The library counts connections that are in use as well.
void TransferLoop::boundConnections()
{
    curl_multi_setopt(m_multi.get(), CURLMOPT_MAXCONNECTS, kIdleConnections + long(m_running.size()));
}

void TransferLoop::add(const std::shared_ptr<Transfer> &transfer)
{
    m_running.emplace(transfer->handle(), transfer);
    boundConnections();
    curl_multi_add_handle(m_multi.get(), transfer->handle());
}

void TransferLoop::remove(Running::iterator found)
{
    curl_multi_remove_handle(m_multi.get(), found->first);
    const std::shared_ptr<Transfer> transfer = std::move(found->second);
    m_running.erase(found);
    boundConnections();
    transfer->release();
    m_means->budget.leave();
    if (m_running.empty())
        m_means->pool.shrink();
}

void TransferLoop::takeTurns()
{
    std::vector<std::pair<CURL *, Transfer::Next>> due;
    for (const auto &[handle, transfer] : m_running) {
        transfer->tellBody();
        if (transfer->isHoldDue())
            transfer->holdBack(transfer->heldTo(), socketOf(handle));
        if (const Transfer::Next next = transfer->onTurn(); next != Transfer::Next::GoOn)
            due.emplace_back(handle, next);
    }
    for (const auto &[handle, next] : due)
        goOn(m_running.find(handle), next);
}

void TransferLoop::tellEnds()
{
    int left = 0;
    while (const CURLMsg *const message = curl_multi_info_read(m_multi.get(), &left)) {
        CURL *const handle = message->easy_handle;
        const CURLcode code = message->data.result;
        const auto found = m_running.find(handle);
        if (message->msg == CURLMSG_DONE && found != m_running.end())
            goOn(found, found->second->onEnded(code));
    }
}

void TransferLoop::goOn(Running::iterator found, Transfer::Next next)
{
    if (next == Transfer::Next::Leave) {
        remove(found);
        return;
    }
    curl_multi_remove_handle(m_multi.get(), found->first);
    curl_multi_add_handle(m_multi.get(), found->first);
}

/// The library takes its leave of ftp servers and waits for their answer, unless there is no connection any more.
void TransferLoop::cutConnections()
{
    for (const curl_socket_t socket : m_sockets)
        ::shutdown(socket, SHUT_RDWR);
}
