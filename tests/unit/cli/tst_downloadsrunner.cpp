// SPDX-License-Identifier: MIT
#include <cli/downloadsrunner.h>
#include <cli/questions.h>
#include <cli/standardoutput.h>
#include <tests/unit/cli/runnerbench.h>

#include <QSet>
#include <QTest>

#include <memory>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

using Kind = EngineCommand::Kind;

Arguments get(int count)
{
    Arguments arguments;
    for (int i = 1; i <= count; ++i) {
        DownloadRequest request;
        request.url = QUrl(u"http://a/%1"_s.arg(i));
        arguments.requests.append(request);
    }
    return arguments;
}

Arguments withIds(Command command, const QList<qint64> &ids)
{
    Arguments arguments;
    arguments.command = command;
    arguments.ids = ids;
    return arguments;
}

EngineAnswer answerOf(qint64 id)
{
    EngineAnswer answer;
    answer.ids = {id};
    return answer;
}

EngineAnswer refusal(Failure::Kind kind, qint64 id = 0)
{
    EngineAnswer answer;
    answer.failure = Failure::make(kind, Failure::Subject::of(id));
    return answer;
}

Snapshot row(qint64 id, DownloadState state, Failure::Kind failure = Failure::Kind::None)
{
    Snapshot row;
    row.id = id;
    row.url = QUrl(u"http://a/%1"_s.arg(id));
    row.state = state;
    if (failure != Failure::Kind::None)
        row.failure = Failure::make(failure, Failure::Subject::of(id));
    return row;
}

}

Q_DECLARE_METATYPE(ConnectionsBound)

/// What "get", "resume", "restart" and "finish" ask of an engine, and what they make of its news.
class TestDownloadsRunner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void whatIsAddedIsFollowedToItsEnd();
    void whatCameInThisRunIsToldAndHowItEnded();
    void whyThereWereNotMoreConnectionsIsToldWhereItHelps_data();
    void whyThereWereNotMoreConnectionsIsToldWhereItHelps();
    void whatIsThereAlreadyIsSkipped();
    void whatIsThereAlreadyIsAskedAboutWhereThatIsWanted_data();
    void whatIsThereAlreadyIsAskedAboutWhereThatIsWanted();
    void aFewAreGivenAtATime();
    void whatIsRefusedIsSaidAndTheOthersGoOn();
    void badLinesOfAListAreSaidFirstAndTheOthersRun();
    void theFirstFailureIsTheStatus();
    void eachCommandAsksForItsOwn_data();
    void eachCommandAsksForItsOwn();
    void allThatIsUnfinishedAndNobodysIsResumed();
    void whatAProcessHasThatMayHaveDiedIsResumedToo_data();
    void whatAProcessHasThatMayHaveDiedIsResumedToo();
    void whatIsLeftOutIsNotSaidToBeNothing();
    void theSameDownloadTwiceIsSaidAndEndsOnce();
    void aStopLeavesTheRestAndSaysHowMany();
    void whatIsAnothersNewsIsNotShown();
    void whatIsOfNoDownloadIsARemark();
    void anAnswerGoesToItsQuestion();

private:
    void begin(const Arguments &arguments, Questions *questions = nullptr);
    std::unique_ptr<ScriptedEngine> m_engine;
    Notebook m_notes;
    StandardOutput m_output;
    std::unique_ptr<DownloadsRunner> m_runner;
    QList<ExitStatus> m_done; ///< as often as it was told
};

void TestDownloadsRunner::init()
{
    m_notes.lines.clear();
    m_notes.summaries.clear();
    m_notes.isFinished = false;
}

void TestDownloadsRunner::begin(const Arguments &arguments, Questions *questions)
{
    m_done.clear();
    m_runner.reset();
    m_engine = std::make_unique<ScriptedEngine>();
    m_runner = std::make_unique<DownloadsRunner>(arguments, *m_engine, m_notes, questions, m_output);
    connect(m_runner.get(), &Runner::done, this, [this](ExitStatus status) { m_done.append(status); });
    m_runner->begin();
}

