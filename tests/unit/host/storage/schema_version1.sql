-- SPDX-License-Identifier: MIT
-- A list as the first version of the tables left it with one record.
CREATE TABLE downloads (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    flags INTEGER NOT NULL,
    finished INTEGER GENERATED ALWAYS AS ((flags & 2) <> 0) VIRTUAL,
    module_id TEXT NOT NULL,
    title TEXT NOT NULL,
    custom_title TEXT NOT NULL,
    url TEXT,
    effective_url TEXT,
    final_url TEXT,
    web_page_url TEXT,
    referer TEXT NOT NULL,
    post_data ANY,
    parameters TEXT NOT NULL,
    source_flags INTEGER NOT NULL,
    user_agent TEXT NOT NULL,
    destination_type INTEGER NOT NULL,
    folder TEXT NOT NULL,
    preset_file_name TEXT NOT NULL,
    existing_file_reaction INTEGER NOT NULL,
    priority INTEGER NOT NULL,
    created_by INTEGER NOT NULL,
    creation_time TEXT,
    finished_time TEXT,
    error_code INTEGER NOT NULL,
    error_category ANY,
    error_source ANY,
    error_description ANY,
    error_time TEXT,
    resume_support INTEGER NOT NULL,
    guid_is_set INTEGER NOT NULL,
    guid_kind INTEGER NOT NULL,
    guid_value TEXT NOT NULL,
    child_downloads INTEGER NOT NULL,
    uploaded INTEGER NOT NULL,
    sort_index INTEGER NOT NULL,
    content BLOB,
    owner_pid INTEGER,
    owner_start_time INTEGER,
    owner_boot_id TEXT
) STRICT;
CREATE INDEX downloads_by_url ON downloads (url);
CREATE TABLE files (
    download_id INTEGER NOT NULL REFERENCES downloads (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    type INTEGER NOT NULL,
    name TEXT NOT NULL,
    size INTEGER NOT NULL,
    selected INTEGER NOT NULL,
    path_on_disk TEXT NOT NULL,
    file_flags INTEGER NOT NULL,
    last_modified TEXT,
    content_type TEXT NOT NULL,
    data_start INTEGER NOT NULL,
    PRIMARY KEY (download_id, position)
) STRICT, WITHOUT ROWID;
CREATE TABLE sections (
    download_id INTEGER NOT NULL,
    file_position INTEGER NOT NULL,
    position INTEGER NOT NULL,
    offset INTEGER NOT NULL,
    size INTEGER NOT NULL,
    downloaded INTEGER NOT NULL,
    PRIMARY KEY (download_id, file_position, position),
    FOREIGN KEY (download_id, file_position) REFERENCES files (download_id, position) ON DELETE CASCADE
) STRICT, WITHOUT ROWID;
CREATE TABLE mirrors (
    download_id INTEGER NOT NULL REFERENCES downloads (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    url TEXT,
    web_page_url TEXT,
    PRIMARY KEY (download_id, position)
) STRICT, WITHOUT ROWID;
CREATE TABLE cookies (
    download_id INTEGER NOT NULL REFERENCES downloads (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    name ANY,
    value ANY,
    domain TEXT NOT NULL,
    path TEXT NOT NULL,
    expires TEXT,
    secure INTEGER NOT NULL,
    http_only INTEGER NOT NULL,
    same_site INTEGER NOT NULL,
    PRIMARY KEY (download_id, position)
) STRICT, WITHOUT ROWID;
CREATE TABLE headers (
    download_id INTEGER NOT NULL REFERENCES downloads (id) ON DELETE CASCADE,
    position INTEGER NOT NULL,
    name TEXT NOT NULL,
    value TEXT NOT NULL,
    PRIMARY KEY (download_id, position)
) STRICT, WITHOUT ROWID;
PRAGMA user_version = 1;
PRAGMA application_id = 1886151017;
INSERT INTO downloads (flags, module_id, title, custom_title, url, referer, parameters, source_flags, user_agent, destination_type, folder, preset_file_name, existing_file_reaction, priority, created_by, error_code, resume_support, guid_is_set, guid_kind, guid_value, child_downloads, uploaded, sort_index)
VALUES (0, '', '', '', 'http://a/old.iso', '', '', 0, '', 1, '', '', 0, 0, 0, 0, 0, 0, 0, '', 0, 0, 0);
