// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <chrono>
#include <functional>

/// Milliseconds since some moment; never goes back.
using Clock = std::function<qint64()>;

/// The machine's.
inline Clock steadyClock()
{
    return [] {
        using namespace std::chrono;
        return qint64(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
    };
}
