// SPDX-License-Identifier: MIT
#include <cli/commandline.h>

#include <host/policy/harmlessheaders.h>
#include <host/policy/redaction.h>
#include <host/policy/shown.h>

#include <QFile>
#include <QSet>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <memory>
#include <sstream>

using namespace Qt::StringLiterals;

namespace
{

/// No download runs over more.
constexpr int kMostConnections = 20;
constexpr int kMostJobs = 1000;
constexpr int kMostOverallConnections = kMostJobs * kMostConnections;
constexpr int kMostTries = 1000000;

struct CommandText {
    const char *name;
    const char *description;
};

constexpr CommandText kCommands[] = {
    {"get", "Download URLs; the word may be left out"},
    {"list", "Show the downloads of the list, the newest first"},
    {"show", "Show all that is known of a download"},
    {"resume", "Go on with downloads of the list"},
    {"restart", "Fetch a download again from the beginning"},
    {"check", "Ask whether the server still has the same file"},
    {"finish", "Be content with the bytes that are there, if they are one piece from the start"},
    {"query", "Print name, size, type, resume support and final URL; download nothing"},
    {"set-url", "Give a download another address for the same file"},
    {"remove", "Take a download off the list; its file stays"},
    {"config", "Print the settings, as a configuration file would have them"},
};

constexpr char kName[] = "plait";

/// One reading of words into options.
class Reading
{
public:
    Reading()
        : m_app(
            "Downloads files over HTTP, HTTPS and FTP on several connections, and goes on where it was interrupted.",
            kName)
    {
        m_app.set_version_flag("--version", std::string(kName) + " " PLAIT_VERSION);
        m_app.require_subcommand(0, 1);
        m_app.footer("Run \"plait COMMAND --help\" for the options of a command. \"plait URL\" is \"plait get URL\".");
        for (const CommandText &command : kCommands)
            describe(*m_app.add_subcommand(command.name, command.description), command.name);
    }

    CLI::App &app() { return m_app; }
    Typed &typed() { return m_typed; }
    CLI::App *chosen() const
    {
        const auto chosen = m_app.get_subcommands();
        return chosen.empty() ? nullptr : chosen.front();
    }
    CLI::App *command(const std::string &name) { return m_app.get_subcommand(name); }

    /// Throws CLI::Error.
    void parse(const QStringList &words)
    {
        std::vector<std::string> reversed;
        std::transform(words.crbegin(), words.crend(), std::back_inserter(reversed),
                       [](const QString &word) { return word.toLocal8Bit().toStdString(); });
        m_app.parse(reversed);
        if (const CLI::App *const command = chosen())
            m_typed.command = command->get_name();
        m_typed.hasOutput = wasGiven("--output");
        m_typed.hasConnections = wasGiven("--max-connections");
        m_typed.hasConnectionsPerServer = wasGiven("--max-connections-per-server");
        m_typed.hasLimitRate = wasGiven("--limit-rate");
        m_typed.hasOnExists = wasGiven("--on-exists");
        m_typed.hasOnChanged = wasGiven("--on-changed");
        m_typed.hasOnUnresumable = wasGiven("--on-unresumable");
    }

    bool wasGiven(const std::string &option) const
    {
        const CLI::App *const command = chosen();
        const CLI::Option *const found = command ? command->get_option_no_throw(option) : nullptr;
        return found && found->count() > 0;
    }

private:
    void describe(CLI::App &command, const std::string &name)
    {
        describeEvery(command);
        const bool fetches = name == "get" || name == "query";
        const bool runs = name == "get" || name == "resume" || name == "restart" || name == "finish";
        if (fetches)
            describeRequest(command, name == "get");
        if (runs)
            describeQueue(command);
        if (name == "resume" || name == "restart" || name == "check" || name == "set-url")
            describeCustomHeaders(command);
        if (fetches || runs || name == "check" || name == "set-url" || name == "config")
            describeNetwork(command);
        if (name == "config") {
            describeQueue(command);
            describeHeaders(command);
            describePlace(command);
        }
        describeIds(command, name);
    }

