// SPDX-License-Identifier: MIT
#include <cli/optionparser.h>

#include <cli/commandoptions.h>
#include <cli/foreignbytes.h>
#include <cli/habitreader.h>
#include <cli/helptext.h>
#include <cli/importedcommand.h>
#include <cli/nearest.h>
#include <cli/nextcommand.h>
#include <host/policy/redaction.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{

using Type = OptionRow::Type;

constexpr char kName[] = "plait";
const QString kVersion = u"--version"_s;
/// What cannot be done twice, and is not to be done by the last one alone.
constexpr const char *kOnce[] = {"output", "checksum", "checksum-file", "post-data", "input-file"};

/// As the parser beneath has them: "-q,--quiet".
std::string namesOf(const OptionRow &row)
{
    std::string names = row.letter ? std::string("-") + row.letter + ',' : std::string();
    return names + "--" + row.names().join(",--"_L1).toStdString();
}

/// What help says of the values: "N:INT in [0 - 9]".
std::string valuesOf(const OptionRow &row)
{
    const std::string name = row.valueName;
    if (row.type == Type::Choice) {
        std::string choices = row.choices;
        std::replace(choices.begin(), choices.end(), ' ', ',');
        return name + ":{" + choices + '}';
    }
    if (row.type != Type::Number)
        return name;
    return row.most == std::numeric_limits<int>::max()
        ? name + ":NONNEGATIVE"
        : name + ":INT in [" + std::to_string(row.least) + " - " + std::to_string(row.most) + ']';
}

/// The tables as the parser beneath wants them. It sorts words; what they mean is left to whoever asked.
class Grammar
{
public:
    Grammar()
        : m_app(std::string(), kName)
    {
        m_app.set_version_flag("--version", std::string(kName) + " " PLAIT_VERSION);
        m_app.require_subcommand(0, 1);
        for (const CommandRow &command : CommandTable::rows())
            describe(*m_app.add_subcommand(command.name, command.help), command);
    }

    CLI::App &app() { return m_app; }
    const CLI::App *chosen() const
    {
        const auto chosen = m_app.get_subcommands();
        return chosen.empty() ? nullptr : chosen.front();
    }
    QStringList words() const { return toTexts(m_words); }

    /// Throws CLI::Error.
    void parse(const QStringList &words)
    {
        std::vector<std::string> reversed;
        std::transform(words.crbegin(), words.crend(), std::back_inserter(reversed),
                       [](const QString &word) { return ForeignBytes::bytes(word).toStdString(); });
        m_app.parse(reversed);
    }

    static QStringList toTexts(const std::vector<std::string> &texts)
    {
        QStringList result;
        for (const std::string &text : texts)
            result.append(ForeignBytes::text(QByteArray::fromStdString(text)));
        return result;
    }

private:
    void describe(CLI::App &app, const CommandRow &command)
    {
        const QList<const OptionRow *> options = command.options();
        for (const OptionRow *row : options)
            add(app, *row);
        for (const OptionRow *row : options) {
            if (row->excludes)
                app.get_option(std::string("--") + row->name)->excludes(std::string("--") + row->excludes);
        }
        if (command.wordName)
            addWords(app, command);
    }

    void add(CLI::App &app, const OptionRow &row)
    {
        if (row.type == Type::Flag) {
            app.add_flag(namesOf(row), row.help);
            return;
        }
        app.add_option(namesOf(row), m_many, row.help)->allow_extra_args(false)->type_name(valuesOf(row));
    }

    void addWords(CLI::App &app, const CommandRow &command)
    {
        CLI::Option *const words = app.add_option(command.wordName, m_words, command.wordHelp);
        if (command.wordType)
            words->type_name(command.wordType);
        if (command.mostWords > 0)
            words->expected(command.leastWords, command.mostWords);
        else if (command.leastWords > 0)
            words->required();
    }

    CLI::App m_app;
    std::vector<std::string> m_words;
    std::vector<std::string> m_many; ///< what was typed is taken from the options themselves
};

QList<OptionParser::Typed> optionsOf(const CLI::App &command)
{
    QList<OptionParser::Typed> options;
    for (const OptionRow *row : CommandOptions::table().rows()) {
        const CLI::Option *const option = command.get_option_no_throw(std::string("--") + row->name);
        if (!option || option->count() == 0)
            continue;
        const QStringList texts = Grammar::toTexts(option->results());
        options.append({row, row->repeats ? texts : QStringList{texts.constLast()}});
    }
    return options;
}

OptionParser::Parsed complaint(const QString &text)
{
    OptionParser::Parsed parsed;
    parsed.text = text;
    return parsed;
}

OptionParser::Parsed answer(const QString &text)
{
    OptionParser::Parsed parsed = complaint(text);
    parsed.isHelp = true;
    return parsed;
}

