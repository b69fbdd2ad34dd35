// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/sectionbench.h>

#include <inet/qt/download/framework/filedataasyncwriter.h>
#include <inet/qt/download/framework/memorydataasyncwriter.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <memory>

#include <dlfcn.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace
{

using FileInfo = AbstractDownloadFileInfo;

constexpr quint64 kSeed = 43;

qint64 spaceOnDisk(const QString &path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? qint64(status.st_blocks) * 512 : -1;
}

/// Keeps a thread from its work while it lives.
class ThreadStopper
{
public:
    explicit ThreadStopper(QThread *thread)
    {
        m_foothold.moveToThread(thread);
        QMetaObject::invokeMethod(
            &m_foothold, [this] { m_gate.acquire(); }, Qt::QueuedConnection);
    }
    ~ThreadStopper() { release(); }
    void release()
    {
        m_gate.release();
        // The foothold must not go while it is used.
        QMetaObject::invokeMethod(
            &m_foothold, [] {}, Qt::BlockingQueuedConnection);
    }

private:
    QSemaphore m_gate;
    QObject m_foothold;

    Q_DISABLE_COPY_MOVE(ThreadStopper)
};

/// How a file writer was made.
struct Making {
    int syncEveryBytes;
    char placing;
    qint64 progressStep;
    QObject *parent;
};
QList<Making> g_makings;

using WriterMaker = void (*)(void *, int, char, qint64, QObject *);

/// A section between replies and a memory writer, of whose transfer four bytes are held back: it hands out once a
/// second, so one in which a second has just begun is of no use.
std::unique_ptr<SectionBench> benchWithHeldBytes()
{
    for (;;) {
        auto bench = std::make_unique<SectionBench>();
        bench->make({0, 10, 0})->start();
        bench->answerWhole(10);
        if (!QTest::qWaitFor([&bench] { return bench->memoryWriter()->isOpen(); }))
            return nullptr;
        const QSignalSpy handedOut(bench->transfer(), &WwwDownloader::gotData);
        bench->reply()->sendData("0123"_ba);
        if (handedOut.isEmpty())
            return bench;
    }
}

}

/// The program's own definition is found before the library's: writes down how a writer is made, and makes it.
extern "C" __attribute__((visibility("default"))) void _ZN19FileDataAsyncWriterC1EicxP7QObject(
    void *writer, int syncEveryBytes, char placing, qint64 progressStep, QObject *parent)
{
    g_makings.append({syncEveryBytes, placing, progressStep, parent});
    const auto make = reinterpret_cast<WriterMaker>(::dlsym(RTLD_NEXT, "_ZN19FileDataAsyncWriterC1EicxP7QObject"));
    make(writer, syncEveryBytes, placing, progressStep, parent);
}

class tst_WwwDownloadSectionWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFileIsAskedForFirst();
    void aFileThatIsThereIsOpenedAtOnce();
    void dataGoesToItsPlace_data();
    void dataGoesToItsPlace();
    void memoryTakesNoFile();
    void preallocation_data();
    void preallocation();
    void preallocationIsReported();
    void aFileThatIsGoneIsNotMadeAnew();
    void aFileNotSaidToBeThereIsMade();

    void writersLiveInTheirThread();
    void nothingFlowsBeforeTheWriterIsOpen();
    void aStopWhileTheWriterOpensDropsWhatHasCome();
    void aWriterMovesToALaterThread();
    void aWriterAtWorkDoesNotComeBackToTheSectionsThread();

    void anEmptyResourceIsFinished_data();
    void anEmptyResourceIsFinished();
    void aFailedWriterStopsTheSection();
    void nothingIsHandedOutBehindAFileError_data();
    void nothingIsHandedOutBehindAFileError();
    void fileWritersAreMadeInOneWay();
    void aLateFailureDoesNotUndoWhatIsWritten();

    void aSectionThatIsGoneWritesNothing();

    void aCutTransferIsResumedOnDisk();
};

