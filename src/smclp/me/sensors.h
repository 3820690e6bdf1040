// SPDX-License-Identifier: Apache-2.0
// sensors.h -- what single sensor kinds offer beside what all of them have (kinds.h).
#ifndef SMCLP_ME_SENSORS_H
#define SMCLP_ME_SENSORS_H

#include "smclp/me/kinds.h"

// Tells amperage sensors from power consumption sensors, which share Type and Format, by their
// name: *flag becomes 1 when it contains "Current" (case matters), else 0. Returns kMeOk, or
// kMeFailed with *flag as it was when the name cannot be read.
u32 is_amperage_sensor(u32 instance, u32 *flag);

// Property `property` of the power supply whose PowerSupplyIndex is the low 8 bits of `index`
// into `out` (kSensorTextSize bytes). Returns kMeOk, or kMeFailed with `out` as it was: traced for
// a missing interface and for a missing or empty text, not for a power supply that does not exist.
u32 get_psinfo(u32 index, char *out, const char *property);

#endif
