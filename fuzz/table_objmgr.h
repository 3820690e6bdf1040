// SPDX-License-Identifier: Apache-2.0
// table_objmgr.h -- an object manager in the fuzzer's own process, made of constant tables.
//
// A fuzzer asks it for millions of values a second: nothing is allocated, copied or kept but the
// host's power and the number of log records, which the methods change.
#ifndef FUZZ_TABLE_OBJMGR_H
#define FUZZ_TABLE_OBJMGR_H

#include "objmgr/objmgr.h"

// What ObjMgrGetInterface (linked from here) answers from.
struct TableObjMgr {
    bool allKinds;         // a sensor of every kind instead of two sensors
    bool off;              // the host is off
    u32 records;           // in the log, at most 2
    u32 failCall;          // the call, counted from 1, that fails; 0: none
    CimStatus failStatus;  // with this, or with null
    u32 callsMax;          // later calls fail, too: an endless command comes to its end
    u32 calls;             // so far
    i32 openConnections;
};
extern TableObjMgr gTableObjMgr;

#endif
