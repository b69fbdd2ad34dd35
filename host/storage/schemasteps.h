// SPDX-License-Identifier: MIT
#pragma once

#include <QStringView>

#include <cstddef>
#include <iterator>

/// What the tables of the list are made of, from version to version: see Schema, for which alone this is.
namespace SchemaSteps
{

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

/// As which the file came (see ContentEncoding); NULL and '' = as it is.
constexpr QStringView kContentEncoding = uR"(ALTER TABLE downloads ADD COLUMN content_encoding TEXT)";

constexpr QStringView kThirdVersion[] = {kContentEncoding};

constexpr QStringView kAddressesTable = uR"(CREATE TABLE addresses (
    download_id INTEGER NOT NULL REFERENCES downloads (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    url TEXT,                              -- that a person gave
    target TEXT,                           -- where its redirects led; NULL = it answers itself
    redirects INTEGER NOT NULL,
    etag ANY,                              -- a strong one
    weak_etag ANY,                         -- without its "W/"
    last_modified TEXT,
    total INTEGER NOT NULL,                -- bytes; -1 = unknown
    digest ANY,
    PRIMARY KEY (download_id, position)
) STRICT, WITHOUT ROWID)";

/// See Evidence.
constexpr QStringView kEvidenceTable = uR"(CREATE TABLE evidence (
    download_id INTEGER PRIMARY KEY REFERENCES downloads (id) ON DELETE CASCADE,
    answers INTEGER NOT NULL,              -- that brought bytes; 2 = several
    doubt INTEGER NOT NULL,                -- 0 = none
    end_known INTEGER NOT NULL,
    address TEXT,                          -- of the first answer
    etag ANY,                              -- its strong one
    digest_result INTEGER NOT NULL         -- of the server's own: 0 = not compared, 1 = equal, 2 = different
) STRICT)";

constexpr QStringView kFourthVersion[] = {kAddressesTable, kEvidenceTable};

/// Headers that are not harmless, of which the list has the names. Those of earlier versions had their values with the
/// others, where more were taken for harmless. (Whatever stands in "parameters" is not text alone.)
constexpr QStringView kSecretHeadersTable = uR"(CREATE TABLE secret_headers (
    download_id INTEGER NOT NULL REFERENCES downloads (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    name TEXT NOT NULL,
    value TEXT,                            -- NULL unless a person asked for it to be kept
    origin TEXT NOT NULL,                  -- whose it is; '' = of the url's server, '*' = of all that it leads to
    PRIMARY KEY (download_id, position)
) STRICT, WITHOUT ROWID)";

constexpr QStringView kNamesOfHeaders = uR"(INSERT INTO secret_headers (download_id, position, name, origin)
    SELECT download_id, position, name, '' FROM headers
    WHERE lower(trim(name)) NOT IN (<harmless>) AND lower(trim(name)) NOT IN (<refused>))";

constexpr QStringView kHarmlessHeadersOnly = uR"(DELETE FROM headers WHERE lower(trim(name)) NOT IN (<harmless>))";

constexpr QStringView kNamesInParameters = uR"(INSERT INTO secret_headers (download_id, position, name, origin)
    SELECT downloads.id, 1000000 + header.id, header.key, ''
    FROM downloads, json_each(iif(json_valid(parameters), parameters, '{}'), '$.headers') AS header
    WHERE typeof(header.key) = 'text' AND header.key NOT LIKE '$%'
        AND lower(trim(header.key)) NOT IN (<harmless>) AND lower(trim(header.key)) NOT IN (<refused>))";

constexpr QStringView kNoHeadersInParameters =
    uR"(UPDATE downloads SET parameters = json_remove(parameters, '$.headers')
    WHERE iif(json_valid(parameters), json_type(parameters, '$.headers') IS NOT NULL, 0))";

constexpr QStringView kFifthVersion[] = {kSecretHeadersTable, kNamesOfHeaders, kHarmlessHeadersOnly, kNamesInParameters,
                                         kNoHeadersInParameters};

/// The few whose server names a digest are found among all.
constexpr QStringView kAddressesWithDigest =
    uR"(CREATE INDEX addresses_with_digest ON addresses (download_id) WHERE digest IS NOT NULL)";

/// Counts the claims of a download, NULL being none yet: who writes under an older one has lost it.
constexpr QStringView kFence = uR"(ALTER TABLE downloads ADD COLUMN fence INTEGER)";

constexpr QStringView kSixthVersion[] = {kAddressesWithDigest, kFence};

/// Up to then nobody had given them places.
constexpr QStringView kPlaces = uR"(UPDATE downloads SET sort_index = id * 4294967296)";

/// Their entries lie in the order of the places, which is that of pages of the list.
constexpr QStringView kDownloadsByPlace = uR"(CREATE INDEX downloads_by_place ON downloads (sort_index))";
constexpr QStringView kFinishedByPlace =
    uR"(CREATE INDEX downloads_by_finished_and_place ON downloads (finished, sort_index))";

