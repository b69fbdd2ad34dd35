// SPDX-License-Identifier: MIT
#include <cli/arguments.h>

#include <QDir>
#include <QFileInfo>

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kDefaultLogLevel = 4;
constexpr int kNotGiven = -1;
constexpr int kDefaultConnections = 8;
/// No download runs over more.
constexpr int kMostConnections = 20;

/// The command line as it was typed.
struct Typed {
    std::vector<std::string> urls;
    std::string folder;
    std::string output;
    std::vector<std::string> headers;
    std::string referer;
    std::string userAgent;
    std::string postData;
    std::string caCertificatesFile;
    std::string logFile;
    int logLevel = kNotGiven;
    int connections = kDefaultConnections;
    int connectionsPerServer = 0;
    bool insecure = false;
    bool query = false;
    bool json = false;
    bool quiet = false;
    bool hasOutput = false;
};

QString toText(const std::string &typed)
{
    return QString::fromLocal8Bit(typed);
}

void describe(CLI::App &app, Typed &typed)
{
    app.add_option("URL", typed.urls, "What to download")->required();
    app.add_option("-d,--dir", typed.folder, "Folder to save in; made where it is missing (default: the current one)")
        ->type_name("DIR");
    app.add_option("-o,--output", typed.output, "Exact name to save under, or a path (default: the server's name)")
        ->type_name("FILE");
    app.add_option("-x,--max-connections", typed.connections, "Most connections of one download (default: 8)")
        ->type_name("N")
        ->check(CLI::Range(1, kMostConnections));
    app.add_option("--max-connections-per-server", typed.connectionsPerServer,
                   "Most of them to one server; 0: no limit (default)")
        ->type_name("N")
        ->check(CLI::Range(0, kMostConnections));
    app.add_option("--header", typed.headers, "Send this header; may be given several times")
        ->type_name("'N: V'")
        ->allow_extra_args(false);
    app.add_option("--referer", typed.referer, "Send this address as the referring page")->type_name("URL");
    app.add_option("--user-agent", typed.userAgent, "Send this name of the program")->type_name("S");
    app.add_option("--post-data", typed.postData, "Send a POST request with this body")->type_name("S");
    app.add_flag("--insecure", typed.insecure, "Go on with servers whose certificate is not trusted");
    app.add_option("--ca-certificate", typed.caCertificatesFile, "Trust these PEM certificates, too")
        ->type_name("FILE")
        ->check(CLI::ExistingFile);
    app.add_flag("--query", typed.query, "Print name, size, type, resume support and final URL; download nothing");
    app.add_flag("--json", typed.json, "Print one JSON object a line on standard output");
    app.add_flag("-q,--quiet", typed.quiet, "Print errors only");
    app.add_option("--log", typed.logFile, "Append a log to this file")->type_name("FILE");
    app.add_option("--log-level", typed.logLevel,
                   "1: the course of downloads; 4: their sections, too (default with --log)")
        ->type_name("N")
        ->check(CLI::Range(0, 9));
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
        const DownloadRequest common = commonRequest();
        for (const std::string &url : m_typed.urls) {
            result.requests.append(common);
            result.requests.last().url = readUrl(toText(url));
        }
        if (m_typed.hasOutput && m_typed.urls.size() > 1)
            complain(u"-o names one file, but there are several URLs. Use -d, or run plait once for each."_s);
        result.usage.maximumConnections = m_typed.connections;
        result.usage.maximumConnectionsPerServer = m_typed.connectionsPerServer;
        result.query = m_typed.query;
        result.json = m_typed.json;
        result.quiet = m_typed.quiet;
        result.insecure = m_typed.insecure;
        result.caCertificatesFile = toText(m_typed.caCertificatesFile);
        result.logFile = toText(m_typed.logFile);
        const int levelNotGiven = result.logFile.isEmpty() ? 0 : kDefaultLogLevel;
        result.logLevel = m_typed.logLevel == kNotGiven ? levelNotGiven : m_typed.logLevel;
        return result;
    }

    /// Empty = everything could be read.
    QString complaint() const { return m_complaint; }

private:
    DownloadRequest commonRequest()
    {
        DownloadRequest request;
        request.folder = QDir::cleanPath(QDir(m_currentFolder).absoluteFilePath(toText(m_typed.folder)));
        if (m_typed.hasOutput)
            readOutput(toText(m_typed.output), request);
        request.referer = toText(m_typed.referer);
        request.userAgent = toText(m_typed.userAgent);
        request.postData = QByteArray::fromStdString(m_typed.postData);
        for (const std::string &header : m_typed.headers)
            readHeader(toText(header), request.headers);
        checkLine(u"--referer"_s, request.referer);
        checkLine(u"--user-agent"_s, request.userAgent);
        return request;
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

    void readHeader(const QString &header, QVariantMap &headers)
    {
        const qsizetype colon = header.indexOf(u':');
        const QString name = header.left(colon);
        const bool isName = colon > 0 && name.trimmed() == name && !name.contains(u' ');
        if (!isName)
            complain(u"--header \"%1\" is no header. Write it as \"Name: value\"."_s.arg(header));
        checkLine(u"--header"_s, header);
        headers.insert(name, header.mid(colon + 1).trimmed());
    }

    /// A line break would begin a header that nobody sees on the command line.
    void checkLine(const QString &option, const QString &value)
    {
        if (value.contains(u'\n') || value.contains(u'\r'))
            complain(u"%1 \"%2\" holds a line break. Give one line."_s.arg(option, value.simplified()));
    }

    QUrl readUrl(const QString &text)
    {
        const QUrl url(text, QUrl::TolerantMode);
        if (!url.isValid() || url.scheme().isEmpty() || (url.host().isEmpty() && url.scheme() != "file"_L1))
            complain(u"\"%1\" is no URL. Write a whole one, as in \"https://example.com/file.zip\"."_s.arg(text));
        return url;
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

Arguments::Outcome badOption(const QString &complaint)
{
    return {{}, ExitStatus::BadOption, complaint};
}

/// CLI11's words, made a sentence.
QString complaintOf(const CLI::ParseError &error)
{
    return QString::fromLocal8Bit(error.what()).simplified() + u". Run \"plait --help\" to see what there is."_s;
}

}

Arguments::Outcome Arguments::parse(int argc, const char *const *argv, const QString &currentFolder)
{
    CLI::App app("Downloads files over HTTP and HTTPS, and goes on where it was interrupted.", "plait");
    Typed typed;
    describe(app, typed);
    app.set_version_flag("--version", "plait " PLAIT_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        return {{}, ExitStatus::Done, QString::fromStdString(app.help())};
    } catch (const CLI::CallForVersion &version) {
        return {{}, ExitStatus::Done, QString::fromLocal8Bit(version.what()) + u'\n'};
    } catch (const CLI::ParseError &error) {
        return badOption(complaintOf(error));
    }
    typed.hasOutput = app.count("--output") > 0;
    Reader reader(typed, currentFolder);
    const Arguments arguments = reader.arguments();
    return reader.complaint().isEmpty() ? Outcome{arguments, ExitStatus::Done, {}} : badOption(reader.complaint());
}
