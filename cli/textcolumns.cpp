// SPDX-License-Identifier: MIT
#include <cli/textcolumns.h>

#include <QChar>
#include <QList>

#include <algorithm>
#include <iterator>

namespace
{

struct Range {
    char32_t first;
    char32_t last;
};

// Sorted. Emoji are one block here: some of them take one column only, and terminals do not agree on which.
constexpr Range kWide[] = {
    {0x1100, 0x115f},   {0x231a, 0x231b},   {0x2329, 0x232a},   {0x23e9, 0x23f3},   {0x25fd, 0x25fe},
    {0x2614, 0x2615},   {0x2648, 0x2653},   {0x267f, 0x267f},   {0x2693, 0x2693},   {0x26a1, 0x26a1},
    {0x26aa, 0x26ab},   {0x26bd, 0x26be},   {0x26c4, 0x26c5},   {0x26ce, 0x26ce},   {0x26d4, 0x26d4},
    {0x26ea, 0x26ea},   {0x26f2, 0x26f5},   {0x26fa, 0x26fa},   {0x26fd, 0x26fd},   {0x2705, 0x2705},
    {0x270a, 0x270b},   {0x2728, 0x2728},   {0x274c, 0x274c},   {0x274e, 0x274e},   {0x2753, 0x2757},
    {0x2795, 0x2797},   {0x27b0, 0x27b0},   {0x27bf, 0x27bf},   {0x2b1b, 0x2b1c},   {0x2b50, 0x2b50},
    {0x2b55, 0x2b55},   {0x2e80, 0x303e},   {0x3041, 0xa4cf},   {0xa960, 0xa97f},   {0xac00, 0xd7a3},
    {0xf900, 0xfaff},   {0xfe10, 0xfe19},   {0xfe30, 0xfe6f},   {0xff01, 0xff60},   {0xffe0, 0xffe6},
    {0x16fe0, 0x18d08}, {0x1aff0, 0x1b2fb}, {0x1f004, 0x1f004}, {0x1f0cf, 0x1f0cf}, {0x1f18e, 0x1f18e},
    {0x1f191, 0x1f19a}, {0x1f1e6, 0x1f202}, {0x1f210, 0x1f64f}, {0x1f680, 0x1faff}, {0x20000, 0x3fffd},
};

constexpr char32_t kEmojiSelector = 0xfe0f; ///< makes what stands before it wide
constexpr Range kJoinedHangul = {0x1160, 0x11ff};
// Of the other characters for formatting some are seen.
constexpr Range kJoiners = {0x200b, 0x200f};
constexpr Range kInvisible = {0x2060, 0x206f};

bool isIn(Range range, char32_t c)
{
    return c >= range.first && c <= range.last;
}

bool isWide(char32_t c)
{
    const auto isBefore = [](const Range &range, char32_t character) { return range.last < character; };
    const Range *const found = std::lower_bound(std::begin(kWide), std::end(kWide), c, isBefore);
    return found != std::end(kWide) && found->first <= c;
}

/// Drawn over what stands before it, or not at all.
bool takesNoRoom(char32_t c)
{
    if (c == kEmojiSelector)
        return false;
    if (isIn(kJoinedHangul, c) || isIn(kJoiners, c) || isIn(kInvisible, c))
        return true;
    const QChar::Category category = QChar::category(c);
    return category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing;
}

int widthOf(char32_t c)
{
    if (takesNoRoom(c))
        return 0;
    return isWide(c) ? 2 : 1;
}

QString blanks(int count)
{
    return QString(std::max(0, count), u' ');
}

}

int TextColumns::width(const QString &text)
{
    int sum = 0;
    const QList<uint> characters = text.toUcs4();
    for (const uint c : characters)
        sum += widthOf(c);
    return sum;
}

QString TextColumns::left(const QString &text, int columns)
{
    QString result;
    int sum = 0;
    const QList<uint> characters = text.toUcs4();
    for (const char32_t c : characters) {
        sum += widthOf(c);
        if (sum > columns)
            break;
        result += QString::fromUcs4(&c, 1);
    }
    return result;
}

QString TextColumns::shortened(const QString &text, int columns, const QString &ellipsis)
{
    if (width(text) <= columns)
        return text;
    return left(left(text, columns - width(ellipsis)) + ellipsis, columns);
}

QString TextColumns::middleShortened(const QString &text, int columns, const QString &ellipsis)
{
    const int room = columns - width(ellipsis);
    if (width(text) <= columns || room < 2)
        return shortened(text, columns, ellipsis);
    QString end = text;
    while (width(end) > room / 2)
        end.remove(0, end.size() > 1 && end.at(0).isHighSurrogate() ? 2 : 1);
    return left(text, room - width(end)) + ellipsis + end;
}

QString TextColumns::padded(const QString &text, int columns)
{
    return text + blanks(columns - width(text));
}

QString TextColumns::rightAligned(const QString &text, int columns)
{
    return blanks(columns - width(text)) + text;
}
