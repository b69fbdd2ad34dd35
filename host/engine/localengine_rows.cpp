// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>

#include <host/engine/downloadsession.h>
#include <host/engine/downloadstream.h>
#include <host/engine/snapshotmaker.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <inet/qt/download/framework/qtapploggertextstream.h>

#include <algorithm>
#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

using Record = AbstractDownloadPersistentInfo;

constexpr int kAll = std::numeric_limits<int>::max();

ListOrder listOrderOf(SnapshotQuery::Order order)
{
    switch (order) {
    case SnapshotQuery::Order::Position:
        break;
    case SnapshotQuery::Order::Newest:
        return ListOrder::Newest;
    case SnapshotQuery::Order::Name:
        return ListOrder::Name;
    case SnapshotQuery::Order::Size:
        return ListOrder::Size;
    case SnapshotQuery::Order::Created:
        return ListOrder::Created;
    }
    return ListOrder::Place;
}

void writeLog(qint64 id, DownloadState state)
{
    QtAppLoggerTextStream(QtAppDefaultLogger::instance(), kStateLogLevel, true)
        << "Download " << id << " in the engine: " << downloadStates().nameOf(state);
}

/// By it a row that another process has is known from what it becomes by that one's work: the list may have a hundred
/// thousand of them. 0 = it is no other process's.
size_t othersStamp(const Snapshot &row)
{
    if (row.ownerPid == 0)
        return 0;
    const size_t file = qHashMulti(0, row.name(), row.size(), row.done(), row.isFinished, row.finished);
    const size_t proof =
        qHashMulti(file, row.checksum.has_value(), int(row.checksum.value_or(ChecksumResult())),
                   int(row.assurance.assurance.value_or(Assurance())), int(row.assurance.doubt), row.error.code);
    return qHashMulti(proof, row.url, row.folder, row.ownerPid, row.ownerSecondsLeft) | 1;
}

/// Rows at rest are read without them.
void putSections(Snapshot &snapshot, const Record &record)
{
    const qsizetype files = std::min(snapshot.files.size(), record.files.size());
    for (qsizetype i = 0; i < files; ++i)
        snapshot.files[i].sections = record.files.at(i).sections;
}

}

DownloadStore &LocalEngine::list()
{
    return m_session ? m_session->list() : *m_list;
}

/// Nothing where there is none. What this process works on has no other owner.
std::optional<ListEntry> LocalEngine::entry(qint64 id)
{
    QList<ListEntry> found = list().page(ListFilter::All, 1, id + 1);
    if (found.isEmpty() || found.first().id != id)
        return std::nullopt;
    return owned(found.first());
}

ListEntry LocalEngine::owned(ListEntry entry)
{
    if (entry.owner == ProcessIdentity::current())
        entry.owner = {};
    return entry;
}

/// It is nobody's, or of one that cannot be seen and may have died.
bool LocalEngine::mayBeFree(const ListEntry &entry)
{
    return entry.owner.isNobody() || entry.ownerSecondsLeft > 0;
}

/// It waits or is active.
bool LocalEngine::isQueued(qint64 id) const
{
    const std::optional<DownloadState> state = m_queue ? m_queue->state(id) : std::nullopt;
    return state && *state != DownloadState::Paused;
}

/// Nobody has been at the download since.
bool LocalEngine::Report::isOf(const ListEntry &entry) const
{
    const auto isSame = [&entry](bool finished, const AbstractError &other) {
        return entry.finished == finished && entry.error.code == other.code && entry.error.category == other.category;
    };
    const bool isAsKnown = isSame(known->finished, known->error) || isSame(isFinished, error);
    return isAsKnown && entry.checksumResult == known->checksumResult && entry.url == known->url;
}

/// Null where there is none, or it is not true any more.
const LocalEngine::Report *LocalEngine::reportOf(const ListEntry &entry)
{
    const auto report = m_reports.find(entry.id);
    if (report == m_reports.end())
        return nullptr;
    if (!report->known)
        report->known = entry;
    report->seen = entry;
    report->seenAt = m_othersChanges;
    return report->isOf(entry) ? &*report : nullptr;
}

void LocalEngine::keepReport(const DownloadOutcome &outcome)
{
    forgetReport(outcome.id);
    Report report{SnapshotMaker::runOf(outcome, m_session->usageOf(outcome.options)), outcome.failure};
    report.run.isSkipped = outcome.failure.kind == Failure::Kind::Skipped;
    report.line = report.known = outcome.line;
    report.error = outcome.info.lastError;
    report.isFinished = outcome.info.isFinished();
    report.number = ++m_lastReport;
    m_reports.insert(outcome.id, report);
    m_reportsByAge.insert(report.number, outcome.id);
    if (m_reports.size() > kMostReports)
        dropOldestReport();
}

