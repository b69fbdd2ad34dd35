// SPDX-License-Identifier: MIT
#include <host/policy/naturalorder.h>

#include <QStringView>

#include <algorithm>

namespace
{

/// Behind it come surrogates, of which one alone is no character.
constexpr qsizetype kLongestNumber = 0xD000;

/// The run of decimal digits at the front of the text, without its leading zeros, is taken off it.
QStringView takeNumber(QStringView &text)
{
    const auto *const end =
        std::find_if_not(text.cbegin(), text.cend(), [](QChar character) { return character.isDigit(); });
    const auto *const begin =
        std::find_if(text.cbegin(), end, [](QChar character) { return character.digitValue() != 0; });
    text = QStringView(end, text.cend());
    return {begin, end};
}

/// Beside what is no number it stands where digits do, and the longer one is the larger one.
void append(QString &key, QStringView number)
{
    key.append(u'0');
    key.append(QChar(char16_t(std::min(number.size(), kLongestNumber) + 1)));
    for (const QChar digit : number)
        key.append(QChar(char16_t(u'0' + digit.digitValue())));
}

}

QString NaturalOrder::key(const QString &name)
{
    QString key;
    key.reserve(name.size() + 4);
    QStringView rest(name);
    while (!rest.isEmpty()) {
        if (rest.front().isDigit()) {
            append(key, takeNumber(rest));
        } else {
            key.append(rest.front().toLower());
            rest = rest.sliced(1);
        }
    }
    return key;
}

bool NaturalOrder::precedes(const QString &name, const QString &other)
{
    return key(name).toUtf8() < key(other).toUtf8();
}
