// SPDX-License-Identifier: Apache-2.0
// sensor_kinds.h -- the kinds of sensors: what the shell calls each, and what its states mean.
//
// The shell has the same in the files of smclp/me/; tests/ctl/sensor_kinds_test.cpp holds this
// table against the shell's own kinds.
#ifndef CTL_SENSOR_KINDS_H
#define CTL_SENSOR_KINDS_H

#include "platform/types.h"

#include <span>
#include <string_view>

// How good a state is, as monitoring counts it.
enum class Health : u8 { Ok, Warning, Critical, Unknown };

// "ok", "warning", "critical", "unknown".
const char *HealthName(Health health);

// The property that a kind's state comes from.
enum class StateFrom : u8 {
    StatusText,  // a word for where the reading stands between its thresholds
    State,       // words of the source's own
    StateValue,  // a number, named by the kind's codes
};

struct SensorCode {
    const char *word;
    u32 code;
    Health health;
};

struct SensorKind {
    u8 type;  // the pair that tells a sensor's kind: OEM_QARN_Sensor's Type and Format
    u8 format;
    StateFrom state;
    const char *name;        // for --type and in answers: "temperature"
    const char *collection;  // the target above: "temperatures1"
    const char *element;     // the target's name without its number: "tempsensor"
    const char *unit;        // of the reading where the source says none; null: no reading
    std::span<const SensorCode> codes = {};  // StateValue alone
    const SensorCode *otherCode = nullptr;   // what a number that is not among them stands for
};

// Type 3 with "Current" in its name measures amperes, the same kind without it watts; both are
// numbered together. These stand for the two.
inline constexpr char kPowerKindName[] = "power";
inline constexpr char kCurrentKindName[] = "current";

std::span<const SensorKind> SensorKinds();

// The kind with this pair; null: the shell has no target for such a sensor.
const SensorKind *SensorKindOf(u8 type, u8 format);

// Whether a sensor of a kind is called so: `kind.name`, or kCurrentKindName where the name says it.
const char *SensorKindName(const SensorKind &kind, std::string_view sensorName);

// A unit as answers have it: sources write degrees Celsius as "C", "Cel" or "degrees C".
std::string_view SensorUnit(std::string_view unit);

// What a state word means. The words of sensors with thresholds and of the kinds with words of
// their own are known exactly; of others, as sources write them ("Presence detected, Failure
// detected"), the worst that is found in them counts.
Health HealthOfState(std::string_view state);

#endif
