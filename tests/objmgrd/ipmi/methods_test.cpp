// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/methods: what is done once.
#include "objmgrd/ipmi/methods.h"

#include "objmgrd/ipmi/conversation_fixture.h"

using MethodsTest = ConversationTest;

TEST_F(MethodsTest, PowerOffAndOn)
{
    RunFor(1000);
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_EQ(Power(), "OFF");
    EXPECT_EQ(Do(OrderKind::Stop), "0 1");
    EXPECT_EQ(Do(OrderKind::Reset), "0 1");
    EXPECT_EQ(Do(OrderKind::PowerCycle), "0 1");
    EXPECT_EQ(Do(OrderKind::Start), "0 0");
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(Do(OrderKind::Start), "0 1");
    EXPECT_EQ(Do(OrderKind::Reset), "0 0");
    EXPECT_EQ(Do(OrderKind::PowerCycle), "0 0");
    EXPECT_EQ(machine_.controls, (std::vector<u8>{0, 1, 3, 2}));
    EXPECT_EQ(machine_.controlOpenings, 1u);
    EXPECT_EQ(lines_, "BMC bmc: sensor records read: 2 sensors\n"
                      "BMC bmc: power off: done; the power is off\n"
                      "BMC bmc: power on: done; the power is on\n"
                      "BMC bmc: reset: done; the power is on\n"
                      "BMC bmc: power cycle: done; the power is on\n");
}

TEST_F(MethodsTest, TheStateIsLookedAtBeforeAndAfter)
{
    RunFor(1000);
    machine_.SetPower(false);  // behind our back: the store still says ON
    EXPECT_EQ(Do(OrderKind::Stop), "0 1");
    EXPECT_TRUE(machine_.controls.empty());
    EXPECT_EQ(Power(), "OFF");
    machine_.requests.clear();
    EXPECT_EQ(Do(OrderKind::Start), "0 0");
    const auto control = std::find(machine_.requests.begin(), machine_.requests.end(),
                                   std::make_pair(u8{kNetFnChassis}, u8{kChassisControl}));
    EXPECT_NE(control, machine_.requests.begin());
    EXPECT_NE(std::find(control, machine_.requests.end(),
                        std::make_pair(u8{kNetFnChassis}, u8{kGetChassisStatus})),
              machine_.requests.end());
}

TEST_F(MethodsTest, ASlowHostIsWaitedFor)
{
    RunFor(1000);
    machine_.powerLagMs = 2000;
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_GE(tookMs_, 2000u);
    EXPECT_LE(tookMs_, 2300u);
    EXPECT_EQ(Power(), "OFF");
    EXPECT_EQ(machine_.controls.size(), 1u);
}

TEST_F(MethodsTest, AHostThatDoesNotFollowIsAFailure)
{
    RunFor(1000);
    machine_.stuck = true;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_LE(tookMs_, settings_.methodMs);
    EXPECT_GE(tookMs_, settings_.methodMs - 300);
    EXPECT_EQ(machine_.controls.size(), 1u);
    EXPECT_EQ(Power(), "ON");
}

TEST_F(MethodsTest, ACommandThatIsNotAnsweredIsJudgedByThePowerState)
{
    RunFor(1000);
    machine_.controlLost = true;
    machine_.silenceMs = 1000;
    // Carried out: the power state says so.
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_EQ(Power(), "OFF");
    EXPECT_EQ(Do(OrderKind::Start), "0 0");
    // A reset does not show: nobody knows.
    EXPECT_EQ(Do(OrderKind::Reset), "1 0");
    EXPECT_EQ(Do(OrderKind::PowerCycle), "1 0");
    EXPECT_EQ(machine_.controls, (std::vector<u8>{0, 1, 3, 2}));
    // Not carried out: said three times in all.
    machine_.stuck = true;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_EQ(machine_.controls, (std::vector<u8>{0, 1, 3, 2, 0, 0, 0}));
}

// ---- a request that is lost ----

class LostCommand : public MethodsTest
{
protected:
    LostCommand()
    {
        RunFor(1000);
        machine_.lossHook = [this](const BmcRequest &request) {
            const bool control = request.command == kChassisControl;
            sent_ += control ? 1 : 0;
            return control && sent_ <= lost_;
        };
    }

