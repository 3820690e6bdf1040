// SPDX-License-Identifier: Apache-2.0
// sensor_place.cpp -- see sensor_place.h. Numbers of units: IPMI 2.0, table 43-15.
#include "objmgrd/ipmi/sensor_place.h"

#include "objmgrd/ipmi/event_words.h"
#include "objmgrd/ipmi/ipmi_text.h"
#include "objmgrd/ipmi/sensor_state.h"

#include <algorithm>
#include <ctype.h>
#include <iterator>

namespace
{

constexpr u8 kUnspecified = 0;
constexpr u8 kRpm = 18;
constexpr u8 kAmperes = 5;

// Rates of a unit: bits 5 to 3 of the record's byte 21.
constexpr u8 kNoRate = 0;
constexpr u8 kPerSecond = 3;
constexpr u8 kPerMinute = 4;

struct UnitRow {
    u8 base;
    u8 rate;
    u8 type;
    int moreDecimals;  // a step of the record's unit is finer than one of the place's
    const char *unit;
    double before;
    double factor;
};

constexpr UnitRow kUnits[] = {
    {1, kNoRate, kTypeTemperature, 0, "C", 0, 1},
    {2, kNoRate, kTypeTemperature, 1, "C", -32, 5.0 / 9},  // F
    {3, kNoRate, kTypeTemperature, 0, "C", -273.15, 1},    // K
    {4, kNoRate, kTypeVoltage, 0, "V", 0, 1},
    {kAmperes, kNoRate, kTypeCurrent, 0, "A", 0, 1},
    {6, kNoRate, kTypeCurrent, 0, "W", 0, 1},
    {7, kPerSecond, kTypeCurrent, 0, "W", 0, 1},  // joules per second
    {kRpm, kNoRate, kTypeFan, 0, "RPM", 0, 1},
    {41, kPerMinute, kTypeFan, 0, "RPM", 0, 1},  // revolutions
    {41, kPerSecond, kTypeFan, 0, "RPM", 0, 60},
};

u8 RateOf(const SdrSensor &sensor)
{
    return (sensor.unit1 >> 3) & 0x7;
}

// A second unit that the first is multiplied with or divided by; some records name none.
bool HasModifier(const SdrSensor &sensor)
{
    return ((sensor.unit1 >> 1) & 0x3) != 0 && sensor.modifierUnit != kUnspecified;
}

bool IsPercentage(const SdrSensor &sensor)
{
    return (sensor.unit1 & 0x1) != 0;
}

const UnitRow *UnitRowOf(const SdrSensor &sensor)
{
    if (HasModifier(sensor) || IsPercentage(sensor))
        return nullptr;
    const UnitRow *row = std::find_if(std::begin(kUnits), std::end(kUnits), [&](const UnitRow &r) {
        return r.base == sensor.baseUnit && r.rate == RateOf(sensor);
    });
    return row != std::end(kUnits) ? row : nullptr;
}

bool IsPercentFan(const SdrSensor &sensor)
{
    return sensor.type == kTypeFan && IsPercentage(sensor) && !HasModifier(sensor) &&
           RateOf(sensor) == kNoRate &&
           (sensor.baseUnit == kUnspecified || sensor.baseUnit == kRpm);
}

constexpr char kCurrent[] = "Current";

bool SameLetters(char a, char b)
{
    return tolower(static_cast<unsigned char>(a)) == tolower(static_cast<unsigned char>(b));
}

// Clients find "Current" in it, spelt like that.
std::string NameForAmperes(std::string name)
{
    const char *end = kCurrent + sizeof kCurrent - 1;
    const auto at = std::search(name.begin(), name.end(), kCurrent, end, SameLetters);
    if (at == name.end())
        return name + " " + kCurrent;
    std::copy(static_cast<const char *>(kCurrent), end, at);
    return name;
}

// Clients do not.
std::string NameForWatts(std::string name)
{
    for (size_t at = 0; (at = name.find(kCurrent, at)) != std::string::npos; ++at)
        name[at] = 'c';
    return name;
}

SensorPlace PlaceOfThresholdSensor(const SdrSensor &sensor)
{
    if (IsPercentFan(sensor))
        return {.type = kTypeFan, .name = sensor.name, .unit = "%", .suffix = " %"};
    const UnitRow *row = UnitRowOf(sensor);
    if (row == nullptr)
        return {.name = sensor.name, .unit = SensorUnitLongWords(sensor)};
    SensorPlace place = {.type = row->type,
                         .name = sensor.name,
                         .unit = row->unit,
                         .before = row->before,
                         .factor = row->factor,
                         .moreDecimals = row->moreDecimals};
    if (place.type == kTypeCurrent)
        place.name =
            sensor.baseUnit == kAmperes ? NameForAmperes(sensor.name) : NameForWatts(sensor.name);
    return place;
}

}  // namespace

SensorPlace SensorPlaceOf(const SdrSensor &sensor)
{
    // Without numbers there is no unit that could be wrong.
    if (SensorFormat(sensor) == kFormatThreshold && sensor.analog)
        return PlaceOfThresholdSensor(sensor);
    const bool fits = SensorFormat(sensor) != kFormatDiscrete || SensorStatesHavePlace(sensor);
    return {.type = fits ? sensor.type : kTypeNoPlace, .name = sensor.name, .unit = ""};
}

std::string SensorsWithoutPlace(const SdrRepository &repository)
{
    std::string all;
    for (const SdrSensor &sensor : repository.sensors) {
        const SensorPlace place = SensorPlaceOf(sensor);
        if (place.type != kTypeNoPlace)
            continue;
        all += all.empty() ? "" : ", ";
        all += sensor.name;
        if (SensorFormat(sensor) == kFormatThreshold)
            all += place.unit.empty() ? " (no unit)" : " (" + place.unit + ")";
        else
            all += " (event type 0x" + IpmiHex(&sensor.eventType, 1) + ")";
    }
    return all;
}
