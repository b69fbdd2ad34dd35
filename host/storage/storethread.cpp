// SPDX-License-Identifier: MIT
#include <host/storage/storethread.h>

#include <host/storage/downloadlist.h>
#include <host/storage/owners.h>
#include <host/storage/processidentity.h>
#include <host/storage/stores.h>

#include <QPointer>

#include <algorithm>
#include <ctime>
#include <functional>
#include <limits>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kMsPerSecond = 1000;
constexpr qint64 kNsPerMs = 1000 * 1000;
/// Of what is not open, and what nobody else can claim.
constexpr qint64 kForEver = std::numeric_limits<qint64>::max();

/// Where the list cannot be changed.
constexpr qint64 kUntilLookedAgainMs = 5 * kMsPerSecond;

/// Goes on while the machine sleeps, as the clocks of others do.
qint64 nowMs()
{
    timespec now = {};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec * kMsPerSecond + now.tv_nsec / kNsPerMs;
}

}

/// A list that is not open says so itself.
StoreThread::StoreThread(int renewMs, qint64 sureMs)
    : m_renewMs(renewMs)
    , m_sureMs(sureMs)
    , m_sureUntilMs(kForEver)
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
        m_sureUntilMs = nowMs() + m_sureMs;
        m_renewal = std::make_unique<QTimer>();
        QObject::connect(m_renewal.get(), &QTimer::timeout, &m_there, [this] { renew(); });
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
        m_sureUntilMs = kForEver;
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
bool StoreThread::together(const Work &work, Lasting lasting)
{
    return call([&](DownloadStore &store) { return store.together(work, lasting); });
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

bool StoreThread::isBegun(const QString &folder, const QString &pathOnDisk, qint64 butId)
{
    return call([&](DownloadStore &store) { return store.isBegun(folder, pathOnDisk, butId); });
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

DownloadStore::Claim StoreThread::claim(qint64 id, Owner *owner)
{
    return call([id, owner](DownloadStore &store) { return store.claim(id, owner); });
}

DownloadStore::Claim StoreThread::claim(qint64 id, Lease &lease, Owner *owner)
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

bool StoreThread::renewClaims()
{
    return call([](DownloadStore &store) { return store.renewClaims(); });
}

Failure StoreThread::lostTo(qint64 id, qint64 fence)
{
    return call([=](DownloadStore &store) { return store.lostTo(id, fence); });
}

bool StoreThread::isSure(int lapses) const
{
    // In this order: what was renewed meanwhile has been counted before.
    return nowMs() <= m_sureUntilMs && lapses == m_lapses;
}

Failure StoreThread::look(qint64 id, qint64 fence, int *lapses)
{
    Failure lost;
    if (!m_thread.isRunning())
        return lost;
    inThread([&] {
        m_store->setWait(kClaimWaitMs);
        if (nowMs() > m_sureUntilMs)
            renew();
        *lapses = m_lapses;
        lost = m_store->lostTo(id, fence);
        m_store->setWait(-1);
    });
    return lost;
}

/// Behind a renewal that is under way.
void StoreThread::doubt()
{
    if (m_thread.isRunning())
        inThread([this] { m_sureUntilMs = 0; });
}

/// In the list's thread. The time counts from before it: the process may stand still in the middle. A list that takes
/// nothing is no reason to stop: whose a download is can still be read, and nobody else claims anything there either,
/// as a rule.
void StoreThread::renew()
{
    const qint64 now = nowMs();
    const bool isLate = now > m_sureUntilMs;
    if (isLate)
        ++m_lapses;
    const bool isDone = m_store->renewClaims();
    if (isDone || isLate)
        m_sureUntilMs = now + (isDone ? m_sureMs : std::min(m_sureMs, kUntilLookedAgainMs));
    if (isDone && isLate)
        Q_EMIT lapsed();
}
