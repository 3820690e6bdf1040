// SPDX-License-Identifier: Apache-2.0
// objmgr_access.cpp -- the user's privilege on its way to the object manager.
#include "smclp/me/objmgr_access.h"

#include "platform/str.h"

#include <stdlib.h>

bool ObjMgrHandOverPrivilege(const ObjMgrConnection &connection)
{
    const char *text = getenv("ZORPRIV");
    if (!StrIsHexValue(text))
        return false;
    connection.SetPrivilege(StrHexToUINT32(text));
    return true;
}
