// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>

#include <host/engine/downloadsession.h>
#include <host/engine/snapshotmaker.h>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

using Choice = Question::Choice;
using Action = AbstractDownloadFileExistsAction;

/// So few rows are read one by one.
constexpr qsizetype kReadSingly = 20;
constexpr int kReadAtOnce = 200;

Action actionOf(Choice choice)
{
    switch (choice) {
    case Choice::Rename:
        return Action::Rename;
    case Choice::Overwrite:
        return Action::Overwrite;
    default:
        return Action::Skip;
    }
}

/// In which a download is while it waits for the answer.
DownloadState stateToAsk(Question::Kind kind)
{
    return kind == Question::Kind::FileExists ? DownloadState::Running : DownloadState::Asking;
}

}

void LocalEngine::onStateChanged(qint64 id, DownloadState from, DownloadState to)
{
    closeQuestionsOf(id, to);
    switch (to) {
    case DownloadState::Waiting:
        return onWaiting(id);
    case DownloadState::Running:
        return from == DownloadState::Waiting ? onBegan(id) : setState(id, to);
    case DownloadState::Resting:
    case DownloadState::Asking:
    case DownloadState::Checking:
    case DownloadState::Hashing:
        return setState(id, to);
    case DownloadState::Paused:
        if (m_paused && from == DownloadState::Waiting) {
            m_paused->insert(id);
            return;
        }
        return from == DownloadState::Waiting ? onPausedBeforeItBegan(id) : onAtRest(id);
    case DownloadState::Failed:
    case DownloadState::Done:
        return onAtRest(id);
    case DownloadState::Removed:
        break;
    }
    if (m_removals.contains(id))
        removeNow(m_removals.take(id));
}

void LocalEngine::onWaiting(qint64 id)
{
    const auto row = m_rows.constFind(id);
    const bool isAtHand = m_appended && m_appended->id == id;
    std::optional<ListEntry> known;
    if (row == m_rows.cend())
        known = isAtHand ? m_appended : entry(id);
    if (row != m_rows.cend() || known) {
        Snapshot waiting = known ? rowOf(*known) : *row;
        waiting.state = DownloadState::Waiting;
        tellChanged(waiting);
    }
}

void LocalEngine::onBegan(qint64 id)
{
    setState(id, DownloadState::Running);
    warnOfMissingHeaders(id);
}

/// It goes on without them all the same: not every server asks twice.
void LocalEngine::warnOfMissingHeaders(qint64 id)
{
    const DownloadQueue::Job job = m_jobs.value(id);
    // What is complete is only compared with its checksum.
    if (job == DownloadQueue::Job::FinishNow || (job == DownloadQueue::Job::Download && m_rows.value(id).isFinished))
        return;
    const QList<SecretHeader> missing = m_session->missingHeaders(id);
    if (!missing.isEmpty())
        warn(id, {.kind = Warning::Kind::HeadersMissing, .headers = missing});
}

void LocalEngine::setState(qint64 id, DownloadState state)
{
    if (!hasRow(id))
        return;
    Snapshot &row = m_rows[id];
    // What another process had until it died is told as that one left it.
    if (const Lease *const lease = row.ownerPid != 0 ? m_session->lease(id) : nullptr)
        row = rowOf(lease->entry());
    row.state = state;
    tellChanged(activeRow(row));
}

/// Of many that waited, none was made yet. The list knows no more of what is ours than the lease; it is asked for what
/// rests because it is another's.
bool LocalEngine::hasRow(qint64 id)
{
    if (m_rows.contains(id))
        return true;
    const Lease *const lease = m_session->lease(id);
    const std::optional<ListEntry> known = lease ? lease->entry() : entry(id);
    if (known)
        m_rows.insert(id, rowOf(*known));
    return known.has_value();
}

/// Its new state comes next.
void LocalEngine::onEnded(const DownloadOutcome &outcome)
{
    keepReport(outcome);
}

void LocalEngine::onAtRest(qint64 id)
{
    std::optional<ListEntry> known;
    if (const auto report = m_reports.find(id); report != m_reports.end())
        known = std::exchange(report->line, std::nullopt);
    known = known ? known : entry(id);
    if (known) {
        // What came of it here is told, whoever is at work on it.
        known->owner = {};
        tellAtRest(id, rowOf(*known));
    } else {
        tellAtRest(id, list().lastFailure() ? rowNotRead(id) : std::nullopt);
    }
}

/// Of what the list has and cannot tell of at this moment.
std::optional<Snapshot> LocalEngine::rowNotRead(qint64 id) const
{
    const auto row = m_rows.constFind(id);
    if (row == m_rows.cend())
        return std::nullopt;
    Snapshot last = ended(*row);
    if (m_queue->state(id) == DownloadState::Paused)
        last.state = DownloadState::Paused;
    return last;
}

