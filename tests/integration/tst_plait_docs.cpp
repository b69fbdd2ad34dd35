// SPDX-License-Identifier: MIT
#include <tests/integration/docsexamples.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/nginxserver.h>
#include <tests/support/scriptedproxy.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>
#include <QTextStream>

#include <algorithm>
#include <csignal>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kUnfinished = 7;
constexpr quint64 kSeed = 97;
constexpr qint64 kSize = 1024 * 1024;
/// Downloads with these numbers are unfinished, all before them are done.
constexpr int kFirstUnfinished = 7;
constexpr qint64 kBeginning = 4096;

const QString kUrl = u"https://example.com/"_s;

bool writeFile(const QString &path, const QString &text)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).absolutePath()) && file.open(QIODevice::WriteOnly)
        && file.write(text.toUtf8()) >= 0;
}

}

/// Each command line that README.md, docs/manual.md and the program's help show, by a real shell and the real program.
/// All names lead to a server of this machine, through a proxy that the settings name, and its authority is trusted by
/// them.
class TestPlaitDocs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void examplesAreFoundInPages();
    void eachExampleEndsAsItPromises_data();
    void eachExampleEndsAsItPromises();

private:
    static QList<DocsExample> examples();
    static QList<DocsExample> helpsExamples();
    /// What the examples take for granted: settings, files of addresses, downloads of the list.
    bool prepare(PlaitSandbox &plait, const DocsExample &example);
    static PlaitResult runInShell(const PlaitSandbox &plait, const QString &line);
    static bool leaveUnfinished(PlaitSandbox &plait, int id);

    TestCa m_ca;
    NginxServer m_server;
    ScriptedProxy m_proxy;
};

void TestPlaitDocs::initTestCase()
{
    QVERIFY2(m_ca.isValid(), qPrintable(m_ca.errorText()));
    m_server.setCertificate(m_ca.issue(u"example"_s, u"DNS:example.com,DNS:*.example.com"_s, 2));
    QVERIFY2(m_server.start(m_ca), qPrintable(m_server.errorText()));
    for (const QString &name : {u"file.iso"_s, u"other.iso"_s})
        QVERIFY(m_server.addFile(name, kSeed, kSize));
    for (int i = 1; i < kFirstUnfinished; ++i)
        QVERIFY(m_server.addFile(u"%1.txt"_s.arg(i), kSeed, 100));
    QCOMPARE(QProcess::execute(
                 u"tar"_s, {u"-C"_s, m_server.folder(), u"-cf"_s, m_server.folder() + u"/archive.tar"_s, u"1.txt"_s}),
             0);
    m_proxy.setTarget(quint16(m_server.url({}, RealServer::Scheme::Https).port()));
}

QList<DocsExample> TestPlaitDocs::examples()
{
    QList<DocsExample> examples;
    for (const QString &name : {u"README.md"_s, u"docs/manual.md"_s}) {
        QFile page(QStringLiteral(PLAIT_SOURCE_ROOT "/") + name);
        if (page.open(QIODevice::ReadOnly))
            examples += DocsExample::of(name, QString::fromUtf8(page.readAll()));
    }
    return examples + helpsExamples();
}

/// Those at the end of each command's page.
QList<DocsExample> TestPlaitDocs::helpsExamples()
{
    static const QRegularExpression command(u"^  ([a-z-]+) {2,}"_s, QRegularExpression::MultilineOption);
    PlaitSandbox plait;
    const QString help = QString::fromUtf8(plait.runBare({u"help"_s}).out);
    QList<DocsExample> examples;
    for (const QRegularExpressionMatch &match : command.globalMatch(help)) {
        const QString page = QString::fromUtf8(plait.runBare({u"help"_s, match.captured(1)}).out);
        const QStringList lines = page.section(u"\nExamples:\n"_s, 1).section(u"\n\n"_s, 0, 0).split(u'\n');
        for (const QString &line : lines) {
            if (line.startsWith("  "_L1))
                examples.append({u"help "_s + match.captured(1), line.trimmed()});
        }
    }
    return examples;
}

void TestPlaitDocs::examplesAreFoundInPages()
{
    const QList<DocsExample> found = DocsExample::of(
        u"a"_s,
        u"```\nplait no\n```\n```sh\n# a remark\nplait list\nplait show 7   # of 7 (status 1)\n```\nplait no\n"_s);
    QCOMPARE(found.size(), 2);
    QVERIFY(found.at(0).line == "plait list"_L1 && found.at(0).status == 0 && found.at(0).place == "a:6"_L1);
    QVERIFY(found.at(1).line == "plait show 7"_L1 && found.at(1).status == 1);
    QCOMPARE(found.at(1).ids(), QList<int>{7});
    QVERIFY(examples().size() > 40);
}

