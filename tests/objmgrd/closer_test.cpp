// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/closer.h"

#include "platform/clock.h"
#include "support/lingering.h"
#include "support/objmgr_process.h"

#include <poll.h>

namespace
{

// A pair of connected sockets; the first is for the closer.
struct Pair {
    Pair()
    {
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
            abort();
    }
    ~Pair() { close(ends[1]); }
    bool EndSeen(int timeoutMs = 10000) const
    {
        pollfd wait = {ends[1], POLLIN, 0};
        char byte;
        return poll(&wait, 1, timeoutMs) == 1 && recv(ends[1], &byte, 1, 0) <= 0;
    }
    int ends[2];
};

}  // namespace

TEST(Closer, ClosesWhatItIsGiven)
{
    Closer closer;
    ASSERT_EQ(closer.Start(), 0);
    for (int i = 0; i < 2000; ++i) {
        Pair pair;
        closer.Close(pair.ends[0]);
        ASSERT_TRUE(pair.EndSeen()) << i;
    }
}

TEST(Closer, WithoutAProcessItClosesItself)
{
    Closer closer;
    Pair pair;
    closer.Close(pair.ends[0]);
    EXPECT_TRUE(pair.EndSeen(0));
}

TEST(Closer, TheProcessHoldsNothingOfTheService)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Closer closer;
    ASSERT_EQ(closer.Start(), 0);
    close(ends[1]);
    char byte;
    EXPECT_EQ(read(ends[0], &byte, 1), 0);
    close(ends[0]);
}

TEST(Closer, OneThatIsHeldIsReplaced)
{
    Closer closer;
    ASSERT_EQ(closer.Start(), 0);
    const pid_t first = closer.Pid();
    kill(first, SIGSTOP);
    for (int i = 0; i < 5000 && closer.Pid() == first; ++i) {
        Pair pair;
        closer.Close(pair.ends[0]);
        ASSERT_TRUE(pair.EndSeen()) << i;
    }
    EXPECT_NE(closer.Pid(), first);
    EXPECT_NE(closer.Pid(), -1);
}

TEST(Closer, ADescriptorThatLingersHoldsNobody)
{
    const LingeringSocket lingering;
    if (!lingering.right)
        GTEST_SKIP() << "needs TCP on the loopback interface";
    Closer closer;
    ASSERT_EQ(closer.Start(), 0);
    const u64 before = ClockMs();
    {
        Pair pair;
        lingering.SendOver(pair.ends[1]);
        closer.Close(pair.ends[0]);
        EXPECT_TRUE(pair.EndSeen(0));
    }
    closer.Stop();
    EXPECT_LT(ClockMs() - before, 10000u);
}
