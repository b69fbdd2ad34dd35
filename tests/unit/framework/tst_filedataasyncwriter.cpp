// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/filedataasyncwriter.h>
#include <inet/qt/download/framework/fileerror.h>

#include <tests/support/ordinaryuser.h>
#include <tests/unit/framework/filecontent.h>
#include <tests/unit/framework/filewriterbench.h>
#include <tests/unit/framework/systemcalls.h>

#include <QFile>
#include <QFileDevice>
#include <QFileInfo>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>

using namespace Qt::StringLiterals;
using Bench = FileWriterBench;

namespace
{

constexpr qint64 kMiB = Q_INT64_C(1024) * 1024;

/// Hands data on as a transfer does.
class Source : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void gotData(const QByteArray &data);
};

}

class TestFileWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void openIsAnsweredLater_data() { threads(); }
    void openIsAnsweredLater();
    void isOpenFromOpenedToClosed_data() { threads(); }
    void isOpenFromOpenedToClosed();
    void aFailedOpenIsAnsweredOnce_data() { threads(); }
    void aFailedOpenIsAnsweredOnce();
    void aFileThatIsNotOursCannotBeOpened_data() { threads(); }
    void aFileThatIsNotOursCannotBeOpened();
    void aFileIsMadeWhenItDoesNotExist_data() { threads(); }
    void aFileIsMadeWhenItDoesNotExist();
    void placesData_data();
    void placesData();
    void everyChunkIsAccountedAtOnce_data() { threads(); }
    void everyChunkIsAccountedAtOnce();
    void takesChunksOfManyMegabytes_data() { threads(); }
    void takesChunksOfManyMegabytes();
    void restartGoesOnBehindTheLastByte_data() { threads(); }
    void restartGoesOnBehindTheLastByte();
    void callsAndQueuedDataKeepTheirOrder_data() { threads(); }
    void callsAndQueuedDataKeepTheirOrder();
    void finishingIsAnsweredBehindAllData_data() { threads(); }
    void finishingIsAnsweredBehindAllData();
    void finishingIsAnsweredWhenClosedAndAfterFailure_data() { threads(); }
    void finishingIsAnsweredWhenClosedAndAfterFailure();
    void twoWritersShareAFile_data() { threads(); }
    void twoWritersShareAFile();

    void closeRunsBehindAllData_data() { threads(); }
    void closeRunsBehindAllData();
    void closeIsAnsweredOnce_data() { threads(); }
    void closeIsAnsweredOnce();
    void closeWithoutOpenIsAnswered_data() { threads(); }
    void closeWithoutOpenIsAnswered();
    void mayBeOpenedAgain_data() { threads(); }
    void mayBeOpenedAgain();
    void opensAndClosesMayBeQueuedUp_data() { threads(); }
    void opensAndClosesMayBeQueuedUp();
    void dataAfterCloseIsIgnored_data() { threads(); }
    void dataAfterCloseIsIgnored();

    void whatDoesNotFitIsOneKindOfError_data();
    void whatDoesNotFitIsOneKindOfError();
    void aFullDiskFailsOnce_data() { threads(); }
    void aFullDiskFailsOnce();
    void noFailureAfterClose_data() { threads(); }
    void noFailureAfterClose();
    void aFailureOnItsWayIsNotDeliveredAfterClose();
    void theNextOpeningDoesNotHearOfAnEarlierFailure_data() { threads(); }
    void theNextOpeningDoesNotHearOfAnEarlierFailure();
    void bytesWrittenBeforeAFailureAreAccounted_data() { threads(); }
    void bytesWrittenBeforeAFailureAreAccounted();
    void aPositionBeforeTheStartFails_data() { threads(); }
    void aPositionBeforeTheStartFails();
    void theErrorIsClearedOnRequest_data() { threads(); }
    void theErrorIsClearedOnRequest();

    void pushesDataToTheDiskAfterSoManyBytes_data() { threads(); }
    void pushesDataToTheDiskAfterSoManyBytes();
    void dataThatTheDiskDoesNotTakeFails_data() { threads(); }
    void dataThatTheDiskDoesNotTakeFails();

    void mayBeReleasedWithAnswersUnderWay_data() { threads(); }
    void mayBeReleasedWithAnswersUnderWay();
    void mayBeReleasedWhileOpen_data() { threads(); }
    void mayBeReleasedWhileOpen();
    void mayBeMovedBetweenCalls();

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

