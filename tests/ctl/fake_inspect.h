// SPDX-License-Identifier: Apache-2.0
// fake_inspect.h -- what the fake object manager says beside the values.
#ifndef TESTS_CTL_FAKE_INSPECT_H
#define TESTS_CTL_FAKE_INSPECT_H

#include "objmgr/inspect.h"

#include <string>
#include <vector>

struct FakeInspect {
    ObjMgrPresence presence = ObjMgrPresence::Absent;  // of a failed Open
    std::string service;
    std::string unit;             // of every instance
    u32 source = kImageNoSource;  // of every instance
    ObjMgrSource sourceFacts = {};
    std::vector<std::string> directories;  // that were taken; "-": that of ZOROBJMGR
};
extern FakeInspect gFakeInspect;

#endif
