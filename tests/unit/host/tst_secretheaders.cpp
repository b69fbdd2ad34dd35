// SPDX-License-Identifier: MIT
#include <host/policy/secretheaders.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestSecretHeaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void headersThatAreSecret_data();
    void headersThatAreSecret();
    void secretsAreTakenOut();
};

void TestSecretHeaders::headersThatAreSecret_data()
{
    QTest::addColumn<bool>("secret");
    for (const char *name : {"Authorization", "authorization", "AUTHORIZATION", "Proxy-Authorization", "Cookie",
                             " Cookie ", "X-Api-Key", "X-Auth-Token", "Private-Token", "X-Amz-Security-Token"})
        QTest::newRow(name) << true;
    for (const char *name : {"Accept", "Referer", "Range", "X-Cookie-Policy", "Authorization-Hint", "", "Host"})
        QTest::newRow(name) << false;
}

void TestSecretHeaders::headersThatAreSecret()
{
    QFETCH(bool, secret);
    QCOMPARE(SecretHeaders::isSecret(QString::fromLatin1(QTest::currentDataTag())), secret);
}

void TestSecretHeaders::secretsAreTakenOut()
{
    QVariantMap headers{{u"authorization"_s, u"Basic x"_s}, {u"Accept"_s, u"*/*"_s}, {u"Cookie"_s, u"a=b"_s}};
    const QVariantMap secret = SecretHeaders::takeFrom(&headers);
    QCOMPARE(headers, (QVariantMap{{u"Accept"_s, u"*/*"_s}}));
    QCOMPARE(secret, (QVariantMap{{u"authorization"_s, u"Basic x"_s}, {u"Cookie"_s, u"a=b"_s}}));
}

QTEST_GUILESS_MAIN(TestSecretHeaders)
#include "tst_secretheaders.moc"
