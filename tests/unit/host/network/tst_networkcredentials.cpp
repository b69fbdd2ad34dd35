// SPDX-License-Identifier: MIT
#include <tests/support/authentication.h>
#include <tests/support/testca.h>
#include <tests/unit/host/network/credentialsbench.h>

#include <QFile>
#include <QNetworkReply>
#include <QTest>

#include <vector>

using namespace Qt::StringLiterals;

/// What managers of a chief tell servers about who asks.
class TestNetworkCredentials : public CredentialsBench
{
    Q_OBJECT

private Q_SLOTS:
    void aServerThatAsksIsAnswered_data();
    void aServerThatAsksIsAnswered();
    void lettersBeyondAsciiAreSentAsUtf8_data();
    void lettersBeyondAsciiAreSentAsUtf8();
    void nothingIsSaidUnasked();
    void severalTransfersAreLetIn();
    void wrongCredentialsEndWithTheRefusal_data();
    void wrongCredentialsEndWithTheRefusal();
    void aChallengeThatIsCutShortIsNoRefusal_data();
    void aChallengeThatIsCutShortIsNoRefusal();
    void anotherOriginIsNotAnswered();
    void anotherOriginOfTheSameManagerIsToldNothing();
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
};

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

void TestNetworkCredentials::severalTransfersAreLetIn()
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
    // The second one may find on its connection what the first one tried.
    for (int i = 0; i < 2; ++i) {
        const Reply reply = get(m_url);
        QVERIFY(waitForEnd(reply));
        QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 401);
        QCOMPARE(reply->error(), QNetworkReply::AuthenticationRequiredError);
    }
    QVERIFY(m_server->requests().size() <= 5);
}

void TestNetworkCredentials::aChallengeThatIsCutShortIsNoRefusal_data()
{
    QTest::addColumn<QList<ScriptedResponse>>("responses");
    ScriptedResponse challenge = ScriptedResponse::error(401).withHeader("WWW-Authenticate", "Basic realm=\"realm\"");
    challenge.body = "Who are you?";
    ScriptedResponse cut = challenge;
    cut.cutAfter = 3;
    cut.cut = ScriptedResponse::Cut::Reset;
    QTest::newRow("in its body") << QList<ScriptedResponse>{cut};
    QTest::newRow("in what follows the login")
        << QList<ScriptedResponse>{challenge, ScriptedResponse::garbage("HTTP/1.1 200 OK\r\nContent-Le")};
    QTest::newRow("by no answer to the login") << QList<ScriptedResponse>{challenge, ScriptedResponse::noAnswer()};
    challenge.body.clear();
    QTest::newRow("by no answer to the login, and has no body")
        << QList<ScriptedResponse>{challenge, ScriptedResponse::noAnswer()};
}

void TestNetworkCredentials::aChallengeThatIsCutShortIsNoRefusal()
{
    QFETCH(QList<ScriptedResponse>, responses);
    m_server->setResponses("/file", responses);
    QVERIFY(apply(loginOption(u"me"_s, u"pw"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QVERIFY(reply->error() != QNetworkReply::NoError);
    QVERIFY2(reply->error() != QNetworkReply::AuthenticationRequiredError, qPrintable(reply->errorString()));
    QVERIFY(!reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid());
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

void TestNetworkCredentials::anotherOriginOfTheSameManagerIsToldNothing()
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
    for (const char *name : {"Authorization", "Cookie", "X-Api-Key", "X-Vault-Token", "X-GitHub-Token", "DD-API-KEY",
                             "Ocp-Apim-Subscription-Key", "X-Session-Id"})
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
    for (const char *name : {"Authorization", "authorization", "Cookie", "Proxy-Authorization", "X-Auth-Token",
                             "X-Vault-Token", "Host", "If-None-Match", "X-Anything"})
        QTest::newRow(name) << QByteArray(name);
}

void TestNetworkCredentials::aHeaderThatNobodyRegisteredIsStripped()
{
    QFETCH(QByteArray, name);
    const Reply reply = get(m_url, {{name, "secret"}, {"Accept", "kept/kept"}});
    QVERIFY(waitForEnd(reply));
    const ScriptedRequest request = m_server->requests().first();
    QVERIFY(!request.header(name).contains("secret"));
    QCOMPARE(request.header("Accept"), QByteArray("kept/kept"));
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
    QVERIFY(m_chief->warnings().first().subject.path == path);
    QVERIFY(QFile::remove(path));
}

void TestNetworkCredentials::aNetrcFileThatIsNotThereIsNoComplaintUnlessNamed()
{
    NetworkOptions options;
    options.netrc = true;
    QVERIFY(apply(options));
    options.netrcFile = m_dir.filePath(u"missing"_s);
    Failure failure;
    QVERIFY(!m_chief->apply(options, &failure));
    QVERIFY2(failure.subject.path.contains(u"missing"_s), qPrintable(failure.plain()));
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
    Failure failure;
    QVERIFY(!m_chief->apply(options, &failure));
    QVERIFY2(failure.plain().contains(u"in-line(1, "_s), qPrintable(failure.plain()));
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
    Failure failure;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &failure), qPrintable(failure.plain()));
    const Reply plain = get(m_url);
    const Reply safe = get(secure.url(u"/file"_s));
    QVERIFY(waitForEnd(plain) && waitForEnd(safe));
    QCOMPARE(m_server->requests().first().header("Cookie"), QByteArray("plain=1"));
    const QByteArray sent = secure.requests().first().header("Cookie");
    QVERIFY2(sent.contains("plain=1") && sent.contains("safe=2") && !sent.contains("elsewhere"), sent.constData());
}

QTEST_GUILESS_MAIN(TestNetworkCredentials)
#include "tst_networkcredentials.moc"
