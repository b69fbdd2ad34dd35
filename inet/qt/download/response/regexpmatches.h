// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

/// Capture `group` of every match of `pattern` in `text`, in order; case is ignored.
/// A pattern that does not compile matches nothing; a group that took no part in a match gives an empty entry for it.
QList<QString> regExpMatches(QString const &pattern, QString const &text, int group);
