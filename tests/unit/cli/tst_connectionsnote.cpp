// SPDX-License-Identifier: MIT
#include <cli/connectionsnote.h>

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(ConnectionsBound)

class TestConnectionsNote : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theReasonIsTold_data();
    void theReasonIsTold();
    void withoutALimitOfAllDownloadsItIsTheDownloadsOwn();
    void everyReasonHasAKeyOfItsOwn();
};

void TestConnectionsNote::theReasonIsTold_data()
{
    QTest::addColumn<int>("most");
    QTest::addColumn<ConnectionsBound>("bound");
    QTest::addColumn<QString>("note");
    using B = ConnectionsBound;
    QTest::newRow("nothing was transferred") << 0 << B::TooSmallToSplit << QString();
    QTest::newRow("nothing bounded it") << 3 << B::None << u"3 connections at most"_s;
    QTest::newRow("one") << 1 << B::None << u"1 connection at most"_s;
    QTest::newRow("ranges are not honoured")
        << 1 << B::RangesNotHonoured << u"1 connection at most: the server does not honour ranges"_s;
    QTest::newRow("the size is unknown") << 1 << B::SizeUnknown
                                         << u"1 connection at most: the server does not tell the file's size"_s;
    QTest::newRow("too small") << 2 << B::TooSmallToSplit
                               << u"2 connections at most: the file is too small to split further"_s;
    QTest::newRow("space is being reserved")
        << 1 << B::SpaceNotTaken << u"1 connection at most: the disk space was still being reserved"_s;
    QTest::newRow("the most there are") << 20 << B::SectionsCap << u"20 connections at most: no download has more"_s;
    QTest::newRow("the limit") << 8 << B::Connections << u"8 connections at most: limit of 8 reached"_s;
    QTest::newRow("the limit, beyond which one was to be tried")
        << 9 << B::Connections << u"9 connections at most: limit of 8 reached"_s;
    QTest::newRow("that of all downloads")
        << 4 << B::Connections << u"4 connections at most: limit of 10 for all downloads reached"_s;
    QTest::newRow("the limit of a server")
        << 2 << B::ConnectionsPerServer << u"2 connections at most: limit of 2 per server reached"_s;
    QTest::newRow("the same of all downloads")
        << 1 << B::ConnectionsPerServer << u"1 connection at most: limit of 3 per server for all downloads reached"_s;
    QTest::newRow("the server refused another")
        << 4 << B::AnotherFailed << u"4 connections at most: the server refused another"_s;
}

void TestConnectionsNote::theReasonIsTold()
{
    QFETCH(int, most);
    QFETCH(ConnectionsBound, bound);
    NetworkUsageSettings limits;
    limits.maximumConnections = 8;
    limits.maximumConnectionsPerServer = 2;
    NetworkUsageSettings overall;
    overall.maximumConnections = 10;
    overall.maximumConnectionsPerServer = 3;
    QTEST(ConnectionsNote::forDownload({most, bound}, limits, overall), "note");
}

void TestConnectionsNote::withoutALimitOfAllDownloadsItIsTheDownloadsOwn()
{
    // A section that only waits for the disk counts as well, so that fewer may have been at work.
    NetworkUsageSettings limits;
    limits.maximumConnections = 8;
    QCOMPARE(ConnectionsNote::forDownload({7, ConnectionsBound::Connections}, limits, {}),
             u"7 connections at most: limit of 8 reached"_s);
}

void TestConnectionsNote::everyReasonHasAKeyOfItsOwn()
{
    QSet<QString> keys;
    const int last = int(ConnectionsBound::AnotherFailed);
    for (int bound = 1; bound <= last; ++bound)
        keys.insert(ConnectionsNote::keyOf(ConnectionsBound(bound)));
    QCOMPARE(keys.size(), last);
    QVERIFY(!keys.contains(QString()));
    QCOMPARE(ConnectionsNote::keyOf(ConnectionsBound::None), QString());
}

QTEST_GUILESS_MAIN(TestConnectionsNote)
#include "tst_connectionsnote.moc"
