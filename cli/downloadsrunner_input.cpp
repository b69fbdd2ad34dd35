// SPDX-License-Identifier: MIT
#include <cli/downloadsrunner.h>

#include <cli/printer.h>
#include <cli/requestfeed.h>
#include <cli/streamwriter.h>

#include <unistd.h>

using namespace Qt::StringLiterals;

void DownloadsRunner::refuseLines(const QStringList &complaints)
{
    for (const QString &complaint : complaints) {
        Summary summary;
        summary.status = ExitStatus::BadOption;
        summary.errorText = complaint;
        refuse(--m_refused, summary);
    }
}

void DownloadsRunner::listen()
{
    if (!m_arguments.input)
        return;
    m_isInputEnded = false;
    m_input = std::make_unique<RequestFeed>(STDIN_FILENO, *m_arguments.input);
    connect(m_input.get(), &RequestFeed::arrived, this, &DownloadsRunner::onArrived);
    connect(m_input.get(), &RequestFeed::ended, this, &DownloadsRunner::onInputEnded);
}

void DownloadsRunner::onArrived(const ListedRequests &listed)
{
    refuseLines(listed.complaints);
    m_requests += listed.requests;
    feed();
}

void DownloadsRunner::onInputEnded(const QString &problem)
{
    m_isInputEnded = true;
    if (!problem.isEmpty())
        refuseLines({u"cannot read the URLs in standard input: %1."_s.arg(problem)});
    else if (m_requests.isEmpty() && m_refused == 0)
        refuseLines({u"there is no URL in standard input. Write one a line."_s});
    feed();
}
