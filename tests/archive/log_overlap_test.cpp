// SPDX-License-Identifier: Apache-2.0
#include "archive/log_overlap.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{

// One character is one record.
size_t Overlap(std::string_view seen, std::string_view log)
{
    const std::vector<LogMark> a(seen.begin(), seen.end());
    const std::vector<LogMark> b(log.begin(), log.end());
    return LogOverlap(a, b);
}

}  // namespace

TEST(LogOverlap, TheLogGrows)
{
    EXPECT_EQ(Overlap("", "abc"), 0u);
    EXPECT_EQ(Overlap("abc", "abc"), 3u);
    EXPECT_EQ(Overlap("abc", "abcd"), 3u);
}

TEST(LogOverlap, WhereTheyStand)
{
    const LogMark seen[] = {1, 2, 3};
    const LogMark later[] = {2, 3, 4};
    const LogMark others[] = {4};
    EXPECT_EQ(LogOverlapFind(seen, later).place, 1u);
    EXPECT_EQ(LogOverlapFind(seen, later).length, 2u);
    EXPECT_EQ(LogOverlapFind(seen, others).place, 3u);
    EXPECT_EQ(LogOverlapFind(seen, others).length, 0u);
}

TEST(LogOverlap, AFullLogDropsItsOldest)
{
    EXPECT_EQ(Overlap("abc", "bcd"), 2u);
    EXPECT_EQ(Overlap("abc", "cde"), 1u);
    EXPECT_EQ(Overlap("abc", "def"), 0u);
}

TEST(LogOverlap, ALogThatIsReadPieceByPiece)
{
    EXPECT_EQ(Overlap("abc", ""), 0u);
    EXPECT_EQ(Overlap("abc", "a"), 1u);
    EXPECT_EQ(Overlap("abc", "ab"), 2u);
    EXPECT_EQ(Overlap("abc", "b"), 1u);
}

TEST(LogOverlap, AfterAClearing)
{
    EXPECT_EQ(Overlap("abc", "xy"), 0u);
    EXPECT_EQ(Overlap("abc", "xab"), 0u);
}

TEST(LogOverlap, EqualRecords)
{
    EXPECT_EQ(Overlap("aa", "aaa"), 2u);
    EXPECT_EQ(Overlap("aba", "ababa"), 3u);
    EXPECT_EQ(Overlap("abab", "ab"), 2u);
}

TEST(LogOverlap, MarksTellTimeAndTextApart)
{
    EXPECT_EQ(LogMarkOf("t", "text"), LogMarkOf("t", "text"));
    EXPECT_NE(LogMarkOf("t", "text"), LogMarkOf("tt", "ext"));
    EXPECT_NE(LogMarkOf("t", "text"), LogMarkOf("u", "text"));
    EXPECT_NE(LogMarkOf("", ""), LogMarkOf("", "a"));
}
