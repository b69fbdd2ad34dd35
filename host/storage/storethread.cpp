// SPDX-License-Identifier: MIT
#include <host/storage/storethread.h>

#include <host/storage/downloadlist.h>
#include <host/storage/owners.h>
#include <host/storage/processidentity.h>
#include <host/storage/stores.h>

#include <QPointer>

#include <functional>

using namespace Qt::StringLiterals;

/// A list that is not open says so itself.
StoreThread::StoreThread(int renewMs)
    : m_renewMs(renewMs)
    , m_store(std::make_unique<DownloadList>())
{
    m_thread.setObjectName(u"list"_s);
    m_there.moveToThread(&m_thread);
}

StoreThread::~StoreThread()
{
    end();
}

bool StoreThread::open(const StoreChoice &choice)
{
    Q_ASSERT_X(!m_thread.isRunning(), "StoreThread::open", "once");
    m_thread.start();
    std::unique_ptr<DownloadStore> opened;
    inThread([&] { opened = Stores::open(choice, &m_failure); });
    if (!opened) {
        m_path = choice.path.isEmpty() ? DownloadList::defaultPath() : choice.path;
        end();
        return false;
    }
    m_store = std::move(opened);
    inThread([this] {
        m_renewal = std::make_unique<QTimer>();
        QObject::connect(m_renewal.get(), &QTimer::timeout, &m_there, [this] { m_store->renewClaims(); });
        m_renewal->start(m_renewMs);
    });
    m_path = m_store->path();
    m_warning = m_store->warning();
    return true;
}

/// What was begun before is done by then.
void StoreThread::end()
{
    if (!m_thread.isRunning())
        return;
    inThread([this] {
        m_renewal.reset();
        m_store = std::make_unique<DownloadList>();
    });
    m_thread.quit();
    m_thread.wait();
}

void StoreThread::inThread(const std::function<void()> &work)
{
    QMetaObject::invokeMethod(&m_there, work, Qt::BlockingQueuedConnection);
}

/// @param question gets the store
template<typename Question>
auto StoreThread::call(const Question &question)
{
    Q_ASSERT_X(QThread::currentThread() == thread(), "StoreThread", "used in the thread in which it lives");
    ++m_calls;
    decltype(question(*m_store)) answer;
    const auto ask = [&] {
        answer = question(*m_store);
        m_failure = m_store->lastFailure();
        m_warning = m_store->warning();
    };
    if (m_thread.isRunning())
        inThread(ask);
    else
        ask();
    return answer;
}

void StoreThread::save(const Record &record, const Holdings &holdings, QObject *context, const Saved &saved)
{
    const auto answer = [this, there = QPointer(context), saved](const Failure &failure, const Failure &warning) {
        m_warning = warning;
        if (there)
            saved(failure);
    };
    const auto work = [this, record, holdings, answer] {
        const bool isSaved = m_store->update(record, holdings, Lasting::ThisRunOfTheMachine);
        const Failure failure = isSaved ? Failure() : m_store->lastFailure();
        QMetaObject::invokeMethod(
            this, [answer, failure, warning = m_store->warning()] { answer(failure, warning); }, Qt::QueuedConnection);
    };
    if (m_thread.isRunning())
        QMetaObject::invokeMethod(&m_there, work, Qt::QueuedConnection);
    else
        work();
}

void StoreThread::releaseSoon(const QList<qint64> &ids)
{
    const auto work = [this, ids] { m_store->releaseSoon(ids); };
    if (m_thread.isRunning())
        QMetaObject::invokeMethod(&m_there, work, Qt::QueuedConnection);
    else
        work();
}

/// All of it is done there.
bool StoreThread::together(const Work &work)
{
    return call([&](DownloadStore &store) { return store.together(work); });
}

qint64 StoreThread::insert(Record &record)
{
    return call([&](DownloadStore &store) { return store.insert(record); });
}

qint64 StoreThread::insertOwned(Record &record, const DownloadOptions &options)
{
    return call([&](DownloadStore &store) { return store.insertOwned(record, options); });
}

bool StoreThread::update(const Record &record, const Holdings &holdings, Lasting lasting)
{
    return call([&](DownloadStore &store) { return store.update(record, holdings, lasting); });
}

