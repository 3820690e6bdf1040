// SPDX-License-Identifier: Apache-2.0
// sensapi.h -- the controller's sensors as the element kinds see them.
//
// The object manager lists all sensors as OEM_QARN_Sensor.Index=1, 2, 3 ... without a gap. A kind
// is a pair of numbers, Type and Format, compared by their low 8 bits; instance n of a kind is
// the n-th sensor, in ascending index order, that has both. Nothing is cached: each call opens a
// connection of its own, walks the list and closes.
//
// Texts are the object manager's own: no scaling, no rounding. Failures are traced under
// "sensapi", except where noted.
#ifndef SMCLP_ME_SENSAPI_H
#define SMCLP_ME_SENSAPI_H

#include "platform/types.h"

struct ManagedElement;

constexpr size_t kSensorTextSize = 1024;  // bytes of a sensor's text, its NUL included

// The managed system's name (its service tag) into `out`, at least 64 bytes, cut to 63
// characters. Returns kMeOk, or kMeFailed with `out` as it was; only a missing interface is traced.
u32 get_system_name(char *out);

// Property `property` of sensor number `instance` of a kind into `out`, kSensorTextSize bytes
// that are cleared first. Reads no instance after the one looked for. Returns kMeOk, or kMeFailed:
// no connection, no such sensor, access denied (with `out` as it was), no such property (with `out`
// cleared). The end of the list is traced like any other failed read, and then the type that
// was read last (0: none), also traced.
u32 get_sensor_data(u32 type, u32 format, u32 instance, char *out, const char *property);

// How many sensors of a kind there are now. 0 while the host is off (PowerStatus "OFF" in any
// case, or "0") and on every failure before the walk; the count so far when the walk fails. The
// failed read that ends the walk is traced.
u16 get_num_instances(u32 type, u32 format);

// Appends the texts to the string in `dst` (kSensorTextSize bytes; what does not fit is cut) in
// the form { "good" "bad" }. Returns dst.
char *get_possible_states_string(char *dst, const char *const *texts, u32 count);

// Adds properties with empty values. Returns the first result of MeAddProperty that is not kMeOk,
// else kMeOk.
u32 add_properties(ManagedElement *element, const char *const *names, u16 count);

#endif
