// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>
#include <tests/support/scriptedserver.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 63;
constexpr qint64 kSize = 2000;
constexpr auto kGate = "gate"_L1;

using Order = SnapshotQuery::Order;
using Ids = QList<qint64>;

}

/// In which order an engine has its downloads, shows them and begins with them.
class TestEngineOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void whatIsMovedStandsThereForTheNextEngine();
    void allThatIsResumedBeginsInTheListsOrder();
    void whatWaitsBeginsInTheListsOrder();
    void pagesAreCutFromTheWhole_data();
    void pagesAreCutFromTheWhole();
    void aPlaceThatNobodyHasIsRefused();

private:
    void open();
    void close();
    EngineAnswer ask(const std::function<void(const Engine::Callback &)> &command);
    qint64 add(bool begin = false);
    Ids page(const SnapshotQuery &query = {});
    Ids beganWith() const;
    void waitForAll();

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<Engine> m_engine;
    int m_added = 0;
};

void TestEngineOrder::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<ScriptedServer>();
    m_server->setFallback([](const ScriptedRequest &) {
        ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
        response.holdAfter = kSize / 2;
        response.holdGate = kGate;
        return response;
    });
    m_added = 0;
    open();
}

void TestEngineOrder::cleanup()
{
    close();
    m_server.reset();
}

void TestEngineOrder::open()
{
    m_engine = std::make_unique<LocalEngine>();
    EngineOptions options;
    options.session.listPath = m_dir->filePath(u"list.sqlite"_s);
    options.session.moduleFolders = {QStringLiteral(MODULE_FOLDER)};
    options.queue.mostAtOnce = 1;
    QVERIFY(ask([&](const Engine::Callback &done) { m_engine->open(options, done); }).isOk());
}

void TestEngineOrder::close()
{
    QSignalSpy closed(m_engine.get(), &Engine::closed);
    m_engine->close();
    QTRY_COMPARE(closed.size(), 1);
    m_engine.reset();
}

EngineAnswer TestEngineOrder::ask(const std::function<void(const Engine::Callback &)> &command)
{
    std::optional<EngineAnswer> given;
    command([&given](const EngineAnswer &answer) { given = answer; });
    while (!given)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return *given;
}

/// Its address ends with its number.
qint64 TestEngineOrder::add(bool begin)
{
    DownloadRequest request;
    request.url = m_server->url(u"/file/%1"_s.arg(++m_added));
    request.folder = m_dir->path();
    request.outputName = u"file%1"_s.arg(m_added);
    const EngineAnswer answer = ask([&](const Engine::Callback &done) { m_engine->add(request, begin, done); });
    return answer.ids.value(0);
}

Ids TestEngineOrder::page(const SnapshotQuery &query)
{
    const EngineAnswer answer = ask([&](const Engine::Callback &done) { m_engine->snapshots(query, done); });
    Ids ids;
    for (const Snapshot &row : answer.snapshots)
        ids.append(row.id);
    return ids;
}

Ids TestEngineOrder::beganWith() const
{
    Ids ids;
    const QList<ScriptedRequest> requests = m_server->requests();
    for (const ScriptedRequest &request : requests) {
        const qint64 id = request.path().split('/').constLast().toLongLong();
        if (!ids.contains(id))
            ids.append(id);
    }
    return ids;
}

void TestEngineOrder::waitForAll()
{
    m_server->release(kGate);
    QTRY_COMPARE_WITH_TIMEOUT(page({0, -1, ListFilter::Done, Order::Position}).size(), qsizetype(m_added),
                              ScriptedServer::kPatienceMs);
}

void TestEngineOrder::whatIsMovedStandsThereForTheNextEngine()
{
    for (int i = 0; i < 5; ++i)
        QCOMPARE(add(), i + 1);
    QSignalSpy moved(m_engine.get(), &Engine::moved);
    m_engine->move(4, 0);
    m_engine->move(1, 99);
    QCOMPARE(page(), (Ids{4, 2, 3, 5, 1}));
    QCOMPARE(moved, (QList<QVariantList>{{qint64(4), qint64(0)}, {qint64(1), qint64(4)}}));
    close();
    open();
    QCOMPARE(page(), (Ids{4, 2, 3, 5, 1}));
    QSignalSpy added(m_engine.get(), &Engine::added);
    QCOMPARE(add(), 6);
    QCOMPARE(added.value(0).value(1).toLongLong(), 5);
    QCOMPARE(page(), (Ids{4, 2, 3, 5, 1, 6}));
}

void TestEngineOrder::allThatIsResumedBeginsInTheListsOrder()
{
    for (int i = 0; i < 5; ++i)
        add();
    m_engine->move(5, 1);
    m_engine->move(1, 3);
    const Ids order{5, 2, 3, 1, 4};
    QCOMPARE(page(), order);
    QCOMPARE(ask([this](const Engine::Callback &done) { m_engine->resumeAll(done); }).ids, order);
    waitForAll();
    QCOMPARE(beganWith(), order);
}

void TestEngineOrder::whatWaitsBeginsInTheListsOrder()
{
    for (int i = 0; i < 4; ++i)
        add();
    QCOMPARE(add(true), 5);
    QVERIFY(m_server->waitForHeld(kGate));
    for (const qint64 id : {3, 4, 1})
        m_engine->resume(id);
    add(true);
    m_engine->move(6, 1);
    m_engine->move(1, 4);
    m_engine->resume(2);
    QCOMPARE(page(), (Ids{6, 2, 3, 4, 1, 5}));
    waitForAll();
    QCOMPARE(beganWith(), (Ids{5, 6, 2, 3, 4, 1}));
}

void TestEngineOrder::pagesAreCutFromTheWhole_data()
{
    QTest::addColumn<ListFilter>("filter");
    QTest::addColumn<Order>("order");
    for (const ListFilter filter : {ListFilter::All, ListFilter::Unfinished, ListFilter::Done}) {
        for (const Order order : {Order::Position, Order::Newest, Order::Name, Order::Size, Order::Created})
            QTest::addRow("filter %d, order %d", int(filter), int(order)) << filter << order;
    }
}

void TestEngineOrder::pagesAreCutFromTheWhole()
{
    QFETCH(ListFilter, filter);
    QFETCH(Order, order);
    m_server->release(kGate);
    add(true);
    add(true);
    QTRY_COMPARE_WITH_TIMEOUT(page({0, -1, ListFilter::Done, Order::Position}).size(), 2, ScriptedServer::kPatienceMs);
    for (int i = 0; i < 5; ++i)
        add();
    m_engine->move(6, 0);
    m_engine->move(1, 4);
    const Ids whole = page({0, -1, filter, order});
    Ids cut;
    for (qint64 first = 0; first < 8; first += 3)
        cut += page({first, 3, filter, order});
    QCOMPARE(cut, whole);
    const EngineAnswer answer = ask([&](const Engine::Callback &done) {
        m_engine->snapshots({0, 1, filter, order}, done);
    });
    QCOMPARE(answer.total, whole.size());
    QCOMPARE(page({100, 3, filter, order}), Ids());
}

void TestEngineOrder::aPlaceThatNobodyHasIsRefused()
{
    add();
    QCOMPARE(ask([this](const Engine::Callback &done) { m_engine->move(7, 0, done); }).failure.kind,
             Failure::Kind::NoSuchDownload);
    QCOMPARE(page(), Ids{1});
}

QTEST_GUILESS_MAIN(TestEngineOrder)
#include "tst_engine_order.moc"
