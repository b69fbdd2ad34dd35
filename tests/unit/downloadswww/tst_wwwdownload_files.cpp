// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <inet/qt/download/framework/fileerror.h>
#include <tests/support/downloadfixture.h>

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <cerrno>
#include <csignal>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

using Command = AbstractDownloadCommand;
using Record = AbstractDownloadPersistentInfo;
using Reaction = AbstractDownloadExistingFileReaction;
using Action = AbstractDownloadFileExistsAction;

namespace
{

const QByteArray kBody = "0123456789"_ba;

struct Bench : DownloadFixture {
    Bench() { watch(&download); }

    void startAt(const Record &info)
    {
        download.setInfo(info);
        events.clear();
        download.doCommand(Command::Start);
    }
    void runToTheEnd(const Record &info)
    {
        startAt(info);
        answer(kBody);
        QTRY_VERIFY(!download.isRunning());
    }
    QSharedPointer<WwwDownloadSection> section() const { return download.sections(true).first(); }

    WwwDownload download{kDownloadId, chief, userAgents, nullptr};
};

/// Keeps a thread from doing anything else while it lives.
class Blockade
{
public:
    explicit Blockade(QThread *thread)
    {
        m_inThread.moveToThread(thread);
        QMetaObject::invokeMethod(&m_inThread, [this] {
            m_gate.acquire();
            m_passed.release();
        });
    }
    ~Blockade()
    {
        m_gate.release();
        m_passed.acquire();
    }

private:
    QObject m_inThread;
    QSemaphore m_gate;
    QSemaphore m_passed;

    Q_DISABLE_COPY_MOVE(Blockade)
};

/// While it lives no file of this process grows beyond so many bytes.
class SizeLimit
{
public:
    explicit SizeLimit(rlim_t bytes)
    {
        m_formerHandler = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_former);
        const rlimit limit{bytes, m_former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~SizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_former);
        std::signal(SIGXFSZ, m_formerHandler);
    }

private:
    rlimit m_former = {};
    void (*m_formerHandler)(int) = nullptr;

    Q_DISABLE_COPY_MOVE(SizeLimit)
};

Record recordWithPendingContent(Bench &bench, const QByteArray &content, qint64 size)
{
    Record info = bench.recordWithFile(size, {{0, size, size}});
    info.destinationType = Record::ToMemory;
    info.content = content;
    info.setFinished(true, true);
    bench.download.setInfo(info);
    info.destinationType = Record::ToFolder;
    return info;
}

}

class TestWwwDownloadFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void folderIsTheOneDestination();
    void writersThreadIsTakenOnce();
    void filesAreMadeInTheWritersThread();
    void writersThreadMayChangeOnTheWay();
    void fileIsMadeBeforeTheFirstByte();
    void fileIsMadeOnce();
    void reactionToExistingFile_data();
    void reactionToExistingFile();
    void changedReactionCounts();
    void questionIsRelayedAndAnswered_data();
    void questionIsRelayedAndAnswered();
    void openQuestionIsWithdrawnByAStop_data();
    void openQuestionIsWithdrawnByAStop();
    void answerWithoutQuestionIsIgnored();
    void failedFileOperationEndsTheRun();
    void failedFileOperationWhileStoppingIsTheLastError();
    void doneOperationsCountInSpiteOfAnError();
    void failedWriteOfPendingContentEndsTheRun();
    void headersAreRelayed();
};

void TestWwwDownloadFiles::folderIsTheOneDestination()
{
    const Bench bench;
    QCOMPARE(bench.download.supportedDestinations(), QSet<int>{1});
    QVERIFY(bench.download.supportsWriteOffset());
}

void TestWwwDownloadFiles::writersThreadIsTakenOnce()
{
    Bench bench;
    QVERIFY(!bench.download.setWritersThread(nullptr));
    QVERIFY(bench.download.setWritersThread(bench.writersThread()));
    QVERIFY(bench.download.setWritersThread(bench.writersThread()));
    QVERIFY(!bench.download.setWritersThread(nullptr));
    bench.runToTheEnd(bench.record());
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
}

void TestWwwDownloadFiles::filesAreMadeInTheWritersThread()
{
    Bench bench;
    bench.download.setWritersThread(bench.writersThread());
    bench.startAt(bench.record());
    {
        const Blockade blockade(bench.writersThread());
        bench.answer(kBody);
        QCoreApplication::processEvents();
        QVERIFY(bench.names().isEmpty());
        QVERIFY(bench.download.isRunning());
    }
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
}