QString nameOf(const OptionRow &row)
{
    return u"--"_s + QLatin1StringView(row.name);
}

QString seeOptions(const CommandRow *command)
{
    const bool isNamed = command && command->command != Command::Get;
    const QString topic = isNamed ? u"options "_s + QLatin1StringView(command->name) : u"options"_s;
    return u" Run \"plait help %1\" to see what there is."_s.arg(topic);
}

/// Of the first word of the parser's sentence, "--limit" or "--limit:"; null = it is of no option.
const OptionRow *optionIn(const QString &sentence)
{
    const QString name = sentence.section(u' ', 0, 0).section(u':', 0, 0);
    return name.startsWith("--"_L1) ? CommandOptions::table().find(name.sliced(2)) : nullptr;
}

QString complaintOfOption(const OptionRow &row, const QString &kind, const CommandRow *command)
{
    const QString name = nameOf(row);
    if (kind == "ArgumentMismatch"_L1 && row.type != Type::Flag)
        return u"\"%1\" needs a value. Write \"%1 %2\"."_s.arg(name, QLatin1StringView(row.valueName));
    return u"the value of \"%1\" is none."_s.arg(name) + seeOptions(command);
}

QString complaintOfWords(const CommandRow &command)
{
    const bool isOfList = QLatin1StringView(command.wordName) == "ID"_L1;
    return u"\"plait %1\" is written \"plait %2\"."_s.arg(QLatin1StringView(command.name),
                                                          QString::fromUtf8(command.usage))
        + (isOfList ? u" Run \"%1\" to see the numbers."_s.arg(NextCommand::line(u"list"_s)) : QString());
}

/// The parser's finding in our words. A value that it could not read may be anything.
QString complaintOf(const CLI::ParseError &error, const CommandRow *command)
{
    const QString kind = QString::fromStdString(error.get_name());
    const QString sentence = QString::fromLocal8Bit(error.what()).simplified();
    if (kind == "ExcludesError"_L1) // "--quiet excludes --verbose"
        return u"\"%1\" and \"%2\" cannot stand together. Leave one of them out."_s.arg(sentence.section(u' ', 0, 0),
                                                                                        sentence.section(u' ', -1));
    if (const OptionRow *row = optionIn(sentence))
        return complaintOfOption(*row, kind, command);
    if (command && command->wordName && (kind == "ArgumentMismatch"_L1 || kind == "RequiredError"_L1))
        return complaintOfWords(*command);
    return u"that makes no sense here."_s + seeOptions(command);
}

/// Two different values where neither may be dropped; empty = there are none.
QString complaintOfTwice(const CLI::App &chosen)
{
    for (const char *name : kOnce) {
        const CLI::Option *const option = chosen.get_option_no_throw(std::string("--") + name);
        const QStringList texts = option ? Grammar::toTexts(option->results()) : QStringList();
        if (texts.isEmpty() || texts.count(texts.constFirst()) == texts.size())
            continue;
        const bool isSecret = CommandOptions::table().find(QString::fromLatin1(name))->isSecret;
        const QString values =
            isSecret ? QString() : u": \"%1\" and \"%2\""_s.arg(texts.constFirst(), texts.constLast());
        return u"\"--%1\" is given twice%2. Run plait once for each."_s.arg(QLatin1StringView(name), values);
    }
    return {};
}

/// Where else there is an option of that name; empty = nowhere.
QString whereElse(const QString &name)
{
    const OptionRow *const row = name.startsWith("--"_L1) ? CommandOptions::table().find(name.sliced(2)) : nullptr;
    const QList<CommandRow> &commands = CommandTable::rows();
    const auto owner = std::find_if(commands.cbegin(), commands.cend(),
                                    [row](const CommandRow &command) { return row && command.takes(*row); });
    return owner == commands.cend() ? QString() : u" It is one of \"plait %1\"."_s.arg(QLatin1StringView(owner->name));
}

/// A command that reaches the network is typed as people are used to from others that do.
bool isLikeOthers(const CommandRow *command)
{
    return command && QString::fromLatin1(command->groups).split(u' ').contains("network"_L1);
}

QString nearestTo(const QString &name, const CommandRow *command)
{
    QStringList names{u"--help"_s};
    const QList<const OptionRow *> rows = command ? command->options() : QList<const OptionRow *>();
    for (const OptionRow *row : rows)
        names += (u"--"_s + row->names().join(" --"_L1)).split(u' ');
    if (isLikeOthers(command))
        names += Habits::names();
    const QString nearest = Nearest::of(name, names);
    if (nearest.startsWith(name))
        return nearest;
    const OptionRow *const row = CommandOptions::table().find(nearest.mid(2));
    return row ? nameOf(*row) : nearest;
}

