// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownloadfileops.h>
#include <inet/qt/download/framework/ownfiles.h>

#include <tests/unit/framework/filecontent.h>
#include <tests/unit/framework/fileopsbench.h>
#include <tests/unit/framework/systemcalls.h>

#include <QDir>
#include <QFile>
#include <QFileDevice>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using Ops = AbstractDownloadFileOps;
using Bench = FileOpsBench;
using Reaction = AbstractDownloadExistingFileReaction;
using Action = AbstractDownloadFileExistsAction;

class TestFileOpsFinishing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void finishingCutsAndRenames_data();
    void finishingCutsAndRenames();
    void missingBytesAreAnError();
    void aFileOfItsFinalNameOnlyGetsItsLength();
    void aFileMadeInTheSameListIsExtended();
    void finishingTwiceIsHarmless();
    void aGoneFileIsAnError();
    void aFileOfEqualLengthIsNotTakenForTheFinishedOne_data();
    void aFileOfEqualLengthIsNotTakenForTheFinishedOne();
    void aFinishedFileIsKnownByItselfAlone();
    void anotherFileInItsPlaceIsNotFinished();
    void aFileThatIsAnothersByNowIsLeftAsItIs_data();
    void aFileThatIsAnothersByNowIsLeftAsItIs();
    void aFileExchangedInTheLastMomentDoesNotGetTheName();
    void finishingDoesNotTakeTheOldFileForTheNew();
    void finishingReactsToAnExistingFile_data();
    void finishingReactsToAnExistingFile();
    void finishingPushesFileAndFolderToTheDisk();
    void aFileThatTheDiskDoesNotTakeIsAnError();
    void renamesWithoutHelpOfTheFileSystem_data();
    void renamesWithoutHelpOfTheFileSystem();
    void finishingStaysInTheFolder_data();
    void finishingStaysInTheFolder();
    void finishingDoesNotFollowLinks();

    void aQuestionIsAnswered_data();
    void aQuestionIsAnswered();
    void anAnswerCountsForOneFile();
    void anAnswerHoldsUntilTheFileHasItsName();
    void anAnswerDoesNotOutliveItsFile();
    void anAnswerFromInsideTheQuestionIsTaken();
    void answersNobodyAskedForAreIgnored();
    void aWithdrawnQuestionEndsTheOperations();
    void withdrawingWithoutAQuestionDoesNothing();
    void aRequestBehindAQuestionWaits();
    void theFirstErrorEndsTheList();

    void anEmptyListIsAnsweredLater();
    void everyRequestIsAnsweredInOrder();
    void worksInAThreadOfItsOwn();

private:
    QString at(const QString &name) const { return m_dir->filePath(name); }
    QString folder() const { return m_dir->path(); }
    QStringList names() const
    {
        return QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestFileOpsFinishing::init()
{
    SystemCalls::reset();
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestFileOpsFinishing::finishingCutsAndRenames_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("of exact length") << qint64(6) << QByteArray("abcdef");
    QTest::newRow("longer than it should be") << qint64(4) << QByteArray("abcd");
    QTest::newRow("that should be empty") << qint64(0) << QByteArray();
    QTest::newRow("of unknown length") << qint64(-1) << QByteArray("abcdef");
}

void TestFileOpsFinishing::finishingCutsAndRenames()
{
    QFETCH(qint64, size);
    QFETCH(QByteArray, after);
    makeFile(at(u"a.bin.part"_s), "abcdef");
    Bench bench;
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, size)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.result(), u"a.bin"_s);
    QCOMPARE(names(), QStringList{u"a.bin"_s});
    QCOMPARE(contentOf(at(u"a.bin"_s)), after);
}

void TestFileOpsFinishing::missingBytesAreAnError()
{
    makeFile(at(u"a.bin.part"_s), "abcdef");
    Bench bench;
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 1234)});
    QVERIFY(bench.error.code != 0);
    QCOMPARE(bench.error.category, std::string("QtFileError"));
    QVERIFY2(bench.errorText().contains(u"6 of 1234"_s), qPrintable(bench.errorText()));
    QCOMPARE(names(), QStringList{u"a.bin.part"_s});
    QCOMPARE(contentOf(at(u"a.bin.part"_s)), "abcdef");
}

