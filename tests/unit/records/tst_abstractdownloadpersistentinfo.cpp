// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <tests/unit/records/recordbuilders.h>

#include <QTest>

using namespace Qt::StringLiterals;
using namespace RecordBuilders;

namespace
{

File typedFile(int type, qint64 size = 5, qint64 downloaded = 5, bool selected = true)
{
    File file = fileOf(size, downloaded, 0, selected);
    file.type = type;
    return file;
}

Info inFolder(const QString &folder, const QList<File> &files, qint32 destinationType = Info::ToFolder)
{
    Info info = recordOf(files);
    info.folder = folder;
    info.destinationType = destinationType;
    return info;
}

Info titled(const QString &customTitle, const QList<File> &files, const QString &title, const QString &url)
{
    Info info = recordOf(files);
    info.customTitle = customTitle;
    info.title = title;
    info.url = QUrl(url);
    return info;
}

}

class TestAbstractDownloadPersistentInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRecordWithoutFiles();
    void copiesAreIndependent();
    void flagQueries_data();
    void flagQueries();
    void namedFlagsAreTheseBits();
    void storedValuesAreTheseNumbers();
    void downloadTitle_data();
    void downloadTitle();
    void urls_data();
    void urls();
    void sourceInfo();
    void setFinished_data();
    void setFinished();
    void areFilesFinished_data();
    void areFilesFinished();
    void areFilesPathsOnDiskChanged_data();
    void areFilesPathsOnDiskChanged();
    void hasSeparateChildDownloads_data();
    void hasSeparateChildDownloads();
    void allFilesTypes_data();
    void allFilesTypes();
    void selectedFiles_data();
    void selectedFiles();
    void isLastErrorSignificant_data();
    void isLastErrorSignificant();
    void filePath_data();
    void filePath();
};

void TestAbstractDownloadPersistentInfo::aRecordWithoutFiles()
{
    Info info = titled({}, {}, u"Title"_s, u"http://h/f"_s);
    QCOMPARE(info.downloadTitle(), u"Title"_s);
    info.title.clear();
    QCOMPARE(info.downloadTitle(), u"http://h/f"_s);
    QCOMPARE(info.filesSize(true, true, true), -1);
    info.setFlag(Info::DummyFilesMode, true);
    QCOMPARE(info.filesSize(true, true, true), 0);
    QVERIFY(!info.areFilesFinished(false));
    QVERIFY(!info.hasNonDummyFiles());
    QCOMPARE(info.largestFileIndex(), -1);
    QCOMPARE(info.firstNonSkippedFileIndex(), -1);
    QCOMPARE(info.bytesDownloaded(false), 0);
}

void TestAbstractDownloadPersistentInfo::copiesAreIndependent()
{
    const Info original = inFolder(u"/d"_s, {fileOf(10, 3, kOnDisk), fileOf(20)});
    Info copy = original;
    QCOMPARE(copy, original);
    copy.files[0].sections[0].downloaded = 7;
    copy.files.removeLast();
    copy.folder = u"/e"_s;
    QCOMPARE(original.files.size(), 2);
    QCOMPARE(original.files.at(0).sections.at(0).downloaded, 3);
    QCOMPARE(original.folder, u"/d"_s);
}

void TestAbstractDownloadPersistentInfo::flagQueries_data()
{
    QTest::addColumn<quint64>("flags");
    QTest::addColumn<QString>("answers");

    const quint64 all = ~Q_UINT64_C(0);
    QTest::newRow("no bit answers nothing") << Q_UINT64_C(0) << QString();
    QTest::newRow("bit 0 is a final download") << Q_UINT64_C(1) << u"final"_s;
    QTest::newRow("bit 1 is a finished one") << Q_UINT64_C(2) << u"finished"_s;
    QTest::newRow("bits 0 and 1 are both") << Q_UINT64_C(3) << u"final finished finishedAndFinal"_s;
    QTest::newRow("bit 6 is post-finished tasks") << Q_UINT64_C(0x40) << u"tasks"_s;
    QTest::newRow("bit 25 ignores the upload ratio") << Q_UINT64_C(0x2000000) << u"ratio"_s;
    QTest::newRow("the other bits answer nothing") << (all & ~Q_UINT64_C(0x2000043)) << QString();
}

