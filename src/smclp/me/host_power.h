// SPDX-License-Identifier: Apache-2.0
// host_power.h -- the host's power over a connection to the object manager: what start, stop and
// reset of the system and the power management service have in common.
#ifndef SMCLP_ME_HOST_POWER_H
#define SMCLP_ME_HOST_POWER_H

#include "smclp/me/me.h"
#include "smclp/me/objmgr_access.h"

// What can be asked of the host.
enum PowerOperation : u8 {
    kPowerStart = 0,
    kPowerStop = 1,
    kPowerReset = 2,
    kPowerCycle = 3,
};

// Both functions want an open connection that has the user's privilege, and trace a refused or
// failed request with the caller's unit and line.

// Reads the power status into `powerStatus` (kPowerStatusSize bytes, cleared first). Returns
// kMeOk; kMeNoPrivilege when it may not be read; kMeFailed.
u32 HostPowerRead(const ObjMgrConnection &connection, const char *unit, int line,
                  char *powerStatus);

// Carries an operation out on a host of that power status. Returns kMeOk; kMeHostOn or kMeHostOff,
// with nothing invoked, when the host is in the wrong state for it; kMeNoPrivilege (not traced);
// kMeFailed. The host is on exactly when the status is "ON".
u32 HostPowerRequest(const ObjMgrConnection &connection, const char *unit, int line,
                     PowerOperation operation, const char *powerStatus);

#endif
