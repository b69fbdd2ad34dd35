// SPDX-License-Identifier: MIT
#include <host/parsing/authchallenges.h>

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using AuthChallenges::Challenge;

constexpr auto kAsks = " asks for "_L1;
constexpr auto kRefuses = " does not let in "_L1;
constexpr auto kNotSpoken = "which plait does not speak"_L1;

/// More says nothing more to people.
constexpr qsizetype kLongestShown = 80;

/// Pieces between commas; those within quotation marks are text.
QStringList pieces(const QString &value)
{
    static const QRegularExpression piece(uR"((?:"(?:[^"\\]|\\.)*+"?|[^",]++)++)"_s);
    QStringList result;
    auto found = piece.globalMatch(value);
    while (found.hasNext()) {
        if (const QString text = found.next().captured().trimmed(); !text.isEmpty())
            result.append(text);
    }
    return result;
}

QString unquoted(const QString &text)
{
    if (!text.startsWith(u'"'))
        return text;
    QString result;
    for (qsizetype i = 1; i < text.size() && text.at(i) != u'"'; ++i) {
        if (text.at(i) == u'\\' && i + 1 < text.size())
            ++i;
        result += text.at(i);
    }
    return result;
}

/// Takes `name=value`; false when the text is none.
bool takeParameter(const QString &text, Challenge &challenge)
{
    static const QRegularExpression parameter(uR"(^([^\s="]+)\s*=\s*("(?:[^"\\]|\\.)*"?|[^\s="]+)$)"_s);
    const QRegularExpressionMatch match = parameter.match(text);
    if (!match.hasMatch())
        return false;
    const QString name = match.captured(1).toLower();
    if (name == "realm"_L1)
        challenge.realm = unquoted(match.captured(2));
    else if (name == "algorithm"_L1)
        challenge.algorithm = unquoted(match.captured(2));
    return true;
}

bool isNamed(const Challenge &challenge, QLatin1StringView scheme)
{
    return challenge.scheme.compare(scheme, Qt::CaseInsensitive) == 0;
}

QString inWords(const Challenge &challenge)
{
    const QString scheme = challenge.scheme.left(kLongestShown);
    return challenge.realm ? u"%1 realm \"%2\""_s.arg(scheme, challenge.realm->left(kLongestShown)) : scheme;
}

QString listed(const QList<Challenge> &challenges, QString (*word)(const Challenge &))
{
    QStringList words;
    for (const Challenge &challenge : challenges)
        words.append(word(challenge));
    words.removeDuplicates();
    return words.join(u" or "_s);
}

}

QList<Challenge> AuthChallenges::parse(const QString &value)
{
    QList<Challenge> result;
    const QStringList texts = pieces(value);
    for (const QString &text : texts) {
        if (!result.isEmpty() && takeParameter(text, result.last()))
            continue;
        const qsizetype end = text.indexOf(u' ');
        result.append({text.left(end), {}, {}});
        if (end >= 0)
            takeParameter(text.mid(end).trimmed(), result.last());
    }
    return result;
}

bool AuthChallenges::isSpoken(const Challenge &challenge)
{
    static const QStringList algorithms{QString(), u"md5"_s, u"md5-sess"_s, u"sha-256"_s, u"sha-256-sess"_s};
    return isNamed(challenge, "Basic"_L1)
        || (isNamed(challenge, "Digest"_L1) && algorithms.contains(challenge.algorithm.toLower()));
}

bool AuthChallenges::isBasicAlone(const QList<Challenge> &challenges)
{
    QList<Challenge> spoken = challenges;
    spoken.removeIf([](const Challenge &challenge) { return !isSpoken(challenge); });
    return !spoken.isEmpty() && std::all_of(spoken.cbegin(), spoken.cend(), [](const Challenge &challenge) {
        return isNamed(challenge, "Basic"_L1);
    });
}

QString AuthChallenges::valueIn(const QList<QString> &lines, bool isProxys)
{
    const QLatin1StringView name = isProxys ? "Proxy-Authenticate:"_L1 : "WWW-Authenticate:"_L1;
    QStringList values;
    for (const QString &line : lines) {
        if (line.startsWith(name, Qt::CaseInsensitive))
            values.append(line.mid(name.size()).trimmed());
    }
    return values.join(u", "_s);
}

QString AuthChallenges::refusal(const QString &who, const QString &value, const QString &user)
{
    const QList<Challenge> challenges = parse(value);
    QList<Challenge> spoken = challenges;
    spoken.removeIf([](const Challenge &challenge) { return !isSpoken(challenge); });
    if (spoken.isEmpty() && !challenges.isEmpty()) {
        const auto name = [](const Challenge &challenge) {
            const QString algorithm = challenge.algorithm.left(kLongestShown);
            return algorithm.isEmpty() ? inWords({challenge.scheme, {}, {}})
                                       : u"%1 with %2"_s.arg(challenge.scheme, algorithm);
        };
        return who + kAsks + u"a login by %1, "_s.arg(listed(challenges, name)) + kNotSpoken;
    }
    const QString asked = listed(spoken, &inWords);
    const QString login =
        user.isEmpty() ? kAsks + u"a name and a password"_s : kRefuses + u"\"%1\" with that password"_s.arg(user);
    return who + login + (asked.isEmpty() ? QString() : u" (%1)"_s.arg(asked));
}

bool AuthChallenges::isRefusal(const QString &text)
{
    return text.contains(kAsks) || isOfGiven(text);
}

bool AuthChallenges::isOfGiven(const QString &text)
{
    return text.contains(kRefuses);
}

bool AuthChallenges::isOfUnspoken(const QString &text)
{
    return isRefusal(text) && text.endsWith(kNotSpoken);
}
