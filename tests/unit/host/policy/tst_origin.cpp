// SPDX-License-Identifier: MIT
#include <host/policy/origin.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestOrigin : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void urlsOfOneOriginOrOfTwo_data();
    void urlsOfOneOriginOrOfTwo();
    void whatHasNoHostIsNoOrigin_data();
    void whatHasNoHostIsNoOrigin();
    void anAddressInBracketsIsShownSo();
};

void TestOrigin::urlsOfOneOriginOrOfTwo_data()
{
    QTest::addColumn<QUrl>("other");
    QTest::addColumn<bool>("same");
    QTest::newRow("another path and query") << QUrl(u"https://files.example/b?q#f"_s) << true;
    QTest::newRow("the default port, said") << QUrl(u"https://files.example:443/"_s) << true;
    QTest::newRow("capitals") << QUrl(u"HTTPS://FILES.example/"_s) << true;
    QTest::newRow("a login") << QUrl(u"https://u:p@files.example/"_s) << true;
    QTest::newRow("another scheme") << QUrl(u"http://files.example/"_s) << false;
    QTest::newRow("another scheme on the same port") << QUrl(u"http://files.example:443/"_s) << false;
    QTest::newRow("another port") << QUrl(u"https://files.example:444/"_s) << false;
    QTest::newRow("a host above") << QUrl(u"https://example/"_s) << false;
    QTest::newRow("a host below") << QUrl(u"https://a.files.example/"_s) << false;
    QTest::newRow("a login that looks like the host") << QUrl(u"https://files.example@evil.example/"_s) << false;
}

void TestOrigin::urlsOfOneOriginOrOfTwo()
{
    QFETCH(QUrl, other);
    QFETCH(bool, same);
    const Origin origin = Origin::of(QUrl(u"https://files.example/a"_s));
    QVERIFY(origin.isValid());
    QCOMPARE(Origin::of(other) == origin, same);
    QCOMPARE(Origin::of(other).toString() == origin.toString(), same);
    if (same)
        QCOMPARE(qHash(Origin::of(other)), qHash(origin));
}

void TestOrigin::whatHasNoHostIsNoOrigin_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::newRow("nothing") << QUrl();
    QTest::newRow("a path") << QUrl(u"/file"_s);
    QTest::newRow("a local file") << QUrl(u"file:///etc/passwd"_s);
    QTest::newRow("a scheme without a known port") << QUrl(u"gopher2://host/"_s);
}

void TestOrigin::whatHasNoHostIsNoOrigin()
{
    QFETCH(QUrl, url);
    QVERIFY(!Origin::of(url).isValid());
}

void TestOrigin::anAddressInBracketsIsShownSo()
{
    QCOMPARE(Origin::of(QUrl(u"http://[::1]/"_s)).toString(), u"http://[::1]:80"_s);
}

QTEST_GUILESS_MAIN(TestOrigin)
#include "tst_origin.moc"
