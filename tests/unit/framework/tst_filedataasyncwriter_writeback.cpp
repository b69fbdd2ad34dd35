// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/filedataasyncwriter.h>

#include <tests/unit/framework/filecontent.h>
#include <tests/unit/framework/filewriterbench.h>
#include <tests/unit/framework/systemcalls.h>

#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cerrno>

using namespace Qt::StringLiterals;
using Bench = FileWriterBench;
using Ranges = std::vector<std::pair<long long, long long>>;

namespace
{

constexpr qint64 kMiB = Q_INT64_C(1024) * 1024;
constexpr qint64 kStep = 8 * kMiB;

/// Writes so many bytes in chunks of a size.
void writeInChunks(Bench &bench, qint64 total, qint64 chunk)
{
    for (qint64 done = 0; done < total; done += chunk)
        bench.writer->processData(QByteArray(std::min(chunk, total - done), char('a' + done / chunk % 26)));
    bench.settle();
    QCOMPARE(bench.written, total);
}

}

/// What a writer does so that the disk is not left with everything at the end.
class TestFileWriterWriteback : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void beginsEveryEightMegabytes_data();
    void beginsEveryEightMegabytes();
    void beginsWhereTheWriterBegan();
    void beginsAnewAtAnotherPlace();
    void writersOfOneFileSendTheirOwnParts();
    void refusalIsNoError_data();
    void refusalIsNoError();
    void chunkIsWrittenFromWhereItLies();

private:
    QString path() const { return m_dir->filePath(u"file"_s); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestFileWriterWriteback::init()
{
    SystemCalls::reset();
    m_dir = std::make_unique<QTemporaryDir>();
}

void TestFileWriterWriteback::beginsEveryEightMegabytes_data()
{
    QTest::addColumn<qint64>("total");
    QTest::addColumn<qint64>("chunk");
    QTest::addColumn<int>("times");

    QTest::newRow("a small file is left to the system") << kMiB << kMiB << 0;
    QTest::newRow("one byte less than a step is left, too") << kStep - 1 << kMiB << 0;
    QTest::newRow("a step is sent") << kStep << kMiB << 1;
    QTest::newRow("chunks that do not fill a step evenly") << 3 * kStep + 5 << 3 * kMiB << 3;
    QTest::newRow("one chunk of several steps") << 3 * kStep + 5 << 3 * kStep + 5 << 3;
}

void TestFileWriterWriteback::beginsEveryEightMegabytes()
{
    QFETCH(qint64, total);
    QFETCH(qint64, chunk);
    QFETCH(int, times);
    Bench bench(true);
    bench.openAndWait(path());
    writeInChunks(bench, total, chunk);
    Ranges expected;
    for (int i = 0; i < times; ++i)
        expected.emplace_back(i * kStep, kStep);
    QVERIFY(SystemCalls::writebacks == expected);
    bench.closeAndWait();
    QVERIFY2(int(SystemCalls::writebacks.size()) == times, "the rest is left to the sync");
    QCOMPARE(contentOf(path()).size(), total);
}

void TestFileWriterWriteback::beginsWhereTheWriterBegan()
{
    Bench bench(true);
    bench.openAndWait(path(), 100);
    writeInChunks(bench, kStep + 50, kMiB);
    QVERIFY(SystemCalls::writebacks == (Ranges{{100, kStep}}));
}

void TestFileWriterWriteback::beginsAnewAtAnotherPlace()
{
    Bench bench(true);
    bench.openAndWait(path());
    writeInChunks(bench, kMiB, kMiB);
    bench.writer->reposition(20 * kMiB);
    bench.written = 0;
    writeInChunks(bench, kStep, kMiB);
    QVERIFY(SystemCalls::writebacks == (Ranges{{20 * kMiB, kStep}}));
}

void TestFileWriterWriteback::writersOfOneFileSendTheirOwnParts()
{
    Bench front(true);
    Bench back(true);
    front.openAndWait(path());
    back.openAndWait(path(), 5 * kStep, true);
    for (int i = 0; i < 8; ++i) {
        front.writer->processData(QByteArray(kMiB, 'f'));
        back.writer->processData(QByteArray(kMiB, 'b'));
    }
    front.settle();
    back.settle();
    std::sort(SystemCalls::writebacks.begin(), SystemCalls::writebacks.end());
    QVERIFY(SystemCalls::writebacks == (Ranges{{0, kStep}, {5 * kStep, kStep}}));
    QVERIFY(contentOf(path()) == QByteArray(kStep, 'f') + QByteArray(4 * kStep, '\0') + QByteArray(kStep, 'b'));
}

void TestFileWriterWriteback::refusalIsNoError_data()
{
    QTest::addColumn<int>("error");
    QTest::newRow("where the system has no such call") << ENOSYS;
    QTest::newRow("where the file system has none") << EINVAL;
    QTest::newRow("where the disk fails, which the sync tells") << EIO;
}

void TestFileWriterWriteback::refusalIsNoError()
{
    QFETCH(int, error);
    SystemCalls::syncFileRangeError = error;
    Bench bench(true);
    bench.openAndWait(path());
    writeInChunks(bench, 2 * kStep, kMiB);
    QCOMPARE(SystemCalls::writebacks.size(), size_t(2));
    QVERIFY(!bench.said.contains(u"failed"_s));
    QCOMPARE(bench.writer->lastError().code, 0);
    QCOMPARE(contentOf(path()).size(), 2 * kStep);
}

void TestFileWriterWriteback::chunkIsWrittenFromWhereItLies()
{
    Bench bench(true);
    bench.openAndWait(path());
    const QByteArray chunk(kMiB, 'x');
    bench.writer->processData(chunk);
    bench.settle();
    QVERIFY2(SystemCalls::largeWriteFrom == chunk.constData(), "the very same memory");
    QVERIFY(contentOf(path()) == chunk);
}

QTEST_GUILESS_MAIN(TestFileWriterWriteback)
#include "tst_filedataasyncwriter_writeback.moc"
