// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/downloadoptions.h>
#include <host/options/optionrow.h>

/// How values of options get into a download's options, and out of them: the last column of the table.
namespace OptionFields
{

/// 0 = nothing is said.
template<auto Member>
constexpr OptionField number()
{
    return {[](const QVariant &value, DownloadOptions &options) { options.*Member = value.toLongLong(); },
            [](const DownloadOptions &options) {
                return options.*Member == 0 ? QVariant() : QVariant(qint64(options.*Member));
            }};
}

/// Once on, it stays on.
template<auto Member>
constexpr OptionField lasting()
{
    return {
        [](const QVariant &value, DownloadOptions &options) { options.*Member = options.*Member || value.toBool(); },
        [](const DownloadOptions &options) { return options.*Member ? QVariant(true) : QVariant(); }};
}

int policyNumber(const QVariant &value);
QVariant policyText(int number);

/// Of what to do when a download cannot go on (Trouble::Policy).
template<auto Member>
constexpr OptionField policy()
{
    return {[](const QVariant &value, DownloadOptions &options) { options.*Member = policyNumber(value); },
            [](const DownloadOptions &options) { return policyText(options.*Member); }, true};
}

/// Of how fast it may be, at which hours.
OptionField rates();
/// Of what to do with a file that is in the way: the part of it that is not in the download's record.
OptionField skipExisting();
/// Empty = nothing is said.
template<auto Member>
constexpr OptionField text()
{
    return {[](const QVariant &value, DownloadOptions &options) { options.*Member = value.toString(); },
            [](const DownloadOptions &options) {
                return (options.*Member).isEmpty() ? QVariant() : QVariant(options.*Member);
            }};
}

/// Another one than before is yet to be compared.
OptionField checksum();

}
