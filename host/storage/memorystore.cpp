// SPDX-License-Identifier: MIT
#include <host/storage/memorystore.h>

#include <host/storage/processidentity.h>

#include <algorithm>
#include <numeric>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

using File = AbstractDownloadFileInfo;

/// What is not to be kept is not kept for as long as the process lives, either.
DownloadOptions withoutSecrets(DownloadOptions options)
{
    if (options.storeSecrets)
        return options;
    options.user.clear();
    options.password.clear();
    for (SecretHeader &header : options.headers)
        header.value = QString();
    return options;
}

/// -1 = not known of all of them.
qint64 sizeOf(const QList<File> &files)
{
    qint64 size = files.isEmpty() ? -1 : 0;
    for (const File &file : files)
        size = file.size < 0 || size < 0 ? -1 : size + file.size;
    return size;
}

qint64 doneOf(const QList<File> &files)
{
    return std::accumulate(files.cbegin(), files.cend(), qint64(0),
                           [](qint64 sum, const File &file) { return sum + file.bytesDownloaded(); });
}

bool isSameName(const AbstractDownloadPersistentInfo &record, const QString &outputName)
{
    const bool isNamed = record.hasFlag(AbstractDownloadPersistentInfo::RenameBlocked);
    if (outputName.isEmpty())
        return !isNamed;
    return isNamed && !record.files.isEmpty() && record.files.first().name == outputName;
}

}

MemoryStore::MemoryStore(const Failure &warning)
    : m_warning(warning)
{
}

MemoryStore::~MemoryStore() = default;

qint64 MemoryStore::insert(Record &record)
{
    m_failure = {};
    record.id = ++m_lastId;
    m_rows.insert(record.id, {record, {}, {}, {}, {}, false});
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
    const bool isAnothers = holdings.fence != 0 && m_rows.value(record.id).fence != holdings.fence;
    Row *const row = find(isAnothers ? 0 : record.id);
    if (!row)
        return false;
    row->record = record;
    if (holdings.file.isKnown())
        row->file = holdings.file;
    if (!holdings.contentEncoding.isNull())
        row->contentEncoding = holdings.contentEncoding;
    if (holdings.memory)
        row->memory = holdings.memory;
    return true;
}

FileIdentity MemoryStore::fileIdentity(qint64 id)
{
    return rowOf(id).file;
}

QString MemoryStore::contentEncoding(qint64 id)
{
    return rowOf(id).contentEncoding;
}

ResourceMemory MemoryStore::memory(qint64 id)
{
    return rowOf(id).memory.value_or(ResourceMemory());
}

bool MemoryStore::setDigestResult(qint64 id, ChecksumResult result)
{
    m_failure = {};
    const auto row = m_rows.find(id);
    if (row != m_rows.end() && row->memory)
        row->memory->evidence.digest = result;
    return true;
}

std::optional<DownloadStore::Record> MemoryStore::load(qint64 id)
{
    m_failure = {};
    const auto row = m_rows.constFind(id);
    return row == m_rows.cend() ? std::nullopt : std::optional(row->record);
}

QList<DownloadStore::Record> MemoryStore::loadUnfinished()
{
    m_failure = {};
    return select([](const Row &row) { return !row.record.isFinished(); });
}

QList<DownloadStore::Record> MemoryStore::findUnfinished(const QUrl &url, const QString &folder,
                                                         const QString &outputName)
{
    m_failure = {};
    QList<Record> records = select([&](const Row &row) {
        return !row.record.isFinished() && row.record.url == url && row.record.folder == folder
            && isSameName(row.record, outputName);
    });
    std::reverse(records.begin(), records.end());
    return records;
}

