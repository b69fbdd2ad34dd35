// SPDX-License-Identifier: MIT
#include <cli/downloadsrunner.h>

#include <cli/connectionsnote.h>
#include <cli/failurewords.h>
#include <cli/filewords.h>
#include <cli/printer.h>
#include <cli/questions.h>
#include <cli/requestfeed.h>
#include <cli/streamwords.h>
#include <cli/streamwriter.h>
#include <cli/tally.h>
#include <cli/warningwords.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kProgressIntervalMs = 200;

DownloadStatus statusOf(const Snapshot &snapshot)
{
    DownloadStatus status;
    status.speed = snapshot.speed;
    status.connections = int(snapshot.connections.size());
    status.allocated = snapshot.allocated;
    status.done = snapshot.done();
    status.total = snapshot.size();
    status.name = snapshot.name();
    if (!snapshot.files.isEmpty()) {
        status.sections = snapshot.files.first().sections;
        status.fetching = snapshot.files.first().fetching;
    }
    if (snapshot.restingUntil.isValid())
        status.retryInMs = std::max<qint64>(0, QDateTime::currentDateTimeUtc().msecsTo(snapshot.restingUntil));
    return status;
}

QString textOf(const Question &question)
{
    switch (question.kind) {
    case Question::Kind::FileExists:
        return u"\"%1\" exists already. Save under another name, overwrite it, or skip the download?"_s.arg(
            question.path);
    case Question::Kind::ResourceChanged:
        return u"The server has another file than the one of which \"%1\" is a part. Fetch it from the beginning?"_s
            .arg(question.title);
    case Question::Kind::CannotResume:
        break;
    }
    return u"The server does not send the rest of \"%1\" alone. Fetch it from the beginning?"_s.arg(question.title);
}

QString wordOf(Question::Choice choice)
{
    switch (choice) {
    case Question::Choice::No:
        return u"no"_s;
    case Question::Choice::FromTheBeginning:
        return u"yes"_s;
    case Question::Choice::Rename:
        return u"rename"_s;
    case Question::Choice::Overwrite:
        return u"overwrite"_s;
    case Question::Choice::Skip:
        break;
    }
    return u"skip"_s;
}

bool isAnothers(const Snapshot &snapshot)
{
    return snapshot.state == DownloadState::Failed && snapshot.failure.kind == Failure::Kind::OwnedByOther;
}

}

DownloadsRunner::DownloadsRunner(const Arguments &arguments, Engine &engine, Printer &printer, Questions *questions,
                                 StandardOutput &output, QObject *parent)
    : Runner(parent)
    , m_arguments(arguments)
    , m_engine(engine)
    , m_printer(printer)
    , m_questions(questions)
    , m_output(output)
    , m_requests(arguments.requests)
    , m_ids(arguments.ids)
{
    m_progressTimer.setInterval(kProgressIntervalMs);
    connect(&m_progressTimer, &QTimer::timeout, this, &DownloadsRunner::onProgress);
    connect(&m_engine, &Engine::changed, this, &DownloadsRunner::onChanged);
    connect(&m_engine, &Engine::warned, this, &DownloadsRunner::onWarned);
    connect(&m_engine, &Engine::closed, this, &DownloadsRunner::onClosed);
    connect(&m_after, &AfterCommands::idle, this, &DownloadsRunner::tellDone);
    connect(&m_after, &AfterCommands::failed, this, [this](qint64 id, const QString &command, const QString &reason) {
        if (id > 0)
            m_printer.warn(id, u"\"%1\", called after download %2, failed: %3"_s.arg(command).arg(id).arg(reason));
        else
            m_printer.note(u"\"%1\", called after what was refused, failed: %2"_s.arg(command, reason));
    });
    if (!m_questions)
        return;
    connect(&m_engine, &Engine::asked, this, &DownloadsRunner::onAsked);
    connect(&m_engine, &Engine::answered, m_questions, &Questions::withdraw);
}

DownloadsRunner::~DownloadsRunner() = default;

bool DownloadsRunner::isAtRest(DownloadState state)
{
    return state == DownloadState::Paused || state == DownloadState::Failed || state == DownloadState::Done;
}

