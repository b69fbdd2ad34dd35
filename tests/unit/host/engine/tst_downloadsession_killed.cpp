// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>
#include <host/storage/downloadlist.h>
#include <tests/unit/host/engine/fakemodule.h>

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;

constexpr qint64 kSize = 1000;
const QString kName = u"file.bin"_s;
const QString kPart = u"file.bin.part"_s;

bool writeFile(const QString &path, qint64 size)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(QByteArray(size, 'x')) == size;
}

}

/// What a process leaves behind that is killed between two steps, and what the next one makes of it.
class TestDownloadSessionKilled : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void anEmptyFileThatNobodyKnewGoes_data();
    void anEmptyFileThatNobodyKnewGoes();
    void aRemovalFindsTheFileThatJustGotItsName_data();
    void aRemovalFindsTheFileThatJustGotItsName();
    void aRemovalTakesTheEmptyFileThatNobodyKnew_data();
    void aRemovalTakesTheEmptyFileThatNobodyKnew();
    void aRemovalLeavesAnotherFileInItsPlace();
    void aRemovalWhoseFileIsGoneIsDone();
    void aRestartThatHadNotDeletedTheFileIsOne();
    void aRestartLeavesAnotherFileInItsPlace();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    QStringList files() const;
    /// A row of the list, as a process left it that is no more.
    /// @param how changes the record @param file nothing = the one that the record names
    qint64 put(const std::function<void(Info &)> &how, const std::optional<FileIdentity> &file = {});
    void open();

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<DownloadSession> m_session;
    Failure m_failure;
};

void TestDownloadSessionKilled::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_dir->path()).mkdir(u"files"_s));
}

void TestDownloadSessionKilled::cleanup()
{
    m_session.reset();
}

