// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sensor_map: what each kind of sensor is served as.
#include "objmgrd/ipmi/sensor_map.h"

#include "objmgrd/ipmi/fake_bmc.h"

#include <gtest/gtest.h>

namespace
{

SdrSensor SensorOf(u8 type, u8 eventType)
{
    SdrSensor sensor;
    sensor.name = "S";
    sensor.type = type;
    sensor.eventType = eventType;
    sensor.analog = eventType == 0x01;
    sensor.m = sensor.analog ? 1 : 0;
    sensor.baseUnit = sensor.analog ? UnitOfType(type) : u8{0};
    return sensor;
}

SensorReading Good(u8 raw, u16 states)
{
    SensorReading reading;
    reading.valid = reading.hasStates = true;
    reading.raw = raw;
    reading.states = states;
    return reading;
}

// A property's text, "status N" or "none".
std::string Value(const SdrSensor &sensor, const SensorReading &reading, const char *name)
{
    for (const PropertyValue &property : SensorInstance(1, sensor, reading).properties) {
        if (property.name == name)
            return property.status == kCimOk ? property.text
                                             : "status " + std::to_string(property.status);
    }
    return "none";
}

}  // namespace

TEST(SensorMap, KeyTypeFormatAndName)
{
    EXPECT_EQ(SensorKey(3), "OEM_QARN_Sensor.Index=3");
    const Instance instance = SensorInstance(7, SensorOf(4, 0x01), Good(1, 0));
    EXPECT_EQ(instance.status, kCimOk);
    ASSERT_GE(instance.properties.size(), 4u);
    EXPECT_EQ(instance.properties[0].text, "7");
    EXPECT_EQ(instance.properties[1].text, "4");
    EXPECT_EQ(instance.properties[2].text, "1");
    EXPECT_EQ(instance.properties[3].text, "S");
    EXPECT_EQ(Value(SensorOf(4, 0x0B), Good(0, 1), "Format"), "3");
    for (const u8 eventType : Bytes{0x02, 0x03, 0x05, 0x07, 0x0A, 0x0C, 0x6F, 0x70})
        EXPECT_EQ(Value(SensorOf(4, eventType), Good(0, 1), "Format"), "2");
    EXPECT_EQ(Value(SensorOf(200, 0x6F), Good(0, 1), "Type"), "200");
}

TEST(SensorMap, ReadingsHaveTheDecimalsOfTheRecord)
{
    struct Row {
        int16_t m;
        int16_t b;
        int8_t bExponent;
        int8_t rExponent;
        u8 format;
        u8 raw;
        const char *text;
    };
    const Row rows[] = {
        {1, 0, 0, 0, 0, 23, "23"},      {1, -40, 0, 0, 0, 12, "-28"},
        {75, 0, 0, 0, 0, 56, "4200"},   {63, 0, 0, -3, 0, 193, "12.159"},
        {1, 0, 0, -2, 0, 96, "0.96"},   {2, 0, 0, -1, 0, 9, "1.8"},
        {1, 0, 0, 2, 0, 5, "500"},      {1, 0, 0, 0, 2, 0xff, "-1"},
        {1, 0, 0, 0, 1, 0xfe, "-1"},    {-1, 0, 0, 0, 0, 0, "0"},
        {1, 5, 1, -1, 0, 10, "6.0"},    {1, 0, 0, -8, 0, 255, "0.00000255"},
        {1, 0, 0, 0, 2, 0x7f, "127"},   {1, 0, 0, 0, 2, 0x80, "-128"},
        {1, 0, 0, 0, 1, 0x7f, "127"},   {1, 0, 0, 0, 1, 0x80, "-127"},
        {1, 0, 0, 0, 1, 0xff, "0"},     {1, 0, 0, 0, 0, 0x80, "128"},
        {2, -5, 0, 0, 2, 0xfd, "-11"},  {-512, 0, 0, 0, 2, 0x80, "65536"},
        {5, 0, 0, -1, 2, 0xf6, "-5.0"}, {5, 0, 0, -1, 1, 0xf5, "-5.0"},
    };
    for (const Row &row : rows) {
        SdrSensor sensor = SensorOf(1, 0x01);
        sensor.m = row.m;
        sensor.b = row.b;
        sensor.bExponent = row.bExponent;
        sensor.rExponent = row.rExponent;
        sensor.analogFormat = row.format;
        EXPECT_EQ(SensorValueText(sensor, row.raw), row.text);
        EXPECT_EQ(Value(sensor, Good(row.raw, 0), "Reading"), row.text);
    }
}

