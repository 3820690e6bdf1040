// SPDX-License-Identifier: Apache-2.0
#include "ctl/fake_inspect.h"

#include <string.h>

FakeInspect gFakeInspect;

bool ObjMgrUseDirectory(const char *directory)
{
    gFakeInspect.directories.push_back(directory == nullptr ? "-" : directory);
    return true;
}

ObjMgrPresence ObjMgrGetPresence()
{
    return gFakeInspect.presence;
}

void ObjMgrServiceName(char *name)
{
    strcpy(name, gFakeInspect.service.c_str());
}

const char *ObjMgrUnit(const ObjMgrInstance *)
{
    return gFakeInspect.unit.c_str();
}

u32 ObjMgrSourceOf(const ObjMgrInstance *)
{
    return gFakeInspect.source;
}

bool ObjMgrGetSource(u32 number, ObjMgrSource *source)
{
    *source = gFakeInspect.sourceFacts;
    return number == gFakeInspect.source;
}
