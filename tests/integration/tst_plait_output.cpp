// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTest>

#include <memory>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 31;
constexpr qint64 kSize = 300000;

/// Where the program's standard output goes.
enum class Sink {
    FullDevice,
    Closed, ///< there is none
    NoReader, ///< a pipe whose other end is closed
};

/// For the child, between fork and exec.
void redirect(Sink sink, int deadPipe)
{
    if (sink == Sink::Closed)
        ::close(STDOUT_FILENO);
    else
        ::dup2(sink == Sink::NoReader ? deadPipe : ::open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
}

}

/// What becomes of answers that cannot be written.
class TestPlaitOutput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void anAnswerThatCannotBeWrittenIsAFailure_data();
    void anAnswerThatCannotBeWrittenIsAFailure();
    void answersToAClosedOutputEndUpInNoFile();
    void aDownloadThatAnswersNothingNeedsNoOutput();
    void aDownloadWhoseEventsCannotBeWrittenIsDoneAllTheSame();
    void aReaderThatHasEnoughEndsTheListQuietly();
    void aReaderThatHasEnoughStopsADownload();
    void anotherFailureKeepsItsStatus();
    void verboseTellsWhatIsAskedAndAnswered();

private:
    /// To its end, with the list and the folder of the sandbox.
    PlaitResult runInto(Sink sink, const QStringList &arguments);
    QString url(const QString &path) const { return m_server->url(path).toString(); }

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_sandbox;
};

void TestPlaitOutput::init()
{
    m_server = std::make_unique<ScriptedServer>();
    QVERIFY(m_server->isListening());
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    m_sandbox = std::make_unique<PlaitSandbox>();
    const PlaitResult result = m_sandbox->run({url(u"/file.bin"_s), u"-o"_s, u"first.bin"_s});
    QVERIFY2(result.status == 0, result.err.constData());
}

PlaitResult TestPlaitOutput::runInto(Sink sink, const QStringList &arguments)
{
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return {};
    ::close(ends[0]);
    QProcess process;
    process.setProcessEnvironment(m_sandbox->environment());
    process.setWorkingDirectory(m_sandbox->downloads());
    process.setStandardInputFile(QProcess::nullDevice());
    process.setChildProcessModifier([sink, deadPipe = ends[1]] { redirect(sink, deadPipe); });
    process.start(PlaitSandbox::program(), arguments);
    const bool ended =
        QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, PlaitSandbox::kPatienceMs);
    ::close(ends[1]);
    const bool isNormal = ended && process.exitStatus() == QProcess::NormalExit;
    return {isNormal ? process.exitCode() : -1, process.readAllStandardOutput(), process.readAllStandardError()};
}

void TestPlaitOutput::anAnswerThatCannotBeWrittenIsAFailure_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("list") << QStringList{u"list"_s};
    QTest::newRow("list as JSON") << QStringList{u"list"_s, u"--json"_s};
    QTest::newRow("show") << QStringList{u"show"_s, u"1"_s};
    QTest::newRow("show as JSON") << QStringList{u"show"_s, u"1"_s, u"--json"_s};
    QTest::newRow("config") << QStringList{u"config"_s};
    QTest::newRow("query") << QStringList{u"query"_s, u"URL"_s};
    QTest::newRow("query as JSON") << QStringList{u"query"_s, u"URL"_s, u"--json"_s};
    QTest::newRow("the help") << QStringList{u"--help"_s};
    QTest::newRow("the help of a command") << QStringList{u"get"_s, u"--help"_s};
    QTest::newRow("the version") << QStringList{u"--version"_s};
}

void TestPlaitOutput::anAnswerThatCannotBeWrittenIsAFailure()
{
    QFETCH(QStringList, arguments);
    arguments.replaceInStrings(u"URL"_s, url(u"/file.bin"_s));
    const PlaitResult full = runInto(Sink::FullDevice, arguments);
    QCOMPARE(full.status, 1);
    QCOMPARE(full.err, QByteArray("plait: cannot write to standard output: No space left on device.\n"));
    const PlaitResult closed = runInto(Sink::Closed, arguments);
    QCOMPARE(closed.status, 1);
    QCOMPARE(closed.err, QByteArray("plait: cannot write to standard output: Bad file descriptor.\n"));
}