void DownloadsRunner::begin()
{
    m_progressTimer.start();
    refuseLines(m_arguments.badLines);
    listen();
    if (!m_arguments.all && !m_arguments.failed) {
        feed();
        return;
    }
    m_isListKnown = false;
    const ListFilter filter = m_arguments.failed ? ListFilter::All : ListFilter::Unfinished;
    m_engine.snapshots({0, -1, filter, SnapshotQuery::Order::Position},
                       [this](const EngineAnswer &answer) { takeListed(answer); });
}

void DownloadsRunner::takeListed(const EngineAnswer &answer)
{
    bool isLeftOut = false;
    for (const Snapshot &row : answer.snapshots) {
        if (m_arguments.failed && row.state != DownloadState::Failed)
            continue;
        const bool mayHaveDied = row.ownerSecondsLeft > 0;
        isLeftOut = isLeftOut || (row.ownerPid != 0 && !mayHaveDied);
        if (mayHaveDied)
            m_doubtful.insert(row.id);
        if (row.ownerPid == 0 || mayHaveDied)
            m_ids.append(row.id);
        else
            leaveOut(row.id, row.ownerPid);
    }
    if (!answer.isOk())
        refuse(--m_refused, {}, answer.failure);
    else if (m_ids.isEmpty())
        m_printer.note(u"there is nothing %1%2"_s.arg(isLeftOut ? u"else "_s : QString(),
                                                      m_arguments.failed ? u"that failed"_s : u"unfinished"_s));
    m_isListKnown = true;
    feed();
}

void DownloadsRunner::stop()
{
    m_stopping = true;
    if (m_input)
        m_input->stop();
    m_engine.close();
}

/// A few at a time, so that the first downloads run while thousands are still to be put into the list.
void DownloadsRunner::feed()
{
    while (mayAddNext())
        addNext();
    while (!m_stopping && m_unanswered < kAtATime && m_nextId < m_ids.size())
        resumeNext();
    endIfDone();
}

void DownloadsRunner::addNext()
{
    DownloadRequest request = m_requests.at(m_nextRequest++);
    request.isToAsk = m_arguments.isToAsk;
    ++m_unanswered;
    m_engine.add(request, true, [this, request](const EngineAnswer &answer) { onAdded(request, answer); });
}

void DownloadsRunner::resumeNext()
{
    const qint64 id = m_ids.at(m_nextId++);
    if (m_arguments.changes != OptionChanges())
        m_engine.setOptions(id, m_arguments.changes, [this, id](const EngineAnswer &answer) {
            if (!answer.isOk() && answer.failure.kind != Failure::Kind::NoSuchDownload)
                m_printer.warn(id, FailureWords::sentence(answer.failure));
        });
    ++m_unanswered;
    command(id, [this, id](const EngineAnswer &answer) { onResumed(id, answer); });
}

void DownloadsRunner::command(qint64 id, const Engine::Callback &callback)
{
    switch (m_arguments.command) {
    case Arguments::Command::Restart:
        return m_engine.restart(id, callback);
    case Arguments::Command::Finish:
        return m_engine.finishNow(id, callback);
    default:
        return m_engine.resume(id, callback);
    }
}

void DownloadsRunner::onAdded(const DownloadRequest &request, const EngineAnswer &answer)
{
    if (!answer.isOk())
        refuse(--m_refused, request.url, answer.failure);
    else if (!answer.existing.isEmpty() && m_arguments.isToAsk)
        askAbout(request, answer.snapshots.value(0), answer.existing);
    else if (!answer.existing.isEmpty())
        skip(answer.snapshots.value(0), answer.existing);
    else
        expect(answer.ids.value(0));
    onAnswered();
}

void DownloadsRunner::onResumed(qint64 id, const EngineAnswer &answer)
{
    if (m_asked.contains(id))
        expect(id);
    else if (!answer.isOk())
        refuse(id, answer.snapshots.isEmpty() ? QUrl() : answer.snapshots.first().url, answer.failure);
    else
        expect(id);
    onAnswered();
}

bool DownloadsRunner::expect(qint64 id)
{
    if (m_asked.contains(id)) {
        m_printer.note(u"the same download was asked for twice; it is fetched once, as download %1"_s.arg(id));
        return false;
    }
    m_asked.insert(id);
    m_expected.insert(id);
    return true;
}

