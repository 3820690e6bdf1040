// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/worker, on a BMC that is a table of bytes and a clock that the test owns.
#include "objmgrd/ipmi/worker.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

constexpr char kLog[] = "OEM_QARN_MessageLog.Name=SEL";

class WorkerTest : public testing::Test
{
protected:
    WorkerTest()
    {
        fakeNowMs = 1000000;
        settings_.host = "bmc";
        machine_.sdrs = {SdrOf({"T1", 1, 1, 0x01}), SdrOf({"PS1", 2, 8, 0x6F, false, 0, 10, 1}),
                         FruLocator(3, 10, 1)};
        machine_.readings = {{1, {23, 0x40, 0}}, {2, {0, 0x40, 1}}};
        machine_.thresholds = {{1, {0x18, 0, 0, 0, 40, 50, 0}}};
        machine_.frus = {{0, FruOf({{}, {}, ProductArea("Maker", "Product", "SERIAL")})},
                         {3, FruOf({{}, {}, {}, WattageRecord(750)})}};
        machine_.name = "host-1";
        machine_.sel = {SelEvent(1, 0x60000000), SelEvent(2, 0x60000001)};
    }
    // Steps for this long on the machine's clock.
    void RunFor(u64 ms)
    {
        const u64 end = fakeNowMs + ms;
        while (fakeNowMs < end) {
            const u64 before = fakeNowMs;
            const u32 wait = worker_.Step();
            Take();
            fakeNowMs = std::max(fakeNowMs, std::min<u64>(before + wait, end));
            if (wait == 0 && fakeNowMs == before)
                ++idle_;
            ASSERT_LT(idle_, 100000u) << "goes round without doing anything";
        }
    }
    void Take()
    {
        News news = box_.Take();
        if (news.lost) {
            ++losses_;
            why_ = news.why;
            for (auto &[key, instance] : store_)
                instance = FailedInstance(kCimFailed);
        }
        for (auto &[key, change] : news.changes) {
            if (change.has_value())
                store_[key] = *change;
            else
                store_.erase(key);
        }
        for (const ProviderAnswer &answer : news.answers)
            answers_[answer.ticket] =
                std::to_string(answer.status) + " " + std::to_string(answer.result);
        for (const LogLine &line : news.lines)
            lines_ += line.text + "\n";
    }
    // A property's text, "status N" or "none".
    std::string Value(const std::string &key, const char *name) const
    {
        const auto found = store_.find(key);
        if (found == store_.end())
            return "none";
        if (found->second.status != kCimOk)
            return "status " + std::to_string(found->second.status);
        for (const PropertyValue &property : found->second.properties) {
            if (property.name == name)
                return property.status == kCimOk ? property.text
                                                 : "status " + std::to_string(property.status);
        }
        return "none";
    }
    std::string Power() const { return Value(kSystemClass, "PowerStatus"); }
    std::string Reading() const { return Value("OEM_QARN_Sensor.Index=1", "Reading"); }
    std::string Records() const { return Value(kLog, "NumRecords"); }

    // Orders a method and steps until it is answered, or for as long as it may take. The answer,
    // or "none".
    std::string Do(OrderKind kind)
    {
        const u64 ticket = ++ticket_;
        const u64 begun = fakeNowMs;
        EXPECT_TRUE(box_.Give({ticket, kind, begun + settings_.methodMs}));
        while (answers_.count(ticket) == 0 && fakeNowMs < begun + 6000)
            RunFor(1);
        tookMs_ = fakeNowMs - begun;
        return answers_.count(ticket) != 0 ? answers_[ticket] : "none";
    }
    u32 Requests(u8 netFn, u8 command) const { return machine_.Count(netFn, command); }

    IpmiSettings settings_;
    FakeMachine machine_;
    FakeBmc bmc_{&machine_, false};
    FakeBmc control_{&machine_, true};
    Mailbox box_;
    Worker worker_{&settings_, &bmc_, &control_, &box_, FakeClock};

    std::map<std::string, Instance> store_;
    std::map<u64, std::string> answers_;
    std::string lines_;
    std::string why_;
    u32 losses_ = 0;
    u32 idle_ = 0;
    u64 ticket_ = 0;
    u64 tookMs_ = 0;
};

}  // namespace

// ---- what is read ----

TEST_F(WorkerTest, EverythingIsServed)
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
              "T1: Upper Critical - going high, asserted (reading 100, threshold 90)");
    EXPECT_EQ(lines_, "BMC bmc: sensor records read: 2 sensors\n");
    EXPECT_EQ(losses_, 0u);
}

