// SPDX-License-Identifier: MIT
#include <tests/faults/commandseed.h>

#include <tests/integration/remote/remoteengine.h>
#include <tests/support/sqlfile.h>
#include <tests/support/testfiles.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Kind = CommandStep::Kind;

constexpr int kLockPatienceMs = 5000;
/// Of what is no download.
constexpr qint64 kNobody = 1000000;

bool isUnheard(const EngineAnswer &answer)
{
    return answer.failure.kind == Failure::Kind::Stopped;
}

}

void CommandSeed::take(const CommandStep &step)
{
    m_history.append(step.inWords());
    switch (step.kind) {
    case Kind::Add:
        return add(step);
    case Kind::Answer:
        return answerOne(step);
    case Kind::Look:
        return look(step);
    case Kind::Busy:
        return makeBusy(int(step.value));
    case Kind::Close:
    case Kind::Kill:
        end(step.kind == Kind::Kill);
        return m_findings.isEmpty() ? begin(m_world.canAsk) : void();
    case Kind::PauseAll:
    case Kind::ResumeAll:
    case Kind::SetGlobalLimits:
    case Kind::SetMostAtOnce:
    case Kind::Query:
        return giveCommand(step);
    default:
        return giveCommandTo(idOf(step), step);
    }
}

DownloadRequest CommandSeed::requestFor(int file) const
{
    const CommandFile &served = m_world.files.at(file);
    DownloadRequest request;
    request.url = m_server.url(file);
    request.folder = m_dir.filePath(u"files"_s);
    request.onExists = AbstractDownloadExistingFileReaction(served.onExists);
    request.options.onChanged = served.onChanged;
    request.options.onUnresumable = served.onUnresumable;
    if (served.hasChecksum) {
        request.options.checksumAlgorithm = u"sha-256"_s;
        request.options.checksumHex = QString::fromLatin1(TestFiles::sha256OfContent(served.content, served.size));
    }
    return request;
}

void CommandSeed::add(const CommandStep &step)
{
    const int file = step.which % int(m_world.files.size());
    m_engine->add(requestFor(file), step.flag,
                  counted(u"add %1"_s.arg(CommandWorld::nameOf(file)), [this, file](const EngineAnswer &answer) {
                      ++m_score.commands;
                      m_addsUnheard += int(isUnheard(answer));
                      if (answer.isOk())
                          know(answer.ids.value(0), file);
                      else if (!isUnheard(answer))
                          find(u"refused"_s, u"add: %1"_s.arg(answer.failure.plain()));
                  }));
}

void CommandSeed::know(qint64 id, int file)
{
    if (!m_known.contains(id))
        m_known.insert(id, {file});
}

/// Some have ended long ago, and one never was.
qint64 CommandSeed::idOf(const CommandStep &step) const
{
    QList<qint64> ids = m_known.keys();
    std::sort(ids.begin(), ids.end());
    return step.which == 0 || ids.isEmpty() ? kNobody : ids.at(step.which % ids.size());
}

Engine::Callback CommandSeed::counted(const QString &words, const Engine::Callback &callback)
{
    return m_watch->counted(words, callback);
}

Engine::Callback CommandSeed::judged(CommandStep::Kind kind, qint64 id, const Engine::Callback &callback)
{
    return counted(u"%1 %2"_s.arg(inWords(kind)).arg(id), [this, kind, id, callback](const EngineAnswer &answer) {
        onAnswer(kind, id, answer);
        if (callback)
            callback(answer);
    });
}

void CommandSeed::giveCommandTo(qint64 id, const CommandStep &step)
{
    m_history.append(u"  download %1"_s.arg(id));
    switch (step.kind) {
    case Kind::Pause:
        return m_engine->pause(id, judged(step.kind, id));
    case Kind::Resume:
        return m_engine->resume(id, judged(step.kind, id));
    case Kind::Restart:
        return restart(id);
    case Kind::FinishNow:
        return finishNow(id);
    case Kind::Remove:
        return remove(id, step.flag);
    case Kind::Check:
        return m_engine->check(id, {}, judged(step.kind, id));
    case Kind::SetUrl:
        return setUrl(id, step.flag);
    case Kind::Move:
        return m_engine->move(id, step.value, judged(step.kind, id));
    case Kind::SetLimits:
        return m_engine->setLimits(id, {step.value, int(step.value % 3), step.flag ? 0 : 1}, judged(step.kind, id));
    case Kind::SetOptions: {
        OptionChanges changes;
        changes.values.give(*OptionTable::ofHost().find(u"on-changed"_s), {u"restart"_s, {}});
        return m_engine->setOptions(id, changes, judged(step.kind, id));
    }
    default:
        return;
    }
}

void CommandSeed::giveCommand(const CommandStep &step)
{
    const Limits limits{step.value, int(step.value % 5), step.flag ? 0 : 2};
    const Engine::Callback callback = judged(step.kind, 0, [this, kind = step.kind](const EngineAnswer &answer) {
        if (!answer.isOk() && !isUnheard(answer) && kind != Kind::Query)
            find(u"refused"_s, u"a command to all: %1"_s.arg(answer.failure.plain()));
        if (kind == Kind::PauseAll)
            m_stopping += QSet<qint64>(answer.ids.cbegin(), answer.ids.cend());
    });
    switch (step.kind) {
    case Kind::PauseAll:
        return m_engine->pauseAll(callback);
    case Kind::ResumeAll:
        return m_engine->resumeAll(callback);
    case Kind::SetGlobalLimits:
        return m_engine->setGlobalLimits(limits, callback);
    case Kind::SetMostAtOnce:
        return m_engine->setMostAtOnce(int(step.value), callback);
    default:
        return m_engine->query(requestFor(step.which % int(m_world.files.size())), callback);
    }
}

