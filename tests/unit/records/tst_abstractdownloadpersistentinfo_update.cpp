// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QTest>

using namespace Qt::StringLiterals;

using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;
using Mode = BitFlagsUpdateMode;

using Copy = void (*)(Info &, const Info &);
Q_DECLARE_METATYPE(Copy)

namespace
{

const QDateTime &longAgo()
{
    static const QDateTime time(QDate(2001, 2, 3), QTime(4, 5));
    return time;
}

File wholeFile()
{
    File file;
    file.type = 2;
    file.name = u"film.mkv"_s;
    file.size = 100;
    file.selected = false;
    file.sections = {{0, 50, 50}, {50, 50, 50}};
    file.pathOnDisk = u"film.mkv.part"_s;
    file.fileFlags = File::CreatedOnDisk | File::Preallocated;
    file.lastModified = longAgo();
    file.contentType = u"video/x-matroska"_s;
    file.dataStart = 16;
    return file;
}

/// A record of which no field has its default.
Info fullRecord()
{
    Info info;
    info.id = 7;
    info.flags = 0x6;
    info.childDownloads = 2;
    info.moduleId = u"downloadswww"_s;
    info.title = u"Given"_s;
    info.url = QUrl(u"http://h/given"_s);
    info.effectiveUrl = QUrl(u"http://h/effective"_s);
    info.finalUrl = QUrl(u"http://h/final"_s);
    info.referer = u"http://h/referer"_s;
    info.cookies = {QNetworkCookie("a", "1")};
    info.postData = "x=1";
    info.webPageUrl = QUrl(u"http://h/page"_s);
    info.parameters = {{u"headers"_s, QVariantMap{{u"X"_s, u"1"_s}}}};
    info.sourceFlags = AbstractDownloadSourceInfo::NoSynthesisedReferer;
    info.userAgent = u"agent"_s;
    info.mirrors = {{QUrl(u"http://m/f"_s), QUrl(u"http://m/"_s)}};
    info.destinationType = Info::ToMemory;
    info.folder = u"/d"_s;
    info.presetFileName = u"preset"_s;
    info.existingFileReaction = AbstractDownloadExistingFileReaction::Skip;
    info.customTitle = u"Mine"_s;
    info.priority = AbstractDownloadPriority::High;
    info.createdBy = AbstractDownloadCreatedBy::Program;
    info.creationTime = longAgo();
    info.finishedTime = longAgo().addDays(1);
    info.lastError = AbstractError(404, "HttpError", "s", "d");
    info.lastErrorTime = longAgo().addDays(2);
    info.resumeSupport = Info::ResumeSupported;
    info.guid = {1, AbstractDownloadGuid::UrlHashAndEtag, u"0:e"_s};
    info.files = {wholeFile()};
    info.content = "bytes";
    info.uploaded = 3;
    info.sortIndex = 4;
    return info;
}

Info recordWithFiles(const QList<File> &files)
{
    Info info;
    info.files = files;
    return info;
}

bool isNow(const QDateTime &time, const QDateTime &before)
{
    return before <= time && time <= QDateTime::currentDateTime();
}

}

class TestAbstractDownloadPersistentInfoUpdate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyFieldCountsForEquality();
    void groups_data();
    void groups();
    void groupOfEqualRecords_data();
    void groupOfEqualRecords();
    void bitsAreTheseNumbers();
    void noBitsCopyNothing();
    void allBitsCopyAll();
    void allBitsCopyAllWhateverTheMode();
    void allBitsReportAChangeOfNothing();
    void allButOneBitAreNoAll();
    void groupsAreCombined();
    void destinationGoesTogether_data();
    void destinationGoesTogether();
    void flags_data();
    void flags();
    void lastError_data();
    void lastError();
    void setLastErrorTakesNow();
    void filesKeepWhatTheModifiersSay_data();
    void filesKeepWhatTheModifiersSay();
    void filesThatOneSideLacks();
    void filesThatDifferOnlyInWhatIsKept();
    void modifiersAloneCopyNothing();
    void copySourceFrom();
    void changedFields_data();
    void changedFields();
};

