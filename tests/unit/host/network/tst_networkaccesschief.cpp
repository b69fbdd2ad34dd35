// SPDX-License-Identifier: MIT
#include <host/network/networkaccesschief.h>
#include <host/network/sharedcookiejar.h>
#include <host/network/transferhub.h>
#include <host/network/transfermanager.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QNetworkCookieJar>
#include <QNetworkReply>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Manager = QSharedPointer<QNetworkAccessManager>;

bool waitForEnd(const QNetworkReply *reply)
{
    return QTest::qWaitFor([reply] { return reply->isFinished(); }, ScriptedServer::kPatienceMs);
}

}

class TestNetworkAccessChief : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void allTransfersShareOneManager();
    void aConnectionServesAgain();
    void theChiefMayGoBeforeItsManagers();
    void theManagerMayGoBeforeItsReplies();
    void theJarOutlivesTheManager();
    void handOutsAreAskedForEarly();
    void aCookieOfOneAnswerGoesWithTheNextRequest();
    void requestsAskForIdentity();
    void aRequestMayAskForAnotherEncoding();
    void aFurtherAuthorityIsTrusted();
    void aFileWithoutCertificatesIsRefused();
    void aRedirectCannotReachLocalFiles();
    void settingsAreHandedOn();

private:
    Manager take(const QString &path = u"/file"_s) { return m_chief->takeManager(m_server->url(path)); }
    QNetworkReply *get(const Manager &manager) const
    {
        return manager->get(QNetworkRequest(m_server->url(u"/file"_s)));
    }

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<NetworkAccessChief> m_chief;
};

void TestNetworkAccessChief::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_server->setResponse("/file", ScriptedResponse::ok("content"));
    m_chief = std::make_unique<NetworkAccessChief>();
}

void TestNetworkAccessChief::cleanup()
{
    m_chief.reset();
    m_server.reset();
}

void TestNetworkAccessChief::allTransfersShareOneManager()
{
    const Manager first = take();
    QVERIFY(first);
    QCOMPARE(m_chief->takeManager(QUrl(u"ftp://host/x"_s)), first);
    m_chief->returnManager(first, m_server->url(u"/file"_s));
    m_chief->returnManager({}, QUrl(u"http://host/"_s));
    QCOMPARE(take(u"/another"_s), first);
}

void TestNetworkAccessChief::aConnectionServesAgain()
{
    for (int i = 0; i < 3; ++i) {
        const std::unique_ptr<QNetworkReply> reply(get(take()));
        QVERIFY(waitForEnd(reply.get()));
        QCOMPARE(reply->readAll(), QByteArray("content"));
    }
    QCOMPARE(m_server->requests().size(), 3);
    QCOMPARE(m_server->connectionCount(), 1);
}

