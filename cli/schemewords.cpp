// SPDX-License-Identifier: MIT
#include <cli/schemewords.h>

#include <cli/clausewords.h>
#include <cli/nearest.h>
#include <host/options/optionvalue.h>
#include <host/policy/redaction.h>
#include <host/policy/schemes.h>

#include <QRegularExpression>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

constexpr QStringView kOtherWay =
    u"plait fetches over http, https and ftp, and not in that way. Give such an address of "
    u"the file, if its server has one.";
constexpr QStringView kBucket = u"that is a name within a store, for programs of its own. Give the https address that "
                                u"its owner can share.";
constexpr QStringView kPeers = u"that is a file among peers, where plait does not go. Look for an http, https or ftp "
                               u"address of it.";
constexpr QStringView kNoFile = u"that is no address of a file.";

struct Row {
    QStringView scheme;
    QStringView words;
};

constexpr Row kRows[] = {
    {u"sftp", kOtherWay},
    {u"scp", kOtherWay},
    {u"ssh", kOtherWay},
    {u"rsync", kOtherWay},
    {u"smb", kOtherWay},
    {u"nfs", kOtherWay},
    {u"dav", kOtherWay},
    {u"git", kOtherWay},
    {u"tftp", kOtherWay},
    {u"s3", kBucket},
    {u"gs", kBucket},
    {u"magnet", kPeers},
    {u"ed2k", kPeers},
    {u"ipfs", kPeers},
    {u"data", u"the address holds the data itself, and there is nothing to fetch."},
    {u"blob", u"that lies in the memory of a browser. Give the address that it was fetched from there."},
    {u"about", kNoFile},
    {u"javascript", kNoFile},
    {u"mailto", kNoFile},
    {u"tel", kNoFile},
};

QString wordsOf(const QString &scheme)
{
    const auto found =
        std::find_if(std::begin(kRows), std::end(kRows), [&scheme](const Row &row) { return row.scheme == scheme; });
    return found == std::end(kRows) ? QString() : found->words.toString();
}

QString quoted(const QString &text)
{
    return u'"' + text + u'"';
}

/// @param rest of the address, behind the scheme
QString ofUnknown(const QString &scheme, const QString &rest)
{
    const QStringList served{Schemes::kHttps, Schemes::kHttp, Schemes::kFtp};
    const QString meant = served.contains(scheme) ? QString() : Nearest::of(scheme, served);
    if (!meant.isEmpty())
        return u"nothing here serves \"%1\". If that is a slip, write \"%2\"."_s.arg(scheme, meant + rest);
    return u"nothing here serves such an address. Write a whole one, as in \"https://example.com/file.zip\"."_s;
}

QString of(const QString &scheme, const QString &shown)
{
    const QString words = wordsOf(scheme);
    return quoted(shown) + u": "_s + (words.isEmpty() ? ofUnknown(scheme, shown.mid(scheme.size())) : words);
}

/// "http:/host" and "http:host".
QString withoutSlashes(const QString &typed)
{
    static const QRegularExpression few(u"^(https?|ftp):/?(?!/)(.+)$"_s, QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = few.match(typed);
    return match.hasMatch() ? match.captured(1).toLower() + u"://"_s + match.captured(2) : QString();
}

bool hasBadPort(const QString &typed)
{
    static const QRegularExpression port(u"^[a-z]+://[^/?#]*:(\\d+)(?=[/?#]|$)"_s,
                                         QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = port.match(typed);
    bool isNumber = false;
    const int number = match.captured(1).toInt(&isNumber);
    constexpr int kMostPort = 65535;
    return match.hasMatch() && (!isNumber || number < 1 || number > kMostPort);
}

}

QString SchemeWords::ofUnserved(const QUrl &url)
{
    const QString shown = url.toDisplayString(QUrl::RemoveUserInfo);
    if (url.scheme() == "file"_L1)
        return u"%1: that is on this machine already. Copy it from \"%2\"."_s.arg(quoted(shown), url.path());
    return of(url.scheme(), shown);
}

QString SchemeWords::problemOf(const QString &typed)
{
    const QString problem = ClauseWords::of(OptionValue::urlProblem(typed));
    if (problem.isEmpty())
        return {};
    const QString shown = quoted(Redaction::typed(typed));
    const QString scheme = typed.section(u':', 0, 0).toLower();
    if (typed.contains(u':') && !wordsOf(scheme).isEmpty())
        return shown + u": "_s + wordsOf(scheme);
    if (const QString whole = withoutSlashes(typed); !whole.isEmpty() && OptionValue::urlProblem(whole).isEmpty())
        return u"%1 lacks a slash. Write \"%2\"."_s.arg(shown, Redaction::typed(whole));
    if (hasBadPort(typed))
        return u"%1 has no such port: that is a number from 1 to 65535. Check the address."_s.arg(shown);
    return problem;
}