    void describeEvery(CLI::App &app)
    {
        app.add_option("--list", m_typed.listFile, "Keep the list of downloads in this file")->type_name("FILE");
        app.add_option("--config", m_ignored, "Read settings from this file")->type_name("FILE");
        app.add_flag("--json", m_typed.json, "Print one JSON object a line on standard output");
        app.add_flag("-q,--quiet", m_typed.quiet, "Print errors only");
        app.add_option("--log", m_typed.logFile, "Append the log to this file")->type_name("FILE");
        app.add_option("--log-level", m_typed.logLevel, "0: none; 1: the course of downloads; 4: their sections, too")
            ->type_name("N")
            ->check(CLI::Range(0, 9));
    }

    void describeRequest(CLI::App &app, bool downloads)
    {
        app.add_option("URL", m_typed.words, "What to download");
        app.add_option("-i,--input-file", m_typed.inputFile, "Take URLs from this file, one a line; -: standard input")
            ->type_name("FILE");
        describeHeaders(app);
        app.add_option("--post-data", m_typed.postData, "Send a POST request with this body")->type_name("S");
        if (!downloads)
            return;
        describePlace(app);
        app.add_option("-o,--output", m_typed.output,
                       "Exact name to save under, or a path (default: the server's name)")
            ->type_name("FILE");
        app.add_option("--mirror", m_typed.mirrors, "Another address of the same file; may be given several times")
            ->type_name("URL")
            ->allow_extra_args(false);
        app.add_option("--checksum", m_typed.checksum, "Compare the finished file with this hash")
            ->type_name("ALGO=HEX");
        app.add_flag("--query", m_typed.query, "The same as \"plait query\"");
    }

    void describeHeaders(CLI::App &app)
    {
        describeCustomHeaders(app);
        app.add_option("--referer", m_typed.referer, "Send this address as the referring page")->type_name("URL");
        app.add_option("--user-agent", m_typed.userAgent, "Send this name of the program")->type_name("S");
    }

    void describeCustomHeaders(CLI::App &app)
    {
        app.add_option("--header", m_typed.headers,
                       "Send this header to the address's server; several times if need be")
            ->type_name("'N: V'")
            ->allow_extra_args(false);
        app.add_option("--header-for-all", m_typed.headersForAll,
                       "The same to every server that the download leads to, by redirects, too")
            ->type_name("'N: V'")
            ->allow_extra_args(false);
    }

    void describePlace(CLI::App &app)
    {
        app.add_option("-d,--dir", m_typed.folder, "Folder to save in; made where it is missing (default: this one)")
            ->type_name("DIR");
        app.add_option("--on-exists", m_typed.onExists, "When a file of that name is there (default: rename)")
            ->check(CLI::IsMember({"rename", "overwrite", "skip", "ask", "fail"}));
    }

    void describeQueue(CLI::App &app)
    {
        app.add_option("-j,--max-downloads", m_typed.jobs, "Downloads at once (default: 4)")
            ->type_name("N")
            ->check(CLI::Range(1, kMostJobs));
        app.add_option("-x,--max-connections", m_typed.connections, "Most connections of one download (default: 8)")
            ->type_name("N")
            ->check(CLI::Range(1, kMostConnections));
        app.add_option("--max-connections-per-server", m_typed.connectionsPerServer,
                       "Most of them to one server; 0: no limit (default)")
            ->type_name("N")
            ->check(CLI::Range(0, kMostConnections));
        app.add_option("--max-overall-connections", m_typed.overallConnections,
                       "Most of all downloads together; 0: no limit (default)")
            ->type_name("N")
            ->check(CLI::Range(0, kMostOverallConnections));
        app.add_option("--max-overall-connections-per-server", m_typed.overallConnectionsPerServer,
                       "Most to one server of all downloads together; 0: no limit (default)")
            ->type_name("N")
            ->check(CLI::Range(0, kMostJobs));
        app.add_option("--limit-rate", m_typed.limitRate, "Most bytes a second of each download; K, M, G of 1024")
            ->type_name("RATE");
        app.add_option("--max-overall-download-limit", m_typed.overallLimit, "Most bytes a second of all downloads")
            ->type_name("RATE");
        app.add_option("--tries", m_typed.tries, "Tries in a row that bring nothing (default: 5); 0: no end")
            ->type_name("N")
            ->check(CLI::Range(0, kMostTries));
        app.add_option("--retry-wait", m_typed.retryWait,
                       "Seconds after the first of them, doubled with each that follows (default: 1)")
            ->type_name("SECONDS");
        app.add_option("--on-changed", m_typed.onChanged, "When the server has another file by now (default: ask)")
            ->check(CLI::IsMember({"ask", "restart", "fail"}));
        app.add_option("--on-unresumable", m_typed.onUnresumable,
                       "When the server does not send the rest of a file alone (default: ask)")
            ->check(CLI::IsMember({"ask", "restart", "fail"}));
        app.add_option("--progress", m_typed.progress, "How to show progress (default: auto)")
            ->check(CLI::IsMember({"auto", "bar", "line", "none"}));
    }

