// SPDX-License-Identifier: Apache-2.0
#include "ctl/power_wait.h"

#include <gtest/gtest.h>

namespace
{

// A host whose power is `wanted` from `atMs` on.
struct Host {
    u64 atMs;
    u64 now = 5000;
    u32 looks = 0;
    u32 lookTakesMs = 0;

    PowerWorld World()
    {
        return {.power =
                    [this] {
                        ++looks;
                        const std::string power = now >= atMs ? "on" : looks % 2 == 0 ? "off" : "";
                        now += lookTakesMs;
                        return power;
                    },
                .nowMs = [this] { return now; },
                .sleepMs = [this](u32 ms) { now += ms; }};
    }
};

}  // namespace

TEST(PowerWait, ThereAlready)
{
    Host host = {.atMs = 0};
    EXPECT_TRUE(PowerWait(host.World(), "on", 0));
    EXPECT_EQ(host.looks, 1u);
    EXPECT_EQ(host.now, 5000u);
}

TEST(PowerWait, NoTimeIsOneLook)
{
    Host host = {.atMs = 5001};
    EXPECT_FALSE(PowerWait(host.World(), "on", 0));
    EXPECT_EQ(host.looks, 1u);
}

TEST(PowerWait, LooksUntilItComes)
{
    Host host = {.atMs = 5900};
    EXPECT_TRUE(PowerWait(host.World(), "on", 10));
    EXPECT_EQ(host.now, 6000u);
    EXPECT_EQ(host.looks, 6u);
}

TEST(PowerWait, TheLimitFromBothSides)
{
    Host inTime = {.atMs = 6000};
    EXPECT_TRUE(PowerWait(inTime.World(), "on", 1));
    Host late = {.atMs = 6001};
    EXPECT_FALSE(PowerWait(late.World(), "on", 1));
    EXPECT_EQ(late.now, 6000u);
}

// A look that began in time counts, however long it took; after one that ended late comes one more.
TEST(PowerWait, SlowLooks)
{
    Host host = {.atMs = 6500, .lookTakesMs = 700};
    EXPECT_TRUE(PowerWait(host.World(), "on", 1));
}