FileIdentity StoreThread::fileIdentity(qint64 id)
{
    return call([id](DownloadStore &store) { return store.fileIdentity(id); });
}

QString StoreThread::contentEncoding(qint64 id)
{
    return call([id](DownloadStore &store) { return store.contentEncoding(id); });
}

ResourceMemory StoreThread::memory(qint64 id)
{
    return call([id](DownloadStore &store) { return store.memory(id); });
}

bool StoreThread::setDigestResult(qint64 id, ChecksumResult result, qint64 fence)
{
    return call([=](DownloadStore &store) { return store.setDigestResult(id, result, fence); });
}

std::optional<DownloadStore::Record> StoreThread::load(qint64 id)
{
    return call([id](DownloadStore &store) { return store.load(id); });
}

QList<DownloadStore::Record> StoreThread::loadUnfinished()
{
    return call([](DownloadStore &store) { return store.loadUnfinished(); });
}

QList<DownloadStore::Record> StoreThread::findUnfinished(const QUrl &url, const QString &folder,
                                                         const QString &outputName)
{
    return call([&](DownloadStore &store) { return store.findUnfinished(url, folder, outputName); });
}

QList<DownloadStore::Record> StoreThread::findFinished(const QUrl &url, const QString &folder,
                                                       const QString &outputName, int limit)
{
    return call([&](DownloadStore &store) { return store.findFinished(url, folder, outputName, limit); });
}

QList<DownloadStore::Record> StoreThread::findByUrl(const QUrl &url, int limit)
{
    return call([&](DownloadStore &store) { return store.findByUrl(url, limit); });
}

QList<DownloadStore::Record> StoreThread::list()
{
    return call([](DownloadStore &store) { return store.list(); });
}

QList<ListEntry> StoreThread::page(ListFilter filter, int limit, qint64 before)
{
    return call([&](DownloadStore &store) { return store.page(filter, limit, before); });
}

QList<ListEntry> StoreThread::page(ListFilter filter, ListOrder order, qint64 first, int limit)
{
    return call([&](DownloadStore &store) { return store.page(filter, order, first, limit); });
}

qint64 StoreThread::move(qint64 id, qint64 position, QList<RowPlace> *places)
{
    return call([&](DownloadStore &store) { return store.move(id, position, places); });
}

qint64 StoreThread::count(ListFilter filter, qint64 *othersChanges)
{
    return call([=](DownloadStore &store) { return store.count(filter, othersChanges); });
}

void StoreThread::askOthersChanges(QObject *context, const std::function<void(qint64)> &told)
{
    const auto answer = [there = QPointer(context), told](qint64 changes) {
        if (there)
            told(changes);
    };
    const auto work = [this, answer] {
        m_store->askOthersChanges(nullptr, [&](qint64 changes) {
            QMetaObject::invokeMethod(
                this, [answer, changes] { answer(changes); }, Qt::QueuedConnection);
        });
    };
    if (m_thread.isRunning())
        QMetaObject::invokeMethod(&m_there, work, Qt::QueuedConnection);
}

DownloadOptions StoreThread::options(qint64 id)
{
    return call([id](DownloadStore &store) { return store.options(id); });
}

bool StoreThread::setOptions(qint64 id, const DownloadOptions &options, qint64 fence)
{
    return call([&](DownloadStore &store) { return store.setOptions(id, options, fence); });
}

bool StoreThread::remove(qint64 id, qint64 fence)
{
    return call([=](DownloadStore &store) { return store.remove(id, fence); });
}

DownloadStore::Claim StoreThread::claim(qint64 id, ProcessIdentity *owner)
{
    return call([id, owner](DownloadStore &store) { return store.claim(id, owner); });
}

DownloadStore::Claim StoreThread::claim(qint64 id, Lease &lease, ProcessIdentity *owner)
{
    return call([&](DownloadStore &store) {
        store.setWait(kClaimWaitMs);
        const Claim claim = store.claim(id, lease, owner);
        store.setWait(-1);
        return claim;
    });
}

bool StoreThread::release(qint64 id)
{
    return call([id](DownloadStore &store) { return store.release(id); });
}
