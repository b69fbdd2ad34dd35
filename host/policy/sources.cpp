// SPDX-License-Identifier: MIT
#include <host/policy/sources.h>

#include <algorithm>

Sources::Sources(const AbstractDownloadPersistentInfo &record)
    : m_urls{record.downloadUrl()}
    , m_effectiveUrl(record.effectiveUrl)
{
    for (const AbstractDownloadMirrorInfo &mirror : record.mirrors) {
        if (!mirror.url.isValid() || m_urls.contains(mirror.url))
            continue;
        m_urls.append(mirror.url);
        m_mirrors.append(mirror);
    }
}

QUrl Sources::current() const
{
    const auto left = std::find_if(m_urls.cbegin(), m_urls.cend(), [this](const QUrl &url) { return !isAside(url); });
    return left == m_urls.cend() ? QUrl() : *left;
}

void Sources::putAside(const QUrl &url, const Clause &reason, bool mayPass)
{
    if (m_urls.contains(url) && !isAside(url))
        m_aside.append({url, reason, mayPass});
}

bool Sources::isAside(const QUrl &url) const
{
    return std::any_of(m_aside.cbegin(), m_aside.cend(), [&url](const Aside &aside) { return aside.url == url; });
}

bool Sources::mayAnyPass() const
{
    return std::any_of(m_aside.cbegin(), m_aside.cend(), [](const Aside &aside) { return aside.mayPass; });
}

void Sources::bringBack()
{
    m_aside.removeIf([](const Aside &aside) { return aside.mayPass; });
}

void Sources::applyTo(AbstractDownloadPersistentInfo &record) const
{
    restore(record);
    record.mirrors.removeIf([this](const AbstractDownloadMirrorInfo &mirror) { return isAside(mirror.url); });
    if (m_urls.isEmpty() || !isAside(m_urls.first()) || record.mirrors.isEmpty())
        return;
    record.effectiveUrl = record.mirrors.takeFirst().url;
}

void Sources::restore(AbstractDownloadPersistentInfo &record) const
{
    record.mirrors = m_mirrors;
    record.effectiveUrl = m_effectiveUrl;
}

QList<Failure::Address> Sources::failed() const
{
    QList<Failure::Address> addresses;
    for (const Aside &aside : m_aside)
        addresses.append({aside.url, aside.reason});
    return addresses;
}

bool Sources::isSourcesFault(const AbstractError &error)
{
    return error.category == ErrorCategory::kHttp || error.category == ErrorCategory::kDownload;
}
