// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

class RecordRows;
struct ProcessIdentity;

/// Who of the owners of downloads lives. One among the processes that can be seen here is asked for itself. Of one on
/// another machine, in another container, or of this machine before it started anew, nobody can see whether it does: it
/// has a row of its own in the list, however many downloads it owns, with an end that it puts off while it lives. Opens
/// no transaction of its own.
namespace Owners
{

/// So far ahead the end lies when it is put off.
constexpr qint64 kLeaseSeconds = 60;
/// And so often it is.
constexpr int kRenewMs = 20 * 1000;
/// For so long nobody takes an owner for dead: the end is in whole seconds, clocks of machines differ, and a block that
/// is on its way to the disk takes its time.
constexpr int kSureMs = 50 * 1000;

/// Puts off this process's. False when a statement failed, with the reason in the rows.
bool renew(RecordRows &rows);
/// @param secondsLeft gets how long it counts as alive though nobody here sees it, unless it renews meanwhile; 0 = it
/// is seen to live, or it does not; may be null
bool isAlive(RecordRows &rows, const ProcessIdentity &owner, int *secondsLeft = nullptr);

}
