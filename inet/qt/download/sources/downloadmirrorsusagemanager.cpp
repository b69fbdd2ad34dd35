// SPDX-License-Identifier: MIT
#include <inet/qt/download/sources/downloadmirrorsusagemanager.h>

#include <algorithm>
#include <tuple>

namespace
{

using MirrorInfo = DownloadMirrorsUsageManager::MirrorInfo;

bool urlLess(const MirrorInfo &a, const MirrorInfo &b)
{
    return a.source.url < b.source.url;
}

bool betterThan(const MirrorInfo &a, const MirrorInfo &b)
{
    return std::tie(a.errorCount, a.connectionCount, a.source.url)
        < std::tie(b.errorCount, b.connectionCount, b.source.url);
}

/// Both lists in URL order. An entry of the current list serves one new entry, so that no user is counted twice.
QList<MirrorInfo> merged(const QList<MirrorInfo> &current, const QList<MirrorInfo> &wanted)
{
    QList<MirrorInfo> result;
    result.reserve(wanted.size());
    auto known = current.cbegin();
    for (const MirrorInfo &entry : wanted) {
        known = std::lower_bound(known, current.cend(), entry, urlLess);
        const bool stays = known != current.cend() && known->source.url == entry.source.url;
        result.append(stays ? *known++ : MirrorInfo{entry.source});
    }
    return result;
}

}

QUrl DownloadMirrorsUsageManager::nextMirrorUrl() const
{
    return m_mirrors.isEmpty() ? QUrl() : m_mirrors.first().source.url;
}

int DownloadMirrorsUsageManager::nextMirrorConnectionCount() const
{
    return m_mirrors.isEmpty() ? 0 : m_mirrors.first().connectionCount;
}

bool DownloadMirrorsUsageManager::containsMirrorWithoutErrors() const
{
    return !m_mirrors.isEmpty() && m_mirrors.first().errorCount == 0;
}

void DownloadMirrorsUsageManager::setMirrors(QList<MirrorInfo> list)
{
    sortMirrors(m_mirrors, true);
    sortMirrors(list, true);
    m_mirrors = merged(m_mirrors, list);
    sort();
}

void DownloadMirrorsUsageManager::setMirrors(const AbstractDownloadSourceInfo &main,
                                             const QList<AbstractDownloadMirrorInfo> &mirrors)
{
    QList<MirrorInfo> list{MirrorInfo{main}};
    for (const AbstractDownloadMirrorInfo &mirror : mirrors) {
        if (!mirror.url.isValid())
            continue;
        MirrorInfo entry{main};
        entry.source.url = mirror.url;
        entry.source.webPageUrl = mirror.webPageUrl;
        list.append(entry);
    }
    setMirrors(list);
}

void DownloadMirrorsUsageManager::setMirrors(const QList<AbstractDownloadMirrorInfo> &mirrors)
{
    setMirrors(AbstractDownloadSourceInfo(), mirrors);
}

AbstractDownloadSourceInfo DownloadMirrorsUsageManager::pickMirror()
{
    if (m_mirrors.isEmpty())
        return {};
    MirrorInfo &best = m_mirrors.first();
    ++best.connectionCount;
    const AbstractDownloadSourceInfo source = best.source;
    sort();
    return source;
}

bool DownloadMirrorsUsageManager::forceblyPickMirror(const AbstractDownloadSourceInfo &source)
{
    const auto it = std::find_if(m_mirrors.begin(), m_mirrors.end(),
                                 [&source](const MirrorInfo &mirror) { return mirror.source == source; });
    if (it == m_mirrors.end())
        return false;
    ++it->connectionCount;
    sort();
    return true;
}

void DownloadMirrorsUsageManager::onFinishedUsingMirror(const AbstractDownloadSourceInfo &source,
                                                        const AbstractError &error)
{
    const auto it = std::find_if(m_mirrors.begin(), m_mirrors.end(),
                                 [&source](const MirrorInfo &mirror) { return mirror.source.url == source.url; });
    if (it == m_mirrors.end())
        return;
    --it->connectionCount;
    if (error)
        ++it->errorCount;
    sort();
}

void DownloadMirrorsUsageManager::sortMirrors(QList<MirrorInfo> &list, bool byUrlOnly)
{
    std::sort(list.begin(), list.end(), byUrlOnly ? urlLess : betterThan);
}
