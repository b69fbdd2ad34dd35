// SPDX-License-Identifier: MIT
#include <host/policy/diskcheck.h>

#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;
using Sections = QList<AbstractDownloadSection>;

constexpr qint64 kMissing = -1;

Info recordOf(const Sections &sections, quint8 fileFlags, qint64 dataStart = 0)
{
    File file;
    file.name = u"x.iso"_s;
    file.pathOnDisk = u"x.iso.part"_s;
    file.size = 1000;
    file.sections = sections;
    file.fileFlags = fileFlags;
    file.dataStart = dataStart;
    Info info;
    info.folder = u"/tmp"_s;
    info.files = {file};
    return info;
}

}

class TestDiskCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isTrustworthy_data();
    void isTrustworthy();
    void repair_data();
    void repair();
    void areSectionsPlausible_data();
    void areSectionsPlausible();
    void keepsAllBytes_data();
    void keepsAllBytes();
    void spaceThatWasTakenIsNotBelievedOfAShorterFile();
    void aWholeFileThatIsCutBackIsNoLongerWhole();
    void isWhole_data();
    void isWhole();
    void whatWasDownloadedIsForgottenWithAllThatRestsOnIt();
    void aNameThatWasChosenIsNotForgotten();
    void whereNoByteIsThereTheNextAnswerSaysWhatTheFileIs();
};

void TestDiskCheck::isTrustworthy_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<qint64>("length");
    QTest::addColumn<bool>("trustworthy");

    const quint8 onDisk = File::CreatedOnDisk;
    const Sections half{{0, 1000, 500}};
    QTest::newRow("no file yet") << Info() << kMissing << true;
    QTest::newRow("a file that was not made yet") << recordOf({{0, 1000, 0}}, 0) << kMissing << true;
    QTest::newRow("exactly what was downloaded is there") << recordOf(half, onDisk) << qint64(500) << true;
    QTest::newRow("a file that was made in full length") << recordOf(half, onDisk) << qint64(1000) << true;
    QTest::newRow("one byte is missing") << recordOf(half, onDisk) << qint64(499) << false;
    QTest::newRow("the file is gone") << recordOf(half, onDisk) << kMissing << false;
    QTest::newRow("an empty file that is gone") << recordOf({{0, 1000, 0}}, onDisk) << kMissing << false;
    QTest::newRow("an empty file that is there") << recordOf({{0, 1000, 0}}, onDisk) << qint64(0) << true;
    QTest::newRow("bytes without a file") << recordOf(half, 0) << qint64(1000) << false;
    QTest::newRow("the furthest section counts, not the sum")
        << recordOf({{0, 900, 10}, {900, 100, 50}}, onDisk) << qint64(60) << false;
    QTest::newRow("up to the furthest section it is enough")
        << recordOf({{0, 900, 10}, {900, 100, 50}}, onDisk) << qint64(950) << true;
    QTest::newRow("a section without bytes needs none")
        << recordOf({{0, 900, 10}, {900, 100, 0}}, onDisk) << qint64(10) << true;
    QTest::newRow("data that begins later in the file") << recordOf(half, onDisk, 100) << qint64(599) << false;
    Info inMemory = recordOf(half, onDisk);
    inMemory.destinationType = Info::ToMemory;
    QTest::newRow("what is kept in the record needs no file") << inMemory << kMissing << true;
}

void TestDiskCheck::isTrustworthy()
{
    QFETCH(Info, info);
    QFETCH(qint64, length);
    QTEST(DiskCheck::isTrustworthy(info, length), "trustworthy");
}

