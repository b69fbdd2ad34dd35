// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/filedataasyncwriter.h>

#include <tests/unit/framework/filecontent.h>
#include <tests/unit/framework/filewriterbench.h>
#include <tests/unit/framework/systemcalls.h>

#include <QFile>
#include <QFileDevice>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using Bench = FileWriterBench;

namespace
{

constexpr qint64 kMiB = Q_INT64_C(1024) * 1024;

qint64 bytesOnDisk(const QString &path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_blocks * 512 : -1;
}

}

class TestFileWriterReserving : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void reservesWithoutChangingContent_data() { threads(); }
    void reservesWithoutChangingContent();
    void neverShrinksAFile_data();
    void neverShrinksAFile();
    void reservesOnceForOneOrder_data() { threads(); }
    void reservesOnceForOneOrder();
    void aFileTooLargeForTheDiskFailsAtOnce_data();
    void aFileTooLargeForTheDiskFailsAtOnce();
    void reservesByStepsWhereTheFileSystemCannot_data() { threads(); }
    void reservesByStepsWhereTheFileSystemCannot();
    void progressIsSparse_data() { threads(); }
    void progressIsSparse();
    void stepsDoNotHoldUpDataNorHarmIt_data() { threads(); }
    void stepsDoNotHoldUpDataNorHarmIt();
    void aStepThatFindsTheDiskFullFails_data() { threads(); }
    void aStepThatFindsTheDiskFullFails();
    void aStepThatFindsAnotherFileFails_data();
    void aStepThatFindsAnotherFileFails();
    void closeEndsTheSteps_data() { threads(); }
    void closeEndsTheSteps();

private:
    static void threads()
    {
        QTest::addColumn<bool>("ownThread");
        QTest::newRow("in the caller's thread") << false;
        QTest::newRow("in a thread of its own") << true;
    }

    QString path(const QString &name = u"file"_s) const { return m_dir->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestFileWriterReserving::init()
{
    SystemCalls::reset();
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestFileWriterReserving::reservesWithoutChangingContent()
{
    QFETCH(bool, ownThread);
    makeFile(path(), "abc");
    Bench bench(ownThread);
    bench.writer->schedulePreallocateOnOpen(2 * kMiB);
    bench.writer->open(path(), 3, true);
    bench.writer->processData("def");
    bench.settle();
    QCOMPARE(bench.said.count(u"reserved %1"_s.arg(2 * kMiB)), 1);
    QCOMPARE(bench.said.count(u"opened"_s), 1);
    const QByteArray content = contentOf(path());
    QVERIFY(content == "abcdef" + QByteArray(2 * kMiB - 6, '\0'));
    QVERIFY(bytesOnDisk(path()) >= 2 * kMiB);
}

void TestFileWriterReserving::neverShrinksAFile_data()
{
    QTest::addColumn<bool>("ownThread");
    QTest::addColumn<int>("fallocateError");
    for (const bool own : {false, true}) {
        const QByteArray where = own ? ", in a thread of its own" : ", in the caller's thread";
        QTest::newRow("reserved by the file system" + where) << own << 0;
        QTest::newRow("reserved by steps" + where) << own << EOPNOTSUPP;
    }
}

void TestFileWriterReserving::neverShrinksAFile()
{
    QFETCH(bool, ownThread);
    QFETCH(int, fallocateError);
    SystemCalls::fallocateError = fallocateError;
    makeFile(path(), QByteArray(1000, 'x'));
    Bench bench(ownThread);
    bench.writer->schedulePreallocateOnOpen(10);
    bench.writer->open(path(), 0, true);
    QTRY_VERIFY(bench.said.contains(u"reserved 10"_s));
    bench.closeAndWait();
    QVERIFY(contentOf(path()) == QByteArray(1000, 'x'));
}

void TestFileWriterReserving::reservesOnceForOneOrder()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.writer->schedulePreallocateOnOpen(1000);
    bench.openAndWait(path());
    bench.closeAndWait();
    bench.openAndWait(path(), 0, true);
    bench.settle();
    QVERIFY(!bench.said.contains(u"reserved 1000"_s));
}

void TestFileWriterReserving::aFileTooLargeForTheDiskFailsAtOnce_data()
{
    QTest::addColumn<bool>("ownThread");
    QTest::addColumn<int>("fallocateError");
    QTest::addColumn<qint64>("freeBlocks");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    for (const bool own : {false, true}) {
        const QByteArray where = own ? ", in a thread of its own" : ", in the caller's thread";
        const QString full = u"No space left on device"_s;
        const int scarce = QFileDevice::ResourceError;
        QTest::newRow("the file system says that it is full" + where) << own << ENOSPC << qint64(-1) << scarce << full;
        QTest::newRow("the person's share is used up" + where)
            << own << EDQUOT << qint64(-1) << scarce << u"Disk quota exceeded"_s;
        QTest::newRow("the disk is broken" + where)
            << own << EIO << qint64(-1) << int(QFileDevice::WriteError) << u"Input/output error"_s;
        QTest::newRow("the file may not become so large" + where)
            << own << 0 << qint64(-1) << scarce << u"File too large"_s;
        QTest::newRow("too little is free for steps" + where) << own << EOPNOTSUPP << qint64(1) << scarce << full;
    }
}

void TestFileWriterReserving::aFileTooLargeForTheDiskFailsAtOnce()
{
    QFETCH(bool, ownThread);
    QFETCH(int, fallocateError);
    QFETCH(qint64, freeBlocks);
    QFETCH(int, code);
    QFETCH(QString, text);
    SystemCalls::fallocateError = fallocateError;
    SystemCalls::freeBlocks = freeBlocks;
    const FileSizeLimit limit(kMiB);
    Bench bench(ownThread);
    bench.writer->schedulePreallocateOnOpen(8 * kMiB);
    bench.writer->open(path(), 0, false);
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"failed"_s, u"all"_s}));
    QCOMPARE(bench.writer->lastError().code, code);
    QCOMPARE(QString::fromStdString(bench.writer->lastError().description), text);
    QVERIFY(!bench.writer->isOpen());
    QCOMPARE(contentOf(path()), QByteArray());
}

