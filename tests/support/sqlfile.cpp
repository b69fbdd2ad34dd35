// SPDX-License-Identifier: MIT
#include <tests/support/sqlfile.h>

#include <sqlite3.h>

namespace
{

void bindAll(sqlite3_stmt *statement, const QVariantList &values)
{
    for (int i = 0; i < values.size(); ++i) {
        const QByteArray text = values.at(i).toString().toUtf8();
        if (values.at(i).typeId() == QMetaType::QString)
            sqlite3_bind_text(statement, i + 1, text.constData(), int(text.size()), SQLITE_TRANSIENT);
        else
            sqlite3_bind_int64(statement, i + 1, values.at(i).toLongLong());
    }
}

QVariant cellOf(sqlite3_stmt *statement, int column)
{
    const int size = sqlite3_column_bytes(statement, column);
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        return qint64(sqlite3_column_int64(statement, column));
    case SQLITE_FLOAT:
        return sqlite3_column_double(statement, column);
    case SQLITE_TEXT:
        return QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, column)), size);
    case SQLITE_BLOB:
        return QByteArray(static_cast<const char *>(sqlite3_column_blob(statement, column)), size);
    default:
        return {};
    }
}

QVariantList rowOf(sqlite3_stmt *statement)
{
    QVariantList row;
    for (int i = 0; i < sqlite3_column_count(statement); ++i)
        row.append(cellOf(statement, i));
    return row;
}

}

SqlFile::SqlFile(const QString &path, int waitMs)
{
    sqlite3_open(path.toUtf8().constData(), &m_handle);
    sqlite3_busy_timeout(m_handle, waitMs);
}

SqlFile::~SqlFile()
{
    sqlite3_close(m_handle);
}

bool SqlFile::run(const QString &statement, const QVariantList &values) const
{
    rows(statement, values);
    return m_errorText.isEmpty();
}

QList<QVariantList> SqlFile::rows(const QString &statement, const QVariantList &values) const
{
    QList<QVariantList> rows;
    sqlite3_stmt *prepared = nullptr;
    int answer = sqlite3_prepare_v2(m_handle, statement.toUtf8().constData(), -1, &prepared, nullptr);
    bindAll(prepared, values);
    while (prepared && (answer = sqlite3_step(prepared)) == SQLITE_ROW)
        rows.append(rowOf(prepared));
    const bool isDone = answer == SQLITE_OK || answer == SQLITE_DONE;
    m_errorText = isDone ? QString() : QString::fromUtf8(sqlite3_errmsg(m_handle));
    sqlite3_finalize(prepared);
    return rows;
}
