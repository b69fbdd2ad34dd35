// SPDX-License-Identifier: MIT
#include <host/parsing/authchallenges.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Challenges = QList<AuthChallenges::Challenge>;

const QString kBasic = QStringLiteral("Basic realm=\"x\"");
const QString kDigest = QStringLiteral("Digest realm=\"x\", qop=\"auth,auth-int\", nonce=\"a=b,c\", algorithm=SHA-256");

}

/// What servers ask for, however they write it.
class TestAuthChallenges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void challengesAreToldApart_data();
    void challengesAreToldApart();
    void basicIsAllThatIsLeft_data();
    void basicIsAllThatIsLeft();
    void aRefusalNamesWhatWasAskedFor_data();
    void aRefusalNamesWhatWasAskedFor();
    void aRefusalOfWhatWasGivenNamesWhose();
    void fieldsOfOneNameAreOneList();
};

void TestAuthChallenges::challengesAreToldApart_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<Challenges>("challenges");
    const AuthChallenges::Challenge basic{u"Basic"_s, u"x"_s, {}};
    const AuthChallenges::Challenge digest{u"Digest"_s, u"x"_s, u"SHA-256"_s};
    QTest::newRow("none") << QString() << Challenges{};
    QTest::newRow("commas alone") << u" , ,"_s << Challenges{};
    QTest::newRow("one") << kBasic << Challenges{basic};
    QTest::newRow("one with several parameters") << kDigest << Challenges{digest};
    QTest::newRow("two") << QString(kBasic + u", "_s + kDigest) << Challenges{basic, digest};
    QTest::newRow("two the other way round") << QString(kDigest + u","_s + kBasic) << Challenges{digest, basic};
    QTest::newRow("one that is a name alone between two")
        << QString(kBasic + u", Negotiate, "_s + kDigest) << Challenges{basic, {u"Negotiate"_s, {}, {}}, digest};
    QTest::newRow("one with a token") << u"Negotiate YII==, Basic realm=x"_s
                                      << Challenges{{u"Negotiate"_s, {}, {}}, basic};
    QTest::newRow("a comma and another scheme within quotation marks")
        << u"Basic realm=\"a, Digest realm=b\""_s << Challenges{{u"Basic"_s, u"a, Digest realm=b"_s, {}}};
    QTest::newRow("quotation marks within quotation marks")
        << uR"(Basic realm="say \"hi, you\" \\")"_s << Challenges{{u"Basic"_s, uR"(say "hi, you" \)"_s, {}}};
    QTest::newRow("quotation marks that do not end")
        << u"Basic realm=\"a, b"_s << Challenges{{u"Basic"_s, u"a, b"_s, {}}};
    QTest::newRow("blanks around the sign") << u"Basic realm = \"x\""_s << Challenges{basic};
    QTest::newRow("a comma behind the scheme") << u"Basic , realm=\"x\""_s << Challenges{basic};
    QTest::newRow("a realm that is empty") << u"Basic realm=\"\""_s << Challenges{{u"Basic"_s, u""_s, {}}};
    QTest::newRow("no realm") << u"Basic"_s << Challenges{{u"Basic"_s, {}, {}}};
    QTest::newRow("names in capitals") << u"BASIC REALM=\"x\""_s << Challenges{{u"BASIC"_s, u"x"_s, {}}};
    QTest::newRow("a realm that is not ASCII")
        << u"Basic realm=\"Jürg, 世界\""_s << Challenges{{u"Basic"_s, u"Jürg, 世界"_s, {}}};
}

void TestAuthChallenges::challengesAreToldApart()
{
    QFETCH(QString, value);
    QTEST(AuthChallenges::parse(value), "challenges");
}