void TestAbstractDownloadPersistentInfoUpdate::everyFieldCountsForEquality()
{
    QCOMPARE(fullRecord(), fullRecord());
    Info info = fullRecord();
    info.files[0].sections[1].downloaded = 49;
    QVERIFY(info != fullRecord());
    info = fullRecord();
    info.cookies[0].setValue("2");
    QVERIFY(info != fullRecord());
}

void TestAbstractDownloadPersistentInfoUpdate::groups_data()
{
    QTest::addColumn<qint64>("fields");
    QTest::addColumn<Copy>("copy");

    const auto row = [](const char *name, int bit, Copy copy) { QTest::newRow(name) << (Q_INT64_C(1) << bit) << copy; };
    row("bit 0 is the destination", 0, [](Info &to, const Info &from) {
        to.destinationType = from.destinationType;
        to.folder = from.folder;
    });
    row("bit 1 is the titles", 1, [](Info &to, const Info &from) {
        to.title = from.title;
        to.customTitle = from.customTitle;
    });
    row("bit 2 is the flags", 2, [](Info &to, const Info &from) { to.flags = from.flags; });
    row("bit 3 is the files", 3, [](Info &to, const Info &from) { to.files = from.files; });
    row("bit 4 is the times", 4, [](Info &to, const Info &from) {
        to.creationTime = from.creationTime;
        to.finishedTime = from.finishedTime;
    });
    row("bit 6 is the last error", 6, [](Info &to, const Info &from) { to.lastError = from.lastError; });
    row("bit 7 is the source's URLs", 7, [](Info &to, const Info &from) {
        to.url = from.url;
        to.effectiveUrl = from.effectiveUrl;
        to.webPageUrl = from.webPageUrl;
    });
    row("bit 8 is the naming", 8, [](Info &to, const Info &from) {
        to.presetFileName = from.presetFileName;
        to.existingFileReaction = from.existingFileReaction;
    });
    row("bit 9 is the user agent", 9, [](Info &to, const Info &from) { to.userAgent = from.userAgent; });
    row("bit 10 is what is sent along", 10, [](Info &to, const Info &from) {
        to.referer = from.referer;
        to.cookies = from.cookies;
        to.postData = from.postData;
        to.parameters = from.parameters;
        to.sourceFlags = from.sourceFlags;
    });
    row("bit 11 is the ordering", 11, [](Info &to, const Info &from) {
        to.sortIndex = from.sortIndex;
        to.priority = from.priority;
        to.createdBy = from.createdBy;
    });
    row("bit 12 is the mirrors", 12, [](Info &to, const Info &from) { to.mirrors = from.mirrors; });
    row("bit 13 is what is known of the resource", 13, [](Info &to, const Info &from) {
        to.guid = from.guid;
        to.resumeSupport = from.resumeSupport;
        to.finalUrl = from.finalUrl;
    });
    row("bit 14 is the counters", 14, [](Info &to, const Info &from) {
        to.childDownloads = from.childDownloads;
        to.uploaded = from.uploaded;
    });
    row("bit 15 is the content", 15, [](Info &to, const Info &from) {
        to.content = from.content;
        to.moduleId = from.moduleId;
    });
}

void TestAbstractDownloadPersistentInfoUpdate::groups()
{
    QFETCH(qint64, fields);
    QFETCH(Copy, copy);
    Info info;
    Info expected;
    copy(expected, fullRecord());
    QVERIFY(info.updateWith(fullRecord(), fields, Mode::Replace));
    expected.lastErrorTime = info.lastErrorTime;
    QCOMPARE(info.lastErrorTime.isValid(), fields == Info::FieldLastError);
    QCOMPARE(info, expected);
}

void TestAbstractDownloadPersistentInfoUpdate::groupOfEqualRecords_data()
{
    QTest::addColumn<qint64>("fields");

    for (int bit = 0; bit <= 16; ++bit)
        QTest::addRow("bit %d reports no change of equal records", bit) << (Q_INT64_C(1) << bit);
    QTest::newRow("nor do all seventeen together") << qint64(0x1ffff);
}

void TestAbstractDownloadPersistentInfoUpdate::groupOfEqualRecords()
{
    QFETCH(qint64, fields);
    Info info = fullRecord();
    QVERIFY(!info.updateWith(fullRecord(), fields, Mode::Replace));
    QCOMPARE(info, fullRecord());
}

