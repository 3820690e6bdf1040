// SPDX-License-Identifier: Apache-2.0
// calendar.cpp -- see calendar.h. Days are counted in eras of 400 years that begin in March, so
// that a leap day is the last of its year.
#include "ctl/calendar.h"

namespace
{

constexpr i64 kDaySeconds = 86400;
constexpr i64 kEraDays = 146097;
constexpr i64 kEpochDays = 719468;  // from 0000-03-01 to 1970-01-01

i64 DaysOf(i64 year, u32 month, u32 day)
{
    const i64 marchYear = month <= 2 ? year - 1 : year;
    const i64 era = (marchYear >= 0 ? marchYear : marchYear - 399) / 400;
    const i64 yearOfEra = marchYear - era * 400;
    const i64 dayOfYear = (153 * ((i64{month} + 9) % 12) + 2) / 5 + day - 1;
    const i64 dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * kEraDays + dayOfEra - kEpochDays;
}

}  // namespace

CalendarTime CalendarOfSeconds(i64 seconds)
{
    i64 days = seconds / kDaySeconds;
    i64 rest = seconds % kDaySeconds;
    if (rest < 0) {
        rest += kDaySeconds;
        --days;
    }
    days += kEpochDays;
    const i64 era = (days >= 0 ? days : days - (kEraDays - 1)) / kEraDays;
    const i64 dayOfEra = days - era * kEraDays;
    const i64 yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / (kEraDays - 1)) / 365;
    const i64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const i64 marchMonth = (5 * dayOfYear + 2) / 153;
    const u32 month = static_cast<u32>(marchMonth < 10 ? marchMonth + 3 : marchMonth - 9);
    return {.year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0),
            .month = month,
            .day = static_cast<u32>(dayOfYear - (153 * marchMonth + 2) / 5 + 1),
            .hour = static_cast<u32>(rest / 3600),
            .minute = static_cast<u32>(rest / 60 % 60),
            .second = static_cast<u32>(rest % 60)};
}

std::optional<i64> CalendarSeconds(const CalendarTime &time)
{
    if (time.year < 0 || time.year > 9999 || time.month < 1 || time.month > 12 || time.day < 1 ||
        time.day > 31 || time.hour > 23 || time.minute > 59 || time.second > 59)
        return std::nullopt;
    const i64 seconds = DaysOf(time.year, time.month, time.day) * kDaySeconds +
                        i64{time.hour} * 3600 + i64{time.minute} * 60 + time.second;
    // A 30th of February would be another day.
    return CalendarOfSeconds(seconds).day == time.day ? std::optional(seconds) : std::nullopt;
}