void TestWwwDownloadFiles::writersThreadMayChangeOnTheWay()
{
    Bench bench;
    bench.startAt(bench.record());
    bench.begin(10, kBody.left(4));
    QTRY_COMPARE(bench.download.bytesDownloaded(), 4);
    QVERIFY(bench.download.setWritersThread(bench.writersThread()));
    bench.reply()->sendData(kBody.mid(4));
    bench.reply()->end();
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
}

void TestWwwDownloadFiles::fileIsMadeBeforeTheFirstByte()
{
    Bench bench;
    QSignalSpy created(&bench.download, &WwwDownload::fileCreated);
    QStringList namesWhenCreated;
    connect(&bench.download, &WwwDownload::fileCreated, this, [&] { namesWhenCreated = bench.names(); });
    bench.startAt(bench.record());
    bench.begin(10, kBody.left(4));
    QCOMPARE(bench.events, (QStringList{u"running 1"_s, u"changed 0"_s, u"files 1"_s}));
    QVERIFY(bench.names().isEmpty());
    QVERIFY(created.wait());
    QCOMPARE(namesWhenCreated, QStringList{u"file.bin.part"_s});
    QCOMPARE(bench.events.mid(3), (QStringList{u"changed 1"_s, u"files 0"_s}));
    const AbstractDownloadFileInfo file = bench.download.info().files.first();
    QVERIFY(file.isOnDisk());
    QCOMPARE(file.pathOnDisk, u"file.bin.part"_s);
    QTRY_COMPARE(bench.content(u"file.bin.part"_s), kBody.left(4));
}

void TestWwwDownloadFiles::fileIsMadeOnce()
{
    Bench bench;
    QSignalSpy created(&bench.download, &WwwDownload::fileCreated);
    bench.startAt(bench.record());
    bench.begin(10, kBody.left(4));
    Q_EMIT bench.section()->waitingFileCreate();
    Q_EMIT bench.section()->waitingFileCreate();
    QCOMPARE(bench.events.count(u"files 1"_s), 1);
    QTRY_COMPARE(bench.download.bytesDownloaded(), 4);
    QCOMPARE(created.size(), 1);
    QCOMPARE(bench.events.count(u"files 0"_s), 1);
    QCOMPARE(bench.names(), QStringList{u"file.bin.part"_s});
}

void TestWwwDownloadFiles::reactionToExistingFile_data()
{
    QTest::addColumn<Reaction>("ofRecord");
    QTest::addColumn<Reaction>("ofSettings");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QByteArray>("content");
    const QStringList both{u"file (1).bin"_s, u"file.bin"_s};
    const QStringList one{u"file.bin"_s};
    QTest::newRow("a free name is taken by default") << Reaction::NotSet << Reaction::Rename << both << "old"_ba;
    QTest::newRow("the settings may say to overwrite") << Reaction::NotSet << Reaction::Overwrite << one << kBody;
    QTest::newRow("the settings may say to leave it alone") << Reaction::NotSet << Reaction::Skip << one << "old"_ba;
    QTest::newRow("the record has the last word") << Reaction::Rename << Reaction::Overwrite << both << "old"_ba;
    QTest::newRow("to overwrite, too") << Reaction::Overwrite << Reaction::Skip << one << kBody;
}

void TestWwwDownloadFiles::reactionToExistingFile()
{
    QFETCH(Reaction, ofRecord);
    QFETCH(Reaction, ofSettings);
    QFETCH(QStringList, names);
    QFETCH(QByteArray, content);
    Bench bench;
    QCOMPARE(bench.download.settings().existingFileReaction, Reaction::Rename);
    bench.download.setSettings({ofSettings});
    QCOMPARE(bench.download.settings().existingFileReaction, ofSettings);
    bench.write(u"file.bin"_s, "old"_ba);
    Record info = bench.record();
    info.existingFileReaction = ofRecord;
    bench.runToTheEnd(info);
    QCOMPARE(bench.names(), names);
    QCOMPARE(bench.content(u"file.bin"_s), content);
    QCOMPARE(bool(bench.download.lastError()), ofSettings == Reaction::Skip && ofRecord == Reaction::NotSet);
}