void TestAbstractDownloadPersistentInfoUpdate::bitsAreTheseNumbers()
{
    QCOMPARE(qint64(Info::FieldSourceUrls | Info::FieldSourceRequest), 0x480);
    QCOMPARE(qint64(Info::FieldSourceUrls | Info::FieldSourceRequest | Info::FieldMirrors), 0x1480);
    QCOMPARE(qint64(Info::FieldFilesKeepSections), 0x20);
    QCOMPARE(qint64(Info::FieldFilesKeepDisk), 0x10000);
    QCOMPARE(qint64(Info::AllFields), ~Q_INT64_C(0));
}

void TestAbstractDownloadPersistentInfoUpdate::noBitsCopyNothing()
{
    Info info;
    QVERIFY(!info.updateWith(fullRecord(), 0, Mode::Replace));
    QCOMPARE(info, Info());
}

void TestAbstractDownloadPersistentInfoUpdate::allBitsCopyAll()
{
    Info info;
    QVERIFY(info.updateWith(fullRecord(), -1, Mode::Replace));
    QCOMPARE(info, fullRecord());
}

void TestAbstractDownloadPersistentInfoUpdate::allBitsCopyAllWhateverTheMode()
{
    Info info;
    info.flags = 0xf0;
    QVERIFY(info.updateWith(fullRecord(), -1, Mode::Add));
    QCOMPARE(info, fullRecord());
}

void TestAbstractDownloadPersistentInfoUpdate::allBitsReportAChangeOfNothing()
{
    Info info = fullRecord();
    QVERIFY(info.updateWith(fullRecord(), -1, Mode::Replace));
    QCOMPARE(info, fullRecord());
}

void TestAbstractDownloadPersistentInfoUpdate::allButOneBitAreNoAll()
{
    Info info;
    QVERIFY(info.updateWith(fullRecord(), ~Q_INT64_C(1), Mode::Replace));
    QCOMPARE(info.id, 0);
    QCOMPARE(info.destinationType, qint32(Info::ToFolder));
    QVERIFY(info.folder.isEmpty());
    QCOMPARE(info.url, fullRecord().url);
}

void TestAbstractDownloadPersistentInfoUpdate::groupsAreCombined()
{
    Info info;
    QVERIFY(info.updateWith(fullRecord(), Info::FieldDestination | Info::FieldUserAgent, Mode::Replace));
    Info expected;
    expected.destinationType = Info::ToMemory;
    expected.folder = u"/d"_s;
    expected.userAgent = u"agent"_s;
    QCOMPARE(info, expected);
}

void TestAbstractDownloadPersistentInfoUpdate::destinationGoesTogether_data()
{
    QTest::addColumn<qint32>("destinationType");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<bool>("changed");

    QTest::newRow("both the same are no change") << qint32(Info::ToFolder) << u"/d"_s << false;
    QTest::newRow("another type is one") << qint32(Info::ToMemory) << u"/d"_s << true;
    QTest::newRow("another folder is one") << qint32(Info::ToFolder) << u"/e"_s << true;
    QTest::newRow("another case of the folder is one") << qint32(Info::ToFolder) << u"/D"_s << true;
}

void TestAbstractDownloadPersistentInfoUpdate::destinationGoesTogether()
{
    QFETCH(qint32, destinationType);
    QFETCH(QString, folder);
    Info info;
    info.folder = u"/d"_s;
    Info other;
    other.destinationType = destinationType;
    other.folder = folder;
    QTEST(info.updateWith(other, Info::FieldDestination, Mode::Replace), "changed");
    QCOMPARE(info, other);
}

