// SPDX-License-Identifier: MIT
#include <host/network/downloadaccesschief.h>
#include <host/network/resourceguard.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <tests/unit/host/engine/fakedownload.h>

#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

const QtHostAndPort kFirst{u"first"_s, 80};
const QtHostAndPort kMirror{u"mirror"_s, 80};
const QtHostAndPort kElsewhere{u"elsewhere"_s, 80};

QtConnectionsMap connectionsTo(const QtHostAndPort &server, int count)
{
    return {{server, {count}}};
}

}

/// Two downloads at once, one of which has the chief.
class TestDownloadAccessChief : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void withoutALimitItIsThatOfAll();
    void aLimitIsToldWithWhatTheOthersHave();
    void theSmallerLimitHolds();
    void aLimitToOneServerIsToldWithWhatTheOthersHaveThere();
    void ofSeveralServersTheFewestConnectionsCount();
    void whoWasRedirectedIsToldThePlainLimit();
    void moreIsAnnounced_data();
    void moreIsAnnounced();
    void requestsAreTheDownloadsOwn();

private:
    qint64 most() const { return m_chief->usageSettings().maximumConnections; }
    qint64 mostToOne() const { return m_chief->usageSettings().maximumConnectionsPerServer; }
    void serve(const QList<QtHostAndPort> &servers) { m_chief->serve(*m_mine, servers); }

    QSharedPointer<NetworkAccessChief> m_shared;
    std::shared_ptr<ResourceGuard> m_guard;
    std::unique_ptr<DownloadAccessChief> m_chief;
    std::unique_ptr<FakeDownload> m_mine;
    std::unique_ptr<FakeDownload> m_other;
};

void TestDownloadAccessChief::init()
{
    m_shared = QSharedPointer<NetworkAccessChief>::create();
    m_guard = std::make_shared<ResourceGuard>(ResourceGuard::Task::Download);
    m_chief = std::make_unique<DownloadAccessChief>(m_shared, m_guard);
    m_mine = std::make_unique<FakeDownload>(1, nullptr);
    m_other = std::make_unique<FakeDownload>(2, nullptr);
    for (FakeDownload *download : {m_mine.get(), m_other.get()})
        m_shared->consumersStats()->registerConsumer(download, true);
}

void TestDownloadAccessChief::withoutALimitItIsThatOfAll()
{
    serve({kFirst});
    Q_EMIT m_other->connectionsMapChangedDelta(connectionsTo(kFirst, 5));
    QCOMPARE(most(), 0);
    NetworkUsageSettings all;
    all.maximumConnections = 30;
    all.maximumConnectionsPerServer = 20;
    all.downloadLimit = 1000;
    m_shared->setUsageSettings(all);
    QCOMPARE(m_chief->usageSettings(), all);
}

/// The module holds it against the connections of all.
void TestDownloadAccessChief::aLimitIsToldWithWhatTheOthersHave()
{
    serve({kFirst});
    m_chief->setMostConnections(4, 0);
    QCOMPARE(most(), 4);
    Q_EMIT m_other->connectionsMapChangedDelta(connectionsTo(kElsewhere, 5));
    QCOMPARE(most(), 9);
    Q_EMIT m_mine->connectionsMapChangedDelta(connectionsTo(kFirst, 3));
    QCOMPARE(most(), 9);
    Q_EMIT m_other->connectionsMapChangedDelta(connectionsTo(kElsewhere, -5));
    QCOMPARE(most(), 4);
}

void TestDownloadAccessChief::theSmallerLimitHolds()
{
    serve({kFirst});
    NetworkUsageSettings all;
    all.maximumConnections = 6;
    m_shared->setUsageSettings(all);
    m_chief->setMostConnections(4, 0);
    QCOMPARE(most(), 4);
    Q_EMIT m_other->connectionsMapChangedDelta(connectionsTo(kElsewhere, 5));
    QCOMPARE(most(), 6);
}

