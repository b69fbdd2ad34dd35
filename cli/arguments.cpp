// SPDX-License-Identifier: MIT
#include <cli/arguments.h>

#include <cli/address.h>
#include <cli/aftercommands.h>
#include <cli/checksumfile.h>
#include <cli/clausewords.h>
#include <cli/commandline.h>
#include <cli/familywords.h>
#include <cli/foreignbytes.h>
#include <cli/importedcommand.h>
#include <cli/listedrequests.h>
#include <cli/nextcommand.h>
#include <cli/ownfolders.h>
#include <cli/pathexpansion.h>
#include <cli/schemewords.h>
#include <cli/settingstext.h>
#include <host/engine/chosenoptions.h>
#include <host/policy/redaction.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <algorithm>
#include <iterator>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kDefaultLogLevel = 1;
constexpr int kLogLevelOfANamedLog = 4;

/// What belongs to one file, and what to do with several.
struct OfOneFile {
    QLatin1StringView option;
    QStringView complaint;
};

constexpr OfOneFile kOfOneFile[] = {
    {"mirror"_L1, u"--mirror names another address of one file, but there are several URLs. Run plait once for each."},
    {"checksum"_L1, u"--checksum is of one file, but there are several URLs. Run plait once for each."},
};

/// Some commands are named by an option of another.
Command commandOf(const CommandRow &row, const OptionValues &values)
{
    if (row.command == Command::List && values.flag("check"_L1))
        return Command::CheckList;
    if (row.command == Command::List && values.flag("repair"_L1))
        return Command::RepairList;
    if (row.command == Command::Get && values.flag("dry-run"_L1))
        return Command::Plan;
    return row.command == Command::Get && values.flag("query"_L1) ? Command::Query : row.command;
}

/// It works on what is in the list.
bool isOfTheList(Command command)
{
    switch (command) {
    case Command::Resume:
    case Command::Retry:
    case Command::Restart:
    case Command::Check:
    case Command::Finish:
    case Command::SetUrl:
    case Command::Remove:
    case Command::Clean:
        return true;
    default:
        return false;
    }
}

QString problemOfFolder(const QString &folder)
{
    return ForeignBytes::areIn(folder)
        ? u"the folder \"%1\" is not UTF-8, and would become another one. Rename it, or name another one with -d."_s
              .arg(ForeignBytes::shown(folder))
        : QString();
}

/// Windows writes lists in two bytes a character, and says so in front.
QString textOfList(const QByteArray &bytes)
{
    const auto encoding = QStringConverter::encodingForData(bytes);
    if (!encoding || *encoding == QStringConverter::Utf8)
        return ForeignBytes::text(bytes);
    return QStringDecoder(*encoding).decode(bytes);
}

ProgressMode progressOf(const QString &text)
{
    if (text == "bar"_L1)
        return ProgressMode::Bar;
    if (text == "json"_L1)
        return ProgressMode::Json;
    if (text == "line"_L1)
        return ProgressMode::Line;
    return text == "none"_L1 ? ProgressMode::None : ProgressMode::Auto;
}

ListFilter filterOf(const OptionValues &values)
{
    const bool finished = values.flag("finished"_L1);
    if (finished == values.flag("unfinished"_L1))
        return ListFilter::All;
    return finished ? ListFilter::Done : ListFilter::Unfinished;
}