void TestAbstractDownloadPersistentInfoUpdate::flags_data()
{
    QTest::addColumn<quint64>("mine");
    QTest::addColumn<quint64>("others");
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("changed");
    QTest::addColumn<quint64>("expected");

    const quint64 high = Q_UINT64_C(1) << 63;
    QTest::newRow("mode 0 replaces") << Q_UINT64_C(0b1100) << Q_UINT64_C(0b1010) << 0 << true << Q_UINT64_C(0b1010);
    QTest::newRow("mode 1 clears") << Q_UINT64_C(0b1100) << Q_UINT64_C(0b1010) << 1 << true << Q_UINT64_C(0b0100);
    QTest::newRow("mode 2 adds") << Q_UINT64_C(0b1100) << Q_UINT64_C(0b1010) << 2 << true << Q_UINT64_C(0b1110);
    QTest::newRow("an unknown mode reports a change and makes none")
        << Q_UINT64_C(0b1100) << Q_UINT64_C(0b1010) << 3 << true << Q_UINT64_C(0b1100);
    QTest::newRow("a negative mode reports a change and makes none")
        << Q_UINT64_C(0b1100) << Q_UINT64_C(0b1010) << -1 << true << Q_UINT64_C(0b1100);
    QTest::newRow("equal flags are not cleared")
        << Q_UINT64_C(0b11) << Q_UINT64_C(0b11) << 1 << false << Q_UINT64_C(0b11);
    QTest::newRow("equal flags are no change in an unknown mode")
        << Q_UINT64_C(0b11) << Q_UINT64_C(0b11) << 3 << false << Q_UINT64_C(0b11);
    QTest::newRow("different flags count as a change even where adding makes none")
        << Q_UINT64_C(0b11) << Q_UINT64_C(0b01) << 2 << true << Q_UINT64_C(0b11);
    QTest::newRow("all 64 bits take part") << high << Q_UINT64_C(1) << 2 << true << (high | 1);
}

void TestAbstractDownloadPersistentInfoUpdate::flags()
{
    QFETCH(quint64, mine);
    QFETCH(quint64, others);
    QFETCH(int, mode);
    Info info;
    info.flags = mine;
    Info other;
    other.flags = others;
    QTEST(info.updateWith(other, Info::FieldFlags, Mode(mode)), "changed");
    QTEST(info.flags, "expected");
}

void TestAbstractDownloadPersistentInfoUpdate::lastError_data()
{
    QTest::addColumn<AbstractError>("mine");
    QTest::addColumn<AbstractError>("others");
    QTest::addColumn<bool>("changed");

    const AbstractError http404(404, "HttpError", "a", "x");
    QTest::newRow("a first error is taken over") << AbstractError() << http404 << true;
    QTest::newRow("another code is taken over") << http404 << AbstractError(403, "HttpError", "a", "x") << true;
    QTest::newRow("another category is taken over") << http404 << AbstractError(404, "GenericError", "a", "x") << true;
    QTest::newRow("no error replaces one") << http404 << AbstractError() << true;
    QTest::newRow("another source alone is no change") << http404 << AbstractError(404, "HttpError", "b", "x") << false;
    QTest::newRow("another wording alone is no change")
        << http404 << AbstractError(404, "HttpError", "a", "y") << false;
    QTest::newRow("without error another category is no change")
        << AbstractError() << AbstractError(0, "HttpError", "", "") << false;
}

void TestAbstractDownloadPersistentInfoUpdate::lastError()
{
    QFETCH(AbstractError, mine);
    QFETCH(AbstractError, others);
    QFETCH(bool, changed);
    Info info;
    info.lastError = mine;
    info.lastErrorTime = longAgo();
    Info other;
    other.lastError = others;
    other.lastErrorTime = longAgo().addDays(1);
    const QDateTime before = QDateTime::currentDateTime();
    QCOMPARE(info.updateWith(other, Info::FieldLastError, Mode::Replace), changed);
    QCOMPARE(info.lastError, changed ? others : mine);
    QVERIFY(changed ? isNow(info.lastErrorTime, before) : info.lastErrorTime == longAgo());
}

void TestAbstractDownloadPersistentInfoUpdate::setLastErrorTakesNow()
{
    Info info;
    info.lastErrorTime = longAgo();
    const AbstractError error(404, "HttpError", "s", "d");
    const QDateTime before = QDateTime::currentDateTime();
    info.setLastError(error);
    QCOMPARE(info.lastError, error);
    QVERIFY(isNow(info.lastErrorTime, before));
}

void TestAbstractDownloadPersistentInfoUpdate::filesKeepWhatTheModifiersSay_data()
{
    QTest::addColumn<qint64>("fields");
    QTest::addColumn<bool>("keepsSections");
    QTest::addColumn<bool>("keepsDisk");

    QTest::newRow("alone it replaces all of a file") << qint64(0x8) << false << false;
    QTest::newRow("with bit 5 the sections stay") << qint64(0x28) << true << false;
    QTest::newRow("with bit 16 what lies on disk stays") << qint64(0x10008) << false << true;
    QTest::newRow("with both, both stay") << qint64(0x10028) << true << true;
}

