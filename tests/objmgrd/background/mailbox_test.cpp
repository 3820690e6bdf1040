// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/background/mailbox.
#include "objmgrd/background/mailbox.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

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
    box.Post(0, Change("c", 0));
    EXPECT_TRUE(IsReadable(box.Fd()));
    EXPECT_EQ(box.Take().changes.size(), 1u);
    EXPECT_FALSE(IsReadable(box.Fd()));
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

// The other thread says it once.
TEST(Mailbox, WhatIsGoneStaysGone)
{
    Mailbox box;
    News gone;
    gone.changes["waiting"] = std::nullopt;
    gone.changes["back"] = std::nullopt;
    box.Post(0, gone);
    box.Post(0, Change("back", 0));
    News lost;
    lost.lost = true;
    box.Post(0, std::move(lost));
    box.Void();
    gone.changes = {{"late", std::nullopt}};
    box.Post(0, gone);
    const News news = box.Take();
    EXPECT_EQ(news.changes.size(), 2u);
    for (const char *key : {"waiting", "late"}) {
        ASSERT_EQ(news.changes.count(key), 1u) << key;
        EXPECT_FALSE(news.changes.at(key).has_value()) << key;
    }
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

// The caller may give up while the serving thread does not come to look.
TEST(Mailbox, WhoHasHungUpIsNotWaitedFor)
{
    int gone[2];
    int waits[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, gone), 0);
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, waits), 0);
    Mailbox box;
    box.Give({1, OrderKind::Stop, 0, std::make_shared<CallerLink>(gone[0])});
    box.Give({2, OrderKind::Start, 0, std::make_shared<CallerLink>(waits[0])});
    close(gone[1]);
    Order order;
    ASSERT_TRUE(box.NextOrder(&order));
    EXPECT_EQ(order.ticket, 2u);
    EXPECT_TRUE(box.Waits(2));
    close(waits[1]);
    EXPECT_FALSE(box.Waits(2));
    EXPECT_FALSE(box.NextOrder(&order));
    close(gone[0]);
    close(waits[0]);
}

TEST(Mailbox, AWithdrawnOrderIsNotGivenOutAndNobodyWaitsForIt)
{
    Mailbox box;
    for (u64 ticket = 1; ticket <= 3; ++ticket)
        EXPECT_TRUE(box.Give({ticket, OrderKind::Stop, 0}));
    box.Withdraw(2);
    Order order;
    ASSERT_TRUE(box.NextOrder(&order));
    EXPECT_EQ(order.ticket, 1u);
    box.Withdraw(3);
    EXPECT_TRUE(box.Waits(1));
    EXPECT_FALSE(box.HasOrder());
    box.Withdraw(1);
    EXPECT_FALSE(box.Waits(1));
    EXPECT_TRUE(box.Give({4, OrderKind::Stop, 0}));
    ASSERT_TRUE(box.NextOrder(&order));
    box.Withdraw(1);
    EXPECT_TRUE(box.Waits(4));
}

TEST(Mailbox, WaitingEndsWithAnOrderAGenerationOrTheEnd)
{
    Mailbox box;
    box.Wait(1);  // nothing comes: the time is over
    for (int what = 0; what < 3; ++what) {
        EXPECT_FALSE(IsReadable(box.WakeFd()));
        std::thread other([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            if (what == 0)
                box.Void();
            else if (what == 1)
                box.Give({1, OrderKind::Stop, 0});
            else
                box.Stop();
        });
        box.Wait(60000);
        other.join();
    }
    EXPECT_TRUE(box.Stopped());
}

// What came before the waiting began is not slept over.
TEST(Mailbox, WaitingDoesNotBeginAfterSomethingCame)
{
    Mailbox box;
    box.Give({1, OrderKind::Stop, 0});
    EXPECT_TRUE(IsReadable(box.WakeFd()));
    box.Wait(60000);
    EXPECT_FALSE(IsReadable(box.WakeFd()));
    EXPECT_TRUE(box.HasOrder());
}

TEST(Mailbox, PartsAreHeardInTheirOwnGenerationOnly)
{
    Mailbox mailbox;
    News news;
    news.heard = {{0, 5}, {1, 6}};
    mailbox.Post(mailbox.Generation(), news);
    news.heard = {{1, 8}};
    mailbox.Post(mailbox.Generation(), news);
    const u32 old = mailbox.Generation();
    mailbox.Void();
    news.heard = {{0, 9}};
    mailbox.Post(old, news);
    EXPECT_EQ(mailbox.Take().heard, (std::map<u16, u64>{{0, 5}, {1, 8}}));
    EXPECT_TRUE(mailbox.Take().heard.empty());
}