/// The list has nothing new of it, unless another process had it, which may have died.
void LocalEngine::onPausedBeforeItBegan(qint64 id)
{
    const auto row = m_rows.constFind(id);
    if (row == m_rows.cend() || row->ownerPid != 0) {
        onAtRest(id);
        return;
    }
    Snapshot paused = *row;
    paused.state = SnapshotMaker::stateAtRest(*row);
    putStream(paused);
    tellAtRest(id, paused);
}

void LocalEngine::tellPaused(const QSet<qint64> &ids)
{
    const auto newest = std::max_element(ids.cbegin(), ids.cend());
    if (newest != ids.cend())
        inSlices(
            [this, rest = QSet<qint64>(ids), before = *newest + 1]() mutable { return tellPausedOf(rest, before); });
}

/// In one pass over the list: there may be a hundred thousand.
/// @param ids those that are still to be told of @param before where the pass has come to
bool LocalEngine::tellPausedOf(QSet<qint64> &ids, qint64 &before)
{
    const QList<ListEntry> entries =
        ids.size() > kReadSingly ? list().page(ListFilter::All, kReadAtOnce, before) : QList<ListEntry>();
    for (const ListEntry &known : entries) {
        if (ids.remove(known.id))
            tellAtRest(known.id, rowOf(owned(known)));
    }
    if (!entries.isEmpty()) {
        before = entries.last().id;
        return !ids.isEmpty();
    }
    for (const qint64 id : std::as_const(ids))
        onAtRest(id);
    return false;
}

void LocalEngine::tellAtRest(qint64 id, const std::optional<Snapshot> &row)
{
    const Snapshot last = m_rows.take(id);
    m_jobs.remove(id);
    closeQuestionsOf(id, DownloadState::Paused);
    if (row)
        tellChanged(*row);
    else if (last.id != 0)
        tellGone(last);
    if (m_removals.contains(id) && !m_queue->state(id))
        removeNow(m_removals.take(id));
}

/// As it was told, with what came of its run.
Snapshot LocalEngine::ended(Snapshot last) const
{
    const Report report = m_reports.value(last.id);
    last.state = report.failure && !report.run.isSkipped ? DownloadState::Failed : DownloadState::Done;
    last.run = report.run;
    last.failure = report.failure;
    return last;
}

/// What is skipped before it has anything leaves the list.
void LocalEngine::tellGone(const Snapshot &last)
{
    tellChanged(ended(last));
    tellRemoved(last.id);
}

void LocalEngine::onDecision(qint64 id, Trouble::Kind kind)
{
    Question question;
    question.downloadId = id;
    question.kind = kind == Trouble::Kind::Changed ? Question::Kind::ResourceChanged : Question::Kind::CannotResume;
    question.title = m_rows.value(id).name();
    question.choices = {Choice::No, Choice::FromTheBeginning};
    ask(question);
}

void LocalEngine::onFileExists(qint64 id, int fileIndex, const QList<QString> &paths)
{
    if (!m_options->queue.canAsk) {
        m_queue->leaveUnanswered(id, fileIndex);
        return;
    }
    Question question;
    question.downloadId = id;
    question.kind = Question::Kind::FileExists;
    question.path = paths.value(0);
    question.title = m_rows.value(id).name();
    question.choices = {Choice::Rename, Choice::Overwrite, Choice::Skip};
    m_fileIndexes.insert(ask(question), fileIndex);
}

qint64 LocalEngine::ask(Question question)
{
    question.id = ++m_lastQuestion;
    m_questions.append(question);
    EngineNews news{EngineNews::Kind::Asked, question.downloadId};
    news.question = question;
    tell(news);
    return question.id;
}

void LocalEngine::apply(const Question &question, Question::Choice choice)
{
    if (question.kind == Question::Kind::FileExists && choice == Choice::No)
        m_queue->leaveUnanswered(question.downloadId, m_fileIndexes.take(question.id));
    else if (question.kind == Question::Kind::FileExists)
        m_queue->answerFileExists(question.downloadId, m_fileIndexes.take(question.id), actionOf(choice));
    else
        m_queue->decide(question.downloadId, choice == Choice::FromTheBeginning);
}

void LocalEngine::closeQuestion(qint64 questionId)
{
    m_questions.removeIf([questionId](const Question &question) { return question.id == questionId; });
    tell({EngineNews::Kind::QuestionClosed, questionId});
}

/// What a run that is over asked is void, and so is what to do next once that is done.
void LocalEngine::closeQuestionsOf(qint64 id, DownloadState state)
{
    const QList<Question> open = m_questions;
    for (const Question &question : open) {
        if (question.downloadId != id || stateToAsk(question.kind) == state)
            continue;
        m_fileIndexes.remove(question.id);
        closeQuestion(question.id);
    }
}
