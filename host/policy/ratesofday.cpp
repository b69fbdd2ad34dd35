// SPDX-License-Identifier: MIT
#include <host/policy/ratesofday.h>

#include <host/parsing/ratetext.h>

#include <QStringList>

#include <algorithm>
#include <utility>

namespace
{

/// False where it is none. There is one usual one.
bool readPart(const QString &part, RatesOfDay &rates, bool &hasUsual)
{
    const std::optional<qint64> rate = RateText::read(part.section(u'@', 0, 0));
    if (!rate)
        return false;
    if (!part.contains(u'@')) {
        rates.usual = *rate;
        return !std::exchange(hasUsual, true);
    }
    const std::optional<TimesOfDay> times = TimesOfDay::fromText(part.section(u'@', 1));
    if (times)
        rates.timed.append({*rate, *times});
    return times && !times->isEmpty();
}

}

std::optional<RatesOfDay> RatesOfDay::fromText(const QString &text)
{
    RatesOfDay rates;
    bool hasUsual = false;
    const QStringList parts = text.split(u',');
    for (const QString &part : parts) {
        if (!readPart(part.trimmed(), rates, hasUsual))
            return std::nullopt;
    }
    return rates;
}

QString RatesOfDay::toText() const
{
    QStringList texts;
    if (usual > 0 || timed.isEmpty())
        texts.append(RateText::write(usual));
    for (const Timed &one : timed)
        texts.append(RateText::write(one.rate) + u'@' + one.times.toText());
    return texts.join(u',');
}

qint64 RatesOfDay::at(const QDateTime &moment) const
{
    const auto now =
        std::find_if(timed.cbegin(), timed.cend(), [&moment](const Timed &one) { return one.times.contains(moment); });
    return now == timed.cend() ? usual : now->rate;
}
