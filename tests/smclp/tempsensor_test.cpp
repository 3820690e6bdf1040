// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(TempSensor, Kind)
{
    ExpectKind(
        MeTempSensor,
        {"tempsensor", "Temperature sensor.", 46, 40, "1 12 3 2 13",
         "SystemCreationClassName SystemName CreationClassName DeviceID BaseUnits CurrentReading "
         "LowerThresholdNonCritical UpperThresholdNonCritical LowerThresholdCritical "
         "UpperThresholdCritical SupportedThreshold SettableThreshold SensorType PossibleStates "
         "CurrentState ElementName EnabledState"});
}

TEST(TempSensor, ValuesOfTheSecondSensor)
{
    KindTest kind(MeTempSensor);
    kind.om.AddSensor("1", "1", {"Name", "first"});
    kind.om.AddSensor("1", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("1", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    kind.ExpectValues(
        {{"SystemCreationClassName", "CIM_ComputerSystem"},
         {"SystemName", "TAG1234"},
         {"CreationClassName", "CIM_NumericSensor"},
         {"DeviceID", "TEMPERATURE 2"},
         {"BaseUnits", "C"},
         {"CurrentReading", "reading text"},
         {"LowerThresholdNonCritical", "warning min"},
         {"UpperThresholdNonCritical", "warning max"},
         {"LowerThresholdCritical", "fail min"},
         {"UpperThresholdCritical", "fail max"},
         {"SupportedThreshold", "{ \"LowerThresholdNonCritical\" \"UpperThresholdNonCritical\" "
                                "\"LowerThresholdCritical\" \"UpperThresholdCritical\" }"},
         {"SettableThreshold", "{ }"},
         {"SensorType", "2"},
         {"PossibleStates",
          "{ \"unknown\" \"normal\" \"warning\" \"failed\" \"non-recoverable\" }"},
         {"CurrentState", "status text"},
         {"ElementName", "name text"},
         {"EnabledState", "1"}},
        2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(TempSensor, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MeTempSensor);
    kind.om.AddSensor("1", "1", {"Name", "first"});
    kind.om.AddSensor("1", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("1", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    EXPECT_EQ(MeTempSensorInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MeTempSensorInstanceTag(), 0u);
}

TEST(TempSensor, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MeTempSensor);
    kind.om.AddSensor("1", "1", {"Name", "first"});
    kind.om.AddSensor("1", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "1", {"Name", "other type"});
    kind.om.AddSensor("1", "1",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_tempdata(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_tempdata(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_tempdata(3, out, "Name"), 1u);
}

TEST(TempSensor, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MeTempSensor);
    char value[256] = "x";
    EXPECT_EQ(MeTempSensorRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MeTempSensorRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MeTempSensorRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: tempsensor [#]: ** ASSERT FAILED"));
}

TEST(TempSensor, TextLengths)
{
    KindTest kind(MeTempSensor);
    EXPECT_EQ(kind.Get("SupportedThreshold").value.size(), 109u);
    EXPECT_EQ(kind.Get("PossibleStates").value.size(), 59u);
}

TEST(TempSensor, FixedTextsStayInsideAShortBuffer)
{
    KindTest kind(MeTempSensor);
    EXPECT_EQ(
        kind.Get("SupportedThreshold", 1, 65),
        (Refreshed{0, "{ \"LowerThresholdNonCritical\" \"UpperThresholdNonCritical\" \"Lower"}));
    EXPECT_EQ(kind.Get("PossibleStates", 1, 65).value.size(), 59u);
}

TEST(TempSensor, OneReadingIsOneWalkUpToTheSensor)
{
    KindTest kind(MeTempSensor);
    kind.om.AddSensor("4", "1", {});
    kind.om.AddSensor("1", "1", {"Reading", "21"});
    kind.om.AddSensor("1", "1", {"Reading", "22"});
    EXPECT_EQ(kind.Get("CurrentReading", 1), (Refreshed{0, "21"}));
    EXPECT_EQ(kind.om.log, (Lines{"ObjMgrGetInterface", "Open", "InitInstance 1024",
                                  "GetInstance OEM_QARN_Sensor.Index=1", "GetInstanceValue Type",
                                  "GetInstanceValue Format", "GetInstance OEM_QARN_Sensor.Index=2",
                                  "GetInstanceValue Type", "GetInstanceValue Format",
                                  "GetInstanceValue Reading", "Close"}));
}

TEST(TempSensor, FixedTextsAskNoOne)
{
    KindTest kind(MeTempSensor);
    for (const char *name : {"SystemCreationClassName", "CreationClassName", "DeviceID",
                             "BaseUnits", "SupportedThreshold", "PossibleStates", "NoSuch"})
        EXPECT_EQ(kind.Get(name).result, 0u) << name;
    EXPECT_EQ(kind.om.log, Lines{});
}

TEST(TempSensor, SystemNameThatCannotBeReadIsAFailure)
{
    KindTest kind(MeTempSensor);
    kind.om.SetStatus("OEM_QARN_System", "ServiceTag", kCimFailed);
    EXPECT_EQ(kind.Get("SystemName"), (Refreshed{1, ""}));
}

TEST(TempSensor, MissingSensorLeavesTheValueEmptyAndIsTracedBySensapi)
{
    KindTest kind(MeTempSensor);
    EXPECT_EQ(kind.Get("CurrentReading", 1), (Refreshed{1, ""}));
    EXPECT_EQ(kind.traces.Lines(), (Lines{"ERROR: sensapi [#]: CIM_STATUS = 6",
                                          "ERROR: sensapi [#]: SensorType mismatch. Type = 0"}));
}

TEST(TempSensor, ReadingsStayReadableWhileTheHostIsOff)
{
    KindTest kind(MeTempSensor);
    kind.om.AddSensor("1", "1", {"Reading", "21"});
    kind.om.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(kind.Get("CurrentReading", 1), (Refreshed{0, "21"}));
}

TEST(TempSensor, NumbersUseSixteenBits)
{
    KindTest kind(MeTempSensor);
    EXPECT_EQ(kind.Get("DeviceID", 65535), (Refreshed{0, "TEMPERATURE 65535"}));
    EXPECT_EQ(kind.Get("DeviceID", 0), (Refreshed{0, "TEMPERATURE 0"}));
}

TEST(TempSensor, ReadingsPassThroughUnchanged)
{
    KindTest kind(MeTempSensor);
    for (const char *text : {"-3", "021.50", "", "n/a", "50%", "%s"}) {
        kind.om.objects.erase("OEM_QARN_Sensor.Index=1");
        kind.om.AddSensor("1", "1", {"Reading", text});
        EXPECT_EQ(kind.Get("CurrentReading", 1), (Refreshed{0, text}));
    }
}
