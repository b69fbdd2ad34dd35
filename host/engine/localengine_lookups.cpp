// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>

#include <host/engine/downloadsession.h>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

Failure stopped()
{
    return Failure::make(Failure::Kind::Stopped, {});
}

/// Of a download that would have to be at rest.
Failure inTheWay(qint64 id)
{
    Failure failure = Failure::make(Failure::Kind::WrongState, Failure::Subject::of(id), Clause::Kind::WaitsOrRuns);
    failure.remedies = {Failure::Remedy::StopFirst};
    return failure;
}

}

void LocalEngine::check(const EngineCommand &command)
{
    m_checks.enqueue(command);
    if (m_checks.size() == 1)
        checkNext();
}

/// One after the other. What was asked for while one ended may have been begun by now.
void LocalEngine::checkNext()
{
    while (m_checking == 0 && !m_checks.isEmpty()) {
        const EngineCommand &command = m_checks.head();
        std::optional<AbstractDownloadPersistentInfo> record = m_session->record(command.id);
        if (record && !isQueued(command.id)) {
            beginCheck(command, *record);
            return;
        }
        refuse(command, record ? inTheWay(command.id) : noSuch(command.id));
        m_checks.dequeue();
    }
}

void LocalEngine::beginCheck(const EngineCommand &command, AbstractDownloadPersistentInfo &record)
{
    OptionChanges given = command.changes.value_or(OptionChanges());
    m_session->takeHeaders(record, given);
    const QList<SecretHeader> missing = m_session->missingHeaders(command.id);
    if (!missing.isEmpty())
        warn(command.id, {.kind = Warning::Kind::HeadersMissing, .headers = missing});
    m_checking = command.id;
    m_check->begin(record);
    tellRow(command.id);
}

/// Something else is to be done with the download, and what the server says of it is not waited for.
void LocalEngine::giveUpCheckOf(qint64 id)
{
    if (m_checking != id)
        return;
    m_check->stop();
    m_checking = 0;
    refuse(m_checks.dequeue(),
           Failure::make(Failure::Kind::WrongState, Failure::Subject::of(id), Clause::Kind::OtherBegun));
    tellRow(id);
    QMetaObject::invokeMethod(this, &LocalEngine::checkNext, Qt::QueuedConnection);
}

void LocalEngine::onChecked(const ResourceCheck::Result &result)
{
    if (m_checks.isEmpty())
        return;
    const EngineCommand command = m_checks.dequeue();
    m_checking = 0;
    EngineAnswer given;
    given.ids = {command.id};
    given.error = result.error;
    const auto subject = Failure::Subject::of(command.id);
    if (result.finding == ResourceCheck::Finding::Changed)
        given.failure = Failure::make(Failure::Kind::ResourceChanged, subject);
    else if (result.finding == ResourceCheck::Finding::Unknown)
        given.failure = result.failure;
    else if (!result.isProven)
        given.warnings = {Failure::make(Failure::Kind::NothingToCompare, subject, Clause::Kind::OnlySizeSaid)};
    answer(command, given);
    tellRow(command.id);
    QMetaObject::invokeMethod(this, &LocalEngine::checkNext, Qt::QueuedConnection);
}

void LocalEngine::query(const EngineCommand &command)
{
    Failure failure;
    const DownloadRequest request = command.request.value_or(DownloadRequest());
    const bool isPlan = command.kind == EngineCommand::Kind::Query && command.flag;
    const EngineAnswer known = isPlan ? standingOf(request) : EngineAnswer();
    if (!known.existing.isEmpty()) {
        answer(command, known);
        return;
    }
    const qint64 id = m_session->query(request, &failure);
    if (id != 0)
        m_lookups.insert(id, {command, {}, known});
    else
        refuse(command, failure);
}

/// Of a request that is not given yet.
EngineAnswer LocalEngine::standingOf(const DownloadRequest &request)
{
    const auto done = request.onlyOnce && !request.isStreamed ? m_session->findDone(request) : std::nullopt;
    const qint64 active = m_session->findActive(request);
    const qint64 id = done && active == 0 ? done->id : std::max(active, m_session->findUnfinished(request));
    const std::optional<ListEntry> known = id != 0 ? entry(id) : std::nullopt;
    if (!known)
        return {};
    return {.ids = {id}, .snapshots = {rowOf(*known)}, .existing = done && active == 0 ? done->path : QString()};
}

void LocalEngine::setUrl(const EngineCommand &command)
{
    if (command.flag || isQueued(command.id) || !entry(command.id))
        setUrlNow(command);
    else
        query(command);
}

void LocalEngine::setUrlNow(const EngineCommand &command)
{
    Failure failure;
    if (!entry(command.id)) {
        refuse(command, noSuch(command.id));
        return;
    }
    if (isQueued(command.id)) {
        refuse(command, inTheWay(command.id));
        return;
    }
    giveUpCheckOf(command.id);
    if (!m_session->setUrl(command.id, command.request.value_or(DownloadRequest()), &failure)) {
        refuse(command, failure);
        return;
    }
    answer(command, {.ids = {command.id}});
    tellRow(command.id);
}

/// An address of another file would only be found out later, and leave the download without one that works.
void LocalEngine::setUrlIfItFits(const EngineCommand &command, const QueryResult &found)
{
    const std::optional<ListEntry> known = entry(command.id);
    const qint64 size = known ? known->size : -1;
    if (size < 0 || found.size < 0 || size == found.size) {
        setUrlNow(command);
        return;
    }
    refuse(command,
           Failure::make(Failure::Kind::ResourceChanged, Failure::Subject::of(command.id),
                         {Clause::Kind::OtherSize, {QString::number(found.size), QString::number(size)}}));
}

void LocalEngine::onQueried(qint64 id, const QueryResult &result)
{
    const auto lookup = m_lookups.find(id);
    if (lookup != m_lookups.end())
        lookup->found = result;
}

void LocalEngine::onLookedUp(qint64 id, const AbstractDownloadPersistentInfo &info)
{
    if (!m_lookups.contains(id))
        return;
    const Lookup lookup = m_lookups.take(id);
    EngineAnswer given;
    given.error = info.lastError;
    given.failure = Failure::of(info.lastError, info);
    if (info.lastError)
        answer(lookup.command, given);
    else if (lookup.command.kind == EngineCommand::Kind::SetUrl)
        setUrlIfItFits(lookup.command, lookup.found);
    else
        answer(lookup.command, {.ids = lookup.known.ids, .snapshots = lookup.known.snapshots, .found = lookup.found});
}

/// Queries end with the session, and what they find by then nobody hears. A check has no other end.
void LocalEngine::endLookups()
{
    const QHash<qint64, Lookup> lookups = std::exchange(m_lookups, {});
    for (const Lookup &lookup : lookups)
        refuse(lookup.command, stopped());
    giveUpTakeOvers();
    if (m_check)
        m_check->stop();
    while (!m_checks.isEmpty())
        refuse(m_checks.dequeue(), stopped());
    if (const qint64 id = std::exchange(m_checking, 0); id != 0)
        tellRow(id);
}
