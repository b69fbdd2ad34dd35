// SPDX-License-Identifier: MIT
#include <tests/unit/house/houserules.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

class TestHouse : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everySourceIncludesOnlyWhatItsRoomMayUse();
    void everySourceBeginsWithItsLicence();
    void theHostSpeaksNoCommandLine();
    void theHostLeavesWordsToFrontEnds();
    void everyDecisionIsHeldByTests();
    void everyFileThatTheGuideNamesIsThere();
    void rulesForIncludes_data();
    void rulesForIncludes();
    void rulesForHeads_data();
    void rulesForHeads();
    void rulesForWords_data();
    void rulesForWords();
    void rulesForSentences_data();
    void rulesForSentences();
    void aProblemNamesItsLine();
    void qtHeadersAreKnownByTheirModule_data();
    void qtHeadersAreKnownByTheirModule();

private:
    struct Source {
        QString path;
        QString text;
    };
    static QList<Source> sources(const QStringList &folders, const QStringList &names);
    static QList<Source> cppSources();
};

QList<TestHouse::Source> TestHouse::sources(const QStringList &folders, const QStringList &names)
{
    const QDir root(QStringLiteral(PLAIT_SOURCE_ROOT));
    QList<Source> found;
    for (const QString &folder : folders) {
        QDirIterator files(root.filePath(folder), names, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (file.open(QIODevice::ReadOnly)) {
                found.append({root.relativeFilePath(file.fileName()), QString::fromUtf8(file.readAll())});
            }
        }
    }
    return found;
}

QList<TestHouse::Source> TestHouse::cppSources()
{
    return sources({u"inet"_s, u"host"_s, u"cli"_s, u"tests"_s, u"benchmarks"_s}, {u"*.h"_s, u"*.cpp"_s});
}

void TestHouse::everySourceIncludesOnlyWhatItsRoomMayUse()
{
    const QList<Source> all = cppSources();
    QVERIFY2(all.size() > 50, "the tree's sources were not found");
    QStringList problems;
    for (const Source &source : all) {
        problems += HouseRules::includeProblems(source.path, source.text);
    }
    QVERIFY2(problems.isEmpty(), qPrintable(u'\n' + problems.join(u'\n')));
}

void TestHouse::everySourceBeginsWithItsLicence()
{
    const QStringList folders = {u"inet"_s, u"host"_s, u"cli"_s, u"tests"_s, u"benchmarks"_s, u"cmake"_s, u".ci"_s};
    const QStringList names = {u"CMakeLists.txt"_s, u"*.cmake"_s, u"*.sh"_s, u"run"_s};
    QStringList problems;
    for (const Source &source : cppSources() + sources(folders, names)) {
        problems += HouseRules::headProblems(source.path, source.text);
    }
    QVERIFY2(problems.isEmpty(), qPrintable(u'\n' + problems.join(u'\n')));
}

void TestHouse::theHostSpeaksNoCommandLine()
{
    QStringList problems;
    const QList<Source> all = sources({u"host"_s}, {u"*.h"_s, u"*.cpp"_s});
    QVERIFY2(all.size() > 50, "the host's sources were not found");
    for (const Source &source : all)
        problems += HouseRules::commandLineProblems(source.path, source.text);
    QVERIFY2(problems.isEmpty(), qPrintable(u'\n' + problems.join(u'\n')));
}

void TestHouse::theHostLeavesWordsToFrontEnds()
{
    QStringList problems;
    for (const Source &source : sources({u"host"_s}, {u"*.h"_s, u"*.cpp"_s}))
        problems += HouseRules::sentenceProblems(source.path, source.text);
    QVERIFY2(problems.isEmpty(), qPrintable(u'\n' + problems.join(u'\n')));
}

