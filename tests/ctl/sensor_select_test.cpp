// SPDX-License-Identifier: Apache-2.0
#include "ctl/sensor_select.h"

#include "ctl/hand_view.h"

#include <gtest/gtest.h>

namespace
{

// A server with two fans, a temperature and two records.
void Fill(HandView *hand)
{
    hand->AddSensor(4, 1, {{"Name", "Fan1"}, {"Reading", "4320"}, {"StatusText", "normal"}});
    hand->AddSensor(4, 1, {{"Name", "Fan2"}, {"Reading", "4330"}, {"StatusText", "normal"}});
    hand->AddSensor(1, 1, {{"Name", "Inlet"}, {"Reading", "23"}, {"StatusText", "normal"}});
    hand->AddRecord("20240229065812", "one");
    hand->AddRecord("20240229065813", "two");
}

SensorSelection Select(const HandView &hand, const std::string &target,
                       const std::vector<std::string> &types = {})
{
    Options options;
    options.target = target;
    options.types = types;
    return SensorsSelected(options, hand.view);
}

std::string Wrong(const HandView &hand, const std::string &target)
{
    const SensorSelection selected = Select(hand, target);
    EXPECT_TRUE(selected.wrongTarget.empty() || selected.sensors.empty()) << target;
    return selected.wrongTarget;
}

}  // namespace

TEST(SensorSelect, ATargetAndWhatIsBelowIt)
{
    HandView hand;
    Fill(&hand);
    EXPECT_EQ(Select(hand, "").sensors.size(), 3u);
    EXPECT_EQ(Select(hand, "/").sensors.size(), 3u);
    EXPECT_EQ(Select(hand, "/system1").sensors.size(), 3u);
    EXPECT_EQ(Select(hand, "/system1/fans1").sensors.size(), 2u);
    const SensorSelection one = Select(hand, "/system1/fans1/tachsensor2");
    ASSERT_EQ(one.sensors.size(), 1u);
    EXPECT_EQ(one.sensors[0].name.text, "Fan2");
    EXPECT_EQ(one.wrongTarget, "");
}

TEST(SensorSelect, WhatCouldHaveSensorsIsNoWrongTarget)
{
    HandView hand;
    Fill(&hand);
    for (const char *target :
         {"/system1/temperatures1", "/system1/voltages1", "/system1/powermonitor1",
          "/system1/fans1", "/system1/intrusion1", "/system1/powersupplies1", "/system1/batteries1",
          "/system1/hardwareperformance1", "/system1", "/"})
        EXPECT_EQ(Wrong(hand, target), "") << target;
    // The type leaves none over of those that are there.
    const SensorSelection none = Select(hand, "/system1/fans1/tachsensor1", {"temperature"});
    EXPECT_EQ(none.sensors.size(), 0u);
    EXPECT_EQ(none.wrongTarget, "");
}

TEST(SensorSelect, WhatIsNotThere)
{
    HandView hand;
    Fill(&hand);
    for (const char *target :
         {"/system1/fans1/tachsensor3", "/system1/fans1/tachsensor0", "/system1/fans1/tachsensor",
          "/system1/fans1/tachsensor01", "/system1/fans1/tachsensor1/x", "/system1/fans",
          "/system1/fans11", "/system", "/system2", "/systems1", "/system1/chassis2",
          "/system1/logs1/log1/record3", "/system1/logs1/log1/record0",
          "/system1/logs1/log1/record1x", "/system1/logs1/log1/record",
          "/system1/logs1/log1/record99999999999", "/System1"})
        EXPECT_EQ(Wrong(hand, target), std::string("no such target: ") + target);
}

TEST(SensorSelect, WhatIsSomethingElse)
{
    HandView hand;
    Fill(&hand);
    EXPECT_EQ(Wrong(hand, "/system1/chassis1"),
              "/system1/chassis1 is the chassis: no sensors there");
    EXPECT_EQ(Wrong(hand, "/system1/logs1"), "/system1/logs1 is the logs: no sensors there");
    EXPECT_EQ(Wrong(hand, "/system1/logs1/log1"),
              "/system1/logs1/log1 is the event log: no sensors there");
    EXPECT_EQ(Wrong(hand, "/system1/logs1/log1/record2"),
              "/system1/logs1/log1/record2 is a record of the event log: no sensors there");
    EXPECT_EQ(Wrong(hand, "/system1/pwrmgtsvc1"),
              "/system1/pwrmgtsvc1 is the power management: no sensors there");
    EXPECT_EQ(Wrong(hand, "/system1/pwrmgtsvc1/pwrmgtcap1"),
              "/system1/pwrmgtsvc1/pwrmgtcap1 is what the power management can do: no sensors "
              "there");
}

TEST(SensorSelect, AHostThatIsOffHasCollectionsWithoutSensors)
{
    HandView hand;
    Fill(&hand);
    hand.Set("OEM_QARN_System", "PowerStatus", "OFF");
    EXPECT_EQ(Wrong(hand, "/system1/fans1"), "");
    EXPECT_EQ(Wrong(hand, "/system1/fans1/tachsensor1"),
              "no such target: /system1/fans1/tachsensor1 (the host is off: it has no sensors)");
    EXPECT_EQ(Wrong(hand, "/system1/nothing"), "no such target: /system1/nothing");
}

TEST(SensorSelect, ASilentSourceLeavesItOpen)
{
    HandView hand;
    Fill(&hand);
    hand.Fail("OEM_QARN_System", "PowerStatus");
    EXPECT_EQ(Wrong(hand, "/system1/fans1/tachsensor1"), "");
    EXPECT_EQ(Wrong(hand, "/system1/nothing"), "");
}
