// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownloadfileops.h>
#include <inet/qt/download/framework/ownfiles.h>

#include <tests/support/ordinaryuser.h>
#include <tests/unit/framework/filecontent.h>
#include <tests/unit/framework/fileopsbench.h>
#include <tests/unit/framework/systemcalls.h>

#include <QDir>
#include <QFile>
#include <QFileDevice>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Ops = AbstractDownloadFileOps;
using Operation = Ops::FileInitializeOperation;
using Reaction = AbstractDownloadExistingFileReaction;
using Bench = FileOpsBench;
using File = AbstractDownloadFileInfo;
using Record = AbstractDownloadPersistentInfo;

namespace
{

File fileOf(const QString &name, qint64 size, qint64 downloaded, int flags = 0)
{
    File file;
    file.name = name;
    file.size = size;
    if (downloaded > 0)
        file.sections = {{0, size, downloaded}};
    file.fileFlags = quint8(flags);
    return file;
}

}

class TestFileOps : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void whatRemainsFollowsFromTheRecord_data();
    void whatRemainsFollowsFromTheRecord();
    void filesThatAreNotSelectedAreLeftAlone();
    void theLengthIncludesTheDataStart();
    void applyingMakesTheRecordTrue();
    void applyingCountsOnlyWhatSucceeded();
    void askingAgainAfterApplyingLeavesNothing();
    void aRestartedFileIsCreatedAnew();

    void namesAreMadeSafe_data();
    void namesAreMadeSafe();
    void aNameThatAPersonChoseStaysAsTyped_data();
    void aNameThatAPersonChoseStaysAsTyped();
    void aNameIsHiddenOnlyByTheAddressThatAPersonGave_data();
    void aNameIsHiddenOnlyByTheAddressThatAPersonGave();
    void longNamesKeepTheirExtension();
    void safeNamesStayAsTheyAre();

    void createsAnIncompleteFile();
    void createsTheFolderToo();
    void onlyTheLastComponentCounts_data();
    void onlyTheLastComponentCounts();
    void aFolderThatCannotBeMadeIsAnError_data();
    void aFolderThatCannotBeMadeIsAnError();
    void aFolderThatIsNotOursIsAnError();
    void renamesWhenSomethingIsInTheWay_data();
    void renamesWhenSomethingIsInTheWay();
    void aNumberedNameStaysWithinTheLimit();
    void overwritingKeepsTheFinishedFileForNow();
    void overwritingBeginsAnIncompleteFileAnewOnlyWhenTold_data();
    void overwritingBeginsAnIncompleteFileAnewOnlyWhenTold();
    void overwritingLeavesTheFileOfAnotherDownloadAlone_data();
    void overwritingLeavesTheFileOfAnotherDownloadAlone();
    void overwritingLeavesAloneWhatAnotherDownloadMadeJustNow();
    void overwritingDoesNotReplaceAFolder();
    void nothingIsMadeOfWhatIsAnothersByNow_data();
    void nothingIsMadeOfWhatIsAnothersByNow();
    void whoMayMakeAFileIsKnownWhenItIsAskedFor();
    void skippingIsAnError();
    void twoFilesOfOneNameDoNotShareAFile();
    void whatAppearsInTheLastMomentIsLeftAlone();
    void plantedLinksAreNotFollowed_data();
    void plantedLinksAreNotFollowed();

