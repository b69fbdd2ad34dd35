// SPDX-License-Identifier: MIT
#include <host/storage/filesyncer.h>
#include <tests/unit/framework/systemcalls.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <optional>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

class TestFileSyncer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void theDiskHasTheFileBeforeItIsTold();
    void aNewNameIsOnDiskBeforeItIsTold();
    void aFailureIsTold_data();
    void aFailureIsTold();
    void aFileThatIsGoneIsTold();
    void aPipeInItsPlaceIsNoFile();

private:
    /// What comes of a sync; nothing when no answer came.
    static std::optional<FileSyncer::Outcome> syncOf(const QString &path, bool withName);
};

std::optional<FileSyncer::Outcome> TestFileSyncer::syncOf(const QString &path, bool withName)
{
    FileSyncer syncer;
    std::optional<FileSyncer::Outcome> outcome;
    connect(&syncer, &FileSyncer::synced, &syncer, [&outcome](const FileSyncer::Outcome &told) { outcome = told; });
    syncer.sync(path, withName);
    if (outcome || !QTest::qWaitFor([&outcome] { return outcome.has_value(); }, 10000))
        return {};
    return outcome;
}

void TestFileSyncer::init()
{
    SystemCalls::reset();
}

void TestFileSyncer::theDiskHasTheFileBeforeItIsTold()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"file.part"_s);
    QVERIFY(QFile(path).open(QIODevice::WriteOnly));
    const std::optional<FileSyncer::Outcome> outcome = syncOf(path, false);
    QVERIFY(outcome);
    QCOMPARE(outcome->error, 0);
    QCOMPARE(outcome->file, FileIdentity::of(path));
    QVERIFY(outcome->file.isKnown());
    QCOMPARE(SystemCalls::fdatasyncCount, 1);
    QCOMPARE(SystemCalls::fsyncCount, 0);
}

void TestFileSyncer::aNewNameIsOnDiskBeforeItIsTold()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"file.part"_s);
    QVERIFY(QFile(path).open(QIODevice::WriteOnly));
    const std::optional<FileSyncer::Outcome> outcome = syncOf(path, true);
    QVERIFY(outcome);
    QCOMPARE(outcome->error, 0);
    QCOMPARE(SystemCalls::fdatasyncCount, 1);
    QCOMPARE(SystemCalls::fsyncCount, 1);
}

void TestFileSyncer::aFailureIsTold_data()
{
    QTest::addColumn<int>("ofFile");
    QTest::addColumn<int>("ofFolder");
    QTest::addColumn<int>("told");
    QTest::newRow("the file cannot be synced") << EIO << 0 << EIO;
    QTest::newRow("nor is its name then") << EIO << EDQUOT << EIO;
    QTest::newRow("its name cannot be synced") << 0 << EIO << EIO;
    QTest::newRow("what has no disk behind it has nothing to lose") << EINVAL << 0 << 0;
    QTest::newRow("nor has a folder that cannot be synced") << 0 << ENOTSUP << 0;
}

void TestFileSyncer::aFailureIsTold()
{
    QFETCH(int, ofFile);
    QFETCH(int, ofFolder);
    QFETCH(int, told);
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"file.part"_s);
    QVERIFY(QFile(path).open(QIODevice::WriteOnly));
    SystemCalls::fdatasyncError = ofFile;
    SystemCalls::fsyncError = ofFolder;
    const std::optional<FileSyncer::Outcome> outcome = syncOf(path, true);
    QVERIFY(outcome);
    QCOMPARE(outcome->error, told);
    QCOMPARE(SystemCalls::fsyncCount, ofFile == EIO ? 0 : 1);
}

void TestFileSyncer::aFileThatIsGoneIsTold()
{
    const QTemporaryDir folder;
    const std::optional<FileSyncer::Outcome> outcome = syncOf(folder.filePath(u"gone"_s), true);
    QVERIFY(outcome);
    QCOMPARE(outcome->error, ENOENT);
    QVERIFY(!outcome->file.isKnown());
    QCOMPARE(SystemCalls::fsyncCount, 0);
}

void TestFileSyncer::aPipeInItsPlaceIsNoFile()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"fifo"_s);
    QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    const std::optional<FileSyncer::Outcome> outcome = syncOf(path, false);
    QVERIFY(outcome);
    QCOMPARE(outcome->error, ENOENT);
    QVERIFY(!outcome->file.isKnown());
}

QTEST_GUILESS_MAIN(TestFileSyncer)
#include "tst_filesyncer.moc"
