// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(FanRed, Kind)
{
    ExpectKind(MeFanRedSensor,
               {"redundancyset", "Battery sensor.", 42, 36, "1 12 3 2 13",
                "InstanceID RedundancyStatus TypeOfSet MinNumberNeeded ElementName"});
}

TEST(FanRed, ValuesOfTheSecondSensor)
{
    KindTest kind(MeFanRedSensor);
    kind.om.AddSensor("4", "3", {"Name", "first"});
    kind.om.AddSensor("4", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "3", {"Name", "other type"});
    kind.om.AddSensor("4", "3",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    kind.ExpectValues({{"InstanceID", "2"},
                       {"RedundancyStatus", "state text"},
                       {"TypeOfSet", "3"},
                       {"MinNumberNeeded", "0"},
                       {"ElementName", "name text"}},
                      2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(FanRed, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MeFanRedSensor);
    kind.om.AddSensor("4", "3", {"Name", "first"});
    kind.om.AddSensor("4", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "3", {"Name", "other type"});
    kind.om.AddSensor("4", "3",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    EXPECT_EQ(MeFanRedSensorInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MeFanRedSensorInstanceTag(), 0u);
}

TEST(FanRed, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MeFanRedSensor);
    kind.om.AddSensor("4", "3", {"Name", "first"});
    kind.om.AddSensor("4", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "3", {"Name", "other type"});
    kind.om.AddSensor("4", "3",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_fanreddata(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_fanreddata(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_fanreddata(3, out, "Name"), 1u);
}

TEST(FanRed, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MeFanRedSensor);
    char value[256] = "x";
    EXPECT_EQ(MeFanRedSensorRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MeFanRedSensorRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MeFanRedSensorRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: fanred [#]: ** ASSERT FAILED"));
}

TEST(FanRed, HasNoClassNameAndNoStateList)
{
    KindTest kind(MeFanRedSensor);
    for (const char *name : {"CreationClassName", "SystemName", "EnabledState", "PossibleStates"})
        EXPECT_EQ(kind.Get(name), (Refreshed{0, ""})) << name;
}

TEST(FanRed, IsCountedApartFromTheOtherRedundancy)
{
    KindTest kind(MeFanRedSensor);
    kind.om.AddSensor("4", "3", {});
    EXPECT_EQ(MeFanRedSensorInstanceTag(), 1u);
    EXPECT_EQ(MePwrRedSensorInstanceTag(), 0u);
    kind.om.AddSensor("8", "3", {});
    kind.om.AddSensor("8", "3", {});
    EXPECT_EQ(MeFanRedSensorInstanceTag(), 1u);
    EXPECT_EQ(MePwrRedSensorInstanceTag(), 2u);
}
