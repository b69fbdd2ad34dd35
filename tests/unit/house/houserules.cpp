// SPDX-License-Identifier: MIT
#include <tests/unit/house/houserules.h>

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QLibraryInfo>
#include <QRegularExpression>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{
struct Room {
    const char *files; ///< beginning of their paths; the longest that fits counts
    const char *name;
    const char *rooms; ///< that may be included; "*" is all
    const char *qt; ///< modules
    const char *libraries; ///< beginnings of header names
};

constexpr auto kBehindTheEngine =
    "records framework helpers parsing policy options network storage list care engine works";

constexpr auto kStorage = "records framework parsing policy options storage list sql care";

// Who may use a target may include what that target shows in its headers, hence the records in nearly every line. The
// host and the module meet through the loader alone.
constexpr Room kRooms[] = {
    {"inet/qt/download/records/", "records", "records", "QtCore QtNetwork", ""},
    {"inet/qt/download/framework/", "framework", "records framework", "QtCore QtNetwork", ""},
    {"inet/qt/download/response/", "response", "records response", "QtCore QtCore5Compat", ""},
    {"inet/qt/download/response/fileinfoutils", "helpers", "records helpers", "QtCore", ""},
    {"inet/qt/download/sources/", "sources", "records sources", "QtCore QtNetwork", ""},
    {"inet/qt/download/downloadswww/", "core", "records framework response sources core", "QtCore QtNetwork", ""},
    {"inet/qt/download/downloadswww/moduleentry", "entry", "records framework response sources core entry",
     "QtCore QtNetwork", ""},
    {"host/parsing/", "parsing", "records parsing", "QtCore QtNetwork", ""},
    {"host/policy/", "policy", "records framework helpers parsing policy", "QtCore QtNetwork", ""},
    {"host/options/", "options", "records parsing policy options", "QtCore", ""},
    {"host/network/", "network", "records framework parsing policy network", "QtCore QtNetwork", "curl/ openssl/"},
    {"host/storage/", "storage", kStorage, "QtCore", ""},
    {"host/storage/sql", "sql", kStorage, "QtCore", "sqlite3.h"},
    {"host/storage/downloadlist", "list", kStorage, "QtCore", ""},
    {"host/storage/downloadstore", "list", kStorage, "QtCore", ""},
    // The log, and what a person sees and mends of a list where no engine is.
    {"host/storage/idranges", "care", kStorage, "QtCore", ""},
    {"host/storage/listcheck", "care", kStorage, "QtCore", ""},
    {"host/storage/listentry", "care", kStorage, "QtCore", ""},
    {"host/storage/listrepair", "care", kStorage, "QtCore", ""},
    {"host/storage/logfile", "care", kStorage, "QtCore", ""},
    {"host/engine/", "works", kBehindTheEngine, "QtCore QtNetwork", ""},
    // What a front end sees of all that is an Engine, and plain values.
    {"host/engine/chosenoptions", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/downloadoutcome", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/downloadrequest", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/downloadstate", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/downloadstatus", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/engine", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/limits", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/localengine", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/queryresult", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/question", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/queueoptions", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/sessionoptions", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/snapshot.", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/snapshotquery", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/streamsnapshot", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/totals", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"host/engine/warning", "engine", kBehindTheEngine, "QtCore QtNetwork", ""},
    {"cli/", "cli", "records framework parsing policy options care engine cli", "QtCore", "CLI/"},
    {"tests/support/", "support", "support records framework", "QtCore QtNetwork QtTest", ""},
    {"tests/support/sqlfile", "support", "support", "QtCore", "sqlite3.h"},
    {"tests/", "tests", "*", "QtCore QtNetwork QtTest QtCore5Compat", "CLI/ curl/"},
    {"benchmarks/", "benchmarks", "*", "QtCore QtNetwork QtTest", ""},
};

struct Speaker {
    const char *files; ///< beginning of their paths
    const char *why; ///< they have words
};

// An error that passes the framework has a text, as a QNetworkReply's has one. Whoever tells such errors words them.
constexpr Speaker kSpeakers[] = {
    {"host/network/", "what a transfer says of its end"},
    {"host/parsing/authchallenges", "the same, of a login"},
    {"host/parsing/partialanswer", "the same, of a piece of the file"},
    {"host/parsing/securitywords", "the same, of a certificate"},
    {"host/policy/contentencoding", "the same, of another encoding"},
    {"host/policy/proxychoice", "how these call a proxy"},
    {"host/policy/resourceidentity", "the same, of another file"},
    {"host/engine/downloadqueue_outcome", "the error of a record: how long a server asks to wait"},
    {"host/engine/downloadsession_list", "the error of a record: the file is another one"},
    {"host/engine/downloadsession_runs", "the error of a record: not all is on the disk"},
    {"host/engine/downloadrun_states", "what leads from state to state, for the chart"},
    {"host/engine/downloadstate", "what leads from state to state, for the chart"},
    {"host/options/optionrows", "help, as a column of the table"},
};

// The operating system's own; the C++ library's names have neither a dot nor a slash.
constexpr const char *kSystemHeaders[] = {
    "arpa/", "cxxabi.h", "dlfcn.h",  "errno.h", "fcntl.h", "linux/",   "netdb.h", "netinet/",  "poll.h", "pthread.h",
    "pwd.h", "sched.h",  "signal.h", "spawn.h", "stdio.h", "stdlib.h", "sys/",    "termios.h", "time.h", "unistd.h",
};

constexpr const char *kQtModules[] = {"QtCore",       "QtNetwork", "QtSql", "QtTest", "QtCore5Compat",
                                      "QtConcurrent", "QtDBus",    "QtXml", "QtGui",  "QtWidgets"};

bool lists(const char *words, const QString &word)
{
    const QStringList all = QString::fromLatin1(words).split(u' ', Qt::SkipEmptyParts);
    return all.contains(u"*"_s) || all.contains(word);
}

bool beginsWithOneOf(const QString &text, const char *beginnings)
{
    const QStringList all = QString::fromLatin1(beginnings).split(u' ', Qt::SkipEmptyParts);
    return std::any_of(all.begin(), all.end(), [&](const QString &beginning) { return text.startsWith(beginning); });
}

const Room *roomOf(const QString &path)
{
    const Room *found = nullptr;
    for (const Room &room : kRooms) {
        if (path.startsWith(QLatin1String(room.files))
            && (found == nullptr || qstrlen(room.files) > qstrlen(found->files))) {
            found = &room;
        }
    }
    return found;
}

bool isOurs(const QString &header)
{
    return beginsWithOneOf(header, "inet/ host/ cli/ tests/ benchmarks/");
}

bool isSystemHeader(const QString &header)
{
    static const QRegularExpression standard(u"^[a-z_0-9]+$"_s);
    return standard.match(header).hasMatch()
        || std::any_of(std::begin(kSystemHeaders), std::end(kSystemHeaders),
                       [&](const char *beginning) { return header.startsWith(QLatin1String(beginning)); });
}

QString reasonAgainstOurs(const Room &room, const QString &header)
{
    const Room *target = roomOf(header);
    if (target == nullptr) {
        return u"\"%1\" lies in no room"_s.arg(header);
    }
    return lists(room.rooms, QLatin1String(target->name))
        ? QString()
        : u"%1 must not include %2 (\"%3\")"_s.arg(QLatin1String(room.name), QLatin1String(target->name), header);
}

QString reasonAgainstOthers(const Room &room, const QString &header)
{
    const QString module = HouseRules::qtModuleOf(header);
    if (!module.isEmpty()) {
        return lists(room.qt, module) ? QString()
                                      : u"%1 must not use %2 (\"%3\")"_s.arg(QLatin1String(room.name), module, header);
    }
    return isSystemHeader(header) || beginsWithOneOf(header, room.libraries)
        ? QString()
        : u"%1 must not use the library of \"%2\""_s.arg(QLatin1String(room.name), header);
}

QString reasonAgainst(const Room &room, QChar opening, const QString &header)
{
    if (opening == u'"') {
        const bool generated = header.endsWith(u".moc"_s) || QFileInfo(header).fileName().startsWith(u"moc_"_s);
        return generated ? QString() : u"\"%1\" must be included as <path from the root>"_s.arg(header);
    }
    return isOurs(header) ? reasonAgainstOurs(room, header) : reasonAgainstOthers(room, header);
}

QString findQtModule(const QString &header)
{
    const QDir headers(QLibraryInfo::path(QLibraryInfo::HeadersPath));
    for (const char *module : kQtModules) {
        if (QFileInfo::exists(headers.filePath(QLatin1String(module) + u'/' + header))) {
            return QLatin1String(module);
        }
    }
    return {};
}
}

