// SPDX-License-Identifier: MIT
#include <cli/arguments.h>

#include <cli/commandline.h>
#include <host/parsing/checksum.h>
#include <host/policy/harmlessheaders.h>
#include <host/policy/proxychoice.h>
#include <host/policy/redaction.h>
#include <host/policy/trouble.h>

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTextStream>

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace
{

using Command = Arguments::Command;

constexpr int kDefaultLogLevel = 1;
constexpr int kLogLevelOfANamedLog = 4;

QString toText(const std::string &typed)
{
    return QString::fromLocal8Bit(typed);
}

Command commandOf(const Typed &typed)
{
    const qsizetype index = CommandLine::commands().indexOf(toText(typed.command));
    constexpr Command kOrder[] = {Command::Get,     Command::List,   Command::Show,   Command::Resume,
                                  Command::Restart, Command::Check,  Command::Finish, Command::Query,
                                  Command::SetUrl,  Command::Remove, Command::Config};
    const Command command = kOrder[index < 0 ? 0 : index];
    if (typed.check || typed.repair)
        return typed.check ? Command::CheckList : Command::RepairList;
    return command == Command::Get && typed.query ? Command::Query : command;
}

QString defaultConfigFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/plait/plait.conf"_L1;
}

QString defaultLogFile()
{
    const QString state = qEnvironmentVariable("XDG_STATE_HOME");
    return (state.startsWith(u'/') ? state : QDir::homePath() + "/.local/state"_L1) + "/plait/plait.log"_L1;
}

/// Reads the values that are not plain text. The first complaint stays.
class Reader
{
public:
    Reader(const Typed &typed, const QString &currentFolder)
        : m_typed(typed)
        , m_currentFolder(currentFolder)
    {
    }

    Arguments arguments()
    {
        Arguments result;
        result.command = commandOf(m_typed);
        readWords(result);
        readSession(result.session);
        readQueue(result.queue);
        result.changes = changes();
        readHeaders(result.changes.headers, result.changes.headersForAll);
        result.all = m_typed.all;
        result.withFile = m_typed.withFile;
        result.force = m_typed.force;
        result.filter = filter();
        result.limit = m_typed.limit;
        result.sortBy = toText(m_typed.sortBy);
        result.progress = progress();
        result.json = m_typed.json;
        result.quiet = m_typed.quiet;
        result.logFile = m_typed.logFile.empty() ? defaultLogFile() : absolute(m_typed.logFile);
        const int level = m_typed.logFile.empty() ? kDefaultLogLevel : kLogLevelOfANamedLog;
        result.logLevel = m_typed.logLevel == Typed::kNotGiven ? level : m_typed.logLevel;
        return result;
    }

    /// Empty = everything could be read.
    QString complaint() const { return m_complaint; }

private:
    void readWords(Arguments &result)
    {
        if (result.command == Command::Get || result.command == Command::Query)
            readRequests(result);
        else if (result.command == Command::SetUrl)
            readNewUrl(result);
        else if (result.command == Command::CheckList || result.command == Command::RepairList)
            result.setAsideList = m_typed.words.empty() ? QString() : absolute(m_typed.words.front());
        else if (result.command == Command::List && !m_typed.words.empty())
            complain(u"\"%1\" means nothing to list. It takes a file with --check or --repair, and --list FILE for "
                     u"another list."_s.arg(Redaction::typed(toText(m_typed.words.front()))));
        else
            readIds(result);
    }

    void readRequests(Arguments &result)
    {
        QStringList urls;
        for (const std::string &word : m_typed.words)
            urls.append(toText(word));
        if (!m_typed.inputFile.empty())
            urls += urlsOf(toText(m_typed.inputFile));
        if (urls.isEmpty())
            complain(u"there is no URL. Give one, or a file of them with -i."_s);
        if (m_typed.hasOutput && urls.size() > 1)
            complain(u"-o names one file, but there are several URLs. Use -d, or run plait once for each."_s);
        if (!m_typed.mirrors.empty() && urls.size() > 1)
            complain(
                u"--mirror names another address of one file, but there are several URLs. Run plait once for each."_s);
        if (!m_typed.checksum.empty() && urls.size() > 1)
            complain(u"--checksum is of one file, but there are several URLs. Run plait once for each."_s);
        const DownloadRequest common = commonRequest();
        result.requests.reserve(urls.size());
        for (const QString &url : std::as_const(urls)) {
            result.requests.append(common);
            result.requests.last().url = readUrl(url);
        }
    }

