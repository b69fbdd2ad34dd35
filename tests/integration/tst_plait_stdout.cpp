// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/plaitterminal.h>
#include <tests/support/ftpserver.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTest>

#include <csignal>
#include <memory>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 41;
constexpr quint64 kOtherSeed = 42;
constexpr qint64 kMiB = qint64(1024) * 1024;
constexpr qint64 kSize = 24 * kMiB;
/// More than a download may be ahead of its reader.
constexpr qint64 kLong = 640 * kMiB;
constexpr qint64 kWindow = 256 * kMiB;
constexpr qint64 kLargestPiece = 16 * kMiB;
constexpr int kConnections = 8;
constexpr qint64 kMostMemory = 96 * kMiB;

constexpr int kNotFound = 3;
constexpr int kUnfinished = 7;
constexpr int kCannotResume = 8;
constexpr int kBadOption = 28;
constexpr int kChecksum = 32;
constexpr int kChanged = 33;
constexpr int kReaderGone = 141;

/// Bytes that are made at once and tell where they belong.
QByteArray stamped(qint64 offset, qint64 length)
{
    constexpr qint64 kBlock = 4096;
    constexpr int kStamps = 251;
    QByteArray bytes(length, Qt::Uninitialized);
    for (qint64 done = 0; done < length;) {
        const qint64 place = offset + done;
        const qint64 count = std::min(length - done, kBlock - place % kBlock);
        std::fill_n(bytes.begin() + done, count, char(place / kBlock % kStamps));
        done += count;
    }
    return bytes;
}

QByteArray sha256OfStamped(qint64 size)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (qint64 place = 0; place < size; place += kMiB)
        hash.addData(stamped(place, kMiB));
    return hash.result().toHex();
}

ScriptedResponse longFile()
{
    ScriptedResponse response;
    response.bodyMaker = stamped;
    response.bodySize = kLong;
    response.honoursRanges = true;
    // One that is kept for the next request would look like one that is at work.
    response.closesConnection = true;
    response.withHeader("ETag", "\"long\"");
    return response;
}

/// The program with a pipe at its standard output that is read when the test likes.
class PipedPlait
{
public:
    PipedPlait(const PlaitSandbox &sandbox, const QStringList &arguments)
    {
        int ends[2] = {-1, -1};
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return;
        m_end = ends[0];
        m_process.setProcessEnvironment(sandbox.environment());
        m_process.setWorkingDirectory(sandbox.downloads());
        m_process.setStandardInputFile(QProcess::nullDevice());
        m_process.setChildProcessModifier([pipe = ends[1]] { ::dup2(pipe, STDOUT_FILENO); });
        m_process.start(PlaitSandbox::program(), arguments);
        ::close(ends[1]);
    }
    ~PipedPlait()
    {
        leave();
        m_process.kill();
        m_process.waitForFinished();
    }

    /// Less only at the end, or where nothing comes for too long.
    QByteArray read(qint64 size)
    {
        QByteArray bytes;
        QByteArray piece(kMiB, Qt::Uninitialized);
        while (bytes.size() < size) {
            pollfd readable{m_end, POLLIN, 0};
            if (::poll(&readable, 1, PlaitSandbox::kPatienceMs) <= 0)
                break;
            const ssize_t count = ::read(m_end, piece.data(), std::size_t(std::min(size - bytes.size(), kMiB)));
            if (count <= 0)
                break;
            bytes.append(piece.constData(), count);
        }
        return bytes;
    }
    QByteArray readAll()
    {
        QByteArray all;
        for (QByteArray bytes = read(kMiB); !bytes.isEmpty(); bytes = read(kMiB))
            all += bytes;
        return all;
    }
    QByteArray sha256OfRest()
    {
        QCryptographicHash hash(QCryptographicHash::Sha256);
        for (QByteArray bytes = read(kMiB); !bytes.isEmpty(); bytes = read(kMiB))
            hash.addData(bytes);
        return hash.result().toHex();
    }
    void leave()
    {
        if (m_end >= 0)
            ::close(m_end);
        m_end = -1;
    }
    void sendSignal(int number) { ::kill(pid_t(m_process.processId()), number); }

    int status()
    {
        const auto hasEnded = [this] { return m_process.state() == QProcess::NotRunning; };
        const bool isNormal =
            QTest::qWaitFor(hasEnded, PlaitSandbox::kPatienceMs) && m_process.exitStatus() == QProcess::NormalExit;
        m_err += m_process.readAllStandardError();
        return isNormal ? m_process.exitCode() : -1;
    }
    const QByteArray &err() const { return m_err; }