void DownloadsRunner::onAnswered()
{
    if (--m_unanswered == 0)
        feed();
}

/// Of what was asked for, from its turn on.
void DownloadsRunner::onChanged(const Snapshot &snapshot)
{
    if (!m_expected.contains(snapshot.id) || isAwaited(snapshot))
        return;
    if (m_doubtful.remove(snapshot.id) && isAnothers(snapshot)) {
        leaveToOwner(snapshot);
        return;
    }
    if (!m_rows.contains(snapshot.id))
        onBegan(snapshot);
    m_rows.insert(snapshot.id, snapshot);
    m_least[snapshot.id] = std::min(m_least.value(snapshot.id), snapshot.done());
    follow(snapshot);
    if (isAtRest(snapshot.state) && !isBeingWritten(snapshot))
        onEnded(snapshot);
}

/// For its turn, or for the end of an owner that may have died.
bool DownloadsRunner::isAwaited(const Snapshot &snapshot) const
{
    const bool isOwnerAwaited = snapshot.state == DownloadState::Resting && m_doubtful.contains(snapshot.id);
    return snapshot.state == DownloadState::Waiting || isOwnerAwaited;
}

/// Nobody named it: where its owner lives after all, it is in good hands.
void DownloadsRunner::leaveToOwner(const Snapshot &snapshot)
{
    m_expected.remove(snapshot.id);
    leaveOut(snapshot.id, snapshot.failure.number);
    endIfDone();
}

void DownloadsRunner::leaveOut(qint64 id, qint64 pid)
{
    m_printer.note(u"download %1 is left out: process %2 is at work on it"_s.arg(id).arg(pid));
}

void DownloadsRunner::onBegan(const Snapshot &snapshot)
{
    m_order.append(snapshot.id);
    m_least.insert(snapshot.id, snapshot.done());
    m_printer.begin(snapshot.id, snapshot.url);
}

void DownloadsRunner::onProgress()
{
    Overview overview = m_ended;
    overview.waiting = int(m_expected.size() - m_order.size());
    overview.bytesTotal = 0;
    for (const qint64 id : std::as_const(m_order)) {
        const Snapshot &row = m_rows[id];
        const DownloadStatus status = statusOf(row);
        overview.running.append({id, row.url, status, row.state});
        overview.bytesDone += status.done;
        overview.speed += status.speed;
        const bool isKnown = overview.bytesTotal >= 0 && status.total >= 0;
        overview.bytesTotal = isKnown ? overview.bytesTotal + status.total : -1;
    }
    m_printer.progress(overview);
}

void DownloadsRunner::onAsked(const Question &question)
{
    QStringList words;
    for (const Question::Choice choice : question.choices)
        words.append(wordOf(choice));
    m_questions->ask(question.id, textOf(question), words, [this, question](int answer) {
        const bool isAnswered = answer != Questions::kNobody;
        m_engine.answer(question.id, isAnswered ? question.choices.value(answer) : Question::Choice::No);
    });
}

void DownloadsRunner::onWarned(qint64 id, const Warning &warning)
{
    const QString sentence = WarningWords::sentence(id, warning);
    if (id == 0)
        m_printer.note(sentence);
    else
        m_printer.warn(id, sentence);
}

bool DownloadsRunner::isListKept() const
{
    return m_arguments.session.isListKept;
}

/// What only this process knows no later command can name.
Failure DownloadsRunner::asListed(Failure failure) const
{
    if (!isListKept())
        failure.subject.id = 0;
    return failure;
}

void DownloadsRunner::onEnded(const Snapshot &snapshot)
{
    const Summary summary = summaryOf(snapshot);
    m_expected.remove(snapshot.id);
    m_order.removeOne(snapshot.id);
    m_rows.remove(snapshot.id);
    m_least.remove(snapshot.id);
    m_printer.end(snapshot.id, summary);
    count(summary);
    callAfter(snapshot.id, summary, snapshot.stream ? u"-"_s : summary.path);
    if (snapshot.stream)
        leaveStream(snapshot);
    endIfDone();
}

