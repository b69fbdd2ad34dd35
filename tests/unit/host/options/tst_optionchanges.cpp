// SPDX-License-Identifier: MIT
#include <host/options/optionchanges.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestOptionChanges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsGivenAnewReplacesWhatTheListHas();
    void aHeaderGivenAgainReplacesItself_data();
    void aHeaderGivenAgainReplacesItself();
    void secretsAreKeptFromThenOn_data();
    void secretsAreKeptFromThenOn();
};

void TestOptionChanges::whatIsGivenAnewReplacesWhatTheListHas()
{
    DownloadOptions options;
    options.rateLimit = 5;
    options.connections = 6;
    const DownloadOptions before = options;
    OptionChanges().applyTo(options);
    QCOMPARE(options, before);
    OptionChanges changes;
    changes.values = OptionValues::fromJson({{u"limit-rate"_s, 0}});
    changes.applyTo(options);
    QCOMPARE(options.rateLimit, 0);
    QCOMPARE(options.connections, 6);
}

void TestOptionChanges::aHeaderGivenAgainReplacesItself_data()
{
    QTest::addColumn<SecretHeader>("given");
    QTest::addColumn<QList<SecretHeader>>("headers");
    const SecretHeader cookie{u"Cookie"_s, u"a=1"_s, {}};
    const SecretHeader token{u"X-Token"_s, u"t"_s, u"http://other"_s};
    const auto row = [&](const char *name, const SecretHeader &given, const QList<SecretHeader> &headers) {
        QTest::newRow(name) << given << headers;
    };
    const SecretHeader again{u"COOKIE"_s, u"b=2"_s, {}};
    row("in another spelling", again, {again, token});
    const SecretHeader everywhere{u"Cookie"_s, u"b=2"_s, SecretHeader::kEverywhere};
    row("for all servers it is another one", everywhere, {cookie, token, everywhere});
    const SecretHeader ofOther{u"x-token"_s, u"u"_s, u"http://other"_s};
    row("of another server", ofOther, {cookie, ofOther});
    const SecretHeader another{u"Authorization"_s, u"x"_s, {}};
    row("one that was not there", another, {cookie, token, another});
}

void TestOptionChanges::aHeaderGivenAgainReplacesItself()
{
    QFETCH(SecretHeader, given);
    DownloadOptions options;
    options.headers = {{u"Cookie"_s, u"a=1"_s, {}}, {u"X-Token"_s, u"t"_s, u"http://other"_s}};
    OptionChanges changes;
    changes.secretHeaders = {given};
    changes.applyTo(options);
    QTEST(options.headers, "headers");
    QVERIFY2(!options.storeSecrets, "nobody asked for that");
}

void TestOptionChanges::secretsAreKeptFromThenOn_data()
{
    QTest::addColumn<bool>("isAsked");
    QTest::addColumn<QString>("user"); // the new one; empty = none
    QTest::addColumn<bool>("hasHeader");
    QTest::addColumn<bool>("isKept");
    QTest::addColumn<QString>("userThen");
    const auto row = [](const char *name, bool isAsked, const QString &user, bool hasHeader, bool isKept,
                        const QString &userThen) {
        QTest::newRow(name) << isAsked << user << hasHeader << isKept << userThen;
    };
    row("a new login", true, u"bert"_s, false, true, u"bert"_s);
    row("a header alone leaves the login", true, {}, true, true, u"anna"_s);
    row("with nothing to keep nothing changes", true, {}, false, false, u"anna"_s);
    row("nobody asked for it", false, u"bert"_s, true, false, u"anna"_s);
}

void TestOptionChanges::secretsAreKeptFromThenOn()
{
    QFETCH(bool, isAsked);
    QFETCH(QString, user);
    QFETCH(bool, hasHeader);
    DownloadOptions options;
    options.user = u"anna"_s;
    options.password = u"of anna"_s;
    OptionChanges changes;
    changes.storeSecrets = isAsked;
    changes.user = user;
    changes.password = user.isEmpty() ? QString() : u"of "_s + user;
    if (hasHeader)
        changes.secretHeaders = {{u"Cookie"_s, u"a=1"_s, {}}};
    changes.applyTo(options);
    QTEST(options.storeSecrets, "isKept");
    QTEST(options.user, "userThen");
    QCOMPARE(options.password, u"of "_s + options.user);
    for (const bool isAskedAgain : {false, true}) {
        OptionChanges later;
        later.storeSecrets = isAskedAgain;
        later.applyTo(options);
        QTEST(options.storeSecrets, "isKept");
    }
}

QTEST_GUILESS_MAIN(TestOptionChanges)
#include "tst_optionchanges.moc"