    /// Bytes of memory that it had at most.
    qint64 mostMemory() const
    {
        QFile file(u"/proc/%1/status"_s.arg(m_process.processId()));
        const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        const QByteArray line = text.mid(text.indexOf("VmHWM:"));
        return line.left(line.indexOf('\n')).simplified().split(' ').value(1).toLongLong() * 1024;
    }

private:
    QProcess m_process;
    QByteArray m_err;
    int m_end = -1;
};

}

/// What "-o -" brings: the file in its order on standard output, and nothing anywhere else.
class TestPlaitStdout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aFileComesOutWhole_data();
    void aFileComesOutWhole();
    void itComesOverSeveralConnections();
    void aFileOfAnFtpServerComesOutWhole();
    void whatBreaksGoesOnWithinTheRun();
    void aReaderThatStallsHoldsTheDownloadUp();
    void aReaderThatHasEnoughEndsItAtOnce();
    void anotherFileInTheMiddleIsAFailure();
    void aServerThatCannotGoOnInTheMiddleIsAFailure();
    void aChecksumIsComparedThoughAllIsOut_data();
    void aChecksumIsComparedThoughAllIsOut();
    void severalFilesComeOneBehindTheOther();
    void nothingComesBehindAFileThatFailed();
    void anOutputThatIsFullIsAFailure();
    void whoStopsItLeavesNothingBehind();
    void whatADeadProcessLeftGoesWithTheNext();
    void answersOfJsonWouldBeInTheWay();
    void nothingIsSpiltOntoATerminal_data();
    void nothingIsSpiltOntoATerminal();
    void aFolderIsNoNameOfAFile_data();
    void aFolderIsNoNameOfAFile();

private:
    QString url(const QString &path) const { return m_server->url(path).toString(); }
    /// Where files lie while they are read.
    QString spools() const { return m_sandbox->environment().value(u"XDG_CACHE_HOME"_s) + u"/plait/streams"_s; }
    bool isNothingLeft() const { return QDir(spools()).isEmpty() && m_sandbox->files().isEmpty(); }
    qint64 bytesOnDisk() const;

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_sandbox;
};

void TestPlaitStdout::init()
{
    m_server = std::make_unique<ScriptedServer>();
    QVERIFY(m_server->isListening());
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    m_sandbox = std::make_unique<PlaitSandbox>();
}