void TestFileWriterReserving::reservesByStepsWhereTheFileSystemCannot()
{
    QFETCH(bool, ownThread);
    SystemCalls::fallocateError = ENOSYS;
    makeFile(path(), "abc");
    Bench bench(ownThread);
    const qint64 size = 20 * kMiB + 5;
    bench.writer->schedulePreallocateOnOpen(size);
    bench.writer->open(path(), 3, true);
    QTRY_VERIFY(bench.said.contains(u"reserved %1"_s.arg(size)));
    QCOMPARE(bench.said.first(), u"opened"_s);
    QVERIFY(!bench.reserving.isEmpty());
    QVERIFY(std::is_sorted(bench.reserving.cbegin(), bench.reserving.cend()));
    QVERIFY(contentOf(path()) == "abc" + QByteArray(size - 3, '\0'));
    QVERIFY(bytesOnDisk(path()) >= size);
}

void TestFileWriterReserving::progressIsSparse()
{
    QFETCH(bool, ownThread);
    SystemCalls::fallocateError = EOPNOTSUPP;
    const qint64 step = 20 * kMiB;
    Bench bench(ownThread, 0, step);
    bench.writer->schedulePreallocateOnOpen(64 * kMiB);
    bench.writer->open(path(), 0, false);
    QTRY_VERIFY(bench.said.contains(u"reserved %1"_s.arg(64 * kMiB)));
    qint64 before = 0;
    for (const qint64 now : std::as_const(bench.reserving)) {
        QVERIFY(now - before >= step);
        before = now;
    }
    QCOMPARE(bench.reserving.size(), 2);
}

