// SPDX-License-Identifier: Apache-2.0
#include "platform/said_clock.h"

SaidClock gSaidClock;

// A time of 64 bits has a function of its own where pointers have 32.
#if __SIZEOF_POINTER__ == 4
#define REAL_CLOCK __real___clock_gettime64
#define WRAP_CLOCK __wrap___clock_gettime64
#else
#define REAL_CLOCK __real_clock_gettime
#define WRAP_CLOCK __wrap_clock_gettime
#endif
extern "C" int REAL_CLOCK(clockid_t clock, timespec *out);
extern "C" int WRAP_CLOCK(clockid_t clock, timespec *out)
{
    if (!gSaidClock.set)
        return REAL_CLOCK(clock, out);
    gSaidClock.asked = clock;
    *out = gSaidClock.now;
    return 0;
}
