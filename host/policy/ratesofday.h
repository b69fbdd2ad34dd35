// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/timesofday.h>

#include <QList>
#include <QString>

#include <optional>

/// A limit that is another one at some hours: "2M,500K@08:00-18:00,100K@mon-fri@12:00-13:00". The one without hours is
/// the usual one; of those whose hours it is, the first counts. A value.
struct RatesOfDay {
    struct Timed {
        qint64 rate = 0; ///< bytes/s; 0 = no limit
        TimesOfDay times; ///< one window

        friend bool operator==(const Timed &, const Timed &) = default;
    };

    qint64 usual = 0; ///< bytes/s; 0 = no limit
    QList<Timed> timed;

    /// Nothing where the text is none.
    static std::optional<RatesOfDay> fromText(const QString &text);
    /// As fromText() takes it.
    QString toText() const;
    /// Bytes/s; 0 = no limit.
    qint64 at(const QDateTime &moment) const;

    friend bool operator==(const RatesOfDay &, const RatesOfDay &) = default;
};
