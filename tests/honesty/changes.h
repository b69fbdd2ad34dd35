// SPDX-License-Identifier: MIT
#pragma once

#include <tests/honesty/exhibit.h>

#include <QByteArray>
#include <QList>

/// One way in which a file changes under its address, and what a server says before and after.
struct Change {
    /// What lies between the address and the file.
    enum class Way {
        Direct, ///< nothing
        OneTarget, ///< a redirect, always to the same address
        NewTargets, ///< a redirect to another address each time; all of them stay good
        TargetsThatGo, ///< the same, but the first one has nothing any more once the file has changed
    };
    static constexpr Way kWays[] = {Way::Direct, Way::OneTarget, Way::NewTargets, Way::TargetsThatGo};

    QByteArray name; ///< a sentence, one of a kind
    FileVersion before;
    FileVersion after;
    /// What the server says contradicts what it said before.
    bool isSeen = true;

    static QList<Change> all();
    static QByteArray inWords(Way way);

    /// The first answer, or the prelude, has the file as it was; all that follow have it as it is now.
    Exhibit exhibit(Way way) const;
};
