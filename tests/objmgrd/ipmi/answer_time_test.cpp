// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/ipmi/answer_time.h"

#include <gtest/gtest.h>

namespace
{

constexpr u32 kMostUs = 1'000'000;
constexpr u32 kLastUs = 2'500'000;

}  // namespace

TEST(AnswerTime, WithoutAnAnswerItIsTheMost)
{
    const AnswerTime time(kMostUs, kLastUs);
    EXPECT_FALSE(time.IsKnown());
    EXPECT_EQ(time.AgainUs(), kMostUs);
}

TEST(AnswerTime, AQuickBmcIsGivenAFewMilliseconds)
{
    AnswerTime time(kMostUs, kLastUs);
    for (int i = 0; i < 50; ++i)
        time.Took(200);
    EXPECT_GE(time.AgainUs(), 200 + kAnswerMarginUs);
    EXPECT_LE(time.AgainUs(), 300 + kAnswerMarginUs);
}

// The first answer says little about how much they differ.
TEST(AnswerTime, AnswersThatDifferAreGivenMore)
{
    AnswerTime time(kMostUs, kLastUs);
    time.Took(20'000);
    EXPECT_EQ(time.AgainUs(), 60'000u);
    for (int i = 0; i < 50; ++i)
        time.Took(20'000);
    EXPECT_LE(time.AgainUs(), 25'000u);
    for (int i = 0; i < 50; ++i)
        time.Took(i % 2 == 0 ? 10'000 : 50'000);
    EXPECT_GT(time.AgainUs(), 50'000u);
}

TEST(AnswerTime, ItDoublesUntilAnAnswerToWhatWasSentOnceComes)
{
    AnswerTime time(kMostUs, kLastUs);
    time.Took(100'000);
    const u32 once = time.AgainUs();
    time.NotEnough();
    EXPECT_EQ(time.AgainUs(), once * 2);
    time.NotEnough();
    EXPECT_EQ(time.AgainUs(), once * 4);
    time.Took(100'000);
    EXPECT_LT(time.AgainUs(), once);
}

// The quickest BMC with the longest session_ms, 10 s: it is not forgotten for more than 9 s.
TEST(AnswerTime, ItDoublesTwelveTimesAtTheMost)
{
    AnswerTime time(kMostUs, 10'000'000);
    for (int i = 0; i < 100; ++i)
        time.Took(1);
    EXPECT_EQ(time.AgainUs(), 2001u);
    for (int i = 0; i < 11; ++i)
        time.NotEnough();
    EXPECT_EQ(time.AgainUs(), 4'098'048u);
    time.NotEnough();
    EXPECT_EQ(time.AgainUs(), 8'196'096u);
    time.NotEnough();
    EXPECT_EQ(time.AgainUs(), 8'196'096u);
}

// A BMC that takes longer than the setting says is still waited for in the end.
TEST(AnswerTime, BothLimits)
{
    AnswerTime time(kMostUs, kLastUs);
    time.Took(900'000);
    EXPECT_EQ(time.AgainUs(), kMostUs);
    time.NotEnough();
    EXPECT_EQ(time.AgainUs(), 2 * kMostUs);
    time.NotEnough();
    EXPECT_EQ(time.AgainUs(), kLastUs);
    for (int i = 0; i < 100; ++i)
        time.NotEnough();
    EXPECT_EQ(time.AgainUs(), kLastUs);
    time.Took(0xFFFFFFFF);
    EXPECT_EQ(time.AgainUs(), kMostUs);
}
