// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>

#include <host/engine/downloadsession.h>
#include <host/engine/filetakeover.h>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

Failure noteOf(const TakenFile &file, qint64 id)
{
    Failure::Subject subject;
    subject.id = id;
    subject.path = file.path;
    subject.title = file.path.section(u'/', -1);
    if (file.isWhole())
        return Failure::make(Failure::Kind::FoundWhole, subject);
    return Failure::make(
        Failure::Kind::TakenOver, subject,
        {Clause::Kind::BytesThere, {QString::number(file.size), QString::number(file.identity.total)}});
}

/// Nobody said that it is to be gone on with, so that there is nothing to be done about it.
Failure othersNote(const TakenFile &file, const Failure &failure)
{
    Failure note = failure ? failure : noteOf(file, 0);
    note.kind = Failure::Kind::CannotTakeOver;
    note.remedies.clear();
    return note;
}

}

/// What another program has left is looked at first.
void LocalEngine::add(const EngineCommand &command)
{
    if (isThere(command))
        return;
    const DownloadRequest request = command.request.value_or(DownloadRequest());
    const QString path = m_session->fileToTakeOver(request);
    if (path.isEmpty()) {
        addNow(command, nullptr);
        return;
    }
    const QueueOptions &queue = m_options->queue;
    FileTakeOver *const work = m_session->makeTakeOver(request, path, {queue.mostTries, queue.retryWaitMs}, this);
    m_takeOvers.insert(work, command);
    connect(work, &FileTakeOver::retrying, this, [this](const Failure &failure, int attempt, qint64 inMs) {
        warn(0, {Warning::Kind::Retrying, failure, Warning::Next::Again, attempt, inMs});
    });
    connect(work, &FileTakeOver::done, this,
            [this, work](const Failure &failure, const TakenFile &file) { onTakenOver(work, failure, file); });
    work->begin();
}

/// A file that is another's may be in the way, as any is, where somebody said what is to become of it.
void LocalEngine::onTakenOver(FileTakeOver *work, const Failure &failure, const TakenFile &file)
{
    const EngineCommand command = m_takeOvers.take(work);
    work->deleteLater();
    const bool isAnother = failure.kind == Failure::Kind::CannotTakeOver || (!failure && !file.isWhole());
    if (isAnother && !command.request->takesOver) {
        const qint64 id = addNow(command, nullptr);
        if (id != 0)
            warn(id, {.kind = Warning::Kind::Failure, .failure = othersNote(file, failure)});
        return;
    }
    const bool isInTheWay = failure.kind == Failure::Kind::CannotTakeOver
        && command.request->onExists != AbstractDownloadExistingFileReaction::NotSet;
    if (failure && !isInTheWay) {
        refuse(command, failure);
        return;
    }
    bool isNew = false;
    const qint64 id = addNow(command, failure ? nullptr : &file, &isNew);
    if (id != 0 && (failure || isNew))
        warn(id, {.kind = Warning::Kind::Failure, .failure = failure ? failure : noteOf(file, id)});
}

void LocalEngine::giveUpTakeOvers()
{
    const auto takeOvers = std::exchange(m_takeOvers, {});
    for (auto one = takeOvers.cbegin(); one != takeOvers.cend(); ++one) {
        delete one.key();
        refuse(one.value(), Failure::make(Failure::Kind::Stopped, {}));
    }
}
