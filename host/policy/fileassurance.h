// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/checksumresult.h>
#include <host/policy/evidence.h>

#include <QString>

#include <optional>

/// How sure a finished file is, and why it is not surer. A value.
struct FileAssurance {
    std::optional<Assurance> assurance; ///< nothing = nobody kept it, or it is not the file that was meant
    Evidence::Doubt doubt = Evidence::Doubt::None; ///< of what is unproven

    /// Of a file that is finished. @param checksum how it compares with the one that a person gave, which counts more
    /// than the server's own; nothing = nobody gave one
    static FileAssurance of(const Evidence &evidence, std::optional<ChecksumResult> checksum);

    /// One word, see keyOf(Assurance); empty = there is nothing to say.
    QString key() const;

    friend bool operator==(const FileAssurance &, const FileAssurance &) = default;
};
