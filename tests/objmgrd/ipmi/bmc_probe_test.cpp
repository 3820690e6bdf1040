// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/ipmi/bmc_probe.h"

#include "support/clock.h"
#include "support/loopback_socket.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <vector>

namespace
{

// Something at a UDP port that answers as it is told.
class BmcProbeTest : public testing::Test
{
protected:
    // Takes a question; answers it with its sequence number, or with another one, in so many bytes.
    std::vector<u8> Serve(bool answer, u8 otherNumber = 0, size_t bytes = 30, u8 otherCommand = 0)
    {
        std::vector<u8> question(256);
        sockaddr_in from = {};
        socklen_t size = sizeof from;
        const ssize_t got = recvfrom(fd_, question.data(), question.size(), 0,
                                     reinterpret_cast<sockaddr *>(&from), &size);
        question.resize(static_cast<size_t>(got > 0 ? got : 0));
        std::vector<u8> reply(30);
        reply[18] = static_cast<u8>(question[18] + (otherNumber << 2));
        reply[19] = static_cast<u8>(question[19] + otherCommand);
        reply.resize(bytes);
        if (answer)
            (void)!sendto(fd_, reply.data(), reply.size(), 0,
                          reinterpret_cast<const sockaddr *>(&from), size);
        return question;
    }

    const LoopbackSocket socket_;
    const int fd_ = socket_.Fd();
    const u32 port_ = socket_.Port();
};

}  // namespace

TEST_F(BmcProbeTest, AnAnswerSaysHowLongItTook)
{
    std::vector<u8> question;
    std::thread bmc([&] { question = Serve(true); });
    const i64 begun = NowMs();
    const u32 us = BmcProbe("127.0.0.1", port_, 5000);
    const i64 took = NowMs() - begun;
    bmc.join();
    EXPECT_GT(us, 0u);
    EXPECT_LE(us / 1000, static_cast<u32>(took + 1));
    // Get Channel Authentication Capabilities, of this channel, for an administrator.
    EXPECT_EQ(question, (std::vector<u8>{0x06, 0x00, 0xFF, 0x07, 0x00, 0x00, 0x00, 0x00,
                                         0x00, 0x00, 0x00, 0x00, 0x00, 0x09, 0x20, 0x18,
                                         0xC8, 0x81, 0x00, 0x38, 0x8E, 0x04, 0xB5}));
}

TEST_F(BmcProbeTest, AQuestionThatIsLostIsAskedAgainWithAnotherNumber)
{
    std::vector<u8> second;
    std::thread bmc([&] {
        Serve(false);
        second = Serve(true);
    });
    EXPECT_GT(BmcProbe("127.0.0.1", port_, 5000), 0u);
    bmc.join();
    EXPECT_EQ(second[18], 1 << 2);
    u8 sum = 0;
    for (size_t i = 17; i < second.size(); ++i)
        sum = static_cast<u8>(sum + second[i]);
    EXPECT_EQ(sum, 0);
}

TEST_F(BmcProbeTest, AnAnswerToNoQuestionIsNone)
{
    std::thread bmc([&] { Serve(true, 60); });
    EXPECT_EQ(BmcProbe("127.0.0.1", port_, 20), 0u);
    bmc.join();
}

TEST_F(BmcProbeTest, WhatIsTooShortOrAnswersAnotherCommandIsNone)
{
    const struct {
        size_t bytes;
        u8 otherCommand;
        bool counts;
    } rows[] = {{1, 0, false}, {19, 0, false}, {20, 0, true}, {30, 1, false}};
    for (const auto &row : rows) {
        std::thread bmc([&] { Serve(true, 0, row.bytes, row.otherCommand); });
        EXPECT_EQ(BmcProbe("127.0.0.1", port_, 1000) != 0, row.counts) << row.bytes;
        bmc.join();
        // What was asked since.
        std::vector<u8> rest(256);
        while (recv(fd_, rest.data(), rest.size(), MSG_DONTWAIT) > 0)
            continue;
    }
}

TEST_F(BmcProbeTest, WithoutAnAnswerItEnds)
{
    EXPECT_EQ(BmcProbe("127.0.0.1", port_, 100), 0u);
    EXPECT_EQ(BmcProbe("no-such-host.invalid", port_, 100), 0u);
    EXPECT_EQ(BmcProbe("127.0.0.1", port_, 0), 0u);
}
