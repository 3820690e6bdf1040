// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(BatSensor, Kind)
{
    ExpectKind(MeBatSensor,
               {"sensor", "Battery sensor.", 48, 35, "1 12 3 2 13",
                "SystemCreationClassName SystemName CreationClassName DeviceID SensorType "
                "PossibleStates CurrentState ElementName OtherSensorTypeDescription EnabledState"});
}

TEST(BatSensor, ValuesOfTheSecondSensor)
{
    KindTest kind(MeBatSensor);
    kind.om.AddSensor("41", "2", {"Name", "first"});
    kind.om.AddSensor("41", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("41", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    kind.ExpectValues({{"SystemCreationClassName", "CIM_ComputerSystem"},
                       {"SystemName", "TAG1234"},
                       {"CreationClassName", "CIM_Sensor"},
                       {"DeviceID", "BATTERY 2"},
                       {"SensorType", "1"},
                       {"PossibleStates", "{ \"absent\" \"low\" \"failed\" \"good\" }"},
                       {"CurrentState", "state text"},
                       {"ElementName", "name text"},
                       {"OtherSensorTypeDescription", "CMOS battery sensor."},
                       {"EnabledState", "1"}},
                      2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(BatSensor, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MeBatSensor);
    kind.om.AddSensor("41", "2", {"Name", "first"});
    kind.om.AddSensor("41", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("41", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    EXPECT_EQ(MeBatSensorInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MeBatSensorInstanceTag(), 0u);
}

TEST(BatSensor, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MeBatSensor);
    kind.om.AddSensor("41", "2", {"Name", "first"});
    kind.om.AddSensor("41", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("41", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_batdata(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_batdata(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_batdata(3, out, "Name"), 1u);
}

TEST(BatSensor, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MeBatSensor);
    char value[256] = "x";
    EXPECT_EQ(MeBatSensorRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MeBatSensorRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MeBatSensorRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: batsensor [#]: ** ASSERT FAILED"));
}

TEST(BatSensor, TextLengths)
{
    KindTest kind(MeBatSensor);
    EXPECT_EQ(kind.Get("PossibleStates").value.size(), 34u);
}
