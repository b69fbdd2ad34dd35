// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <tests/unit/records/recordbuilders.h>

#include <QTest>

#include <numeric>

using namespace RecordBuilders;

namespace
{

qint64 sumOf(const QList<qint64> &sizes)
{
    return sizes.contains(-1) ? -1 : std::accumulate(sizes.cbegin(), sizes.cend(), qint64(0));
}

/// The rules of filesSize() told by groups of files, without running sums.
qint64 sizeByGroups(const Info &info, bool selectedOnly, bool excludeDummy, bool dummyIfAllDummy)
{
    const bool dummyMode = (info.flags & 0x80) != 0;
    QList<qint64> plain;
    QList<qint64> skipped;
    QList<qint64> dummies;
    for (const File &file : info.files) {
        const qint64 downloaded = file.sections.isEmpty() ? 0 : file.sections.first().downloaded;
        const bool whole = (file.fileFlags & 1) != 0 && downloaded == file.size;
        (!file.selected ? skipped : dummyMode && !whole ? dummies : plain).append(file.size);
    }
    if (info.files.isEmpty())
        return dummyMode ? 0 : -1;
    const QList<qint64> counted = selectedOnly ? plain : plain + skipped;
    if (counted.contains(-1))
        return -1;
    if (!excludeDummy)
        return sumOf(counted + dummies);
    const bool onlyDummies = dummies.size() == info.files.size() && info.childDownloads == 0;
    return dummyIfAllDummy && onlyDummies ? sumOf(dummies) : sumOf(counted);
}

/// Every kind of file that filesSize() tells apart, with sizes by which a sum shows its parts.
QList<File> kindsOfFiles(qint64 size)
{
    QList<File> kinds;
    for (bool selected : {true, false}) {
        for (quint8 fileFlags : {quint8(0), kOnDisk}) {
            kinds << fileOf(-1, -1, fileFlags, selected) << fileOf(-1, 3, fileFlags, selected)
                  << fileOf(0, -1, fileFlags, selected) << fileOf(size, -1, fileFlags, selected)
                  << fileOf(size, size - 1, fileFlags, selected) << fileOf(size, size, fileFlags, selected);
        }
    }
    return kinds;
}

bool agreesForAllArguments(Info info)
{
    for (quint64 flags : {Q_UINT64_C(0), quint64(Info::DummyFilesMode)}) {
        for (quint64 childDownloads : {0, 1}) {
            info.flags = flags;
            info.childDownloads = childDownloads;
            for (int arguments = 0; arguments < 8; ++arguments) {
                const bool a = arguments & 4, b = arguments & 2, c = arguments & 1;
                if (info.filesSize(a, b, c) != sizeByGroups(info, a, b, c))
                    return false;
            }
        }
    }
    return true;
}

}

class TestAbstractDownloadPersistentInfoSizes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isDummyFile_data();
    void isDummyFile();
    void hasNonDummyFiles_data();
    void hasNonDummyFiles();
    void filesSize_data();
    void filesSize();
    void filesSizeOfEveryThreeFiles();
    void bytesDownloaded_data();
    void bytesDownloaded();
    void uRatio_data();
    void uRatio();
    void largestFileIndex_data();
    void largestFileIndex();
    void diskSpaceNotUsedYet_data();
    void diskSpaceNotUsedYet();
};

