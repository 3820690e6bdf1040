// SPDX-License-Identifier: Apache-2.0
// objmgr_access.h -- how element kinds and verbs reach the object manager.
//
// Every request gets the interface, opens a connection of its own and closes it on every path.
#ifndef SMCLP_ME_OBJMGR_ACCESS_H
#define SMCLP_ME_OBJMGR_ACCESS_H

#include "objmgr/connection.h"
#include "objmgr/schema.h"
#include "platform/trace.h"

constexpr size_t kObjectPathSize = 256;      // bytes of a path that the shell builds
constexpr size_t kPowerStatusSize = 32;      // bytes of the power status
constexpr size_t kServiceTagSize = 64;       // bytes of the service tag
constexpr size_t kRecordStorageSize = 512;   // bytes of a log record's instance object
constexpr size_t kSensorStorageSize = 1024;  // bytes of a sensor's instance object

// Opens the connection. A missing interface is traced, with `unit` and `line`, a failed Open is
// not. True when it is open.
inline bool ObjMgrConnect(ObjMgrConnection *connection, const char *unit, int line)
{
    if (connection->HasInterface())
        return connection->Open();
    TRACE_ASSERT_FAILED_AT(unit, line);
    return false;
}

// Hands the user's privilege word (ZORPRIV, hexadecimal) to a connection. False, with nothing
// handed over, when the variable is missing or no hexadecimal number.
bool ObjMgrHandOverPrivilege(const ObjMgrConnection &connection);

#endif