namespace HouseRules
{
QString qtModuleOf(const QString &header)
{
    if (header.startsWith(u"Qt"_s) && header.contains(u'/')) {
        return header.section(u'/', 0, 0);
    }
    if (!header.startsWith(u'Q') && !header.startsWith(u'q')) {
        return {};
    }
    static QHash<QString, QString> known;
    const auto found = known.constFind(header);
    return found != known.constEnd() ? *found : *known.insert(header, findQtModule(header));
}

QStringList includeProblems(const QString &path, const QString &text)
{
    static const QRegularExpression include(u"^\\s*#\\s*include\\s*([<\"])([^>\"]+)[>\"]"_s);
    const Room *room = roomOf(path);
    if (room == nullptr) {
        return {u"%1:1: lies in no room"_s.arg(path)};
    }
    QStringList problems;
    const QStringList lines = text.split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QRegularExpressionMatch match = include.match(lines.at(i));
        const QString reason =
            match.hasMatch() ? reasonAgainst(*room, match.captured(1).front(), match.captured(2)) : QString();
        if (!reason.isEmpty()) {
            problems.append(u"%1:%2: %3"_s.arg(path).arg(i + 1).arg(reason));
        }
    }
    return problems;
}

QStringList sentenceProblems(const QString &path, const QString &text)
{
    static const QRegularExpression commentOrText(
        u"//[^\\n]*|/\\*[\\s\\S]*?\\*/|Q_ASSERT_X\\([^;]*;|<<\\s*\"[^\"\\n]*\"|"
        "'(?:[^'\\\\\\n]|\\\\.)+'|\"(?:[^\"\\\\\\n]|\\\\.)*\""_s);
    static const QRegularExpression sentence(u"[A-Za-z]{2,} [a-z]{2,}"_s);
    static const QRegularExpression noSentence(
        u"[A-Z]{4,}|\\b(AND|IN)\\b|^\"(ddd|yyyy|<!doctype|SQLite format|stream hasher)"_s);
    const bool isSpeaker = std::any_of(std::begin(kSpeakers), std::end(kSpeakers), [&path](const Speaker &speaker) {
        return path.startsWith(QLatin1String(speaker.files));
    });
    QStringList problems;
    auto matches = isSpeaker ? QRegularExpressionMatchIterator() : commentOrText.globalMatch(text);
    while (matches.isValid() && matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        const QString words = match.captured();
        if (words.startsWith(u'"') && sentence.match(words).hasMatch() && !noSentence.match(words).hasMatch()) {
            const qsizetype line = text.left(match.capturedStart()).count(u'\n') + 1;
            problems.append(u"%1:%2: words for people, which are a front end's (%3)"_s.arg(path).arg(line).arg(words));
        }
    }
    return problems;
}