    u32 lost_ = 1;
    u32 sent_ = 0;
};

TEST_F(LostCommand, OnOrOffIsSentAgainInANewSessionWhenThePowerStateHasNotFollowed)
{
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_GE(tookMs_, 1500u);
    EXPECT_LE(tookMs_, 1800u);
    EXPECT_EQ(Power(), "OFF");
    EXPECT_EQ(machine_.controlOpenings, 2u);
    sent_ = 0;
    lost_ = 2;
    EXPECT_EQ(Do(OrderKind::Start), "0 0");
    EXPECT_GE(tookMs_, 3000u);
    EXPECT_LE(tookMs_, 3400u);
    EXPECT_EQ(machine_.controls, (std::vector<u8>{0, 1}));
    EXPECT_NE(lines_.find("power off: not answered, and the power state has not followed"),
              std::string::npos);
    sent_ = 0;
    lost_ = 3;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_EQ(sent_, 3u);
    EXPECT_LE(tookMs_, settings_.methodMs);
    EXPECT_EQ(machine_.controls, (std::vector<u8>{0, 1}));
}

TEST_F(LostCommand, AResetOrACycleIsSentOnce)
{
    lost_ = 100;
    EXPECT_EQ(Do(OrderKind::Reset), "1 0");
    EXPECT_EQ(sent_, 1u);
    EXPECT_EQ(Do(OrderKind::PowerCycle), "1 0");
    EXPECT_EQ(sent_, 2u);
}

TEST_F(LostCommand, AHostThatFollowsLateIsNotToldTwice)
{
    lost_ = 0;
    machine_.controlLost = true;
    machine_.powerLagMs = 1450;
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_EQ(sent_, 1u);
    // It follows while the session is opened.
    machine_.powerLagMs = 1650;
    machine_.openingMs = 200;
    EXPECT_EQ(Do(OrderKind::Start), "0 0");
    EXPECT_EQ(sent_, 2u);
    EXPECT_EQ(machine_.controls, (std::vector<u8>{0, 1}));
}

TEST_F(LostCommand, ABmcThatRefusesToBeToldTwiceMayHaveDoneIt)
{
    lost_ = 0;
    machine_.controlLost = true;
    machine_.powerLagMs = 2500;
    machine_.hook = [this](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(0xD5);
        return request.command == kChassisControl && sent_ > 1;
    };
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_GE(tookMs_, 2500u);
    EXPECT_EQ(machine_.controls, (std::vector<u8>{0}));
}

TEST_F(LostCommand, WhatNobodyWaitsForAnyMoreIsNotSentAgain)
{
    const u64 ticket = ++ticket_;
    EXPECT_TRUE(box_.Give({ticket, OrderKind::Stop, fakeNowMs + settings_.methodMs}));
    RunFor(1000);
    EXPECT_EQ(sent_, 1u);
    box_.Withdraw(ticket);
    RunFor(10000);
    EXPECT_EQ(sent_, 1u);
    EXPECT_EQ(Power(), "ON");
}

TEST_F(LostCommand, WithoutANewSessionThePowerStateHasTheLastWord)
{
    lost_ = 0;
    machine_.controlLost = true;
    machine_.powerLagMs = 2500;
    machine_.hook = [this](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kChassisControl)
            machine_.opening = BmcOpening::Refused;
        return false;
    };
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_GE(tookMs_, 2500u);
    EXPECT_EQ(sent_, 1u);
}

// A machine that takes long has a long time, and is told again late.
class LostCommandOfASlowHost : public MethodsTest
{
protected:
    LostCommandOfASlowHost()
        : MethodsTest([] {
              IpmiSettings settings = SettingsOfTest();
              settings.methodMs = 15000;
              return settings;
          }())
    {
    }
};

TEST_F(LostCommandOfASlowHost, IsSentAgainAfterAThirdOfItsTime)
{
    RunFor(1000);
    u32 sent = 0;
    machine_.lossHook = [&](const BmcRequest &request) {
        return request.command == kChassisControl && ++sent == 1;
    };
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_EQ(sent, 2u);
    EXPECT_GE(tookMs_, 5000u);
    EXPECT_LE(tookMs_, 5300u);
}