void TestAbstractDownloadPersistentInfoSizes::isDummyFile_data()
{
    QTest::addColumn<File>("file");
    QTest::addColumn<bool>("expected");

    QTest::newRow("a file that is not on disk is one") << fileOf(10, 10) << true;
    QTest::newRow("a whole file on disk is none") << fileOf(10, 10, kOnDisk) << false;
    QTest::newRow("a partial file on disk is one") << fileOf(10, 9, kOnDisk) << true;
    QTest::newRow("more bytes than the size are not whole") << fileOf(10, 11, kOnDisk) << true;
    QTest::newRow("a file on disk without sections is one") << fileOf(10, -1, kOnDisk) << true;
    QTest::newRow("several whole sections on disk are none")
        << fileInSections(100, {{0, 50, 50}, {50, 50, 50}}, kOnDisk) << false;
    QTest::newRow("a last section that is not whole makes it one")
        << fileInSections(100, {{0, 50, 50}, {50, 50, 49}}, kOnDisk) << true;
    QTest::newRow("a first section that is not whole makes it one")
        << fileInSections(100, {{0, 50, 49}, {50, 50, 50}}, kOnDisk) << true;
    QTest::newRow("an empty file on disk needs no sections") << fileOf(0, -1, kOnDisk) << false;
    QTest::newRow("an empty file that is not on disk is one") << fileOf(0) << true;
    QTest::newRow("a file of unknown size is one") << fileOf(-1, 10, kOnDisk) << true;
}

void TestAbstractDownloadPersistentInfoSizes::isDummyFile()
{
    QFETCH(File, file);
    QTEST(recordOf({File(), file}, Info::DummyFilesMode).isDummyFile(1), "expected");
    QVERIFY(!recordOf({File(), file}, ~quint64(Info::DummyFilesMode)).isDummyFile(1));
}

void TestAbstractDownloadPersistentInfoSizes::hasNonDummyFiles_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<bool>("expected");

    QTest::newRow("no files have none") << recordOf({}) << false;
    QTest::newRow("outside the mode any file is one") << recordOf({fileOf(10)}) << true;
    QTest::newRow("dummies alone have none") << recordOf({fileOf(10), fileOf(5)}, Info::DummyFilesMode) << false;
    QTest::newRow("a whole file behind a dummy is one")
        << recordOf({fileOf(10), fileOf(5, 5, kOnDisk)}, Info::DummyFilesMode) << true;
}

void TestAbstractDownloadPersistentInfoSizes::hasNonDummyFiles()
{
    QFETCH(Info, info);
    QTEST(info.hasNonDummyFiles(), "expected");
}

void TestAbstractDownloadPersistentInfoSizes::filesSize_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<QList<qint64>>("expected"); // by the arguments in binary, the first one the highest bit

    const quint64 mode = Info::DummyFilesMode;
    const File whole = fileOf(200, 200, kOnDisk);
    const File skipped = fileOf(400, -1, 0, kNotSelected);
    const File skippedUnknown = fileOf(-1, -1, 0, kNotSelected);
    const QList<qint64> unknown(8, -1);

    QTest::newRow("no files are unknown") << recordOf({}) << unknown;
    QTest::newRow("no files in dummy mode are 0") << recordOf({}, mode) << QList<qint64>(8, 0);
    QTest::newRow("skipped files count unless only selected ones do")
        << recordOf({fileOf(10), fileOf(20), skipped}) << QList<qint64>{430, 430, 430, 430, 30, 30, 30, 30};
    QTest::newRow("a selected file of unknown size spoils every sum")
        << recordOf({fileOf(10), fileOf(-1), skipped}) << unknown;
    QTest::newRow("a skipped file of unknown size spoils the sums that hold it")
        << recordOf({skippedUnknown, skipped, fileOf(10)}) << QList<qint64>{-1, -1, -1, -1, 10, 10, 10, 10};
    QTest::newRow("a dummy is left out where dummies are excluded")
        << recordOf({fileOf(10), whole}, mode) << QList<qint64>{210, 210, 200, 200, 210, 210, 200, 200};
    QTest::newRow("dummies alone stand in for nothing")
        << recordOf({fileOf(10), fileOf(20)}, mode) << QList<qint64>{30, 30, 0, 30, 30, 30, 0, 30};
    QTest::newRow("with child downloads they do not stand in")
        << recordOf({fileOf(10), fileOf(20)}, mode, 1) << QList<qint64>{30, 30, 0, 0, 30, 30, 0, 0};
    QTest::newRow("with a skipped file they do not stand in")
        << recordOf({fileOf(10), skipped}, mode) << QList<qint64>{410, 410, 400, 400, 10, 10, 0, 0};
    QTest::newRow("a dummy of unknown size spoils the sum of dummies for good")
        << recordOf({fileOf(-1), fileOf(20)}, mode) << QList<qint64>{-1, -1, 0, -1, -1, -1, 0, -1};
    QTest::newRow("excluded dummies of unknown size do not spoil the others")
        << recordOf({fileOf(-1), whole}, mode) << QList<qint64>{-1, -1, 200, 200, -1, -1, 200, 200};
    QTest::newRow("a skipped file of unknown size spoils even where dummies would stand in")
        << recordOf({fileOf(10), skippedUnknown}, mode) << QList<qint64>{-1, -1, -1, -1, 10, 10, 0, 0};
    QTest::newRow("skipped files alone are no selected ones")
        << recordOf({skipped}) << QList<qint64>{400, 400, 400, 400, 0, 0, 0, 0};
    QTest::newRow("sizes beyond 32 bits are summed up")
        << recordOf({fileOf(Q_INT64_C(5000000000)), fileOf(Q_INT64_C(5000000000))})
        << QList<qint64>(8, Q_INT64_C(10000000000));
}

