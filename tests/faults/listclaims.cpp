// SPDX-License-Identifier: MIT
#include <tests/faults/listclaims.h>

#include <tests/integration/plaitsandbox.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

QString ListClaim::file() const
{
    const QDir dir(folder);
    const QString onDisk = dir.filePath(path.isEmpty() ? name : path);
    return QFileInfo::exists(onDisk) || !onDisk.endsWith(u".part"_s) ? onDisk : onDisk.chopped(5);
}

QByteArray ListClaim::bytes() const
{
    QFile opened(file());
    return opened.open(QIODevice::ReadOnly) && opened.seek(offset) ? opened.read(size) : QByteArray();
}

ListOnDisk::ListOnDisk(const PlaitSandbox &sandbox)
{
    const QTemporaryDir copies;
    const QString list = sandbox.dataHome() + "/plait/downloads.sqlite"_L1;
    const QString copy = copies.filePath(u"list"_s);
    m_isThere = QFile::copy(list, copy);
    if (!m_isThere)
        return;
    QFile::copy(list + "-wal"_L1, copy + "-wal"_L1);
    read(copy);
    QSqlDatabase::removeDatabase(copy);
}

void ListOnDisk::read(const QString &database)
{
    QSqlDatabase connection = QSqlDatabase::addDatabase(u"QSQLITE"_s, database);
    connection.setDatabaseName(database);
    if (!connection.open())
        return;
    QSqlQuery pieces(u"SELECT d.folder, f.path_on_disk, f.name, f.data_start + s.offset, s.downloaded "
                     u"FROM sections s JOIN files f ON f.download_id = s.download_id "
                     u"JOIN downloads d ON d.id = s.download_id WHERE s.downloaded > 0"_s,
                     connection);
    while (pieces.next())
        m_claims.append({pieces.value(0).toString(), pieces.value(1).toString(), pieces.value(2).toString(),
                         pieces.value(3).toLongLong(), pieces.value(4).toLongLong()});
    QSqlQuery downloads(u"SELECT url, finished FROM downloads"_s, connection);
    while (downloads.next()) {
        m_urls.append(downloads.value(0).toString());
        if (!downloads.value(1).toBool())
            m_unfinishedUrls.append(m_urls.constLast());
    }
}
