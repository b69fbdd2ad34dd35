// SPDX-License-Identifier: MIT
#include <cli/roomwords.h>

#include <cli/failurenames.h>
#include <cli/progressline.h>

#include <cerrno>

using namespace Qt::StringLiterals;
using namespace FailureNames;

namespace
{

/// In bytes where both would look the same.
QString amount(qint64 bytes, qint64 other)
{
    const QString text = ProgressLine::size(bytes);
    return bytes != other && text == ProgressLine::size(other) ? u"%1 bytes"_s.arg(bytes) : text;
}

QString whyNotFree(const Failure &failure)
{
    return failure.number == EDQUOT ? u"but not for you"_s : u"but not for you, or not for another file"_s;
}

QString wayOut(const Failure &failure)
{
    return u" %1 and run %2, or choose another folder with -d."_s.arg(RoomWords::firstStep(failure),
                                                                      command("resume"_L1, failure));
}

}

QString RoomWords::reason(const Failure &failure)
{
    return FailureNames::reason(failure,
                                failure.kind == Failure::Kind::NoRoom ? u"it does not fit"_s : u"the disk is full"_s);
}

QString RoomWords::firstStep(const Failure &failure)
{
    return failure.number == EFBIG ? u"Raise the limit"_s : u"Make room there"_s;
}

QString RoomWords::facts(const Failure &failure)
{
    const auto [needed, available] = failure.room;
    if (available < 0)
        return {};
    const QString there = amount(available, needed) + u" is free there"_s;
    if (needed < 0)
        return u' ' + there + u"; how much it needs, nobody knows."_s;
    const QString wanted = amount(needed, available);
    if (failure.number == EFBIG)
        return u" It would be %1 long; not every disk, nor every shell (ulimit -f), allows that. %2."_s.arg(wanted,
                                                                                                            there);
    if (needed <= available)
        return u" It needs %1 more. %2, %3."_s.arg(wanted, there, whyNotFree(failure));
    return u" It needs %1 more, and %2."_s.arg(wanted, there);
}

QString RoomWords::sentence(const Failure &failure)
{
    return u"cannot save %1: %2."_s.arg(quotedFile(failure), reason(failure)) + facts(failure) + wayOut(failure);
}
