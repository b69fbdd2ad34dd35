// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadrequest.h>

#include <QString>

/// Checksums of files that somebody keeps in a list on this machine, as sha256sum writes it.
namespace ChecksumFile
{

/// Gives the download the sum that the list has of it, by the name that it is to have or that its address has.
/// @return why not: a sentence; empty = it has one now
QString giveTo(DownloadRequest &request, const QString &path);

}