void TestDownloadsRunner::whatIsAddedIsFollowedToItsEnd()
{
    begin(get(1));
    QVERIFY(m_engine->of(Kind::Add).first().flag);
    QVERIFY(m_engine->answerTo(Kind::Add, answerOf(7)));
    m_engine->tellChanged(row(7, DownloadState::Waiting));
    QCOMPARE(m_notes.lines, QStringList());
    m_engine->tellChanged(row(7, DownloadState::Running));
    QCOMPARE(m_notes.lines, QStringList{u"begin 7 http://a/7"_s});
    QVERIFY(m_engine->of(Kind::Close).isEmpty());
    m_engine->tellChanged(row(7, DownloadState::Done));
    QCOMPARE(m_notes.lines.last(), u"end 7 0"_s);
    QVERIFY(m_engine->answerTo(Kind::Close));
    QCOMPARE(m_done.size(), 0);
    m_engine->tellClosed();
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::Done});
}

void TestDownloadsRunner::whatCameInThisRunIsToldAndHowItEnded()
{
    const auto rowWith = [](qint64 id, DownloadState state, qint64 done) {
        Snapshot snapshot =
            row(id, state, state == DownloadState::Failed ? Failure::Kind::Skipped : Failure::Kind::None);
        snapshot.files = {{.name = u"f"_s, .size = 100, .done = done}};
        return snapshot;
    };
    begin(get(3));
    for (qint64 id = 1; id <= 3; ++id)
        QVERIFY(m_engine->answerTo(Kind::Add, answerOf(id)));
    m_engine->tellChanged(rowWith(1, DownloadState::Running, 40));
    m_engine->tellChanged(rowWith(1, DownloadState::Done, 100));
    QCOMPARE(m_notes.summaries.last().fetched, 60);
    // What was there was thrown away on the way.
    m_engine->tellChanged(rowWith(2, DownloadState::Running, 40));
    m_engine->tellChanged(rowWith(2, DownloadState::Running, 0));
    m_engine->tellChanged(row(2, DownloadState::Failed, Failure::Kind::Stopped));
    QVERIFY(m_notes.summaries.last().isStopped && !m_notes.summaries.last().isSkipped);
    m_engine->tellChanged(rowWith(3, DownloadState::Running, 40));
    m_engine->tellChanged(rowWith(3, DownloadState::Running, 0));
    m_engine->tellChanged(rowWith(3, DownloadState::Failed, 100));
    QCOMPARE(m_notes.summaries.last().fetched, 100);
    QVERIFY(m_notes.summaries.last().isSkipped && !m_notes.summaries.last().isStopped);
    QVERIFY(!m_notes.isFinished);
    m_engine->tellClosed();
    QVERIFY(m_notes.isFinished);
}

void TestDownloadsRunner::whyThereWereNotMoreConnectionsIsToldWhereItHelps_data()
{
    QTest::addColumn<ConnectionsBound>("bound");
    QTest::addColumn<bool>("verbose");
    QTest::addColumn<QString>("note");
    using B = ConnectionsBound;
    QTest::newRow("another server would do")
        << B::RangesNotHonoured << false << u"1 connection at most: the server does not honour ranges"_s;
    QTest::newRow("nothing would") << B::SpaceNotTaken << false << u"1 connection at most"_s;
    QTest::newRow("nothing would, and all is asked for")
        << B::SpaceNotTaken << true << u"1 connection at most: the disk space was still being reserved"_s;
}

void TestDownloadsRunner::whyThereWereNotMoreConnectionsIsToldWhereItHelps()
{
    QFETCH(ConnectionsBound, bound);
    QFETCH(bool, verbose);
    Arguments arguments = get(1);
    arguments.verbose = verbose;
    begin(arguments);
    QVERIFY(m_engine->answerTo(Kind::Add, answerOf(7)));
    m_engine->tellChanged(row(7, DownloadState::Running));
    Snapshot done = row(7, DownloadState::Done);
    done.run = RunSnapshot();
    done.run->mostConnections = 1;
    done.run->bound = bound;
    m_engine->tellChanged(done);
    QTEST(m_notes.summaries.value(0).connectionsNote, "note");
    QVERIFY(!m_notes.summaries.value(0).connectionsBound.isEmpty());
}

void TestDownloadsRunner::whatIsThereAlreadyIsSkipped()
{
    begin(get(2));
    EngineAnswer there = answerOf(7);
    there.snapshots = {row(7, DownloadState::Done)};
    there.existing = u"/home/x"_s;
    QVERIFY(m_engine->answerTo(Kind::Add, there));
    QCOMPARE(m_notes.lines, (QStringList{u"begin 7 http://a/7"_s, u"end 7 0"_s}));
    QVERIFY(m_notes.summaries.first().isThere && m_notes.summaries.first().isSkipped);
    QCOMPARE(m_notes.summaries.first().path, u"/home/x"_s);
    QCOMPARE(m_notes.summaries.first().fetched, 0);
    QVERIFY(m_engine->of(Kind::Close).isEmpty());
    QVERIFY(m_engine->answerTo(Kind::Add, there));
    m_engine->tellClosed();
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::Done});
}

