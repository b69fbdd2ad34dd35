// SPDX-License-Identifier: MIT
#include <tests/unit/host/storage/storekinds.h>

#include <host/storage/stores.h>
#include <host/storage/storethread.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

std::unique_ptr<DownloadStore> openInThread(const StoreChoice &choice, Failure *failure)
{
    auto store = std::make_unique<StoreThread>();
    if (store->open(choice))
        return store;
    *failure = store->lastFailure();
    return nullptr;
}

}

void StoreKinds::addRows()
{
    QTest::addColumn<bool>("isKept");
    QTest::addColumn<bool>("hasThread");
    QTest::newRow("in SQLite") << true << false;
    QTest::newRow("in memory") << false << false;
    QTest::newRow("in SQLite, in a thread of its own") << true << true;
}

std::unique_ptr<DownloadStore> StoreKinds::open(const QString &folder)
{
    QFETCH_GLOBAL(bool, isKept);
    QFETCH_GLOBAL(bool, hasThread);
    const StoreChoice choice{folder + u"/list.sqlite"_s, isKept};
    Failure failure;
    auto store = hasThread ? openInThread(choice, &failure) : Stores::open(choice, &failure);
    if (!store)
        QTest::qFail(qPrintable(failure.plain()), __FILE__, __LINE__);
    return store;
}
