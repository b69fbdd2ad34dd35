// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>
#include <inet/qt/download/records/abstracterror.h>

#include <QString>

/// Errors as people read them: what failed, with the value in quotes, why, and what to do next. Complete sentences, of
/// which the first begins in lower case, to stand behind a program's name.
namespace ErrorMessages
{

/// Why a run failed that left this record; empty for code 0.
QString forDownload(const AbstractError &error, const AbstractDownloadPersistentInfo &info);

/// No module serves the URL.
QString forUnsupportedUrl(const QUrl &url);

/// The last words to a stopped download.
QString forStop();

}