void TestPlaitOutput::answersToAClosedOutputEndUpInNoFile()
{
    const QString log = m_sandbox->path(u"log"_s);
    const PlaitResult result = runInto(Sink::Closed, {u"query"_s, u"--json"_s, u"--log"_s, log, url(u"/file.bin"_s)});
    QCOMPARE(result.status, 1);
    QVERIFY(QFile::exists(log));
    QDirIterator files(QDir(m_sandbox->dataHome()).filePath(u".."_s), QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY2(!file.readAll().contains("\"event\":\"query\""), qPrintable(file.fileName()));
    }
}

void TestPlaitOutput::aDownloadThatAnswersNothingNeedsNoOutput()
{
    for (const Sink sink : {Sink::FullDevice, Sink::Closed, Sink::NoReader}) {
        const PlaitResult result =
            runInto(sink, {url(u"/file.bin"_s), u"-o"_s, u"second.bin"_s, u"--on-exists"_s, u"overwrite"_s});
        QVERIFY2(result.status == 0, result.err.constData());
        QCOMPARE(TestFiles::sha256OfFile(m_sandbox->path(u"second.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
    }
}

void TestPlaitOutput::aDownloadWhoseEventsCannotBeWrittenIsDoneAllTheSame()
{
    const PlaitResult result = runInto(Sink::FullDevice, {u"--json"_s, url(u"/file.bin"_s), u"-o"_s, u"second.bin"_s});
    QCOMPARE(result.status, 1);
    QVERIFY2(result.err.contains("cannot write to standard output"), result.err.constData());
    QCOMPARE(TestFiles::sha256OfFile(m_sandbox->path(u"second.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitOutput::aReaderThatHasEnoughEndsTheListQuietly()
{
    for (const QStringList &arguments :
         {QStringList{u"list"_s}, {u"list"_s, u"--json"_s}, {u"show"_s, u"1"_s}, {u"config"_s}, {u"--help"_s}}) {
        const PlaitResult result = runInto(Sink::NoReader, arguments);
        QCOMPARE(result.status, 141);
        QCOMPARE(result.err, QByteArray());
    }
}

void TestPlaitOutput::aReaderThatHasEnoughStopsADownload()
{
    ScriptedResponse held = ScriptedResponse::file(kSeed, kSize);
    held.holdAfter = kSize / 2;
    m_server->setResponse("/held.bin", held);
    const PlaitResult result = runInto(Sink::NoReader, {u"--json"_s, url(u"/held.bin"_s)});
    QCOMPARE(result.status, 141);
    QVERIFY2(!result.err.contains("standard output"), result.err.constData());
    m_server->release();
    const PlaitResult resumed = m_sandbox->runBare({u"resume"_s, u"--all"_s});
    QVERIFY2(resumed.status == 0, resumed.err.constData());
    QCOMPARE(TestFiles::sha256OfFile(m_sandbox->path(u"held.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitOutput::anotherFailureKeepsItsStatus()
{
    const PlaitResult missing = runInto(Sink::FullDevice, {u"query"_s, u"--json"_s, url(u"/missing"_s)});
    QCOMPARE(missing.status, 3);
    QVERIFY2(missing.err.contains("cannot write to standard output"), missing.err.constData());
}

void TestPlaitOutput::verboseTellsWhatIsAskedAndAnswered()
{
    ScriptedServer server;
    server.setResponse("/file.bin", ScriptedResponse::file(1, 1));
    const PlaitResult result =
        m_sandbox->run({u"-v"_s, u"--log-level"_s, u"0"_s, server.url(u"/file.bin"_s).toString()});
    QCOMPARE(result.status, 0);
    for (const char *line : {"] > GET /file.bin HTTP/1.1\n", "] > Host: 127.0.0.1", "] < HTTP/1.1 200 OK\n",
                             "] < Content-Length: 1\n", "] section #1 finished"})
        QVERIFY2(result.err.contains(line), result.err);
    const QByteArray both = m_sandbox->run({u"-v"_s, u"-q"_s, u"http://host/"_s}).err;
    QVERIFY2(both.contains("--verbose") && both.contains("--quiet"), both);
}

QTEST_GUILESS_MAIN(TestPlaitOutput)
#include "tst_plait_output.moc"
