// SPDX-License-Identifier: Apache-2.0
#include "ctl/hand_view.h"
#include "ctl/model.h"
#include "ctl/output.h"

#include <gtest/gtest.h>

namespace
{

std::string Json(const HandView &hand, size_t number)
{
    return JsonRow(kSensorsForm, SensorRow({}, ModelSensorsOf(hand.view).at(number)), false);
}

}  // namespace

TEST(Model, ASensorWithThresholds)
{
    HandView hand;
    hand.AddSensor(1, 1,
                   {{"Name", "Inlet Temp"},
                    {"Reading", "23"},
                    {"WarningThresholdMin", "3"},
                    {"WarningThresholdMax", "42"},
                    {"FailThresholdMin", "-7"},
                    {"FailThresholdMax", "N/A"},
                    {"StatusText", "normal"}});
    EXPECT_EQ(Json(hand, 0),
              "{\"server\":null,\"name\":\"Inlet Temp\","
              "\"target\":\"/system1/temperatures1/tempsensor1\",\"type\":\"temperature\","
              "\"reading\":23,\"unit\":\"C\",\"state\":\"normal\",\"health\":\"ok\","
              "\"lower_critical\":-7,\"lower_warning\":3,\"upper_warning\":42,"
              "\"upper_critical\":null,\"age_seconds\":0.5}");
}

TEST(Model, ASensorWithAState)
{
    HandView hand;
    hand.AddSensor(2, 2, {{"Name", "5V PG"}, {"State", "bad"}, {"Reading", "1"}});
    EXPECT_EQ(Json(hand, 0),
              "{\"server\":null,\"name\":\"5V PG\","
              "\"target\":\"/system1/voltages1/voltsensor1\",\"type\":\"voltage\","
              "\"reading\":null,\"unit\":null,\"state\":\"bad\",\"health\":\"critical\","
              "\"lower_critical\":null,\"lower_warning\":null,\"upper_warning\":null,"
              "\"upper_critical\":null,\"age_seconds\":0.5}");
}

TEST(Model, NumbersCountTypeAndFormatInTheOrderOfTheList)
{
    HandView hand;
    hand.AddSensor(1, 1, {{"Name", "a"}});
    hand.AddSensor(4, 1, {{"Name", "b"}});
    hand.AddSensor(99, 1, {{"Name", "no target"}});
    hand.AddSensor(1, 1, {{"Name", "c"}});
    hand.AddSensor(2, 1, {{"Name", "d"}});
    hand.AddSensor(2, 2, {{"Name", "e"}});
    std::reverse(hand.view.instances.begin(), hand.view.instances.end());
    std::vector<std::string> targets;
    for (const ModelSensor &sensor : ModelSensorsOf(hand.view))
        targets.push_back(sensor.name.text + " " + sensor.target);
    EXPECT_EQ(targets, (std::vector<std::string>{"a /system1/temperatures1/tempsensor1",
                                                 "b /system1/fans1/tachsensor1",
                                                 "c /system1/temperatures1/tempsensor2",
                                                 "d /system1/voltages1/numericsensor1",
                                                 "e /system1/voltages1/voltsensor1"}));
}

TEST(Model, TheTenthComesAfterTheNinth)
{
    HandView hand;
    for (int i = 1; i <= 11; ++i)
        hand.AddSensor(4, 1, {{"Name", "fan " + std::to_string(i)}});
    const std::vector<ModelSensor> sensors = ModelSensorsOf(hand.view);
    ASSERT_EQ(sensors.size(), 11u);
    EXPECT_EQ(sensors[9].name.text, "fan 10");
    EXPECT_EQ(sensors[9].target, "/system1/fans1/tachsensor10");
}

TEST(Model, TheListEndsAtAGap)
{
    HandView hand;
    hand.AddSensor(1, 1, {{"Name", "a"}});
    hand.AddSensor(1, 1, {{"Name", "b"}});
    hand.AddSensor(1, 1, {{"Name", "c"}});
    EXPECT_EQ(ModelSensorsOf(hand.view).size(), 3u);
    hand.At("OEM_QARN_Sensor.Index=2").status = kCimFailed;
    EXPECT_EQ(ModelSensorsOf(hand.view).size(), 1u);
    hand.At("OEM_QARN_Sensor.Index=2").key = "OEM_QARN_Sensor.Index=x";
    EXPECT_EQ(ModelSensorsOf(hand.view).size(), 1u);
}

