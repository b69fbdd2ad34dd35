// SPDX-License-Identifier: MIT
#include <host/policy/proxychoice.h>

#include <host/policy/origin.h>
#include <host/policy/redaction.h>
#include <host/policy/schemes.h>

#include <QHostAddress>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto kName = "the proxy \""_L1;

QString kindOf(const QString &scheme)
{
    if (scheme == Schemes::kHttp || scheme == Schemes::kHttps)
        return scheme;
    // "socks" is what desktops write into all_proxy.
    if (scheme == "socks5"_L1 || scheme == "socks5h"_L1 || scheme == "socks"_L1)
        return u"socks5"_s;
    return {};
}

/// Whether the address lies in the network "address/bits".
bool isInNetwork(const QHostAddress &address, const QString &network)
{
    const QPair<QHostAddress, int> subnet = QHostAddress::parseSubnet(network);
    return subnet.second >= 0 && !subnet.first.isNull() && address.isInSubnet(subnet);
}

QString bare(QString host)
{
    if (host.startsWith(u'[') && host.endsWith(u']'))
        host = host.mid(1, host.size() - 2);
    return host;
}

struct Exception {
    QString host;
    int port = -1; ///< -1 = all
};

Exception parsedException(const QString &text)
{
    static const QRegularExpression withPort(u"^(\\[[^\\]]*\\]|[^:]*):(\\d+)$"_s);
    const QRegularExpressionMatch match = withPort.match(text);
    if (!match.hasMatch())
        return {bare(text), -1};
    return {bare(match.captured(1)), match.captured(2).toInt()};
}

bool isHostIn(const QString &host, QString domain)
{
    if (domain.startsWith("*."_L1))
        domain.remove(0, 1);
    while (domain.startsWith(u'.'))
        domain.remove(0, 1);
    if (domain.endsWith(u'.'))
        domain.chop(1);
    return !domain.isEmpty()
        && (host.compare(domain, Qt::CaseInsensitive) == 0 || host.endsWith(u'.' + domain, Qt::CaseInsensitive));
}

bool isExcepted(const Origin &origin, const QString &text)
{
    const QString entry = text.trimmed();
    if (entry == "*"_L1)
        return true;
    QString host = bare(origin.host);
    if (host.endsWith(u'.'))
        host.chop(1);
    const QHostAddress address(host);
    if (!address.isNull() && entry.contains(u'/'))
        return isInNetwork(address, bare(entry));
    const Exception exception = parsedException(entry);
    if (exception.port >= 0 && exception.port != origin.port)
        return false;
    // An address has no domain above it: 10.0.0.1 is not below "0.0.1".
    if (!address.isNull())
        return address == QHostAddress(exception.host);
    return isHostIn(host, exception.host);
}

bool isExcepted(const QUrl &url, const QStringList &exceptions)
{
    const Origin origin = Origin::of(url);
    return std::any_of(exceptions.cbegin(), exceptions.cend(),
                       [&origin](const QString &entry) { return isExcepted(origin, entry); });
}

/// Reads the first of the variables that is there; an empty one is there, too, and says that there is no proxy.
bool readVariable(const QProcessEnvironment &environment, const QStringList &names, QUrl *proxy, Failure *failure)
{
    const auto name = std::find_if(names.cbegin(), names.cend(),
                                   [&environment](const QString &each) { return environment.contains(each); });
    if (name == names.cend())
        return true;
    const QString text = environment.value(*name).trimmed();
    if (text.isEmpty())
        return true;
    Clause reason;
    *proxy = ProxyChoice::checkedProxy(text, &reason);
    if (proxy->isEmpty())
        *failure = ProxyChoice::unusable(text, {Clause::Kind::OfVariable, {*name}, reason});
    return !proxy->isEmpty();
}

}

Failure ProxyChoice::unusable(const QString &text, const Clause &reason)
{
    Failure::Subject subject;
    subject.title = Redaction::typed(text);
    return Failure::make(Failure::Kind::ProxyUnusable, subject, reason);
}

QUrl ProxyChoice::checkedProxy(const QString &text, Clause *reason)
{
    *reason = {};
    const bool hasScheme = text.contains("://"_L1);
    QUrl proxy(hasScheme ? text : "http://"_L1 + text, QUrl::TolerantMode);
    if (!proxy.isValid() || proxy.host().isEmpty())
        *reason = Clause::Kind::NamesNoHost;
    const QString kind = kindOf(proxy.scheme());
    if (reason->isEmpty() && kind.isEmpty())
        *reason = {Clause::Kind::NoKindOfProxy, {proxy.scheme()}};
    if (!reason->isEmpty())
        return {};
    proxy.setScheme(kind);
    proxy.setPort(proxy.port(kDefaultPort));
    proxy.setPath(QString());
    proxy.setQuery(QString());
    proxy.setFragment(QString());
    return proxy;
}

bool ProxyChoice::fromEnvironment(const QProcessEnvironment &environment, Settings *settings, Failure *failure)
{
    const bool usable = readVariable(environment, {u"http_proxy"_s}, &settings->http, failure)
        && readVariable(environment, {u"https_proxy"_s, u"HTTPS_PROXY"_s}, &settings->https, failure)
        && readVariable(environment, {u"ftp_proxy"_s, u"FTP_PROXY"_s}, &settings->ftp, failure)
        && readVariable(environment, {u"all_proxy"_s, u"ALL_PROXY"_s}, &settings->otherwise, failure);
    static const QRegularExpression separators(u"[,\\s]+"_s);
    const QString lower = u"no_proxy"_s;
    const QString exceptions = environment.value(environment.contains(lower) ? lower : u"NO_PROXY"_s);
    settings->exceptions = exceptions.split(separators, Qt::SkipEmptyParts);
    return usable;
}

QString ProxyChoice::nameOf(const QUrl &proxy)
{
    return kName + u"%1\""_s.arg(proxy.authority(QUrl::FullyEncoded | QUrl::RemoveUserInfo));
}

bool ProxyChoice::isNamedIn(const QString &text)
{
    return text.contains(kName);
}

QUrl ProxyChoice::forUrl(const QUrl &url, const Settings &settings)
{
    if (isExcepted(url, settings.exceptions))
        return {};
    if (!settings.everywhere.isEmpty())
        return settings.everywhere;
    const QUrl own = Schemes::isPlainHttp(url) ? settings.http
        : Schemes::isHttps(url)                ? settings.https
        : Schemes::isFtp(url)                  ? settings.ftp
                                               : QUrl();
    return own.isEmpty() ? settings.otherwise : own;
}
