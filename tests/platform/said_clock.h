// SPDX-License-Identifier: Apache-2.0
// said_clock.h -- what the system's clocks are said to show (linked with --wrap).
#ifndef TESTS_PLATFORM_SAID_CLOCK_H
#define TESTS_PLATFORM_SAID_CLOCK_H

#include <time.h>

struct SaidClock {
    bool set;         // false: the clocks show what they show
    timespec now;     // on each of them
    clockid_t asked;  // which was asked last while it was set
};

extern SaidClock gSaidClock;

#endif
