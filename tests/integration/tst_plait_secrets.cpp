// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/authentication.h>
#include <tests/support/scriptedproxy.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kDone = 0;
constexpr int kAuthentication = 24;
constexpr quint64 kSeed = 29;
constexpr qint64 kSize = 3000;
const QString kName = u"file.bin"_s;
/// Stands in every secret of these tests and nowhere else.
const QByteArray kSecret = QByteArrayLiteral("s3cr3t");
const QByteArray kLogin = "me:" + kSecret;

/// In base64, too.
bool holdsSecret(const QByteArray &text)
{
    return text.contains(kSecret) || text.contains(kLogin.toBase64(QByteArray::OmitTrailingEquals).chopped(1));
}

bool holdsSecret(const ScriptedRequest &request)
{
    return holdsSecret(request.target) || holdsSecret(request.body)
        || std::any_of(request.headers.cbegin(), request.headers.cend(),
                       [](const ScriptedRequest::Header &header) { return holdsSecret(header.second); });
}

bool holdsSecret(const QList<ScriptedRequest> &requests)
{
    return std::any_of(requests.cbegin(), requests.cend(),
                       [](const ScriptedRequest &request) { return holdsSecret(request); });
}

/// Where the first server sends people.
enum class Place {
    SameServer,
    OtherPort,
    OtherHost,
    FromHttpToHttps,
    FromHttpsToHttp,
};

constexpr Place kPlaces[] = {Place::SameServer, Place::OtherPort, Place::OtherHost, Place::FromHttpToHttps,
                             Place::FromHttpsToHttp};

const char *nameOf(Place place)
{
    switch (place) {
    case Place::SameServer:
        return "the same server";
    case Place::OtherPort:
        return "another port";
    case Place::OtherHost:
        return "another host";
    case Place::FromHttpToHttps:
        return "https";
    case Place::FromHttpsToHttp:
        return "http, from https";
    }
    return "";
}

/// A secret, and to whom it goes besides the server that it was given for.
struct Secret {
    const char *name;
    QStringList arguments;
    bool isInAddress = false;
    bool isAskedFor = false; ///< servers ask for it, or do not get it
    QList<Place> alsoGoesTo = {};
    bool mayStayInList = false;
    bool mayBeTold = false; ///< in the log
};

QStringList headerOption(const char *option, const char *name)
{
    return {QString::fromLatin1(option), QString::fromLatin1(name) + u": "_s + QString::fromLatin1(kSecret)};
}

}

Q_DECLARE_METATYPE(Secret)
Q_DECLARE_METATYPE(Place)

/// Who gets what of that which a person gives along, and where it is left.
class TestPlaitSecrets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void whoGetsWhat_data();
    void whoGetsWhat();
    void aProxysLoginIsForTheProxy_data();
    void aProxysLoginIsForTheProxy();
    void aMirrorGetsWhatIsForAllAlone();
    void nobodyReadsASecretOffTheProcess_data();
    void nobodyReadsASecretOffTheProcess();
    void whatIsNotToBeSetIsRefusedUnsent_data();
    void whatIsNotToBeSetIsRefusedUnsent();

private:
    QString writeFile(const QString &name, const QByteArray &text) const;
    QList<Secret> secrets() const;
    void addRows(const Secret &secret, const QList<int> &statuses) const;
    /// In the list, the log, and any other file that the program left.
    void verifyPlaces(const Secret &secret, const PlaitResult &result) const;

    TestCa m_ca;
    QTemporaryDir m_dir;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitSecrets::initTestCase()
{
    QVERIFY2(m_ca.isValid(), qPrintable(m_ca.errorText()));
}

void TestPlaitSecrets::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
}