TEST(Model, NoSensorsWhileTheHostIsOffOrUnknown)
{
    HandView hand;
    hand.AddSensor(1, 1, {{"Name", "a"}});
    for (const char *status : {"OFF", "off", "0"}) {
        hand.Set("OEM_QARN_System", "PowerStatus", status);
        EXPECT_EQ(ModelSensorsOf(hand.view).size(), 0u) << status;
        EXPECT_TRUE(ModelSystemOf(hand.view).IsOff());
    }
    for (const char *status : {"ON", "", "1", "Paused"}) {
        hand.Set("OEM_QARN_System", "PowerStatus", status);
        EXPECT_EQ(ModelSensorsOf(hand.view).size(), 1u) << status;
    }
    hand.Fail("OEM_QARN_System", "PowerStatus");
    EXPECT_EQ(ModelSensorsOf(hand.view).size(), 0u);
    EXPECT_FALSE(ModelSystemOf(hand.view).readable);
}

TEST(Model, WhatCannotBeReadIsNull)
{
    HandView hand;
    hand.AddSensor(1, 1, {{"Name", "a"}, {"Reading", "23"}, {"StatusText", "normal"}});
    hand.AddSensor(1, 1, {{"Name", "b"}, {"Reading", "N/A"}, {"StatusText", "unknown"}});
    hand.AddSensor(5, 2, {{"Name", "c"}, {"StateValue", "521"}});
    hand.Fail("OEM_QARN_Sensor.Index=1", "Reading");
    hand.Fail("OEM_QARN_Sensor.Index=1", "StatusText");
    hand.Fail("OEM_QARN_Sensor.Index=3", "StateValue");
    const std::vector<ModelSensor> sensors = ModelSensorsOf(hand.view);
    ASSERT_EQ(sensors.size(), 3u);
    EXPECT_TRUE(sensors[0].reading.IsNull());
    EXPECT_TRUE(sensors[0].state.IsNull());
    EXPECT_EQ(sensors[0].health, Health::Unknown);
    EXPECT_TRUE(sensors[1].reading.IsNull());
    EXPECT_EQ(sensors[1].state.text, "unknown");
    EXPECT_TRUE(sensors[2].state.IsNull());
    EXPECT_EQ(sensors[2].health, Health::Unknown);
}

TEST(Model, CodesHaveWordsAndADefault)
{
    HandView hand;
    hand.AddSensor(5, 2, {{"StateValue", "524"}});
    hand.AddSensor(5, 2, {{"StateValue", "528"}});
    hand.AddSensor(192, 2, {{"StateValue", "19221"}});
    hand.AddSensor(192, 2, {{"StateValue", "x"}});
    const std::vector<ModelSensor> sensors = ModelSensorsOf(hand.view);
    EXPECT_EQ(sensors[0].state.text, "processor area intrusion");
    EXPECT_EQ(sensors[0].health, Health::Critical);
    EXPECT_EQ(sensors[1].state.text, "no intrusion");
    EXPECT_EQ(sensors[2].state.text, "Normal");
    EXPECT_EQ(sensors[2].health, Health::Ok);
    EXPECT_EQ(sensors[3].state.text, "Others");
    EXPECT_EQ(sensors[3].health, Health::Warning);
}

TEST(Model, UnitsOfTheSourceComeFirst)
{
    HandView hand;
    hand.AddSensor(3, 1, {{"Name", "PS1 Current"}, {"Reading", "0.8"}});
    hand.AddSensor(3, 1, {{"Name", "System Power"}, {"Reading", "182"}});
    hand.AddSensor(4, 1, {{"Name", "Fan"}, {"Reading", "50"}});
    hand.At("OEM_QARN_Sensor.Index=3").unit = "%";
    const std::vector<ModelSensor> sensors = ModelSensorsOf(hand.view);
    EXPECT_STREQ(sensors[0].kindName, "current");
    EXPECT_EQ(sensors[0].unit.text, "A");
    EXPECT_EQ(sensors[0].target, "/system1/powermonitor1/numericsensor1");
    EXPECT_STREQ(sensors[1].kindName, "power");
    EXPECT_EQ(sensors[1].unit.text, "W");
    EXPECT_EQ(sensors[1].target, "/system1/powermonitor1/numericsensor2");
    EXPECT_EQ(sensors[2].unit.text, "%");
}

TEST(Model, AReadingMayNameItsUnit)
{
    HandView hand;
    u32 number = 0;
    for (const char *text : {"23 %", "23", "23%", " %", "%", "23 RPM", "N/A"}) {
        hand.AddSensor(4, 1, {{"Name", "Fan"}, {"Reading", text}, {"WarningThresholdMin", "5 %"}});
        hand.At("OEM_QARN_Sensor.Index=" + std::to_string(++number)).unit = "%";
    }
    std::string shown;
    for (const ModelSensor &sensor : ModelSensorsOf(hand.view))
        shown += sensor.reading.text + "/" + sensor.lowerWarning.text + " ";
    EXPECT_EQ(shown, "23/5 23/5 /5 /5 /5 /5 /5 ");
}

