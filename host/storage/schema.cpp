// SPDX-License-Identifier: MIT
#include <host/storage/schema.h>

#include <host/storage/preparedstatements.h>
#include <host/storage/sqltransaction.h>

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

/// "plai": by it a list is told from another program's database.
constexpr int kApplicationId = 0x706c6169;

// Never changed once released: a later version gets a step of its own.

constexpr QStringView kDownloadsTable = uR"(CREATE TABLE downloads (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    flags INTEGER NOT NULL,                -- bits; 1 = final download, 2 = finished
    finished INTEGER GENERATED ALWAYS AS ((flags & 2) <> 0) VIRTUAL,
    module_id TEXT NOT NULL,
    title TEXT NOT NULL,
    custom_title TEXT NOT NULL,
    url TEXT,
    effective_url TEXT,
    final_url TEXT,
    web_page_url TEXT,
    referer TEXT NOT NULL,
    post_data ANY,                         -- text where it is UTF-8, else a blob
    parameters TEXT NOT NULL,              -- JSON; the request headers have a table
    source_flags INTEGER NOT NULL,
    user_agent TEXT NOT NULL,
    destination_type INTEGER NOT NULL,     -- 0 = content, 1 = folder
    folder TEXT NOT NULL,
    preset_file_name TEXT NOT NULL,
    existing_file_reaction INTEGER NOT NULL,
    priority INTEGER NOT NULL,
    created_by INTEGER NOT NULL,
    creation_time TEXT,
    finished_time TEXT,
    error_code INTEGER NOT NULL,           -- 0 = none
    error_category ANY,
    error_source ANY,
    error_description ANY,
    error_time TEXT,
    resume_support INTEGER NOT NULL,       -- 0 = unknown, 1 = yes, 2 = no
    guid_is_set INTEGER NOT NULL,
    guid_kind INTEGER NOT NULL,
    guid_value TEXT NOT NULL,
    child_downloads INTEGER NOT NULL,
    uploaded INTEGER NOT NULL,
    sort_index INTEGER NOT NULL,
    content BLOB,
    owner_pid INTEGER,                     -- process that runs the download; NULL = none
    owner_start_time INTEGER,
    owner_boot_id TEXT
) STRICT)";

constexpr QStringView kDownloadsByUrl = uR"(CREATE INDEX downloads_by_url ON downloads (url))";

constexpr QStringView kFilesTable = uR"(CREATE TABLE files (
    download_id INTEGER NOT NULL REFERENCES downloads (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    type INTEGER NOT NULL,
    name TEXT NOT NULL,
    size INTEGER NOT NULL,                 -- bytes; -1 = unknown
    selected INTEGER NOT NULL,
    path_on_disk TEXT NOT NULL,            -- below the folder; '' = name
    file_flags INTEGER NOT NULL,           -- bits; 1 = on disk, 2 = preallocated, 4 = has its final name
    last_modified TEXT,
    content_type TEXT NOT NULL,
    data_start INTEGER NOT NULL,
    PRIMARY KEY (download_id, position)
) STRICT, WITHOUT ROWID)";

constexpr QStringView kSectionsTable = uR"(CREATE TABLE sections (
    download_id INTEGER NOT NULL,
    file_position INTEGER NOT NULL,
    position INTEGER NOT NULL,
    offset INTEGER NOT NULL,
    size INTEGER NOT NULL,                 -- bytes; -1 = up to the end of the resource
    downloaded INTEGER NOT NULL,
    PRIMARY KEY (download_id, file_position, position),
    FOREIGN KEY (download_id, file_position) REFERENCES files (download_id, position) ON DELETE CASCADE
) STRICT, WITHOUT ROWID)";

constexpr QStringView kMirrorsTable = uR"(CREATE TABLE mirrors (
    download_id INTEGER NOT NULL REFERENCES downloads (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    url TEXT,
    web_page_url TEXT,
    PRIMARY KEY (download_id, position)
) STRICT, WITHOUT ROWID)";

constexpr QStringView kCookiesTable = uR"(CREATE TABLE cookies (
    download_id INTEGER NOT NULL REFERENCES downloads (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    name ANY,
    value ANY,
    domain TEXT NOT NULL,
    path TEXT NOT NULL,
    expires TEXT,
    secure INTEGER NOT NULL,
    http_only INTEGER NOT NULL,
    same_site INTEGER NOT NULL,            -- 0 = not said, 1 = none, 2 = lax, 3 = strict
    PRIMARY KEY (download_id, position)
) STRICT, WITHOUT ROWID)";

constexpr QStringView kHeadersTable = uR"(CREATE TABLE headers (
    download_id INTEGER NOT NULL REFERENCES downloads (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    name TEXT NOT NULL,
    value TEXT NOT NULL,
    PRIMARY KEY (download_id, position)
) STRICT, WITHOUT ROWID)";

constexpr QStringView kFirstVersion[] = {
    kDownloadsTable, kDownloadsByUrl, kFilesTable, kSectionsTable, kMirrorsTable, kCookiesTable, kHeadersTable,
};

/// Its entries lie in the order of the ids, which is that of pages of the list.
constexpr QStringView kDownloadsByFinished = uR"(CREATE INDEX downloads_by_finished ON downloads (finished))";

