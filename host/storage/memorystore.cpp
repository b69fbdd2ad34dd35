// SPDX-License-Identifier: MIT
#include <host/storage/memorystore.h>

#include <host/storage/processidentity.h>
#include <host/storage/rowkeys.h>

#include <algorithm>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

bool isSameName(const AbstractDownloadPersistentInfo &record, const QString &outputName)
{
    const bool isNamed = record.hasFlag(AbstractDownloadPersistentInfo::RenameBlocked);
    if (outputName.isEmpty())
        return !isNamed;
    return isNamed && !record.files.isEmpty() && record.files.first().name == outputName;
}

/// However it came to be called so.
bool isCalled(const AbstractDownloadPersistentInfo &record, const QString &outputName)
{
    return outputName.isEmpty() ? isSameName(record, outputName)
                                : !record.files.isEmpty()
            && (record.files.first().name == outputName || record.files.first().pathOnDisk == outputName);
}

struct Line {
    ListEntry entry;
    QByteArray nameKey; ///< only where it is sorted by
};

bool precedes(ListOrder order, const Line &a, const Line &b)
{
    switch (order) {
    case ListOrder::Name:
        return a.nameKey < b.nameKey;
    case ListOrder::Size:
        return a.entry.size < b.entry.size;
    case ListOrder::Created:
        return a.entry.creationTime.isValid()
            ? b.entry.creationTime.isValid() && a.entry.creationTime < b.entry.creationTime
            : b.entry.creationTime.isValid();
    case ListOrder::Place:
    case ListOrder::Newest:
        break;
    }
    return a.entry.id > b.entry.id;
}

/// Of equals the order stays.
QList<ListEntry> sorted(const QList<ListEntry> &entries, ListOrder order)
{
    QList<Line> lines;
    lines.reserve(entries.size());
    for (const ListEntry &entry : entries) {
        const bool byName = order == ListOrder::Name;
        lines.append({entry, byName ? RowKeys::nameKey(entry.name, entry.url).toUtf8() : QByteArray()});
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [order](const Line &a, const Line &b) { return precedes(order, a, b); });
    QList<ListEntry> result;
    result.reserve(lines.size());
    for (const Line &line : std::as_const(lines))
        result.append(line.entry);
    return result;
}

}

MemoryStore::MemoryStore(const Failure &warning)
    : m_warning(warning)
{
}

MemoryStore::~MemoryStore() = default;

bool MemoryStore::together(const Work &work, Lasting)
{
    Q_ASSERT_X(!m_before, "MemoryStore", "nothing happens together inside of another such thing");
    m_failure = {};
    m_before.emplace(Before{{}, m_lastId, {}});
    const bool done = work(*this) && !m_before->failure;
    const Before before = *std::exchange(m_before, std::nullopt);
    m_failure = before.failure;
    if (!done)
        takeBack(before);
    return done;
}

void MemoryStore::takeBack(const Before &before)
{
    m_lastId = before.lastId;
    for (auto it = before.rows.cbegin(); it != before.rows.cend(); ++it) {
        if (const auto row = m_rows.constFind(it.key()); row != m_rows.cend())
            m_places.erase(row->place());
        m_rows.remove(it.key());
        if (*it) {
            m_rows.insert(it.key(), **it);
            m_places.insert((*it)->place());
        }
    }
}

/// Before it is changed, in case that is to be taken back.
void MemoryStore::remember(qint64 id)
{
    if (!m_before || m_before->rows.contains(id))
        return;
    const auto row = m_rows.constFind(id);
    m_before->rows.insert(id, row == m_rows.cend() ? std::nullopt : std::optional(*row));
}

qint64 MemoryStore::insert(Record &record)
{
    m_failure = {};
    record.id = ++m_lastId;
    remember(record.id);
    record.sortIndex = RowPlaces::keyBehind(m_places.empty() ? std::nullopt : std::optional(m_places.rbegin()->key));
    m_places.insert({record.sortIndex, record.id});
    m_rows.insert(record.id, {{record, {}, {}, {}, {}, 0}, false, false});
    return record.id;
}

qint64 MemoryStore::insertOwned(Record &record, const DownloadOptions &options)
{
    insert(record);
    setOptions(record.id, options);
    claim(record.id, nullptr);
    return record.id;
}

bool MemoryStore::update(const Record &record, const Holdings &holdings, Lasting)
{
    Row *const row = find(record.id, holdings.fence);
    if (!row)
        return false;
    const qint64 placeKey = row->lease.record.sortIndex;
    row->lease.record = record;
    row->lease.record.sortIndex = placeKey;
    if (holdings.file.isKnown())
        row->lease.file = holdings.file;
    if (!holdings.contentEncoding.isNull())
        row->lease.contentEncoding = holdings.contentEncoding;
    if (holdings.memory)
        row->lease.memory = *holdings.memory;
    row->isMemoryKept = row->isMemoryKept || holdings.memory;
    return true;
}

