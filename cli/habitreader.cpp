// SPDX-License-Identifier: MIT
#include <cli/habitreader.h>

#include <cli/address.h>
#include <cli/commandoptions.h>
#include <cli/habitparts.h>
#include <cli/nextcommand.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Kind = Habit::Kind;
using Meanings = QList<Habits::Meaning>;

/// What stands behind a name.
struct Following {
    bool isThere = false;
    bool isAttached = false; ///< in the same word: behind "=", or behind a letter
    bool isLetters = false; ///< behind a letter, where it may be more of them as well
    QString text;
};

bool isOption(const QString &word)
{
    return word.startsWith(u'-') && word.size() > 1;
}

bool isAddress(const QString &word)
{
    return Address::meant(word).contains("://"_L1);
}

bool takesValue(const OptionRow &row)
{
    return row.type != OptionRow::Type::Flag;
}

bool isOfFile(const OptionRow &row)
{
    return qstrcmp(row.name, "max-connections") == 0;
}

QString toldMeaning(const Habits::Meaning &meaning, const QString &name)
{
    return u"\"%1\" to %2 (%3)"_s.arg(Habits::longName(meaning.habit, name), meaning.tools.join(" and "_L1),
                                      Habits::advice(meaning.habit));
}

/// @param value what was typed, as far as it may be shown
QString told(const QString &name, const Meanings &meanings, const QString &value = {})
{
    if (meanings.size() == 1)
        return u"\"%1\" is no option here: %2."_s.arg(name, Habits::advice(meanings.constFirst().habit, value));
    QStringList parts;
    for (const Habits::Meaning &meaning : meanings)
        parts.append(toldMeaning(meaning, name));
    return u"\"%1\" has several meanings: %2."_s.arg(name, parts.join("; "_L1));
}

class Reading
{
public:
    /// @param command null = options of ours come last, and what is not to be had is noted
    Reading(const QStringList &words, const CommandRow *command, const QList<const Habits::Tool *> &tools)
        : m_rest(words)
        , m_command(command)
        , m_tools(tools)
    {
    }

    HabitReader::Read read()
    {
        while (!m_rest.isEmpty() && m_read.complaint.isEmpty())
            readWord(m_rest.takeFirst());
        tellLettersFromSplit();
        tellSilenceFromQuiet();
        complain(m_parts.joinInto(m_read.options, m_read.addresses));
        return m_read;
    }

private:
    void readWord(const QString &word)
    {
        if (word == "--"_L1) {
            m_read.addresses += m_rest;
            m_rest.clear();
        } else if (!isOption(word)) {
            m_read.addresses.append(word);
        } else if (word.startsWith("--"_L1)) {
            readLong(word);
        } else if (const Meanings whole = Habits::meanings(word, m_tools); word.size() > 2 && !whole.isEmpty()) {
            act(word, whole, nextWord()); // "-nc"
        } else if (m_command && isLongName(word.section(u'=', 0, 0).sliced(1))) {
            complain(u"\"%1\" with one dash is letters to plait. Write \"-%1\"."_s.arg(word.section(u'=', 0, 0)));
        } else {
            m_word = word;
            readLetters(word.sliced(1));
            m_word.clear();
        }
    }

    /// Two letters are letters.
    static bool isLongName(const QString &name)
    {
        const bool isOurs = CommandOptions::table().find(name) || name == "help"_L1 || name == "version"_L1;
        return name.size() > 2 && (isOurs || !Habits::meanings(u"--"_s + name, Habits::tools()).isEmpty());
    }

    Following nextWord() const { return {!m_rest.isEmpty(), false, false, m_rest.value(0)}; }

    void readLong(const QString &word)
    {
        const QString name = word.section(u'=', 0, 0);
        const bool isAttached = word.contains(u'=');
        const Following following = isAttached ? Following{true, true, false, word.section(u'=', 1)} : nextWord();
        const OptionRow *const own = ownOption(name.sliced(2));
        if (own && m_command && !isOfOthers(*own, name, following)) {
            m_hasSplit = m_hasSplit || name == "--split"_L1;
            m_isSilent = m_isSilent || name == "--silent"_L1;
            copy(*own, following);
            return;
        }
        const Meanings whole = Habits::meanings(word, m_tools);
        const Meanings meanings = whole.isEmpty() ? Habits::meanings(name, m_tools) : whole;
        if (!meanings.isEmpty())
            act(name, meanings, whole.isEmpty() ? following : nextWord());
        else if (own)
            copy(*own, following);
        else
            pass(word);
    }

