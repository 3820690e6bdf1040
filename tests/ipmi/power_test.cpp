// SPDX-License-Identifier: Apache-2.0
// power_test.cpp -- the host's power through the shell: what the BMC did, and that it did it once.
#include "ipmi/served_bmc.h"

#include <thread>

namespace
{

constexpr char kStopped[] = "system was stopped successfully.\n";
constexpr char kStarted[] = "system was started successfully.\n";
constexpr char kReset[] = "system was reset successfully.\n";
constexpr char kDenied[] = "ERROR: Insufficient user privileges to perform operation.\n";

// A method answers within 5 s; machines that run tests are slow.
constexpr i64 kAnswerLimitMs = 10'000;

class Power : public ServedBmc
{
protected:
    // What the shell says, within its time.
    std::string Timed(const std::string &line)
    {
        const i64 start = NowMs();
        const std::string out = Out(line);
        EXPECT_LT(NowMs() - start, kAnswerLimitMs) << line;
        return out;
    }
    // `set` at the power management service.
    std::string Set(const std::string &state)
    {
        return RunProgram({"/usr/bin/env", "ZOROBJMGR=" + service->Directory() + "/objmgr",
                           "ZORSSNDIR=" + service->Directory() + "/sessions", "ZORTRACE=/dev/null",
                           SMCLP_LOGIN},
                          "cd /system1/pwrmgtsvc1\nset powerstate=" + state + "\nexit\n")
            .out;
    }
    bool ShellSaysOn() const { return Property("/system1/pwrmgtsvc1", "powerstate") == "2"; }
};

TEST_F(Power, OffOnResetAsIpmitoolSeesThem)
{
    Serve();
    EXPECT_TRUE(ShellSaysOn());
    EXPECT_TRUE(ToolSaysOn());

    EXPECT_EQ(Timed("stop /system1"), kStopped);
    EXPECT_FALSE(ShellSaysOn());
    EXPECT_FALSE(ToolSaysOn());
    EXPECT_EQ(Timed("stop /system1"), "system is already stopped.\n");
    EXPECT_EQ(Timed("reset /system1"), "system is currently stopped\n");

    EXPECT_EQ(Timed("start /system1"), kStarted);
    EXPECT_TRUE(ShellSaysOn());
    EXPECT_TRUE(ToolSaysOn());
    EXPECT_EQ(Timed("start /system1"), "system is already started.\n");

    EXPECT_EQ(Timed("reset /system1"), kReset);
    EXPECT_TRUE(ShellSaysOn());
    EXPECT_TRUE(ToolSaysOn());
    EXPECT_EQ(bmc.Actions(), "power 0\npower 1\nreset 1\n");
}

TEST_F(Power, CycleAsIpmitoolSeesIt)
{
    Serve();
    EXPECT_NE(Set("9").find("Command completed successfully."), std::string::npos);
    ASSERT_TRUE(WaitUntil([&] { return bmc.PowerIsOn() && ShellSaysOn(); }));
    EXPECT_TRUE(ToolSaysOn());
    EXPECT_EQ(bmc.Actions(), "power 0\npower 1\n");
}

TEST_F(Power, StatesThatCanBeSet)
{
    Serve();
    EXPECT_NE(Set("6").find("Command completed successfully."), std::string::npos);
    EXPECT_FALSE(ToolSaysOn());
    EXPECT_NE(Set("2").find("Command completed successfully."), std::string::npos);
    EXPECT_TRUE(ToolSaysOn());
    EXPECT_NE(Set("5").find("Command completed successfully."), std::string::npos);
    EXPECT_EQ(bmc.Actions(), "power 0\npower 1\nreset 1\n");
}

TEST_F(Power, SwitchedByOthersIsSeen)
{
    Serve();
    Ipmitool({"power", "off"});
    ASSERT_TRUE(WaitUntil([&] { return !ShellSaysOn(); }));
    bmc.PressPowerButton();
    ASSERT_TRUE(WaitUntil([&] { return ShellSaysOn(); }));
    EXPECT_EQ(Timed("stop /system1"), kStopped);
}

TEST_F(Power, DoneIsSaidWhenTheHostHasFollowed)
{
    Serve();
    bmc.SetSwitch(SimSwitch::Slow);
    EXPECT_EQ(Timed("stop /system1"), kStopped);
    EXPECT_FALSE(bmc.PowerIsOn());
    EXPECT_FALSE(ShellSaysOn());
    EXPECT_EQ(Timed("start /system1"), kStarted);
    EXPECT_TRUE(bmc.PowerIsOn());
    EXPECT_EQ(bmc.Actions(), "power 0\npower 1\n");
}

// The shell learns from the service how long to wait.
TEST_F(Power, AHostThatTakesSixSecondsIsWaitedFor)
{
    Serve({.timeouts = "method_ms = 20000\n"});
    bmc.SetSwitch(SimSwitch::Long);
    EXPECT_EQ(Out("stop /system1"), kStopped);
    EXPECT_FALSE(bmc.PowerIsOn());
    EXPECT_EQ(bmc.Actions(), "power 0\n");
}

// What the BMC did before it started again was done, once.
TEST_F(Power, ABmcThatStartsAgainAfterACommandHasDoneItOnce)
{
    PutRelay();
    Serve({.cipherSuite = 2, .timeouts = "method_ms = 30000\n"});
    const struct {
        const char *line;
        const char *said;
        const char *action;
    } rows[] = {{"stop /system1", kStopped, "power 0\n"},
                {"start /system1", kStarted, "power 1\n"},
                {"reset /system1", "ERROR: Command not supported.\n", "reset 1\n"}};
    for (const auto &row : rows) {
        bmc.ForgetActions();
        relay->DropRepliesTo(kIpmiChassisControl, 100);
        std::string said;
        std::thread shell([&] { said = Out(row.line); });
        EXPECT_TRUE(WaitUntil([&] { return bmc.Actions() == row.action; }));
        bmc.Kill();
        EXPECT_EQ(bmc.Restart(), "");
        shell.join();
        relay->DropRepliesTo(kIpmiChassisControl, 0);  // one may be on its way until now
        EXPECT_EQ(said, row.said);
        EXPECT_EQ(bmc.Actions(), row.action);
        ASSERT_TRUE(WaitUntil([&] { return IsReady(); }));
    }
}

TEST_F(Power, AStateThatTheBmcDoesNotKnowIsSaidOnce)
{
    const std::string line = "the power state is not known: completion code 0xFF";
    PutRelay();
    Serve({.cipherSuite = 0});
    relay->Edit(kIpmiChassisStatus, [](std::vector<u8> *data) { *data = {0xFF}; });
    EXPECT_TRUE(WaitUntil([&] { return service->Log().find(line) != std::string::npos; }));
    SleepMs(500);  // power_ms is 100 here
    EXPECT_EQ(service->Log().find(line), service->Log().rfind(line)) << service->Log();
    relay->Edit(kIpmiChassisStatus, {});
    EXPECT_TRUE(WaitUntil([&] { return ShellSaysOn(); }));
}

TEST_F(Power, HostThatDoesNotFollowIsNoSuccess)
{
    Serve();
    bmc.SetSwitch(SimSwitch::Stuck);
    EXPECT_EQ(Timed("stop /system1"), "ERROR: Command not supported.\n");
    EXPECT_TRUE(ShellSaysOn());
    EXPECT_EQ(bmc.Actions(), "power 0\n");
    bmc.SetSwitch(SimSwitch::Works);
    EXPECT_EQ(Timed("stop /system1"), kStopped);
}

TEST_F(Power, BmcThatRefusesIsNoSuccess)
{
    Serve();
    bmc.SetSwitch(SimSwitch::Refuses);
    EXPECT_EQ(Timed("stop /system1"), "ERROR: Command not supported.\n");
    EXPECT_EQ(Timed("reset /system1"), "ERROR: Command not supported.\n");
    EXPECT_TRUE(ToolSaysOn());
    EXPECT_EQ(bmc.Actions(), "");
}

TEST_F(Power, ServiceWithoutTheRightAtTheBmcIsDenied)
{
    Serve({.user = kSimReader, .privilege = "user"});
    EXPECT_TRUE(ShellSaysOn());
    EXPECT_EQ(Property("/system1/fans1/tachsensor1", "CurrentReading"), "4200");
    const ProgramEnd end = Shell("stop /system1");
    EXPECT_EQ(end.out, kDenied);
    EXPECT_EQ(bmc.Actions(), "");
    EXPECT_TRUE(ToolSaysOn());
}

TEST_F(Power, LoginWithoutTheRightIsDenied)
{
    Serve();
    EXPECT_EQ(Shell("stop /system1", "5").out, kDenied);
    EXPECT_EQ(Shell("stop /system1", "0").out, kDenied);
    EXPECT_EQ(bmc.Actions(), "");
    EXPECT_EQ(Shell("stop /system1", "2").out, kStopped);
}

// One lost reply, and the library would send the command again: the host would be reset twice.
TEST_F(Power, LostReplyToAResetDoesNotResetTwice)
{
    PutRelay();
    Serve({.cipherSuite = 2});
    relay->DropRepliesTo(kIpmiChassisControl, 100);
    Timed("reset /system1");
    EXPECT_EQ(bmc.Actions(), "reset 1\n");
    EXPECT_EQ(relay->Requests(kIpmiChassisControl), 1u);
    relay->DropRepliesTo(kIpmiChassisControl, 0);
    ASSERT_TRUE(WaitUntil([&] { return ShellSaysOn(); }));
    EXPECT_EQ(Timed("reset /system1"), kReset);
    EXPECT_EQ(bmc.Actions(), "reset 1\nreset 1\n");
}

TEST_F(Power, LostReplyToAStopIsJudgedByThePowerState)
{
    PutRelay();
    Serve({.cipherSuite = 2});
    relay->DropRepliesTo(kIpmiChassisControl, 100);
    EXPECT_EQ(Timed("stop /system1"), kStopped);
    EXPECT_EQ(bmc.Actions(), "power 0\n");
    EXPECT_EQ(Timed("start /system1"), kStarted);
    EXPECT_EQ(bmc.Actions(), "power 0\npower 1\n");
}

TEST_F(Power, LostRequestsOfAStopAreSentAgain)
{
    PutRelay();
    Serve({.cipherSuite = 2});
    relay->DropRequests(kIpmiChassisControl, 2);
    EXPECT_EQ(Timed("stop /system1"), kStopped);
    EXPECT_EQ(relay->Requests(kIpmiChassisControl), 3u);
    relay->DropRequests(kIpmiChassisControl, 1);
    EXPECT_EQ(Timed("start /system1"), kStarted);
    EXPECT_EQ(relay->Requests(kIpmiChassisControl), 5u);
    EXPECT_EQ(bmc.Actions(), "power 0\npower 1\n");
}

TEST_F(Power, LostRequestOfAResetIsSentOnce)
{
    PutRelay();
    Serve({.cipherSuite = 2});
    relay->DropRequests(kIpmiChassisControl, 1);
    EXPECT_EQ(Timed("reset /system1"), "ERROR: Command not supported.\n");
    SleepMs(1500);
    EXPECT_EQ(relay->Requests(kIpmiChassisControl), 1u);
    EXPECT_EQ(bmc.Actions(), "");
    EXPECT_EQ(Timed("reset /system1"), kReset);
}

TEST_F(Power, LostReplyToACycleDoesNotCycleTwice)
{
    PutRelay();
    Serve({.cipherSuite = 2});
    relay->DropRepliesTo(kIpmiChassisControl, 100);
    Set("9");
    ASSERT_TRUE(WaitUntil([&] { return bmc.PowerIsOn() && bmc.Actions().size() >= 16; }));
    SleepMs(1500);  // a second one would come within the retransmission time
    EXPECT_EQ(bmc.Actions(), "power 0\npower 1\n");
}

// On a bad network a command may fail, but never count double, and what is said to be done is done.
TEST_F(Power, OnceOnANetworkThatLosesReplies)
{
    PutRelay();
    Serve({.timeouts = "answer_ms = 300\n"});
    relay->Set({.dropEvery = 4});
    for (int round = 0; round < 6; ++round) {
        bmc.ForgetActions();
        const bool wasOn = bmc.PowerIsOn();
        const std::string out = Timed(wasOn ? "stop /system1" : "start /system1");
        const std::string once = wasOn ? "power 0\n" : "power 1\n";
        if (out == (wasOn ? kStopped : kStarted))
            EXPECT_EQ(bmc.Actions(), once);
        else
            EXPECT_TRUE(bmc.Actions().empty() || bmc.Actions() == once) << bmc.Actions() << out;
    }
}

TEST_F(Power, FrozenBmcIsAnsweredInTimeAndActsOnceAtMost)
{
    Serve();
    bmc.Freeze();
    EXPECT_EQ(Timed("reset /system1").compare(0, 6, "ERROR:"), 0);
    bmc.Thaw();
    ASSERT_TRUE(WaitUntil([&] { return IsReady() && ShellSaysOn(); }));
    // What lay in the BMC's queue is carried out when it wakes up.
    const std::string actions = bmc.Actions();
    EXPECT_TRUE(actions.empty() || actions == "reset 1\n") << actions;
    EXPECT_EQ(Timed("stop /system1"), kStopped);
}

TEST_F(Power, WhileAllIsBeingPolled)
{
    PutRelay();
    relay->Set({.delayMs = 20});
    Serve({.poll =
               "sensors_ms = 100\nstates_ms = 100\npower_ms = 100\nlog_ms = 100\nsdr_ms = 1000\n"});
    EXPECT_EQ(Timed("stop /system1"), kStopped);
    EXPECT_EQ(Timed("start /system1"), kStarted);
    EXPECT_EQ(Timed("reset /system1"), kReset);
    EXPECT_EQ(bmc.Actions(), "power 0\npower 1\nreset 1\n");
}

size_t TimesIn(const std::string &text, const std::string &part)
{
    size_t times = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at)
        ++times;
    return times;
}

