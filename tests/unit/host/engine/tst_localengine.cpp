// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>
#include <host/network/descriptorlimit.h>
#include <host/storage/downloadlist.h>
#include <host/storage/processidentity.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <tests/support/sqlfile.h>
#include <tests/unit/host/engine/fakemodule.h>
#include <tests/unit/host/engine/queuesteps.h>

#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>
#include <limits>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

const QString kLater = u"fail/HttpError/503/300/Retry-After: 600"_s;
constexpr int kMany = 500;
constexpr int kMoreThanAreKept = 2001; ///< rows of what waits
constexpr qint64 kKept = 300; ///< bytes of those that fail so
constexpr auto kOnUnresumable = "on-unresumable"_L1;

DownloadOptions with(Trouble::Policy onChanged)
{
    DownloadOptions options;
    options.onChanged = int(onChanged);
    return options;
}

/// Of the file as it will be.
DownloadOptions withChecksum(DownloadOptions options)
{
    options.checksumAlgorithm = u"sha-256"_s;
    options.checksumHex =
        QString::fromLatin1(QCryptographicHash::hash(QByteArray(kFileSize, 'x'), QCryptographicHash::Sha256).toHex());
    return options;
}

OptionChanges change(QLatin1StringView name, const QVariant &value)
{
    OptionChanges changes;
    changes.values.give(*OptionTable::ofHost().find(name), {value, u"a test"_s});
    return changes;
}

/// What the log says of states, for as long as this object lives.
struct EngineLog {
    EngineLog()
    {
        logger.setVerbosityLevel(kStateLogLevel);
        logger.setSink([this](int, const QString &line) {
            if (line.contains("in the engine: "_L1) || line.contains("in the queue: "_L1))
                lines.append(line);
        });
    }

    ~EngineLog()
    {
        logger.setSink({});
        logger.setVerbosityLevel(0);
    }

    Q_DISABLE_COPY_MOVE(EngineLog)

    QtAppLogger &logger = *QtAppDefaultLogger::instance();
    QStringList lines;
};

}

/// What the engine in this process makes of commands, in whatever state downloads are.
class TestLocalEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void theSameRequestIsFoundAgainAndNotAdded();
    void theSameRequestBegunAgainWaitsFirst();
    void theSameRequestIsTakenWhileItIsActive_data();
    void theSameRequestIsTakenWhileItIsActive();
    void whatIsNotThereIsSaid_data();
    void whatIsNotThereIsSaid();
    void whatIsNotAtRestTakesNoOtherAddress_data();
    void whatIsNotAtRestTakesNoOtherAddress();
    void finishNowEndsWithWhatIsThere_data();
    void finishNowEndsWithWhatIsThere();
    void finishNowOfNothingIsRefused();
    void anAnswerComesBeforeWhatItDid_data();
    void anAnswerComesBeforeWhatItDid();
    void optionsThatWereGivenMeanwhileStay();
    void whatTheListDoesNotTakeChangesNothing_data();
    void whatTheListDoesNotTakeChangesNothing();
    void optionsAndTheLimitsAmongThemAreWrittenAtOnce();
    void limitsAreInTheList();
    void whoComesLateIsToldWhatIsNoRow();
    void limitsOfThisHourAreToldBeforeThereIsANetwork();
    void asManyAreSaidToBeActiveAtOnceAsMayBe_data();
    void asManyAreSaidToBeActiveAtOnceAsMayBe();
    void noOverviewIsHadOfAnEngineThatIsNotOpen();
    void whatIsBeyondItsBoundsIsRefused_data();
    void whatIsBeyondItsBoundsIsRefused();
    void whatAnotherProcessRunsIsNotChanged_data();
    void whatAnotherProcessRunsIsNotChanged();
    void aFailureGoesOnceAnotherProcessHasFetchedTheFile();
    void aFailureGoesOnceItsReasonHas();
    void anotherAddressHasNotFailedYet();
    void ofManyThatEndedTheListAloneTells();
    void ofManyThatEndedOneThatOthersRemovedIsNotToldOf();
    void whatCannotBeReadIsNotToldToBeGone();
    void allOfAListThatCannotBeReadIsNotResumed();
    void aCheckIsSeenWhileItGoesOn();
    void whatCannotBeRemovedIsNotLoggedAsRemoved();
    void aCheckThatIsAskedForWhileAnotherEndsIsBegunOnce();
    void aCheckIsGivenUpForOtherWork_data();
    void aCheckIsGivenUpForOtherWork();
    void whatIsLookedUpIsGivenUpWithTheEngine();
    void whatIsDoneWithManyIsDoneWithAFewAtATime();
    void allThatIsUnfinishedIsResumedInItsOrder();
    void ofWhatAnotherProcessHasAPageTellsOnlyWhatIsNew();
    void whatIsOnlyAddedIsNobodys();
    void whatAProcessOfTheSameNumberElsewhereHasIsNotOurs();
    void theSameRequestWaitsForAProcessThatMayHaveDied();
    void whatIsToGoOnWaitsForAProcessThatMayHaveDied();
    void whatIsTakenFromAProcessThatHasDiedIsToldToBeOurs();
    void whatIsPausedBeforeItBeganIsToldToRestThoughAnotherHadIt();
    void whatIsAnothersAfterAllIsToldToHaveFailed();
    void ofManyThatWaitEachIsToldWhenItBegins_data();
    void ofManyThatWaitEachIsToldWhenItBegins();
    void whoEndsDoesNotWaitForMany();
    void thatNothingIsKeptIsSaidOnce();

private:
    using Call = std::function<void(const Engine::Callback &)>;

    /// @param listPath empty = the list is kept nowhere
    void open(const QString &listPath);
    void close();
    EngineAnswer answerOf(const Call &call) const;
    DownloadRequest request(const QString &steps) const;
    qint64 add(const QString &steps, const DownloadOptions &options = {}, bool begin = true);
    Snapshot row(qint64 id) const;
    bool comesTo(qint64 id, DownloadState state) const;
    qint64 bring(DownloadState state);
    bool giveToUnseen(qint64 id, qint64 pid) const;
    void reopenWithMany(int count = kMany);
    void makeUnreadable(qint64 id) const;
    void setOwner(qint64 id, const ProcessIdentity &owner) const;

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Engine> m_engine;
};

void TestLocalEngine::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    open(m_dir->filePath(u"list.sqlite"_s));
}

void TestLocalEngine::cleanup()
{
    if (m_engine)
        close();
}

void TestLocalEngine::open(const QString &listPath)
{
    EngineOptions options;
    options.session.listPath = listPath;
    options.session.isListKept = !listPath.isEmpty();
    options.session.moduleFolders = {QStringLiteral(FAKE_MODULES) + "/good"_L1};
    options.queue.retryWaitMs = 1;
    options.queue.mostAtOnce = 1;
    options.queue.canAsk = true;
    m_engine = std::make_unique<LocalEngine>();
    m_engine->open(options);
}

void TestLocalEngine::close()
{
    QSignalSpy closed(m_engine.get(), &Engine::closed);
    m_engine->close();
    QTRY_COMPARE(closed.size(), 1);
    m_engine.reset();
}