void TestDownloadsRunner::whatIsThereAlreadyIsAskedAboutWhereThatIsWanted_data()
{
    using Failed = Failure::Kind;
    QTest::addColumn<EngineAnswer>("found");
    QTest::addColumn<int>("onChanged");
    QTest::addColumn<bool>("isFetched");
    QTest::addColumn<ExitStatus>("status");
    const auto policy = [](Trouble::Policy which) { return int(which); };
    QTest::newRow("the same") << EngineAnswer() << policy(Trouble::Policy::Restart) << false << ExitStatus::Done;
    QTest::newRow("another one, which is wanted")
        << refusal(Failed::ResourceChanged) << policy(Trouble::Policy::Restart) << true << ExitStatus::Done;
    QTest::newRow("another one, which is not")
        << refusal(Failed::ResourceChanged) << policy(Trouble::Policy::Fail) << false << ExitStatus::ResourceChanged;
    QTest::newRow("another one, and nobody to be asked")
        << refusal(Failed::ResourceChanged) << policy(Trouble::Policy::Ask) << false << ExitStatus::ResourceChanged;
    EngineAnswer sizeOnly;
    sizeOnly.warnings = {Failure::make(Failed::NothingToCompare, Failure::Subject::of(7))};
    QTest::newRow("nothing but the size speaks for it")
        << sizeOnly << policy(Trouble::Policy::Restart) << false << ExitStatus::Done;
    QTest::newRow("nobody can tell") << refusal(Failed::TimedOut) << policy(Trouble::Policy::Restart) << false
                                     << ExitStatus::TimeOut;
}

void TestDownloadsRunner::whatIsThereAlreadyIsAskedAboutWhereThatIsWanted()
{
    QFETCH(EngineAnswer, found);
    QFETCH(int, onChanged);
    QFETCH(bool, isFetched);
    Arguments arguments = get(1);
    arguments.isToAsk = true;
    arguments.requests.first().options.onChanged = onChanged;
    begin(arguments);
    EngineAnswer there = answerOf(7);
    there.snapshots = {row(7, DownloadState::Done)};
    there.existing = u"/home/x"_s;
    QVERIFY(m_engine->answerTo(Kind::Add, there));
    QVERIFY(m_notes.lines.isEmpty() && m_engine->of(Kind::Close).isEmpty());
    QVERIFY(m_engine->answerTo(Kind::Check, found));
    QCOMPARE(!m_engine->of(Kind::Restart).isEmpty(), isFetched);
    if (isFetched) {
        QVERIFY(m_engine->answerTo(Kind::Restart, answerOf(7)));
        m_engine->tellChanged(row(7, DownloadState::Running));
        m_engine->tellChanged(row(7, DownloadState::Done));
    }
    QCOMPARE(m_notes.summaries.size(), 1);
    QCOMPARE(m_notes.summaries.first().isUpToDate, found.isOk() && found.warnings.isEmpty());
    QVERIFY(!m_engine->of(Kind::Close).isEmpty());
    m_engine->tellClosed();
    QTEST(m_done.value(0), "status");
}

void TestDownloadsRunner::aFewAreGivenAtATime()
{
    begin(get(50));
    const qsizetype first = m_engine->of(Kind::Add).size();
    QVERIFY(first > 1 && first < 50);
    for (qsizetype i = 0; i < first; ++i)
        QVERIFY(m_engine->answerTo(Kind::Add, answerOf(i + 1)));
    QVERIFY(m_engine->of(Kind::Add).size() > first);
}

void TestDownloadsRunner::whatIsRefusedIsSaidAndTheOthersGoOn()
{
    begin(get(2));
    QVERIFY(m_engine->answerTo(Kind::Add, refusal(Failure::Kind::UnsupportedUrl)));
    QVERIFY(m_engine->answerTo(Kind::Add, answerOf(7)));
    QCOMPARE(m_notes.lines, QStringList({u"begin -1 http://a/1"_s, u"end -1 28"_s}));
    QVERIFY(m_engine->of(Kind::Close).isEmpty());
    m_engine->tellChanged(row(7, DownloadState::Done));
    QCOMPARE(m_engine->of(Kind::Close).size(), 1);
    m_engine->tellClosed();
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::BadOption});
}

