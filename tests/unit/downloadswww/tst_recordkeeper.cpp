// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/recordkeeper.h>

#include <QTest>

using namespace Qt::StringLiterals;

using Record = AbstractDownloadPersistentInfo;
using Ranges = RecordKeeper::Ranges;

namespace
{

Record withFile(qint64 size, const Ranges &ranges = {})
{
    Record record;
    record.url = QUrl(u"http://a.test/f"_s);
    AbstractDownloadFileInfo file;
    file.name = u"f"_s;
    file.size = size;
    file.sections = ranges;
    record.files = {file};
    return record;
}

/// Its bytes are in the record itself.
Record inMemory(bool isFinished)
{
    Record record = withFile(4, {{0, 4, isFinished ? 4 : 2}});
    record.destinationType = Record::ToMemory;
    record.content = isFinished ? "data"_ba : "da"_ba;
    record.setFinished(isFinished, true);
    return record;
}

Record movedToFolder(Record record)
{
    record.destinationType = Record::ToFolder;
    return record;
}

RecordKeeper keeping(const Record &record)
{
    RecordKeeper keeper;
    keeper.begin(record);
    return keeper;
}

}

class TestRecordKeeper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasNoneAtFirst();
    void aFileOfKnownSizeIsOneRange_data();
    void aFileOfKnownSizeIsOneRange();
    void whatSectionsSayTakesThePlaceOfRanges();
    void noSectionsTakeNothingAway();
    void isBehindWhereBytesDiffer();
    void whatIsThereMayBeAll();
    void anErrorIsNewsOnce();
    void isOfItsModule();
    void finishedContentGoesIntoTheFile();
    void unfinishedContentIsFetchedAgain();
    void anotherSourceLosesContentThatIsInNoFile();
    void anotherSourceInMemoryLosesNothing();
    void anUpdateThatSaysNothingOfTheDestinationKeepsContent();
    void anUpdateTellsWhetherSomethingChanged();
    void theRecordIsShared();
};

void TestRecordKeeper::hasNoneAtFirst()
{
    const RecordKeeper keeper;
    QVERIFY(!keeper);
    QVERIFY(!keeper.hasFile());
    QVERIFY(keeper.ranges().isEmpty());
    QVERIFY(!keeper.isBehind(5));
}

void TestRecordKeeper::aFileOfKnownSizeIsOneRange_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<Ranges>("given");
    QTest::addColumn<Ranges>("kept");
    QTest::newRow("known") << qint64(1000) << Ranges() << Ranges{{0, 1000, 0}};
    QTest::newRow("unknown") << qint64(-1) << Ranges() << Ranges();
    QTest::newRow("with ranges") << qint64(10) << Ranges{{0, 5, 1}, {5, 5, 0}} << Ranges{{0, 5, 1}, {5, 5, 0}};
}

void TestRecordKeeper::aFileOfKnownSizeIsOneRange()
{
    QFETCH(qint64, size);
    QFETCH(Ranges, given);
    QTEST(keeping(withFile(size, given)).ranges(), "kept");
}

void TestRecordKeeper::whatSectionsSayTakesThePlaceOfRanges()
{
    RecordKeeper keeper = keeping(withFile(10));
    keeper.keep({{0, 4, 4}, {4, 6, 1}});
    QCOMPARE(keeper->files.first().sections, (Ranges{{0, 4, 4}, {4, 6, 1}}));
}

void TestRecordKeeper::noSectionsTakeNothingAway()
{
    RecordKeeper keeper = keeping(withFile(10, {{0, 10, 3}}));
    keeper.keep({});
    QCOMPARE(keeper.ranges(), (Ranges{{0, 10, 3}}));
    RecordKeeper withoutFile = keeping(Record());
    withoutFile.keep({{0, 1, 1}});
    QVERIFY(withoutFile->files.isEmpty());
}

void TestRecordKeeper::isBehindWhereBytesDiffer()
{
    const RecordKeeper keeper = keeping(withFile(10, {{0, 5, 2}, {5, 5, 1}}));
    QVERIFY(!keeper.isBehind(3));
    QVERIFY(keeper.isBehind(4));
    QVERIFY(keeper.isBehind(2));
}

void TestRecordKeeper::whatIsThereMayBeAll()
{
    RecordKeeper keeper = keeping(withFile(10, {{0, 5, 2}, {5, 5, 1}}));
    keeper.settleForWhatIsThere();
    QCOMPARE(keeper.firstFile().size, 3);
    QCOMPARE(keeper.ranges(), (Ranges{{0, 3, 3}}));
}

