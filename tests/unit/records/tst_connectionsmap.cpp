// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/connectionsmap.h>

#include <QHash>
#include <QTest>
#include <QUrl>
#include <QVariant>

using namespace Qt::StringLiterals;

namespace
{

const QtHostAndPort &serverA()
{
    static const QtHostAndPort server{u"a.example"_s, 80};
    return server;
}

const QtHostAndPort &serverB()
{
    static const QtHostAndPort server{u"b.example"_s, 443};
    return server;
}

const QtHostAndPort &serverC()
{
    static const QtHostAndPort server{u"c.example"_s, 21};
    return server;
}

const QtConnectionsMap &emptyMap()
{
    static const QtConnectionsMap map;
    return map;
}

/// Counts for the three servers, those of 0 left out.
QtConnectionsMap mapOf(qint32 a, qint32 b = 0, qint32 c = 0)
{
    QtConnectionsMap map;
    if (a != 0)
        map.insert(serverA(), {a});
    if (b != 0)
        map.insert(serverB(), {b});
    if (c != 0)
        map.insert(serverC(), {c});
    return map;
}

}

class TestConnectionsMap : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void serverOfUrl_data();
    void serverOfUrl();
    void keys_data();
    void keys();
    void hashIsThatOfHostThenPort();
    void uniting_data();
    void uniting();
    void subtracting_data();
    void subtracting();
    void changeChoosesTheDirection();
    void emptyDeltaDoesNotDetach();
    void mapTakenOffItselfIsEmpty();
    void mapAddedToItselfDoubles();
    void inverting_data();
    void inverting();
    void invertingLeavesCopiesAlone();
    void total_data();
    void total();
    void delta_data();
    void delta();
    void deltaKeepsNoEntriesThatAgree();
    void deltaAppliedGivesTheOther();
    void whatAConsumerAddsItTakesBack();
    void recordsTravelInAVariant();
};

void TestConnectionsMap::serverOfUrl_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("host");
    QTest::addColumn<qint32>("port");

    QTest::newRow("http is on port 80") << u"http://h.example/f"_s << u"h.example"_s << 80;
    QTest::newRow("https is on port 443") << u"https://h.example/f"_s << u"h.example"_s << 443;
    QTest::newRow("ftp is on port 21") << u"ftp://h.example/f"_s << u"h.example"_s << 21;
    QTest::newRow("the case of the scheme does not count") << u"HTTP://h.example/f"_s << u"h.example"_s << 80;
    QTest::newRow("the case of the host does not count") << u"HTTP://H.Example/f"_s << u"h.example"_s << 80;
    QTest::newRow("a mixed case of the scheme does not count") << u"HtTpS://h.example/f"_s << u"h.example"_s << 443;
    QTest::newRow("an explicit port wins") << u"http://h.example:8080/f"_s << u"h.example"_s << 8080;
    QTest::newRow("an explicit port wins over another scheme's") << u"http://h.example:443/"_s << u"h.example"_s << 443;
    QTest::newRow("an explicit port of an unknown scheme is known")
        << u"sftp://h.example:22/"_s << u"h.example"_s << 22;
    QTest::newRow("an unknown scheme has no port") << u"sftp://h.example/f"_s << u"h.example"_s << -1;
    QTest::newRow("a URL without a scheme has no port") << u"//h.example/f"_s << u"h.example"_s << -1;
    QTest::newRow("an empty URL has neither host nor port") << QString() << QString() << -1;
    QTest::newRow("user and password are no part of the key")
        << u"https://u:p@h.example/f?q#g"_s << u"h.example"_s << 443;
    QTest::newRow("an IPv6 host comes without its brackets") << u"http://[::1]:81/f"_s << u"::1"_s << 81;
    QTest::newRow("a percent-encoded host is decoded") << u"http://%68.example/"_s << u"h.example"_s << 80;
    QTest::newRow("a host beyond ASCII is the same server in either form")
        << u"http://b\u00fccher.example/"_s << u"xn--bcher-kva.example"_s << 80;
    QTest::newRow("a host beyond ASCII is the same server in its ASCII form")
        << u"http://xn--bcher-kva.example/"_s << u"xn--bcher-kva.example"_s << 80;
}

void TestConnectionsMap::serverOfUrl()
{
    QFETCH(QString, url);
    QFETCH(QString, host);
    QFETCH(qint32, port);
    const QtHostAndPort server = hostAndPortFromUrl(QUrl(url));
    QCOMPARE(server.host, host);
    QCOMPARE(server.port, port);
}

void TestConnectionsMap::keys_data()
{
    QTest::addColumn<QtHostAndPort>("other");
    QTest::addColumn<bool>("equal");

    QTest::newRow("same host and port are one server") << QtHostAndPort{u"a.example"_s, 80} << true;
    QTest::newRow("another port is another server") << QtHostAndPort{u"a.example"_s, 81} << false;
    QTest::newRow("another host is another server") << QtHostAndPort{u"b.example"_s, 80} << false;
    QTest::newRow("hosts are compared with their case") << QtHostAndPort{u"A.example"_s, 80} << false;
    QTest::newRow("an unknown port is a port of its own") << QtHostAndPort{u"a.example"_s, -1} << false;
}

