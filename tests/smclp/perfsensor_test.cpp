// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(PerfSensor, Kind)
{
    ExpectKind(MePerfSensor,
               {"sensor", "Hardware performance sensor.", 51, 38, "1 12 3 2 13",
                "SystemCreationClassName SystemName CreationClassName DeviceID SensorType "
                "PossibleStates CurrentState ElementName OtherSensorTypeDescription EnabledState"});
}

TEST(PerfSensor, ValuesOfTheSecondSensor)
{
    KindTest kind(MePerfSensor);
    kind.om.AddSensor("192", "2", {"Name", "first"});
    kind.om.AddSensor("192", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("192", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "19223"});
    kind.ExpectValues(
        {{"SystemCreationClassName", "CIM_ComputerSystem"},
         {"SystemName", "TAG1234"},
         {"CreationClassName", "CIM_Sensor"},
         {"DeviceID", "HARDWARE PERFORMANCE SENSOR 2"},
         {"SensorType", "1"},
         {"PossibleStates", "{ \"Normal\" \"Others\" \"Thermal Protection\" \"Cooling Capacity "
                            "changed\" \"Power Capacity changed\" \"User Configuration\" }"},
         {"CurrentState", "Thermal Protection"},
         {"ElementName", "name text"},
         {"OtherSensorTypeDescription", "Hardware performance sensor."},
         {"EnabledState", "1"}},
        2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(PerfSensor, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MePerfSensor);
    kind.om.AddSensor("192", "2", {"Name", "first"});
    kind.om.AddSensor("192", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("192", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "19223"});
    EXPECT_EQ(MePerfSensorInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MePerfSensorInstanceTag(), 0u);
}

TEST(PerfSensor, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MePerfSensor);
    kind.om.AddSensor("192", "2", {"Name", "first"});
    kind.om.AddSensor("192", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("192", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "19223"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_perfdata(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_perfdata(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_perfdata(3, out, "Name"), 1u);
}

TEST(PerfSensor, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MePerfSensor);
    char value[256] = "x";
    EXPECT_EQ(MePerfSensorRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MePerfSensorRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MePerfSensorRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: perfsensor [#]: ** ASSERT FAILED"));
}

TEST(PerfSensor, EveryStateCodeHasItsText)
{
    KindTest kind(MePerfSensor);
    kind.om.AddSensor("192", "2", {});
    const std::pair<const char *, const char *> states[] = {{"19221", "Normal"},
                                                            {"19222", "Others"},
                                                            {"19223", "Thermal Protection"},
                                                            {"19224", "Cooling Capacity changed"},
                                                            {"19225", "Power Capacity changed"},
                                                            {"19226", "User Configuration"}};
    for (const auto &[code, text] : states) {
        kind.om.Set("OEM_QARN_Sensor.Index=1", "StateValue", code);
        EXPECT_EQ(kind.Get("CurrentState"), (Refreshed{0, text})) << code;
    }
}

TEST(PerfSensor, AnyOtherStateIsOthers)
{
    KindTest kind(MePerfSensor);
    kind.om.AddSensor("192", "2", {});
    for (const char *code : {"", "unknown", "0", "19220", "19227", "4294967295"}) {
        kind.om.Set("OEM_QARN_Sensor.Index=1", "StateValue", code);
        EXPECT_EQ(kind.Get("CurrentState"), (Refreshed{0, "Others"})) << code;
    }
}

TEST(PerfSensor, StateThatCannotBeReadIsEmptyNotTheDefault)
{
    KindTest kind(MePerfSensor);
    kind.om.AddSensor("192", "2", {"State", "not used"});
    EXPECT_EQ(kind.Get("CurrentState"), (Refreshed{1, ""}));
    EXPECT_EQ(kind.traces.Lines(), Lines{"ERROR: sensapi [#]: ** ASSERT FAILED"});
    EXPECT_EQ(kind.Get("CurrentState", 2), (Refreshed{1, ""}));
}

TEST(PerfSensor, TextLengths)
{
    KindTest kind(MePerfSensor);
    EXPECT_EQ(kind.Get("PossibleStates").value.size(), 115u);
    EXPECT_EQ(
        kind.Get("PossibleStates", 1, 65),
        (Refreshed{0, "{ \"Normal\" \"Others\" \"Thermal Protection\" \"Cooling Capacity chang"}));
}