private:
    QString at(const QString &name) const { return m_dir->filePath(name); }
    QString folder() const { return m_dir->path(); }
    QStringList names() const
    {
        return QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestFileOps::init()
{
    SystemCalls::reset();
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestFileOps::whatRemainsFollowsFromTheRecord_data()
{
    QTest::addColumn<int>("destination");
    QTest::addColumn<File>("file");
    QTest::addColumn<QList<int>>("kinds");
    const QList<int> none;
    const QList<int> create{Operation::Create};
    const QList<int> finish{Operation::Finish};
    const QList<int> both{Operation::Create, Operation::Finish};
    const int folder = Record::ToFolder;
    const int created = File::CreatedOnDisk;
    const int final = File::FinalOnDisk;
    QTest::newRow("a download into memory has no files") << int(Record::ToMemory) << fileOf(u"a"_s, 5, 0) << none;
    QTest::newRow("a file not on disk is created") << folder << fileOf(u"a"_s, 5, 0) << create;
    QTest::newRow("of unknown size too") << folder << fileOf(u"a"_s, -1, 0) << create;
    QTest::newRow("an incomplete file is left alone") << folder << fileOf(u"a"_s, 5, 4, created) << none;
    QTest::newRow("of unknown size too, whatever there is") << folder << fileOf(u"a"_s, -1, 4, created) << none;
    QTest::newRow("a complete file is finished") << folder << fileOf(u"a"_s, 5, 5, created) << finish;
    QTest::newRow("a finished file is left alone") << folder << fileOf(u"a"_s, 5, 5, created | final) << none;
    QTest::newRow("an empty file is created and finished") << folder << fileOf(u"a"_s, 0, 0) << both;
    QTest::newRow("a complete file that is gone is created and finished") << folder << fileOf(u"a"_s, 5, 5) << both;
    QTest::newRow("a final name without a file does not count") << folder << fileOf(u"a"_s, 5, 0, final) << create;
    QTest::newRow("nor when all bytes were there") << folder << fileOf(u"a"_s, 5, 5, final) << both;
}

void TestFileOps::whatRemainsFollowsFromTheRecord()
{
    QFETCH(int, destination);
    QFETCH(File, file);
    QFETCH(QList<int>, kinds);
    Record record;
    record.destinationType = destination;
    record.files = {file};
    const Ops ops(nullptr);
    QList<int> found;
    for (const Operation &operation : ops.calcFilesInitOps({}, record, true)) {
        QCOMPARE(operation.fileIndex, 0);
        QCOMPARE(operation.size, file.size);
        found.append(operation.kind);
    }
    QCOMPARE(found, kinds);
}

void TestFileOps::filesThatAreNotSelectedAreLeftAlone()
{
    Record record;
    record.files = {fileOf(u"a"_s, 1, 0), fileOf(u"b"_s, 1, 0)};
    record.files[0].selected = false;
    const Ops ops(nullptr);
    QCOMPARE(ops.calcFilesInitOps({}, record, true), QList<Operation>{toCreate(u"b"_s, 1, 1)});
    QCOMPARE(ops.calcFilesInitOps({}, record, false).size(), 2);
}

void TestFileOps::theLengthIncludesTheDataStart()
{
    Record record;
    record.files = {fileOf(u"a"_s, 5, 5, File::CreatedOnDisk), fileOf(u"b"_s, 5, 5, File::CreatedOnDisk)};
    record.files[0].dataStart = 7;
    record.files[0].pathOnDisk = u"a.part"_s;
    record.files[1].dataStart = -1;
    const Ops ops(nullptr);
    QCOMPARE(ops.calcFilesInitOps({}, record, true),
             (QList<Operation>{toFinish(u"a.part"_s, 12), toFinish(u"b"_s, 5, 1)}));
}

void TestFileOps::applyingMakesTheRecordTrue()
{
    Record record;
    record.files = {fileOf(u"x/a.bin"_s, 5, 0, File::Preallocated | File::FinalOnDisk)};
    const Ops ops(nullptr);
    Operation create = toCreate(u"x/a.bin"_s, 5);
    create.resultPath = u"a (1).bin.part"_s;
    ops.applyFilesInitOpsFinished({create}, 1, record);
    QCOMPARE(record.files[0].fileFlags, quint8(File::CreatedOnDisk));
    QCOMPARE(record.files[0].pathOnDisk, u"a (1).bin.part"_s);
    QCOMPARE(record.files[0].name, u"x/a.bin"_s);

    record.files[0].fileFlags |= File::Preallocated;
    Operation finish = toFinish(u"a (1).bin.part"_s, 5);
    finish.resultPath = u"a (1).bin"_s;
    ops.applyFilesInitOpsFinished({finish}, 1, record);
    QCOMPARE(record.files[0].fileFlags, quint8(File::CreatedOnDisk | File::Preallocated | File::FinalOnDisk));
    QCOMPARE(record.files[0].pathOnDisk, u"a (1).bin"_s);
    QCOMPARE(record.files[0].name, u"x/a.bin"_s);
}

void TestFileOps::applyingCountsOnlyWhatSucceeded()
{
    Record record;
    record.files = {fileOf(u"a"_s, 5, 0), fileOf(u"b"_s, 5, 0)};
    const Ops ops(nullptr);
    ops.applyFilesInitOpsFinished({toCreate(u"a"_s), toCreate(u"b"_s, -1, 1)}, 1, record);
    QVERIFY(record.files[0].isOnDisk());
    QVERIFY(!record.files[1].isOnDisk());
    ops.applyFilesInitOpsFinished({toCreate(u"c"_s, -1, 9), toCreate(u"c"_s, -1, -1)}, 5, record);
    QVERIFY(!record.files[1].isOnDisk());
}

void TestFileOps::askingAgainAfterApplyingLeavesNothing()
{
    Record record;
    record.folder = folder();
    record.files = {fileOf(u"a.bin"_s, 0, 0)};
    Bench bench;
    bench.perform(folder(), bench.ops->calcFilesInitOps({}, record, true));
    bench.ops->applyFilesInitOpsFinished(bench.operations, bench.done, record);
    QCOMPARE(bench.ops->calcFilesInitOps({}, record, true), QList<Operation>());
    QCOMPARE(names(), QStringList{u"a.bin"_s});
    QCOMPARE(record.filePath(0), at(u"a.bin"_s));
}

void TestFileOps::aRestartedFileIsCreatedAnew()
{
    Record record;
    record.files = {fileOf(u"a.bin"_s, 5, 5, File::CreatedOnDisk | File::FinalOnDisk)};
    const Ops ops(nullptr);
    record.files[0].sections.clear();
    record.files[0].fileFlags &= ~(File::CreatedOnDisk | File::Preallocated);
    record.files[0].pathOnDisk.clear();
    QCOMPARE(ops.calcFilesInitOps({}, record, true), QList<Operation>{toCreate(u"a.bin"_s, 5)});
}

void TestFileOps::namesAreMadeSafe_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("safe");
    QTest::newRow("an ordinary name stays") << u"report 2.pdf"_s << u"report 2.pdf"_s;
    QTest::newRow("letters of all scripts stay") << u"naïve 文件.txt"_s << u"naïve 文件.txt"_s;
    QTest::newRow("an empty name") << QString() << u"download"_s;
    QTest::newRow("one dot") << u"."_s << u"download"_s;
    QTest::newRow("two dots") << u".."_s << u"download"_s;
    QTest::newRow("nothing but dots and spaces") << u" .. . "_s << u"download"_s;
    QTest::newRow("slashes go") << u"../../etc/passwd"_s << u"etcpasswd"_s;
    QTest::newRow("control characters go") << u"a\nb\tc\u0001\u007f\u0085.txt"_s << u"abc.txt"_s;
    QTest::newRow("a null character goes") << QString(u"a"_s + QChar(0) + u"b"_s) << u"ab"_s;
    QTest::newRow("marks that turn the text go") << u"a\u202egpj.exe"_s << u"agpj.exe"_s;
    QTest::newRow("line separators go") << u"a\u2028b\u2029c"_s << u"abc"_s;
    QTest::newRow("half a character is replaced") << QString(u"a"_s + QChar(0xd83d) + u"b"_s) << u"a_b"_s;
    QTest::newRow("a whole one stays") << u"a😀.txt"_s << u"a😀.txt"_s;
    QTest::newRow("spaces around go") << u"  a b.txt  "_s << u"a b.txt"_s;
    QTest::newRow("dots behind go") << u"a.txt..."_s << u"a.txt"_s;
    QTest::newRow("dots in front go, so that no file is hidden") << u".bashrc"_s << u"bashrc"_s;
    QTest::newRow("a device's name") << u"CON"_s << u"_CON"_s;
    QTest::newRow("a device's name with an extension") << u"nul.txt"_s << u"_nul.txt"_s;
    QTest::newRow("a numbered device") << u"Com1.log"_s << u"_Com1.log"_s;
    QTest::newRow("a name that only begins like a device") << u"console.txt"_s << u"console.txt"_s;
    QTest::newRow("a name that looks incomplete") << u"a.part"_s << u"a.part"_s;
}

void TestFileOps::namesAreMadeSafe()
{
    QFETCH(QString, name);
    QFETCH(QString, safe);
    QCOMPARE(Ops::safeFileName(name), safe);
}

void TestFileOps::aNameThatAPersonChoseStaysAsTyped_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("onDisk");
    QTest::newRow("a hidden file") << u".profile"_s << u".profile"_s;
    QTest::newRow("dots and spaces behind") << u"a. . "_s << u"a. . "_s;
    QTest::newRow("a device's name elsewhere") << u"CON"_s << u"CON"_s;
    QTest::newRow("no file is called by two dots") << u".."_s << u"download"_s;
    QTest::newRow("a name that is too long") << QString(300, u'a') + u".bin"_s << QString(246, u'a') + u".bin"_s;
}

