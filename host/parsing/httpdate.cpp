// SPDX-License-Identifier: MIT
#include <host/parsing/httpdate.h>

#include <QLocale>
#include <QTimeZone>

using namespace Qt::StringLiterals;

/// The day of the week says nothing that the date does not.
std::optional<QDateTime> HttpDate::parse(const QString &text)
{
    const QString date = text.section(u' ', 1);
    for (const auto format :
         {"dd MMM yyyy hh:mm:ss 'GMT'"_L1, "dd-MMM-yy hh:mm:ss 'GMT'"_L1, "MMM d hh:mm:ss yyyy"_L1}) {
        QDateTime time = QLocale::c().toDateTime(date, QString(format));
        if (!time.isValid())
            continue;
        // Two digits of a year are of this century.
        if (time.date().year() < 1970)
            time = time.addYears(100);
        time.setTimeZone(QTimeZone::utc());
        return time;
    }
    return std::nullopt;
}

QString HttpDate::format(const QDateTime &time)
{
    return QLocale::c().toString(time.toUTC(), u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s);
}
