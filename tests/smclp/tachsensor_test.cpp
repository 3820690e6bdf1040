// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(TachSensor, Kind)
{
    ExpectKind(MeTachSensor,
               {"tachsensor", "Manage fan sensors.", 45, 36, "1 12 3 2 13",
                "SystemCreationClassName SystemName CreationClassName DeviceID BaseUnits "
                "CurrentReading LowerThresholdCritical SupportedThreshold SettableThreshold "
                "SensorType PossibleStates CurrentState ElementName EnabledState"});
}

TEST(TachSensor, ValuesOfTheSecondSensor)
{
    KindTest kind(MeTachSensor);
    kind.om.AddSensor("4", "1", {"Name", "first"});
    kind.om.AddSensor("4", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("4", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    kind.ExpectValues({{"SystemCreationClassName", "CIM_ComputerSystem"},
                       {"SystemName", "TAG1234"},
                       {"CreationClassName", "CIM_NumericSensor"},
                       {"DeviceID", "FAN 2"},
                       {"BaseUnits", "RPM"},
                       {"CurrentReading", "reading text"},
                       {"LowerThresholdCritical", "fail min"},
                       {"SupportedThreshold", "{ \"LowerThresholdCritical\" }"},
                       {"SettableThreshold", "{ }"},
                       {"SensorType", "5"},
                       {"PossibleStates",
                        "{ \"unknown\" \"normal\" \"warning\" \"failed\" \"non-recoverable\" }"},
                       {"CurrentState", "status text"},
                       {"ElementName", "name text"},
                       {"EnabledState", "1"}},
                      2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(TachSensor, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MeTachSensor);
    kind.om.AddSensor("4", "1", {"Name", "first"});
    kind.om.AddSensor("4", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("4", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    EXPECT_EQ(MeTachSensorInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MeTachSensorInstanceTag(), 0u);
}

TEST(TachSensor, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MeTachSensor);
    kind.om.AddSensor("4", "1", {"Name", "first"});
    kind.om.AddSensor("4", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("4", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_tachdata(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_tachdata(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_tachdata(3, out, "Name"), 1u);
}

TEST(TachSensor, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MeTachSensor);
    char value[256] = "x";
    EXPECT_EQ(MeTachSensorRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MeTachSensorRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MeTachSensorRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: tachsensor [#]: ** ASSERT FAILED"));
}

TEST(TachSensor, TextLengths)
{
    KindTest kind(MeTachSensor);
    EXPECT_EQ(kind.Get("SupportedThreshold").value.size(), 28u);
    EXPECT_EQ(kind.Get("PossibleStates").value.size(), 59u);
}