void TestDiskCheck::repair_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<qint64>("length");
    QTest::addColumn<DiskCheck::Repair>("repair");
    QTest::addColumn<Sections>("sections");

    using enum DiskCheck::Repair;
    const quint8 onDisk = File::CreatedOnDisk;
    const Sections two{{0, 600, 400}, {600, 400, 100}};
    QTest::newRow("what the file holds is believed") << recordOf(two, onDisk) << qint64(700) << None << two;
    QTest::newRow("a longer file is cut by the download") << recordOf(two, onDisk) << qint64(5000) << None << two;
    QTest::newRow("a section that reaches beyond the end is cut back")
        << recordOf(two, onDisk) << qint64(650) << CutBack << Sections{{0, 600, 400}, {600, 400, 50}};
    QTest::newRow("a section wholly beyond the end is missing")
        << recordOf(two, onDisk) << qint64(600) << CutBack << Sections{{0, 600, 400}, {600, 400, 0}};
    QTest::newRow("two sections are cut back")
        << recordOf(two, onDisk) << qint64(300) << CutBack << Sections{{0, 600, 300}, {600, 400, 0}};
    QTest::newRow("an empty file holds nothing")
        << recordOf(two, onDisk) << qint64(0) << CutBack << Sections{{0, 600, 0}, {600, 400, 0}};
    QTest::newRow("what stands before the data is not data")
        << recordOf(two, onDisk, 100) << qint64(750) << CutBack << Sections{{0, 600, 400}, {600, 400, 50}};
    QTest::newRow("a file shorter than what stands before the data")
        << recordOf(two, onDisk, 100) << qint64(50) << CutBack << Sections{{0, 600, 0}, {600, 400, 0}};
    QTest::newRow("a file that is gone") << recordOf(two, onDisk) << kMissing << Forgotten << Sections();
    QTest::newRow("bytes of a file that was never made") << recordOf(two, 0) << qint64(700) << Forgotten << Sections();
    QTest::newRow("sections that overlap")
        << recordOf({{0, 600, 400}, {500, 500, 100}}, onDisk) << qint64(1000) << Forgotten << Sections();
    QTest::newRow("data that begins before the file")
        << recordOf(two, onDisk, -1) << qint64(1000) << Forgotten << Sections();
    QTest::newRow("flags that nobody sets") << recordOf(two, onDisk | 0x40) << qint64(1000) << Forgotten << Sections();
    QTest::newRow("a final name before the bytes are there")
        << recordOf(two, onDisk | File::FinalOnDisk) << qint64(1000) << Forgotten << Sections();
    Info negative = recordOf({{0, -1, 10}}, onDisk);
    negative.files.first().size = -2;
    QTest::newRow("a size below nothing") << negative << qint64(1000) << Forgotten << Sections();
}

void TestDiskCheck::repair()
{
    QFETCH(Info, info);
    QFETCH(qint64, length);
    QTEST(DiskCheck::repair(info, length), "repair");
    QTEST(info.files.value(0).sections, "sections");
    const qint64 lengthAfter = info.files.value(0).isOnDisk() ? length : kMissing;
    QVERIFY2(DiskCheck::isTrustworthy(info, lengthAfter), "what was repaired can be believed");
}