void TestNetworkAccessChief::theChiefMayGoBeforeItsManagers()
{
    const Manager manager = take();
    m_chief.reset();
    const std::unique_ptr<QNetworkReply> reply(get(manager));
    QVERIFY(waitForEnd(reply.get()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
}

/// Who took a reply out of its manager's hands keeps it.
void TestNetworkAccessChief::theManagerMayGoBeforeItsReplies()
{
    ScriptedResponse held = ScriptedResponse::ok("content").withHeader("Set-Cookie", "a=1");
    held.headGate = u"head"_s;
    m_server->setResponse("/file", held);
    Manager manager = take();
    const QPointer<QNetworkAccessManager> watched(manager.get());
    const std::unique_ptr<QNetworkReply> reply(get(manager));
    reply->setParent(nullptr);
    m_chief.reset();
    manager.clear();
    QTRY_VERIFY(watched.isNull());
    m_server->release(u"head"_s);
    QVERIFY(waitForEnd(reply.get()));
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(reply->readAll(), QByteArray("content"));
}

void TestNetworkAccessChief::theJarOutlivesTheManager()
{
    const auto jar = QSharedPointer<SharedCookieJar>::create();
    auto manager = std::make_unique<TransferManager>(std::make_shared<TransferHub>(jar));
    QCOMPARE(manager->cookieJar(), jar.get());
    const QPointer<QNetworkCookieJar> watched(jar.get());
    manager.reset();
    QVERIFY(watched);
}

/// What lies in memory is neither on disk nor room for what comes next.
void TestNetworkAccessChief::handOutsAreAskedForEarly()
{
    QCOMPARE(m_chief->property(NetworkAccessChief::kEarlyHandOutSize).toLongLong(), qint64(1));
}

void TestNetworkAccessChief::aCookieOfOneAnswerGoesWithTheNextRequest()
{
    m_server->setResponse("/file", ScriptedResponse::ok("x").withHeader("Set-Cookie", "session=7; Path=/"));
    const Manager first = take();
    const Manager second = take();
    const std::unique_ptr<QNetworkReply> setting(get(first));
    QVERIFY(waitForEnd(setting.get()));
    const std::unique_ptr<QNetworkReply> sending(get(second));
    QVERIFY(waitForEnd(sending.get()));
    QVERIFY(!m_server->requests().first().hasHeader("Cookie"));
    QCOMPARE(m_server->requests().last().header("Cookie"), QByteArray("session=7"));
}

void TestNetworkAccessChief::requestsAskForIdentity()
{
    const Manager manager = take();
    const std::unique_ptr<QNetworkReply> reply(get(manager));
    QVERIFY(waitForEnd(reply.get()));
    QCOMPARE(m_server->requests().first().header("Accept-Encoding"), QByteArray("identity"));
}

void TestNetworkAccessChief::aRequestMayAskForAnotherEncoding()
{
    const Manager manager = take();
    QNetworkRequest request(m_server->url(u"/file"_s));
    request.setRawHeader("accept-encoding", "br");
    const std::unique_ptr<QNetworkReply> reply(manager->get(request));
    QVERIFY(waitForEnd(reply.get()));
    QCOMPARE(m_server->requests().first().header("Accept-Encoding"), QByteArray("br"));
}

void TestNetworkAccessChief::aFurtherAuthorityIsTrusted()
{
    const TestCa ca;
    QVERIFY2(ca.isValid(), qPrintable(ca.errorText()));
    m_server = std::make_unique<ScriptedServer>(ca.serverConfiguration());
    m_server->setResponse("/file", ScriptedResponse::ok("content"));
    Failure failure;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &failure), qPrintable(failure.plain()));
    const Manager manager = take();
    const std::unique_ptr<QNetworkReply> reply(get(manager));
    QVERIFY(waitForEnd(reply.get()));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
}

void TestNetworkAccessChief::aFileWithoutCertificatesIsRefused()
{
    const QTemporaryDir dir;
    Failure failure;
    QVERIFY(!m_chief->addCaCertificates(dir.filePath(u"missing.pem"_s), &failure));
    QVERIFY2(failure.subject.path.contains(u"missing.pem"_s), qPrintable(failure.plain()));
    QFile file(dir.filePath(u"empty.pem"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QVERIFY(!m_chief->addCaCertificates(file.fileName(), &failure));
    QVERIFY2(failure.plain().contains(u"no-certificates"_s), qPrintable(failure.plain()));
}

void TestNetworkAccessChief::aRedirectCannotReachLocalFiles()
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(u"local.txt"_s);
    QVERIFY(TestFiles::writeFile(path, 1, 10));
    const Manager manager = take();
    const std::unique_ptr<QNetworkReply> reply(manager->get(QNetworkRequest(QUrl::fromLocalFile(path))));
    QVERIFY(waitForEnd(reply.get()));
    QCOMPARE(reply->error(), QNetworkReply::ProtocolUnknownError);
    QVERIFY2(reply->errorString().contains(path), qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray());
}

void TestNetworkAccessChief::settingsAreHandedOn()
{
    QVERIFY(m_chief->consumersStats());
    QCOMPARE(m_chief->usageSettings(), NetworkUsageSettings());
    QCOMPARE(m_chief->defaultConsumerSettings(), AbstractNetworkConsumerSettings());
    NetworkUsageSettings usage;
    usage.downloadLimit = 5;
    m_chief->setUsageSettings(usage);
    QCOMPARE(m_chief->usageSettings(), usage);
    AbstractNetworkConsumerSettings settings;
    settings.ignoreSslErrors = true;
    m_chief->setDefaultConsumerSettings(settings);
    QCOMPARE(m_chief->defaultConsumerSettings(), settings);
}

QTEST_GUILESS_MAIN(TestNetworkAccessChief)
#include "tst_networkaccesschief.moc"
