// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/downloaddetails.h>
#include <inet/qt/download/records/networkusagesettings.h>

#include <QString>

/// Words about how many connections a download used. Pure.
namespace ConnectionsNote
{

/// "3 connections at most: the file is too small to split further". Empty when nothing was transferred.
/// @param limits those of the download @param overall those of all downloads together
QString forDownload(const DownloadDetails &details, const NetworkUsageSettings &limits,
                    const NetworkUsageSettings &overall);
/// Of the program's own workings: neither another server nor another option would make more of them.
bool isInner(ConnectionsBound bound);
/// The reason alone, as one word for programs; empty when nothing bounded the number.
QString keyOf(ConnectionsBound bound);

}
