// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/certificateproblem.h>
#include <host/network/receivebuffer.h>
#include <host/network/transferbudget.h>

#include <QByteArray>
#include <QList>
#include <QNetworkReply>
#include <QString>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

/// Memory and bounds that all transfers share. Outlives them.
struct TransferMeans {
    BlockPool pool;
    TransferBudget budget;
};

/// The border between the network thread and a reply's thread: what is known of an answer goes in on one side, and
/// comes out on the other.
///
///     network thread: putHead() once, putBody() …, putEnd() once
///     reply's thread: setNews(), takeHead() once, read() or takeBlock() …, end()
///
/// News are told by one call for all that came since the last one was acted upon. A full pipe says so to the writing
/// side, which then pauses; wantsMore() says to the reading side, once, that it has room again. Thread-safe.
class TransferPipe
{
    Q_DISABLE_COPY_MOVE(TransferPipe)

public:
    struct Head {
        int status = 0;
        QByteArray reason;
        QList<QNetworkReply::RawHeaderPair> fields; ///< no name twice
        QList<QByteArray> cookies; ///< values of Set-Cookie, one a line
        bool isEncrypted = false;
        bool isEndKnown = true; ///< it says itself where its body ends, not only the connection
    };
    struct End {
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        QString text; ///< empty where there is no error
        QList<CertificateProblem> problems; ///< why a certificate was refused
        QByteArray certificate; ///< the refused one, DER
    };

    explicit TransferPipe(std::shared_ptr<TransferMeans> means);

    // Network thread

    void putHead(const Head &head);
    /// False when there is no room for more; all of @p data was taken all the same.
    bool putBody(QByteArrayView data);
    /// There is no more at the moment: what came is news now, however little it is.
    void tellBody();
    void putEnd(const End &end);

    // The reply's thread

    /// @param news called in any thread, with the pipe locked: it may only pass the word on. Null = nobody listens.
    void setNews(std::function<void()> news);
    /// The next news deserve a call again. Before they are looked at.
    void acknowledge();
    /// The head, once.
    std::optional<Head> takeHead();
    /// The head has been told to whoever wants it: until then little more than nothing is received.
    void headIsTold();
    /// Bytes received and not read.
    qint64 size() const;
    /// Once nothing more comes.
    std::optional<End> end() const;
    qint64 read(char *data, qint64 maxSize);
    /// See ReceiveBuffer::takeFront().
    QByteArray takeBlock(qint64 maxSize);
    /// Bytes that may lie here unread; 0 = as many as there is memory for.
    void setWindow(qint64 size);
    /// Bytes that are read in a second; no more than that is received ahead. 0 = no limit.
    void setLimit(qint64 bytes);
    void clear();
    /// True, once, when the writing side has paused and may go on.
    bool wantsMore();

private:
    qint64 capacity() const;
    void tell();

    const std::shared_ptr<TransferMeans> m_means;
    mutable std::mutex m_mutex;
    ReceiveBuffer m_buffer;
    std::function<void()> m_news;
    bool m_newsAreOnTheirWay = false;
    std::optional<Head> m_head;
    bool m_isHeadTold = false;
    std::optional<End> m_end;
    qint64 m_window = 0;
    qint64 m_limit = 0;
    qint64 m_untold = 0; ///< bytes since the last news
    bool m_hasBody = false; ///< some of it came
    bool m_isPaused = false;
};
