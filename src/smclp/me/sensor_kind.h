// SPDX-License-Identifier: Apache-2.0
// sensor_kind.h -- what the sensor kinds share: the sources of their properties.
#ifndef SMCLP_ME_SENSOR_KIND_H
#define SMCLP_ME_SENSOR_KIND_H

#include "objmgr/schema.h"
#include "smclp/me/element_kind.h"
#include "smclp/me/sensapi.h"

// A numeric state of the object manager and the text that is shown for it.
struct StateCode {
    u32 code;
    const char *text;
};

// What the sources need to know of a kind. Of states and codes a kind has at most one.
struct SensorKind {
    u8 type;  // Type and Format of its sensors (sensapi.h)
    u8 format;
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

// Defines what a sensor kind has (kinds.h): its constructor, its slots and its reader.
#define ME_SENSOR_KIND(prefix, reader, kind)                                         \
    u32 reader(u32 instance, char *out, const char *property)                        \
    {                                                                                \
        const SensorKind &sensor = *(kind).sensor;                                   \
        return get_sensor_data(sensor.type, sensor.format, instance, out, property); \
    }                                                                                \
    u32 prefix##InstanceTag()                                                        \
    {                                                                                \
        return get_num_instances((kind).sensor->type, (kind).sensor->format);        \
    }                                                                                \
    ME_ADD_VERBS(prefix, kind)                                                       \
    ME_ADD_PROPERTIES(prefix, kind)                                                  \
    ME_REFRESH_PROPERTIES(prefix, kind)                                              \
    void prefix(ManagedElement *element)                                             \
    {                                                                                \
        ME_FILL_IN(prefix, kind, element);                                           \
    }

#endif
