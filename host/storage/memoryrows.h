// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/resourcememory.h>

#include <host/storage/sqlvalue.h>

#include <QtGlobal>

#include <optional>

class RecordRows;

/// What is remembered of a download's resource, to rows and back. Opens no transaction of its own. Nothing, or false,
/// when a statement failed, with the reason in the rows.
namespace MemoryRows
{

/// An empty one where nothing was kept.
std::optional<ResourceMemory> load(RecordRows &rows, qint64 id);
/// In place of what was there.
bool save(RecordRows &rows, qint64 id, const ResourceMemory &memory);
/// Of the evidence, if there is any.
bool setDigestResult(RecordRows &rows, qint64 id, ChecksumResult result);
/// A number that this program does not know is a doubt that it cannot name.
Evidence::Doubt doubtFrom(const SqlValue &cell);

}
