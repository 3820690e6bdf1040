// SPDX-License-Identifier: Apache-2.0
// faults.h -- faults that a simulated host asks its clients to play.
//
// A failure that happens inside a client (no interface, Open fails, no instance object, a read
// that is refused only the second time) cannot be staged by the service alone, since reads go
// straight to the image. So the service puts a plan into a section of its own there and the client
// follows it. Only where the simulated host is built (ZOR_SIM) do clients know of it. Counting
// starts anew in every process.
#ifndef OBJMGR_FAULTS_H
#define OBJMGR_FAULTS_H

#include "objmgr/objmgr.h"

// Operations that can be made to fail. The property names in the plan are the words in
// brackets; each text is "FROM" or "FROM-TO": the calls of that operation, counted from 1 in each
// process, that fail.
enum class FaultPoint : u8 {
    Interface,     // [interface]      ObjMgrGetInterface returns null
    Open,          // [open]           Open returns 1
    InitInstance,  // [init_instance]  InitInstance returns null
};

// A read that answers another status for some of its calls: a property of the plan named
// "read N" (N from 1, dense) with the text "FROM STATUS PATH [PROPERTY]" or
// "FROM-TO STATUS PATH [PROPERTY]": GetInstance of PATH (no PROPERTY) or GetPropertyValue of
// PATH and PROPERTY answers STATUS for those calls, counted from 1 per row in each process.
constexpr u32 kFaultReadRowsMax = 16;

// Takes the plan from packed properties (objmgr/image.h); null or size 0 means no faults. Malformed
// rows are passed over. The counts of earlier calls are kept, so that a restarted service goes on.
void FaultsLoad(const void *plan, size_t size);

// One operation: `count` calls from number `first` on are to fail.
struct FaultPointPlan {
    u64 calls;  // made so far
    u64 first;
    u64 count;  // 0: none
};
constexpr u32 kFaultPoints = 3;

// The plan in use, for the two functions below: they are on the way of every read, which costs
// less than calling them would. Only faults.cpp and these write to it.
extern FaultPointPlan gFaultPoints[kFaultPoints];
extern u32 gFaultReadRows;

// True when this call of `point` is to fail; counts it.
inline bool FaultsHit(FaultPoint point)
{
    FaultPointPlan &plan = gFaultPoints[static_cast<u32>(point)];
    return ++plan.calls - plan.first < plan.count;
}

// True when the plan has rows for reads, so that FaultsReadStatus has to see every one of them.
inline bool FaultsPlanReads()
{
    return gFaultReadRows > 0;
}

// The status that this read is to answer, or kCimOk for the true answer; counts it. property is
// null for GetInstance. `key` is the canonical path.
CimStatus FaultsReadStatus(const char *key, const char *property);

#endif
