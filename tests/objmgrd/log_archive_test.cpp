// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/log_archive.
#include "objmgrd/log_archive.h"

#include "archive/archive_writer.h"
#include "support/objmgr_process.h"
#include "support/objmgr_store.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace
{

Instance Record(const std::string &text, const std::string &digits = "20240229065812")
{
    return Texts(
        {{"Description", text}, {"Timestamp", "plain"}, {"Timestamp;YYYYMMDDHHMMSS", digits}});
}

std::string KeyOf(u32 number)
{
    return "OEM_QARN_LogRecord.LogName=SEL,RecordNum=" + std::to_string(number);
}

// A log with these records.
Records Log(const std::vector<std::string> &texts)
{
    Records records = {
        {"OEM_QARN_MessageLog.Name=SEL", Texts({{"NumRecords", std::to_string(texts.size())}})}};
    for (u32 i = 0; i < texts.size(); ++i)
        records.push_back({KeyOf(i + 1), Record(texts[i])});
    return records;
}

class LogArchiveTest : public testing::Test
{
protected:
    LogArchiveTest() { EXPECT_EQ(writer.Open(image.Path()), 0); }

    std::string Read()
    {
        std::vector<ArchiveRecord> log;
        if (!LogOfStore(writer, &log))
            return "unreadable";
        std::string texts;
        for (const ArchiveRecord &record : log)
            texts += record.description + ";";
        return texts;
    }
    // The archive's lines in short, once the thread has come to its end.
    std::string Archived(LogArchive *archive)
    {
        archive->Stop();
        std::ifstream file(kept.Path() + "/log-000001.jsonl");
        std::string lines;
        for (std::string line; std::getline(file, line);) {
            const size_t at = line.find("\"description\":\"");
            lines += at == std::string::npos
                         ? "cleared;"
                         : line.substr(at + 15, line.find('"', at + 15) - at - 15) + ";";
        }
        return lines;
    }

    TestDirectory image;
    TestDirectory kept;
    ImageWriter writer;
};

}  // namespace

TEST_F(LogArchiveTest, TheLogOfAStore)
{
    EXPECT_EQ(Read(), "unreadable");
    EXPECT_EQ(StageAll(&writer, Log({})), 0);
    EXPECT_EQ(Read(), "");
    EXPECT_EQ(StageAll(&writer, Log({"a", "b"})), 0);
    EXPECT_EQ(Read(), "a;b;");
    std::vector<ArchiveRecord> log;
    ASSERT_TRUE(LogOfStore(writer, &log));
    EXPECT_EQ(log[1], (ArchiveRecord{2, 1709189892, false, "b"}));
    EXPECT_EQ(StageAll(&writer, {{KeyOf(1), Record("a", "System Boot")}}), 0);
    ASSERT_TRUE(LogOfStore(writer, &log));
    EXPECT_EQ(log[0], (ArchiveRecord{1, std::nullopt, true, "a"}));
}

TEST_F(LogArchiveTest, WhatIsNotThereYetIsNotTakenForTheEnd)
{
    EXPECT_EQ(StageAll(&writer, Log({"a", "b"})), 0);
    EXPECT_EQ(StageAll(&writer, {{"OEM_QARN_MessageLog.Name=SEL", Texts({{"NumRecords", "3"}})}}),
              0);
    EXPECT_EQ(Read(), "a;b;");
    Instance failed;
    failed.status = kCimFailed;
    EXPECT_EQ(StageAll(&writer, {{KeyOf(1), failed}}), 0);
    EXPECT_EQ(Read(), "unreadable");
    EXPECT_EQ(StageAll(&writer, {{"OEM_QARN_MessageLog.Name=SEL", failed}}), 0);
    EXPECT_EQ(Read(), "unreadable");
}

TEST_F(LogArchiveTest, EveryStateIsKeptAlsoOneThatIsClearedAtOnce)
{
    LogArchive archive;
    ASSERT_EQ(archive.Start({kept.Path(), 1}, nullptr), 0);
    for (const auto &texts :
         std::vector<std::vector<std::string>>{{"a"}, {"a", "b"}, {}, {"c"}, {}, {"d", "e"}}) {
        ASSERT_EQ(StageAll(&writer, Log(texts)), 0);
        archive.Look(writer);
    }
    EXPECT_EQ(Archived(&archive), "a;b;cleared;c;cleared;d;e;");
}

TEST_F(LogArchiveTest, ALogThatCannotBeReadIsNotACleared)
{
    LogArchive archive;
    ASSERT_EQ(archive.Start({kept.Path(), 1}, nullptr), 0);
    Instance failed;
    failed.status = kCimFailed;
    ASSERT_EQ(StageAll(&writer, Log({"a"})), 0);
    archive.Look(writer);
    ASSERT_EQ(StageAll(&writer, {{"OEM_QARN_MessageLog.Name=SEL", failed}}), 0);
    archive.Look(writer);
    ASSERT_EQ(StageAll(&writer, Log({"a", "b"})), 0);
    archive.Look(writer);
    EXPECT_EQ(Archived(&archive), "a;b;");
}

TEST_F(LogArchiveTest, OtherChangesCostNothing)
{
    ASSERT_EQ(StageAll(&writer, Log({"a"})), 0);
    const u64 changes = writer.LogChanges();
    EXPECT_GT(changes, 0u);
    ASSERT_EQ(StageAll(&writer, {{"OEM_QARN_System", Texts({{"PowerStatus", "ON"}})}}), 0);
    ASSERT_EQ(StageAll(&writer, Log({"a"})), 0);  // the same again
    EXPECT_EQ(writer.LogChanges(), changes);
    ASSERT_EQ(StageAll(&writer, Log({"b"})), 0);
    EXPECT_GT(writer.LogChanges(), changes);
}

TEST_F(LogArchiveTest, WithoutAnArchiveNothingHappens)
{
    LogArchive archive;
    ASSERT_EQ(StageAll(&writer, Log({"a"})), 0);
    archive.Look(writer);
    archive.Stop();
    EXPECT_EQ(archive.Start({kept.Path() + "/none", 1}, nullptr), ENOENT);
}
