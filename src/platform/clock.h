// SPDX-License-Identifier: Apache-2.0
// clock.h -- the clock that nobody sets: CLOCK_MONOTONIC, which starts with the machine and is the
// same in all its processes, so that a service and its clients compare times.
#ifndef PLATFORM_CLOCK_H
#define PLATFORM_CLOCK_H

#include "platform/types.h"

#include <time.h>

// Milliseconds; never 0 once the machine has run for one.
inline u64 ClockMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    // A u32 holds the part of a second; dividing 64 bits costs a small machine a function call.
    return static_cast<u64>(now.tv_sec) * 1000 + static_cast<u32>(now.tv_nsec) / 1000000;
}

// Microseconds.
inline u64 ClockUs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<u64>(now.tv_sec) * 1000000 + static_cast<u32>(now.tv_nsec) / 1000;
}

#endif