QStringList headProblems(const QString &path, const QString &text)
{
    const bool cpp = path.endsWith(u".h"_s) || path.endsWith(u".cpp"_s);
    const QString licence = (cpp ? u"// "_s : u"# "_s) + u"SPDX-License-Identifier: MIT"_s;
    const QStringList lines = text.split(u'\n');
    const qsizetype first = lines.first().startsWith(u"#!"_s) ? 1 : 0;
    QStringList problems;
    if (lines.value(first) != licence) {
        problems.append(u"%1:%2: must begin with \"%3\""_s.arg(path).arg(first + 1).arg(licence));
    }
    if (path.endsWith(u".h"_s) && !lines.contains(u"#pragma once"_s)) {
        problems.append(u"%1:1: has no \"#pragma once\""_s.arg(path));
    }
    return problems;
}

QStringList commandLineProblems(const QString &path, const QString &text)
{
    static const QRegularExpression commentOrText(
        u"//[^\\n]*|/\\*[\\s\\S]*?\\*/|'(?:[^'\\\\\\n]|\\\\.)+'|\"(?:[^\"\\\\\\n]|\\\\.)*\""_s);
    static const QRegularExpression commandLine(
        u"(?<![\\w-])(--[a-z]|-[a-zA-Z](?![\\w-]))|"
        "\\bplait (get|list|show|resume|restart|finish|query|check|set-url|remove|config)\\b"_s);
    QStringList problems;
    for (const QRegularExpressionMatch &match : commentOrText.globalMatch(text)) {
        const QString words = match.captured();
        if (words.startsWith(u'"') && commandLine.match(words).hasMatch()) {
            const qsizetype line = text.left(match.capturedStart()).count(u'\n') + 1;
            problems.append(u"%1:%2: speaks of a command line (%3)"_s.arg(path).arg(line).arg(words));
        }
    }
    return problems;
}
}
