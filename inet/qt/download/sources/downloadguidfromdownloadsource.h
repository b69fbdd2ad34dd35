// SPDX-License-Identifier: MIT
#pragma once

struct AbstractDownloadGuid;
struct AbstractDownloadSourceInfo;

/// Knows files of the cloud-drive service by their source alone, before any request: the service's content hosts hand
/// out a new URL for the same file each time, but the file's identifier stays the URL's last segment.
class DownloadGuidFromDownloadSource
{
public:
    DownloadGuidFromDownloadSource() = default;

    /// True when the source has an identity; @p guid then holds it, and @p reachedThroughFrontEnd tells whether the
    /// download was started from the service's own pages. Otherwise both are left alone.
    bool get(const AbstractDownloadSourceInfo &source, AbstractDownloadGuid &guid, bool &reachedThroughFrontEnd) const;
};