EngineAnswer TestLocalEngine::answerOf(const Call &call) const
{
    std::optional<EngineAnswer> given;
    call([&given](const EngineAnswer &answer) { given = answer; });
    return QTest::qWaitFor([&given] { return given.has_value(); }) ? *given : EngineAnswer();
}

DownloadRequest TestLocalEngine::request(const QString &steps) const
{
    static int hosts = 0;
    DownloadRequest request;
    request.url = QUrl(u"http://host%1"_s.arg(++hosts) + FakePaths::kSteps);
    request.url.setQuery(steps, QUrl::DecodedMode);
    request.folder = m_dir->path();
    return request;
}

qint64 TestLocalEngine::add(const QString &steps, const DownloadOptions &options, bool begin)
{
    DownloadRequest asked = request(steps);
    asked.options = options;
    return answerOf([&](const Engine::Callback &done) { m_engine->add(asked, begin, done); }).ids.value(0);
}

Snapshot TestLocalEngine::row(qint64 id) const
{
    return answerOf([&](const Engine::Callback &done) { m_engine->snapshot(id, done); }).snapshots.value(0);
}

bool TestLocalEngine::comesTo(qint64 id, DownloadState state) const
{
    return QTest::qWaitFor([&] { return row(id).state == state; });
}

/// A download of which a part is there; 0 = it does not come there.
qint64 TestLocalEngine::bring(DownloadState state)
{
    const bool isToAsk = state == DownloadState::Asking;
    const bool isToWait = state == DownloadState::Waiting;
    const qint64 id = add((isToAsk        ? kChanged
                               : isToWait ? kNotFound + u"/300"_s
                                          : kLater)
                              + u";done"_s,
                          with(Trouble::Policy::Ask));
    if (!isToWait)
        return comesTo(id, state) ? id : 0;
    const bool hasFailed = comesTo(id, DownloadState::Failed);
    add(u"run"_s);
    m_engine->resume(id);
    return hasFailed && comesTo(id, state) ? id : 0;
}

/// Process 1 is always there.
void TestLocalEngine::setOwner(qint64 id, const ProcessIdentity &owner) const
{
    const SqlFile list(m_dir->filePath(u"list.sqlite"_s));
    const QVariantList values{owner.pid, owner.startTime, owner.bootId};
    const bool isSet = list.run(u"UPDATE downloads SET owner_pid = ?, owner_start_time = ?, owner_boot_id = ?, "
                                u"fence = coalesce(fence, 0) + 1 WHERE id = ?"_s,
                                (owner.isNobody() ? QVariantList(3) : values) + QVariantList{id});
    QVERIFY2(isSet, qPrintable(list.errorText()));
}

/// More bytes than a number has room for cannot be added up.
void TestLocalEngine::makeUnreadable(qint64 id) const
{
    const SqlFile list(m_dir->filePath(u"list.sqlite"_s));
    const QString file =
        u"INSERT INTO files (download_id, position, type, name, size, selected, path_on_disk, file_flags, "
        u"content_type, data_start) VALUES (?, %1, 0, 'x', 9223372036854775807, 1, '', 0, '', 0)"_s;
    for (const QString &position : {u"0"_s, u"1"_s})
        QVERIFY2(list.run(file.arg(position), {id}), qPrintable(list.errorText()));
}

void TestLocalEngine::theSameRequestIsFoundAgainAndNotAdded()
{
    const DownloadRequest asked = request(u"done"_s);
    const Call adding = [&](const Engine::Callback &done) { m_engine->add(asked, false, done); };
    const qint64 id = answerOf(adding).ids.value(0);
    close();
    open(m_dir->filePath(u"list.sqlite"_s));
    QSignalSpy added(m_engine.get(), &Engine::added);
    QSignalSpy changed(m_engine.get(), &Engine::changed);
    QCOMPARE(answerOf(adding).ids, QList<qint64>{id});
    QTRY_COMPARE(changed.size(), 1);
    QCOMPARE(added.size(), 0);
    QCOMPARE(answerOf([&](const Engine::Callback &done) { m_engine->snapshots({}, done); }).snapshots.size(), 1);
}

void TestLocalEngine::theSameRequestBegunAgainWaitsFirst()
{
    const DownloadRequest asked = request(kNotFound + u";done"_s);
    const Call adding = [&](const Engine::Callback &done) { m_engine->add(asked, true, done); };
    const qint64 id = answerOf(adding).ids.value(0);
    QVERIFY(comesTo(id, DownloadState::Failed));
    QList<DownloadState> states;
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) { states.append(row.state); });
    QCOMPARE(answerOf(adding).ids, QList<qint64>{id});
    QVERIFY(comesTo(id, DownloadState::Done));
    QCOMPARE(states.first(), DownloadState::Waiting);
}

void TestLocalEngine::theSameRequestIsTakenWhileItIsActive_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<DownloadState>("state");
    QTest::newRow("running") << u"run"_s << DownloadState::Running;
    QTest::newRow("resting") << kLater << DownloadState::Resting;
    QTest::newRow("waiting") << u"done"_s << DownloadState::Waiting;
}

void TestLocalEngine::theSameRequestIsTakenWhileItIsActive()
{
    QFETCH(const QString, steps);
    QFETCH(const DownloadState, state);
    if (state == DownloadState::Waiting)
        add(u"run"_s);
    const DownloadRequest asked = request(steps);
    const Call adding = [&](const Engine::Callback &done) { m_engine->add(asked, true, done); };
    const qint64 id = answerOf(adding).ids.value(0);
    QVERIFY(comesTo(id, state));
    QSignalSpy changed(m_engine.get(), &Engine::changed);
    QSignalSpy added(m_engine.get(), &Engine::added);
    QCOMPARE(answerOf(adding).ids, QList<qint64>{id});
    QTRY_VERIFY(!changed.isEmpty());
    QCOMPARE(added.size(), 0);
    QVERIFY(comesTo(id, state));
}

void TestLocalEngine::whatIsNotThereIsSaid_data()
{
    QTest::addColumn<int>("kind");
    const auto row = [](const char *name, EngineCommand::Kind kind) { QTest::newRow(name) << int(kind); };
    row("resume", EngineCommand::Kind::Resume);
    row("restart", EngineCommand::Kind::Restart);
    row("finish now", EngineCommand::Kind::FinishNow);
    row("remove", EngineCommand::Kind::Remove);
    row("check", EngineCommand::Kind::Check);
    row("another address", EngineCommand::Kind::SetUrl);
    row("move", EngineCommand::Kind::Move);
    row("limits", EngineCommand::Kind::SetLimits);
    row("options", EngineCommand::Kind::SetOptions);
    row("snapshot", EngineCommand::Kind::Snapshot);
}

void TestLocalEngine::whatIsNotThereIsSaid()
{
    QFETCH(const int, kind);
    EngineCommand command;
    command.kind = EngineCommand::Kind(kind);
    command.id = 77;
    command.request = request(u"done"_s);
    const EngineAnswer answer = answerOf([&](const Engine::Callback &done) { m_engine->send(command, done); });
    QCOMPARE(answer.failure.kind, Failure::Kind::NoSuchDownload);
    QCOMPARE(answer.failure.subject.id, 77);
}

