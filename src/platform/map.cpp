// SPDX-License-Identifier: Apache-2.0
// map.cpp -- process set-up.
#include "platform/map.h"

#include "platform/memmgr.h"
#include "platform/trace.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

namespace
{

// open() returns the lowest free descriptor, so going upward fills every gap.
bool StandardDescriptorsExist()
{
    for (int fd = 0; fd <= 2; ++fd) {
        if (fcntl(fd, F_GETFD) != -1)
            continue;
        if (open("/dev/null", fd == 0 ? O_RDONLY : O_WRONLY) != fd)
            return false;
    }
    return true;
}

}  // namespace

u32 MapInit(int argc, char **argv)
{
    if (argc < 1 || argv == nullptr || argv[0] == nullptr || argv[0][0] == '\0')
        return 1;
    if (!StandardDescriptorsExist())
        return 1;
    const char *slash = strrchr(argv[0], '/');
    TraceOpen(slash != nullptr ? slash + 1 : argv[0]);
    return 0;
}

u32 MapUninit()
{
    TraceClose();
    MemMgrRemovePools();
    return 0;
}
