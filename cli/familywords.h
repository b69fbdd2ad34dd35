// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/optionvalues.h>

#include <QString>
#include <QUrl>

/// What is said of an address in numbers that --ipv4 or --ipv6 never reaches.
namespace FamilyWords
{

/// What an address is among those of a download.
enum class Role {
    Only, ///< without it, there is nothing to fetch
    OneOfSeveral, ///< a mirror, or of a line of a list
};

/// A sentence; empty = it may be reached, or goes through a proxy, which may reach it. Reads the environment's proxies.
QString problemOf(const QUrl &url, const OptionValues &values, Role role);

}
