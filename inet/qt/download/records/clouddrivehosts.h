// SPDX-License-Identifier: MIT
#pragma once

#include <QLatin1StringView>

/// Hosts of a cloud drive whose links need care of their own: its content hosts hand out a new URL
/// for the same file each time, and its pages' links carry a post body that must not be posted. All in lower case.
namespace CloudDriveHosts
{

/// The service's pages, from which people start downloads.
inline constexpr QLatin1StringView kFrontEndHost("drive.google.com");
/// Every host below this domain serves content. The suffix begins with a dot, so that no other domain ends in it.
inline constexpr QLatin1StringView kContentHostSuffix(".googleusercontent.com");
/// The domain itself.
inline constexpr QLatin1StringView kContentHostDomain = kContentHostSuffix.sliced(1);

}
