// SPDX-License-Identifier: MIT
#include <host/parsing/securitywords.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto kProxyCertificate = "the certificate of the proxy "_L1;
constexpr auto kNoAgreement = "cannot agree with "_L1;

}

QString SecurityWords::proxyCertificate(const QString &proxy, const QString &reason)
{
    return kProxyCertificate + proxy + u" is not trusted: "_s + reason;
}

QString SecurityWords::noAgreement(const QString &host, const QString &words)
{
    return kNoAgreement
        + u"\"%1\" on an encrypted connection: %2. It may know only versions of TLS before 1.2, which are not safe."_s
              .arg(host, words);
}

SecurityWords::Refusal SecurityWords::refusalIn(const QString &text)
{
    if (text.startsWith(kProxyCertificate))
        return Refusal::ProxyCertificate;
    return text.startsWith(kNoAgreement) ? Refusal::NoAgreement : Refusal::Certificate;
}
