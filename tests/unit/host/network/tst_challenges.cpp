// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/credentialsbench.h>

#include <QNetworkReply>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// Asks for a login, and closes the connection on whoever gives one.
ScriptedResponse closesOnLogin(const ScriptedRequest &request)
{
    if (request.hasHeader("Authorization"))
        return ScriptedResponse::noAnswer();
    return ScriptedResponse::error(401).withHeader("WWW-Authenticate", "Basic realm=\"here\"");
}

}

/// A server that asks for a login and is gone before it answers to it.
class TestChallenges : public CredentialsBench
{
    Q_OBJECT

private Q_SLOTS:
    void aConnectionThatIsLostAfterTheChallengeIsNoRefusal();
    void aBodyGoesToAServerThatAsksOnceWithTheLogin();

private:
    void askForALogin();
};

void TestChallenges::askForALogin()
{
    QVERIFY(apply(loginOption(u"me"_s, u"right"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    m_server->setHandler(m_url.path().toUtf8(), &closesOnLogin);
}

void TestChallenges::aConnectionThatIsLostAfterTheChallengeIsNoRefusal()
{
    askForALogin();
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->error(), QNetworkReply::RemoteHostClosedError);
    QVERIFY(!reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid());
}

void TestChallenges::aBodyGoesToAServerThatAsksOnceWithTheLogin()
{
    askForALogin();
    const Reply reply = post(m_url, "order=1");
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->error(), QNetworkReply::RemoteHostClosedError);
    int withLogin = 0;
    for (const ScriptedRequest &request : m_server->requests())
        withLogin += request.hasHeader("Authorization") ? 1 : 0;
    QCOMPARE(withLogin, 1);
}

QTEST_GUILESS_MAIN(TestChallenges)
#include "tst_challenges.moc"
