// SPDX-License-Identifier: Apache-2.0
// objmgr_access.cpp -- the user's privilege on its way to the object manager.
#include "smclp/me/objmgr_access.h"

#include "platform/str.h"

#include <stdlib.h>

bool ObjMgrHandOverPrivilege(const ObjMgrInterface *objMgr, ObjMgrHandle handle)
{
    const char *text = getenv("ZORPRIV");
    if (!StrIsHexValue(text))
        return false;
    const ObjMgrPrivilege privilege = {StrHexToUINT32(text), {0, 0}};
    objMgr->SetPrivilege(handle, &privilege);
    return true;
}