void TestLocalEngine::whatIsNotAtRestTakesNoOtherAddress_data()
{
    QTest::addColumn<DownloadState>("state");
    QTest::addColumn<bool>("force");
    for (const bool force : {false, true}) {
        const char *const how = force ? "by force" : "asked first";
        QTest::addRow("waiting, %s", how) << DownloadState::Waiting << force;
        QTest::addRow("resting, %s", how) << DownloadState::Resting << force;
        QTest::addRow("asking, %s", how) << DownloadState::Asking << force;
    }
}

void TestLocalEngine::whatIsNotAtRestTakesNoOtherAddress()
{
    QFETCH(const DownloadState, state);
    QFETCH(const bool, force);
    const qint64 id = bring(state);
    QVERIFY(id != 0);
    const QUrl before = row(id).url;
    const DownloadRequest other = request(u"done"_s);
    const EngineAnswer answer =
        answerOf([&](const Engine::Callback &done) { m_engine->setUrl(id, other, force, done); });
    QCOMPARE(answer.failure.kind, Failure::Kind::WrongState);
    QCOMPARE(row(id).url, before);
    QCOMPARE(row(id).state, state);
}

void TestLocalEngine::finishNowEndsWithWhatIsThere_data()
{
    QTest::addColumn<DownloadState>("state");
    QTest::newRow("waiting") << DownloadState::Waiting;
    QTest::newRow("resting") << DownloadState::Resting;
    QTest::newRow("asking") << DownloadState::Asking;
}

void TestLocalEngine::finishNowEndsWithWhatIsThere()
{
    QFETCH(const DownloadState, state);
    const qint64 id = bring(state);
    QVERIFY(id != 0);
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->finishNow(id, done); }).isOk());
    m_engine->setMostAtOnce(2);
    QVERIFY(comesTo(id, DownloadState::Done));
    QCOMPARE(QFileInfo(row(id).details->path).size(), kKept);
    QCOMPARE(answerOf([&](const Engine::Callback &done) { m_engine->questions(done); }).questions.size(), 0);
}

void TestLocalEngine::finishNowOfNothingIsRefused()
{
    add(u"run"_s);
    const qint64 id = add(u"done"_s);
    const EngineAnswer answer = answerOf([&](const Engine::Callback &done) { m_engine->finishNow(id, done); });
    QCOMPARE(answer.failure.kind, Failure::Kind::CannotFinish);
    QCOMPARE(row(id).state, DownloadState::Waiting);
}

void TestLocalEngine::anAnswerComesBeforeWhatItDid_data()
{
    QTest::addColumn<DownloadState>("state");
    QTest::addColumn<int>("kind");
    for (const DownloadState state : {DownloadState::Waiting, DownloadState::Resting, DownloadState::Asking}) {
        const QLatin1StringView name = downloadStates().nameOf(state);
        QTest::addRow("pause, %s", name.data()) << state << int(EngineCommand::Kind::Pause);
        QTest::addRow("finish now, %s", name.data()) << state << int(EngineCommand::Kind::FinishNow);
        QTest::addRow("limits, %s", name.data()) << state << int(EngineCommand::Kind::SetLimits);
    }
}

void TestLocalEngine::anAnswerComesBeforeWhatItDid()
{
    QFETCH(const DownloadState, state);
    QFETCH(const int, kind);
    EngineCommand command;
    command.kind = EngineCommand::Kind(kind);
    command.id = bring(state);
    QVERIFY(command.id != 0);
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->snapshots({}, done); }).isOk());
    QList<EngineNews::Kind> told;
    const QObject listener;
    connect(m_engine.get(), &Engine::told, &listener, [&](const EngineNews &news) {
        if (news.id == command.id || news.kind == EngineNews::Kind::Answered)
            told.append(news.kind);
    });
    m_engine->send(command, {});
    m_engine->setMostAtOnce(2);
    QTRY_VERIFY(told.contains(EngineNews::Kind::Changed));
    QCOMPARE(told.first(), EngineNews::Kind::Answered);
}

void TestLocalEngine::optionsThatWereGivenMeanwhileStay()
{
    const DownloadOptions options = withChecksum(with(Trouble::Policy::Ask));
    QSignalSpy asked(m_engine.get(), &Engine::asked);
    const qint64 id = add(kChanged + u";done"_s, options);
    QVERIFY(comesTo(id, DownloadState::Asking));
    m_engine->setOptions(id, change(kOnUnresumable, u"restart"_s));
    m_engine->answer(asked.value(0).value(0).value<Question>().id, Question::Choice::FromTheBeginning);
    QVERIFY(comesTo(id, DownloadState::Done));
    const DownloadOptions kept = row(id).details->options;
    QCOMPARE(kept.checksumResult, ChecksumResult::Equal);
    QCOMPARE(Trouble::Policy(kept.onUnresumable), Trouble::Policy::Restart);
}

void TestLocalEngine::whatTheListDoesNotTakeChangesNothing_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("isDone");
    QTest::addColumn<QString>("refused");
    const QString options = u"INSERT ON options"_s;
    const QString record = u"UPDATE OF file_identity ON downloads"_s;
    QTest::newRow("options and headers") << int(EngineCommand::Kind::SetOptions) << false << options;
    QTest::newRow("another address, and options") << int(EngineCommand::Kind::SetUrl) << false << record;
    QTest::newRow("all of a finished file anew") << int(EngineCommand::Kind::Restart) << true << record;
}

void TestLocalEngine::whatTheListDoesNotTakeChangesNothing()
{
    QFETCH(const int, kind);
    QFETCH(const bool, isDone);
    QFETCH(const QString, refused);
    const qint64 id = add(u"done"_s, withChecksum(DownloadOptions()), isDone);
    QVERIFY(comesTo(id, isDone ? DownloadState::Done : DownloadState::Paused));
    EngineCommand command;
    command.kind = EngineCommand::Kind(kind);
    command.id = id;
    command.flag = true;
    command.changes = change(kOnUnresumable, u"restart"_s);
    command.changes->headers.insert(u"Accept-Language"_s, u"eo"_s);
    command.request = request(u"done"_s);
    command.request->changes = *command.changes;
    const SqlFile list(m_dir->filePath(u"list.sqlite"_s));
    const auto all = [&list] {
        return list.rows(u"SELECT url, finished FROM downloads"_s) + list.rows(u"SELECT * FROM headers"_s)
            + list.rows(u"SELECT * FROM options"_s);
    };
    const QList<QVariantList> before = all();
    QVERIFY(list.run(u"CREATE TRIGGER t BEFORE %1 BEGIN SELECT RAISE(ABORT, 'no'); END"_s.arg(refused)));
    const Call send = [&](const Engine::Callback &done) { m_engine->send(command, done); };
    // The trigger makes it a damaged list, which is still open here.
    QCOMPARE(answerOf(send).failure.kind, Failure::Kind::ListDamaged);
    QCOMPARE(all(), before);
}