TEST_F(WorkerTest, WhatChangesIsServedInTime)
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

TEST_F(WorkerTest, AnUnchangedMachineCostsFewRequestsAndNoChanges)
{
    RunFor(3000);
    machine_.requests.clear();
    bool changes = false;
    const u64 end = fakeNowMs + 10000;
    while (fakeNowMs < end) {
        const u32 wait = worker_.Step();
        changes = changes || !box_.Take().changes.empty();
        fakeNowMs += wait;
    }
    EXPECT_FALSE(changes);
    EXPECT_NEAR(Requests(kNetFnChassis, kGetChassisStatus), 20, 1);
    EXPECT_NEAR(Requests(kNetFnSensor, kGetSensorReading), 20, 2);
    EXPECT_NEAR(Requests(kNetFnSensor, kGetSensorThresholds), 10, 1);
    EXPECT_NEAR(Requests(kNetFnStorage, kGetSelInfo), 10, 1);
    EXPECT_EQ(Requests(kNetFnStorage, kGetSelEntry), 0u);
    EXPECT_EQ(Requests(kNetFnStorage, kGetSdr), 0u);
    EXPECT_LE(Requests(kNetFnStorage, kGetSdrInfo), 1u);
    EXPECT_EQ(Requests(kNetFnStorage, kReadFru), 0u);
}

// The power state is asked for also while a long reading goes on.
TEST_F(WorkerTest, LongReadingsDoNotHoldThePowerStateUp)
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

TEST_F(WorkerTest, TheRepositoryIsReadAgainWhenItChanges)
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
              "Temperature 0x01: Upper Critical - going high, asserted");
    machine_.sdrs.clear();
    ++machine_.sdrStamp;
    RunFor(settings_.sdrMs + 1000);
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "Name"), "none");
}

TEST_F(WorkerTest, ASensorThatCannotBeReadIsToldAsSuch)
{
    RunFor(1000);
    machine_.readings.erase(1);
    RunFor(1500);
    EXPECT_EQ(Reading(), "N/A");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=1", "StatusText"), "unknown");
    EXPECT_EQ(Value("OEM_QARN_Sensor.Index=2", "State"), "Presence detected");
    machine_.readings[1] = {24, 0x40, 0};
    RunFor(1500);
    EXPECT_EQ(Reading(), "24");
}

TEST_F(WorkerTest, ASupplyWithoutASensorsEntityIsTheNthFru)
{
    machine_.sdrs = {SdrOf({"PS1", 2, 8, 0x6F, false}), FruLocator(3, 10, 1), FruLocator(4, 10, 2)};
    machine_.frus[4] = FruOf({{}, {}, {}, WattageRecord(1100)});
    RunFor(1000);
    EXPECT_EQ(Value("OEM_QARN_PowerSupply.PowerSupplyIndex=1", "PowerSupplyWattage"), "750");
    EXPECT_EQ(Value("OEM_QARN_PowerSupply.PowerSupplyIndex=2", "PowerSupplyWattage"), "1100");
}

// ipmi-sensors and its like reserve the records too, and end our reservation each time.
TEST_F(WorkerTest, RecordsThatOthersReadAtTheSameTimeAreReadInTheEnd)
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

TEST_F(WorkerTest, RecordsThatCannotBeReservedAreSaidNotToBeHad)
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

TEST_F(WorkerTest, ABmcWithLittleServesWhatItHas)
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

// ---- what fails ----

TEST_F(WorkerTest, ASilentBmcIsLostAndComesBackByItself)
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

TEST_F(WorkerTest, AfterALossNothingIsServedBeforeItIsReadAgain)
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

TEST_F(WorkerTest, ItComesBackWithOtherSensors)
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

TEST_F(WorkerTest, PausesGrowAndAreBounded)
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

TEST_F(WorkerTest, ARefusalIsNotRepeatedOften)
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

TEST_F(WorkerTest, TheFirstNewSessionAfterALossComesAtOnce)
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

TEST_F(WorkerTest, ABusyBmcShowsNothingOld)
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
TEST_F(WorkerTest, ABmcThatIsBusyNowAndThenIsAskedAgain)
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

// Who the machine is does not depend on whether its BMC had time for the question.
TEST_F(WorkerTest, AnIdentityThatCouldNotBeReadIsAskedForAgain)
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

TEST_F(WorkerTest, WhatIsRefusedToThisUserHasTheStatusForIt)
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

