// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sensor_reader.
#include "objmgrd/ipmi/sensor_reader.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

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
        reader_.Reset(&repository_);
        std::string why;
        bmc_.Open(&why);
    }
    ReadStep Round()
    {
        reader_.StartRound();
        ReadStep step = ReadStep::More;
        while (step == ReadStep::More)
            step = reader_.Step(&bmc_);
        return step;
    }
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
    EXPECT_EQ(Round(), ReadStep::Done);
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

TEST_F(SensorReaderTest, UnavailableAndNotScanningAreNoReadings)
{
    Have({kTemp});
    for (const u8 flags : Bytes{0xe0, 0x80, 0x20, 0x00}) {
        machine_.readings = {{1, {23, flags, 0}}};
        EXPECT_EQ(Round(), ReadStep::Done);
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

TEST_F(SensorReaderTest, ThresholdsAreReadAgainOneInARound)
{
    Have({kTemp, kPlain, kOther, kState});
    machine_.readings = {
        {1, {1, 0x40, 0}}, {2, {1, 0x40, 0}}, {3, {1, 0x40, 0}}, {4, {1, 0x40, 0}}};
    machine_.thresholds = {{1, {1, 7, 0, 0, 0, 0, 0}}, {4, {1, 8, 0, 0, 0, 0, 0}}};
    Round();
    EXPECT_EQ(Requests(kGetSensorThresholds), 2u);
    machine_.thresholds = {{1, {1, 17, 0, 0, 0, 0, 0}}, {4, {1, 18, 0, 0, 0, 0, 0}}};
    Round();
    EXPECT_EQ(Requests(kGetSensorThresholds), 3u);
    Round();
    EXPECT_EQ(Requests(kGetSensorThresholds), 4u);
    EXPECT_EQ(reader_.Reading(0).thresholds[0], 17);
    EXPECT_EQ(reader_.Reading(2).thresholds[0], 18);
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
    reader_.Reset(&repository_);
    Round();
    EXPECT_EQ(reader_.TakeChanged(), (std::vector<u32>{0, 1}));
}

TEST_F(SensorReaderTest, SensorsOfOtherControllersAreNotRead)
{
    Have({kTemp, kPlain});
    repository_.sensors[0].owner = 0x2c;
    repository_.sensors[1].channel = 6;
    reader_.Reset(&repository_);
    EXPECT_EQ(Round(), ReadStep::Done);
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
    EXPECT_EQ(Round(), ReadStep::Done);
    EXPECT_TRUE(reader_.Complete());
    EXPECT_EQ(Round(), ReadStep::Done);
}

TEST_F(SensorReaderTest, WithoutAnAnswerTheRoundEnds)
{
    Have({kTemp, kState});
    machine_.silent = true;
    EXPECT_EQ(Round(), ReadStep::Lost);
    EXPECT_EQ(machine_.requests.size(), 1u);
    EXPECT_FALSE(reader_.Complete());
}
