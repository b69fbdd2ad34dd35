// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/sharedcookiejar.h>
#include <host/network/transferhub.h>
#include <host/network/transferloop.h>
#include <host/network/transfermanager.h>
#include <host/network/transferreply.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>
#include <tests/unit/host/network/replyrecorder.h>

#include <QByteArray>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>
#include <QUrl>

#include <memory>

/// What tests of transfers begin with: a server with a file, a manager, and a loop whose memory can be looked at.
class TransferBench : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUp(); }
    void cleanup() { tearDown(); }

protected:
    using Recorder = ReplyRecorder;
    using Error = QNetworkReply::NetworkError;
    using Reply = std::unique_ptr<QNetworkReply>;

    static constexpr quint64 kSeed = 7;
    static constexpr qint64 kSize = 300 * 1024;

    virtual void setUp();
    virtual void tearDown();

    QNetworkRequest request(const QByteArray &path = "/file", const QByteArray &range = {}) const;
    Reply get(const QByteArray &path = "/file", const QByteArray &range = {});
    /// Over the means and the loop of this bench.
    std::unique_ptr<TransferReply> getDirectly(const QByteArray &path = "/file");
    /// "/file" is answered so far, the rest waits for the server's gate.
    void holdFileAfter(qint64 size);
    static QByteArray content(qint64 from = 0, qint64 length = -1);
    static int statusOf(const QNetworkReply &reply);

    std::unique_ptr<ScriptedServer> m_server;
    QSharedPointer<SharedCookieJar> m_jar;
    std::shared_ptr<TransferHub> m_hub;
    std::unique_ptr<TransferManager> m_manager;
    std::shared_ptr<TransferMeans> m_means;
    std::shared_ptr<TransferLoop> m_loop;
};
