// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/checksum.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

/// Checksums as they stand beside files: what sha256sum and its like write, BSD's and OpenSSL's lines, and files of a
/// single sum without a name. Pure.
namespace ChecksumList
{

/// Larger ones are none.
inline constexpr qint64 kMostBytes = 4 * 1024 * 1024;

struct Entry {
    QString name; ///< as written, perhaps with folders; empty = the sum stands alone
    Checksum checksum;

    friend bool operator==(const Entry &, const Entry &) = default;
};

/// Lines that are none are passed over.
QList<Entry> parse(const QByteArray &text);

/// It is a page for people, as servers send in place of what they do not have.
bool isPage(const QByteArray &text);

/// The checksum of a file, by the first of its names that is in the list; of several of one name, that whose folders
/// fit best, and of these the longest. Nothing where none fits, or where two that fit as well contradict each other.
/// @param names without folders, the best first @param path that the file has where it comes from
std::optional<Checksum> find(const QList<Entry> &entries, const QStringList &names, const QString &path);

/// Where lists are usually found beside a file, the best first.
QList<QUrl> neighboursOf(const QUrl &url);

}