void TestHouse::everyDecisionIsHeldByTests()
{
    static const QRegularExpression name(u"`(tst_\\w+)::(\\w+)`"_s);
    QHash<QString, QString> programs;
    for (const Source &source : sources({u"tests"_s}, {u"tst_*.cpp"_s}))
        programs.insert(source.path.section(u'/', -1).chopped(4), source.text);
    QString decisions;
    for (const Source &source : sources({u"docs"_s}, {u"decisions.md"_s}))
        decisions = source.text;
    const QStringList paragraphs = decisions.split(u"\n**"_s).mid(1);
    QVERIFY(paragraphs.size() > 10);
    for (const QString &paragraph : paragraphs) {
        QVERIFY2(paragraph.contains(name), qPrintable(paragraph));
        for (const QRegularExpressionMatch &test : name.globalMatch(paragraph))
            QVERIFY2(programs.value(test.captured(1)).contains("::"_L1 + test.captured(2) + "()\n{"_L1),
                     qPrintable(test.captured()));
    }
}

void TestHouse::everyFileThatTheGuideNamesIsThere()
{
    static const QRegularExpression path(u"`([a-z]+/[\\w/.]+)`"_s);
    const QDir root(QStringLiteral(PLAIT_SOURCE_ROOT));
    QFile guide(root.filePath(u"docs/howto.md"_s));
    QVERIFY(guide.open(QIODevice::ReadOnly));
    int count = 0;
    for (auto matches = path.globalMatch(QString::fromUtf8(guide.readAll())); matches.hasNext(); ++count) {
        const QString name = matches.next().captured(1);
        QVERIFY2(QFileInfo::exists(root.filePath(name)), qPrintable(name));
    }
    QVERIFY(count > 20);
}