void TestConnectionsMap::keys()
{
    QFETCH(QtHostAndPort, other);
    QFETCH(bool, equal);
    QCOMPARE(serverA() == other, equal);
    QCOMPARE(mapOf(1).contains(other), equal);
    QCOMPARE(qHash(serverA(), 7) == qHash(other, 7), equal);
}

void TestConnectionsMap::hashIsThatOfHostThenPort()
{
    QCOMPARE(qHash(serverA(), 12345), qHashMulti(12345, serverA().host, serverA().port));
    QCOMPARE(qHash(serverA()), qHashMulti(0, serverA().host, serverA().port));
}

void TestConnectionsMap::uniting_data()
{
    QTest::addColumn<QtConnectionsMap>("map");
    QTest::addColumn<QtConnectionsMap>("delta");
    QTest::addColumn<QtConnectionsMap>("expected");

    QTest::newRow("counts of one server are added") << mapOf(1) << mapOf(2) << mapOf(3);
    QTest::newRow("a server not known yet is entered") << mapOf(1) << mapOf(0, 2) << mapOf(1, 2);
    QTest::newRow("a count that becomes 0 is removed") << mapOf(1) << mapOf(-1) << emptyMap();
    QTest::newRow("a count that becomes 0 leaves the others") << mapOf(1, 2) << mapOf(-1) << mapOf(0, 2);
    QTest::newRow("a negative count of an unknown server is kept") << emptyMap() << mapOf(-1) << mapOf(-1);
    QTest::newRow("an empty delta changes nothing") << mapOf(1, 2) << emptyMap() << mapOf(1, 2);
    QTest::newRow("a count of 0 enters nothing") << emptyMap() << QtConnectionsMap{{serverA(), {0}}} << emptyMap();
    QTest::newRow("an entry of 0 goes when it is touched")
        << QtConnectionsMap{{serverA(), {0}}} << QtConnectionsMap{{serverA(), {0}}} << emptyMap();
}

void TestConnectionsMap::uniting()
{
    QFETCH(QtConnectionsMap, map);
    QFETCH(QtConnectionsMap, delta);
    uniteConnectionsMaps(map, delta);
    QTEST(map, "expected");
}

void TestConnectionsMap::subtracting_data()
{
    QTest::addColumn<QtConnectionsMap>("map");
    QTest::addColumn<QtConnectionsMap>("delta");
    QTest::addColumn<QtConnectionsMap>("expected");

    QTest::newRow("a delta equal to the map leaves it empty") << mapOf(1, 2, 3) << mapOf(1, 2, 3) << emptyMap();
    QTest::newRow("counts of one server are subtracted") << mapOf(5) << mapOf(2) << mapOf(3);
    QTest::newRow("a server not known yet gets a negative count") << mapOf(1) << mapOf(0, 2) << mapOf(1, -2);
    QTest::newRow("a negative count is added") << mapOf(1) << mapOf(-2) << mapOf(3);
    QTest::newRow("an empty delta changes nothing") << mapOf(1) << emptyMap() << mapOf(1);
}

void TestConnectionsMap::subtracting()
{
    QFETCH(QtConnectionsMap, map);
    QFETCH(QtConnectionsMap, delta);
    substractConnectionsMap(map, delta);
    QTEST(map, "expected");
}

void TestConnectionsMap::changeChoosesTheDirection()
{
    QtConnectionsMap map = mapOf(5);
    changeConnectionsMap(map, mapOf(2), true);
    QCOMPARE(map, mapOf(7));
    changeConnectionsMap(map, mapOf(3), false);
    QCOMPARE(map, mapOf(4));
}

void TestConnectionsMap::emptyDeltaDoesNotDetach()
{
    QtConnectionsMap map = mapOf(1);
    const QtConnectionsMap copy = map;
    QVERIFY(map.isSharedWith(copy));
    uniteConnectionsMaps(map, {});
    QVERIFY(map.isSharedWith(copy));
}

void TestConnectionsMap::mapTakenOffItselfIsEmpty()
{
    QtConnectionsMap map;
    for (int port = 1; port <= 500; ++port)
        map.insert({u"a.example"_s, port}, {port});
    substractConnectionsMap(map, map);
    QVERIFY(map.isEmpty());
}

void TestConnectionsMap::mapAddedToItselfDoubles()
{
    QtConnectionsMap map = mapOf(1, 2, -3);
    uniteConnectionsMaps(map, map);
    QCOMPARE(map, mapOf(2, 4, -6));
}

