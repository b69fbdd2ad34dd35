// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/transferhub.h>
#include <host/network/transfermanager.h>
#include <tests/support/ftpserver.h>
#include <tests/support/testfiles.h>
#include <tests/unit/host/network/replyrecorder.h>

#include <QByteArray>
#include <QNetworkReply>
#include <QObject>
#include <QStringList>
#include <QUrl>

#include <memory>

/// What tests of FTP transfers begin with: a server with a file, and a manager.
class FtpTransferBench : public QObject
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

    using Recorder = ReplyRecorder;

    static inline const QStringList kWholeAnswer = Recorder::wholeAnswer();
    static QStringList failureWith(Error code) { return Recorder::failureWith(code); }

    QNetworkReply *get(const QUrl &url, const QByteArray &range = {});
    QNetworkReply *get(const QString &name, const QByteArray &range = {}) { return get(m_server->url(name), range); }
    static QByteArray content(qint64 from, qint64 length) { return TestFiles::content(kSeed, from, length); }

    std::unique_ptr<FtpServer> m_server;
    std::shared_ptr<TransferHub> m_hub;
    std::unique_ptr<TransferManager> m_manager;
};
