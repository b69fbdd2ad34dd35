// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>

#include <host/engine/downloadsession.h>
#include <host/engine/downloadstream.h>

#include <algorithm>
#include <utility>

namespace
{

/// Of all downloads that a command is about, so many at a time.
constexpr qsizetype kSliced = 200;

bool standsBefore(const ListEntry &one, const ListEntry &other)
{
    return std::pair(one.placeKey, one.id) < std::pair(other.placeKey, other.id);
}

Failure wrongState(qint64 id, Clause::Kind how)
{
    return Failure::make(Failure::Kind::WrongState, Failure::Subject::of(id), how);
}

}

/// What was not free to be taken over any more may be finished by now.
qint64 LocalEngine::addNow(const EngineCommand &command, const TakenFile *taken, bool *isNew)
{
    const DownloadRequest request = command.request.value_or(DownloadRequest());
    Failure failure;
    bool isAdded = false;
    ListEntry added;
    // What is warned of while it is added comes behind the news that it is there.
    const QQueue<EngineNews> before = std::exchange(m_news, {});
    const qint64 id = m_session->add(request, &failure, &added, &isAdded, taken);
    const QQueue<EngineNews> warnings = std::exchange(m_news, before);
    if (id != 0)
        answer(command, {.ids = {id}});
    else if (taken ? !isThere(command) : !awaitOwner(command, failure))
        refuse(command, failure);
    const bool isToBegin = id != 0 && command.flag && !isQueued(id);
    if (isAdded && id != 0)
        tellAdded(rowOf(added));
    else if (id != 0 && !isToBegin)
        tellRow(id);
    m_news += warnings;
    if (isToBegin)
        append(added, DownloadQueue::Job::Download);
    else if (id != 0 && !isQueued(id) && !m_session->stream(id))
        m_session->letGo(id); // whoever wants to begin it may
    if (isNew)
        *isNew = isAdded;
    return id;
}

/// True, and answered, where the queue waits for the process that has it now, and may have died.
bool LocalEngine::awaitOwner(const EngineCommand &command, const Failure &failure)
{
    const bool mayEnd = failure.kind == Failure::Kind::OwnedByOther && failure.secondsLeft > 0;
    const std::optional<ListEntry> known = mayEnd && command.flag ? entry(failure.subject.id) : std::nullopt;
    if (!known)
        return false;
    m_session->renewOnceHeld(known->id, *command.request);
    answer(command, {.ids = {known->id}});
    if (!isQueued(known->id))
        append(*known, DownloadQueue::Job::Download);
    return true;
}

/// True, and answered, where nothing is to be put into the list.
bool LocalEngine::isThere(const EngineCommand &command)
{
    const DownloadRequest request = command.request.value_or(DownloadRequest());
    if (!request.onlyOnce || request.isStreamed)
        return false;
    if (const qint64 active = m_session->findActive(request); active != 0) {
        answer(command, {.ids = {active}});
        return true;
    }
    const std::optional<DownloadSession::Done> done = m_session->findDone(request);
    const std::optional<ListEntry> known = done ? entry(done->id) : std::nullopt;
    if (!known)
        return false;
    if (done->isToCompare)
        takeDone(command, request, *known);
    else
        answer(command, {.ids = {done->id}, .snapshots = {rowOf(*known)}, .existing = done->path});
    return true;
}

/// Its bytes are there; whether they are the right ones is all that is left to learn.
void LocalEngine::takeDone(const EngineCommand &command, const DownloadRequest &request, const ListEntry &known)
{
    EngineCommand comparing = command;
    comparing.id = known.id;
    Failure failure;
    if (isQueued(known.id) || !command.flag)
        answer(command, {.ids = {known.id}});
    else if (m_session->renew(known.id, request.changes, &failure))
        begin(comparing, DownloadQueue::Job::Download);
    else
        refuse(command, failure);
}

void LocalEngine::begin(const EngineCommand &command, DownloadQueue::Job job)
{
    const std::optional<ListEntry> known = entry(command.id);
    if (!known) {
        refuse(command, noSuch(command.id));
    } else if (isQueued(command.id)) {
        refuse(command, wrongState(command.id, Clause::Kind::WaitsOrRunsAlready));
    } else if (job != DownloadQueue::Job::Download && m_session->stream(command.id)) {
        refuse(command, wrongState(command.id, Clause::Kind::Streamed));
    } else if (!mayBeFree(*known)) {
        refuse(command,
               Failure::make(Failure::Kind::OwnedByOther, Failure::Subject::of(command.id), {}, int(known->owner.pid)));
    } else {
        answer(command, {.ids = {command.id}});
        append(*known, job);
    }
}

