// SPDX-License-Identifier: MIT
#include <host/policy/contentencoding.h>

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kStatusOk = 200;
constexpr int kStatusPartialContent = 206;
/// Longer ones are no names.
constexpr qsizetype kLongestShown = 60;

/// -1 also where the protocol has none.
int statusOf(const QString &line)
{
    bool isNumber = false;
    const int status = line.section(u' ', 1, 1).toInt(&isNumber);
    return isNumber ? status : -1;
}

QString plainName(const QString &text)
{
    const QString name = text.trimmed().toLower();
    if (name == "x-gzip"_L1 || name == "x-compress"_L1)
        return name.mid(2);
    // The last is no registered name, but there are servers that send it.
    return name == "identity"_L1 || name == "none"_L1 ? QString() : name;
}

QString valueOf(const QList<QString> &lines)
{
    QStringList values;
    for (const QString &line : lines) {
        const qsizetype colon = line.indexOf(u':');
        if (line.first(std::max<qsizetype>(colon, 0)).compare("Content-Encoding"_L1, Qt::CaseInsensitive) == 0)
            values.append(line.mid(colon + 1));
    }
    return values.join(u',');
}

bool isCompression(const QString &encoding)
{
    static const QStringList known{u"gzip"_s, u"deflate"_s, u"compress"_s, u"br"_s, u"zstd"_s};
    const QStringList names = encoding.split(u", "_s);
    return std::all_of(names.cbegin(), names.cend(), [](const QString &name) { return known.contains(name); });
}

}

QString ContentEncoding::shown(const QString &encoding)
{
    if (encoding.isEmpty())
        return u"plain"_s;
    return (isCompression(encoding) ? u"compressed (%1)"_s : u"encoded (%1)"_s).arg(encoding.left(kLongestShown));
}

std::optional<ContentEncoding::Answer> ContentEncoding::of(const QList<QString> &lines)
{
    const int status = lines.isEmpty() ? 0 : statusOf(lines.first());
    if (status >= 0 && status != kStatusOk && status != kStatusPartialContent)
        return std::nullopt;
    QStringList names;
    const QStringList listed = valueOf(lines).split(u',');
    for (const QString &text : listed) {
        if (const QString name = plainName(text); !name.isEmpty())
            names.append(name);
    }
    return Answer{status == kStatusPartialContent, names.join(u", "_s)};
}

QString ContentEncoding::change(const QString &before, const QString &now)
{
    return u"what is there came %1, and it sends the rest %2"_s.arg(shown(before), shown(now));
}

bool ContentEncoding::isAskedFor(const QList<QString> &headerNames)
{
    return headerNames.contains("Accept-Encoding"_L1, Qt::CaseInsensitive);
}
