// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/downloadoptions.h>

#include <QString>
#include <QStringList>

/// Options of a download that the list keeps without a column of their own, as one text: JSON, names of the table to
/// values. So a new row of the table is kept without another change. Pure.
namespace KeptOptions
{

/// Those of the table that have columns: they came first. That of the rate has no place for hours: one with hours is
/// kept here, too.
QStringList withColumns();
/// Empty where the download has none. @param others names of what is kept elsewhere
QString toText(const DownloadOptions &options, const QStringList &others = withColumns());
/// What toText() made goes back in. What the table does not know, or would not take, is left out.
void give(const QString &text, DownloadOptions &options);

}