/// Else it might take some of them only.
void TestLocalEngine::optionsAndTheLimitsAmongThemAreWrittenAtOnce()
{
    const qint64 id = add(u"run"_s);
    QVERIFY(comesTo(id, DownloadState::Running));
    const SqlFile list(m_dir->filePath(u"list.sqlite"_s));
    QVERIFY(list.run(u"CREATE TRIGGER t BEFORE INSERT ON options WHEN EXISTS (SELECT 1 FROM options WHERE "
                     u"download_id = NEW.download_id AND connections = 3) BEGIN SELECT RAISE(ABORT, 'no'); END"_s));
    OptionChanges changes = change("max-connections"_L1, 3);
    changes.values.give(*OptionTable::ofHost().find(kOnUnresumable), {u"restart"_s, u"a test"_s});
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->setOptions(id, changes, done); }).isOk());
    const DownloadOptions kept = row(id).details->options;
    QCOMPARE(kept.connections, 3);
    QCOMPARE(Trouble::Policy(kept.onUnresumable), Trouble::Policy::Restart);
}

void TestLocalEngine::limitsAreInTheList()
{
    const qint64 id = add(u"run"_s);
    QVERIFY(comesTo(id, DownloadState::Running));
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->setLimits(id, {1000, 3, 2}, done); }).isOk());
    const DownloadOptions kept = row(id).details->options;
    QCOMPARE(kept.rateLimit, 1000);
    QCOMPARE(kept.connections, 3);
    QCOMPARE(kept.connectionsPerServer, 2);
}

void TestLocalEngine::whoComesLateIsToldWhatIsNoRow()
{
    std::optional<Totals> told;
    const QObject listener;
    connect(m_engine.get(), &Engine::totalsChanged, &listener, [&told](const Totals &totals) { told = totals; });
    QVERIFY(comesTo(add(u"run"_s), DownloadState::Running));
    QVERIFY(comesTo(add(u"run"_s), DownloadState::Waiting));
    m_engine->setGlobalLimits({5000, 7, 3});
    QTRY_VERIFY(told && told->active == 1 && told->waiting == 1);
    std::optional<EngineOverview> late;
    m_engine->overview([&](const EngineAnswer &answer) {
        late = answer.overview;
        QCOMPARE(late->totals, *told);
    });
    m_engine->setMostAtOnce(2);
    QTRY_VERIFY(late);
    QCOMPARE(late->limits, (Limits{5000, 7, 3}));
    QCOMPARE(late->mostAtOnce, 1);
    QVERIFY(!late->outOfHoursUntil.isValid());
    QCOMPARE(answerOf([this](const Engine::Callback &done) { m_engine->overview(done); }).overview->mostAtOnce, 2);
}

void TestLocalEngine::limitsOfThisHourAreToldBeforeThereIsANetwork()
{
    close();
    EngineOptions options;
    options.session.listPath = m_dir->filePath(u"list.sqlite"_s);
    options.session.allTogether.maximumConnections = 30;
    options.queue.mostAtOnce = 9;
    options.queue.speedLimit = 9000;
    options.queue.speedTimes = RatesOfDay::fromText(u"6000@00:00-24:00"_s)->timed;
    const QDateTime now = QDateTime::currentDateTime();
    const QString later = now.addSecs(2 * 3600).toString(u"hh:00"_s);
    options.queue.schedule = *TimesOfDay::fromText(later + u'-' + later.chopped(1) + u'1');
    m_engine = std::make_unique<LocalEngine>();
    m_engine->open(options);
    const Call ask = [this](const Engine::Callback &done) { m_engine->overview(done); };
    const EngineOverview before = answerOf(ask).overview.value_or(EngineOverview());
    QCOMPARE(before.limits, (Limits{6000, 30, 0}));
    QCOMPARE(before.mostAtOnce, 9);
    QCOMPARE(before.outOfHoursUntil, options.queue.schedule.nextBegin(now));
    QCOMPARE(before.totals, Totals());
    m_engine->setGlobalLimits({7000, {}, {}});
    QCOMPARE(answerOf(ask).overview->limits, (Limits{7000, 30, 0}));
}

void TestLocalEngine::asManyAreSaidToBeActiveAtOnceAsMayBe_data()
{
    QTest::addColumn<int>("chosen");
    QTest::addColumn<int>("held");
    QTest::newRow("none") << 0 << 1;
    QTest::newRow("more than there are descriptors for")
        << std::numeric_limits<int>::max() << int(DescriptorLimit::connections());
}

void TestLocalEngine::asManyAreSaidToBeActiveAtOnceAsMayBe()
{
    QFETCH(const int, chosen);
    QFETCH(const int, held);
    close();
    EngineOptions options;
    options.session.listPath = m_dir->filePath(u"list.sqlite"_s);
    options.queue.mostAtOnce = chosen;
    m_engine = std::make_unique<LocalEngine>();
    m_engine->open(options);
    const Call ask = [this](const Engine::Callback &done) { m_engine->overview(done); };
    QCOMPARE(answerOf(ask).overview->mostAtOnce, held);
    QVERIFY(answerOf([this](const Engine::Callback &done) { m_engine->prepare(done); }).isOk());
    QCOMPARE(answerOf(ask).overview->mostAtOnce, held);
}

void TestLocalEngine::noOverviewIsHadOfAnEngineThatIsNotOpen()
{
    close();
    m_engine = std::make_unique<LocalEngine>();
    const Call ask = [this](const Engine::Callback &done) { m_engine->overview(done); };
    QCOMPARE(answerOf(ask).failure.kind, Failure::Kind::WrongState);
    m_engine->close();
    QCOMPARE(answerOf(ask).failure.kind, Failure::Kind::WrongState);
    m_engine.reset();
}

void TestLocalEngine::whatIsBeyondItsBoundsIsRefused_data()
{
    QTest::addColumn<EngineCommand>("command");
    QTest::addColumn<QString>("option");
    using Kind = EngineCommand::Kind;
    const auto row = [](const char *name, const EngineCommand &command, const char *option) {
        QTest::newRow(name) << command << u"\"%1\""_s.arg(QLatin1StringView(option));
    };
    const auto limited = [&row](const char *name, Kind kind, const Limits &limits, const char *option) {
        row(name, {.kind = kind, .id = 1, .limits = limits}, option);
    };
    limited("a rate below 0", Kind::SetLimits, {-7, {}, {}}, "limit-rate");
    limited("connections below 0", Kind::SetLimits, {1000, -3, {}}, "max-connections");
    limited("too many connections", Kind::SetLimits, {{}, 21, {}}, "max-connections");
    limited("too many to a server", Kind::SetLimits, {{}, 2, 21}, "max-connections-per-server");
    limited("a rate of all below 0", Kind::SetGlobalLimits, {-1, {}, {}}, "max-overall-download-limit");
    limited("too many of all", Kind::SetGlobalLimits, {{}, 20001, {}}, "max-overall-connections");
    limited("fewer than none of all to a server", Kind::SetGlobalLimits, {{}, {}, -1},
            "max-overall-connections-per-server");
    row("none at once", {.kind = Kind::SetMostAtOnce, .value = 0}, "max-downloads");
    row("more at once than a number has room for", {.kind = Kind::SetMostAtOnce, .value = 1 + (qint64(1) << 32)},
        "max-downloads");
    row("an option", {.kind = Kind::SetOptions, .id = 1, .changes = change("max-connections"_L1, 21)},
        "max-connections");
    row("an option that is no word of its own",
        {.kind = Kind::SetOptions, .id = 1, .changes = change(kOnUnresumable, u"sulk"_s)}, "on-unresumable");
    DownloadRequest asked;
    asked.url = QUrl(u"http://host"_s + FakePaths::kSteps);
    asked.options.rateLimit = -1;
    row("of a new download", {.kind = Kind::Add, .request = asked}, "limit-rate");
    asked.options = {};
    asked.changes = change("max-connections-per-server"_L1, -1);
    row("of a new download that may be there", {.kind = Kind::Add, .request = asked}, "max-connections-per-server");
}

