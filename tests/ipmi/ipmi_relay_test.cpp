// SPDX-License-Identifier: Apache-2.0
// ipmi_relay_test.cpp -- the bad network does what it says.
#include "ipmi/ipmi_relay.h"

#include "ipmi/ipmi_sim.h"
#include "ipmi/ipmi_tools.h"
#include "support/clock.h"
#include "support/program.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

class Relay : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(bmc.Start(), "");
        relay = std::make_unique<IpmiRelay>(bmc.Host(), bmc.Port());
        ASSERT_NE(relay->Port(), 0);
    }
    ProgramEnd Ask(const std::vector<std::string> &arguments, const char *suite = "3")
    {
        const IpmiTools tools(bmc.Host(), relay->Port(), kSimAdmin, bmc.Directory());
        // Of an option given twice the last counts.
        std::vector<std::string> line = tools.Ipmitool({"-C", suite});
        line.insert(line.end(), arguments.begin(), arguments.end());
        return RunProgram(line);
    }
    // Sends so many requests that need no session; every reply that comes.
    std::vector<std::string> Replies(int count)
    {
        constexpr u8 kCapabilities[] = {0x06, 0x00, 0xFF, 0x07, 0x00, 0x00, 0x00, 0x00,
                                        0x00, 0x00, 0x00, 0x00, 0x00, 0x09, 0x20, 0x18,
                                        0xC8, 0x81, 0x00, 0x38, 0x8E, 0x04, 0xB5};
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(relay->Port());
        inet_pton(AF_INET, bmc.Host().c_str(), &address.sin_addr);
        const int fd = socket(AF_INET, SOCK_DGRAM, 0);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        std::vector<std::string> replies;
        for (int i = 0; i < count; ++i) {
            send(fd, kCapabilities, sizeof kCapabilities, 0);
            pollfd wait = {fd, POLLIN, 0};
            char packet[256];
            while (poll(&wait, 1, 300) == 1)
                replies.emplace_back(packet,
                                     static_cast<size_t>(recv(fd, packet, sizeof packet, 0)));
        }
        close(fd);
        return replies;
    }
    static double Now() { return static_cast<double>(ClockUs()) / 1e6; }

    IpmiSim bmc;
    std::unique_ptr<IpmiRelay> relay;
};

TEST_F(Relay, PassesAndCounts)
{
    EXPECT_EQ(Ask({"power", "status"}).out, "Chassis Power is on\n");
    const RelayCounts counts = relay->Counts();
    EXPECT_GE(counts.requests, 6u);  // a session and one command
    EXPECT_EQ(counts.requests, counts.replies);
    EXPECT_EQ(counts.mostInFlight, 1u);
    EXPECT_EQ(relay->Requests(kIpmiChassisStatus), 0u);  // encrypted
    EXPECT_EQ(counts.mostCommandsInFlight, 1u);          // without a session
    relay->ForgetCounts();
    EXPECT_EQ(relay->Counts().requests, 0u);
}

TEST_F(Relay, CountsCommandsOfSessionsWithoutEncryption)
{
    EXPECT_EQ(Ask({"power", "status"}, "2").out, "Chassis Power is on\n");
    EXPECT_EQ(relay->Requests(kIpmiChassisStatus), 1u);
    EXPECT_EQ(relay->Requests(kIpmiChassisControl), 0u);
}

TEST_F(Relay, PausesBetweenTwoRepliesToACommand)
{
    Ask({"power", "status"}, "2");
    EXPECT_EQ(relay->LongestPauseMs(kIpmiChassisStatus), 0u);
    SleepMs(100);
    Ask({"power", "status"}, "2");
    EXPECT_GE(relay->LongestPauseMs(kIpmiChassisStatus), 100u);
    relay->ForgetCounts();
    EXPECT_EQ(relay->LongestPauseMs(kIpmiChassisStatus), 0u);
    EXPECT_EQ(relay->Delivered(kIpmiChassisStatus), 0u);
}

TEST_F(Relay, DelaysEveryReply)
{
    relay->Set({.delayMs = 20});
    const double start = Now();
    EXPECT_EQ(Ask({"power", "status"}).out, "Chassis Power is on\n");
    EXPECT_GE(Now() - start, 0.020 * static_cast<double>(relay->Counts().replies - 1));
}

