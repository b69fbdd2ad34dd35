// SPDX-License-Identifier: MIT
#include <host/policy/fileassurance.h>

FileAssurance FileAssurance::of(const Evidence &evidence, std::optional<ChecksumResult> checksum)
{
    const ChecksumResult compared = checksum.value_or(evidence.digest);
    const bool isKept = evidence.answers > 0 || evidence.doubt != Evidence::Doubt::None;
    if (compared == ChecksumResult::Equal)
        return {Assurance::Verified, Evidence::Doubt::None};
    if (compared == ChecksumResult::Different || !isKept)
        return {};
    return {evidence.assurance(false), evidence.reason()};
}

QString FileAssurance::key() const
{
    return assurance ? keyOf(*assurance) : QString();
}