FileIdentity MemoryStore::fileIdentity(qint64 id)
{
    return rowOf(id).lease.file;
}

QString MemoryStore::contentEncoding(qint64 id)
{
    return rowOf(id).lease.contentEncoding;
}

ResourceMemory MemoryStore::memory(qint64 id)
{
    return rowOf(id).lease.memory;
}

bool MemoryStore::setDigestResult(qint64 id, ChecksumResult result, qint64 fence)
{
    m_failure = {};
    Row *const row = fence != 0 || m_rows.contains(id) ? find(id, fence) : nullptr;
    if (row && row->isMemoryKept)
        row->lease.memory.evidence.digest = result;
    return !m_failure;
}

std::optional<DownloadStore::Record> MemoryStore::load(qint64 id)
{
    m_failure = {};
    const auto row = m_rows.constFind(id);
    return row == m_rows.cend() ? std::nullopt : std::optional(row->lease.record);
}

QList<DownloadStore::Record> MemoryStore::loadUnfinished()
{
    m_failure = {};
    return select([](const Row &row) { return !row.lease.record.isFinished(); });
}

QList<DownloadStore::Record> MemoryStore::findUnfinished(const QUrl &url, const QString &folder,
                                                         const QString &outputName)
{
    m_failure = {};
    QList<Record> records = select([&](const Row &row) {
        return !row.lease.record.isFinished() && row.lease.record.url == url && row.lease.record.folder == folder
            && isSameName(row.lease.record, outputName);
    });
    std::reverse(records.begin(), records.end());
    return records;
}

QList<DownloadStore::Record> MemoryStore::findFinished(const QUrl &url, const QString &folder,
                                                       const QString &outputName, int limit)
{
    m_failure = {};
    QList<Record> records = select([&](const Row &row) {
        const Record &record = row.lease.record;
        return record.isFinished() && record.url == url && record.folder == folder && isCalled(record, outputName);
    });
    std::reverse(records.begin(), records.end());
    return records.first(std::min<qsizetype>(limit, records.size()));
}

QList<DownloadStore::Record> MemoryStore::findByUrl(const QUrl &url, int limit)
{
    m_failure = {};
    QList<Record> records = select([&url](const Row &row) { return row.lease.record.url == url; });
    std::reverse(records.begin(), records.end());
    return records.first(std::min<qsizetype>(limit, records.size()));
}

bool MemoryStore::isBegun(const QString &folder, const QString &pathOnDisk, qint64 butId)
{
    m_failure = {};
    return !select([&](const Row &row) {
                const Record &record = row.lease.record;
                return !record.isFinished() && record.folder == folder && record.id != butId && !record.files.isEmpty()
                    && record.files.first().pathOnDisk == pathOnDisk;
            }).isEmpty();
}

QList<DownloadStore::Record> MemoryStore::list()
{
    m_failure = {};
    return select([](const Row &) { return true; });
}

QList<ListEntry> MemoryStore::page(ListFilter filter, int limit, qint64 before)
{
    m_failure = {};
    QList<ListEntry> entries;
    auto row = before > 0 ? std::as_const(m_rows).lowerBound(before) : m_rows.cend();
    while (row != m_rows.cbegin() && entries.size() < limit) {
        --row;
        if (isMeant(*row, filter))
            entries.append(entryOf(*row));
    }
    return entries;
}

QList<ListEntry> MemoryStore::page(ListFilter filter, ListOrder order, qint64 first, int limit)
{
    m_failure = {};
    QList<ListEntry> entries;
    const auto take = [&](const Row &row) {
        if (isMeant(row, filter) && first-- <= 0)
            entries.append(entryOf(row));
    };
    if (order == ListOrder::Place) {
        for (auto place = m_places.cbegin(); place != m_places.cend() && entries.size() < limit; ++place)
            take(*m_rows.constFind(place->id));
    } else if (order == ListOrder::Newest) {
        for (auto row = m_rows.cend(); row != m_rows.cbegin() && entries.size() < limit;)
            take(*--row);
    } else {
        entries = sorted(page(filter, std::numeric_limits<int>::max()), order);
        entries = entries.mid(std::min<qint64>(first, entries.size()), limit);
    }
    return entries;
}

