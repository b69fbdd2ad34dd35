// SPDX-License-Identifier: MIT
#include <host/policy/proxychoice.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestProxyChoice : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void proxiesThatCanBeUsed_data();
    void proxiesThatCanBeUsed();
    void proxiesThatCannotBeUsed_data();
    void proxiesThatCannotBeUsed();
    void variablesOfTheEnvironment_data();
    void variablesOfTheEnvironment();
    void aBadVariableIsNamed();
    void exceptions_data();
    void exceptions();
    void aGivenProxyServesEveryUrl();
    void exceptionsHoldForAGivenProxyToo();
};

void TestProxyChoice::proxiesThatCanBeUsed_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("proxy");
    QTest::newRow("all is said") << u"http://p:3128"_s << u"http://p:3128"_s;
    QTest::newRow("no port") << u"http://p"_s << u"http://p:1080"_s;
    QTest::newRow("no scheme") << u"p:3128"_s << u"http://p:3128"_s;
    QTest::newRow("an address and a port") << u"127.0.0.1:3128"_s << u"http://127.0.0.1:3128"_s;
    QTest::newRow("a slash at the end") << u"http://p:3128/"_s << u"http://p:3128"_s;
    QTest::newRow("a login") << u"http://me:p%40ss@p:3128"_s << u"http://me:p%40ss@p:3128"_s;
    QTest::newRow("https") << u"https://p:3129"_s << u"https://p:3129"_s;
    QTest::newRow("socks5") << u"socks5://p"_s << u"socks5://p:1080"_s;
    QTest::newRow("socks5h") << u"socks5h://p:9050"_s << u"socks5://p:9050"_s;
    QTest::newRow("socks as desktops write it") << u"socks://p:9050/"_s << u"socks5://p:9050"_s;
    QTest::newRow("capitals") << u"HTTP://P:3128"_s << u"http://p:3128"_s;
    QTest::newRow("an address in brackets") << u"http://[::1]:3128"_s << u"http://[::1]:3128"_s;
}

void TestProxyChoice::proxiesThatCanBeUsed()
{
    QFETCH(QString, text);
    QFETCH(QString, proxy);
    Clause error;
    QCOMPARE(ProxyChoice::checkedProxy(text, &error).toString(QUrl::FullyEncoded), proxy);
    QVERIFY2(error.isEmpty(), qPrintable(error.plain()));
}

void TestProxyChoice::proxiesThatCannotBeUsed_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("socks4") << u"socks4://me:secret@p"_s;
    QTest::newRow("no host") << u"http://:3128"_s;
    QTest::newRow("nothing behind the scheme") << u"http://"_s;
    QTest::newRow("a port that is none") << u"http://me:secret@p:99999"_s;
    QTest::newRow("blanks") << u"   "_s;
}

void TestProxyChoice::proxiesThatCannotBeUsed()
{
    QFETCH(QString, text);
    Clause error;
    QVERIFY(ProxyChoice::checkedProxy(text, &error).isEmpty());
    QVERIFY(!error.isEmpty());
    const Failure failure = ProxyChoice::unusable(text, error);
    QCOMPARE(failure.kind, Failure::Kind::ProxyUnusable);
    QVERIFY2(!(failure.plain() + failure.subject.title).contains(u"secret"_s), qPrintable(failure.subject.title));
}

void TestProxyChoice::variablesOfTheEnvironment_data()
{
    QTest::addColumn<QStringList>("variables");
    QTest::addColumn<QUrl>("url");
    QTest::addColumn<QString>("proxy");
    const QUrl http(u"http://a/"_s);
    const QUrl https(u"https://a/"_s);
    const QUrl ftp(u"ftp://a/"_s);
    const auto row = [](const char *name, const QStringList &variables, const QUrl &url, const QString &proxy) {
        QTest::newRow(name) << variables << url << proxy;
    };
    row("none", {}, http, {});
    row("http_proxy for http", {u"http_proxy=http://p:1"_s}, http, u"http://p:1"_s);
    row("http_proxy not for https", {u"http_proxy=http://p:1"_s}, https, {});
    row("HTTP_PROXY is not looked at", {u"HTTP_PROXY=http://p:1"_s}, http, {});
    row("https_proxy", {u"https_proxy=http://p:1"_s}, https, u"http://p:1"_s);
    row("HTTPS_PROXY", {u"HTTPS_PROXY=http://p:1"_s}, https, u"http://p:1"_s);
    row("lower case comes first", {u"HTTPS_PROXY=http://p:1"_s, u"https_proxy=http://p:2"_s}, https, u"http://p:2"_s);
    row("ftp_proxy", {u"ftp_proxy=socks5://p:1"_s}, ftp, u"socks5://p:1"_s);
    row("all_proxy for what has none", {u"all_proxy=http://p:1"_s, u"http_proxy=http://p:2"_s}, https, u"http://p:1"_s);
    row("all_proxy not for what has one", {u"all_proxy=http://p:1"_s, u"http_proxy=http://p:2"_s}, http,
        u"http://p:2"_s);
    row("ALL_PROXY", {u"ALL_PROXY=http://p:1"_s}, ftp, u"http://p:1"_s);
    row("an empty variable", {u"http_proxy="_s}, http, {});
    row("no_proxy", {u"http_proxy=http://p:1"_s, u"no_proxy=b, a"_s}, http, {});
    row("NO_PROXY", {u"http_proxy=http://p:1"_s, u"NO_PROXY=a"_s}, http, {});
    row("no_proxy comes before NO_PROXY", {u"http_proxy=http://p:1"_s, u"NO_PROXY=a"_s, u"no_proxy=b"_s}, http,
        u"http://p:1"_s);
}

