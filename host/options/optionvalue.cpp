// SPDX-License-Identifier: MIT
#include <host/options/optionvalue.h>

#include <host/parsing/checksum.h>
#include <host/policy/harmlessheaders.h>
#include <host/policy/proxychoice.h>
#include <host/policy/ratesofday.h>
#include <host/policy/redaction.h>

#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>

#include <algorithm>
#include <cmath>
#include <limits>

#include <arpa/inet.h>

using namespace Qt::StringLiterals;

namespace
{

using Row = OptionRow;
using Type = Row::Type;
using Read = std::optional<QVariant>;

constexpr double kMsOfSecond = 1000;

Read flagOf(const QString &text)
{
    const QString word = text.toLower();
    for (const QLatin1StringView yes : {"true"_L1, "yes"_L1, "on"_L1, "1"_L1}) {
        if (word == yes)
            return true;
    }
    for (const QLatin1StringView no : {"false"_L1, "no"_L1, "off"_L1, "0"_L1}) {
        if (word == no)
            return false;
    }
    return std::nullopt;
}

Read numberOf(const Row &row, const QString &text)
{
    // What others call tries without an end is none here.
    const bool isEndless = qstrcmp(row.name, "tries") == 0 && (text == "inf"_L1 || text == "infinity"_L1);
    bool isNumber = false;
    const qint64 number = (isEndless ? u"0"_s : text).toLongLong(&isNumber);
    return isNumber && number >= row.least && number <= row.most ? Read(number) : std::nullopt;
}

/// Where it is the same at all hours, a number.
Read rateOf(const QString &text)
{
    const std::optional<RatesOfDay> rates = RatesOfDay::fromText(text);
    if (!rates)
        return std::nullopt;
    return rates->timed.isEmpty() ? Read(rates->usual) : Read(rates->toText());
}

Read timesOf(const QString &text)
{
    const std::optional<TimesOfDay> times = TimesOfDay::fromText(text);
    return times ? Read(times->toText()) : std::nullopt;
}

Read secondsOf(const Row &row, const QString &text)
{
    bool isNumber = false;
    const double seconds = (text.endsWith(u's') ? text.chopped(1) : text).toDouble(&isNumber);
    return isNumber && seconds >= 0 && seconds <= double(row.most) ? Read(qint64(seconds * kMsOfSecond)) : std::nullopt;
}

QStringList choicesOf(const Row &row)
{
    return QString::fromLatin1(row.choices).split(u' ');
}

Read valueOf(const Row &row, const QString &text)
{
    switch (row.type) {
    case Type::Flag:
        return flagOf(text);
    case Type::Number:
        return numberOf(row, text);
    case Type::Rate:
        return rateOf(text);
    case Type::Times:
        return timesOf(text);
    case Type::Seconds:
        return secondsOf(row, text);
    case Type::Choice:
        return choicesOf(row).contains(text) ? Read(text) : std::nullopt;
    default:
        return text;
    }
}

/// What a text that is no value should be.
Clause expectation(const Row &row, QStringList values)
{
    switch (row.type) {
    case Type::Flag:
        return {Clause::Kind::NoTruth, values};
    case Type::Number:
        if (row.most == std::numeric_limits<int>::max())
            return {Clause::Kind::NoNumberFrom, values << QString::number(row.least)};
        return {Clause::Kind::NoNumberBetween, values << QString::number(row.least) << QString::number(row.most)};
    case Type::Rate:
        return {Clause::Kind::NoRate, values};
    case Type::Times:
        return {Clause::Kind::NoHours, values};
    case Type::Seconds:
        return {Clause::Kind::NoSeconds, values << QString::number(row.most)};
    default:
        return {Clause::Kind::NoChoice, values << choicesOf(row).join(", "_L1)};
    }
}

Clause told(const QString &subject, const QString &text, Clause::Kind what, const Clause &of = {})
{
    return {what, {subject, Redaction::typed(text).simplified()}, of};
}

/// Whether the colons are all those of hours, as in "500K@25:00-26:00", and there is no login in it.
bool hasHoursAlone(QString text)
{
    static const QRegularExpression hour(u"(?<!\\w)\\d{1,2}:\\d{2}(?!\\w)"_s);
    return !text.remove(hour).contains(u':');
}

/// What people see of a value that is none: a login may stand anywhere, but hours are none.
Clause toldOf(const Row &row, const QString &text, const QString &subject)
{
    const bool isOfHours = (row.type == Type::Rate || row.type == Type::Times) && hasHoursAlone(text);
    const QString shown = isOfHours ? text : Redaction::typed(text);
    return expectation(row, {subject, shown.simplified()});
}

/// It would begin a header that nobody sees on the command line.
Clause lineBreakProblem(const QString &text, const QString &subject, const QString &shown)
{
    return text.contains(u'\n') || text.contains(u'\r') ? Clause(Clause::Kind::LineBreak, {subject, shown.simplified()})
                                                        : Clause();
}

Clause headerProblem(const Row &row, const QString &text, const QString &subject)
{
    const QString name = text.left(text.indexOf(u':'));
    const bool isName = name.size() < text.size() && !name.isEmpty() && name.trimmed() == name && !name.contains(u' ');
    if (!isName)
        return {Clause::Kind::NoHeader, {subject}};
    const auto refusal = HarmlessHeaders::refusal(name, row.type == Type::HeaderForAll);
    return refusal ? Clause(*refusal, {subject, name}) : lineBreakProblem(text, subject, u"…"_s);
}

Clause checksumProblem(const QString &text, const QString &subject)
{
    Clause problem;
    return text == "auto"_L1 || Checksum::parse(text, &problem) ? Clause()
                                                                : Clause(Clause::Kind::ValueOf, {subject}, problem);
}

Clause proxyProblem(const QString &text, const QString &subject)
{
    Clause problem;
    ProxyChoice::checkedProxy(text, &problem);
    return problem.isEmpty() ? problem : told(subject, text, Clause::Kind::NoProxy, problem);
}

bool isIpAddress(const QString &text)
{
    const QByteArray address = text.toLatin1();
    in6_addr binary;
    return inet_pton(AF_INET, address.constData(), &binary) == 1
        || inet_pton(AF_INET6, address.constData(), &binary) == 1;
}

/// An IPv6 address has colons, too, with brackets or without.
Clause hostAddressProblem(const QString &text, const QString &subject)
{
    const QStringList addresses = text.section(u':', 2).remove(u'[').remove(u']').split(u',');
    const bool areAddresses = std::all_of(addresses.cbegin(), addresses.cend(), isIpAddress);
    const bool isWhole = areAddresses && !text.section(u':', 0, 0).isEmpty() && text.section(u':', 1, 1).toUShort() > 0;
    return isWhole ? Clause() : told(subject, text, Clause::Kind::NoHostAddress);
}

Clause fileProblem(const QString &text, const QString &subject)
{
    return QFileInfo::exists(text) ? Clause() : told(subject, text, Clause::Kind::NoFileThere);
}

/// Why a text that may be a value is none; empty = it is one.
Clause problemOf(const Row &row, const QString &text, const QString &subject)
{
    switch (row.type) {
    case Type::Line:
        return lineBreakProblem(text, subject, Redaction::typed(text));
    case Type::Header:
    case Type::HeaderForAll:
        return headerProblem(row, text, subject);
    case Type::Url:
        return OptionValue::urlProblem(text);
    case Type::Proxy:
        return text.isEmpty() ? Clause() : proxyProblem(text, subject);
    case Type::Checksum:
        return text.isEmpty() ? Clause() : checksumProblem(text, subject);
    case Type::HostAddress:
        return hostAddressProblem(text, subject);
    case Type::ExistingFile:
        return fileProblem(text, subject);
    default:
        return {};
    }
}

QString textOf(const QJsonValue &json)
{
    const double number = json.toDouble();
    return json.isDouble() && number == std::floor(number) ? QString::number(number, 'f', 0)
                                                           : json.toVariant().toString();
}

}

