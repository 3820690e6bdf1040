// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/answers_once. That the library receives through these functions is shown
// with a BMC whose every answer comes twice (ipmi/power_test.cpp).
#include "objmgrd/ipmi/answers_once.h"

#include <arpa/inet.h>
#include <cerrno>
#include <freeipmi/freeipmi.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace
{

using ReceiveFunction = decltype(&ipmi_lan_recvfrom);

class AnswersOnceTest : public testing::TestWithParam<ReceiveFunction>
{
protected:
    AnswersOnceTest() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, ends_), 0); }
    ~AnswersOnceTest() override
    {
        close(ends_[0]);
        close(ends_[1]);
    }
    void Come(const std::string &packet) const
    {
        EXPECT_EQ(send(ends_[1], packet.data(), packet.size(), 0),
                  static_cast<ssize_t>(packet.size()));
    }
    // "none": nothing lies there.
    std::string Received(int flags = 0) const
    {
        char packet[64];
        const ssize_t got = GetParam()(ends_[0], packet, sizeof packet, flags, nullptr, nullptr);
        if (got < 0)
            return errno == EAGAIN ? "none" : "error";
        return {packet, static_cast<size_t>(got)};
    }

    int ends_[2] = {-1, -1};
};

}  // namespace

TEST_P(AnswersOnceTest, WhatCameBeforeIsPassedBy)
{
    const AnswersOnce once;
    for (const char *packet : {"one", "one", "two", "one", "two", "three"})
        Come(packet);
    EXPECT_EQ(Received(), "one");
    EXPECT_EQ(Received(), "two");
    EXPECT_EQ(AnswersOnce::Count(), 2u);
    EXPECT_EQ(Received(), "three");
    EXPECT_EQ(Received(), "none");
    EXPECT_EQ(AnswersOnce::Count(), 3u);
    // The start or the end of another one is another one.
    for (const char *packet : {"thre", "hree", "threee", "three"})
        Come(packet);
    EXPECT_EQ(Received(), "thre");
    EXPECT_EQ(Received(), "hree");
    EXPECT_EQ(Received(), "threee");
    EXPECT_EQ(Received(), "none");
}

// A packet of this payload type with this message tag.
static std::string Opening(int payload, int tag, const char *rest)
{
    const char head[] = {6, 0, '\xff', 7, 6, static_cast<char>(payload)};
    return std::string(head, sizeof head) + std::string(10, '\0') + static_cast<char>(tag) + rest;
}

// The request was doubled, and each of both makes a session of its own or another random number.
TEST_P(AnswersOnceTest, OfTwoAnswersOfAnOpeningThatAreNotAlikeTheFirstCounts)
{
    for (const int payload : {0x11, 0x13, 0x15}) {
        const AnswersOnce once;
        Come(Opening(payload, 7, "first"));
        Come(Opening(payload, 7, "second"));
        Come(Opening(payload, 7, ""));
        Come(Opening(payload, 8, "second"));
        EXPECT_EQ(Received(), Opening(payload, 7, "first")) << payload;
        EXPECT_EQ(Received(), Opening(payload, 8, "second")) << payload;
        EXPECT_EQ(Received(), "none") << payload;
    }
    const AnswersOnce once;
    Come(Opening(0x11, 7, "a"));
    Come(Opening(0x13, 7, "a"));
    EXPECT_EQ(Received(), Opening(0x11, 7, "a"));
    EXPECT_EQ(Received(), Opening(0x13, 7, "a"));
}

