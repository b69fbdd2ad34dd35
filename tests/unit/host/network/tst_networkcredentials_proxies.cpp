// SPDX-License-Identifier: MIT
#include <tests/support/authentication.h>
#include <tests/support/testca.h>
#include <tests/unit/host/network/credentialsbench.h>

#include <QNetworkReply>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Kind = ScriptedProxy::Kind;

/// Variables of the environment for as long as a test runs.
class Variables
{
public:
    ~Variables()
    {
        for (const QByteArray &name : std::as_const(m_names))
            qunsetenv(name);
    }
    void set(const char *name, const QUrl &value)
    {
        qputenv(name, value.toEncoded());
        m_names.append(name);
    }

private:
    QList<QByteArray> m_names;
};

}

/// Which proxy a chief's managers use, and what they tell it about who asks.
class TestNetworkCredentialsProxies : public CredentialsBench
{
    Q_OBJECT

private Q_SLOTS:
    void aProxyIsUsed_data();
    void aProxyIsUsed();
    void aProxyIsUsedForHttps_data();
    void aProxyIsUsedForHttps();
    void aProxyThatAsksIsAnswered_data();
    void aProxyThatAsksIsAnswered();
    void theProxysLoginStaysWithTheProxy();
    void wrongCredentialsForAProxyEnd();
    void aProxyThatRefusesIsNamed_data();
    void aProxyThatRefusesIsNamed();
    void aSecureProxyIsUsed_data();
    void aSecureProxyIsUsed();
    void aSecureProxysCertificateIsSaidToBeItsOwn();
    void aServerThatIsTrustedForOnceMayLieBehindAProxy_data();
    void aServerThatIsTrustedForOnceMayLieBehindAProxy();
    void aSecureProxyIsKnownAgainOnTheNextConnection();
    void aSecureProxyThatCannotBeSpokenToIsNamed();
    void aHeaderForTheProxyIsNotForTheServer();
    void theEnvironmentsProxyIsUsed();
    void theEnvironmentMayBeLeftOut();
    void anEnvironmentThatIsLeftOutExceptsNobody();
    void aProxyThatIsNoneIsRefused();
};

void TestNetworkCredentialsProxies::aProxyIsUsed_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<Kind>("kind");
    QTest::newRow("http") << u"http"_s << Kind::Http;
    QTest::newRow("socks5") << u"socks5"_s << Kind::Socks;
    QTest::newRow("socks5h") << u"socks5h"_s << Kind::Socks;
}

void TestNetworkCredentialsProxies::aProxyIsUsed()
{
    QFETCH(QString, scheme);
    QFETCH(Kind, kind);
    NetworkOptions options;
    options.proxy = m_proxy->url(scheme);
    QVERIFY(apply(options));
    QUrl url = m_url;
    url.setHost(u"files.example"_s);
    const Reply reply = get(url);
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    QCOMPARE(m_proxy->calls().size(), 1);
    QCOMPARE(m_proxy->calls().first().kind, kind);
    QCOMPARE(m_proxy->calls().first().target, "files.example:" + QByteArray::number(m_server->port()));
}

void TestNetworkCredentialsProxies::aProxyIsUsedForHttps_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<Kind>("kind");
    QTest::newRow("http") << u"http"_s << Kind::Connect;
    QTest::newRow("socks5") << u"socks5"_s << Kind::Socks;
    QTest::newRow("socks5h") << u"socks5h"_s << Kind::Socks;
}

void TestNetworkCredentialsProxies::aProxyIsUsedForHttps()
{
    QFETCH(QString, scheme);
    QFETCH(Kind, kind);
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    ScriptedServer secure(ca.serverConfiguration());
    secure.setResponse("/file", kContent);
    NetworkOptions options;
    options.proxy = m_proxy->url(scheme);
    QVERIFY(apply(options));
    Failure failure;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &failure), qPrintable(failure.plain()));
    const Reply reply = get(secure.url(u"/file"_s));
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    QCOMPARE(m_proxy->calls().size(), 1);
    QCOMPARE(m_proxy->calls().first().kind, kind);
}