void TestLocalEngine::whatIsBeyondItsBoundsIsRefused()
{
    QFETCH(const EngineCommand, command);
    QFETCH(const QString, option);
    const qint64 id = add(u"done"_s, {}, false);
    QCOMPARE(id, 1);
    const DownloadOptions before = row(id).details->options;
    const EngineAnswer answer = answerOf([&](const Engine::Callback &done) { m_engine->send(command, done); });
    QCOMPARE(answer.failure.kind, Failure::Kind::ValueUnusable);
    QCOMPARE(answer.failure.cause.values.value(0), option);
    QCOMPARE(row(id).details->options, before);
    QCOMPARE(answerOf([&](const Engine::Callback &done) { m_engine->snapshots({}, done); }).total, 1);
}

void TestLocalEngine::whatAnotherProcessRunsIsNotChanged_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("waits");
    for (const bool waits : {false, true}) {
        const char *const how = waits ? "waits here" : "at rest here";
        QTest::addRow("limits, %s", how) << int(EngineCommand::Kind::SetLimits) << waits;
        QTest::addRow("options, %s", how) << int(EngineCommand::Kind::SetOptions) << waits;
    }
}

/// It would write its own over them.
void TestLocalEngine::whatAnotherProcessRunsIsNotChanged()
{
    QFETCH(const int, kind);
    QFETCH(const bool, waits);
    if (waits)
        QVERIFY(comesTo(add(u"run"_s), DownloadState::Running));
    EngineCommand command;
    command.kind = EngineCommand::Kind(kind);
    command.id = add(u"done"_s, {}, waits);
    command.limits = Limits{1000, 3, 2};
    command.changes = change("max-connections"_L1, 3);
    const DownloadOptions before = row(command.id).details->options;
    const Call send = [&](const Engine::Callback &done) { m_engine->send(command, done); };
    setOwner(command.id, ProcessIdentity::ofProcess(1));
    const EngineAnswer answer = answerOf(send);
    QCOMPARE(answer.failure.kind, Failure::Kind::OwnedByOther);
    QCOMPARE(answer.failure.number, 1);
    QVERIFY2((row(command.id).ownerPid == 0) == waits, "what waits is as it was told");
    QCOMPARE(row(command.id).details->options, before);
    setOwner(command.id, {});
    QVERIFY2(answerOf(send).isOk(), "nobody is at work on it any more");
    QCOMPARE(row(command.id).details->options.connections, 3);
    DownloadList other;
    QVERIFY(other.open(m_dir->filePath(u"list.sqlite"_s)));
    if (!waits)
        QCOMPARE(other.page(ListFilter::All, 1, command.id + 1).first().owner, ProcessIdentity());
}

void TestLocalEngine::aFailureGoesOnceAnotherProcessHasFetchedTheFile()
{
    const qint64 id = add(kNotFound + u";done"_s);
    QVERIFY(comesTo(id, DownloadState::Failed));
    std::unique_ptr<Engine> mine = std::move(m_engine);
    open(m_dir->filePath(u"list.sqlite"_s));
    m_engine->resume(id);
    QVERIFY(comesTo(id, DownloadState::Done));
    close();
    m_engine = std::move(mine);
    QCOMPARE(row(id).state, DownloadState::Done);
    QCOMPARE(row(id).failure, Failure());
}

void TestLocalEngine::aFailureGoesOnceItsReasonHas()
{
    DownloadOptions options;
    options.checksumAlgorithm = u"sha-256"_s;
    options.checksumHex = QString(64, u'0');
    const qint64 id = add(u"done"_s, options);
    QVERIFY(comesTo(id, DownloadState::Failed));
    QCOMPARE(row(id).failure.kind, Failure::Kind::ChecksumDiffers);
    const OptionChanges other = change("checksum"_L1, u"sha-256="_s + QString(64, u'1'));
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->setOptions(id, other, done); }).isOk());
    QCOMPARE(row(id).failure, Failure());
    QCOMPARE(row(id).state, DownloadState::Paused);
}

void TestLocalEngine::anotherAddressHasNotFailedYet()
{
    const qint64 id = add(kNotFound + u";done"_s);
    QVERIFY(comesTo(id, DownloadState::Failed));
    DownloadRequest other = request(u"done"_s);
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->setUrl(id, other, true, done); }).isOk());
    QCOMPARE(row(id).state, DownloadState::Paused);
    QCOMPARE(row(id).failure, Failure());
    close();
    open(m_dir->filePath(u"list.sqlite"_s));
    QCOMPARE(row(id).state, DownloadState::Paused);
}

/// Those who have rows hear of it, and the list is not asked for it.
void TestLocalEngine::ofManyThatEndedTheListAloneTells()
{
    constexpr int kEnded = 510;
    m_engine->setMostAtOnce(50);
    const qint64 first = add(kNotFound);
    QVERIFY(comesTo(first, DownloadState::Failed));
    std::optional<Snapshot> told = row(first);
    QVERIFY(told->run);
    makeUnreadable(first);
    const QObject listener;
    int ended = 0;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) {
        told = row.id == first ? row : told;
        ended += row.state == DownloadState::Failed ? 1 : 0;
    });
    for (int i = 1; i < kEnded; ++i)
        m_engine->add(request(kNotFound), true);
    QTRY_VERIFY_WITH_TIMEOUT(ended >= kEnded - 1 && !told->run, 60000);
    QCOMPARE(told->failure.kind, Failure::Kind::NotFound);
    QVERIFY(SqlFile(m_dir->filePath(u"list.sqlite"_s)).run(u"DELETE FROM files WHERE download_id = ?"_s, {first}));
    told->details = row(first).details;
    QCOMPARE(row(first), *told);
}

/// No page has it any more.
void TestLocalEngine::ofManyThatEndedOneThatOthersRemovedIsNotToldOf()
{
    constexpr int kEnded = 510;
    m_engine->setMostAtOnce(50);
    const Call takePage = [this](const Engine::Callback &done) { m_engine->snapshots({}, done); };
    const qint64 first = add(kNotFound);
    QVERIFY(comesTo(first, DownloadState::Failed));
    QVERIFY(answerOf(takePage).snapshots.value(0).run);
    QVERIFY(SqlFile(m_dir->filePath(u"list.sqlite"_s)).run(u"DELETE FROM downloads WHERE id = ?"_s, {first}));
    QCOMPARE(answerOf(takePage).snapshots, QList<Snapshot>());
    int ended = 0;
    int toldOfFirst = 0;
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) {
        toldOfFirst += row.id == first ? 1 : 0;
        ended += row.state == DownloadState::Failed ? 1 : 0;
    });
    for (int i = 0; i < kEnded; ++i)
        m_engine->add(request(kNotFound), true);
    QTRY_VERIFY_WITH_TIMEOUT(ended >= kEnded, 60000);
    QCOMPARE(toldOfFirst, 0);
}