void TestDiskCheck::areSectionsPlausible_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<Sections>("sections");
    QTest::addColumn<bool>("plausible");

    constexpr qint64 kMost = std::numeric_limits<qint64>::max();
    QTest::newRow("none") << qint64(100) << Sections() << true;
    QTest::newRow("one over everything") << qint64(100) << Sections{{0, 100, 100}} << true;
    QTest::newRow("one without an end") << qint64(-1) << Sections{{0, -1, 50}} << true;
    QTest::newRow("one without an end, of a known size") << qint64(100) << Sections{{0, -1, 100}} << true;
    QTest::newRow("more than the size") << qint64(100) << Sections{{0, -1, 101}} << false;
    QTest::newRow("several, each behind the other") << qint64(100) << Sections{{0, 50, 5}, {50, 50, 0}} << true;
    QTest::newRow("an end of an unknown size") << qint64(-1) << Sections{{0, 50, 5}, {50, 50, 0}} << true;
    QTest::newRow("an open end behind others") << qint64(-1) << Sections{{0, 50, 5}, {50, -1, 9}} << true;
    QTest::newRow("one behind an open end") << qint64(-1) << Sections{{0, -1, 5}, {50, 50, 0}} << false;
    QTest::newRow("a hole") << qint64(100) << Sections{{0, 40, 5}, {50, 50, 0}} << false;
    QTest::newRow("a hole at the beginning") << qint64(100) << Sections{{10, 90, 5}} << false;
    QTest::newRow("a hole at the end") << qint64(100) << Sections{{0, 90, 5}} << false;
    QTest::newRow("an overlap") << qint64(100) << Sections{{0, 60, 5}, {50, 50, 0}} << false;
    QTest::newRow("the wrong order") << qint64(100) << Sections{{50, 50, 0}, {0, 50, 5}} << false;
    QTest::newRow("beyond the size") << qint64(100) << Sections{{0, 101, 0}} << false;
    QTest::newRow("fuller than long") << qint64(100) << Sections{{0, 50, 51}, {50, 50, 0}} << false;
    QTest::newRow("less than nothing downloaded") << qint64(100) << Sections{{0, 100, -1}} << false;
    QTest::newRow("a beginning before the file") << qint64(100) << Sections{{-1, 101, 0}} << false;
    QTest::newRow("a length below nothing") << qint64(-1) << Sections{{0, -2, 0}} << false;
    QTest::newRow("numbers beyond all sums") << qint64(-1) << Sections{{0, kMost, kMost}, {kMost, kMost, 0}} << false;
}

void TestDiskCheck::areSectionsPlausible()
{
    QFETCH(qint64, size);
    QFETCH(Sections, sections);
    File file;
    file.size = size;
    file.sections = sections;
    QTEST(DiskCheck::areSectionsPlausible(file), "plausible");
}

void TestDiskCheck::keepsAllBytes_data()
{
    QTest::addColumn<Sections>("newer");
    QTest::addColumn<Sections>("older");
    QTest::addColumn<bool>("keeps");

    const Sections half{{0, 100, 50}};
    QTest::newRow("nothing from nothing") << Sections() << Sections() << true;
    QTest::newRow("the first bytes") << half << Sections() << true;
    QTest::newRow("the same") << half << half << true;
    QTest::newRow("more") << Sections{{0, 100, 51}} << half << true;
    QTest::newRow("less") << Sections{{0, 100, 49}} << half << false;
    QTest::newRow("a section that was divided") << Sections{{0, 60, 50}, {60, 40, 1}} << half << true;
    QTest::newRow("sections that were united") << Sections{{0, 100, 80}} << Sections{{0, 60, 60}, {60, 40, 20}} << true;
    QTest::newRow("divided within what was there") << Sections{{0, 30, 30}, {30, 70, 20}} << half << true;
    QTest::newRow("a hole in what was there") << Sections{{0, 30, 29}, {30, 70, 20}} << half << false;
    QTest::newRow("everything forgotten") << Sections() << half << false;
}

void TestDiskCheck::keepsAllBytes()
{
    QFETCH(Sections, newer);
    QFETCH(Sections, older);
    File newerFile;
    newerFile.sections = newer;
    File olderFile;
    olderFile.sections = older;
    QTEST(DiskCheck::keepsAllBytes(newerFile, olderFile), "keeps");
    newerFile.dataStart = 1;
    QVERIFY2(!DiskCheck::keepsAllBytes(newerFile, olderFile), "elsewhere in the file they are others");
}

void TestDiskCheck::spaceThatWasTakenIsNotBelievedOfAShorterFile()
{
    const quint8 flags = File::CreatedOnDisk | File::Preallocated;
    Info info = recordOf({{0, 1000, 500}}, flags);
    QCOMPARE(DiskCheck::repair(info, 1000), DiskCheck::Repair::None);
    QCOMPARE(info.files.first().fileFlags, flags);
    QCOMPARE(DiskCheck::repair(info, 999), DiskCheck::Repair::None);
    QCOMPARE(info.files.first().fileFlags, quint8(File::CreatedOnDisk));
}

