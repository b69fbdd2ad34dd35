// SPDX-License-Identifier: MIT
#include <cli/downloadsrunner.h>

#include <cli/nextcommand.h>
#include <cli/printer.h>
#include <cli/questions.h>
#include <cli/requestfeed.h>
#include <cli/streamwriter.h>

using namespace Qt::StringLiterals;

void DownloadsRunner::askAbout(const DownloadRequest &request, const Snapshot &there, const QString &path)
{
    ++m_unanswered;
    m_engine.check(there.id, request.changes, [this, request, there, path](const EngineAnswer &answer) {
        onChecked(request, there, path, answer);
        onAnswered();
    });
}

void DownloadsRunner::onChecked(const DownloadRequest &request, const Snapshot &there, const QString &path,
                                const EngineAnswer &answer)
{
    // Whoever stopped it is not told that it was stopped.
    if (m_stopping)
        return;
    if (!answer.warnings.isEmpty())
        m_printer.warn(there.id,
                       u"the server has a file of the same size as \"%1\", and says no more of it"_s.arg(there.name()));
    if (answer.isOk())
        skip(there, path, answer.warnings.isEmpty());
    else if (answer.failure.kind == Failure::Kind::ResourceChanged)
        onChangedThere(Trouble::Policy(request.options.onChanged), there);
    else
        refuse(there.id, there.url, answer.failure);
}

/// The file that is there is a whole one, and stays where nobody says that it may go.
void DownloadsRunner::onChangedThere(Trouble::Policy policy, const Snapshot &there)
{
    if (policy == Trouble::Policy::Restart) {
        fetchAnew(there.id);
    } else if (policy == Trouble::Policy::Ask && m_questions) {
        ++m_unanswered;
        const QString text =
            u"The server has another file by now than \"%1\". Fetch it in its place?"_s.arg(there.name());
        m_questions->ask(-there.id, text, {u"no"_s, u"yes"_s}, [this, there](int answer) {
            onChangedThere(answer == 1 ? Trouble::Policy::Restart : Trouble::Policy::Fail, there);
            onAnswered();
        });
    } else {
        refuseChanged(there);
    }
}

void DownloadsRunner::refuseChanged(const Snapshot &there)
{
    Summary summary;
    summary.url = there.url;
    summary.name = there.name();
    summary.status = ExitStatus::ResourceChanged;
    summary.errorText = u"%1: the server has another file by now. \"%2\" fetches it."_s.arg(
        there.url.toDisplayString(), NextCommand::line(u"restart %1"_s.arg(there.id)));
    refuse(there.id, summary);
}

void DownloadsRunner::fetchAnew(qint64 id)
{
    ++m_unanswered;
    m_engine.replace(id, [this, id](const EngineAnswer &answer) { onResumed(id, answer); });
}

void DownloadsRunner::skip(const Snapshot &there, const QString &path, bool isUpToDate)
{
    Summary summary = summaryOf(there);
    summary.isThere = true;
    summary.isSkipped = true;
    summary.fetched = 0;
    summary.isUpToDate = isUpToDate;
    summary.path = path;
    summary.status = ExitStatus::Done;
    summary.errorText.clear();
    m_printer.begin(there.id, there.url);
    m_printer.end(there.id, summary);
    count(summary);
}
