// SPDX-License-Identifier: MIT
#include <host/options/optionfields.h>

#include <host/parsing/checksum.h>
#include <host/policy/trouble.h>

using namespace Qt::StringLiterals;

namespace
{

void putRates(const QVariant &value, DownloadOptions &options)
{
    const RatesOfDay rates = RatesOfDay::fromText(value.toString()).value_or(RatesOfDay());
    options.rateLimit = rates.usual;
    options.rateTimes = rates.timed;
}

QVariant shownRates(const DownloadOptions &options)
{
    if (options.rateTimes.isEmpty())
        return options.rateLimit == 0 ? QVariant() : QVariant(options.rateLimit);
    return RatesOfDay{options.rateLimit, options.rateTimes}.toText();
}

void putSkipExisting(const QVariant &value, DownloadOptions &options)
{
    options.skipExisting = value.toString() == "skip"_L1;
}

QVariant shownSkipExisting(const DownloadOptions &options)
{
    return options.skipExisting ? QVariant(u"skip"_s) : QVariant();
}

QVariant shownChecksum(const DownloadOptions &options)
{
    return options.checksumAlgorithm.isEmpty() ? QVariant()
                                               : QVariant(options.checksumAlgorithm + u'=' + options.checksumHex);
}

void putChecksum(const QVariant &value, DownloadOptions &options)
{
    if (value.toString() == "auto"_L1) {
        options.checksumSource = value.toString();
        return;
    }
    Clause errorText;
    const std::optional<Checksum> checksum = Checksum::parse(value.toString(), &errorText);
    if (!checksum || checksum->toText() == shownChecksum(options).toString())
        return;
    options.checksumAlgorithm = checksum->algorithmName();
    options.checksumHex = QString::fromLatin1(checksum->expected.toHex());
    options.checksumResult = ChecksumResult::NotCompared;
}

}

int OptionFields::policyNumber(const QVariant &value)
{
    return int(Trouble::policyFromText(value.toString()).value_or(Trouble::Policy::Fail));
}

QVariant OptionFields::policyText(int number)
{
    for (const QString &text : {u"fail"_s, u"restart"_s, u"ask"_s}) {
        if (policyNumber(text) == number)
            return text;
    }
    return {};
}

OptionField OptionFields::rates()
{
    return {&putRates, &shownRates};
}

OptionField OptionFields::skipExisting()
{
    return {&putSkipExisting, &shownSkipExisting};
}

OptionField OptionFields::checksum()
{
    return {&putChecksum, &shownChecksum};
}