void TestFileOpsFinishing::aFileOfItsFinalNameOnlyGetsItsLength()
{
    makeFile(at(u"a.bin"_s), "abcdef");
    Bench bench;
    bench.perform(folder(), {toFinish(u"a.bin"_s, 3)});
    QVERIFY(!bench.error);
    QCOMPARE(bench.result(), u"a.bin"_s);
    QCOMPARE(contentOf(at(u"a.bin"_s)), "abc");
}

void TestFileOpsFinishing::aFileMadeInTheSameListIsExtended()
{
    makeFile(at(u"a.bin"_s), "old");
    Bench bench;
    bench.perform(folder(), {toCreate(u"a.bin"_s, 5), toFinish(u"a.bin.part"_s, 5)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.done, 2);
    QCOMPARE(bench.result(1), u"a (1).bin"_s);
    QCOMPARE(contentOf(at(u"a (1).bin"_s)), QByteArray(5, '\0'));
    QCOMPARE(contentOf(at(u"a.bin"_s)), "old");
}

void TestFileOpsFinishing::finishingTwiceIsHarmless()
{
    makeFile(at(u"a.bin.part"_s), "abc");
    Bench bench;
    for (int i = 0; i < 2; ++i) {
        bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
        QVERIFY2(!bench.error, qPrintable(bench.errorText()));
        QCOMPARE(bench.result(), u"a.bin"_s);
    }
    QCOMPARE(names(), QStringList{u"a.bin"_s});
}

void TestFileOpsFinishing::aGoneFileIsAnError()
{
    makeFile(at(u"a.bin"_s), "of other length");
    Bench bench;
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QVERIFY(bench.error.code != 0);
    QVERIFY2(bench.errorText().contains(at(u"a.bin.part"_s)), qPrintable(bench.errorText()));
    QVERIFY2(bench.errorText().contains(u"Restart"_s), qPrintable(bench.errorText()));
}

void TestFileOpsFinishing::aFileOfEqualLengthIsNotTakenForTheFinishedOne_data()
{
    QTest::addColumn<bool>("filesAreAlike");
    QTest::newRow("where files are known") << false;
    QTest::newRow("where the disk knows nothing of its files") << true;
}

void TestFileOpsFinishing::aFileOfEqualLengthIsNotTakenForTheFinishedOne()
{
    QFETCH(bool, filesAreAlike);
    SystemCalls::filesAreAlike = filesAreAlike;
    Bench bench;
    bench.perform(folder(), {toCreate(u"a.bin"_s, 3)});
    makeFile(at(u"a.bin.part"_s), "abc");
    makeFile(at(u"a.bin"_s), "old");
    QVERIFY(QFile::remove(at(u"a.bin.part"_s)));
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QVERIFY(bench.error.code != 0);
    QVERIFY2(bench.errorText().contains(u"Restart"_s), qPrintable(bench.errorText()));
    QCOMPARE(contentOf(at(u"a.bin"_s)), "old");
}

void TestFileOpsFinishing::aFinishedFileIsKnownByItselfAlone()
{
    Bench bench;
    bench.perform(folder(), {toCreate(u"a.bin"_s, 3)});
    makeFile(at(u"a.bin.part"_s), "abc");
    QVERIFY(QFile::rename(at(u"a.bin.part"_s), at(u"a.bin"_s)));
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.result(), u"a.bin"_s);
    QCOMPARE(names(), QStringList{u"a.bin"_s});
}

void TestFileOpsFinishing::anotherFileInItsPlaceIsNotFinished()
{
    Bench bench;
    bench.perform(folder(), {toCreate(u"a.bin"_s, 3)});
    makeFile(at(u"a.bin.part"_s), "abc");
    exchange(at(u"a.bin.part"_s), "foreign");
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QVERIFY(bench.error.code != 0);
    QVERIFY2(bench.errorText().contains(u"another file"_s), qPrintable(bench.errorText()));
    QCOMPARE(names(), QStringList{u"a.bin.part"_s});
    QCOMPARE(contentOf(at(u"a.bin.part"_s)), "foreign");
}

void TestFileOpsFinishing::aFileThatIsAnothersByNowIsLeftAsItIs_data()
{
    QTest::addColumn<int>("answers");
    QTest::newRow("when it is to be cut") << 0;
    QTest::newRow("when it is to get its name") << 1;
}