TEST(SensorMap, AValueThatIsNoNumberIsNotAvailable)
{
    SdrSensor sensor = SensorOf(1, 0x01);
    sensor.linearization = 1;  // the natural logarithm
    EXPECT_EQ(SensorValueText(sensor, 0), "N/A");
    sensor.linearization = 7;  // 1/x: a fan that stands still
    EXPECT_EQ(SensorValueText(sensor, 0), "0.00");
    EXPECT_EQ(SensorValueText(sensor, 4), "0.25");
    sensor.linearization = 8;  // x squared
    EXPECT_EQ(SensorValueText(sensor, 4), "16.0");
    EXPECT_EQ(SensorValueText(sensor, 12), "144");
    sensor.linearization = 0x71;  // not linear, with factors of its own
    EXPECT_EQ(SensorValueText(sensor, 4), "N/A");
    sensor = SensorOf(1, 0x01);
    sensor.analog = false;
    EXPECT_EQ(Value(sensor, Good(4, 0), "Reading"), "N/A");
    EXPECT_EQ(Value(sensor, Good(4, 2), "StatusText"), "failed");
}

TEST(SensorMap, AnyRecordAndReadingIsHarmless)
{
    SdrSensor sensor = SensorOf(1, 0x01);
    for (int m : {-512, -1, 0, 1, 511}) {
        for (int exponent : {-8, 0, 7}) {
            for (u8 linearization = 0; linearization < 128; ++linearization) {
                sensor.m = static_cast<int16_t>(m);
                sensor.b = static_cast<int16_t>(-m);
                sensor.rExponent = sensor.bExponent = static_cast<int8_t>(exponent);
                sensor.linearization = linearization;
                for (const u8 raw : Bytes{0, 1, 127, 128, 255})
                    EXPECT_FALSE(SensorValueText(sensor, raw).empty());
            }
        }
    }
}

TEST(SensorMap, ThresholdsThatTheSensorHas)
{
    const SdrSensor sensor = SensorOf(1, 0x01);
    SensorReading reading = Good(20, 0);
    for (u8 i = 0; i < 6; ++i)
        reading.thresholds[i] = static_cast<u8>(10 + i);
    const struct {
        const char *name;
        u8 bit;
        const char *text;
    } rows[] = {{"WarningThresholdMin", 0, "10"},
                {"FailThresholdMin", 1, "11"},
                {"WarningThresholdMax", 3, "13"},
                {"FailThresholdMax", 4, "14"}};
    for (const auto &row : rows) {
        reading.thresholdMask = static_cast<u8>(1 << row.bit);
        for (const auto &other : rows)
            EXPECT_EQ(Value(sensor, reading, other.name), &row == &other ? row.text : "N/A");
    }
    // They are what they are, also when there is no reading.
    reading.valid = false;
    EXPECT_EQ(Value(sensor, reading, "FailThresholdMax"), "14");
}

TEST(SensorMap, TheStatusIsThatOfTheWorstBit)
{
    const SdrSensor sensor = SensorOf(1, 0x01);
    const struct {
        u16 states;
        const char *text;
    } rows[] = {{0x00, "normal"},          {0x01, "warning"}, {0x08, "warning"},
                {0x02, "failed"},          {0x10, "failed"},  {0x04, "non-recoverable"},
                {0x20, "non-recoverable"}, {0x03, "failed"},  {0x07, "non-recoverable"},
                {0x38, "non-recoverable"}, {0x18, "failed"}};
    for (const auto &row : rows)
        EXPECT_EQ(Value(sensor, Good(1, row.states), "StatusText"), row.text) << row.states;
}

TEST(SensorMap, WithoutAReadingNothingIsTold)
{
    const SensorReading none;
    EXPECT_EQ(Value(SensorOf(1, 0x01), none, "Reading"), "N/A");
    EXPECT_EQ(Value(SensorOf(1, 0x01), none, "StatusText"), "unknown");
    EXPECT_EQ(Value(SensorOf(2, 0x03), none, "State"), "unknown");
    EXPECT_EQ(Value(SensorOf(41, 0x6F), none, "State"), "unknown");
    EXPECT_EQ(Value(SensorOf(8, 0x6F), none, "State"), "unknown");
    EXPECT_EQ(Value(SensorOf(8, 0x6F), none, "StatusText"), "unknown");
    EXPECT_EQ(Value(SensorOf(4, 0x0B), none, "State"), "unknown");
    // The words for codes have none that says so.
    EXPECT_EQ(Value(SensorOf(5, 0x6F), none, "StateValue"), "status 1");
    EXPECT_EQ(Value(SensorOf(192, 0x6F), none, "StateValue"), "status 1");
    SensorReading withoutStates = Good(5, 0);
    withoutStates.hasStates = false;
    EXPECT_EQ(Value(SensorOf(1, 0x01), withoutStates, "Reading"), "5");
    EXPECT_EQ(Value(SensorOf(1, 0x01), withoutStates, "StatusText"), "unknown");
    EXPECT_EQ(Value(SensorOf(41, 0x6F), withoutStates, "State"), "unknown");
}

