// SPDX-License-Identifier: MIT
#include <host/policy/diskcheck.h>

#include <QTest>

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
    void isWhole_data();
    void isWhole();
    void whatWasDownloadedIsForgottenWithAllThatRestsOnIt();
    void aNameThatWasChosenIsNotForgotten();
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

QTEST_GUILESS_MAIN(TestDiskCheck)
#include "tst_diskcheck.moc"
