// SPDX-License-Identifier: MIT
#pragma once

#include <host/engine/downloadrequest.h>
#include <host/parsing/checksumlist.h>

#include <QList>
#include <QString>

#include <optional>

/// Checksums of files that somebody keeps in a list on this machine, as sha256sum writes it.
class ChecksumFile
{
public:
    /// Nothing, with a sentence that says why, where it cannot be read, has none, or is too large for one.
    static std::optional<ChecksumFile> read(const QString &path, QString *problem);

    /// Gives the download the sum that the list has of it, by the name that it is to have or that its address has.
    /// Where there is none, the list is asked again once the file is there, and has its name.
    /// @return why not: a sentence, for what is streamed and has no name; empty = it has one now, or is to be asked for
    QString giveTo(DownloadRequest &request) const;

private:
    void give(DownloadRequest &request, const Checksum &checksum) const;

    QString m_path;
    QList<ChecksumList::Entry> m_entries;
};
