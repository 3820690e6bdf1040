// SPDX-License-Identifier: Apache-2.0
// clock.h -- the clock of the tests: one that nobody sets.
//
// Waiting has limits so long that they say nothing about speed: a test that needs one has failed.
#ifndef TESTS_SUPPORT_CLOCK_H
#define TESTS_SUPPORT_CLOCK_H

#include "platform/clock.h"

#include <time.h>

// Long enough for any machine.
constexpr i64 kPatienceMs = 30'000;

inline i64 NowMs()
{
    return static_cast<i64>(ClockMs());
}

inline void SleepMs(long milliseconds)
{
    const timespec pause = {milliseconds / 1000, milliseconds % 1000 * 1'000'000};
    nanosleep(&pause, nullptr);
}

// Looks every few milliseconds whether `isSo()` holds; false when it did not within the limit.
template <class Condition> bool WaitUntil(Condition isSo, i64 limitMs = kPatienceMs)
{
    for (const i64 deadline = NowMs() + limitMs; !isSo(); SleepMs(5)) {
        if (NowMs() > deadline)
            return false;
    }
    return true;
}

#endif
