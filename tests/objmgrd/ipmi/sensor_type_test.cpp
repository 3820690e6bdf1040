// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sensor_type.
#include "objmgrd/ipmi/sensor_type.h"

#include <gtest/gtest.h>

TEST(SensorType, OfAllEventTypesTwoHaveAFormatOfTheirOwn)
{
    SdrSensor sensor;
    for (u32 eventType = 0; eventType <= 0xFF; ++eventType) {
        sensor.eventType = static_cast<u8>(eventType);
        const u32 expected = eventType == 0x01 ? 1 : eventType == 0x0B ? 3 : 2;
        EXPECT_EQ(SensorFormat(sensor), expected) << eventType;
    }
}

// A sensor with thresholds may give no number, and one with states may give one.
TEST(SensorType, NothingElseInTheRecordDecidesOnTheFormat)
{
    for (const bool analog : {false, true}) {
        for (const u8 type : std::initializer_list<u8>{0, 1, 2, 4, 5, 8, 41, 192, 200, 255}) {
            for (const SdrThresholds thresholds : {SdrThresholds::None, SdrThresholds::Fixed}) {
                SdrSensor sensor;
                sensor.name = "Redundancy";
                sensor.type = type;
                sensor.analog = analog;
                sensor.thresholds = thresholds;
                sensor.eventType = 0x01;
                EXPECT_EQ(SensorFormat(sensor), 1u) << int{type};
                sensor.eventType = 0x0B;
                EXPECT_EQ(SensorFormat(sensor), 3u) << int{type};
                sensor.eventType = 0x6F;
                EXPECT_EQ(SensorFormat(sensor), 2u) << int{type};
            }
        }
    }
}
