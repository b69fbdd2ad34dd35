// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/serverprocess.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

class TestCa;

/// A server program of the machine that serves a folder, over http and, with a TestCa's certificate, over https.
class RealServer : public ServerProcess
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

    /// True when the server answers. Otherwise errorText() says why not. The authority must outlive this object.
    bool start(const TestCa &ca);
    /// From the next start on it shows `<stem>.pem`, whose key is `<stem>.key`, in place of the authority's usual one.
    void setCertificate(const QString &stem) { m_certificateStem = stem; }

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
        QString certificate; ///< PEM files
        QString key;
        QString readyFolder; ///< to be served as "/.ready/"
        quint16 httpPort = 0;
        quint16 httpsPort = 0;
    };
    virtual QByteArray configuration(const Places &places, const TestCa &ca) const = 0;
    /// Makes a server that keeps its log in memory write it.
    virtual void flushLog() const;

private:
    QByteArray configurationText() override;
    bool isReady() const override;
    bool prepareFolders();

    const TestCa *m_ca = nullptr;
    Places m_places;
    QString m_certificateStem;
    QByteArray m_token;

    Q_DISABLE_COPY_MOVE(RealServer)
};
