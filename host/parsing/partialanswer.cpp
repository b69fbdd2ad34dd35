// SPDX-License-Identifier: MIT
#include <host/parsing/partialanswer.h>

#include <QByteArrayView>

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace
{

/// Digits alone: toLongLong() would also take signs and blanks.
std::optional<qint64> number(QByteArrayView text)
{
    const bool digitsOnly =
        !text.isEmpty() && std::all_of(text.cbegin(), text.cend(), [](char c) { return c >= '0' && c <= '9'; });
    if (!digitsOnly)
        return {};
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    return ok ? std::optional(value) : std::nullopt;
}

/// What stands behind the unit "bytes" and the separator, trimmed.
std::optional<QByteArrayView> behindUnit(QByteArrayView header, char separator)
{
    constexpr QByteArrayView kUnit = "bytes";
    const QByteArrayView text = header.trimmed();
    if (text.size() <= kUnit.size() || text.first(kUnit.size()).compare(kUnit, Qt::CaseInsensitive) != 0)
        return {};
    const QByteArrayView rest = text.sliced(kUnit.size());
    if (!rest.startsWith(separator))
        return {};
    return rest.sliced(1).trimmed();
}

QString refusalText(const QByteArray &range, const QString &got)
{
    return u"The server answered with another piece than was asked for: \"%1\" was asked for, and it sent %2."_s.arg(
        QString::fromLatin1(range.trimmed()), got);
}

}

std::optional<qint64> PartialAnswer::askedStart(const QByteArray &range)
{
    const std::optional<QByteArrayView> set = behindUnit(range, '=');
    if (!set || set->contains(','))
        return {};
    const qsizetype dash = set->indexOf('-');
    if (dash < 0)
        return {};
    const QByteArrayView end = set->sliced(dash + 1).trimmed();
    if (!end.isEmpty() && !number(end))
        return {};
    return number(set->first(dash).trimmed());
}

std::optional<PartialAnswer::ContentRange> PartialAnswer::parseContentRange(const QByteArray &contentRange)
{
    const std::optional<QByteArrayView> text = behindUnit(contentRange, ' ');
    if (!text)
        return {};
    const qsizetype slash = text->indexOf('/');
    const qsizetype dash = text->indexOf('-');
    if (dash < 0 || slash < dash)
        return {};
    const std::optional<qint64> first = number(text->first(dash));
    const std::optional<qint64> last = number(text->sliced(dash + 1, slash - dash - 1));
    const QByteArrayView totalText = text->sliced(slash + 1);
    const std::optional<qint64> total = totalText == "*" ? std::optional<qint64>(-1) : number(totalText);
    if (!first || !last || !total)
        return {};
    return ContentRange{*first, *last, *total};
}

std::optional<qint64> PartialAnswer::parseUnsatisfiedTotal(const QByteArray &contentRange)
{
    const std::optional<QByteArrayView> text = behindUnit(contentRange, ' ');
    return text && text->startsWith("*/") ? number(text->sliced(2)) : std::nullopt;
}

bool PartialAnswer::contradictsItself(const ContentRange &range)
{
    const bool endsBehindTotal = range.total != -1 && range.last >= range.total;
    return range.last < range.first || endsBehindTotal || range.last == std::numeric_limits<qint64>::max();
}

QString PartialAnswer::refusal(const QByteArray &range, const QByteArray &contentRange)
{
    const std::optional<qint64> start = askedStart(range);
    if (!start)
        return {};
    if (contentRange.isEmpty())
        return refusalText(range, u"no Content-Range"_s);
    const QString got = u'"' + QString::fromLatin1(contentRange) + u'"';
    const std::optional<ContentRange> piece = parseContentRange(contentRange);
    if (!piece)
        return refusalText(range, got + u", which is no byte range"_s);
    if (piece->first != *start)
        return refusalText(range, got);
    return contradictsItself(*piece) ? refusalText(range, got + u", which contradicts itself"_s) : QString();
}