// What fails is a command that was sent and whose answer never came, and nothing else.
TEST_F(Power, OpeningsOfASessionAreRepeatedOnAPoorNetwork)
{
    PutRelay();
    Serve();
    relay->Set({.lossPercent = 5});
    size_t failures = 0;
    for (int i = 0; i < 20; ++i) {
        const std::string out = Timed("reset /system1");
        failures += out == kReset ? 0u : 1u;
    }
    const std::string log = service->Log();
    EXPECT_LE(failures, TimesIn(log, "sent once and not answered")) << log;
    EXPECT_EQ(TimesIn(log, "not begun"), 0u) << log;
    EXPECT_EQ(TimesIn(log, "not sent"), 0u) << log;
    EXPECT_EQ(TimesIn(log, "cannot be read"), 0u) << log;
    EXPECT_LE(TimesIn(bmc.Actions(), "reset 1"), 20u);
}

// The BMC is told twice by the network, and answers twice, and not alike. What becomes of a reset
// is the BMC's affair; that it was sent once is ours.
TEST_F(Power, RequestsThatTheNetworkDoublesMisleadNobody)
{
    PutRelay();
    relay->Set({.doublePercent = 100});
    ServeUnready({.cipherSuite = 2});
    ASSERT_TRUE(WaitUntil([&] { return IsReady(); }));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Timed("stop /system1"), kStopped);
        EXPECT_EQ(Timed("start /system1"), kStarted);
    }
    EXPECT_EQ(relay->Requests(kIpmiChassisControl), 4u);
    EXPECT_EQ(Timed("reset /system1"), kReset);
    EXPECT_EQ(relay->Requests(kIpmiChassisControl), 5u);
    EXPECT_EQ(TimesIn(service->Log(), "no answer"), 0u) << service->Log();
    // A reservation that is made twice is worth nothing, so not all of them may be doubled.
    relay->Set({.doublePercent = 30});
    EXPECT_TRUE(WaitUntil([&] { return HasEverything(); })) << service->Log();
}

// Each command is done once and said to be done, though every answer comes twice; and no
// session is left behind at the BMC.
TEST_F(Power, AnswersThatComeTwiceMisleadNobody)
{
    PutRelay();
    relay->Set({.repeatPercent = 100});
    Serve();
    EXPECT_EQ(Timed("reset /system1"), kReset);
    bmc.ForgetActions();
    const u32 before = SessionsOfTheBmc();
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Timed("reset /system1"), kReset);
        EXPECT_EQ(Timed("stop /system1"), kStopped);
        EXPECT_EQ(Timed("start /system1"), kStarted);
        EXPECT_EQ(bmc.Actions(), "reset 1\npower 0\npower 1\n");
        bmc.ForgetActions();
    }
    EXPECT_EQ(TimesIn(service->Log(), "cannot be read"), 0u) << service->Log();
    EXPECT_EQ(SessionsOfTheBmc(), before);
}

}  // namespace