bool TestPlaitDocs::leaveUnfinished(PlaitSandbox &plait, int id)
{
    const QString name = id == kFirstUnfinished ? u"file.iso"_s : u"other.iso"_s;
    plait.startBare({u"-x"_s, u"1"_s, u"--max-overall-download-limit"_s, u"100K"_s, u"-q"_s, kUrl + name});
    const bool hasBegun =
        QTest::qWaitFor([&] { return plait.partBeginsWith(name, TestFiles::content(kSeed, 0, kBeginning)); },
                        PlaitSandbox::kPatienceMs);
    plait.sendSignal(SIGTERM);
    return plait.finish().status == kUnfinished && hasBegun;
}

bool TestPlaitDocs::prepare(PlaitSandbox &plait, const DocsExample &example)
{
    QString finished;
    for (int i = 1; i < kFirstUnfinished; ++i)
        finished += kUrl + u"%1.txt\n"_s.arg(i);
    plait.setVariable(u"https_proxy"_s, m_proxy.url(u"http"_s).toString());
    plait.setVariable(u"PATH"_s, QFileInfo(PlaitSandbox::program()).path() + u':' + qEnvironmentVariable("PATH"));
    const QString config = plait.environment().value(u"XDG_CONFIG_HOME"_s) + u"/plait/plait.conf"_s;
    bool isReady = writeFile(config, u"ca-certificate = "_s + m_ca.caFile() + u'\n')
        && writeFile(plait.path(u"urls.txt"_s), kUrl + u"1.txt\n# a remark\n"_s + kUrl + u"2.txt\n"_s)
        && writeFile(plait.path(u"copied.txt"_s), u"curl -fsSL -o copied.iso "_s + kUrl + u"file.iso\n"_s)
        && writeFile(plait.path(u"finished.txt"_s), finished);
    const QList<int> ids = example.ids();
    if (!ids.isEmpty() || example.line.startsWith("plait list"_L1))
        isReady = isReady && plait.runBare({u"-i"_s, u"finished.txt"_s, u"-q"_s}).status == 0;
    for (int id = kFirstUnfinished; !ids.isEmpty() && id <= *std::max_element(ids.cbegin(), ids.cend()); ++id)
        isReady = isReady && leaveUnfinished(plait, id);
    return isReady;
}

PlaitResult TestPlaitDocs::runInShell(const PlaitSandbox &plait, const QString &line)
{
    QProcess shell;
    shell.setProcessEnvironment(plait.environment());
    shell.setWorkingDirectory(plait.downloads());
    shell.start(u"bash"_s, {u"--norc"_s, u"-o"_s, u"pipefail"_s, u"-c"_s, line});
    shell.closeWriteChannel();
    // The proxy's events have to go on.
    if (!QTest::qWaitFor([&shell] { return shell.state() == QProcess::NotRunning; }, PlaitSandbox::kPatienceMs)) {
        shell.kill();
        shell.waitForFinished();
    }
    const bool hasEnded = shell.exitStatus() == QProcess::NormalExit;
    return {hasEnded ? shell.exitCode() : -1, shell.readAllStandardOutput(), shell.readAllStandardError()};
}

void TestPlaitDocs::eachExampleEndsAsItPromises_data()
{
    QTest::addColumn<DocsExample>("example");
    QStringList tried;
    for (const DocsExample &example : examples()) {
        if (tried.contains(example.line))
            continue;
        tried.append(example.line);
        QTest::newRow(qPrintable(example.place + u": "_s + example.line)) << example;
    }
}

void TestPlaitDocs::eachExampleEndsAsItPromises()
{
    QFETCH(DocsExample, example);
    PlaitSandbox plait;
    QVERIFY(prepare(plait, example));
    const PlaitResult result = runInShell(plait, example.line);
    if (qEnvironmentVariableIsSet("PLAIT_SHOW_EXAMPLES"))
        QTextStream(stdout) << example.place << ": " << example.line << "\n    status " << result.status << '\n';
    QVERIFY2(result.status == example.status,
             "status " + QByteArray::number(result.status) + ": " + result.out + result.err);
}

QTEST_GUILESS_MAIN(TestPlaitDocs)
#include "tst_plait_docs.moc"