void TestLocalEngine::whatCannotBeReadIsNotToldToBeGone()
{
    QVERIFY(comesTo(add(u"run"_s), DownloadState::Running));
    const qint64 id = add(u"done"_s);
    QVERIFY(comesTo(id, DownloadState::Waiting));
    makeUnreadable(id);
    QList<DownloadState> states;
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) {
        if (row.id == id)
            states.append(row.state);
    });
    QSignalSpy removed(m_engine.get(), &Engine::removed);
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->pauseAll(done); }).isOk());
    QTRY_VERIFY(!states.isEmpty());
    QCOMPARE(states, QList<DownloadState>{DownloadState::Paused});
    QVERIFY(SqlFile(m_dir->filePath(u"list.sqlite"_s)).run(u"DELETE FROM files WHERE download_id = ?"_s, {id}));
    QCOMPARE(row(id).state, DownloadState::Paused);
    QCOMPARE(removed.size(), 0);
}

void TestLocalEngine::allOfAListThatCannotBeReadIsNotResumed()
{
    makeUnreadable(add(u"done"_s, {}, false));
    QSignalSpy changed(m_engine.get(), &Engine::changed);
    const EngineAnswer answer = answerOf([&](const Engine::Callback &done) { m_engine->resumeAll(done); });
    QCOMPARE(answer.failure.kind, Failure::Kind::CannotReadList);
    QCOMPARE(answer.ids, QList<qint64>());
    QCOMPARE(changed.size(), 0);
}

void TestLocalEngine::aCheckIsSeenWhileItGoesOn()
{
    const EngineLog log;
    const qint64 id = add(u"done"_s, {}, false);
    QList<DownloadState> states;
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) { states.append(row.state); });
    const EngineAnswer answer = answerOf([&](const Engine::Callback &done) { m_engine->check(id, {}, done); });
    QCOMPARE(answer.failure.kind, Failure::Kind::NothingToCompare);
    QTRY_COMPARE(states, QList<DownloadState>({DownloadState::Checking, DownloadState::Paused}));
    const QString line = u"Download %1 in the engine: "_s.arg(id);
    QCOMPARE(log.lines, QStringList({line + u"Checking"_s, line + u"Paused"_s}));
}

void TestLocalEngine::whatCannotBeRemovedIsNotLoggedAsRemoved()
{
    const qint64 id = bring(DownloadState::Resting);
    const QString part = m_dir->filePath(u"%1.bin.part"_s.arg(id));
    QVERIFY(QFile::remove(part) && QDir().mkdir(part));
    const EngineLog log;
    const Call removing = [&](const Engine::Callback &done) { m_engine->remove(id, true, done); };
    QCOMPARE(answerOf(removing).failure.kind, Failure::Kind::CannotDeleteFile);
    QVERIFY2(log.lines.filter(u"Removed"_s).isEmpty(), qPrintable(log.lines.join(u'\n')));
    QVERIFY(QDir().rmdir(part));
    QVERIFY(answerOf(removing).isOk());
    QCOMPARE(log.lines.filter(u"Removed"_s), QStringList{u"Download %1 in the engine: Removed"_s.arg(id)});
}

void TestLocalEngine::aCheckThatIsAskedForWhileAnotherEndsIsBegunOnce()
{
    const qint64 first = add(u"done"_s, {}, false);
    const qint64 second = add(u"other"_s, {}, false);
    std::optional<EngineAnswer> given;
    QList<DownloadState> states;
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) {
        if (row.id == second)
            states.append(row.state);
        else if (row.state == DownloadState::Checking)
            m_engine->check(second, {}, [&](const EngineAnswer &answer) { given = answer; });
    });
    m_engine->check(first, {}, {});
    QTRY_VERIFY(given);
    QCOMPARE(given->failure.kind, Failure::Kind::NothingToCompare);
    QTRY_COMPARE(states, QList<DownloadState>({DownloadState::Checking, DownloadState::Paused}));
}

void TestLocalEngine::aCheckIsGivenUpForOtherWork_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("resumed") << int(EngineCommand::Kind::Resume);
    QTest::newRow("removed") << int(EngineCommand::Kind::Remove);
    QTest::newRow("engine closed") << int(EngineCommand::Kind::Close);
}

void TestLocalEngine::aCheckIsGivenUpForOtherWork()
{
    QFETCH(const int, kind);
    DownloadRequest asked = request(u"done"_s);
    asked.url.setPath(FakePaths::kChecksForEver);
    const qint64 id = answerOf([&](const Engine::Callback &done) { m_engine->add(asked, false, done); }).ids.value(0);
    QList<DownloadState> states{DownloadState::Paused};
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) { states.append(row.state); });
    QList<Failure::Kind> answers;
    const auto keep = [&](const EngineAnswer &answer) { answers.append(answer.failure.kind); };
    m_engine->check(id, {}, keep);
    m_engine->check(77, {}, keep);
    QVERIFY(comesTo(id, DownloadState::Checking));
    EngineCommand command;
    command.kind = EngineCommand::Kind(kind);
    command.id = id;
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->send(command, done); }).isOk());
    QTRY_COMPARE(answers.size(), 2);
    if (command.kind == EngineCommand::Kind::Close)
        m_engine.reset();
    for (qsizetype i = 1; i < states.size(); ++i)
        QVERIFY(states.at(i - 1) == states.at(i) || downloadStates().allows(states.at(i - 1), states.at(i)));
    QVERIFY(states.contains(DownloadState::Checking));
}

void TestLocalEngine::whatIsLookedUpIsGivenUpWithTheEngine()
{
    const qint64 id = add(u"done"_s, {}, false);
    const QUrl url = row(id).url;
    QSignalSpy closed(m_engine.get(), &Engine::closed);
    QList<Failure::Kind> answers;
    const auto keep = [&](const EngineAnswer &answer) { answers.append(answer.failure.kind); };
    m_engine->setUrl(id, request(u"done"_s), false, keep);
    m_engine->query(request(u"done"_s), keep);
    m_engine->close();
    QTRY_COMPARE(closed.size(), 1);
    QCOMPARE(answers, QList<Failure::Kind>(2, Failure::Kind::Stopped));
    open(m_dir->filePath(u"list.sqlite"_s));
    QCOMPARE(row(id).url, url);
}

/// None of them ends by itself.
/// From now on a process has it of which nobody here can see whether it lives.
bool TestLocalEngine::giveToUnseen(qint64 id, qint64 pid) const
{
    const SqlFile list(m_dir->filePath(u"list.sqlite"_s));
    return list.run(u"INSERT INTO owners (boot_id, pid, start_time, machine, until) "
                    u"VALUES ('there', ?, 8, 'a', unixepoch() + 43)"_s,
                    {pid})
        && list.run(u"UPDATE downloads SET owner_pid = ?, owner_start_time = 8, owner_boot_id = 'there' WHERE id = ?"_s,
                    {pid, id});
}

