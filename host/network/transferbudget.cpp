// SPDX-License-Identifier: MIT
#include <host/network/transferbudget.h>

#include <algorithm>

namespace
{

constexpr qsizetype kLargeBlock = 512 * 1024;
constexpr qsizetype kMiddleBlock = 128 * 1024;
constexpr qsizetype kSmallBlock = 16 * 1024;

constexpr long kLargeWireBuffer = 256 * 1024;
constexpr long kSmallWireBuffer = 16 * 1024;

/// From so many transfers on, their buffers would cost more than they bring.
constexpr int kMany = 16;

}

qint64 TransferBudget::capacity() const
{
    return std::clamp(kTotal / std::max(1, running()), kLeast, kMost);
}

qsizetype TransferBudget::blockSize() const
{
    const qint64 share = capacity();
    if (share >= 2 * kLargeBlock)
        return kLargeBlock;
    return share >= 2 * kMiddleBlock ? kMiddleBlock : kSmallBlock;
}

long TransferBudget::wireBufferSize() const
{
    return running() > kMany ? kSmallWireBuffer : kLargeWireBuffer;
}
