// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Names as a person would sort them.
namespace NaturalOrder
{

/// Whether one stands before the other: without regard to case, numbers by their value, file2 before File10. As the
/// modules' helper for records has it (abstractDownloadsPeristentInfoCompFunction). In any thread.
bool precedes(const QString &name, const QString &other);

}
