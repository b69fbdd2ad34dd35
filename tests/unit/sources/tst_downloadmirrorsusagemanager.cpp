// SPDX-License-Identifier: MIT
#include <inet/qt/download/sources/downloadmirrorsusagemanager.h>

#include <QTest>

#include <algorithm>
#include <random>

using namespace Qt::StringLiterals;

using Manager = DownloadMirrorsUsageManager;
using Mirror = Manager::MirrorInfo;
using Source = AbstractDownloadSourceInfo;
using Change = void (*)(Source &);
Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(Mirror)

namespace
{

QUrl urlOf(const QString &host)
{
    return QUrl(u"http://"_s + host + u"/file"_s);
}

Source sourceOf(const QString &host)
{
    Source source;
    source.url = urlOf(host);
    return source;
}

Source fullSource()
{
    Source source = sourceOf(u"a"_s);
    source.referer = u"http://a/page"_s;
    source.cookies = {QNetworkCookie("n", "1"), QNetworkCookie("m", "2")};
    source.postData = "x=1";
    source.webPageUrl = QUrl(u"http://a/web"_s);
    source.parameters = {{u"headers"_s, QVariantMap{{u"X"_s, u"1"_s}}}};
    source.flags = Source::NoSynthesisedReferer;
    return source;
}

Mirror mirrorOf(const QString &host, qint32 errors = 0, qint32 connections = 0)
{
    return {sourceOf(host), connections, errors};
}

QList<Mirror> mirrorsOf(const QStringList &hosts)
{
    QList<Mirror> list;
    for (const QString &host : hosts)
        list.append(mirrorOf(host));
    return list;
}

QString hostsOf(const QList<Mirror> &list)
{
    QStringList hosts;
    for (const Mirror &mirror : list)
        hosts.append(mirror.source.url.host());
    return hosts.join(u' ');
}

AbstractError failure()
{
    return {404, "HttpError", "s", "d"};
}

QString pick(Manager &manager)
{
    return manager.pickMirror().url.host();
}

void finish(Manager &manager, const QString &host, const AbstractError &error = {})
{
    manager.onFinishedUsingMirror(sourceOf(host), error);
}

QString next(const Manager &manager)
{
    return manager.nextMirrorUrl().host() + u':' + QString::number(manager.nextMirrorConnectionCount());
}

}

class TestDownloadMirrorsUsageManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutCandidates();
    void order_data();
    void order();
    void orderByUrlAlone();
    void orderOfManyEntries();
    void pickCountsAUser();
    void pickGivesTheWholeSource();
    void fewerUsersGoFirst();
    void aFailureCountsMoreThanUsers();
    void aFinishWithoutErrorCountsNoFailure();
    void everyErrorCodeIsAFailure_data();
    void everyErrorCodeIsAFailure();
    void errorsNeverFall();
    void finishOfAnUnknownUrlChangesNothing();
    void finishGoesByTheUrlAlone();
    void picksAndFinishesBalance();
    void forcedPickCountsAUser();
    void forcedPickSortsAnew();
    void forcedPickOfAnotherSource_data();
    void forcedPickOfAnotherSource();
    void newListKeepsWhatWasLearned();
    void newListIsMatchedWhateverTheRanks();
    void newListDropsWhatItDoesNotName();
    void newListStartsAtZero();
    void knownEntryStaysAsItIs();
    void twiceNamedUrlIsTwoCandidates();
    void emptyListDropsAll();
    void mainSourceAndMirrors();
    void mirrorsWithoutValidUrlAreLeftOut();
    void mirrorsShareTheMainSourcesFields();
    void mirrorsAloneHaveAnEmptyMainSource();
};

void TestDownloadMirrorsUsageManager::withoutCandidates()
{
    Manager manager;
    QVERIFY(manager.pickMirror() == Source());
    QCOMPARE(manager.nextMirrorUrl(), QUrl());
    QCOMPARE(manager.nextMirrorConnectionCount(), 0);
    QVERIFY(!manager.containsMirrorWithoutErrors());
    QVERIFY(!manager.forceblyPickMirror(Source()));
    finish(manager, u"a"_s, failure());
    QVERIFY(!manager.containsMirrorWithoutErrors());
}

