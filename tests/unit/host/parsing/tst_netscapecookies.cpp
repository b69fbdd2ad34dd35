// SPDX-License-Identifier: MIT
#include <cli/clausewords.h>
#include <host/network/sharedcookiejar.h>
#include <host/parsing/netscapecookies.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QDateTime kNow = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);

QList<QNetworkCookie> parsed(const QByteArray &text, Clause *error)
{
    return NetscapeCookies::parse(text, kNow, error).value_or(QList<QNetworkCookie>());
}

}

class TestNetscapeCookies : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyFieldIsTaken();
    void textsThatAreRead_data();
    void textsThatAreRead();
    void textsThatAreRefused_data();
    void textsThatAreRefused();
    void aCookieGoesWhereItBelongs_data();
    void aCookieGoesWhereItBelongs();
};

void TestNetscapeCookies::everyFieldIsTaken()
{
    Clause error;
    const QList<QNetworkCookie> cookies =
        parsed("#HttpOnly_.Example.com\tTRUE\t/a\tTRUE\t1800000000\tname\tva=l;ue\r\n", &error);
    QVERIFY2(cookies.size() == 1, qPrintable(ClauseWords::of(error)));
    const QNetworkCookie &cookie = cookies.first();
    QCOMPARE(cookie.domain(), u".example.com"_s);
    QCOMPARE(cookie.path(), u"/a"_s);
    QVERIFY(cookie.isSecure());
    QVERIFY(cookie.isHttpOnly());
    QCOMPARE(cookie.expirationDate().toSecsSinceEpoch(), 1'800'000'000);
    QCOMPARE(cookie.name(), QByteArray("name"));
    QCOMPARE(cookie.value(), QByteArray("va=l;ue"));
}

void TestNetscapeCookies::textsThatAreRead_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QList<QByteArray>>("values");
    const auto row = [](const char *name, const char *text, const QList<QByteArray> &values) {
        QTest::newRow(name) << QByteArray(text) << values;
    };
    row("an empty file", "", {});
    row("comments and empty lines", "# Netscape HTTP Cookie File\n\n  \r\n#x\nh\tFALSE\t/\tFALSE\t0\ta\t1\n", {"1"});
    row("no end of the last line", "h\tFALSE\t/\tFALSE\t0\ta\t1\nh\tFALSE\t/\tFALSE\t0\tb\t2", {"1", "2"});
    row("lines of another system", "h\tFALSE\t/\tFALSE\t0\ta\t1\r\nh\tFALSE\t/\tFALSE\t0\tb\t2\r\n", {"1", "2"});
    row("a mark of the encoding", "\xEF\xBB\xBFh\tFALSE\t/\tFALSE\t0\ta\t1\n", {"1"});
    row("flags in lower case", "h\tfalse\t/\ttrue\t0\ta\t1\n", {"1"});
    row("an empty value", "h\tFALSE\t/\tFALSE\t0\ta\t\n", {""});
    row("an empty value without its tab", "h\tFALSE\t/\tFALSE\t0\ta\n", {""});
    row("blanks in a value", "h\tFALSE\t/\tFALSE\t0\ta\tx y\n", {"x y"});
    row("an expiry with a fraction", "h\tFALSE\t/\tFALSE\t1800000000.25\ta\t1\n", {"1"});
    row("an expiry beyond all dates", "h\tFALSE\t/\tFALSE\t99999999999999\ta\t1\n", {"1"});
    row("what has expired is left out", "h\tFALSE\t/\tFALSE\t1600000000\ta\t1\nh\tFALSE\t/\tFALSE\t-1\tb\t2\n", {});
}

void TestNetscapeCookies::textsThatAreRead()
{
    QFETCH(QByteArray, text);
    QFETCH(QList<QByteArray>, values);
    Clause error;
    const QList<QNetworkCookie> cookies = parsed(text, &error);
    QVERIFY2(error.isEmpty(), qPrintable(ClauseWords::of(error)));
    QList<QByteArray> found;
    for (const QNetworkCookie &cookie : cookies)
        found.append(cookie.value());
    QCOMPARE(found, values);
}