void TestAbstractDownloadPersistentInfoSizes::filesSize()
{
    QFETCH(Info, info);
    QList<qint64> sizes;
    for (int arguments = 0; arguments < 8; ++arguments)
        sizes << info.filesSize(arguments & 4, arguments & 2, arguments & 1);
    QTEST(sizes, "expected");
}

void TestAbstractDownloadPersistentInfoSizes::filesSizeOfEveryThreeFiles()
{
    const QList<File> firsts = kindsOfFiles(10);
    const QList<File> seconds = kindsOfFiles(200);
    const QList<File> thirds = kindsOfFiles(3000);
    for (const File &first : firsts) {
        QVERIFY(agreesForAllArguments(recordOf({first})));
        for (const File &second : seconds) {
            QVERIFY(agreesForAllArguments(recordOf({first, second})));
            for (const File &third : thirds)
                QVERIFY(agreesForAllArguments(recordOf({first, second, third})));
        }
    }
}

void TestAbstractDownloadPersistentInfoSizes::bytesDownloaded_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<qint64>("all");
    QTest::addColumn<qint64>("selected");

    File split = fileOf(100, 30);
    split.sections.append({50, 50, 7});
    const QList<File> files{fileOf(10, 4, kOnDisk), fileOf(20, 20, kOnDisk), fileOf(300, 100, 0, kNotSelected),
                            fileOf(400, 400, kOnDisk, kNotSelected), fileOf(5000, 5000)};
    QTest::newRow("all sections of a file count") << recordOf({split}) << qint64(37) << qint64(37);
    QTest::newRow("a file without sections has nothing") << recordOf({fileOf(10)}) << qint64(0) << qint64(0);
    QTest::newRow("skipped files count unless only selected ones do")
        << recordOf(files) << qint64(5524) << qint64(5024);
    QTest::newRow("in dummy mode only whole files on disk count")
        << recordOf(files, Info::DummyFilesMode) << qint64(420) << qint64(20);
    QTest::newRow("a file of unknown size counts outside the mode")
        << recordOf({fileOf(-1, 9, kOnDisk)}) << qint64(9) << qint64(9);
    QTest::newRow("a file of unknown size is never whole")
        << recordOf({fileOf(-1, 9, kOnDisk)}, Info::DummyFilesMode) << qint64(0) << qint64(0);
}

void TestAbstractDownloadPersistentInfoSizes::bytesDownloaded()
{
    QFETCH(Info, info);
    QTEST(info.bytesDownloaded(false), "all");
    QTEST(info.bytesDownloaded(true), "selected");
}

