// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sensor_reader.
#include "objmgrd/ipmi/sensor_reader.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

constexpr SensorPeriods kPeriods = {.temperaturesMs = 1000,
                                    .voltagesMs = 2000,
                                    .currentsMs = 3000,
                                    .fansMs = 4000,
                                    .statesMs = 1000,
                                    .othersMs = 6000,
                                    .thresholdsMs = 10000};

class SensorReaderTest : public testing::Test
{
protected:
    void Have(const std::vector<FakeSensor> &sensors)
    {
        repository_ = SdrRepository();
        for (const FakeSensor &sensor : sensors) {
            const Bytes record = SdrOf(sensor);
            SdrAdd(&repository_, record.data(), record.size());
        }
        reader_.Reset(&repository_, kPeriods, fakeNowMs);
        std::string why;
        bmc_.Open(&why);
    }
    // All of them read once, and then as often as their kind is.
    void HaveFiftyTemperatures()
    {
        std::vector<FakeSensor> sensors;
        for (u8 number = 1; number <= 50; ++number) {
            sensors.push_back({"S", number, 1, 0x01, true, 0});
            machine_.readings[number] = {1, 0x40, 0};
        }
        Have(sensors);
        RunFor(5000);
    }
    // Everything that is due within this time.
    ReadStep RunFor(u64 ms)
    {
        const u64 end = fakeNowMs + ms;
        while (reader_.DueMs() <= end) {
            fakeNowMs = std::max(fakeNowMs, reader_.DueMs());
            if (reader_.Step(&bmc_, fakeNowMs) == ReadStep::Lost)
                return ReadStep::Lost;
        }
        fakeNowMs = std::max(fakeNowMs, end);
        return ReadStep::More;
    }
    // Each sensor once, or once more.
    ReadStep Round() { return RunFor(reader_.Complete() ? 1000 : 0); }
    u32 Requests(u8 command) const { return machine_.Count(kNetFnSensor, command); }

    FakeMachine machine_;
    FakeBmc bmc_{&machine_, false};
    SdrRepository repository_;
    SensorReader reader_;
};

constexpr FakeSensor kTemp = {"T", 1, 1, 0x01};
constexpr FakeSensor kPlain = {"P", 2, 1, 0x01, true, 0};
constexpr FakeSensor kState = {"S", 3, 41, 0x6F, false};
constexpr FakeSensor kOther = {"O", 4, 1, 0x01};

}  // namespace

TEST_F(SensorReaderTest, ReadsReadingsStatesAndThresholds)
{
    Have({kTemp, kPlain, kState});
    machine_.readings = {{1, {23, 0xc0, 0xc8}}, {2, {24, 0x40, 0xc0}}, {3, {0, 0xc0, 0x04, 0x81}}};
    machine_.thresholds = {{1, {0x1b, 1, 2, 3, 4, 5, 6}}};
    EXPECT_FALSE(reader_.Complete());
    EXPECT_EQ(Round(), ReadStep::More);
    EXPECT_TRUE(reader_.Complete());
    EXPECT_TRUE(reader_.Reading(0).valid);
    EXPECT_EQ(reader_.Reading(0).raw, 23);
    EXPECT_EQ(reader_.Reading(0).states, 0x08);  // the two highest are reserved
    EXPECT_EQ(reader_.Reading(0).thresholdMask, 0x1b);
    EXPECT_EQ(reader_.Reading(0).thresholds[kUpperNonCritical], 4);
    EXPECT_EQ(reader_.Reading(1).thresholdMask, 0);
    EXPECT_EQ(reader_.Reading(2).states, 0x0104);
    EXPECT_EQ(Requests(kGetSensorReading), 3u);
    EXPECT_EQ(Requests(kGetSensorThresholds), 1u);
}

TEST_F(SensorReaderTest, ThresholdsThatAreGoneAreZero)
{
    Have({kTemp});
    machine_.readings = {{1, {23, 0x40, 0}}};
    machine_.thresholds = {{1, {0x3f, 1, 2, 3, 4, 5, 6}}};
    RunFor(kPeriods.thresholdsMs * 2);
    EXPECT_EQ(reader_.Reading(0).thresholds[kUpperNonCritical], 4);
    machine_.thresholds = {{1, {0x00, 1, 2, 3, 4, 5, 6}}};
    RunFor(kPeriods.thresholdsMs * 2);
    EXPECT_EQ(reader_.Reading(0).thresholdMask, 0);
    for (u8 threshold : reader_.Reading(0).thresholds)
        EXPECT_EQ(threshold, 0);
}