QString complaintOfOption(const QString &name, const QString &value, const CommandRow *command)
{
    const QString what = u"there is no option \"%1\" here."_s.arg(name + value);
    const QString elsewhere = whereElse(name);
    if (!elsewhere.isEmpty())
        return what + elsewhere;
    const QString nearest = name.startsWith("--"_L1) ? nearestTo(name, command) : QString();
    return what + (nearest.isEmpty() ? seeOptions(command) : u" Did you mean \"%1\"?"_s.arg(nearest));
}

/// The value of an option that is none may be meant for one that is secret, and the word behind it may be its value.
QString complaintOfExtras(const QStringList &extras, const CommandRow *command)
{
    for (const QString &text : extras) {
        if (!text.startsWith(u'-') || text.size() < 2)
            continue;
        const bool isLong = text.startsWith(u"--"_s);
        const QString name = isLong ? text.section(u'=', 0, 0) : text.left(2);
        return complaintOfOption(name, name == text ? QString() : isLong ? u"=…"_s : u"…"_s, command);
    }
    return u"\"%1\" is a word too many."_s.arg(Redaction::typed(extras.value(0)))
        + (command && command->wordName ? u' ' + complaintOfWords(*command) : seeOptions(command));
}

/// What the words come to in those of ours.
struct OwnWords {
    QStringList words;
    QStringList notes;
    QStringList asides;
    QString complaint;
};

OwnWords typedWords(const CommandRow &command, const QStringList &words)
{
    const HabitReader::Read read = HabitReader::typed(words, command);
    if (read.options.contains(kVersion))
        return {{kVersion}, {}, {}, {}};
    const QStringList end = read.addresses.isEmpty() ? QStringList() : QStringList{u"--"_s};
    return {QStringList{QString::fromLatin1(command.name)} + read.options + end + read.addresses,
            {},
            read.notes,
            read.complaint};
}

/// Another program's line becomes options and addresses of the command that it asks for.
OwnWords importedWords(const QStringList &words)
{
    const ImportedCommand::Parts parts = ImportedCommand::partsOf(words);
    if (parts.own.contains("--help"_L1) || parts.own.contains("-h"_L1))
        return {{u"import"_s, u"--help"_s}, {}, {}, {}};
    const CommandRow &get = CommandTable::unnamed();
    const HabitReader::Read own = HabitReader::typed(parts.own, get);
    const ImportedCommand::Read line = ImportedCommand::read(parts.line);
    return {QStringList{QString::fromLatin1(get.name)} + line.options + own.options + QStringList{u"--"_s}
                + own.addresses + line.addresses,
            line.notes, own.notes, own.complaint.isEmpty() ? line.complaint : own.complaint};
}

OwnWords inOwnWords(const QStringList &words)
{
    const CommandRow *const command = CommandTable::find(words.value(0));
    if (command && command->command == Command::Import)
        return importedWords(words.sliced(1));
    return isLikeOthers(command) ? typedWords(*command, words.sliced(1)) : OwnWords{words, {}, {}, {}};
}

/// "help --limit-rate", which is no option of help.
bool asksForOption(const QStringList &words)
{
    const QString topic = words.value(1);
    return words.value(0) == "help"_L1 && topic.startsWith(u'-') && topic != "--help"_L1 && topic != "-h"_L1;
}

OptionParser::Parsed helpAbout(const QStringList &topics)
{
    QString problem;
    const QString text = HelpText::about(topics, &problem);
    return problem.isEmpty() ? answer(text) : complaint(problem);
}

}

OptionParser::Parsed OptionParser::parse(const QStringList &words)
{
    if (asksForOption(words))
        return helpAbout({words.at(1)});
    const OwnWords own = inOwnWords(words);
    if (!own.complaint.isEmpty())
        return complaint(own.complaint);
    Grammar grammar;
    try {
        grammar.parse(own.words);
        const CLI::App *const chosen = grammar.chosen();
        const CommandRow *const command = CommandTable::find(QString::fromStdString(chosen->get_name()));
        if (command->command == Command::Help)
            return helpAbout(grammar.words());
        const QString twice = complaintOfTwice(*chosen);
        if (!twice.isEmpty())
            return complaint(twice);
        return {command, grammar.words(), optionsOf(*chosen), own.notes, own.asides, false, {}};
    } catch (const CLI::CallForHelp &) {
        const CLI::App *const command = grammar.chosen();
        return helpAbout(command ? QStringList{QString::fromStdString(command->get_name())} : QStringList());
    } catch (const CLI::CallForVersion &version) {
        return answer(QString::fromLatin1(version.what()) + u'\n');
    } catch (const CLI::ExtrasError &) {
        return complaint(
            complaintOfExtras(Grammar::toTexts(grammar.app().remaining(true)), CommandTable::find(words.value(0))));
    } catch (const CLI::ParseError &error) {
        return complaint(complaintOf(error, CommandTable::find(words.value(0))));
    }
}
