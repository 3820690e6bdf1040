// SPDX-License-Identifier: Apache-2.0
// log_time.cpp -- see log_time.h.
#include "objmgrd/log_time.h"

#include <time.h>

LogTimes LogTimesOf(i64 seconds)
{
    const time_t time = static_cast<time_t>(seconds);
    tm parts = {};
    if (gmtime_r(&time, &parts) == nullptr)
        return LogTimesNone();
    char plain[64];
    char digits[64];
    strftime(plain, sizeof plain, "%Y-%m-%d %H:%M:%S", &parts);
    strftime(digits, sizeof digits, "%Y%m%d%H%M%S", &parts);
    return {plain, digits};
}

LogTimes LogTimesNone()
{
    return {"**************", "**************"};
}

LogTimes LogTimesOfStart()
{
    return {"System Boot", "System Boot"};
}