constexpr QStringView kSeventhVersion[] = {kPlaces, kDownloadsByPlace, kFinishedByPlace};

/// When those are taken for gone of whom no process can be seen here, see Owners.
constexpr QStringView kOwnersTable = uR"(CREATE TABLE owners (
    boot_id TEXT NOT NULL,
    pid INTEGER NOT NULL,
    start_time INTEGER NOT NULL,
    machine TEXT NOT NULL,
    until INTEGER NOT NULL,                -- seconds since 1970
    PRIMARY KEY (boot_id, pid, start_time)
) STRICT, WITHOUT ROWID)";

constexpr QStringView kEighthVersion[] = {kOwnersTable};

/// See KeptOptions. NULL where a download has none of them.
constexpr QStringView kFurtherOptions = uR"(ALTER TABLE options ADD COLUMN further TEXT)";

/// Whole sentences were known by their first word before they had a mark.
constexpr QStringView kMarksOfSentences = uR"(UPDATE downloads SET error_source = coalesce(error_source, '') || ';whole'
    WHERE error_category = 'QtFileError' AND error_description LIKE 'cannot %'
        AND instr(coalesce(error_source, ''), ';errno=') = 0 AND instr(coalesce(error_source, ''), ';whole') = 0)";

constexpr QStringView kNinthVersion[] = {kFurtherOptions, kMarksOfSentences};

/// By which pages of the list are sorted, see RowKeys: ready made, because no index has what stands in other tables,
/// and in plain letters, so that the sqlite3 shell can work with the indexes.
constexpr QStringView kNameKey = uR"(ALTER TABLE downloads ADD COLUMN name_key TEXT)";
constexpr QStringView kSizeKey = uR"(ALTER TABLE downloads ADD COLUMN size_key INTEGER)";

constexpr QStringView kSortKeys = uR"(UPDATE downloads SET
    name_key = natural_key(coalesce(nullif((SELECT iif(finished AND path_on_disk <> '', path_on_disk, name)
        FROM files WHERE download_id = downloads.id AND position = 0), ''), url, '')),
    size_key = (SELECT iif(min(size) >= 0, CAST(total(size) AS INTEGER), -1)
        FROM files WHERE download_id = downloads.id))";

/// Read from their ends: so the newest of equals come first.
constexpr QStringView kFinishedByName =
    uR"(CREATE INDEX downloads_by_finished_and_name ON downloads (finished, name_key DESC))";
constexpr QStringView kFinishedBySize =
    uR"(CREATE INDEX downloads_by_finished_and_size ON downloads (finished, size_key DESC))";
constexpr QStringView kFinishedByCreation =
    uR"(CREATE INDEX downloads_by_finished_and_creation ON downloads (finished, creation_time DESC))";

constexpr QStringView kTenthVersion[] = {kNameKey,        kSizeKey,        kSortKeys,
                                         kFinishedByName, kFinishedBySize, kFinishedByCreation};

/// The few files that are not the one of their checksum, or of their server's digest.
constexpr QStringView kOptionsDifferent =
    uR"(CREATE INDEX options_different ON options (download_id) WHERE checksum_algorithm <> '' AND checksum_result = 2)";
constexpr QStringView kEvidenceDifferent =
    uR"(CREATE INDEX evidence_different ON evidence (download_id) WHERE digest_result = 2)";

constexpr QStringView kEleventhVersion[] = {kOptionsDifferent, kEvidenceDifferent};

constexpr QStringView kHarmlessNames =
    u"'accept', 'accept-charset', 'accept-encoding', 'accept-language', 'cache-control', 'pragma', 'user-agent', "
    u"'referer', 'origin', 'dnt', 'sec-gpc', 'save-data', 'priority', 'upgrade-insecure-requests', "
    u"'x-requested-with', 'sec-ch-ua', 'sec-ch-ua-mobile', 'sec-ch-ua-platform', 'sec-fetch-dest', 'sec-fetch-mode', "
    u"'sec-fetch-site', 'sec-fetch-user', 'connection', 'te', 'content-type'";
constexpr QStringView kRefusedNames = u"'range', 'if-range', 'content-length', 'transfer-encoding'";

struct Migration {
    const QStringView *statements;
    std::size_t count;
    bool takesSecretsOut = false; ///< they have to leave the file, too
};

/// The migration at index n leads from version n to n + 1.
constexpr Migration kMigrations[] = {
    {kFirstVersion, std::size(kFirstVersion)},       {kSecondVersion, std::size(kSecondVersion)},
    {kThirdVersion, std::size(kThirdVersion)},       {kFourthVersion, std::size(kFourthVersion)},
    {kFifthVersion, std::size(kFifthVersion), true}, {kSixthVersion, std::size(kSixthVersion)},
    {kSeventhVersion, std::size(kSeventhVersion)},   {kEighthVersion, std::size(kEighthVersion)},
    {kNinthVersion, std::size(kNinthVersion)},       {kTenthVersion, std::size(kTenthVersion)},
    {kEleventhVersion, std::size(kEleventhVersion)},
};

}
