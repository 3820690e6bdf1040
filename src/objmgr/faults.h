// faults.h -- faults that a simulated host asks its clients to play.
//
// A failure that happens inside a client (no interface, Open fails, no instance object, a read
// that is refused only the second time) cannot be staged by the service alone, since reads go
// straight to the store. So the service puts a plan into the store's .faults record and the
// client follows it. Real controllers have no such record. Counting starts anew in every process.
#ifndef OBJMGR_FAULTS_H
#define OBJMGR_FAULTS_H

#include "objmgr/objmgr.h"

// Operations that can be made to fail. The property names in the .faults record are the words in
// brackets; each text is "FROM" or "FROM-TO": the calls of that operation, counted from 1 in each
// process, that fail.
enum class FaultPoint : u8 {
    Interface,     // [interface]      ObjMgrGetInterface returns null
    Open,          // [open]           Open returns 1
    InitInstance,  // [init_instance]  InitInstance returns null
};

// A read that answers another status for some of its calls: a property of the record named
// "read N" (N from 1, dense) with the text "FROM STATUS PATH [PROPERTY]" or
// "FROM-TO STATUS PATH [PROPERTY]": GetInstance of PATH (no PROPERTY) or GetPropertyValue of
// PATH and PROPERTY answers STATUS for those calls, counted from 1 per row in each process.
constexpr u32 kFaultReadRowsMax = 16;

// Takes the plan from a packed .faults record; null or size 0 means no faults. Malformed rows are
// passed over. The counts of earlier calls are kept, so that a restarted service goes on.
void FaultsLoad(const void *record, size_t size);

// True when this call of `point` is to fail; counts it.
bool FaultsHit(FaultPoint point);

// True when the plan has rows for reads, so that FaultsReadStatus has to see every one of them.
bool FaultsPlanReads();

// The status that this read is to answer, or kCimOk for the true answer; counts it. property is
// null for GetInstance. `key` is the canonical path.
CimStatus FaultsReadStatus(const char *key, const char *property);

#endif
