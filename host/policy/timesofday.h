// SPDX-License-Identifier: MIT
#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

/// Hours of the day, perhaps of some days of the week: "01:00-07:00", "22:00-06:00" (over midnight),
/// "sat-sun@08:00-12:00"; several with commas between them. By the clock on the wall of this machine: an hour that
/// comes twice, as summer time ends, counts twice, and one that is left out does not come. A value.
class TimesOfDay
{
public:
    /// None: any time.
    TimesOfDay() = default;
    /// Nothing where the text is none.
    static std::optional<TimesOfDay> fromText(const QString &text);
    /// As fromText() takes it.
    QString toText() const;

    bool isEmpty() const { return m_windows.isEmpty(); }
    /// Always, where there are none.
    bool contains(const QDateTime &moment) const;
    /// When the next of them begins; invalid = there are none.
    QDateTime nextBegin(const QDateTime &moment) const;

    friend bool operator==(const TimesOfDay &, const TimesOfDay &) = default;

private:
    /// Minutes of the day; where it ends before it begins, it ends on the next one.
    struct Window {
        int from = 0;
        int to = 0;
        int firstDay = 1; ///< on which it begins; Qt::Monday to Qt::Sunday
        int lastDay = 7; ///< before the first where it goes over the end of the week

        bool beginsOn(int day) const;
        bool contains(int day, int minute) const;
        QString toText() const;

        friend bool operator==(const Window &, const Window &) = default;
    };

    static std::optional<Window> windowFrom(const QString &text);
    static bool readDays(const QString &text, Window &window);

    QList<Window> m_windows;
};
