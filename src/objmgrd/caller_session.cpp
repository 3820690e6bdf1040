// SPDX-License-Identifier: Apache-2.0
// caller_session.cpp -- see caller_session.h.
#include "objmgrd/caller_session.h"

#include "session/registry.h"

#include <arpa/inet.h>

// Whose a session is, the owner of its file says; what stands in it is his.
bool CallerSessionIs(void *, u32 id, u32 uid, std::string *address)
{
    RegistryEntry entry;
    if (RegistryFind(RegistryDirectory(), id, RegistryWhose::Anyone, &entry) != kRegistryOk)
        return false;
    const bool theirs = entry.live && entry.owner == uid;
    if (theirs)
        *address = entry.record.addressText;
    if (theirs && address->empty() && entry.record.address != 0) {
        const in_addr client = {htonl(entry.record.address)};
        char text[INET_ADDRSTRLEN];
        *address = inet_ntop(AF_INET, &client, text, sizeof text);
    }
    RegistryRelease(&entry);
    return theirs;
}
