// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/schedule: what is read when, and what is served of it.
#include "objmgrd/ipmi/schedule.h"

#include "objmgrd/ipmi/conversation_fixture.h"
#include "support/objmgr_process.h"

#include <set>

using ScheduleTest = ConversationTest;

TEST_F(ScheduleTest, EverythingIsServed)
{
    RunFor(200);
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(Value(kSystemClass, "ServiceTag"), "SERIAL");
    EXPECT_EQ(Value(kSystemClass, "Description"), "Product");
    EXPECT_EQ(Value(kSystemClass, "Oem"), "Maker");
    EXPECT_EQ(Value(kSystemClass, "HostName"), "host-1");
    EXPECT_EQ(Reading(), "23");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "FailThresholdMax"), "50");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=2", "State"), "Presence detected");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=3", "Type"), "none");
    EXPECT_EQ(Value("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage"), "750");
    EXPECT_EQ(Records(), "2");
    EXPECT_EQ(Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=2", "Description"),
              "T1: Upper Critical - going high, asserted (reading 100 C, threshold 90 C)");
    EXPECT_EQ(lines_, "BMC bmc: sensor records read: 2 sensors\n");
    EXPECT_EQ(losses_, 0u);
}

TEST_F(ScheduleTest, WhatChangesIsServedInTime)
{
    machine_.latencyMs = 5;
    for (u8 number = 10; number < 43; ++number) {
        machine_.sdrs.push_back(SdrOf({"more", number, 1, 0x01}));
        machine_.readings[number] = {1, 0x40, 0};
    }
    RunFor(3000);
    for (int i = 0; i < 10; ++i) {
        machine_.readings[1] = {static_cast<u8>(30 + i), 0x40, 0};
        machine_.SetPower(i % 2 == 0);
        RunFor(1000);
        EXPECT_EQ(Power(), i % 2 == 0 ? "ON" : "OFF");
        RunFor(1000);
        EXPECT_EQ(Reading(), std::to_string(30 + i));
        machine_.sel.push_back(SelEvent(static_cast<u16>(3 + i), 0x60000010));
        ++machine_.selAdded;
        RunFor(2000);
        EXPECT_EQ(Records(), std::to_string(3 + i));
    }
}

TEST_F(ScheduleTest, AnUnchangedMachineCostsFewRequestsAndNoChanges)
{
    RunFor(3000);
    machine_.requests.clear();
    bool changes = false;
    const u64 end = fakeNowMs + 10000;
    while (fakeNowMs < end) {
        const u32 wait = conversation_.Step();
        changes = changes || !box_.Take().changes.empty();
        fakeNowMs += wait;
    }
    EXPECT_FALSE(changes);
    EXPECT_NEAR(Requests(kNetFnChassis, kGetChassisStatus), 20, 1);
    // A temperature every 1.9 s, a state every 10 s.
    EXPECT_NEAR(Requests(kNetFnSensor, kGetSensorReading), 6, 1);
    EXPECT_LE(Requests(kNetFnSensor, kGetSensorThresholds), 1u);
    EXPECT_NEAR(Requests(kNetFnStorage, kGetSelInfo), 5, 1);
    EXPECT_EQ(Requests(kNetFnStorage, kGetSelEntry), 0u);
    EXPECT_EQ(Requests(kNetFnStorage, kGetSdr), 0u);
    EXPECT_LE(Requests(kNetFnStorage, kGetSdrInfo), 1u);
    EXPECT_EQ(Requests(kNetFnStorage, kReadFru), 0u);
}

// The power state is asked for also while a long reading goes on.
TEST_F(ScheduleTest, LongReadingsDoNotHoldThePowerStateUp)
{
    machine_.latencyMs = 20;
    for (u16 id = 3; id < 500; ++id)
        machine_.sel.push_back(SelEvent(id, 0x60000002));
    u64 last = 0;
    u64 longest = 0;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.netFn == kNetFnChassis) {
            longest = last != 0 ? std::max(longest, fakeNowMs - last) : 0;
            last = fakeNowMs;
        }
        return false;
    };
    RunFor(20000);
    EXPECT_EQ(Records(), "499");
    EXPECT_LE(longest, 600u);
    EXPECT_EQ(Power(), "ON");
}

