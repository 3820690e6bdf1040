// SPDX-License-Identifier: Apache-2.0
#include "ctl/hand_view.h"
#include "ctl/output.h"
#include "ctl/watch_changes.h"

#include <gtest/gtest.h>

namespace
{

WatchLook LookAt(const HandView &hand)
{
    return {true, ModelSystemOf(hand.view), ModelSensorsOf(hand.view)};
}

// "what from to" of each change.
std::string Changes(const WatchLook &before, const WatchLook &after)
{
    std::string text;
    for (const Row &row : WatchChanges({}, 0, before, after))
        text += row[3].text + " " + row[4].text + " " + row[5].text + " " + row[6].text + ";";
    return text;
}

}  // namespace

TEST(WatchChanges, ReadingsAndStates)
{
    HandView hand;
    hand.AddSensor(4, 1, {{"Name", "Fan1"}, {"Reading", "4000"}, {"StatusText", "normal"}});
    hand.AddSensor(1, 1, {{"Name", "T"}, {"Reading", "20"}, {"StatusText", "normal"}});
    const WatchLook before = LookAt(hand);
    EXPECT_EQ(Changes(before, before), "");
    hand.Set("OEM_QARN_Sensor.Index=1", "Reading", "700");
    hand.Set("OEM_QARN_Sensor.Index=1", "StatusText", "warning");
    EXPECT_EQ(Changes(before, LookAt(hand)), "Fan1 reading 4000 700;Fan1 state normal warning;");
    EXPECT_EQ(JsonRow(kWatchForm,
                      WatchChanges(TextValue("n1"), 1709189892, before, LookAt(hand))[0], true),
              "{\"schema\":1,\"server\":\"n1\",\"time\":\"2024-02-29T06:58:12Z\","
              "\"target\":\"/system1/fans1/tachsensor1\",\"name\":\"Fan1\",\"what\":\"reading\","
              "\"from\":4000,\"to\":700,\"unit\":\"RPM\",\"health\":\"warning\"}");
}

TEST(WatchChanges, PowerAndSensorsThatGoAndCome)
{
    HandView hand;
    hand.AddSensor(4, 1, {{"Name", "Fan1"}, {"Reading", "4000"}, {"StatusText", "normal"}});
    const WatchLook on = LookAt(hand);
    hand.Set("OEM_QARN_System", "PowerStatus", "OFF");
    const WatchLook off = LookAt(hand);
    EXPECT_EQ(Changes(on, off), " power on off;Fan1 reading 4000 ;Fan1 state normal ;");
    EXPECT_EQ(Changes(off, on), " power off on;Fan1 reading  4000;Fan1 state  normal;");
}

TEST(WatchChanges, TheService)
{
    HandView hand;
    EXPECT_EQ(Changes(LookAt(hand), {}), " service true false; power on ;");
    EXPECT_EQ(Changes({}, LookAt(hand)), " service false true; power  on;");
}

TEST(WatchChanges, Course)
{
    EXPECT_EQ(WatchCourse({}), "");
    EXPECT_EQ(WatchCourse({5, 5, 5}), "▁▁▁");
    EXPECT_EQ(WatchCourse({0, 1, 2, 3, 4, 5, 6, 7}), "▁▂▃▄▅▆▇█");
    EXPECT_EQ(WatchCourse({-1, 1}), "▁█");
}

TEST(WatchFit, LinesAndColumnsThatThereAre)
{
    const std::string text = "abc\nä\x1b[31mbcd\x1b[0m\nx\n";
    EXPECT_EQ(WatchFit(text, 0, 0), text);
    EXPECT_EQ(WatchFit(text, 4, 4), text);
    EXPECT_EQ(WatchFit(text, 2, 4), "ab\nä\x1b[31mb\x1b[0m\nx\n");
    EXPECT_EQ(WatchFit(text, 4, 3), "abc\n... 2 more\n");
    EXPECT_EQ(WatchFit("", 4, 3), "");
}
