// SPDX-License-Identifier: MIT
#include <host/parsing/ratetext.h>

#include <QRegularExpression>
#include <QStringView>

#include <cmath>
#include <limits>

namespace
{

constexpr double kMost = double(std::numeric_limits<qint32>::max()) * 1024;
constexpr double kUnit = 1024;
constexpr QStringView kUnits = u"KMG";

/// "MB" and "MiB" are as good as "M".
QString withoutBytes(const QString &text)
{
    static const QRegularExpression bytes(QStringLiteral("([KMG])i?B$"), QRegularExpression::CaseInsensitiveOption);
    return QString(text).replace(bytes, QStringLiteral("\\1"));
}

}

std::optional<qint64> RateText::read(const QString &typed)
{
    QString text = withoutBytes(typed.trimmed());
    if (text.isEmpty())
        return 0;
    const qsizetype unit = kUnits.indexOf(text.back().toUpper());
    text.chop(unit >= 0 ? 1 : 0);
    bool isNumber = false;
    const double rate = text.toDouble(&isNumber) * std::pow(kUnit, double(unit + 1));
    return isNumber && rate >= 0 && rate <= kMost ? std::optional(qint64(rate)) : std::nullopt;
}

QString RateText::write(qint64 rate)
{
    for (qsizetype unit = kUnits.size() - 1; unit >= 0; --unit) {
        const qint64 factor = qint64(1) << (10 * (unit + 1));
        if (rate > 0 && rate % factor == 0)
            return QString::number(rate / factor) + kUnits.at(unit);
    }
    return QString::number(rate);
}