// A message inside of a session, encrypted or not, is known by all of it; so is a packet that ends
// before its tag.
TEST_P(AnswersOnceTest, OtherPacketsAreKnownByAllTheirBytes)
{
    const AnswersOnce once;
    std::string old = Opening(0x11, 7, "a");
    old[4] = 0;
    std::string other = old + "b";
    for (const std::string &packet :
         {Opening(0x00, 7, "a"), Opening(0x00, 7, "b"), Opening(0xC0, 7, "a"),
          Opening(0xC0, 7, "b"), Opening(0x0F, 7, "a"), Opening(0x0F, 7, "b"),
          Opening(0x16, 7, "a"), Opening(0x16, 7, "b"), old, other,
          Opening(0x11, 7, "").substr(0, 16), Opening(0x11, 7, "").substr(0, 15)}) {
        Come(packet);
        EXPECT_EQ(Received(), packet);
        Come(packet);
        EXPECT_EQ(Received(), "none");
    }
}

TEST_P(AnswersOnceTest, OutsideOfAnOpeningEverythingIsReceived)
{
    Come("one");
    Come("one");
    EXPECT_EQ(Received(), "one");
    EXPECT_EQ(Received(), "one");
    {
        const AnswersOnce once;
        Come("one");
        EXPECT_EQ(Received(), "one");
        Come("one");
    }
    EXPECT_EQ(Received(), "one");
}

TEST_P(AnswersOnceTest, AnOpeningKnowsNothingOfTheOneBefore)
{
    for (int i = 0; i < 2; ++i) {
        const AnswersOnce once;
        EXPECT_EQ(AnswersOnce::Count(), 0u);
        Come("one");
        EXPECT_EQ(Received(), "one");
    }
}

TEST_P(AnswersOnceTest, AnotherThreadReceivesEverything)
{
    const AnswersOnce once;
    Come("one");
    EXPECT_EQ(Received(), "one");
    Come("one");
    std::string other;
    std::thread([&] { other = Received(); }).join();
    EXPECT_EQ(other, "one");
}

TEST_P(AnswersOnceTest, ALookAtAPacketIsNoReceiving)
{
    const AnswersOnce once;
    Come("one");
    EXPECT_EQ(Received(MSG_PEEK), "one");
    EXPECT_EQ(Received(), "one");
}

// However many answers come, the 64 first are known.
TEST_P(AnswersOnceTest, WhatIsRememberedHasALimit)
{
    const AnswersOnce once;
    for (int i = 0; i < 64; ++i) {
        Come(std::to_string(i));
        EXPECT_EQ(Received(), std::to_string(i));
    }
    for (int i = 0; i < 2; ++i) {
        Come("64");
        EXPECT_EQ(Received(), "64");
    }
    Come("63");
    EXPECT_EQ(Received(), "none");
}

TEST_P(AnswersOnceTest, WhoSentAPacketIsToldBehindOneThatIsPassedBy)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    sockaddr_in own = {};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof own;
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&own), sizeof own), 0);
    ASSERT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&own), &size), 0);
    const AnswersOnce once;
    char packet[8];
    for (const char *sent : {"a", "a", "b"})
        EXPECT_EQ(sendto(fd, sent, 1, 0, reinterpret_cast<sockaddr *>(&own), sizeof own), 1);
    for (const char *expected : {"a", "b"}) {
        sockaddr_in from = {};
        size = sizeof from;
        EXPECT_EQ(
            GetParam()(fd, packet, sizeof packet, 0, reinterpret_cast<sockaddr *>(&from), &size),
            1);
        EXPECT_EQ(packet[0], expected[0]);
        EXPECT_EQ(size, sizeof from);
        EXPECT_EQ(from.sin_port, own.sin_port);
    }
    close(fd);
}

TEST_P(AnswersOnceTest, NoRoomIsAnError)
{
    char packet[8];
    Come("one");
    EXPECT_EQ(GetParam()(ends_[0], nullptr, sizeof packet, 0, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(GetParam()(ends_[0], packet, 0, 0, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(Received(), "one");
    EXPECT_EQ(Received(), "none");
}

INSTANTIATE_TEST_SUITE_P(Both, AnswersOnceTest,
                         testing::Values(&ipmi_lan_recvfrom, &ipmi_rmcpplus_recvfrom));