void TestFileOps::aNameThatAPersonChoseStaysAsTyped()
{
    QFETCH(QString, typed);
    QFETCH(QString, onDisk);
    Record record;
    record.files = {fileOf(typed, 0, 0)};
    record.setFlag(Record::RenameBlocked, true);
    Bench bench;
    bench.perform(folder(), bench.ops->calcFilesInitOps({}, record, true));
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QVERIFY(QFileInfo(at(onDisk)).isFile());
}

void TestFileOps::aNameIsHiddenOnlyByTheAddressThatAPersonGave_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("onDisk");
    QTest::newRow("the address says so") << u"http://a/x/.hidden"_s << u".hidden"_s << u".hidden"_s;
    QTest::newRow("the server says so") << u"http://a/x/file"_s << u".bashrc"_s << u"bashrc"_s;
    QTest::newRow("nothing but dots") << u"http://a/x/..."_s << u"..."_s << u"download"_s;
    QTest::newRow("what is not safe behind the dot") << u"http://a/x/.CON"_s << u".CON"_s << u"_CON"_s;
}

void TestFileOps::aNameIsHiddenOnlyByTheAddressThatAPersonGave()
{
    QFETCH(QString, address);
    QFETCH(QString, name);
    QFETCH(QString, onDisk);
    Record record;
    record.url = QUrl(address);
    record.files = {fileOf(name, 0, 0)};
    Bench bench;
    bench.perform(folder(), bench.ops->calcFilesInitOps({}, record, true));
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QVERIFY(QFileInfo(at(onDisk)).isFile());
}