void TestLocalEngine::reopenWithMany(int count)
{
    close();
    const QString listPath = m_dir->filePath(u"list.sqlite"_s);
    DownloadList list;
    QVERIFY(list.open(listPath));
    QVERIFY(list.together([this, count](DownloadStore &store) {
        for (int i = 0; i < count; ++i) {
            AbstractDownloadPersistentInfo record = request(u"run"_s).newRecord();
            store.insert(record);
        }
        return true;
    }));
    open(listPath);
}

void TestLocalEngine::whatIsDoneWithManyIsDoneWithAFewAtATime()
{
    reopenWithMany();
    QHash<DownloadState, int> told;
    QHash<DownloadState, QSet<int>> turns;
    int turn = 0;
    QTimer everyTurn;
    connect(&everyTurn, &QTimer::timeout, &everyTurn, [&turn] { ++turn; });
    everyTurn.start(0);
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) {
        ++told[row.state];
        turns[row.state].insert(turn);
    });
    QList<int> waitingWhenAnswered;
    const auto keep = [&](const EngineAnswer &answer) {
        waitingWhenAnswered.append(answer.isOk() ? told[DownloadState::Waiting] : -1);
    };
    m_engine->resumeAll(keep);
    m_engine->pause(kMany, keep);
    QTRY_COMPARE(waitingWhenAnswered.size(), 2);
    QCOMPARE(waitingWhenAnswered.first(), 0);
    QVERIFY2(waitingWhenAnswered.last() == kMany, "what was resumed can be paused");
    QVERIFY2(turns[DownloadState::Waiting].size() > 1, "others had their turn meanwhile");
    told.clear();
    m_engine->pauseAll();
    QTRY_COMPARE(told[DownloadState::Paused], kMany - 1);
    QVERIFY2(turns[DownloadState::Paused].size() > 1, "others had their turn meanwhile");
}

void TestLocalEngine::allThatIsUnfinishedIsResumedInItsOrder()
{
    constexpr qint64 kGone = 50;
    reopenWithMany();
    DownloadList other;
    QVERIFY(other.open(m_dir->filePath(u"list.sqlite"_s)));
    m_engine->setMostAtOnce(1);
    answerOf([this](const Engine::Callback &done) { m_engine->prepare(done); });
    answerOf([this](const Engine::Callback &done) { m_engine->move(kMany, kGone, done); });
    std::optional<EngineAnswer> resumed;
    m_engine->resumeAll([&resumed](const EngineAnswer &answer) { resumed = answer; });
    // Another program takes some away when the first of them have been looked at.
    const auto removeSome = [&other] {
        for (qint64 id = 1; id <= kGone; ++id)
            other.remove(id);
    };
    QMetaObject::invokeMethod(m_engine.get(), removeSome, Qt::QueuedConnection);
    QTRY_VERIFY(resumed.has_value());
    QList<qint64> expected{kMany};
    for (qint64 id = kGone + 1; id < kMany; ++id)
        expected.append(id);
    resumed->ids.removeIf([](qint64 id) { return id <= kGone; });
    QCOMPARE(resumed->ids, expected);
}

void TestLocalEngine::ofWhatAnotherProcessHasAPageTellsOnlyWhatIsNew()
{
    const qint64 theirs = add(u"done"_s, {}, false);
    QTRY_COMPARE(row(theirs).ownerPid, 0);
    QList<Snapshot> told;
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&told](const Snapshot &row) { told.append(row); });
    const auto toldOfTwoPages = [&] {
        told.clear();
        for (int i = 0; i < 2; ++i) {
            const EngineAnswer page = answerOf([this](const Engine::Callback &done) { m_engine->snapshots({}, done); });
            if (!told.isEmpty() && told.last() != page.snapshots.value(0))
                told.clear();
        }
        return told.size();
    };
    QCOMPARE(toldOfTwoPages(), 0);
    setOwner(theirs, ProcessIdentity::ofProcess(1));
    QCOMPARE(toldOfTwoPages(), 1);
    DownloadList other;
    QVERIFY(other.open(m_dir->filePath(u"list.sqlite"_s)));
    std::optional<AbstractDownloadPersistentInfo> record = other.load(theirs);
    record->files.resize(1);
    record->files.first().name = u"half.bin"_s;
    QVERIFY(other.update(*record));
    QCOMPARE(toldOfTwoPages(), 1);
    QCOMPARE(told.first().name(), u"half.bin"_s);
    QCOMPARE(toldOfTwoPages(), 0);
    setOwner(theirs, {});
    QCOMPARE(toldOfTwoPages(), 1);
    QCOMPARE(told.first().ownerPid, 0);
}

/// Whoever stays for long keeps nobody from it.
void TestLocalEngine::whatIsOnlyAddedIsNobodys()
{
    const qint64 id = add(u"run"_s, {}, false);
    DownloadList other;
    QVERIFY(other.open(m_dir->filePath(u"list.sqlite"_s)));
    QTRY_COMPARE(other.page(ListFilter::All, 1, id + 1).first().owner.pid, qint64(0));
}

/// In containers, the first process has the same number everywhere.
void TestLocalEngine::whatAProcessOfTheSameNumberElsewhereHasIsNotOurs()
{
    const qint64 id = add(u"run"_s, {}, false);
    QTRY_COMPARE(row(id).ownerPid, 0);
    const qint64 pid = QCoreApplication::applicationPid();
    QVERIFY(giveToUnseen(id, pid));
    QCOMPARE(row(id).ownerPid, pid);
    QCOMPARE(row(id).state, DownloadState::Running);
}

/// And goes on as it was asked for this time.
void TestLocalEngine::theSameRequestWaitsForAProcessThatMayHaveDied()
{
    DownloadRequest asked = request(u"done"_s);
    const auto addIt = [&](bool begin) {
        return answerOf([&](const Engine::Callback &done) { m_engine->add(asked, begin, done); });
    };
    const qint64 id = addIt(false).ids.value(0);
    QTRY_COMPARE(row(id).ownerPid, 0);
    QVERIFY(giveToUnseen(id, 7));
    QCOMPARE(addIt(false).failure.kind, Failure::Kind::OwnedByOther);
    asked.changes = change(kOnUnresumable, u"restart"_s);
    QCOMPARE(addIt(true).ids, QList<qint64>{id});
    QVERIFY(comesTo(id, DownloadState::Resting));
    QCOMPARE(addIt(true).ids, QList<qint64>{id});
    QVERIFY(SqlFile(m_dir->filePath(u"list.sqlite"_s)).run(u"UPDATE owners SET until = 1 WHERE pid = 7"_s));
    // Nobody wants to wait for the end of the rest here.
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->pause(id, done); }).isOk());
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->resume(id, done); }).isOk());
    QVERIFY(comesTo(id, DownloadState::Done));
    QCOMPARE(Trouble::Policy(row(id).details->options.onUnresumable), Trouble::Policy::Restart);
}

void TestLocalEngine::whatIsToGoOnWaitsForAProcessThatMayHaveDied()
{
    const qint64 theirs = add(u"done"_s, {}, false);
    const qint64 ours = add(u"done"_s, {}, false);
    QTRY_VERIFY(row(theirs).ownerPid == 0 && row(ours).ownerPid == 0);
    QVERIFY(giveToUnseen(theirs, 7));
    const EngineAnswer resumed = answerOf([this](const Engine::Callback &done) { m_engine->resumeAll(done); });
    QCOMPARE(resumed.ids, (QList<qint64>{theirs, ours}));
    QVERIFY(comesTo(ours, DownloadState::Done));
    QCOMPARE(row(theirs).state, DownloadState::Resting);
}

