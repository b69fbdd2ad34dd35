// SPDX-License-Identifier: MIT
#include <host/engine/engine.h>

#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

/// Keeps what it is told to do, and tells what the test wants told.
class TalkingEngine : public Engine
{
public:
    using Engine::answerRest;
    using Engine::deliver;

    QList<EngineCommand> commands;

    void tellAnswer(quint64 number, const QList<qint64> &ids = {})
    {
        EngineNews news{EngineNews::Kind::Answered};
        news.answer = EngineAnswer{number, {}, {}, ids};
        deliver(news);
    }

protected:
    void transmit(const EngineCommand &command) override { commands.append(command); }
};

}

/// The face of every engine: calls become commands, news become answers and signals.
class TestEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCommandHasANumberOfItsOwn();
    void anAnswerGoesToWhoGaveTheCommand();
    void aCallSaysWhatItIsAbout();
    void newsBecomeSignals();
    void everythingIsToldOnceMoreBefore();
    void whatNobodyWillAnswerIsRefused();
    void aCommandMayBeGivenFromInsideAnAnswer();
    void theEngineMayBeDestroyedByWhoeverHearsOfAnything_data();
    void theEngineMayBeDestroyedByWhoeverHearsOfAnything();
    void theEngineMayBeDestroyedWhileTheRestIsRefused_data();
    void theEngineMayBeDestroyedWhileTheRestIsRefused();
};

void TestEngine::everyCommandHasANumberOfItsOwn()
{
    TalkingEngine engine;
    engine.pause(3);
    engine.pause(3);
    QCOMPARE(engine.commands.size(), 2);
    QVERIFY(engine.commands.at(0).number != engine.commands.at(1).number);
}

void TestEngine::anAnswerGoesToWhoGaveTheCommand()
{
    TalkingEngine engine;
    QList<qint64> first;
    QList<qint64> second;
    engine.resumeAll([&first](const EngineAnswer &answer) { first = answer.ids; });
    engine.resumeAll([&second](const EngineAnswer &answer) { second = answer.ids; });
    engine.tellAnswer(engine.commands.at(1).number, {2});
    QCOMPARE(first, QList<qint64>());
    QCOMPARE(second, QList<qint64>{2});
    engine.tellAnswer(engine.commands.at(0).number, {1});
    QCOMPARE(first, QList<qint64>{1});
}

void TestEngine::aCallSaysWhatItIsAbout()
{
    TalkingEngine engine;
    engine.move(3, 17);
    engine.remove(4, true);
    engine.setLimits(5, {1000, std::nullopt, 2});
    engine.answer(6, Question::Choice::Skip);
    const QList<EngineCommand> &commands = engine.commands;
    QCOMPARE(commands.at(0).id, 3);
    QCOMPARE(commands.at(0).value, 17);
    QVERIFY(commands.at(1).flag);
    QCOMPARE(commands.at(2).limits->rate, 1000);
    QVERIFY(!commands.at(2).limits->connections);
    QCOMPARE(Question::Choice(commands.at(3).value), Question::Choice::Skip);
}

void TestEngine::newsBecomeSignals()
{
    TalkingEngine engine;
    QStringList told;
    connect(&engine, &Engine::added, this, [&told](const Snapshot &snapshot, qint64 position) {
        told.append(u"added %1 at %2"_s.arg(snapshot.id).arg(position));
    });
    connect(&engine, &Engine::moved, this,
            [&told](qint64 id, qint64 position) { told.append(u"moved %1 to %2"_s.arg(id).arg(position)); });
    connect(&engine, &Engine::removed, this, [&told](qint64 id) { told.append(u"removed %1"_s.arg(id)); });
    connect(&engine, &Engine::warned, this, [&told](qint64 id, const Warning &warning) {
        told.append(u"%1: %2"_s.arg(QString::number(id), warning.failure.plain()));
    });
    EngineNews added{EngineNews::Kind::Added, 7, 2};
    added.snapshot = Snapshot();
    added.snapshot->id = 7;
    engine.deliver(added);
    engine.deliver({EngineNews::Kind::Moved, 7, 0});
    EngineNews warned{EngineNews::Kind::Warned, 7};
    warned.warning = Warning{Warning::Kind::Retrying, Failure::make(Failure::Kind::Unknown, {}, u"mind"_s)};
    engine.deliver(warned);
    engine.deliver({EngineNews::Kind::Removed, 7});
    QCOMPARE(told, QStringList({u"added 7 at 2"_s, u"moved 7 to 0"_s, u"7: mind"_s, u"removed 7"_s}));
}

