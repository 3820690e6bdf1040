// SPDX-License-Identifier: Apache-2.0
// session_count.cpp -- see session_count.h.
#include "ctl/session_count.h"

#include "session/registry.h"

namespace
{

struct Count {
    const char *directory;
    u32 live = 0;
};

bool CountLive(void *context, u32 id)
{
    Count *count = static_cast<Count *>(context);
    RegistryEntry entry;
    if (RegistryFind(count->directory, id, RegistryWhose::Anyone, &entry) != kRegistryOk)
        return true;
    RegistryRelease(&entry);
    count->live += entry.live ? 1 : 0;
    return true;
}

}  // namespace

std::optional<u32> SessionCount()
{
    Count count = {RegistryDirectory()};
    if (RegistryForEach(count.directory, CountLive, &count) != kRegistryOk)
        return std::nullopt;
    return count.live;
}