void TestAbstractDownloadPersistentInfo::flagQueries()
{
    QFETCH(quint64, flags);
    const Info info = recordOf({}, flags);
    QStringList answers;
    const auto note = [&answers](bool yes, const QString &name) { yes ? answers.append(name) : void(); };
    note(info.isFinalDownload(), u"final"_s);
    note(info.isFinished(), u"finished"_s);
    note(info.isFinishedAndFinal(), u"finishedAndFinal"_s);
    note(info.hasPostFinishedTasks(), u"tasks"_s);
    note(info.ignoreURatioLimit(), u"ratio"_s);
    QTEST(answers.join(u' '), "answers");
}

void TestAbstractDownloadPersistentInfo::namedFlagsAreTheseBits()
{
    QCOMPARE(quint64(Info::ModuleFlags), quint64(1 << 10 | 1 << 11 | 1 << 19 | 1 << 21));
    QCOMPARE(quint64(Info::LoggingSuppressed), quint64(1 << 18));
    QCOMPARE(quint64(Info::ResourceChanged), quint64(1 << 22));
}

void TestAbstractDownloadPersistentInfo::storedValuesAreTheseNumbers()
{
    QCOMPARE(int(File::CreatedOnDisk), 1);
    QCOMPARE(int(File::Preallocated), 2);
    QCOMPARE(int(File::FinalOnDisk), 4);
    QCOMPARE(int(Info::ResumeUnknown), 0);
    QCOMPARE(int(Info::ResumeSupported), 1);
    QCOMPARE(int(Info::ResumeNotSupported), 2);
    QCOMPARE(int(Info::ToMemory), 0);
    QCOMPARE(int(Info::ToFolder), 1);
}

void TestAbstractDownloadPersistentInfo::downloadTitle_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<QString>("expected");

    const QList<File> files{namedFile(u"first.bin"_s), namedFile(u"second.bin"_s)};
    const QString url = u"http://h/a%20b?x=1"_s;
    QTest::newRow("the person's title comes first") << titled(u"Mine"_s, files, u"Given"_s, url) << u"Mine"_s;
    QTest::newRow("then the first file's name") << titled({}, files, u"Given"_s, url) << u"first.bin"_s;
    QTest::newRow("an empty name of the first file is the title all the same")
        << titled({}, {namedFile({}), namedFile(u"second.bin"_s)}, u"Given"_s, url) << QString();
    QTest::newRow("then the source's title") << titled({}, {}, u"Given"_s, url) << u"Given"_s;
    QTest::newRow("then the URL as people read it") << titled({}, {}, {}, url) << u"http://h/a b?x=1"_s;
    QTest::newRow("a login in the URL stays: who shows a title takes it out")
        << titled({}, {}, {}, u"http://me:pw@h/f"_s) << u"http://me:pw@h/f"_s;
    QTest::newRow("nothing at all is empty") << Info() << QString();
}

void TestAbstractDownloadPersistentInfo::downloadTitle()
{
    QFETCH(Info, info);
    QTEST(info.downloadTitle(), "expected");
}

void TestAbstractDownloadPersistentInfo::urls_data()
{
    QTest::addColumn<QString>("effectiveUrl");
    QTest::addColumn<QString>("finalUrl");
    QTest::addColumn<QString>("downloadUrl");
    QTest::addColumn<QString>("finalSource");

    const QString url = u"http://h/given"_s;
    const QString effective = u"http://h/effective"_s;
    const QString final = u"http://h/final"_s;
    QTest::newRow("without others the URL serves for both") << QString() << QString() << url << url;
    QTest::newRow("the effective URL is downloaded from") << effective << QString() << effective << url;
    QTest::newRow("the final URL is the final source") << QString() << final << url << final;
    QTest::newRow("each has its own") << effective << final << effective << final;
    QTest::newRow("an invalid one does not count") << u"http://[bad"_s << u"http://[bad"_s << url << url;
}

void TestAbstractDownloadPersistentInfo::urls()
{
    QFETCH(QString, effectiveUrl);
    QFETCH(QString, finalUrl);
    Info info;
    info.url = QUrl(u"http://h/given"_s);
    info.effectiveUrl = QUrl(effectiveUrl);
    info.finalUrl = QUrl(finalUrl);
    QTEST(info.downloadUrl().toString(), "downloadUrl");
    QTEST(info.finalSource().toString(), "finalSource");
}