void TestWwwDownloadFiles::changedReactionCounts()
{
    Bench bench;
    Record info = bench.record();
    info.existingFileReaction = Reaction::Skip;
    bench.startAt(info);
    bench.begin(10, kBody.left(4));
    QTRY_COMPARE(bench.download.bytesDownloaded(), 4);
    bench.write(u"file.bin"_s, "old"_ba);
    info.existingFileReaction = Reaction::NotSet;
    bench.download.updateInfoFields(info, Record::FieldNaming, BitFlagsUpdateMode::Replace);
    bench.download.setSettings({Reaction::Overwrite});
    bench.reply()->sendData(kBody.mid(4));
    bench.reply()->end();
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.names(), QStringList{u"file.bin"_s});
    QCOMPARE(bench.content(u"file.bin"_s), kBody);
}

void TestWwwDownloadFiles::questionIsRelayedAndAnswered_data()
{
    QTest::addColumn<Action>("action");
    QTest::addColumn<bool>("inThread");
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QByteArray>("content");
    const QStringList both{u"file (1).bin"_s, u"file.bin"_s};
    const QStringList one{u"file.bin"_s};
    QTest::newRow("rename") << Action::Rename << false << both << "old"_ba;
    QTest::newRow("overwrite") << Action::Overwrite << false << one << kBody;
    QTest::newRow("skip") << Action::Skip << false << one << "old"_ba;
    QTest::newRow("rename, in the writers' thread") << Action::Rename << true << both << "old"_ba;
}

void TestWwwDownloadFiles::questionIsRelayedAndAnswered()
{
    QFETCH(Action, action);
    QFETCH(bool, inThread);
    QFETCH(QStringList, names);
    QFETCH(QByteArray, content);
    Bench bench;
    if (inThread)
        bench.download.setWritersThread(bench.writersThread());
    bench.write(u"file.bin"_s, "old"_ba);
    Record info = bench.record();
    info.existingFileReaction = Reaction::Ask;
    bench.startAt(info);
    bench.answer(kBody);
    const QString question = u"exists 0 "_s + bench.path(u"file.bin"_s);
    QTRY_VERIFY(bench.events.contains(question));
    bench.onEvent = [&](const QString &event) {
        if (event.startsWith(u"exists "_s))
            bench.download.fileExistsAction(0, action);
    };
    bench.download.fileExistsAction(0, action);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.events.filter(u"exists "_s), QStringList{question});
    const bool isRefused = action == Action::Skip;
    const QString applied = u"applied 0 %1 "_s.arg(int(action));
    QCOMPARE(bench.events.filter(applied).isEmpty(), false);
    QCOMPARE(bench.events.contains(applied + u'0'), !isRefused);
    QCOMPARE(bool(bench.download.lastError()), isRefused);
    QCOMPARE(bench.names(), names);
    QCOMPARE(bench.content(u"file.bin"_s), content);
}

void TestWwwDownloadFiles::openQuestionIsWithdrawnByAStop_data()
{
    QTest::addColumn<bool>("inThread");
    QTest::addColumn<bool>("wasAsked");
    QTest::newRow("after it was asked") << false << true;
    QTest::newRow("while it is on its way") << false << false;
    QTest::newRow("after it was asked, in the writers' thread") << true << true;
    QTest::newRow("while it is on its way, in the writers' thread") << true << false;
}

void TestWwwDownloadFiles::openQuestionIsWithdrawnByAStop()
{
    QFETCH(bool, inThread);
    QFETCH(bool, wasAsked);
    Bench bench;
    if (inThread)
        bench.download.setWritersThread(bench.writersThread());
    bench.write(u"file.bin"_s, "old"_ba);
    Record info = bench.record();
    info.existingFileReaction = Reaction::Ask;
    bench.startAt(info);
    bench.begin(10, {});
    const auto isAsked = [&bench] { return !bench.events.filter(u"exists"_s).isEmpty(); };
    if (wasAsked)
        QTRY_VERIFY(isAsked());
    bench.download.doCommand(Command::Stop);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(isAsked(), wasAsked);
    QVERIFY(!bench.download.info().isLastErrorSignificant());
    QCOMPARE(bench.names(), QStringList{u"file.bin"_s});
}

void TestWwwDownloadFiles::answerWithoutQuestionIsIgnored()
{
    Bench bench;
    bench.download.fileExistsAction(0, Action::Overwrite);
    bench.runToTheEnd(bench.record());
    bench.download.fileExistsAction(0, Action::Overwrite);
    QCoreApplication::processEvents();
    QVERIFY(bench.events.filter(u"applied"_s).isEmpty());
}

