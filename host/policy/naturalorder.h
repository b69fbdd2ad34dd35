// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Names as a person would sort them: without regard to case, numbers by their value, file2 before File10. As the
/// modules' helper for records has it (abstractDownloadsPeristentInfoCompFunction). In any thread.
namespace NaturalOrder
{

/// The same for names that stand beside each other. Keys are sorted as they stand, by the numbers of their characters
/// (as their bytes in UTF-8 are): so a database may do it that knows nothing of names.
QString key(const QString &name);

bool precedes(const QString &name, const QString &other);

}
