// SPDX-License-Identifier: MIT
#include <cli/standardoutput.h>

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// More than a pipe holds.
const QByteArray kMuch(1024 * 1024, 'x');

/// For a while the process's standard stream is another one. Tests print there, too: what they find is judged
/// afterwards.
class Instead
{
    Q_DISABLE_COPY_MOVE(Instead)

public:
    /// @param file -1 = it is closed
    Instead(int stream, int file)
        : m_stream(stream)
        , m_kept(::dup(stream))
    {
        if (file < 0)
            ::close(stream);
        else
            ::dup2(file, stream);
    }
    ~Instead()
    {
        ::dup2(m_kept, m_stream);
        ::close(m_kept);
    }

private:
    const int m_stream;
    const int m_kept;
};

struct Pipe {
    Q_DISABLE_COPY_MOVE(Pipe)

    explicit Pipe(int flags = 0)
    {
        if (::pipe2(ends, flags | O_CLOEXEC) != 0)
            qFatal("no pipe could be made");
    }
    ~Pipe()
    {
        closeEnd(0);
        closeEnd(1);
    }
    void closeEnd(int which)
    {
        if (const int end = std::exchange(ends[which], -1); end >= 0)
            ::close(end);
    }

    int ends[2] = {-1, -1}; ///< to read from, to write to
};

QByteArray allOf(int file)
{
    QByteArray all;
    QByteArray piece(65536, '\0');
    for (ssize_t count = ::read(file, piece.data(), piece.size()); count > 0;
         count = ::read(file, piece.data(), piece.size()))
        all.append(piece.constData(), count);
    return all;
}

}

class TestStandardOutput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { StandardOutput::prepareProcess(); }
    void aReaderThatIsSlowGetsEverything_data();
    void aReaderThatIsSlowGetsEverything();
    void whoHasFinishedIsTold_data();
    void whoHasFinishedIsTold();
    void theFirstFailureIsTheLastThatIsWritten();
    void whatFailedFirstIsTheReason();
    void aStreamThatIsClosedIsNoFilesPlace_data();
    void aStreamThatIsClosedIsNoFilesPlace();

private:
    static qint64 writeTo(int file, StandardOutput &output, const QByteArray &bytes)
    {
        const Instead instead(STDOUT_FILENO, file);
        return output.write(bytes);
    }
};

void TestStandardOutput::aReaderThatIsSlowGetsEverything_data()
{
    QTest::addColumn<int>("flags");
    QTest::newRow("through a stream that waits") << 0;
    QTest::newRow("through one that another program has made not to wait") << int(O_NONBLOCK);
}

void TestStandardOutput::aReaderThatIsSlowGetsEverything()
{
    QFETCH(int, flags);
    Pipe pipe;
    QVERIFY(::fcntl(pipe.ends[1], F_SETFL, flags) == 0);
    QByteArray read;
    std::thread reader([&read, &pipe] { read = allOf(pipe.ends[0]); });
    StandardOutput output;
    const qint64 written = writeTo(pipe.ends[1], output, kMuch);
    pipe.closeEnd(1);
    reader.join();
    QCOMPARE(written, kMuch.size());
    QVERIFY(read == kMuch);
    QString complaint;
    QCOMPARE(output.finalStatus(ExitStatus::Done, &complaint), ExitStatus::Done);
    QVERIFY(complaint.isEmpty());
}

void TestStandardOutput::whoHasFinishedIsTold_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<ExitStatus>("before");
    QTest::addColumn<ExitStatus>("status");
    QTest::addColumn<QString>("complaint");
    const QString full = u"cannot write to standard output: No space left on device."_s;
    const auto row = [](const char *name, int error, ExitStatus before, ExitStatus status, const QString &complaint) {
        QTest::newRow(name) << error << before << status << complaint;
    };
    row("all went well", 0, ExitStatus::Done, ExitStatus::Done, {});
    row("a download failed", 0, ExitStatus::NotFound, ExitStatus::NotFound, {});
    row("the reader had enough", EPIPE, ExitStatus::Done, ExitStatus::ReaderGone, {});
    row("that stopped what ran", EPIPE, ExitStatus::Unfinished, ExitStatus::ReaderGone, {});
    row("a download failed, and the reader had enough", EPIPE, ExitStatus::NotFound, ExitStatus::NotFound, {});
    row("a full disk", ENOSPC, ExitStatus::Done, ExitStatus::Unknown, full);
    row("that stopped what ran, too", ENOSPC, ExitStatus::Unfinished, ExitStatus::Unknown, full);
    row("a download failed, and the disk is full", ENOSPC, ExitStatus::NotFound, ExitStatus::NotFound, full);
}

void TestStandardOutput::whoHasFinishedIsTold()
{
    QFETCH(int, error);
    QFETCH(ExitStatus, before);
    StandardOutput output;
    if (error != 0)
        output.giveUp(error);
    QString complaint = u"an old one"_s;
    QTEST(output.finalStatus(before, &complaint), "status");
    QTEST(complaint, "complaint");
}

void TestStandardOutput::theFirstFailureIsTheLastThatIsWritten()
{
    const QTemporaryDir dir;
    QFile later(dir.filePath(u"later"_s));
    QVERIFY(later.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    Pipe pipe;
    pipe.closeEnd(0);
    StandardOutput output;
    const QSignalSpy readerGone(&output, &StandardOutput::readerGone);
    QCOMPARE(writeTo(pipe.ends[1], output, "a"), -1);
    QCOMPARE(readerGone.size(), 1);
    QCOMPARE(writeTo(later.handle(), output, "b"), -1);
    QCOMPARE(readerGone.size(), 1);
    QCOMPARE(later.size(), 0);
}

/// A download that goes there has a writer of its own, which finds the same reader gone.
void TestStandardOutput::whatFailedFirstIsTheReason()
{
    StandardOutput output;
    const QSignalSpy readerGone(&output, &StandardOutput::readerGone);
    output.giveUp(EPIPE);
    output.giveUp(ENOSPC);
    output.giveUp(EPIPE);
    QCOMPARE(readerGone.size(), 1);
    QString complaint;
    QCOMPARE(output.finalStatus(ExitStatus::Done, &complaint), ExitStatus::ReaderGone);
    QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
}

void TestStandardOutput::aStreamThatIsClosedIsNoFilesPlace_data()
{
    QTest::addColumn<int>("stream");
    QTest::newRow("input") << STDIN_FILENO;
    QTest::newRow("output") << STDOUT_FILENO;
    QTest::newRow("errors") << STDERR_FILENO;
}

void TestStandardOutput::aStreamThatIsClosedIsNoFilesPlace()
{
    QFETCH(int, stream);
    const QTemporaryDir dir;
    QFile list(dir.filePath(u"list"_s));
    char byte = 0;
    bool isUsable = true;
    bool isOpened = false;
    {
        const Instead closed(stream, -1);
        StandardOutput::prepareProcess();
        isOpened = list.open(QIODevice::WriteOnly) && list.handle() != stream;
        isUsable = stream == STDIN_FILENO ? ::read(stream, &byte, 1) >= 0 : ::write(stream, &byte, 1) >= 0;
    }
    QVERIFY2(isOpened, "the file got the stream's number");
    QVERIFY2(!isUsable, "the stream does as if somebody were there");
}

QTEST_GUILESS_MAIN(TestStandardOutput)
#include "tst_standardoutput.moc"