TEST_F(SensorReaderTest, UnavailableAndNotScanningAreNoReadings)
{
    Have({kTemp});
    for (const u8 flags : Bytes{0xe0, 0x80, 0x20, 0x00}) {
        machine_.readings = {{1, {23, flags, 0}}};
        EXPECT_EQ(Round(), ReadStep::More);
        EXPECT_FALSE(reader_.Reading(0).valid);
        EXPECT_EQ(reader_.Reading(0).raw, 0);
    }
    machine_.readings = {{1, {23, 0x40, 0}}};
    Round();
    EXPECT_TRUE(reader_.Reading(0).valid);
    for (const Bytes &tooShort : {Bytes{}, Bytes{23}}) {
        machine_.readings = {{1, tooShort}};
        Round();
        EXPECT_FALSE(reader_.Reading(0).valid);
    }
    machine_.readings = {{1, {23, 0x40}}};
    Round();
    EXPECT_TRUE(reader_.Reading(0).valid);
    EXPECT_FALSE(reader_.Reading(0).hasStates);
    machine_.readings.clear();  // 0xCB
    Round();
    EXPECT_FALSE(reader_.Reading(0).valid);
    EXPECT_FALSE(reader_.Reading(0).denied);
    machine_.everything = kBmcDenied;
    Round();
    EXPECT_TRUE(reader_.Reading(0).denied);
    EXPECT_FALSE(reader_.Reading(0).valid);
}

TEST_F(SensorReaderTest, ThresholdsAreReadAgainNowAndThen)
{
    Have({kTemp, kPlain, kOther, kState});
    machine_.readings = {
        {1, {1, 0x40, 0}}, {2, {1, 0x40, 0}}, {3, {1, 0x40, 0}}, {4, {1, 0x40, 0}}};
    machine_.thresholds = {{1, {1, 7, 0, 0, 0, 0, 0}}, {4, {1, 8, 0, 0, 0, 0, 0}}};
    Round();
    EXPECT_EQ(Requests(kGetSensorThresholds), 2u);
    machine_.thresholds = {{1, {1, 17, 0, 0, 0, 0, 0}}, {4, {1, 18, 0, 0, 0, 0, 0}}};
    RunFor(10010);
    EXPECT_EQ(reader_.Reading(0).thresholds[0], 17);
    EXPECT_EQ(reader_.Reading(2).thresholds[0], 18);
    RunFor(100000);
    EXPECT_NEAR(Requests(kGetSensorThresholds), 24, 2);
}

// One of each kind, each as often as its period says.
TEST_F(SensorReaderTest, EachKindHasItsOwnPeriod)
{
    const struct {
        u8 type;
        u8 eventType;
        u32 periodMs;
    } rows[] = {{1, 0x01, 1000}, {2, 0x01, 2000}, {3, 0x01, 3000},
                {4, 0x01, 4000}, {2, 0x03, 1000}, {12, 0x01, 6000}};
    std::vector<FakeSensor> sensors;
    for (u8 i = 0; i < std::size(rows); ++i) {
        sensors.push_back({"S", static_cast<u8>(i + 1), rows[i].type, rows[i].eventType, true, 0});
        machine_.readings[static_cast<u8>(i + 1)] = {1, 0x40, 0};
    }
    Have(sensors);
    std::map<u8, u32> counts;
    machine_.hook = [&](const BmcRequest &request, BmcAnswer *) {
        ++counts[request.data[0]];
        return false;
    };
    RunFor(120000);
    for (u8 i = 0; i < std::size(rows); ++i)
        EXPECT_NEAR(counts[static_cast<u8>(i + 1)], 120000 / rows[i].periodMs, 2) << int{i};
}

// After the first time the BMC is never asked for everything at once.
TEST_F(SensorReaderTest, ReadingsAreSpreadOverThePeriod)
{
    HaveFiftyTemperatures();
    for (bool hurry : {false, true}) {
        if (hurry)
            reader_.HurryAll(fakeNowMs);
        RunFor(1000);
        for (u32 i = 0; i < 20; ++i) {
            machine_.requests.clear();
            RunFor(500);
            EXPECT_LE(machine_.requests.size(), 39u);
            EXPECT_GE(machine_.requests.size(), 12u);
        }
    }
}

// Each group is read in one go, so that the process wakes four times a second and not fifty.
TEST_F(SensorReaderTest, SensorsAreReadInGroups)
{
    HaveFiftyTemperatures();
    machine_.requests.clear();
    u32 groups = 0;
    u64 last = 0;
    machine_.hook = [&](const BmcRequest &, BmcAnswer *) {
        groups += fakeNowMs - last > 50 ? 1 : 0;
        last = fakeNowMs;
        return false;
    };
    RunFor(10000);
    EXPECT_NEAR(groups, 40, 1);
    EXPECT_GE(machine_.requests.size(), 485u);
    EXPECT_LE(machine_.requests.size(), 515u);
}

