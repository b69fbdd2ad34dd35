// SPDX-License-Identifier: MIT
#include <host/storage/listconnection.h>

#include <atomic>

using namespace Qt::StringLiterals;

namespace
{

QString uniqueName()
{
    static std::atomic<int> count = 0;
    return u"plait-list-%1"_s.arg(++count);
}

QString optionsFor(ListConnection::Access access)
{
    const QString wait = u"QSQLITE_BUSY_TIMEOUT=10000"_s;
    switch (access) {
    case ListConnection::Access::Write:
        break;
    case ListConnection::Access::Look:
        return wait + ";QSQLITE_OPEN_READONLY"_L1;
    case ListConnection::Access::WriteAndAttach:
        return wait + ";QSQLITE_OPEN_URI"_L1;
    }
    return wait;
}

}

ListConnection::ListConnection(const QString &path, Access access)
    : m_name(uniqueName())
{
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, m_name);
    database.setDatabaseName(path);
    database.setConnectOptions(optionsFor(access));
}

ListConnection::~ListConnection()
{
    QSqlDatabase::removeDatabase(m_name);
}
