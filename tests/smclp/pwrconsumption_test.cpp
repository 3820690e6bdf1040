// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(PowerConsumption, Kind)
{
    ExpectKind(MePowerConsumption,
               {"numericsensor", "Numeric sensor.", 44, 43, "1 12 3 2 13",
                "SystemCreationClassName SystemName CreationClassName DeviceID BaseUnits "
                "CurrentReading UpperThresholdNonCritical UpperThresholdCritical "
                "SupportedThreshold SettableThreshold SensorType PossibleStates CurrentState "
                "ElementName OtherSensorTypeDescription EnabledState"});
}

TEST(PowerConsumption, ValuesOfTheSecondSensor)
{
    KindTest kind(MePowerConsumption);
    kind.om.AddSensor("3", "1", {"Name", "first"});
    kind.om.AddSensor("3", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("3", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    kind.ExpectValues(
        {{"SystemCreationClassName", "CIM_ComputerSystem"},
         {"SystemName", "TAG1234"},
         {"CreationClassName", "CIM_NumericSensor"},
         {"DeviceID", "POWER CONSUMPTION 2"},
         {"BaseUnits", "Watts"},
         {"CurrentReading", "reading text"},
         {"UpperThresholdNonCritical", "warning max"},
         {"UpperThresholdCritical", "fail max"},
         {"SupportedThreshold", "{ \"UpperThresholdNonCritical\" \"UpperThresholdCritical\" }"},
         {"SettableThreshold", "{ }"},
         {"SensorType", "1"},
         {"PossibleStates",
          "{ \"unknown\" \"normal\" \"warning\" \"failed\" \"non-recoverable\" }"},
         {"CurrentState", "status text"},
         {"ElementName", "name text"},
         {"OtherSensorTypeDescription", "Power consumption sensor."},
         {"EnabledState", "1"}},
        2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(PowerConsumption, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MePowerConsumption);
    kind.om.AddSensor("3", "1", {"Name", "first"});
    kind.om.AddSensor("3", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("3", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    EXPECT_EQ(MePowerConsumptionInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MePowerConsumptionInstanceTag(), 0u);
}

TEST(PowerConsumption, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MePowerConsumption);
    kind.om.AddSensor("3", "1", {"Name", "first"});
    kind.om.AddSensor("3", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("3", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_num_sensor_data(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_num_sensor_data(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_num_sensor_data(3, out, "Name"), 1u);
}

TEST(PowerConsumption, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MePowerConsumption);
    char value[256] = "x";
    EXPECT_EQ(MePowerConsumptionRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MePowerConsumptionRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MePowerConsumptionRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: pwrconsumption [#]: ** ASSERT FAILED"));
}

TEST(PowerConsumption, ValuesOfAnAmperageSensorNumberedAmongTheOthers)
{
    KindTest kind(MePowerConsumption);
    kind.om.AddSensor("3", "1", {"Name", "System Board Pwr"});
    kind.om.AddSensor("3", "1", {"Name", "PSU Pwr"});
    kind.om.AddSensor("3", "1",
                      {"Name", "PSU 1 Current", "Reading", "1.5", "StatusText", "normal",
                       "WarningThresholdMax", "not shown", "FailThresholdMax", "not shown"});
    kind.ExpectValues(
        {{"SystemCreationClassName", "CIM_ComputerSystem"},
         {"SystemName", "TAG1234"},
         {"CreationClassName", "CIM_NumericSensor"},
         {"DeviceID", "AMPERAGE 3"},
         {"BaseUnits", "AMP"},
         {"CurrentReading", "1.5"},
         {"UpperThresholdNonCritical", "N/A"},
         {"UpperThresholdCritical", "N/A"},
         {"SupportedThreshold", "{ \"UpperThresholdNonCritical\" \"UpperThresholdCritical\" }"},
         {"SettableThreshold", "{ }"},
         {"SensorType", "1"},
         {"PossibleStates",
          "{ \"unknown\" \"normal\" \"warning\" \"failed\" \"non-recoverable\" }"},
         {"CurrentState", "normal"},
         {"ElementName", "PSU 1 Current"},
         {"OtherSensorTypeDescription", "Amperage sensor."},
         {"EnabledState", "1"}},
        3);
    EXPECT_EQ(kind.Get("DeviceID", 1), (Refreshed{0, "POWER CONSUMPTION 1"}));
    EXPECT_EQ(MePowerConsumptionInstanceTag(), 3u);
}

TEST(PowerConsumption, NameIsReadEachTimeAPropertyDependsOnTheVariant)
{
    KindTest kind(MePowerConsumption);
    kind.om.AddSensor("3", "1", {"Name", "PSU 1 Current"});
    for (const char *name : {"DeviceID", "BaseUnits", "UpperThresholdNonCritical",
                             "UpperThresholdCritical", "OtherSensorTypeDescription"}) {
        kind.om.ClearLog();
        kind.Get(name);
        EXPECT_EQ(kind.om.log,
                  (Lines{"ObjMgrGetInterface", "Open", "InitInstance 1024",
                         "GetInstance OEM_QARN_Sensor.Index=1", "GetInstanceValue Type",
                         "GetInstanceValue Format", "GetInstanceValue Name", "Close"}))
            << name;
    }
    kind.om.Set("OEM_QARN_Sensor.Index=1", "Name", "Pwr");
    kind.om.Set("OEM_QARN_Sensor.Index=1", "FailThresholdMax", "900");
    kind.om.ClearLog();
    EXPECT_EQ(kind.Get("UpperThresholdCritical"), (Refreshed{0, "900"}));
    EXPECT_EQ(kind.om.Logged("Open").size(), 2u);
    EXPECT_EQ(kind.om.instanceReads, 2u);
}

TEST(PowerConsumption, UnreadableNameLeavesWhatDependsOnItEmpty)
{
    KindTest kind(MePowerConsumption);
    kind.om.AddSensor("3", "1", {"FailThresholdMax", "900", "Reading", "140"});
    for (const char *name : {"DeviceID", "BaseUnits", "UpperThresholdNonCritical",
                             "UpperThresholdCritical", "OtherSensorTypeDescription"})
        EXPECT_EQ(kind.Get(name), (Refreshed{1, ""})) << name;
    EXPECT_EQ(kind.Get("CurrentReading"), (Refreshed{0, "140"}));
}

TEST(PowerConsumption, TextLengths)
{
    KindTest kind(MePowerConsumption);
    EXPECT_EQ(kind.Get("SupportedThreshold").value.size(), 56u);
    EXPECT_EQ(kind.Get("PossibleStates").value.size(), 59u);
}

TEST(IsAmperageSensor, LooksForTheWordAnywhereInTheNameWithItsCase)
{
    KindTest kind(MePowerConsumption);
    const std::pair<const char *, u32> names[] = {
        {"Current", 1}, {"PSU 1 Current 2", 1}, {"Currents", 1}, {"current", 0},
        {"CURRENT", 0}, {"Curren", 0},          {"", 0}};
    kind.om.AddSensor("3", "1", {});
    for (const auto &[name, expected] : names) {
        kind.om.Set("OEM_QARN_Sensor.Index=1", "Name", name);
        u32 flag = 7;
        EXPECT_EQ(is_amperage_sensor(1, &flag), 0u) << name;
        EXPECT_EQ(flag, expected) << name;
    }
}

TEST(IsAmperageSensor, FailureKeepsTheFlag)
{
    KindTest kind(MePowerConsumption);
    u32 flag = 7;
    EXPECT_EQ(is_amperage_sensor(1, &flag), 1u);
    EXPECT_EQ(flag, 7u);
}
