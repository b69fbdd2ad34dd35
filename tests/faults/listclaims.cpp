// SPDX-License-Identifier: MIT
#include <tests/faults/listclaims.h>

#include <tests/integration/plaitsandbox.h>
#include <tests/support/sqlfile.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
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
}

void ListOnDisk::read(const QString &database)
{
    const SqlFile list(database);
    const QList<QVariantList> pieces =
        list.rows(u"SELECT d.folder, f.path_on_disk, f.name, f.data_start + s.offset, s.downloaded "
                  u"FROM sections s JOIN files f ON f.download_id = s.download_id "
                  u"JOIN downloads d ON d.id = s.download_id WHERE s.downloaded > 0"_s);
    for (const QVariantList &piece : pieces)
        m_claims.append({piece.at(0).toString(), piece.at(1).toString(), piece.at(2).toString(),
                         piece.at(3).toLongLong(), piece.at(4).toLongLong()});
    const QList<QVariantList> downloads = list.rows(u"SELECT url, finished FROM downloads"_s);
    for (const QVariantList &download : downloads) {
        m_urls.append(download.at(0).toString());
        if (!download.at(1).toBool())
            m_unfinishedUrls.append(m_urls.constLast());
    }
}