TEST(Model, LettersOfThePowerStateAreSmall)
{
    HandView hand;
    hand.Set("OEM_QARN_System", "PowerStatus", "AZaz@[");
    EXPECT_EQ(ModelSystemOf(hand.view).power.text, "azaz@[");
}

TEST(Model, System)
{
    HandView hand;
    hand.AddRecord("20240229065812", "DIMM E was replaced.");
    EXPECT_EQ(JsonRow(kSystemForm, SystemRow(TextValue("n1"), hand.view, ModelSystemOf(hand.view)),
                      false),
              "{\"server\":\"n1\",\"service_tag\":\"TAG1234\",\"host_name\":\"host-a\","
              "\"description\":\"Test Server\",\"power\":\"on\",\"records\":1,"
              "\"service\":\"objmgrd-test\",\"age_seconds\":0.5}");
    hand.view.instances.clear();
    hand.view.service = "";
    EXPECT_EQ(JsonRow(kSystemForm, SystemRow({}, hand.view, ModelSystemOf(hand.view)), false),
              "{\"server\":null,\"service_tag\":null,\"host_name\":null,\"description\":null,"
              "\"power\":null,\"records\":null,\"service\":null,\"age_seconds\":null}");
}

TEST(Model, Records)
{
    HandView hand;
    hand.AddRecord("20240229065812", "DIMM E was replaced.");
    hand.AddRecord("System Boot", "The fans are redundant.");
    hand.AddRecord("**************", "No time.");
    std::string rows;
    for (const ModelRecord &record : ModelRecordsOf(hand.view))
        rows += JsonRow(kLogForm, RecordRow({}, record), false) + "\n";
    EXPECT_EQ(rows, "{\"server\":null,\"record\":1,\"target\":\"/system1/logs1/log1/record1\","
                    "\"time\":\"2024-02-29T06:58:12Z\",\"boot\":false,"
                    "\"description\":\"DIMM E was "
                    "replaced.\",\"archived_record\":null,\"archived_target\":null}\n"
                    "{\"server\":null,\"record\":2,\"target\":\"/system1/logs1/log1/record2\","
                    "\"time\":null,\"boot\":true,\"description\":\"The fans are "
                    "redundant.\",\"archived_record\":null,\"archived_target\":null}\n"
                    "{\"server\":null,\"record\":3,\"target\":\"/system1/logs1/log1/record3\","
                    "\"time\":null,\"boot\":false,\"description\":\"No "
                    "time.\",\"archived_record\":null,\"archived_target\":null}\n");
}

TEST(Model, AsManyRecordsAsTheLogSays)
{
    HandView hand;
    hand.AddRecord("20240229065812", "one");
    hand.AddRecord("20240229065813", "two");
    hand.Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", "3");
    std::vector<ModelRecord> records = ModelRecordsOf(hand.view);
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[1].description.text, "two");
    EXPECT_TRUE(records[2].description.IsNull());
    hand.Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", "1");
    EXPECT_EQ(ModelRecordsOf(hand.view).size(), 1u);
    for (const char *most : {"65535", "65536", "70000"}) {
        hand.Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", most);
        EXPECT_EQ(ModelRecordsOf(hand.view).size(), 65535u) << most;
    }
    hand.Set("OEM_QARN_MessageLog.Name=SEL", "NumRecords", "65534");
    EXPECT_EQ(ModelRecordsOf(hand.view).size(), 65534u);
    hand.Fail("OEM_QARN_MessageLog.Name=SEL", "NumRecords");
    EXPECT_EQ(ModelRecordsOf(hand.view).size(), 0u);
}

TEST(Model, TimesOfDigits)
{
    EXPECT_EQ(ModelTimeOfDigits("19700101000000"), 0);
    EXPECT_EQ(ModelTimeOfDigits("20240229065812"), 1709189892);
    EXPECT_EQ(ModelTimeOfDigits("20230229000000"), std::nullopt);
    EXPECT_EQ(ModelTimeOfDigits("20231301000000"), std::nullopt);
    EXPECT_EQ(ModelTimeOfDigits("20230101240000"), std::nullopt);
    EXPECT_EQ(ModelTimeOfDigits("2023010100000"), std::nullopt);
    EXPECT_EQ(ModelTimeOfDigits("202301010000000"), std::nullopt);
    EXPECT_EQ(ModelTimeOfDigits("2023010100000x"), std::nullopt);
    EXPECT_EQ(ModelTimeOfDigits("System Boot"), std::nullopt);
}