void TestNetworkCredentialsProxies::aProxyThatAsksIsAnswered_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<bool>("isDigest");
    QTest::newRow("http") << u"http"_s << false;
    QTest::newRow("http by Digest") << u"http"_s << true;
    QTest::newRow("socks5") << u"socks5"_s << false;
    QTest::newRow("socks5h") << u"socks5h"_s << false;
}

void TestNetworkCredentialsProxies::aProxyThatAsksIsAnswered()
{
    QFETCH(QString, scheme);
    QFETCH(bool, isDigest);
    m_proxy->setLogin("jürg:p@ss");
    if (isDigest)
        m_proxy->setDigest();
    NetworkOptions options;
    options.proxy = m_proxy->url(scheme, u"j%C3%BCrg:p%40ss"_s);
    QVERIFY(apply(options));
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    if (!isDigest)
        QCOMPARE(m_proxy->calls().last().login, QByteArray("jürg:p@ss"));
}

void TestNetworkCredentialsProxies::theProxysLoginStaysWithTheProxy()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    ScriptedServer secure(ca.serverConfiguration());
    secure.setHandler("/file", Authentication::basic("server:pw", kContent));
    m_proxy->setLogin("proxy:pw");
    NetworkOptions options = loginOption(u"server"_s, u"pw"_s);
    options.proxy = m_proxy->url(u"http"_s, u"proxy:pw"_s);
    QVERIFY(apply(options));
    Failure failure;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &failure), qPrintable(failure.plain()));
    m_chief->takeSecrets(secure.url(u"/file"_s), nullptr);
    const Reply reply = get(secure.url(u"/file"_s));
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    for (const ScriptedRequest &request : secure.requests())
        QVERIFY(!request.hasHeader("Proxy-Authorization"));
    for (const ScriptedProxy::Call &call : m_proxy->calls())
        QVERIFY2(!call.head.contains("\r\nAuthorization"), call.head.constData());
}

void TestNetworkCredentialsProxies::wrongCredentialsForAProxyEnd()
{
    m_proxy->setLogin("me:right");
    NetworkOptions options = loginOption(u"me"_s, u"right"_s);
    options.proxy = m_proxy->url(u"http"_s, u"me:wrong"_s);
    QVERIFY(apply(options));
    m_chief->takeSecrets(m_url, nullptr);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->error(), QNetworkReply::ProxyAuthenticationRequiredError);
    QVERIFY(m_server->requests().isEmpty());
    for (const ScriptedProxy::Call &call : m_proxy->calls())
        QVERIFY(call.login != "me:right");
}

void TestNetworkCredentialsProxies::aProxyThatRefusesIsNamed_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<QString>("userInfo");
    QTest::addColumn<QString>("asked");
    QTest::newRow("by its tunnel, with the wrong login")
        << u"http"_s << u"me:wrong"_s << u"does not let in \"me\" with that password (Basic realm \"proxy\")"_s;
    QTest::newRow("by its tunnel, with none")
        << u"http"_s << QString() << u"asks for a name and a password (Basic realm \"proxy\")"_s;
    QTest::newRow("socks, with the wrong login")
        << u"socks5"_s << u"me:wrong"_s << u"does not let in \"me\" with that password"_s;
    QTest::newRow("socks, with none") << u"socks5"_s << QString() << u"asks for a name and a password"_s;
}

void TestNetworkCredentialsProxies::aProxyThatRefusesIsNamed()
{
    QFETCH(QString, scheme);
    QFETCH(QString, userInfo);
    QFETCH(QString, asked);
    m_proxy->setLogin("me:right");
    NetworkOptions options;
    options.proxy = m_proxy->url(scheme, userInfo);
    QVERIFY(apply(options));
    const Reply reply = get(QUrl(u"https://files.example/file"_s));
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->error(), QNetworkReply::ProxyAuthenticationRequiredError);
    QCOMPARE(reply->errorString(),
             u"the proxy \"127.0.0.1:%1\" %2"_s.arg(QString::number(m_proxy->serverPort()), asked));
}