void TestFileOps::longNamesKeepTheirExtension()
{
    const QString wide = QString(200, QChar(0x6587));
    const QString safe = Ops::safeFileName(wide + u".tar.gz"_s);
    QVERIFY(safe.endsWith(u"文.tar.gz"_s));
    QVERIFY(safe.toUtf8().size() <= 250);
    QVERIFY(safe.toUtf8().size() > 245);
    QCOMPARE(Ops::safeFileName(QString(300, u'a') + u".bin"_s).size(), 250);
    QCOMPARE(Ops::safeFileName(QString(300, u'a')).size(), 250);
    QCOMPARE(Ops::safeFileName(u"a."_s + QString(300, u'b')).size(), 250);
    QCOMPARE(Ops::safeFileName(QString(2'000'000, u'a') + u".bin"_s), QString(246, u'a') + u".bin"_s);
    const QString smiles = Ops::safeFileName(u"😀"_s.repeated(100));
    QCOMPARE(QString::fromUtf8(smiles.toUtf8()), smiles);
    QCOMPARE(smiles, u"😀"_s.repeated(62));
}

void TestFileOps::safeNamesStayAsTheyAre()
{
    for (const QString &name : {QString(300, u'a') + u" .bin"_s, u"..a"_s, u"CON"_s, u" x . "_s}) {
        const QString once = Ops::safeFileName(name);
        QCOMPARE(Ops::safeFileName(once), once);
    }
}

void TestFileOps::createsAnIncompleteFile()
{
    const mode_t before = ::umask(0027);
    Bench bench;
    bench.perform(folder(), {toCreate(u"a.bin"_s, 5)});
    ::umask(before);
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.done, 1);
    QCOMPARE(bench.result(), u"a.bin.part"_s);
    QCOMPARE(names(), QStringList{u"a.bin.part"_s});
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(at(u"a.bin.part"_s)).constData(), &status), 0);
    QCOMPARE(status.st_mode & 0777, mode_t(0640));
    QCOMPARE(status.st_size, off_t(0));
}

