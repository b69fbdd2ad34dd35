// SPDX-License-Identifier: MIT
#include <tests/support/authentication.h>
#include <tests/unit/host/network/credentialsbench.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QByteArray kLogin = QByteArrayLiteral("me:pw");
const QByteArray kBasic = QByteArrayLiteral("Basic realm=\"realm\"");
const QByteArray kMd5 = QByteArrayLiteral("Digest realm=\"realm\", qop=\"auth\", algorithm=MD5, nonce=\"f00dcafe\"");
const QByteArray kSha256 =
    QByteArrayLiteral("Digest realm=\"realm\", qop=\"auth\", algorithm=SHA-256, nonce=\"f00dcafe\"");
const QByteArray kUnknown =
    QByteArrayLiteral("Digest realm=\"realm\", qop=\"auth\", algorithm=SHA3-512, nonce=\"f00dcafe\"");

}

/// Which of several challenges is answered, and that each is answered once.
class TestNetworkCredentialsChallenges : public CredentialsBench
{
    Q_OBJECT

private Q_SLOTS:
    void theBestChallengeIsAnswered_data();
    void theBestChallengeIsAnswered();
    void aWrongPasswordIsSentOnce_data();
    void aWrongPasswordIsSentOnce();
    void aStaleNonceIsReplaced();
    void aLoginThatIsNotAsciiGoesOutInUtf8();
};

void TestNetworkCredentialsChallenges::theBestChallengeIsAnswered_data()
{
    QTest::addColumn<QList<QByteArray>>("fields");
    QTest::addColumn<QByteArray>("scheme");
    using Fields = QList<QByteArray>;
    QTest::newRow("Basic") << Fields{kBasic} << QByteArray("Basic");
    QTest::newRow("Digest MD5") << Fields{kMd5} << QByteArray("Digest");
    QTest::newRow("Digest SHA-256") << Fields{kSha256} << QByteArray("Digest");
    QTest::newRow("Basic, then Digest in one field") << Fields{kBasic + ", " + kMd5} << QByteArray("Digest");
    QTest::newRow("Digest, then Basic in one field") << Fields{kMd5 + ", " + kBasic} << QByteArray("Digest");
    QTest::newRow("Basic and Digest in two fields") << Fields{kBasic, kSha256} << QByteArray("Digest");
    QTest::newRow("both Digests in one field, SHA-256 first") << Fields{kSha256 + ", " + kMd5} << QByteArray("Digest");
    QTest::newRow("both Digests in one field, MD5 first") << Fields{kMd5 + ", " + kSha256} << QByteArray("Digest");
    QTest::newRow("both Digests in two fields") << Fields{kSha256, kMd5} << QByteArray("Digest");
    QTest::newRow("an unknown scheme first") << Fields{"Hobo realm=\"a, b\", " + kMd5} << QByteArray("Digest");
    QTest::newRow("an unknown scheme in a field of its own") << Fields{"Negotiate", kBasic} << QByteArray("Basic");
    QTest::newRow("a Digest that nobody speaks, then Basic") << Fields{kUnknown + ", " + kBasic} << QByteArray("Basic");
    QTest::newRow("a Digest that nobody speaks and Basic in two fields")
        << Fields{kUnknown, kBasic} << QByteArray("Basic");
    QTest::newRow("a realm with a comma and another scheme's name")
        << Fields{"Basic realm=\"a, Digest realm=b\""} << QByteArray("Basic");
}

void TestNetworkCredentialsChallenges::theBestChallengeIsAnswered()
{
    QFETCH(QList<QByteArray>, fields);
    QFETCH(QByteArray, scheme);
    m_server->setHandler("/file", Authentication::challenged(kLogin, fields, kContent));
    QVERIFY(apply(loginOption(u"me"_s, u"pw"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(reply->readAll(), QByteArray("content"));
    QCOMPARE(m_server->requests().size(), 2);
    QVERIFY(m_server->requests().constLast().header("Authorization").startsWith(scheme + ' '));
}

void TestNetworkCredentialsChallenges::aWrongPasswordIsSentOnce_data()
{
    theBestChallengeIsAnswered_data();
}

void TestNetworkCredentialsChallenges::aWrongPasswordIsSentOnce()
{
    QFETCH(QList<QByteArray>, fields);
    m_server->setHandler("/file", Authentication::challenged("me:other", fields, kContent));
    QVERIFY(apply(loginOption(u"me"_s, u"pw"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QCOMPARE(reply->error(), QNetworkReply::AuthenticationRequiredError);
    QCOMPARE(m_server->requests().size(), 2);
}

void TestNetworkCredentialsChallenges::aStaleNonceIsReplaced()
{
    m_server->setHandler("/file", [](const ScriptedRequest &request) {
        const QByteArray said = request.header("Authorization");
        if (said.contains("nonce=\"f00dcafe\""))
            return Authentication::challenged(kLogin, {kMd5}, kContent)(request);
        const bool isOld = said.contains("nonce=\"old\"");
        return Authentication::challenged(
            kLogin, {isOld ? kMd5 + ", stale=true" : "Digest realm=\"realm\", qop=\"auth\", nonce=\"old\""},
            kContent)(request);
    });
    QVERIFY(apply(loginOption(u"me"_s, u"pw"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
    QCOMPARE(m_server->requests().size(), 3);
}

void TestNetworkCredentialsChallenges::aLoginThatIsNotAsciiGoesOutInUtf8()
{
    m_server->setHandler("/file", Authentication::challenged("jürg:pässwört", {kMd5}, kContent));
    QVERIFY(apply(loginOption(u"jürg"_s, u"pässwört"_s)));
    m_chief->takeSecrets(m_url, nullptr);
    const Reply reply = get(m_url);
    QVERIFY(waitForEnd(reply));
    QVERIFY2(reply->error() == QNetworkReply::NoError, qPrintable(reply->errorString()));
}

QTEST_GUILESS_MAIN(TestNetworkCredentialsChallenges)
#include "tst_networkcredentials_challenges.moc"