void TestWwwDownloadFiles::failedFileOperationEndsTheRun()
{
    Bench bench;
    bench.write(u"blocker"_s, "a file"_ba);
    Record info = bench.record();
    info.folder = bench.path(u"blocker"_s);
    bench.startAt(info);
    bench.begin(10, kBody.left(4));
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.lastError().category, std::string(ErrorCategory::kFile));
    QVERIFY(bench.download.lastErrorTime().isValid());
    QCOMPARE(bench.events.mid(2),
             (QStringList{u"files 1"_s, u"files 0"_s, u"stopping"_s, u"changed 1"_s, u"running 0"_s}));
    QVERIFY(!bench.download.info().files.first().isOnDisk());
}

void TestWwwDownloadFiles::failedFileOperationWhileStoppingIsTheLastError()
{
    Bench bench;
    bench.write(u"blocker"_s, "a file"_ba);
    Record info = bench.record();
    info.folder = bench.path(u"blocker"_s);
    bench.startAt(info);
    bench.begin(10, kBody.left(4));
    bench.download.doCommand(Command::Stop);
    QVERIFY(bench.download.isStopping());
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.download.info().lastError.category, std::string(ErrorCategory::kFile));
    QCOMPARE(bench.events.count(u"stopping"_s), 1);
    QCOMPARE(bench.events.last(), u"running 0"_s);
}

// A file that was made, but did not get its final name, is not to be made a second time.
void TestWwwDownloadFiles::doneOperationsCountInSpiteOfAnError()
{
    Bench bench;
    bench.startAt(bench.recordWithFile(10, {{0, 10, 10}}));
    {
        const SizeLimit limit(5);
        QTRY_VERIFY(!bench.download.isRunning());
    }
    QVERIFY(bench.download.lastError());
    QVERIFY(!bench.download.info().isFinished());
    QVERIFY(bench.download.info().files.first().isOnDisk());
    bench.download.doCommand(Command::Start);
    QTRY_VERIFY(!bench.download.isRunning());
    QCOMPARE(bench.names(), QStringList{u"file.bin.part"_s});
}

void TestWwwDownloadFiles::failedWriteOfPendingContentEndsTheRun()
{
    Bench bench;
    bench.startAt(recordWithPendingContent(bench, QByteArray(20, 'p'), 10));
    {
        const SizeLimit limit(15);
        QTRY_VERIFY(!bench.download.isRunning());
    }
    const AbstractError error = bench.download.info().lastError;
    QVERIFY(error.code != 0);
    QCOMPARE(error.category, std::string(ErrorCategory::kFile));
    QCOMPARE(error.source,
             FileError::sourceWith(errorSource("inet/qt/download/downloadswww/wwwdownload.cpp", 1610), EFBIG));
    QVERIFY(!error.description.empty());
    QVERIFY(!bench.download.info().isFinished());
    QCOMPARE(bench.events.count(u"files 1"_s), bench.events.count(u"files 0"_s));

    bench.download.doCommand(Command::Start);
    QTRY_VERIFY(!bench.download.isRunning());
    QVERIFY(bench.download.info().isFinished());
    QCOMPARE(bench.content(u"file.bin"_s), QByteArray(20, 'p'));
}

void TestWwwDownloadFiles::headersAreRelayed()
{
    Bench bench;
    bench.startAt(bench.record());
    QCOMPARE(bench.requestHeaders.size(), 1);
    QCOMPARE(bench.requestHeaders.first().first, 1);
    bench.begin(10, {}, {{"X-One"_ba, "1"_ba}});
    QCOMPARE(bench.responseHeaders.size(), 1);
    QCOMPARE(bench.responseHeaders.first().first, 1);
    QCOMPARE(bench.responseHeaders.first().second.first(), u"HTTP/1.1 200 OK"_s);

    const QString header = u"[Download #7] "_s;
    for (const auto &[title, relayed] : {qMakePair(u"request headers:"_s, bench.requestHeaders.first().second),
                                         qMakePair(u"response headers:"_s, bench.responseHeaders.first().second)}) {
        QStringList expected{header + title};
        for (const QString &line : relayed)
            expected.append(header + line);
        QVERIFY(expected.size() > 2);
        QCOMPARE(bench.lines.mid(bench.lines.indexOf(expected.first()), expected.size()), expected);
    }
}

QTEST_GUILESS_MAIN(TestWwwDownloadFiles)
#include "tst_wwwdownload_files.moc"
