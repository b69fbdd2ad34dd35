// SPDX-License-Identifier: MIT
#include <tests/faults/plaitrun.h>

#include <tests/integration/plaitsandbox.h>

PlaitRun PlaitRun::of(const PlaitSandbox &sandbox, const QStringList &arguments, const Interruption &interruption,
                      int patienceMs)
{
    return {ProgramRun::of(sandbox, PlaitSandbox::program(), arguments, patienceMs, interruption)};
}
