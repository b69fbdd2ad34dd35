// SPDX-License-Identifier: MIT
#include <host/storage/listrows.h>

#include <host/storage/keptoptions.h>
#include <host/storage/memoryrows.h>
#include <host/storage/owners.h>
#include <host/storage/partrows.h>
#include <host/storage/processidentity.h>
#include <host/storage/recordrows.h>
#include <host/storage/sqlcells.h>

#include <algorithm>
#include <array>
#include <limits>

using namespace Qt::StringLiterals;

namespace
{

/// Of a row of the table "files". Where another file was in the way, it is not called what it would be.
const QString kNameOfFile = u"iif(finished AND path_on_disk <> '', path_on_disk, name)"_s;

/// The parts are found by their keys, for the lines of the page alone.
const QString kEntryColumns = uR"(
    id, sort_index, url, folder, finished, owner_pid, owner_start_time, owner_boot_id,
    error_code, error_category, error_source, error_description, error_time, creation_time, finished_time,
    (SELECT %1 FROM files WHERE download_id = downloads.id AND position = 0),
    (SELECT CASE WHEN min(size) < 0 THEN -1 ELSE sum(size) END FROM files WHERE download_id = downloads.id),
    (SELECT sum(downloaded) FROM sections WHERE download_id = downloads.id),
    (SELECT checksum_result FROM options WHERE download_id = downloads.id AND checksum_algorithm <> ''),
    answers, doubt, end_known, digest_result,
    finished AND EXISTS (SELECT 1 FROM addresses WHERE download_id = downloads.id AND digest IS NOT NULL))"_s.arg(
    kNameOfFile);

/// Those that were finished early are another file to every digest; a person's checksum counts in its place.
const QString kWithDigestNotCompared = uR"(SELECT addresses.download_id
    FROM addresses JOIN evidence ON evidence.download_id = addresses.download_id
    WHERE digest IS NOT NULL AND digest_result = 0 AND doubt <> %1 AND NOT EXISTS
        (SELECT 1 FROM options WHERE options.download_id = addresses.download_id AND checksum_algorithm <> ''))"_s.arg(
    int(Evidence::Doubt::FinishedEarly));

/// Of those that are finished and were not compared yet.
const QString kNotCompared =
    u"id IN (SELECT download_id FROM options WHERE checksum_algorithm <> '' AND checksum_result = 0 UNION "_s
    + kWithDigestNotCompared + u')';

/// Of those that are finished, the few that are another file.
const QString kDifferent =
    uR"(id IN (SELECT download_id FROM options WHERE checksum_algorithm <> '' AND checksum_result = 2
    UNION SELECT download_id FROM evidence WHERE digest_result = 2 AND NOT EXISTS
        (SELECT 1 FROM options WHERE options.download_id = evidence.download_id AND checksum_algorithm <> '')))"_s;

const QString kDone = u"finished = 1 AND NOT "_s + kNotCompared + u" AND NOT "_s + kDifferent;

QString conditionOf(ListFilter filter)
{
    switch (filter) {
    case ListFilter::All:
        break;
    case ListFilter::Unfinished:
        return u"(finished = 0 OR "_s + kNotCompared + u')';
    case ListFilter::Done:
        return kDone;
    }
    return u"true"_s;
}

/// An index is to be read in the order of the key.
QString placesIn(const QString &condition, const QString &key)
{
    return u"SELECT %1 AS place_key, id AS place_id FROM downloads WHERE %2"_s.arg(key, condition);
}

/// Rows of one filter, by an index in the order of the key.
QString placesByIndex(ListFilter filter, const QString &key)
{
    switch (filter) {
    case ListFilter::All:
        break;
    case ListFilter::Unfinished:
        return placesIn(u"finished = 0"_s, key) + u" UNION ALL "_s
            + placesIn(u"+finished = 1 AND "_s + kNotCompared, key);
    case ListFilter::Done:
        return placesIn(kDone, key);
    }
    return placesIn(u"true"_s, key);
}

/// Of all rows it is merged.
QString placesByHalves(ListFilter filter, const QString &key)
{
    if (filter != ListFilter::All)
        return placesByIndex(filter, key);
    return placesIn(u"finished = 1"_s, key) + u" UNION ALL "_s + placesIn(u"finished = 0"_s, key);
}

