// SPDX-License-Identifier: Apache-2.0
#include "ctl/calendar.h"

#include <gtest/gtest.h>
#include <time.h>

// Every day from 1600 to 2500, beside the C library.
TEST(Calendar, SaysWhatTheCLibrarySays)
{
    for (i64 day = -135140; day <= 193900; ++day) {
        const i64 seconds = day * 86400 + day * 7919 % 86400;
        const time_t time = static_cast<time_t>(seconds);
        tm parts = {};
        ASSERT_NE(gmtime_r(&time, &parts), nullptr);
        const CalendarTime got = CalendarOfSeconds(seconds);
        ASSERT_EQ(got.year, parts.tm_year + 1900) << seconds;
        ASSERT_EQ(got.month, static_cast<u32>(parts.tm_mon + 1)) << seconds;
        ASSERT_EQ(got.day, static_cast<u32>(parts.tm_mday)) << seconds;
        ASSERT_EQ(got.hour, static_cast<u32>(parts.tm_hour)) << seconds;
        ASSERT_EQ(got.minute, static_cast<u32>(parts.tm_min)) << seconds;
        ASSERT_EQ(got.second, static_cast<u32>(parts.tm_sec)) << seconds;
        ASSERT_EQ(CalendarSeconds(got), seconds);
    }
}

TEST(Calendar, WhatDoesNotExist)
{
    EXPECT_EQ(CalendarSeconds({1970, 1, 1, 0, 0, 0}), 0);
    EXPECT_EQ(CalendarSeconds({9999, 12, 31, 23, 59, 59}), 253402300799);
    EXPECT_TRUE(CalendarSeconds({0, 1, 1, 0, 0, 0}).has_value());
    EXPECT_TRUE(CalendarSeconds({2024, 2, 29, 0, 0, 0}).has_value());
    const CalendarTime kWrong[] = {
        {-1, 1, 1, 0, 0, 0},    {10000, 1, 1, 0, 0, 0}, {2023, 0, 1, 0, 0, 0},
        {2023, 13, 1, 0, 0, 0}, {2023, 1, 0, 0, 0, 0},  {2023, 1, 32, 0, 0, 0},
        {2023, 2, 29, 0, 0, 0}, {1900, 2, 29, 0, 0, 0}, {2023, 4, 31, 0, 0, 0},
        {2023, 1, 1, 24, 0, 0}, {2023, 1, 1, 0, 60, 0}, {2023, 1, 1, 0, 0, 60},
    };
    for (const CalendarTime &wrong : kWrong)
        EXPECT_EQ(CalendarSeconds(wrong), std::nullopt) << wrong.year << wrong.month << wrong.day;
}