void TestFileOpsFinishing::aFileThatIsAnothersByNowIsLeftAsItIs()
{
    QFETCH(int, answers);
    makeFile(at(u"a.bin.part"_s), "abcdef");
    const quint64 given = OwnFiles::setPermission(at(u"a.bin.part"_s), [&answers] { return answers-- > 0; });
    Bench bench;
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, answers == 0 ? 3 : 6)});
    OwnFiles::takeBackPermission(at(u"a.bin.part"_s), given);
    QCOMPARE(bench.done, 0);
    QVERIFY2(bench.errorText().contains(u"another process"_s), qPrintable(bench.errorText()));
    QCOMPARE(names(), QStringList{u"a.bin.part"_s});
    QCOMPARE(contentOf(at(u"a.bin.part"_s)), "abcdef");
}

void TestFileOpsFinishing::aFileExchangedInTheLastMomentDoesNotGetTheName()
{
    Bench bench;
    bench.perform(folder(), {toCreate(u"a.bin"_s, 3)});
    makeFile(at(u"a.bin.part"_s), "abc");
    SystemCalls::atRenaming = [this] { exchange(at(u"a.bin.part"_s), "foreign"); };
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QVERIFY2(bench.errorText().contains(u"another file"_s), qPrintable(bench.errorText()));
    QCOMPARE(names(), QStringList{u"a.bin.part"_s});
    QCOMPARE(contentOf(at(u"a.bin.part"_s)), "foreign");
}

void TestFileOpsFinishing::finishingDoesNotTakeTheOldFileForTheNew()
{
    makeFile(at(u"a.bin"_s), "old");
    Bench bench;
    bench.ops->setExistingFileReaction(Reaction::Overwrite);
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QVERIFY(bench.error.code != 0);
}

void TestFileOpsFinishing::finishingReactsToAnExistingFile_data()
{
    QTest::addColumn<Reaction>("reaction");
    QTest::addColumn<QString>("result");
    QTest::addColumn<int>("code");
    QTest::newRow("by default it takes a free name") << Reaction::NotSet << u"a (2).bin"_s << 0;
    QTest::newRow("it takes a free name") << Reaction::Rename << u"a (2).bin"_s << 0;
    QTest::newRow("it replaces") << Reaction::Overwrite << u"a.bin"_s << 0;
    QTest::newRow("it fails") << Reaction::Skip << QString() << int(QFileDevice::RenameError);
}

void TestFileOpsFinishing::finishingReactsToAnExistingFile()
{
    QFETCH(Reaction, reaction);
    QFETCH(QString, result);
    QFETCH(int, code);
    makeFile(at(u"a.bin"_s), "old");
    makeFile(at(u"a (1).bin.part"_s), "another download");
    makeFile(at(u"a.bin.part"_s), "new");
    Bench bench;
    bench.ops->setExistingFileReaction(reaction);
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QCOMPARE(bench.error.code, code);
    QCOMPARE(bench.result(), result);
    QCOMPARE(contentOf(at(u"a.bin"_s)), result == u"a.bin"_s ? "new" : "old");
    QCOMPARE(contentOf(at(result.isEmpty() ? u"a.bin.part"_s : result)), "new");
    QCOMPARE(contentOf(at(u"a (1).bin.part"_s)), "another download");
}

void TestFileOpsFinishing::finishingPushesFileAndFolderToTheDisk()
{
    makeFile(at(u"a.bin.part"_s), "abc");
    Bench bench;
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QCOMPARE(SystemCalls::fsyncCount, 2);
}

void TestFileOpsFinishing::aFileThatTheDiskDoesNotTakeIsAnError()
{
    makeFile(at(u"a.bin.part"_s), "abc");
    SystemCalls::fsyncError = EIO;
    Bench bench;
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QVERIFY(bench.error.code != 0);
    QVERIFY(bench.errorText().contains(u"Input/output error"_s));
    QCOMPARE(names(), QStringList{u"a.bin.part"_s});
}

void TestFileOpsFinishing::renamesWithoutHelpOfTheFileSystem_data()
{
    QTest::addColumn<int>("linkatError");
    QTest::addColumn<bool>("conflict");
    QTest::addColumn<QString>("result");
    QTest::newRow("by a second name") << 0 << false << u"a.bin"_s;
    QTest::newRow("by a second name, around what exists") << 0 << true << u"a (1).bin"_s;
    QTest::newRow("without second names") << EPERM << false << u"a.bin"_s;
    QTest::newRow("without second names, around what exists") << EPERM << true << u"a (1).bin"_s;
}