void TestFileWriter::init()
{
    SystemCalls::reset();
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestFileWriter::openIsAnsweredLater()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.writer->open(path(), 0, false);
    QCOMPARE(bench.said, QStringList());
    QVERIFY(!bench.writer->isOpen());
    QTRY_COMPARE(bench.said, QStringList{u"opened"_s});
    bench.settle();
    QCOMPARE(bench.said.count(u"opened"_s), 1);
    QCOMPARE(bench.said.count(u"failed"_s), 0);
}

void TestFileWriter::isOpenFromOpenedToClosed()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.writer->open(path(), 0, false);
    QTRY_COMPARE(bench.said, QStringList{u"opened"_s});
    bench.writer->processData("abc");
    bench.writer->close();
    QVERIFY(bench.writer->isOpen());
    QTRY_COMPARE(bench.said, (QStringList{u"opened"_s, u"3"_s, u"closed"_s}));
    QCOMPARE(bench.openWhenSaid, (QStringList{u"opened"_s, u"3"_s}));
    QVERIFY(!bench.writer->isOpen());
}

void TestFileWriter::aFailedOpenIsAnsweredOnce()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.writer->open(path(u"missing"_s), 0, true);
    QCOMPARE(bench.said, QStringList());
    QTRY_COMPARE(bench.said, QStringList{u"failed"_s});
    QVERIFY(!bench.writer->isOpen());
    const AbstractError error = bench.writer->lastError();
    QCOMPARE(error.code, int(QFileDevice::OpenError));
    QCOMPARE(error.category, std::string("QtFileError"));
    QCOMPARE(error.description, std::string("No such file or directory"));
    QVERIFY(QByteArray::fromStdString(error.source).startsWith("inet/qt/download/framework/filedataasyncwriter.cpp,"));
    QVERIFY(bench.writer->lastErrorTime().isValid());
    QVERIFY(!QFileInfo::exists(path(u"missing"_s)));
    bench.writer->processData("abc");
    bench.closeAndWait();
    QCOMPARE(bench.said, (QStringList{u"failed"_s, u"closed"_s}));
}

void TestFileWriter::aFileThatIsNotOursCannotBeOpened()
{
    QFETCH(bool, ownThread);
    makeFile(path(), "abc");
    QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner | QFile::ReadOther));
    QVERIFY(QFile::setPermissions(
        m_dir->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther));
    const OrdinaryUser user;
    QVERIFY(user.isOk());
    Bench bench(ownThread);
    bench.writer->open(path(), 0, true);
    QTRY_COMPARE(bench.said, QStringList{u"failed"_s});
    QCOMPARE(bench.writer->lastError().description, std::string("Permission denied"));
    QVERIFY(bench.writer->lastError().code != 0);
}

void TestFileWriter::aFileIsMadeWhenItDoesNotExist()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    bench.closeAndWait();
    QCOMPARE(contentOf(path()), QByteArray());
}

void TestFileWriter::placesData_data()
{
    QTest::addColumn<bool>("ownThread");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<qint64>("position");
    QTest::addColumn<QByteArray>("after");
    for (const bool own : {false, true}) {
        const QByteArray where = own ? ", in a thread of its own" : ", in the caller's thread";
        QTest::newRow("at the start of an empty file" + where) << own << QByteArray() << qint64(0) << QByteArray("xyz");
        QTest::newRow("in the middle, nothing is cut off" + where)
            << own << QByteArray("abcdef") << qint64(1) << QByteArray("axyzef");
        QTest::newRow("at the end" + where) << own << QByteArray("abc") << qint64(3) << QByteArray("abcxyz");
        QTest::newRow("behind a gap of zeros" + where)
            << own << QByteArray("a") << qint64(3) << QByteArray("a\0\0xyz", 6);
    }
}