std::optional<QVariant> OptionValue::fromText(const OptionRow &row, const QString &text, const QString &subject,
                                              Clause *problem)
{
    const Read value = valueOf(row, text);
    *problem = value ? problemOf(row, text, subject) : toldOf(row, text, subject);
    return problem->isEmpty() ? value : std::nullopt;
}

QString OptionValue::toText(const OptionRow &row, const QVariant &value)
{
    switch (row.type) {
    case Type::Flag:
        return value.toBool() ? u"true"_s : u"false"_s;
    case Type::Rate:
        return RatesOfDay::fromText(value.toString()).value_or(RatesOfDay()).toText();
    case Type::Seconds:
        return QString::number(double(value.toLongLong()) / kMsOfSecond);
    default:
        return value.toString();
    }
}

std::optional<QVariant> OptionValue::fromJson(const OptionRow &row, const QJsonValue &json, Clause *problem)
{
    const QString subject = u"\"%1\""_s.arg(QLatin1String(row.name));
    *problem = {Clause::Kind::NoJsonValue, {QLatin1String(row.name)}};
    if (json.isBool() || json.isDouble() || json.isString())
        return fromText(row, textOf(json), subject, problem);
    return std::nullopt;
}

QJsonValue OptionValue::toJson(const OptionRow &row, const QVariant &value)
{
    if (row.type == Type::Seconds)
        return double(value.toLongLong()) / kMsOfSecond;
    return QJsonValue::fromVariant(value);
}

QVariant OptionValue::fallback(const OptionRow &row)
{
    return valueOf(row, QString::fromLatin1(row.fallback))
        .value_or(row.type == Type::Flag ? QVariant(false) : QVariant());
}

Clause OptionValue::urlProblem(const QString &text)
{
    const QUrl url(text, QUrl::TolerantMode);
    const bool isWhole =
        url.isValid() && !url.scheme().isEmpty() && (!url.host().isEmpty() || url.scheme() == "file"_L1);
    return isWhole ? Clause() : Clause(Clause::Kind::NoUrl, {Redaction::typed(text)});
}
