// SPDX-License-Identifier: MIT
#include <host/engine/engine.h>

#include <inet/qt/download/framework/runguard.h>

#include <QThread>

#include <algorithm>

namespace
{

using Kind = EngineCommand::Kind;

EngineCommand of(Kind kind, qint64 id = 0)
{
    EngineCommand command;
    command.kind = kind;
    command.id = id;
    return command;
}

}

Engine::Engine(QObject *parent)
    : QObject(parent)
{
}

Engine::~Engine() = default;

void Engine::open(const EngineOptions &options, const Callback &callback)
{
    EngineCommand command = of(Kind::Open);
    command.options = options;
    send(command, callback);
}

void Engine::prepare(const Callback &callback)
{
    send(of(Kind::Prepare), callback);
}

void Engine::add(const DownloadRequest &request, bool begin, const Callback &callback)
{
    EngineCommand command = of(Kind::Add);
    command.request = request;
    command.flag = begin;
    send(command, callback);
}

void Engine::resume(qint64 id, const Callback &callback)
{
    send(of(Kind::Resume, id), callback);
}

void Engine::pause(qint64 id, const Callback &callback)
{
    send(of(Kind::Pause, id), callback);
}

void Engine::remove(qint64 id, bool withFile, const Callback &callback)
{
    EngineCommand command = of(Kind::Remove, id);
    command.flag = withFile;
    send(command, callback);
}

void Engine::restart(qint64 id, const Callback &callback)
{
    send(of(Kind::Restart, id), callback);
}

void Engine::replace(qint64 id, const Callback &callback)
{
    EngineCommand command = of(Kind::Restart, id);
    command.flag = true;
    send(command, callback);
}

void Engine::finishNow(qint64 id, const Callback &callback)
{
    send(of(Kind::FinishNow, id), callback);
}

void Engine::check(qint64 id, const OptionChanges &changes, const Callback &callback)
{
    EngineCommand command = of(Kind::Check, id);
    command.changes = changes;
    send(command, callback);
}

void Engine::query(const DownloadRequest &request, const Callback &callback)
{
    EngineCommand command = of(Kind::Query);
    command.request = request;
    send(command, callback);
}

void Engine::plan(const DownloadRequest &request, const Callback &callback)
{
    EngineCommand command = of(Kind::Query);
    command.request = request;
    command.flag = true;
    send(command, callback);
}

void Engine::setUrl(qint64 id, const DownloadRequest &request, bool force, const Callback &callback)
{
    EngineCommand command = of(Kind::SetUrl, id);
    command.request = request;
    command.flag = force;
    send(command, callback);
}

void Engine::move(qint64 id, qint64 position, const Callback &callback)
{
    EngineCommand command = of(Kind::Move, id);
    command.value = position;
    send(command, callback);
}

void Engine::setLimits(qint64 id, const Limits &limits, const Callback &callback)
{
    EngineCommand command = of(Kind::SetLimits, id);
    command.limits = limits;
    send(command, callback);
}

void Engine::setOptions(qint64 id, const OptionChanges &changes, const Callback &callback)
{
    EngineCommand command = of(Kind::SetOptions, id);
    command.changes = changes;
    send(command, callback);
}

void Engine::pauseAll(const Callback &callback)
{
    send(of(Kind::PauseAll), callback);
}

void Engine::resumeAll(const Callback &callback)
{
    send(of(Kind::ResumeAll), callback);
}

void Engine::setGlobalLimits(const Limits &limits, const Callback &callback)
{
    EngineCommand command = of(Kind::SetGlobalLimits);
    command.limits = limits;
    send(command, callback);
}

void Engine::setMostAtOnce(int count, const Callback &callback)
{
    EngineCommand command = of(Kind::SetMostAtOnce);
    command.value = count;
    send(command, callback);
}

void Engine::takeStream(qint64 id, qint64 bytes, const Callback &callback)
{
    EngineCommand command = of(Kind::TakeStream, id);
    command.value = bytes;
    send(command, callback);
}

void Engine::snapshot(qint64 id, const Callback &callback)
{
    send(of(Kind::Snapshot, id), callback);
}

void Engine::snapshots(const SnapshotQuery &query, const Callback &callback)
{
    EngineCommand command = of(Kind::Snapshots);
    command.query = query;
    send(command, callback);
}

void Engine::questions(const Callback &callback)
{
    send(of(Kind::Questions), callback);
}

void Engine::overview(const Callback &callback)
{
    send(of(Kind::Overview), callback);
}

void Engine::answer(qint64 questionId, Question::Choice choice, const Callback &callback)
{
    EngineCommand command = of(Kind::Answer, questionId);
    command.value = qint64(choice);
    send(command, callback);
}

void Engine::close(const Callback &callback)
{
    send(of(Kind::Close), callback);
}

void Engine::send(const EngineCommand &command, const Callback &callback)
{
    Q_ASSERT_X(thread() == QThread::currentThread(), "Engine::send", "an engine is called in its own thread");
    EngineCommand numbered = command;
    numbered.number = ++m_lastNumber;
    m_open.insert(numbered.number, callback);
    transmit(numbered);
}

void Engine::deliver(const EngineNews &news)
{
    const RunGuard lives(this);
    Q_EMIT told(news);
    if (!lives)
        return;
    if (news.kind == EngineNews::Kind::Answered)
        answerCommand(news.answer.value_or(EngineAnswer()));
    else
        emitSignal(news);
}

void Engine::answerCommand(const EngineAnswer &answer)
{
    const auto found = m_open.constFind(answer.number);
    Q_ASSERT_X(found != m_open.constEnd(), "Engine::deliver", "a command has one answer");
    if (found == m_open.constEnd())
        return;
    const Callback callback = *found;
    m_open.erase(found);
    if (callback)
        callback(answer);
}

void Engine::emitSignal(const EngineNews &news)
{
    switch (news.kind) {
    case EngineNews::Kind::Answered:
        break;
    case EngineNews::Kind::Added:
        Q_EMIT added(news.snapshot.value_or(Snapshot()), news.position);
        break;
    case EngineNews::Kind::Changed:
        Q_EMIT changed(news.snapshot.value_or(Snapshot()));
        break;
    case EngineNews::Kind::Removed:
        Q_EMIT removed(news.id);
        break;
    case EngineNews::Kind::Moved:
        Q_EMIT moved(news.id, news.position);
        break;
    case EngineNews::Kind::Asked:
        Q_EMIT asked(news.question.value_or(Question()));
        break;
    case EngineNews::Kind::QuestionClosed:
        Q_EMIT answered(news.id);
        break;
    case EngineNews::Kind::TotalsChanged:
        Q_EMIT totalsChanged(news.totals.value_or(Totals()));
        break;
    case EngineNews::Kind::Warned:
        Q_EMIT warned(news.id, news.warning.value_or(Warning()));
        break;
    case EngineNews::Kind::ListChanged:
        Q_EMIT listChanged();
        break;
    case EngineNews::Kind::Closed:
        Q_EMIT closed();
        break;
    }
}

void Engine::answerRest(const Failure &failure)
{
    const RunGuard lives(this);
    QList<quint64> numbers = m_open.keys();
    std::sort(numbers.begin(), numbers.end());
    for (const quint64 number : std::as_const(numbers)) {
        EngineAnswer answer;
        answer.number = number;
        answer.failure = failure;
        EngineNews news{EngineNews::Kind::Answered};
        news.answer = answer;
        deliver(news);
        if (!lives)
            return;
    }
}
