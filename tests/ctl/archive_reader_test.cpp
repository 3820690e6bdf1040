// SPDX-License-Identifier: Apache-2.0
#include "archive/archive_writer.h"
#include "ctl/archive_reader.h"
#include "support/open_descriptors.h"
#include "support/test_files.h"

#include <errno.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

class ArchiveReaderTest : public testing::Test
{
protected:
    const TestDirectory made;
    const std::string directory = made.Path();
};

}  // namespace

TEST_F(ArchiveReaderTest, ReadsWhatTheWriterWrites)
{
    const std::vector<ArchiveRecord> log = {{1, 1709189892, false, "DIMM \"E\" \\ \xc3\xa4\t"},
                                            {2, std::nullopt, true, "boot"},
                                            {3, std::nullopt, false, ""}};
    const std::vector<ArchiveRecord> later = {{1, 0, false, "later"}};
    ArchiveWriter writer;
    ASSERT_EQ(writer.Open(directory, kArchiveDefaultBytes), 0);
    ASSERT_EQ(writer.Update(log), 0);
    ArchiveContent content;
    EXPECT_EQ(ArchiveRead(directory, &content), 0);
    EXPECT_EQ(content.records, log);
    EXPECT_EQ(content.marks.size(), 3u);
    ASSERT_EQ(writer.Update({}), 0);
    ASSERT_EQ(writer.Update(later), 0);
    EXPECT_EQ(ArchiveRead(directory, &content), 0);
    EXPECT_EQ(content.records.size(), 4u);
    EXPECT_EQ(content.records[3], later[0]);
    EXPECT_EQ(content.marks, (std::vector<LogMark>{ArchiveMarkOf(later[0])}));
}

TEST_F(ArchiveReaderTest, NoDescriptorIsLeftOpen)
{
    std::ofstream(directory + "/log-000001.jsonl") << ArchiveLineOf({1, 1, false, "a"}, 0);
    const std::vector<int> before = OpenDescriptors();
    ArchiveContent content;
    EXPECT_EQ(ArchiveRead(directory, &content), 0);
    EXPECT_EQ(ArchiveRead(directory + "/none", &content), ENOENT);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(ArchiveReaderTest, SeveralFilesInTheirOrder)
{
    std::ofstream(directory + "/log-000010.jsonl") << ArchiveLineOf({2, 2, false, "b"}, 0);
    std::ofstream(directory + "/log-000009.jsonl") << ArchiveLineOf({1, 1, false, "a"}, 0);
    for (const char *other : {"/log-000011.jsonl.old", "/log-12.jsonl", "/log-000000.jsonl"})
        std::ofstream(directory + other) << ArchiveLineOf({3, 3, false, "c"}, 0);
    ArchiveContent content;
    EXPECT_EQ(ArchiveRead(directory, &content), 0);
    ASSERT_EQ(content.records.size(), 2u);
    EXPECT_EQ(content.records[0].description, "a");
}

TEST_F(ArchiveReaderTest, ALineThatIsBeingWrittenIsPassedOver)
{
    const std::string line = ArchiveLineOf({1, 1, false, "a"}, 0);
    for (size_t size = 0; size < line.size(); ++size) {
        std::ofstream(directory + "/log-000001.jsonl") << line << line.substr(0, size);
        ArchiveContent content;
        EXPECT_EQ(ArchiveRead(directory, &content), 0);
        EXPECT_EQ(content.records.size(), 1u) << size;
    }
}

// An archive is what its writer wrote: a name that leads elsewhere is not read.
TEST_F(ArchiveReaderTest, WhatIsNoFileIsAnError)
{
    const std::string name = directory + "/log-000001.jsonl";
    std::ofstream(directory + "/elsewhere") << ArchiveLineOf({1, 1, false, "a"}, 0);
    ASSERT_EQ(symlink("elsewhere", name.c_str()), 0);
    const std::vector<int> before = OpenDescriptors();
    ArchiveContent content;
    EXPECT_EQ(ArchiveRead(directory, &content), ELOOP);
    EXPECT_EQ(content.records.size(), 0u);
    ASSERT_EQ(unlink(name.c_str()), 0);
    ASSERT_EQ(mkdir(name.c_str(), 0700), 0);
    EXPECT_EQ(ArchiveRead(directory, &content), EISDIR);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(ArchiveReaderTest, AFileOfManyPieces)
{
    std::ofstream file(directory + "/log-000001.jsonl");
    for (u32 i = 1; i <= 3000; ++i)
        file << ArchiveLineOf({i, i, false, "the description of a record"}, 0);
    file.close();
    ASSERT_GT(std::filesystem::file_size(directory + "/log-000001.jsonl"), 4u * 65536);
    ArchiveContent content;
    EXPECT_EQ(ArchiveRead(directory, &content), 0);
    ASSERT_EQ(content.records.size(), 3000u);
    for (u32 i = 1; i <= 3000; ++i)
        ASSERT_EQ(content.records[i - 1],
                  (ArchiveRecord{i, i, false, "the description of a record"}));
}

TEST_F(ArchiveReaderTest, NoDirectory)
{
    ArchiveContent content;
    EXPECT_EQ(ArchiveRead(directory + "/none", &content), ENOENT);
    EXPECT_EQ(ArchiveRead(directory, &content), 0);
    EXPECT_EQ(content.records.size(), 0u);
}

TEST_F(ArchiveReaderTest, WhatIsNoRecord)
{
    ArchiveRecord record;
    for (const char *line :
         {"", "{", "[]", "{\"record\":1}",
          "{\"record\":-1,\"time\":null,\"boot\":true,\"description\":\"\"}",
          "{\"record\":1,\"time\":\"never\",\"boot\":true,\"description\":\"\"}",
          "{\"record\":1,\"boot\":true,\"description\":\"\"}",
          "{\"record\":1,\"time\":null,\"boot\":1,\"description\":\"\"}",
          "{\"record\":4294967296,\"time\":null,\"boot\":true,\"description\":\"\"}",
          "{\"record\":1,\"record\":1,\"time\":null,\"boot\":true,\"description\":\"\"}"})
        EXPECT_FALSE(ArchiveParseRecord(line, &record)) << line;
    EXPECT_TRUE(ArchiveParseRecord(
        "{\"record\":4294967295,\"time\":null,\"boot\":true,\"description\":\"\"}", &record));
}