/// Whatever comes of it: as long as there is no new file, the old one is better than none.
void LocalEngine::restart(const EngineCommand &command)
{
    const std::optional<ListEntry> known = entry(command.id);
    const bool isAtRest = known && known->owner.isNobody() && !isQueued(command.id) && !m_session->stream(command.id);
    Failure failure;
    if (!isAtRest || !known->finished)
        begin(command, DownloadQueue::Job::Restart);
    else if (m_session->beginReplacing(command.id, !command.flag, &failure))
        begin(command, DownloadQueue::Job::Download);
    else
        refuse(command, failure);
}

void LocalEngine::append(const ListEntry &known, DownloadQueue::Job job)
{
    giveUpCheckOf(known.id);
    forgetReport(known.id);
    if (job != DownloadQueue::Job::Download)
        m_jobs.insert(known.id, job);
    if (m_rows.size() < kMostRows)
        m_rows.insert(known.id, rowOf(known));
    m_appended = known;
    m_queue->append(known.id, job, nullptr, known.placeKey);
    m_appended.reset();
    if (!m_tick.isActive())
        m_tick.start();
}

void LocalEngine::pause(const EngineCommand &command)
{
    haveQueueDo(command, &DownloadQueue::pause);
}

/// The queue may tell at once what comes of it; the answer is told before.
bool LocalEngine::haveQueueDo(const EngineCommand &command, bool (DownloadQueue::*operation)(qint64, Failure *))
{
    const QQueue<EngineNews> before = std::exchange(m_news, {});
    Failure failure;
    const bool isDone = (m_queue.get()->*operation)(command.id, &failure);
    const QQueue<EngineNews> after = std::exchange(m_news, before);
    if (isDone)
        answer(command, {.ids = {command.id}});
    else
        refuse(command, failure);
    m_news += after;
    return isDone;
}

void LocalEngine::pauseAll(const EngineCommand &command)
{
    answer(command, {.ids = m_queue->waitingIds() + m_queue->activeIds()});
    m_paused.emplace();
    m_queue->pauseAll();
    const QSet<qint64> paused = *std::exchange(m_paused, std::nullopt);
    tellPaused(paused);
}

/// The answer has all of their numbers, so that they are found before: by their ids, as any of them may come to its end
/// or be removed in the middle, and then put into the order of the list.
void LocalEngine::resumeAll(const EngineCommand &command)
{
    m_sliced = command;
    inSlices([this, command, before = qint64(0), chosen = QList<ListEntry>()]() mutable {
        const QList<ListEntry> unfinished = list().page(ListFilter::Unfinished, kSliced, before);
        for (const ListEntry &known : unfinished) {
            if (!isQueued(known.id) && mayBeFree(owned(known)))
                chosen.append(owned(known));
        }
        if (!unfinished.isEmpty()) {
            before = unfinished.last().id;
            return true;
        }
        if (const Failure unread = list().lastFailure()) {
            m_sliced.reset();
            refuse(command, unread);
            return false;
        }
        std::sort(chosen.begin(), chosen.end(), standsBefore);
        resumeThese(command, chosen);
        return false;
    });
}

void LocalEngine::resumeThese(const EngineCommand &command, const QList<ListEntry> &chosen)
{
    EngineAnswer given;
    for (const ListEntry &known : chosen)
        given.ids.append(known.id);
    m_sliced.reset();
    answer(command, given);
    inSlices([this, chosen, next = qsizetype(0)]() mutable {
        for (const qsizetype end = std::min(next + kSliced, chosen.size()); next < end; ++next) {
            if (!isQueued(chosen.at(next).id))
                append(chosen.at(next), DownloadQueue::Job::Download);
        }
        return next < chosen.size();
    });
}

/// What is active ends first; the answer comes with its end.
void LocalEngine::remove(const EngineCommand &command)
{
    if (m_removals.contains(command.id)) {
        refuse(command, wrongState(command.id, Clause::Kind::BeingRemoved));
        return;
    }
    if (!m_queue->state(command.id)) {
        removeNow(command);
        return;
    }
    m_removals.insert(command.id, command);
    m_queue->take(command.id);
}

void LocalEngine::removeNow(const EngineCommand &command)
{
    Failure failure;
    if (!entry(command.id)) {
        refuse(command, noSuch(command.id));
        return;
    }
    giveUpCheckOf(command.id);
    if (!m_session->remove(command.id, command.flag, &failure)) {
        refuse(command, failure);
        return;
    }
    answer(command, {.ids = {command.id}});
    tellRemoved(command.id);
}