void TestFileWriterReserving::stepsDoNotHoldUpDataNorHarmIt()
{
    QFETCH(bool, ownThread);
    SystemCalls::fallocateError = EOPNOTSUPP;
    makeFile(path(), QByteArray());
    Bench bench(ownThread);
    Bench other(ownThread);
    const qint64 size = 48 * kMiB;
    bench.writer->schedulePreallocateOnOpen(size);
    bench.writer->open(path(), 0, true);
    QTRY_VERIFY(bench.writer->isOpen());
    // Both write where the zeros have not come to yet.
    other.openAndWait(path(), 20 * kMiB, true);
    bench.writer->processData(QByteArray(3 * kMiB, 'a'));
    other.writer->processData(QByteArray(9 * kMiB, 'b'));
    QTRY_VERIFY(bench.said.contains(u"reserved %1"_s.arg(size)));
    bench.closeAndWait();
    other.closeAndWait();
    const QByteArray content = contentOf(path());
    QVERIFY(content.left(3 * kMiB) == QByteArray(3 * kMiB, 'a'));
    QVERIFY(content.mid(20 * kMiB, 9 * kMiB) == QByteArray(9 * kMiB, 'b'));
    QVERIFY(content.mid(29 * kMiB) == QByteArray(content.size() - 29 * kMiB, '\0'));
    QVERIFY(content.size() >= size);
}

void TestFileWriterReserving::aStepThatFindsTheDiskFullFails()
{
    QFETCH(bool, ownThread);
    SystemCalls::fallocateError = EOPNOTSUPP;
    const FileSizeLimit limit(20 * kMiB);
    Bench bench(ownThread);
    bench.writer->schedulePreallocateOnOpen(64 * kMiB);
    bench.writer->open(path(), 0, false);
    QTRY_VERIFY(bench.said.contains(u"failed"_s));
    bench.settle();
    QCOMPARE(bench.withoutProgress(), (QStringList{u"opened"_s, u"failed"_s, u"all"_s}));
    QCOMPARE(bench.writer->lastError().code, int(QFileDevice::ResourceError));
    bench.closeAndWait();
}

void TestFileWriterReserving::aStepThatFindsAnotherFileFails_data()
{
    QTest::addColumn<QString>("inItsPlace");
    QTest::addColumn<QString>("words");
    QTest::newRow("another file") << u"file"_s << u"another file"_s;
    QTest::newRow("another name of another file") << u"link"_s << u"a link"_s;
    QTest::newRow("nothing") << QString() << u"No such file"_s;
}

void TestFileWriterReserving::aStepThatFindsAnotherFileFails()
{
    QFETCH(QString, inItsPlace);
    QFETCH(QString, words);
    SystemCalls::fallocateError = EOPNOTSUPP;
    makeFile(path(), "abc");
    makeFile(path(u"foreign"_s), "foreign");
    Bench bench(false);
    bench.writer->schedulePreallocateOnOpen(64 * kMiB);
    // In the caller's thread the file is open by now; the first step is still to come.
    bench.writer->open(path(), 3, true);
    QVERIFY(QFile::rename(path(), path(u"moved"_s)));
    if (inItsPlace == u"file"_s)
        QVERIFY(QFile::rename(path(u"foreign"_s), path()));
    else if (!inItsPlace.isEmpty())
        QVERIFY(QFile::link(path(u"foreign"_s), path()));
    bench.settle();
    QTRY_VERIFY(bench.said.contains(u"failed"_s));
    QVERIFY(bench.said.filter(u"reserved"_s).isEmpty());
    const QString text = QString::fromStdString(bench.writer->lastError().description);
    QVERIFY2(text.contains(words), qPrintable(text));
    if (!inItsPlace.isEmpty())
        QCOMPARE(contentOf(path()), "foreign");
    QCOMPARE(contentOf(path(u"moved"_s)), "abc");
}

void TestFileWriterReserving::closeEndsTheSteps()
{
    QFETCH(bool, ownThread);
    SystemCalls::fallocateError = EOPNOTSUPP;
    Bench bench(ownThread);
    const qint64 size = 4096 * kMiB;
    SystemCalls::freeBlocks = size;
    bench.writer->schedulePreallocateOnOpen(size);
    bench.writer->open(path(), 0, false);
    QTRY_VERIFY(bench.said.contains(u"opened"_s));
    bench.closeAndWait();
    bench.settle();
    QCOMPARE(bench.withoutProgress(), (QStringList{u"opened"_s, u"closed"_s, u"all"_s}));
    QVERIFY(QFileInfo(path()).size() < size);
}

QTEST_GUILESS_MAIN(TestFileWriterReserving)
#include "tst_filedataasyncwriter_reserving.moc"
