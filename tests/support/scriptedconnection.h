// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/scriptedrequest.h>
#include <tests/support/scriptedresponse.h>

#include <QObject>
#include <QSslConfiguration>
#include <QTimer>

#include <memory>
#include <optional>

class QTcpSocket;
class ScriptBook;

/// One connection of a ScriptedServer.
///
///     Reading -> (request complete) -> AtHeadGate -> Sending -> Reading     when the answer leaves the connection open
///                                                            -> Closing     when it does not, or is cut
///
/// Lives in the server's thread; deletes itself when the far side has gone or the last byte has left.
class ScriptedConnection : public QObject
{
    Q_OBJECT

public:
    /// Takes the socket over.
    ScriptedConnection(std::shared_ptr<ScriptBook> book, QTcpSocket *socket, QObject *parent);
    ~ScriptedConnection() override;

    void startTls(const QSslConfiguration &tls);
    /// A gate may have opened.
    void resume();

private:
    enum class State {
        Reading,
        AtHeadGate,
        Sending,
        Closing,
    };

    void onReadyRead();
    void onDisconnected();
    void onBytesWritten();
    void onRateTick();

    void readRequest();
    bool takeHead(qsizetype headEnd);
    void answer();
    void sendHead();
    QByteArray headBytes() const;
    void applyRange();

    void pump();
    bool isHeld();
    void setHeldAt(const std::optional<QString> &gate);
    qint64 nextPieceSize() const;
    void sendPiece(qint64 size);
    qint64 lastByte() const;
    void finishAnswer();
    void closeWhenWritten();
    bool hasUnwrittenBytes() const;

    std::shared_ptr<ScriptBook> m_book;
    QTcpSocket *m_socket;
    QTimer m_rateTimer;
    State m_state = State::Reading;
    int m_number = 0;

    QByteArray m_input;
    ScriptedRequest m_request;
    qint64 m_bodyMissing = -1; // of the request; -1: its head is not complete

    ScriptedResponse m_response;
    QByteArray m_contentRange;
    qint64 m_first = 0; // where in the file the answer's body begins
    qint64 m_length = 0;
    qint64 m_sent = 0;
    qint64 m_allowance = 0; // of a limited rate
    std::optional<QString> m_heldAt;
    bool m_reset = false;

    Q_DISABLE_COPY_MOVE(ScriptedConnection)
};