void TestFileOps::createsTheFolderToo()
{
    Bench bench;
    bench.perform(at(u"new/deeper"_s), {toCreate(u"a"_s)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QVERIFY(QFileInfo::exists(at(u"new/deeper/a.part"_s)));
    bench.perform(at(u"other/"_s), {toCreate(u"a"_s)});
    QVERIFY(QFileInfo::exists(at(u"other/a.part"_s)));
}

void TestFileOps::onlyTheLastComponentCounts_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("created");
    QTest::newRow("a sub-folder") << u"sub/a.bin"_s << u"a.bin.part"_s;
    QTest::newRow("an absolute path") << u"/etc/a.bin"_s << u"a.bin.part"_s;
    QTest::newRow("a way out") << u"../a.bin"_s << u"a.bin.part"_s;
    QTest::newRow("a way out and nothing else") << u"../.."_s << u"download.part"_s;
    QTest::newRow("a slash behind") << u"sub/a.bin/"_s << u"a.bin.part"_s;
    QTest::newRow("no name") << QString() << u"download.part"_s;
}

void TestFileOps::onlyTheLastComponentCounts()
{
    QFETCH(QString, name);
    QFETCH(QString, created);
    Bench bench;
    QVERIFY(QDir(folder()).mkdir(u"in"_s));
    bench.perform(at(u"in"_s), {toCreate(name)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.result(), created);
    QCOMPARE(QDir(at(u"in"_s)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{created});
    QCOMPARE(names(), QStringList{u"in"_s});
}

void TestFileOps::aFolderThatCannotBeMadeIsAnError_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("text");
    QTest::newRow("a file stands in its place") << u"file"_s << u"Not a directory"_s;
    QTest::newRow("a file stands above it") << u"file/below"_s << u"Not a directory"_s;
}

void TestFileOps::aFolderThatCannotBeMadeIsAnError()
{
    QFETCH(QString, folder);
    QFETCH(QString, text);
    makeFile(at(u"file"_s));
    Bench bench;
    const QString where = at(folder);
    bench.perform(where, {toCreate(u"a"_s)});
    QCOMPARE(bench.done, 0);
    QVERIFY(bench.error.code != 0);
    QCOMPARE(bench.error.category, std::string("QtFileError"));
    QVERIFY2(bench.errorText().contains(where) && bench.errorText().contains(text), qPrintable(bench.errorText()));
    bench.perform({}, {toCreate(u"a"_s)});
    QCOMPARE(bench.error.code, int(QFileDevice::OpenError));
}

void TestFileOps::aFolderThatIsNotOursIsAnError()
{
    makeFile(at(u"b.part"_s), "abc");
    QVERIFY(QFile::setPermissions(at(u"b.part"_s), QFile::ReadOwner | QFile::ReadOther));
    QVERIFY(QFile::setPermissions(folder(), QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther));
    const auto restore = qScopeGuard(
        [this] { QFile::setPermissions(folder(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner); });
    const OrdinaryUser user;
    QVERIFY(user.isOk());
    Bench bench;
    for (const QList<Operation> &list : {QList{toCreate(u"a"_s)}, QList{toFinish(u"b.part"_s, 3)}}) {
        bench.perform(folder(), list);
        QCOMPARE(bench.error.code, int(QFileDevice::PermissionsError));
        QVERIFY2(bench.errorText().contains(u"Permission denied"_s), qPrintable(bench.errorText()));
        QVERIFY2(bench.errorText().contains(folder()), qPrintable(bench.errorText()));
    }
    bench.perform(at(u"below"_s), {toCreate(u"a"_s)});
    QCOMPARE(bench.error.code, int(QFileDevice::PermissionsError));
}

void TestFileOps::renamesWhenSomethingIsInTheWay_data()
{
    QTest::addColumn<QStringList>("there");
    QTest::addColumn<QString>("wished");
    QTest::addColumn<QString>("created");
    QTest::newRow("the finished file") << QStringList{u"a.bin"_s} << u"a.bin"_s << u"a (1).bin.part"_s;
    QTest::newRow("an incomplete file, though empty")
        << QStringList{u"a.bin.part"_s} << u"a.bin"_s << u"a (1).bin.part"_s;
    QTest::newRow("numbers in use are skipped")
        << QStringList{u"a.bin"_s, u"a (1).bin"_s, u"a (2).bin.part"_s} << u"a.bin"_s << u"a (3).bin.part"_s;
    QTest::newRow("a name without an extension") << QStringList{u"a"_s} << u"a"_s << u"a (1).part"_s;
    QTest::newRow("an archive's extension") << QStringList{u"a.tar.gz"_s} << u"a.tar.gz"_s << u"a (1).tar.gz.part"_s;
    QTest::newRow("a dot that begins no extension")
        << QStringList{u"release 1.2 beta"_s} << u"release 1.2 beta"_s << u"release 1.2 beta (1).part"_s;
}

void TestFileOps::renamesWhenSomethingIsInTheWay()
{
    QFETCH(QStringList, there);
    QFETCH(QString, wished);
    QFETCH(QString, created);
    for (const QString &name : there)
        makeFile(at(name), name.endsWith(u".part"_s) ? QByteArray() : QByteArray("mine"));
    const QStringList before = names();
    Bench bench;
    bench.ops->setTruncateFilesWhenCreating(true);
    bench.perform(folder(), {toCreate(wished)});
    QCOMPARE(bench.result(), created);
    QStringList after = before + QStringList{created};
    after.sort();
    QStringList found = names();
    found.sort();
    QCOMPARE(found, after);
    QCOMPARE(contentOf(at(there.first())), there.first().endsWith(u".part"_s) ? QByteArray() : QByteArray("mine"));
}

void TestFileOps::aNumberedNameStaysWithinTheLimit()
{
    const QString name = QString(300, u'a') + u".bin"_s;
    Bench bench;
    bench.perform(folder(), {toCreate(name), toCreate(name, -1, 1)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.result(0).size(), 255);
    QCOMPARE(bench.result(1).size(), 255);
    QVERIFY(bench.result(1).endsWith(u"a (1).bin.part"_s));
}

void TestFileOps::overwritingKeepsTheFinishedFileForNow()
{
    makeFile(at(u"a.bin"_s), "old");
    Bench bench;
    bench.ops->setExistingFileReaction(Reaction::Overwrite);
    bench.ops->setTruncateFilesWhenCreating(true);
    bench.perform(folder(), {toCreate(u"a.bin"_s)});
    QCOMPARE(bench.result(), u"a.bin.part"_s);
    QCOMPARE(contentOf(at(u"a.bin"_s)), "old");
    makeFile(at(u"a.bin.part"_s), "new");
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QCOMPARE(bench.result(), u"a.bin"_s);
    QCOMPARE(contentOf(at(u"a.bin"_s)), "new");
    QCOMPARE(names(), QStringList{u"a.bin"_s});
}

void TestFileOps::overwritingBeginsAnIncompleteFileAnewOnlyWhenTold_data()
{
    QTest::addColumn<bool>("truncate");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("told to") << true << QByteArray();
    QTest::newRow("not told to") << false << QByteArray("some");
}

void TestFileOps::overwritingBeginsAnIncompleteFileAnewOnlyWhenTold()
{
    QFETCH(bool, truncate);
    QFETCH(QByteArray, after);
    makeFile(at(u"a.bin.part"_s), "some");
    Bench bench;
    bench.ops->setExistingFileReaction(Reaction::Overwrite);
    bench.ops->setTruncateFilesWhenCreating(truncate);
    bench.perform(folder(), {toCreate(u"a.bin"_s)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.result(), u"a.bin.part"_s);
    QCOMPARE(contentOf(at(u"a.bin.part"_s)), after);
    QCOMPARE(names(), QStringList{u"a.bin.part"_s});
}

void TestFileOps::overwritingLeavesTheFileOfAnotherDownloadAlone_data()
{
    QTest::addColumn<bool>("isRunning");
    QTest::addColumn<bool>("truncate");
    QTest::newRow("of one that runs, and would be begun anew") << true << true;
    QTest::newRow("of one that runs, and would be gone on with") << true << false;
    QTest::newRow("of one that rests, and would be begun anew") << false << true;
    QTest::newRow("of one that rests, and would be gone on with") << false << false;
}

void TestFileOps::overwritingLeavesTheFileOfAnotherDownloadAlone()
{
    QFETCH(bool, isRunning);
    QFETCH(bool, truncate);
    const QString others = at(u"a.bin.part"_s);
    makeFile(others, "some");
    const FileIdentity file = FileIdentity::of(others);
    if (isRunning) // by whatever way its folder is reached
        OwnFiles::set(u"/elsewhere/a.bin.part"_s, file);
    else
        OwnFiles::setMaking(at(u"a.bin"_s), {{}, {file}});
    const auto forget = qScopeGuard([] { OwnFiles::forget(u"/elsewhere/a.bin.part"_s); });
    Bench bench;
    bench.ops->setExistingFileReaction(Reaction::Overwrite);
    bench.ops->setTruncateFilesWhenCreating(truncate);
    bench.perform(folder(), {toCreate(u"a.bin"_s)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.result(), u"a (1).bin.part"_s);
    QCOMPARE(contentOf(others), "some");
}

/// Who asked whose the file is was overtaken by who makes it, in another thread.
void TestFileOps::overwritingLeavesAloneWhatAnotherDownloadMadeJustNow()
{
    const QString others = at(u"a.bin.part"_s);
    makeFile(at(u"a.bin"_s), "old");
    const OwnFiles::Permission makeMeanwhile = [&] {
        if (!QFileInfo::exists(others)) {
            makeFile(others, "some");
            OwnFiles::set(others, FileIdentity::of(others));
        }
        return true;
    };
    OwnFiles::setMaking(at(u"a.bin"_s), {makeMeanwhile, {}});
    const auto forget = qScopeGuard([&others] { OwnFiles::forget(others); });
    Bench bench;
    bench.ops->setExistingFileReaction(Reaction::Overwrite);
    bench.ops->setTruncateFilesWhenCreating(true);
    bench.perform(folder(), {toCreate(u"a.bin"_s)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.result(), u"a (1).bin.part"_s);
    QCOMPARE(contentOf(others), "some");
}

void TestFileOps::overwritingDoesNotReplaceAFolder()
{
    QVERIFY(QDir(folder()).mkdir(u"a.bin"_s));
    Bench bench;
    bench.ops->setExistingFileReaction(Reaction::Overwrite);
    bench.perform(folder(), {toCreate(u"a.bin"_s)});
    QCOMPARE(bench.error.code, int(QFileDevice::OpenError));
    QVERIFY(bench.errorText().contains(at(u"a.bin"_s)));
    QCOMPARE(names(), QStringList{u"a.bin"_s});
}

void TestFileOps::nothingIsMadeOfWhatIsAnothersByNow_data()
{
    QTest::addColumn<QString>("inTheWay");
    QTest::addColumn<Reaction>("reaction");
    QTest::addColumn<bool>("truncate");
    QTest::newRow("where nothing is in the way") << QString() << Reaction::Overwrite << true;
    QTest::newRow("where the name is taken") << u"x/a.bin"_s << Reaction::Rename << true;
    QTest::newRow("where an incomplete file is to be begun anew") << u"x/a.bin.part"_s << Reaction::Overwrite << true;
    QTest::newRow("where an incomplete file is to be kept") << u"x/a.bin.part"_s << Reaction::Overwrite << false;
    QTest::newRow("where there is no folder") << u"other"_s << Reaction::Overwrite << true;
}

void TestFileOps::nothingIsMadeOfWhatIsAnothersByNow()
{
    QFETCH(QString, inTheWay);
    QFETCH(Reaction, reaction);
    QFETCH(bool, truncate);
    const QDir target(at(u"x"_s));
    QVERIFY(inTheWay == u"other"_s || QDir(folder()).mkdir(u"x"_s));
    if (!inTheWay.isEmpty())
        makeFile(at(inTheWay), "theirs");
    const bool wasThere = target.exists();
    const QStringList before = target.entryList(QDir::Files);
    OwnFiles::setMaking(at(u"x/a.bin"_s), {[] { return false; }, {}});
    Bench bench;
    bench.ops->setExistingFileReaction(reaction);
    bench.ops->setTruncateFilesWhenCreating(truncate);
    bench.perform(at(u"x"_s), {toCreate(u"a.bin"_s)});
    QCOMPARE(bench.done, 0);
    QCOMPARE(bench.error.code, int(QFileDevice::OpenError));
    QVERIFY2(bench.errorText().contains(u"another process"_s), qPrintable(bench.errorText()));
    QCOMPARE(target.exists(), wasThere);
    QCOMPARE(target.entryList(QDir::Files), before);
    QVERIFY(inTheWay.isEmpty() || contentOf(at(inTheWay)) == "theirs");
}

/// Two may wish for one name; what one of them may, says nothing of the other.
void TestFileOps::whoMayMakeAFileIsKnownWhenItIsAskedFor()
{
    OwnFiles::setMaking(at(u"a.bin"_s), {[] { return false; }, {}});
    Bench first;
    first.ops->performInitializeOps(folder(), {toCreate(u"a.bin"_s)});
    Bench second;
    second.perform(folder(), {toCreate(u"a.bin"_s)});
    QVERIFY2(!second.error, qPrintable(second.errorText()));
    QTRY_COMPARE(first.answers, 1);
    QVERIFY2(first.errorText().contains(u"another process"_s), qPrintable(first.errorText()));
    QCOMPARE(names(), QStringList{u"a.bin.part"_s});
}

void TestFileOps::skippingIsAnError()
{
    makeFile(at(u"a.bin"_s), "old");
    Bench bench;
    bench.ops->setExistingFileReaction(Reaction::Skip);
    bench.perform(folder(), {toCreate(u"a.bin"_s)});
    QCOMPARE(bench.done, 0);
    QCOMPARE(bench.error.code, int(QFileDevice::OpenError));
    QCOMPARE(bench.error.category, std::string("QtFileError"));
    QVERIFY(bench.errorText().contains(at(u"a.bin"_s)));
    QCOMPARE(names(), QStringList{u"a.bin"_s});
    QCOMPARE(contentOf(at(u"a.bin"_s)), "old");
}

void TestFileOps::twoFilesOfOneNameDoNotShareAFile()
{
    Bench bench;
    bench.ops->setExistingFileReaction(Reaction::Overwrite);
    bench.ops->setTruncateFilesWhenCreating(true);
    bench.perform(folder(), {toCreate(u"x/a"_s, 0, 0), toCreate(u"y/a"_s, 0, 1)});
    QCOMPARE(bench.result(0), u"a.part"_s);
    QCOMPARE(bench.result(1), u"a (1).part"_s);
}

void TestFileOps::whatAppearsInTheLastMomentIsLeftAlone()
{
    Bench bench;
    SystemCalls::atCreating = [this] { makeFile(at(u"a.bin.part"_s), "foreign"); };
    bench.perform(folder(), {toCreate(u"a.bin"_s)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.result(), u"a (1).bin.part"_s);
    QCOMPARE(contentOf(at(u"a.bin.part"_s)), "foreign");
}

void TestFileOps::plantedLinksAreNotFollowed_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<Reaction>("reaction");
    QTest::addColumn<bool>("truncate");
    for (const QString &link : {u"a.bin"_s, u"a.bin.part"_s}) {
        for (const Reaction reaction : {Reaction::Rename, Reaction::Overwrite, Reaction::Skip}) {
            for (const bool truncate : {true, false}) {
                QTest::addRow("%s is a link, reaction %d, %s", qPrintable(link), int(reaction),
                              truncate ? "emptied" : "kept")
                    << link << reaction << truncate;
            }
        }
    }
}

void TestFileOps::plantedLinksAreNotFollowed()
{
    QFETCH(QString, link);
    QFETCH(Reaction, reaction);
    QFETCH(bool, truncate);
    const QString victim = at(u"victim"_s);
    makeFile(victim, "precious");
    const QString in = at(u"in"_s);
    QVERIFY(QDir(folder()).mkdir(u"in"_s));
    QVERIFY(QFile::link(victim, in + u'/' + link));
    Bench bench;
    bench.ops->setExistingFileReaction(reaction);
    bench.ops->setTruncateFilesWhenCreating(truncate);
    bench.perform(in, {toCreate(u"a.bin"_s)});
    if (!bench.error) {
        QVERIFY(!QFileInfo(in + u'/' + bench.result()).isSymLink());
        makeFile(in + u'/' + bench.result(), "12345");
        bench.perform(in, {toFinish(bench.result(), 5)});
    }
    QCOMPARE(contentOf(victim), "precious");
}

QTEST_GUILESS_MAIN(TestFileOps)
#include "tst_abstractdownloadfileops.moc"