    /// A choice that is none here, but is one of others: "--progress=dot:giga".
    bool isOfOthers(const OptionRow &own, const QString &name, const Following &following) const
    {
        const bool isChoice = own.type == OptionRow::Type::Choice && following.isThere;
        const bool isOurs = QString::fromLatin1(own.choices).split(u' ').contains(following.text);
        return isChoice && !isOurs && Habits::meanings(name, m_tools).size() == 1;
    }

    /// To aria2, "-s" is of the file and "-x" of each server; where both were said, that is what was meant.
    void tellLettersFromSplit()
    {
        for (const qsizetype at : std::as_const(m_letters)) {
            QString &option = m_read.options[at];
            if (m_hasSplit)
                option.replace("--max-connections="_L1, "--max-connections-per-server="_L1);
        }
    }

    /// To curl, "-sv" shows no progress, and tells all the rest.
    void tellSilenceFromQuiet()
    {
        if (m_isSilent && m_read.options.contains("--verbose"_L1) && m_read.options.removeAll(u"--quiet"_s) > 0)
            m_read.options.prepend(u"--progress=none"_s);
    }

    /// "-qo", and what follows: flags up to the first that takes a value.
    void readLetters(QString letters)
    {
        const QList<const Habits::Tool *> tools = toolsThatKnow(letters);
        m_tookAttached = false;
        while (!letters.isEmpty() && !m_tookAttached && m_read.complaint.isEmpty()) {
            const QString name = u'-' + letters.left(1);
            letters.remove(0, 1);
            readLetter(name, tools, letters.isEmpty() ? nextWord() : Following{true, true, true, letters});
        }
    }

    void readLetter(const QString &name, const QList<const Habits::Tool *> &tools, const Following &following)
    {
        const Meanings meanings = Habits::meanings(name, tools);
        const OptionRow *const own = ownLetter(name.at(1));
        if (m_command && following.isLetters && following.text.startsWith(u'='))
            complain(u"behind the letter of \"%1\" there is no \"=\". Put a blank in its place."_s.arg(name));
        else if (own)
            copyLetter(*own, name, following);
        else if (!meanings.isEmpty())
            act(name, meanings, following);
        else
            pass(name);
    }

    enum class LetterKind { Unknown, Flag, WithValue };

    LetterKind kindOf(QChar letter, const QList<const Habits::Tool *> &tools) const
    {
        const OptionRow *const own = ownLetter(letter);
        const Meanings meanings = Habits::meanings(u'-' + QString(letter), tools);
        if (!own && meanings.isEmpty())
            return LetterKind::Unknown;
        const bool hasValue = own ? takesValue(*own) : meanings.constFirst().habit.value != nullptr;
        return hasValue ? LetterKind::WithValue : LetterKind::Flag;
    }

    /// Letters in one word are of one program: of each that knows them, up to the first that takes the rest.
    QList<const Habits::Tool *> toolsThatKnow(const QString &letters) const
    {
        QList<const Habits::Tool *> tools = m_tools;
        tools.removeIf([&](const Habits::Tool *tool) {
            const auto last = std::find_if(letters.cbegin(), letters.cend(),
                                           [&](QChar letter) { return kindOf(letter, {tool}) != LetterKind::Flag; });
            return last != letters.cend() && kindOf(*last, {tool}) == LetterKind::Unknown;
        });
        return tools.isEmpty() ? m_tools : tools;
    }

    /// Each once, and none but the last with a value: "LJ" rather than a name. "C-" is usual, too.
    bool areLetters(const QString &letters) const
    {
        const QString text = letters.endsWith(u'-') ? letters.chopped(1) : letters;
        for (qsizetype i = 0; i < text.size(); ++i) {
            const LetterKind kind = kindOf(text.at(i), m_tools);
            const bool isLast = i + 1 == text.size();
            if (kind == LetterKind::Unknown || (kind == LetterKind::WithValue && !isLast)
                || text.indexOf(text.at(i), i + 1) >= 0)
                return false;
        }
        return true;
    }

    const OptionRow *ownOption(const QString &name) const
    {
        const OptionRow *const row = CommandOptions::table().find(name);
        return row && (!m_command || m_command->takes(*row)) ? row : nullptr;
    }

    const OptionRow *ownLetter(QChar letter) const
    {
        const QList<const OptionRow *> rows = m_command ? m_command->options() : QList<const OptionRow *>();
        const auto found = std::find_if(rows.cbegin(), rows.cend(), [letter](const OptionRow *row) {
            return row->letter && QLatin1Char(row->letter) == letter;
        });
        return found == rows.cend() ? nullptr : *found;
    }

