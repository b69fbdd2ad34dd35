// SPDX-License-Identifier: MIT
#include <cli/optionparser.h>

#include <cli/commandoptions.h>
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
constexpr char kDescription[] =
    "Downloads files over HTTP, HTTPS and FTP on several connections, and goes on where it was interrupted.";
constexpr char kFooter[] =
    "Run \"plait COMMAND --help\" for the options of a command. \"plait URL\" is \"plait get URL\".";
const QString kSeeHelp = u" Run \"plait --help\" to see what there is."_s;

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
        : m_app(kDescription, kName)
    {
        m_app.set_version_flag("--version", std::string(kName) + " " PLAIT_VERSION);
        m_app.require_subcommand(0, 1);
        m_app.footer(kFooter);
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
                       [](const QString &word) { return word.toLocal8Bit().toStdString(); });
        m_app.parse(reversed);
    }

    static QStringList toTexts(const std::vector<std::string> &texts)
    {
        QStringList result;
        for (const std::string &text : texts)
            result.append(QString::fromLocal8Bit(text));
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
        CLI::Option *const option = row.repeats
            ? app.add_option(namesOf(row), m_many, row.help)->allow_extra_args(false)
            : app.add_option(namesOf(row), m_one, row.help);
        option->type_name(valuesOf(row));
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
    std::string m_one;
};

QList<OptionParser::Typed> optionsOf(const CLI::App &command)
{
    QList<OptionParser::Typed> options;
    for (const OptionRow *row : CommandOptions::table().rows()) {
        const CLI::Option *const option = command.get_option_no_throw(std::string("--") + row->name);
        if (option && option->count() > 0)
            options.append({row, Grammar::toTexts(option->results())});
    }
    return options;
}

OptionParser::Parsed complaint(const QString &text)
{
    OptionParser::Parsed parsed;
    parsed.text = text;
    return parsed;
}

OptionParser::Parsed answer(const std::string &text)
{
    OptionParser::Parsed parsed = complaint(QString::fromStdString(text));
    parsed.isHelp = true;
    return parsed;
}

/// The parser's words, made a sentence. A value that it could not read may be anything.
QString complaintOf(const CLI::ParseError &error)
{
    QStringList parts = QString::fromLocal8Bit(error.what()).simplified().split(u' ');
    if (error.get_name() == "ConversionError" || error.get_name() == "ValidationError")
        std::transform(parts.begin(), parts.end(), parts.begin(), &Redaction::typed);
    return parts.join(u' ') + u'.' + kSeeHelp;
}

/// The value of an option that is none may be meant for one that is secret, and the word behind it may be its value.
QString complaintOfExtras(const QStringList &extras)
{
    for (const QString &text : extras) {
        if (!text.startsWith(u'-') || text.size() < 2)
            continue;
        const bool isLong = text.startsWith(u"--"_s);
        const QString name = isLong ? text.section(u'=', 0, 0) : text.left(2);
        const QString value = name == text ? QString() : isLong ? u"=…"_s : u"…"_s;
        return u"there is no option \"%1\" here."_s.arg(name + value) + kSeeHelp;
    }
    return u"\"%1\" is a word too many."_s.arg(Redaction::typed(extras.value(0))) + kSeeHelp;
}

}

OptionParser::Parsed OptionParser::parse(const QStringList &words)
{
    Grammar grammar;
    try {
        grammar.parse(words);
        const CLI::App *const chosen = grammar.chosen();
        return {CommandTable::find(QString::fromStdString(chosen->get_name())),
                grammar.words(),
                optionsOf(*chosen),
                false,
                {}};
    } catch (const CLI::CallForHelp &) {
        const CLI::App *const command = grammar.chosen();
        return answer(command ? command->help() : grammar.app().help());
    } catch (const CLI::CallForVersion &version) {
        return answer(std::string(version.what()) + '\n');
    } catch (const CLI::ExtrasError &) {
        return complaint(complaintOfExtras(Grammar::toTexts(grammar.app().remaining(true))));
    } catch (const CLI::ParseError &error) {
        return complaint(complaintOf(error));
    }
}