void TestFileWriter::placesData()
{
    QFETCH(bool, ownThread);
    QFETCH(QByteArray, before);
    QFETCH(qint64, position);
    QFETCH(QByteArray, after);
    makeFile(path(), before);
    Bench bench(ownThread);
    bench.openAndWait(path(), position, true);
    QCOMPARE(contentOf(path()), before);
    bench.writer->processData("xy");
    bench.writer->processData("z");
    bench.closeAndWait();
    QCOMPARE(contentOf(path()), after);
}

void TestFileWriter::everyChunkIsAccountedAtOnce()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    bench.writer->processData("a");
    QTRY_COMPARE(bench.said, QStringList{u"1"_s});
    QCOMPARE(contentOf(path()), "a");
    bench.writer->processData({});
    bench.writer->processData("bc");
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"1"_s, u"2"_s, u"all"_s}));
}

void TestFileWriter::takesChunksOfManyMegabytes()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    QByteArray chunk(33 * kMiB + 1, 'x');
    chunk.back() = 'y';
    bench.writer->processData(chunk);
    bench.closeAndWait();
    QCOMPARE(bench.written, chunk.size());
    QVERIFY(contentOf(path()) == chunk);
}

void TestFileWriter::restartGoesOnBehindTheLastByte()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    bench.writer->processData("abcdef");
    bench.writer->reposition(1);
    bench.writer->processData("BC");
    bench.writer->reposition(0);
    bench.writer->restart();
    bench.writer->processData("D");
    bench.closeAndWait();
    QCOMPARE(contentOf(path()), "aBCDef");
}

void TestFileWriter::callsAndQueuedDataKeepTheirOrder()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    Source source;
    connect(&source, &Source::gotData, bench.writer, &FileDataAsyncWriter::processData);
    bench.openAndWait(path());
    QByteArray expected(200, '?');
    for (int i = 199; i >= 0; --i) {
        bench.writer->reposition(i);
        Q_EMIT source.gotData(QByteArray(1, char('a' + i % 26)));
        expected[i] = char('a' + i % 26);
    }
    bench.closeAndWait();
    QCOMPARE(contentOf(path()), expected);
    QCOMPARE(bench.written, 200);
}

void TestFileWriter::finishingIsAnsweredBehindAllData()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    bench.writer->processData("abc");
    bench.writer->finishPendingData();
    QVERIFY(!bench.said.contains(u"all"_s));
    QTRY_COMPARE(bench.said, (QStringList{u"3"_s, u"all"_s}));
    bench.writer->finishPendingData();
    QTRY_COMPARE(bench.said.count(u"all"_s), 2);
}

void TestFileWriter::finishingIsAnsweredWhenClosedAndAfterFailure()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.settle();
    bench.writer->open(path(u"missing"_s), 0, true);
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"all"_s, u"failed"_s, u"all"_s}));
}

void TestFileWriter::twoWritersShareAFile()
{
    QFETCH(bool, ownThread);
    makeFile(path(), QByteArray());
    Bench front(ownThread);
    Bench back(ownThread);
    front.openAndWait(path(), 0, true);
    back.openAndWait(path(), 50'000, true);
    for (int i = 0; i < 50; ++i) {
        front.writer->processData(QByteArray(1000, 'f'));
        back.writer->processData(QByteArray(1000, 'b'));
    }
    front.closeAndWait();
    back.closeAndWait();
    QVERIFY(contentOf(path()) == QByteArray(50'000, 'f') + QByteArray(50'000, 'b'));
}

void TestFileWriter::closeRunsBehindAllData()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    for (int i = 0; i < 100; ++i)
        bench.writer->processData("0123456789");
    bench.writer->close();
    QTRY_VERIFY(bench.said.contains(u"closed"_s));
    QCOMPARE(bench.said.size(), 101);
    QCOMPARE(bench.said.last(), u"closed"_s);
    QCOMPARE(contentOf(path()).size(), 1000);
}

void TestFileWriter::closeIsAnsweredOnce()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    bench.writer->close();
    bench.writer->close();
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"closed"_s, u"all"_s}));
}

