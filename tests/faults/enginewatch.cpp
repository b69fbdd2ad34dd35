// SPDX-License-Identifier: MIT
#include <tests/faults/enginewatch.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

using Kind = EngineNews::Kind;

QString lineOf(const Snapshot &row)
{
    return QString::fromUtf8(QJsonDocument(row.toJson()).toJson(QJsonDocument::Compact));
}

QString nameOf(DownloadState state)
{
    return QString(downloadStates().nameOf(state));
}

}

EngineWatch::EngineWatch(Engine &engine, Find find)
    : m_engine(engine)
    , m_find(std::move(find))
    , m_model(engine)
{
    connect(&m_engine, &Engine::told, this, &EngineWatch::onTold);
    connect(&m_model, &DownloadsModel::modelReset, this, [this] { m_isLoaded = true; });
}

Engine::Callback EngineWatch::counted(const QString &words, const Engine::Callback &callback)
{
    const int order = int(m_commands.size());
    m_commands.insert(order, {words});
    ++m_unanswered;
    return [this, order, callback](const EngineAnswer &answer) {
        --m_unanswered;
        Command &command = m_commands[order];
        if (++command.answers > 1)
            m_find(u"answered twice"_s, command.words);
        else if (callback)
            callback(answer);
    };
}

void EngineWatch::end()
{
    for (const Command &command : std::as_const(m_commands)) {
        if (command.answers == 0)
            m_find(u"unanswered"_s, command.words);
    }
}

const Snapshot *EngineWatch::row(qint64 id) const
{
    const QList<Snapshot> &rows = m_model.rows();
    const auto found =
        std::find_if(rows.cbegin(), rows.cend(), [id](const Snapshot &snapshot) { return snapshot.id == id; });
    return found == rows.cend() ? nullptr : &*found;
}

bool EngineWatch::isAtRest(const Snapshot &row)
{
    return row.state == DownloadState::Paused || row.state == DownloadState::Failed || row.state == DownloadState::Done
        || row.state == DownloadState::Checking;
}

/// Before those hear of it that apply it.
void EngineWatch::onTold(const EngineNews &news)
{
    switch (news.kind) {
    case Kind::Answered:
        return onAnswered(news.answer.value_or(EngineAnswer()).number);
    case Kind::Added:
    case Kind::Changed:
    case Kind::Removed:
    case Kind::Moved:
    case Kind::Asked:
        onRow(news);
        return compare();
    case Kind::Warned:
        return onRow(news);
    default:
        return;
    }
}

void EngineWatch::onAnswered(quint64 number)
{
    if (m_numbers.contains(number))
        m_find(u"answered twice"_s, u"the command with the number %1"_s.arg(number));
    m_numbers.insert(number);
}

void EngineWatch::onRow(const EngineNews &news)
{
    const bool isWarned = news.kind == Kind::Warned;
    if (m_removed.contains(news.id))
        m_find(u"after removed"_s, u"kind %1 of download %2 is told"_s.arg(int(news.kind)).arg(news.id));
    if (!m_isLoaded)
        return;
    const Snapshot *const before = row(news.id);
    if (isWarned && news.id != 0 && !before)
        m_find(u"unknown row"_s, u"download %1 is warned of"_s.arg(news.id));
    if (isWarned)
        return;
    if ((news.kind == Kind::Added) == (before != nullptr))
        m_find(u"unknown row"_s, u"kind %1 of download %2 is told"_s.arg(int(news.kind)).arg(news.id));
    else if (news.kind == Kind::Changed)
        onState(*before, *news.snapshot);
    if (news.kind == Kind::Removed) {
        m_removed.insert(news.id);
        Snapshot gone = before ? *before : Snapshot();
        gone.state = DownloadState::Removed;
        if (before)
            onState(*before, gone);
    }
}

void EngineWatch::onState(const Snapshot &before, const Snapshot &now)
{
    if (before.state == now.state)
        return;
    ++m_transitions[{int(before.state), int(now.state)}];
    if (!downloadStates().allows(before.state, now.state))
        m_find(u"illegal state"_s,
               u"download %1: %2 -> %3 (%4)"_s.arg(QString::number(now.id), nameOf(before.state), nameOf(now.state),
                                                   lineOf(now)));
}

/// After each signal; one page at a time.
void EngineWatch::compare()
{
    if (!m_isLoaded || std::exchange(m_isComparing, true))
        return;
    m_engine.snapshots({}, [this](const EngineAnswer &page) {
        m_isComparing = false;
        if (page.isOk())
            compareWith(page);
    });
}

void EngineWatch::compareWith(const EngineAnswer &page)
{
    ++m_comparisons;
    const QList<Snapshot> &shown = rows();
    const auto [mine, theirs] =
        std::mismatch(shown.cbegin(), shown.cend(), page.snapshots.cbegin(), page.snapshots.cend());
    if (mine == shown.cend() && theirs == page.snapshots.cend())
        return;
    m_find(u"other rows"_s,
           u"shown %1\n    answered %2"_s.arg(mine == shown.cend() ? u"nothing more"_s : lineOf(*mine),
                                              theirs == page.snapshots.cend() ? u"nothing more"_s : lineOf(*theirs)));
}
