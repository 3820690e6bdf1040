// SPDX-License-Identifier: Apache-2.0
// sensors.h -- the sensor kinds, one file each.
//
// Every kind counts its instances with get_num_instances and reads them through its reader; its
// RefreshProperties is MeRefreshFromTable on the kind's table (element_kind.h).
#ifndef SMCLP_ME_SENSORS_H
#define SMCLP_ME_SENSORS_H

#include "smclp/me/kinds.h"

// Slots of the kinds (contracts: me.h).
#define ME_DECLARE_SENSOR(kind)                       \
    u32 kind##InstanceTag();                          \
    u32 kind##AddVerbs(ManagedElement *element);      \
    u32 kind##AddProperties(ManagedElement *element); \
    u32 kind##RefreshProperties(ManagedElement *element, const char *name, char *value, u32 length);
ME_SENSOR_KINDS(ME_DECLARE_SENSOR)
#undef ME_DECLARE_SENSOR

// The readers: property `property` of sensor number `instance` (from 1) of the kind into `out`
// (kSensorTextSize bytes). Results: get_sensor_data (sensapi.h).
u32 get_tachdata(u32 instance, char *out, const char *property);
u32 get_tempdata(u32 instance, char *out, const char *property);
u32 get_voltdata(u32 instance, char *out, const char *property);
u32 get_volt_num_data(u32 instance, char *out, const char *property);
u32 get_batdata(u32 instance, char *out, const char *property);
u32 get_intrdata(u32 instance, char *out, const char *property);
u32 get_pwrsupdata(u32 instance, char *out, const char *property);
u32 get_fanreddata(u32 instance, char *out, const char *property);
u32 get_pwrreddata(u32 instance, char *out, const char *property);
u32 get_num_sensor_data(u32 instance, char *out, const char *property);  // power and amperage
u32 get_perfdata(u32 instance, char *out, const char *property);

// Tells amperage sensors from power consumption sensors, which share Type and Format, by their
// name: *flag becomes 1 when it contains "Current" (case matters), else 0. Returns 0, or 1 with
// *flag as it was when the name cannot be read.
u32 is_amperage_sensor(u32 instance, u32 *flag);

// Property `property` of the power supply whose PowerSupplyIndex is the low 8 bits of `index`
// into `out` (kSensorTextSize bytes). Returns 0, or 1 with `out` as it was: traced for a missing
// interface and for a missing or empty text, not for a power supply that does not exist.
u32 get_psinfo(u32 index, char *out, const char *property);

#endif
