// SPDX-License-Identifier: MIT
#include <host/storage/downloadstore.h>

#include <algorithm>

void DownloadStore::save(const Record &record, const Holdings &holdings, QObject *, const Saved &saved)
{
    saved(update(record, holdings, Lasting::ThisRunOfTheMachine) ? Failure() : lastFailure());
}

void DownloadStore::askOthersChanges(QObject *, const std::function<void(qint64)> &told)
{
    told(0);
}

void DownloadStore::releaseSoon(const QList<qint64> &ids)
{
    const auto releaseEach = [&ids](DownloadStore &store) {
        std::for_each(ids.cbegin(), ids.cend(), [&store](qint64 id) { store.release(id); });
        return true;
    };
    if (ids.size() == 1)
        release(ids.constFirst());
    else if (!together(releaseEach))
        releaseEach(*this);
}