void TestHouse::rulesForIncludes_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("allowed");
    const auto row = [](const char *name, const char *path, const char *line, bool allowed) {
        QTest::newRow(name) << QString::fromLatin1(path) << QString::fromLatin1(line) << allowed;
    };
    const char *record = "#include <inet/qt/download/records/abstracterror.h>";
    const char *framework = "#include <inet/qt/download/framework/abstractdownload.h>";
    const char *response = "#include <inet/qt/download/response/httpheadersparser.h>";
    const char *core = "#include <inet/qt/download/downloadswww/wwwdownload.h>";
    const char *entry = "#include <inet/qt/download/downloadswww/moduleentry.h>";
    const char *engine = "#include <host/engine/downloadqueue.h>";
    const char *policy = "#include <host/policy/retry.h>";
    const char *parsing = "#include <host/parsing/httpdate.h>";

    row("framework may include records", "inet/qt/download/framework/a.h", record, true);
    row("records must not include framework", "inet/qt/download/records/a.h", framework, false);
    row("response may include records", "inet/qt/download/response/a.h", record, true);
    row("response must not include framework", "inet/qt/download/response/a.h", framework, false);
    row("response may use Core5Compat", "inet/qt/download/response/a.cpp", "#include <QTextCodec>", true);
    row("response must not use Network", "inet/qt/download/response/a.cpp", "#include <QNetworkReply>", false);
    row("sources must not include response", "inet/qt/download/sources/a.h", response, false);
    row("the module may include response", "inet/qt/download/downloadswww/wwwdownload.cpp", response, true);
    row("the module must not include host", "inet/qt/download/downloadswww/wwwdownload.cpp", engine, false);
    row("the module must not use Core5Compat", "inet/qt/download/downloadswww/a.cpp", "#include <QTextCodec>", false);
    row("the module's core must not include its entry", "inet/qt/download/downloadswww/a.cpp", entry, false);
    row("the module's entry may include its core", "inet/qt/download/downloadswww/moduleentry.cpp", core, true);
    row("host may include framework", "host/engine/a.cpp", framework, true);
    row("host must not include the module", "host/engine/a.cpp", core, false);
    row("host must not include the module's entry", "host/engine/a.cpp", entry, false);
    row("host may include the helpers made for hosts", "host/engine/a.cpp",
        "#include <inet/qt/download/response/fileinfoutils.h>", true);
    row("host must not include response", "host/network/a.cpp", response, false);
    row("nobody may use Qt Sql", "host/storage/a.cpp", "#include <QSqlQuery>", false);
    row("what speaks to SQLite may use it", "host/storage/sqldatabase.cpp", "#include <sqlite3.h>", true);
    row("the rest of storage must not use SQLite", "host/storage/schema.cpp", "#include <sqlite3.h>", false);
    row("the rest of storage may include what does", "host/storage/schema.cpp", "#include <host/storage/sqldatabase.h>",
        true);
    row("the engine must not know which database it is", "host/engine/a.cpp", "#include <host/storage/sqldatabase.h>",
        false);
    row("cli must not know which database it is", "cli/a.cpp", "#include <host/storage/sqlvalue.h>", false);
    row("the engine must not use SQLite", "host/engine/a.cpp", "#include <sqlite3.h>", false);
    row("host may use libcurl for its transfers", "host/network/transfer.h", "#include <curl/curl.h>", true);
    row("host must not use libcurl elsewhere", "host/policy/retry.cpp", "#include <curl/curl.h>", false);
    row("host must not include cli", "host/engine/a.cpp", "#include <cli/options.h>", false);
    row("the engine may include policy", "host/engine/a.cpp", policy, true);
    row("policy must not include the engine", "host/policy/a.cpp", engine, false);
    row("policy may include parsing", "host/policy/a.cpp", parsing, true);
    row("parsing must not include policy", "host/parsing/a.cpp", policy, false);
    row("options must not include storage", "host/options/a.cpp", "#include <host/storage/logfile.h>", false);
    row("storage must not include the engine", "host/storage/a.cpp", engine, false);
    row("network must not include storage", "host/network/a.cpp", "#include <host/storage/logfile.h>", false);
    row("cli may include the engine's face", "cli/main.cpp", "#include <host/engine/engine.h>", true);
    row("cli must not include what stands behind it", "cli/main.cpp", engine, false);
    row("cli must not include what looks for modules", "cli/main.cpp", "#include <host/engine/moduleregistry.h>",
        false);
    row("cli must not include what is one of the queue's", "cli/main.cpp", "#include <host/engine/queueddownload.h>",
        false);
    row("cli must not include what makes a snapshot", "cli/main.cpp", "#include <host/engine/snapshotmaker.h>", false);
    row("cli may include a snapshot", "cli/main.cpp", "#include <host/engine/snapshot.h>", true);
    row("cli may include what is known of a stream", "cli/main.cpp", "#include <host/engine/streamsnapshot.h>", true);
    row("cli must not include the list", "cli/main.cpp", "#include <host/storage/downloadlist.h>", false);
    row("cli must not include the list's thread", "cli/main.cpp", "#include <host/storage/storethread.h>", false);
    row("cli must not include the network", "cli/main.cpp", "#include <host/network/transferhub.h>", false);
    row("cli must not include what an engine is made of", "cli/main.cpp", "#include <host/engine/outbox.h>", false);
    row("cli may include what it asks of an engine", "cli/main.cpp", "#include <host/engine/snapshotquery.h>", true);
    row("cli may repair a list", "cli/main.cpp", "#include <host/storage/listrepair.h>", true);
    row("the engine may include the list", "host/engine/a.cpp", "#include <host/storage/downloadlist.h>", true);
    row("cli must not include the module", "cli/main.cpp", core, false);
    row("cli may use CLI11", "cli/main.cpp", "#include <CLI/CLI.hpp>", true);
    row("host must not use CLI11", "host/engine/a.cpp", "#include <CLI/CLI.hpp>", false);
    row("framework must not include tests", "inet/qt/download/framework/a.h",
        "#include <tests/support/scriptedserver.h>", false);
    row("test support may include framework", "tests/support/a.h", framework, true);
    row("test support must not include the module", "tests/support/a.h", core, false);
    row("test support must not include host", "tests/support/a.h", engine, false);
    row("tests may include the module", "tests/unit/downloadswww/a.cpp", core, true);
    row("a path of ours outside every room", "host/engine/a.h", "#include <inet/elsewhere/a.h>", false);
    row("a source outside every room", "inet/elsewhere/a.h", "", false);
    row("our header in quotes", "host/engine/a.cpp", "#include \"session.h\"", false);
    row("our header without its path", "host/engine/a.cpp", "#include <session.h>", false);
    row("a generated source in quotes", "host/engine/a.cpp", "#include \"a.moc\"", true);
    row("the C++ library", "host/engine/a.cpp", "#include <string_view>", true);
    row("the operating system", "host/engine/a.cpp", "#include <sys/stat.h>", true);
    row("a library that nobody uses", "host/engine/a.cpp", "#include <zlib.h>", false);
    row("a Qt module that nobody uses", "host/engine/a.cpp", "#include <QWidget>", false);
    row("spaces in the directive", "host/engine/a.cpp", "  #  include  <sqlite3.h>", false);
    row("an include in a comment", "host/engine/a.cpp", "// #include <sqlite3.h>", true);
}