/// A copied line may come through a pipe. Nobody is kept waiting at a terminal.
QStringList withLineOfInput(const QStringList &words)
{
    const bool isImport = words.value(0) == "import"_L1 && !words.contains("--help"_L1) && !words.contains("-h"_L1);
    if (!isImport || !ImportedCommand::partsOf(words.sliced(1)).line.isEmpty() || isatty(STDIN_FILENO))
        return words;
    QFile file;
    const QByteArray line = file.open(stdin, QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    return words + QStringList{u"--"_s, ForeignBytes::text(line)};
}

/// Makes arguments of what was chosen. The first complaint stays.
class Reader
{
public:
    Reader(const CommandLine::Outcome &line, const QString &currentFolder)
        : m_line(line)
        , m_values(line.values)
        , m_currentFolder(currentFolder)
    {
    }

    Arguments arguments()
    {
        Arguments result;
        result.command = commandOf(*m_line.command, m_values);
        result.session = ChosenOptions::session(m_values, m_currentFolder);
        result.session.listPath = absolute(m_values.text("list"_L1));
        result.session.isListKept = !m_values.flag("no-list"_L1);
        result.session.isListNeeded = isOfTheList(result.command);
        readWords(result);
        result.queue = ChosenOptions::queue(m_values);
        result.changes = ChosenOptions::changes(m_values);
        result.all = m_values.flag("all"_L1);
        result.failed = m_values.flag("failed"_L1);
        result.withFile = m_values.flag("delete-file"_L1);
        result.isToAsk = m_values.flag("timestamping"_L1);
        result.force = m_values.flag("force"_L1);
        readPrinting(result);
        result.notes = m_line.notes + (result.quiet ? QStringList() : m_line.asides);
        readLog(result);
        result.onComplete = program("on-complete"_L1);
        result.onError = program("on-error"_L1);
        checkCurrentFolder();
        return result;
    }

    /// Empty = everything could be read.
    QString complaint() const { return m_complaint; }

private:
    void readPrinting(Arguments &result)
    {
        result.filter = filterOf(m_values);
        result.limit = int(m_values.number("limit"_L1));
        result.sortBy = m_values.text("sort"_L1);
        result.progress = progressOf(m_values.text("progress"_L1));
        result.json = m_values.flag("json"_L1);
        result.verbose = m_values.flag("verbose"_L1);
        result.quiet = m_values.flag("quiet"_L1) && !result.verbose; // which may be a setting
        if (result.command == Command::Config && result.json && placeOf("json"_L1).isEmpty())
            complain(u"what config prints is a settings file, and has no other form. Leave --json out."_s);
        if (result.command == Command::Config)
            result.settings = SettingsText::of(m_values, m_line.command->options());
    }

    /// Of a setting, that of its line, "/home/anna/plait.conf:7: "; empty = it was typed.
    QString placeOf(QLatin1StringView option) const
    {
        const QString from = m_values.given(option).value(0).from;
        return from == CommandLine::typed() || from.isEmpty() ? QString() : from + u": "_s;
    }

    /// A path stays relative to where the words were typed; a name is looked up in PATH.
    QString program(QLatin1StringView option)
    {
        const QString typed = m_values.text(option);
        const QString command = typed.contains(u'/') ? absolute(typed) : typed;
        if (!command.isEmpty() && !AfterCommands::isProgram(command))
            complain(
                placeOf(option)
                + u"--%1 \"%2\" is no program. Give its name or path alone: it is called with the path of a file and "
                  u"the number of its download, and no shell reads them."_s.arg(option, typed));
        return command;
    }

    void readLog(Arguments &result)
    {
        if (m_values.text("log"_L1) == "-"_L1)
            complain(u"--log names a file, and \"-\" is none. Write \"-v\" to see what happens."_s);
        const QString named = absolute(m_values.text("log"_L1));
        result.isLogNamed = !named.isEmpty();
        result.logFile = result.isLogNamed ? named : OwnFolders::logFile();
        const int level = named.isEmpty() ? kDefaultLogLevel : kLogLevelOfANamedLog;
        result.logLevel = m_values.has("log-level"_L1) ? int(m_values.number("log-level"_L1)) : level;
    }

    /// Of other paths it matters only where they begin in the folder that one stands in.
    void checkCurrentFolder()
    {
        const QList<const OptionRow *> rows = m_line.command->options();
        const bool isNeeded = std::any_of(rows.cbegin(), rows.cend(), [this](const OptionRow *row) {
            const QString path = m_values.text(QLatin1StringView(row->name));
            const bool isWithin = row->type == OptionRow::Type::Program ? path.contains(u'/') : path != "-"_L1;
            return row->isPath() && qstrcmp(row->name, "dir") != 0 && !path.isEmpty() && isWithin
                && !QDir::isAbsolutePath(path);
        });
        if (isNeeded)
            complain(problemOfFolder(m_currentFolder));
    }

    void readWords(Arguments &result)
    {
        if (result.command == Command::Get || result.command == Command::Query || result.command == Command::Plan)
            readRequests(result);
        else if (result.command == Command::SetUrl)
            readNewUrl(result);
        else if (result.command == Command::CheckList || result.command == Command::RepairList)
            readSetAside(result);
        else if (result.command == Command::List)
            result.text = m_line.words.value(0);
        else
            readIds(result);
    }

    void readSetAside(Arguments &result)
    {
        result.setAsideList = absolute(m_line.words.value(0));
        complain(problemOfFolder(result.setAsideList));
    }

    /// Which to curl is something else.
    void checkFolder()
    {
        const QString folder = m_values.text("dir"_L1);
        if (folder.contains(u'=') && !folder.contains(u'/') && !QFileInfo::exists(absolute(folder)))
            complain(u"\"-d\" has several meanings: a folder here, and a body that is sent to curl. There is no folder "
                     u"\"%1\": write \"--post-data DATA\" for a body, \"-d ./FOLDER\" for a new folder."_s.arg(
                         Redaction::typed(folder)));
    }

    /// Lists look at their own.
    void checkFamilies(const QList<DownloadRequest> &requests, const QList<QUrl> &mirrors)
    {
        using Role = FamilyWords::Role;
        const bool isOnly = requests.size() == 1 && mirrors.isEmpty();
        for (const DownloadRequest &request : requests)
            complain(FamilyWords::problemOf(request.url, m_values, isOnly ? Role::Only : Role::OneOfSeveral));
        for (const QUrl &mirror : mirrors)
            complain(FamilyWords::problemOf(mirror, m_values, Role::OneOfSeveral));
    }

    void readRequests(Arguments &result)
    {
        checkFolder();
        const DownloadRequest common = commonRequest();
        if (!common.isStreamed && result.command != Command::Query)
            complain(problemOfFolder(common.folder));
        if (common.isStreamed && m_values.flag("json"_L1))
            complain(u"-o - and --json both need standard output. Leave one of them out."_s);
        if (common.isStreamed && m_values.text("progress"_L1) == "json"_L1)
            complain(u"-o - and --progress json both need standard output. Leave one of them out."_s);
        if (common.isStreamed && isForEngine(common.options.checksumSource))
            complain(u"what is streamed has gone before its checksum is looked for. Give it with --checksum "
                     u"ALGORITHM=HEX."_s);
        // What goes to whoever reads is in nobody's list.
        if (common.isStreamed)
            result.session.isListKept = false;
        for (const QString &url : m_line.words) {
            result.requests.append(common);
            result.requests.last().url = readUrl(url);
        }
        checkFamilies(result.requests, common.mirrors);
        readList(m_values.text("input-file"_L1), result);
        if (result.requests.isEmpty() && result.badLines.isEmpty() && !result.input)
            complain(common.mirrors.isEmpty()
                         ? whyNoUrl()
                         : u"--mirror names another address of a file, and there is none to download. Leave the option "
                           u"out: no links are followed."_s);
        if (!common.outputName.isEmpty() && result.requests.size() > 1)
            complain(u"-o names one file, but there are several URLs. Use -d, or run plait once for each."_s);
        for (const OfOneFile &one : kOfOneFile) {
            const bool isOfEach = m_values.text(one.option) == "auto"_L1;
            if (m_values.has(one.option) && !isOfEach && result.requests.size() > 1)
                complain(one.complaint.toString());
        }
        readChecksums(result, common);
    }

    QString whyNoUrl() const
    {
        const QString file = m_values.text("input-file"_L1);
        if (!file.isEmpty())
            return u"there is no URL in \"%1\". Write one a line."_s.arg(file == "-"_L1 ? u"standard input"_s : file);
        for (const auto option : {"output"_L1, "dir"_L1}) {
            const QString taken = m_values.text(option);
            if (taken.contains("://"_L1))
                return u"there is no URL: \"%1\" was taken for the value of --%2. Write \"--%2 VALUE URL\"."_s.arg(
                    Redaction::typed(taken), option);
        }
        return u"there is no URL. Give one, or a file of them with -i."_s;
    }

    /// An address is the engine's affair, and so is what stands beside the file.
    static bool isForEngine(const QString &source) { return source == "auto"_L1 || source.contains("://"_L1); }

    void readChecksums(Arguments &result, const DownloadRequest &common)
    {
        const QString &source = common.options.checksumSource;
        if (source.contains("://"_L1))
            complain(SchemeWords::problemOf(source));
        else if (result.input && !source.isEmpty() && source != "auto"_L1)
            complain(
                u"--checksum-file takes an address where URLs come through standard input. Read them from a file."_s);
        if (source.isEmpty() || isForEngine(source))
            return;
        QString problem;
        const auto list = ChecksumFile::read(absolute(source), &problem);
        complain(problem);
        for (DownloadRequest &request : result.requests)
            complain(list ? list->giveTo(request) : QString());
    }

    DownloadRequest commonRequest()
    {
        if (m_values.text("output"_L1) == "/dev/null"_L1)
            complain(u"-o \"/dev/null\" is no file. To keep nothing of what comes, write \"-o - > /dev/null\"."_s);
        Clause problem;
        DownloadRequest request = ChosenOptions::request(m_values, m_currentFolder, &problem);
        complain(problem.isEmpty() ? QString() : u"-o "_s + ClauseWords::of(problem));
        return request;
    }

    void readNewUrl(Arguments &result)
    {
        if (m_line.words.size() != 2) {
            complain(u"set-url needs the number of a download and its new URL."_s);
            return;
        }
        readId(m_line.words.first(), result);
        result.requests = {commonRequest()};
        result.requests.first().url = readUrl(m_line.words.last());
        checkFamilies(result.requests, {});
    }

    void readIds(Arguments &result)
    {
        for (const QString &word : m_line.words)
            readId(word, result);
        if (result.command == Command::Resume && result.ids.isEmpty() && !m_values.flag("all"_L1))
            complain(u"resume needs numbers of downloads, or --all. Run \"%1\" to see them."_s.arg(
                NextCommand::line(u"list"_s)));
        if (result.command == Command::Retry && result.ids.isEmpty() && !m_values.flag("failed"_L1))
            complain(u"retry needs numbers of downloads, or --failed. Run \"%1\" to see them."_s.arg(
                NextCommand::line(u"list --failed"_s)));
    }

    void readId(const QString &word, Arguments &result)
    {
        bool isNumber = false;
        const qint64 id = word.toLongLong(&isNumber);
        if (!isNumber || id <= 0)
            complain(u"\"%1\" is no number of a download. Run \"%2\" to see them."_s.arg(Redaction::typed(word),
                                                                                         NextCommand::line(u"list"_s)));
        else if (!result.ids.contains(id))
            result.ids.append(id);
    }

    void readList(const QString &fileName, Arguments &result)
    {
        const bool isInput = fileName == "-"_L1;
        const ListedRequests::Common common{isInput ? u"standard input"_s : fileName, m_values, m_currentFolder};
        if (isInput && mayArrive(result.command))
            result.input = common;
        else if (!fileName.isEmpty())
            readWholeList(fileName, common, result);
    }

    /// Of one file, there is one address; how many there are, the end of the list tells.
    bool mayArrive(Command command) const
    {
        const bool isOfOne = std::any_of(std::cbegin(kOfOneFile), std::cend(kOfOneFile),
                                         [this](const OfOneFile &one) { return m_values.has(one.option); });
        return command == Command::Get && !isOfOne && !m_values.has("output"_L1);
    }

    void readWholeList(const QString &fileName, const ListedRequests::Common &common, Arguments &result)
    {
        const bool isInput = fileName == "-"_L1;
        QFile file(isInput ? QString() : absolute(fileName));
        const bool isOpen = isInput ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
        if (!isOpen) {
            complain(u"cannot read the URLs in \"%1\": %2."_s.arg(fileName, file.errorString()));
            return;
        }
        const ListedRequests listed = ListedRequests::of(AddressList::read(textOfList(file.readAll())), common);
        result.requests += listed.requests;
        result.badLines = listed.complaints;
    }

    QUrl readUrl(const QString &text)
    {
        const QString address = Address::meant(text);
        complain(isFileHere(text)
                     ? u"\"%1\" is a file here, not an address. For the addresses in it write \"-i %1\"."_s.arg(
                         Redaction::typed(text))
                     : SchemeWords::problemOf(address));
        return QUrl(address, QUrl::TolerantMode);
    }

    /// "urls.txt" looks like a host.
    bool isFileHere(const QString &text) const
    {
        return !text.isEmpty() && !text.contains("://"_L1) && QFileInfo(absolute(text)).isFile();
    }

    QString absolute(const QString &path) const { return ChosenOptions::absolute(path, m_currentFolder); }

    void complain(const QString &text)
    {
        if (m_complaint.isEmpty())
            m_complaint = text;
    }

    const CommandLine::Outcome &m_line;
    const OptionValues &m_values;
    const QString m_currentFolder;
    QString m_complaint;
};

}

