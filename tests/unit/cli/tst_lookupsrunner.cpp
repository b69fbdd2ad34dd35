// SPDX-License-Identifier: MIT
#include <cli/lookupsrunner.h>
#include <tests/unit/cli/runnerbench.h>

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Kind = EngineCommand::Kind;

Arguments query(int count)
{
    Arguments arguments;
    arguments.command = Command::Query;
    for (int i = 1; i <= count; ++i) {
        DownloadRequest request;
        request.url = QUrl(u"http://anna:secret@a/%1"_s.arg(i));
        arguments.requests.append(request);
    }
    return arguments;
}

Arguments check(const QList<qint64> &ids)
{
    Arguments arguments;
    arguments.command = Command::Check;
    arguments.ids = ids;
    return arguments;
}

EngineAnswer refusal(Failure::Kind kind, const QString &detail = {})
{
    EngineAnswer answer;
    answer.failure = Failure::make(kind, {}, detail);
    return answer;
}

EngineAnswer found(const QString &name)
{
    EngineAnswer answer;
    answer.found = QueryResult();
    answer.found->name = name;
    return answer;
}

EngineAnswer known(qint64 id)
{
    Snapshot row;
    row.id = id;
    row.url = QUrl(u"http://a/%1"_s.arg(id));
    EngineAnswer answer;
    answer.snapshots = {row};
    return answer;
}

}

/// What "query", "check" and "set-url" ask of an engine, and what they make of its answers.
class TestLookupsRunner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void oneIsAskedAfterTheOther();
    void aLoginIsNotShown();
    void badLinesOfAListAreSaidFirstAndTheOthersAreAsked();
    void theFirstFailureIsTheStatus();
    void whatIsTheSameIsSaid();
    void anotherFileIsAStatusOfItsOwn();
    void whatIsNotInTheListIsNotAsked();
    void anAddressOfAnotherFileCanBeForced();
    void aStopAsksForNothingMore();

private:
    void begin(const Arguments &arguments);
    bool isClosed();

    std::unique_ptr<ScriptedEngine> m_engine;
    Notebook m_notes;
    std::unique_ptr<LookupsRunner> m_runner;
    QList<ExitStatus> m_done; ///< as often as it was told
};

void TestLookupsRunner::init()
{
    m_notes.lines.clear();
    m_notes.summaries.clear();
    m_done.clear();
}

void TestLookupsRunner::begin(const Arguments &arguments)
{
    m_runner.reset();
    m_engine = std::make_unique<ScriptedEngine>();
    m_runner = std::make_unique<LookupsRunner>(arguments, *m_engine, m_notes);
    connect(m_runner.get(), &Runner::done, this, [this](ExitStatus status) { m_done.append(status); });
    m_runner->begin();
}

/// The engine is asked to, and has.
bool TestLookupsRunner::isClosed()
{
    if (!QTest::qWaitFor([this] { return !m_engine->of(Kind::Close).isEmpty(); }))
        return false;
    m_engine->tellClosed();
    return m_done.size() == 1;
}

void TestLookupsRunner::oneIsAskedAfterTheOther()
{
    begin(query(2));
    QCOMPARE(m_engine->of(Kind::Query).size(), 1);
    QVERIFY(m_engine->answerTo(Kind::Query, found(u"one"_s)));
    QTRY_COMPARE(m_engine->of(Kind::Query).size(), 2);
    QVERIFY(m_engine->answerTo(Kind::Query, found(u"two"_s)));
    QVERIFY(isClosed());
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::Done});
    QCOMPARE(m_notes.lines,
             QStringList({u"begin -1 http://a/1"_s, u"queried -1 one"_s, u"end -1 0"_s, u"begin -2 http://a/2"_s,
                          u"queried -2 two"_s, u"end -2 0"_s}));
}

void TestLookupsRunner::aLoginIsNotShown()
{
    begin(query(1));
    QCOMPARE(m_notes.lines, QStringList{u"begin -1 http://a/1"_s});
    QCOMPARE(m_engine->of(Kind::Query).first().request->url.password(), u"secret"_s);
}

void TestLookupsRunner::badLinesOfAListAreSaidFirstAndTheOthersAreAsked()
{
    Arguments arguments = query(1);
    arguments.badLines = {u"urls.txt:2: one"_s};
    begin(arguments);
    QCOMPARE(m_notes.lines, (QStringList{u"begin -1 "_s, u"end -1 28"_s, u"begin -2 http://a/1"_s}));
    QVERIFY(m_engine->answerTo(Kind::Query, found(u"one"_s)));
    QVERIFY(isClosed());
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::BadOption});
}

void TestLookupsRunner::theFirstFailureIsTheStatus()
{
    begin(query(2));
    QVERIFY(m_engine->answerTo(Kind::Query, refusal(Failure::Kind::NotFound)));
    QTRY_COMPARE(m_engine->of(Kind::Query).size(), 2);
    QVERIFY(m_engine->answerTo(Kind::Query, refusal(Failure::Kind::TimedOut)));
    QVERIFY(isClosed());
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::NotFound});
}

void TestLookupsRunner::whatIsTheSameIsSaid()
{
    begin(check({5}));
    QVERIFY(m_engine->answerTo(Kind::Snapshot, known(5)));
    QVERIFY(m_engine->answerTo(Kind::Check));
    QVERIFY(isClosed());
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::Done});
    QVERIFY(m_notes.lines.contains(u"download 5: the server has the same file"_s));
}

void TestLookupsRunner::anotherFileIsAStatusOfItsOwn()
{
    begin(check({5}));
    QVERIFY(m_engine->answerTo(Kind::Snapshot, known(5)));
    QVERIFY(m_engine->answerTo(Kind::Check, refusal(Failure::Kind::ResourceChanged)));
    QVERIFY(isClosed());
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::ResourceChanged});
    QVERIFY2(m_notes.summaries.first().errorText.contains(u"plait restart 5"_s),
             qPrintable(m_notes.summaries.first().errorText));
}

void TestLookupsRunner::whatIsNotInTheListIsNotAsked()
{
    begin(check({5}));
    QVERIFY(m_engine->answerTo(Kind::Snapshot, refusal(Failure::Kind::NoSuchDownload)));
    QVERIFY(isClosed());
    QVERIFY(m_engine->of(Kind::Check).isEmpty());
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::Unknown});
}

void TestLookupsRunner::anAddressOfAnotherFileCanBeForced()
{
    Arguments arguments = query(1);
    arguments.command = Command::SetUrl;
    arguments.ids = {5};
    begin(arguments);
    QVERIFY(!m_engine->of(Kind::SetUrl).first().flag);
    QVERIFY(m_engine->answerTo(Kind::SetUrl, refusal(Failure::Kind::ResourceChanged, u"it is larger"_s)));
    QVERIFY(isClosed());
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::ResourceChanged});
    const QString text = m_notes.summaries.first().errorText;
    QVERIFY2(text.contains(u"it is larger"_s) && text.contains(u"--force"_s), qPrintable(text));
}

void TestLookupsRunner::aStopAsksForNothingMore()
{
    begin(query(2));
    m_runner->stop();
    QVERIFY(m_engine->answerTo(Kind::Query, refusal(Failure::Kind::Stopped)));
    QVERIFY(isClosed());
    QCOMPARE(m_engine->of(Kind::Query).size(), 1);
    QCOMPARE(m_done, QList<ExitStatus>{ExitStatus::Unfinished});
}

QTEST_GUILESS_MAIN(TestLookupsRunner)
#include "tst_lookupsrunner.moc"
