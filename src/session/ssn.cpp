// SPDX-License-Identifier: Apache-2.0
// ssn.cpp -- judges a session by its entry in the registry. Part of every shell: keep it small. A
// check of a live session makes at most eight system calls.
#include "session/ssn.h"

#include "session/registry.h"

namespace
{

u32 Judge(const RegistryEntry *entry, u32 address, u8 type)
{
    if (!entry->live)
        return kSsnStateDead;
    if (entry->record.address != address || entry->record.type != type)
        return kSsnStateOtherClient;
    const timespec now = RegistryNow();
    return RegistryExpired(entry->record.idleSeconds, &entry->lastUse, &now) ? kSsnStateExpired
                                                                             : kSsnStateLive;
}

}  // namespace

extern "C" u32 ssn_check(u32 sessionId, u32 address, u8 type, u32 *state, u32 *second)
{
    if (state == nullptr || second == nullptr)
        return kSsnBadParameter;
    *state = kSsnStateNone;
    *second = 0;

    RegistryEntry entry;
    u32 found = RegistryFind(RegistryDirectory(), sessionId, RegistryWhose::Own, &entry);
    if (found != kRegistryOk)
        return found == kRegistryUnknown ? kSsnUnknown : kSsnUnreadable;

    u32 result = kSsnAnswered;
    u32 verdict = Judge(&entry, address, type);
    if (verdict == kSsnStateLive && RegistryMarkUsed(&entry) != kRegistryOk) {
        result = kSsnUnreadable;
    } else {
        *state = verdict;
        if (verdict == kSsnStateLive)
            *second = entry.record.idleSeconds;
    }
    RegistryRelease(&entry);
    return result;
}