TEST(SensorMap, WhatIsRefusedHasTheStatusForIt)
{
    SensorReading denied;
    denied.denied = true;
    EXPECT_EQ(Value(SensorOf(1, 0x01), denied, "Reading"), "status 2");
    EXPECT_EQ(Value(SensorOf(1, 0x01), denied, "StatusText"), "status 2");
    EXPECT_EQ(Value(SensorOf(1, 0x01), denied, "Type"), "1");
    EXPECT_EQ(Value(SensorOf(2, 0x03), denied, "State"), "status 2");
    EXPECT_EQ(Value(SensorOf(5, 0x6F), denied, "StateValue"), "status 2");
}

TEST(SensorMap, ReadingsAndThresholdsAreInTheUnitOfThePlace)
{
    const struct {
        u8 baseUnit;
        u8 unit1;
        u8 type;
        u8 raw;
        int8_t rExponent;
        const char *place;
        const char *text;
    } rows[] = {
        {1, 0, 1, 54, 0, "1", "54"},       {2, 0, 1, 54, 0, "1", "12.2"},
        {2, 0, 1, 32, 0, "1", "0.0"},      {2, 0, 1, 0, 0, "1", "-17.8"},
        {3, 0, 1, 255, 0, "1", "-18"},     {3, 0, 1, 255, -2, "1", "-270.60"},
        {18, 0, 4, 12, 2, "4", "1200"},    {18, 1, 4, 23, 0, "4", "23 %"},
        {0, 1, 4, 23, 0, "4", "23 %"},     {41, 3 << 3, 4, 20, 0, "4", "1200"},
        {41, 4 << 3, 4, 20, 0, "4", "20"}, {7, 3 << 3, 11, 172, 0, "3", "172"},
    };
    for (const auto &row : rows) {
        SdrSensor sensor = SensorOf(row.type, 0x01);
        sensor.baseUnit = row.baseUnit;
        sensor.unit1 = row.unit1;
        sensor.rExponent = row.rExponent;
        SensorReading reading = Good(row.raw, 0);
        reading.thresholdMask = 1u << kUpperCritical;
        reading.thresholds[kUpperCritical] = row.raw;
        EXPECT_EQ(Value(sensor, reading, "Type"), row.place) << int{row.baseUnit};
        EXPECT_EQ(Value(sensor, reading, "Reading"), row.text) << int{row.baseUnit};
        EXPECT_EQ(Value(sensor, reading, "FailThresholdMax"), row.text) << int{row.baseUnit};
        EXPECT_EQ(Value(sensor, reading, "WarningThresholdMax"), "N/A");
    }
}

TEST(SensorMap, StatesAreThoseOfTheKind)
{
    EXPECT_EQ(Value(SensorOf(2, 0x03), Good(0, 2), "State"), "good");
    EXPECT_EQ(Value(SensorOf(2, 0x03), Good(0, 2), "StatusText"), "good");
    EXPECT_EQ(Value(SensorOf(2, 0x03), Good(0, 2), "StateValue"), "none");
    EXPECT_EQ(Value(SensorOf(5, 0x03), Good(0, 1), "StateValue"), "520");
    EXPECT_EQ(Value(SensorOf(5, 0x03), Good(0, 2), "StateValue"), "521");
    EXPECT_EQ(Value(SensorOf(5, 0x09), Good(0, 2), "Type"), "0");
    EXPECT_EQ(Value(SensorOf(5, 0x09), Good(0, 2), "StateValue"), "none");
}

// For tools: the shell says units by the place alone.
TEST(SensorMap, TheInstanceSaysTheUnitOfItsReading)
{
    EXPECT_EQ(SensorInstance(1, SensorOf(1, 0x01), Good(1, 0)).unit, "C");
    EXPECT_EQ(SensorInstance(1, SensorOf(4, 0x01), Good(1, 0)).unit, "RPM");
    EXPECT_EQ(SensorInstance(1, SensorOf(41, 0x6F), Good(1, 0)).unit, "");
}