void TestProxyChoice::variablesOfTheEnvironment()
{
    QFETCH(QStringList, variables);
    QFETCH(QUrl, url);
    QFETCH(QString, proxy);
    QProcessEnvironment environment;
    for (const QString &variable : std::as_const(variables))
        environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
    ProxyChoice::Settings settings;
    Failure failure;
    QVERIFY2(ProxyChoice::fromEnvironment(environment, &settings, &failure), qPrintable(failure.plain()));
    QCOMPARE(ProxyChoice::forUrl(url, settings).toString(), proxy);
}

void TestProxyChoice::aBadVariableIsNamed()
{
    QProcessEnvironment environment;
    environment.insert(u"https_proxy"_s, u"quic://p"_s);
    ProxyChoice::Settings settings;
    Failure failure;
    QVERIFY(!ProxyChoice::fromEnvironment(environment, &settings, &failure));
    QVERIFY2(failure.plain().contains(u"https_proxy"_s), qPrintable(failure.plain()));
    QCOMPARE(failure.subject.title, u"quic://p"_s);
}

void TestProxyChoice::exceptions_data()
{
    QTest::addColumn<QString>("exception");
    QTest::addColumn<QUrl>("url");
    QTest::addColumn<bool>("direct");
    const auto row = [](const char *name, const char *exception, const char *url, bool direct) {
        QTest::newRow(name) << QString::fromLatin1(exception) << QUrl(QString::fromLatin1(url)) << direct;
    };
    row("the host", "example.com", "http://example.com/", true);
    row("in capitals", "Example.COM", "http://example.com/", true);
    row("a host below the domain", "example.com", "http://www.example.com/", true);
    row("a leading dot, below", ".example.com", "http://www.example.com/", true);
    row("a leading dot, the domain itself", ".example.com", "http://example.com/", true);
    row("a star and a dot", "*.example.com", "http://www.example.com/", true);
    row("a host that only ends alike", "example.com", "http://notexample.com/", false);
    row("a host above", "www.example.com", "http://example.com/", false);
    row("all", "*", "http://example.com/", true);
    row("a dot at the end", "example.com.", "http://example.com/", true);
    row("a dot at the host's end", "example.com", "http://example.com./", true);
    row("a lone dot is nobody", ".", "http://example.com/", false);
    row("the port", "example.com:8080", "http://example.com:8080/", true);
    row("another port", "example.com:8080", "http://example.com/", false);
    row("the scheme's own port", "example.com:443", "https://example.com/", true);
    row("an address", "127.0.0.1", "http://127.0.0.1/", true);
    row("an address and a port", "127.0.0.1:81", "http://127.0.0.1:82/", false);
    row("an address has no domain", "0.0.1", "http://127.0.0.1/", false);
    row("an address of six", "::1", "http://[::1]/", true);
    row("an address of six in brackets", "[::1]", "http://[::1]/", true);
    row("an address of six with a port", "[::1]:80", "http://[::1]/", true);
    row("a network", "10.0.0.0/8", "http://10.1.2.3/", true);
    row("outside of the network", "10.0.0.0/8", "http://11.1.2.3/", false);
    row("a network of six", "fe80::/10", "http://[fe80::7]/", true);
    row("a network that is none", "10.0.0.0/99", "http://10.1.2.3/", false);
    row("loopback is a host like another", "example.com", "http://127.0.0.1/", false);
    row("localhost, too", "example.com", "http://localhost/", false);
}

void TestProxyChoice::exceptions()
{
    QFETCH(QString, exception);
    QFETCH(QUrl, url);
    QFETCH(bool, direct);
    ProxyChoice::Settings settings;
    settings.otherwise = QUrl(u"http://p:1"_s);
    settings.exceptions = {u"unrelated.example"_s, exception};
    QCOMPARE(ProxyChoice::forUrl(url, settings).isEmpty(), direct);
}

void TestProxyChoice::aGivenProxyServesEveryUrl()
{
    ProxyChoice::Settings settings;
    settings.http = QUrl(u"http://p:1"_s);
    settings.everywhere = QUrl(u"socks5://q:2"_s);
    for (const QString &scheme : {u"http"_s, u"https"_s, u"ftp"_s})
        QCOMPARE(ProxyChoice::forUrl(QUrl(scheme + u"://a/"_s), settings), settings.everywhere);
}

void TestProxyChoice::exceptionsHoldForAGivenProxyToo()
{
    ProxyChoice::Settings settings;
    settings.everywhere = QUrl(u"socks5://q:2"_s);
    settings.exceptions = {u"a"_s};
    QVERIFY(ProxyChoice::forUrl(QUrl(u"http://a/"_s), settings).isEmpty());
}

QTEST_GUILESS_MAIN(TestProxyChoice)
#include "tst_proxychoice.moc"