/// Whoever has rows hears when one of them says less. What the list has of it is at hand: of many that end, none is to
/// wait for the list because of another one. Where others have changed the list since, it may be gone, and whoever has
/// rows was told to take them anew.
void LocalEngine::dropOldestReport()
{
    const qint64 id = m_reportsByAge.first();
    const Report oldest = m_reports.value(id);
    forgetReport(id);
    if (!oldest.seen)
        tellRow(id);
    else if (oldest.seenAt == m_othersChanges && oldest.isOf(*oldest.seen))
        tellChanged(rowOf(*oldest.seen));
}

void LocalEngine::forgetReport(qint64 id)
{
    m_reportsByAge.remove(m_reports.take(id).number);
}

/// At rest, or waiting.
Snapshot LocalEngine::rowOf(const ListEntry &entry)
{
    Snapshot row = SnapshotMaker::ofEntry(entry);
    if (const Report *const report = reportOf(entry)) {
        row.run = report->run;
        row.failure = report->failure;
        row.state = SnapshotMaker::stateAtRest(entry, row.failure);
    }
    if (isQueued(entry.id))
        row.state = DownloadState::Waiting;
    else if (entry.id == m_checking && entry.owner.isNobody())
        row.state = DownloadState::Checking;
    putStream(row);
    return row;
}

void LocalEngine::putStream(Snapshot &row) const
{
    if (const std::shared_ptr<DownloadStream> stream = m_session ? m_session->stream(row.id) : nullptr)
        row.stream = stream->snapshot();
}

/// As it is at this moment.
Snapshot LocalEngine::activeRow(const Snapshot &told)
{
    Snapshot row = told;
    if (told.state != DownloadState::Waiting)
        SnapshotMaker::putStatus(row, m_queue->status(told.id), QDateTime::currentDateTimeUtc());
    putStream(row);
    return row;
}

/// In its state of now, with all that is new.
void LocalEngine::tellRow(qint64 id)
{
    const auto row = m_rows.constFind(id);
    if (row != m_rows.cend()) {
        tellChanged(activeRow(*row));
        return;
    }
    if (const std::optional<ListEntry> known = entry(id))
        tellChanged(rowOf(*known));
}

void LocalEngine::tellChanged(const Snapshot &snapshot)
{
    if (const auto row = m_rows.find(snapshot.id); row != m_rows.end())
        *row = snapshot;
    keepOthers(snapshot);
    transition(snapshot);
    EngineNews news{EngineNews::Kind::Changed, snapshot.id};
    news.snapshot = snapshot;
    tell(news);
}

/// Where nobody can tell its place, whoever shows rows takes them anew.
void LocalEngine::tellAdded(const Snapshot &snapshot)
{
    qint64 others = 0;
    const qint64 count = list().count(ListFilter::All, &others);
    if (count < 0)
        tell({EngineNews::Kind::ListChanged});
    else
        tellOfOthers(others);
    EngineNews news{EngineNews::Kind::Added, snapshot.id, std::max<qint64>(count - 1, -1)};
    transition(snapshot);
    news.snapshot = snapshot;
    tell(news);
}

/// Of every row that is told. The queue has written into the log what it changed; checks and removals are the engine's.
void LocalEngine::transition(const Snapshot &row)
{
    const std::optional<DownloadState> before = m_told.stateOf(row.id);
    const bool isLegal = m_told.take(row);
    const QLatin1StringView name = downloadStates().nameOf(row.state);
    Q_ASSERT_X(isLegal, before ? downloadStates().nameOf(*before).data() : "at rest", name.data());
    if ((before == DownloadState::Checking) != (row.state == DownloadState::Checking))
        writeLog(row.id, row.state);
}

/// Where rows of others came or went, no place is what those who have rows take it for.
void LocalEngine::tellOfOthers(qint64 changes)
{
    if (m_othersChanges && *std::exchange(m_othersChanges, changes) != changes && !m_isClosing)
        tell({EngineNews::Kind::ListChanged});
}

/// Before any are read.
void LocalEngine::beginToWatchOthers()
{
    if (m_othersChanges)
        return;
    m_othersChanges = 0;
    list().count(ListFilter::All, &*m_othersChanges);
    m_othersTimer.start();
}

