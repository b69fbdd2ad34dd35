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
    options.give(values);
    for (const SecretHeader &header : secretHeaders)
        putHeader(options.headers, header);
    if (storeSecrets && (!user.isEmpty() || !secretHeaders.isEmpty()))
        options.storeSecrets = true;
    if (storeSecrets && !user.isEmpty()) {
        options.user = user;
        options.password = password;
    }
}