void TestRecordKeeper::anErrorIsNewsOnce()
{
    RecordKeeper keeper = keeping(Record());
    const AbstractError error(404, ErrorCategory::kHttp, "s", "d");
    const QDateTime time = QDateTime::fromSecsSinceEpoch(1000);
    QVERIFY(keeper.takeError(error, time));
    QCOMPARE(keeper->lastError, error);
    QCOMPARE(keeper->lastErrorTime, time);
    QVERIFY(!keeper.takeError({404, ErrorCategory::kHttp, "elsewhere", {}}, time.addSecs(1)));
    QVERIFY(!keeper.takeError({}, time.addSecs(1)));
    QCOMPARE(keeper->lastErrorTime, time);
}

void TestRecordKeeper::isOfItsModule()
{
    RecordKeeper keeper = keeping(Record());
    keeper.adjustInfo("some"_L1);
    QCOMPARE(keeper->moduleId, u"some"_s);
    QCOMPARE(keeper->flags & Record::ModuleFlags, Record::ModuleFlags);
}

void TestRecordKeeper::finishedContentGoesIntoTheFile()
{
    RecordKeeper keeper = keeping(inMemory(true));
    QVERIFY(!keeper.replace(movedToFolder(inMemory(true))));
    QCOMPARE(keeper.pendingContent(), "data"_ba);
    QVERIFY(keeper->content.isEmpty());
    QVERIFY(!keeper->isFinished());
    QCOMPARE(keeper.ranges(), (Ranges{{0, 4, 4}}));
    keeper.dropPendingContent();
    keeper->setFinished(true, true);
    keeper.reopenForPendingContent();
    QVERIFY(keeper->isFinished());
}

void TestRecordKeeper::unfinishedContentIsFetchedAgain()
{
    RecordKeeper keeper = keeping(inMemory(false));
    QVERIFY(keeper.replace(movedToFolder(inMemory(false))));
    QVERIFY(keeper.pendingContent().isEmpty());
    QVERIFY(keeper->content.isEmpty());
    QVERIFY(keeper.ranges().isEmpty());
}

void TestRecordKeeper::anotherSourceLosesContentThatIsInNoFile()
{
    RecordKeeper keeper = keeping(inMemory(true));
    keeper.replace(movedToFolder(inMemory(true)));
    Record other = movedToFolder(inMemory(true));
    other.url = QUrl(u"http://a.test/other"_s);
    QVERIFY(keeper.replace(other));
    QVERIFY(keeper.pendingContent().isEmpty());
    QVERIFY(keeper.ranges().isEmpty());
}

void TestRecordKeeper::anotherSourceInMemoryLosesNothing()
{
    RecordKeeper keeper = keeping(inMemory(false));
    Record other = inMemory(false);
    other.url = QUrl(u"http://a.test/other"_s);
    QVERIFY(!keeper.replace(other));
    QCOMPARE(keeper->content, "da"_ba);
    QCOMPARE(keeper->url, other.url);
}

void TestRecordKeeper::anUpdateThatSaysNothingOfTheDestinationKeepsContent()
{
    RecordKeeper keeper = keeping(inMemory(true));
    bool isFetchedAgain = true;
    Record other = movedToFolder(inMemory(true));
    other.url = QUrl(u"http://a.test/other"_s);
    QVERIFY(keeper.update(other, Record::FieldSourceUrls, BitFlagsUpdateMode{}, &isFetchedAgain));
    QVERIFY(!isFetchedAgain);
    QCOMPARE(keeper->content, "data"_ba);
    QVERIFY(keeper.pendingContent().isEmpty());
}

void TestRecordKeeper::anUpdateTellsWhetherSomethingChanged()
{
    RecordKeeper keeper = keeping(withFile(10));
    bool isFetchedAgain = true;
    QVERIFY(!keeper.update(*keeper, Record::FieldSourceUrls, BitFlagsUpdateMode{}, &isFetchedAgain));
    QVERIFY(!isFetchedAgain);
}

void TestRecordKeeper::theRecordIsShared()
{
    const RecordKeeper keeper = keeping(withFile(10));
    const QSharedPointer<Record> shared = keeper.shared();
    shared->files.first().size = 11;
    QCOMPARE(keeper.firstFile().size, 11);
}

QTEST_GUILESS_MAIN(TestRecordKeeper)
#include "tst_recordkeeper.moc"