    /// A letter of ours, which other programs have for other things.
    void copyLetter(const OptionRow &row, const QString &name, const Following &following)
    {
        const bool isMisread =
            following.text.contains("://"_L1) && (row.type == OptionRow::Type::Number || row.isPath());
        const Meanings meanings = Habits::meanings(name, m_tools);
        if (isMisread && !meanings.isEmpty())
            complain(u"\"%1\" is \"--%2 %3\" here, and an address is none. "_s.arg(name, QLatin1StringView(row.name),
                                                                                   QLatin1StringView(row.valueName))
                     + told(name, meanings));
        else
            copyOfLetter(row, following);
    }

    void copyOfLetter(const OptionRow &row, const Following &following)
    {
        const qsizetype before = m_read.options.size();
        copy(row, following);
        if (isOfFile(row) && m_read.options.size() > before)
            m_letters.append(before);
    }

    void copy(const OptionRow &row, const Following &following)
    {
        const QString name = u"--"_s + QLatin1StringView(row.name);
        const bool isBare = !takesValue(row) && (!following.isAttached || following.isLetters);
        if (isBare)
            m_read.options.append(name);
        else if (isValueThere(name, row.valueName, following))
            write(name, taken(following));
    }

    bool isValueThere(const QString &name, const char *value, const Following &following)
    {
        if (!following.isThere)
            complain(u"\"%1\" needs a value, %2."_s.arg(name, QLatin1StringView(value)));
        return following.isThere;
    }

    /// The parser beneath takes an empty value for none where it stands behind "=".
    void write(const QString &name, const QString &value)
    {
        if (value.isEmpty())
            m_read.options += {name, value};
        else
            m_read.options.append(name + u'=' + value);
    }

    QString taken(const Following &following)
    {
        m_tookAttached = following.isAttached;
        return following.isAttached ? following.text : m_rest.takeFirst();
    }

    /// What nobody knows is told by who looks for what is near.
    void pass(const QString &word)
    {
        if (m_command)
            m_read.options.append(word);
        else
            complain(u"\"%1\" is not known here. Take it out, and try again."_s.arg(word.section(u'=', 0, 0)));
    }

    void act(const QString &name, const Meanings &meanings, const Following &following)
    {
        Meanings fitting = meanings;
        if (meanings.size() > 1)
            fitting.removeIf([&](const Habits::Meaning &meaning) { return !fits(meaning.habit, following); });
        preferValues(fitting, following);
        preferLetters(fitting, following);
        preferKnown(fitting, following);
        if (fitting.size() == 1)
            act(name, fitting.constFirst(), following);
        else
            complain(told(inItsWord(name, meanings), meanings));
    }

    /// "-O" in "-Ofoo", if that may be shown.
    QString inItsWord(const QString &name, const Meanings &meanings) const
    {
        const bool isSecret = std::any_of(meanings.cbegin(), meanings.cend(),
                                          [](const Habits::Meaning &meaning) { return meaning.habit.isSecret; });
        return m_word.isEmpty() || m_word == name || isSecret ? name : u"%1\" in \"%2"_s.arg(name, m_word);
    }

    static void preferValues(Meanings &fitting, const Following &following)
    {
        const auto isValue = [&following](const Habits::Meaning &meaning) {
            return following.isLetters && meaning.habit.isPlainlyValue(following.text);
        };
        if (std::any_of(fitting.cbegin(), fitting.cend(), isValue))
            fitting.removeIf([&isValue](const Habits::Meaning &meaning) { return !isValue(meaning); });
    }

    /// "robots=off" is of one program.
    static void preferKnown(Meanings &fitting, const Following &following)
    {
        const auto isKnown = [&following](const Habits::Meaning &meaning) {
            return meaning.habit.isNeedless && meaning.habit.isNeedless(following.text);
        };
        if (fitting.size() > 1 && std::any_of(fitting.cbegin(), fitting.cend(), isKnown))
            fitting.removeIf([&isKnown](const Habits::Meaning &meaning) { return !isKnown(meaning); });
    }

    void preferLetters(Meanings &fitting, const Following &following) const
    {
        const auto isFlag = [](const Habits::Meaning &meaning) { return !meaning.habit.value; };
        if (fitting.size() > 1 && following.isLetters && areLetters(following.text)
            && std::any_of(fitting.cbegin(), fitting.cend(), isFlag))
            fitting.removeIf([&isFlag](const Habits::Meaning &meaning) { return !isFlag(meaning); });
    }

