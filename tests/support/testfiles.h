// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

/// Content for tests that nobody has to keep: every byte follows from a seed and its place, so that any piece of a file
/// of any size can be made alone, and compared by hash with what arrived.
namespace TestFiles
{
/// The `length` bytes from `offset` on of the endless content with this seed.
QByteArray content(quint64 seed, qint64 offset, qint64 length);

/// Writes the first `size` bytes of the content; false when the file cannot be written whole.
bool writeFile(const QString &path, quint64 seed, qint64 size);

/// The whole file; empty when it cannot be read.
QByteArray readFile(const QString &path);

/// Hashes are lower-case hex; a file that cannot be read has an empty hash.
QByteArray sha256(const QByteArray &data);
QByteArray sha256OfFile(const QString &path);
QByteArray sha256OfContent(quint64 seed, qint64 size);
}
