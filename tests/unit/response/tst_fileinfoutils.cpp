// SPDX-License-Identifier: MIT
#include <inet/qt/download/response/fileinfoutils.h>

#include <QDateTime>
#include <QSysInfo>
#include <QTest>
#include <QTimeZone>

#include <algorithm>

using namespace Qt::StringLiterals;

using Record = AbstractDownloadPersistentInfo;

class TestFileInfoUtils : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void dateStandsBeforeTheName_data();
    void dateStandsBeforeTheName();
    void titleChangesAndTheExtensionStays_data();
    void titleChangesAndTheExtensionStays();
    void someKeysHaveNoOrder_data();
    void someKeysHaveNoOrder();
    void recordsSortByCreationTime();
    void recordsSortBySizeAndUnknownSizesComeFirst();
    void recordsSortByThePersonsOwnOrder();
    void equalRecordsPrecedeNeitherWay_data();
    void equalRecordsPrecedeNeitherWay();
    void titlesSortAsAPersonWould_data();
    void titlesSortAsAPersonWould();
    void productVersionIsTheSystems();
};

namespace
{

bool precedes(const Record &a, const Record &b, qint32 key, qint32 order = 0)
{
    return abstractDownloadsPeristentInfoCompFunction({key, order})(a, b);
}

/// Ascending one way only, descending the other way only, whatever number stands for descending.
void verifyOrder(const Record &first, const Record &second, qint32 key)
{
    QVERIFY(precedes(first, second, key));
    QVERIFY(!precedes(second, first, key));
    for (const qint32 descending : {1, 2, -1}) {
        QVERIFY(!precedes(first, second, key, descending));
        QVERIFY(precedes(second, first, key, descending));
    }
}

Record recordOfSize(qint64 size)
{
    Record record;
    AbstractDownloadFileInfo file;
    file.size = size;
    record.files = {file};
    return record;
}

Record recordWithTitle(const QString &title)
{
    Record record;
    record.customTitle = title;
    return record;
}

}

void TestFileInfoUtils::dateStandsBeforeTheName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QDate>("date");
    QTest::addColumn<QString>("expected");
    QTest::newRow("a date is put in front") << u"file.zip"_s << QDate(2024, 3, 9) << u"[2024-03-09] file.zip"_s;
    QTest::newRow("an invalid date changes nothing") << u"file.zip"_s << QDate() << u"file.zip"_s;
    QTest::newRow("a date without a text changes nothing") << u"file.zip"_s << QDate(10000, 1, 1) << u"file.zip"_s;
    QTest::newRow("an empty name stays empty") << QString() << QDate(2024, 3, 9) << QString();
    QTest::newRow("a percent sign in the name is kept")
        << u"%1 %2.zip"_s << QDate(2024, 3, 9) << u"[2024-03-09] %1 %2.zip"_s;
}

void TestFileInfoUtils::dateStandsBeforeTheName()
{
    QFETCH(QString, name);
    QFETCH(QDate, date);
    AbstractFileInfo info;
    info.name = name;
    addDateToFileName(info, date);
    QTEST(info.name, "expected");
}

void TestFileInfoUtils::titleChangesAndTheExtensionStays_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("the last extension is kept") << u"archive.tar.gz"_s << u"backup.gz"_s;
    QTest::newRow("a dot in front begins no extension") << u".profile"_s << u"backup"_s;
    QTest::newRow("no dot") << u"README"_s << u"backup"_s;
    QTest::newRow("a dot at the end begins no extension") << u"name."_s << u"backup"_s;
    QTest::newRow("a dot alone") << u"."_s << u"backup"_s;
    QTest::newRow("one character each side of the dot") << u"a.b"_s << u"backup.b"_s;
    QTest::newRow("a hidden file with an extension") << u".profile.old"_s << u"backup.old"_s;
    QTest::newRow("an empty name stays empty") << QString() << QString();
}

void TestFileInfoUtils::titleChangesAndTheExtensionStays()
{
    QFETCH(QString, name);
    AbstractFileInfo info;
    info.name = name;
    changeFileTitle(info, u"backup"_s);
    QTEST(info.name, "expected");
}

void TestFileInfoUtils::someKeysHaveNoOrder_data()
{
    QTest::addColumn<qint32>("key");
    QTest::addColumn<bool>("isOrder");
    for (const qint32 key : {-1, 0, 4, 6, 7, 100})
        QTest::addRow("key %d has none", key) << key << false;
    for (const qint32 key : {1, 2, 3, 5})
        QTest::addRow("key %d has one", key) << key << true;
}

void TestFileInfoUtils::someKeysHaveNoOrder()
{
    QFETCH(qint32, key);
    for (const qint32 order : {0, 1})
        QTEST(bool(abstractDownloadsPeristentInfoCompFunction({key, order})), "isOrder");
}

void TestFileInfoUtils::recordsSortByCreationTime()
{
    Record earlier;
    earlier.creationTime = QDateTime(QDate(2024, 3, 9), QTime(12, 0), QTimeZone::utc());
    Record later;
    later.creationTime = earlier.creationTime.addMSecs(1);
    verifyOrder(earlier, later, 1);
}

void TestFileInfoUtils::recordsSortBySizeAndUnknownSizesComeFirst()
{
    verifyOrder(recordOfSize(1), recordOfSize(2), 3);
    verifyOrder(recordOfSize(-1), recordOfSize(0), 3);
}

void TestFileInfoUtils::recordsSortByThePersonsOwnOrder()
{
    Record first;
    first.sortIndex = -(qint64(1) << 40);
    Record second;
    second.sortIndex = qint64(1) << 40;
    verifyOrder(first, second, 5);
}

void TestFileInfoUtils::equalRecordsPrecedeNeitherWay_data()
{
    QTest::addColumn<qint32>("key");
    for (const qint32 key : {1, 2, 3, 5})
        QTest::addRow("key %d", key) << key;
}

void TestFileInfoUtils::equalRecordsPrecedeNeitherWay()
{
    QFETCH(qint32, key);
    const Record record = recordWithTitle(u"same 7"_s);
    for (const qint32 order : {0, 1})
        QVERIFY(!precedes(record, record, key, order));
}

void TestFileInfoUtils::titlesSortAsAPersonWould_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::newRow("numbers count as numbers") << u"file2"_s << u"File10"_s;
    QTest::newRow("letters count without case") << u"Apple"_s << u"banana"_s;
    QTest::newRow("and so the other way") << u"apple"_s << u"Banana"_s;
    QTest::newRow("a prefix comes first") << u"file"_s << u"file 1"_s;
    QTest::newRow("digits come before letters") << u"3"_s << u"a"_s;
    QTest::newRow("leading zeros do not count") << u"track 009"_s << u"track 10"_s;
    QTest::newRow("what follows equal numbers decides") << u"s1e2"_s << u"s01e10"_s;
    QTest::newRow("other scripts' digits are digits") << u"file\u0662"_s << u"file10"_s;
    QTest::newRow("numbers longer than any integer") << u"9999999999999999999998"_s << u"9999999999999999999999"_s;
    QTest::newRow("a superscript is no decimal digit") << u"x9"_s << u"x\u00b2"_s;
}

void TestFileInfoUtils::titlesSortAsAPersonWould()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    verifyOrder(recordWithTitle(first), recordWithTitle(second), 2);
}

void TestFileInfoUtils::productVersionIsTheSystems()
{
    QCOMPARE(MyQtSysInfo::productVersion(), QSysInfo::productVersion());
}

QTEST_GUILESS_MAIN(TestFileInfoUtils)
#include "tst_fileinfoutils.moc"
