// SPDX-License-Identifier: MIT
#include <host/storage/recordrows.h>

#include <host/storage/sqlcells.h>
#include <host/storage/variantjson.h>

#include <QSqlQuery>
#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Download = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;
using Section = AbstractDownloadSection;
using Mirror = AbstractDownloadMirrorInfo;

/// One column of a table and where its value stands in the record.
template<typename Record>
struct Column {
    QLatin1String name;
    QVariant (*get)(const Record &record);
    void (*set)(Record &record, const QVariant &cell);
};

template<typename Record>
using Columns = QList<Column<Record>>;

template<auto Member, typename Record>
Column<Record> text(const char *name)
{
    return {QLatin1String(name), [](const Record &record) { return SqlCells::fromText(record.*Member); },
            [](Record &record, const QVariant &cell) { record.*Member = SqlCells::toText(cell); }};
}

template<auto Member, typename Record>
Column<Record> url(const char *name)
{
    return {QLatin1String(name), [](const Record &record) { return SqlCells::fromUrl(record.*Member); },
            [](Record &record, const QVariant &cell) { record.*Member = SqlCells::toUrl(cell); }};
}

template<auto Member, typename Record>
Column<Record> time(const char *name)
{
    return {QLatin1String(name), [](const Record &record) { return SqlCells::fromTime(record.*Member); },
            [](Record &record, const QVariant &cell) { record.*Member = SqlCells::toTime(cell); }};
}

/// Integers, booleans and enumerations.
template<auto Member, typename Record>
Column<Record> number(const char *name)
{
    using Number = std::remove_reference_t<decltype(std::declval<Record &>().*Member)>;
    return {QLatin1String(name), [](const Record &record) { return QVariant::fromValue(qint64(record.*Member)); },
            [](Record &record, const QVariant &cell) { record.*Member = Number(cell.toLongLong()); }};
}

template<auto Member>
Column<Download> errorText(const char *name)
{
    return {
        QLatin1String(name),
        [](const Download &record) { return SqlCells::fromBytes(QByteArray::fromStdString(record.lastError.*Member)); },
        [](Download &record, const QVariant &cell) {
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

QVariant parametersCell(const Download &record)
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
         [](Download &record, const QVariant &cell) { record.postData = SqlCells::toBytes(cell); }},
        {"parameters"_L1, &parametersCell,
         [](Download &record, const QVariant &cell) { record.parameters = VariantJson::toMap(cell.toString()); }},
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
        {"error_code"_L1, [](const Download &record) { return QVariant(record.lastError.code); },
         [](Download &record, const QVariant &cell) { record.lastError.code = cell.toInt(); }},
        errorText<&AbstractError::category>("error_category"),
        errorText<&AbstractError::source>("error_source"),
        errorText<&AbstractError::description>("error_description"),
        time<&Download::lastErrorTime, Download>("error_time"),
        number<&Download::resumeSupport, Download>("resume_support"),
        {"guid_is_set"_L1, [](const Download &record) { return QVariant(record.guid.isSet); },
         [](Download &record, const QVariant &cell) { record.guid.isSet = cell.toUInt(); }},
        {"guid_kind"_L1, [](const Download &record) { return QVariant(record.guid.kind); },
         [](Download &record, const QVariant &cell) { record.guid.kind = cell.toUInt(); }},
        {"guid_value"_L1, [](const Download &record) { return SqlCells::fromText(record.guid.value); },
         [](Download &record, const QVariant &cell) { record.guid.value = SqlCells::toText(cell); }},
        number<&Download::childDownloads, Download>("child_downloads"),
        number<&Download::uploaded, Download>("uploaded"),
        number<&Download::sortIndex, Download>("sort_index"),
        {"content"_L1, [](const Download &record) { return SqlCells::fromContent(record.content); },
         [](Download &record, const QVariant &cell) { record.content = cell.toByteArray(); }},
    };
    return columns;
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
         [](Cookie &cookie, const QVariant &cell) { cookie.setName(SqlCells::toBytes(cell)); }},
        {"value"_L1, [](const Cookie &cookie) { return SqlCells::fromBytes(cookie.value()); },
         [](Cookie &cookie, const QVariant &cell) { cookie.setValue(SqlCells::toBytes(cell)); }},
        {"domain"_L1, [](const Cookie &cookie) { return SqlCells::fromText(cookie.domain()); },
         [](Cookie &cookie, const QVariant &cell) { cookie.setDomain(SqlCells::toText(cell)); }},
        {"path"_L1, [](const Cookie &cookie) { return SqlCells::fromText(cookie.path()); },
         [](Cookie &cookie, const QVariant &cell) { cookie.setPath(SqlCells::toText(cell)); }},
        {"expires"_L1, [](const Cookie &cookie) { return SqlCells::fromTime(cookie.expirationDate()); },
         [](Cookie &cookie, const QVariant &cell) { cookie.setExpirationDate(SqlCells::toTime(cell)); }},
        {"secure"_L1, [](const Cookie &cookie) { return QVariant(int(cookie.isSecure())); },
         [](Cookie &cookie, const QVariant &cell) { cookie.setSecure(cell.toBool()); }},
        {"http_only"_L1, [](const Cookie &cookie) { return QVariant(int(cookie.isHttpOnly())); },
         [](Cookie &cookie, const QVariant &cell) { cookie.setHttpOnly(cell.toBool()); }},
        {"same_site"_L1, [](const Cookie &cookie) { return QVariant(int(cookie.sameSitePolicy())); },
         [](Cookie &cookie, const QVariant &cell) {
             cookie.setSameSitePolicy(QNetworkCookie::SameSite(cell.toInt()));
         }},
    };
    return columns;
}

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