    bool fits(const Habit &habit, const Following &following) const
    {
        const QString &text = following.text;
        if (!habit.value && following.isLetters)
            return isLetter(text.left(1));
        if (!habit.value)
            return !following.isAttached && (!following.isThere || isOption(text) || isAddressNext());
        if (!following.isThere)
            return false;
        if (habit.isNumber())
            return !text.isEmpty() && text.at(0).isDigit();
        return following.isAttached
            || (!isOption(text) && (qstrcmp(habit.value, "URL") == 0 || !text.contains("://"_L1)));
    }

    /// "x.iso" is a name where there is an address behind it, else a host.
    bool isAddressNext() const
    {
        const QString word = m_rest.value(0);
        return isAddress(word) && (word.contains(u'/') || std::none_of(m_rest.cbegin() + 1, m_rest.cend(), &isAddress));
    }

    bool isLetter(const QString &letter) const
    {
        return !letter.isEmpty() && (ownLetter(letter.at(0)) || !Habits::meanings(u'-' + letter, m_tools).isEmpty());
    }

    void act(const QString &name, const Habits::Meaning &meaning, const Following &following)
    {
        const Habit &habit = meaning.habit;
        if (habit.value && !isValueThere(name, habit.value, following))
            return;
        const bool isOff = !habit.value && following.isAttached && !following.isLetters && following.text == "false"_L1;
        const QString value = habit.value ? taken(following) : QString();
        if (isOff) {
            turnOff(name, meaning);
            return;
        }
        switch (habit.isNeedless && habit.isNeedless(value) ? Kind::Needless : habit.kind) {
        case Kind::Same:
            writeOwn(habit, value);
            break;
        case Kind::Always:
            break;
        case Kind::Needless:
            noteWithout(name, sayingOf(meaning));
            break;
        case Kind::Part:
            m_parts.add(QString::fromLatin1(habit.own), name, value);
            break;
        case Kind::Advice:
            leaveOut(name, meaning, value);
            break;
        case Kind::Refused:
            complain(told(name, {meaning}));
            break;
        }
    }

    void leaveOut(const QString &name, const Habits::Meaning &meaning, const QString &value)
    {
        const bool isToBeShown =
            !meaning.habit.isSecret && (!meaning.habit.isNumber() || meaning.habit.isPlainlyValue(value));
        const QString shown = isToBeShown && !value.isEmpty() ? NextCommand::quoted(value) : QString();
        if (m_command)
            complain(told(name, {meaning}, shown));
        else
            noteWithout(name, Habits::advice(meaning.habit, shown));
    }

    /// Of what is not done without it, nothing is lost. What is so without it stays so.
    void turnOff(const QString &name, const Habits::Meaning &meaning)
    {
        if (meaning.habit.kind == Kind::Always)
            noteWithout(name + "=false"_L1, sayingOf(meaning));
    }

    static QString sayingOf(const Habits::Meaning &meaning) { return QString::fromUtf8(meaning.habit.says); }

    void noteWithout(const QString &name, const QString &why)
    {
        m_read.notes.append(u"\"%1\" is left out: %2."_s.arg(name, why));
    }

    void writeOwn(const Habit &habit, const QString &value)
    {
        const QString own = QString::fromLatin1(habit.own);
        m_hasSplit = m_hasSplit || (m_command && own == "max-connections"_L1);
        m_isSilent = m_isSilent || own == "quiet"_L1;
        if (!habit.own)
            m_read.addresses.append(value);
        else if (habit.made)
            m_read.options.append(habit.made(value));
        else if (own.contains(u'='))
            m_read.options.append(u"--"_s + QString(own).replace("%1"_L1, value));
        else if (habit.value)
            write(u"--"_s + own, value);
        else
            m_read.options.append(u"--"_s + own);
    }

    void complain(const QString &text)
    {
        if (m_read.complaint.isEmpty())
            m_read.complaint = text;
    }

    QStringList m_rest;
    const CommandRow *const m_command;
    const QList<const Habits::Tool *> m_tools;
    HabitParts m_parts;
    HabitReader::Read m_read;
    QList<qsizetype> m_letters; ///< where "-x" is among the options
    QString m_word; ///< that has the letters which are being read
    bool m_hasSplit = false; ///< connections of a file were given by aria2's name
    bool m_isSilent = false; ///< quiet was asked for by curl's name
    bool m_tookAttached = false; ///< the value was the rest of the word
};

}

HabitReader::Read HabitReader::typed(const QStringList &words, const CommandRow &command)
{
    return Reading(words, &command, Habits::tools()).read();
}

HabitReader::Read HabitReader::imported(const QStringList &words, const Habits::Tool &tool)
{
    return Reading(words, nullptr, {&tool}).read();
}
