// SPDX-License-Identifier: MIT
#include <host/storage/recordrows.h>

#include <host/storage/partrows.h>
#include <host/storage/rowkeys.h>
#include <host/storage/rowplaces.h>
#include <host/storage/sqlcells.h>
#include <host/storage/tablecolumns.h>
#include <host/storage/variantjson.h>

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using namespace TableColumns;

using Download = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;
using Section = AbstractDownloadSection;
using Mirror = AbstractDownloadMirrorInfo;

template<auto Member>
Column<Download> errorText(const char *name)
{
    return {
        QLatin1String(name),
        [](const Download &record) { return SqlCells::fromBytes(QByteArray::fromStdString(record.lastError.*Member)); },
        [](Download &record, const SqlValue &cell) {
            record.lastError.*Member = SqlCells::toBytes(cell).toStdString();
        }};
}

/// What of the parameters goes into the table "headers": a map of texts that is not empty.
QVariantMap headersOf(const QVariantMap &parameters)
{
    const QVariant value = parameters.value(u"headers"_s);
    if (value.typeId() != QMetaType::QVariantMap)
        return {};
    const QVariantMap headers = value.toMap();
    const bool textsOnly = std::all_of(headers.cbegin(), headers.cend(),
                                       [](const QVariant &header) { return header.typeId() == QMetaType::QString; });
    return textsOnly ? headers : QVariantMap();
}

SqlValue parametersCell(const Download &record)
{
    QVariantMap rest = record.parameters;
    if (!headersOf(rest).isEmpty())
        rest.remove(u"headers"_s);
    return SqlCells::fromText(VariantJson::fromMap(rest));
}

const Columns<Download> &downloadColumns()
{
    static const Columns<Download> columns = {
        number<&Download::flags, Download>("flags"),
        text<&Download::moduleId, Download>("module_id"),
        text<&Download::title, Download>("title"),
        text<&Download::customTitle, Download>("custom_title"),
        url<&Download::url, Download>("url"),
        url<&Download::effectiveUrl, Download>("effective_url"),
        url<&Download::finalUrl, Download>("final_url"),
        url<&Download::webPageUrl, Download>("web_page_url"),
        text<&Download::referer, Download>("referer"),
        {"post_data"_L1, [](const Download &record) { return SqlCells::fromBytes(record.postData); },
         [](Download &record, const SqlValue &cell) { record.postData = SqlCells::toBytes(cell); }},
        {"parameters"_L1, &parametersCell,
         [](Download &record, const SqlValue &cell) { record.parameters = VariantJson::toMap(cell.toText()); }},
        number<&Download::sourceFlags, Download>("source_flags"),
        text<&Download::userAgent, Download>("user_agent"),
        number<&Download::destinationType, Download>("destination_type"),
        text<&Download::folder, Download>("folder"),
        text<&Download::presetFileName, Download>("preset_file_name"),
        number<&Download::existingFileReaction, Download>("existing_file_reaction"),
        number<&Download::priority, Download>("priority"),
        number<&Download::createdBy, Download>("created_by"),
        time<&Download::creationTime, Download>("creation_time"),
        time<&Download::finishedTime, Download>("finished_time"),
        {"error_code"_L1, [](const Download &record) { return SqlValue(record.lastError.code); },
         [](Download &record, const SqlValue &cell) { record.lastError.code = cell.toInt(); }},
        errorText<&AbstractError::category>("error_category"),
        errorText<&AbstractError::source>("error_source"),
        errorText<&AbstractError::description>("error_description"),
        time<&Download::lastErrorTime, Download>("error_time"),
        number<&Download::resumeSupport, Download>("resume_support"),
        {"guid_is_set"_L1, [](const Download &record) { return SqlValue(record.guid.isSet); },
         [](Download &record, const SqlValue &cell) { record.guid.isSet = quint32(cell.toNumber()); }},
        {"guid_kind"_L1, [](const Download &record) { return SqlValue(record.guid.kind); },
         [](Download &record, const SqlValue &cell) { record.guid.kind = quint32(cell.toNumber()); }},
        {"guid_value"_L1, [](const Download &record) { return SqlCells::fromText(record.guid.value); },
         [](Download &record, const SqlValue &cell) { record.guid.value = SqlCells::toText(cell); }},
        number<&Download::childDownloads, Download>("child_downloads"),
        number<&Download::uploaded, Download>("uploaded"),
        number<&Download::sortIndex, Download>("sort_index"),
        {"content"_L1, [](const Download &record) { return SqlCells::fromContent(record.content); },
         [](Download &record, const SqlValue &cell) { record.content = cell.toBytes(); }},
    };
    return columns;
}

