// SPDX-License-Identifier: MIT
#pragma once

#include <tests/integration/programrun.h>

/// One run of plait in a campaign.
struct PlaitRun : ProgramRun {
    /// The status of a run that was asked to stop.
    static constexpr int kStopped = 7;

    static PlaitRun of(const PlaitSandbox &sandbox, const QStringList &arguments, const Interruption &interruption,
                       int patienceMs);
};
