// SPDX-License-Identifier: Apache-2.0
// sensor_state.cpp -- see sensor_state.h. Event/reading types and their states: IPMI 2.0, table
// 42-2; 0x6F: table 42-3.
#include "objmgrd/ipmi/sensor_state.h"

#include "objmgrd/ipmi/event_words.h"
#include "objmgrd/ipmi/sensor_type.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr u16 Bit(u32 n)
{
    return static_cast<u16>(1u << n);
}

constexpr u16 kAlways = 0;

constexpr u8 kAsserted = 0x03;      // 0 deasserted, 1 asserted
constexpr u8 kLimit = 0x05;         // 0 not exceeded, 1 exceeded
constexpr u8 kPerformance = 0x06;   // 0 met, 1 lags
constexpr u8 kSeverity = 0x07;      // 0 OK, 1 to 6 not, 7 monitor, 8 informational
constexpr u8 kPresence = 0x08;      // 0 absent, 1 present
constexpr u8 kAvailability = 0x0A;  // 0 running, 3 on line, 6 degraded, 8 install error...
constexpr u8 kOwn = kSdrEventSensorSpecific;

// Of kSeverity: 1 non-critical and 4 the same from worse; 2, 3, 5, 6 critical and worse.
constexpr u16 kNotOk = 0x7e;
constexpr u16 kCritical = Bit(2) | Bit(3) | Bit(5) | Bit(6);
constexpr u16 kNonCritical = Bit(1) | Bit(4);
// Of kAvailability.
constexpr u16 kRuns = Bit(0) | Bit(3);
constexpr u16 kDegraded = Bit(6);
constexpr u16 kInstallError = Bit(8);

// A state of a sensor of this type and event/reading type is `word` when one of `bits` is set; the
// first row that fits counts, and one without bits always fits.
struct StateRow {
    u8 type;
    u8 eventType;
    u16 bits;
    const char *word;
};

constexpr StateRow kStateRows[] = {
    {kTypeVoltage, kAsserted, Bit(1), "good"},  // what is asserted is that power is good
    {kTypeVoltage, kAsserted, Bit(0), "bad"},
    {kTypeVoltage, kAsserted, kAlways, "unknown"},
    {kTypeVoltage, kLimit, Bit(1), "bad"},
    {kTypeVoltage, kLimit, kAlways, "good"},
    {kTypeVoltage, kSeverity, kNotOk, "bad"},
    {kTypeVoltage, kSeverity, kAlways, "good"},
    {kTypeVoltage, kAvailability, kDegraded | kInstallError, "bad"},
    {kTypeVoltage, kAvailability, kRuns, "good"},
    {kTypeVoltage, kAvailability, kAlways, "unknown"},
    {kTypeBattery, kLimit, Bit(1), "low"},
    {kTypeBattery, kLimit, Bit(0), "good"},
    {kTypeBattery, kLimit, kAlways, "unknown"},
    {kTypeBattery, kSeverity, kCritical, "failed"},
    {kTypeBattery, kSeverity, kNonCritical, "low"},
    {kTypeBattery, kSeverity, kAlways, "good"},
    {kTypeBattery, kPresence, Bit(0), "absent"},
    {kTypeBattery, kPresence, Bit(1), "good"},
    {kTypeBattery, kPresence, kAlways, "unknown"},
    {kTypeBattery, kAvailability, kInstallError, "failed"},
    {kTypeBattery, kAvailability, kDegraded, "low"},
    {kTypeBattery, kAvailability, kRuns, "good"},
    {kTypeBattery, kAvailability, kAlways, "unknown"},
    {kTypeBattery, kOwn, Bit(1), "failed"},
    {kTypeBattery, kOwn, Bit(0), "low"},
    {kTypeBattery, kOwn, Bit(2), "good"},
    {kTypeBattery, kOwn, kAlways, "absent"},
};

