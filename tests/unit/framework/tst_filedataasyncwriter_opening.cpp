// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/filedataasyncwriter.h>
#include <inet/qt/download/framework/ownfiles.h>

#include <tests/unit/framework/filecontent.h>
#include <tests/unit/framework/filewriterbench.h>

#include <QDir>
#include <QFile>
#include <QFileDevice>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <functional>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using Bench = FileWriterBench;

/// What a writer opens, and what it leaves alone.
class TestFileWriterOpening : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void onlyPlainFilesAreOpened_data();
    void onlyPlainFilesAreOpened();
    void anotherFileInItsPlaceIsNotOpened_data() { threads(); }
    void anotherFileInItsPlaceIsNotOpened();
    void aFileThatIsAnothersByNowIsNotOpened_data() { threads(); }
    void aFileThatIsAnothersByNowIsNotOpened();
    void aFileThatBecomesAnothersGetsNotOneBlockMore_data() { threads(); }
    void aFileThatBecomesAnothersGetsNotOneBlockMore();
    void aFileThatBecomesAnothersIsNotReserved_data() { threads(); }
    void aFileThatBecomesAnothersIsNotReserved();
    void aFolderMayBeReachedThroughALink_data() { threads(); }
    void aFolderMayBeReachedThroughALink();
    void whatIsThereIsKeptThoughItWasNotExpected_data() { threads(); }
    void whatIsThereIsKeptThoughItWasNotExpected();

private:
    static void threads()
    {
        QTest::addColumn<bool>("ownThread");
        QTest::newRow("in the caller's thread") << false;
        QTest::newRow("in a thread of its own") << true;
    }

    QString path(const QString &name = u"file"_s) const { return m_dir->filePath(name); }

    void mayBeChanged(const std::function<bool()> &answer) { m_given = OwnFiles::setPermission(path(), answer); }
    void forget() const
    {
        OwnFiles::takeBackPermission(path(), m_given);
        OwnFiles::forget(path());
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    quint64 m_given = 0; ///< the permission
};

void TestFileWriterOpening::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestFileWriterOpening::cleanup()
{
    forget();
}

void TestFileWriterOpening::onlyPlainFilesAreOpened_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<QByteArray>("words");
    for (const bool exists : {true, false}) {
        const QByteArray end = exists ? ", expected to be there" : ", not expected to be there";
        QTest::newRow("a link to a file" + end) << u"link"_s << exists << QByteArray("a link");
        QTest::newRow("a link to nothing" + end) << u"dangling"_s << exists << QByteArray("a link");
        QTest::newRow("a link to a device" + end) << u"devicelink"_s << exists << QByteArray("a link");
        QTest::newRow("a folder" + end) << u"folder"_s << exists << QByteArray("a folder");
        QTest::newRow("a pipe" + end) << u"pipe"_s << exists << QByteArray("a pipe");
        QTest::newRow("a socket" + end) << u"socket"_s << exists << QByteArray("a socket");
        QTest::newRow("a device" + end) << u"/dev/null"_s << exists << QByteArray("a device");
    }
}

void TestFileWriterOpening::onlyPlainFilesAreOpened()
{
    QFETCH(QString, kind);
    QFETCH(bool, exists);
    QFETCH(QByteArray, words);
    makeFile(path(u"victim"_s), "precious");
    QVERIFY(QFile::link(path(u"victim"_s), path(u"link"_s)));
    QVERIFY(QFile::link(path(u"nothing"_s), path(u"dangling"_s)));
    QVERIFY(QFile::link(u"/dev/null"_s, path(u"devicelink"_s)));
    QVERIFY(QDir(m_dir->path()).mkdir(u"folder"_s));
    QCOMPARE(::mkfifo(QFile::encodeName(path(u"pipe"_s)).constData(), 0600), 0);
    QCOMPARE(::mknod(QFile::encodeName(path(u"socket"_s)).constData(), S_IFSOCK | 0600, 0), 0);
    for (const bool ownThread : {false, true}) {
        Bench bench(ownThread);
        bench.writer->open(kind.startsWith(u'/') ? kind : path(kind), 0, exists);
        bench.writer->processData("abc");
        bench.settle();
        QCOMPARE(bench.said, (QStringList{u"failed"_s, u"all"_s}));
        const AbstractError error = bench.writer->lastError();
        QCOMPARE(error.code, int(QFileDevice::OpenError));
        QCOMPARE(error.category, std::string("QtFileError"));
        const QByteArray text = QByteArray::fromStdString(error.description);
        QVERIFY2(text.contains("\": it is " + words + ", not a plain file. Move away"), text);
        QVERIFY2(text.startsWith("cannot write to \""), text);
    }
    QCOMPARE(contentOf(path(u"victim"_s)), "precious");
    QVERIFY(!QFileInfo::exists(path(u"nothing"_s)));
}