void TestDiskCheck::aWholeFileThatIsCutBackIsNoLongerWhole()
{
    Info info = recordOf({{0, 1000, 1000}}, File::CreatedOnDisk | File::FinalOnDisk);
    QCOMPARE(DiskCheck::repair(info, 999), DiskCheck::Repair::CutBack);
    QCOMPARE(info.files.first().fileFlags, quint8(File::CreatedOnDisk));
    QVERIFY(!info.isFinished());
}

void TestDiskCheck::isWhole_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<qint64>("length");
    QTest::addColumn<bool>("whole");

    const quint8 final = File::CreatedOnDisk | File::FinalOnDisk;
    const Sections all{{0, 1000, 1000}};
    QTest::newRow("every byte under the final name") << recordOf(all, final) << qint64(1000) << true;
    QTest::newRow("a byte too few") << recordOf(all, final) << qint64(999) << false;
    QTest::newRow("a byte too many") << recordOf(all, final) << qint64(1001) << false;
    QTest::newRow("no such file") << recordOf(all, final) << kMissing << false;
    QTest::newRow("not its final name") << recordOf(all, File::CreatedOnDisk) << qint64(1000) << false;
    QTest::newRow("not all was downloaded") << recordOf({{0, 1000, 999}}, final) << qint64(1000) << false;
    QTest::newRow("what stands before the data counts") << recordOf(all, final, 10) << qint64(1010) << true;
    QTest::newRow("no file") << Info() << kMissing << false;
}

void TestDiskCheck::isWhole()
{
    QFETCH(Info, info);
    QFETCH(qint64, length);
    QTEST(DiskCheck::isWhole(info, length), "whole");
}

void TestDiskCheck::whatWasDownloadedIsForgottenWithAllThatRestsOnIt()
{
    Info info = recordOf({{0, 1000, 500}}, File::CreatedOnDisk | File::Preallocated);
    info.url = QUrl(u"http://a/x.iso"_s);
    info.finalUrl = QUrl(u"http://b/x.iso"_s);
    info.guid = {1, 3, u"hash:etag"_s};
    info.resumeSupport = Info::ResumeSupported;
    info.setFlag(Info::ResourceChanged, true);
    info.setFlag(Info::FinalDownload, true);
    DiskCheck::forgetProgress(info);
    QVERIFY(info.files.isEmpty());
    QVERIFY(info.guid.isEmpty());
    QVERIFY(!info.finalUrl.isValid());
    QCOMPARE(info.resumeSupport, qint32(Info::ResumeUnknown));
    QVERIFY(!info.hasFlag(Info::ResourceChanged));
    QVERIFY(info.hasFlag(Info::FinalDownload));
    QCOMPARE(info.url, QUrl(u"http://a/x.iso"_s));
    QVERIFY(DiskCheck::isTrustworthy(info, kMissing));
}

void TestDiskCheck::aNameThatWasChosenIsNotForgotten()
{
    Info info = recordOf({{0, 1000, 500}}, File::CreatedOnDisk);
    info.setFlag(Info::RenameBlocked, true);
    DiskCheck::forgetProgress(info);
    QCOMPARE(info.files.size(), 1);
    File untouched;
    untouched.name = u"x.iso"_s;
    QCOMPARE(info.files.first(), untouched);
}

void TestDiskCheck::whereNoByteIsThereTheNextAnswerSaysWhatTheFileIs()
{
    Info empty = recordOf({{0, 500, 0}, {500, 500, 0}}, File::CreatedOnDisk);
    const QString name = empty.files.first().name;
    DiskCheck::forgetSectionsWithoutBytes(empty);
    QVERIFY(empty.files.first().sections.isEmpty());
    QCOMPARE(empty.files.first().name, name);
    QVERIFY(empty.files.first().isOnDisk());
    Info begun = recordOf({{0, 500, 0}, {500, 500, 1}}, File::CreatedOnDisk);
    const Info before = begun;
    DiskCheck::forgetSectionsWithoutBytes(begun);
    QCOMPARE(begun, before);
}

QTEST_GUILESS_MAIN(TestDiskCheck)
#include "tst_diskcheck.moc"
