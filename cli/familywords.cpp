// SPDX-License-Identifier: MIT
#include <cli/familywords.h>

#include <host/policy/proxychoice.h>

#include <QProcessEnvironment>

#include <arpa/inet.h>

using namespace Qt::StringLiterals;

namespace
{

/// Whether one goes to the address itself, as far as settings tell.
bool isDirect(const QUrl &url, const OptionValues &values)
{
    ProxyChoice::Settings proxies;
    Failure failure;
    return values.text("proxy"_L1).isEmpty()
        && ProxyChoice::fromEnvironment(QProcessEnvironment::systemEnvironment(), &proxies, &failure)
        && ProxyChoice::forUrl(url, proxies).isEmpty();
}

bool isAddressOf(int family, const QString &host)
{
    in6_addr binary;
    return inet_pton(family, host.toLatin1().constData(), &binary) == 1;
}

}

QString FamilyWords::problemOf(const QUrl &url, const OptionValues &values, Role role)
{
    const QString host = url.host();
    const bool isLong = values.flag("ipv4"_L1) && isAddressOf(AF_INET6, host);
    const bool isShort = values.flag("ipv6"_L1) && !values.flag("ipv4"_L1) && isAddressOf(AF_INET, host);
    if ((!isLong && !isShort) || !isDirect(url, values))
        return {};
    const QString what = isLong ? u"--ipv4 never reaches \"[%1]\", which is an IPv6 address. "_s.arg(host)
                                : u"--ipv6 never reaches \"%1\", which is an IPv4 address. "_s.arg(host);
    return what + (role == Role::Only ? u"Leave the option out."_s : u"Leave the option out, or this address."_s);
}