void TestHouse::rulesForIncludes()
{
    QFETCH(QString, path);
    QFETCH(QString, line);
    QFETCH(bool, allowed);
    const QStringList problems = HouseRules::includeProblems(path, u"// first line\n"_s + line + u"\n"_s);
    QCOMPARE(problems.size(), allowed ? 0 : 1);
}

void TestHouse::rulesForHeads_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("problems");
    QTest::newRow("a proper header") << u"host/a.h"_s << u"// SPDX-License-Identifier: MIT\n#pragma once\n"_s << 0;
    QTest::newRow("a header without a guard") << u"host/a.h"_s << u"// SPDX-License-Identifier: MIT\n"_s << 1;
    QTest::newRow("a source needs no guard") << u"host/a.cpp"_s << u"// SPDX-License-Identifier: MIT\n"_s << 0;
    QTest::newRow("no licence") << u"host/a.cpp"_s << u"#include <QString>\n"_s << 1;
    QTest::newRow("a licence in the second line") << u"host/a.cpp"_s << u"\n// SPDX-License-Identifier: MIT\n"_s << 1;
    QTest::newRow("another licence") << u"host/a.cpp"_s << u"// SPDX-License-Identifier: GPL-2.0\n"_s << 1;
    QTest::newRow("nothing at all") << u"host/a.h"_s << QString() << 2;
    QTest::newRow("a build file") << u"host/CMakeLists.txt"_s << u"# SPDX-License-Identifier: MIT\n"_s << 0;
    QTest::newRow("a script") << u"dev"_s << u"#!/bin/bash\n# SPDX-License-Identifier: MIT\n"_s << 0;
}

void TestHouse::rulesForHeads()
{
    QFETCH(QString, path);
    QFETCH(QString, text);
    QFETCH(int, problems);
    QCOMPARE(HouseRules::headProblems(path, text).size(), problems);
}

void TestHouse::rulesForWords_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("problems");
    QTest::newRow("an option") << uR"(f(u"give it with --header"_s);)"_s << 1;
    QTest::newRow("an option of one letter") << uR"(f(u"use -d for it"_s);)"_s << 1;
    QTest::newRow("an option in a quotation") << uR"(f(u"try \"-x 1\""_s);)"_s << 1;
    QTest::newRow("a command") << uR"(f(u"run \"plait resume 7\""_s);)"_s << 1;
    QTest::newRow("two of them") << uR"(f("--a", "--b");)"_s << 2;
    QTest::newRow("the program's name alone") << uR"(f(u"which plait does not speak"_s);)"_s << 0;
    QTest::newRow("the ending of a file") << uR"(f(u"-wal"_s);)"_s << 0;
    QTest::newRow("a word with a hyphen") << uR"(f(u"not-compared"_s);)"_s << 0;
    QTest::newRow("a number below zero") << uR"(f(u"-1 = unknown"_s);)"_s << 0;
    QTest::newRow("a dash") << uR"(f(u"this - or that"_s);)"_s << 0;
    QTest::newRow("a comment") << uR"(/// @param subject how it is called: "--tries")"_s << 0;
    QTest::newRow("a comment behind a text") << uR"(f("a"); // as "--tries")"_s << 0;
    QTest::newRow("two slashes in a text") << uR"(f("http://", "--a");)"_s << 1;
    QTest::newRow("a quotation mark as a character") << uR"(f('"'); --count; g('"');)"_s << 0;
}