void TestFileOpsFinishing::renamesWithoutHelpOfTheFileSystem()
{
    QFETCH(int, linkatError);
    QFETCH(bool, conflict);
    QFETCH(QString, result);
    SystemCalls::renameat2Error = EINVAL;
    SystemCalls::linkatError = linkatError;
    makeFile(at(u"a.bin.part"_s), "new");
    if (conflict)
        makeFile(at(u"a.bin"_s), "old");
    Bench bench;
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.result(), result);
    QCOMPARE(contentOf(at(result)), "new");
    QVERIFY(!QFileInfo::exists(at(u"a.bin.part"_s)));
    if (conflict)
        QCOMPARE(contentOf(at(u"a.bin"_s)), "old");
}

void TestFileOpsFinishing::finishingStaysInTheFolder_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("a way out") << u"../victim.part"_s;
    QTest::newRow("a way out through a sub-folder") << u"sub/../../victim.part"_s;
    QTest::newRow("an absolute path") << u"/victim.part"_s;
    QTest::newRow("a link to a folder") << u"link/victim.part"_s;
    QTest::newRow("no name") << u"sub/"_s;
    QTest::newRow("nothing") << QString();
    QTest::newRow("the folder itself") << u"."_s;
}

void TestFileOpsFinishing::finishingStaysInTheFolder()
{
    QFETCH(QString, path);
    makeFile(at(u"victim.part"_s), "precious");
    const QString in = at(u"in"_s);
    QVERIFY(QDir(folder()).mkpath(u"in/sub"_s));
    QVERIFY(QFile::link(folder(), in + u"/link"_s));
    Bench bench;
    bench.perform(in, {toFinish(path.startsWith(u'/') ? at(u"victim.part"_s) : path, 3)});
    QVERIFY(bench.error.code != 0);
    QCOMPARE(contentOf(at(u"victim.part"_s)), "precious");
    makeFile(in + u"/sub/own.part"_s, "abc");
    bench.perform(in, {toFinish(u"sub/own.part"_s, 3)});
    QVERIFY2(!bench.error, qPrintable(bench.errorText()));
    QCOMPARE(bench.result(), u"sub/own"_s);
}

void TestFileOpsFinishing::finishingDoesNotFollowLinks()
{
    makeFile(at(u"victim"_s), "precious");
    QVERIFY(QFile::link(at(u"victim"_s), at(u"a.bin.part"_s)));
    Bench bench;
    bench.perform(folder(), {toFinish(u"a.bin.part"_s, 3)});
    QVERIFY2(bench.errorText().contains(u": it is a link, not a plain file. Move away"_s),
             qPrintable(bench.errorText()));
    QCOMPARE(contentOf(at(u"victim"_s)), "precious");
    QCOMPARE(::mkfifo(QFile::encodeName(at(u"pipe.part"_s)).constData(), 0600), 0);
    bench.perform(folder(), {toFinish(u"pipe.part"_s, 3)});
    QVERIFY2(bench.errorText().contains(u": it is a pipe, not a plain file"_s), qPrintable(bench.errorText()));
}

void TestFileOpsFinishing::aQuestionIsAnswered_data()
{
    QTest::addColumn<bool>("finishing");
    QTest::addColumn<Action>("action");
    QTest::addColumn<QString>("result");
    QTest::addColumn<int>("code");
    QTest::newRow("creating, rename") << false << Action::Rename << u"a (1).bin.part"_s << 0;
    QTest::newRow("creating, overwrite") << false << Action::Overwrite << u"a.bin.part"_s << 0;
    QTest::newRow("creating, skip") << false << Action::Skip << QString() << int(QFileDevice::OpenError);
    QTest::newRow("finishing, rename") << true << Action::Rename << u"a (1).bin"_s << 0;
    QTest::newRow("finishing, overwrite") << true << Action::Overwrite << u"a.bin"_s << 0;
    QTest::newRow("finishing, skip") << true << Action::Skip << QString() << int(QFileDevice::RenameError);
}

