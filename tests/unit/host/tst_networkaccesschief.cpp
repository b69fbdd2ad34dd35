// SPDX-License-Identifier: MIT
#include <host/network/guardednetworkaccessmanager.h>
#include <host/network/networkaccesschief.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QNetworkCookieJar>
#include <QNetworkReply>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

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

    void aManagerServesOneTransferAtATime();
    void aManagerThatCameBackServesTheSameServer();
    void anotherServerGetsAnotherManager_data();
    void anotherServerGetsAnotherManager();
    void theDefaultPortIsAPortLikeAnother();
    void aConnectionServesAgain();
    void aManagerThatStillTransfersIsNotHandedOut();
    void anAbortedReplyDoesNotKeepItsManager();
    void anIdleManagerIsLetGoAfterAWhile();
    void tooManyIdleManagersAreLetGo();
    void aManagerIsNotDeletedUnderALivingReply();
    void aReplyThatLeftItsManagerKeepsItAlive();
    void theChiefMayGoBeforeItsManagers();
    void allShareOneCookieJar();
    void theJarOutlivesTheManagers();
    void requestsAskForIdentity();
    void aRequestMayAskForAnotherEncoding();
    void aFurtherAuthorityIsTrusted();
    void aFileWithoutCertificatesIsRefused();
    void aRedirectCannotReachLocalFiles();
    void settingsAreHandedOn();
    void noManagerIsNoManager();

private:
    Manager take(const QString &path = u"/file"_s) { return m_chief->takeManager(m_server->url(path)); }
    QNetworkReply *get(const Manager &manager) const
    {
        return manager->get(QNetworkRequest(m_server->url(u"/file"_s)));
    }
    void giveBack(const Manager &manager) { m_chief->returnManager(manager, m_server->url(u"/file"_s)); }

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

void TestNetworkAccessChief::aManagerServesOneTransferAtATime()
{
    const Manager first = take();
    const Manager second = take();
    QVERIFY(first && second);
    QVERIFY(first != second);
}

void TestNetworkAccessChief::aManagerThatCameBackServesTheSameServer()
{
    Manager manager = take();
    const QNetworkAccessManager *const before = manager.get();
    giveBack(manager);
    manager.clear();
    QCOMPARE(m_chief->idleManagersCount(), 1);
    QCOMPARE(take(u"/another/path?q"_s).get(), before);
    QCOMPARE(m_chief->idleManagersCount(), 0);
}

void TestNetworkAccessChief::anotherServerGetsAnotherManager_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::newRow("another scheme") << QUrl(u"https://host:80/x"_s);
    QTest::newRow("another host") << QUrl(u"http://host2/x"_s);
    QTest::newRow("another port") << QUrl(u"http://host:81/x"_s);
}

void TestNetworkAccessChief::anotherServerGetsAnotherManager()
{
    QFETCH(QUrl, url);
    const QUrl before(u"http://host/x"_s);
    const Manager manager = m_chief->takeManager(before);
    m_chief->returnManager(manager, before);
    QVERIFY(m_chief->takeManager(url) != manager);
    QVERIFY(m_chief->takeManager(before) == manager);
}

void TestNetworkAccessChief::theDefaultPortIsAPortLikeAnother()
{
    const Manager manager = m_chief->takeManager(QUrl(u"http://host/x"_s));
    m_chief->returnManager(manager, QUrl(u"http://host/x"_s));
    QVERIFY(m_chief->takeManager(QUrl(u"http://host:80/y"_s)) == manager);
}

void TestNetworkAccessChief::aConnectionServesAgain()
{
    for (int i = 0; i < 3; ++i) {
        const Manager manager = take();
        const std::unique_ptr<QNetworkReply> reply(get(manager));
        QVERIFY(waitForEnd(reply.get()));
        QCOMPARE(reply->readAll(), QByteArray("content"));
        giveBack(manager);
    }
    QCOMPARE(m_server->requests().size(), 3);
    QCOMPARE(m_server->connectionCount(), 1);
}

void TestNetworkAccessChief::aManagerThatStillTransfersIsNotHandedOut()
{
    ScriptedResponse held = ScriptedResponse::ok("content");
    held.holdAfter = 1;
    m_server->setResponse("/file", held);
    const Manager manager = take();
    const std::unique_ptr<QNetworkReply> reply(get(manager));
    giveBack(manager);
    QVERIFY(take() != manager);
    m_server->release();
    QVERIFY(waitForEnd(reply.get()));
    QVERIFY(take() == manager);
}

void TestNetworkAccessChief::anAbortedReplyDoesNotKeepItsManager()
{
    ScriptedResponse held = ScriptedResponse::ok("content");
    held.holdAfter = 1;
    m_server->setResponse("/file", held);
    const Manager manager = take();
    QNetworkReply *const reply = get(manager);
    QTRY_VERIFY(reply->bytesAvailable() > 0);
    reply->abort();
    giveBack(manager);
    QVERIFY(take() == manager);
    reply->deleteLater();
}