    void describeNetwork(CLI::App &app)
    {
        app.add_option("--load-cookies", m_typed.cookiesFile, "Send cookies from this file, of Netscape's format")
            ->type_name("FILE");
        app.add_option("--proxy", m_typed.proxy, "Reach servers through this proxy: http:// or socks5://")
            ->type_name("URL");
        app.add_option("--user", m_typed.user, "Name and password for servers that ask for them")
            ->type_name("NAME[:PASSWORD]");
        app.add_flag("--netrc", m_typed.netrc, "Take names and passwords from ~/.netrc");
        app.add_option("--netrc-file", m_typed.netrcFile, "The same, from this file")->type_name("FILE");
        app.add_flag("--keep-secrets,--store-secrets", m_typed.storeSecrets,
                     "Keep name, password and values of headers in the list, for later resumes");
        app.add_flag("--insecure", m_typed.insecure, "Go on with servers whose certificate is not trusted");
        app.add_option("--ca-certificate", m_typed.caCertificatesFile, "Trust these PEM certificates, too")
            ->type_name("FILE")
            ->check(CLI::ExistingFile);
    }

    void describeIds(CLI::App &app, const std::string &name)
    {
        if (name == "list") {
            app.add_flag("--finished", m_typed.finished, "Finished ones only");
            app.add_flag("--unfinished", m_typed.unfinished, "Unfinished ones only");
            app.add_option("-n,--limit", m_typed.limit, "Lines at most (default: 50); 0: no limit")
                ->type_name("N")
                ->check(CLI::NonNegativeNumber);
            app.add_option("--sort", m_typed.sortBy, "By what (default: id, the newest first)")
                ->check(CLI::IsMember({"id", "name", "size", "time"}));
            auto *const check =
                app.add_flag("--check", m_typed.check, "Look whether the list is whole; change nothing");
            app.add_flag("--repair", m_typed.repair, "Bring over what can be read of a damaged list, and keep that")
                ->excludes(check);
            app.add_option("FILE", m_typed.words, "With --check, --repair: a list that was set aside")->expected(0, 1);
        } else if (name == "resume") {
            app.add_option("ID", m_typed.words, "Numbers of the list");
            app.add_flag("--all", m_typed.all, "Everything that is unfinished");
        } else if (name == "set-url") {
            app.add_option("ID", m_typed.words, "Number of the list, and the new URL")
                ->type_name("ID URL")
                ->expected(2);
            app.add_flag("--force", m_typed.force, "Even where the file there may be another one");
        } else if (name == "remove") {
            app.add_option("ID", m_typed.words, "Numbers of the list")->required();
            app.add_flag("--delete-file", m_typed.withFile, "Delete the file, too");
        } else if (name == "show" || name == "restart" || name == "check" || name == "finish") {
            app.add_option("ID", m_typed.words, "Numbers of the list")->required();
        }
    }