void TestDownloadMirrorsUsageManager::order_data()
{
    QTest::addColumn<QList<Mirror>>("list");
    QTest::addColumn<QString>("expected");

    QTest::newRow("fewer errors go first") << QList<Mirror>{mirrorOf(u"a"_s, 2), mirrorOf(u"b"_s, 1)} << u"b a"_s;
    QTest::newRow("errors count more than users")
        << QList<Mirror>{mirrorOf(u"a"_s, 1, 0), mirrorOf(u"b"_s, 0, 9)} << u"b a"_s;
    QTest::newRow("among equal errors fewer users go first")
        << QList<Mirror>{mirrorOf(u"a"_s, 1, 2), mirrorOf(u"b"_s, 1, 1)} << u"b a"_s;
    QTest::newRow("among equal users the URL decides")
        << QList<Mirror>{mirrorOf(u"c"_s, 1, 1), mirrorOf(u"a"_s, 1, 1), mirrorOf(u"b"_s, 1, 1)} << u"a b c"_s;
    QTest::newRow("a negative count goes first")
        << QList<Mirror>{mirrorOf(u"a"_s, 0, 0), mirrorOf(u"b"_s, 0, -1)} << u"b a"_s;
    QTest::newRow("an empty list stays empty") << QList<Mirror>() << QString();
}

void TestDownloadMirrorsUsageManager::order()
{
    QFETCH(QList<Mirror>, list);
    Manager::sortMirrors(list, false);
    QTEST(hostsOf(list), "expected");
}

void TestDownloadMirrorsUsageManager::orderByUrlAlone()
{
    QList<Mirror> list{mirrorOf(u"c"_s, 0, 0), mirrorOf(u"b"_s, 5, 0), mirrorOf(u"a"_s, 5, 5)};
    Manager::sortMirrors(list, true);
    QCOMPARE(hostsOf(list), u"a b c"_s);
}

void TestDownloadMirrorsUsageManager::orderOfManyEntries()
{
    QList<Mirror> list;
    for (int i = 0; i < 100; ++i)
        list.append(mirrorOf(u"h%1"_s.arg(i, 3, 10, QLatin1Char('0')), i / 20, i / 5 % 4));
    const QString expected = hostsOf(list);
    std::mt19937 generator(1);
    for (int round = 0; round < 20; ++round) {
        std::shuffle(list.begin(), list.end(), generator);
        Manager::sortMirrors(list, false);
        QCOMPARE(hostsOf(list), expected);
    }
}

void TestDownloadMirrorsUsageManager::pickCountsAUser()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s}));
    QCOMPARE(next(manager), u"a:0"_s);
    QCOMPARE(pick(manager), u"a"_s);
    QCOMPARE(next(manager), u"a:1"_s);
    finish(manager, u"a"_s);
    QCOMPARE(next(manager), u"a:0"_s);
}

void TestDownloadMirrorsUsageManager::pickGivesTheWholeSource()
{
    Manager manager;
    manager.setMirrors(fullSource(), {});
    QVERIFY(manager.pickMirror() == fullSource());
}

void TestDownloadMirrorsUsageManager::fewerUsersGoFirst()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"c"_s, u"a"_s, u"b"_s}));
    QStringList picks;
    for (int i = 0; i < 7; ++i)
        picks << pick(manager);
    QCOMPARE(picks.join(u' '), u"a b c a b c a"_s);
}

void TestDownloadMirrorsUsageManager::aFailureCountsMoreThanUsers()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s, u"b"_s}));
    QVERIFY(manager.forceblyPickMirror(sourceOf(u"a"_s)));
    QVERIFY(manager.forceblyPickMirror(sourceOf(u"a"_s)));
    QVERIFY(manager.forceblyPickMirror(sourceOf(u"b"_s)));
    QCOMPARE(pick(manager), u"b"_s);
    finish(manager, u"b"_s, failure());
    QCOMPARE(next(manager), u"a:2"_s);
    QCOMPARE(pick(manager), u"a"_s);
    QVERIFY(manager.containsMirrorWithoutErrors());
    finish(manager, u"a"_s, failure());
    QVERIFY(!manager.containsMirrorWithoutErrors());
    QCOMPARE(next(manager), u"b:1"_s);
}

void TestDownloadMirrorsUsageManager::aFinishWithoutErrorCountsNoFailure()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s}));
    pick(manager);
    finish(manager, u"a"_s, AbstractError(0, "HttpError", "s", "d"));
    QVERIFY(manager.containsMirrorWithoutErrors());
}

void TestDownloadMirrorsUsageManager::everyErrorCodeIsAFailure_data()
{
    QTest::addColumn<AbstractError>("error");

    QTest::newRow("an HTTP status") << failure();
    QTest::newRow("a negative code") << AbstractError(-1, "QtNetworkError", "", "");
    QTest::newRow("a deliberate stop") << operationAbortedError("stop");
}

void TestDownloadMirrorsUsageManager::everyErrorCodeIsAFailure()
{
    QFETCH(AbstractError, error);
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s, u"b"_s}));
    QCOMPARE(pick(manager), u"a"_s);
    finish(manager, u"a"_s, error);
    QCOMPARE(next(manager), u"b:0"_s);
}

