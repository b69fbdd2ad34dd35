// SPDX-License-Identifier: MIT
#include <cli/address.h>

#include <cli/foreignbytes.h>

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

struct Pair {
    QChar opening;
    QChar closing;
};

constexpr Pair kPairs[] = {{u'"', u'"'},           {u'\'', u'\''},         {u'`', u'`'},          {u'<', u'>'},
                           {u'\u201c', u'\u201d'}, {u'\u2018', u'\u2019'}, {u'\u00ab', u'\u00bb'}};

bool isEnclosed(const QString &text)
{
    for (const Pair &pair : kPairs) {
        if (text.size() > 1 && text.front() == pair.opening && text.back() == pair.closing)
            return true;
    }
    return false;
}

/// Marks of byte order and blanks without a width come along unseen, too.
QString trimmed(const QString &text)
{
    static const QRegularExpression around(u"^[\\s\u200b\ufeff]+|[\\s\u200b\ufeff]+$"_s);
    return QString(text).remove(around);
}

QString withoutSurroundings(const QString &text)
{
    QString inner = trimmed(text);
    while (isEnclosed(inner))
        inner = trimmed(inner.sliced(1, inner.size() - 2));
    return inner;
}

bool isNumeric(const QString &host)
{
    static const QRegularExpression four(u"^\\d{1,3}(?:\\.\\d{1,3}){3}$"_s);
    return host.startsWith(u'[') || four.match(host).hasMatch();
}

bool isThisMachine(const QString &host)
{
    const QString name = host.toLower();
    return name == "localhost"_L1 || name.endsWith(".localhost"_L1);
}

/// "name.example", no "./file" and no "notes.2".
bool isName(const QString &host)
{
    static const QRegularExpression name(u"^(?:[\\w-]+\\.)+(?!\\d)[\\w-]{2,}\\.?$"_s,
                                         QRegularExpression::UseUnicodePropertiesOption);
    return name.match(host).hasMatch();
}

QString schemeFor(const QString &host, const QString &port)
{
    if (!port.isEmpty())
        return port == "443"_L1 || port == "8443"_L1 ? u"https"_s : u"http"_s;
    return isNumeric(host) || isThisMachine(host) ? u"http"_s : u"https"_s;
}

}

QString Address::meant(const QString &text)
{
    static const QRegularExpression beginning(
        u"^(?://)?(\\[[0-9a-fA-F:.]+\\]|[^\\s/?#:@\\[\\]]+)(?::(\\d{1,5}))?(?=[/?#]|$)"_s);
    const QString inner = withoutSurroundings(ForeignBytes::percentEncoded(text));
    const QRegularExpressionMatch match = beginning.match(inner);
    const QString host = match.captured(1);
    if (!match.hasMatch() || !(isNumeric(host) || isThisMachine(host) || isName(host)))
        return inner;
    const QString slashes = inner.startsWith("//"_L1) ? u":"_s : u"://"_s;
    return schemeFor(host, match.captured(2)) + slashes + inner;
}
