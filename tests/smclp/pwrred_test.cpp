// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensapi.h"
#include "smclp/me/sensors.h"
#include "support/kind_checks.h"

TEST(PwrRed, Kind)
{
    ExpectKind(MePwrRedSensor,
               {"redundancyset", "Battery sensor.", 42, 39, "1 12 3 2 13",
                "InstanceID RedundancyStatus TypeOfSet MinNumberNeeded ElementName"});
}

TEST(PwrRed, ValuesOfTheSecondSensor)
{
    KindTest kind(MePwrRedSensor);
    kind.om.AddSensor("8", "3", {"Name", "first"});
    kind.om.AddSensor("8", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "3", {"Name", "other type"});
    kind.om.AddSensor("8", "3",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    kind.ExpectValues({{"InstanceID", "2"},
                       {"RedundancyStatus", "state text"},
                       {"TypeOfSet", "4"},
                       {"MinNumberNeeded", "0"},
                       {"ElementName", "name text"}},
                      2);
    EXPECT_EQ(kind.traces.Lines(), Lines{});
}

TEST(PwrRed, CountsItsTypeAndFormatOnly)
{
    KindTest kind(MePwrRedSensor);
    kind.om.AddSensor("8", "3", {"Name", "first"});
    kind.om.AddSensor("8", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "3", {"Name", "other type"});
    kind.om.AddSensor("8", "3",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    EXPECT_EQ(MePwrRedSensorInstanceTag(), 2u);
    kind.om.Set("OEM_QARN_System", "PowerStatus", "off");
    EXPECT_EQ(MePwrRedSensorInstanceTag(), 0u);
}

TEST(PwrRed, ReaderTakesItsTypeAndFormatOnly)
{
    KindTest kind(MePwrRedSensor);
    kind.om.AddSensor("8", "3", {"Name", "first"});
    kind.om.AddSensor("8", "9", {"Name", "other format"});
    kind.om.AddSensor("99", "3", {"Name", "other type"});
    kind.om.AddSensor("8", "3",
                      {"Name", "name text", "Reading", "reading text", "WarningThresholdMin",
                       "warning min", "WarningThresholdMax", "warning max", "FailThresholdMin",
                       "fail min", "FailThresholdMax", "fail max", "StatusText", "status text",
                       "State", "state text", "StateValue", "0"});
    char out[kSensorTextSize];
    EXPECT_EQ(get_pwrreddata(1, out, "Name"), 0u);
    EXPECT_STREQ(out, "first");
    EXPECT_EQ(get_pwrreddata(2, out, "State"), 0u);
    EXPECT_STREQ(out, "state text");
    EXPECT_EQ(get_pwrreddata(3, out, "Name"), 1u);
}

TEST(PwrRed, NullArgumentsAreTracedUnderItsOwnName)
{
    KindTest kind(MePwrRedSensor);
    char value[256] = "x";
    EXPECT_EQ(MePwrRedSensorRefreshProperties(nullptr, "ElementName", value, 256), 1u);
    EXPECT_EQ(MePwrRedSensorRefreshProperties(kind.element, nullptr, value, 256), 1u);
    EXPECT_EQ(MePwrRedSensorRefreshProperties(kind.element, "ElementName", nullptr, 256), 1u);
    EXPECT_STREQ(value, "x");
    EXPECT_EQ(kind.traces.Lines(), Lines(3, "ERROR: pwrred [#]: ** ASSERT FAILED"));
}

TEST(PwrRed, HasNoClassNameAndNoStateList)
{
    KindTest kind(MePwrRedSensor);
    for (const char *name : {"CreationClassName", "SystemName", "EnabledState", "PossibleStates"})
        EXPECT_EQ(kind.Get(name), (Refreshed{0, ""})) << name;
}

TEST(PwrRed, IsCountedApartFromTheOtherRedundancy)
{
    KindTest kind(MePwrRedSensor);
    kind.om.AddSensor("4", "3", {});
    EXPECT_EQ(MeFanRedSensorInstanceTag(), 1u);
    EXPECT_EQ(MePwrRedSensorInstanceTag(), 0u);
    kind.om.AddSensor("8", "3", {});
    kind.om.AddSensor("8", "3", {});
    EXPECT_EQ(MeFanRedSensorInstanceTag(), 1u);
    EXPECT_EQ(MePwrRedSensorInstanceTag(), 2u);
}
