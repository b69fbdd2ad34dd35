// SPDX-License-Identifier: MIT
#include <cli/foreignbytes.h>

#include <QStringDecoder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr char16_t kFirst = 0xdc80;
constexpr char16_t kLast = 0xdcff;
constexpr char16_t kByteBehind = 0xdc00;
constexpr qsizetype kMostBytesOfCharacter = 4;

bool isForeign(const QString &text, qsizetype i)
{
    const char16_t c = text.at(i).unicode();
    return c >= kFirst && c <= kLast && (i == 0 || !text.at(i - 1).isHighSurrogate());
}

/// How many bytes the character at the front has; 0 = the first one is foreign.
qsizetype sizeOfCharacter(QByteArrayView bytes)
{
    for (qsizetype size = 1; size <= std::min(kMostBytesOfCharacter, bytes.size()); ++size) {
        if (bytes.first(size).isValidUtf8())
            return size;
    }
    return 0;
}

/// A mark of byte order is a character like others.
QString characters(QByteArrayView bytes)
{
    return QStringDecoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom).decode(bytes);
}

/// @param hex digits of a byte, as they are wanted
QString withForeign(const QString &text, const QString &before, QString (*hex)(int byte))
{
    if (!ForeignBytes::areIn(text))
        return text;
    QString result;
    for (qsizetype i = 0; i < text.size(); ++i)
        result += isForeign(text, i) ? before + hex(text.at(i).unicode() - kByteBehind) : QString(text.at(i));
    return result;
}

QString small(int byte)
{
    return QString::number(byte, 16);
}

QString large(int byte)
{
    return small(byte).toUpper();
}

}

QString ForeignBytes::text(const QByteArray &bytes)
{
    if (bytes.isValidUtf8())
        return characters(bytes);
    QString result;
    const QByteArrayView all(bytes);
    for (qsizetype i = 0; i < all.size();) {
        const qsizetype size = sizeOfCharacter(all.sliced(i));
        result += size > 0 ? characters(all.sliced(i, size)) : QString(QChar(kByteBehind + uchar(all.at(i))));
        i += std::max<qsizetype>(size, 1);
    }
    return result;
}

QByteArray ForeignBytes::bytes(const QString &text)
{
    QByteArray result;
    qsizetype end = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!isForeign(text, i))
            continue;
        result += QStringView(text).sliced(end, i - end).toUtf8() + char(text.at(i).unicode() - kByteBehind);
        end = i + 1;
    }
    return result + QStringView(text).sliced(end).toUtf8();
}

bool ForeignBytes::areIn(const QString &text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isForeign(text, i))
            return true;
    }
    return false;
}

QString ForeignBytes::percentEncoded(const QString &text)
{
    return withForeign(text, u"%"_s, &large);
}

QString ForeignBytes::shown(const QString &text)
{
    return withForeign(text, u"\\x"_s, &small);
}

QString ForeignBytes::problem(bool isPath)
{
    return isPath ? u"is not UTF-8, and would become another name. Rename it, or give another path."_s
                  : u"is not UTF-8. Write it in UTF-8."_s;
}