template<typename Record>
QStringList names(const Columns<Record> &columns)
{
    QStringList list;
    for (const Column<Record> &column : columns)
        list.append(column.name);
    return list;
}

template<typename Record>
QVariantList cells(const Columns<Record> &columns, const Record &record)
{
    QVariantList list;
    for (const Column<Record> &column : columns)
        list.append(column.get(record));
    return list;
}

template<typename Record>
Record fromRow(const Columns<Record> &columns, const QSqlQuery &query)
{
    Record record;
    int index = 0;
    for (const Column<Record> &column : columns)
        column.set(record, query.value(index++));
    return record;
}

QString insertStatement(const QString &table, const QStringList &columns)
{
    const QStringList marks(columns.size(), u"?"_s);
    return u"INSERT INTO %1 (%2) VALUES (%3)"_s.arg(table, columns.join(u", "_s), marks.join(u", "_s));
}

/// A part's rows are found by the columns in @p key, the last of which is its position.
struct PartTable {
    QString name;
    QStringList key;
};

const PartTable kFiles{u"files"_s, {u"download_id"_s, u"position"_s}};
const PartTable kSections{u"sections"_s, {u"download_id"_s, u"file_position"_s, u"position"_s}};
const PartTable kMirrors{u"mirrors"_s, {u"download_id"_s, u"position"_s}};
const PartTable kCookies{u"cookies"_s, {u"download_id"_s, u"position"_s}};
const PartTable kHeaders{u"headers"_s, {u"download_id"_s, u"position"_s}};

/// Calls @p run with the statement and values of each part's row.
template<typename Part, typename Run>
bool insertAll(const PartTable &table, const QVariantList &owner, const Columns<Part> &columns,
               const QList<Part> &parts, Run run)
{
    const QString statement = insertStatement(table.name, table.key + names(columns));
    int position = 0;
    return std::all_of(parts.cbegin(), parts.cend(), [&](const Part &part) {
        return run(statement, owner + QVariantList{position++} + cells(columns, part));
    });
}

template<typename Part, typename Run>
bool selectAll(const PartTable &table, const QVariantList &owner, const Columns<Part> &columns, QList<Part> &parts,
               Run run)
{
    QStringList conditions;
    for (qsizetype i = 0; i < owner.size(); ++i)
        conditions.append(table.key.at(i) + u" = ?"_s);
    const QString statement = u"SELECT %1 FROM %2 WHERE %3 ORDER BY position"_s.arg(
        names(columns).join(u", "_s), table.name, conditions.join(u" AND "_s));
    return run(statement, owner, [&](const QSqlQuery &query) { parts.append(fromRow(columns, query)); });
}

}

bool RecordRows::insert(AbstractDownloadPersistentInfo &record)
{
    QSqlQuery query(m_database);
    if (!run(insertStatement(u"downloads"_s, names(downloadColumns())), cells(downloadColumns(), record), query))
        return false;
    record.id = query.lastInsertId().toLongLong();
    return insertParts(record);
}

