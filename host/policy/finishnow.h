// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/failure.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

/// Being content with the bytes that are there. Only one run of bytes from the start makes a file: with later pieces
/// the file would have holes that nobody could find any more. Pure.
namespace FinishNow
{

/// Why the record's bytes make no file; none = they do.
/// @param isRunning sections that run may write behind the first one at any moment
Failure refusal(const AbstractDownloadPersistentInfo &info, bool isRunning);

/// Bytes are missing, or nobody knows whether some are.
bool isEarly(const AbstractDownloadPersistentInfo &info);

/// Makes what is there all that there is. Only for records that are not refused.
void settle(AbstractDownloadPersistentInfo &info);

}
