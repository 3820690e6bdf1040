// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/sensor_place: every unit of IPMI's table with every kind of target.
#include "objmgrd/ipmi/sensor_place.h"

#include <gtest/gtest.h>

namespace
{

SdrSensor Sensor(u8 type, u8 baseUnit, u8 unit1 = 0, const char *name = "S")
{
    SdrSensor sensor;
    sensor.name = name;
    sensor.type = type;
    sensor.eventType = kSdrEventThreshold;
    sensor.analog = true;
    sensor.m = 1;
    sensor.baseUnit = baseUnit;
    sensor.unit1 = unit1;
    return sensor;
}

struct UnitRow {
    u8 type;  // of the place; 0: none
    const char *unit;
};

// By number of the unit. Those that no place fits are told in IPMI's words.
const UnitRow kUnits[] = {
    {0, ""},                     // 0
    {1, "C"},                    // 1: degrees C
    {1, "C"},                    // 2: degrees F
    {1, "C"},                    // 3: degrees K
    {2, "V"},                    // 4: Volts
    {3, "A"},                    // 5: Amps
    {3, "W"},                    // 6: Watts
    {0, "Joules"},               // 7
    {0, "Coulombs"},             // 8
    {0, "VA"},                   // 9
    {0, "Nits"},                 // 10
    {0, "Lumen"},                // 11
    {0, "Lux"},                  // 12
    {0, "Candela"},              // 13
    {0, "kPA"},                  // 14
    {0, "PSI"},                  // 15
    {0, "Newton"},               // 16
    {0, "CFM"},                  // 17
    {4, "RPM"},                  // 18: RPM
    {0, "Hz"},                   // 19
    {0, "microsecond"},          // 20
    {0, "millisecond"},          // 21
    {0, "second"},               // 22
    {0, "minute"},               // 23
    {0, "hour"},                 // 24
    {0, "day"},                  // 25
    {0, "week"},                 // 26
    {0, "mil"},                  // 27
    {0, "inches"},               // 28
    {0, "feet"},                 // 29
    {0, "cu in"},                // 30
    {0, "cu feet"},              // 31
    {0, "mm"},                   // 32
    {0, "cm"},                   // 33
    {0, "m"},                    // 34
    {0, "cu cm"},                // 35
    {0, "cu m"},                 // 36
    {0, "liters"},               // 37
    {0, "fluid Ounce"},          // 38
    {0, "radians"},              // 39
    {0, "steradians"},           // 40
    {0, "revolutions"},          // 41
    {0, "cycles"},               // 42
    {0, "gravities"},            // 43
    {0, "ounce"},                // 44
    {0, "pound"},                // 45
    {0, "ft-lb"},                // 46
    {0, "oz-in"},                // 47
    {0, "gauss"},                // 48
    {0, "gilberts"},             // 49
    {0, "henry"},                // 50
    {0, "millihenry"},           // 51
    {0, "farad"},                // 52
    {0, "microfarad"},           // 53
    {0, "ohms"},                 // 54
    {0, "siemens"},              // 55
    {0, "mole"},                 // 56
    {0, "becquerel"},            // 57
    {0, "PPM"},                  // 58
    {0, "reserved"},             // 59
    {0, "Decibels"},             // 60
    {0, "DbA"},                  // 61
    {0, "DbC"},                  // 62
    {0, "gray"},                 // 63
    {0, "sievert"},              // 64
    {0, "color temp deg K"},     // 65
    {0, "bit"},                  // 66
    {0, "kilobit"},              // 67
    {0, "megabit"},              // 68
    {0, "gigabit"},              // 69
    {0, "byte"},                 // 70
    {0, "kilobyte"},             // 71
    {0, "megabyte"},             // 72
    {0, "gigabyte"},             // 73
    {0, "word"},                 // 74
    {0, "dword"},                // 75
    {0, "qword"},                // 76
    {0, "line"},                 // 77
    {0, "hit"},                  // 78
    {0, "miss"},                 // 79
    {0, "retry"},                // 80
    {0, "reset"},                // 81
    {0, "overrun / overflow"},   // 82
    {0, "underrun"},             // 83
    {0, "collision"},            // 84
    {0, "packets"},              // 85
    {0, "messages"},             // 86
    {0, "characters"},           // 87
    {0, "error"},                // 88
    {0, "correctable Error"},    // 89
    {0, "uncorrectable Error"},  // 90
    {0, "fatal Error"},          // 91
    {0, "grams"},                // 92
};

}  // namespace

