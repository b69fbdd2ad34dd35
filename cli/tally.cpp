// SPDX-License-Identifier: MIT
#include <cli/tally.h>

#include <cli/overview.h>
#include <cli/progressline.h>
#include <cli/summary.h>

void Tally::add(const Summary &summary)
{
    fetched += summary.fetched;
    areListed = areListed && summary.isListed;
    if (summary.isSkipped)
        ++skipped;
    else if (summary.isStopped)
        stopped.append(ProgressLine::name(summary.name, summary.url));
    else if (summary.status != ExitStatus::Done)
        failed.append({ProgressLine::name(summary.name, summary.url),
                       summary.reason.isEmpty() ? summary.errorText : summary.reason});
    else
        ++done;
    if (summary.status == ExitStatus::Done && !summary.isSkipped)
        bytes += summary.bytes;
}

int &Tally::placeIn(Overview &overview, const Summary &summary)
{
    if (summary.isSkipped || summary.status == ExitStatus::Done)
        return overview.done;
    return summary.isStopped ? overview.stopped : overview.failed;
}