// ---- the session for commands ----

TEST_F(MethodsTest, TheSessionForCommandsIsHeldForTenSeconds)
{
    RunFor(1000);
    EXPECT_EQ(Do(OrderKind::Reset), "0 0");
    RunFor(9000);
    EXPECT_EQ(machine_.openSessions, 2u);
    EXPECT_EQ(Do(OrderKind::Reset), "0 0");
    EXPECT_EQ(machine_.controlOpenings, 1u);
    RunFor(9000);
    EXPECT_EQ(machine_.openSessions, 2u);
    RunFor(2500);
    EXPECT_EQ(machine_.openSessions, 1u);
    EXPECT_EQ(Do(OrderKind::Reset), "0 0");
    EXPECT_EQ(machine_.controlOpenings, 2u);
}

// A BMC that has started again, or has dropped the session: nothing is sent that it would not take.
TEST_F(MethodsTest, ASessionThatIsGoodNoMoreIsOpenedAnew)
{
    RunFor(1000);
    EXPECT_EQ(Do(OrderKind::Reset), "0 0");
    u32 lost = 0;
    machine_.lossHook = [&](const BmcRequest &request) {
        EXPECT_TRUE(machine_.controlOpenings > 1 || request.command == kGetChassisStatus);
        lost += machine_.controlOpenings == 1 ? 1 : 0;
        return machine_.controlOpenings == 1;
    };
    EXPECT_EQ(Do(OrderKind::Reset), "0 0");
    EXPECT_LE(tookMs_, 300u);
    EXPECT_EQ(lost, 3u);
    EXPECT_EQ(machine_.controlOpenings, 2u);
    EXPECT_EQ(machine_.openSessions, 2u);
    EXPECT_EQ(machine_.controls, (std::vector<u8>{3, 3}));
    // A packet that is lost costs no session.
    u32 asked = 0;
    machine_.lossHook = [&](const BmcRequest &) { return ++asked < 3; };
    EXPECT_EQ(Do(OrderKind::Reset), "0 0");
    EXPECT_EQ(asked, 4u);
    EXPECT_EQ(machine_.controlOpenings, 2u);
}

// Nothing stands still while an answer is missing, and what the power state tells needs none.
TEST_F(MethodsTest, AnAnswerThatIsLostHoldsNoReadingUp)
{
    RunFor(1000);
    machine_.controlLost = true;
    machine_.silenceMs = 0;
    machine_.asideMs = 2500;
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_LE(tookMs_, 300u);
    EXPECT_EQ(Do(OrderKind::Start), "0 0");
    EXPECT_LE(tookMs_, 300u);
    const u32 before = Requests(kNetFnSensor, kGetSensorReading);
    EXPECT_EQ(Do(OrderKind::Reset), "1 0");
    EXPECT_GE(tookMs_, 2500u);
    EXPECT_GE(Requests(kNetFnSensor, kGetSensorReading), before + 2);
    EXPECT_EQ(machine_.controls, (std::vector<u8>{0, 1, 3}));
    EXPECT_EQ(losses_, 0u);
    // An answer that is late only.
    machine_.controlLost = false;
    machine_.asideMs = 1500;
    EXPECT_EQ(Do(OrderKind::Reset), "0 0");
    RunFor(11000);
    EXPECT_EQ(machine_.openSessions, 1u);
}

TEST_F(MethodsTest, WhatTheBmcRefusesIsToldAtOnce)
{
    RunFor(1000);
    machine_.controlCode = 0xD5;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_LE(tookMs_, 50u);
    machine_.controlCode = kBmcDenied;
    EXPECT_EQ(Do(OrderKind::Stop), "2 0");
    EXPECT_EQ(Do(OrderKind::Reset), "2 0");
    EXPECT_EQ(machine_.Count(kNetFnChassis, kChassisControl), 3u);
}

TEST_F(MethodsTest, AMethodOfASilentBmcFailsInTimeAndIsNotDoneLater)
{
    RunFor(1000);
    machine_.silent = true;
    machine_.silenceMs = 1000;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_LE(tookMs_, settings_.methodMs + 600);  // the request in flight is waited for
    machine_.silent = false;
    RunFor(20000);
    EXPECT_TRUE(machine_.controls.empty());
    EXPECT_EQ(Power(), "ON");
}

