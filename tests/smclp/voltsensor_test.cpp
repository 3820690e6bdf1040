// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(VoltSensor, Kind)
{
    ExpectKind(MeVoltSensor, {"voltsensor", "Voltage sensor.", 47, 41, "1 12 3 2 13",
                              "SystemCreationClassName SystemName CreationClassName DeviceID "
                              "SensorType PossibleStates CurrentState ElementName EnabledState"});
}

TEST(VoltSensor, ValuesOfTheSecondSensor)
{
    KindTest kind(MeVoltSensor);
    kind.om.AddSensor("2", "2", {"Name", "first"});
    kind.om.AddSensor("2", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("2", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    kind.ExpectValues({{"SystemCreationClassName", "CIM_ComputerSystem"},
                       {"SystemName", "TAG1234"},
                       {"CreationClassName", "CIM_Sensor"},
                       {"DeviceID", "VOLTAGE 2"},
                       {"SensorType", "3"},
                       {"PossibleStates", "{ \"good\" \"bad\" \"unknown\" }"},
                       {"CurrentState", "state text"},
                       {"ElementName", "name text"},
                       {"EnabledState", "1"}},
                      2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(VoltSensor, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MeVoltSensor);
    kind.om.AddSensor("2", "2", {"Name", "first"});
    kind.om.AddSensor("2", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("2", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    EXPECT_EQ(MeVoltSensorInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MeVoltSensorInstanceTag(), 0u);
}

TEST(VoltSensor, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MeVoltSensor);
    kind.om.AddSensor("2", "2", {"Name", "first"});
    kind.om.AddSensor("2", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("2", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_voltdata(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_voltdata(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_voltdata(3, out, "Name"), 1u);
}

TEST(VoltSensor, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MeVoltSensor);
    char value[256] = "x";
    EXPECT_EQ(MeVoltSensorRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MeVoltSensorRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MeVoltSensorRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: voltsensor [#]: ** ASSERT FAILED"));
}

TEST(VoltSensor, TextLengths)
{
    KindTest kind(MeVoltSensor);
    EXPECT_EQ(kind.Get("PossibleStates").value.size(), 26u);
}
