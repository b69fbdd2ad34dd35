// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/memorydataasyncwriter.h>

#include <QFileDevice>
#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;

namespace
{

/// A writer, the array that it writes into, and all that it says.
class Bench
{
public:
    Bench()
    {
        using Base = AbstractDataAsyncProcessor;
        const auto log = [this](const QString &line) {
            said.append(line + (writer.isOpen() ? u" (open)"_s : QString()));
        };
        QObject::connect(&writer, &Base::opened, &writer, [log] { log(u"opened"_s); });
        QObject::connect(&writer, &Base::closed, &writer, [log] { log(u"closed"_s); });
        QObject::connect(&writer, &Base::failed, &writer, [log] { log(u"failed"_s); });
        QObject::connect(&writer, &Base::allDataIsProcessed, &writer, [log] { log(u"all"_s); });
        QObject::connect(&writer, &Base::dataProcessed, &writer, [log](qint64 n) { log(QString::number(n)); });
    }

    void openAt(qint64 position)
    {
        writer.open({}, position, false);
        QCoreApplication::processEvents();
        said.clear();
    }

    QByteArray target;
    MemoryDataAsyncWriter writer{&target, nullptr};
    QStringList said;
};

}

class TestMemoryWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void placesDataAsAFileWould_data();
    void placesDataAsAFileWould();
    void answersComeLater();
    void isOpenFromOpenedToClosed();
    void everyChunkIsAccounted();
    void anEmptyChunkIsNotAccounted();
    void goesOnAtAnotherPosition();
    void restartGoesOnBehindTheLastByte();
    void finishingIsAlwaysAnswered();
    void closeIsAnsweredOnce();
    void closeWithoutOpenIsAnswered();
    void mayBeOpenedAgain();
    void dataAfterCloseIsIgnored();
    void dataBeforeOpenIsIgnored();
    void aPositionBeforeTheStartFails();
    void dataBeyondAllMemoryFailsOnce();
    void noFailureAfterClose();
    void theNextOpeningDoesNotHearOfAnEarlierFailure();
    void aPlaceBeyondAllNumbersFails();
    void mayBeDeletedWithAnswersUnderWay();
    void aSharedCopyOfTheTargetStaysAsItWas();
};

void TestMemoryWriter::placesDataAsAFileWould_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<qint64>("position");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("into an empty array") << QByteArray() << qint64(0) << QByteArray("xyz");
    QTest::newRow("at the end") << QByteArray("abc") << qint64(3) << QByteArray("abcxyz");
    QTest::newRow("in the middle, what follows stays") << QByteArray("abcdef") << qint64(1) << QByteArray("axyzef");
    QTest::newRow("over the end") << QByteArray("abc") << qint64(2) << QByteArray("abxyz");
    QTest::newRow("behind a gap of zeros") << QByteArray("a") << qint64(3) << QByteArray("a\0\0xyz", 6);
}

void TestMemoryWriter::placesDataAsAFileWould()
{
    QFETCH(QByteArray, before);
    QFETCH(qint64, position);
    QFETCH(QByteArray, after);
    Bench bench;
    bench.target = before;
    bench.openAt(position);
    QCOMPARE(bench.target, before);
    bench.writer.processData("xyz");
    QCOMPARE(bench.target, after);
}

void TestMemoryWriter::answersComeLater()
{
    Bench bench;
    bench.writer.open({}, 0, false);
    bench.writer.processData("abc");
    bench.writer.finishPendingData();
    bench.writer.close();
    QCOMPARE(bench.said, QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, (QStringList{u"opened (open)"_s, u"3 (open)"_s, u"all (open)"_s, u"closed"_s}));
}

void TestMemoryWriter::isOpenFromOpenedToClosed()
{
    Bench bench;
    QVERIFY(!bench.writer.isOpen());
    bench.writer.open({}, 0, false);
    QVERIFY(!bench.writer.isOpen());
    QCoreApplication::processEvents();
    QVERIFY(bench.writer.isOpen());
    bench.writer.close();
    QVERIFY(bench.writer.isOpen());
    QCoreApplication::processEvents();
    QVERIFY(!bench.writer.isOpen());
}

void TestMemoryWriter::everyChunkIsAccounted()
{
    Bench bench;
    bench.openAt(0);
    bench.writer.processData("abc");
    bench.writer.processData(QByteArray(5'000'000, 'x'));
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, (QStringList{u"3 (open)"_s, u"5000000 (open)"_s}));
    QCOMPARE(bench.target.size(), 5'000'003);
}

void TestMemoryWriter::anEmptyChunkIsNotAccounted()
{
    Bench bench;
    bench.openAt(0);
    bench.writer.processData({});
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, QStringList());
}

void TestMemoryWriter::goesOnAtAnotherPosition()
{
    Bench bench;
    bench.openAt(0);
    bench.writer.processData("abcdef");
    bench.writer.reposition(2);
    bench.writer.processData("X");
    QCOMPARE(bench.target, "abXdef");
}

