// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(VoltNumSensor, Kind)
{
    ExpectKind(MeVoltNumSensor,
               {"numericsensor", "Manage voltage sensors.", 47, 41, "1 12 3 2 13",
                "SystemCreationClassName SystemName CreationClassName DeviceID BaseUnits "
                "CurrentReading SupportedThreshold SettableThreshold SensorType PossibleStates "
                "CurrentState ElementName EnabledState"});
}

TEST(VoltNumSensor, ValuesOfTheSecondSensor)
{
    KindTest kind(MeVoltNumSensor);
    kind.om.AddSensor("2", "1", {"Name", "first"});
    kind.om.AddSensor("2", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("2", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    kind.ExpectValues({{"SystemCreationClassName", "CIM_ComputerSystem"},
                       {"SystemName", "TAG1234"},
                       {"CreationClassName", "CIM_NumericSensor"},
                       {"DeviceID", "NUMERIC VOLTAGE 2"},
                       {"BaseUnits", "V"},
                       {"CurrentReading", "reading text"},
                       {"SupportedThreshold", "{ }"},
                       {"SettableThreshold", "{ }"},
                       {"SensorType", "3"},
                       {"PossibleStates",
                        "{ \"unknown\" \"normal\" \"warning\" \"failed\" \"non-recoverable\" }"},
                       {"CurrentState", "status text"},
                       {"ElementName", "name text"},
                       {"EnabledState", "1"}},
                      2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(VoltNumSensor, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MeVoltNumSensor);
    kind.om.AddSensor("2", "1", {"Name", "first"});
    kind.om.AddSensor("2", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("2", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    EXPECT_EQ(MeVoltNumSensorInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MeVoltNumSensorInstanceTag(), 0u);
}

TEST(VoltNumSensor, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MeVoltNumSensor);
    kind.om.AddSensor("2", "1", {"Name", "first"});
    kind.om.AddSensor("2", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("2", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_volt_num_data(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_volt_num_data(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_volt_num_data(3, out, "Name"), 1u);
}

TEST(VoltNumSensor, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MeVoltNumSensor);
    char value[256] = "x";
    EXPECT_EQ(MeVoltNumSensorRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MeVoltNumSensorRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MeVoltNumSensorRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: voltnumsensor [#]: ** ASSERT FAILED"));
}

TEST(VoltNumSensor, TextLengths)
{
    KindTest kind(MeVoltNumSensor);
    EXPECT_EQ(kind.Get("SupportedThreshold").value.size(), 3u);
    EXPECT_EQ(kind.Get("PossibleStates").value.size(), 59u);
}

TEST(VoltNumSensor, ThresholdsAreNotAnswered)
{
    KindTest kind(MeVoltNumSensor);
    kind.om.AddSensor("2", "1", {"FailThresholdMin", "1"});
    EXPECT_EQ(kind.Get("LowerThresholdCritical"), (Refreshed{0, ""}));
}