TEST_F(WorkerTest, ANewGenerationIsServedAfresh)
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
TEST_F(WorkerTest, AFailureAtEveryRequest)
{
    for (u32 at = 1; at < 60; ++at) {
        for (bool lost : {true, false}) {
            FakeMachine machine = machine_;
            FakeBmc bmc(&machine, false);
            FakeBmc control(&machine, true);
            Mailbox box;
            Worker worker(&settings_, &bmc, &control, &box, FakeClock);
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
                const u32 wait = worker.Step();
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

// ---- methods ----

TEST_F(WorkerTest, PowerOffAndOn)
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
    EXPECT_EQ(machine_.controlOpenings, 4u);
    EXPECT_EQ(machine_.openSessions, 1u);
    EXPECT_EQ(lines_, "BMC bmc: sensor records read: 2 sensors\n"
                      "BMC bmc: power off: done; the power is off\n"
                      "BMC bmc: power on: done; the power is on\n"
                      "BMC bmc: reset: done; the power is on\n"
                      "BMC bmc: power cycle: done; the power is on\n");
}

TEST_F(WorkerTest, TheStateIsLookedAtBeforeAndAfter)
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

TEST_F(WorkerTest, ASlowHostIsWaitedFor)
{
    RunFor(1000);
    machine_.powerLagMs = 2000;
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_GE(tookMs_, 2000u);
    EXPECT_LE(tookMs_, 2300u);
    EXPECT_EQ(Power(), "OFF");
    EXPECT_EQ(machine_.controls.size(), 1u);
}

TEST_F(WorkerTest, AHostThatDoesNotFollowIsAFailure)
{
    RunFor(1000);
    machine_.stuck = true;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_LE(tookMs_, settings_.methodMs);
    EXPECT_GE(tookMs_, settings_.methodMs - 300);
    EXPECT_EQ(machine_.controls.size(), 1u);
    EXPECT_EQ(Power(), "ON");
}

TEST_F(WorkerTest, ACommandThatIsNotAnsweredIsNeverRepeated)
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
    // Not carried out.
    machine_.stuck = true;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_EQ(machine_.controls.size(), 5u);
}

TEST_F(WorkerTest, WhatTheBmcRefusesIsToldAtOnce)
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

TEST_F(WorkerTest, AMethodOfASilentBmcFailsInTimeAndIsNotDoneLater)
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

TEST_F(WorkerTest, AnOrderThatIsTooLateIsNotBegun)
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

TEST_F(WorkerTest, WhatNobodyWaitsForIsNotDone)
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

TEST_F(WorkerTest, AMethodComesBetweenTwoRequestsOfARound)
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

TEST_F(WorkerTest, AMethodOpensTheSessionWithoutWaitingForThePause)
{
    machine_.silent = true;
    machine_.silenceMs = 10;
    RunFor(30000);
    machine_.silent = false;
    EXPECT_EQ(Do(OrderKind::Stop), "0 0");
    EXPECT_LE(tookMs_, 200u);
}

TEST_F(WorkerTest, AControlSessionThatDoesNotComeAboutDoesNothing)
{
    RunFor(1000);
    // The ordinary session lives, but there is no second one.
    machine_.opening = BmcOpening::Refused;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_TRUE(machine_.controls.empty());
    EXPECT_EQ(machine_.controlOpenings, 1u);
    machine_.opening = BmcOpening::Silent;
    EXPECT_EQ(Do(OrderKind::Stop), "1 0");
    EXPECT_EQ(machine_.controlOpenings, 3u);
    EXPECT_TRUE(machine_.controls.empty());
    EXPECT_EQ(Power(), "ON");
}

// The ordinary session is lost at each request that a power off makes.
TEST_F(WorkerTest, ALossDuringAPowerOffNeverSwitchesTwice)
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

TEST_F(WorkerTest, ClearWaitsUntilTheErasureIsComplete)
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
TEST_F(WorkerTest, WhatTheLogHoldsAfterwardsIsServedWithTheAnswer)
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

TEST_F(WorkerTest, AnErasureWithoutAnEndIsAFailure)
{
    RunFor(1000);
    machine_.erasingLooks = 1000;
    EXPECT_EQ(Do(OrderKind::Clear), "1 0");
    EXPECT_LE(tookMs_, settings_.methodMs);
}

TEST_F(WorkerTest, ACancelledReservationOfAClearIsMadeAgain)
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

TEST_F(WorkerTest, AClearThatIsNotAnsweredIsAFailureAndNotRepeated)
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
