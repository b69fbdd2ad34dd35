// SPDX-License-Identifier: MIT
#include <cli/connectionsnote.h>

using namespace Qt::StringLiterals;

namespace
{

/// Of two limits of which the reached one is meant: the download's own, unless there were fewer connections than that.
QString limitReached(int count, qint64 own, qint64 overall, const QString &where)
{
    if (own > 0 && (count >= own || overall <= 0))
        return u"limit of %1%2 reached"_s.arg(QString::number(own), where);
    if (overall > 0)
        return u"limit of %1%2 for all downloads reached"_s.arg(QString::number(overall), where);
    return u"limit%1 reached"_s.arg(where);
}

QString reasonOf(const DownloadDetails &details, const NetworkUsageSettings &limits,
                 const NetworkUsageSettings &overall)
{
    switch (details.bound) {
    case ConnectionsBound::RangesNotHonoured:
        return u"the server does not honour ranges"_s;
    case ConnectionsBound::SizeUnknown:
        return u"the server does not tell the file's size"_s;
    case ConnectionsBound::TooSmallToSplit:
        return u"the file is too small to split further"_s;
    case ConnectionsBound::SpaceNotTaken:
        return u"the disk space was still being reserved"_s;
    case ConnectionsBound::SectionsCap:
        return u"no download has more"_s;
    case ConnectionsBound::Connections:
        return limitReached(details.mostConnections, limits.maximumConnections, overall.maximumConnections, {});
    case ConnectionsBound::ConnectionsPerServer:
        return limitReached(details.mostConnections, limits.maximumConnectionsPerServer,
                            overall.maximumConnectionsPerServer, u" per server"_s);
    case ConnectionsBound::AnotherFailed:
        return u"the server refused another"_s;
    case ConnectionsBound::None:
        break;
    }
    return {};
}

}

QString ConnectionsNote::forDownload(const DownloadDetails &details, const NetworkUsageSettings &limits,
                                     const NetworkUsageSettings &overall)
{
    if (details.mostConnections < 1)
        return {};
    const QString count =
        details.mostConnections == 1 ? u"1 connection"_s : u"%1 connections"_s.arg(details.mostConnections);
    const QString reason = reasonOf(details, limits, overall);
    return reason.isEmpty() ? count + " at most"_L1 : count + " at most: "_L1 + reason;
}

bool ConnectionsNote::isInner(ConnectionsBound bound)
{
    return bound == ConnectionsBound::SpaceNotTaken;
}

QString ConnectionsNote::keyOf(ConnectionsBound bound)
{
    switch (bound) {
    case ConnectionsBound::RangesNotHonoured:
        return u"no-ranges"_s;
    case ConnectionsBound::SizeUnknown:
        return u"size-unknown"_s;
    case ConnectionsBound::TooSmallToSplit:
        return u"too-small"_s;
    case ConnectionsBound::SpaceNotTaken:
        return u"reserving-space"_s;
    case ConnectionsBound::SectionsCap:
        return u"most-possible"_s;
    case ConnectionsBound::Connections:
        return u"limit"_s;
    case ConnectionsBound::ConnectionsPerServer:
        return u"server-limit"_s;
    case ConnectionsBound::AnotherFailed:
        return u"refused"_s;
    case ConnectionsBound::None:
        break;
    }
    return {};
}