void tst_WwwDownloadSectionWriter::theFileIsAskedForFirst()
{
    SectionBench bench;
    bench.useFolder();
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(4);
    QCOMPARE(bench.count(u"waitingFileCreate"_s), 1);
    bench.finishWith("0123"_ba);
    QCoreApplication::processEvents();
    QVERIFY(section->isRunning());
    QCOMPARE(section->section().downloaded, 0);
    QVERIFY(QDir(bench.folder()).isEmpty());

    const LogCapture log;
    bench.addFile(4, {section->section()}, FileInfo::CreatedOnDisk);
    section->onFileCreated();
    section->onFileCreated();
    QVERIFY(bench.waitUntilIdle());
    section->onFileCreated();
    QVERIFY(section->isFinished());
    QCOMPARE(TestFiles::readFile(bench.path(u"file.bin"_s)), "0123"_ba);
    QCOMPARE(log.lines.filter(u"opening writer..."_s).size(), 1);
    QCOMPARE(bench.count(u"waitingFileCreate"_s), 1);
}

void tst_WwwDownloadSectionWriter::aFileThatIsThereIsOpenedAtOnce()
{
    SectionBench bench;
    bench.useFolder();
    bench.addFile(4, {{0, 4, 0}}, FileInfo::CreatedOnDisk);
    WwwDownloadSection *section = bench.make({0, 4, 0});
    section->start();
    bench.answerWhole(4);
    QCOMPARE(bench.count(u"waitingFileCreate"_s), 0);
    bench.finishWith("0123"_ba);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(TestFiles::readFile(bench.path(u"file.bin"_s)), "0123"_ba);
}

void tst_WwwDownloadSectionWriter::dataGoesToItsPlace_data()
{
    QTest::addColumn<bool>("isFile");
    QTest::addColumn<AbstractDownloadSection>("range");
    QTest::addColumn<qint64>("dataStart");
    QTest::addColumn<qint64>("position");
    for (const bool isFile : {true, false}) {
        const auto row = [isFile](const char *name, const AbstractDownloadSection &range, qint64 dataStart,
                                  qint64 position) {
            QTest::addRow("%s, %s", name, isFile ? "in a file" : "in memory")
                << isFile << range << dataStart << position;
        };
        row("at the start", {0, 10, 0}, 0, 0);
        row("at its offset", {20, 10, 0}, 0, 20);
        row("behind what is done", {0, 10, 4}, 0, 4);
        row("behind what stands before the resource", {0, 10, 0}, 5, 5);
        row("behind all three", {20, 10, 4}, 5, 29);
    }
}

void tst_WwwDownloadSectionWriter::dataGoesToItsPlace()
{
    QFETCH(bool, isFile);
    QFETCH(AbstractDownloadSection, range);
    QFETCH(qint64, dataStart);
    QFETCH(qint64, position);
    SectionBench bench;
    if (isFile)
        bench.useFolder();
    bench.addFile(30, {range}, FileInfo::CreatedOnDisk).dataStart = dataStart;
    WwwDownloadSection *section = bench.make(range);
    section->start();
    if (range.position() > 0)
        bench.answerPart(range.position(), 30);
    else
        bench.answerWhole(30);
    const QByteArray body(range.bytesLeft(), 'd');
    bench.finishWith(body);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    const QByteArray expected = QByteArray(position, '\0') + body;
    QCOMPARE(isFile ? TestFiles::readFile(bench.path(u"file.bin"_s)) : bench.info->content, expected);
}

void tst_WwwDownloadSectionWriter::memoryTakesNoFile()
{
    SectionBench bench;
    bench.info->folder = bench.folder();
    bench.make()->start();
    bench.answerWhole(400000);
    bench.finishWith(QByteArray(400000, 'd'));
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(bench.info->content.size(), 400000);
    QVERIFY(QDir(bench.folder()).isEmpty());
    QCOMPARE(bench.count(u"waitingFileCreate"_s), 0);
    QCOMPARE(bench.count(u"filePreallocated"_s), 0);
}