TEST(SensorPlace, EveryUnitDecidesThePlaceOfEveryType)
{
    static_assert(std::size(kUnits) == 93);
    for (u8 unit = 0; unit < std::size(kUnits); ++unit) {
        for (const u8 type : std::initializer_list<u8>{1, 2, 3, 4, 7, 8, 11, 12, 192}) {
            const SensorPlace place = SensorPlaceOf(Sensor(type, unit));
            EXPECT_EQ(place.type, kUnits[unit].type) << "unit " << int{unit};
            EXPECT_EQ(place.unit, kUnits[unit].unit) << "unit " << int{unit};
        }
    }
    EXPECT_EQ(SensorPlaceOf(Sensor(1, 93)).type, 0);
    EXPECT_EQ(SensorPlaceOf(Sensor(1, 255)).type, 0);
}

TEST(SensorPlace, APercentageIsAFansAlone)
{
    for (const u8 unit : std::initializer_list<u8>{0, 18}) {
        const SensorPlace fan = SensorPlaceOf(Sensor(4, unit, 0x1));
        EXPECT_EQ(fan.type, 4);
        EXPECT_EQ(fan.unit, "%");
        EXPECT_STREQ(fan.suffix, " %");
        for (const u8 type : std::initializer_list<u8>{1, 2, 3, 11})
            EXPECT_EQ(SensorPlaceOf(Sensor(type, unit, 0x1)).type, 0);
    }
    EXPECT_EQ(SensorPlaceOf(Sensor(4, 4, 0x1)).type, 0);
    EXPECT_EQ(SensorPlaceOf(Sensor(2, 4, 0x1)).unit, "% Volts");
}

TEST(SensorPlace, RatesAndSecondUnits)
{
    for (u8 rate = 0; rate < 8; ++rate) {
        const u8 unit1 = static_cast<u8>(rate << 3);
        EXPECT_EQ(SensorPlaceOf(Sensor(11, 7, unit1)).type, rate == 3 ? 3 : 0) << int{rate};
        EXPECT_EQ(SensorPlaceOf(Sensor(4, 41, unit1)).type, rate == 3 || rate == 4 ? 4 : 0);
        EXPECT_EQ(SensorPlaceOf(Sensor(1, 1, unit1)).type, rate == 0 ? 1 : 0);
        EXPECT_EQ(SensorPlaceOf(Sensor(4, 0, static_cast<u8>(unit1 | 1))).type, rate == 0 ? 4 : 0);
    }
    for (const u8 modifier : std::initializer_list<u8>{1, 2}) {
        SdrSensor sensor = Sensor(2, 4, static_cast<u8>(modifier << 1));
        EXPECT_EQ(SensorPlaceOf(sensor).type, 2);  // no second unit is named
        sensor.modifierUnit = 18;
        EXPECT_EQ(SensorPlaceOf(sensor).type, 0);
    }
}

// Clients tell amperes from watts by the word "Current" in the name.
TEST(SensorPlace, NamesSayWhichUnitItIs)
{
    const struct {
        const char *name;
        const char *amperes;
        const char *watts;
    } rows[] = {
        {"PS2 Iout", "PS2 Iout Current", "PS2 Iout"},
        {"Current Power", "Current Power", "current Power"},
        {"Current 1 Current", "Current 1 Current", "current 1 current"},
        {"CURRENT", "Current", "CURRENT"},
        {"psu current 2", "psu Current 2", "psu current 2"},
        {"Curren", "Curren Current", "Curren"},
        {"", " Current", ""},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(SensorPlaceOf(Sensor(3, 5, 0, row.name)).name, row.amperes);
        for (const u8 type : std::initializer_list<u8>{3, 8, 11})
            EXPECT_EQ(SensorPlaceOf(Sensor(type, 6, 0, row.name)).name, row.watts);
        EXPECT_EQ(SensorPlaceOf(Sensor(1, 1, 0, row.name)).name, row.name);
    }
}

// No unit can be wrong where there is no number.
TEST(SensorPlace, WithoutNumbersTheTypeDecides)
{
    SdrSensor sensor = Sensor(4, 0);
    sensor.analog = false;
    EXPECT_EQ(SensorPlaceOf(sensor).type, 4);
    sensor.eventType = 0x0B;
    EXPECT_EQ(SensorPlaceOf(sensor).type, 4);
    sensor.eventType = 0x6F;
    sensor.type = 200;
    EXPECT_EQ(SensorPlaceOf(sensor).type, 200);
}

TEST(SensorPlace, WhatHasNoPlaceIsNamedInOneLine)
{
    SdrRepository repository;
    EXPECT_EQ(SensorsWithoutPlace(repository), "");
    repository.sensors = {Sensor(1, 1, 0, "T1")};
    EXPECT_EQ(SensorsWithoutPlace(repository), "");
    SdrSensor enabled = Sensor(5, 0, 0, "Lid");
    enabled.eventType = 0x09;
    repository.sensors = {Sensor(4, 17, 0, "Flow"), Sensor(1, 1, 0, "T1"), Sensor(2, 0, 0, "V"),
                          enabled};
    EXPECT_EQ(SensorsWithoutPlace(repository), "Flow (CFM), V (no unit), Lid (event type 0x09)");
}
