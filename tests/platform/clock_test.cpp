// SPDX-License-Identifier: Apache-2.0
#include "platform/clock.h"

#include "platform/said_clock.h"

#include <gtest/gtest.h>

namespace
{

class Clock : public testing::Test
{
protected:
    static void Set(time_t second, long nanosecond)
    {
        gSaidClock = {true, {second, nanosecond}, CLOCK_REALTIME};
    }
    void TearDown() override { gSaidClock = {}; }
};

TEST_F(Clock, CutsToMilliseconds)
{
    Set(12, 345999999);
    EXPECT_EQ(ClockMs(), 12345u);
    EXPECT_EQ(gSaidClock.asked, CLOCK_MONOTONIC);
    Set(12, 346000000);
    EXPECT_EQ(ClockMs(), 12346u);
    Set(12, 999999999);
    EXPECT_EQ(ClockMs(), 12999u);
    Set(13, 0);
    EXPECT_EQ(ClockMs(), 13000u);
}

TEST_F(Clock, CutsToMicroseconds)
{
    Set(12, 345678999);
    EXPECT_EQ(ClockUs(), 12345678u);
    EXPECT_EQ(gSaidClock.asked, CLOCK_MONOTONIC);
    Set(12, 999999999);
    EXPECT_EQ(ClockUs(), 12999999u);
}

// 32 bits of milliseconds are over after 49.7 days, of microseconds after 72 minutes.
TEST_F(Clock, GoesOnAfterThirtyTwoBits)
{
    Set(4294967, 296000000);
    EXPECT_EQ(ClockMs(), 4294967296u);
    Set(4294, 967296000);
    EXPECT_EQ(ClockUs(), 4294967296u);
}

TEST_F(Clock, GoesForward)
{
    const u64 ms = ClockMs();
    const u64 us = ClockUs();
    EXPECT_LE(ms, us / 1000 + 1);
    EXPECT_LE(us, ClockUs());
    EXPECT_LE(ms, ClockMs());
}

}  // namespace
