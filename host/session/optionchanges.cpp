// SPDX-License-Identifier: MIT
#include <host/session/optionchanges.h>

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
    if (storeSecrets && !user.isEmpty()) {
        options.storeSecrets = true;
        options.user = user;
        options.password = password;
    }
}