void tst_WwwDownloadSectionWriter::preallocation_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("dataStart");
    QTest::addColumn<int>("flags");
    QTest::addColumn<qint64>("reserved");
    constexpr qint64 kNothing = -1;
    QTest::newRow("300 KiB are not worth it") << qint64(307200) << qint64(0) << 0 << kNothing;
    QTest::newRow("a byte more is") << qint64(307201) << qint64(0) << 0 << qint64(307201);
    QTest::newRow("what stands before the resource is added")
        << qint64(307201) << qint64(500000) << 0 << qint64(807201);
    QTest::newRow("it is done once") << qint64(307201) << qint64(0) << int(FileInfo::Preallocated) << kNothing;
    QTest::newRow("not for data that begins before the file") << qint64(307201) << qint64(-1) << 0 << kNothing;
    QTest::newRow("an unknown size cannot be had") << qint64(-1) << qint64(0) << 0 << kNothing;
}

void tst_WwwDownloadSectionWriter::preallocation()
{
    QFETCH(qint64, size);
    QFETCH(qint64, dataStart);
    QFETCH(int, flags);
    QFETCH(qint64, reserved);
    SectionBench bench;
    bench.useFolder();
    const AbstractDownloadSection range{0, size, 1};
    bench.addFile(size, {range}, quint8(FileInfo::CreatedOnDisk | flags)).dataStart = dataStart;
    WwwDownloadSection *section = bench.make(range);
    section->start();
    bench.reply()->sendHead(206, "Partial Content"_ba,
                            size == -1 ? SectionBench::Headers{{"Content-Range"_ba, "bytes 1-9/*"_ba}}
                                       : SectionBench::headersForRange(1, size));
    bench.events.clear();
    const LogCapture log;
    QTRY_COMPARE(log.lines.filter(u"writer opened."_s).size(), 1);
    if (reserved != -1) {
        QTRY_COMPARE(bench.count(u"filePreallocated"_s), 1);
        QCOMPARE(bench.events, (QStringList{u"persistentInfoChanged"_s, u"filePreallocated"_s}));
        QVERIFY(spaceOnDisk(bench.path(u"file.bin"_s)) >= reserved);
        QVERIFY((bench.info->files.first().fileFlags & FileInfo::Preallocated) != 0);
    }
    section->stop(SectionBench::anError(), false);
    QVERIFY(bench.waitUntilIdle());
    if (reserved == -1) {
        QCOMPARE(bench.count(u"filePreallocated"_s), 0);
        QCOMPARE(spaceOnDisk(bench.path(u"file.bin"_s)), 0);
        QCOMPARE(int(bench.info->files.first().fileFlags & FileInfo::Preallocated), flags);
    }
}

void tst_WwwDownloadSectionWriter::preallocationIsReported()
{
    SectionBench bench;
    bench.useFolder();
    bench.addFile(400000, {{0, 400000, 0}}, FileInfo::CreatedOnDisk);
    bench.make({0, 400000, 0})->start();
    bench.answerWhole(400000);
    QTRY_VERIFY(bench.fileWriter());
    Q_EMIT bench.fileWriter()->preallocatingProgress(65536);
    QVERIFY(bench.preallocated.contains(65536));
}

void tst_WwwDownloadSectionWriter::aFileThatIsGoneIsNotMadeAnew()
{
    SectionBench bench;
    bench.useFolder();
    bench.addFile(4, {{0, 4, 0}}, FileInfo::CreatedOnDisk);
    QVERIFY(QFile::remove(bench.path(u"file.bin"_s)));
    WwwDownloadSection *section = bench.make({0, 4, 0});
    section->start();
    bench.answerWhole(4);
    const LogCapture log;
    QVERIFY(bench.waitUntilIdle());
    // What never opened need not close.
    QVERIFY(log.lines.filter(u"writer closed."_s).isEmpty());
    QCOMPARE(section->lastError().category, std::string(ErrorCategory::kFile));
    QVERIFY(section->isLastErrorFileError());
    QVERIFY(QDir(bench.folder()).isEmpty());
}

void tst_WwwDownloadSectionWriter::aFileNotSaidToBeThereIsMade()
{
    SectionBench bench;
    bench.useFolder();
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.answerWhole(4);
    section->onFileCreated();
    bench.finishWith("0123"_ba);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(TestFiles::readFile(bench.path(u"file.bin"_s)), "0123"_ba);
}