void TestFileWriter::closeWithoutOpenIsAnswered()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.writer->close();
    QCOMPARE(bench.said, QStringList());
    bench.writer->close();
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"closed"_s, u"all"_s}));
}

void TestFileWriter::mayBeOpenedAgain()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.writer->open(path(u"missing"_s), 0, true);
    QTRY_COMPARE(bench.said, QStringList{u"failed"_s});
    bench.closeAndWait();
    bench.openAndWait(path());
    bench.writer->processData("a");
    bench.closeAndWait();
    bench.openAndWait(path(), 1, true);
    bench.writer->processData("b");
    bench.closeAndWait();
    QCOMPARE(contentOf(path()), "ab");
}

void TestFileWriter::opensAndClosesMayBeQueuedUp()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    for (int i = 0; i < 2; ++i) {
        bench.writer->open(path(), i, false);
        bench.writer->processData("a");
        bench.writer->close();
    }
    bench.writer->close();
    bench.settle();
    const QStringList once{u"opened"_s, u"1"_s, u"closed"_s};
    QCOMPARE(bench.said, once + once + QStringList{u"all"_s});
    QVERIFY(!bench.writer->isOpen());
}

void TestFileWriter::dataAfterCloseIsIgnored()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    bench.writer->close();
    bench.writer->processData("abc");
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"closed"_s, u"all"_s}));
    QCOMPARE(contentOf(path()), QByteArray());
}

void TestFileWriter::whatDoesNotFitIsOneKindOfError_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("code");
    QTest::newRow("a full disk") << ENOSPC << int(QFileDevice::ResourceError);
    QTest::newRow("a quota") << EDQUOT << int(QFileDevice::ResourceError);
    QTest::newRow("a file that may not be so long") << EFBIG << int(QFileDevice::ResourceError);
    QTest::newRow("a broken disk") << EIO << int(QFileDevice::WriteError);
}

void TestFileWriter::whatDoesNotFitIsOneKindOfError()
{
    QFETCH(int, number);
    Bench bench(false);
    bench.openAndWait(path());
    SystemCalls::writeError = number;
    bench.writer->processData("abc");
    bench.settle();
    QTEST(bench.writer->lastError().code, "code");
    QCOMPARE(FileError::numberOf(bench.writer->lastError()), number);
}

void TestFileWriter::aFullDiskFailsOnce()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    SystemCalls::writeError = ENOSPC;
    for (int i = 0; i < 3; ++i)
        bench.writer->processData("abc");
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"failed"_s, u"all"_s}));
    QCOMPARE(bench.writer->lastError().code, int(QFileDevice::ResourceError));
    QCOMPARE(bench.writer->lastError().category, std::string("QtFileError"));
    QCOMPARE(bench.writer->lastError().description, std::string("No space left on device"));
    QVERIFY(bench.writer->isOpen());
    bench.closeAndWait();
    QCOMPARE(bench.said, (QStringList{u"failed"_s, u"all"_s, u"closed"_s}));
    QVERIFY(!bench.writer->isOpen());
}

void TestFileWriter::noFailureAfterClose()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    SystemCalls::writeError = ENOSPC;
    // What the writer's thread has not come to yet fails behind the call to close().
    QSemaphore gate;
    if (ownThread)
        QMetaObject::invokeMethod(
            bench.writer, [&gate] { gate.acquire(); }, Qt::QueuedConnection);
    bench.writer->processData("abc");
    bench.writer->close();
    gate.release();
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"closed"_s, u"all"_s}));
    QCOMPARE(bench.writer->lastError().code, int(QFileDevice::ResourceError));
}

void TestFileWriter::aFailureOnItsWayIsNotDeliveredAfterClose()
{
    Bench bench(true);
    bench.openAndWait(path());
    SystemCalls::writeError = ENOSPC;
    bench.writer->processData("abc");
    // Behind the failure, and behind what the writer's thread then does about it; the owner hears of nothing yet.
    for (int i = 0; i < 2; ++i)
        QMetaObject::invokeMethod(
            bench.writer, [] {}, Qt::BlockingQueuedConnection);
    QCOMPARE(bench.writer->lastError().code, int(QFileDevice::ResourceError));
    bench.writer->close();
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"closed"_s, u"all"_s}));
}

