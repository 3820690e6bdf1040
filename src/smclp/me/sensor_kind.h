// SPDX-License-Identifier: Apache-2.0
// sensor_kind.h -- what the sensor kinds share: the sources of their properties.
#ifndef SMCLP_ME_SENSOR_KIND_H
#define SMCLP_ME_SENSOR_KIND_H

#include "objmgr/schema.h"
#include "smclp/me/element_kind.h"
#include "smclp/me/sensapi.h"

// Reads a property of sensor number `instance` of one kind: get_sensor_data with the kind's pair.
using SensorReader = u32 (*)(u32 instance, char *out, const char *property);

// A numeric state of the object manager and the text that is shown for it.
struct StateCode {
    u32 code;
    const char *text;
};

// What the sources need to know of a kind. Of states and codes a kind has at most one.
struct SensorKind {
    SensorReader read;
    std::span<const char *const> states = {};  // for FromStates
    std::span<const StateCode> codes = {};     // for FromStateCode and FromStateCodes
    const char *defaultState = nullptr;        // for a code that is not in `codes`
};

// The states of every kind with a reading.
constexpr const char *kThresholdStateText[] = {"unknown", "normal", "warning", "failed",
                                               "non-recoverable"};

// Sources. A failed read is kMeFailed and leaves the value empty.
u32 FromSystemName(const PropertyRequest &request);  // the host's service tag
u32 FromNumber(const PropertyRequest &request);      // the argument, then the instance number
u32 FromSensor(const PropertyRequest &request);      // argument: property of the sensor
u32 FromStates(const PropertyRequest &request);      // the kind's states, as a list
u32 FromStateCode(const PropertyRequest &request);   // argument: property holding the code
u32 FromStateCodes(const PropertyRequest &request);  // the texts of the kind's codes, as a list

#endif