void TestMemoryWriter::restartGoesOnBehindTheLastByte()
{
    Bench bench;
    bench.openAt(1);
    bench.writer.processData("abc");
    bench.writer.reposition(0);
    bench.writer.restart();
    bench.writer.processData("d");
    QCOMPARE(bench.target, QByteArray("\0abcd", 5));
}

void TestMemoryWriter::finishingIsAlwaysAnswered()
{
    Bench bench;
    bench.writer.finishPendingData();
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, QStringList{u"all"_s});
    bench.writer.open({}, -1, false);
    bench.writer.finishPendingData();
    QCoreApplication::processEvents();
    QCOMPARE(bench.said.last(), u"all"_s);
}

void TestMemoryWriter::closeIsAnsweredOnce()
{
    Bench bench;
    bench.openAt(0);
    bench.writer.close();
    bench.writer.close();
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, QStringList{u"closed"_s});
}

void TestMemoryWriter::closeWithoutOpenIsAnswered()
{
    Bench bench;
    bench.writer.close();
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, QStringList{u"closed"_s});
}

void TestMemoryWriter::mayBeOpenedAgain()
{
    Bench bench;
    for (int i = 0; i < 2; ++i) {
        bench.writer.open({}, i, false);
        bench.writer.processData("a");
        bench.writer.close();
    }
    bench.writer.close();
    QCoreApplication::processEvents();
    QCOMPARE(bench.target, "aa");
    QCOMPARE(bench.said.filter(u"opened"_s).size(), 2);
    QCOMPARE(bench.said.count(u"closed"_s), 2);
}

void TestMemoryWriter::dataAfterCloseIsIgnored()
{
    Bench bench;
    bench.openAt(0);
    bench.writer.close();
    bench.writer.processData("abc");
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, QStringList{u"closed"_s});
    QVERIFY(bench.target.isEmpty());
}

void TestMemoryWriter::dataBeforeOpenIsIgnored()
{
    Bench bench;
    bench.writer.processData("abc");
    QVERIFY(bench.target.isEmpty());
}

void TestMemoryWriter::aPositionBeforeTheStartFails()
{
    Bench bench;
    bench.writer.open({}, -1, false);
    QCOMPARE(bench.said, QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, QStringList{u"failed"_s});
    QCOMPARE(bench.writer.lastError().code, int(QFileDevice::PositionError));
    QCOMPARE(bench.writer.lastError().category, std::string(ErrorCategory::kFile));
    QVERIFY(bench.writer.lastErrorTime().isValid());
    bench.writer.clearLastError();
    QVERIFY(!bench.writer.lastError());
    bench.writer.close();
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, (QStringList{u"failed"_s, u"closed"_s}));
}

void TestMemoryWriter::dataBeyondAllMemoryFailsOnce()
{
    Bench bench;
    bench.openAt(Q_INT64_C(1) << 40);
    bench.writer.processData("abc");
    bench.writer.processData("def");
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, QStringList{u"failed (open)"_s});
    QCOMPARE(bench.writer.lastError().code, int(QFileDevice::ResourceError));
    QVERIFY(bench.target.isEmpty());
}

void TestMemoryWriter::noFailureAfterClose()
{
    Bench bench;
    bench.openAt(Q_INT64_C(1) << 40);
    bench.writer.processData("abc");
    bench.writer.close();
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, QStringList{u"closed"_s});
    QVERIFY(bench.writer.lastError());
}

void TestMemoryWriter::theNextOpeningDoesNotHearOfAnEarlierFailure()
{
    Bench bench;
    bench.openAt(Q_INT64_C(1) << 40);
    bench.writer.processData("abc");
    bench.writer.close();
    bench.writer.open({}, 0, false);
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, (QStringList{u"closed"_s, u"opened (open)"_s}));
}

void TestMemoryWriter::aPlaceBeyondAllNumbersFails()
{
    Bench bench;
    bench.openAt(std::numeric_limits<qint64>::max() - 1);
    bench.writer.processData("abc");
    QCoreApplication::processEvents();
    QCOMPARE(bench.said, QStringList{u"failed (open)"_s});
    QVERIFY(bench.target.isEmpty());
}

void TestMemoryWriter::mayBeDeletedWithAnswersUnderWay()
{
    QByteArray target;
    auto *writer = new MemoryDataAsyncWriter(&target, nullptr);
    writer->open({}, 0, false);
    writer->processData("abc");
    writer->close();
    delete writer;
    QCoreApplication::processEvents();
    QCOMPARE(target, "abc");
}

void TestMemoryWriter::aSharedCopyOfTheTargetStaysAsItWas()
{
    Bench bench;
    bench.target = "abc";
    const QByteArray copy = bench.target;
    bench.openAt(0);
    bench.writer.processData("xyz");
    QCOMPARE(copy, "abc");
}

QTEST_GUILESS_MAIN(TestMemoryWriter)
#include "tst_memorydataasyncwriter.moc"
