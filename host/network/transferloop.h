// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/transfer.h>

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

/// A thread that drives transfers over libcurl.
///
///     start() ──> runs ── its end is told ──> gone
///                  └─── cancel() ───────────> gone, nothing more is told
///
/// Connections, TLS sessions and names are shared by all of its transfers. Nothing that a disk or a reader does stops
/// the thread; what does not find room only pauses its own transfer.
///
/// Callable from any thread; calls only leave word. The thread is started by the first transfer, and joined by end().
class TransferLoop
{
    Q_DISABLE_COPY_MOVE(TransferLoop)

public:
    explicit TransferLoop(std::shared_ptr<TransferMeans> means);
    /// Ends it, if nobody has.
    ~TransferLoop();

    /// Cuts off what runs and waits for the thread, which tells nobody anything. Whatever word is left afterwards is
    /// not heeded. Not from the loop's own thread.
    void end();

    void start(const std::shared_ptr<Transfer> &transfer);
    /// Cuts its connection off if it has not ended.
    void cancel(const std::shared_ptr<Transfer> &transfer);
    /// Its reader has room again.
    void resume(const std::shared_ptr<Transfer> &transfer);
    /// See Transfer::holdBack().
    void holdBack(const std::shared_ptr<Transfer> &transfer, qint64 bytes);

private:
    struct MultiDelete {
        void operator()(CURLM *multi) const { curl_multi_cleanup(multi); }
    };
    struct ShareDelete {
        void operator()(CURLSH *share) const { curl_share_cleanup(share); }
    };
    struct Word {
        enum class Kind { Start, Cancel, Resume, HoldBack } kind;
        std::shared_ptr<Transfer> transfer;
        qint64 bytes = 0;
    };
    using Running = std::unordered_map<CURL *, std::shared_ptr<Transfer>>;

    static curl_socket_t openSocket(void *loop, curlsocktype purpose, curl_sockaddr *address);
    static int closeSocket(void *loop, curl_socket_t socket);

    void leaveWord(Word::Kind kind, const std::shared_ptr<Transfer> &transfer, qint64 bytes = 0);
    void run();
    void heed(const Word &word);
    curl_socket_t socketOf(CURL *handle) const;
    void begin(const std::shared_ptr<Transfer> &transfer);
    void add(const std::shared_ptr<Transfer> &transfer);
    void boundConnections();
    void remove(Running::iterator found);
    void takeTurns();
    void tellEnds();
    void goOn(Running::iterator found, Transfer::Next next);
    void cutConnections();

    const std::shared_ptr<TransferMeans> m_means;
    std::mutex m_mutex;
    std::vector<Word> m_words;
    bool m_isOver = false;

    // The thread's own. What libcurl calls back for, and what its handles share, goes after them.
    std::unordered_set<curl_socket_t> m_sockets;
    const std::unique_ptr<CURLSH, ShareDelete> m_share;
    const std::unique_ptr<CURLM, MultiDelete> m_multi;
    Running m_running;

    std::thread m_thread;
};
