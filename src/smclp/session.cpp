// SPDX-License-Identifier: Apache-2.0
// session.cpp -- session record and validation.
#include "smclp/session.h"

#include "platform/memmgr.h"
#include "platform/str.h"
#include "session/ssn.h"
#include "smclp/discovery.h"

#include <stdlib.h>

namespace
{

constexpr u32 kSsnLive = 1;  // the state that ssn_check reports of a live session

}  // namespace

u32 SmclpSessMgrInit()
{
    return kSmclpOk;
}

u32 SmclpSessMgrUninit()
{
    return kSmclpOk;
}

u32 SmclpCreateSession(SmclpSession **handle)
{
    if (handle == nullptr)
        return kSmclpBadParameter;
    static_assert(sizeof(SmclpSession) <= MemMgrRoom(kSmclpSessionSize));
    *handle = static_cast<SmclpSession *>(MemMgrAlloc(kSmclpSessionSize));
    if (*handle == nullptr)
        return kSmclpNoMemory;
    (*handle)->currentTarget = nullptr;
    return SmclpSetCurrentTarget(*handle, SmclpGetRootElement());
}

u32 SmclpRemoveSession(SmclpSession *session)
{
    if (session == nullptr)
        return kSmclpBadParameter;
    MemMgrFree(session);
    return kSmclpOk;
}

u32 SmclpSetCurrentTarget(SmclpSession *session, ManagedElement *element)
{
    if (session == nullptr || element == nullptr)
        return kSmclpBadParameter;
    session->currentTarget = element;
    return kSmclpOk;
}

u32 SmclpSetCurrentTargetById(SmclpSession *session, u32 kindId)
{
    ManagedElement *element = SmclpGetMeById(kindId);
    if (element == nullptr)
        return kSmclpNoElement;
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
        return kSmclpFailed;

    u32 state = 0;
    u32 unused = 0;
    if (ssn_check(StrToUINT32(id), StrToUINT32(address), StrToUINT8(type), &state, &unused) != 0)
        return kSmclpFailed;
    return state == kSsnLive ? kSmclpOk : kSmclpFailed;
}