void TestAuthChallenges::basicIsAllThatIsLeft_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("isLeft");
    QTest::newRow("Basic") << kBasic << true;
    QTest::newRow("Basic and Digest") << QString(kBasic + u", "_s + kDigest) << false;
    QTest::newRow("Basic and a Digest that nobody speaks")
        << QString(u"Digest realm=\"x\", nonce=\"n\", algorithm=SHA-512-256, "_s + kBasic) << true;
    QTest::newRow("Basic and a token") << QString(u"Bearer realm=\"x\", "_s + kBasic) << true;
    QTest::newRow("Digest") << kDigest << false;
    QTest::newRow("a token") << u"Bearer"_s << false;
    QTest::newRow("none") << QString() << false;
}

void TestAuthChallenges::basicIsAllThatIsLeft()
{
    QFETCH(QString, value);
    QTEST(AuthChallenges::isBasicAlone(AuthChallenges::parse(value)), "isLeft");
}

void TestAuthChallenges::aRefusalNamesWhatWasAskedFor_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("text");
    const QString asks = u"it asks for a name and a password"_s;
    QTest::newRow("nothing") << QString() << asks;
    QTest::newRow("Basic") << kBasic << QString(asks + u" (Basic realm \"x\")"_s);
    QTest::newRow("Digest, then Basic") << QString(kDigest + u", "_s + kBasic)
                                        << QString(asks + u" (Digest realm \"x\" or Basic realm \"x\")"_s);
    QTest::newRow("Digest in two ways") << QString(kDigest + u", "_s + kDigest)
                                        << QString(asks + u" (Digest realm \"x\")"_s);
    QTest::newRow("Basic among others") << QString(u"NTLM, "_s + kBasic) << QString(asks + u" (Basic realm \"x\")"_s);
    QTest::newRow("no realm") << u"Basic"_s << QString(asks + u" (Basic)"_s);
    QTest::newRow("nothing that can be given")
        << u"Negotiate, NTLM"_s << u"it asks for a login by Negotiate or NTLM, which plait does not speak"_s;
    QTest::newRow("a Digest that nobody speaks")
        << u"Digest realm=\"x\", algorithm=SHA-512-256"_s
        << u"it asks for a login by Digest with SHA-512-256, which plait does not speak"_s;
    QTest::newRow("a realm without end") << QString(u"Basic realm=\""_s + QString(5000, u'r') + u'"')
                                         << QString(asks + u" (Basic realm \""_s + QString(80, u'r') + u"\")"_s);
}

void TestAuthChallenges::aRefusalNamesWhatWasAskedFor()
{
    QFETCH(QString, value);
    QTEST(AuthChallenges::refusal(u"it"_s, value), "text");
}

void TestAuthChallenges::aRefusalOfWhatWasGivenNamesWhose()
{
    const QString text = AuthChallenges::refusal(u"it"_s, kBasic, u"anna"_s);
    QCOMPARE(text, u"it does not let in \"anna\" with that password (Basic realm \"x\")"_s);
    QVERIFY(AuthChallenges::isRefusal(text) && AuthChallenges::isOfGiven(text) && !AuthChallenges::isOfUnspoken(text));
    QVERIFY(!AuthChallenges::isOfGiven(AuthChallenges::refusal(u"it"_s, kBasic)));
    QVERIFY(AuthChallenges::isOfUnspoken(AuthChallenges::refusal(u"it"_s, u"NTLM"_s, u"anna"_s)));
}

void TestAuthChallenges::fieldsOfOneNameAreOneList()
{
    const QList<QString> lines{u"HTTP/1.1 401 No"_s, u"WWW-Authenticate: NTLM"_s, u"www-authenticate:  Basic"_s,
                               u"Proxy-Authenticate: Digest"_s};
    QCOMPARE(AuthChallenges::valueIn(lines, false), u"NTLM, Basic"_s);
    QCOMPARE(AuthChallenges::valueIn(lines, true), u"Digest"_s);
    QCOMPARE(AuthChallenges::valueIn({}, true), QString());
}

QTEST_GUILESS_MAIN(TestAuthChallenges)
#include "tst_authchallenges.moc"
