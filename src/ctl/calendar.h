// SPDX-License-Identifier: Apache-2.0
// calendar.h -- dates and times in UTC, without the C library's: that reads the system's time zone
// first, which takes a tenth of what a command takes as a whole.
#ifndef CTL_CALENDAR_H
#define CTL_CALENDAR_H

#include "platform/types.h"

#include <optional>

struct CalendarTime {
    i64 year;
    u32 month;  // 1 to 12
    u32 day;    // 1 to 31
    u32 hour;
    u32 minute;
    u32 second;
};

// Of the Gregorian calendar, also before it began. seconds: since 1970-01-01.
CalendarTime CalendarOfSeconds(i64 seconds);
// Nothing for a day or time that does not exist, and for years beyond 0 to 9999.
std::optional<i64> CalendarSeconds(const CalendarTime &time);

#endif
