// SPDX-License-Identifier: MIT
#include <host/storage/downloadstore.h>

void DownloadStore::save(const Record &record, const Holdings &holdings, QObject *, const Saved &saved)
{
    saved(update(record, holdings, Lasting::ThisRunOfTheMachine) ? Failure() : lastFailure());
}

void DownloadStore::releaseSoon(qint64 id)
{
    release(id);
}
