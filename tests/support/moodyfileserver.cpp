// SPDX-License-Identifier: MIT
#include <tests/support/moodyfileserver.h>

#include <QHash>
#include <QMutex>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr qint64 kHighWater = 131072;
constexpr qsizetype kLargePiece = 65536;
/// Nobody else may come any more.
constexpr int kLongestStallMs = 200;
constexpr int kPercentFaulty = 40;

ScriptedRequest requestFrom(const QByteArray &text)
{
    ScriptedRequest request;
    const QList<QByteArray> lines = text.split('\n');
    const QList<QByteArray> words = lines.first().trimmed().split(' ');
    request.method = words.value(0);
    request.target = words.value(1);
    request.version = words.value(2);
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines.at(i).indexOf(':');
        request.headers.append({lines.at(i).left(colon).trimmed(), lines.at(i).mid(colon + 1).trimmed()});
    }
    return request;
}

QString lineFor(const ScriptedRequest &request, const MoodyAnswer &answer, int connection)
{
    const QByteArray range = request.header("Range");
    const QByteArray head = answer.bytes.left(answer.bytes.indexOf("\r\n\r\n", answer.bytes.lastIndexOf("HTTP/1.")));
    const QString end = answer.end == MoodyAnswer::End::KeepOpen ? u"keep"_s
        : answer.end == MoodyAnswer::End::Close                  ? u"close"_s
                                                                 : u"reset"_s;
    return u"#%1 %2 %3%4 -> %5%6 bytes, %7: %8"_s.arg(
        QString::number(connection), QString::fromLatin1(request.target), QString::fromLatin1(range),
        request.hasHeader("Authorization") ? u" with login"_s : QString(), answer.isFaulty ? u"FAULT "_s : QString(),
        QString::number(answer.bytes.size()), end, QString::fromLatin1(head.left(400)).replace(u"\r\n"_s, u" | "_s));
}
}

class MoodyBook
{
public:
    MoodyAnswer take(const ScriptedRequest &request, bool isReused, int connection)
    {
        const QMutexLocker lock(&m_mutex);
        const quint64 seed = request.path().split('/').value(1).toULongLong();
        const MoodyFile file(seed);
        Entry &entry = m_entries[seed];
        QRandomGenerator chance(quint32(seed) * 40503U + quint32(entry.log.requests) + 1);
        const bool mayFail = !entry.isSound && entry.log.faults < file.mostFaults();
        const MoodyAnswer answer = mayFail && chance.bounded(100) < kPercentFaulty
            ? file.faultyAnswer(request, isReused, chance)
            : file.soundAnswer(request, chance);
        ++entry.log.requests;
        entry.log.faults += int(answer.isFaulty);
        entry.log.lines.append(lineFor(request, answer, connection));
        return answer;
    }

    void soothe(quint64 seed)
    {
        const QMutexLocker lock(&m_mutex);
        m_entries[seed].isSound = true;
    }

    MoodyFileServer::Log log(quint64 seed) const
    {
        const QMutexLocker lock(&m_mutex);
        return m_entries.value(seed).log;
    }

    void forget(quint64 seed)
    {
        const QMutexLocker lock(&m_mutex);
        m_entries.remove(seed);
    }

private:
    struct Entry {
        MoodyFileServer::Log log;
        bool isSound = false;
    };

    mutable QMutex m_mutex;
    QHash<quint64, Entry> m_entries;
};

/// Sends answer upon answer as each wants to be sent. Deletes itself.
class MoodyConnection : public QObject
{
    Q_OBJECT

public:
    MoodyConnection(std::shared_ptr<MoodyBook> book, QTcpSocket *socket, int number, QObject *parent)
        : QObject(parent)
        , m_book(std::move(book))
        , m_socket(socket)
        , m_number(number)
        , m_pauses(quint32(number))
    {
        socket->setParent(this);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        m_turn.setSingleShot(true);
        m_turn.setTimerType(Qt::PreciseTimer);
        m_stall.setSingleShot(true);
        connect(&m_turn, &QTimer::timeout, this, &MoodyConnection::pump);
        connect(&m_stall, &QTimer::timeout, this, &MoodyConnection::goOn);
        connect(socket, &QTcpSocket::readyRead, this, &MoodyConnection::onReadyRead);
        connect(socket, &QTcpSocket::bytesWritten, this, &MoodyConnection::onWritten);
        connect(socket, &QTcpSocket::disconnected, this, &MoodyConnection::onGone);
    }