/// By which indexes find downloads.
bool isInIndex(const Column<Download> &column)
{
    return column.name == "flags"_L1 || column.name == "url"_L1 || column.name == "creation_time"_L1;
}

/// By which pages are sorted; nobody reads them.
Columns<Download> keyColumns()
{
    const auto set = [](Download &, const SqlValue &) {};
    return {{"name_key"_L1,
             [](const Download &record) {
                 return SqlCells::fromText(RowKeys::nameKey(RowKeys::nameOf(record), record.url));
             },
             set},
            {"size_key"_L1, [](const Download &record) { return SqlValue(RowKeys::sizeOf(record)); }, set}};
}

/// A run knows the place of a download as it was when the run began.
Columns<Download> columnsOfRuns(bool areInIndexes)
{
    Columns<Download> rest = downloadColumns();
    rest.removeIf([areInIndexes](const Column<Download> &column) {
        return column.name == "sort_index"_L1 || isInIndex(column) != areInIndexes;
    });
    return areInIndexes ? rest + keyColumns() : rest;
}

const Columns<File> &fileColumns()
{
    static const Columns<File> columns = {
        number<&File::type, File>("type"),
        text<&File::name, File>("name"),
        number<&File::size, File>("size"),
        number<&File::selected, File>("selected"),
        text<&File::pathOnDisk, File>("path_on_disk"),
        number<&File::fileFlags, File>("file_flags"),
        time<&File::lastModified, File>("last_modified"),
        text<&File::contentType, File>("content_type"),
        number<&File::dataStart, File>("data_start"),
    };
    return columns;
}

const Columns<Section> &sectionColumns()
{
    static const Columns<Section> columns = {
        number<&Section::offset, Section>("offset"),
        number<&Section::size, Section>("size"),
        number<&Section::downloaded, Section>("downloaded"),
    };
    return columns;
}

const Columns<Mirror> &mirrorColumns()
{
    static const Columns<Mirror> columns = {
        url<&Mirror::url, Mirror>("url"),
        url<&Mirror::webPageUrl, Mirror>("web_page_url"),
    };
    return columns;
}

const Columns<QNetworkCookie> &cookieColumns()
{
    using Cookie = QNetworkCookie;
    static const Columns<Cookie> columns = {
        {"name"_L1, [](const Cookie &cookie) { return SqlCells::fromBytes(cookie.name()); },
         [](Cookie &cookie, const SqlValue &cell) { cookie.setName(SqlCells::toBytes(cell)); }},
        {"value"_L1, [](const Cookie &cookie) { return SqlCells::fromBytes(cookie.value()); },
         [](Cookie &cookie, const SqlValue &cell) { cookie.setValue(SqlCells::toBytes(cell)); }},
        {"domain"_L1, [](const Cookie &cookie) { return SqlCells::fromText(cookie.domain()); },
         [](Cookie &cookie, const SqlValue &cell) { cookie.setDomain(SqlCells::toText(cell)); }},
        {"path"_L1, [](const Cookie &cookie) { return SqlCells::fromText(cookie.path()); },
         [](Cookie &cookie, const SqlValue &cell) { cookie.setPath(SqlCells::toText(cell)); }},
        {"expires"_L1, [](const Cookie &cookie) { return SqlCells::fromTime(cookie.expirationDate()); },
         [](Cookie &cookie, const SqlValue &cell) { cookie.setExpirationDate(SqlCells::toTime(cell)); }},
        {"secure"_L1, [](const Cookie &cookie) { return SqlValue(int(cookie.isSecure())); },
         [](Cookie &cookie, const SqlValue &cell) { cookie.setSecure(cell.toBool()); }},
        {"http_only"_L1, [](const Cookie &cookie) { return SqlValue(int(cookie.isHttpOnly())); },
         [](Cookie &cookie, const SqlValue &cell) { cookie.setHttpOnly(cell.toBool()); }},
        {"same_site"_L1, [](const Cookie &cookie) { return SqlValue(int(cookie.sameSitePolicy())); },
         [](Cookie &cookie, const SqlValue &cell) {
             cookie.setSameSitePolicy(QNetworkCookie::SameSite(cell.toInt()));
         }},
    };
    return columns;
}

