// SPDX-License-Identifier: MIT
#include <host/policy/origin.h>

#include <inet/qt/download/records/connectionsmap.h>

#include <QHash>

using namespace Qt::StringLiterals;

Origin Origin::of(const QUrl &url)
{
    const QtHostAndPort server = hostAndPortFromUrl(url);
    return {url.scheme().toLower(), server.host.toLower(), server.port};
}

QString Origin::toString() const
{
    const bool isIpv6 = host.contains(u':');
    return scheme + "://"_L1 + (isIpv6 ? u'[' + host + u']' : host) + u':' + QString::number(port);
}

size_t qHash(const Origin &origin, size_t seed) noexcept
{
    return qHashMulti(seed, origin.scheme, origin.host, origin.port);
}