void TestLocalEngine::whatIsTakenFromAProcessThatHasDiedIsToldToBeOurs()
{
    const qint64 id = add(kNotFound + u"/300"_s);
    QVERIFY(comesTo(id, DownloadState::Failed));
    QVERIFY(giveToUnseen(id, 7));
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->resume(id, done); }).isOk());
    QVERIFY(comesTo(id, DownloadState::Resting));
    QVERIFY2(row(id).ownerPid == 7 && row(id).ownerSecondsLeft > 0, "it may live");
    QVERIFY(SqlFile(m_dir->filePath(u"list.sqlite"_s)).run(u"UPDATE owners SET until = 1 WHERE pid = 7"_s));
    QList<Snapshot> told;
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) {
        if (row.state != DownloadState::Resting)
            told.append(row);
    });
    // That does not rest until the time is up.
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->finishNow(id, done); }).isOk());
    QVERIFY(comesTo(id, DownloadState::Done));
    QVERIFY(told.size() > 1);
    QCOMPARE(told.first().state, DownloadState::Running);
    for (const Snapshot &row : std::as_const(told)) {
        QCOMPARE(row.ownerPid, 0);
        QCOMPARE(row.ownerSecondsLeft, 0);
    }
}

/// It may have died while the download waited, and nothing of it runs here.
void TestLocalEngine::whatIsPausedBeforeItBeganIsToldToRestThoughAnotherHadIt()
{
    const qint64 id = add(u"done"_s, {}, false);
    QTRY_COMPARE(row(id).ownerPid, 0);
    QVERIFY(comesTo(add(u"run"_s), DownloadState::Running));
    QVERIFY(giveToUnseen(id, 7));
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->resume(id, done); }).isOk());
    QVERIFY(comesTo(id, DownloadState::Waiting));
    QVERIFY(SqlFile(m_dir->filePath(u"list.sqlite"_s)).run(u"UPDATE owners SET until = 1 WHERE pid = 7"_s));
    std::optional<Snapshot> told;
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) {
        if (row.id == id)
            told = row;
    });
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->pause(id, done); }).isOk());
    QTRY_VERIFY(told);
    QCOMPARE(told->state, DownloadState::Paused);
    QCOMPARE(told->ownerPid, 0);
}

/// Whoever waits for its end would wait for ever where it is said to run.
void TestLocalEngine::whatIsAnothersAfterAllIsToldToHaveFailed()
{
    const qint64 id = add(kNotFound + u"/300"_s);
    QVERIFY(comesTo(id, DownloadState::Failed));
    QVERIFY(giveToUnseen(id, 7));
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->resume(id, done); }).isOk());
    QVERIFY(comesTo(id, DownloadState::Resting));
    QList<Snapshot> told;
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) { told.append(row); });
    // That does not rest until the time is up.
    QVERIFY(answerOf([&](const Engine::Callback &done) { m_engine->finishNow(id, done); }).isOk());
    QTRY_VERIFY(!told.isEmpty() && told.last().state != DownloadState::Resting);
    QCOMPARE(told.last().state, DownloadState::Failed);
    QCOMPARE(told.last().failure.kind, Failure::Kind::OwnedByOther);
    QCOMPARE(row(id).ownerPid, 7);
    QCOMPARE(row(id).state, DownloadState::Running);
}

void TestLocalEngine::ofManyThatWaitEachIsToldWhenItBegins_data()
{
    QTest::addColumn<QStringList>("statements");
    QTest::addColumn<DownloadState>("state");
    QTest::newRow("it is ours") << QStringList() << DownloadState::Running;
    QTest::newRow("a process that may have died has it")
        << QStringList{u"INSERT INTO owners (boot_id, pid, start_time, machine, until) "
                       u"VALUES ('there', 7, 8, 'a', unixepoch() + 43)"_s,
                       u"UPDATE downloads SET owner_pid = 7, owner_start_time = 8, owner_boot_id = 'there' "
                       u"WHERE id = 2001"_s}
        << DownloadState::Resting;
}

void TestLocalEngine::ofManyThatWaitEachIsToldWhenItBegins()
{
    QFETCH(const QStringList, statements);
    QFETCH(const DownloadState, state);
    reopenWithMany(kMoreThanAreKept);
    QList<DownloadState> states;
    int waiting = 0;
    const QObject listener;
    connect(m_engine.get(), &Engine::changed, &listener, [&](const Snapshot &row) {
        waiting += int(row.state == DownloadState::Waiting);
        if (row.id == kMoreThanAreKept)
            states.append(row.state);
    });
    QVERIFY(answerOf([this](const Engine::Callback &done) { m_engine->resumeAll(done); }).isOk());
    QTRY_COMPARE(waiting, kMoreThanAreKept);
    QVERIFY(answerOf([this](const Engine::Callback &done) { m_engine->move(kMoreThanAreKept, 0, done); }).isOk());
    const SqlFile list(m_dir->filePath(u"list.sqlite"_s));
    for (const QString &statement : statements)
        QVERIFY2(list.run(statement), qPrintable(list.errorText()));
    states.clear();
    m_engine->setMostAtOnce(2);
    QTRY_VERIFY(!states.isEmpty());
    QCOMPARE(states.first(), state);
}

void TestLocalEngine::whoEndsDoesNotWaitForMany()
{
    reopenWithMany();
    QList<Failure::Kind> answers;
    const auto keep = [&](const EngineAnswer &answer) { answers.append(answer.failure.kind); };
    QSignalSpy closed(m_engine.get(), &Engine::closed);
    QSignalSpy changed(m_engine.get(), &Engine::changed);
    m_engine->resumeAll(keep);
    m_engine->close(keep);
    QTRY_COMPARE(closed.size(), 1);
    QCOMPARE(answers, (QList<Failure::Kind>{Failure::Kind::Stopped, Failure::Kind::None}));
    QCOMPARE(changed.size(), 0);
    m_engine.reset();
}

void TestLocalEngine::thatNothingIsKeptIsSaidOnce()
{
    close();
    const QByteArray home = qgetenv("HOME");
    const QByteArray data = qgetenv("XDG_DATA_HOME");
    const auto restored = qScopeGuard([&] {
        qputenv("HOME", home);
        qputenv("XDG_DATA_HOME", data);
    });
    qunsetenv("HOME");
    qunsetenv("XDG_DATA_HOME");
    m_engine = std::make_unique<LocalEngine>();
    const EngineAnswer opened = answerOf([&](const Engine::Callback &done) { m_engine->open({}, done); });
    QCOMPARE(opened.warnings.size(), 1);
    const EngineAnswer prepared = answerOf([&](const Engine::Callback &done) { m_engine->prepare(done); });
    QVERIFY(prepared.isOk());
    QCOMPARE(prepared.warnings, QList<Failure>());
}

QTEST_GUILESS_MAIN(TestLocalEngine)
#include "tst_localengine.moc"
