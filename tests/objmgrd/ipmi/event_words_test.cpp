// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/event_words.
#include "objmgrd/ipmi/event_words.h"

#include <gtest/gtest.h>

TEST(EventWords, StatesAreIpmisOwnWords)
{
    EXPECT_EQ(EventStateWords(0x6F, 8, 0x01), "Presence detected");
    EXPECT_EQ(EventStateWords(0x6F, 8, 0x09), "Presence detected, Power Supply input lost (AC/DC)");
    EXPECT_EQ(EventStateWords(0x0B, 4, 0x01), "Fully Redundant");
    EXPECT_EQ(EventStateWords(0x0B, 8, 0x02), "Redundancy Lost");
    EXPECT_EQ(EventStateWords(0x6F, 8, 0), "");
    EXPECT_EQ(EventStateWords(0x6F, 192, 0x03), "state 0, state 1");
}

TEST(EventWords, Events)
{
    EXPECT_EQ(EventWords(0x01, 1, 9), "Upper Critical - going high");
    EXPECT_EQ(EventWords(0x01, 1, 0), "Lower Non-critical - going low");
    EXPECT_EQ(EventWords(0x6F, 16, 2), "Log Area Reset/Cleared");
    EXPECT_EQ(EventWords(0x01, 1, 15), "");
    EXPECT_EQ(EventWords(0x6F, 192, 3), "");
}

// Whatever a BMC sends leads to words or to none.
TEST(EventWords, AnyNumberIsHarmless)
{
    for (u32 a = 0; a < 256; ++a) {
        for (u32 offset = 0; offset < 16; ++offset) {
            const u8 type = static_cast<u8>(a);
            EXPECT_LT(EventWords(type, 1, static_cast<u8>(offset)).size(), 256u);
            EXPECT_LT(EventWords(0x6F, type, static_cast<u8>(offset)).size(), 256u);
            EXPECT_LT(EventData2Words(type, static_cast<u8>(offset), 0xfe).size(), 256u);
            EXPECT_LT(EventData3Words(type, static_cast<u8>(offset), 1, 0xfe).size(), 256u);
        }
        EXPECT_FALSE(EventStateWords(static_cast<u8>(a), static_cast<u8>(a), 0x7fff).empty());
        EXPECT_FALSE(SensorTypeWords(static_cast<u8>(a)).empty());
    }
}

TEST(EventWords, TypesAndUnits)
{
    EXPECT_EQ(SensorTypeWords(1), "Temperature");
    EXPECT_EQ(SensorTypeWords(0x50), "Sensor type 0x50");
    SdrSensor sensor;
    EXPECT_EQ(SensorUnitWords(sensor), "");
    sensor.unit1 = 1;
    EXPECT_EQ(SensorUnitWords(sensor), "%");
    sensor.unit1 = 0;
    sensor.baseUnit = 1;
    EXPECT_EQ(SensorUnitWords(sensor), "C");
    sensor.baseUnit = 18;
    EXPECT_EQ(SensorUnitWords(sensor), "RPM");
    for (u32 a = 0; a < 256; ++a) {
        sensor.unit1 = sensor.baseUnit = sensor.modifierUnit = static_cast<u8>(a);
        EXPECT_LT(SensorUnitWords(sensor).size(), 256u);
    }
}
