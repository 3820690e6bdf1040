// SPDX-License-Identifier: Apache-2.0
// sensor_kinds.cpp -- see sensor_kinds.h.
#include "ctl/sensor_kinds.h"

#include <algorithm>
#include <string>

namespace
{

// Any intrusion is critical, as FreeIPMI and what is built on it count it.
constexpr SensorCode kIntrusionCodes[] = {
    {"no intrusion", 520, Health::Ok},
    {"chassis intrusion", 521, Health::Critical},
    {"drive bay intrusion", 522, Health::Critical},
    {"I/O card area intrusion", 523, Health::Critical},
    {"processor area intrusion", 524, Health::Critical},
    {"LAN disconnect", 525, Health::Critical},
    {"unauthorized dock", 526, Health::Critical},
    {"FAN area intrusion", 527, Health::Critical},
};

constexpr SensorCode kPerformanceCodes[] = {
    {"Normal", 19221, Health::Ok},
    {"Others", 19222, Health::Warning},
    {"Thermal Protection", 19223, Health::Warning},
    {"Cooling Capacity changed", 19224, Health::Warning},
    {"Power Capacity changed", 19225, Health::Warning},
    {"User Configuration", 19226, Health::Warning},
};

constexpr SensorKind kKinds[] = {
    // clang-format off
    {1,   1, StateFrom::StatusText, "temperature",      "temperatures1",        "tempsensor",    "C"},
    {2,   1, StateFrom::StatusText, "voltage",          "voltages1",            "numericsensor", "V"},
    {2,   2, StateFrom::State,      "voltage",          "voltages1",            "voltsensor",    nullptr},
    {3,   1, StateFrom::StatusText, kPowerKindName,     "powermonitor1",        "numericsensor", "W"},
    {4,   1, StateFrom::StatusText, "fan",              "fans1",                "tachsensor",    "RPM"},
    {4,   3, StateFrom::State,      "fan_redundancy",   "fans1",                "redundancyset", nullptr},
    {5,   2, StateFrom::StateValue, "intrusion",        "intrusion1",           "sensor",        nullptr,
     kIntrusionCodes, &kIntrusionCodes[0]},
    {8,   2, StateFrom::State,      "power_supply",     "powersupplies1",       "pwrsupply",     nullptr},
    {8,   3, StateFrom::State,      "power_redundancy", "powersupplies1",       "redundancyset", nullptr},
    {41,  2, StateFrom::State,      "battery",          "batteries1",           "sensor",        nullptr},
    {192, 2, StateFrom::StateValue, "performance",      "hardwareperformance1", "sensor",        nullptr,
     kPerformanceCodes, &kPerformanceCodes[1]},
    // clang-format on
};

struct WordRow {
    std::string_view word;  // in lower case
    Health health;
};

// Whole states.
constexpr WordRow kStates[] = {
    {"normal", Health::Ok},
    {"good", Health::Ok},
    {"ok", Health::Ok},
    {"warning", Health::Warning},
    {"low", Health::Warning},
    {"failed", Health::Critical},
    {"bad", Health::Critical},
    {"unknown", Health::Unknown},
    {"absent", Health::Unknown},
    {"none", Health::Unknown},
    {"non-recoverable", Health::Critical},
};

// Parts of what sources write, the worst first. "lost" is in "Redundancy Lost" and "Power Supply
// input lost (AC/DC)".
constexpr WordRow kParts[] = {
    {"fail", Health::Critical},
    {"lost", Health::Critical},
    {"insufficient resources", Health::Critical},
    {"out-of-range", Health::Critical},
    {"out of range", Health::Critical},
    {"error", Health::Critical},
    {"critical", Health::Critical},
    {"degrade", Health::Warning},
    {"sufficient resources", Health::Warning},
    {"non-redundant", Health::Warning},
    {"reduced", Health::Warning},
    {"inactive", Health::Warning},
    {"full redundancy", Health::Ok},
    {"fully redundant", Health::Ok},
    {"presence detected", Health::Ok},
    {"present", Health::Ok},
};

// "Non-redundant: Sufficient Resources from Insufficient Resources" is no want of resources: what
// follows "from" is where it comes from.
std::string_view WithoutPast(std::string_view state)
{
    return state.substr(0, state.find(" from "));
}

std::string Lower(std::string_view text)
{
    std::string lower(text);
    for (char &c : lower)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return lower;
}

}  // namespace

const char *HealthName(Health health)
{
    static constexpr const char *kNames[] = {"ok", "warning", "critical", "unknown"};
    return kNames[static_cast<size_t>(health)];
}

std::span<const SensorKind> SensorKinds()
{
    return kKinds;
}

const SensorKind *SensorKindOf(u8 type, u8 format)
{
    for (const SensorKind &kind : kKinds) {
        if (kind.type == type && kind.format == format)
            return &kind;
    }
    return nullptr;
}

const char *SensorKindName(const SensorKind &kind, std::string_view sensorName)
{
    const bool amperes =
        kind.name == kPowerKindName && sensorName.find("Current") != std::string_view::npos;
    return amperes ? kCurrentKindName : kind.name;
}

std::string_view SensorUnit(std::string_view unit)
{
    struct UnitRow {
        std::string_view source;
        std::string_view unit;
    };
    static constexpr UnitRow kUnits[] = {
        {"Cel", "C"}, {"degrees C", "C"}, {"Volts", "V"}, {"Amps", "A"}, {"Watts", "W"},
    };
    for (const UnitRow &row : kUnits) {
        if (row.source == unit)
            return row.unit;
    }
    return unit;
}

Health HealthOfState(std::string_view state)
{
    const std::string lower = Lower(state);
    for (const WordRow &row : kStates) {
        if (row.word == lower)
            return row.health;
    }
    const std::string_view now = WithoutPast(lower);
    for (const WordRow &row : kParts) {
        if (now.find(row.word) != std::string_view::npos)
            return row.health;
    }
    return Health::Unknown;
}
