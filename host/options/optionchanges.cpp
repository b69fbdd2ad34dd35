// SPDX-License-Identifier: MIT
#include <host/options/optionchanges.h>

#include <algorithm>

namespace
{

void putHeader(QList<SecretHeader> &headers, const SecretHeader &header)
{
    const auto found = std::find_if(headers.begin(), headers.end(),
                                    [&header](const SecretHeader &other) { return other.isSameAs(header); });
    if (found == headers.end())
        headers.append(header);
    else
        *found = header;
}

}

void OptionChanges::applyTo(DownloadOptions &options) const
{
    options.rateLimit = rateLimit.value_or(options.rateLimit);
    options.connections = connections.value_or(options.connections);
    options.connectionsPerServer = connectionsPerServer.value_or(options.connectionsPerServer);
    options.onChanged = onChanged.value_or(options.onChanged);
    options.onUnresumable = onUnresumable.value_or(options.onUnresumable);
    options.skipExisting = skipExisting.value_or(options.skipExisting);
    options.insecure = options.insecure || insecure;
    if (!checksumAlgorithm.isEmpty()
        && (checksumAlgorithm != options.checksumAlgorithm || checksumHex != options.checksumHex)) {
        options.checksumResult = ChecksumResult::NotCompared;
        options.checksumAlgorithm = checksumAlgorithm;
        options.checksumHex = checksumHex;
    }
    for (const SecretHeader &header : secretHeaders)
        putHeader(options.headers, header);
    if (storeSecrets && (!user.isEmpty() || !secretHeaders.isEmpty()))
        options.storeSecrets = true;
    if (storeSecrets && !user.isEmpty()) {
        options.user = user;
        options.password = password;
    }
}
