// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/opening_allowance.
#include "objmgrd/ipmi/opening_allowance.h"

#include <gtest/gtest.h>

TEST(OpeningAllowanceTest, SixAtOnceAndSixteenForACommand)
{
    OpeningAllowance allowance;
    for (u32 left = 6; left != 0; --left) {
        EXPECT_EQ(allowance.Allows(1000, false), left);
        EXPECT_EQ(allowance.Allows(1000, true), left + 10);
        allowance.Left(1000);
    }
    for (u32 left = 10; left != 0; --left) {
        EXPECT_EQ(allowance.Allows(1000, false), 0u);
        EXPECT_EQ(allowance.Allows(1000, true), left);
        allowance.Left(1000);
    }
    EXPECT_EQ(allowance.Allows(1000, true), 0u);
    allowance.Left(1000);
    EXPECT_EQ(allowance.Allows(1000, true), 0u);
}

TEST(OpeningAllowanceTest, OneMoreEveryFiveSeconds)
{
    OpeningAllowance allowance;
    for (int i = 0; i < 6; ++i)
        allowance.Left(1000);
    for (u64 now : {6000u, 11000u, 16000u}) {
        EXPECT_EQ(allowance.Allows(now - 1, false), 0u);
        EXPECT_EQ(allowance.Allows(now, false), 1u);
        allowance.Left(now);
        EXPECT_EQ(allowance.Allows(now, false), 0u);
    }
}

TEST(OpeningAllowanceTest, AfterAPauseAllAreThereAgainAndNotMore)
{
    OpeningAllowance allowance;
    for (int i = 0; i < 10; ++i)
        allowance.Left(1000);
    EXPECT_EQ(allowance.Allows(1000000, false), 6u);
}

// What a BMC may hold for us at a time, when it drops them after a minute.
TEST(OpeningAllowanceTest, InAMinuteTwentySeven)
{
    OpeningAllowance allowance;
    u32 tried = 0;
    for (u64 now = 1000; now < 61000; now += 10) {
        if (allowance.Allows(now, true) == 0)
            continue;
        allowance.Left(now);
        ++tried;
    }
    EXPECT_EQ(tried, 27u);
}
