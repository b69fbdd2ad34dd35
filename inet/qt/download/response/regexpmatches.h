// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

/// Capture `group` of every match of `pattern` in `text`, in order; case is ignored.
/// A pattern that does not compile matches nothing; a group that took no part in a match gives an empty entry for it.
QList<QString> regExpMatches(const QString &pattern, const QString &text, int group);
