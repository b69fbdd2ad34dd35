// SPDX-License-Identifier: MIT
#include <host/policy/redaction.h>

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

const QString kHidden = u"…"_s;

QRegularExpression expression(const QString &pattern)
{
    return QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption);
}

/// "://", LOGIN and "@"; within another URL all of it may be percent-encoded, more than once. The login ends at the
/// last "@" before the host's end. Step by step only from one sign to the next: the room for steps is limited, and a
/// text that takes more would stay as it is.
QString loginPattern(const QString &ends)
{
    return u"(?::|%(?:25)*3a)(?:/|%(?:25)*2f){2}\\K<other>*+(?:(?:@|%(?!(?:25)*(?:2f|3f|23)))<other>*+)*"
           "(?=@|%(?:25)*40)"_s.replace(u"<other>"_s, u"[^@%"_s + ends + u']');
}

/// Up to the line's end, as the value of a header may hold anything. A name may stand in quotes, as in JSON.
QString withoutSecretHeaders(QString text)
{
    static const QRegularExpression header =
        expression(u"(?<![\\w-])([\\w-]*(?:authorization|cookie|token|secret|passw|passphrase|credential|signature|"
                   u"session|api-?key|auth-key|"
                   "auth-user)[\\w-]*[\"']?\\s*:)[^\\n]+?(?=\\r?\\n|$)"_s);
    return text.replace(header, u"\\1 "_s + kHidden);
}

/// Queries may have been decoded, and hold blanks then: they reach to the last "&" or "=" before the next URL.
QString withoutQueries(QString text)
{
    static const QRegularExpression address =
        expression(u"((?:^|[^\\w-])(?:referer|location|content-location|link|refresh)\\s*:[^?#\\n]*[?#])[^\\r\\n]+"_s);
    static const QRegularExpression query =
        expression(u"\\?(?=[^\\s\"…])(?:[^\\s\"]|[ ](?=(?:(?!://)[^\"\\n])*[&=]))*"_s);
    static const QRegularExpression fragment = expression(u"(://[^\\s\"#]*#)[^\\s\"]+"_s);
    text.replace(address, u"\\1"_s + kHidden);
    text.replace(query, u"?"_s + kHidden);
    return text.replace(fragment, u"\\1"_s + kHidden);
}

}

QString Redaction::logins(const QString &text)
{
    static const QRegularExpression ofUrl = expression(loginPattern(u"\\s/?#\""_s));
    static const QRegularExpression withoutScheme = expression(u"(?<![:/\\w])//\\K[^\\s/?#\"@:]*:[^\\s/?#\"]*(?=@)"_s);
    QString shown = text;
    shown.replace(ofUrl, kHidden);
    return shown.replace(withoutScheme, kHidden);
}

QString Redaction::line(const QString &text)
{
    return withoutQueries(logins(withoutSecretHeaders(text)));
}

QString Redaction::typed(const QString &word)
{
    const qsizetype slashes = word.indexOf("://"_L1);
    const qsizetype start = slashes < 0 ? 0 : slashes + 3;
    const qsizetype at = word.lastIndexOf(u'@');
    QString rest = word.mid(at < start ? start : at);
    // "NAME:PASSWORD", "name=value"; a port may stay.
    static const QRegularExpression named = expression(u"^([^:=?/]*[:=])(?!\\d{0,5}(?:[/?#]|$)).+"_s);
    static const QRegularExpression query = expression(u"\\?.+"_s);
    rest.replace(named, u"\\1"_s + kHidden);
    rest.replace(query, u"?"_s + kHidden);
    return word.left(start) + (at < start ? QString() : kHidden) + rest;
}

QList<Redaction::Span> Redaction::loginsInArgument(const QString &argument)
{
    static const QRegularExpression login = expression(loginPattern(u"/?#"_s) + u"|[^/?#=&@:]+:[^/?#]*(?=@)"_s);
    QList<Span> spans;
    for (auto matches = login.globalMatch(argument); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        if (match.capturedLength() > 0)
            spans.append({match.capturedStart(), match.capturedLength()});
    }
    return spans;
}