bool RecordRows::update(const AbstractDownloadPersistentInfo &record)
{
    const QString statement =
        u"UPDATE downloads SET %1 = ? WHERE id = ?"_s.arg(names(downloadColumns()).join(u" = ?, "_s));
    QSqlQuery query(m_database);
    if (!run(statement, cells(downloadColumns(), record) + QVariantList{record.id}, query))
        return false;
    return query.numRowsAffected() == 1 && deleteParts(record.id) && insertParts(record);
}

RecordRows::Records RecordRows::select(const QString &condition, const QVariantList &values, const QString &index)
{
    const QString by = index.isEmpty() ? QString() : u"INDEXED BY "_s + index;
    const QString statement = u"SELECT %1, id FROM downloads %2 WHERE %3 ORDER BY id"_s.arg(
        names(downloadColumns()).join(u", "_s), by, condition);
    QSqlQuery query(m_database);
    if (!run(statement, values, query))
        return {};
    QList<AbstractDownloadPersistentInfo> records;
    while (query.next()) {
        records.append(fromRow(downloadColumns(), query));
        records.last().id = query.value(int(downloadColumns().size())).toLongLong();
    }
    if (!wasReadWhole(query))
        return {};
    for (AbstractDownloadPersistentInfo &record : records) {
        if (!loadParts(record))
            return {};
    }
    return records;
}

bool RecordRows::run(const QString &statement, const QVariantList &values, QSqlQuery &query)
{
    m_error = {};
    if (m_observer)
        m_observer(statement);
    query.setForwardOnly(true);
    bool done = query.prepare(statement);
    for (const QVariant &value : values)
        query.addBindValue(value);
    done = done && query.exec();
    if (!done)
        m_error = query.lastError();
    return done;
}

bool RecordRows::wasReadWhole(const QSqlQuery &query)
{
    m_error = query.lastError();
    return !m_error.isValid();
}

bool RecordRows::insertParts(const AbstractDownloadPersistentInfo &record)
{
    const auto insertRow = [this](const QString &statement, const QVariantList &values) {
        QSqlQuery query(m_database);
        return run(statement, values, query);
    };
    const QVariantList owner{record.id};
    int position = 0;
    return std::all_of(record.files.cbegin(), record.files.cend(),
                       [&](const File &file) { return insertFile(record.id, position++, file); })
        && insertAll(kMirrors, owner, mirrorColumns(), record.mirrors, insertRow)
        && insertAll(kCookies, owner, cookieColumns(), record.cookies, insertRow)
        && insertAll(kHeaders, owner, headerColumns(), headersAsList(record.parameters), insertRow);
}

bool RecordRows::insertFile(qint64 id, int position, const AbstractDownloadFileInfo &file)
{
    const auto insertRow = [this](const QString &statement, const QVariantList &values) {
        QSqlQuery query(m_database);
        return run(statement, values, query);
    };
    const QString statement = insertStatement(kFiles.name, kFiles.key + names(fileColumns()));
    const QVariantList key{id, position};
    return insertRow(statement, key + cells(fileColumns(), file))
        && insertAll(kSections, key, sectionColumns(), file.sections, insertRow);
}

bool RecordRows::deleteParts(qint64 id)
{
    const QString tables[] = {kFiles.name, kMirrors.name, kCookies.name, kHeaders.name};
    return std::all_of(std::begin(tables), std::end(tables), [&](const QString &table) {
        QSqlQuery query(m_database);
        return run(u"DELETE FROM %1 WHERE download_id = ?"_s.arg(table), {id}, query);
    });
}

bool RecordRows::loadParts(AbstractDownloadPersistentInfo &record)
{
    const auto forEachRow = [this](const QString &statement, const QVariantList &values, const auto &take) {
        QSqlQuery query(m_database);
        if (!run(statement, values, query))
            return false;
        while (query.next())
            take(query);
        return wasReadWhole(query);
    };
    const QVariantList owner{record.id};
    QList<Header> headers;
    if (!selectAll(kFiles, owner, fileColumns(), record.files, forEachRow)
        || !selectAll(kMirrors, owner, mirrorColumns(), record.mirrors, forEachRow)
        || !selectAll(kCookies, owner, cookieColumns(), record.cookies, forEachRow)
        || !selectAll(kHeaders, owner, headerColumns(), headers, forEachRow))
        return false;
    putHeaders(headers, record.parameters);
    int position = 0;
    return std::all_of(record.files.begin(), record.files.end(), [&](File &file) {
        return selectAll(kSections, QVariantList{record.id, position++}, sectionColumns(), file.sections, forEachRow);
    });
}
