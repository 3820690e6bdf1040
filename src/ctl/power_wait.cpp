// SPDX-License-Identifier: Apache-2.0
// power_wait.cpp -- see power_wait.h.
#include "ctl/power_wait.h"

#include <algorithm>

bool PowerWait(const PowerWorld &world, const std::string &wanted, u32 limitSeconds)
{
    const u64 end = world.nowMs() + u64{limitSeconds} * 1000;
    for (;;) {
        const u64 now = world.nowMs();  // before the look: one that takes long is not the last
        if (world.power() == wanted)
            return true;
        if (now >= end)
            return false;
        world.sleepMs(static_cast<u32>(std::min<u64>(kPowerLookMs, end - now)));
    }
}
