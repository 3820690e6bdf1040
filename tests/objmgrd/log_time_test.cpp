// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/log_time.
#include "objmgrd/log_time.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <time.h>

TEST(LogTime, IsUtcInBothForms)
{
    setenv("TZ", "XYZ-9", 1);
    tzset();
    EXPECT_EQ(LogTimesOf(1773480413), (LogTimes{"2026-03-14 09:26:53", "20260314092653"}));
    EXPECT_EQ(LogTimesOf(0), (LogTimes{"1970-01-01 00:00:00", "19700101000000"}));
    EXPECT_EQ(LogTimesOf(4294967294), (LogTimes{"2106-02-07 06:28:14", "21060207062814"}));
}

TEST(LogTime, HasWordsWhereThereIsNone)
{
    EXPECT_EQ(LogTimesNone(), (LogTimes{"**************", "**************"}));
    EXPECT_EQ(LogTimesOfStart(), (LogTimes{"System Boot", "System Boot"}));
}
