// SPDX-License-Identifier: MIT
#include <host/policy/timesofday.h>

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kMinutesOfHour = 60;
constexpr int kMinutesOfDay = 24 * kMinutesOfHour;
constexpr int kDaysOfWeek = 7;
constexpr int kSecondsOfMinute = 60;

const QStringList kDays{u"mon"_s, u"tue"_s, u"wed"_s, u"thu"_s, u"fri"_s, u"sat"_s, u"sun"_s};

/// "7:30", "24:00"; -1 = it is none.
int minuteOf(const QString &text)
{
    static const QRegularExpression form(u"^(\\d{1,2}):(\\d\\d)$"_s);
    const QRegularExpressionMatch match = form.match(text);
    const int minutes = match.captured(2).toInt();
    const int minute = match.captured(1).toInt() * kMinutesOfHour + minutes;
    return match.hasMatch() && minutes < kMinutesOfHour && minute <= kMinutesOfDay ? minute : -1;
}

QString textOf(int minute)
{
    return u"%1:%2"_s.arg(minute / kMinutesOfHour, 2, 10, QLatin1Char('0'))
        .arg(minute % kMinutesOfHour, 2, 10, QLatin1Char('0'));
}

int minuteOf(const QTime &time)
{
    return time.hour() * kMinutesOfHour + time.minute();
}

int dayBefore(int day)
{
    return day == 1 ? kDaysOfWeek : day - 1;
}

/// A time that the beginning of summer time leaves out comes an hour later by the clock.
QDateTime momentAt(const QDate &day, int minute)
{
    const QTime time = QTime::fromMSecsSinceStartOfDay(minute * kSecondsOfMinute * 1000);
    const QDateTime moment(day, time);
    return moment.isValid() ? moment : QDateTime(day, time.addSecs(kMinutesOfHour * kSecondsOfMinute));
}

}

bool TimesOfDay::Window::beginsOn(int day) const
{
    return firstDay <= lastDay ? day >= firstDay && day <= lastDay : day >= firstDay || day <= lastDay;
}

bool TimesOfDay::Window::contains(int day, int minute) const
{
    if (from < to)
        return beginsOn(day) && minute >= from && minute < to;
    return (beginsOn(day) && minute >= from) || (beginsOn(dayBefore(day)) && minute < to);
}

QString TimesOfDay::Window::toText() const
{
    const QString hours = textOf(from) + u'-' + textOf(to);
    if (firstDay == 1 && lastDay == kDaysOfWeek)
        return hours;
    const QString last = firstDay == lastDay ? QString() : u'-' + kDays.at(lastDay - 1);
    return kDays.at(firstDay - 1) + last + u'@' + hours;
}

bool TimesOfDay::readDays(const QString &text, Window &window)
{
    const qsizetype first = kDays.indexOf(text.section(u'-', 0, 0));
    const qsizetype last = kDays.indexOf(text.section(u'-', -1));
    window.firstDay = int(first + 1);
    window.lastDay = int(last + 1);
    return first >= 0 && last >= 0 && text.count(u'-') <= 1;
}

std::optional<TimesOfDay::Window> TimesOfDay::windowFrom(const QString &text)
{
    Window window;
    const QString hours = text.section(u'@', -1);
    window.from = minuteOf(hours.section(u'-', 0, 0));
    window.to = minuteOf(hours.section(u'-', 1));
    const bool areHours = window.from >= 0 && window.from < kMinutesOfDay && window.to >= 0 && window.from != window.to;
    const bool areDays = !text.contains(u'@') || readDays(text.section(u'@', 0, -2), window);
    return areHours && areDays ? std::optional(window) : std::nullopt;
}

std::optional<TimesOfDay> TimesOfDay::fromText(const QString &text)
{
    TimesOfDay times;
    if (text.trimmed().isEmpty())
        return times;
    const QStringList parts = text.toLower().split(u',');
    for (const QString &part : parts) {
        const std::optional<Window> window = windowFrom(part.trimmed());
        if (!window)
            return std::nullopt;
        times.m_windows.append(*window);
    }
    return times;
}

QString TimesOfDay::toText() const
{
    QStringList texts;
    for (const Window &window : m_windows)
        texts.append(window.toText());
    return texts.join(u',');
}

bool TimesOfDay::contains(const QDateTime &moment) const
{
    const QDateTime local = moment.toLocalTime();
    const int day = local.date().dayOfWeek();
    const int minute = minuteOf(local.time());
    return isEmpty() || std::any_of(m_windows.cbegin(), m_windows.cend(), [day, minute](const Window &window) {
               return window.contains(day, minute);
           });
}

QDateTime TimesOfDay::nextBegin(const QDateTime &moment) const
{
    QDateTime next;
    const QDate today = moment.toLocalTime().date();
    for (int i = 0; i <= kDaysOfWeek; ++i) {
        const QDate day = today.addDays(i);
        for (const Window &window : m_windows) {
            const QDateTime begin = momentAt(day, window.from);
            if (window.beginsOn(day.dayOfWeek()) && begin > moment && (!next.isValid() || begin < next))
                next = begin;
        }
    }
    return next;
}
