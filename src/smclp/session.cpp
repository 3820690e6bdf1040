// SPDX-License-Identifier: Apache-2.0
// session.cpp -- session record and validation.
#include "smclp/session.h"

#include "platform/memmgr.h"
#include "platform/str.h"
#include "session/ssn.h"
#include "smclp/discovery.h"

#include <stdlib.h>

u32 SmclpSessMgrInit()
{
    return 0;
}

u32 SmclpSessMgrUninit()
{
    return 0;
}

u32 SmclpCreateSession(SmclpSession **handle)
{
    if (handle == nullptr)
        return 2;
    *handle = static_cast<SmclpSession *>(MemMgrAlloc(kSmclpSessionSize));
    if (*handle == nullptr)
        return 3;
    (*handle)->currentTarget = nullptr;
    return SmclpSetCurrentTarget(*handle, SmclpGetRootElement());
}

u32 SmclpRemoveSession(SmclpSession *session)
{
    if (session == nullptr)
        return 2;
    MemMgrFree(session);
    return 0;
}

u32 SmclpSetCurrentTarget(SmclpSession *session, ManagedElement *element)
{
    if (session == nullptr || element == nullptr)
        return 2;
    session->currentTarget = element;
    return 0;
}

u32 SmclpSetCurrentTargetById(SmclpSession *session, u32 kindId)
{
    ManagedElement *element = SmclpGetMeById(kindId);
    if (element == nullptr)
        return 5;
    return SmclpSetCurrentTarget(session, element);
}

ManagedElement *SmclpGetCurrentTarget(const SmclpSession *session)
{
    return session != nullptr ? session->currentTarget : nullptr;
}

u32 SmclpValidateSession(const SmclpSession *)
{
    const char *id = getenv("ZORSID");
    const char *type = getenv("ZORSSNTYPE");
    const char *address = getenv("ZORIP");
    if (id == nullptr || type == nullptr || address == nullptr)
        return 1;

    u32 state = 0;
    u32 unused = 0;
    if (ssn_check(StrToUINT32(id), StrToUINT32(address), StrToUINT8(type), &state, &unused) != 0)
        return 1;
    return state == 1 ? 0 : 1;
}
