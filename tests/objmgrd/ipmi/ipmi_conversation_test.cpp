// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/ipmi_conversation: what fails, and how it comes back.
#include "objmgrd/ipmi/ipmi_conversation.h"

#include "objmgrd/ipmi/conversation_fixture.h"

using IpmiConversationTest = ConversationTest;

TEST_F(IpmiConversationTest, ASilentBmcIsLostAndComesBackByItself)
{
    RunFor(2000);
    machine_.silent = true;
    RunFor(3000);
    EXPECT_GE(losses_, 1u);
    EXPECT_EQ(why_, "no answer from bmc");
    EXPECT_EQ(Power(), "status 1");
    EXPECT_EQ(Reading(), "status 1");
    EXPECT_EQ(Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=1", "Description"), "status 1");
    RunFor(60000);
    EXPECT_EQ(Power(), "status 1");
    machine_.silent = false;
    machine_.readings[1] = {99, 0x40, 0};
    RunFor(9000);
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(Reading(), "99");
    EXPECT_EQ(Records(), "2");
    EXPECT_EQ(Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=1", "RecordNum"), "1");
    EXPECT_EQ(machine_.openSessions, 1u);
}

TEST_F(IpmiConversationTest, AfterALossNothingIsServedBeforeItIsReadAgain)
{
    RunFor(2000);
    machine_.silent = true;
    RunFor(3000);
    machine_.silent = false;
    machine_.latencyMs = 100;
    machine_.readings[1] = {99, 0x40, 0};
    machine_.SetPower(false);
    for (u64 i = 0; i < 200; ++i) {
        RunFor(50);
        EXPECT_NE(Power(), "ON");
        EXPECT_NE(Reading(), "23");
    }
    EXPECT_EQ(Power(), "OFF");
    EXPECT_EQ(Reading(), "99");
}

// A BMC whose repository has no times may have other records than before, as many as these.
TEST_F(IpmiConversationTest, WithoutTimesTheRecordsAreReadAgainAfterALoss)
{
    for (const u32 stamp : {0u, 0xFFFFFFFF, 100u}) {
        machine_.sdrStamp = stamp;
        RunFor(settings_.sdrMs + 1000);
        machine_.silent = true;
        RunFor(3000);
        machine_.silent = false;
        machine_.sdrs[0] = SdrOf({"Other", 1, 1, 0x01});
        RunFor(9000);
        EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "Name"), stamp == 100 ? "T1" : "Other") << stamp;
        machine_.sdrs[0] = SdrOf({"T1", 1, 1, 0x01});
    }
}

TEST_F(IpmiConversationTest, WithoutTimesTheLogIsReadAgainAfterALoss)
{
    const char time[] = "Timestamp;YYYYMMDDHHMMSS";
    const char key[] = "OEM_QARN_LogRecord.LogName=SEL,RecordNum=2";
    for (const u32 stamp : {0u, 0xFFFFFFFF, 100u}) {
        machine_.selAdded = stamp;
        machine_.sel[1] = SelEvent(2, 0x60000001);
        RunFor(settings_.logMs + 1000);
        ASSERT_EQ(Value(key, time), "20210114082537");
        machine_.silent = true;
        RunFor(3000);
        machine_.silent = false;
        machine_.sel[1] = SelEvent(2, 0x60000002);
        RunFor(9000);
        EXPECT_EQ(Value(key, time), stamp == 100 ? "20210114082537" : "20210114082538") << stamp;
    }
}

TEST_F(IpmiConversationTest, ItComesBackWithOtherSensors)
{
    RunFor(2000);
    machine_.silent = true;
    RunFor(3000);
    machine_.silent = false;
    machine_.sdrs = {SdrOf({"New", 1, 1, 0x01, true, 0})};
    ++machine_.sdrStamp;
    machine_.sel.clear();
    ++machine_.selErased;
    RunFor(9000);
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "Name"), "New");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=2", "Name"), "none");
    EXPECT_EQ(Records(), "0");
    EXPECT_EQ(Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=1", "RecordNum"), "none");
}

TEST_F(IpmiConversationTest, PausesGrowAndAreBounded)
{
    machine_.silent = true;
    machine_.silenceMs = 1;
    std::vector<u64> times;
    for (u32 opened = 0; times.size() < 9;) {
        RunFor(10);
        if (machine_.openings != opened)
            times.push_back(fakeNowMs);
        opened = machine_.openings;
    }
    const u64 expected[] = {500, 1000, 2000, 4000, 8000, 8000, 8000, 8000};
    for (size_t i = 0; i < 8; ++i)
        EXPECT_NEAR(static_cast<double>(times[i + 1] - times[i]), static_cast<double>(expected[i]),
                    12);
    EXPECT_EQ(losses_, 9u);
}