/// However often a URL was downloaded before, the few that are not finished are found at once.
constexpr QStringView kUnfinishedByUrl =
    uR"(CREATE INDEX downloads_unfinished_by_url ON downloads (url) WHERE finished = 0)";

/// Of the incomplete file, by which it is known under another name. (A comment in the statement itself would end up in
/// the middle of the table's own.)
constexpr QStringView kFileIdentity = uR"(ALTER TABLE downloads ADD COLUMN file_identity TEXT)";

constexpr QStringView kOptionsTable = uR"(CREATE TABLE options (
    download_id INTEGER PRIMARY KEY REFERENCES downloads (id) ON DELETE CASCADE,
    rate_limit INTEGER NOT NULL,           -- bytes per second; 0 = none
    connections INTEGER NOT NULL,          -- 0 = the default
    connections_per_server INTEGER NOT NULL, -- 0 = the default
    checksum_algorithm TEXT NOT NULL,      -- '' = none
    checksum_hex TEXT NOT NULL,
    checksum_result INTEGER NOT NULL,      -- 0 = not compared, 1 = equal, 2 = different
    on_changed INTEGER NOT NULL,
    on_unresumable INTEGER NOT NULL,
    skip_existing INTEGER NOT NULL,        -- 1 = a file of that name in the way is as good as a download
    insecure INTEGER NOT NULL,             -- 1 = certificates are not checked
    store_secrets INTEGER NOT NULL,        -- 1 = a person asked for the next two to be kept
    user TEXT,
    password TEXT
) STRICT)";

/// The few whose file nobody has compared yet are found among all that are finished.
constexpr QStringView kOptionsNotCompared =
    uR"(CREATE INDEX options_not_compared ON options (download_id) WHERE checksum_algorithm <> '' AND checksum_result = 0)";

constexpr QStringView kSecondVersion[] = {kDownloadsByFinished, kUnfinishedByUrl, kFileIdentity, kOptionsTable,
                                          kOptionsNotCompared};

struct Migration {
    const QStringView *statements;
    std::size_t count;
};

/// The migration at index n leads from version n to n + 1.
constexpr Migration kMigrations[] = {
    {kFirstVersion, std::size(kFirstVersion)},
    {kSecondVersion, std::size(kSecondVersion)},
};

/// A query that failed reads as -1 and leaves its reason.
int readNumber(const QSqlDatabase &database, const QString &statement, QString *errorText)
{
    QSqlQuery query(database);
    if (query.exec(statement) && query.next())
        return query.value(0).toInt();
    *errorText = query.lastError().text();
    return -1;
}

bool run(const QSqlDatabase &database, const QString &statement, QString *errorText)
{
    QSqlQuery query(database);
    if (query.exec(statement))
        return true;
    *errorText = query.lastError().text();
    return false;
}

bool migrate(const QSqlDatabase &database, const Migration &migration, QString *errorText)
{
    for (std::size_t i = 0; i < migration.count; ++i) {
        if (!run(database, migration.statements[i].toString(), errorText))
            return false;
    }
    return true;
}

/// Whether the tables may be touched at all: Done, or why not.
Schema::Outcome judge(const QSqlDatabase &database, int version, QString *errorText)
{
    if (version > Schema::kVersion) {
        *errorText = u"it was written by a later version of this program (its tables have version %1, this program "
                     u"knows up to %2). Use that version."_s.arg(version)
                         .arg(Schema::kVersion);
        return Schema::Outcome::Refused;
    }
    const int applicationId = readNumber(database, u"PRAGMA application_id"_s, errorText);
    const int tables = readNumber(database, u"SELECT count(*) FROM sqlite_master"_s, errorText);
    if (applicationId == -1 || tables == -1)
        return Schema::Outcome::Failed;
    if (applicationId == kApplicationId || tables == 0)
        return Schema::Outcome::Done;
    *errorText = u"it is the database of another program. Move it out of the way."_s;
    return Schema::Outcome::Refused;
}

bool migrateFrom(const QSqlDatabase &database, int version, QString *errorText)
{
    for (int i = version; i < Schema::kVersion; ++i) {
        if (!migrate(database, kMigrations[i], errorText))
            return false;
    }
    return run(database, u"PRAGMA user_version = %1"_s.arg(Schema::kVersion), errorText)
        && run(database, u"PRAGMA application_id = %1"_s.arg(kApplicationId), errorText);
}

}

const int Schema::kVersion = int(std::size(kMigrations));

Schema::Outcome Schema::upgrade(const QSqlDatabase &database, QString *errorText)
{
    int version = readNumber(database, u"PRAGMA user_version"_s, errorText);
    const Outcome judgement = version == -1 ? Outcome::Failed : judge(database, version, errorText);
    if (judgement != Outcome::Done || version == kVersion)
        return judgement;
    PreparedStatements statements(database);
    SqlTransaction transaction(statements, SqlTransaction::Kind::Write);
    // Another process may have done it while this one waited for the lock.
    version = transaction.isOpen() ? readNumber(database, u"PRAGMA user_version"_s, errorText) : -1;
    if (version == -1 || !migrateFrom(database, version, errorText) || !transaction.commit()) {
        if (transaction.lastError().isValid())
            *errorText = transaction.lastError().text();
        return Outcome::Failed;
    }
    return Outcome::Done;
}