    CLI::App m_app;
    Typed m_typed;
    std::string m_ignored; ///< read before all others
};

const QString kSeeHelp = u" Run \"plait --help\" to see what there is."_s;

/// CLI11's words, made a sentence. A value that it could not read may be anything.
QString complaintOf(const CLI::ParseError &error)
{
    QStringList parts = QString::fromLocal8Bit(error.what()).simplified().split(u' ');
    if (error.get_name() == "ConversionError" || error.get_name() == "ValidationError")
        std::transform(parts.begin(), parts.end(), parts.begin(), &Redaction::typed);
    return parts.join(u' ') + u'.' + kSeeHelp;
}

/// The value of an option that is none may be meant for one that is secret, and the word behind it may be its value.
QString complaintOfExtras(const std::vector<std::string> &extras)
{
    for (const std::string &word : extras) {
        const QString text = QString::fromLocal8Bit(word);
        if (!text.startsWith(u'-') || text.size() < 2)
            continue;
        const bool isLong = text.startsWith(u"--"_s);
        const QString name = isLong ? text.section(u'=', 0, 0) : text.left(2);
        const QString value = name == text ? QString() : isLong ? u"=…"_s : u"…"_s;
        return u"there is no option \"%1\" here."_s.arg(name + value) + kSeeHelp;
    }
    const QString first = extras.empty() ? QString() : QString::fromLocal8Bit(extras.front());
    return u"\"%1\" is a word too many."_s.arg(Redaction::typed(first)) + kSeeHelp;
}

struct Setting {
    QString name;
    QStringList values;
};

/// The rest of a line is one value, with all its spaces, commas and brackets.
CLI::ConfigBase wholeLines()
{
    constexpr char kNever = '\x1f';
    CLI::ConfigBase format;
    format.arrayBounds(kNever, kNever)->arrayDelimiter(kNever)->comment(kNever);
    return format;
}

/// Lines "name = value" of the file. Nothing where there is no file.
std::optional<QList<Setting>> settingsOf(const QString &fileName, QString *errorText)
{
    QFile file(fileName);
    if (!file.exists())
        return QList<Setting>();
    if (!file.open(QIODevice::ReadOnly)) {
        *errorText = u"cannot read the settings in \"%1\": %2."_s.arg(fileName, file.errorString());
        return std::nullopt;
    }
    std::istringstream stream(file.readAll().toStdString());
    QList<Setting> settings;
    try {
        for (const CLI::ConfigItem &item : wholeLines().from_config(stream)) {
            Setting setting{QString::fromStdString(item.name), {}};
            for (const std::string &value : item.inputs)
                setting.values.append(QString::fromLocal8Bit(value));
            settings.append(setting);
        }
    } catch (const CLI::Error &error) {
        *errorText = u"cannot read the settings in \"%1\": %2."_s.arg(
            fileName, QString::fromLocal8Bit(error.what()).simplified());
        return std::nullopt;
    }
    return settings;
}

/// What only one command line can mean is no setting.
bool isSetting(const QString &name)
{
    static const QSet<QString> kNotSettings{u"config"_s,      u"help"_s,       u"output"_s,     u"mirror"_s,
                                            u"checksum"_s,    u"post-data"_s,  u"query"_s,      u"all"_s,
                                            u"delete-file"_s, u"force"_s,      u"input-file"_s, u"user"_s,
                                            u"finished"_s,    u"unfinished"_s, u"check"_s,      u"repair"_s};
    return !kNotSettings.contains(name);
}

/// A line without a sign is a name as a whole, with the value in it.
QString shownName(const QString &name)
{
    return Redaction::typed(name.section(u' ', 0, 0).section(u'\t', 0, 0));
}

bool isKnown(Reading &reading, const QString &name)
{
    const std::string option = "--" + name.toStdString();
    return isSetting(name) && std::any_of(std::begin(kCommands), std::end(kCommands), [&](const CommandText &command) {
               return reading.command(command.name)->get_option_no_throw(option) != nullptr;
           });
}

/// The words that say what the settings say, of those that the command has and that were not typed.
QStringList wordsFor(const QList<Setting> &settings, const Reading &typed)
{
    QStringList words;
    const CLI::App *const command = typed.chosen();
    for (const Setting &setting : settings) {
        const std::string option = "--" + setting.name.toStdString();
        const CLI::Option *const found = command ? command->get_option_no_throw(option) : nullptr;
        if (!found || found->count() > 0)
            continue;
        for (const QString &value : setting.values)
            words.append(u"--%1=%2"_s.arg(setting.name, value));
    }
    return words;
}

/// Of a setting that is for the eyes of servers and proxies alone; empty = there is nothing to hide.
QString hidden(const QString &name, const QString &value)
{
    if (name == "proxy"_L1 && value.contains(u'@'))
        return Redaction::typed(value);
    const QString header = value.section(u':', 0, 0).trimmed();
    const bool isHeader = name == "header"_L1 || name == "header-for-all"_L1;
    return isHeader && !HarmlessHeaders::isHarmless(header) ? header : QString();
}

/// A line of a settings file; quotes keep what a file would lose. What cannot be shown as it is, is a remark.
QString lineOf(const QString &name, const QString &value)
{
    const QString secret = hidden(name, value);
    const QString shown = Shown::text(secret.isEmpty() ? value : secret);
    if (!secret.isEmpty() || shown != value)
        return u"# %1 = (%2; not shown as it is)"_s.arg(name, shown);
    const bool needsQuotes = value != value.trimmed() || value.startsWith(u'"') || value.startsWith(u'\'');
    return u"%1 = %2"_s.arg(name, needsQuotes ? u'"' + value + u'"' : value);
}

/// One for each value.
QStringList linesOf(const QString &name, const CLI::Option &option)
{
    QStringList lines;
    for (const std::string &result : option.results())
        lines.append(lineOf(name, QString::fromLocal8Bit(result)));
    return lines.isEmpty() ? QStringList{u"# %1 ="_s.arg(name)} : lines;
}

/// As a file would have them: with their values, those that have none as remarks.
QString settingsText(const Reading &reading)
{
    QStringList lines;
    const CLI::App *const command = reading.chosen();
    const auto options = command ? command->get_options() : std::vector<const CLI::Option *>();
    for (const CLI::Option *option : options) {
        const QString name = QString::fromStdString(option->get_single_name());
        if (option->get_lnames().empty() || !isSetting(name))
            continue;
        lines += linesOf(name, *option);
    }
    return lines.join(u'\n');
}

/// A command among the addresses, which is none of them.
QString lateCommand(const Typed &typed)
{
    for (const std::string &word : typed.words) {
        const QString text = QString::fromLocal8Bit(word);
        if (CommandLine::commands().contains(text))
            return text;
    }
    return {};
}

}