void TestFileWriter::theNextOpeningDoesNotHearOfAnEarlierFailure()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    SystemCalls::writeError = ENOSPC;
    bench.writer->processData("abc");
    bench.writer->close();
    bench.writer->open(path(), 0, false);
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"closed"_s, u"opened"_s, u"all"_s}));
}

void TestFileWriter::bytesWrittenBeforeAFailureAreAccounted()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.openAndWait(path());
    const FileSizeLimit limit(1000);
    bench.writer->processData(QByteArray(1500, 'x'));
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"1000"_s, u"failed"_s, u"all"_s}));
    QVERIFY(bench.writer->lastError().code != 0);
    QCOMPARE(bench.writer->lastError().description, std::string("File too large"));
    QCOMPARE(contentOf(path()).size(), 1000);
}

void TestFileWriter::aPositionBeforeTheStartFails()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    bench.writer->open(path(), -1, false);
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"failed"_s, u"all"_s}));
    QVERIFY(bench.writer->lastError().code != 0);
}

void TestFileWriter::theErrorIsClearedOnRequest()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread);
    QVERIFY(!bench.writer->lastError());
    QVERIFY(!bench.writer->lastErrorTime().isValid());
    bench.writer->open(path(u"missing"_s), 0, true);
    QTRY_COMPARE(bench.said, QStringList{u"failed"_s});
    bench.writer->clearLastError();
    QCOMPARE(bench.writer->lastError(), AbstractError());
    QVERIFY(bench.writer->lastErrorTime().isValid());
}

void TestFileWriter::pushesDataToTheDiskAfterSoManyBytes()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread, 100);
    bench.openAndWait(path());
    bench.writer->processData(QByteArray(99, 'x'));
    bench.settle();
    QCOMPARE(SystemCalls::fdatasyncCount, 0);
    bench.writer->processData("x");
    bench.settle();
    QCOMPARE(SystemCalls::fdatasyncCount, 1);
    bench.writer->processData("x");
    bench.closeAndWait();
    QCOMPARE(SystemCalls::fdatasyncCount, 2);
}

void TestFileWriter::dataThatTheDiskDoesNotTakeFails()
{
    QFETCH(bool, ownThread);
    Bench bench(ownThread, 1);
    bench.openAndWait(path());
    SystemCalls::fdatasyncError = EIO;
    bench.writer->processData("abc");
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"3"_s, u"failed"_s, u"all"_s}));
    QCOMPARE(bench.writer->lastError().code, int(QFileDevice::WriteError));
    QCOMPARE(bench.writer->lastError().description, std::string("Input/output error"));
}

void TestFileWriter::mayBeReleasedWithAnswersUnderWay()
{
    QFETCH(bool, ownThread);
    for (int i = 0; i < 20; ++i) {
        Bench bench(ownThread);
        bench.writer->open(path(), 0, false);
        bench.writer->processData("abc");
        bench.writer->close();
        bench.release();
    }
    QCoreApplication::processEvents();
    QCOMPARE(contentOf(path()), "abc");
}

void TestFileWriter::mayBeReleasedWhileOpen()
{
    QFETCH(bool, ownThread);
    {
        Bench bench(ownThread, kMiB);
        bench.openAndWait(path());
        bench.writer->processData("abc");
        bench.release();
    }
    QCOMPARE(contentOf(path()), "abc");
    QCOMPARE(SystemCalls::fdatasyncCount, 1);
}

void TestFileWriter::mayBeMovedBetweenCalls()
{
    Bench bench(false);
    bench.writer->open(path(), 0, false);
    bench.writer->processData("a");
    bench.thread.start();
    bench.writer->moveToThread(&bench.thread);
    bench.writer->processData("b");
    bench.closeAndWait();
    QCOMPARE(bench.said, (QStringList{u"opened"_s, u"1"_s, u"1"_s, u"closed"_s}));
    QCOMPARE(contentOf(path()), "ab");
}

QTEST_GUILESS_MAIN(TestFileWriter)
#include "tst_filedataasyncwriter.moc"
