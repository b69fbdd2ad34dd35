// SPDX-License-Identifier: MIT
#include <inet/qt/download/sources/downloadguidfromdownloadsource.h>

#include <inet/qt/download/records/abstractdownloadguid.h>
#include <inet/qt/download/records/abstractdownloadsourceinfo.h>
#include <inet/qt/download/records/clouddrivehosts.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Shorter last segments are words of the service's own URLs, not identifiers of files.
constexpr qsizetype kShortestIdentifier = 10;

QString lowerCaseHost(const QUrl &url)
{
    return url.host(QUrl::FullyDecoded).toLower();
}

bool isContentHost(const QString &host)
{
    return host == CloudDriveHosts::kContentHostDomain || host.endsWith(CloudDriveHosts::kContentHostSuffix);
}

bool isFrontEnd(const QUrl &url)
{
    return lowerCaseHost(url) == CloudDriveHosts::kFrontEndHost;
}

QString lastSegment(const QString &path)
{
    return path.mid(std::max(path.lastIndexOf(u'/'), path.lastIndexOf(u'\\')) + 1);
}

}

bool DownloadGuidFromDownloadSource::get(const AbstractDownloadSourceInfo &source, AbstractDownloadGuid &guid,
                                         bool &reachedThroughFrontEnd) const
{
    if (!isContentHost(lowerCaseHost(source.url)))
        return false;
    const QString identifier = lastSegment(source.url.path(QUrl::FullyDecoded));
    if (identifier.size() < kShortestIdentifier)
        return false;
    guid = {1, AbstractDownloadGuid::SourceDerived, "googledrive:"_L1 + identifier};
    reachedThroughFrontEnd = isFrontEnd(QUrl(source.referer)) || isFrontEnd(source.webPageUrl);
    return true;
}
