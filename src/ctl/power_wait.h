// SPDX-License-Identifier: Apache-2.0
// power_wait.h -- waits until a host's power is what was asked for.
#ifndef CTL_POWER_WAIT_H
#define CTL_POWER_WAIT_H

#include "platform/types.h"

#include <functional>
#include <string>

// How the wait sees the world; tests have one of their own.
struct PowerWorld {
    std::function<std::string()> power;  // "on", "off", another text; empty: cannot be read now
    std::function<u64()> nowMs;          // a clock that nobody sets
    std::function<void(u32 ms)> sleepMs;
};

constexpr u32 kPowerLookMs = 200;  // from one look to the next

// Looks at once, then every kPowerLookMs, a last time when the time is over. True: the power is
// `wanted`. A host that cannot be read, as while its BMC starts again, is waited for, too.
bool PowerWait(const PowerWorld &world, const std::string &wanted, u32 limitSeconds);

#endif
