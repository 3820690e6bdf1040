// SPDX-License-Identifier: Apache-2.0
// sensor_kinds.cpp -- see sensor_kinds.h.
#include "ctl/sensor_kinds.h"

#include <algorithm>
#include <string>

namespace
{

// Any intrusion is critical, as FreeIPMI and what is built on it count it.
constexpr SensorCode kIntrusionCodes[] = {
    {520, "no intrusion", Health::Ok},
    {521, "chassis intrusion", Health::Critical},
    {522, "drive bay intrusion", Health::Critical},
    {523, "I/O card area intrusion", Health::Critical},
    {524, "processor area intrusion", Health::Critical},
    {525, "LAN disconnect", Health::Critical},
    {526, "unauthorized dock", Health::Critical},
    {527, "FAN area intrusion", Health::Critical},
};

constexpr SensorCode kPerformanceCodes[] = {
    {19221, "Normal", Health::Ok},
    {19222, "Others", Health::Warning},
    {19223, "Thermal Protection", Health::Warning},
    {19224, "Cooling Capacity changed", Health::Warning},
    {19225, "Power Capacity changed", Health::Warning},
    {19226, "User Configuration", Health::Warning},
};

constexpr SensorKind kKinds[] = {
    // clang-format off
    {1,   1, "temperature",      "temperatures1",        "tempsensor",    "C",     StateFrom::StatusText},
    {2,   1, "voltage",          "voltages1",            "numericsensor", "V",     StateFrom::StatusText},
    {2,   2, "voltage",          "voltages1",            "voltsensor",    nullptr, StateFrom::State},
    {3,   1, kPowerKindName,     "powermonitor1",        "numericsensor", "W",     StateFrom::StatusText},
    {4,   1, "fan",              "fans1",                "tachsensor",    "RPM",   StateFrom::StatusText},
    {4,   3, "fan_redundancy",   "fans1",                "redundancyset", nullptr, StateFrom::State},
    {5,   2, "intrusion",        "intrusion1",           "sensor",        nullptr, StateFrom::StateValue,
     kIntrusionCodes, &kIntrusionCodes[0]},
    {8,   2, "power_supply",     "powersupplies1",       "pwrsupply",     nullptr, StateFrom::State},
    {8,   3, "power_redundancy", "powersupplies1",       "redundancyset", nullptr, StateFrom::State},
    {41,  2, "battery",          "batteries1",           "sensor",        nullptr, StateFrom::State},
    {192, 2, "performance",      "hardwareperformance1", "sensor",        nullptr, StateFrom::StateValue,
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
