// SPDX-License-Identifier: MIT
#include <host/policy/redaction.h>

#include <host/policy/harmlessheaders.h>

#include <QRegularExpression>

#include <algorithm>
#include <iterator>

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

/// Fields of requests and answers that no person gave and no server gives back, and remarks of the log.
constexpr QLatin1StringView kTold[] = {"accept-ranges"_L1,
                                       "age"_L1,
                                       "allow"_L1,
                                       "alt-svc"_L1,
                                       "content-disposition"_L1,
                                       "content-encoding"_L1,
                                       "content-language"_L1,
                                       "content-length"_L1,
                                       "content-location"_L1,
                                       "content-range"_L1,
                                       "date"_L1,
                                       "digest"_L1,
                                       "etag"_L1,
                                       "expires"_L1,
                                       "host"_L1,
                                       "if-range"_L1,
                                       "keep-alive"_L1,
                                       "last-modified"_L1,
                                       "link"_L1,
                                       "location"_L1,
                                       "proxy-authenticate"_L1,
                                       "range"_L1,
                                       "refresh"_L1,
                                       "retry-after"_L1,
                                       "running"_L1,
                                       "server"_L1,
                                       "stopping"_L1,
                                       "strict-transport-security"_L1,
                                       "trailer"_L1,
                                       "transfer-encoding"_L1,
                                       "vary"_L1,
                                       "via"_L1,
                                       "www-authenticate"_L1};

bool mayBeTold(const QString &field)
{
    return HarmlessHeaders::isHarmless(field) || field.startsWith("qt."_L1)
        || std::any_of(std::begin(kTold), std::end(kTold),
                       [&field](QLatin1StringView told) { return field.compare(told, Qt::CaseInsensitive) == 0; });
}

/// Lines that are a field and nothing else, as the log has those of requests and answers.
QString withoutUnknownFields(const QString &text)
{
    static const QRegularExpression field(uR"(^((?:\[[^\]\n]*\]:?[ ])*)([\w!#$%&'*+.^`|~-]+):[ ]([^\n]+?)(?=\r?$))"_s,
                                          QRegularExpression::MultilineOption);
    QString shown;
    qsizetype end = 0;
    for (auto matches = field.globalMatch(text); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        if (mayBeTold(match.captured(2)))
            continue;
        shown += text.mid(end, match.capturedStart(3) - end) + kHidden;
        end = match.capturedEnd(3);
    }
    return shown + text.mid(end);
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

/// How far a query reaches. It may have been decoded, and hold blanks then: it reaches to the last "&" or "=" before
/// the next URL, the end of quotes or of the line. Asked for one place behind the other, as each is looked at twice at
/// most.
class QueryReach
{
public:
    explicit QueryReach(QStringView text)
        : m_text(text)
    {
    }

    qsizetype endOf(qsizetype start)
    {
        qsizetype end = start;
        while (end < m_text.size() && (m_text.at(end) == u' ' ? goesOnBehind(end) : !isEnd(m_text.at(end))))
            ++end;
        return end;
    }
    static bool isEnd(QChar sign) { return sign == u'"' || sign == u' ' || (sign >= u'\t' && sign <= u'\r'); }

private:
    bool goesOnBehind(qsizetype blank)
    {
        if (blank >= m_bound) {
            m_lastSign = -1;
            for (m_bound = blank + 1; m_bound < m_text.size() && !isBound(m_bound); ++m_bound) {
                if (m_text.at(m_bound) == u'&' || m_text.at(m_bound) == u'=')
                    m_lastSign = m_bound;
            }
        }
        return blank < m_lastSign;
    }
    bool isBound(qsizetype place) const
    {
        const QChar sign = m_text.at(place);
        return sign == u'"' || sign == u'\n' || (sign == u':' && m_text.sliced(place).startsWith("://"_L1));
    }

    const QStringView m_text;
    qsizetype m_bound = -1; ///< what is behind it has not been looked at
    qsizetype m_lastSign = -1; ///< before it; -1 = there is none
};

/// By hand, as an expression would look at all that is left again for each blank, and give up long texts.
QString withoutQueryTexts(const QString &text)
{
    QueryReach reach(text);
    QString shown;
    qsizetype told = 0;
    for (qsizetype sign = text.indexOf(u'?'); sign >= 0; sign = text.indexOf(u'?', std::max(told, sign + 1))) {
        const qsizetype start = sign + 1;
        if (start == text.size() || QueryReach::isEnd(text.at(start)) || text.at(start) == u'…')
            continue;
        shown += QStringView(text).sliced(told, start - told);
        shown += kHidden;
        told = reach.endOf(start);
    }
    return shown + text.sliced(told);
}

/// Where nothing follows, what was looked at is not looked at again: from further on it would end the same.
QString withoutQueries(QString text)
{
    static const QRegularExpression address =
        expression(u"(?:^|[^\\w-])(?:referer|location|content-location|link|refresh)\\s*:[^?#\\n]*+"
                   "(?:[?#]\\K[^\\r\\n]+|(*SKIP)(*FAIL))"_s);
    static const QRegularExpression fragment = expression(u"://[^\\s\"#]*+(?:#\\K[^\\s\"]+|(*SKIP)(*FAIL))"_s);
    text.replace(address, kHidden);
    return withoutQueryTexts(text).replace(fragment, kHidden);
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
    return withoutQueries(logins(withoutUnknownFields(withoutSecretHeaders(text))));
}

QString Redaction::typed(const QString &word)
{
    const qsizetype slashes = word.indexOf("://"_L1);
    const qsizetype start = slashes < 0 ? 0 : slashes + 3;
    const qsizetype at = word.lastIndexOf(u'@');
    QString rest = word.mid(at < start ? start : at);
    // "NAME:PASSWORD", "name=value"; a port may stay, and so may an address in numbers, with its bracket closed or not.
    static const QRegularExpression named =
        expression(u"^(?!\\[[0-9A-Fa-f:.]*\\]?(?::\\d{0,5})?(?:[/?#]|$))([^:=?/]*[:=])(?!\\d{0,5}(?:[/?#]|$)).+"_s);
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