void TestNetscapeCookies::textsThatAreRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("words");
    const auto row = [](const char *name, const char *text, const QString &words) {
        QTest::newRow(name) << QByteArray(text) << words;
    };
    row("a page", "<!DOCTYPE html>\n", u"line 1 is no cookie: it has 1 fields"_s);
    row("blanks in place of tabs", "# c\nh FALSE / FALSE 0 a 1\n", u"line 2 is no cookie: it has 1 fields"_s);
    row("a field too many", "h\tFALSE\t/\tFALSE\t0\ta\tsecret\tx\n", u"it has 8 fields"_s);
    row("no domain", "\tFALSE\t/\tFALSE\t0\ta\t1\n", u"it names no domain"_s);
    row("no flag for subdomains", "h\tyes\t/\tFALSE\t0\ta\t1\n", u"the second field"_s);
    row("no flag for https", "h\tTRUE\t/\t1\t0\ta\t1\n", u"the fourth field"_s);
    row("no number", "h\tTRUE\t/\tTRUE\tsoon\ta\t1\n", u"the fifth field"_s);
    row("not a number", "h\tTRUE\t/\tTRUE\tnan\ta\t1\n", u"the fifth field"_s);
}

void TestNetscapeCookies::textsThatAreRefused()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, words);
    Clause error;
    QVERIFY(!NetscapeCookies::parse(text, kNow, &error));
    QVERIFY2(ClauseWords::of(error).contains(words), qPrintable(ClauseWords::of(error)));
    QVERIFY(!ClauseWords::of(error).contains(u"secret"_s));
}

void TestNetscapeCookies::aCookieGoesWhereItBelongs_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QUrl>("url");
    QTest::addColumn<bool>("sent");
    const QByteArray exact("example.com\tFALSE\t/\tFALSE\t0\ta\t1");
    const QByteArray dotted(".example.com\tFALSE\t/\tFALSE\t0\ta\t1");
    const QByteArray all("example.com\tTRUE\t/\tFALSE\t0\ta\t1");
    const QByteArray secure("example.com\tTRUE\t/\tTRUE\t0\ta\t1");
    const QByteArray folder("example.com\tTRUE\t/a\tFALSE\t0\ta\t1");
    QTest::newRow("its host") << exact << QUrl(u"http://example.com/"_s) << true;
    QTest::newRow("not below its host") << exact << QUrl(u"http://www.example.com/"_s) << false;
    QTest::newRow("a dot alone means nothing") << dotted << QUrl(u"http://www.example.com/"_s) << false;
    QTest::newRow("its host, with subdomains") << all << QUrl(u"http://example.com/"_s) << true;
    QTest::newRow("below its host, with subdomains") << all << QUrl(u"http://www.example.com/"_s) << true;
    QTest::newRow("a host that only ends alike") << all << QUrl(u"http://notexample.com/"_s) << false;
    QTest::newRow("a host above") << all << QUrl(u"http://com/"_s) << false;
    QTest::newRow("a secure one over https") << secure << QUrl(u"https://example.com/"_s) << true;
    QTest::newRow("a secure one not over http") << secure << QUrl(u"http://example.com/"_s) << false;
    QTest::newRow("within its path") << folder << QUrl(u"http://example.com/a/b"_s) << true;
    QTest::newRow("not out of its path") << folder << QUrl(u"http://example.com/ab"_s) << false;
}

void TestNetscapeCookies::aCookieGoesWhereItBelongs()
{
    QFETCH(QByteArray, line);
    QFETCH(QUrl, url);
    QFETCH(bool, sent);
    Clause error;
    SharedCookieJar jar;
    const QList<QNetworkCookie> cookies = parsed(line, &error);
    QCOMPARE(cookies.size(), 1);
    QVERIFY(jar.insertCookie(cookies.first()));
    QCOMPARE(!jar.cookiesForUrl(url).isEmpty(), sent);
}

QTEST_GUILESS_MAIN(TestNetscapeCookies)
#include "tst_netscapecookies.moc"
