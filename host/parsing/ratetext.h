// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

/// Bytes a second as people write them: "500K", "2.5M", "100"; K, M and G are of 1024. Pure.
namespace RateText
{

/// Empty is 0. Nothing where the text is none, or more than can be.
std::optional<qint64> read(const QString &text);
/// As read() takes it.
QString write(qint64 rate);

}