/// Which rows are meant, without anything else of them, so that those that are passed over cost next to nothing. Each
/// part is an index in its order, or of few rows.
QString placesOf(ListFilter filter, ListOrder order)
{
    switch (order) {
    case ListOrder::Place:
        return placesByIndex(filter, u"sort_index"_s);
    case ListOrder::Newest:
        break;
    case ListOrder::Name:
        return placesByHalves(filter, u"name_key"_s);
    case ListOrder::Size:
        return placesByHalves(filter, u"size_key"_s);
    case ListOrder::Created:
        return placesByHalves(filter, u"creation_time"_s);
    }
    return placesByIndex(filter, u"0"_s);
}

/// Each part counts entries of an index, or is a look at few.
QString countOf(ListFilter filter)
{
    const QString all = u"(SELECT count(*) FROM downloads)"_s;
    const QString where = u"(SELECT count(*) FROM downloads WHERE %1)"_s;
    switch (filter) {
    case ListFilter::All:
        break;
    case ListFilter::Unfinished:
        return where.arg(u"finished = 0"_s) + u" + "_s + where.arg(u"+finished = 1 AND "_s + kNotCompared);
    case ListFilter::Done:
        return where.arg(kDone);
    }
    return all;
}

QString orderOf(ListOrder order)
{
    switch (order) {
    case ListOrder::Place:
        return u"place_key, place_id"_s;
    case ListOrder::Newest:
        return u"place_id DESC"_s;
    case ListOrder::Name:
    case ListOrder::Size:
    case ListOrder::Created:
        break;
    }
    return u"place_key, place_id DESC"_s;
}

std::optional<QList<RowPlace>> otherPlaces(RecordRows &rows, qint64 id, qint64 position, qint64 count)
{
    auto found =
        rows.run(u"SELECT sort_index, id FROM downloads WHERE id <> ? ORDER BY sort_index, id LIMIT ? OFFSET ?"_s,
                 {id, count, position});
    if (!found)
        return std::nullopt;
    QList<RowPlace> places;
    while (found->next())
        places.append({found->value(0).toNumber(), found->value(1).toNumber()});
    if (!rows.wasReadWhole(found))
        return std::nullopt;
    return places;
}

bool setPlace(RecordRows &rows, const RowPlace &place)
{
    auto change = rows.run(u"UPDATE downloads SET sort_index = ? WHERE id = ?"_s, {place.key, place.id});
    return change && change->changes() == 1;
}

/// NULL where nothing was kept.
Evidence evidenceFrom(const std::array<SqlValue, 4> &cells)
{
    const auto &[answers, doubt, isEndKnown, digest] = cells;
    Evidence evidence;
    if (answers.isNull())
        return evidence;
    evidence.answers = answers.toInt();
    evidence.doubt = MemoryRows::doubtFrom(doubt);
    evidence.isEndKnown = isEndKnown.toBool();
    evidence.digest = ChecksumResult(digest.toInt());
    return evidence;
}

/// @param owner that the list has for it, who may be long gone
ListEntry entryFrom(const SqlStatement &row, ProcessIdentity &owner)
{
    int column = 0;
    const auto next = [&] { return row.value(column++); };
    ListEntry entry;
    entry.id = next().toNumber();
    entry.placeKey = next().toNumber();
    entry.url = SqlCells::toUrl(next());
    entry.folder = SqlCells::toText(next());
    entry.finished = next().toBool();
    owner.pid = next().toNumber();
    owner.startTime = next().toNumber();
    owner.bootId = SqlCells::toText(next());
    entry.error.code = next().toInt();
    entry.error.category = SqlCells::toBytes(next()).toStdString();
    entry.error.source = SqlCells::toBytes(next()).toStdString();
    entry.error.description = SqlCells::toBytes(next()).toStdString();
    entry.errorTime = SqlCells::toTime(next());
    entry.creationTime = SqlCells::toTime(next());
    entry.finishedTime = SqlCells::toTime(next());
    entry.name = SqlCells::toText(next());
    const SqlValue size = next();
    entry.size = size.isNull() ? -1 : size.toNumber();
    entry.done = next().toNumber();
    const SqlValue checksumResult = next();
    entry.hasChecksum = !checksumResult.isNull();
    entry.checksumResult = ChecksumResult(checksumResult.toInt());
    entry.evidence = evidenceFrom({next(), next(), next(), next()});
    const bool hasDigest = next().toBool() && entry.evidence.doubt != Evidence::Doubt::FinishedEarly;
    if (!entry.hasChecksum && (hasDigest || entry.evidence.digest != ChecksumResult::NotCompared)) {
        entry.hasChecksum = true;
        entry.checksumResult = entry.evidence.digest;
    }
    return entry;
}