QStringList CommandLine::commands()
{
    QStringList names;
    for (const CommandText &command : kCommands)
        names.append(QLatin1String(command.name));
    return names;
}

QString CommandLine::configFileOf(const QStringList &words)
{
    for (qsizetype i = 0; i < words.size(); ++i) {
        if (words.at(i) == "--config"_L1)
            return words.value(i + 1);
        if (words.at(i).startsWith("--config="_L1))
            return words.at(i).sliced(9);
    }
    return {};
}

CommandLine::Outcome CommandLine::read(const QStringList &typedWords, const QString &configFile)
{
    QStringList words = typedWords;
    static const QSet<QString> kOfTheProgram{u"--help"_s, u"-h"_s, u"--version"_s};
    const bool hasCommand =
        !words.isEmpty() && (commands().contains(words.first()) || kOfTheProgram.contains(words.first()));
    if (!hasCommand)
        words.prepend(u"get"_s);
    Reading reading;
    try {
        reading.parse(words);
        QString errorText;
        const std::optional<QList<Setting>> settings = settingsOf(configFile, &errorText);
        if (!settings)
            return {{}, false, errorText, {}};
        for (const Setting &setting : *settings) {
            if (!isKnown(reading, setting.name))
                return {{},
                        false,
                        u"\"%1\" in \"%2\" is no setting. Run \"plait config\" to see what there is."_s.arg(
                            shownName(setting.name), configFile),
                        {}};
        }
        const QString late = hasCommand ? QString() : lateCommand(reading.typed());
        if (!late.isEmpty())
            return {
                {},
                false,
                u"\"%1\" is a command, and a command comes first: \"plait %1 …\". Its options stand behind it."_s.arg(
                    late),
                {}};
        words = words.first(1) + wordsFor(*settings, reading) + words.sliced(1);
        Reading complete;
        complete.parse(words);
        return {complete.typed(), false, {}, settingsText(complete)};
    } catch (const CLI::CallForHelp &) {
        const CLI::App *const command = reading.chosen();
        return {{}, true, QString::fromStdString(command ? command->help() : reading.app().help()), {}};
    } catch (const CLI::CallForVersion &version) {
        return {{}, true, QString::fromLocal8Bit(version.what()) + u'\n', {}};
    } catch (const CLI::ExtrasError &) {
        return {{}, false, complaintOfExtras(reading.app().remaining(true)), {}};
    } catch (const CLI::ParseError &error) {
        return {{}, false, complaintOf(error), {}};
    }
}