void LocalEngine::finishNow(const EngineCommand &command)
{
    if (!isQueued(command.id) || m_session->stream(command.id)) {
        begin(command, DownloadQueue::Job::FinishNow);
        return;
    }
    if (haveQueueDo(command, &DownloadQueue::finishNow))
        m_jobs.insert(command.id, DownloadQueue::Job::FinishNow);
}

void LocalEngine::move(const EngineCommand &command)
{
    QList<RowPlace> places;
    const qint64 position = entry(command.id) ? list().move(command.id, command.value, &places) : -1;
    if (position < 0) {
        refuse(command, noSuch(command.id));
        return;
    }
    answer(command, {.ids = {command.id}});
    qint64 others = 0;
    list().count(ListFilter::All, &others);
    tellOfOthers(others);
    tell({EngineNews::Kind::Moved, command.id, position});
    m_queue->setPlaces(places);
}

/// The queue gives them to what runs, and keeps them in the list.
void LocalEngine::setLimits(const EngineCommand &command)
{
    Failure failure;
    if (!m_rows.contains(command.id) && !entry(command.id))
        failure = noSuch(command.id);
    else
        m_queue->setLimitsOf(command.id, command.limits.value_or(Limits()), &failure);
    answerChange(command, failure);
}

void LocalEngine::setOptions(const EngineCommand &command)
{
    const OptionChanges changes = command.changes.value_or(OptionChanges());
    Failure failure;
    if (!entry(command.id))
        failure = noSuch(command.id);
    else if (m_session->renew(command.id, changes, &failure) && isQueued(command.id))
        m_queue->renewLimitsOf(command.id);
    // There may be a checksum now.
    const auto row = m_rows.find(command.id);
    if (const auto known =
            !failure && row != m_rows.end() && row->state == DownloadState::Waiting ? entry(command.id) : std::nullopt)
        *row = rowOf(*known);
    answerChange(command, failure);
}

void LocalEngine::answerChange(const EngineCommand &command, const Failure &failure)
{
    if (failure) {
        refuse(command, failure);
        return;
    }
    answer(command, {.ids = {command.id}});
    tellRow(command.id);
}

void LocalEngine::setGlobalLimits(const EngineCommand &command)
{
    const Limits limits = command.limits.value_or(Limits());
    if (limits.rate)
        m_queue->setSpeedLimit(*limits.rate);
    if (limits.connectionsPerServer) {
        NetworkUsageSettings usage = m_session->usageOfAll();
        usage.maximumConnectionsPerServer = *limits.connectionsPerServer;
        m_session->setUsageOfAll(usage);
    }
    if (limits.connections)
        m_queue->setMostConnections(*limits.connections);
    answer(command);
}

void LocalEngine::setMostAtOnce(const EngineCommand &command)
{
    m_queue->setMostAtOnce(int(command.value));
    answer(command);
}

void LocalEngine::takeStream(const EngineCommand &command)
{
    const std::shared_ptr<DownloadStream> stream = m_session->stream(command.id);
    if (!stream) {
        refuse(command, wrongState(command.id, Clause::Kind::NotStreamed));
    } else if (!stream->take(command.value)) {
        refuse(command, wrongState(command.id, Clause::Kind::NotSoMuchThere));
    } else {
        answer(command, {.ids = {command.id}});
        // Of what is active, the next news tell it.
        if (!isQueued(command.id))
            tellRow(command.id);
    }
}

void LocalEngine::listQuestions(const EngineCommand &command)
{
    answer(command, {.questions = m_questions});
}

/// What was chosen holds until there is a queue.
void LocalEngine::answerOverview(const EngineCommand &command)
{
    const QueueOptions &queue = m_queue ? m_queue->options() : m_options->queue;
    const NetworkUsageSettings &all = m_session ? m_session->usageOfAll() : m_options->session.allTogether;
    const QDateTime now = QDateTime::currentDateTime();
    const Limits limits{queue.speedLimitAt(now), int(all.maximumConnections), int(all.maximumConnectionsPerServer)};
    answer(command, {.overview = EngineOverview{m_totals, limits, queue.places(), queue.outOfHoursUntil(now)}});
}

void LocalEngine::answerQuestion(const EngineCommand &command)
{
    const auto found = std::find_if(m_questions.cbegin(), m_questions.cend(),
                                    [&command](const Question &question) { return question.id == command.id; });
    const auto choice = Question::Choice(command.value);
    const bool isChoice =
        found != m_questions.cend() && (choice == Question::Choice::No || found->choices.contains(choice));
    if (!isChoice) {
        refuse(command, Failure::make(Failure::Kind::WrongState, {}, Clause::Kind::QuestionClosed));
        return;
    }
    const Question question = *found;
    answer(command, {.ids = {question.downloadId}});
    closeQuestion(question.id);
    apply(question, choice);
}