void TestConnectionsMap::inverting_data()
{
    QTest::addColumn<QtConnectionsMap>("map");
    QTest::addColumn<QtConnectionsMap>("expected");

    QTest::newRow("every count changes its sign") << mapOf(1, -2, 3) << mapOf(-1, 2, -3);
    QTest::newRow("an empty map stays empty") << emptyMap() << emptyMap();
    QTest::newRow("a key with a count of 0 is kept")
        << QtConnectionsMap{{serverA(), {0}}} << QtConnectionsMap{{serverA(), {0}}};
}

void TestConnectionsMap::inverting()
{
    QFETCH(QtConnectionsMap, map);
    invert(map);
    QTEST(map, "expected");
}

void TestConnectionsMap::invertingLeavesCopiesAlone()
{
    QtConnectionsMap map = mapOf(1, 2);
    const QtConnectionsMap copy = map;
    invert(map);
    QCOMPARE(copy, mapOf(1, 2));
}

void TestConnectionsMap::total_data()
{
    QTest::addColumn<QtConnectionsMap>("map");
    QTest::addColumn<qint32>("expected");

    QTest::newRow("an empty map has no connections") << emptyMap() << 0;
    QTest::newRow("all counts are summed up") << mapOf(1, 2, 4) << 7;
    QTest::newRow("negative counts are subtracted") << mapOf(1, -2, 4) << 3;
}

void TestConnectionsMap::total()
{
    QFETCH(QtConnectionsMap, map);
    QTEST(unitedEntry(map).count, "expected");
}

void TestConnectionsMap::delta_data()
{
    QTest::addColumn<QtConnectionsMap>("from");
    QTest::addColumn<QtConnectionsMap>("to");
    QTest::addColumn<QtConnectionsMap>("expected");

    QTest::newRow("servers leave, change and enter") << mapOf(1, 2) << mapOf(0, 3, 1) << mapOf(-1, 1, 1);
    QTest::newRow("equal maps have no delta") << mapOf(1, 2) << mapOf(1, 2) << emptyMap();
    QTest::newRow("two empty maps have no delta") << emptyMap() << emptyMap() << emptyMap();
    QTest::newRow("from nothing the delta is the map") << emptyMap() << mapOf(1, 2) << mapOf(1, 2);
    QTest::newRow("to nothing the delta is the inverted map") << mapOf(1, 2) << emptyMap() << mapOf(-1, -2);
    QTest::newRow("a count that falls gives a negative one") << mapOf(5, 1) << mapOf(2, 1) << mapOf(-3);
    QTest::newRow("an entry of 0 that leaves is no difference")
        << QtConnectionsMap{{serverA(), {0}}} << mapOf(0, 1) << mapOf(0, 1);
    QTest::newRow("an entry of 0 that enters is no difference")
        << mapOf(0, 1) << QtConnectionsMap{{serverA(), {0}}, {serverB(), {1}}} << emptyMap();
}

void TestConnectionsMap::delta()
{
    QFETCH(QtConnectionsMap, from);
    QFETCH(QtConnectionsMap, to);
    QTEST(connectionsMapDelta(from, to), "expected");
}

void TestConnectionsMap::deltaKeepsNoEntriesThatAgree()
{
    const QtConnectionsMap delta = connectionsMapDelta(mapOf(1, 7), mapOf(2, 7));
    QCOMPARE(delta.size(), 1);
    QVERIFY(!delta.contains(serverB()));
}

void TestConnectionsMap::deltaAppliedGivesTheOther()
{
    for (int a = 0; a < 27; ++a) {
        for (int b = 0; b < 27; ++b) {
            QtConnectionsMap map = mapOf(a % 3, a / 3 % 3, a / 9);
            const QtConnectionsMap to = mapOf(b % 3, b / 3 % 3, b / 9);
            uniteConnectionsMaps(map, connectionsMapDelta(map, to));
            QCOMPARE(map, to);
        }
    }
}

void TestConnectionsMap::whatAConsumerAddsItTakesBack()
{
    QtConnectionsMap total = mapOf(3, 1);
    QtConnectionsMap own = mapOf(1, 0, 1);
    uniteConnectionsMaps(total, own);
    QCOMPARE(total, mapOf(4, 1, 1));
    invert(own);
    uniteConnectionsMaps(total, own);
    QCOMPARE(total, mapOf(3, 1));
}

void TestConnectionsMap::recordsTravelInAVariant()
{
    QCOMPARE(QVariant::fromValue(serverA()).value<QtHostAndPort>(), serverA());
    QCOMPARE(QVariant::fromValue(QtConnectionsMapEntry{3}).value<QtConnectionsMapEntry>(), QtConnectionsMapEntry{3});
    QCOMPARE(QVariant::fromValue(mapOf(1, 2)).value<QtConnectionsMap>(), mapOf(1, 2));
}

QTEST_GUILESS_MAIN(TestConnectionsMap)
#include "tst_connectionsmap.moc"
