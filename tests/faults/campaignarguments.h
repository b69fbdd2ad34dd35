// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

/// What a campaign is started with: "[PLAIT_SEED=N] PROGRAM [COUNT]".
struct CampaignArguments {
    quint32 seed = 1;
    int count = 0;

    /// Nothing when they make no sense; how they are meant is then on standard output.
    /// @param countName of what is counted, for people; @param defaultCount where there is none
    static std::optional<CampaignArguments> read(int argc, char *argv[], const QString &countName, int defaultCount);
};
