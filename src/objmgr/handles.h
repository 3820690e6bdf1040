// SPDX-License-Identifier: Apache-2.0
// handles.h -- the open connections of this process.
//
// A handle names a place in the table and which of its users: a handle that was closed stays
// refused until its place has been taken and left 2^29 - 1 times. One thread.
#ifndef OBJMGR_HANDLES_H
#define OBJMGR_HANDLES_H

#include "objmgr/snapshot.h"

struct OpenConnection {
    ObjMgrHandle handle;  // 0: closed
    u32 generation;
    Snapshot *snapshot;
    ObjMgrPrivilege privilege;
};

constexpr u32 kHandlePlaceBits = 3;
static_assert(kObjMgrMaxConnections == 1u << kHandlePlaceBits,
              "the low bits of a handle name the place");

// The table, for HandleFind. Only handles.cpp writes to it.
extern OpenConnection gConnections[kObjMgrMaxConnections];

// The connection of a handle, or null when it is not open.
inline OpenConnection *HandleFind(ObjMgrHandle handle)
{
    OpenConnection *connection = &gConnections[handle & (kObjMgrMaxConnections - 1)];
    return handle != 0 && connection->handle == handle ? connection : nullptr;
}

// A new connection without a privilege, which holds `snapshot` from here on; null when every place
// is taken: the caller still holds it.
OpenConnection *HandleOpen(Snapshot *snapshot);
// Gives the snapshot back.
void HandleClose(OpenConnection *connection);

#endif