Arguments::Outcome Arguments::parse(int argc, const char *const *argv, const QString &currentFolder)
{
    QStringList words;
    for (int i = 1; i < argc; ++i)
        words.append(ForeignBytes::text(argv[i]));
    words = withLineOfInput(words);
    QString problem;
    const std::optional<QString> config =
        PathExpansion::inHome(CommandLine::configFileOf(words), QProcessEnvironment::systemEnvironment(), &problem);
    if (!config)
        return {{}, ExitStatus::BadOption, u"the file of --config "_s + problem};
    const QString named = *config;
    const QString configFile = named.isEmpty() ? OwnFolders::configFile() : QDir(currentFolder).absoluteFilePath(named);
    if (ForeignBytes::areIn(configFile))
        return {{},
                ExitStatus::BadOption,
                u"--config \"%1\" "_s.arg(ForeignBytes::shown(configFile)) + ForeignBytes::problem(true)};
    if (!named.isEmpty() && !QFile::exists(configFile))
        return {{},
                ExitStatus::BadOption,
                u"there is no file \"%1\" to read settings from. Give --config another one."_s.arg(configFile)};
    const CommandLine::Outcome line = CommandLine::read(words, configFile);
    if (!line.command)
        return {{}, line.isHelp ? ExitStatus::Done : ExitStatus::BadOption, line.text};
    problem = OwnFolders::problem();
    if (!problem.isEmpty())
        return {{}, ExitStatus::BadOption, problem};
    Reader reader(line, currentFolder);
    Arguments arguments = reader.arguments();
    if (!reader.complaint().isEmpty())
        return {{}, ExitStatus::BadOption, reader.complaint()};
    arguments.configFile = configFile;
    return {arguments, ExitStatus::Done, {}};
}