    void readNewUrl(Arguments &result)
    {
        if (m_typed.words.size() != 2) {
            complain(u"set-url needs the number of a download and its new URL."_s);
            return;
        }
        readId(m_typed.words.front(), result);
        DownloadRequest request;
        request.url = readUrl(toText(m_typed.words.back()));
        readHeaders(request.headers, request.headersForAll);
        request.options = options();
        request.changes = changes();
        result.requests = {request};
    }

    void readIds(Arguments &result)
    {
        for (const std::string &word : m_typed.words)
            readId(word, result);
        if (result.command == Command::Resume && result.ids.isEmpty() && !m_typed.all)
            complain(u"resume needs numbers of downloads, or --all. Run \"plait list\" to see them."_s);
    }

    void readId(const std::string &word, Arguments &result)
    {
        bool isNumber = false;
        const qint64 id = toText(word).toLongLong(&isNumber);
        if (!isNumber || id <= 0)
            complain(u"\"%1\" is no number of a download. Run \"plait list\" to see them."_s.arg(
                Redaction::typed(toText(word))));
        else if (!result.ids.contains(id))
            result.ids.append(id);
    }

    /// One a line; blank lines and those that begin with "#" are left out.
    QStringList urlsOf(const QString &fileName)
    {
        QFile file(fileName == "-"_L1 ? QString() : absolute(m_typed.inputFile));
        const bool isOpen = fileName == "-"_L1 ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
        if (!isOpen) {
            complain(u"cannot read the URLs in \"%1\": %2."_s.arg(fileName, file.errorString()));
            return {};
        }
        QStringList urls;
        QTextStream stream(&file);
        QString line;
        while (stream.readLineInto(&line)) {
            line = line.trimmed();
            if (!line.isEmpty() && !line.startsWith(u'#'))
                urls.append(line);
        }
        return urls;
    }

    void readSession(SessionOptions &session)
    {
        session.listPath = m_typed.listFile.empty() ? QString() : absolute(m_typed.listFile);
        session.ignoreSslErrors = m_typed.insecure;
        session.caCertificatesFile = toText(m_typed.caCertificatesFile);
        session.usage.maximumConnections = m_typed.connections;
        session.usage.maximumConnectionsPerServer = m_typed.connectionsPerServer;
        session.usage.downloadLimit = readRate(u"--limit-rate"_s, m_typed.limitRate);
        session.allTogether.maximumConnections = m_typed.overallConnections;
        session.allTogether.maximumConnectionsPerServer = m_typed.overallConnectionsPerServer;
        NetworkOptions &network = session.network;
        if (!m_typed.proxy.empty()) {
            QString errorText;
            network.proxy = ProxyChoice::checkedProxy(toText(m_typed.proxy), u"--proxy"_s, &errorText);
            complain(errorText);
        }
        network.netrc = m_typed.netrc || !m_typed.netrcFile.empty();
        network.netrcFile = m_typed.netrcFile.empty() ? QString() : absolute(m_typed.netrcFile);
        network.cookiesFile = m_typed.cookiesFile.empty() ? QString() : absolute(m_typed.cookiesFile);
        if (!m_typed.user.empty())
            network.credentials.append(credential());
    }

    Credential credential() const
    {
        const QString text = toText(m_typed.user);
        const qsizetype colon = text.indexOf(u':');
        return {{}, text.left(colon), colon < 0 ? QString() : text.sliced(colon + 1), {}};
    }

    void readQueue(QueueOptions &queue)
    {
        queue.mostAtOnce = m_typed.jobs;
        queue.mostTries = m_typed.tries;
        queue.speedLimit = readRate(u"--max-overall-download-limit"_s, m_typed.overallLimit);
        queue.retryWaitMs = readSeconds(u"--retry-wait"_s, m_typed.retryWait);
    }

    ListFilter filter()
    {
        if (m_typed.finished == m_typed.unfinished)
            return ListFilter::All;
        return m_typed.finished ? ListFilter::Finished : ListFilter::Unfinished;
    }

    ProgressMode progress() const
    {
        if (m_typed.progress == "bar")
            return ProgressMode::Bar;
        if (m_typed.progress == "line")
            return ProgressMode::Line;
        return m_typed.progress == "none" ? ProgressMode::None : ProgressMode::Auto;
    }