QStringList TestDownloadSessionKilled::files() const
{
    return QDir(path(u"files"_s)).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

qint64 TestDownloadSessionKilled::put(const std::function<void(Info &)> &how, const std::optional<FileIdentity> &file)
{
    Info record;
    record.url = QUrl(u"http://host"_s + FakePaths::kDone);
    record.destinationType = Info::ToFolder;
    record.folder = path(u"files"_s);
    File named;
    named.name = kName;
    named.size = kSize;
    named.sections = {{0, kSize, 0}};
    record.files = {named};
    how(record);
    DownloadList list;
    const bool isPut = list.open(path(u"list.sqlite"_s)) && list.insert(record) != 0
        && list.update(record, {file.value_or(FileIdentity::of(record.filePath(0))), {}, {}},
                       DownloadStore::Lasting::Always);
    return isPut ? record.id : 0;
}

void TestDownloadSessionKilled::open()
{
    SessionOptions options;
    options.listPath = path(u"list.sqlite"_s);
    options.moduleFolders = {QStringLiteral(FAKE_MODULES) + "/good"_L1};
    m_session = std::make_unique<DownloadSession>();
    QVERIFY2(m_session->open(options, &m_failure), qPrintable(m_failure.plain()));
}

void TestDownloadSessionKilled::anEmptyFileThatNobodyKnewGoes_data()
{
    QTest::addColumn<QString>("left");
    QTest::addColumn<QString>("other");
    QTest::newRow("under the name that was wished") << kPart << QString();
    QTest::newRow("under another, because somebody has that one") << u"file (1).bin.part"_s << kName;
}

void TestDownloadSessionKilled::anEmptyFileThatNobodyKnewGoes()
{
    QFETCH(QString, left);
    QFETCH(QString, other);
    QVERIFY(other.isEmpty() || writeFile(path(u"files/"_s + other), kSize));
    const FileIdentity plan = FileIdentity::planned();
    QVERIFY(writeFile(path(u"files/"_s + left), 0));
    const qint64 id = put([](Info &) {}, plan);
    QVERIFY(id > 0);
    open();
    QVERIFY2(m_session->start(id, &m_failure), qPrintable(m_failure.plain()));
    QVERIFY(!files().contains(left));
    QVERIFY(other.isEmpty() || files().contains(other));
}

void TestDownloadSessionKilled::aRemovalFindsTheFileThatJustGotItsName_data()
{
    QTest::addColumn<bool>("withFile");
    QTest::addColumn<QStringList>("left");
    QTest::newRow("with its file, which goes") << true << QStringList();
    QTest::newRow("without it, which stays") << false << QStringList{kName};
}

void TestDownloadSessionKilled::aRemovalFindsTheFileThatJustGotItsName()
{
    QFETCH(bool, withFile);
    QVERIFY(writeFile(path(u"files/file.bin.part"_s), kSize));
    const qint64 id = put([](Info &record) {
        record.files.first().pathOnDisk = kPart;
        record.files.first().fileFlags = File::CreatedOnDisk;
        record.files.first().sections = {{0, kSize, kSize}};
    });
    QVERIFY(QFile::rename(path(u"files/file.bin.part"_s), path(u"files/file.bin"_s)));
    open();
    QVERIFY2(m_session->remove(id, withFile, &m_failure), qPrintable(m_failure.plain()));
    QTEST(files(), "left");
}

void TestDownloadSessionKilled::aRemovalTakesTheEmptyFileThatNobodyKnew_data()
{
    QTest::addColumn<bool>("withFile");
    QTest::newRow("with its file") << true;
    QTest::newRow("without it, for nobody has any use of that one") << false;
}

void TestDownloadSessionKilled::aRemovalTakesTheEmptyFileThatNobodyKnew()
{
    QFETCH(bool, withFile);
    QVERIFY(writeFile(path(u"files/file.bin"_s), kSize));
    const FileIdentity plan = FileIdentity::planned();
    QVERIFY(writeFile(path(u"files/file (1).bin.part"_s), 0));
    const qint64 id = put([](Info &) {}, plan);
    open();
    QVERIFY2(m_session->remove(id, withFile, &m_failure), qPrintable(m_failure.plain()));
    QCOMPARE(files(), QStringList{kName});
}

void TestDownloadSessionKilled::aRemovalLeavesAnotherFileInItsPlace()
{
    QVERIFY(writeFile(path(u"files/file.bin"_s), kSize));
    const qint64 id = put([](Info &record) {
        record.files.first().fileFlags = File::CreatedOnDisk | File::FinalOnDisk;
        record.files.first().sections = {{0, kSize, kSize}};
        record.setFinished(true, true);
    });
    QVERIFY(QFile::rename(path(u"files/file.bin"_s), path(u"files/elsewhere"_s)));
    QVERIFY(writeFile(path(u"files/file.bin"_s), kSize));
    open();
    QVERIFY(!m_session->remove(id, true, &m_failure));
    QVERIFY2(m_failure.plain().contains(u"another-file"_s), qPrintable(m_failure.plain()));
    QVERIFY(files().contains(kName));
    QVERIFY2(m_session->remove(id, false, &m_failure), qPrintable(m_failure.plain()));
}

/// Its file goes before its row.
void TestDownloadSessionKilled::aRemovalWhoseFileIsGoneIsDone()
{
    QVERIFY(writeFile(path(u"files/file.bin"_s), kSize));
    const qint64 id = put([](Info &record) {
        record.files.first().fileFlags = File::CreatedOnDisk | File::FinalOnDisk;
        record.files.first().sections = {{0, kSize, kSize}};
        record.setFinished(true, true);
    });
    QVERIFY(QFile::remove(path(u"files/file.bin"_s)));
    open();
    QVERIFY2(m_session->remove(id, true, &m_failure), qPrintable(m_failure.plain()));
    QVERIFY(!m_session->record(id));
}

/// The list says before that nothing of it counts any more.
void TestDownloadSessionKilled::aRestartThatHadNotDeletedTheFileIsOne()
{
    QVERIFY(writeFile(path(u"files/file.bin"_s), kSize));
    const qint64 id = put([](Info &record) {
        record.url = QUrl(u"http://host/endless"_s);
        record.files.first().fileFlags = File::CreatedOnDisk;
    });
    open();
    QVERIFY2(m_session->start(id, &m_failure), qPrintable(m_failure.plain()));
    QCOMPARE(files(), QStringList());
}

void TestDownloadSessionKilled::aRestartLeavesAnotherFileInItsPlace()
{
    QVERIFY(writeFile(path(u"files/file.bin"_s), kSize));
    const qint64 id = put([](Info &record) {
        record.files.first().fileFlags = File::CreatedOnDisk | File::FinalOnDisk;
        record.files.first().sections = {{0, kSize, kSize}};
        record.setFinished(true, true);
    });
    QVERIFY(QFile::rename(path(u"files/file.bin"_s), path(u"files/elsewhere"_s)));
    QVERIFY(writeFile(path(u"files/file.bin"_s), kSize));
    open();
    QVERIFY2(m_session->restart(id, &m_failure), qPrintable(m_failure.plain()));
    QVERIFY(files().contains(kName));
}

QTEST_GUILESS_MAIN(TestDownloadSessionKilled)
#include "tst_downloadsession_killed.moc"
