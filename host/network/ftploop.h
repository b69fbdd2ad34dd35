// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/deferredpointer.h>

#include <QEnableSharedFromThis>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QSharedPointer>

#include <curl/curl.h>

#include <unordered_map>

class QSocketNotifier;
class QTimer;

/// Drives libcurl's transfers on Qt's event loop: sockets become notifiers, libcurl's one timer a QTimer.
///
///     handle ── add() ──> running ── onTurn() … ──> done: leaves ──> onEnded()
///                            └────── remove() ──> out, nothing more is told
///
/// libcurl must not be called from its own callbacks, and receivers of signals call anything; so transfers are told of
/// news only when libcurl has returned. They may add, remove and die in everything that they are told.
///
/// Shared by its transfers and whoever makes them; lives in their thread. Connections that may serve again are kept as
/// long as this object. Nothing here waits for a server.
class FtpLoop : public QObject, public QEnableSharedFromThis<FtpLoop>
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FtpLoop)

public:
    /// Who has a handle in the loop.
    class Transfer
    {
    public:
        /// libcurl has been at work, for this transfer or for another one.
        virtual void onTurn() = 0;
        /// The handle has left the loop by itself.
        virtual void onEnded(CURLcode code) = 0;

    protected:
        Transfer() = default;
        ~Transfer() = default;
        Q_DISABLE_COPY_MOVE(Transfer)
    };

    static QSharedPointer<FtpLoop> create();
    ~FtpLoop() override;

    /// Both must live until the handle has left the loop. Takes the handle's options for opening and closing sockets.
    void add(CURL *handle, Transfer *transfer);
    /// Cuts its connection off if it has not ended. Ignored when it is not in the loop.
    void remove(CURL *handle);
    /// Goes on with a transfer whose write callback has paused it.
    void resume(CURL *handle);

private:
    struct Watch {
        DeferredPointer<QSocketNotifier> read;
        DeferredPointer<QSocketNotifier> write;
    };

    FtpLoop();

    static int onSocket(CURL *handle, curl_socket_t socket, int what, void *loop, void *);
    static int onTimer(CURLM *multi, long milliseconds, void *loop);
    static curl_socket_t openSocket(void *loop, curlsocktype purpose, curl_sockaddr *address);
    static int closeSocket(void *loop, curl_socket_t socket);

    void watch(curl_socket_t socket, int what);
    DeferredPointer<QSocketNotifier> makeNotifier(curl_socket_t socket, int type, int event);
    void turn(curl_socket_t socket, int event);
    void tellTransfers();
    void tellEnds();

    CURLM *const m_multi;
    const DeferredPointer<QTimer> m_timer;
    std::unordered_map<curl_socket_t, Watch> m_watches;
    QHash<CURL *, Transfer *> m_transfers;
    QSet<curl_socket_t> m_openSockets;
};
