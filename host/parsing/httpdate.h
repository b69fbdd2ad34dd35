// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

/// Dates as HTTP writes them. Pure.
namespace HttpDate
{

/// In UTC; any of the three forms that servers use. Nothing where it is none of them.
std::optional<QDateTime> parse(const QString &text);
/// In the form that every reader knows. @param time valid
QString format(const QDateTime &time);

}
