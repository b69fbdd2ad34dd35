// SPDX-License-Identifier: MIT
#include <host/policy/harmlessheaders.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestHarmlessHeaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesThatAreHarmless_data();
    void namesThatAreHarmless();
    void everythingElseIsTakenOut();
    void namesThatPeopleDoNotSet_data();
    void namesThatPeopleDoNotSet();
};

void TestHarmlessHeaders::namesThatAreHarmless_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("harmless");
    for (const QString &name : HarmlessHeaders::names())
        QTest::newRow(qPrintable(name)) << name << true;
    for (const char *name : {"Accept", "ACCEPT-LANGUAGE", " user-agent "})
        QTest::addRow("\"%s\"", name) << QString::fromLatin1(name) << true;
    for (const char *name :
         {"Authorization", "Cookie", "X-Vault-Token", "X-GitHub-Token", "DD-API-KEY", "Ocp-Apim-Subscription-Key",
          "X-Session-Id", "X-Accept", "Accept-", "Host", "From", "Range", "X-Forwarded-For", ""})
        QTest::addRow("\"%s\"", name) << QString::fromLatin1(name) << false;
}

void TestHarmlessHeaders::namesThatAreHarmless()
{
    QFETCH(QString, name);
    QTEST(HarmlessHeaders::isHarmless(name), "harmless");
}

void TestHarmlessHeaders::everythingElseIsTakenOut()
{
    QVariantMap headers{{u"authorization"_s, u"Basic x"_s}, {u"Accept"_s, u"*/*"_s}, {u"DD-API-KEY"_s, u"a"_s}};
    const QVariantMap others = HarmlessHeaders::takeOthersFrom(&headers);
    QCOMPARE(headers, (QVariantMap{{u"Accept"_s, u"*/*"_s}}));
    QCOMPARE(others, (QVariantMap{{u"authorization"_s, u"Basic x"_s}, {u"DD-API-KEY"_s, u"a"_s}}));
}

void TestHarmlessHeaders::namesThatPeopleDoNotSet_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("everywhere");
    QTest::addColumn<std::optional<Clause::Kind>>("refusal");
    QTest::newRow("a range") << u"Range"_s << false << std::optional(Clause::Kind::RangeIsOurs);
    QTest::newRow("a range in small letters") << u"range"_s << true << std::optional(Clause::Kind::RangeIsOurs);
    QTest::newRow("a condition on a range") << u"If-Range"_s << false << std::optional(Clause::Kind::RangeIsOurs);
    QTest::newRow("a length") << u"Content-Length"_s << false << std::optional(Clause::Kind::LengthIsOurs);
    QTest::newRow("a coding") << u"Transfer-Encoding"_s << false << std::optional(Clause::Kind::LengthIsOurs);
    QTest::newRow("a host for all") << u"host"_s << true << std::optional(Clause::Kind::HostIsOfOne);
    QTest::newRow("a host") << u"Host"_s << false << std::optional<Clause::Kind>();
    QTest::newRow("a key") << u"X-Api-Key"_s << true << std::optional<Clause::Kind>();
}

void TestHarmlessHeaders::namesThatPeopleDoNotSet()
{
    QFETCH(QString, name);
    QFETCH(bool, everywhere);
    QTEST(HarmlessHeaders::refusal(name, everywhere), "refusal");
}

QTEST_GUILESS_MAIN(TestHarmlessHeaders)
#include "tst_harmlessheaders.moc"