// The code of a state: `none` where no bit of `bits` is set, else `first`, plus the number of the
// lowest one where `counted`.
struct CodeRow {
    u8 type;
    u8 eventType;
    u16 bits;
    u32 none;
    u32 first;
    bool counted;
};

constexpr u32 kNoIntrusion = 520;
constexpr u32 kIntrusion = 521;
constexpr u32 kNormal = 19221;
constexpr u32 kOthers = 19222;

constexpr CodeRow kCodeRows[] = {
    {kTypeIntrusion, kOwn, 0x7f, kNoIntrusion, kIntrusion, true},
    {kTypeIntrusion, kAsserted, Bit(1), kNoIntrusion, kIntrusion, false},
    {kTypeIntrusion, kSeverity, kNotOk, kNoIntrusion, kIntrusion, false},
    {kTypePerformance, kOwn, 0x3e, kNormal, kNormal, true},  // bit 0 says that all is normal
    {kTypePerformance, kAsserted, Bit(1), kNormal, kOthers, false},
    {kTypePerformance, kLimit, Bit(1), kNormal, kOthers, false},
    {kTypePerformance, kPerformance, Bit(1), kNormal, kOthers, false},
    {kTypePerformance, kSeverity, kNotOk, kNormal, kOthers, false},
    {kTypePerformance, kAvailability, static_cast<u16>(~kRuns), kNormal, kOthers, false},
};

// What makers define themselves counts as the sensor's own states.
u8 EventTypeOf(const SdrSensor &sensor)
{
    return sensor.eventType >= 0x70 && sensor.eventType <= 0x7F ? kOwn : sensor.eventType;
}

const CodeRow *CodeRowOf(const SdrSensor &sensor)
{
    if (SensorFormat(sensor) != kFormatDiscrete)
        return nullptr;
    const CodeRow *row =
        std::find_if(std::begin(kCodeRows), std::end(kCodeRows), [&](const CodeRow &r) {
            return r.type == sensor.type && r.eventType == EventTypeOf(sensor);
        });
    return row != std::end(kCodeRows) ? row : nullptr;
}

bool HasOwnWords(u8 type)
{
    return type == kTypeVoltage || type == kTypeBattery;
}

bool HasCodes(u8 type)
{
    return type == kTypeIntrusion || type == kTypePerformance;
}

const StateRow *StateRowOf(const SdrSensor &sensor, u16 states)
{
    for (const StateRow &row : kStateRows) {
        if (row.type == sensor.type && row.eventType == sensor.eventType &&
            (row.bits == kAlways || (states & row.bits) != 0))
            return &row;
    }
    return nullptr;
}

}  // namespace

bool SensorStatesHavePlace(const SdrSensor &sensor)
{
    if (HasOwnWords(sensor.type))
        return StateRowOf(sensor, 0) != nullptr;
    return !HasCodes(sensor.type) || CodeRowOf(sensor) != nullptr;
}

std::string SensorStateWords(const SdrSensor &sensor, u16 states)
{
    if (SensorFormat(sensor) == kFormatDiscrete) {
        const StateRow *row = StateRowOf(sensor, states);
        if (row != nullptr)
            return row->word;
    }
    std::string words = EventStateWords(sensor.eventType, sensor.type, states);
    if (!words.empty())
        return words;
    if (sensor.type != kTypePowerSupply)
        return "none";
    // A supply's own states begin with its presence; the others do not tell it.
    return EventTypeOf(sensor) == kOwn || SensorFormat(sensor) == kFormatRedundancy ? "absent"
                                                                                    : "unknown";
}

bool SensorHasStateCode(const SdrSensor &sensor)
{
    return CodeRowOf(sensor) != nullptr;
}

std::string SensorStateCode(const SdrSensor &sensor, u16 states)
{
    const CodeRow *row = CodeRowOf(sensor);
    if (row == nullptr)
        return "";
    for (u32 bit = 0; bit < 15; ++bit) {
        if ((row->bits & states & Bit(bit)) != 0)
            return std::to_string(row->first + (row->counted ? bit : 0));
    }
    return std::to_string(row->none);
}
