// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// What an option of another program is here. A row of Habits; the parser, imported command lines, `plait help` and the
/// manual all read it.
struct Habit {
    enum class Kind {
        Same, ///< something that we have: `own` is written in its place
        Always, ///< it is so without it
        Needless, ///< there is no such thing, and nothing is missed without it: it is left out, and that is said
        Advice, ///< there is no such thing; an imported command goes on without it
        Refused, ///< the same, but without it another thing would be asked for
        Part, ///< one half of an option of ours: `own` says of which
    };

    const char *names; ///< with their dashes, parted by blanks: "-O --output-document"
    const char *value = nullptr; ///< what follows; null = nothing does. "N", "SECONDS", "SIZE" and "RATE" are numbers
    Kind kind = Kind::Advice;
    /// Same: the option without its dashes, "output"; with a "=" all of it, "%1" is the value: "header=Cookie: %1";
    /// null = the value is an address. Advice: the option that counts as soon as there is one of that name.
    const char *own = nullptr;
    /// Always, Needless: what is so. Advice, Refused: what to do. A clause; "%1" is the value.
    const char *says = nullptr;
    QString (*made)(const QString &value) = nullptr; ///< Same: the word that is written, where that takes more
    bool (*isNeedless)(const QString &value) = nullptr; ///< Advice: values that count as Needless
    bool isSecret = false; ///< the value is not for other users of the machine
    bool isMinor = false; ///< where another program means something else by that name, that one is meant

    bool isNumber() const;
    /// Whether this, behind a letter in the same word, is rather its value than more letters: "16", "1M", "x.iso",
    /// "a/b".
    bool isPlainlyValue(const QString &text) const;
};

/// Rows in the fewest words.
namespace HabitRows
{

constexpr Habit same(const char *names, const char *value, const char *own, QString (*made)(const QString &) = nullptr)
{
    return {names, value, Habit::Kind::Same, own, nullptr, made};
}

constexpr Habit always(const char *names, const char *value, const char *says)
{
    return {names, value, Habit::Kind::Always, nullptr, says};
}

constexpr Habit needless(const char *names, const char *value, const char *says)
{
    return {names, value, Habit::Kind::Needless, nullptr, says};
}

constexpr Habit advice(const char *names, const char *value, const char *says)
{
    return {names, value, Habit::Kind::Advice, nullptr, says};
}

/// An advice, but for values that are needless.
constexpr Habit adviceUnless(bool (*isNeedless)(const QString &), const char *names, const char *value,
                             const char *says)
{
    return {names, value, Habit::Kind::Advice, nullptr, says, nullptr, isNeedless};
}

/// An advice for as long as there is no such option of ours.
constexpr Habit until(const char *own, const char *names, const char *value, const char *says)
{
    return {names, value, Habit::Kind::Advice, own, says};
}

constexpr Habit refused(const char *names, const char *value, const char *says)
{
    return {names, value, Habit::Kind::Refused, nullptr, says};
}

constexpr Habit part(const char *names, const char *value, const char *own, const char *says)
{
    return {names, value, Habit::Kind::Part, own, says};
}

constexpr Habit secret(Habit row)
{
    row.isSecret = true;
    return row;
}

constexpr Habit minor(Habit row)
{
    row.isMinor = true;
    return row;
}

}