TEST_F(ScheduleTest, TheRepositoryIsReadAgainWhenItChanges)
{
    RunFor(1000);
    machine_.sdrs = {SdrOf({"New", 2, 41, 0x6F, false})};
    ++machine_.sdrStamp;
    RunFor(settings_.sdrMs + 1000);
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "Name"), "New");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=2", "Name"), "none");
    EXPECT_EQ(Value("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage"), "none");
    // The log names the sensors.
    EXPECT_EQ(Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=1", "Description"),
              "Temperature 0x01: Upper Critical - going high, asserted (data 64 5a)");
    machine_.sdrs.clear();
    ++machine_.sdrStamp;
    RunFor(settings_.sdrMs + 1000);
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "Name"), "none");
}

TEST_F(ScheduleTest, ASensorThatCannotBeReadIsToldAsSuch)
{
    RunFor(1000);
    machine_.readings.erase(1);
    RunFor(2000);
    EXPECT_EQ(Reading(), "N/A");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "StatusText"), "unknown");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=2", "State"), "Presence detected");
    machine_.readings[1] = {24, 0x40, 0};
    RunFor(2000);
    EXPECT_EQ(Reading(), "24");
}

TEST_F(ScheduleTest, ASupplyWithoutASensorsEntityIsTheNthFru)
{
    machine_.sdrs = {SdrOf({"PS1", 2, 8, 0x6F, false}), FruLocator(3, 10, 1), FruLocator(4, 10, 2)};
    machine_.frus[4] = FruOf({{}, {}, {}, WattageRecord(1100)});
    RunFor(1000);
    EXPECT_EQ(Value("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage"), "750");
    EXPECT_EQ(Value("OEM_QARN_PowerSupply.PowerSupplyIndex=2", "PowerSupplyWattage"), "1100");
}

// ipmi-sensors and its like reserve the records too, and end our reservation each time.
TEST_F(ScheduleTest, RecordsThatOthersReadAtTheSameTimeAreReadInTheEnd)
{
    machine_.readMost = 16;
    u32 left = 100;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetSdr && left > 0) {
            --left;
            ++machine_.reservation;
        }
        return false;
    };
    RunFor(5000);
    EXPECT_EQ(left, 0u);
    EXPECT_EQ(Reading(), "23");
    EXPECT_EQ(lines_, "BMC bmc: sensor records read: 2 sensors\n");
}

// After the first collision in 50 to 99 ms, each reader at a time of its own.
TEST_F(ScheduleTest, ReadersThatCollideBeginAgainAtDifferentTimes)
{
    machine_.latencyMs = 0;
    machine_.readMost = 16;
    u64 collidedMs = 0;
    u64 againMs = 0;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetSdrInfo && collidedMs != 0)
            againMs = fakeNowMs;
        if (request.command != kGetSdr)
            return false;
        ++machine_.reservation;
        collidedMs = fakeNowMs;
        return false;
    };
    std::set<u64> pauses;
    for (u32 i = 0; i < 2000; ++i) {
        collidedMs = 0;
        againMs = 0;
        fakeNowMs += i;
        IpmiConversation conversation(settings_, std::make_unique<FakeBmc>(&machine_, false),
                                      std::make_unique<FakeBmc>(&machine_, true), &box_, FakeClock);
        for (u32 steps = 0; steps < 1000 && againMs == 0; ++steps)
            fakeNowMs += conversation.Step();
        pauses.insert(againMs - collidedMs);
    }
    EXPECT_EQ(pauses.size(), 50u);
    EXPECT_EQ(*pauses.begin(), 50u);
    EXPECT_EQ(*pauses.rbegin(), 99u);
}

TEST_F(ScheduleTest, RecordsThatCannotBeReservedAreSaidNotToBeHad)
{
    machine_.readMost = 16;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        if (request.command == kGetSdr)
            ++machine_.reservation;
        return false;
    };
    RunFor(30000);
    EXPECT_EQ(lines_, "BMC bmc: the sensor records cannot be read: completion code 0xC5\n");
    EXPECT_EQ(Power(), "ON");
}

TEST_F(ScheduleTest, ABmcWithLittleServesWhatItHas)
{
    machine_.hook = [](const BmcRequest &request, BmcAnswer *answer) {
        *answer = FakeBmc::Code(0xC1);
        return request.netFn != kNetFnChassis;
    };
    RunFor(5000);
    EXPECT_EQ(Power(), "ON");
    EXPECT_EQ(Value(kSystemClass, "ServiceTag"), "");
    EXPECT_EQ(Value(kSystemClass, "HostName"), "");
    EXPECT_EQ(Value(kSystemClass, "Oem"), "0");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "Type"), "status 1");
    EXPECT_EQ(Records(), "status 1");
    EXPECT_EQ(losses_, 0u);
    EXPECT_EQ(lines_, "BMC bmc: the sensor records cannot be read: completion code 0xC1\n");
}

