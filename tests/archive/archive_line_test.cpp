// SPDX-License-Identifier: Apache-2.0
#include "archive/archive_line.h"

#include <gtest/gtest.h>

TEST(ArchiveLine, ARecord)
{
    const ArchiveRecord record = {7, 1709189892, false, "DIMM \"E\" \\ was\treplaced."};
    const std::string line = ArchiveLineOf(record, 1709189893);
    EXPECT_EQ(line.substr(0, 18), "{\"schema\":1,\"id\":\"");
    EXPECT_EQ(line.substr(34), "\",\"record\":7,\"time\":\"2024-02-29T06:58:12Z\",\"boot\":false,"
                               "\"description\":\"DIMM \\\"E\\\" \\\\ was\\u0009replaced.\","
                               "\"archived\":\"2024-02-29T06:58:13Z\"}\n");
    LogMark mark = 0;
    EXPECT_EQ(ArchiveLineKindOf(line, &mark), ArchiveLineKind::Record);
    EXPECT_EQ(mark, ArchiveMarkOf(record));
}

TEST(ArchiveLine, RecordsWithoutATime)
{
    EXPECT_NE(ArchiveLineOf({1, std::nullopt, true, "a"}, 0)
                  .find("\"record\":1,\"time\":null,\"boot\":true,"),
              std::string::npos);
    EXPECT_NE(ArchiveMarkOf({1, std::nullopt, true, "a"}),
              ArchiveMarkOf({1, std::nullopt, false, "a"}));
    // The number says nothing of what a record is: it changes.
    EXPECT_EQ(ArchiveMarkOf({1, 5, false, "a"}), ArchiveMarkOf({2, 5, false, "a"}));
    EXPECT_NE(ArchiveMarkOf({1, 5, false, "a"}), ArchiveMarkOf({1, 6, false, "a"}));
}

TEST(ArchiveLine, Cleared)
{
    const std::string line = ArchiveClearedLine(0);
    EXPECT_EQ(line, "{\"schema\":1,\"cleared\":\"1970-01-01T00:00:00Z\"}\n");
    LogMark mark = 0;
    EXPECT_EQ(ArchiveLineKindOf(line, &mark), ArchiveLineKind::Cleared);
}

TEST(ArchiveLine, Others)
{
    LogMark mark = 0;
    for (const char *line :
         {"", "{", "{\"schema\":2,\"id\":\"0123456789abcdef\"",
          "{\"schema\":1,\"id\":\"0123456789abcde", "{\"schema\":1,\"id\":\"0123456789abcdex\"",
          "{\"schema\":1,\"id\":\"-123456789abcdef\""})
        EXPECT_EQ(ArchiveLineKindOf(line, &mark), ArchiveLineKind::Other) << line;
    EXPECT_EQ(ArchiveLineKindOf("{\"schema\":1,\"id\":\"0123456789abcdef\"", &mark),
              ArchiveLineKind::Record);
    EXPECT_EQ(mark, 0x0123456789abcdefu);
}
