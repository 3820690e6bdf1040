// SPDX-License-Identifier: Apache-2.0
// Tests of the link to a caller (objmgrd/provider.h).
#include "objmgrd/provider.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

class CallerLinkTest : public testing::Test
{
protected:
    CallerLinkTest()
    {
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends_) != 0)
            abort();
    }
    ~CallerLinkTest() override
    {
        CloseCaller();
        close(ends_[0]);
    }
    int Caller() const { return ends_[1]; }
    int Server() const { return ends_[0]; }
    void CloseCaller()
    {
        if (ends_[1] >= 0)
            close(ends_[1]);
        ends_[1] = -1;
    }

private:
    int ends_[2];
};

// Also while the serving thread does not come to look: the kernel knows.
TEST_F(CallerLinkTest, KnowsBeforeTheServerDoes)
{
    const CallerLink link(Server());
    EXPECT_TRUE(link.StillWaits());
    EXPECT_EQ(send(Caller(), "x", 1, 0), 1);
    EXPECT_TRUE(link.StillWaits());
    CloseCaller();
    EXPECT_FALSE(link.StillWaits());
}

TEST_F(CallerLinkTest, ACallerWhoSaysNoMoreWaits)
{
    const CallerLink link(Server());
    ASSERT_EQ(shutdown(Caller(), SHUT_WR), 0);
    EXPECT_TRUE(link.StillWaits());
    ASSERT_EQ(shutdown(Caller(), SHUT_RD), 0);
    EXPECT_FALSE(link.StillWaits());
}

// What was sent to him and not taken: his end is an error then.
TEST_F(CallerLinkTest, ACallerWhoLeavesSomethingUnreadIsGone)
{
    const CallerLink link(Server());
    ASSERT_EQ(send(Server(), "x", 1, 0), 1);
    EXPECT_TRUE(link.StillWaits());
    CloseCaller();
    EXPECT_FALSE(link.StillWaits());
}

// The descriptor's number is another caller's soon.
TEST_F(CallerLinkTest, OnceEndedItStaysSoWhoeverHasTheNumber)
{
    CallerLink link(Server());
    EXPECT_TRUE(link.StillWaits());
    link.End();
    EXPECT_FALSE(link.StillWaits());  // though the connection is there
    link.End();
    EXPECT_FALSE(link.StillWaits());
}

TEST_F(CallerLinkTest, WithoutAConnectionNobodyWaits)
{
    EXPECT_FALSE(CallerLink(-1).StillWaits());
    const int gone = dup(Server());
    const CallerLink link(gone);
    EXPECT_TRUE(link.StillWaits());
    close(gone);
    EXPECT_FALSE(link.StillWaits());
}

}  // namespace