std::optional<QList<ListEntry>> entriesOf(RecordRows &rows, const QString &statement, const SqlValues &values)
{
    auto lines = rows.run(statement, values);
    if (!lines)
        return std::nullopt;
    QList<ListEntry> entries;
    QList<ProcessIdentity> owners;
    while (lines->next())
        entries.append(entryFrom(lines.statement(), owners.emplaceBack()));
    if (!rows.wasReadWhole(lines))
        return std::nullopt;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (!owners.at(i).isNobody() && Owners::isAlive(rows, owners.at(i), &entries[i].ownerSecondsLeft))
            entries[i].owner = owners.at(i);
    }
    return entries;
}

/// In the place of an algorithm: a list is to name one, and has not been read yet.
const QString kNamedByList = u"list"_s;

const QString kOptionColumns = u"rate_limit, connections, connections_per_server, checksum_algorithm, checksum_hex, "
                               u"checksum_result, on_changed, on_unresumable, "
                               u"skip_existing, insecure, store_secrets, user, password, further"_s;

DownloadOptions optionsFrom(const SqlStatement &row)
{
    int column = 0;
    const auto next = [&] { return row.value(column++); };
    DownloadOptions options;
    options.rateLimit = next().toNumber();
    options.connections = next().toInt();
    options.connectionsPerServer = next().toInt();
    options.checksumAlgorithm = SqlCells::toText(next());
    if (options.checksumAlgorithm == kNamedByList)
        options.checksumAlgorithm.clear();
    options.checksumHex = SqlCells::toText(next());
    options.checksumResult = ChecksumResult(next().toInt());
    options.onChanged = next().toInt();
    options.onUnresumable = next().toInt();
    options.skipExisting = next().toBool();
    options.insecure = next().toBool();
    options.storeSecrets = next().toBool();
    options.user = SqlCells::toText(next());
    options.password = SqlCells::toText(next());
    KeptOptions::give(SqlCells::toText(next()), options);
    return options;
}

/// NULL unless a person asked for it to be kept.
SqlValue secret(const QString &text, const DownloadOptions &options)
{
    return options.storeSecrets ? SqlCells::fromText(text) : SqlValue();
}

const PartRows kSecretHeaders(u"secret_headers"_s, {u"download_id"_s, u"position"_s},
                              {u"name"_s, u"value"_s, u"origin"_s});

std::optional<QList<SecretHeader>> headersOf(RecordRows &rows, qint64 id)
{
    auto found = rows.run(kSecretHeaders.select(), {id});
    if (!found)
        return std::nullopt;
    QList<SecretHeader> headers;
    while (found->next()) {
        const SqlValue value = found->value(1);
        headers.append({SqlCells::toText(found->value(0)),
                        value.isNull() ? QString() : SqlCells::fromText(SqlCells::toText(value)).toText(),
                        SqlCells::toText(found->value(2))});
    }
    if (!rows.wasReadWhole(found))
        return std::nullopt;
    return headers;
}

bool setHeaders(RecordRows &rows, qint64 id, const DownloadOptions &options)
{
    QList<SqlValues> headers;
    for (const SecretHeader &header : options.headers) {
        const SqlValue value = header.value.isNull() ? SqlValue() : secret(header.value, options);
        headers.append({SqlCells::fromText(header.name), value, SqlCells::fromText(header.origin)});
    }
    return kSecretHeaders.replace(rows, {id}, headers);
}

}

std::optional<QList<ListEntry>> ListRows::page(RecordRows &rows, ListFilter filter, int limit, qint64 before)
{
    const QString statement =
        u"SELECT %1 FROM downloads LEFT JOIN evidence ON download_id = id WHERE %2 AND id < ? ORDER BY id DESC LIMIT ?"_s
            .arg(kEntryColumns, conditionOf(filter));
    return entriesOf(rows, statement, {before > 0 ? before : std::numeric_limits<qint64>::max(), limit});
}