void TestDownloadMirrorsUsageManager::errorsNeverFall()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s}));
    pick(manager);
    finish(manager, u"a"_s, failure());
    pick(manager);
    finish(manager, u"a"_s);
    QVERIFY(!manager.containsMirrorWithoutErrors());
}

void TestDownloadMirrorsUsageManager::finishOfAnUnknownUrlChangesNothing()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s, u"b"_s}));
    pick(manager);
    finish(manager, u"z"_s, failure());
    QCOMPARE(next(manager), u"b:0"_s);
    QVERIFY(manager.containsMirrorWithoutErrors());
    pick(manager);
    QCOMPARE(next(manager), u"a:1"_s);
}

void TestDownloadMirrorsUsageManager::finishGoesByTheUrlAlone()
{
    Manager manager;
    manager.setMirrors(fullSource(), {});
    manager.pickMirror();
    finish(manager, u"a"_s, failure());
    QCOMPARE(next(manager), u"a:0"_s);
    QVERIFY(!manager.containsMirrorWithoutErrors());
}

void TestDownloadMirrorsUsageManager::picksAndFinishesBalance()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s, u"b"_s, u"c"_s}));
    QStringList held;
    for (int i = 0; i < 8; ++i)
        held << pick(manager);
    QCOMPARE(manager.nextMirrorConnectionCount(), 2);
    for (const QString &host : held)
        finish(manager, host);
    QCOMPARE(next(manager), u"a:0"_s);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(manager.nextMirrorConnectionCount(), 0);
        pick(manager);
    }
    QCOMPARE(manager.nextMirrorConnectionCount(), 1);
}

void TestDownloadMirrorsUsageManager::forcedPickCountsAUser()
{
    Manager manager;
    manager.setMirrors(fullSource(), {});
    QVERIFY(manager.forceblyPickMirror(fullSource()));
    QCOMPARE(next(manager), u"a:1"_s);
}

void TestDownloadMirrorsUsageManager::forcedPickSortsAnew()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s, u"b"_s}));
    QVERIFY(manager.forceblyPickMirror(sourceOf(u"a"_s)));
    QCOMPARE(next(manager), u"b:0"_s);
}

void TestDownloadMirrorsUsageManager::forcedPickOfAnotherSource_data()
{
    QTest::addColumn<Change>("change");

    const auto row = [](const char *name, Change change) { QTest::newRow(name) << change; };
    row("another URL", [](Source &source) { source.url.setQuery(u"x"_s); });
    row("another referer", [](Source &source) { source.referer += u'x'; });
    row("another case of the referer", [](Source &source) { source.referer = source.referer.toUpper(); });
    row("another value of a cookie", [](Source &source) { source.cookies[1].setValue("3"); });
    row("another path of a cookie", [](Source &source) { source.cookies[1].setPath(u"/p"_s); });
    row("a cookie more", [](Source &source) { source.cookies.append(QNetworkCookie("o", "3")); });
    row("a cookie less", [](Source &source) { source.cookies.removeLast(); });
    row("cookies in another order", [](Source &source) { source.cookies.swapItemsAt(0, 1); });
    row("another post body", [](Source &source) { source.postData = "x=2"; });
    row("another page", [](Source &source) { source.webPageUrl.clear(); });
    row("other parameters", [](Source &source) { source.parameters.clear(); });
    row("other flags", [](Source &source) { source.flags = 0; });
}

void TestDownloadMirrorsUsageManager::forcedPickOfAnotherSource()
{
    QFETCH(Change, change);
    Manager manager;
    manager.setMirrors(fullSource(), {});
    Source other = fullSource();
    change(other);
    QVERIFY(!manager.forceblyPickMirror(other));
    QCOMPARE(next(manager), u"a:0"_s);
}

void TestDownloadMirrorsUsageManager::newListKeepsWhatWasLearned()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s, u"b"_s}));
    pick(manager);
    pick(manager);
    pick(manager);
    finish(manager, u"b"_s, failure());
    manager.setMirrors(mirrorsOf({u"d"_s, u"b"_s, u"a"_s}));
    QCOMPARE(pick(manager), u"d"_s);
    QCOMPARE(pick(manager), u"d"_s);
    QCOMPARE(next(manager), u"a:2"_s);
    finish(manager, u"a"_s, failure());
    finish(manager, u"d"_s, failure());
    QCOMPARE(next(manager), u"b:0"_s);
    QVERIFY(!manager.containsMirrorWithoutErrors());
}

