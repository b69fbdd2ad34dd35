// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

class QJsonObject;

/// All that an engine has to do at this moment, in sum. A value.
struct Totals {
    qint64 waiting = 0; ///< not begun yet
    qint64 active = 0; ///< begun and not ended: those that run, rest, ask, or are being compared
    qint64 done = 0; ///< bytes that those have
    qint64 size = 0; ///< bytes that those come to; -1 = unknown
    qint64 speed = 0; ///< bytes/s

    QJsonObject toJson() const;
    static Totals fromJson(const QJsonObject &json);

    friend bool operator==(const Totals &, const Totals &) = default;
};