    ~MoodyConnection() override { m_socket->disconnect(this); }

    /// Ends a stall.
    void goOn()
    {
        if (m_isStalled) {
            m_isStalled = false;
            m_answer.stallsAt = -1;
            m_turn.start(0);
        }
    }

private:
    void onReadyRead()
    {
        m_input += m_socket->readAll();
        answerNext();
    }

    void onWritten()
    {
        if (!m_turn.isActive()) {
            pump();
        }
    }

    void onGone()
    {
        m_isSending = false;
        deleteLater();
    }

    void answerNext()
    {
        const qsizetype end = m_input.indexOf("\r\n\r\n");
        if (m_isSending || end < 0) {
            return;
        }
        const ScriptedRequest request = requestFrom(m_input.left(end));
        m_input.remove(0, end + 4);
        m_answer = m_book->take(request, m_answered > 0, m_number);
        ++m_answered;
        m_sent = 0;
        m_isSending = true;
        m_turn.start(0);
    }

    void pump()
    {
        while (m_isSending && !m_isStalled && m_sent < m_answer.bytes.size() && m_socket->bytesToWrite() < kHighWater) {
            sendPiece();
            if (m_answer.piece > 0) {
                m_turn.start(m_pauses.bounded(m_answer.longestPauseMs + 1));
                return;
            }
        }
        if (m_isSending && !m_isStalled && m_sent == m_answer.bytes.size() && m_socket->bytesToWrite() == 0) {
            finish();
        }
    }

    void sendPiece()
    {
        qsizetype size = m_answer.piece > 0 ? m_answer.piece : kLargePiece;
        if (m_answer.stallsAt >= m_sent) {
            size = std::min(size, m_answer.stallsAt - m_sent);
        }
        const QByteArray next = m_answer.bytes.mid(m_sent, size);
        m_sent += next.size();
        m_socket->write(next);
        m_socket->flush();
        if (m_answer.stallsAt == m_sent) {
            m_isStalled = true;
            m_stall.start(kLongestStallMs);
        }
    }

    void finish()
    {
        m_isSending = m_answer.end != MoodyAnswer::End::KeepOpen;
        switch (m_answer.end) {
        case MoodyAnswer::End::KeepOpen:
            answerNext();
            break;
        case MoodyAnswer::End::Close:
            m_socket->disconnectFromHost();
            break;
        case MoodyAnswer::End::Reset:
            reset();
            break;
        }
    }

    void reset()
    {
        const linger none{1, 0};
        setsockopt(int(m_socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
        m_socket->abort();
        deleteLater();
    }

    std::shared_ptr<MoodyBook> m_book;
    QTcpSocket *m_socket;
    const int m_number;
    QRandomGenerator m_pauses;
    QTimer m_turn;
    QTimer m_stall;
    QByteArray m_input;
    MoodyAnswer m_answer;
    qsizetype m_sent = 0;
    int m_answered = 0;
    bool m_isSending = false;
    bool m_isStalled = false;
};

class MoodyListener : public QTcpServer
{
    Q_OBJECT

public:
    explicit MoodyListener(std::shared_ptr<MoodyBook> book)
        : m_book(std::move(book))
    {
        setListenBacklogSize(1000);
    }

protected:
    void incomingConnection(qintptr handle) override
    {
        const QList<MoodyConnection *> others = findChildren<MoodyConnection *>(Qt::FindDirectChildrenOnly);
        for (MoodyConnection *const other : others) {
            other->goOn();
        }
        auto *socket = new QTcpSocket;
        socket->setSocketDescriptor(handle);
        new MoodyConnection(m_book, socket, ++m_connections, this);
    }

private:
    std::shared_ptr<MoodyBook> m_book;
    int m_connections = 0;
};

MoodyFileServer::MoodyFileServer()
    : m_book(std::make_shared<MoodyBook>())
    , m_listener(new MoodyListener(m_book))
{
}

QUrl MoodyFileServer::url(const MoodyFile &file) const
{
    return QUrl(QString::fromLatin1("http://127.0.0.1:" + QByteArray::number(m_listener.port()) + file.path()));
}

void MoodyFileServer::soothe(quint64 seed)
{
    m_book->soothe(seed);
}

MoodyFileServer::Log MoodyFileServer::log(quint64 seed) const
{
    return m_book->log(seed);
}

void MoodyFileServer::forget(quint64 seed)
{
    m_book->forget(seed);
}

#include "moodyfileserver.moc"