void TestFileOpsFinishing::aQuestionIsAnswered()
{
    QFETCH(bool, finishing);
    QFETCH(Action, action);
    QFETCH(QString, result);
    QFETCH(int, code);
    makeFile(at(u"a.bin"_s), "old");
    if (finishing)
        makeFile(at(u"a.bin.part"_s), "new");
    Bench bench;
    bench.ask(folder(), {finishing ? toFinish(u"a.bin.part"_s, 3, 7) : toCreate(u"a.bin"_s, 3, 7)});
    QCOMPARE(bench.askedFor, 7);
    QCOMPARE(bench.inTheWay, QStringList{at(u"a.bin"_s)});
    QCOMPARE(bench.answers, 0);
    bench.ops->fileExistsAction(7, action);
    QTRY_COMPARE(bench.answers, 1);
    QCOMPARE(bench.result(), result);
    QCOMPARE(bench.error.code, code);
    // The action is reported when it has been applied, before the operations end.
    QCOMPARE(bench.applied, QStringList{u"7 %1 %2 0"_s.arg(int(action)).arg(code)});
    QCOMPARE(bench.questions, 1);
}

void TestFileOpsFinishing::anAnswerCountsForOneFile()
{
    makeFile(at(u"a"_s));
    makeFile(at(u"b"_s));
    makeFile(at(u"b.part"_s));
    Bench bench;
    bench.ask(folder(), {toCreate(u"a"_s, 0, 0), toCreate(u"b"_s, 0, 1)});
    bench.ops->fileExistsAction(0, Action::Rename);
    QTRY_COMPARE(bench.questions, 2);
    QCOMPARE(bench.askedFor, 1);
    QCOMPARE(bench.inTheWay, (QStringList{at(u"b"_s), at(u"b.part"_s)}));
    bench.ops->fileExistsAction(1, Action::Overwrite);
    QTRY_COMPARE(bench.answers, 1);
    QCOMPARE(bench.done, 2);
    QCOMPARE(bench.applied.size(), 2);
}

void TestFileOpsFinishing::anAnswerHoldsUntilTheFileHasItsName()
{
    makeFile(at(u"a"_s));
    Bench bench;
    bench.ask(folder(), {toCreate(u"a"_s, 3)});
    bench.ops->fileExistsAction(0, Action::Overwrite);
    QTRY_COMPARE(bench.answers, 1);
    QCOMPARE(bench.result(), u"a.part"_s);
    makeFile(at(u"a.part"_s), "new");
    bench.perform(folder(), {toFinish(u"a.part"_s, 3)});
    QVERIFY2(!bench.error, bench.error.description.c_str());
    QCOMPARE(bench.questions, 1);
    QCOMPARE(names(), QStringList{u"a"_s});
    QCOMPARE(contentOf(at(u"a"_s)), "new");
}

void TestFileOpsFinishing::anAnswerDoesNotOutliveItsFile()
{
    makeFile(at(u"a"_s));
    Bench bench;
    bench.ask(folder(), {toCreate(u"a"_s, 3)});
    bench.ops->fileExistsAction(0, Action::Overwrite);
    QTRY_COMPARE(bench.answers, 1);
    bench.ask(folder(), {toCreate(u"a"_s, 3)});
    QCOMPARE(bench.questions, 2);
}

void TestFileOpsFinishing::anAnswerFromInsideTheQuestionIsTaken()
{
    makeFile(at(u"a"_s));
    Bench bench;
    connect(bench.ops, &Ops::fileExistsActionRequired, bench.ops,
            [&](int index) { bench.ops->fileExistsAction(index, Action::Rename); });
    bench.ops->setExistingFileReaction(Reaction::Ask);
    bench.perform(folder(), {toCreate(u"a"_s)});
    QCOMPARE(bench.result(), u"a (1).part"_s);
}

void TestFileOpsFinishing::answersNobodyAskedForAreIgnored()
{
    makeFile(at(u"a"_s));
    Bench bench;
    bench.ops->fileExistsAction(0, Action::Overwrite);
    bench.ask(folder(), {toCreate(u"a"_s)});
    bench.ops->fileExistsAction(5, Action::Overwrite);
    bench.ops->fileExistsAction(0, Action::Rename);
    bench.ops->fileExistsAction(0, Action::Overwrite);
    QTRY_COMPARE(bench.answers, 1);
    QCOMPARE(bench.result(), u"a (1).part"_s);
    QCoreApplication::processEvents();
    QCOMPARE(bench.applied.size(), 1);
}

