// SPDX-License-Identifier: MIT
// Longer than most: servers, proxies and files of credentials are tested by the same few helpers.
#include <host/network/networkaccesschief.h>
#include <tests/support/authentication.h>
#include <tests/support/scriptedproxy.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QNetworkReply>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Reply = std::unique_ptr<QNetworkReply>;
using Kind = ScriptedProxy::Kind;

const ScriptedResponse kContent = ScriptedResponse::ok("content");

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

/// What managers of a chief tell servers and proxies about who asks.
class TestNetworkCredentials : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void aServerThatAsksIsAnswered_data();
    void aServerThatAsksIsAnswered();
    void lettersBeyondAsciiAreSentAsUtf8_data();
    void lettersBeyondAsciiAreSentAsUtf8();
    void nothingIsSaidUnasked();
    void severalManagersAreLetIn();
    void wrongCredentialsEndWithTheRefusal_data();
    void wrongCredentialsEndWithTheRefusal();
    void anotherOriginIsNotAnswered();
    void aManagerUsedForAnotherOriginTellsItNothing();
    void secretHeadersGoToTheirOriginAlone_data();
    void secretHeadersGoToTheirOriginAlone();
    void aHeaderThatNobodyRegisteredIsStripped_data();
    void aHeaderThatNobodyRegisteredIsStripped();
    void aRefusedHeaderIsNotFollowedByALogin();
    void givenCookiesStandBesideTheJars();
    void aRequestWithSecretsFollowsNoRedirectByItself();
    void aLoginInTheUrlIsNotSentOn();
    void aLoginInARedirectIsForItsServer();
    void aRefererCarriesNoLogin();
    void aBodyDoesNotFollowARedirect();

    void aNetrcFileLetsIn();
    void aNetrcFileThatOthersCanReadIsWarnedOf();
    void aNetrcFileThatIsNotThereIsNoComplaintUnlessNamed();
    void filesThatCannotBeUsedAreRefused_data();
    void filesThatCannotBeUsedAreRefused();
    void loadedCookiesAreSentWhereTheyBelong();

    void aProxyIsUsed_data();
    void aProxyIsUsed();
    void aProxyIsUsedForHttps_data();
    void aProxyIsUsedForHttps();
    void aProxyThatAsksIsAnswered_data();
    void aProxyThatAsksIsAnswered();
    void theProxysLoginStaysWithTheProxy();
    void wrongCredentialsForAProxyEnd();
    void aHeaderForTheProxyIsNotForTheServer();
    void theEnvironmentsProxyIsUsed();
    void theEnvironmentMayBeLeftOut();
    void aProxyThatIsNoneIsRefused();

private:
    Reply get(const QUrl &url, const QList<QPair<QByteArray, QByteArray>> &headers = {});
    Reply post(const QUrl &url, const QByteArray &body);
    static bool waitForEnd(const Reply &reply);
    bool apply(const NetworkOptions &options);
    static NetworkOptions loginOption(const QString &user, const QString &password);
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

void TestNetworkCredentials::initTestCase()
{
    for (const char *name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "ftp_proxy", "FTP_PROXY", "all_proxy",
                             "ALL_PROXY", "no_proxy", "NO_PROXY", "NETRC"})
        qunsetenv(name);
    qputenv("HOME", QFile::encodeName(m_dir.path()));
}

void TestNetworkCredentials::init()
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

void TestNetworkCredentials::cleanup()
{
    m_managers.clear();
    m_chief.reset();
    m_proxy.reset();
    m_server.reset();
    m_other.reset();
}

/// The managers live on, as a transfer keeps its own.
Reply TestNetworkCredentials::get(const QUrl &url, const QList<QPair<QByteArray, QByteArray>> &headers)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    for (const auto &[name, value] : headers)
        request.setRawHeader(name, value);
    m_managers.append(m_chief->takeManager(url));
    return Reply(m_managers.last()->get(request));
}

Reply TestNetworkCredentials::post(const QUrl &url, const QByteArray &body)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"text/plain"_s);
    m_managers.append(m_chief->takeManager(url));
    return Reply(m_managers.last()->post(request, body));
}

bool TestNetworkCredentials::waitForEnd(const Reply &reply)
{
    return QTest::qWaitFor([&reply] { return reply->isFinished(); }, ScriptedServer::kPatienceMs);
}

bool TestNetworkCredentials::apply(const NetworkOptions &options)
{
    QString error;
    const bool applied = m_chief->apply(options, &error);
    if (!applied)
        qWarning("%s", qPrintable(error));
    return applied;
}

