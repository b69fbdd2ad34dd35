// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

/// A real FTP server (pyftpdlib) on a free port of 127.0.0.1, which serves a temporary folder to anybody and to the
/// user "tester" with the password "geheim:@/". It ends with this object, and with the test program however that ends.
class FtpServer
{
public:
    static constexpr int kPatienceMs = 30000;

    FtpServer();
    ~FtpServer();

    /// Otherwise errorText() says why not.
    bool isListening() const { return m_port != 0; }
    QString errorText() const { return m_errorText; }
    /// At once, in the middle of everything.
    void kill();

    /// "tester" and the password, as they stand in a URL.
    static QString tester() { return QStringLiteral("tester:geheim%3A%40%2F"); }
    /// @param path with its first slash
    QUrl url(const QString &path, const QString &userInfo = {}) const;
    QString path(const QString &name) const;
    /// Puts TestFiles::content(seed, 0, size) into the folder.
    bool addFile(const QString &name, quint64 seed, qint64 size);

    /// Bytes a second and transfer, for those that begin later; 0 = as fast as it goes.
    void setRate(qint64 rate) { order("rate " + QByteArray::number(rate)); }
    /// Commands that it does not know from now on, with commas: "SIZE,REST".
    void setWithout(const QByteArray &commands) { order("without " + commands); }
    /// Later transfers end after so many bytes, and are said to be complete.
    void setShort(qint64 size) { order("short " + QByteArray::number(size)); }
    /// It never again says with which a transfer was complete.
    void setMute() { order("mute 226"); }

    /// What was said to it, in order, as "COMMAND argument".
    QByteArrayList commands() const;
    /// Those of that name.
    QByteArrayList commands(const QByteArray &name) const;
    /// Control connections so far, and how many are open.
    int connectionsCount() const { return int(lines(" open").size()); }
    int openConnectionsCount() const { return connectionsCount() - int(lines(" closed").size()); }

private:
    /// Returns when it is obeyed.
    void order(const QByteArray &text);
    bool waitForLine(const QByteArray &beginning);
    QByteArrayList lines(const QByteArray &end) const;
    QByteArrayList allLines() const;

    QTemporaryDir m_dir;
    mutable QProcess m_process;
    mutable QByteArray m_output;
    QString m_errorText;
    int m_port = 0;
    int m_orders = 0;

    Q_DISABLE_COPY_MOVE(FtpServer)
};
