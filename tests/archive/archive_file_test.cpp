// SPDX-License-Identifier: Apache-2.0
#include "archive/archive_file.h"

#include <gtest/gtest.h>

TEST(ArchiveFile, Names)
{
    EXPECT_EQ(ArchiveFileName(1), "log-000001.jsonl");
    EXPECT_EQ(ArchiveFileName(999999), "log-999999.jsonl");
}

TEST(ArchiveFile, TheNumberInAName)
{
    EXPECT_EQ(ArchiveFileNumber("log-000001.jsonl"), 1u);
    EXPECT_EQ(ArchiveFileNumber("log-000012.jsonl"), 12u);
    EXPECT_EQ(ArchiveFileNumber("log-999999.jsonl"), 999999u);
}

TEST(ArchiveFile, OtherNames)
{
    for (const char *name : {
             "",
             "lock",
             "log-",
             ".jsonl",
             "log-.jsonl",
             "log-7.jsonl",
             "log-00012.jsonl",
             "log-000000.jsonl",
             "log-1000000.jsonl",
             "log-0000001.jsonl",
             "log-00000a.jsonl",
             "log-0x0001.jsonl",
             "log-+00001.jsonl",
             "log--00001.jsonl",
             "log- 00001.jsonl",
             "log-000001 .jsonl",
             "log-000001.json",
             "log-000001.jsonl.old",
             "log-1.txt",
             "xlog-000001.jsonl",
         })
        EXPECT_EQ(ArchiveFileNumber(name), std::nullopt) << name;
}
