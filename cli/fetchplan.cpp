// SPDX-License-Identifier: MIT
#include <cli/fetchplan.h>

#include <cli/progressline.h>

#include <QDir>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Action = FetchPlan::Action;
using Reaction = AbstractDownloadExistingFileReaction;

/// Less than that is not divided.
constexpr qint64 kLeastToDivide = 300 * 1024;

int connectionsFor(const DownloadRequest &request, const QueryResult &found, qint64 left, qint64 most)
{
    const bool isDivided =
        found.size >= 0 && found.resume != QueryResult::Resume::NotSupported && left >= kLeastToDivide;
    if (!isDivided)
        return 1;
    const qint64 own = request.options.connections > 0 ? request.options.connections : most;
    const qint64 perServer = request.options.connectionsPerServer;
    const qint64 ofServers = perServer > 0 ? perServer * (1 + request.mirrors.size()) : own;
    return int(std::max<qint64>(1, std::min(own, ofServers)));
}

/// Another file of the name is there.
void meet(FetchPlan &plan, Reaction reaction)
{
    switch (reaction) {
    case Reaction::Overwrite:
        plan.note = u"in place of the file that is there"_s;
        break;
    case Reaction::NotSet:
    case Reaction::Rename:
        plan.note = u"under a name with a number, as there is a file of that name"_s;
        break;
    default:
        plan.action = Action::Refuse;
        plan.note = u"there is a file of that name"_s;
    }
}

/// -c looks at the file. What it makes of its bytes is seen when that is done.
bool isToBeTakenOver(const QFileInfo &file, const DownloadRequest &request)
{
    const bool isNamed = file.fileName() == request.outputName || file.fileName() == request.url.fileName();
    return request.takesOver && request.postData.isEmpty() && isNamed && file.isFile() && file.size() > 0;
}

void takeOver(FetchPlan &plan, const DownloadRequest &request, const QueryResult &found, qint64 mostConnections)
{
    const qint64 there = QFileInfo(plan.path).size();
    if (found.size >= 0 && there > found.size) {
        meet(plan, request.onExists == Reaction::NotSet ? Reaction::Skip : request.onExists);
        return;
    }
    plan.action = Action::GoOn;
    plan.done = there;
    plan.connections = connectionsFor(request, found, found.size - plan.done, mostConnections);
    plan.note = u"if the file that is there is a beginning of the server's"_s;
}

QString wordOf(Action action)
{
    switch (action) {
    case Action::Fetch:
        return u"fetch"_s;
    case Action::GoOn:
        return u"resume"_s;
    case Action::Ask:
        return u"ask"_s;
    case Action::Skip:
        return u"skip"_s;
    case Action::Refuse:
        break;
    }
    return u"refuse"_s;
}

QString named(const FetchPlan &plan)
{
    return plan.path.isEmpty() ? u"it to standard output"_s : u"\"%1\""_s.arg(QDir::toNativeSeparators(plan.path));
}

QString amountOf(const FetchPlan &plan)
{
    const QString size = plan.size >= 0 ? ProgressLine::size(plan.size) : u"of unknown size"_s;
    const QString part = plan.done > 0 ? u"%1 of "_s.arg(ProgressLine::size(plan.done)) : QString();
    return part.isEmpty() ? size : part + size + u" are there"_s;
}

QString transferOf(const FetchPlan &plan)
{
    const QString connections =
        plan.connections == 1 ? u"1 connection"_s : u"%1 connections at most"_s.arg(plan.connections);
    const QString note = plan.note.isEmpty() ? QString() : u", "_s + plan.note;
    return u"%1: %2, %3%4"_s.arg(named(plan), amountOf(plan), connections, note);
}

}

FetchPlan FetchPlan::of(const DownloadRequest &request, const EngineAnswer &answer, bool isToAsk,
                        qint64 mostConnections)
{
    FetchPlan plan;
    const Snapshot row = answer.snapshots.value(0);
    const QueryResult found = answer.found.value_or(QueryResult());
    if (!answer.existing.isEmpty()) {
        plan.action = isToAsk ? Action::Ask : Action::Skip;
        plan.path = answer.existing;
        plan.size = row.size();
        return plan;
    }
    plan.size = found.size;
    plan.done = row.done();
    plan.action = row.id > 0 ? Action::GoOn : Action::Fetch;
    plan.connections = connectionsFor(request, found, found.size - plan.done, mostConnections);
    if (request.isStreamed)
        return plan;
    const QString name = request.outputName.isEmpty() ? found.name : request.outputName;
    plan.path = QDir(request.folder).filePath(row.name().isEmpty() ? name : row.name());
    if (row.id <= 0 && isToBeTakenOver(QFileInfo(plan.path), request))
        takeOver(plan, request, found, mostConnections);
    else if (QFileInfo::exists(plan.path))
        meet(plan, request.onExists);
    return plan;
}

QString FetchPlan::text() const
{
    switch (action) {
    case Action::Fetch:
        return u"would fetch "_s + transferOf(*this);
    case Action::GoOn:
        return u"would go on with "_s + transferOf(*this);
    case Action::Ask:
        return u"would ask whether %1 is the server's file still"_s.arg(named(*this));
    case Action::Skip:
        return u"would skip %1: it is there already"_s.arg(named(*this));
    case Action::Refuse:
        break;
    }
    return u"would not fetch %1: %2"_s.arg(named(*this), note);
}

QJsonObject FetchPlan::object() const
{
    return {{u"action"_s, wordOf(action)},
            {u"path"_s, path},
            {u"size"_s, size},
            {u"done"_s, done},
            {u"connections"_s, connections}};
}