void CommandSeed::remove(qint64 id, bool withFile)
{
    if (m_known.contains(id)) {
        ++m_known[id].removals;
        m_known[id].mayBeGone = true;
        m_known[id].mayLackFile = m_known[id].mayLackFile || withFile;
        if (!withFile)
            m_leftBehind.insert(m_known[id].file);
    }
    m_engine->remove(id, withFile, judged(Kind::Remove, id, [this, id](const EngineAnswer &answer) {
                         if (!m_known.contains(id))
                             return;
                         const bool isLast = --m_known[id].removals == 0;
                         if (!isUnheard(answer) && isLast)
                             m_known[id].mayBeGone = m_known[id].mayLackFile = answer.isOk();
                     }));
}

void CommandSeed::finishNow(qint64 id)
{
    if (m_known.contains(id))
        m_known[id].mayBeEarly = true;
    m_engine->finishNow(id, judged(Kind::FinishNow, id));
}

void CommandSeed::restart(qint64 id)
{
    m_engine->restart(id, judged(Kind::Restart, id));
}

void CommandSeed::setUrl(qint64 id, bool force)
{
    DownloadRequest request;
    if (m_known.contains(id))
        request = requestFor(m_known.value(id).file);
    request.url = m_server.otherUrl(m_known.value(id).file);
    m_engine->setUrl(id, request, force, judged(Kind::SetUrl, id));
}

/// One that is open no longer, where there is none. What is skipped before it has anything leaves the list.
void CommandSeed::answerOne(const CommandStep &step)
{
    const Question question = m_questions.isEmpty() ? Question() : m_questions.at(step.which % m_questions.size());
    const auto choice = question.choices.value(step.value % std::max<qsizetype>(1, question.choices.size()));
    if (choice == Question::Choice::Skip && m_known.contains(question.downloadId))
        m_known[question.downloadId].mayBeGone = true;
    m_engine->answer(question.id, choice, counted(u"answer"_s, [this, question](const EngineAnswer &answer) {
                         if (question.id == 0 && answer.isOk())
                             find(u"accepted"_s, u"the answer to a question that nobody asked"_s);
                     }));
}

void CommandSeed::look(const CommandStep &step)
{
    const qint64 id = idOf(step);
    m_engine->questions(counted(u"questions"_s, [this](const EngineAnswer &answer) {
        if (answer.isOk() && answer.questions != m_questions)
            find(u"questions"_s,
                 u"%1 are open, and %2 were asked"_s.arg(answer.questions.size()).arg(m_questions.size()));
    }));
    m_engine->snapshot(id, judged(Kind::Look, id));
    const auto order = SnapshotQuery::Order(step.value % 5);
    m_engine->snapshots({step.value / 3, 3, ListFilter(step.value % 3), order}, counted(u"page"_s));
}

void CommandSeed::makeBusy(int ms)
{
    if (m_busy)
        return;
    m_busy = std::make_unique<SqlFile>(listPath(), kLockPatienceMs);
    if (m_busy->run(u"BEGIN IMMEDIATE"_s))
        m_busyTimer.start(ms);
    else
        m_busy.reset();
}

void CommandSeed::onAnswer(CommandStep::Kind kind, qint64 id, const EngineAnswer &answer)
{
    ++m_score.commands;
    m_score.refused += int(!answer.isOk());
    m_history.append(u"  %1 %2: %3"_s.arg(
        inWords(kind), QString::number(id),
        answer.isOk() ? u"done"_s
                      : u"refused (%1) %2"_s.arg(QString::number(int(answer.failure.kind)), answer.failure.plain())));
    if (isUnheard(answer))
        return;
    const QString wrong = whyWrong(kind, id, answer);
    if (!wrong.isEmpty())
        find(answer.isOk() ? u"accepted"_s : u"refused"_s,
             u"%1 of download %2, which %3: %4"_s.arg(inWords(kind), QString::number(id), wrong,
                                                      answer.failure.plain()));
    if (kind == Kind::Pause && answer.isOk())
        m_stopping.insert(id);
}

/// What is shown when the answer comes is what was so when it was given.
QString CommandSeed::whyWrong(CommandStep::Kind kind, qint64 id, const EngineAnswer &answer) const
{
    const Snapshot *const row = id == 0 ? nullptr : m_watch->row(id);
    if (id == 0)
        return {};
    if (!row)
        return answer.isOk() ? u"is not there"_s : QString();
    const bool isAtRest = EngineWatch::isAtRest(*row);
    const bool isLeaving = m_known.value(id).mayBeGone;
    switch (kind) {
    case Kind::Resume:
    case Kind::Restart:
        return answer.isOk() == isAtRest ? QString() : isAtRest ? u"is at rest"_s : u"is active"_s;
    case Kind::Pause:
        if (answer.isOk())
            return isAtRest ? u"is at rest"_s : QString();
        return isAtRest || isLeaving || m_stopping.contains(id) ? QString() : u"is active"_s;
    case Kind::FinishNow:
        return isAtRest && !answer.isOk() ? u"is at rest"_s : QString();
    case Kind::SetUrl:
        return answer.isOk() && (!isAtRest || row->isFinished) ? u"is active or finished"_s : QString();
    case Kind::Remove:
        return answer.isOk() || isLeaving ? QString() : u"is there"_s;
    case Kind::Move:
    case Kind::SetLimits:
    case Kind::SetOptions:
    case Kind::Look:
        return answer.isOk() ? QString() : u"is there"_s;
    default:
        return {};
    }
}