void TestHouse::rulesForWords()
{
    QFETCH(QString, line);
    const QStringList problems = HouseRules::commandLineProblems(u"host/a.cpp"_s, line);
    QTEST(int(problems.size()), "problems");
}

void TestHouse::rulesForSentences_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("problems");
    const auto row = [](const char *name, const QString &line, int problems) {
        QTest::newRow(name) << u"host/engine/a.cpp"_s << line << problems;
    };
    row("a clause", uR"(f(u"it is not open"_s);)"_s, 1);
    row("a part of one", uR"(f(" at most: "_L1);)"_s, 1);
    row("a clause with a value", uR"(f(u"the table \"%1\" is missing"_s);)"_s, 1);
    row("one in several lines", uR"(f(u"it is not "\n"open by now"_s);)"_s, 2);
    row("a word", uR"(f(u"headers"_s);)"_s, 0);
    row("a key", uR"(f("not-compared"_L1, "further, password");)"_s, 0);
    row("SQL", uR"(f(u"SELECT id FROM downloads WHERE id is null"_s);)"_s, 0);
    row("the format of a date", uR"(f(u"yyyy-MM-dd hh:mm"_s);)"_s, 0);
    row("a line of the log", uR"(log() << "Download " << id << " in the queue: " << name;)"_s, 0);
    row("an assert", uR"(Q_ASSERT_X(!m_run, "Session", "one run at a time");)"_s, 0);
    row("a text behind an assert", uR"(Q_ASSERT_X(a, "b", "one run"); f(u"not so much"_s);)"_s, 1);
    row("a comment", uR"(f(1); // "it is not open")"_s, 0);
    QTest::newRow("who tells the errors of a transfer")
        << u"host/network/a.cpp"_s << uR"(f(u"Connection refused"_s);)"_s << 0;
    QTest::newRow("the help of an option") << u"host/options/optionrows.cpp"_s << uR"(f("Go before others");)"_s << 0;
}

void TestHouse::rulesForSentences()
{
    QFETCH(QString, path);
    QFETCH(QString, line);
    QTEST(int(HouseRules::sentenceProblems(path, line).size()), "problems");
}

void TestHouse::aProblemNamesItsLine()
{
    const QStringList problems = HouseRules::includeProblems(
        u"host/engine/a.cpp"_s, u"\n\n#include <inet/qt/download/response/httpheadersparser.h>\n"_s);
    QCOMPARE(problems,
             QStringList(u"host/engine/a.cpp:3: works must not include response "
                         "(\"inet/qt/download/response/httpheadersparser.h\")"_s));
}

void TestHouse::qtHeadersAreKnownByTheirModule_data()
{
    QTest::addColumn<QString>("header");
    QTest::addColumn<QString>("module");
    QTest::newRow("a class") << u"QString"_s << u"QtCore"_s;
    QTest::newRow("a class of another module") << u"QNetworkReply"_s << u"QtNetwork"_s;
    QTest::newRow("a file") << u"qglobal.h"_s << u"QtCore"_s;
    QTest::newRow("a module's name before it") << u"QtSql/QSqlQuery"_s << u"QtSql"_s;
    QTest::newRow("none of Qt's") << u"queue"_s << QString();
}

void TestHouse::qtHeadersAreKnownByTheirModule()
{
    QFETCH(QString, header);
    QFETCH(QString, module);
    QCOMPARE(HouseRules::qtModuleOf(header), module);
}

QTEST_GUILESS_MAIN(TestHouse)
#include "tst_house.moc"
