// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/peer.
#include "objmgrd/peer.h"

#include "support/objmgr_process.h"

#include <errno.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#ifndef SO_PEERGROUPS
#define SO_PEERGROUPS 59
#endif

// How many groups the kernel says there are (linked with --wrap); 0: it is asked itself.
static u32 sSaidGroups;
// Whether it has no room for them, however much there is.
static bool sSaidTooSmall;

extern "C" {
int __real_getsockopt(int fd, int level, int name, void *value, socklen_t *size);
int __wrap_getsockopt(int fd, int level, int name, void *value, socklen_t *size);
// What getsockopt() is called where a long is too short for times.
int __wrap___getsockopt64(int fd, int level, int name, void *value, socklen_t *size)
    __attribute__((alias("__wrap_getsockopt")));
int __wrap_getsockopt(int fd, int level, int name, void *value, socklen_t *size)
{
    if (sSaidGroups == 0 || name != SO_PEERGROUPS)
        return __real_getsockopt(fd, level, name, value, size);
    const size_t room = *size / sizeof(u32);
    *size = static_cast<socklen_t>(sSaidGroups * sizeof(u32));
    if (sSaidGroups > room || sSaidTooSmall) {
        errno = ERANGE;
        return -1;
    }
    for (u32 i = 0; i < sSaidGroups; ++i)
        static_cast<u32 *>(value)[i] = i;
    return 0;
}
}

namespace
{

// A connection of this process with itself.
class OwnConnection
{
public:
    OwnConnection()
    {
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends_) != 0)
            abort();
    }
    ~OwnConnection()
    {
        close(ends_[0]);
        close(ends_[1]);
    }
    OwnConnection(const OwnConnection &) = delete;
    OwnConnection &operator=(const OwnConnection &) = delete;
    int Fd() const { return ends_[0]; }

private:
    int ends_[2];
};

TEST(PeerOf, IsWhoConnected)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may become another user";
    InFreshProcess([] {
        ASSERT_EQ(setgroups(0, nullptr), 0);
        // The effective ones count.
        ASSERT_EQ(setresgid(7001, 7002, 0), 0);
        ASSERT_EQ(setresuid(1234567, 1234568, 0), 0);
        const OwnConnection connection;
        Peer peer = {.uid = 1, .gid = 2, .pid = 3, .groups = {4}};
        EXPECT_EQ(PeerOf(connection.Fd(), &peer), 0);
        EXPECT_EQ(peer.uid, 1234568u);
        EXPECT_EQ(peer.gid, 7002u);
        EXPECT_EQ(peer.pid, static_cast<u32>(getpid()));
        EXPECT_EQ(peer.groups, std::vector<u32>{});
    });
}

TEST(PeerOf, StaysWhoConnected)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may become another user";
    InFreshProcess([] {
        const gid_t before[] = {7003, 7004};
        const gid_t after = 7005;
        ASSERT_EQ(setgroups(2, before), 0);
        const OwnConnection connection;
        const u32 pid = static_cast<u32>(getpid());
        // Another process, that has become another user, with the same connection.
        InFreshProcess([&] {
            ASSERT_EQ(setgroups(1, &after), 0);
            ASSERT_EQ(setresgid(7001, 7001, 7001), 0);
            ASSERT_EQ(setresuid(1234567, 1234567, 1234567), 0);
            Peer peer;
            EXPECT_EQ(PeerOf(connection.Fd(), &peer), 0);
            EXPECT_EQ(peer.uid, 0u);
            EXPECT_EQ(peer.gid, 0u);
            EXPECT_EQ(peer.pid, pid);
            EXPECT_EQ(peer.groups, (std::vector<u32>{7003, 7004}));
        });
    });
}

// 32 is what is asked for at first, 65,536 what the kernel gives at the most.
TEST(PeerOf, HasEveryGroup)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may join groups";
    InFreshProcess([] {
        for (const size_t count : {1u, 16u, 17u, 31u, 32u, 33u, 65536u}) {
            std::vector<gid_t> groups(count);
            for (size_t i = 0; i < count; ++i)
                groups[i] = static_cast<gid_t>(100000 + i);
            ASSERT_EQ(setgroups(count, groups.data()), 0);
            const OwnConnection connection;
            Peer peer;
            EXPECT_EQ(PeerOf(connection.Fd(), &peer), 0) << count;
            EXPECT_EQ(peer.groups, std::vector<u32>(groups.begin(), groups.end())) << count;
        }
    });
}

TEST(PeerOf, WhatIsNoConnectedLocalSocketIsAnError)
{
    Peer peer;
    EXPECT_EQ(PeerOf(-1, &peer), EBADF);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(PeerOf(ends[0], &peer), ENOTSOCK);
    close(ends[0]);
    close(ends[1]);
    for (const int family : {AF_UNIX, AF_INET}) {
        const int fd = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(PeerOf(fd, &peer), ENODATA) << family;
        close(fd);
    }
}

class SaidGroups : public testing::Test
{
protected:
    ~SaidGroups() override
    {
        sSaidGroups = 0;
        sSaidTooSmall = false;
    }

    const OwnConnection connection_;
    Peer peer_;
};

TEST_F(SaidGroups, AreNoMoreThanAKernelGives)
{
    sSaidGroups = 65536;
    EXPECT_EQ(PeerOf(connection_.Fd(), &peer_), 0);
    EXPECT_EQ(peer_.groups.size(), 65536u);
    sSaidGroups = 65537;
    EXPECT_EQ(PeerOf(connection_.Fd(), &peer_), ERANGE);
}

// It would be asked for ever.
TEST_F(SaidGroups, AreNotAskedForAgainWithoutMoreRoom)
{
    sSaidTooSmall = true;
    for (const u32 groups : {32u, 33u}) {
        sSaidGroups = groups;
        EXPECT_EQ(PeerOf(connection_.Fd(), &peer_), ERANGE) << groups;
    }
}

}  // namespace