    DownloadRequest commonRequest()
    {
        DownloadRequest request;
        request.folder = QDir::cleanPath(QDir(m_currentFolder).absoluteFilePath(toText(m_typed.folder)));
        if (m_typed.hasOutput)
            readOutput(toText(m_typed.output), request);
        request.referer = toText(m_typed.referer);
        request.userAgent = toText(m_typed.userAgent);
        request.postData = QByteArray::fromStdString(m_typed.postData);
        readHeaders(request.headers, request.headersForAll);
        for (const std::string &mirror : m_typed.mirrors)
            request.mirrors.append(readUrl(toText(mirror)));
        request.onExists = m_typed.hasOnExists ? onExists() : AbstractDownloadExistingFileReaction::NotSet;
        request.options = options();
        request.changes = changes();
        checkLine(u"--referer"_s, request.referer, Redaction::typed(request.referer));
        checkLine(u"--user-agent"_s, request.userAgent, request.userAgent);
        return request;
    }

    DownloadOptions options()
    {
        DownloadOptions options;
        options.connections = m_typed.hasConnections ? m_typed.connections : 0;
        options.connectionsPerServer = m_typed.hasConnectionsPerServer ? m_typed.connectionsPerServer : 0;
        options.rateLimit = readRate(u"--limit-rate"_s, m_typed.limitRate);
        options.onChanged = int(Trouble::policyFromText(toText(m_typed.onChanged)).value_or(Trouble::Policy::Fail));
        options.onUnresumable =
            int(Trouble::policyFromText(toText(m_typed.onUnresumable)).value_or(Trouble::Policy::Fail));
        options.skipExisting = m_typed.onExists == "skip";
        options.insecure = m_typed.insecure;
        options.storeSecrets = m_typed.storeSecrets;
        if (m_typed.storeSecrets && !m_typed.user.empty()) {
            options.user = credential().user;
            options.password = credential().password;
        }
        if (!m_typed.checksum.empty())
            readChecksum(options);
        return options;
    }

    OptionChanges changes()
    {
        const DownloadOptions typed = options();
        OptionChanges changes;
        if (m_typed.hasLimitRate)
            changes.rateLimit = typed.rateLimit;
        if (m_typed.hasConnections)
            changes.connections = typed.connections;
        if (m_typed.hasConnectionsPerServer)
            changes.connectionsPerServer = typed.connectionsPerServer;
        if (m_typed.hasOnChanged)
            changes.onChanged = typed.onChanged;
        if (m_typed.hasOnUnresumable)
            changes.onUnresumable = typed.onUnresumable;
        if (m_typed.hasOnExists)
            changes.skipExisting = typed.skipExisting;
        changes.checksumAlgorithm = typed.checksumAlgorithm;
        changes.checksumHex = typed.checksumHex;
        changes.insecure = typed.insecure;
        changes.storeSecrets = typed.storeSecrets;
        changes.user = typed.user;
        changes.password = typed.password;
        return changes;
    }

    void readChecksum(DownloadOptions &options)
    {
        QString errorText;
        const std::optional<Checksum> checksum = Checksum::parse(toText(m_typed.checksum), &errorText);
        if (!checksum) {
            complain(u"--checksum "_s + errorText);
            return;
        }
        options.checksumAlgorithm = checksum->algorithmName();
        options.checksumHex = QString::fromLatin1(checksum->expected.toHex());
    }

    AbstractDownloadExistingFileReaction onExists() const
    {
        using Reaction = AbstractDownloadExistingFileReaction;
        if (m_typed.onExists == "overwrite")
            return Reaction::Overwrite;
        if (m_typed.onExists == "ask")
            return Reaction::Ask;
        return m_typed.onExists == "skip" || m_typed.onExists == "fail" ? Reaction::Skip : Reaction::Rename;
    }

    void readOutput(const QString &output, DownloadRequest &request)
    {
        const QString name = output.mid(output.lastIndexOf(u'/') + 1);
        if (name.isEmpty() || name == "."_L1 || name == ".."_L1) {
            complain(u"-o \"%1\" names no file. Give a name, and use -d for the folder."_s.arg(output));
            return;
        }
        request.outputName = name;
        const QString folder = output.chopped(name.size());
        if (!folder.isEmpty())
            request.folder = QDir::cleanPath(QDir(request.folder).absoluteFilePath(folder));
    }

    void readHeaders(QVariantMap &headers, QVariantMap &headersForAll)
    {
        for (const std::string &header : m_typed.headers)
            readHeader(u"--header"_s, toText(header), headers);
        for (const std::string &header : m_typed.headersForAll)
            readHeader(u"--header-for-all"_s, toText(header), headersForAll);
    }

