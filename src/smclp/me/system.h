// SPDX-License-Identifier: Apache-2.0
// system.h -- the power operations of the managed system, by name.
#ifndef SMCLP_ME_SYSTEM_H
#define SMCLP_ME_SYSTEM_H

#include "smclp/me/me.h"

// Slots of the kind (contracts: me.h).
u32 MeSystemAddVerbs(ManagedElement *element);
u32 MeSystemAddProperties(ManagedElement *element);
u32 MeSystemInstanceTag();
// Keeps what is in `value` when it fails. Unknown names are kMeFailed here, unlike elsewhere:
// deliberate.
u32 MeSystemRefreshProperties(ManagedElement *element, const char *name, char *value, u32 length);
// Operations "start", "stop" and "reset", exactly so; any other is kMeBadArgument.
u32 MeSystemMethod(ManagedElement *element, char *operation, u32 zero1, u32 zero2);

// Switch the host. Results: kMeOk; kMeNoPrivilege; kMeHostOn (start); kMeHostOff (stop, reset);
// kMeFailed.
u32 MeSystemStart(ManagedElement *element);
u32 MeSystemStop(ManagedElement *element);
u32 MeSystemReset(ManagedElement *element);
// operation: 0 start, 1 stop, 2 reset, in its low 8 bits; any other is kMeFailed. `ignored` is 1.
u32 MeSystemPowerOperation(u32 ignored, u32 operation);

#endif