void TestNetworkCredentialsProxies::aSecureProxyIsUsed_data()
{
    QTest::addColumn<bool>("isServerSecure");
    QTest::addColumn<bool>("isDigest");
    QTest::newRow("for http") << false << false;
    QTest::newRow("for https") << true << false;
    QTest::newRow("for http, by Digest") << false << true;
    QTest::newRow("for https, by Digest") << true << true;
}

void TestNetworkCredentialsProxies::aSecureProxyIsUsed()
{
    QFETCH(bool, isServerSecure);
    QFETCH(bool, isDigest);
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    ScriptedServer secure(ca.serverConfiguration());
    secure.setResponse("/file", kContent);
    m_proxy->setTls(ca.serverConfiguration());
    m_proxy->setLogin("me:pw");
    if (isDigest)
        m_proxy->setDigest();
    NetworkOptions options;
    options.proxy = m_proxy->url(u"https"_s, u"me:pw"_s);
    QVERIFY(apply(options));
    Failure failure;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &failure), qPrintable(failure.plain()));
    const Reply reply = get(isServerSecure ? secure.url(u"/file"_s) : m_url);
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    QCOMPARE(m_proxy->calls().last().kind, isServerSecure ? Kind::Connect : Kind::Http);
}

/// Somebody who goes on at his own risk with a server has said nothing of the proxy.
void TestNetworkCredentialsProxies::aSecureProxysCertificateIsSaidToBeItsOwn()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    m_proxy->setTls(ca.serverConfiguration());
    NetworkOptions options;
    options.proxy = m_proxy->url(u"https"_s);
    QVERIFY(apply(options));
    const Reply reply = get(m_url);
    reply->ignoreSslErrors();
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->error(), QNetworkReply::SslHandshakeFailedError);
    const QString beginning =
        u"the certificate of the proxy \"127.0.0.1:%1\" is not trusted: "_s.arg(m_proxy->serverPort());
    QVERIFY2(reply->errorString().startsWith(beginning), qPrintable(reply->errorString()));
    QVERIFY(m_proxy->calls().isEmpty());
}

void TestNetworkCredentialsProxies::aServerThatIsTrustedForOnceMayLieBehindAProxy_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::newRow("http") << u"http"_s;
    QTest::newRow("https") << u"https"_s;
    QTest::newRow("socks5") << u"socks5"_s;
}

void TestNetworkCredentialsProxies::aServerThatIsTrustedForOnceMayLieBehindAProxy()
{
    QFETCH(QString, scheme);
    const TestCa ca;
    const TestCa stranger;
    QVERIFY2(ca.isValid() && stranger.isValid(), qPrintable(ca.errorText()));
    ScriptedServer secure(stranger.serverConfiguration());
    secure.setResponse("/file", kContent);
    if (scheme == "https"_L1)
        m_proxy->setTls(ca.serverConfiguration());
    NetworkOptions options;
    options.proxy = m_proxy->url(scheme);
    QVERIFY(apply(options));
    Failure failure;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &failure), qPrintable(failure.plain()));
    const Reply reply = get(secure.url(u"/file"_s));
    reply->ignoreSslErrors();
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
}

