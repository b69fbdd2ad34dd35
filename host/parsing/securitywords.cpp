// SPDX-License-Identifier: MIT
#include <host/parsing/securitywords.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto kProxyCertificate = "the certificate of the proxy "_L1;
constexpr auto kNoAgreement = "cannot agree with "_L1;
constexpr auto kNoTls = "\" answers, but not in TLS"_L1;
constexpr auto kExpired = "it expired on "_L1;
constexpr auto kNotYetValid = "it is not yet valid, but from "_L1;
constexpr auto kOfOthers = "it is for "_L1;

/// A certificate may have hundreds.
constexpr qsizetype kMostNames = 3;

/// What OpenSSL says where the first bytes that come are none of TLS.
bool isOfNoTls(const QString &words)
{
    return words.contains("wrong version number"_L1) || words.contains("packet length too long"_L1)
        || words.contains("record layer failure"_L1);
}

QString dayOf(const QDateTime &when)
{
    return when.toUTC().date().toString(Qt::ISODate);
}

bool isOfTime(const QString &clause)
{
    return clause.startsWith(kExpired) || clause.startsWith(kNotYetValid);
}

}

QString SecurityWords::proxyCertificate(const QString &proxy, const QString &reason)
{
    return kProxyCertificate + proxy + u" is not trusted: "_s + reason;
}

QString SecurityWords::noAgreement(const QString &host, const QString &words)
{
    if (isOfNoTls(words))
        return u'"' + host + kNoTls;
    return kNoAgreement + u"\"%1\" on an encrypted connection: %2"_s.arg(host, words);
}

QString SecurityWords::expired(const QDateTime &when)
{
    return kExpired + dayOf(when);
}

QString SecurityWords::notYetValid(const QDateTime &when)
{
    return kNotYetValid + dayOf(when) + u" on"_s;
}

QString SecurityWords::ofOthers(const QStringList &names)
{
    QStringList quoted;
    for (const QString &name : names.first(std::min(kMostNames, names.size())))
        quoted.append(u'"' + name + u'"');
    return kOfOthers + (quoted.isEmpty() ? u"another host"_s : quoted.join(u", "_s));
}

QString SecurityWords::selfSigned()
{
    return u"it is self-signed, and no authority stands for it"_s;
}

QString SecurityWords::ofUnknownAuthority()
{
    return u"nobody here knows the authority that signed it"_s;
}

SecurityWords::Refusal SecurityWords::refusalIn(const QString &text)
{
    if (text.startsWith(kProxyCertificate))
        return Refusal::ProxyCertificate;
    if (text.endsWith(kNoTls))
        return Refusal::NoTls;
    return text.startsWith(kNoAgreement) ? Refusal::NoAgreement : Refusal::Certificate;
}

SecurityWords::Flaw SecurityWords::flawIn(const QString &text)
{
    const QStringList clauses = text.split(u"; "_s);
    const auto isHosts = [](const QString &clause) { return clause.startsWith(kOfOthers); };
    const auto isEither = [&](const QString &clause) { return isHosts(clause) || isOfTime(clause); };
    if (!std::all_of(clauses.cbegin(), clauses.cend(), isEither))
        return Flaw::Authority;
    return std::any_of(clauses.cbegin(), clauses.cend(), isHosts) ? Flaw::Host : Flaw::Time;
}
