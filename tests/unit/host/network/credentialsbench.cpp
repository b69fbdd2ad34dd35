// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/credentialsbench.h>

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

void CredentialsBench::initTestCase()
{
    for (const char *name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "ftp_proxy", "FTP_PROXY", "all_proxy",
                             "ALL_PROXY", "no_proxy", "NO_PROXY", "NETRC"})
        qunsetenv(name);
    qputenv("HOME", QFile::encodeName(m_dir.path()));
}

void CredentialsBench::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_other = std::make_unique<ScriptedServer>();
    m_proxy = std::make_unique<ScriptedProxy>();
    m_server->setResponse("/file", kContent);
    m_other->setResponse("/file", kContent);
    m_url = m_server->url(u"/file"_s);
    m_otherUrl = m_other->url(u"/file"_s);
    m_chief = std::make_unique<NetworkAccessChief>();
}

void CredentialsBench::cleanup()
{
    m_managers.clear();
    m_chief.reset();
    m_proxy.reset();
    m_server.reset();
    m_other.reset();
}

CredentialsBench::Reply CredentialsBench::get(const QUrl &url, const QList<QPair<QByteArray, QByteArray>> &headers)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    for (const auto &[name, value] : headers)
        request.setRawHeader(name, value);
    m_managers.append(m_chief->takeManager(url));
    return Reply(m_managers.last()->get(request));
}

CredentialsBench::Reply CredentialsBench::post(const QUrl &url, const QByteArray &body)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"text/plain"_s);
    m_managers.append(m_chief->takeManager(url));
    return Reply(m_managers.last()->post(request, body));
}

bool CredentialsBench::waitForEnd(const Reply &reply)
{
    return QTest::qWaitFor([&reply] { return reply->isFinished(); }, ScriptedServer::kPatienceMs);
}

bool CredentialsBench::apply(const NetworkOptions &options)
{
    Failure failure;
    const bool applied = m_chief->apply(options, &failure);
    if (!applied)
        qWarning("%s", qPrintable(failure.plain()));
    return applied;
}

NetworkOptions CredentialsBench::loginOption(const QString &user, const QString &password)
{
    NetworkOptions options;
    options.credentials.append({{}, user, password, {}});
    return options;
}

QString CredentialsBench::write(const QString &name, const QByteArray &text)
{
    QFile file(m_dir.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write a file");
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    return file.fileName();
}
