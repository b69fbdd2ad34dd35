// SPDX-License-Identifier: MIT
#include <host/network/descriptorlimit.h>

#include <algorithm>

#include <sys/resource.h>

namespace
{

constexpr rlim_t kEnough = 16384;
constexpr rlim_t kOthers = 64;

/// Of each connection one is the file's that it fills.
constexpr rlim_t kPerConnection = 2;

rlim_t raisedLimit()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 0;
    const rlim_t wanted = std::min(limit.rlim_max, kEnough);
    if (limit.rlim_cur < wanted) {
        const rlim_t before = limit.rlim_cur;
        limit.rlim_cur = wanted;
        if (::setrlimit(RLIMIT_NOFILE, &limit) != 0)
            return before;
    }
    return limit.rlim_cur;
}

}

long DescriptorLimit::connections()
{
    static const rlim_t limit = raisedLimit();
    return long(std::max<rlim_t>(limit, kOthers + kPerConnection) - kOthers) / long(kPerConnection);
}