/// A server that asks and goes away has both hands shaken twice in one transfer.
void TestNetworkCredentialsProxies::aSecureProxyIsKnownAgainOnTheNextConnection()
{
    const TestCa ca;
    const TestCa stranger;
    QVERIFY2(ca.isValid() && stranger.isValid(), qPrintable(ca.errorText()));
    ScriptedServer secure(stranger.serverConfiguration());
    secure.setHandler("/file", [](const ScriptedRequest &request) {
        if (request.header("Authorization") == Authentication::basicHeader("me:pw"))
            return ScriptedResponse(kContent);
        ScriptedResponse refusal = ScriptedResponse::error(401);
        refusal.withHeader("WWW-Authenticate", "Basic realm=\"x\"").withHeader("Connection", "close");
        return refusal;
    });
    m_proxy->setTls(ca.serverConfiguration());
    NetworkOptions options = loginOption(u"me"_s, u"pw"_s);
    options.proxy = m_proxy->url(u"https"_s);
    QVERIFY(apply(options));
    Failure failure;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &failure), qPrintable(failure.plain()));
    m_chief->takeSecrets(secure.url(u"/file"_s), nullptr);
    const Reply reply = get(secure.url(u"/file"_s));
    reply->ignoreSslErrors();
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
}

void TestNetworkCredentialsProxies::aSecureProxyThatCannotBeSpokenToIsNamed()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    QSslConfiguration bare = ca.serverConfiguration();
    bare.setLocalCertificateChain({});
    m_proxy->setTls(bare);
    NetworkOptions options;
    options.proxy = m_proxy->url(u"https"_s);
    QVERIFY(apply(options));
    const Reply reply = get(QUrl(u"https://files.example/file"_s));
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->error(), QNetworkReply::SslHandshakeFailedError);
    QVERIFY2(reply->errorString().startsWith("cannot agree with \"127.0.0.1\""_L1), qPrintable(reply->errorString()));
}

void TestNetworkCredentialsProxies::aHeaderForTheProxyIsNotForTheServer()
{
    QVariantMap headers{{u"Proxy-Authorization"_s, u"Basic x"_s}};
    m_chief->takeSecrets(m_url, &headers);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QVERIFY(!m_server->requests().first().hasHeader("Proxy-Authorization"));
    NetworkOptions options;
    options.proxy = m_proxy->url(u"http"_s);
    QVERIFY(apply(options));
    const Reply proxied = get(m_url);
    QVERIFY(waitForEnd(proxied));
    QVERIFY(m_proxy->calls().first().head.contains("Proxy-Authorization: Basic x\r\n"));
}

void TestNetworkCredentialsProxies::theEnvironmentsProxyIsUsed()
{
    Variables variables;
    variables.set("http_proxy", m_proxy->url(u"http"_s));
    variables.set("no_proxy", QUrl(u"direct.example"_s));
    QVERIFY(apply({}));
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    QCOMPARE(m_proxy->calls().size(), 1);
}

void TestNetworkCredentialsProxies::theEnvironmentMayBeLeftOut()
{
    Variables variables;
    variables.set("http_proxy", m_proxy->url(u"http"_s));
    NetworkOptions options;
    options.useEnvironmentProxies = false;
    QVERIFY(apply(options));
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QVERIFY(m_proxy->calls().isEmpty());
}

void TestNetworkCredentialsProxies::anEnvironmentThatIsLeftOutExceptsNobody()
{
    Variables variables;
    variables.set("no_proxy", QUrl(u"127.0.0.1"_s));
    NetworkOptions options;
    options.useEnvironmentProxies = false;
    options.proxy = m_proxy->url(u"http"_s);
    QVERIFY(apply(options));
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    QCOMPARE(m_proxy->calls().size(), 1);
}

void TestNetworkCredentialsProxies::aProxyThatIsNoneIsRefused()
{
    NetworkOptions options;
    Failure failure;
    for (const QString &text : {u"127.0.0.1:8080"_s, u"gopher://p"_s}) {
        options.proxy = QUrl(text);
        const bool applied = m_chief->apply(options, &failure);
        QVERIFY2(!applied && failure.kind == Failure::Kind::ProxyUnusable, qPrintable(failure.plain()));
    }
}

QTEST_GUILESS_MAIN(TestNetworkCredentialsProxies)
#include "tst_networkcredentials_proxies.moc"