void TestDownloadAccessChief::aLimitToOneServerIsToldWithWhatTheOthersHaveThere()
{
    serve({kFirst});
    m_chief->setMostConnections(0, 2);
    QCOMPARE(mostToOne(), 2);
    Q_EMIT m_other->connectionsMapChangedDelta(connectionsTo(kElsewhere, 7));
    QCOMPARE(mostToOne(), 2);
    Q_EMIT m_other->connectionsMapChangedDelta(connectionsTo(kFirst, 3));
    Q_EMIT m_mine->connectionsMapChangedDelta(connectionsTo(kFirst, 2));
    QCOMPARE(mostToOne(), 5);
    QCOMPARE(most(), 0);
}

/// Which of them is meant is not told.
void TestDownloadAccessChief::ofSeveralServersTheFewestConnectionsCount()
{
    serve({kFirst, kMirror});
    m_chief->setMostConnections(0, 2);
    Q_EMIT m_other->connectionsMapChangedDelta(connectionsTo(kFirst, 3));
    QCOMPARE(mostToOne(), 2);
    Q_EMIT m_other->connectionsMapChangedDelta(connectionsTo(kMirror, 1));
    QCOMPARE(mostToOne(), 3);
}

/// Of the server that it was led to it knows the number by itself.
void TestDownloadAccessChief::whoWasRedirectedIsToldThePlainLimit()
{
    serve({kFirst});
    m_chief->setMostConnections(0, 2);
    Q_EMIT m_other->connectionsMapChangedDelta(connectionsTo(kFirst, 3));
    Q_EMIT m_mine->connectionsMapChangedDelta(connectionsTo(kElsewhere, 1));
    QCOMPARE(mostToOne(), 2);
    Q_EMIT m_mine->connectionsMapChangedDelta(connectionsTo(kElsewhere, -1));
    QCOMPARE(mostToOne(), 5);
}

void TestDownloadAccessChief::moreIsAnnounced_data()
{
    QTest::addColumn<qint64>("most");
    QTest::addColumn<qint64>("perServer");
    QTest::addColumn<bool>("isAnnounced");
    const auto row = [](const char *name, qint64 most, qint64 perServer, bool isAnnounced) {
        QTest::newRow(name) << most << perServer << isAnnounced;
    };
    row("the same", 4, 2, false);
    row("less", 3, 1, false);
    row("more", 5, 2, true);
    row("as many as it likes", 0, 2, true);
    row("more to one server", 4, 3, true);
    row("as many as it likes to one server", 4, 0, true);
    row("less, and more to one server", 3, 3, true);
}

void TestDownloadAccessChief::moreIsAnnounced()
{
    QFETCH(qint64, most);
    QFETCH(qint64, perServer);
    QFETCH(bool, isAnnounced);
    Q_EMIT m_mine->connectionsMapChangedDelta(connectionsTo(kFirst, 1));
    m_chief->setMostConnections(4, 2);
    QSignalSpy news(m_shared->consumersStats(), &AbstractNetworkConsumersStats::connectionsMapChangedDelta);
    QTRY_COMPARE(news.size(), 1);
    QCoreApplication::processEvents();
    news.clear();
    m_chief->setMostConnections(most, perServer);
    QCoreApplication::processEvents();
    QCOMPARE(news.size(), isAnnounced ? 1 : 0);
}

void TestDownloadAccessChief::requestsAreTheDownloadsOwn()
{
    const QUrl url(u"http://first/x"_s);
    const QSharedPointer<QNetworkAccessManager> manager = m_chief->takeManager(url);
    QVERIFY(manager != m_shared->takeManager(url));
    m_chief->returnManager(manager, url);
    QCOMPARE(m_chief->takeManager(QUrl(u"ftp://mirror/x"_s)), manager);
    QCOMPARE(m_chief->property(AbstractNetworkAccessChief::kEarlyHandOutSize),
             m_shared->property(AbstractNetworkAccessChief::kEarlyHandOutSize));
    // The guard knows of each request before it is sent: the next is led to where that address led before.
    ResourceMemory memory;
    memory.addresses.append({url, QUrl(u"http://mirror/x"_s), 1, {}});
    m_guard->setMemory(memory, true);
    m_chief->takeManager(url);
    QVERIFY(m_guard->isMadeUp());
    m_chief->takeManager(QUrl(u"http://elsewhere/x"_s));
    QVERIFY(!m_guard->isMadeUp());
}

QTEST_GUILESS_MAIN(TestDownloadAccessChief)
#include "tst_downloadaccesschief.moc"
