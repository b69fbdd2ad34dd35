// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A server program of the machine, run in the foreground on free ports of 127.0.0.1 with all that it writes in a
/// temporary folder. It ends with this object, and with the test program however that ends. Works as root and as an
/// ordinary user.
class ServerProcess
{
public:
    static constexpr int kPatienceMs = 30000;

    virtual ~ServerProcess();

    void stop();
    /// Why it did not start.
    QString errorText() const { return m_errorText; }
    /// What it has written to its standard output and error up to now.
    QByteArray output() const;

protected:
    /// As whom it runs where root starts it. Some refuse to be root, and those that change who they are by themselves
    /// would no longer end with the test program.
    enum class User { Starter, Nobody };

    explicit ServerProcess(User user = User::Starter);

    /// True when it is ready. Otherwise errorText() says why not.
    bool launch();

    virtual QString program() const = 0;
    virtual QStringList arguments(const QString &configFile) const = 0;
    /// For the ports of this start.
    virtual QByteArray configurationText() = 0;
    /// By default: it listens at its first port.
    virtual bool isReady() const;

    /// The folder that holds everything.
    QString folder() const { return m_dir.path(); }
    /// Everything that is not served.
    QString home() const;
    quint16 firstPort() const { return m_firstPort; }
    quint16 secondPort() const { return m_secondPort; }
    qint64 processId() const { return m_process.processId(); }

    static bool writeText(const QString &path, const QByteArray &text);

private:
    bool launchOnce();
    bool waitUntilReady();

    QTemporaryDir m_dir;
    mutable QProcess m_process;
    mutable QByteArray m_output;
    quint16 m_firstPort = 0;
    quint16 m_secondPort = 0;
    QString m_errorText;

    Q_DISABLE_COPY_MOVE(ServerProcess)
};