void TestAbstractDownloadPersistentInfo::sourceInfo()
{
    Info info;
    info.url = QUrl(u"http://h/given"_s);
    info.effectiveUrl = QUrl(u"http://h/effective"_s);
    info.referer = u"http://h/page"_s;
    info.cookies = {QNetworkCookie("a", "1")};
    info.postData = "x=1";
    info.webPageUrl = QUrl(u"http://h/web"_s);
    info.parameters = {{u"headers"_s, QVariantMap{{u"X"_s, u"1"_s}}}};
    info.sourceFlags = AbstractDownloadSourceInfo::NoSynthesisedReferer;
    const AbstractDownloadSourceInfo expected{info.effectiveUrl, info.referer,    info.cookies,    info.postData,
                                              info.webPageUrl,   info.parameters, info.sourceFlags};
    QVERIFY(info.sourceInfo() == expected);
}

void TestAbstractDownloadPersistentInfo::setFinished_data()
{
    QTest::addColumn<bool>("finished");
    QTest::addColumn<bool>("setTime");
    QTest::addColumn<QString>("time");

    QTest::newRow("finishing with the time takes now") << true << true << u"now"_s;
    QTest::newRow("finishing alone keeps the old time") << true << false << u"old"_s;
    QTest::newRow("taking it back with the time empties that") << false << true << u"null"_s;
    QTest::newRow("taking it back alone keeps the old time") << false << false << u"old"_s;
}

void TestAbstractDownloadPersistentInfo::setFinished()
{
    QFETCH(bool, finished);
    QFETCH(bool, setTime);
    const QDateTime old(QDate(2001, 2, 3), QTime(4, 5));
    Info info = recordOf({}, finished ? Q_UINT64_C(0xf0) : Q_UINT64_C(0xf2));
    info.finishedTime = old;
    const QDateTime before = QDateTime::currentDateTime();
    info.setFinished(finished, setTime);
    const QDateTime after = QDateTime::currentDateTime();
    QCOMPARE(info.flags, finished ? Q_UINT64_C(0xf2) : Q_UINT64_C(0xf0));
    const QDateTime &time = info.finishedTime;
    const bool now = before <= time && time <= after;
    QTEST(time.isNull() ? u"null"_s : time == old ? u"old"_s : now ? u"now"_s : QString(), "time");
}

void TestAbstractDownloadPersistentInfo::areFilesFinished_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<bool>("all");
    QTest::addColumn<bool>("selected");

    const File whole = fileOf(10, 10);
    QTest::newRow("no files are not finished") << recordOf({}) << false << false;
    QTest::newRow("whole files are finished, on disk or not")
        << recordOf({whole, fileOf(5, 5, kOnDisk)}) << true << true;
    QTest::newRow("a partial file is not") << recordOf({whole, fileOf(10, 9)}) << false << false;
    QTest::newRow("several whole sections are")
        << recordOf({fileInSections(100, {{0, 50, 50}, {50, 50, 50}})}) << true << true;
    QTest::newRow("a last section that is not whole is not")
        << recordOf({fileInSections(100, {{0, 50, 50}, {50, 50, 49}})}) << false << false;
    QTest::newRow("a first section that is not whole is not")
        << recordOf({fileInSections(100, {{0, 50, 49}, {50, 50, 50}})}) << false << false;
    QTest::newRow("a partial skipped file counts only among all")
        << recordOf({whole, fileOf(10, 9, 0, kNotSelected)}) << false << true;
    QTest::newRow("skipped files alone leave nothing to be finished")
        << recordOf({fileOf(10, 9, 0, kNotSelected)}) << false << true;
    QTest::newRow("an empty file needs no sections") << recordOf({fileOf(0)}) << true << true;
    QTest::newRow("a file of unknown size is not finished") << recordOf({fileOf(-1, 10)}) << false << false;
    QTest::newRow("dummy mode makes no difference") << recordOf({whole}, Info::DummyFilesMode) << true << true;
}

void TestAbstractDownloadPersistentInfo::areFilesFinished()
{
    QFETCH(Info, info);
    QTEST(info.areFilesFinished(false), "all");
    QTEST(info.areFilesFinished(true), "selected");
}

