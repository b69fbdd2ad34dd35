// SPDX-License-Identifier: MIT
#include <host/network/fieldnames.h>

#include <host/parsing/httpdate.h>

#include <algorithm>
#include <iterator>

namespace
{

constexpr const char *kUsual[] = {
    "Accept-Ranges",
    "Content-Disposition",
    "Content-Encoding",
    "Content-Length",
    "Content-Range",
    "Content-Type",
    "Date",
    "Digest",
    "ETag",
    "Last-Modified",
    "Location",
    "Repr-Digest",
    "Retry-After",
    "Server",
    "Set-Cookie",
    "WWW-Authenticate",
    "Proxy-Authenticate",
};

}

QByteArray FieldNames::usual(const QByteArray &name)
{
    const auto *const found = std::find_if(std::begin(kUsual), std::end(kUsual), [&name](const char *usual) {
        return name.compare(usual, Qt::CaseInsensitive) == 0;
    });
    return found == std::end(kUsual) ? name : QByteArray(*found);
}

QByteArray FieldNames::usualValue(const QByteArray &name, const QByteArray &value)
{
    const auto date = name == "Last-Modified" ? HttpDate::parse(QString::fromLatin1(value)) : std::nullopt;
    return date ? HttpDate::format(*date).toLatin1() : value;
}