/// SQLite's number for content that is not what it should be: that is what a cell of another kind is.
constexpr int kCorrupt = 11;

using Header = std::pair<QString, QString>;

const Columns<Header> &headerColumns()
{
    static const Columns<Header> columns = {
        text<&Header::first, Header>("name"),
        text<&Header::second, Header>("value"),
    };
    return columns;
}

QList<Header> headersAsList(const QVariantMap &parameters)
{
    QList<Header> list;
    const QVariantMap headers = headersOf(parameters);
    for (auto it = headers.cbegin(); it != headers.cend(); ++it)
        list.append({it.key(), it.value().toString()});
    return list;
}

void putHeaders(const QList<Header> &headers, QVariantMap &parameters)
{
    if (headers.isEmpty())
        return;
    QVariantMap map;
    for (const Header &header : headers)
        map.insert(header.first, header.second);
    parameters.insert(u"headers"_s, map);
}

QString insertStatement(const QString &table, const QStringList &columns)
{
    const QStringList marks(columns.size(), u"?"_s);
    return u"INSERT INTO %1 (%2) VALUES (%3)"_s.arg(table, columns.join(u", "_s), marks.join(u", "_s));
}

/// A table that holds parts of records.
template<typename Part>
struct PartTable {
    PartTable(const QString &name, const QStringList &key, const Columns<Part> &itsColumns)
        : columns(itsColumns)
        , rows(name, key, names(itsColumns))
    {
    }

    const Columns<Part> columns;
    const PartRows rows;
};

const PartTable<File> kFiles(u"files"_s, {u"download_id"_s, u"position"_s}, fileColumns());
const PartTable<Section> kSections(u"sections"_s, {u"download_id"_s, u"file_position"_s, u"position"_s},
                                   sectionColumns());
const PartTable<Mirror> kMirrors(u"mirrors"_s, {u"download_id"_s, u"position"_s}, mirrorColumns());
const PartTable<QNetworkCookie> kCookies(u"cookies"_s, {u"download_id"_s, u"position"_s}, cookieColumns());
const PartTable<Header> kHeaders(u"headers"_s, {u"download_id"_s, u"position"_s}, headerColumns());

/// How parts are written: PartRows::insert or PartRows::replace.
using Writing = decltype(&PartRows::insert);

template<typename Part>
bool writeAll(RecordRows &rows, const PartTable<Part> &table, Writing write, const SqlValues &owner,
              const QList<Part> &parts)
{
    QList<SqlValues> list;
    for (const Part &part : parts)
        list.append(cells(table.columns, part));
    return (table.rows.*write)(rows, owner, list);
}

bool writeParts(RecordRows &rows, Writing write, const Download &record)
{
    const SqlValues owner{record.id};
    if (!writeAll(rows, kFiles, write, owner, record.files) || !writeAll(rows, kMirrors, write, owner, record.mirrors)
        || !writeAll(rows, kCookies, write, owner, record.cookies)
        || !writeAll(rows, kHeaders, write, owner, headersAsList(record.parameters)))
        return false;
    int position = 0;
    return std::all_of(record.files.cbegin(), record.files.cend(), [&](const File &file) {
        return writeAll(rows, kSections, write, {record.id, position++}, file.sections);
    });
}

template<typename Part>
bool selectAll(RecordRows &rows, const PartTable<Part> &table, const SqlValues &owner, QList<Part> &parts)
{
    auto found = rows.run(table.rows.select(), owner);
    if (!found)
        return false;
    while (found->next()) {
        parts.append(Part());
        if (rows.isRefused(fromRow(table.columns, found.statement(), parts.last())))
            return false;
    }
    return rows.wasReadWhole(found);
}

}

bool RecordRows::insert(AbstractDownloadPersistentInfo &record)
{
    static const Columns<Download> columns = downloadColumns() + keyColumns();
    static const QString statement = insertStatement(u"downloads"_s, names(columns));
    const std::optional<qint64> key = keyBehindAll();
    if (!key)
        return false;
    record.sortIndex = *key;
    auto insertion = run(statement, cells(columns, record));
    if (!insertion)
        return false;
    record.id = insertion->insertedId();
    return writeParts(*this, &PartRows::insert, record);
}