TEST_F(ScheduleTest, OneBadSensorRecordIsNamedAndLeftOut)
{
    machine_.sdrs[0][4] = static_cast<u8>(machine_.sdrs[0][4] + 20);
    RunFor(1000);
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "Name"), "PS1");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=2", "Name"), "none");
    EXPECT_EQ(lines_, "BMC bmc: sensor records read: 1 sensors\n"
                      "BMC bmc: sensor record 0x0000 is left out: from byte 37 on, completion code "
                      "0xCA\n");
}

// 45 sensors, of which 27 have numbers.
TEST_F(ScheduleTest, AnIdleMachineIsAskedLessThanTwentyTimesASecond)
{
    machine_.sdrs.clear();
    for (u8 number = 1; number <= 45; ++number) {
        const bool numeric = number % 5 < 3;
        const u8 type = numeric ? static_cast<u8>(number % 4 + 1) : u8{8};
        machine_.sdrs.push_back(SdrOf({"S", number, type, numeric ? u8{0x01} : u8{0x6F}, numeric}));
        machine_.readings[number] = {1, 0x40, 1};
        machine_.thresholds[number] = {0x18, 0, 0, 0, 40, 50, 0};
    }
    RunFor(70000);
    machine_.requests.clear();
    RunFor(60000);
    EXPECT_LT(machine_.requests.size(), 60u * 20);
    EXPECT_GT(machine_.requests.size(), 60u * 15);
    EXPECT_NEAR(Requests(kNetFnChassis, kGetChassisStatus), 120, 2);
}

TEST_F(ScheduleTest, ANewLogEntryMakesTheStatesBeReadAtOnce)
{
    RunFor(3000);
    machine_.readings[2] = {0, 0x40, 2};
    machine_.sel.push_back(SelEvent(3, 0x60000010));
    ++machine_.selAdded;
    RunFor(settings_.logMs + 200);
    EXPECT_EQ(Records(), "3");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=2", "State"), "Power Supply Failure detected");
    // Without one they are read when it is their turn.
    machine_.readings[2] = {0, 0x40, 1};
    RunFor(settings_.statesMs + 200);
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=2", "State"), "Presence detected");
}

// A second for each answer: sensors come all the same, and how far they are is said.
TEST_F(ScheduleTest, ASlowBmcSaysHowFarTheSensorsAre)
{
    machine_.latencyMs = 1000;
    for (u8 number = 10; number < 21; ++number) {
        machine_.sdrs.push_back(SdrOf({"more", number, 1, 0x01, true, 0}));
        machine_.readings[number] = {1, 0x40, 0};
    }
    RunFor(20000);
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "Reading"), "none");
    RunFor(40000);
    EXPECT_EQ(Reading(), "23");
    EXPECT_EQ(losses_, 0u);
    EXPECT_NE(lines_.find("BMC bmc: sensors are still being read: 3 of 13 so far\n"),
              std::string::npos)
        << lines_;
    EXPECT_EQ(lines_.find("13 of 13"), std::string::npos);
    EXPECT_EQ(Power(), "ON");
}

// The sensors before the log and the identity, which take long on a slow BMC.
TEST_F(ScheduleTest, SensorsComeFirst)
{
    for (u16 id = 3; id < 300; ++id)
        machine_.sel.push_back(SelEvent(id, 0x60000002));
    machine_.latencyMs = 20;
    RunFor(300);
    EXPECT_EQ(Reading(), "23");
    EXPECT_EQ(Records(), "none");
    RunFor(15000);
    EXPECT_EQ(Records(), "299");
    EXPECT_EQ(Value(kSystemClass, "ServiceTag"), "SERIAL");
}

// ---- between two starts ----

class KeptRepository : public ConversationTest
{
protected:
    // A service that runs for this long; what it gave at last is in store_.
    void Start(u64 ms)
    {
        settings_.cacheDirectory = directory_.Path();
        machine_.requests.clear();
        store_.clear();
        Mailbox box;
        IpmiConversation conversation(settings_, std::make_unique<FakeBmc>(&machine_, false),
                                      std::make_unique<FakeBmc>(&machine_, true), &box, FakeClock);
        for (const u64 end = fakeNowMs + ms; fakeNowMs < end;) {
            const u32 wait = conversation.Step();
            News news = box.Take();
            for (auto &[key, change] : news.changes)
                store_[key] = *change;
            for (const LogLine &line : news.lines)
                lines_ += line.text + "\n";
            fakeNowMs += wait;
        }
    }
    std::string Threshold() const { return Value("OEM_QARN_Sensor.Index=1", "FailThresholdMax"); }

