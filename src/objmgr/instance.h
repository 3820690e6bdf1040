// SPDX-License-Identifier: Apache-2.0
// instance.h -- what stands in the storage of an instance object.
#ifndef OBJMGR_INSTANCE_H
#define OBJMGR_INSTANCE_H

#include "objmgr/handles.h"
#include "objmgr/reader.h"

struct ObjMgrInstance {
    u32 mark;             // kInstanceMark once InitInstance has been here
    ObjMgrHandle handle;  // the connection that the values belong to; 0: no values
    ReaderFound found;
};

constexpr u32 kInstanceMark = 0x4f4d4f49;

// The connection of an instance that has values, or null.
inline const OpenConnection *InstanceConnection(const ObjMgrInstance *instance)
{
    return instance != nullptr && instance->mark == kInstanceMark ? HandleFind(instance->handle)
                                                                  : nullptr;
}

#endif
