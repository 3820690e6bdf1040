// SPDX-License-Identifier: Apache-2.0
// chassis.h -- the host's enclosure.
#ifndef SMCLP_ME_CHASSIS_H
#define SMCLP_ME_CHASSIS_H

#include "smclp/me/me.h"

// Slots of the kind (contracts: me.h).
u32 MeChassisInstanceTag();  // 1
u32 MeChassisAddVerbs(ManagedElement *element);
u32 MeChassisAddProperties(ManagedElement *element);
u32 MeChassisRefreshProperties(ManagedElement *element, const char *name, char *value, u32 length);

// One property of the system into `out`, at least 64 bytes, cut to 63 characters. Returns 0, or 1
// with `out` as it was; a missing interface and a failed Open are traced.
u32 MeChassisGetSystemProperty(char *out, const char *property);

#endif
