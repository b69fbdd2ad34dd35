// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/authentication.h>
#include <tests/support/scriptedproxy.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kUnfinished = 7;
constexpr int kAuthentication = 24;
constexpr quint64 kSeed = 17;
constexpr qint64 kSize = 4000000;
constexpr qint64 kSmallSize = 100000;
const QString kName = u"file.bin"_s;
/// Stands in every secret of these tests and nowhere else.
const QByteArray kSecret = QByteArrayLiteral("s3cr3t");

/// In base64, too, wherever in a triple it begins.
QList<QByteArray> shapesOfTheSecret()
{
    QList<QByteArray> shapes{kSecret};
    for (const QByteArray &login : {"me:" + kSecret, "you:" + kSecret, "agent:" + kSecret}) {
        shapes.append(login.toBase64(QByteArray::OmitTrailingEquals).chopped(1));
    }
    return shapes;
}

bool holdsSecret(const QByteArray &text)
{
    const QList<QByteArray> shapes = shapesOfTheSecret();
    return std::any_of(shapes.cbegin(), shapes.cend(),
                       [&text](const QByteArray &shape) { return text.contains(shape); });
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Command lines of this process's children, as anybody on the machine can read them.
QList<QByteArray> childrensCommandLines()
{
    QList<QByteArray> lines;
    const QByteArray parent = "\nPPid:\t" + QByteArray::number(QCoreApplication::applicationPid()) + '\n';
    const QStringList processes = QDir(u"/proc"_s).entryList({u"[0-9]*"_s}, QDir::Dirs);
    for (const QString &process : processes) {
        if (contentOf(u"/proc/"_s + process + u"/status"_s).contains(parent)) {
            lines.append(contentOf(u"/proc/"_s + process + u"/cmdline"_s));
        }
    }
    return lines;
}
}

/// Who has to say who he is gets in, and nobody else learns how.
class TestPlaitCredentials : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void everySectionIsLetIn_data();
    void everySectionIsLetIn();
    void aServerThatAsksForADigestIsAnswered();
    void aBearerIsAHeader();
    void wrongCredentialsAreAnAuthenticationProblem();
    void noCredentialsAreAnAuthenticationProblem();
    void aProxyThatAsksIsNamed();
    void nothingFollowsARedirectToAnotherOrigin_data();
    void nothingFollowsARedirectToAnotherOrigin();
    void aRedirectWithinTheOriginKeepsTheCredentials();
    void aMirrorHasItsOwnLogin();
    void cookiesOfAFileAreSent();
    void aProxyThatAsksIsAnswered_data();
    void aProxyThatAsksIsAnswered();
    void secretsAreShownAndKeptNowhere();

private:
    QString writeFile(const QString &name, const QByteArray &text) const;
    bool arrivedWhole(qint64 size) const;
    void verifyNoSecretCame(const ScriptedServer &server) const;
    void verifyNoSecretIsKept() const;

    RealServers m_servers;
    std::unique_ptr<PlaitSandbox> m_plait;
    QTemporaryDir m_dir;
};

void TestPlaitCredentials::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    QVERIFY(m_servers.addFile(kName, kSeed, kSize));
}

void TestPlaitCredentials::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
}

QString TestPlaitCredentials::writeFile(const QString &name, const QByteArray &text) const
{
    QFile file(m_dir.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
        qFatal("cannot write a file");
    }
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    return file.fileName();
}

bool TestPlaitCredentials::arrivedWhole(qint64 size) const
{
    return TestFiles::sha256OfFile(m_plait->path(kName)) == TestFiles::sha256OfContent(kSeed, size);
}

void TestPlaitCredentials::verifyNoSecretCame(const ScriptedServer &server) const
{
    for (const ScriptedRequest &request : server.requests()) {
        QVERIFY2(!holdsSecret(request.target) && !holdsSecret(request.body), request.target.constData());
        for (const auto &[name, value] : request.headers) {
            QVERIFY2(!holdsSecret(value), name.constData());
        }
    }
}