    TestDirectory directory_;
};

TEST_F(KeptRepository, ASecondStartReadsNoRecords)
{
    Start(1000);
    EXPECT_GT(Requests(kNetFnStorage, kGetSdr), 0u);
    Start(1000);
    EXPECT_EQ(Requests(kNetFnStorage, kGetSdr), 0u);
    EXPECT_EQ(Reading(), "23");
    EXPECT_EQ(Threshold(), "50");
    EXPECT_EQ(Value("OEM_QARN_LogRecord.LogName=SEL,RecordNum=2", "Description"),
              "T1: Upper Critical - going high, asserted (reading 100 C, threshold 90 C)");
    EXPECT_EQ(lines_, "BMC bmc: sensor records read: 2 sensors\n"
                      "BMC bmc: sensor records as stored: 2 sensors\n");
}

TEST_F(KeptRepository, AnotherRepositoryIsRead)
{
    Start(1000);
    machine_.sdrs.pop_back();
    ++machine_.sdrStamp;
    Start(1000);
    EXPECT_GT(Requests(kNetFnStorage, kGetSdr), 0u);
    Start(1000);
    EXPECT_EQ(Requests(kNetFnStorage, kGetSdr), 0u);
}

TEST_F(KeptRepository, ABmcWithoutTimeStampsIsAlwaysRead)
{
    machine_.sdrStamp = 0;
    for (u32 i = 0; i < 2; ++i) {
        Start(1000);
        EXPECT_GT(Requests(kNetFnStorage, kGetSdr), 0u);
    }
}

// What somebody has set meanwhile is seen soon after the start.
TEST_F(KeptRepository, ThresholdsAreReadSoonAfterTheStart)
{
    Start(1000);
    machine_.thresholds[1][5] = 60;
    machine_.latencyMs = 100;
    Start(600);
    EXPECT_EQ(Threshold(), "50");
    Start(3000);
    EXPECT_EQ(Threshold(), "60");
}

// At 200 ms for each answer, 33 sensors, of which 19 have thresholds to read.
TEST_F(KeptRepository, ARestartOnASlowBmcNeedsOneRequestForEachSensor)
{
    machine_.sdrs.clear();
    for (u8 number = 1; number <= 33; ++number) {
        machine_.sdrs.push_back(SdrOf({"S", number, 1, 0x01, true, number <= 19 ? u8{1} : u8{0}}));
        machine_.readings[number] = {1, 0x40, 0};
        machine_.thresholds[number] = {0x18, 0, 0, 0, 40, 50, 0};
    }
    Start(5000);
    machine_.latencyMs = 200;
    Start(9000);
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=33", "Reading"), "1");
}

TEST_F(ScheduleTest, SensorRecordsThatLeadBackAreSaidAndShown)
{
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
        if (request.command != kGetSdr || BmcWord(request.data + 2) == 0)
            return false;
        Bytes data = {0, 0};
        data.insert(data.end(), machine_.sdrs[1].begin(), machine_.sdrs[1].end());
        *answer = FakeBmc::Data(data);
        return true;
    };
    RunFor(20000);
    const std::string line =
        "BMC bmc: the sensor records lead back to one that was read before: sensors "
        "may be missing\n";
    ASSERT_NE(lines_.find(line), std::string::npos) << lines_;
    EXPECT_EQ(lines_.find(line), lines_.rfind(line));
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=2", "Name"), "PS1");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=3", "Name"), "none");
}

TEST_F(ScheduleTest, ALogThatLeadsBackIsSaidOnceAndShown)
{
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *answer) {
        if (request.command != kGetSelEntry || BmcWord(request.data + 2) != 2)
            return false;
        Bytes data = {1, 0};
        data.insert(data.end(), machine_.sel[1].begin(), machine_.sel[1].end());
        *answer = FakeBmc::Data(data);
        return true;
    };
    RunFor(20000);
    EXPECT_EQ(Records(), "2");
    const std::string line =
        "BMC bmc: the log leads back to a record that was read before: records "
        "may be missing\n";
    ASSERT_NE(lines_.find(line), std::string::npos) << lines_;
    EXPECT_EQ(lines_.find(line), lines_.rfind(line));
    ++machine_.selAdded;
    RunFor(5000);
    EXPECT_EQ(lines_.find(line), lines_.rfind(line));
    EXPECT_EQ(losses_, 0u);
}
