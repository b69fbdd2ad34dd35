// SPDX-License-Identifier: MIT
#include <cli/networkwords.h>

#include <cli/failurenames.h>
#include <cli/schemewords.h>
#include <host/policy/schemes.h>

using namespace Qt::StringLiterals;
using namespace FailureNames;

namespace
{

using Kind = Failure::Kind;
using Remedy = Failure::Remedy;

constexpr int kForbidden = 403;
constexpr int kGone = 410;
constexpr int kTooManyRequests = 429;
constexpr int kFirstServerError = 500;

/// " (HTTP status 404)", or nothing.
QString inBrackets(const Failure &failure)
{
    return failure.number != 0 ? u" (HTTP status %1)"_s.arg(failure.number) : QString();
}

QString cannotDownload(const QString &what, const QString &why)
{
    return u"cannot download %1: %2"_s.arg(what, why);
}

bool isFtpFolder(const Failure &failure)
{
    const QUrl &url = failure.subject.url;
    return Schemes::isFtp(url) && (url.path().isEmpty() || url.path().endsWith(u'/'));
}

/// " If that port speaks https, write ...", or nothing.
QString otherScheme(const Failure &failure)
{
    if (!failure.remedies.contains(Remedy::OtherScheme))
        return {};
    QUrl other = failure.subject.url;
    other.setScheme(Schemes::isHttps(other) ? u"http"_s : u"https"_s);
    return u" If that port speaks %1, write \"%2\"."_s.arg(other.scheme(), other.toDisplayString());
}

QString timedOut(const Failure &failure)
{
    return cannotDownload(
        quotedTitle(failure),
        u"the server %1 sent nothing for too long; %2."_s.arg(quotedServer(failure), sameCommand(failure)));
}

QString nothingCame(const Failure &failure)
{
    return cannotDownload(
        quoted(failure.subject.title),
        u"nothing more came from the server. To try again, run %1."_s.arg(command("resume"_L1, failure)));
}

QString notFound(const Failure &failure)
{
    if (failure.number == kGone)
        return cannotDownload(
            quotedUrl(failure),
            u"the server has it no longer, for good%1. Look for another address."_s.arg(inBrackets(failure)));
    const QString orFolder = Schemes::isFtp(failure.subject.url) ? u", or it is a folder"_s : QString();
    return cannotDownload(quotedUrl(failure),
                          u"the server has no such file%1%2. Check the address."_s.arg(inBrackets(failure), orFolder));
}

QString networkFailed(const Failure &failure)
{
    return u"cannot download %1 from %2: %3. Check the address and the network, and %4.%5"_s.arg(
        quotedTitle(failure), quotedServer(failure), reason(failure, u"the network failed"_s), sameCommand(failure),
        otherScheme(failure));
}

QString hostNotFound(const Failure &failure)
{
    return u"cannot find the host %1: it has no address, or no name server can be reached. Check the address and the "
           u"network."_s.arg(quotedHost(failure));
}

QString proxyFailed(const Failure &failure)
{
    return cannotDownload(
        quotedUrl(failure),
        u"%1. Correct it in --proxy, or in the environment; no_proxy='*' goes without one."_s.arg(cause(failure)));
}

/// What may help with an answer that has a status and no file.
QString adviceFor(const Failure &failure)
{
    if (failure.number == kForbidden)
        return u"If it is for members, show who you are with --user NAME:PASSWORD, or with a browser's cookies "
               u"(--load-cookies FILE); some servers ask for a --referer."_s;
    return failure.number >= kFirstServerError
        ? u"That is trouble of its own: run the same command again later, or try another server."_s
        : u"Check the address."_s + otherScheme(failure);
}

/// @param status of an answer without the file
QString whatCame(int status)
{
    switch (status) {
    case 301:
    case 302:
    case 303:
    case 307:
    case 308:
        return u"the server sends on to another address, and does not say to which"_s;
    case kForbidden:
        return u"the server refuses to hand it out"_s;
    default:
        return u"the server does not send it"_s;
    }
}

QString badAnswer(const Failure &failure)
{
    if (isFtpFolder(failure))
        return cannotDownload(quotedUrl(failure),
                              u"it is a folder, and plait fetches files. Write the address of one that is in it."_s);
    if (failure.number != 0) {
        return cannotDownload(quotedUrl(failure),
                              whatCame(failure.number) + inBrackets(failure) + u". "_s + adviceFor(failure));
    }
    if (failure.remedies.contains(Remedy::CheckAddress))
        return cannotDownload(quotedUrl(failure),
                              cause(failure) + u". Open the address in a browser to see where it leads."_s);
    return cannotDownload(
        quotedUrl(failure),
        u"%1. Try again later, or from another server."_s.arg(reason(failure, u"the server's answer makes no sense"_s))
            + otherScheme(failure));
}

QString tooManyRedirects(const Failure &failure)
{
    return cannotDownload(
        quotedUrl(failure),
        u"the server sends from one address to the next without end. Open the address in a browser to "
        u"see where it leads."_s);
}

QString serverOverloaded(const Failure &failure)
{
    // Of an answer, that is what it asked for.
    const bool isAsked = failure.number != 0 && !cause(failure).isEmpty();
    const QString asked = inBrackets(failure) + (isAsked ? u"; "_s + cause(failure) : QString());
    const QString howLong = isAsked ? u"that long"_s : u"a while"_s;
    if (failure.number == kTooManyRequests)
        return cannotDownload(quotedTitle(failure),
                              u"the server %1 has had too many requests from here%2. Wait %3 and %4; -x 1 asks it less "
                              u"often."_s.arg(quotedHost(failure), asked, howLong, sameCommand(failure)));
    return cannotDownload(quotedTitle(failure),
                          u"the server %1 has too much to do%2. Wait %3 and %4."_s.arg(quotedHost(failure), asked,
                                                                                       howLong, sameCommand(failure)));
}

bool isProxys(Kind kind)
{
    return kind == Kind::ProxyLoginRequired || kind == Kind::ProxyLoginRefused;
}

QString loginAdvice(const Failure &failure)
{
    if (failure.remedies.contains(Remedy::GiveHeader))
        return u"What it wants to see can only be given as a --header."_s;
    if (failure.kind == Kind::ProxyLoginRefused)
        return u"Correct them in its address (--proxy), as NAME:PASSWORD@ before the host."_s;
    if (failure.kind == Kind::LoginRefused)
        return u"Give the right one with --user NAME:PASSWORD, or correct it where it is kept (--netrc)."_s;
    return isProxys(failure.kind) ? u"Write them into its address (--proxy), as NAME:PASSWORD@ before the host."_s
                                  : u"Give them with --user NAME:PASSWORD, or --netrc."_s;
}

QString aboutLogin(const Failure &failure)
{
    const QString who = isProxys(failure.kind) ? u"the proxy"_s : quotedHost(failure);
    return cannotDownload(quotedUrl(failure),
                          u"%1%2. %3"_s.arg(reason(failure, who + u" asks for a name and a password"_s),
                                            inBrackets(failure), loginAdvice(failure)));
}

QString certificateAdvice(const Failure &failure)
{
    if (failure.remedies.contains(Remedy::CheckClock))
        return u"Check this machine's date, or wait until its owner has renewed it"_s;
    if (failure.remedies.contains(Remedy::CheckAddress))
        return u"Check the address"_s;
    return u"Name its authority with --ca-certificate FILE"_s;
}

QString certificateRefused(const Failure &failure)
{
    if (failure.kind == Kind::ProxyCertificateRefused)
        return cannotDownload(quotedUrl(failure),
                              cause(failure) + u". Name its authority with --ca-certificate FILE."_s);
    return cannotDownload(
        quotedUrl(failure),
        u"the certificate of %1 is not trusted: %2. %3, or go on at your own risk with --insecure."_s.arg(
            quotedHost(failure), reason(failure, u"it was refused"_s), certificateAdvice(failure)));
}

QString encryptionFailed(const Failure &failure)
{
    if (failure.remedies.contains(Remedy::CheckAddress))
        return cannotDownload(quotedUrl(failure),
                              cause(failure) + u". Open the address in a browser to see where it leads."_s);
    const QString advice = failure.remedies.contains(Remedy::OtherScheme)
        ? otherScheme(failure)
        : u" It may know only versions of TLS before 1.2, which are not safe."_s;
    return cannotDownload(quotedUrl(failure), cause(failure) + u'.' + advice);
}

}

QString NetworkWords::sentence(const Failure &failure)
{
    switch (failure.kind) {
    case Kind::TimedOut:
        return timedOut(failure);
    case Kind::NothingCame:
        return nothingCame(failure);
    case Kind::NotFound:
        return notFound(failure);
    case Kind::HostNotFound:
        return hostNotFound(failure);
    case Kind::BadAnswer:
        return badAnswer(failure);
    case Kind::TooManyRedirects:
        return tooManyRedirects(failure);
    case Kind::ServerOverloaded:
        return serverOverloaded(failure);
    case Kind::LoginRequired:
    case Kind::LoginRefused:
    case Kind::ProxyLoginRequired:
    case Kind::ProxyLoginRefused:
        return aboutLogin(failure);
    case Kind::ProxyFailed:
    case Kind::ProxyNotFound:
        return proxyFailed(failure);
    case Kind::CertificateRefused:
    case Kind::ProxyCertificateRefused:
        return certificateRefused(failure);
    case Kind::EncryptionFailed:
        return encryptionFailed(failure);
    case Kind::UnsupportedUrl:
        return u"cannot download "_s + SchemeWords::ofUnserved(failure.subject.url);
    default:
        return networkFailed(failure);
    }
}
