// SPDX-License-Identifier: MIT
#include <tests/support/rawserver.h>

#include <QHash>
#include <QMutex>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <optional>
#include <utility>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace
{
constexpr qint64 kHighWater = 262144;
constexpr qint64 kLargePiece = 65536;
constexpr int kLookAgainMs = 1;

RawAnswer nothingMore()
{
    return {"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"};
}

QByteArray keyOf(const QByteArray &request)
{
    const QByteArray path = request.left(request.indexOf("\r\n")).split(' ').value(1);
    return path.split('/').value(1);
}
}

QByteArray RawAnswer::mid(qint64 offset, qint64 length) const
{
    const qint64 fillEnd = fillAt + fillSize;
    QByteArray part;
    while (length > part.size() && offset + part.size() < size()) {
        const qint64 at = offset + part.size();
        const qint64 missing = length - part.size();
        if (at < fillAt) {
            part += bytes.mid(at, std::min(missing, fillAt - at));
        } else if (at < fillEnd) {
            part += QByteArray(std::min(missing, fillEnd - at), filling);
        } else {
            part += bytes.mid(at - fillSize, missing);
        }
    }
    return part;
}

/// What the server and its connections share; any thread may call.
class RawBook
{
public:
    void setAnswers(const QByteArray &key, const QList<RawAnswer> &answers)
    {
        const QMutexLocker lock(&m_mutex);
        m_answers.insert(key, answers);
    }

    void setGreeting(const RawAnswer &answer)
    {
        const QMutexLocker lock(&m_mutex);
        m_greeting = answer;
    }

    std::optional<RawAnswer> greeting() const
    {
        const QMutexLocker lock(&m_mutex);
        return m_greeting;
    }

    RawAnswer take(const QByteArray &key)
    {
        const QMutexLocker lock(&m_mutex);
        const auto found = m_answers.find(key);
        return found == m_answers.end() || found->isEmpty() ? nothingMore() : found->takeFirst();
    }

private:
    mutable QMutex m_mutex;
    QHash<QByteArray, QList<RawAnswer>> m_answers;
    std::optional<RawAnswer> m_greeting;
};

/// One connection: reads a request, sends the answer piece by piece, ends as it says. Deletes itself.
class RawConnection : public QObject
{
    Q_OBJECT

public:
    RawConnection(std::shared_ptr<RawBook> book, QTcpSocket *socket, QObject *parent)
        : QObject(parent)
        , m_book(std::move(book))
        , m_socket(socket)
    {
        socket->setParent(this);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        m_turn.setSingleShot(true);
        connect(&m_turn, &QTimer::timeout, this, &RawConnection::pump);
        connect(socket, &QTcpSocket::readyRead, this, &RawConnection::onReadyRead);
        connect(socket, &QTcpSocket::bytesWritten, this, &RawConnection::pump);
        connect(socket, &QTcpSocket::disconnected, this, &QObject::deleteLater);
        if (const std::optional<RawAnswer> greeting = m_book->greeting()) {
            begin(*greeting);
        }
    }

    ~RawConnection() override { m_socket->disconnect(this); }

private:
    void onReadyRead()
    {
        m_input += m_socket->readAll();
        answerNext();
    }

    void answerNext()
    {
        const qsizetype end = m_input.indexOf("\r\n\r\n");
        if (m_isSending || end < 0) {
            return;
        }
        const QByteArray request = m_input.left(end);
        m_input.remove(0, end + 4);
        begin(m_book->take(keyOf(request)));
    }

    void begin(const RawAnswer &answer)
    {
        m_answer = answer;
        m_sent = 0;
        m_isSending = true;
        m_turn.start(0);
    }

    void pump()
    {
        const bool inPieces = m_answer.piece > 0;
        while (m_isSending && m_sent < m_answer.size() && m_socket->bytesToWrite() < kHighWater) {
            const QByteArray next = m_answer.mid(m_sent, inPieces ? m_answer.piece : kLargePiece);
            m_sent += next.size();
            m_socket->write(next);
            m_socket->flush();
            if (inPieces) {
                m_turn.start(0);
                return;
            }
        }
        if (m_isSending && m_sent == m_answer.size() && m_socket->bytesToWrite() == 0) {
            finish();
        }
    }

    void finish()
    {
        if (m_answer.end == RawAnswer::End::Reset && hasUnacknowledged()) {
            m_turn.start(kLookAgainMs);
            return;
        }
        m_isSending = m_answer.end != RawAnswer::End::KeepOpen;
        switch (m_answer.end) {
        case RawAnswer::End::KeepOpen:
            answerNext();
            break;
        case RawAnswer::End::Reset:
            reset();
            break;
        case RawAnswer::End::Close:
            m_socket->disconnectFromHost();
            break;
        }
    }

    /// What the far side does not have yet would be lost with a reset.
    bool hasUnacknowledged() const
    {
        int bytes = 0;
        ioctl(int(m_socket->socketDescriptor()), SIOCOUTQ, &bytes);
        return bytes > 0;
    }

    void reset()
    {
        const linger none{1, 0};
        setsockopt(int(m_socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
        m_socket->abort();
        deleteLater();
    }

    std::shared_ptr<RawBook> m_book;
    QTcpSocket *m_socket;
    QTimer m_turn;
    QByteArray m_input;
    RawAnswer m_answer;
    qint64 m_sent = 0;
    bool m_isSending = false;
};

class RawListener : public QTcpServer
{
    Q_OBJECT

public:
    explicit RawListener(std::shared_ptr<RawBook> book)
        : m_book(std::move(book))
    {
    }

protected:
    void incomingConnection(qintptr handle) override
    {
        auto *socket = new QTcpSocket;
        socket->setSocketDescriptor(handle);
        new RawConnection(m_book, socket, this);
    }

private:
    std::shared_ptr<RawBook> m_book;
};

RawServer::RawServer()
    : m_book(std::make_shared<RawBook>())
    , m_listener(new RawListener(m_book))
{
}

QUrl RawServer::url(const QByteArray &key, const QByteArray &name) const
{
    return QUrl(
        QString::fromLatin1("http://127.0.0.1:" + QByteArray::number(m_listener.port()) + '/' + key + '/' + name));
}

void RawServer::setAnswers(const QByteArray &key, const QList<RawAnswer> &answers)
{
    m_book->setAnswers(key, answers);
}

void RawServer::setGreeting(const RawAnswer &answer)
{
    m_book->setGreeting(answer);
}

#include "rawserver.moc"