qint64 MemoryStore::move(qint64 id, qint64 position, QList<RowPlace> *places)
{
    if (!find(id))
        return -1;
    const qint64 place = std::clamp<qint64>(position, 0, m_rows.size() - 1);
    const auto moved =
        RowPlaces::moved(id, place, [&](qint64 first, qint64 count) { return placesWithout(id, first, count); });
    for (const RowPlace &row : *moved)
        setPlace(row);
    if (places)
        *places = *moved;
    return place;
}

std::optional<QList<RowPlace>> MemoryStore::placesWithout(qint64 id, qint64 position, qint64 count) const
{
    QList<RowPlace> found;
    for (const RowPlace &place : m_places) {
        if (found.size() == count)
            break;
        if (place.id != id && position-- <= 0)
            found.append(place);
    }
    return found;
}

void MemoryStore::setPlace(const RowPlace &place)
{
    remember(place.id);
    Row &row = m_rows[place.id];
    m_places.erase(row.place());
    row.lease.record.sortIndex = place.key;
    m_places.insert(place);
}

qint64 MemoryStore::count(ListFilter filter, qint64 *othersChanges)
{
    m_failure = {};
    if (othersChanges)
        *othersChanges = 0;
    return std::count_if(m_rows.cbegin(), m_rows.cend(), [filter](const Row &row) { return isMeant(row, filter); });
}

DownloadOptions MemoryStore::options(qint64 id)
{
    return rowOf(id).lease.options;
}

bool MemoryStore::setOptions(qint64 id, const DownloadOptions &options, qint64 fence)
{
    Row *const row = find(id, fence);
    if (row)
        row->lease.options = options.kept();
    return row != nullptr;
}

bool MemoryStore::remove(qint64 id, qint64 fence)
{
    const Row *const row = find(id, fence);
    if (!row)
        return false;
    m_places.erase(row->place());
    return m_rows.remove(id) > 0;
}

DownloadStore::Claim MemoryStore::claim(qint64 id, Owner *)
{
    Row *const row = find(id);
    if (row && !std::exchange(row->isOwned, true))
        ++row->lease.fence;
    return row ? Claim::Taken : Claim::Failed;
}

DownloadStore::Claim MemoryStore::claim(qint64 id, Lease &lease, Owner *owner)
{
    const Claim answer = claim(id, owner);
    if (answer == Claim::Taken)
        lease = m_rows[id].lease;
    return answer;
}

bool MemoryStore::release(qint64 id)
{
    Row *const row = find(m_rows.value(id).isOwned ? id : 0);
    if (row)
        row->isOwned = false;
    return row != nullptr;
}

Failure MemoryStore::lostTo(qint64 id, qint64 fence)
{
    return find(id, fence) || m_failure.kind != Failure::Kind::OwnedByOther ? Failure() : m_failure;
}

bool MemoryStore::isMeant(const Row &row, ListFilter filter)
{
    const ListEntry entry = entryOf(row);
    const bool isNotCompared = entry.hasChecksum && entry.checksumResult == ChecksumResult::NotCompared;
    switch (filter) {
    case ListFilter::All:
        break;
    case ListFilter::Unfinished:
        return !row.lease.record.isFinished() || isNotCompared;
    case ListFilter::Done:
        return entry.isDone();
    }
    return true;
}

ListEntry MemoryStore::entryOf(const Row &row)
{
    ListEntry entry = row.lease.entry();
    entry.owner = row.isOwned ? ProcessIdentity::current() : ProcessIdentity();
    return entry;
}

/// A default one where there is none, which is no error.
MemoryStore::Row MemoryStore::rowOf(qint64 id)
{
    m_failure = {};
    return m_rows.value(id);
}

/// Null, with a failure, where there is none, or where it has another number than the one that is meant.
MemoryStore::Row *MemoryStore::find(qint64 id, qint64 fence)
{
    remember(id);
    const auto row = m_rows.find(id);
    const bool isThere = row != m_rows.end();
    const bool isLost = fence != 0 && (!isThere || row->lease.fence != fence);
    m_failure = {};
    if (isLost)
        m_failure = Failure::make(Failure::Kind::OwnedByOther, Failure::Subject::of(id), {},
                                  isThere ? int(entryOf(*row).owner.pid) : 0);
    else if (!isThere)
        m_failure = Failure::make(Failure::Kind::CannotChangeList, {}, Clause::Kind::NotOfThisProcess);
    if (m_before && !m_before->failure)
        m_before->failure = m_failure;
    return isThere && !isLost ? &*row : nullptr;
}

QList<DownloadStore::Record> MemoryStore::select(const std::function<bool(const Row &)> &condition) const
{
    QList<Record> records;
    for (const Row &row : m_rows) {
        if (condition(row))
            records.append(row.lease.record);
    }
    return records;
}
