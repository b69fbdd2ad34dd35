// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

/// Records that hold anything a record can hold; the same seed gives the same record.
AbstractDownloadPersistentInfo randomRecord(quint32 seed);
