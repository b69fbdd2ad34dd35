// SPDX-License-Identifier: MIT
#include <host/storage/salvage.h>

#include <host/storage/idranges.h>
#include <host/storage/listrows.h>
#include <host/storage/schema.h>
#include <host/storage/sqltransaction.h>

#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Where a page cannot be read, so many numbers are tried one by one.
constexpr qint64 kMostProbes = 1000000;

const QString kDownloads = u"downloads"_s;
const QString kFiles = u"files"_s;
const QString kSections = u"sections"_s;
const QString kOptions = u"options"_s;
const QString kHeaders = u"headers"_s;
const QString kSecretHeaders = u"secret_headers"_s;
const QString kAddresses = u"addresses"_s;
const QString kEvidence = u"evidence"_s;
const QStringList kTables{kDownloads,     kFiles,   kSections, u"mirrors"_s, u"cookies"_s,
                          kSecretHeaders, kHeaders, kOptions,  kAddresses,   kEvidence};

/// With which they came; the others were there from the first.
const QHash<QString, int> kFirstVersions{{kOptions, 2}, {kAddresses, 4}, {kEvidence, 4}, {kSecretHeaders, 5}};

/// Of a process that is not at work on the whole list.
const QStringList kOwner{u"owner_pid"_s, u"owner_start_time"_s, u"owner_boot_id"_s, u"fence"_s};

/// Without these it would be another download.
const QStringList kOfADownload{u"id"_s, u"flags"_s, u"url"_s, u"folder"_s};

/// A list that was damaged by hand may have them there.
const QString kParametersWithoutHeaders =
    u"iif(json_valid(parameters), json_remove(parameters, '$.headers'), parameters)"_s;

struct ColumnOf {
    QString name;
    QString type;
    bool mayBeEmpty = false;
};

QList<ColumnOf> columnsOf(const SqlDatabase &database, const QString &where, const QString &table)
{
    SqlStatement rows = database.run(u"PRAGMA %1.table_info(%2)"_s.arg(where, table));
    QList<ColumnOf> columns;
    while (rows.next())
        columns.append({rows.value(1).toText(), rows.value(2).toText(), !rows.value(3).toBool()});
    return columns;
}

QString emptyValueFor(const QString &type)
{
    return type == "INTEGER"_L1 ? u"0"_s : u"''"_s;
}

/// As a "file:" address has it.
QString addressFor(const QString &path)
{
    return u"file:"_s + QString::fromLatin1(QUrl::toPercentEncoding(path, "/")) + u"?mode=ro"_s;
}

}

/// What became of a download.
enum class Salvage::Fate {
    Brought,
    Present,
    Lost, ///< with a reason
};

Salvage::Salvage(const SqlDatabase &list)
    : m_database(list)
    , m_rows(list)
{
}

Salvage::~Salvage() = default;

bool Salvage::run(const QString &damagedPath)
{
    if (!attach(damagedPath) || !readTables())
        return false;
    QList<qint64> ids = findIds();
    // Whoever needs a new number must not get one that another brings along.
    std::stable_partition(ids.begin(), ids.end(), [this](qint64 id) { return !isTaken(id); });
    for (const qint64 id : std::as_const(ids))
        bringOver(id);
    for (QList<qint64> &lost : m_lost)
        std::sort(lost.begin(), lost.end());
    for (auto it = m_without.cbegin(); it != m_without.cend(); ++it)
        m_remarks.append(Clause(Clause::Kind::WithoutTable, {it.key(), IdRanges::text(it.value())}));
    if (!m_withoutProgress.isEmpty())
        m_remarks.append(Clause(Clause::Kind::WithoutProgress, {IdRanges::text(m_withoutProgress)}));
    if (m_renumbered > 0)
        m_remarks.append(Clause(Clause::Kind::Renumbered, {QString::number(m_renumbered)}));
    return true;
}

bool Salvage::attach(const QString &path)
{
    // Otherwise one part of the tables' descriptions that cannot be understood hides all others.
    m_database.run(u"PRAGMA writable_schema = ON"_s);
    const SqlStatement attached = m_database.run(u"ATTACH ? AS old"_s, {addressFor(path)});
    m_reason = attached.lastError().clause();
    m_database.run(u"PRAGMA writable_schema = OFF"_s);
    return bool(attached);
}

bool Salvage::readTables()
{
    SqlStatement version = m_database.run(u"PRAGMA old.user_version"_s);
    m_version = version.next() ? version.value(0).toInt() : 0;
    if (m_version > Schema::kVersion) {
        m_reason = Clause::Kind::OfLaterVersion;
        m_remedies = Schema::remediesOf(Schema::Outcome::OfLaterVersion);
        return false;
    }
    m_database.run(u"CREATE TEMP TABLE brought (id INTEGER PRIMARY KEY)"_s);
    for (const QString &table : kTables)
        m_tables.insert(table, tableOf(table));
    const QStringList there = m_tables.value(kDownloads).common;
    const auto lacks = [&there](const QString &column) { return !there.contains(column); };
    const auto lacking = std::find_if(kOfADownload.cbegin(), kOfADownload.cend(), lacks);
    if (lacking == kOfADownload.cend())
        return true;
    m_reason = there.isEmpty() ? Clause(Clause::Kind::NoTableOfDownloads)
                               : Clause(Clause::Kind::NoColumnOfDownloads, {*lacking});
    return false;
}