QString TestPlaitSecrets::writeFile(const QString &name, const QByteArray &text) const
{
    QFile file(m_dir.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("cannot write a file");
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    return file.fileName();
}

QList<Secret> TestPlaitSecrets::secrets() const
{
    const QString netrc = writeFile(u"netrc"_s, "machine 127.0.0.1 login me password " + kSecret + '\n');
    const QString cookies = writeFile(u"cookies.txt"_s, "127.0.0.1\tFALSE\t/\tFALSE\t0\tid\t" + kSecret + '\n');
    const QList<Place> everywhere(std::begin(kPlaces), std::end(kPlaces));
    // A cookie knows no ports, a netrc file trusts its machine over https.
    const QList<Place> sameHost{Place::OtherPort, Place::FromHttpToHttps, Place::FromHttpsToHttp};
    QList<Secret> list{
        {"a login in the address", {}, true, true},
        {"--user", {u"--user"_s, QString::fromLatin1(kLogin)}, false, true},
        {"a netrc file", {u"--netrc-file"_s, netrc}, false, true, {Place::FromHttpToHttps}},
        {"a cookie of a file", {u"--load-cookies"_s, cookies}, false, false, sameHost},
        {"a body", {u"--post-data"_s, u"password="_s + QString::fromLatin1(kSecret)}, false, false, {}, true},
        {"a harmless header", headerOption("--header", "Accept-Language"), false, false, everywhere, true, true},
        {"a header for all", headerOption("--header-for-all", "X-Vault-Token"), false, false, everywhere},
    };
    for (const char *name : {"X-Vault-Token", "X-GitHub-Token", "DD-API-KEY", "Ocp-Apim-Subscription-Key",
                             "X-Session-Id", "Authorization", "Cookie", "X-Nobody-Knows"})
        list.append({name, headerOption("--header", name)});
    return list;
}

void TestPlaitSecrets::addRows(const Secret &secret, const QList<int> &statuses) const
{
    for (const Place place : kPlaces) {
        for (const int status : statuses)
            QTest::addRow("%s, %d to %s", secret.name, status, nameOf(place)) << secret << status << place;
    }
}

void TestPlaitSecrets::whoGetsWhat_data()
{
    QTest::addColumn<Secret>("secret");
    QTest::addColumn<int>("status");
    QTest::addColumn<Place>("place");
    const QList<QByteArray> withEveryStatus{"a login in the address", "a body", "X-Vault-Token", "a header for all"};
    for (const Secret &secret : secrets())
        addRows(secret, withEveryStatus.contains(secret.name) ? QList<int>{301, 302, 303, 307, 308} : QList<int>{302});
}

void TestPlaitSecrets::whoGetsWhat()
{
    QFETCH(Secret, secret);
    QFETCH(int, status);
    QFETCH(Place, place);
    const QSslConfiguration tls = m_ca.serverConfiguration();
    ScriptedServer plain;
    ScriptedServer otherPlain;
    ScriptedServer secure(tls);
    const bool isHome = place == Place::SameServer;
    ScriptedServer &first = place == Place::FromHttpsToHttp ? secure : plain;
    ScriptedServer &second = isHome ? plain : place == Place::FromHttpToHttps ? secure : otherPlain;
    const ScriptedResponse file = ScriptedResponse::file(kSeed, kSize);
    const auto guarded = [&](const ScriptedResponse &response) -> ScriptedServer::Handler {
        return secret.isAskedFor ? Authentication::basic(kLogin, response)
                                 : [response](const ScriptedRequest &) { return response; };
    };
    QUrl target = second.url(u"/file.bin"_s);
    if (place == Place::OtherHost)
        target.setHost(u"localhost"_s);
    second.setHandler("/file.bin", guarded(file));
    first.setHandler("/go", guarded(ScriptedResponse::redirect(target.toEncoded(), status)));
    QUrl url = first.url(u"/go"_s);
    if (secret.isInAddress)
        url.setUserInfo(QString::fromLatin1(kLogin));
    const QStringList always{u"--ca-certificate"_s,
                             m_ca.caFile(),
                             u"--json"_s,
                             u"--log"_s,
                             QDir(m_plait->dataHome()).filePath(u"plait.log"_s),
                             u"--log-level"_s,
                             u"9"_s};

    const PlaitResult result = m_plait->run(always + secret.arguments + QStringList{url.toString()});

    const bool isMeant = isHome || secret.alsoGoesTo.contains(place);
    const bool isLetIn = isMeant || !secret.isAskedFor;
    QVERIFY2(result.status == (isLetIn ? kDone : kAuthentication), result.err + result.out);
    QVERIFY2(holdsSecret(first.requests("/go")), "the server that it was given for gets it");
    QVERIFY(!second.requests("/file.bin").isEmpty());
    // A body is asked for once; what is redirected may become a GET.
    if (!isHome || !secret.arguments.contains(u"--post-data"_s))
        QCOMPARE(holdsSecret(second.requests("/file.bin")), isMeant);
    if (isLetIn)
        QCOMPARE(TestFiles::sha256OfFile(m_plait->path(kName)), TestFiles::sha256OfContent(kSeed, kSize));
    verifyPlaces(secret, result);
}

void TestPlaitSecrets::verifyPlaces(const Secret &secret, const PlaitResult &result) const
{
    QVERIFY2(!holdsSecret(result.out) && !holdsSecret(result.err), result.out + result.err);
    QDirIterator files(m_plait->dataHome(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    QStringList names;
    while (files.hasNext()) {
        const QString path = files.next();
        const bool isList = path.contains(u"downloads.sqlite"_s);
        const bool mayHold = isList ? secret.mayStayInList : secret.mayBeTold;
        QVERIFY2(mayHold || !holdsSecret(TestFiles::readFile(path)), qPrintable(path));
        names.append(QFileInfo(path).fileName());
    }
    QVERIFY2(names.contains(u"downloads.sqlite"_s) && names.contains(u"plait.log"_s), qPrintable(names.join(u' ')));
}

void TestPlaitSecrets::aProxysLoginIsForTheProxy_data()
{
    QTest::addColumn<bool>("isTunnel");
    QTest::newRow("that reads requests") << false;
    QTest::newRow("that passes on what it cannot read") << true;
}

void TestPlaitSecrets::aProxysLoginIsForTheProxy()
{
    QFETCH(bool, isTunnel);
    ScriptedServer plain;
    ScriptedServer secure(m_ca.serverConfiguration());
    ScriptedServer &server = isTunnel ? secure : plain;
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    ScriptedProxy proxy;
    proxy.setLogin(kLogin);
    const QString log = QDir(m_plait->dataHome()).filePath(u"plait.log"_s);
    const PlaitResult result = m_plait->run({u"--proxy"_s, proxy.url(u"http"_s, QString::fromLatin1(kLogin)).toString(),
                                             u"--ca-certificate"_s, m_ca.caFile(), u"--json"_s, u"--log"_s, log,
                                             u"--log-level"_s, u"9"_s, server.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(proxy.calls().last().login, kLogin);
    QVERIFY(!server.requests().isEmpty());
    QVERIFY(!holdsSecret(server.requests()));
    verifyPlaces({}, result);
}

void TestPlaitSecrets::aMirrorGetsWhatIsForAllAlone()
{
    ScriptedServer first;
    ScriptedServer second;
    first.setResponse("/file.bin", ScriptedResponse::error(404));
    second.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    const PlaitResult result =
        m_plait->run({u"--header"_s, u"X-Vault-Token: "_s + QString::fromLatin1(kSecret), u"--header-for-all"_s,
                      u"X-Team: blue"_s, u"--header"_s, u"Accept: a/b"_s, first.url(u"/file.bin"_s).toString(),
                      u"--mirror"_s, second.url(u"/file.bin"_s).toString()});
    QVERIFY2(result.status == kDone, result.err);
    for (const ScriptedRequest &request : first.requests())
        QCOMPARE(request.header("X-Vault-Token"), kSecret);
    const ScriptedRequest request = second.requests().first();
    QVERIFY(!holdsSecret(request));
    QCOMPARE(request.header("X-Team"), "blue");
    QCOMPARE(request.header("Accept"), "a/b");
}

void TestPlaitSecrets::nobodyReadsASecretOffTheProcess_data()
{
    QTest::addColumn<QStringList>("arguments");
    const QString secret = QString::fromLatin1(kSecret);
    const QString header = u"X-Vault-Token: "_s + secret;
    QTest::newRow("--header") << QStringList{u"--header"_s, header};
    QTest::newRow("--header=") << QStringList{u"--header="_s + header};
    QTest::newRow("--header-for-all") << QStringList{u"--header-for-all"_s, header};
    QTest::newRow("--header-for-all=") << QStringList{u"--header-for-all="_s + header};
    QTest::newRow("--user") << QStringList{u"--user"_s, u"me:"_s + secret};
    QTest::newRow("--post-data=") << QStringList{u"--post-data=a="_s + secret};
    QTest::newRow("a login in a mirror's address")
        << QStringList{u"--mirror"_s, u"http://me:"_s + secret + u"@127.0.0.1:PORT/file.bin?b"_s};
}

void TestPlaitSecrets::nobodyReadsASecretOffTheProcess()
{
    QFETCH(QStringList, arguments);
    ScriptedServer server;
    ScriptedResponse held = ScriptedResponse::file(kSeed, kSize);
    held.headGate = u"head"_s;
    server.setResponse("/file.bin", held);
    arguments.replaceInStrings(u"PORT"_s, QString::number(server.port()));
    m_plait->start(arguments + QStringList{server.url(u"/file.bin"_s).toString()});
    QVERIFY2(server.waitForHeld(u"head"_s), m_plait->errorText());
    const QByteArray line = TestFiles::readFile(u"/proc/%1/cmdline"_s.arg(m_plait->processId()));
    QVERIFY2(line.contains("file.bin") && !holdsSecret(line), line);
    server.release(u"head"_s);
    QCOMPARE(m_plait->finish().status, kDone);
}

void TestPlaitSecrets::whatIsNotToBeSetIsRefusedUnsent_data()
{
    QTest::addColumn<QString>("header");
    QTest::addColumn<QByteArray>("said");
    QTest::newRow("Range") << u"Range: bytes=5-"_s << QByteArray("Resume the download instead.");
    QTest::newRow("If-Range") << u"if-range: \"a\""_s << QByteArray("Resume the download instead.");
    QTest::newRow("Content-Length") << u"Content-Length: 3"_s << QByteArray("it follows from what is sent");
    QTest::newRow("Transfer-Encoding") << u"Transfer-Encoding: chunked"_s << QByteArray("it follows from what is sent");
}

void TestPlaitSecrets::whatIsNotToBeSetIsRefusedUnsent()
{
    QFETCH(QString, header);
    QFETCH(QByteArray, said);
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    const PlaitResult result = m_plait->run({u"--header"_s, header, server.url(u"/file.bin"_s).toString()});
    QCOMPARE(result.status, 28);
    QVERIFY2(result.err.contains(said), result.err);
    QVERIFY(server.requests().isEmpty());
}

QTEST_GUILESS_MAIN(TestPlaitSecrets)
#include "tst_plait_secrets.moc"
