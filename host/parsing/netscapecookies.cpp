// SPDX-License-Identifier: MIT
#include <host/parsing/netscapecookies.h>

#include <QTimeZone>

#include <cmath>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto kHttpOnly = "#HttpOnly_";
constexpr int kFields = 7;
enum Field { Domain, Subdomains, Path, Secure, Expiry, Name, Value };
/// As far as dates go; browsers write larger numbers for "never".
constexpr double kLatestSecond = 253402300799.0;

std::optional<bool> flag(const QByteArray &text)
{
    if (text.compare("TRUE", Qt::CaseInsensitive) == 0)
        return true;
    if (text.compare("FALSE", Qt::CaseInsensitive) == 0)
        return false;
    return std::nullopt;
}

/// Seconds since 1970; nothing = no number.
std::optional<qint64> seconds(const QByteArray &text)
{
    bool isNumber = false;
    const double value = text.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(value))
        return std::nullopt;
    return qint64(qBound(-1.0, value, kLatestSecond));
}

bool isComment(const QByteArray &line)
{
    return line.trimmed().isEmpty() || (line.startsWith('#') && !line.startsWith(kHttpOnly));
}

/// What is wrong with the fields; empty = nothing. Their content is not repeated: values are secret.
Clause problem(const QList<QByteArray> &fields)
{
    if (fields.size() != kFields)
        return {Clause::Kind::NumberOfFields, {QString::number(fields.size())}};
    if (fields.at(Domain).trimmed().isEmpty() || fields.at(Domain).trimmed() == ".")
        return Clause::Kind::NoDomain;
    if (!flag(fields.at(Subdomains)))
        return Clause::Kind::SecondFieldNoTruth;
    if (!flag(fields.at(Secure)))
        return Clause::Kind::FourthFieldNoTruth;
    if (!seconds(fields.at(Expiry)))
        return Clause::Kind::FifthFieldNoSeconds;
    return {};
}

QString domainOf(const QList<QByteArray> &fields)
{
    QString domain = QString::fromUtf8(fields.at(Domain)).trimmed().toLower();
    while (domain.startsWith(u'.'))
        domain.remove(0, 1);
    return *flag(fields.at(Subdomains)) ? u'.' + domain : domain;
}

QNetworkCookie cookieOf(const QList<QByteArray> &fields, bool isHttpOnly)
{
    QNetworkCookie cookie(fields.at(Name), fields.at(Value));
    cookie.setDomain(domainOf(fields));
    cookie.setPath(fields.at(Path).startsWith('/') ? QString::fromUtf8(fields.at(Path)) : u"/"_s);
    cookie.setSecure(*flag(fields.at(Secure)));
    cookie.setHttpOnly(isHttpOnly);
    if (const qint64 expiry = *seconds(fields.at(Expiry)); expiry != 0)
        cookie.setExpirationDate(QDateTime::fromSecsSinceEpoch(expiry, Qt::UTC));
    return cookie;
}

/// The line's fields, without the mark that makes the cookie "http only".
QList<QByteArray> fieldsOf(QByteArray line)
{
    if (line.startsWith(kHttpOnly))
        line.remove(0, qstrlen(kHttpOnly));
    QList<QByteArray> fields = line.split('\t');
    // Editors take away a tab at the end of a line, and with it an empty value.
    if (fields.size() == kFields - 1)
        fields.append(QByteArray());
    return fields;
}

}

std::optional<QList<QNetworkCookie>> NetscapeCookies::parse(const QByteArray &text, const QDateTime &now,
                                                            Clause *reason)
{
    QList<QNetworkCookie> cookies;
    int number = 0;
    for (QByteArray line : text.split('\n')) {
        if (++number == 1 && line.startsWith("\xEF\xBB\xBF"))
            line.remove(0, 3);
        if (line.endsWith('\r'))
            line.chop(1);
        if (isComment(line))
            continue;
        const QList<QByteArray> fields = fieldsOf(line);
        if (const Clause what = problem(fields); !what.isEmpty()) {
            *reason = {Clause::Kind::NoCookieInLine, {QString::number(number)}, what};
            return std::nullopt;
        }
        const QNetworkCookie cookie = cookieOf(fields, line.startsWith(kHttpOnly));
        if (cookie.isSessionCookie() || cookie.expirationDate() > now)
            cookies.append(cookie);
    }
    return cookies;
}