void TestDownloadsRunner::badLinesOfAListAreSaidFirstAndTheOthersRun()
{
    Arguments arguments = get(1);
    arguments.badLines = {u"urls.txt:2: one"_s, u"urls.txt:5: two"_s};
    begin(arguments);
    QCOMPARE(m_notes.summaries.size(), 2);
    QCOMPARE(m_notes.summaries.last().errorText, u"urls.txt:5: two"_s);
    QVERIFY(m_engine->answerTo(Kind::Add, answerOf(7)));
    m_engine->tellChanged(row(7, DownloadState::Running));
    m_engine->tellChanged(row(7, DownloadState::Done));
    QCOMPARE(m_notes.lines.last(), u"end 7 0"_s);
    m_engine->tellClosed();
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::BadOption});
}

void TestDownloadsRunner::theFirstFailureIsTheStatus()
{
    begin(get(3));
    for (qint64 id = 1; id <= 3; ++id)
        QVERIFY(m_engine->answerTo(Kind::Add, answerOf(id)));
    m_engine->tellChanged(row(1, DownloadState::Done));
    m_engine->tellChanged(row(2, DownloadState::Failed, Failure::Kind::NotFound));
    m_engine->tellChanged(row(3, DownloadState::Failed, Failure::Kind::DiskFull));
    m_engine->tellClosed();
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::NotFound});
}

void TestDownloadsRunner::eachCommandAsksForItsOwn_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<int>("kind");
    QTest::newRow("resume") << int(Command::Resume) << int(Kind::Resume);
    QTest::newRow("restart") << int(Command::Restart) << int(Kind::Restart);
    QTest::newRow("finish") << int(Command::Finish) << int(Kind::FinishNow);
}

void TestDownloadsRunner::eachCommandAsksForItsOwn()
{
    QFETCH(const int, command);
    QFETCH(const int, kind);
    begin(withIds(Command(command), {5}));
    QCOMPARE(m_engine->commands.size(), 1);
    QCOMPARE(m_engine->commands.first().id, 5);
    QVERIFY(m_engine->answerTo(Kind(kind), refusal(Failure::Kind::NoSuchDownload, 5)));
    QCOMPARE(m_notes.lines.last(), u"end 5 1"_s);
    QCOMPARE(m_engine->of(Kind::Close).size(), 1);
}

void TestDownloadsRunner::allThatIsUnfinishedAndNobodysIsResumed()
{
    Arguments arguments = withIds(Command::Resume, {});
    arguments.all = true;
    begin(arguments);
    QCOMPARE(m_engine->commands.size(), 1);
    Snapshot others = row(3, DownloadState::Running);
    others.ownerPid = 77;
    EngineAnswer page;
    page.snapshots = {others, row(2, DownloadState::Paused), row(1, DownloadState::Failed)};
    QVERIFY(m_engine->answerTo(Kind::Snapshots, page));
    QList<qint64> resumed;
    for (const EngineCommand &command : m_engine->of(Kind::Resume))
        resumed.append(command.id);
    QCOMPARE(QSet<qint64>(resumed.cbegin(), resumed.cend()), QSet<qint64>({1, 2}));
    QVERIFY(m_notes.lines.first().contains(u"77"_s));
}

void TestDownloadsRunner::whatAProcessHasThatMayHaveDiedIsResumedToo_data()
{
    QTest::addColumn<QList<Snapshot>>("news");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("it had died") << QList<Snapshot>{row(3, DownloadState::Resting), row(3, DownloadState::Running),
                                                    row(3, DownloadState::Done)}
                                 << QStringList{u"begin 3 http://a/3"_s, u"end 3 0"_s};
    Snapshot others = row(3, DownloadState::Failed, Failure::Kind::OwnedByOther);
    others.failure.number = 77;
    QTest::newRow("it lives") << QList<Snapshot>{row(3, DownloadState::Resting), others}
                              << QStringList{u"download 3 is left out: process 77 is at work on it"_s};
}

