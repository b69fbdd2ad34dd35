// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/networkaccesschief.h>
#include <tests/support/scriptedproxy.h>
#include <tests/support/scriptedserver.h>

#include <QList>
#include <QNetworkReply>
#include <QObject>
#include <QSharedPointer>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>

/// What tests of credentials begin with: a chief that knows nothing yet, two servers with a file each, and a proxy.
class CredentialsBench : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

protected:
    using Reply = std::unique_ptr<QNetworkReply>;

    static inline const ScriptedResponse kContent = ScriptedResponse::ok("content");

    /// Its manager lives on, as a transfer keeps its own.
    Reply get(const QUrl &url, const QList<QPair<QByteArray, QByteArray>> &headers = {});
    Reply post(const QUrl &url, const QByteArray &body);
    static bool waitForEnd(const Reply &reply);
    bool apply(const NetworkOptions &options);
    static NetworkOptions loginOption(const QString &user, const QString &password);
    /// A file of the test's own, for its owner alone. Gives its path.
    QString write(const QString &name, const QByteArray &text);

    QTemporaryDir m_dir;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<ScriptedServer> m_other;
    std::unique_ptr<ScriptedProxy> m_proxy;
    std::unique_ptr<NetworkAccessChief> m_chief;
    QList<QSharedPointer<QNetworkAccessManager>> m_managers;
    QUrl m_url;
    QUrl m_otherUrl;
};
