// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/engine.h>

class QLocalSocket;
class QProcess;

/// An engine in another process, which this one starts and which ends with it: commands, news and lines of its log are
/// lines of JSON on a local socket. What a front end's process needs of an engine that is not its own is all here.
class RemoteEngine : public Engine
{
    Q_OBJECT

public:
    /// @param program serves a LocalEngine at the socket whose name it is given
    explicit RemoteEngine(const QString &program, QObject *parent = nullptr);
    ~RemoteEngine() override;

    qint64 processId() const;
    /// Closes what connects the two and waits for the process. It has not where something else ended it, as an assert
    /// of its own, or a signal.
    bool hasEndedWell();

protected:
    void transmit(const EngineCommand &command) override;

private:
    void onReadyRead();
    void refuseRest();
    void onGone();

    QProcess *m_process; ///< a child
    QLocalSocket *m_socket; ///< likewise
};