/// What was stopped has neither come nor failed.
void DownloadsRunner::callAfter(qint64 id, const Summary &summary, const QString &path)
{
    const QString &command = summary.status == ExitStatus::Done ? m_arguments.onComplete : m_arguments.onError;
    if (!command.isEmpty() && summary.status != ExitStatus::Unfinished)
        m_after.call(command, path, id);
}

void DownloadsRunner::endIfDone()
{
    const bool isAllGiven = (m_isInputEnded && m_nextRequest == m_requests.size()) || isGivenUp();
    const bool isAllFed = m_isListKnown && isAllGiven && m_nextId == m_ids.size();
    if (isAllFed && m_unanswered == 0 && m_expected.isEmpty())
        m_engine.close();
}

void DownloadsRunner::onClosed()
{
    m_progressTimer.stop();
    const qsizetype unfed = m_requests.size() - m_nextRequest + m_ids.size() - m_nextId;
    const qsizetype unbegun = m_expected.size() - m_order.size() + (m_stopping || isGivenUp() ? unfed : 0);
    if (unbegun > 0)
        m_printer.leave(unbegun);
    // What was stopped before it began is as unfinished as what was stopped in the middle.
    if (m_stopping && (!m_isInputEnded || m_wellEnded < m_requests.size() + m_ids.size()))
        m_status = ExitStatus::Unfinished;
    m_printer.finish();
    m_isClosed = true;
    tellDone();
}

void DownloadsRunner::tellDone()
{
    if (m_isClosed && m_after.isIdle())
        finish(m_status);
}

void DownloadsRunner::refuse(qint64 id, const QUrl &url, const Failure &failure)
{
    Summary summary;
    summary.url = url;
    summary.status = exitStatusOf(failure);
    summary.errorText = isStreaming() ? StreamWords::sentence(failure, 0) : FailureWords::sentence(asListed(failure));
    summary.reason = WarningWords::clause(failure);
    refuse(id, summary);
}

void DownloadsRunner::refuse(qint64 id, const Summary &summary)
{
    m_printer.begin(id, summary.url);
    m_printer.end(id, summary);
    count(summary);
    callAfter(std::max<qint64>(0, id), summary, {});
}

void DownloadsRunner::count(const Summary &summary)
{
    ++Tally::placeIn(m_ended, summary);
    if (summary.status == ExitStatus::Done)
        ++m_wellEnded;
    if (m_status == ExitStatus::Done)
        m_status = summary.status;
}

Summary DownloadsRunner::summaryOf(const Snapshot &snapshot) const
{
    const RunSnapshot run = snapshot.run.value_or(RunSnapshot());
    Summary summary;
    summary.url = snapshot.url;
    summary.error = snapshot.error;
    summary.status = exitStatusOf(snapshot.failure);
    summary.isListed = isListKept();
    summary.errorText = FailureWords::sentence(asListed(snapshot.failure));
    summary.reason = WarningWords::clause(snapshot.failure);
    summary.isSkipped = run.isSkipped || snapshot.failure.kind == Failure::Kind::Skipped;
    summary.isStopped = snapshot.failure.kind == Failure::Kind::Stopped;
    summary.name = snapshot.name();
    summary.path = run.path;
    summary.bytes = snapshot.done();
    summary.fetched = std::max<qint64>(0, snapshot.done() - m_least.value(snapshot.id));
    summary.seconds = run.seconds;
    summary.connections = run.mostConnections;
    DownloadDetails details;
    details.mostConnections = run.mostConnections;
    if (m_arguments.verbose || !ConnectionsNote::isInner(run.bound))
        details.bound = run.bound;
    summary.connectionsNote = ConnectionsNote::forDownload(details, run.limits, m_arguments.session.allTogether);
    summary.connectionsBound = ConnectionsNote::keyOf(run.bound);
    summary.contentEncoding = run.contentEncoding;
    summary.checksum = snapshot.checksum;
    summary.assurance = snapshot.assurance;
    if (!run.isEncodingAskedFor)
        summary.encodingNote = FileWords::ofEncoding(run.contentEncoding);
    if (snapshot.stream)
        explainStream(snapshot, summary);
    return summary;
}