void tst_WwwDownloadSectionWriter::writersLiveInTheirThread()
{
    SectionBench bench;
    bench.useFolder();
    const qint64 size = 500000;
    bench.addFile(size, {{0, size, 0}}, FileInfo::CreatedOnDisk);
    WwwDownloadSection *section = bench.make({0, size, 0});
    section->setWriterThread(bench.writersThread());
    bool isHere = true;
    bench.atEvent = [&](const QString &) { isHere &= QThread::currentThread() == section->thread(); };
    section->start();
    bench.answerWhole(size);
    bench.finishWith(TestFiles::content(kSeed, 0, size));
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QVERIFY(!bench.hadFileWriterHere());
    QVERIFY(isHere);
    QVERIFY(bench.count(u"filePreallocated"_s) == 1);
    QCOMPARE(TestFiles::sha256OfFile(bench.path(u"file.bin"_s)), TestFiles::sha256OfContent(kSeed, size));
}

void tst_WwwDownloadSectionWriter::nothingFlowsBeforeTheWriterIsOpen()
{
    SectionBench bench;
    bench.useFolder();
    bench.addFile(10, {{0, 10, 0}}, FileInfo::CreatedOnDisk);
    WwwDownloadSection *section = bench.make({0, 10, 0});
    section->setWriterThread(bench.writersThread());
    ThreadStopper stopper(bench.writersThread());
    section->start();
    bench.answerWhole(10);
    bench.finishWith("0123456789"_ba);
    QCoreApplication::processEvents();
    QVERIFY(!bench.transfer()->isRunning());
    QVERIFY(!bench.transfer()->isDataProcessed());
    QVERIFY(section->isRunning());
    QCOMPARE(section->section().downloaded, 0);
    stopper.release();
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(TestFiles::readFile(bench.path(u"file.bin"_s)), "0123456789"_ba);
}

void tst_WwwDownloadSectionWriter::aWriterAtWorkDoesNotComeBackToTheSectionsThread()
{
    SectionBench bench;
    bench.useFolder();
    bench.addFile(10, {{0, 10, 0}}, FileInfo::CreatedOnDisk);
    WwwDownloadSection *section = bench.make({0, 10, 0});
    section->start();
    bench.answerWhole(10);
    QTRY_VERIFY(bench.fileWriter() && bench.fileWriter()->isOpen());
    section->setWriterThread(bench.writersThread());
    section->setWriterThread(section->thread());
    QCOMPARE(bench.fileWriter()->thread(), bench.writersThread());
    bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(TestFiles::readFile(bench.path(u"file.bin"_s)), "0123456789"_ba);
}

void tst_WwwDownloadSectionWriter::aStopWhileTheWriterOpensDropsWhatHasCome()
{
    SectionBench bench;
    WwwDownloadSection *section = bench.make({0, 10, 0});
    section->start();
    bench.answerWhole(10);
    bench.reply()->sendData("0123"_ba);
    QVERIFY(!bench.memoryWriter()->isOpen());
    section->stop(SectionBench::anError(), false);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(section->section().downloaded, 0);
    QVERIFY(bench.info->content.isEmpty());

    bench.info->files.first().sections = {section->section()};
    section->start();
    QCOMPARE(bench.range(1), QByteArray());
    bench.answerWhole(10);
    bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(bench.info->content, "0123456789"_ba);
}

void tst_WwwDownloadSectionWriter::aWriterMovesToALaterThread()
{
    SectionBench bench;
    bench.useFolder();
    bench.addFile(10, {{0, 10, 0}}, FileInfo::CreatedOnDisk);
    WwwDownloadSection *section = bench.make({0, 10, 0});
    section->start();
    bench.answerWhole(10);
    QTRY_VERIFY(bench.fileWriter() && bench.fileWriter()->isOpen());
    section->setWriterThread(nullptr);
    QCOMPARE(bench.fileWriter()->thread(), section->thread());
    section->setWriterThread(bench.writersThread());
    QCOMPARE(bench.fileWriter()->thread(), bench.writersThread());
    section->setWriterThread(bench.writersThread());
    section->setWriterThread(nullptr);
    QCOMPARE(bench.fileWriter()->thread(), bench.writersThread());
    bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(TestFiles::readFile(bench.path(u"file.bin"_s)), "0123456789"_ba);

    SectionBench memory;
    memory.make()->start();
    memory.answerWhole(10);
    memory.section->setWriterThread(bench.writersThread());
    QCOMPARE(memory.memoryWriter()->thread(), memory.section->thread());
}

