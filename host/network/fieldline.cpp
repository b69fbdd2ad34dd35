// SPDX-License-Identifier: MIT
#include <host/network/fieldline.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype kLongestQuotation = 80;

bool isAlphanumeric(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

QString complaintAboutName(QByteArrayView name)
{
    if (name.isEmpty())
        return u"a field has no name"_s;
    if (std::any_of(name.begin(), name.end(), &FieldLine::isWhiteSpace))
        return u"there is white space in front of the colon of the field %1"_s.arg(FieldLine::quoted(name));
    if (!std::all_of(name.begin(), name.end(), &FieldLine::isTokenCharacter))
        return u"the name of the field %1 has a character that no name may have"_s.arg(FieldLine::quoted(name));
    return {};
}

}

FieldLine FieldLine::of(QByteArrayView text)
{
    FieldLine line;
    const qsizetype colon = text.indexOf(':');
    line.complaint = strayByteIn(text);
    if (line.complaint.isEmpty() && colon < 0)
        line.complaint = u"the line %1 has no colon"_s.arg(quoted(text));
    if (!line.complaint.isEmpty())
        return line;
    line.name = text.first(colon);
    line.value = withoutWhiteSpace(text.sliced(colon + 1));
    line.complaint = complaintAboutName(line.name);
    return line;
}

QString FieldLine::strayByteIn(QByteArrayView text)
{
    if (text.contains('\0'))
        return u"there is a NUL in it"_s;
    if (text.contains('\r'))
        return u"there is a carriage return within a line"_s;
    if (text.contains('\n'))
        return u"there is a line feed within a line"_s;
    return {};
}

bool FieldLine::isTokenCharacter(char c)
{
    constexpr QByteArrayView kMarks = "!#$%&'*+-.^_`|~";
    return isAlphanumeric(c) || kMarks.contains(c);
}

QByteArrayView FieldLine::withoutWhiteSpace(QByteArrayView text)
{
    while (!text.isEmpty() && isWhiteSpace(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isWhiteSpace(text.back()))
        text.chop(1);
    return text;
}

QString FieldLine::quoted(QByteArrayView text)
{
    const bool isLong = text.size() > kLongestQuotation;
    return u'"' + QString::fromLatin1(isLong ? text.first(kLongestQuotation) : text) + (isLong ? u"…\""_s : u"\""_s);
}