    void readHeader(const QString &option, const QString &header, QVariantMap &headers)
    {
        const qsizetype colon = header.indexOf(u':');
        const QString name = header.left(colon);
        const bool isName = colon > 0 && name.trimmed() == name && !name.contains(u' ');
        if (!isName)
            complain(u"%1 \"…\" is no header. Write it as \"Name: value\"."_s.arg(option));
        checkLine(option, header, u"…"_s);
        const QString refusal = HarmlessHeaders::refusal(name, option == "--header-for-all"_L1);
        if (!refusal.isEmpty())
            complain(u"%1 \"%2: …\" %3"_s.arg(option, name, refusal));
        headers.insert(name, header.mid(colon + 1).trimmed());
    }

    /// A line break would begin a header that nobody sees on the command line.
    void checkLine(const QString &option, const QString &value, const QString &shown)
    {
        if (value.contains(u'\n') || value.contains(u'\r'))
            complain(u"%1 \"%2\" holds a line break. Give one line."_s.arg(option, shown.simplified()));
    }

    /// Bytes a second; K, M and G are of 1024. Empty is 0.
    qint64 readRate(const QString &option, const std::string &typed)
    {
        QString text = toText(typed).trimmed();
        if (text.isEmpty())
            return 0;
        double factor = 1;
        const qsizetype unit = QStringView(u"KMG").indexOf(text.back().toUpper());
        if (unit >= 0) {
            factor = std::pow(1024.0, double(unit + 1));
            text.chop(1);
        }
        bool isNumber = false;
        const double rate = text.toDouble(&isNumber) * factor;
        if (!isNumber || !(rate >= 0) || rate > double(std::numeric_limits<qint32>::max()) * 1024) {
            complain(u"%1 \"%2\" is no rate. Write bytes a second, as in 500K or 2.5M; 0 is no limit."_s.arg(
                option, Redaction::typed(toText(typed))));
            return 0;
        }
        return qint64(rate);
    }

    /// ms
    qint64 readSeconds(const QString &option, const std::string &typed)
    {
        bool isNumber = false;
        const double seconds = toText(typed).toDouble(&isNumber);
        if (!isNumber || !(seconds >= 0) || seconds > 3600) {
            complain(
                u"%1 \"%2\" is no number of seconds from 0 to 3600."_s.arg(option, Redaction::typed(toText(typed))));
            return 0;
        }
        return qint64(seconds * 1000);
    }

    QUrl readUrl(const QString &text)
    {
        const QUrl url(text, QUrl::TolerantMode);
        if (!url.isValid() || url.scheme().isEmpty() || (url.host().isEmpty() && url.scheme() != "file"_L1))
            complain(u"\"%1\" is no URL. Write a whole one, as in \"https://example.com/file.zip\"."_s.arg(
                Redaction::typed(text)));
        return url;
    }

    QString absolute(const std::string &typed) const
    {
        return QDir::cleanPath(QDir(m_currentFolder).absoluteFilePath(toText(typed)));
    }

    void complain(const QString &text)
    {
        if (m_complaint.isEmpty())
            m_complaint = text;
    }

    const Typed &m_typed;
    const QString m_currentFolder;
    QString m_complaint;
};

}

Arguments::Outcome Arguments::parse(int argc, const char *const *argv, const QString &currentFolder)
{
    QStringList words;
    for (int i = 1; i < argc; ++i)
        words.append(QString::fromLocal8Bit(argv[i]));
    const QString named = CommandLine::configFileOf(words);
    const QString configFile = named.isEmpty() ? defaultConfigFile() : QDir(currentFolder).absoluteFilePath(named);
    if (!named.isEmpty() && !QFile::exists(configFile))
        return {{}, ExitStatus::BadOption, u"there is no file \"%1\" to read settings from."_s.arg(configFile)};
    const CommandLine::Outcome line = CommandLine::read(words, configFile);
    if (!line.typed)
        return {{}, line.isHelp ? ExitStatus::Done : ExitStatus::BadOption, line.text};
    Reader reader(*line.typed, currentFolder);
    Arguments arguments = reader.arguments();
    if (!reader.complaint().isEmpty())
        return {{}, ExitStatus::BadOption, reader.complaint()};
    arguments.configFile = configFile;
    arguments.settings = line.settings;
    return {arguments, ExitStatus::Done, {}};
}