void TestAbstractDownloadPersistentInfoSizes::uRatio_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<qint64>("uploaded");
    QTest::addColumn<double>("expected");

    QTest::newRow("nothing sent is 0") << recordOf({fileOf(10)}) << qint64(0) << 0.0;
    QTest::newRow("a size of 0 is 0") << recordOf({fileOf(0)}) << qint64(5) << 0.0;
    QTest::newRow("the ratio is a fraction") << recordOf({fileOf(4)}) << qint64(1) << 0.25;
    QTest::newRow("skipped files do not count")
        << recordOf({fileOf(4), fileOf(100, -1, 0, kNotSelected)}) << qint64(6) << 1.5;
    QTest::newRow("dummies stand in where there is nothing else")
        << recordOf({fileOf(8)}, Info::DummyFilesMode) << qint64(2) << 0.25;
    QTest::newRow("dummies do not count where something else does")
        << recordOf({fileOf(8), fileOf(4, 4, kOnDisk)}, Info::DummyFilesMode) << qint64(2) << 0.5;
    QTest::newRow("a size that is not known divides as it is") << recordOf({}) << qint64(3) << -3.0;
}

void TestAbstractDownloadPersistentInfoSizes::uRatio()
{
    QFETCH(Info, info);
    QFETCH(qint64, uploaded);
    info.uploaded = uploaded;
    QTEST(info.uRatio(), "expected");
}

void TestAbstractDownloadPersistentInfoSizes::largestFileIndex_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<int>("expected");

    QTest::newRow("the greatest size wins") << recordOf({fileOf(1), fileOf(3), fileOf(2)}) << 1;
    QTest::newRow("the first of equal sizes wins") << recordOf({fileOf(1), fileOf(3), fileOf(3)}) << 1;
    QTest::newRow("a skipped file never wins") << recordOf({fileOf(9, -1, 0, kNotSelected), fileOf(1)}) << 1;
    QTest::newRow("an unknown size never wins") << recordOf({fileOf(-1), fileOf(-1)}) << -1;
    QTest::newRow("a size of 0 wins over an unknown one") << recordOf({fileOf(-1), fileOf(0)}) << 1;
    QTest::newRow("skipped files alone have no largest") << recordOf({fileOf(9, -1, 0, kNotSelected)}) << -1;
}

void TestAbstractDownloadPersistentInfoSizes::largestFileIndex()
{
    QFETCH(Info, info);
    QTEST(info.largestFileIndex(), "expected");
}

void TestAbstractDownloadPersistentInfoSizes::diskSpaceNotUsedYet_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<qint64>("expected");

    File split = fileOf(100, 30);
    split.sections = {{0, 50, 10}, {50, 50, 20}};
    File open = fileOf(100, 30);
    open.sections = {{0, -1, 30}};
    QTest::newRow("no files need nothing") << recordOf({}) << qint64(0);
    QTest::newRow("a finished download needs nothing") << recordOf({fileOf(100)}, Info::Finished) << qint64(0);
    QTest::newRow("a file without sections needs its size") << recordOf({fileOf(100)}) << qint64(100);
    QTest::newRow("a file needs the rest of its section") << recordOf({fileOf(100, 30)}) << qint64(70);
    QTest::newRow("of several sections only the last one counts") << recordOf({split}) << qint64(30);
    QTest::newRow("a last section without end counts as it stands") << recordOf({open}) << qint64(-31);
    QTest::newRow("a preallocated file has its space") << recordOf({fileOf(100, 30, kPreallocated)}) << qint64(0);
    QTest::newRow("a file on disk needs the rest") << recordOf({fileOf(100, 30, kOnDisk)}) << qint64(70);
    QTest::newRow("a file of unknown size is left out") << recordOf({fileOf(-1, 30), fileOf(5)}) << qint64(5);
    QTest::newRow("a skipped file needs nothing")
        << recordOf({fileOf(100, -1, 0, kNotSelected), fileOf(5)}) << qint64(5);
    QTest::newRow("several files are summed up") << recordOf({fileOf(100, 30), fileOf(5)}) << qint64(75);
}

void TestAbstractDownloadPersistentInfoSizes::diskSpaceNotUsedYet()
{
    QFETCH(Info, info);
    QTEST(info.diskSpaceNotUsedYet(), "expected");
}

QTEST_GUILESS_MAIN(TestAbstractDownloadPersistentInfoSizes)
#include "tst_abstractdownloadpersistentinfo_sizes.moc"
