// SPDX-License-Identifier: Apache-2.0
// log_time.h -- the times of log records, in the two forms in which clients ask for them.
#ifndef OBJMGRD_LOG_TIME_H
#define OBJMGRD_LOG_TIME_H

#include "platform/types.h"

#include <string>

struct LogTimes {
    std::string plain;   // "2026-03-14 09:26:53"
    std::string digits;  // "20260314092653"

    bool operator==(const LogTimes &) const = default;
};

// Seconds since 1970-01-01, as UTC: clients name no other zone.
LogTimes LogTimesOf(i64 seconds);
// Of a record that has no time.
LogTimes LogTimesNone();
// Of a record from before the machine knew the time.
LogTimes LogTimesOfStart();

#endif
