// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/ftpdialogue.h>
#include <host/network/ftploop.h>
#include <host/policy/urlcredentials.h>

#include <QByteArray>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QSharedPointer>

#include <memory>
#include <optional>

/// A file on an FTP server, told as an HTTP answer would be, so that who downloads needs to know one kind of answer
/// only.
///
///     waiting ── event loop ──> asking ── transfer begins ──> receiving ── announced length is there ──> finished
///                                 │ ^                             └─ ends before, or with an error ────> finished
///                                 │ └─ cannot begin in the middle: once more, for all of it
///                                 └──── refused, no such file, nothing behind the range's start ───────> finished
///
///     from all on the way: abort() ──> finished (OperationCanceledError)
///
/// The head has status 200, or 206 where the request's Range was obeyed, and what the server told: Content-Length
/// (SIZE), Content-Range, Accept-Ranges (it understands REST), Last-Modified (MDTM). Its type is
/// application/octet-stream. Without a size there are no ranges: then a request with one gets the whole file and 200. A
/// range that begins behind the end gets 416.
///
/// Data that nobody reads stops the server once the read buffer is full. Nothing is emitted in the constructor, and
/// every signal's receiver may delete this object. The login is never shown.
class FtpReply : public QNetworkReply, private FtpLoop::Transfer
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FtpReply)

public:
    /// @param request its URL carries no login
    /// @param login empty = anonymous
    /// @param proxy of type NoProxy, HttpProxy (is asked to CONNECT) or Socks5Proxy (looks names up)
    FtpReply(const QNetworkRequest &request, const Login &login, const QNetworkProxy &proxy,
             QSharedPointer<FtpLoop> loop, QObject *parent);
    ~FtpReply() override;

    void close() override;
    qint64 bytesAvailable() const override;
    void setReadBufferSize(qint64 size) override;

public Q_SLOTS:
    void abort() override;

protected:
    qint64 readData(char *data, qint64 maxSize) override;

private:
    struct Range {
        qint64 first = 0;
        qint64 last = -1; ///< -1 = the file's end
    };
    struct HandleDelete {
        void operator()(CURL *handle) const { curl_easy_cleanup(handle); }
    };
    struct ListDelete {
        void operator()(curl_slist *list) const { curl_slist_free_all(list); }
    };

    static std::optional<Range> rangeFrom(const QByteArray &header);
    static size_t onHeaderLine(char *line, size_t size, size_t count, void *reply);
    static size_t onBody(char *data, size_t size, size_t count, void *reply);

    void onTurn() override;
    void onEnded(CURLcode code) override;

    void begin();
    void prepareHandle();
    void prepareLogin();
    void prepareProxy();
    void prepareRange();
    void askForAll();
    void leaveLoop();

    void onBegun();
    void tellHead();
    void tellData();
    void tellNotSatisfiable();
    size_t take(const char *data, size_t size);
    bool hasRoomFor(qint64 size) const;
    void resumeLater();
    void resume();

    bool isBehindEnd() const;
    qint64 announcedLength() const;
    QByteArray lastModified() const;
    bool isWhole() const;
    void failWith(CURLcode code);
    void endWith(NetworkError code, const QString &text);
    void finish();

    const Login m_login;
    const QNetworkProxy m_proxy;
    const QSharedPointer<FtpLoop> m_loop;
    std::unique_ptr<curl_slist, ListDelete> m_questions; ///< asked before the transfer begins
    std::unique_ptr<CURL, HandleDelete> m_handle;
    QByteArray m_errorText; ///< libcurl writes here
    std::optional<Range> m_range;

    FtpDialogue m_dialogue;
    bool m_isHeadTold = false;
    QByteArray m_buffer; ///< received, not read
    qint64 m_received = 0;
    qint64 m_told = 0; ///< of these, by readyRead
    bool m_isPaused = false;
    bool m_isResumeDue = false;
};
