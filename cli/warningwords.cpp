// SPDX-License-Identifier: MIT
#include <cli/warningwords.h>

#include <cli/failurenames.h>
#include <cli/failurewords.h>
#include <cli/headersnote.h>
#include <cli/roomwords.h>

#include <QLocale>

using namespace Qt::StringLiterals;

namespace
{

using Kind = Failure::Kind;

constexpr qint64 kSecondMs = 1000;
constexpr qint64 kDayMs = 24 * 60 * 60 * kSecondMs;

/// Those kinds have no other number.
bool isOfHttp(const Failure &failure)
{
    return failure.number != 0
        && (failure.kind == Kind::NotFound || failure.kind == Kind::BadAnswer || failure.kind == Kind::ServerOverloaded
            || failure.kind == Kind::LoginRequired || failure.kind == Kind::ProxyLoginRequired);
}

QString spoken(const QString &clause)
{
    return clause.isEmpty() ? u"it failed without a reason"_s : clause;
}

QString whatComes(Warning::Next next)
{
    switch (next) {
    case Warning::Next::Again:
        return u"trying again"_s;
    case Warning::Next::OtherAddress:
        return u"trying another address"_s;
    case Warning::Next::FromTheBeginning:
        return u"fetching it from the beginning"_s;
    }
    return {};
}

/// As the end of a sentence; empty = at once.
QString inTime(qint64 ms)
{
    return ms < kSecondMs ? QString() : u" in %1 s"_s.arg((ms + kSecondMs / 2) / kSecondMs);
}

/// With the day where that might be another one.
QString clockOf(const QDateTime &moment, qint64 inMs)
{
    const QDateTime local = moment.toLocalTime();
    if (inMs < kDayMs)
        return local.toString(u"HH:mm"_s) + (local.addMSecs(-inMs).date() == local.date() ? u""_s : u" tomorrow"_s);
    return QLocale::c().toString(local, u"HH:mm 'on' dddd"_s);
}

}

QString WarningWords::sentence(qint64 id, const Warning &warning)
{
    switch (warning.kind) {
    case Warning::Kind::Failure:
        return FailureWords::sentence(warning.failure);
    case Warning::Kind::Retrying:
        return u"%1: %2; %3%4"_s.arg(warning.failure.subject.url.toDisplayString(),
                                     spoken(WarningWords::clause(warning.failure)), whatComes(warning.next),
                                     inTime(warning.inMs));
    case Warning::Kind::HeadersMissing:
        return HeadersNote::missing(id, warning.headers);
    case Warning::Kind::OutOfHours:
        return u"it is not the hour that --schedule names: downloads wait until %1"_s.arg(
            clockOf(warning.until, warning.inMs));
    }
    return {};
}

/// A line about an attempt has no room for what to do.
QString WarningWords::clause(const Failure &failure)
{
    if (failure.kind == Kind::ResourceChanged)
        return u"another file"_s;
    if (failure.kind == Kind::CannotResume)
        return u"does not send the rest of a file alone"_s;
    if (isOfHttp(failure))
        return u"HTTP status %1"_s.arg(failure.number);
    if (failure.kind == Kind::LoginRequired && FailureNames::cause(failure).isEmpty())
        return u"it asks for a name and a password"_s;
    if (failure.kind == Kind::TimedOut && FailureNames::cause(failure).isEmpty())
        return u"it sent nothing for too long"_s;
    if (failure.kind == Kind::OwnedByOther)
        return u"process %1, which cannot be seen from here, is at work on it, or has died"_s.arg(failure.number);
    if (failure.kind == Kind::NoRoom)
        return RoomWords::reason(failure);
    return FailureNames::cause(failure);
}