bool RecordRows::update(const AbstractDownloadPersistentInfo &record, const SqlValue &fileIdentity,
                        const SqlValue &contentEncoding)
{
    static const Columns<Download> columns = columnsOfRuns(false);
    static const QString statement = u"UPDATE downloads SET %1 = ?, file_identity = coalesce(?, file_identity), "
                                     u"content_encoding = coalesce(?, content_encoding) "
                                     u"WHERE id = ?"_s.arg(names(columns).join(u" = ?, "_s));
    auto change = run(statement, cells(columns, record) + SqlValues{fileIdentity, contentEncoding, record.id});
    return change && change->changes() == 1 && updateIndexed(record) && writeParts(*this, &PartRows::replace, record);
}

/// To write one of them writes its indexes, too, whatever was there before. Saves are many, and few change any.
bool RecordRows::updateIndexed(const AbstractDownloadPersistentInfo &record)
{
    static const Columns<Download> columns = columnsOfRuns(true);
    static const QString select = u"SELECT %1 FROM downloads WHERE id = ?"_s.arg(names(columns).join(u", "_s));
    static const QStringList updates = [] {
        QStringList list;
        for (const Column<Download> &column : columns)
            list.append(u"UPDATE downloads SET %1 = ? WHERE id = ?"_s.arg(column.name));
        return list;
    }();
    const SqlValues now = cells(columns, record);
    SqlValues before;
    if (auto row = run(select, {record.id}); row && row->next()) {
        for (int i = 0; i < int(columns.size()); ++i)
            before.append(row->value(i));
    }
    if (before.isEmpty())
        return false;
    for (qsizetype i = 0; i < columns.size(); ++i) {
        if (now.at(i) != before.at(i) && !run(updates.at(i), {now.at(i), record.id}))
            return false;
    }
    return true;
}

RecordRows::Records RecordRows::select(const QString &condition, const SqlValues &values, const QString &index)
{
    static const QString columns = names(downloadColumns()).join(u", "_s);
    const QString by = index.isEmpty() ? QString() : u"INDEXED BY "_s + index;
    auto rows = run(u"SELECT %1, id FROM downloads %2 WHERE %3 ORDER BY id"_s.arg(columns, by, condition), values);
    if (!rows)
        return {};
    QList<AbstractDownloadPersistentInfo> records;
    while (rows->next()) {
        records.emplace_back();
        if (isRefused(fromRow(downloadColumns(), rows.statement(), records.last())))
            return {};
        records.last().id = rows->value(int(downloadColumns().size())).toNumber();
    }
    if (!wasReadWhole(rows))
        return {};
    for (AbstractDownloadPersistentInfo &record : records) {
        if (!loadParts(record))
            return {};
    }
    return records;
}

PreparedStatements::Run RecordRows::run(const QString &statement, const SqlValues &values)
{
    m_error = {};
    if (m_observer)
        m_observer(statement);
    PreparedStatements::Run run = m_statements.run(statement, values);
    if (!run)
        m_error = run->lastError();
    return run;
}

bool RecordRows::wasReadWhole(PreparedStatements::Run &run)
{
    m_error = run->lastError();
    return !m_error.isValid();
}

bool RecordRows::isRefused(const QString &column)
{
    if (!column.isEmpty())
        m_error = {kCorrupt, {}, column};
    return !column.isEmpty();
}

std::optional<qint64> RecordRows::keyBehindAll()
{
    auto greatest = run(u"SELECT max(sort_index) FROM downloads"_s, {});
    if (!greatest || !greatest->next())
        return std::nullopt;
    const SqlValue key = greatest->value(0);
    return RowPlaces::keyBehind(key.isNull() ? std::nullopt : std::optional(key.toNumber()));
}

bool RecordRows::loadParts(AbstractDownloadPersistentInfo &record)
{
    const SqlValues owner{record.id};
    QList<Header> headers;
    if (!selectAll(*this, kFiles, owner, record.files) || !selectAll(*this, kMirrors, owner, record.mirrors)
        || !selectAll(*this, kCookies, owner, record.cookies) || !selectAll(*this, kHeaders, owner, headers))
        return false;
    putHeaders(headers, record.parameters);
    int position = 0;
    return std::all_of(record.files.begin(), record.files.end(), [&](File &file) {
        return selectAll(*this, kSections, {record.id, position++}, file.sections);
    });
}
