// SPDX-License-Identifier: Apache-2.0
// faults_test.cpp -- a BMC or a network that fails: the service says so, stays small, recovers.
#include "ipmi/served_bmc.h"

#include <atomic>

namespace
{

// Said in the store within 3 s; machines that run tests are slow.
constexpr int kSaidLimitMs = 15'000;
// What may be left over after all that failed, in kB. The address sanitizer keeps up to 256 MB of
// what was freed, on purpose, and finds what was not.
constexpr long kGrowthLimitKb = ZOR_SANITIZED ? 512 * 1024 : 1024;

class Faults : public ServedBmc
{
protected:
    // Every command of a shell gets an answer, whatever the BMC does: an empty one would mean that
    // the service's heartbeat had stopped.
    bool SaysNoBmc() const
    {
        const std::string out = Out("version");
        EXPECT_TRUE(out == kNoBmcText || out == "version 1.0\n") << out;
        return out == kNoBmcText;
    }
    void ExpectLoss()
    {
        ASSERT_TRUE(WaitUntil([&] { return SaysNoBmc(); }, kSaidLimitMs));
        EXPECT_TRUE(service->Lives());
    }
    void ExpectRecovery()
    {
        ASSERT_TRUE(WaitUntil([&] { return IsReady(); }));
        EXPECT_TRUE(service->Lives());
        ASSERT_TRUE(WaitUntil([&] { return Works(); }));
    }
    bool Works() const
    {
        return Property("/system1/fans1/tachsensor1", "CurrentReading") == "4200" &&
               Property("/system1", "Name") == "QX7R2M1" &&
               Property("/system1/logs1/log1", "CurrentNumberOfRecords") ==
                   std::to_string(bmc.Machine().log.size());
    }
};

TEST_F(Faults, FrozenBmcIsSaidAndComesBack)
{
    Serve();
    bmc.Freeze();
    ExpectLoss();
    bmc.Thaw();
    ExpectRecovery();
}

TEST_F(Faults, NothingOldIsShownToAShellThatWasThereBefore)
{
    Serve();
    PtyProgram shell({"/usr/bin/env", "ZOROBJMGR=" + service->Directory() + "/objmgr",
                      "ZORSSNDIR=" + service->Directory() + "/sessions", "ZORTRACE=/dev/null",
                      SMCLP_LOGIN});
    shell.ReadUntil("\r\n->");
    shell.Type("show -display properties=(currentreading) /system1/fans1/tachsensor1\r");
    EXPECT_NE(shell.ReadUntil("\r\n->").find("= 4200"), std::string::npos);
    bmc.Freeze();
    ExpectLoss();
    shell.Type("show -display properties=(currentreading) /system1/fans1/tachsensor1\r");
    const std::string answer = shell.ReadUntil("\r\n->");
    EXPECT_EQ(answer.find("4200"), std::string::npos) << answer;
    shell.Type("show -display targets /system1/fans1\r");
    EXPECT_EQ(shell.ReadUntil("\r\n->").find("tachsensor1"), std::string::npos);
    bmc.Thaw();
    ExpectRecovery();
    shell.Type("show -display properties=(currentreading) /system1/fans1/tachsensor1\r");
    EXPECT_NE(shell.ReadUntil("\r\n->").find("= 4200"), std::string::npos);
    EXPECT_FALSE(shell.failed);
}

TEST_F(Faults, BmcThatIsGoneAndStartsAgain)
{
    Serve();
    bmc.Kill();
    ExpectLoss();
    SleepMs(1000);
    ASSERT_EQ(bmc.Restart(), "");
    ExpectRecovery();
}

TEST_F(Faults, BmcThatRestartsAtOnceKnowsNoSessionAnyMore)
{
    Serve();
    ASSERT_EQ(bmc.Restart(), "");
    // Whether or not the loss was seen from outside: it works again.
    bmc.SetReading("Fan1A RPM", 50);
    ASSERT_TRUE(WaitUntil(
        [&] { return Property("/system1/fans1/tachsensor1", "CurrentReading") == "3750"; }));
    bmc.SetReading("Fan1A RPM", 56);
    ExpectRecovery();
}

// A command of the service's own is started once there is something for it to see.
TEST_F(Faults, CommandOfTheServiceFindsTheBmcRead)
{
    ServeUnready();
    const ProgramEnd end =
        RunProgram({OBJMGRD_IPMI, "--config", service->Directory() + "/bmc.toml", "--", SMCLP_LOGIN,
                    "-c", "show -level all -display targets /system1"});
    EXPECT_EQ(end.status, 0);
    for (const char *target : {"    tempsensor1\n", "    tachsensor1\n", "    record1\n"})
        EXPECT_NE(end.out.find(target), std::string::npos) << target << end.out;
    EXPECT_EQ(end.err, "");
}

TEST_F(Faults, BmcThatIsNotThereYet)
{
    bmc.Kill();
    ServeUnready();
    ASSERT_TRUE(WaitUntil([&] { return Out("version") == kNoBmcText; }));
    ASSERT_EQ(bmc.Restart(), "");
    ExpectRecovery();
}

TEST_F(Faults, WrongPasswordIsSaidAndNotTriedTooOften)
{
    PutRelay();
    ServeUnready({.password = "not-the-password"});
    ASSERT_TRUE(WaitUntil([&] { return Out("version") == kNoBmcText; }));
    SleepMs(3000);
    EXPECT_TRUE(SaysNoBmc());
    EXPECT_TRUE(service->Lives());
    EXPECT_LT(relay->Counts().requests, 100u);
    const std::string log = service->Log();
    EXPECT_NE(log.find("password"), std::string::npos) << log;
    EXPECT_EQ(log.find("not-the-password"), std::string::npos);
}

TEST_F(Faults, WrongUserIsSaid)
{
    SimUser stranger = kSimAdmin;
    stranger.name = "nobody";
    ServeUnready({.user = stranger});
    ASSERT_TRUE(WaitUntil([&] { return Out("version") == kNoBmcText; }));
    ASSERT_TRUE(WaitUntil([&] { return service->Log().find("user") != std::string::npos; }))
        << service->Log();
    EXPECT_TRUE(service->Lives());
}

TEST_F(Faults, SlowBmcIsServedAsWell)
{
    PutRelay();
    relay->Set({.delayMs = 20});
    Serve();
    ASSERT_TRUE(WaitUntil([&] { return Works(); }));
    bmc.SetReading("Fan1A RPM", 50);
    ASSERT_TRUE(WaitUntil(
        [&] { return Property("/system1/fans1/tachsensor1", "CurrentReading") == "3750"; }));
}

SimMachine OneSensor()
{
    SimMachine machine;
    machine.sensors = {
        {.number = 1, .name = "Inlet", .type = 1, .eventType = 0x01, .raw = 23, .unit = 1}};
    return machine;
}

class VerySlowBmc : public ServedBmc
{
protected:
    VerySlowBmc() : ServedBmc(OneSensor()) {}
};

// What counts as lost follows from the settings.
TEST_F(VerySlowBmc, ThatTakesThreeSecondsForEachAnswerIsNotLost)
{
    const auto reading = [&] {
        return Property("/system1/temperatures1/tempsensor1", "CurrentReading");
    };
    PutRelay();
    ServeUnready({.poll = "", .timeouts = "answer_ms = 5000\nsession_ms = 10000\n"});
    ASSERT_TRUE(WaitUntil([&] { return reading() == "23"; })) << service->Log();
    relay->Set({.delayMs = 3000});
    bmc.SetReading("Inlet", 24);
    EXPECT_TRUE(WaitUntil([&] { return reading() == "24"; }, 60'000)) << service->Log();
    EXPECT_EQ(service->Log().find("cannot be read"), std::string::npos) << service->Log();
}

// Twenty times a second (schedule_test.cpp), and what is sent again where the simulator is slow.
TEST_F(Faults, AnIdleBmcIsNotAskedOften)
{
    PutRelay();
    Serve({.poll = ""});
    SleepMs(2000);  // the second reading of everything comes sooner than those after it
    const u64 before = relay->Counts().requests;
    const i64 start = NowMs();
    SleepMs(5000);
    const double seconds = static_cast<double>(NowMs() - start) / 1000;
    EXPECT_LT(static_cast<double>(relay->Counts().requests - before) / seconds, 30);
}

// One that is sent again, since its answer took longer than those before, is no other one.
TEST_F(Faults, OneRequestInFlight)
{
    PutRelay();
    relay->Set({.delayMs = 5});
    Serve({.cipherSuite = 2});
    EXPECT_EQ(Out("stop /system1"), "system was stopped successfully.\n");
    EXPECT_EQ(Out("start /system1"), "system was started successfully.\n");
    EXPECT_EQ(Out("delete /system1/logs1/log1/record*"), "All records deleted successfully.\n");
    EXPECT_EQ(relay->Counts().mostCommandsInFlight, 1u);
    EXPECT_GT(relay->Counts().requests, 100u);
}

struct BadNetwork {
    const char *name;
    RelayFaults faults;
};

// Its name as ctest has it, too.
void PrintTo(const BadNetwork &network, std::ostream *out)
{
    *out << network.name;
}

class FaultyNetwork : public Faults, public testing::WithParamInterface<BadNetwork>
{
};

TEST_P(FaultyNetwork, IsSurvivedWithoutGrowing)
{
    PutRelay();
    Serve(
        {.poll = "sensors_ms = 100\nstates_ms = 100\npower_ms = 100\nlog_ms = 100\nsdr_ms = 1000\n",
         .timeouts = "answer_ms = 200\nsession_ms = 700\n"});
    ASSERT_TRUE(WaitUntil([&] { return Works(); }));
    relay->Set(GetParam().faults);
    SleepMs(1500);
    const long before = service->AnonymousKb();
    const u64 requests = relay->Counts().requests;
    for (const i64 end = NowMs() + 5000; NowMs() < end; SleepMs(100)) {
        SaysNoBmc();  // either way, but an answer
        ASSERT_TRUE(service->Lives());
    }
    // It goes on trying; the pause between two openings is 8 s at the most.
    EXPECT_TRUE(WaitUntil([&] { return relay->Counts().requests > requests; }));
    EXPECT_LT(service->AnonymousKb() - before, kGrowthLimitKb);
    relay->Set({});
    ExpectRecovery();
}

INSTANTIATE_TEST_SUITE_P(Kinds, FaultyNetwork,
                         testing::Values(BadNetwork{"LosesReplies", {.dropEvery = 5}},
                                         BadNetwork{"GarblesReplies", {.garbleEvery = 7}},
                                         BadNetwork{"RepeatsReplies", {.repeatEvery = 2}},
                                         BadNetwork{"CutsReplies", {.truncateEvery = 7}},
                                         BadNetwork{"LosesEverything", {.dropEvery = 1}}),
                         [](const auto &test) { return test.param.name; });

// The last answer of every opening is lost: the BMC holds a session for each, for a while.
TEST_F(Faults, OpeningsInVainLeaveTheBmcSessionsForOthers)
{
    constexpr IpmiCommand kSetSessionPrivilege = {0x06, 0x3B};
    PutRelay();
    relay->DropRepliesTo(kSetSessionPrivilege, 1000);
    ServeUnready({.cipherSuite = 2});
    SleepMs(12'000);
    EXPECT_TRUE(service->Lives());
    EXPECT_LE(SessionsOfTheBmc(), 12u);
    EXPECT_EQ(Out("version"), kNoBmcText);
    relay->DropRepliesTo(kSetSessionPrivilege, 0);
    ExpectRecovery();
}

TEST_F(Faults, BmcThatIsBusyNowAndThen)
{
    PutRelay();
    static std::atomic<u32> seed = 1;
    const RelayEdit busy = [&](std::vector<u8> *data) {
        seed = seed * 1664525 + 1013904223;
        if ((seed >> 24) % 8 == 0)
            *data = {0xC0};  // node busy
    };
    for (const IpmiCommand command :
         {kIpmiSensorReading, kIpmiChassisStatus, kIpmiLogEntry, kIpmiLogInfo, kIpmiSdrRecord})
        relay->Edit(command, busy);
    Serve({.cipherSuite = 0});
    EXPECT_TRUE(WaitUntil([&] { return Works(); }));
    EXPECT_EQ(Out("stop /system1"), "system was stopped successfully.\n");
    EXPECT_EQ(bmc.Actions(), "power 0\n");
}

TEST_F(Faults, BmcThatTalksNonsenseInsideASession)
{
    PutRelay();
    Serve(
        {.cipherSuite = 0,
         .poll = "sensors_ms = 100\nstates_ms = 100\npower_ms = 100\nlog_ms = 100\nsdr_ms = 1000\n",
         .timeouts = "answer_ms = 200\nsession_ms = 700\n"});
    static std::atomic<u32> seed = 1;
    const RelayEdit nonsense = [&](std::vector<u8> *data) {
        const u32 random = seed = seed * 1664525 + 1013904223;
        data->resize(1 + (random >> 8) % 24);
        for (size_t i = 1; i < data->size(); ++i)
            (*data)[i] = static_cast<u8>(random >> (i % 24));
        (*data)[0] = (random >> 28) == 0 ? static_cast<u8>(random) : 0;
    };
    const IpmiCommand kCommands[] = {kIpmiSensorReading, kIpmiChassisStatus, kIpmiLogEntry,
                                     kIpmiLogInfo,       kIpmiSdrInfo,       kIpmiSdrRecord};
    for (const IpmiCommand command : kCommands)
        relay->Edit(command, nonsense);
    for (const i64 end = NowMs() + 5000; NowMs() < end; SleepMs(50)) {
        Out("show -level all -display properties /system1");
        ASSERT_TRUE(service->Lives());
    }
    for (const IpmiCommand command : kCommands)
        relay->Edit(command, {});
    ExpectRecovery();
}

TEST_F(Faults, ManyLossesLeaveNothingBehind)
{
    PutRelay();
    Serve(
        {.poll = "sensors_ms = 100\nstates_ms = 100\npower_ms = 100\nlog_ms = 100\nsdr_ms = 1000\n",
         .timeouts = "answer_ms = 100\nsession_ms = 300\n"});
    long before = 0;
    for (int round = 0; round < 8; ++round) {
        if (round == 2)
            before = service->AnonymousKb();
        bmc.Kill();
        ExpectLoss();
        ASSERT_EQ(bmc.Restart(), "");
        ExpectRecovery();
    }
    EXPECT_LT(service->AnonymousKb() - before, kGrowthLimitKb);
    EXPECT_EQ(service->Terminate(), 0);
}

TEST_F(Faults, EndsInGoodOrderWhileTheBmcIsSilent)
{
    Serve();
    bmc.Freeze();
    SleepMs(500);
    EXPECT_EQ(service->Terminate(), 0);
    EXPECT_EQ(Out("version"), "");
}

}  // namespace