TEST_F(Relay, LosesRepliesToACommand)
{
    relay->DropRepliesTo(kIpmiChassisControl, 1);
    Ask({"power", "reset"}, "2");
    // ipmitool repeats, the BMC acts twice: the harm that is to be avoided is there.
    EXPECT_EQ(relay->Requests(kIpmiChassisControl), 2u);
    EXPECT_EQ(relay->Requests(kIpmiChassisControl, true), 1u);
    EXPECT_EQ(relay->Counts().mostCommandsInFlight, 1u);
    EXPECT_EQ(relay->Delivered(kIpmiChassisControl), 1u);
    EXPECT_EQ(bmc.Actions(), "reset 1\nreset 1\n");
}

TEST_F(Relay, DoublesRequests)
{
    relay->Set({.doublePercent = 100});
    EXPECT_EQ(Ask({"power", "reset"}, "2").out, "Chassis Power Control: Reset\n");
    // A BMC should drop a packet whose session sequence number it has accepted before. This one
    // acts twice, so sending a packet again, to the byte, is no way to reset a host once.
    EXPECT_EQ(relay->Requests(kIpmiChassisControl), 1u);
    EXPECT_EQ(relay->Delivered(kIpmiChassisControl), 2u);
    EXPECT_EQ(bmc.Actions(), "reset 1\nreset 1\n");
    bmc.ForgetActions();
    relay->Set({});
    Ask({"power", "reset"}, "2");
    EXPECT_EQ(bmc.Actions(), "reset 1\n");
}

TEST_F(Relay, LosesGarblesRepeatsAndCutsReplies)
{
    const std::string whole = Replies(1)[0];
    ASSERT_GT(whole.size(), 20u);
    relay->Set({.dropEvery = 2});
    EXPECT_EQ(Replies(4).size(), 2u);
    relay->Set({.repeatEvery = 2});
    EXPECT_EQ(Replies(4), std::vector<std::string>(6, whole));
    relay->Set({.truncateEvery = 1});
    EXPECT_EQ(Replies(1)[0], whole.substr(0, whole.size() * 2 / 3));
    relay->Set({.garbleEvery = 1});
    const std::string garbled = Replies(1)[0];
    EXPECT_EQ(garbled.size(), whole.size());
    EXPECT_EQ(garbled.substr(0, 4), whole.substr(0, 4));
    EXPECT_NE(garbled, whole);
    relay->Set({.repeatPercent = 100});
    EXPECT_EQ(Replies(2), std::vector<std::string>(4, whole));
    relay->Set({});
    EXPECT_EQ(Replies(2), std::vector<std::string>(2, whole));
    EXPECT_EQ(relay->Counts().requests, 1u + 4 + 4 + 1 + 1 + 2 + 2);
}

TEST_F(Relay, EditsRepliesOfSessionsWithoutIntegrity)
{
    relay->Edit(kIpmiChassisStatus, [](std::vector<u8> *data) { (*data)[1] &= 0xFE; });
    EXPECT_EQ(Ask({"power", "status"}, "0").out, "Chassis Power is off\n");
    EXPECT_EQ(Ask({"power", "status"}, "3").out, "Chassis Power is on\n");
    relay->Edit(kIpmiChassisStatus, [](std::vector<u8> *data) { *data = {0xC0}; });
    EXPECT_NE(Ask({"power", "status"}, "0").status, 0);
    relay->Edit(kIpmiChassisStatus, {});
    EXPECT_EQ(Ask({"power", "status"}, "0").out, "Chassis Power is on\n");
    EXPECT_TRUE(bmc.PowerIsOn());
}

TEST_F(Relay, OutlivesTheBmc)
{
    bmc.Kill();
    EXPECT_NE(Ask({"-N", "1", "-R", "1", "power", "status"}).status, 0);
    ASSERT_EQ(bmc.Restart(), "");
    EXPECT_EQ(Ask({"power", "status"}).out, "Chassis Power is on\n");
}

}  // namespace