void TestAbstractDownloadPersistentInfo::areFilesPathsOnDiskChanged_data()
{
    QTest::addColumn<Info>("a");
    QTest::addColumn<Info>("b");
    QTest::addColumn<bool>("expected");

    const QString d = u"/d"_s;
    const File x = namedFile(u"x"_s);
    const File y = namedFile(u"y"_s);
    QTest::newRow("the same paths are no change") << inFolder(d, {x, y}) << inFolder(d, {x, y}) << false;
    QTest::newRow("no files in one folder are no change") << inFolder(d, {}) << inFolder(d, {}) << false;
    QTest::newRow("another folder is one") << inFolder(d, {x}) << inFolder(u"/e"_s, {x}) << true;
    QTest::newRow("folders are compared with their case") << inFolder(d, {x}) << inFolder(u"/D"_s, {x}) << true;
    QTest::newRow("more files are one") << inFolder(d, {x}) << inFolder(d, {x, y}) << true;
    QTest::newRow("another name is one") << inFolder(d, {x, x}) << inFolder(d, {x, y}) << true;
    QTest::newRow("names are compared with their case") << inFolder(d, {x}) << inFolder(d, {namedFile(u"X"_s)}) << true;
    QTest::newRow("a file that came to disk is one")
        << inFolder(d, {x}) << inFolder(d, {namedFile(u"x"_s, {}, kOnDisk)}) << true;
    QTest::newRow("the other file flags do not count")
        << inFolder(d, {x}) << inFolder(d, {namedFile(u"x"_s, {}, kPreallocated)}) << false;
    QTest::newRow("a path on disk that equals the name is no change")
        << inFolder(d, {x}) << inFolder(d, {namedFile(u"shown"_s, u"x"_s)}) << false;
    QTest::newRow("another path on disk under the same name is one")
        << inFolder(d, {namedFile(u"x"_s, u"p"_s)}) << inFolder(d, {namedFile(u"x"_s, u"q"_s)}) << true;
    QTest::newRow("names behind paths on disk do not count")
        << inFolder(d, {namedFile(u"x"_s, u"p"_s)}) << inFolder(d, {namedFile(u"y"_s, u"p"_s)}) << false;
    QTest::newRow("without a folder on this side there is no judgement")
        << inFolder(d, {x}, Info::ToMemory) << inFolder(u"/e"_s, {y}) << false;
    QTest::newRow("without a folder on the other side there is no judgement")
        << inFolder(d, {x}) << inFolder(u"/e"_s, {y}, Info::ToMemory) << false;
}

void TestAbstractDownloadPersistentInfo::areFilesPathsOnDiskChanged()
{
    QFETCH(Info, a);
    QFETCH(Info, b);
    QFETCH(bool, expected);
    QCOMPARE(a.areFilesPathsOnDiskChanged(b), expected);
    QCOMPARE(b.areFilesPathsOnDiskChanged(a), expected);
}

void TestAbstractDownloadPersistentInfo::hasSeparateChildDownloads_data()
{
    QTest::addColumn<quint64>("flags");
    QTest::addColumn<quint64>("childDownloads");
    QTest::addColumn<bool>("expected");

    QTest::newRow("a plain download has none") << Q_UINT64_C(0) << Q_UINT64_C(0) << false;
    QTest::newRow("child downloads are separate") << Q_UINT64_C(0) << Q_UINT64_C(2) << true;
    QTest::newRow("those kept inside are not") << Q_UINT64_C(0x100) << Q_UINT64_C(2) << false;
    QTest::newRow("the other flags do not count") << ~Q_UINT64_C(0x100) << Q_UINT64_C(1) << true;
    QTest::newRow("more than 32 bits count") << Q_UINT64_C(0) << (Q_UINT64_C(1) << 32) << true;
}

void TestAbstractDownloadPersistentInfo::hasSeparateChildDownloads()
{
    QFETCH(quint64, flags);
    QFETCH(quint64, childDownloads);
    QTEST(recordOf({}, flags, childDownloads).hasSeparateChildDownloads(), "expected");
}

void TestAbstractDownloadPersistentInfo::allFilesTypes_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<bool>("selectedOnly");
    QTest::addColumn<bool>("completeOnly");
    QTest::addColumn<quint64>("expected");

    const Info info = recordOf({typedFile(0), typedFile(1, 5, 4), typedFile(2, 5, 5, kNotSelected),
                                typedFile(3, 5, 4, kNotSelected), typedFile(63)});
    const quint64 high = Q_UINT64_C(1) << 63;
    QTest::newRow("every file's type is a bit") << info << false << false << (high | 0xf);
    QTest::newRow("selected files alone") << info << true << false << (high | 0x3);
    QTest::newRow("complete files alone") << info << false << true << (high | 0x5);
    QTest::newRow("files that are both") << info << true << true << (high | 0x1);
    QTest::newRow("no files have no types") << Info() << false << false << Q_UINT64_C(0);
    QTest::newRow("a type counts by its remainder of 64")
        << recordOf({typedFile(66)}) << false << false << Q_UINT64_C(4);
    QTest::newRow("equal types are one bit")
        << recordOf({typedFile(2), typedFile(2)}) << false << false << Q_UINT64_C(4);
}

