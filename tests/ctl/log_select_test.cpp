// SPDX-License-Identifier: Apache-2.0
#include "ctl/hand_view.h"
#include "ctl/log_select.h"

#include <gtest/gtest.h>

namespace
{

std::vector<ModelRecord> Records(const std::vector<std::pair<const char *, const char *>> &rows)
{
    HandView hand;
    for (const auto &row : rows)
        hand.AddRecord(row.first, row.second);
    return ModelRecordsOf(hand.view);
}

std::string Texts(const std::vector<ModelRecord> &records)
{
    std::string texts;
    for (const ModelRecord &record : records)
        texts += record.description.text;
    return texts;
}

}  // namespace

TEST(LogSelect, SinceATime)
{
    const auto records = Records({{"System Boot", "a"},
                                  {"19700101000100", "b"},
                                  {"System Boot", "c"},
                                  {"19700101000200", "d"},
                                  {"System Boot", "e"}});
    EXPECT_EQ(Texts(LogSinceTime(records, 0)), "bcde");
    EXPECT_EQ(Texts(LogSinceTime(records, 60)), "bcde");
    EXPECT_EQ(Texts(LogSinceTime(records, 61)), "de");
    EXPECT_EQ(Texts(LogSinceTime(records, 120)), "de");
    EXPECT_EQ(Texts(LogSinceTime(records, 121)), "");
}

TEST(LogSelect, AfterARecord)
{
    const auto records = Records({{"", "a"}, {"", "b"}, {"", "c"}});
    EXPECT_EQ(Texts(LogAfterRecord(records, 0)), "abc");
    EXPECT_EQ(Texts(LogAfterRecord(records, 2)), "c");
    EXPECT_EQ(Texts(LogAfterRecord(records, 3)), "");
}

TEST(LogSelect, FollowsGrowthDropsAndClearing)
{
    LogFollower follower;
    const std::pair<const char *, const char *> a = {"19700101000001", "a"};
    const std::pair<const char *, const char *> b = {"19700101000002", "b"};
    const std::pair<const char *, const char *> c = {"19700101000003", "c"};
    EXPECT_EQ(Texts(follower.News(Records({a}), true)), "a");
    EXPECT_EQ(Texts(follower.News(Records({a, b}), true)), "b");
    EXPECT_EQ(Texts(follower.News(Records({a, b}), true)), "");
    EXPECT_EQ(Texts(follower.News(Records({b, c}), true)), "c");
    // A service that starts again shows nothing, then the first record, then all.
    EXPECT_EQ(Texts(follower.News({}, false)), "");
    EXPECT_EQ(Texts(follower.News(Records({b}), true)), "");
    EXPECT_EQ(Texts(follower.News(Records({b, c}), true)), "");
    // Cleared, and then the same again.
    EXPECT_EQ(Texts(follower.News({}, true)), "");
    EXPECT_EQ(Texts(follower.News(Records({b}), true)), "b");
}

TEST(LogSelect, ATimeTellsEqualTextsApart)
{
    LogFollower follower;
    EXPECT_EQ(Texts(follower.News(Records({{"19700101000001", "a"}}), true)), "a");
    EXPECT_EQ(Texts(follower.News(Records({{"19700101000002", "a"}}), true)), "a");
    EXPECT_EQ(Texts(follower.News(Records({{"System Boot", "a"}}), true)), "a");
    EXPECT_EQ(Texts(follower.News(Records({{"**************", "a"}}), true)), "a");
}