std::optional<QList<ListEntry>> ListRows::page(RecordRows &rows, ListFilter filter, ListOrder order, qint64 first,
                                               int limit)
{
    const QString statement = u"SELECT %1 FROM (%2 ORDER BY %3 LIMIT ? OFFSET ?) CROSS JOIN downloads ON id = place_id "
                              u"LEFT JOIN evidence ON download_id = id ORDER BY %3"_s.arg(
                                  kEntryColumns, placesOf(filter, order), orderOf(order));
    return entriesOf(rows, statement, {limit, first});
}

std::optional<qint64> ListRows::move(RecordRows &rows, qint64 id, qint64 position, QList<RowPlace> *places)
{
    const std::optional<qint64> all = count(rows, ListFilter::All);
    if (!all || *all == 0)
        return std::nullopt;
    const qint64 place = std::clamp<qint64>(position, 0, *all - 1);
    const auto moved =
        RowPlaces::moved(id, place, [&](qint64 first, qint64 count) { return otherPlaces(rows, id, first, count); });
    if (!moved
        || !std::all_of(moved->cbegin(), moved->cend(), [&](const RowPlace &row) { return setPlace(rows, row); }))
        return std::nullopt;
    if (places)
        *places = *moved;
    return place;
}

std::optional<qint64> ListRows::count(RecordRows &rows, ListFilter filter)
{
    auto number = rows.run(u"SELECT "_s + countOf(filter), {});
    if (!number || !number->next())
        return std::nullopt;
    return number->value(0).toNumber();
}

std::optional<qint64> ListRows::othersChanges(RecordRows &rows)
{
    auto version = rows.run(u"PRAGMA data_version"_s, {});
    if (!version || !version->next())
        return std::nullopt;
    return version->value(0).toNumber();
}

std::optional<DownloadOptions> ListRows::options(RecordRows &rows, qint64 id)
{
    static const QString statement = u"SELECT %1 FROM options WHERE download_id = ?"_s.arg(kOptionColumns);
    auto row = rows.run(statement, {id});
    if (!row)
        return std::nullopt;
    DownloadOptions options = row->next() ? optionsFrom(row.statement()) : DownloadOptions();
    const std::optional<QList<SecretHeader>> headers = headersOf(rows, id);
    if (!headers)
        return std::nullopt;
    options.headers = *headers;
    return options;
}

bool ListRows::setOptions(RecordRows &rows, qint64 id, const DownloadOptions &options)
{
    const bool isNamedByList = options.isToBeCompared() && options.checksumAlgorithm.isEmpty();
    const QString further = KeptOptions::toText(options);
    const SqlValues values{
        id,
        options.rateLimit,
        options.connections,
        options.connectionsPerServer,
        SqlCells::fromText(isNamedByList ? kNamedByList : options.checksumAlgorithm),
        SqlCells::fromText(options.checksumHex),
        int(options.checksumResult),
        options.onChanged,
        options.onUnresumable,
        int(options.skipExisting),
        int(options.insecure),
        int(options.storeSecrets),
        secret(options.user, options),
        secret(options.password, options),
        further.isEmpty() ? SqlValue() : SqlValue(further),
    };
    static const QString statement = u"INSERT OR REPLACE INTO options (download_id, %1) VALUES (%2)"_s.arg(
        kOptionColumns, QStringList(values.size(), u"?"_s).join(u", "_s));
    return rows.run(statement, values) && setHeaders(rows, id, options);
}

std::optional<FileIdentity> ListRows::fileIdentity(RecordRows &rows, qint64 id)
{
    auto row = rows.run(u"SELECT file_identity FROM downloads WHERE id = ?"_s, {id});
    if (!row)
        return std::nullopt;
    return row->next() ? FileIdentity{row->value(0).toText()} : FileIdentity();
}

std::optional<QString> ListRows::contentEncoding(RecordRows &rows, qint64 id)
{
    auto row = rows.run(u"SELECT content_encoding FROM downloads WHERE id = ?"_s, {id});
    if (!row)
        return std::nullopt;
    return row->next() ? row->value(0).toText() : QString();
}

std::optional<qint64> ListRows::fence(RecordRows &rows, qint64 id)
{
    auto row = rows.run(u"SELECT fence FROM downloads WHERE id = ?"_s, {id});
    if (!row)
        return std::nullopt;
    return row->next() ? row->value(0).toNumber() : 0;
}