QList<DownloadStore::Record> MemoryStore::findByUrl(const QUrl &url, int limit)
{
    m_failure = {};
    QList<Record> records = select([&url](const Row &row) { return row.record.url == url; });
    std::reverse(records.begin(), records.end());
    return records.first(std::min<qsizetype>(limit, records.size()));
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

qint64 MemoryStore::count(ListFilter filter)
{
    m_failure = {};
    return std::count_if(m_rows.cbegin(), m_rows.cend(), [filter](const Row &row) { return isMeant(row, filter); });
}

DownloadOptions MemoryStore::options(qint64 id)
{
    return rowOf(id).options;
}

bool MemoryStore::setOptions(qint64 id, const DownloadOptions &options)
{
    Row *const row = find(id);
    if (row)
        row->options = withoutSecrets(options);
    return row != nullptr;
}

bool MemoryStore::remove(qint64 id)
{
    return find(id) && m_rows.remove(id) > 0;
}

DownloadStore::Claim MemoryStore::claim(qint64 id, ProcessIdentity *)
{
    Row *const row = find(id);
    if (row && !std::exchange(row->isOwned, true))
        ++row->fence;
    return row ? Claim::Taken : Claim::Failed;
}

DownloadStore::Claim MemoryStore::claim(qint64 id, Taken &taken, ProcessIdentity *owner)
{
    const Claim answer = claim(id, owner);
    if (answer == Claim::Taken) {
        const Row &row = m_rows[id];
        taken = {row.record, row.options, row.file, row.contentEncoding, row.memory.value_or(ResourceMemory()),
                 row.fence};
    }
    return answer;
}

bool MemoryStore::release(qint64 id)
{
    Row *const row = find(m_rows.value(id).isOwned ? id : 0);
    if (row)
        row->isOwned = false;
    return row != nullptr;
}

bool MemoryStore::isMeant(const Row &row, ListFilter filter)
{
    const ListEntry entry = entryOf(row);
    const bool isNotCompared = entry.hasChecksum && entry.checksumResult == ChecksumResult::NotCompared;
    switch (filter) {
    case ListFilter::All:
        break;
    case ListFilter::Unfinished:
        return !row.record.isFinished() || isNotCompared;
    case ListFilter::Finished:
        return row.record.isFinished();
    }
    return true;
}

/// With which the finished file is to be compared; one that was finished early is another file to it.
bool MemoryStore::hasServersDigest(const Row &row)
{
    if (!row.record.isFinished() || !row.memory || row.memory->evidence.doubt == Evidence::Doubt::FinishedEarly)
        return false;
    const QList<KnownAddress> &addresses = row.memory->addresses;
    return std::any_of(addresses.cbegin(), addresses.cend(),
                       [](const KnownAddress &address) { return !address.identity.digest.isEmpty(); });
}

ListEntry MemoryStore::entryOf(const Row &row)
{
    const Record &record = row.record;
    ListEntry entry;
    entry.id = record.id;
    entry.name = record.files.isEmpty() ? QString() : record.files.first().name;
    entry.url = record.url;
    entry.folder = record.folder;
    entry.size = sizeOf(record.files);
    entry.done = doneOf(record.files);
    entry.finished = record.isFinished();
    entry.evidence = row.memory.value_or(ResourceMemory()).evidence;
    entry.evidence.address.clear();
    entry.evidence.etag.clear();
    entry.hasChecksum = !row.options.checksumAlgorithm.isEmpty();
    entry.checksumResult = entry.hasChecksum ? row.options.checksumResult : entry.evidence.digest;
    entry.hasChecksum =
        entry.hasChecksum || hasServersDigest(row) || entry.checksumResult != ChecksumResult::NotCompared;
    entry.ownerPid = row.isOwned ? ProcessIdentity::current().pid : 0;
    entry.error = record.lastError;
    entry.creationTime = record.creationTime;
    entry.finishedTime = record.finishedTime;
    entry.errorTime = record.lastErrorTime;
    return entry;
}

/// A default one where there is none, which is no error.
MemoryStore::Row MemoryStore::rowOf(qint64 id)
{
    m_failure = {};
    return m_rows.value(id);
}

/// Null, with an error text, where there is none. @param what cannot be done then
MemoryStore::Row *MemoryStore::find(qint64 id)
{
    const auto row = m_rows.find(id);
    const bool isThere = row != m_rows.end();
    m_failure = isThere
        ? Failure()
        : Failure::make(Failure::Kind::CannotChangeList, {}, u"there is no such download for this process"_s);
    return isThere ? &*row : nullptr;
}

QList<DownloadStore::Record> MemoryStore::select(const std::function<bool(const Row &)> &condition) const
{
    QList<Record> records;
    for (const Row &row : m_rows) {
        if (condition(row))
            records.append(row.record);
    }
    return records;
}