/// Not in the list, not in a log, nor in any other file that the program left.
void TestPlaitCredentials::verifyNoSecretIsKept() const
{
    QDirIterator files(m_plait->dataHome(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    int count = 0;
    while (files.hasNext()) {
        const QString path = files.next();
        QVERIFY2(!holdsSecret(contentOf(path)), qPrintable(path));
        ++count;
    }
    QVERIFY(count > 0);
}

void TestPlaitCredentials::everySectionIsLetIn_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::newRow("with the login in the URL") << QByteArray("url");
    QTest::newRow("with --user") << QByteArray("user");
    QTest::newRow("with a netrc file") << QByteArray("netrc");
    QTest::newRow("with --user and the password of a netrc file") << QByteArray("both");
    QTest::newRow("with a header") << QByteArray("header");
}

void TestPlaitCredentials::everySectionIsLetIn()
{
    QFETCH(QByteArray, source);
    QUrl url = m_servers.nginx().url(u"/private/800k/"_s + kName);
    QStringList arguments;
    if (source == "url") {
        url.setUserInfo(QString::fromLatin1(NginxServer::kLogin));
    } else if (source == "user") {
        arguments << u"--user"_s << QString::fromLatin1(NginxServer::kLogin);
    } else if (source == "header") {
        arguments << u"--header"_s
                  << u"Authorization: "_s + QString::fromLatin1(Authentication::basicHeader(NginxServer::kLogin));
    } else {
        arguments << u"--netrc-file"_s << writeFile(u"netrc"_s, "machine 127.0.0.1 login me password secret\n");
    }
    if (source == "both") {
        arguments << u"--user"_s << u"me"_s;
    }
    const QString agent = u"plait-"_s + QString::fromLatin1(source);
    const PlaitResult result = m_plait->run(arguments + QStringList{u"--user-agent"_s, agent, url.toString()});
    QVERIFY2(result.status == kDone, result.err.constData());
    QVERIFY(arrivedWhole(kSize));
    int pieces = 0;
    for (const RealServer::LogEntry &entry : m_servers.nginx().logEntriesOf(agent.toLatin1())) {
        pieces += entry.status == 206 ? 1 : 0;
    }
    QVERIFY2(pieces >= 1, m_servers.nginx().accessLog().constData());
}

void TestPlaitCredentials::aServerThatAsksForADigestIsAnswered()
{
    ScriptedServer server;
    server.setHandler("/file.bin", Authentication::digest("me:" + kSecret, ScriptedResponse::file(kSeed, kSize)));
    const PlaitResult result =
        m_plait->run({u"--user"_s, u"me:"_s + QString::fromLatin1(kSecret), server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == kDone, result.err.constData());
    QVERIFY(arrivedWhole(kSize));
}

void TestPlaitCredentials::aBearerIsAHeader()
{
    ScriptedServer server;
    server.setHandler("/file.bin", Authentication::bearer(kSecret, ScriptedResponse::file(kSeed, kSmallSize)));
    const PlaitResult result = m_plait->run({u"--header"_s, u"Authorization: Bearer "_s + QString::fromLatin1(kSecret),
                                             server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == kDone, result.err.constData());
    QVERIFY(arrivedWhole(kSmallSize));
}

void TestPlaitCredentials::wrongCredentialsAreAnAuthenticationProblem()
{
    ScriptedServer server;
    server.setHandler("/file.bin", Authentication::basic("me:right", ScriptedResponse::file(kSeed, kSmallSize)));
    const PlaitResult result = m_plait->run({u"--user"_s, u"me:wrong"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == kAuthentication, result.err.constData());
    QVERIFY2(result.err.contains("\"127.0.0.1\" does not let in \"me\" with that password (Basic realm \"realm\")"),
             result.err);
    QVERIFY(m_plait->files().isEmpty());
    QCOMPARE(server.requests().size(), 2);
}

void TestPlaitCredentials::noCredentialsAreAnAuthenticationProblem()
{
    const PlaitResult result = m_plait->run({m_servers.nginx().url(u"/private/800k/"_s + kName).toString()});
    QVERIFY2(result.status == kAuthentication, result.err.constData());
}

void TestPlaitCredentials::aProxyThatAsksIsNamed()
{
    ScriptedServer proxy;
    proxy.setFallback([](const ScriptedRequest &) {
        return ScriptedResponse::error(407).withHeader("Proxy-Authenticate", "NTLM, Basic realm=\"a\tb\"");
    });
    const QString name = u"127.0.0.1:"_s + QString::number(proxy.port());
    const PlaitResult result = m_plait->run({u"--proxy"_s, u"http://"_s + name, u"http://files.example/file.bin"_s});
    QVERIFY2(result.status == kAuthentication, result.err.constData());
    const QByteArray said = "the proxy \"" + name.toUtf8() + "\" asks for a name and a password (Basic realm \"a?b\")";
    QVERIFY2(result.err.contains(said) || result.err.contains(QByteArray(said).replace('?', ' ')),
             result.err.constData());
    QVERIFY2(result.err.contains("(--proxy), as NAME:PASSWORD@ before the host."), result.err.constData());
}

void TestPlaitCredentials::nothingFollowsARedirectToAnotherOrigin_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("userInfo");
    QTest::addColumn<bool>("asks");
    const QString secret = QString::fromLatin1(kSecret);
    for (const bool asks : {false, true}) {
        const char *who = asks ? "a server that asks" : "a server that does not ask";
        QTest::addRow("the login of the URL to %s", who) << QStringList() << u"me:"_s + secret << asks;
        QTest::addRow("--user to %s", who) << QStringList{u"--user"_s, u"me:"_s + secret} << QString() << asks;
        for (const QString &header :
             {u"Authorization: Bearer "_s + secret, u"Cookie: id="_s + secret, u"X-Api-Key: "_s + secret}) {
            QTest::addRow("%s to %s", qPrintable(header.section(u':', 0, 0)), who)
                << QStringList{u"--header"_s, header} << QString() << asks;
        }
        QTest::addRow("a body to %s", who)
            << QStringList{u"--post-data"_s, u"password="_s + secret} << QString() << asks;
    }
}

void TestPlaitCredentials::nothingFollowsARedirectToAnotherOrigin()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, userInfo);
    QFETCH(bool, asks);
    ScriptedServer first;
    ScriptedServer second;
    const ScriptedResponse file = ScriptedResponse::file(kSeed, kSmallSize);
    second.setHandler(
        "/file.bin",
        asks ? Authentication::basic("me:" + kSecret, file) : [file](const ScriptedRequest &) { return file; });
    first.setResponse("/go", ScriptedResponse::redirect(second.url(u"/file.bin"_s).toEncoded(), 307));
    QUrl url = first.url(u"/go"_s);
    url.setUserInfo(userInfo);
    const PlaitResult result = m_plait->run(arguments + QStringList{url.toString()});
    QVERIFY2(result.status == (asks ? kAuthentication : kDone), result.err.constData());
    QVERIFY(!second.requests().isEmpty());
    verifyNoSecretCame(second);
    if (!asks) {
        QVERIFY(arrivedWhole(kSmallSize));
    }
}

void TestPlaitCredentials::aRedirectWithinTheOriginKeepsTheCredentials()
{
    ScriptedServer server;
    server.setHandler("/file.bin", Authentication::basic("me:" + kSecret, ScriptedResponse::file(kSeed, kSmallSize)));
    server.setResponse("/go", ScriptedResponse::redirect("/file.bin"));
    QUrl url = server.url(u"/go"_s);
    url.setUserInfo(u"me:"_s + QString::fromLatin1(kSecret));
    const PlaitResult result = m_plait->run({url.toString()});
    QVERIFY2(result.status == kDone, result.err.constData());
    QVERIFY(arrivedWhole(kSmallSize));
}

void TestPlaitCredentials::aMirrorHasItsOwnLogin()
{
    ScriptedServer first;
    ScriptedServer second;
    first.setResponse("/file.bin", ScriptedResponse::error(404));
    second.setHandler("/file.bin", Authentication::basic("you:" + kSecret, ScriptedResponse::file(kSeed, kSmallSize)));
    QUrl mirror = second.url(u"/file.bin"_s);
    mirror.setUserInfo(u"you:"_s + QString::fromLatin1(kSecret));
    const PlaitResult result = m_plait->run({first.url(u"/file.bin"_s).toString(), u"--mirror"_s, mirror.toString()});
    QVERIFY2(result.status == kDone, result.err.constData());
    QVERIFY(arrivedWhole(kSmallSize));
    verifyNoSecretCame(first);
    verifyNoSecretIsKept();
}

void TestPlaitCredentials::cookiesOfAFileAreSent()
{
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    const QString path =
        writeFile(u"cookies.txt"_s,
                  "127.0.0.1\tFALSE\t/\tFALSE\t0\tid\t" + kSecret + "\n127.0.0.1\tFALSE\t/\tTRUE\t0\tsafe\t1\n");
    const PlaitResult result = m_plait->run({u"--load-cookies"_s, path, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == kDone, result.err.constData());
    QCOMPARE(server.requests().first().header("Cookie"), "id=" + kSecret);
    verifyNoSecretIsKept();
}

void TestPlaitCredentials::aProxyThatAsksIsAnswered_data()
{
    QTest::addColumn<QString>("scheme");
    QTest::newRow("http") << u"http"_s;
    QTest::newRow("socks5") << u"socks5"_s;
}

void TestPlaitCredentials::aProxyThatAsksIsAnswered()
{
    QFETCH(QString, scheme);
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSmallSize));
    ScriptedProxy proxy;
    proxy.setLogin("agent:" + kSecret);
    const QString url = proxy.url(scheme, u"agent:"_s + QString::fromLatin1(kSecret)).toString();
    const PlaitResult result = m_plait->run({u"--proxy"_s, url, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == kDone, result.err.constData());
    QVERIFY(arrivedWhole(kSmallSize));
    QCOMPARE(proxy.calls().last().login, "agent:" + kSecret);
    verifyNoSecretIsKept();
}

void TestPlaitCredentials::secretsAreShownAndKeptNowhere()
{
    ScriptedServer server;
    ScriptedResponse file = ScriptedResponse::file(kSeed, kSmallSize);
    file.withHeader("Set-Cookie", "id=" + kSecret + "; Path=/");
    file.holdAfter = kSmallSize / 2;
    server.setHandler("/file.bin", Authentication::basic("me:" + kSecret, file));
    const QString secret = QString::fromLatin1(kSecret);
    QUrl url = server.url(u"/file.bin"_s);
    url.setUserInfo(u"me:"_s + secret);
    const QStringList log{u"--log"_s, QDir(m_plait->dataHome()).filePath(u"plait.log"_s), u"--log-level"_s, u"4"_s};
    m_plait->start(log
                   + QStringList{u"--json"_s, u"--user"_s, u"you:"_s + secret, u"--header"_s,
                                 u"Cookie: given="_s + secret, url.toString()});
    QVERIFY(server.waitForHeld(QString()));
    const QList<QByteArray> lines = childrensCommandLines();
    QVERIFY(lines.join().contains("file.bin"));
    for (const QByteArray &line : lines) {
        QVERIFY2(!holdsSecret(line), line.constData());
    }
    m_plait->sendSignal(SIGTERM);
    const PlaitResult result = m_plait->finish();
    QVERIFY2(result.status == kUnfinished, result.err.constData());
    QVERIFY2(!holdsSecret(result.out) && !holdsSecret(result.err), (result.out + result.err).constData());
    verifyNoSecretIsKept();
    QVERIFY(!contentOf(log.at(1)).isEmpty());
    for (const QStringList &command :
         {QStringList{u"list"_s}, QStringList{u"list"_s, u"--json"_s}, QStringList{u"show"_s, u"1"_s}}) {
        const PlaitResult listed = m_plait->runBare(command);
        QVERIFY2(listed.status == kDone, listed.err.constData());
        QVERIFY2(listed.out.contains("file.bin") && !holdsSecret(listed.out), listed.out.constData());
    }
}

QTEST_GUILESS_MAIN(TestPlaitCredentials)
#include "tst_plait_credentials.moc"
