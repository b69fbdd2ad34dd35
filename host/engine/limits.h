// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <optional>

/// New limits of one download, or of all together. A value; what is not given stays as it is.
struct Limits {
    std::optional<qint64> rate; ///< bytes/s; 0 = none of its own
    std::optional<int> connections; ///< at once; 0 = likewise
    std::optional<int> connectionsPerServer; ///< at once; 0 = likewise

    friend bool operator==(const Limits &, const Limits &) = default;
};