void TestFileWriterOpening::anotherFileInItsPlaceIsNotOpened()
{
    QFETCH(bool, ownThread);
    makeFile(path(), "abc");
    Bench first(ownThread);
    first.openAndWait(path(), 0, true);
    exchange(path(), "foreign");
    Bench second(ownThread);
    second.writer->open(path(), 3, true);
    second.writer->processData("def");
    second.settle();
    QCOMPARE(second.said, (QStringList{u"failed"_s, u"all"_s}));
    QVERIFY(QByteArray::fromStdString(second.writer->lastError().description).contains("another file"));
    QCOMPARE(second.writer->lastError().code, int(QFileDevice::OpenError));
    QCOMPARE(contentOf(path()), "foreign");
}

void TestFileWriterOpening::aFileThatIsAnothersByNowIsNotOpened()
{
    QFETCH(bool, ownThread);
    mayBeChanged([] { return false; });
    Bench bench(ownThread);
    bench.writer->open(path(), 0, false);
    bench.writer->processData("abc");
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"failed"_s, u"all"_s}));
    QVERIFY(QByteArray::fromStdString(bench.writer->lastError().description).contains("another process"));
    QVERIFY2(!QFileInfo::exists(path()), "it is not made either");
    forget();
    bench.openAndWait(path());
}

/// Whoever asks for permission may have stood still since the block before.
void TestFileWriterOpening::aFileThatBecomesAnothersGetsNotOneBlockMore()
{
    QFETCH(bool, ownThread);
    std::atomic<bool> isOurs = true;
    mayBeChanged([&isOurs] { return isOurs.load(); });
    Bench bench(ownThread);
    bench.openAndWait(path());
    bench.writer->processData("abc");
    bench.settle();
    isOurs = false;
    bench.writer->processData("def");
    bench.settle();
    isOurs = true;
    bench.writer->processData("ghi");
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"3"_s, u"all"_s, u"failed"_s, u"all"_s, u"all"_s}));
    QCOMPARE(bench.writer->lastError().code, int(QFileDevice::WriteError));
    QCOMPARE(contentOf(path()), "abc");
}

void TestFileWriterOpening::aFileThatBecomesAnothersIsNotReserved()
{
    QFETCH(bool, ownThread);
    constexpr qint64 kSize = 1000000;
    std::atomic<int> asked = 0;
    mayBeChanged([&asked] { return asked++ == 0; });
    Bench bench(ownThread);
    bench.writer->schedulePreallocateOnOpen(kSize);
    bench.writer->open(path(), 0, false);
    bench.settle();
    QCOMPARE(bench.said, (QStringList{u"failed"_s, u"all"_s}));
    QCOMPARE(contentOf(path()), "");
}

void TestFileWriterOpening::aFolderMayBeReachedThroughALink()
{
    QFETCH(bool, ownThread);
    QVERIFY(QDir(m_dir->path()).mkdir(u"folder"_s));
    QVERIFY(QFile::link(path(u"folder"_s), path(u"way"_s)));
    Bench bench(ownThread);
    bench.openAndWait(path(u"way/file"_s));
    bench.writer->processData("abc");
    bench.closeAndWait();
    QCOMPARE(contentOf(path(u"folder/file"_s)), "abc");
}

void TestFileWriterOpening::whatIsThereIsKeptThoughItWasNotExpected()
{
    QFETCH(bool, ownThread);
    makeFile(path(), "abcdef");
    Bench bench(ownThread);
    bench.openAndWait(path(), 1, false);
    QCOMPARE(contentOf(path()), "abcdef");
    bench.writer->processData("xy");
    bench.closeAndWait();
    QCOMPARE(contentOf(path()), "axydef");
}

QTEST_GUILESS_MAIN(TestFileWriterOpening)
#include "tst_filedataasyncwriter_opening.moc"