void tst_WwwDownloadSectionWriter::anEmptyResourceIsFinished_data()
{
    QTest::addColumn<bool>("isFile");
    QTest::addColumn<bool>("isSizeKnown");
    QTest::newRow("in memory") << false << true;
    QTest::newRow("in memory, of unknown size") << false << false;
    QTest::newRow("in a file") << true << true;
    QTest::newRow("in a file, of unknown size") << true << false;
}

void tst_WwwDownloadSectionWriter::anEmptyResourceIsFinished()
{
    QFETCH(bool, isFile);
    QFETCH(bool, isSizeKnown);
    SectionBench bench;
    if (isFile)
        bench.useFolder();
    WwwDownloadSection *section = bench.make();
    section->start();
    bench.reply()->sendHead(200, "OK"_ba, isSizeKnown ? SectionBench::headersFor(0) : SectionBench::Headers());
    bench.reply()->end();
    QVERIFY(section->isRunning());
    if (isFile)
        section->onFileCreated();
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QCOMPARE(section->section(), (AbstractDownloadSection{0, 0, 0}));
    QCOMPARE(bench.info->files.first().size, 0);
    QVERIFY(!section->lastError());
    QCOMPARE(QFile::exists(bench.path(u"file.bin"_s)), isFile);
}

void tst_WwwDownloadSectionWriter::aFailedWriterStopsTheSection()
{
    SectionBench bench;
    bench.useFolder();
    bench.addFile(10, {{0, 10, 0}}, FileInfo::CreatedOnDisk).pathOnDisk = u"/dev/full"_s;
    WwwDownloadSection *section = bench.make({0, 10, 0});
    section->setWriterThread(bench.writersThread());
    section->start();
    bench.answerWhole(10);
    bench.reply()->sendData("0123"_ba);
    const LogCapture log;
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(section->lastError().category, std::string(ErrorCategory::kFile));
    QVERIFY(section->lastError().code != 0);
    QVERIFY(!section->lastError().description.empty());
    QVERIFY(section->isLastErrorFileError());
    QCOMPARE(section->section().downloaded, 0);
    QCOMPARE(log.lines.filter(u"writer failed."_s).size(), 1);
    QVERIFY(bench.transfers().isEmpty());
    QCOMPARE(bench.chief->outCount(), 0);
    // The disk is to blame, not the source.
    QVERIFY(bench.mirrors->containsMirrorWithoutErrors());
}

void tst_WwwDownloadSectionWriter::nothingIsHandedOutBehindAFileError_data()
{
    QTest::addColumn<bool>("isFileError");
    QTest::addColumn<QByteArray>("written");
    QTest::newRow("what came before an error of the network is kept") << false << "0123"_ba;
    QTest::newRow("a file that fails is given nothing more") << true << QByteArray();
}

void tst_WwwDownloadSectionWriter::nothingIsHandedOutBehindAFileError()
{
    QFETCH(bool, isFileError);
    QFETCH(QByteArray, written);
    const std::unique_ptr<SectionBench> bench = benchWithHeldBytes();
    QVERIFY(bench);
    bench->section->stop(SectionBench::anError(), isFileError);
    QVERIFY(bench->waitUntilIdle());
    QCOMPARE(bench->section->isLastErrorFileError(), isFileError);
    QCOMPARE(bench->section->section().downloaded, written.size());
    QCOMPARE(bench->info->content, written);
}