Salvage::Table Salvage::tableOf(const QString &name)
{
    QStringList there;
    const QList<ColumnOf> found = columnsOf(m_database, u"old"_s, name);
    for (const ColumnOf &column : found)
        there.append(column.name);
    Table table;
    const QList<ColumnOf> wanted = columnsOf(m_database, u"main"_s, name);
    table.isThere = !there.isEmpty();
    for (const ColumnOf &column : wanted) {
        if (there.contains(column.name))
            table.common.append(column.name);
        else if (!column.mayBeEmpty)
            table.missing.append(column.name + u'=' + emptyValueFor(column.type));
    }
    return table;
}

void Salvage::collect(const QString &statement, bool *wasWhole)
{
    auto ids = m_rows.run(statement, {});
    while (ids && ids->next())
        m_ids.insert(ids->value(0).toNumber());
    *wasWhole = ids && m_rows.wasReadWhole(ids);
}

/// From both ends of the table, from its indexes, from the parts; and where all that is torn, one by one.
QList<qint64> Salvage::findIds()
{
    bool wasWhole = false;
    bool ignored = false;
    collect(u"SELECT id FROM old.downloads NOT INDEXED ORDER BY id"_s, &wasWhole);
    const qint64 lastBefore = m_ids.isEmpty() ? 0 : *std::max_element(m_ids.cbegin(), m_ids.cend());
    for (const QString &index : {u"downloads_by_url"_s, u"downloads_by_finished"_s})
        collect(u"SELECT id FROM old.downloads INDEXED BY %1"_s.arg(index), &ignored);
    collect(u"SELECT DISTINCT download_id FROM old.files"_s, &ignored);
    if (!wasWhole) {
        collect(u"SELECT id FROM old.downloads NOT INDEXED ORDER BY id DESC"_s, &ignored);
        const qint64 ever = number(u"SELECT seq FROM old.sqlite_sequence WHERE name = 'downloads'"_s, {});
        probe(lastBefore + 1, std::max(ever, m_ids.isEmpty() ? 0 : *std::max_element(m_ids.cbegin(), m_ids.cend())));
    }
    QList<qint64> ids(m_ids.cbegin(), m_ids.cend());
    std::sort(ids.begin(), ids.end());
    return ids;
}

/// A number whose page cannot be read may have been a download's.
void Salvage::probe(qint64 from, qint64 to)
{
    for (qint64 id = from; id <= to && id - from < kMostProbes; ++id) {
        bool failed = false;
        if (!m_ids.contains(id)
            && (number(u"SELECT id FROM old.downloads WHERE id = ?"_s, {id}, &failed) > 0 || failed))
            m_ids.insert(id);
    }
}

void Salvage::bringOver(qint64 id)
{
    Clause reason;
    switch (copy(id, &reason)) {
    case Fate::Brought:
        ++m_brought;
        break;
    case Fate::Present:
        ++m_present;
        break;
    case Fate::Lost:
        m_lost[reason].append(id);
        break;
    }
}

Salvage::Fate Salvage::copy(qint64 id, Clause *reason)
{
    SqlTransaction transaction(m_rows.statements(), SqlTransaction::Kind::Write);
    const auto lost = [&](const Clause &why) {
        *reason = why;
        return Fate::Lost;
    };
    if (!transaction.isOpen())
        return lost(transaction.lastError().clause());
    if (idOfSame(id) > 0)
        return Fate::Present;
    if (idWithSameFile(id) > 0)
        return lost(Clause::Kind::FilesOfOthers);
    const qint64 newId = insertDownload(id);
    if (newId == 0)
        return lost(m_rows.lastError().isValid() ? m_rows.lastError().clause() : Clause::Kind::TracesOnly);
    bool hasProgress = false;
    const QStringList without = copyAllParts(id, newId, &hasProgress);
    run(Schema::sortKeysUpdate() + u" WHERE id = ?"_s, {newId});
    if (!isReadable(newId, reason))
        return Fate::Lost;
    // What the list had before is compared with, not what comes along.
    run(u"INSERT INTO brought VALUES (?)"_s, {newId});
    if (!transaction.commit())
        return lost(transaction.lastError().clause());
    for (const QString &table : without)
        m_without[table].append(newId);
    if (!hasProgress)
        m_withoutProgress.append(newId);
    if (newId != id)
        ++m_renumbered;
    return Fate::Brought;
}

/// A download is created once.
qint64 Salvage::idOfSame(qint64 id)
{
    const bool hasTime = m_tables.value(kDownloads).common.contains(u"creation_time"_s);
    const QString time = hasTime ? u" AND same.creation_time IS lost.creation_time"_s : QString();
    return number(u"SELECT same.id FROM main.downloads AS same, old.downloads AS lost WHERE lost.id = ? AND "
                  u"same.url IS lost.url AND same.folder = lost.folder AND same.id NOT IN (SELECT id FROM brought)"_s
                      + time + u" LIMIT 1"_s,
                  {id});
}