TEST_F(MethodsTest, AnOrderThatIsTooLateIsNotBegun)
{
    RunFor(1000);
    machine_.requests.clear();
    EXPECT_TRUE(box_.Give({77, OrderKind::Stop, fakeNowMs + 499}));
    EXPECT_TRUE(box_.Give({78, OrderKind::Stop, fakeNowMs - 10}));
    RunFor(100);
    EXPECT_EQ(answers_[77], "1 0");
    EXPECT_EQ(answers_[78], "1 0");
    EXPECT_TRUE(machine_.controls.empty());
    EXPECT_TRUE(box_.Give({79, OrderKind::Stop, fakeNowMs + 700}));
    RunFor(100);
    EXPECT_EQ(answers_[79], "0 0");
}

TEST_F(MethodsTest, WhatNobodyWaitsForIsNotDone)
{
    RunFor(1000);
    const u64 ticket = ++ticket_;
    EXPECT_TRUE(box_.Give({ticket, OrderKind::Stop, fakeNowMs + settings_.methodMs}));
    // The caller is gone when the power state has been looked at.
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetChassisStatus)
            box_.Withdraw(ticket);
        return false;
    };
    RunFor(1000);
    machine_.hook = nullptr;
    RunFor(10000);
    EXPECT_TRUE(machine_.controls.empty());
    EXPECT_EQ(answers_.count(ticket), 0u);
    EXPECT_NE(lines_.find("power off: not begun, since nobody waits"), std::string::npos);
    EXPECT_EQ(machine_.openSessions, 1u);
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
}

TEST_F(MethodsTest, AMethodComesBetweenTwoRequestsOfARound)
{
    machine_.latencyMs = 50;
    for (u8 number = 10; number < 110; ++number) {
        machine_.sdrs.push_back(SdrOf({"more", number, 1, 0x01, true, 0}));
        machine_.readings[number] = {1, 0x40, 0};
    }
    RunFor(20000);
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_LE(tookMs_, 50u * 6);
}

TEST_F(MethodsTest, AMethodOpensTheSessionWithoutWaitingForThePause)
{
    machine_.silent = true;
    machine_.silenceMs = 10;
    RunFor(30000);
    machine_.silent = false;
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_LE(tookMs_, 200u);
}

TEST_F(MethodsTest, AControlSessionThatDoesNotComeAboutDoesNothing)
{
    RunFor(1000);
    // The ordinary session lives, but there is no second one.
    machine_.opening = BmcOpening::Refused;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_TRUE(machine_.controls.empty());
    EXPECT_EQ(machine_.controlOpenings, 1u);
    // Nobody answers it: tried until the method's time is over.
    machine_.openingHook = [] { return true; };
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_GE(machine_.controlOpenings, 10u);
    EXPECT_LE(tookMs_, settings_.methodMs);
    EXPECT_NE(lines_.find("power off: not begun in time: no session for it: no answer from bmc"),
              std::string::npos);
    EXPECT_TRUE(machine_.controls.empty());
    EXPECT_EQ(Power(), "ON");
}

// The ordinary session is lost at each request that a power off makes.
TEST_F(MethodsTest, ALossDuringAPowerOffNeverSwitchesTwice)
{
    RunFor(1000);
    for (u32 at = 1; at < 6; ++at) {
        machine_.SetPower(true);
        machine_.controls.clear();
        u32 number = 0;
        machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
            return request.netFn == kNetFnChassis && request.command == kGetChassisStatus &&
                   ++number == at;
        };
        EXPECT_EQ(Do(OrderKind::Stop), "0 0") << at;
        EXPECT_EQ(machine_.controls, (std::vector<u8>{0})) << at;
        EXPECT_EQ(Power(), "OFF") << at;
        machine_.hook = nullptr;
    }
}