qint64 TestPlaitStdout::bytesOnDisk() const
{
    constexpr qint64 kBlock = 512;
    qint64 sum = 0;
    QDirIterator files(spools(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        struct stat known = {};
        if (::stat(QFile::encodeName(files.next()).constData(), &known) == 0)
            sum += known.st_blocks * kBlock;
    }
    return sum;
}

void TestPlaitStdout::aFileComesOutWhole_data()
{
    QTest::addColumn<ScriptedResponse>("response");
    const auto framed = [](ScriptedResponse::Framing framing, qint64 size) {
        ScriptedResponse response = ScriptedResponse::file(kSeed, size);
        response.framing = framing;
        response.honoursRanges = false;
        response.headers.clear();
        return response;
    };
    QTest::newRow("an empty one") << ScriptedResponse::file(kSeed, 0);
    QTest::newRow("a byte") << ScriptedResponse::file(kSeed, 1);
    QTest::newRow("too small to be cut") << ScriptedResponse::file(kSeed, 500'000);
    QTest::newRow("in many pieces") << ScriptedResponse::file(kSeed, kSize + 12'345);
    QTest::newRow("in chunks, of a size that nobody knows") << framed(ScriptedResponse::Framing::Chunked, 3 * kMiB);
    QTest::newRow("up to the end of its connection") << framed(ScriptedResponse::Framing::CloseDelimited, 3 * kMiB);
    QTest::newRow("from a server that sends the whole alone")
        << framed(ScriptedResponse::Framing::ContentLength, 3 * kMiB);
}

void TestPlaitStdout::aFileComesOutWhole()
{
    QFETCH(ScriptedResponse, response);
    m_server->setResponse("/any.bin", response);
    PipedPlait plait(*m_sandbox, {u"-o"_s, u"-"_s, url(u"/any.bin"_s)});
    const QByteArray out = plait.readAll();
    QCOMPARE(plait.status(), 0);
    QCOMPARE(out.size(), response.size());
    QVERIFY(out == response.bodyPiece(0, response.size()));
    QVERIFY2(plait.err().contains("Wrote \"any.bin\" to standard output"), plait.err().constData());
    QVERIFY(isNothingLeft());
    QVERIFY(!QFile::exists(m_sandbox->dataHome() + u"/plait/downloads.sqlite"_s));
}

void TestPlaitStdout::itComesOverSeveralConnections()
{
    ScriptedResponse slow = ScriptedResponse::file(kSeed, kSize);
    slow.bytesPerSecond = 3 * kMiB;
    m_server->setResponse("/slow.bin", slow);
    PipedPlait plait(*m_sandbox, {u"-q"_s, u"-x"_s, u"6"_s, u"-o"_s, u"-"_s, url(u"/slow.bin"_s)});
    QCOMPARE(plait.sha256OfRest(), TestFiles::sha256OfContent(kSeed, kSize));
    QCOMPARE(plait.status(), 0);
    QVERIFY(m_server->peakConnections() >= 6);
    QCOMPARE(plait.err(), QByteArray());
}

void TestPlaitStdout::aFileOfAnFtpServerComesOutWhole()
{
    FtpServer server;
    QVERIFY2(server.isListening(), qPrintable(server.errorText()));
    QVERIFY(server.addFile(u"file.bin"_s, kSeed, kSize));
    PipedPlait plait(*m_sandbox, {u"-q"_s, u"-o"_s, u"-"_s, server.url(u"/file.bin"_s).toString()});
    QCOMPARE(plait.sha256OfRest(), TestFiles::sha256OfContent(kSeed, kSize));
    QCOMPARE(plait.status(), 0);
}

void TestPlaitStdout::whatBreaksGoesOnWithinTheRun()
{
    ScriptedResponse cut = ScriptedResponse::file(kSeed, kSize);
    cut.cutAfter = 3 * kMiB;
    QList<ScriptedResponse> answers(12, cut);
    answers.append(ScriptedResponse::file(kSeed, kSize));
    m_server->setResponses("/cut.bin", answers);
    PipedPlait plait(*m_sandbox, {u"-q"_s, u"--retry-wait"_s, u"0"_s, u"-o"_s, u"-"_s, url(u"/cut.bin"_s)});
    QCOMPARE(plait.sha256OfRest(), TestFiles::sha256OfContent(kSeed, kSize));
    QCOMPARE(plait.status(), 0);
}

void TestPlaitStdout::aReaderThatStallsHoldsTheDownloadUp()
{
    m_server->setResponse("/long.bin", longFile());
    PipedPlait plait(*m_sandbox, {u"-q"_s, u"-o"_s, u"-"_s, url(u"/long.bin"_s)});
    QCOMPARE(plait.read(kMiB).size(), kMiB);
    // It has all that it may have, and asks nobody for more.
    QTRY_VERIFY_WITH_TIMEOUT(bytesOnDisk() > kWindow / 2 && m_server->openConnections() == 0,
                             PlaitSandbox::kPatienceMs);
    const qint64 held = bytesOnDisk();
    QVERIFY2(held <= kWindow + (kConnections + 1) * kLargestPiece, qPrintable(QString::number(held)));
    const qint64 memory = plait.mostMemory();
    QVERIFY2(memory > 0 && memory <= kMostMemory, qPrintable(QString::number(memory)));
    // What was read is on no disk any more.
    const qint64 half = kLong / 2;
    QCOMPARE(plait.read(half - kMiB).size(), half - kMiB);
    QTRY_VERIFY_WITH_TIMEOUT(m_server->openConnections() == 0, PlaitSandbox::kPatienceMs);
    const qint64 later = bytesOnDisk();
    QVERIFY2(later <= kWindow + (kConnections + 1) * kLargestPiece, qPrintable(QString::number(later)));
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (qint64 place = 0; place < half; place += kMiB)
        hash.addData(stamped(place, kMiB));
    for (QByteArray bytes = plait.read(kMiB); !bytes.isEmpty(); bytes = plait.read(kMiB))
        hash.addData(bytes);
    QCOMPARE(hash.result().toHex(), sha256OfStamped(kLong));
    QCOMPARE(plait.status(), 0);
    QVERIFY(isNothingLeft());
}

void TestPlaitStdout::aReaderThatHasEnoughEndsItAtOnce()
{
    m_server->setResponse("/long.bin", longFile());
    PipedPlait plait(*m_sandbox, {u"-o"_s, u"-"_s, url(u"/long.bin"_s)});
    QCOMPARE(plait.read(1000), stamped(0, 1000));
    plait.leave();
    QCOMPARE(plait.status(), kReaderGone);
    QCOMPARE(plait.err(), QByteArray());
    QVERIFY(m_server->waitForNoConnections());
    QVERIFY(isNothingLeft());
}

/// What came of the first file stays its beginning; no byte of the other one follows.
void TestPlaitStdout::anotherFileInTheMiddleIsAFailure()
{
    ScriptedResponse first = ScriptedResponse::file(kSeed, kSize);
    first.cutAfter = 3 * kMiB;
    ScriptedResponse other = ScriptedResponse::file(kOtherSeed, kSize);
    for (ScriptedResponse::Header &header : other.headers) {
        if (header.first == "ETag")
            header.second = "\"another\"";
    }
    std::atomic<bool> isOther = false;
    m_server->setHandler("/changing.bin", [&](const ScriptedRequest &) { return isOther ? other : first; });
    PipedPlait plait(
        *m_sandbox,
        {u"--on-changed"_s, u"restart"_s, u"--retry-wait"_s, u"0"_s, u"-o"_s, u"-"_s, url(u"/changing.bin"_s)});
    QByteArray out = plait.read(kMiB);
    isOther = true;
    out += plait.readAll();
    QCOMPARE(plait.status(), kChanged);
    QVERIFY(out.size() < kSize);
    QVERIFY(out == TestFiles::content(kSeed, 0, out.size()));
    QVERIFY2(plait.err().contains("no longer has the same file"), plait.err().constData());
    QVERIFY2(plait.err().contains("went out already"), plait.err().constData());
    QVERIFY(isNothingLeft());
}

void TestPlaitStdout::aServerThatCannotGoOnInTheMiddleIsAFailure()
{
    ScriptedResponse cut = ScriptedResponse::file(kSeed, kSize);
    cut.honoursRanges = false;
    cut.cutAfter = 3 * kMiB;
    m_server->setResponse("/cut.bin", cut);
    PipedPlait plait(
        *m_sandbox,
        {u"--on-unresumable"_s, u"restart"_s, u"--retry-wait"_s, u"0"_s, u"-o"_s, u"-"_s, url(u"/cut.bin"_s)});
    const QByteArray out = plait.readAll();
    QCOMPARE(plait.status(), kCannotResume);
    QVERIFY(out.size() <= 3 * kMiB);
    QVERIFY(out == TestFiles::content(kSeed, 0, out.size()));
    QVERIFY2(plait.err().contains("does not send the rest of a file alone"), plait.err().constData());
}

void TestPlaitStdout::aChecksumIsComparedThoughAllIsOut_data()
{
    QTest::addColumn<QString>("checksum");
    QTest::addColumn<int>("status");
    QTest::newRow("the right one") << u"sha-256="_s + QString::fromLatin1(TestFiles::sha256OfContent(kSeed, kSize))
                                   << 0;
    QTest::newRow("another") << u"md5="_s + QString(32, u'0') << kChecksum;
}

void TestPlaitStdout::aChecksumIsComparedThoughAllIsOut()
{
    QFETCH(QString, checksum);
    QFETCH(int, status);
    PipedPlait plait(*m_sandbox, {u"--checksum"_s, checksum, u"-o"_s, u"-"_s, url(u"/file.bin"_s)});
    QCOMPARE(plait.sha256OfRest(), TestFiles::sha256OfContent(kSeed, kSize));
    QCOMPARE(plait.status(), status);
    QCOMPARE(plait.err().contains("is not the file that was meant"), status != 0);
}

void TestPlaitStdout::severalFilesComeOneBehindTheOther()
{
    m_server->setResponse("/second.bin", ScriptedResponse::file(kOtherSeed, kMiB));
    PipedPlait plait(*m_sandbox, {u"-q"_s, u"-o"_s, u"-"_s, url(u"/file.bin"_s), url(u"/second.bin"_s)});
    const QByteArray out = plait.readAll();
    QCOMPARE(plait.status(), 0);
    QVERIFY(out == TestFiles::content(kSeed, 0, kSize) + TestFiles::content(kOtherSeed, 0, kMiB));
}

void TestPlaitStdout::nothingComesBehindAFileThatFailed()
{
    m_server->setResponse("/second.bin", ScriptedResponse::file(kOtherSeed, kMiB));
    PipedPlait plait(*m_sandbox, {u"-o"_s, u"-"_s, url(u"/second.bin"_s), url(u"/missing.bin"_s), url(u"/file.bin"_s)});
    const QByteArray out = plait.readAll();
    QCOMPARE(plait.status(), kNotFound);
    QVERIFY(out == TestFiles::content(kOtherSeed, 0, kMiB));
    QVERIFY(m_server->requests("/file.bin").isEmpty());
}

void TestPlaitStdout::anOutputThatIsFullIsAFailure()
{
    QProcess plait;
    plait.setProcessEnvironment(m_sandbox->environment());
    plait.setStandardInputFile(QProcess::nullDevice());
    plait.setStandardOutputFile(u"/dev/full"_s);
    plait.start(PlaitSandbox::program(), {u"-q"_s, u"-o"_s, u"-"_s, url(u"/file.bin"_s)});
    QVERIFY(plait.waitForFinished(PlaitSandbox::kPatienceMs));
    QCOMPARE(plait.exitCode(), 1);
    const QByteArray err = plait.readAllStandardError();
    QVERIFY2(err.contains("cannot write to standard output: No space left on device"), err.constData());
}

void TestPlaitStdout::whoStopsItLeavesNothingBehind()
{
    m_server->setResponse("/long.bin", longFile());
    PipedPlait plait(*m_sandbox, {u"-o"_s, u"-"_s, url(u"/long.bin"_s)});
    QCOMPARE(plait.read(1000).size(), 1000);
    plait.sendSignal(SIGINT);
    QCOMPARE(plait.status(), kUnfinished);
    QVERIFY2(plait.err().contains("begins anew"), plait.err().constData());
    QVERIFY(isNothingLeft());
}

void TestPlaitStdout::whatADeadProcessLeftGoesWithTheNext()
{
    m_server->setResponse("/long.bin", longFile());
    {
        PipedPlait plait(*m_sandbox, {u"-o"_s, u"-"_s, url(u"/long.bin"_s)});
        QCOMPARE(plait.read(1000).size(), 1000);
    }
    QVERIFY(bytesOnDisk() > 0);
    PipedPlait next(*m_sandbox, {u"-q"_s, u"-o"_s, u"-"_s, url(u"/file.bin"_s)});
    QCOMPARE(next.sha256OfRest(), TestFiles::sha256OfContent(kSeed, kSize));
    QCOMPARE(next.status(), 0);
    QVERIFY(isNothingLeft());
}

void TestPlaitStdout::answersOfJsonWouldBeInTheWay()
{
    const PlaitResult result = m_sandbox->runBare({u"--json"_s, u"-o"_s, u"-"_s, url(u"/file.bin"_s)});
    QCOMPARE(result.status, kBadOption);
    QCOMPARE(result.out, QByteArray());
    QVERIFY2(result.err.contains("-o - and --json"), result.err.constData());
}

void TestPlaitStdout::nothingIsSpiltOntoATerminal_data()
{
    QTest::addColumn<QString>("output");
    QTest::newRow("as others write it") << u"-"_s;
    QTest::newRow("by its name") << u"/dev/stdout"_s;
}

void TestPlaitStdout::nothingIsSpiltOntoATerminal()
{
    QFETCH(QString, output);
    constexpr int kColumns = 200;
    constexpr int kRows = 24;
    PlaitTerminal terminal(kColumns, kRows);
    QVERIFY(terminal.start(*m_sandbox, {u"-o"_s, output, url(u"/file.bin"_s)}));
    QCOMPARE(terminal.finish(), kBadOption);
    QVERIFY2(terminal.bytes().contains("Nothing was fetched. Write \"-o FILE\""), terminal.bytes());
    QVERIFY2(m_server->requests().isEmpty(), terminal.bytes());
}

void TestPlaitStdout::aFolderIsNoNameOfAFile_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("path");
    QTest::newRow("one that is there") << u"there"_s << u"there/file.bin"_s;
    QTest::newRow("one that is to be made") << u"new/er/"_s << u"new/er/file.bin"_s;
    QTest::newRow("this one") << u"."_s << u"file.bin"_s;
    QTest::newRow("a file of the name -") << u"./-"_s << u"-"_s;
}

void TestPlaitStdout::aFolderIsNoNameOfAFile()
{
    QFETCH(QString, output);
    QFETCH(QString, path);
    QVERIFY(QDir(m_sandbox->downloads()).mkpath(u"there"_s));
    const PlaitResult result = m_sandbox->runBare({u"-o"_s, output, url(u"/file.bin"_s)});
    QVERIFY2(result.status == 0, result.err.constData());
    QCOMPARE(TestFiles::sha256OfFile(m_sandbox->path(path)), TestFiles::sha256OfContent(kSeed, kSize));
}

QTEST_GUILESS_MAIN(TestPlaitStdout)
#include "tst_plait_stdout.moc"
