// SPDX-License-Identifier: MIT
#include <host/policy/resourcememory.h>

#include <host/parsing/resourcedigest.h>

std::optional<Checksum> ResourceMemory::digest() const
{
    std::optional<Checksum> found;
    for (const KnownAddress &known : addresses) {
        const std::optional<Checksum> digest = ResourceDigest::parse(known.identity.digest);
        const bool isFirstParts = known.url == evidence.address;
        if (digest && (!found || isFirstParts))
            found = digest;
    }
    return found;
}