void TestFileOpsFinishing::aWithdrawnQuestionEndsTheOperations()
{
    makeFile(at(u"b"_s));
    Bench bench;
    bench.ask(folder(), {toCreate(u"a"_s, 0, 0), toCreate(u"b"_s, 0, 1)});
    bench.ops->withdrawQuestion();
    QCOMPARE(bench.answers, 0);
    QTRY_COMPARE(bench.answers, 1);
    QCOMPARE(bench.done, 1);
    QCOMPARE(bench.error.code, int(GenericErrorCode::OperationAborted));
    QCOMPARE(bench.error.category, std::string("GenericError"));
    bench.ops->fileExistsAction(1, Action::Rename);
    QCoreApplication::processEvents();
    QCOMPARE(bench.answers, 1);
    QCOMPARE(bench.applied, QStringList());
}

void TestFileOpsFinishing::withdrawingWithoutAQuestionDoesNothing()
{
    Bench bench;
    bench.ops->withdrawQuestion();
    bench.perform(folder(), {toCreate(u"a"_s)});
    QVERIFY(!bench.error);
    bench.ops->withdrawQuestion();
    QCoreApplication::processEvents();
    QCOMPARE(bench.answers, 1);
}

void TestFileOpsFinishing::aRequestBehindAQuestionWaits()
{
    makeFile(at(u"a"_s));
    Bench bench;
    bench.ask(folder(), {toCreate(u"a"_s)});
    bench.ops->performInitializeOps(folder(), {toCreate(u"b"_s)});
    QCoreApplication::processEvents();
    QCOMPARE(bench.answers, 0);
    bench.ops->withdrawQuestion();
    QTRY_COMPARE(bench.answers, 2);
    QCOMPARE(bench.result(), u"b.part"_s);
}

void TestFileOpsFinishing::theFirstErrorEndsTheList()
{
    Bench bench;
    bench.perform(folder(), {toCreate(u"a"_s, 0, 0), toFinish(u"gone.part"_s, 3, 1), toCreate(u"c"_s, 0, 2)});
    QCOMPARE(bench.done, 1);
    QVERIFY(bench.error.code != 0);
    QCOMPARE(bench.operations.size(), 3);
    QCOMPARE(names(), QStringList{u"a.part"_s});
}

void TestFileOpsFinishing::anEmptyListIsAnsweredLater()
{
    Bench bench;
    bench.ops->performInitializeOps(folder(), {});
    QCOMPARE(bench.answers, 0);
    QTRY_COMPARE(bench.answers, 1);
    QCOMPARE(bench.done, 0);
    QVERIFY(!bench.error);
}

void TestFileOpsFinishing::everyRequestIsAnsweredInOrder()
{
    Bench bench;
    QStringList folders;
    connect(bench.ops, &Ops::performInitializeOpsFinished, &bench.owner,
            [&](const QString &where) { folders.append(QFileInfo(where).fileName()); });
    for (const QString &name : {u"a"_s, u"b"_s, u"c"_s})
        bench.ops->performInitializeOps(at(name), {toCreate(u"x"_s)});
    QTRY_COMPARE(folders, (QStringList{u"a"_s, u"b"_s, u"c"_s}));
    QCOMPARE(bench.answers, 3);
}

void TestFileOpsFinishing::worksInAThreadOfItsOwn()
{
    Bench bench;
    bench.thread.start();
    bench.ops->moveToThread(&bench.thread);
    makeFile(at(u"a.bin"_s), "old");
    bench.ask(folder(), {toCreate(u"a.bin"_s, 0), toFinish({}, 0)});
    bench.ops->fileExistsAction(0, Action::Rename);
    QTRY_COMPARE(bench.answers, 1);
    QCOMPARE(bench.done, 2);
    QCOMPARE(bench.result(1), u"a (1).bin"_s);
    bench.ask(folder(), {toCreate(u"a.bin"_s)});
    bench.ops->withdrawQuestion();
    QTRY_COMPARE(bench.answers, 2);
    QCOMPARE(bench.error.code, int(GenericErrorCode::OperationAborted));
}

QTEST_GUILESS_MAIN(TestFileOpsFinishing)
#include "tst_abstractdownloadfileops_finishing.moc"