NetworkOptions TestNetworkCredentials::loginOption(const QString &user, const QString &password)
{
    NetworkOptions options;
    options.credentials.append({{}, user, password, {}});
    return options;
}

QString TestNetworkCredentials::write(const QString &name, const QByteArray &text)
{
    QFile file(m_dir.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write a file");
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    return file.fileName();
}

void TestNetworkCredentials::aServerThatAsksIsAnswered_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("source");
    for (const char *kind : {"basic", "digest"}) {
        for (const char *source : {"the URL", "an option"})
            QTest::addRow("%s with the login of %s", kind, source) << QByteArray(kind) << QByteArray(source);
    }
    QTest::newRow("bearer with a token") << QByteArray("bearer") << QByteArray("a token");
}

void TestNetworkCredentials::aServerThatAsksIsAnswered()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, source);
    m_server->setHandler("/file",
                         kind == "basic"        ? Authentication::basic("me:p@ss", kContent)
                             : kind == "digest" ? Authentication::digest("me:p@ss", kContent)
                                                : Authentication::bearer("tok", kContent));
    QUrl url = m_url;
    NetworkOptions options;
    if (source == "the URL")
        url.setUserInfo(u"me:p%40ss"_s);
    else if (source == "an option")
        options = loginOption(u"me"_s, u"p@ss"_s);
    else
        options.credentials.append({{}, {}, {}, "tok"});
    QVERIFY(apply(options));
    QCOMPARE(m_chief->takeSecrets(url, nullptr), m_url);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
}

void TestNetworkCredentials::lettersBeyondAsciiAreSentAsUtf8_data()
{
    QTest::addColumn<bool>("digest");
    QTest::newRow("basic") << false;
    QTest::newRow("digest") << true;
}

