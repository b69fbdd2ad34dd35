// SPDX-License-Identifier: MIT
#pragma once

#include <host/parsing/checksum.h>

#include <QByteArray>
#include <QList>

#include <optional>

/// The digest of the whole file that a server itself names. Pure.
namespace ResourceDigest
{

/// Of a field Repr-Digest ("sha-256=:BASE64:, …") or Digest ("sha-256=BASE64,…"): those that are known here, one of
/// each algorithm, the strongest first. What cannot be understood is as if it were not there: no server owes anybody a
/// digest.
QList<Checksum> all(const QByteArray &field);
/// The strongest of them.
std::optional<Checksum> parse(const QByteArray &field);
/// Both fields name a digest of one algorithm, and it is not the same. However either is written.
bool areOfDifferentFiles(const QByteArray &one, const QByteArray &other);

}
