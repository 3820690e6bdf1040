// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(IntrSensor, Kind)
{
    ExpectKind(MeIntrSensor,
               {"sensor", "Intrusion sensor.", 49, 37, "1 12 3 2 13 5",
                "SystemCreationClassName SystemName CreationClassName DeviceID SensorType "
                "PossibleStates CurrentState ElementName OtherSensorTypeDescription EnabledState"});
}

TEST(IntrSensor, ValuesOfTheSecondSensor)
{
    KindTest kind(MeIntrSensor);
    kind.om.AddSensor("5", "2", {"Name", "first"});
    kind.om.AddSensor("5", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("5", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "521"});
    kind.ExpectValues(
        {{"SystemCreationClassName", "CIM_ComputerSystem"},
         {"SystemName", "TAG1234"},
         {"CreationClassName", "CIM_Sensor"},
         {"DeviceID", "INTRUSION 2"},
         {"SensorType", "1"},
         {"PossibleStates", "{ \"no intrusion\" \"chassis intrusion\" \"drive bay intrusion\" "
                            "\"I/O card area intrusion\" \"processor area intrusion\" \"LAN "
                            "disconnect\" \"unauthorized dock\" \"FAN area intrusion\" }"},
         {"CurrentState", "chassis intrusion"},
         {"ElementName", "name text"},
         {"OtherSensorTypeDescription", "Chassis intrusion sensor."},
         {"EnabledState", "1"}},
        2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(IntrSensor, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MeIntrSensor);
    kind.om.AddSensor("5", "2", {"Name", "first"});
    kind.om.AddSensor("5", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("5", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "521"});
    EXPECT_EQ(MeIntrSensorInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MeIntrSensorInstanceTag(), 0u);
}

TEST(IntrSensor, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MeIntrSensor);
    kind.om.AddSensor("5", "2", {"Name", "first"});
    kind.om.AddSensor("5", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "2", {"Name", "other type"});
    kind.om.AddSensor("5", "2",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "521"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_intrdata(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_intrdata(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_intrdata(3, out, "Name"), 1u);
}

TEST(IntrSensor, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MeIntrSensor);
    char value[256] = "x";
    EXPECT_EQ(MeIntrSensorRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MeIntrSensorRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MeIntrSensorRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: intrsensor [#]: ** ASSERT FAILED"));
}

TEST(IntrSensor, EveryStateCodeHasItsText)
{
    KindTest kind(MeIntrSensor);
    kind.om.AddSensor("5", "2", {});
    const std::pair<const char *, const char *> states[] = {{"520", "no intrusion"},
                                                            {"521", "chassis intrusion"},
                                                            {"522", "drive bay intrusion"},
                                                            {"523", "I/O card area intrusion"},
                                                            {"524", "processor area intrusion"},
                                                            {"525", "LAN disconnect"},
                                                            {"526", "unauthorized dock"},
                                                            {"527", "FAN area intrusion"}};
    for (const auto &[code, text] : states) {
        kind.om.Set("OEM_QARN_Sensor.Index=1", "StateValue", code);
        EXPECT_EQ(kind.Get("CurrentState"), (Refreshed{0, text})) << code;
    }
}

TEST(IntrSensor, AnyOtherStateIsNoIntrusion)
{
    KindTest kind(MeIntrSensor);
    kind.om.AddSensor("5", "2", {});
    for (const char *code : {"", "unknown", "0", "519", "528", "4294967295"}) {
        kind.om.Set("OEM_QARN_Sensor.Index=1", "StateValue", code);
        EXPECT_EQ(kind.Get("CurrentState"), (Refreshed{0, "no intrusion"})) << code;
    }
}

TEST(IntrSensor, StateThatCannotBeReadIsEmptyNotTheDefault)
{
    KindTest kind(MeIntrSensor);
    kind.om.AddSensor("5", "2", {"State", "not used"});
    EXPECT_EQ(kind.Get("CurrentState"), (Refreshed{1, ""}));
    EXPECT_EQ(kind.traces.Lines(), Lines{"ERROR: sensapi [#]: ** ASSERT FAILED"});
    EXPECT_EQ(kind.Get("CurrentState", 2), (Refreshed{1, ""}));
}

TEST(IntrSensor, TextLengths)
{
    KindTest kind(MeIntrSensor);
    EXPECT_EQ(kind.Get("PossibleStates").value.size(), 171u);
    EXPECT_EQ(
        kind.Get("PossibleStates", 1, 65),
        (Refreshed{0, "{ \"no intrusion\" \"chassis intrusion\" \"drive bay intrusion\" \"I/O "}));
}