void TestEngine::everythingIsToldOnceMoreBefore()
{
    TalkingEngine engine;
    QStringList order;
    connect(&engine, &Engine::told, this, [&order] { order.append(u"told"_s); });
    connect(&engine, &Engine::closed, this, [&order] { order.append(u"closed"_s); });
    engine.close([&order](const EngineAnswer &) { order.append(u"answer"_s); });
    engine.tellAnswer(engine.commands.first().number);
    engine.deliver({EngineNews::Kind::Closed});
    QCOMPARE(order, QStringList({u"told"_s, u"answer"_s, u"told"_s, u"closed"_s}));
}

void TestEngine::whatNobodyWillAnswerIsRefused()
{
    TalkingEngine engine;
    QList<Failure::Kind> kinds;
    const auto keep = [&kinds](const EngineAnswer &answer) { kinds.append(answer.failure.kind); };
    engine.check(1, {}, keep);
    engine.query({}, keep);
    engine.answerRest(Failure::make(Failure::Kind::Stopped, {}));
    QCOMPARE(kinds, QList<Failure::Kind>({Failure::Kind::Stopped, Failure::Kind::Stopped}));
}

void TestEngine::aCommandMayBeGivenFromInsideAnAnswer()
{
    TalkingEngine engine;
    engine.snapshots({}, [&engine](const EngineAnswer &) { engine.pause(1); });
    engine.tellAnswer(engine.commands.first().number);
    QCOMPARE(engine.commands.size(), 2);
}

void TestEngine::theEngineMayBeDestroyedByWhoeverHearsOfAnything_data()
{
    QTest::addColumn<bool>("isAnswer");
    QTest::newRow("a signal that is about to follow is not sent") << false;
    QTest::newRow("an answer that is about to follow is not given") << true;
}

void TestEngine::theEngineMayBeDestroyedByWhoeverHearsOfAnything()
{
    QFETCH(bool, isAnswer);
    auto engine = std::make_unique<TalkingEngine>();
    TalkingEngine *const talking = engine.get();
    int heard = 0;
    connect(talking, &Engine::closed, this, [&heard] { ++heard; });
    talking->pauseAll([&heard](const EngineAnswer &) { ++heard; });
    connect(talking, &Engine::told, this, [&engine] { engine.reset(); });
    if (isAnswer)
        talking->tellAnswer(talking->commands.first().number);
    else
        talking->deliver({EngineNews::Kind::Closed});
    QVERIFY(!engine);
    QCOMPARE(heard, 0);
}

void TestEngine::theEngineMayBeDestroyedWhileTheRestIsRefused_data()
{
    QTest::addColumn<bool>("byTold");
    QTest::addColumn<int>("answers");
    QTest::newRow("from inside the first answer") << false << 1;
    QTest::newRow("before it") << true << 0;
}

void TestEngine::theEngineMayBeDestroyedWhileTheRestIsRefused()
{
    QFETCH(bool, byTold);
    QFETCH(int, answers);
    auto engine = std::make_unique<TalkingEngine>();
    TalkingEngine *const talking = engine.get();
    int heard = 0;
    const auto destroy = [&heard, &engine](const EngineAnswer &) {
        ++heard;
        engine.reset();
    };
    talking->pauseAll(destroy);
    talking->resumeAll(destroy);
    if (byTold)
        connect(talking, &Engine::told, this, [&engine] { engine.reset(); });
    talking->answerRest(Failure::make(Failure::Kind::Stopped, {}));
    QVERIFY(!engine);
    QCOMPARE(heard, answers);
}

QTEST_GUILESS_MAIN(TestEngine)
#include "tst_engine.moc"
