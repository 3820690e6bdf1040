// SPDX-License-Identifier: Apache-2.0
// caller_link.cpp -- see provider.h.
#include "objmgrd/provider.h"

#include <poll.h>

bool CallerLink::StillWaits() const
{
    const std::lock_guard lock(mutex_);
    if (fd_ < 0)
        return false;
    pollfd look = {fd_, 0, 0};
    return poll(&look, 1, 0) == 0;
}

void CallerLink::End()
{
    const std::lock_guard lock(mutex_);
    fd_ = -1;
}
