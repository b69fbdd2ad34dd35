// SPDX-License-Identifier: MIT
#include <host/policy/shown.h>

#include <host/policy/redaction.h>

using namespace Qt::StringLiterals;

namespace
{

/// Characters that change the direction of what follows, and with it how a file name reads.
bool isDirectionMark(char16_t c)
{
    return (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069) || c == 0x200e || c == 0x200f || c == 0x061c;
}

bool isHalf(const QString &text, qsizetype i)
{
    const QChar c = text.at(i);
    if (c.isHighSurrogate())
        return i + 1 == text.size() || !text.at(i + 1).isLowSurrogate();
    return c.isLowSurrogate() && (i == 0 || !text.at(i - 1).isHighSurrogate());
}

bool isHarmless(QChar c)
{
    const QChar::Category category = c.category();
    return category != QChar::Other_Control && category != QChar::Separator_Line
        && category != QChar::Separator_Paragraph && !isDirectionMark(c.unicode());
}

}

QString Shown::visible(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (isHarmless(c) && !isHalf(text, i))
            result += c;
        else
            result += u"\\u%1"_s.arg(c.unicode(), 4, 16, QLatin1Char('0'));
    }
    return result;
}

QString Shown::text(const QString &text)
{
    return visible(Redaction::logins(text));
}