void TestNetworkCredentials::lettersBeyondAsciiAreSentAsUtf8()
{
    QFETCH(bool, digest);
    m_server->setHandler(
        "/file", digest ? Authentication::digest("jürg:€", kContent) : Authentication::basic("jürg:€", kContent));
    QVERIFY(apply(loginOption(u"jürg"_s, u"€"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->readAll(), QByteArray("content"));
}

void TestNetworkCredentials::nothingIsSaidUnasked()
{
    QVERIFY(apply(loginOption(u"me"_s, u"pw"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(m_server->requests().size(), 1);
    QVERIFY(!m_server->requests().first().hasHeader("Authorization"));
}

void TestNetworkCredentials::severalManagersAreLetIn()
{
    m_server->setHandler("/file", Authentication::digest("me:pw", kContent));
    QVERIFY(apply(loginOption(u"me"_s, u"pw"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    std::vector<Reply> replies;
    for (int i = 0; i < 4; ++i)
        replies.push_back(get(m_url));
    for (const Reply &reply : replies) {
        QVERIFY(waitForEnd(reply));
        QCOMPARE(reply->readAll(), QByteArray("content"));
    }
}

void TestNetworkCredentials::wrongCredentialsEndWithTheRefusal_data()
{
    QTest::addColumn<bool>("digest");
    QTest::newRow("basic") << false;
    QTest::newRow("digest") << true;
}

void TestNetworkCredentials::wrongCredentialsEndWithTheRefusal()
{
    QFETCH(bool, digest);
    m_server->setHandler(
        "/file", digest ? Authentication::digest("me:right", kContent) : Authentication::basic("me:right", kContent));
    QVERIFY(apply(loginOption(u"me"_s, u"wrong"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    // The second one finds in its manager what the first one tried.
    for (int i = 0; i < 2; ++i) {
        const Reply reply = get(m_url);
        QVERIFY(waitForEnd(reply));
        QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 401);
        QCOMPARE(reply->error(), QNetworkReply::AuthenticationRequiredError);
        m_chief->returnManager(m_managers.takeLast(), m_url);
    }
    QVERIFY(m_server->requests().size() <= 5);
}

void TestNetworkCredentials::anotherOriginIsNotAnswered()
{
    m_other->setHandler("/file", Authentication::basic("me:pw", kContent));
    QVERIFY(apply(loginOption(u"me"_s, u"pw"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    const Reply reply = get(m_otherUrl);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->error(), QNetworkReply::AuthenticationRequiredError);
    QCOMPARE(m_other->requests().size(), 1);
    QVERIFY(!m_other->requests().first().hasHeader("Authorization"));
}

void TestNetworkCredentials::aManagerUsedForAnotherOriginTellsItNothing()
{
    m_server->setHandler("/file", Authentication::basic("me:pw", kContent));
    m_other->setHandler("/file", Authentication::basic("me:pw", kContent));
    QVERIFY(apply(loginOption(u"me"_s, u"pw"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    const auto manager = m_chief->takeManager(m_url);
    const Reply first(manager->get(QNetworkRequest(m_url)));
    QVERIFY(waitForEnd(first));
    QCOMPARE(first->readAll(), QByteArray("content"));
    const Reply second(manager->get(QNetworkRequest(m_otherUrl)));
    QVERIFY(waitForEnd(second));
    QCOMPARE(second->error(), QNetworkReply::AuthenticationRequiredError);
    QVERIFY(!m_other->requests().first().hasHeader("Authorization"));
}

void TestNetworkCredentials::secretHeadersGoToTheirOriginAlone_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name : {"Authorization", "Cookie", "X-Api-Key"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void TestNetworkCredentials::secretHeadersGoToTheirOriginAlone()
{
    QFETCH(QString, name);
    QVariantMap headers{{name, u"secret"_s}, {u"Accept"_s, u"x/y"_s}};
    m_chief->takeSecrets(m_url, &headers);
    QCOMPARE(headers, (QVariantMap{{u"Accept"_s, u"x/y"_s}}));
    const Reply own = get(m_url);
    const Reply other = get(m_otherUrl);
    QVERIFY(waitForEnd(own) && waitForEnd(other));
    QCOMPARE(m_server->requests().first().header(name.toLatin1()), QByteArray("secret"));
    QVERIFY(!m_other->requests().first().hasHeader(name.toLatin1()));
}

void TestNetworkCredentials::aHeaderThatNobodyRegisteredIsStripped_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char *name : {"Authorization", "authorization", "Cookie", "Proxy-Authorization", "X-Auth-Token"})
        QTest::newRow(name) << QByteArray(name);
}

void TestNetworkCredentials::aHeaderThatNobodyRegisteredIsStripped()
{
    QFETCH(QByteArray, name);
    const Reply reply = get(m_url, {{name, "secret"}, {"X-Other", "kept"}});
    QVERIFY(waitForEnd(reply));
    const ScriptedRequest request = m_server->requests().first();
    QVERIFY(!request.hasHeader(name));
    QCOMPARE(request.header("X-Other"), QByteArray("kept"));
}

void TestNetworkCredentials::aRefusedHeaderIsNotFollowedByALogin()
{
    m_server->setHandler("/file", Authentication::basic("me:pw", kContent));
    QVERIFY(apply(loginOption(u"me"_s, u"pw"_s)));
    QVariantMap headers{{u"Authorization"_s, u"Basic no"_s}};
    m_chief->takeSecrets(m_url, &headers);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->error(), QNetworkReply::AuthenticationRequiredError);
    QCOMPARE(m_server->requests().size(), 1);
}

void TestNetworkCredentials::givenCookiesStandBesideTheJars()
{
    m_server->setResponse("/set", ScriptedResponse::ok("x").withHeader("Set-Cookie", "jar=1; Path=/"));
    QVariantMap headers{{u"Cookie"_s, u"given=2"_s}};
    m_chief->takeSecrets(m_url, &headers);
    const Reply setting = get(m_server->url(u"/set"_s));
    QVERIFY(waitForEnd(setting));
    const Reply sending = get(m_url);
    QVERIFY(waitForEnd(sending));
    QCOMPARE(m_server->requests("/file").first().header("Cookie"), QByteArray("given=2; jar=1"));
}

void TestNetworkCredentials::aRequestWithSecretsFollowsNoRedirectByItself()
{
    m_server->setResponse("/go", ScriptedResponse::redirect(m_otherUrl.toEncoded()));
    QVariantMap headers{{u"Authorization"_s, u"Basic x"_s}};
    m_chief->takeSecrets(m_url, &headers);
    const auto manager = m_chief->takeManager(m_url);
    const Reply reply(manager->get(QNetworkRequest(m_server->url(u"/go"_s))));
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 302);
    QVERIFY(m_other->requests().isEmpty());
}

void TestNetworkCredentials::aLoginInTheUrlIsNotSentOn()
{
    m_server->setHandler("/file", Authentication::basic("me:pw", kContent));
    QUrl url = m_url;
    url.setUserInfo(u"me:pw"_s);
    const Reply reply = get(url);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    QCOMPARE(reply->url(), m_url);
    QCOMPARE(reply->request().url(), m_url);
}

void TestNetworkCredentials::aLoginInARedirectIsForItsServer()
{
    m_other->setHandler("/file", Authentication::basic("me:pw", kContent));
    QUrl target = m_otherUrl;
    target.setUserInfo(u"me:pw"_s);
    m_server->setResponse("/go", ScriptedResponse::redirect(target.toEncoded()));
    const Reply redirect = get(m_server->url(u"/go"_s));
    QVERIFY(waitForEnd(redirect));
    QCOMPARE(redirect->rawHeader("Location"), m_otherUrl.toEncoded());
    QCOMPARE(redirect->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl(), m_otherUrl);
    const Reply reply = get(m_otherUrl);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->readAll(), QByteArray("content"));
}

void TestNetworkCredentials::aRefererCarriesNoLogin()
{
    const Reply reply = get(m_url, {{"Referer", "http://me:pw@host/page"}});
    QVERIFY(waitForEnd(reply));
    QCOMPARE(m_server->requests().first().header("Referer"), QByteArray("http://host/page"));
}

void TestNetworkCredentials::aBodyDoesNotFollowARedirect()
{
    m_chief->takeSecrets(m_url, nullptr);
    const Reply own = post(m_url, "password=1");
    const Reply other = post(m_otherUrl, "password=1");
    QVERIFY(waitForEnd(own) && waitForEnd(other));
    QCOMPARE(m_server->requests().first().body, QByteArray("password=1"));
    const ScriptedRequest request = m_other->requests().first();
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(request.body, QByteArray());
    QVERIFY(!request.hasHeader("Content-Type"));
    QCOMPARE(other->readAll(), QByteArray("content"));
}

void TestNetworkCredentials::aNetrcFileLetsIn()
{
    m_server->setHandler("/file", Authentication::basic("me:from netrc", kContent));
    m_other->setHandler("/file", Authentication::basic("me:from netrc", kContent));
    NetworkOptions options;
    options.netrc = true;
    options.netrcFile = write(u"netrc"_s, "machine 127.0.0.1 login me password \"from netrc\"\n");
    QVERIFY(apply(options));
    QVERIFY(m_chief->warnings().isEmpty());
    m_chief->takeSecrets(m_url, nullptr);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    // The same machine, but a redirect led there over http.
    const Reply other = get(m_otherUrl);
    QVERIFY(waitForEnd(other));
    QCOMPARE(other->error(), QNetworkReply::AuthenticationRequiredError);
}

void TestNetworkCredentials::aNetrcFileThatOthersCanReadIsWarnedOf()
{
    NetworkOptions options;
    options.netrc = true;
    const QString path = write(u".netrc"_s, "machine a login me password pw\n");
    QVERIFY(QFile::setPermissions(path, QFile::permissions(path) | QFile::ReadOther));
    QVERIFY(apply(options));
    QCOMPARE(m_chief->warnings().size(), 1);
    QVERIFY(m_chief->warnings().first().contains(path));
    QVERIFY(QFile::remove(path));
}

void TestNetworkCredentials::aNetrcFileThatIsNotThereIsNoComplaintUnlessNamed()
{
    NetworkOptions options;
    options.netrc = true;
    QVERIFY(apply(options));
    options.netrcFile = m_dir.filePath(u"missing"_s);
    QString error;
    QVERIFY(!m_chief->apply(options, &error));
    QVERIFY2(error.contains(u"missing"_s), qPrintable(error));
}

void TestNetworkCredentials::filesThatCannotBeUsedAreRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("isNetrc");
    QTest::newRow("a netrc file that is none") << QByteArray("hello world\n") << true;
    QTest::newRow("a file of cookies that is none") << QByteArray("[{\"name\": 1}]\n") << false;
}

void TestNetworkCredentials::filesThatCannotBeUsedAreRefused()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, isNetrc);
    NetworkOptions options;
    options.netrc = isNetrc;
    (isNetrc ? options.netrcFile : options.cookiesFile) = write(u"bad"_s, text);
    QString error;
    QVERIFY(!m_chief->apply(options, &error));
    QVERIFY2(error.contains(u"line 1"_s), qPrintable(error));
}

void TestNetworkCredentials::loadedCookiesAreSentWhereTheyBelong()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    ScriptedServer secure(ca.serverConfiguration());
    secure.setResponse("/file", kContent);
    NetworkOptions options;
    options.cookiesFile = write(u"cookies.txt"_s,
                                "# Netscape HTTP Cookie File\n"
                                "127.0.0.1\tFALSE\t/\tFALSE\t0\tplain\t1\n"
                                "127.0.0.1\tFALSE\t/\tTRUE\t0\tsafe\t2\n"
                                "localhost\tFALSE\t/\tFALSE\t0\telsewhere\t3\n");
    QVERIFY(apply(options));
    QString error;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &error), qPrintable(error));
    const Reply plain = get(m_url);
    const Reply safe = get(secure.url(u"/file"_s));
    QVERIFY(waitForEnd(plain) && waitForEnd(safe));
    QCOMPARE(m_server->requests().first().header("Cookie"), QByteArray("plain=1"));
    const QByteArray sent = secure.requests().first().header("Cookie");
    QVERIFY2(sent.contains("plain=1") && sent.contains("safe=2") && !sent.contains("elsewhere"), sent.constData());
}

void TestNetworkCredentials::aProxyIsUsed_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<Kind>("kind");
    QTest::newRow("http") << u"http"_s << Kind::Http;
    QTest::newRow("socks5") << u"socks5"_s << Kind::Socks;
    QTest::newRow("socks5h") << u"socks5h"_s << Kind::Socks;
}

void TestNetworkCredentials::aProxyIsUsed()
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

void TestNetworkCredentials::aProxyIsUsedForHttps_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::addColumn<Kind>("kind");
    QTest::newRow("http") << u"http"_s << Kind::Connect;
    QTest::newRow("socks5") << u"socks5"_s << Kind::Socks;
}

void TestNetworkCredentials::aProxyIsUsedForHttps()
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
    QString error;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &error), qPrintable(error));
    const Reply reply = get(secure.url(u"/file"_s));
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    QCOMPARE(m_proxy->calls().size(), 1);
    QCOMPARE(m_proxy->calls().first().kind, kind);
}