/// How many there are, when all has been told that others did until now; -1 = nobody has any.
qint64 LocalEngine::watchedRows()
{
    if (!m_othersChanges)
        return -1;
    qint64 others = 0;
    const qint64 rows = list().count(ListFilter::All, &others);
    tellOfOthers(others);
    return rows;
}

/// Each connection to the list counts for itself. @param before watchedRows() of the last one
void LocalEngine::watchAnew(qint64 before)
{
    if (before < 0)
        return;
    qint64 others = 0;
    const bool isAsBefore = list().count(ListFilter::All, &others) == before;
    m_othersChanges = isAsBefore ? others : others - 1;
    tellOfOthers(others);
}

void LocalEngine::tellRemoved(qint64 id)
{
    forgetReport(id);
    m_others.remove(id);
    const bool isLegal = m_told.takeRemoved(id);
    Q_ASSERT_X(isLegal, "LocalEngine", "what is removed has come to rest before");
    writeLog(id, DownloadState::Removed);
    tell({EngineNews::Kind::Removed, id});
}

void LocalEngine::tellIfChanged(qint64 id)
{
    const auto row = m_rows.constFind(id);
    if (row == m_rows.cend() || row->state == DownloadState::Waiting)
        return;
    const Snapshot now = activeRow(*row);
    if (now != *row)
        tellChanged(now);
}

void LocalEngine::tick()
{
    const QList<qint64> ids = m_queue->activeIds();
    for (const qint64 id : ids)
        tellIfChanged(id);
    const Totals now = totals();
    if (std::exchange(m_totals, now) != now) {
        EngineNews news{EngineNews::Kind::TotalsChanged};
        news.totals = now;
        tell(news);
    }
    if (m_queue->isIdle())
        m_tick.stop();
}

Totals LocalEngine::totals() const
{
    Totals totals;
    totals.waiting = m_queue->waitingCount();
    const QList<qint64> ids = m_queue->activeIds();
    totals.active = ids.size();
    for (const qint64 id : ids) {
        const Snapshot row = m_rows.value(id);
        totals.done += row.done();
        totals.speed += row.speed;
        totals.size = totals.size < 0 || row.size() < 0 ? -1 : totals.size + row.size();
    }
    return totals;
}

void LocalEngine::answerSnapshot(const EngineCommand &command)
{
    const std::optional<AbstractDownloadPersistentInfo> record = list().load(command.id);
    const std::optional<ListEntry> known = record ? entry(command.id) : std::nullopt;
    if (!known) {
        refuse(command, noSuch(command.id));
        return;
    }
    Snapshot snapshot = m_rows.value(command.id, rowOf(*known));
    if (snapshot.state == DownloadState::Waiting || !m_rows.contains(command.id))
        putSections(snapshot, *record);
    snapshot.details = SnapshotMaker::detailsOf(*record, list().options(command.id), list().contentEncoding(command.id),
                                                list().memory(command.id));
    answer(command, {.ids = {command.id}, .snapshots = {snapshot}});
}

/// What is active stands in it as it was told last: what is due is told when it is due.
void LocalEngine::answerPage(const EngineCommand &command)
{
    const SnapshotQuery query = command.query.value_or(SnapshotQuery());
    beginToWatchOthers();
    const QList<ListEntry> entries = pageOf(query);
    const bool isAll = query.count < 0 && query.first == 0;
    EngineAnswer given;
    given.total = list().lastFailure() || isAll ? entries.size() : list().count(query.filter);
    if (list().lastFailure()) {
        refuse(command, list().lastFailure());
        return;
    }
    for (const ListEntry &known : entries) {
        const auto row = m_rows.constFind(known.id);
        given.snapshots.append(row != m_rows.cend() ? *row : rowOf(owned(known)));
        tellIfOthers(given.snapshots.last());
    }
    answer(command, given);
}

/// Another process's work is not seen as it happens: what has become of it by now is told before the page that has it.
void LocalEngine::tellIfOthers(const Snapshot &row)
{
    if (m_others.value(row.id) != othersStamp(row))
        tellChanged(row);
}

void LocalEngine::keepOthers(const Snapshot &row)
{
    if (row.ownerPid != 0)
        m_others.insert(row.id, othersStamp(row));
    else
        m_others.remove(row.id);
}

QList<ListEntry> LocalEngine::pageOf(const SnapshotQuery &query)
{
    const int most = query.count < 0 ? kAll : int(std::min<qint64>(query.count, kAll));
    if (query.order == SnapshotQuery::Order::Newest && query.first == 0 && query.count < 0)
        return list().page(query.filter, most);
    return list().page(query.filter, listOrderOf(query.order), query.first, most);
}
