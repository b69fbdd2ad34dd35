// SPDX-License-Identifier: MIT
#include <host/parsing/httpdate.h>

#include <QLocale>
#include <QStringView>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

constexpr std::array kMonths{"Jan"_L1, "Feb"_L1, "Mar"_L1, "Apr"_L1, "May"_L1, "Jun"_L1,
                             "Jul"_L1, "Aug"_L1, "Sep"_L1, "Oct"_L1, "Nov"_L1, "Dec"_L1};

struct Parts {
    QStringView day;
    QStringView month;
    QStringView year;
    QStringView time;
};

/// The day of the week says nothing that the date does not.
std::optional<Parts> partsOf(const QList<QStringView> &words)
{
    const bool isGmt = words.last() == "GMT"_L1;
    if (words.size() == 6 && isGmt)
        return Parts{words.at(1), words.at(2), words.at(3), words.at(4)};
    if (words.size() == 5)
        return Parts{words.at(2), words.at(1), words.at(4), words.at(3)};
    const QList<QStringView> date = words.size() == 4 && isGmt ? words.at(1).split(u'-') : QList<QStringView>();
    if (date.size() == 3)
        return Parts{date.at(0), date.at(1), date.at(2), words.at(2)};
    return std::nullopt;
}

/// -1 = none.
int numberFrom(QStringView digits)
{
    const bool isNumber = !digits.isEmpty()
        && std::all_of(digits.cbegin(), digits.cend(), [](QChar sign) { return sign >= u'0' && sign <= u'9'; });
    bool isSmall = false;
    const int number = digits.toInt(&isSmall);
    return isNumber && isSmall ? number : -1;
}

/// 0 = none.
int monthFrom(QStringView name)
{
    const auto *const found = std::find_if(kMonths.cbegin(), kMonths.cend(), [name](QLatin1StringView month) {
        return name.compare(month, Qt::CaseInsensitive) == 0;
    });
    return found == kMonths.cend() ? 0 : int(found - kMonths.cbegin()) + 1;
}

/// Two digits are of this century, or of the end of the last one. 0 = none, as there was no such year.
int yearFrom(QStringView digits)
{
    const int year = std::max(numberFrom(digits), 0);
    if (digits.size() != 2 || year != numberFrom(digits))
        return year;
    return year < 70 ? 2000 + year : 1900 + year;
}

QTime timeFrom(QStringView text)
{
    const QList<QStringView> numbers = text.split(u':');
    return numbers.size() == 3 ? QTime(numberFrom(numbers.at(0)), numberFrom(numbers.at(1)), numberFrom(numbers.at(2)))
                               : QTime();
}

}

/// By hand: Qt's parser takes any date for one of this machine's zone first, and looks that up in a file.
std::optional<QDateTime> HttpDate::parse(const QString &text)
{
    const QList<QStringView> words = QStringView(text).split(u' ', Qt::SkipEmptyParts);
    const std::optional<Parts> parts = words.isEmpty() ? std::nullopt : partsOf(words);
    if (!parts)
        return std::nullopt;
    const QDate date(yearFrom(parts->year), monthFrom(parts->month), numberFrom(parts->day));
    const QTime time = timeFrom(parts->time);
    return date.isValid() && time.isValid() ? std::optional(QDateTime(date, time, Qt::UTC)) : std::nullopt;
}

QString HttpDate::format(const QDateTime &time)
{
    return QLocale::c().toString(time.toUTC(), u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s);
}