void TestDownloadMirrorsUsageManager::newListIsMatchedWhateverTheRanks()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s, u"b"_s, u"c"_s}));
    pick(manager);
    finish(manager, u"a"_s, failure());
    pick(manager);
    manager.setMirrors(mirrorsOf({u"b"_s, u"c"_s, u"a"_s}));
    QCOMPARE(next(manager), u"c:0"_s);
    pick(manager);
    QCOMPARE(next(manager), u"b:1"_s);
}

void TestDownloadMirrorsUsageManager::newListDropsWhatItDoesNotName()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s, u"b"_s}));
    pick(manager);
    manager.setMirrors(mirrorsOf({u"b"_s}));
    QCOMPARE(next(manager), u"b:0"_s);
    QVERIFY(!manager.forceblyPickMirror(sourceOf(u"a"_s)));
    finish(manager, u"a"_s, failure());
    manager.setMirrors(mirrorsOf({u"a"_s}));
    QCOMPARE(next(manager), u"a:0"_s);
    QVERIFY(manager.containsMirrorWithoutErrors());
}

void TestDownloadMirrorsUsageManager::newListStartsAtZero()
{
    Manager manager;
    manager.setMirrors({mirrorOf(u"a"_s, 3, 4)});
    QCOMPARE(next(manager), u"a:0"_s);
    QVERIFY(manager.containsMirrorWithoutErrors());
}

void TestDownloadMirrorsUsageManager::knownEntryStaysAsItIs()
{
    Manager manager;
    manager.setMirrors(fullSource(), {});
    manager.pickMirror();
    Source other = fullSource();
    other.referer = u"http://a/other"_s;
    manager.setMirrors(other, {});
    QCOMPARE(next(manager), u"a:1"_s);
    QVERIFY(manager.forceblyPickMirror(fullSource()));
}

void TestDownloadMirrorsUsageManager::twiceNamedUrlIsTwoCandidates()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s}));
    pick(manager);
    manager.setMirrors(mirrorsOf({u"a"_s, u"a"_s}));
    QCOMPARE(next(manager), u"a:0"_s);
    pick(manager);
    QCOMPARE(next(manager), u"a:1"_s);
}

void TestDownloadMirrorsUsageManager::emptyListDropsAll()
{
    Manager manager;
    manager.setMirrors(mirrorsOf({u"a"_s}));
    manager.setMirrors(QList<Mirror>());
    QVERIFY(manager.pickMirror() == Source());
    QVERIFY(!manager.containsMirrorWithoutErrors());
}

void TestDownloadMirrorsUsageManager::mainSourceAndMirrors()
{
    Manager manager;
    manager.setMirrors(sourceOf(u"m"_s), {{urlOf(u"n"_s), {}}, {urlOf(u"l"_s), {}}});
    QStringList picks;
    for (int i = 0; i < 4; ++i)
        picks << pick(manager);
    QCOMPARE(picks.join(u' '), u"l m n l"_s);
}

void TestDownloadMirrorsUsageManager::mirrorsWithoutValidUrlAreLeftOut()
{
    Manager manager;
    manager.setMirrors(sourceOf(u"m"_s), {{QUrl(), {}}, {QUrl(u"http://[bad"_s), {}}, {urlOf(u"n"_s), {}}});
    QCOMPARE(pick(manager), u"m"_s);
    QCOMPARE(pick(manager), u"n"_s);
    QCOMPARE(pick(manager), u"m"_s);
}

void TestDownloadMirrorsUsageManager::mirrorsShareTheMainSourcesFields()
{
    const AbstractDownloadMirrorInfo mirror{urlOf(u"b"_s), QUrl(u"http://b/page"_s)};
    Manager manager;
    manager.setMirrors(fullSource(), {mirror});
    Source expected = fullSource();
    expected.url = mirror.url;
    expected.webPageUrl = mirror.webPageUrl;
    QVERIFY(manager.pickMirror() == fullSource());
    QVERIFY(manager.pickMirror() == expected);
}

void TestDownloadMirrorsUsageManager::mirrorsAloneHaveAnEmptyMainSource()
{
    const AbstractDownloadMirrorInfo mirror{urlOf(u"b"_s), QUrl(u"http://b/page"_s)};
    Manager manager;
    manager.setMirrors(QList<AbstractDownloadMirrorInfo>{mirror});
    Source expected;
    expected.url = mirror.url;
    expected.webPageUrl = mirror.webPageUrl;
    QVERIFY(manager.pickMirror() == Source());
    QVERIFY(manager.pickMirror() == expected);
}

QTEST_GUILESS_MAIN(TestDownloadMirrorsUsageManager)
#include "tst_downloadmirrorsusagemanager.moc"
