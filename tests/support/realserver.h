// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

class TestCa;

/// A server program of the machine, run in the foreground on free ports of 127.0.0.1 (http, and https with a TestCa's
/// certificate) with all its files in a temporary folder. It ends with this object, and with the test program however
/// that ends. Works as root and as an ordinary user.
class RealServer
{
public:
    enum class Scheme { Http, Https };

    struct LogEntry {
        QByteArray method;
        QByteArray target;
        int status = 0;
        /// Bytes of the body that were sent.
        qint64 bytes = 0;
        /// Value of the request's Range header; "-" when it had none.
        QByteArray range;
        /// Value of its User-Agent header, likewise.
        QByteArray agent;
    };

    static constexpr int kPatienceMs = 30000;

    virtual ~RealServer();

    /// True when the server answers. Otherwise errorText() says why not. The authority must outlive this object.
    bool start(const TestCa &ca);
    void stop();
    QString errorText() const;

    /// The folder that is served as "/".
    QString folder() const;
    /// Puts TestFiles::content(seed, 0, size) into the folder.
    bool addFile(const QString &name, quint64 seed, qint64 size);
    QUrl url(const QString &path, Scheme scheme = Scheme::Http) const;

    /// A line for every request that has ended, in the order in which they ended.
    QByteArray accessLog() const;
    QList<LogEntry> logEntries() const;
    QList<LogEntry> logEntriesOf(const QByteArray &agent) const;

protected:
    RealServer();

    struct Places {
        QString home; ///< everything that is not served
        QString folder;
        QString accessLog;
        QString readyFolder; ///< to be served as "/.ready/"
        quint16 httpPort = 0;
        quint16 httpsPort = 0;
    };
    virtual QString program() const = 0;
    virtual QStringList arguments(const QString &configFile) const = 0;
    virtual QByteArray configuration(const Places &places, const TestCa &ca) const = 0;
    /// Makes a server that keeps its log in memory write it.
    virtual void flushLog() const;

    qint64 processId() const;

private:
    bool startOnce(const TestCa &ca);
    bool prepareFolders();
    bool waitUntilReady();
    bool answersItself() const;

    QTemporaryDir m_dir;
    QProcess m_process;
    Places m_places;
    QByteArray m_token;
    QString m_errorText;

    Q_DISABLE_COPY_MOVE(RealServer)
};