// Hosts know these three and count on them: synced when the system likes, at its place, told of every 32 KiB reserved.
void tst_WwwDownloadSectionWriter::fileWritersAreMadeInOneWay()
{
    SectionBench bench;
    bench.useFolder();
    bench.addFile(10, {{0, 10, 0}}, FileInfo::CreatedOnDisk);
    bench.make({0, 10, 0})->start();
    g_makings.clear();
    bench.answerWhole(10);
    QCOMPARE(g_makings.size(), 1);
    const Making making = g_makings.constFirst();
    QCOMPARE(making.syncEveryBytes, 0);
    QCOMPARE(making.placing, char(0x50));
    QCOMPARE(making.progressStep, 32768);
    QCOMPARE(making.parent, nullptr);
}

void tst_WwwDownloadSectionWriter::aLateFailureDoesNotUndoWhatIsWritten()
{
    SectionBench bench;
    bench.useFolder();
    bench.addFile(10, {{0, 10, 0}}, FileInfo::CreatedOnDisk);
    WwwDownloadSection *section = bench.make({0, 10, 0});
    section->start();
    bench.answerWhole(10);
    QTRY_VERIFY(bench.fileWriter() && bench.fileWriter()->isOpen());
    // By the same signal the section has learnt that all is written, and asked the writer to close.
    connect(bench.fileWriter(), &FileDataAsyncWriter::dataProcessed, this,
            [&bench] { Q_EMIT bench.fileWriter()->failed(); });
    bench.finishWith("0123456789"_ba);
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(section->isFinished());
    QVERIFY(!section->isLastErrorFileError());
    QCOMPARE(section->section(), (AbstractDownloadSection{0, 10, 10}));
}

void tst_WwwDownloadSectionWriter::aSectionThatIsGoneWritesNothing()
{
    SectionBench bench;
    bench.make({0, 10, 0})->start();
    bench.answerWhole(10);
    QTRY_VERIFY(bench.memoryWriter()->isOpen());
    bench.destroySection();
    if (bench.reply())
        bench.reply()->sendData("0123456789"_ba);
    QVERIFY(bench.info->content.isEmpty());
    QTRY_VERIFY(!bench.reply());
    QCOMPARE(bench.chief->outCount(), 0);
}

void tst_WwwDownloadSectionWriter::aCutTransferIsResumedOnDisk()
{
    constexpr qint64 kSize = 3 * 1024 * 1024 + 7;
    constexpr qint64 kFirst = 1024 * 1024;
    ScriptedServer server;
    ScriptedResponse cut = ScriptedResponse::file(kSeed, kSize);
    cut.cutAfter = kFirst;
    server.setResponses("/file.bin"_ba, {cut, ScriptedResponse::file(kSeed, kSize)});

    SectionBench bench(new TestAccessChief);
    bench.useFolder();
    bench.info->url = server.url(u"/file.bin"_s);
    bench.mirrors->setMirrors(bench.info->sourceInfo(), {});
    const AbstractDownloadSection whole{0, kSize, 0};
    bench.addFile(kSize, {whole}, FileInfo::CreatedOnDisk);
    WwwDownloadSection *section = bench.make(whole);
    section->setWriterThread(bench.writersThread());
    section->start();
    QVERIFY(bench.waitUntilIdle());
    QCOMPARE(section->lastError().code, int(QNetworkReply::RemoteHostClosedError));
    const qint64 done = section->section().downloaded;
    QVERIFY(done > 0 && done <= kFirst);
    QCOMPARE(TestFiles::readFile(bench.path(u"file.bin"_s)).left(done), TestFiles::content(kSeed, 0, done));

    section->start();
    QVERIFY(bench.waitUntilIdle());
    QVERIFY(!section->lastError());
    QVERIFY(section->isFinished());
    QCOMPARE(server.requests().last().header("Range"_ba), "bytes="_ba + QByteArray::number(done) + '-');
    QCOMPARE(bench.info->resumeSupport, int(AbstractDownloadPersistentInfo::ResumeSupported));
    QCOMPARE(TestFiles::sha256OfFile(bench.path(u"file.bin"_s)), TestFiles::sha256OfContent(kSeed, kSize));
    QVERIFY(bench.connections().isEmpty());
}

QTEST_GUILESS_MAIN(tst_WwwDownloadSectionWriter)
#include "tst_wwwdownloadsection_writer.moc"