TEST_F(MethodsTest, ClearWaitsUntilTheErasureIsComplete)
{
    RunFor(1000);
    machine_.erasingLooks = 5;
    EXPECT_EQ(Do(OrderKind::Clear), "0 0");
    EXPECT_GE(tookMs_, 500u);
    EXPECT_EQ(Records(), "0");
    EXPECT_EQ(Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=1", "RecordNum"), "none");
    EXPECT_EQ(Do(OrderKind::Clear), "0 0");
    EXPECT_EQ(lines_, "BMC bmc: sensor records read: 2 sensors\n"
                      "BMC bmc: the log was cleared\nBMC bmc: the log was cleared\n");
}

// Many BMCs write a first record that says so.
TEST_F(MethodsTest, WhatTheLogHoldsAfterwardsIsServedWithTheAnswer)
{
    RunFor(1000);
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetSelInfo && machine_.sel.empty())
            machine_.sel = {SelEvent(1, 0x60000050, 2)};
        return false;
    };
    EXPECT_EQ(Do(OrderKind::Clear), "0 0");
    EXPECT_EQ(Records(), "1");
    EXPECT_EQ(Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=1", "Timestamp"),
              "2021-01-14 08:26:56");
    EXPECT_EQ(Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=2", "RecordNum"), "none");
}

TEST_F(MethodsTest, AnErasureWithoutAnEndIsAFailure)
{
    RunFor(1000);
    machine_.erasingLooks = 1000;
    EXPECT_EQ(Do(OrderKind::Clear), "1 0");
    EXPECT_LE(tookMs_, settings_.methodMs);
}

TEST_F(MethodsTest, ACancelledReservationOfAClearIsMadeAgain)
{
    RunFor(1000);
    u32 times = 0;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kClearSel && ++times == 1)
            ++machine_.reservation;  // somebody else's
        return false;
    };
    EXPECT_EQ(Do(OrderKind::Clear), "0 0");
    EXPECT_EQ(times, 2u);
    EXPECT_EQ(Records(), "0");
}

TEST_F(MethodsTest, AReservationThatIsCancelledWhileTheLogIsErasedIsMadeAgain)
{
    RunFor(1000);
    machine_.erasingLooks = 3;
    u32 times = 0;
    u32 begun = 0;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command != kClearSel)
            return false;
        begun += request.data[5] == 0xAA ? 1 : 0;
        if (++times == 2)
            ++machine_.reservation;
        return false;
    };
    EXPECT_EQ(Do(OrderKind::Clear), "0 0");
    EXPECT_EQ(begun, 1u);
    EXPECT_EQ(Records(), "0");
}

TEST_F(MethodsTest, ReservationsThatAreAlwaysCancelledAreAFailureInTime)
{
    RunFor(1000);
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kClearSel)
            ++machine_.reservation;
        return false;
    };
    EXPECT_EQ(Do(OrderKind::Clear), "1 0");
    EXPECT_LE(tookMs_, settings_.methodMs);
    EXPECT_LE(machine_.Count(kNetFnStorage, kClearSel), 50u);
    EXPECT_EQ(losses_, 0u);
    EXPECT_EQ(Records(), "2");
}

TEST_F(MethodsTest, AClearThatIsNotAnsweredIsAFailureAndNotRepeated)
{
    RunFor(1000);
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        return request.command == kClearSel;
    };
    EXPECT_EQ(Do(OrderKind::Clear), "1 0");
    EXPECT_EQ(machine_.Count(kNetFnStorage, kClearSel), 1u);
    machine_.hook = nullptr;
    RunFor(2000);
    EXPECT_EQ(Records(), "2");
}

// ---- poor networks and slow hosts ----

// Two attempts of five come about: no command fails, and each is sent once.
TEST_F(MethodsTest, LostPacketsOfAnOpeningCostNoCommand)
{
    RunFor(1000);
    u32 seed = 1;
    machine_.openingHook = [&] {
        seed = seed * 1664525 + 1013904223;
        return (seed >> 24) % 5 < 3;
    };
    for (u32 i = 0; i < 150; ++i) {
        EXPECT_EQ(Do(OrderKind::Stop), "0 0") << i;
        RunFor(11000);
        EXPECT_EQ(Do(OrderKind::Start), "0 0") << i;
        RunFor(11000);
    }
    EXPECT_EQ(machine_.controls.size(), 300u);
    EXPECT_GT(machine_.controlOpenings, 500u);
}

