// SPDX-License-Identifier: Apache-2.0
#include "ctl/hand_view.h"
#include "ctl/health.h"
#include "ctl/output.h"

#include <gtest/gtest.h>

namespace
{

std::string Line(const HandView &hand)
{
    return HealthPluginLine(HealthOf(&hand.view, ""), ModelSensorsOf(hand.view));
}

void AddFan(HandView *hand, const char *name, const char *reading, const char *status)
{
    hand->AddSensor(4, 1,
                    {{"Name", name},
                     {"Reading", reading},
                     {"StatusText", status},
                     {"WarningThresholdMin", "840"},
                     {"FailThresholdMin", "600"}});
}

}  // namespace

TEST(Health, Row)
{
    HandView hand;
    AddFan(&hand, "Fan1", "4320", "normal");
    AddFan(&hand, "Fan2", "700", "warning");
    AddFan(&hand, "Fan3", "N/A", "unknown");
    hand.view.sources.push_back({"other", 2.5});
    EXPECT_EQ(
        JsonRow(kHealthForm, HealthRow({}, HealthOf(&hand.view, "")), false),
        "{\"server\":null,\"health\":\"warning\",\"service\":\"objmgrd-test\",\"up\":true,"
        "\"source\":\"bmc,other\",\"power\":\"on\",\"sensors\":3,\"warnings\":1,"
        "\"criticals\":0,\"unknowns\":1,\"message\":null,\"age_seconds\":2.5,\"sessions\":null}");
    ServerHealth gone = HealthOf(nullptr, "gone");
    gone.sessions = 2;
    EXPECT_EQ(JsonRow(kHealthForm, HealthRow(TextValue("n1"), gone), false),
              "{\"server\":\"n1\",\"health\":\"unknown\",\"service\":null,\"up\":false,"
              "\"source\":null,\"power\":null,\"sensors\":0,\"warnings\":0,\"criticals\":0,"
              "\"unknowns\":0,\"message\":\"gone\",\"age_seconds\":null,\"sessions\":2}");
}

TEST(Health, TheWorstCounts)
{
    HandView hand;
    EXPECT_EQ(HealthOf(&hand.view, "").health, Health::Ok);
    AddFan(&hand, "a", "1", "unknown");
    EXPECT_EQ(HealthOf(&hand.view, "").health, Health::Ok);
    AddFan(&hand, "a", "1", "warning");
    EXPECT_EQ(HealthOf(&hand.view, "").health, Health::Warning);
    AddFan(&hand, "a", "1", "failed");
    EXPECT_EQ(HealthOf(&hand.view, "").health, Health::Critical);
    hand.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(HealthOf(&hand.view, "").health, Health::Ok);
    hand.Fail("OEM_QARN_System", "PowerStatus");
    EXPECT_EQ(HealthOf(&hand.view, "").health, Health::Unknown);
    EXPECT_TRUE(HealthOf(&hand.view, "").silent);
}

TEST(Health, PluginLines)
{
    HandView hand;
    EXPECT_EQ(Line(hand), "SMCLP OK - 0 sensors");
    AddFan(&hand, "Fan1", "4320", "normal");
    hand.AddSensor(1, 1,
                   {{"Name", "It's 'in' | out="},
                    {"Reading", "23"},
                    {"StatusText", "normal"},
                    {"WarningThresholdMin", "3"},
                    {"WarningThresholdMax", "42"},
                    {"FailThresholdMin", "-7"},
                    {"FailThresholdMax", "47"}});
    EXPECT_EQ(Line(hand), "SMCLP OK - 2 sensors | 'Fan1'=4320;840:;600: "
                          "'It''s ''in''  out'=23;3:42;-7:47");
}

// 0 to 42 would be another limit than one at 42.
TEST(Health, PluginLinesHaveLimitsAsPluginsReadThem)
{
    HandView hand;
    hand.AddSensor(1, 1, {{"Name", "a"}, {"Reading", "-5"}, {"WarningThresholdMax", "42"}});
    hand.AddSensor(1, 1, {{"Name", "b"}, {"Reading", "-5"}, {"FailThresholdMax", "47"}});
    hand.AddSensor(1, 1, {{"Name", "c"}, {"Reading", "-5"}, {"WarningThresholdMin", "-7"}});
    // Figures have no exponents.
    hand.AddSensor(1, 1, {{"Name", "d"}, {"Reading", "1e3"}, {"WarningThresholdMin", "-7"}});
    hand.AddSensor(1, 1,
                   {{"Name", "e"},
                    {"Reading", "-0.5"},
                    {"WarningThresholdMin", "1e3"},
                    {"FailThresholdMin", "1e3"},
                    {"FailThresholdMax", "7"}});
    EXPECT_EQ(Line(hand), "SMCLP OK - 5 sensors | 'a'=-5;~:42 'b'=-5;;~:47 'c'=-5;-7: "
                          "'e'=-0.5;;~:7");
}

TEST(Health, PluginLinesHaveEachLabelOnce)
{
    HandView hand;
    for (const char *name : {"Temp", "Temp", "", "=|", "x="})
        hand.AddSensor(1, 1, {{"Name", name}, {"Reading", "5"}, {"StatusText", "normal"}});
    hand.AddSensor(1, 1, {{"Reading", "5"}, {"StatusText", "failed"}});
    EXPECT_EQ(Line(hand), "SMCLP CRITICAL - 1 of 6 sensors: /system1/temperatures1/tempsensor6 5 C "
                          "(failed) | 'Temp'=5 '/system1/temperatures1/tempsensor2'=5 "
                          "'/system1/temperatures1/tempsensor3'=5 "
                          "'/system1/temperatures1/tempsensor4'=5 'x'=5 "
                          "'/system1/temperatures1/tempsensor6'=5");
}

TEST(Health, PluginLinesNameWhatIsWrongTheWorstFirst)
{
    HandView hand;
    AddFan(&hand, "Fan1", "700", "warning");
    hand.AddSensor(2, 2, {{"Name", "5V | PG"}, {"State", "bad"}});
    EXPECT_EQ(Line(hand), "SMCLP CRITICAL - 2 of 2 sensors: 5V / PG (bad), Fan1 700 RPM (warning) "
                          "| 'Fan1'=700;840:;600:");
}

TEST(Health, PluginLinesOfWhatCannotBeKnown)
{
    HandView hand;
    hand.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(Line(hand), "SMCLP OK - the host is off");
    hand.Fail("OEM_QARN_System", "PowerStatus");
    EXPECT_EQ(Line(hand), "SMCLP UNKNOWN - the source is silent");
    EXPECT_EQ(HealthPluginLine(HealthOf(nullptr, "no object manager serves"), {}),
              "SMCLP UNKNOWN - no object manager serves");
}
