// SPDX-License-Identifier: MIT
#include <tests/support/pacedserver.h>

#include <QList>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <utility>

#include <sys/socket.h>

namespace
{
constexpr qint64 kHighWater = 131072;
constexpr qsizetype kLargePiece = 65536;
/// Nobody else may come any more.
constexpr int kLongestStallMs = 200;

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
}

/// Sends answer upon answer as each wants to be sent. Deletes itself.
class PacedConnection : public QObject
{
    Q_OBJECT

public:
    PacedConnection(PacedServer::Answers answers, QTcpSocket *socket, int number, QObject *parent)
        : QObject(parent)
        , m_answers(std::move(answers))
        , m_socket(socket)
        , m_number(number)
        , m_pauses(quint32(number))
    {
        socket->setParent(this);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        m_turn.setSingleShot(true);
        m_turn.setTimerType(Qt::PreciseTimer);
        m_stall.setSingleShot(true);
        connect(&m_turn, &QTimer::timeout, this, &PacedConnection::pump);
        connect(&m_stall, &QTimer::timeout, this, &PacedConnection::goOn);
        connect(socket, &QTcpSocket::readyRead, this, &PacedConnection::onReadyRead);
        connect(socket, &QTcpSocket::bytesWritten, this, &PacedConnection::onWritten);
        connect(socket, &QTcpSocket::disconnected, this, &PacedConnection::onGone);
    }

    ~PacedConnection() override { m_socket->disconnect(this); }

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
        ScriptedRequest request = requestFrom(m_input.left(end));
        request.connection = m_number;
        m_input.remove(0, end + 4);
        m_answer = m_answers(request, m_answered > 0);
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
        m_isSending = m_answer.end != PacedAnswer::End::KeepOpen;
        switch (m_answer.end) {
        case PacedAnswer::End::KeepOpen:
            answerNext();
            break;
        case PacedAnswer::End::Close:
            m_socket->disconnectFromHost();
            break;
        case PacedAnswer::End::Reset:
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

    PacedServer::Answers m_answers;
    QTcpSocket *m_socket;
    const int m_number;
    QRandomGenerator m_pauses;
    QTimer m_turn;
    QTimer m_stall;
    QByteArray m_input;
    PacedAnswer m_answer;
    qsizetype m_sent = 0;
    int m_answered = 0;
    bool m_isSending = false;
    bool m_isStalled = false;
};

class PacedListener : public QTcpServer
{
    Q_OBJECT

public:
    explicit PacedListener(PacedServer::Answers answers)
        : m_answers(std::move(answers))
    {
        setListenBacklogSize(1000);
    }

protected:
    void incomingConnection(qintptr handle) override
    {
        const QList<PacedConnection *> others = findChildren<PacedConnection *>(Qt::FindDirectChildrenOnly);
        for (PacedConnection *const other : others) {
            other->goOn();
        }
        auto *socket = new QTcpSocket;
        socket->setSocketDescriptor(handle);
        new PacedConnection(m_answers, socket, ++m_connections, this);
    }

private:
    PacedServer::Answers m_answers;
    int m_connections = 0;
};

PacedServer::PacedServer(const Answers &answers)
    : m_listener(new PacedListener(answers))
{
}

#include "pacedserver.moc"
