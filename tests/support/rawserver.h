// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/listenerthread.h>

#include <QByteArray>
#include <QList>
#include <QUrl>

#include <memory>

class RawBook;

/// Bytes as they go out, and what becomes of the connection behind them. A filling of one byte repeated, which is never
/// in memory as a whole, may stand within them.
struct RawAnswer {
    enum class End {
        Close, ///< as after a complete answer
        Reset, ///< once the far side has them
        KeepOpen, ///< and the next request on it is answered
    };

    QByteArray bytes;
    End end = End::Close;
    /// How many go out at once; 0: all.
    qsizetype piece = 0;
    /// So many times `filling`, before the byte of number `fillAt` of `bytes`.
    qint64 fillSize = 0;
    qsizetype fillAt = 0;
    char filling = 'x';

    qint64 size() const { return bytes.size() + fillSize; }
    QByteArray mid(qint64 offset, qint64 length) const;
};

/// A server on 127.0.0.1 that sends bytes as they were given to it, whatever they mean, in a thread of its own. What it
/// sends depends on the first segment of the path that is asked for: "/key/name" gets the answers of "key".
///
/// Everything may be called from the test's thread at any time.
class RawServer
{
public:
    RawServer();

    /// False when no port could be opened.
    bool isListening() const { return m_listener.port() != 0; }
    /// `key` and `name` are plain letters, digits, dots.
    QUrl url(const QByteArray &key, const QByteArray &name) const;

    /// The first request gets the first one, and so on; a 404 is what follows the last.
    void setAnswers(const QByteArray &key, const QList<RawAnswer> &answers);
    /// Sent on every connection as it is made, before a request; its requests are answered no more.
    void setGreeting(const RawAnswer &answer);

private:
    std::shared_ptr<RawBook> m_book;
    ListenerThread m_listener;

    Q_DISABLE_COPY_MOVE(RawServer)
};