void TestAbstractDownloadPersistentInfo::allFilesTypes()
{
    QFETCH(Info, info);
    QFETCH(bool, selectedOnly);
    QFETCH(bool, completeOnly);
    QTEST(info.allFilesTypes(selectedOnly, completeOnly), "expected");
}

void TestAbstractDownloadPersistentInfo::selectedFiles_data()
{
    QTest::addColumn<Info>("info");
    QTest::addColumn<bool>("onDisk");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("first");

    const File skipped = fileOf(1, -1, kOnDisk, kNotSelected);
    QTest::newRow("no files") << recordOf({}) << false << 0 << -1;
    QTest::newRow("skipped files alone") << recordOf({skipped, skipped}) << false << 0 << -1;
    QTest::newRow("a selected file that is not on disk") << recordOf({skipped, fileOf(1)}) << false << 1 << 1;
    QTest::newRow("one of the selected files is on disk")
        << recordOf({fileOf(1), skipped, fileOf(1, -1, kOnDisk)}) << true << 2 << 0;
    File chosen = fileOf(1, -1, kOnDisk);
    chosen.selected = 0x40000000;
    QTest::newRow("any of 32 bits means selected") << recordOf({skipped, chosen}) << true << 1 << 1;
    QTest::newRow("preallocated is not on disk") << recordOf({fileOf(1, -1, kPreallocated)}) << false << 1 << 0;
}

void TestAbstractDownloadPersistentInfo::selectedFiles()
{
    QFETCH(Info, info);
    QTEST(info.hasFilesOnDisk(), "onDisk");
    QTEST(info.nonSkippedFilesCount(), "count");
    QTEST(info.firstNonSkippedFileIndex(), "first");
}

void TestAbstractDownloadPersistentInfo::isLastErrorSignificant_data()
{
    QTest::addColumn<AbstractError>("error");
    QTest::addColumn<bool>("expected");

    QTest::newRow("no error is not") << AbstractError() << false;
    QTest::newRow("code 0 is not, whatever the category") << AbstractError(0, "HttpError", "s", "d") << false;
    QTest::newRow("a deliberate stop is not") << operationAbortedError("stop") << false;
    QTest::newRow("code 4 of another category is") << AbstractError(4, "QtNetworkError", "", "") << true;
    QTest::newRow("the category is compared with its case") << AbstractError(4, "genericerror", "", "") << true;
    QTest::newRow("the category is compared whole") << AbstractError(4, "GenericError2", "", "") << true;
    QTest::newRow("another generic error is") << AbstractError(2, "GenericError", "", "") << true;
    QTest::newRow("a negative code is") << AbstractError(-1, "GenericError", "", "") << true;
}

void TestAbstractDownloadPersistentInfo::isLastErrorSignificant()
{
    QFETCH(AbstractError, error);
    Info info;
    info.lastError = error;
    QTEST(info.isLastErrorSignificant(), "expected");
}

void TestAbstractDownloadPersistentInfo::filePath_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<File>("file");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");

    QTest::newRow("the name lies in the folder") << u"/d"_s << namedFile(u"x"_s) << u"/d/x"_s << u"x"_s;
    QTest::newRow("the path on disk wins over the name")
        << u"/d"_s << namedFile(u"x"_s, u"sub/y.part"_s) << u"/d/sub/y.part"_s << u"x"_s;
    QTest::newRow("a folder may end in a slash") << u"/d/"_s << namedFile(u"x"_s) << u"/d/x"_s << u"x"_s;
    QTest::newRow("an absolute path is passed through")
        << u"/d"_s << namedFile(u"x"_s, u"/e/y"_s) << u"/e/y"_s << u"x"_s;
    QTest::newRow("a relative folder stays one") << u"d"_s << namedFile(u"x"_s) << u"d/x"_s << u"x"_s;
}

void TestAbstractDownloadPersistentInfo::filePath()
{
    QFETCH(QString, folder);
    QFETCH(File, file);
    const Info info = inFolder(folder, {namedFile(u"other"_s), file});
    QTEST(info.filePath(1, false), "path");
    QTEST(info.filePath(1, true), "name");
}

QTEST_GUILESS_MAIN(TestAbstractDownloadPersistentInfo)
#include "tst_abstractdownloadpersistentinfo.moc"