void TestNetworkCredentials::aProxyThatAsksIsAnswered_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::newRow("http") << u"http"_s;
    QTest::newRow("socks5") << u"socks5"_s;
}

void TestNetworkCredentials::aProxyThatAsksIsAnswered()
{
    QFETCH(QString, scheme);
    m_proxy->setLogin("jürg:p@ss");
    NetworkOptions options;
    options.proxy = m_proxy->url(scheme, u"j%C3%BCrg:p%40ss"_s);
    QVERIFY(apply(options));
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    QCOMPARE(m_proxy->calls().last().login, QByteArray("jürg:p@ss"));
}

void TestNetworkCredentials::theProxysLoginStaysWithTheProxy()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    ScriptedServer secure(ca.serverConfiguration());
    secure.setHandler("/file", Authentication::basic("server:pw", kContent));
    m_proxy->setLogin("proxy:pw");
    NetworkOptions options = loginOption(u"server"_s, u"pw"_s);
    options.proxy = m_proxy->url(u"http"_s, u"proxy:pw"_s);
    QVERIFY(apply(options));
    QString error;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &error), qPrintable(error));
    m_chief->takeSecrets(secure.url(u"/file"_s), nullptr);
    const Reply reply = get(secure.url(u"/file"_s));
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    for (const ScriptedRequest &request : secure.requests())
        QVERIFY(!request.hasHeader("Proxy-Authorization"));
    for (const ScriptedProxy::Call &call : m_proxy->calls())
        QVERIFY2(!call.head.contains("\r\nAuthorization"), call.head.constData());
}

void TestNetworkCredentials::wrongCredentialsForAProxyEnd()
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

void TestNetworkCredentials::aHeaderForTheProxyIsNotForTheServer()
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

void TestNetworkCredentials::theEnvironmentsProxyIsUsed()
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

void TestNetworkCredentials::theEnvironmentMayBeLeftOut()
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

void TestNetworkCredentials::aProxyThatIsNoneIsRefused()
{
    NetworkOptions options;
    QString error;
    for (const QString &text : {u"127.0.0.1:8080"_s, u"gopher://p"_s}) {
        options.proxy = QUrl(text);
        const bool applied = m_chief->apply(options, &error);
        QVERIFY2(!applied && error.contains(u"--proxy"_s), qPrintable(error));
    }
}

QTEST_GUILESS_MAIN(TestNetworkCredentials)
#include "tst_networkcredentials.moc"
