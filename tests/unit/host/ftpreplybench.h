// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/guardednetworkaccessmanager.h>
#include <tests/support/ftpserver.h>
#include <tests/support/testfiles.h>

#include <QByteArray>
#include <QNetworkReply>
#include <QObject>
#include <QStringList>
#include <QUrl>

#include <memory>

/// What tests of FTP replies begin with: a server with a file, and a manager.
class FtpReplyBench : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

protected:
    using Error = QNetworkReply::NetworkError;

    static constexpr quint64 kSeed = 21;
    static constexpr qint64 kSize = 307201;
    static constexpr qint64 kLargeSize = 20 * 1024 * 1024;
    static constexpr qint64 kReadBufferSize = 131072;

    /// Everything that a reply tells, in order; reads what comes unless told otherwise.
    class Recorder : public QObject
    {
    public:
        explicit Recorder(QNetworkReply *reply, bool reads = true);

        /// Until the end.
        bool wait() const;

        QStringList events;
        QByteArray body;
    };

    /// What a recorder notes of a file that comes whole.
    static inline const QStringList kWholeAnswer{QStringLiteral("head"), QStringLiteral("data"),
                                                 QStringLiteral("finished")};
    /// What it notes of an error's end.
    static QStringList failureWith(Error code);

    QNetworkReply *get(const QUrl &url, const QByteArray &range = {});
    QNetworkReply *get(const QString &name, const QByteArray &range = {}) { return get(m_server->url(name), range); }
    static QByteArray content(qint64 from, qint64 length) { return TestFiles::content(kSeed, from, length); }

    std::unique_ptr<FtpServer> m_server;
    std::unique_ptr<GuardedNetworkAccessManager> m_manager;
};