void TestNetworkAccessChief::anIdleManagerIsLetGoAfterAWhile()
{
    Manager manager = take();
    const QPointer<QNetworkAccessManager> watched(manager.get());
    QVERIFY(m_chief->findChildren<QTimer *>().isEmpty());
    giveBack(manager);
    manager.clear();
    QTimer *const timer = m_chief->findChild<QTimer *>();
    QVERIFY(timer && timer->isActive() && timer->isSingleShot());
    QCOMPARE(timer->interval(), NetworkAccessChief::kIdleLifeMs);
    QMetaObject::invokeMethod(timer, "timeout");
    QCOMPARE(m_chief->idleManagersCount(), 0);
    QTRY_VERIFY(watched.isNull());
}

void TestNetworkAccessChief::tooManyIdleManagersAreLetGo()
{
    QList<Manager> managers;
    for (int i = 0; i <= NetworkAccessChief::kMaximumIdle; ++i)
        managers.append(take());
    const QPointer<QNetworkAccessManager> oldest(managers.first().get());
    const QPointer<QNetworkAccessManager> newest(managers.last().get());
    for (const Manager &manager : std::as_const(managers))
        giveBack(manager);
    managers.clear();
    QCOMPARE(m_chief->idleManagersCount(), NetworkAccessChief::kMaximumIdle);
    QTRY_VERIFY(oldest.isNull());
    QVERIFY(!newest.isNull());
    QCOMPARE(take().get(), newest.get());
}

void TestNetworkAccessChief::aManagerIsNotDeletedUnderALivingReply()
{
    ScriptedResponse held = ScriptedResponse::ok("content");
    held.holdAfter = 1;
    m_server->setResponse("/file", held);
    Manager manager = take();
    const QPointer<QNetworkAccessManager> watched(manager.get());
    const QPointer<QNetworkReply> reply(get(manager));
    QTRY_VERIFY(reply->bytesAvailable() > 0);
    manager.clear();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(watched && reply);
    m_server->release();
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    reply->deleteLater();
    QTRY_VERIFY(reply.isNull());
    QTRY_VERIFY(watched.isNull());
}

void TestNetworkAccessChief::aReplyThatLeftItsManagerKeepsItAlive()
{
    Manager manager = take();
    const QPointer<QNetworkAccessManager> watched(manager.get());
    std::unique_ptr<QNetworkReply> reply(get(manager));
    reply->setParent(nullptr);
    manager.clear();
    QVERIFY(waitForEnd(reply.get()));
    QVERIFY(watched);
    reply.reset();
    QTRY_VERIFY(watched.isNull());
}

void TestNetworkAccessChief::theChiefMayGoBeforeItsManagers()
{
    Manager manager = take();
    const QPointer<QNetworkAccessManager> watched(manager.get());
    m_chief.reset();
    const std::unique_ptr<QNetworkReply> reply(get(manager));
    QVERIFY(waitForEnd(reply.get()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
}

void TestNetworkAccessChief::allShareOneCookieJar()
{
    m_server->setResponse("/file", ScriptedResponse::ok("x").withHeader("Set-Cookie", "session=7; Path=/"));
    const Manager first = take();
    const Manager second = take();
    QCOMPARE(first->cookieJar(), second->cookieJar());
    const std::unique_ptr<QNetworkReply> setting(get(first));
    QVERIFY(waitForEnd(setting.get()));
    const std::unique_ptr<QNetworkReply> sending(get(second));
    QVERIFY(waitForEnd(sending.get()));
    QVERIFY(!m_server->requests().first().hasHeader("Cookie"));
    QCOMPARE(m_server->requests().last().header("Cookie"), QByteArray("session=7"));
}

void TestNetworkAccessChief::theJarOutlivesTheManagers()
{
    Manager manager = take();
    const QPointer<QNetworkAccessManager> watched(manager.get());
    const QPointer<QNetworkCookieJar> jar(manager->cookieJar());
    QVERIFY(!jar->parent());
    manager.clear();
    QTRY_VERIFY(watched.isNull());
    QVERIFY(jar);
    QCOMPARE(take()->cookieJar(), jar.get());
    m_chief.reset();
    QTRY_VERIFY(jar.isNull());
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
    QString error;
    QVERIFY2(m_chief->addCaCertificates(ca.caFile(), &error), qPrintable(error));
    const Manager manager = take();
    const std::unique_ptr<QNetworkReply> reply(get(manager));
    QVERIFY(waitForEnd(reply.get()));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
}

void TestNetworkAccessChief::aFileWithoutCertificatesIsRefused()
{
    const QTemporaryDir dir;
    QString error;
    QVERIFY(!m_chief->addCaCertificates(dir.filePath(u"missing.pem"_s), &error));
    QVERIFY2(error.contains(u"missing.pem"_s), qPrintable(error));
    QFile file(dir.filePath(u"empty.pem"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QVERIFY(!m_chief->addCaCertificates(file.fileName(), &error));
    QVERIFY2(error.contains(u"none in PEM form"_s), qPrintable(error));
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

void TestNetworkAccessChief::noManagerIsNoManager()
{
    m_chief->returnManager({}, QUrl(u"http://host/"_s));
    QCOMPARE(m_chief->idleManagersCount(), 0);
}

QTEST_GUILESS_MAIN(TestNetworkAccessChief)
#include "tst_networkaccesschief.moc"