TEST_F(SensorReaderTest, WhatIsHurriedIsReadAtOnce)
{
    Have({kTemp, kState});
    machine_.readings = {{1, {1, 0x40, 0}}, {3, {0, 0x40, 1}}};
    Round();
    machine_.requests.clear();
    EXPECT_GT(reader_.DueMs(), fakeNowMs);
    reader_.HurryStates(fakeNowMs);
    RunFor(0);
    EXPECT_EQ(Requests(kGetSensorReading), 1u);
    reader_.HurryAll(fakeNowMs);
    RunFor(0);
    EXPECT_EQ(Requests(kGetSensorReading), 3u);
}

// Readings come first; what the thresholds were counts until they are read.
TEST_F(SensorReaderTest, RecalledThresholdsAreReadAfterTheReadings)
{
    Have({kTemp, kOther, kState});
    machine_.readings = {{1, {1, 0x40, 0}}, {3, {1, 0x40, 0}}, {4, {1, 0x40, 0}}};
    machine_.thresholds = {{1, {1, 7, 0, 0, 0, 0, 0}}, {4, {1, 8, 0, 0, 0, 0, 0}}};
    const u8 before[kThresholdCount] = {9, 0, 0, 0, 0, 0};
    for (u32 i = 0; i < 3; ++i)
        reader_.RecallThresholds(i, 1, before);
    for (u32 i = 0; i < 3; ++i)
        reader_.Step(&bmc_, fakeNowMs);
    EXPECT_TRUE(reader_.Complete());
    EXPECT_EQ(Requests(kGetSensorThresholds), 0u);
    EXPECT_FALSE(reader_.ThresholdsComplete());
    EXPECT_EQ(reader_.Reading(0).thresholds[0], 9);
    EXPECT_EQ(reader_.Reading(2).thresholdMask, 0);  // a sensor without any
    RunFor(0);
    EXPECT_TRUE(reader_.ThresholdsComplete());
    EXPECT_EQ(reader_.Reading(0).thresholds[0], 7);
    EXPECT_EQ(reader_.Reading(1).thresholds[0], 8);
}

TEST_F(SensorReaderTest, OnlyWhatChangedIsTold)
{
    Have({kTemp, kState});
    machine_.readings = {{1, {1, 0x40, 0}}, {3, {0, 0x40, 1}}};
    Round();
    EXPECT_EQ(reader_.TakeChanged(), (std::vector<u32>{0, 1}));
    Round();
    EXPECT_EQ(reader_.TakeChanged(), (std::vector<u32>{}));
    machine_.readings[3] = {0, 0x40, 2};
    Round();
    EXPECT_EQ(reader_.TakeChanged(), (std::vector<u32>{1}));
    reader_.Reset(&repository_, kPeriods, fakeNowMs);
    Round();
    EXPECT_EQ(reader_.TakeChanged(), (std::vector<u32>{0, 1}));
}

TEST_F(SensorReaderTest, SensorsOfOtherControllersAreNotRead)
{
    Have({kTemp, kPlain});
    repository_.sensors[0].owner = 0x2c;
    repository_.sensors[1].channel = 6;
    reader_.Reset(&repository_, kPeriods, fakeNowMs);
    EXPECT_EQ(Round(), ReadStep::More);
    EXPECT_TRUE(reader_.Complete());
    EXPECT_TRUE(machine_.requests.empty());
    EXPECT_FALSE(reader_.Reading(0).valid);
}

TEST_F(SensorReaderTest, TheLunOfTheSensorIsAsked)
{
    Have({kTemp});
    repository_.sensors[0].lun = 2;
    machine_.hook = [](const BmcRequest &request, BmcAnswer *) {
        EXPECT_EQ(request.lun, 2);
        return false;
    };
    Round();
    EXPECT_EQ(machine_.requests.size(), 2u);
}

TEST_F(SensorReaderTest, NoSensorsAreCompleteAtOnce)
{
    Have({});
    EXPECT_TRUE(reader_.Complete());
    EXPECT_EQ(reader_.DueMs(), ~u64{0});
}

TEST_F(SensorReaderTest, WithoutAnAnswerTheRoundEnds)
{
    Have({kTemp, kState});
    machine_.silent = true;
    EXPECT_EQ(Round(), ReadStep::Lost);
    EXPECT_EQ(machine_.requests.size(), 1u);
    EXPECT_FALSE(reader_.Complete());
}
