// SPDX-License-Identifier: MIT
#include <cli/streamwriter.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 3;
constexpr qint64 kKiB = 1024;
/// Several pieces, and a bit of one; more than a pipe holds.
constexpr qint64 kSize = 1024 * kKiB + 7;

bool hasNews(int file)
{
    pollfd news{file, POLLIN, 0};
    return ::poll(&news, 1, 0) > 0;
}

}

class TestStreamWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { std::signal(SIGPIPE, SIG_IGN); }
    void init();
    void cleanup();
    void noMoreIsWrittenThanIsReady();
    void aFileMayComeLaterAndGetAnotherName();
    void aLinkIsNotFollowed();
    void whoReadsSlowlyGetsEverything_data();
    void whoReadsSlowlyGetsEverything();
    void aReaderThatStallsHoldsNobodyUp();
    void whatCannotBeWrittenIsSaid_data();
    void whatCannotBeWrittenIsSaid();
    void aFileThatEndsEarlyCannotBeRead();

private:
    QString path(const QString &name = u"a.part"_s) const { return m_dir->filePath(name); }
    bool makeFile(qint64 size) const { return TestFiles::writeFile(path(), kSeed, size); }
    /// So many bytes out of the pipe, while the writer's news are heard.
    QByteArray take(qint64 size);
    void closeReader();
    void startAt(int descriptor) { m_writer = std::make_unique<StreamWriter>(descriptor); }

    std::unique_ptr<QTemporaryDir> m_dir;
    int m_pipe[2] = {-1, -1};
    std::unique_ptr<StreamWriter> m_writer;
};

void TestStreamWriter::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(::pipe2(m_pipe, O_CLOEXEC) == 0);
    QVERIFY(::fcntl(m_pipe[0], F_SETFL, O_NONBLOCK) == 0);
    startAt(m_pipe[1]);
}

/// The writer's end stays open: its thread may be in the middle of a write.
void TestStreamWriter::cleanup()
{
    m_writer.reset();
    closeReader();
}

QByteArray TestStreamWriter::take(qint64 size)
{
    QByteArray taken;
    QByteArray piece(64 * kKiB, '\0');
    while (taken.size() < size && QTest::qWaitFor([this] { return hasNews(m_pipe[0]); })) {
        const qint64 wanted = std::min<qint64>(piece.size(), size - taken.size());
        taken.append(piece.constData(), std::max<ssize_t>(::read(m_pipe[0], piece.data(), std::size_t(wanted)), 0));
    }
    return taken;
}

void TestStreamWriter::closeReader()
{
    if (const int reader = std::exchange(m_pipe[0], -1); reader >= 0)
        ::close(reader);
}

void TestStreamWriter::noMoreIsWrittenThanIsReady()
{
    QVERIFY(makeFile(kSize));
    QSignalSpy advanced(m_writer.get(), &StreamWriter::advanced);
    m_writer->follow({path(), 100, 0});
    QVERIFY(advanced.wait());
    QCOMPARE(take(100), TestFiles::content(kSeed, 0, 100));
    QVERIFY2(!hasNews(m_pipe[0]), "the file has more, and nobody knows what that is");
    QCOMPARE(m_writer->written(), 100);
    m_writer->follow({path(), 250, 100});
    QVERIFY(advanced.wait());
    QCOMPARE(take(150), TestFiles::content(kSeed, 100, 150));
    QCOMPARE(advanced.last(), QVariantList{qint64(250)});
}

void TestStreamWriter::aFileMayComeLaterAndGetAnotherName()
{
    m_writer->follow({});
    m_writer->follow({path(), 10, 0});
    QVERIFY(makeFile(20));
    m_writer->follow({path(), 10, 0});
    QCOMPARE(take(10), TestFiles::content(kSeed, 0, 10));
    QVERIFY(QFile::rename(path(), path(u"a"_s)));
    // It was begun anew under its old name; whoever has begun to read goes on with what he has.
    QVERIFY(TestFiles::writeFile(path(), kSeed + 1, 20));
    m_writer->follow({path(u"a"_s), 20, 10});
    QCOMPARE(take(10), TestFiles::content(kSeed, 10, 10));
}

void TestStreamWriter::aLinkIsNotFollowed()
{
    QVERIFY(TestFiles::writeFile(path(u"secret"_s), kSeed + 1, 20));
    QVERIFY(QFile::link(path(u"secret"_s), path(u"link"_s)));
    QVERIFY(makeFile(20));
    m_writer->follow({path(u"link"_s), 20, 0});
    m_writer->follow({path(), 20, 0});
    QCOMPARE(take(20), TestFiles::content(kSeed, 0, 20));
}

void TestStreamWriter::whoReadsSlowlyGetsEverything_data()
{
    QTest::addColumn<int>("flags");
    QTest::newRow("through a stream that waits") << 0;
    QTest::newRow("through one that another program has made not to wait") << int(O_NONBLOCK);
}

void TestStreamWriter::whoReadsSlowlyGetsEverything()
{
    QFETCH(int, flags);
    QVERIFY(::fcntl(m_pipe[1], F_SETFL, flags) == 0);
    QVERIFY(makeFile(kSize));
    m_writer->follow({path(), kSize, 0});
    const QByteArray taken = take(kSize);
    QCOMPARE(TestFiles::sha256(taken), TestFiles::sha256OfContent(kSeed, kSize));
    QTRY_COMPARE(m_writer->written(), kSize);
}

/// The pipe is full, and the thread waits in it.
void TestStreamWriter::aReaderThatStallsHoldsNobodyUp()
{
    QVERIFY(makeFile(kSize));
    m_writer->follow({path(), kSize, 0});
    QTRY_VERIFY(hasNews(m_pipe[0]));
    m_writer->follow({path(), kSize, 0});
    QCOMPARE(m_writer->written(), 0);
    m_writer.reset();
}

void TestStreamWriter::whatCannotBeWrittenIsSaid_data()
{
    QTest::addColumn<bool>("isFull");
    QTest::addColumn<int>("error");
    QTest::newRow("nobody reads any more") << false << EPIPE;
    QTest::newRow("a full disk") << true << ENOSPC;
}

void TestStreamWriter::whatCannotBeWrittenIsSaid()
{
    QFETCH(bool, isFull);
    QFile full(u"/dev/full"_s);
    QVERIFY(full.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    startAt(isFull ? full.handle() : m_pipe[1]);
    closeReader();
    QVERIFY(makeFile(kSize));
    QSignalSpy failed(m_writer.get(), &StreamWriter::failed);
    const QSignalSpy advanced(m_writer.get(), &StreamWriter::advanced);
    m_writer->follow({path(), kSize, 0});
    QVERIFY(failed.wait());
    QFETCH(int, error);
    QCOMPARE(failed.constFirst(), (QVariantList{error, true}));
    QVERIFY(advanced.isEmpty());
    QCOMPARE(m_writer->written(), 0);
}

/// Somebody else has cut it.
void TestStreamWriter::aFileThatEndsEarlyCannotBeRead()
{
    QVERIFY(makeFile(100));
    QSignalSpy failed(m_writer.get(), &StreamWriter::failed);
    m_writer->follow({path(), 101, 0});
    QVERIFY(failed.wait());
    QCOMPARE(failed.constFirst(), (QVariantList{EIO, false}));
    QCOMPARE(take(100), TestFiles::content(kSeed, 0, 100));
}

QTEST_GUILESS_MAIN(TestStreamWriter)
#include "tst_streamwriter.moc"