// A BMC that opens sessions slowly gets the time that it needs, also where it was quicker before.
// Each may leave the BMC half a session.
TEST_F(MethodsTest, OpeningsThatFailAtOnceAreTriedEverMoreSlowly)
{
    RunFor(1000);
    machine_.silenceMs = 0;
    machine_.openingFails = true;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_GE(machine_.controlOpenings, 6u);
    EXPECT_LE(machine_.controlOpenings, 15u);
    EXPECT_TRUE(machine_.controls.empty());
    machine_.openingFails = false;
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
}

TEST_F(MethodsTest, AnOpeningThatTakesLongComesAboutInTime)
{
    RunFor(1000);
    for (u32 ms : {50u, 300u, 600u}) {
        machine_.openingMs = ms;
        EXPECT_EQ(Do(OrderKind::Stop), "0 0") << ms;
        EXPECT_EQ(Do(OrderKind::Start), "0 0") << ms;
    }
}

TEST_F(MethodsTest, ABmcThatAlwaysOpensSlowlyIsGivenTheTime)
{
    machine_.openingMs = 1500;
    RunFor(5000);
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_EQ(Do(OrderKind::Start), "0 0");
}

// What the first openings of a command were given where none comes about.
class OpeningLimits : public MethodsTest
{
protected:
    std::vector<u32> First(size_t count, u32 openingMs)
    {
        machine_.latencyMs = 10;
        machine_.openingMs = openingMs;
        RunFor(3000);
        settings_.methodMs = 20000;
        machine_.openingHook = [] { return true; };
        EXPECT_EQ(Do(OrderKind::Stop), "1 0");
        EXPECT_GE(machine_.controlLimitsMs.size(), count);
        machine_.controlLimitsMs.resize(count);
        return machine_.controlLimitsMs;
    }
};

// A lost packet costs a short attempt; every eighth is a long one. What the BMC takes to open a
// session counts three times, and where that is doubtful what it takes to answer, twelve times.
TEST_F(OpeningLimits, EveryEighthIsLong)
{
    EXPECT_EQ(First(9, 100), (std::vector<u32>{400, 400, 400, 400, 400, 400, 400, 2680, 400}));
}

TEST_F(OpeningLimits, OfASlowBmc)
{
    EXPECT_EQ(First(4, 1000), (std::vector<u32>{220, 220, 2000, 220}));
}

// Readings go on while the session does not come about.
TEST_F(MethodsTest, AnOpeningDoesNotHoldTheReadingsUp)
{
    RunFor(1000);
    machine_.openingHook = [] { return true; };
    u64 last = fakeNowMs;
    u64 longest = 0;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetChassisStatus) {
            longest = std::max(longest, fakeNowMs - last);
            last = fakeNowMs;
        }
        return false;
    };
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_LE(longest, 2000u);
    EXPECT_EQ(losses_, 0u);
    EXPECT_EQ(Power(), "ON");
}

// The button is pressed for four seconds, and the host takes another three.
TEST_F(MethodsTest, ASlowerHostIsWaitedForWhereTheSettingSaysSo)
{
    RunFor(1000);
    machine_.powerLagMs = 7000;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    machine_.SetPower(true);
    RunFor(1000);
    settings_.methodMs = 15000;
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_GE(tookMs_, 7000u);
    EXPECT_LE(tookMs_, 7300u);
}

TEST_F(MethodsTest, APowerStateThatTheBmcDoesNotKnowIsSaidOnce)
{
    RunFor(1000);
    machine_.hook = [](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(0xFF);
        return request.command == kGetChassisStatus;
    };
    RunFor(10000);
    EXPECT_EQ(Power(), "status 1");
    const std::string line = "BMC bmc: the power state is not known: completion code 0xFF\n";
    ASSERT_NE(lines_.find(line), std::string::npos);
    EXPECT_EQ(lines_.find(line), lines_.rfind(line));
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_NE(lines_.find("power off: not begun in time: the power state is not known: completion "
                          "code 0xFF"),
              std::string::npos);
    machine_.hook = nullptr;
    RunFor(1000);
    EXPECT_EQ(Power(), "ON");
}