void TestAbstractDownloadPersistentInfoUpdate::filesKeepWhatTheModifiersSay()
{
    QFETCH(qint64, fields);
    QFETCH(bool, keepsSections);
    QFETCH(bool, keepsDisk);
    File mine;
    mine.sections = {{0, -1, 9}};
    mine.pathOnDisk = u"mine"_s;
    mine.fileFlags = File::CreatedOnDisk;
    mine.dataStart = 3;
    File expected = wholeFile();
    if (keepsSections)
        expected.sections = mine.sections;
    if (keepsDisk) {
        expected.pathOnDisk = mine.pathOnDisk;
        expected.fileFlags = mine.fileFlags;
        expected.dataStart = mine.dataStart;
    }
    Info info = recordWithFiles({mine});
    QVERIFY(info.updateWith(fullRecord(), fields, Mode::Replace));
    QCOMPARE(info, recordWithFiles({expected}));
}

void TestAbstractDownloadPersistentInfoUpdate::filesThatOneSideLacks()
{
    const qint64 fields = Info::FieldFiles | Info::FieldFilesKeepSections | Info::FieldFilesKeepDisk;
    const Info two = recordWithFiles({File(), wholeFile()});
    Info info = recordWithFiles({File()});
    QVERIFY(info.updateWith(two, fields, Mode::Replace));
    QCOMPARE(info, two);
    QVERIFY(info.updateWith(Info(), fields, Mode::Replace));
    QVERIFY(info.files.isEmpty());
}

void TestAbstractDownloadPersistentInfoUpdate::filesThatDifferOnlyInWhatIsKept()
{
    Info info = recordWithFiles({wholeFile()});
    Info other = info;
    other.files[0].sections.clear();
    QVERIFY(!info.updateWith(other, Info::FieldFiles | Info::FieldFilesKeepSections, Mode::Replace));
    QCOMPARE(info, recordWithFiles({wholeFile()}));
}

void TestAbstractDownloadPersistentInfoUpdate::modifiersAloneCopyNothing()
{
    Info info;
    QVERIFY(!info.updateWith(fullRecord(), Info::FieldFilesKeepSections | Info::FieldFilesKeepDisk, Mode::Replace));
    QCOMPARE(info, Info());
}

void TestAbstractDownloadPersistentInfoUpdate::copySourceFrom()
{
    const Info full = fullRecord();
    Info info;
    info.finalUrl = QUrl(u"http://h/where-the-old-source-led"_s);
    info.copySourceFrom(full);
    QVERIFY(info.sourceInfo() == full.sourceInfo());
    QCOMPARE(info.url, full.url);
    QCOMPARE(info.finalSource(), full.finalSource());
    QVERIFY(info.files.isEmpty() && info.folder.isEmpty() && info.guid.isEmpty());
}

void TestAbstractDownloadPersistentInfoUpdate::changedFields_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("title");
    QTest::addColumn<qint64>("expected");

    QTest::newRow("the same are no change") << u"/d"_s << u"t"_s << qint64(0);
    QTest::newRow("another folder is bit 0") << u"/e"_s << u"t"_s << qint64(1);
    QTest::newRow("another title is bit 1") << u"/d"_s << u"u"_s << qint64(2);
    QTest::newRow("both are both") << u"/e"_s << u"u"_s << qint64(3);
    QTest::newRow("folders are compared with their case") << u"/D"_s << u"t"_s << qint64(1);
    QTest::newRow("titles are compared with their case") << u"/d"_s << u"T"_s << qint64(2);
}

void TestAbstractDownloadPersistentInfoUpdate::changedFields()
{
    QFETCH(QString, folder);
    QFETCH(QString, title);
    Info info;
    info.folder = u"/d"_s;
    info.title = u"t"_s;
    Info other = fullRecord();
    other.files.clear();
    other.folder = folder;
    other.customTitle = title;
    QTEST(info.changedFields(other), "expected");
}

QTEST_GUILESS_MAIN(TestAbstractDownloadPersistentInfoUpdate)
#include "tst_abstractdownloadpersistentinfo_update.moc"