TEST_F(IpmiConversationTest, ARefusalIsNotRepeatedOften)
{
    machine_.opening = BmcOpening::Refused;
    machine_.why = "bmc refuses the password of user \"u\"";
    RunFor(100000);
    EXPECT_EQ(why_, "bmc refuses the password of user \"u\"");
    EXPECT_LE(machine_.openings, 8u);
    EXPECT_GE(machine_.openings, 6u);
    machine_.opening = BmcOpening::Open;
    RunFor(31000);
    EXPECT_EQ(Power(), "ON");
}

TEST_F(IpmiConversationTest, TheFirstNewSessionAfterALossComesAtOnce)
{
    RunFor(2000);
    machine_.hook = [&](const BmcRequest &, BmcAnswer *) {
        machine_.hook = nullptr;
        return true;  // one request is not answered: the session has ended
    };
    RunFor(1000);
    EXPECT_EQ(losses_, 1u);
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(Reading(), "23");
    EXPECT_EQ(machine_.openings, 2u);
}

TEST_F(IpmiConversationTest, ABusyBmcShowsNothingOld)
{
    RunFor(2000);
    const u64 before = box_.heardMs;
    machine_.everything = kBmcNodeBusy;
    RunFor(3500);
    EXPECT_EQ(Power(), "status 1");
    EXPECT_EQ(Reading(), "N/A");
    EXPECT_EQ(Records(), "status 1");
    EXPECT_LT(box_.heardMs - before, 1100u);
    machine_.everything = 0;
    RunFor(2500);
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(Reading(), "23");
    EXPECT_EQ(Records(), "2");
}

// One answer in eight says that the BMC is busy: nobody notices.
TEST_F(IpmiConversationTest, ABmcThatIsBusyNowAndThenIsAskedAgain)
{
    for (u16 id = 3; id <= 200; ++id)
        machine_.sel.push_back(SelEvent(id, 0x60000002));
    u32 seed = 1;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
        seed = seed * 1664525 + 1013904223;
        *answer = FakeBmc::Code(kBmcNodeBusy);
        return request.command != kChassisControl && (seed >> 24) % 8 == 0;
    };
    RunFor(2000);
    for (u32 i = 0; i < 100; ++i) {
        RunFor(100);
        ASSERT_EQ(Power(), "ON");
        ASSERT_EQ(Reading(), "23");
        ASSERT_EQ(Records(), "200");
        ASSERT_EQ(Value(kSystemClass, "ServiceTag"), "SERIAL");
    }
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_EQ(machine_.controls, (std::vector<u8>{0}));
    EXPECT_EQ(lines_.find("cannot"), std::string::npos);
}

// A log that cannot be read for a moment is shown as it was.
TEST_F(IpmiConversationTest, ABusyLogIsShownAsItWasForAWhile)
{
    RunFor(2000);
    machine_.hook = [](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(kBmcTimeout);
        return request.command == kGetSelInfo && request.netFn == kNetFnStorage;
    };
    for (u32 i = 0; i < 19; ++i) {
        RunFor(100);
        ASSERT_EQ(Records(), "2") << i;
    }
    RunFor(4000);
    EXPECT_EQ(Records(), "status 1");
    EXPECT_EQ(Power(), "ON");
    machine_.hook = nullptr;
    RunFor(2500);
    EXPECT_EQ(Records(), "2");
}

// What the BMC will not say is asked for less often than what it is too busy for.
TEST_F(IpmiConversationTest, ALogThatIsNotToBeHadIsAskedForEveryFiveSeconds)
{
    for (u8 code : std::initializer_list<u8>{0xC1, kBmcTimeout}) {
        machine_.hook = [code](const BmcRequest &request, BmcAnswer *answer) {
            *answer = FakeBmc::Code(code);
            return request.command == kGetSelInfo && request.netFn == kNetFnStorage;
        };
        RunFor(10000);
        const u32 before = Requests(kNetFnStorage, kGetSelInfo);
        RunFor(60000);
        EXPECT_NEAR(Requests(kNetFnStorage, kGetSelInfo) - before, code == kBmcTimeout ? 30 : 12,
                    1);
    }
}

// The method waits for a session; what kept that from being opened stays known.
TEST_F(IpmiConversationTest, AMethodOfABmcThatRefusesTheSessionAsksNothing)
{
    machine_.opening = BmcOpening::Refused;
    machine_.why = "bmc refuses the password of user \"u\"";
    RunFor(100);
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_EQ(why_, "bmc refuses the password of user \"u\"");
    EXPECT_TRUE(machine_.controls.empty());
}

