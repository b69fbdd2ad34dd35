// SPDX-License-Identifier: MIT
#include <cli/smoothedspeed.h>

#include <cmath>

void SmoothedSpeed::add(qint64 now, qint64 speed)
{
    const double weight = value() == 0 ? 1 : 1 - std::exp(-double(now - m_last) / kTimeConstantMs);
    m_value += weight * (double(speed) - m_value);
    m_last = now;
}