/// Nobody asked for that one by its number, so that it is no failure where it is in good hands.
void TestDownloadsRunner::whatAProcessHasThatMayHaveDiedIsResumedToo()
{
    QFETCH(const QList<Snapshot>, news);
    QFETCH(const QStringList, lines);
    Arguments arguments = withIds(Command::Resume, {});
    arguments.all = true;
    begin(arguments);
    Snapshot unseen = row(3, DownloadState::Running);
    unseen.ownerPid = 77;
    unseen.ownerSecondsLeft = 43;
    EngineAnswer page;
    page.snapshots = {unseen};
    QVERIFY(m_engine->answerTo(Kind::Snapshots, page));
    QVERIFY(m_engine->answerTo(Kind::Resume, answerOf(3)));
    for (const Snapshot &snapshot : news)
        m_engine->tellChanged(snapshot);
    QCOMPARE(m_notes.lines, lines);
    QCOMPARE(m_engine->of(Kind::Close).size(), 1);
    m_engine->tellClosed();
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::Done});
}

void TestDownloadsRunner::whatIsLeftOutIsNotSaidToBeNothing()
{
    Arguments arguments = withIds(Command::Resume, {});
    arguments.all = true;
    begin(arguments);
    Snapshot others = row(3, DownloadState::Running);
    others.ownerPid = 77;
    EngineAnswer page;
    page.snapshots = {others};
    QVERIFY(m_engine->answerTo(Kind::Snapshots, page));
    QCOMPARE(m_notes.lines.last(), u"there is nothing else unfinished"_s);
}

void TestDownloadsRunner::theSameDownloadTwiceIsSaidAndEndsOnce()
{
    begin(get(2));
    QVERIFY(m_engine->answerTo(Kind::Add, answerOf(7)));
    QVERIFY(m_engine->answerTo(Kind::Add, answerOf(7)));
    QVERIFY(m_notes.lines.first().contains(u"twice"_s));
    m_engine->tellChanged(row(7, DownloadState::Done));
    QCOMPARE(m_notes.summaries.size(), 1);
    QCOMPARE(m_engine->of(Kind::Close).size(), 1);
}

void TestDownloadsRunner::aStopLeavesTheRestAndSaysHowMany()
{
    begin(get(50));
    const qsizetype given = m_engine->of(Kind::Add).size();
    for (qsizetype i = 0; i < given; ++i)
        QVERIFY(m_engine->answerTo(Kind::Add, answerOf(i + 1)));
    m_engine->tellChanged(row(1, DownloadState::Running));
    m_runner->stop();
    // What was given before is still done.
    for (qint64 id = given + 1; m_engine->answerTo(Kind::Add, answerOf(id)); ++id) {}
    m_engine->tellChanged(row(1, DownloadState::Paused, Failure::Kind::Stopped));
    m_engine->tellClosed();
    QCOMPARE(m_notes.lines.last(), u"leave 49"_s);
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::Unfinished});
}

void TestDownloadsRunner::whatIsAnothersNewsIsNotShown()
{
    begin(get(1));
    m_engine->tellChanged(row(9, DownloadState::Running));
    QVERIFY(m_engine->answerTo(Kind::Add, answerOf(7)));
    m_engine->tellChanged(row(9, DownloadState::Done));
    QCOMPARE(m_notes.lines, QStringList());
    QVERIFY(m_engine->of(Kind::Close).isEmpty());
}

void TestDownloadsRunner::whatIsOfNoDownloadIsARemark()
{
    begin(get(1));
    Warning warning{.failure = Failure::make(Failure::Kind::Skipped, {})};
    m_engine->tellWarned(0, warning);
    m_engine->tellWarned(7, warning);
    QCOMPARE(m_notes.lines.size(), 2);
    QVERIFY(!m_notes.lines.first().startsWith("warn "_L1) && m_notes.lines.last().startsWith("warn 7: "_L1));
}

void TestDownloadsRunner::anAnswerGoesToItsQuestion()
{
    int ends[2];
    QCOMPARE(pipe(ends), 0);
    Questions questions(m_notes, ends[0]);
    begin(get(1), &questions);
    Question question;
    question.id = 4;
    question.kind = Question::Kind::CannotResume;
    question.choices = {Question::Choice::No, Question::Choice::FromTheBeginning};
    m_engine->tellAsked(question);
    QCOMPARE(write(ends[1], "y\n", 2), ssize_t(2));
    QTRY_COMPARE(m_engine->of(Kind::Answer).size(), 1);
    QCOMPARE(m_engine->of(Kind::Answer).first().id, 4);
    QCOMPARE(Question::Choice(m_engine->of(Kind::Answer).first().value), Question::Choice::FromTheBeginning);
    m_runner.reset();
    close(ends[0]);
    close(ends[1]);
}

QTEST_GUILESS_MAIN(TestDownloadsRunner)
#include "tst_downloadsrunner.moc"