// Who the machine is does not depend on whether its BMC had time for the question.
TEST_F(IpmiConversationTest, AnIdentityThatCouldNotBeReadIsAskedForAgain)
{
    for (u8 busy : {kBmcNodeBusy, kBmcTimeout, kBmcStarting}) {
        for (u8 command : {kGetFruInfo, kReadFru, kGetSystemInfo}) {
            machine_.hook = [=](const BmcRequest &request, BmcAnswer *answer) {
                *answer = FakeBmc::Code(busy);
                return request.command == command;
            };
            box_.Void();
            store_.clear();
            RunFor(7000);
            EXPECT_EQ(Value(kSystemClass, "PowerStatus"), "ON");
            EXPECT_EQ(Value(kSystemClass, "ServiceTag"), "status 1");
            machine_.hook = nullptr;
            RunFor(6000);
            EXPECT_EQ(Value(kSystemClass, "ServiceTag"), "SERIAL");
            EXPECT_EQ(Value(kSystemClass, "HostName"), "host-1");
        }
    }
}

TEST_F(IpmiConversationTest, AWattageThatCouldNotBeReadIsAskedForAgain)
{
    const char key[] = "OEM_QARN_PowerSupply.PowerSupplyIndex=1";
    machine_.hook = [](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(kBmcTimeout);
        return request.command == kReadFru && request.data[0] == 3;
    };
    RunFor(3000);
    EXPECT_EQ(Value(kSystemClass, "ServiceTag"), "SERIAL");
    EXPECT_EQ(Value(key, "PowerSupplyWattage"), "none");
    machine_.hook = nullptr;
    RunFor(4000);
    EXPECT_EQ(Value(key, "PowerSupplyWattage"), "750");
}

TEST_F(IpmiConversationTest, WhatIsRefusedToThisUserHasTheStatusForIt)
{
    machine_.everything = kBmcDenied;
    RunFor(2000);
    EXPECT_EQ(Power(), "status 2");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "Type"), "status 2");
    EXPECT_EQ(Records(), "status 2");
    EXPECT_EQ(Do(OrderKind::Stop), "2 0");
    EXPECT_EQ(Do(OrderKind::Clear), "2 0");
    EXPECT_EQ(losses_, 0u);
    machine_.everything = 0;
    RunFor(8000);
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(Reading(), "23");
}

TEST_F(IpmiConversationTest, ANewGenerationIsServedAfresh)
{
    RunFor(2000);
    store_.clear();
    box_.Void();
    RunFor(1000);
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(Value(kSystemClass, "ServiceTag"), "SERIAL");
    EXPECT_EQ(Reading(), "23");
    EXPECT_EQ(Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=2", "RecordNum"), "2");
    EXPECT_EQ(Value("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage"), "750");
    EXPECT_EQ(losses_, 0u);
    EXPECT_EQ(machine_.openings, 1u);
}

// Each request in turn is not answered, then the BMC is as before: at the end all is served.
TEST_F(IpmiConversationTest, AFailureAtEveryRequest)
{
    for (u32 at = 1; at < 60; ++at) {
        for (bool lost : {true, false}) {
            FakeMachine machine = machine_;
            Mailbox box;
            IpmiConversation conversation(settings_, std::make_unique<FakeBmc>(&machine, false),
                                          std::make_unique<FakeBmc>(&machine, true), &box,
                                          FakeClock);
            u32 number = 0;
            machine.hook = [&](const BmcRequest &, BmcAnswer *answer) {
                if (++number != at)
                    return false;
                answer->came = !lost;
                answer->code = lost ? kBmcDone : kBmcNodeBusy;
                return true;
            };
            StoreChanges store;
            for (const u64 end = fakeNowMs + 7000; fakeNowMs < end;) {
                const u32 wait = conversation.Step();
                for (auto &[key, change] : box.Take().changes)
                    store[key] = change;
                fakeNowMs += wait;
            }
            ASSERT_TRUE(store[kSystemClass].has_value()) << at;
            EXPECT_EQ(store[kSystemClass]->properties[0].text, "ON") << at;
            ASSERT_EQ(store.count("OEM_QARN_Sensor.Index=2"), 1u) << at;
            EXPECT_EQ(store["OEM_QARN_Sensor.Index=1"]->status, kCimOk) << at;
            EXPECT_EQ(store[kLog]->status, kCimOk) << at;
        }
    }
}