qint64 Salvage::idWithSameFile(qint64 id)
{
    if (!m_tables.value(kFiles).isThere)
        return 0;
    return number(
        u"SELECT mine.download_id FROM old.downloads AS lost "
        u"CROSS JOIN old.files AS its ON its.download_id = lost.id "
        u"CROSS JOIN main.downloads AS present ON present.finished = 0 AND present.folder = lost.folder "
        u"CROSS JOIN main.files AS mine ON mine.download_id = present.id AND mine.file_flags & 1 <> 0 "
        u"WHERE lost.id = ? AND lost.flags & 2 = 0 AND present.id NOT IN (SELECT id FROM brought) "
        u"AND coalesce(nullif(mine.path_on_disk, ''), mine.name) = coalesce(nullif(its.path_on_disk, ''), its.name) "
        u"LIMIT 1"_s,
        {id});
}

bool Salvage::isTaken(qint64 id)
{
    return number(u"SELECT id FROM main.downloads WHERE id = ?"_s, {id}) > 0;
}

/// @return its number in the whole list; 0 = there is no such row, or it cannot be read
qint64 Salvage::insertDownload(qint64 id)
{
    QStringList names;
    QStringList values;
    const bool isOthers = isTaken(id);
    for (const QString &column : m_tables.value(kDownloads).common) {
        if (kOwner.contains(column) || (isOthers && column == "id"_L1))
            continue;
        names.append(column);
        values.append(column == "parameters"_L1 ? kParametersWithoutHeaders : column);
    }
    for (const QString &missing : m_tables.value(kDownloads).missing) {
        names.append(missing.section(u'=', 0, 0));
        values.append(missing.section(u'=', 1));
    }
    auto insertion = m_rows.run(u"INSERT INTO main.downloads (%1) SELECT %2 FROM old.downloads WHERE id = ?"_s.arg(
                                    names.join(u", "_s), values.join(u", "_s)),
                                {id});
    return insertion && insertion->changes() == 1 ? number(u"SELECT last_insert_rowid()"_s, {}) : 0;
}

/// @return tables of which nothing came along
QStringList Salvage::copyAllParts(qint64 id, qint64 newId, bool *hasProgress)
{
    QStringList without;
    for (const QString &table : kTables) {
        const bool isPart = table != kDownloads && table != kFiles && table != kSections;
        if (isPart && !copyParts(table, id, newId))
            without.append(table);
    }
    *hasProgress = copyProgress(id, newId);
    return without;
}

/// True, too, when the damaged list's version has no such table.
bool Salvage::copyParts(const QString &table, qint64 id, qint64 newId)
{
    const Table &part = m_tables[table];
    if (!part.isThere)
        return m_version < kFirstVersions.value(table, 0);
    if (!part.missing.isEmpty())
        return false;
    QStringList names = part.common;
    names.removeOne(u"download_id"_s);
    const QString harmless =
        table == kHeaders ? u" AND lower(trim(name)) IN (%1)"_s.arg(Schema::harmlessNames()) : QString();
    return run(u"INSERT INTO main.%1 (download_id, %2) SELECT ?, %2 FROM old.%1 WHERE download_id = ?%3"_s.arg(
                   table, names.join(u", "_s), harmless),
               {newId, id})
        && (table != kHeaders || copyNamesOfHeaders(id, newId));
}

/// An earlier version had the values, too; these are left behind.
bool Salvage::copyNamesOfHeaders(qint64 id, qint64 newId)
{
    return run(u"INSERT OR IGNORE INTO main.secret_headers (download_id, position, name, origin) "
               u"SELECT ?, position, name, '' FROM old.headers WHERE download_id = ? AND lower(trim(name)) NOT IN "
               u"(%1, %2)"_s.arg(Schema::harmlessNames(), Schema::refusedNames()),
               {newId, id});
}

bool Salvage::copyProgress(qint64 id, qint64 newId)
{
    run(u"SAVEPOINT progress"_s, {});
    const bool isCopied = copyParts(kFiles, id, newId) && copyParts(kSections, id, newId);
    if (!isCopied)
        run(u"ROLLBACK TO progress"_s, {});
    run(u"RELEASE progress"_s, {});
    return isCopied;
}

bool Salvage::isReadable(qint64 id, Clause *reason)
{
    const RecordRows::Records records = m_rows.select(u"id = ?"_s, {id});
    const bool isThere = records && records->size() == 1;
    const bool isWhole = isThere && ListRows::options(m_rows, id);
    if (!isWhole)
        *reason = m_rows.lastError().clause();
    return isWhole;
}

bool Salvage::run(const QString &statement, const SqlValues &values)
{
    return bool(m_rows.run(statement, values));
}

qint64 Salvage::number(const QString &statement, const SqlValues &values, bool *failed)
{
    auto row = m_rows.run(statement, values);
    const qint64 number = row && row->next() ? row->value(0).toNumber() : 0;
    const bool isTold = row && m_rows.wasReadWhole(row);
    if (failed)
        *failed = !isTold;
    return number;
}
