// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/mailbox.
#include "objmgrd/ipmi/mailbox.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <thread>

namespace
{

bool IsReadable(int fd)
{
    pollfd wait = {fd, POLLIN, 0};
    return poll(&wait, 1, 0) == 1;
}

News Change(const std::string &key, CimStatus status)
{
    News news;
    news.changes[key] = Instance{status, {}};
    return news;
}

}  // namespace

TEST(Mailbox, NewsMakesItReadableUntilTaken)
{
    Mailbox box;
    EXPECT_FALSE(IsReadable(box.Fd()));
    box.Post(0, Change("a", 0));
    box.Post(0, Change("a", 5));
    News removal;
    removal.changes["b"] = std::nullopt;
    removal.answers.push_back({7, 0, 1});
    box.Post(0, std::move(removal));
    EXPECT_TRUE(IsReadable(box.Fd()));
    const News news = box.Take();
    EXPECT_FALSE(IsReadable(box.Fd()));
    ASSERT_EQ(news.changes.size(), 2u);
    EXPECT_EQ(news.changes.at("a")->status, 5u);  // the last counts
    EXPECT_FALSE(news.changes.at("b").has_value());
    ASSERT_EQ(news.answers.size(), 1u);
    EXPECT_TRUE(box.Take().changes.empty());
}

TEST(Mailbox, NothingOfAnOlderGenerationIsTaken)
{
    Mailbox box;
    box.Post(0, Change("before", 0));
    box.Void();
    EXPECT_EQ(box.Generation(), 1u);
    News late = Change("late", 0);
    late.answers.push_back({7, 0, 1});
    late.lines.push_back({6, "line"});
    box.Post(0, std::move(late));
    box.Post(1, Change("fresh", 0));
    const News news = box.Take();
    EXPECT_EQ(news.changes.size(), 1u);
    EXPECT_EQ(news.changes.count("fresh"), 1u);
    EXPECT_EQ(news.answers.size(), 1u);
    EXPECT_EQ(news.lines.size(), 1u);
}

TEST(Mailbox, ALossTakesThePlaceOfWhatWasBefore)
{
    Mailbox box;
    box.Post(0, Change("before", 0));
    News lost;
    lost.lost = true;
    lost.why = "gone";
    box.Post(0, std::move(lost));
    box.Post(0, Change("after", 0));
    const News news = box.Take();
    EXPECT_TRUE(news.lost);
    EXPECT_EQ(news.why, "gone");
    EXPECT_EQ(news.changes.size(), 1u);
    EXPECT_EQ(news.changes.count("after"), 1u);
}

TEST(Mailbox, OrdersAreLimitedAndInOrder)
{
    Mailbox box;
    for (u64 ticket = 1; ticket <= 64; ++ticket)
        EXPECT_TRUE(box.Give({ticket, OrderKind::Start, 0}));
    EXPECT_FALSE(box.Give({65, OrderKind::Start, 0}));
    EXPECT_TRUE(box.HasOrder());
    Order order;
    ASSERT_TRUE(box.NextOrder(&order));
    EXPECT_EQ(order.ticket, 1u);
    EXPECT_TRUE(box.Give({65, OrderKind::Start, 0}));
    for (u64 ticket = 2; ticket <= 65; ++ticket) {
        ASSERT_TRUE(box.NextOrder(&order));
        EXPECT_EQ(order.ticket, ticket);
    }
    EXPECT_FALSE(box.HasOrder());
    EXPECT_FALSE(box.NextOrder(&order));
}

TEST(Mailbox, LinesAreLimited)
{
    Mailbox box;
    for (int i = 0; i < 65; ++i) {
        News news;
        news.lines.push_back({6, "x"});
        box.Post(0, std::move(news));
    }
    EXPECT_EQ(box.Take().lines.size(), 64u);
}

TEST(Mailbox, WaitingEndsWithAnOrderAGenerationOrTheEnd)
{
    Mailbox box;
    box.Wait(0, true, 1);  // nothing comes: the time is over
    for (int what = 0; what < 3; ++what) {
        std::thread other([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            if (what == 0)
                box.Void();
            else if (what == 1)
                box.Give({1, OrderKind::Stop, 0});
            else
                box.Stop();
        });
        box.Wait(what == 0 ? 0 : 1, what == 1, 60000);
        other.join();
    }
    EXPECT_TRUE(box.Stopped());
    // With an order in hand the next one does not end the waiting: only time does, and here the
    // end.
    box.Wait(1, false, 60000);
}
