// SPDX-License-Identifier: Apache-2.0
// pwrmgmt.h -- power management: the service that shows and sets the host's power state, and its
// capabilities.
#ifndef SMCLP_ME_PWRMGMT_H
#define SMCLP_ME_PWRMGMT_H

#include "smclp/me/host_power.h"
#include "smclp/me/me.h"

// The CIM power states (CIM_PowerManagementService.PowerState) that can be requested.
struct PowerStateRow {
    char text[16];  // NUL-padded
    PowerOperation operation;
};
constexpr PowerStateRow PowerStateTable[] = {
    {"2", kPowerStart},  // on
    {"6", kPowerStop},   // off, hard
    {"5", kPowerReset},  // power cycle, soft
    {"9", kPowerCycle},  // power cycle, hard
};

// Slots of the service (contracts: me.h).
u32 MePwrMgtSvcInstanceTag();  // 1
u32 MePwrMgtSvcAddVerbs(ManagedElement *element);
u32 MePwrMgtSvcAddProperties(ManagedElement *element);
// MeRefreshFromRows (element_kind.h). "powerstate" hands the user's privilege over and passes on
// the results of MePwrMgtGetPowerStatus.
u32 MePwrMgtSvcRefreshProperties(ManagedElement *element, const char *name, char *value,
                                 u32 length);
// Takes "powerstate=" and a text of PowerStateTable, exactly so, and changes it in place. Results:
// those of MePwrMgtRequestPowerState; kMeBadArgument for a null or any other text.
u32 MePwrMgtMethod(ManagedElement *element, char *text, u32 zero1, u32 zero2);

// Slots of the capabilities.
u32 MePwrMgtCapInstanceTag();  // 1
u32 MePwrMgtCapAddVerbs(ManagedElement *element);
u32 MePwrMgtCapAddProperties(ManagedElement *element);
u32 MePwrMgtCapRefreshProperties(ManagedElement *element, const char *name, char *value,
                                 u32 length);

// The host's power status ("ON" when it runs) into `buffer`, at least 32 bytes, with the user's
// privilege. Returns kMeOk, or with `buffer` as it was kMeNoPrivilege or kMeFailed.
u32 MePwrMgtGetPowerStatus(char *buffer);

// Asks for a power state. operation: a PowerOperation in the low 8 bits; any other is kMeFailed.
// Results: kMeOk; kMeHostOn (start) and kMeHostOff (all others), nothing invoked; kMeNoPrivilege;
// kMeFailed.
u32 MePwrMgtRequestPowerState(u32 operation);

#endif
