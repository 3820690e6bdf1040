// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/log_archive.
#include "objmgrd/log_archive.h"

#include "archive/archive_writer.h"
#include "support/clock.h"
#include "support/objmgr_process.h"
#include "support/objmgr_store.h"

#include <atomic>
#include <errno.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string.h>
#include <unistd.h>

// What write() fails with (linked with --wrap); 0: it does not.
static std::atomic<int> sWriteError;

extern "C" {
ssize_t __real_write(int fd, const void *bytes, size_t size);
ssize_t __wrap_write(int fd, const void *bytes, size_t size)
{
    if (sWriteError == 0)
        return __real_write(fd, bytes, size);
    errno = sWriteError;
    return -1;
}
}

namespace
{

// The reason in the C library's words, of which each has its own.
const std::string kNotWritten = std::string("3 the archive cannot be written: ") + strerror(EIO);

Instance LogRecord(const std::string &text, const std::string &digits = "20240229065812")
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
        records.push_back({KeyOf(i + 1), LogRecord(texts[i])});
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
    EXPECT_EQ(StageAll(&writer, {{KeyOf(1), LogRecord("a", "System Boot")}}), 0);
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

// What the archive says to the system's log.
static std::vector<std::string> sSaid;

static void Say(int priority, const char *line)
{
    sSaid.push_back(std::to_string(priority) + " " + line);
}

// Whether the archive says so many lines while it is looked at.
static bool Says(LogArchive *archive, const ImageWriter &writer, size_t lines)
{
    return WaitUntil([&] {
        archive->Look(writer);
        return sSaid.size() >= lines;
    });
}

TEST_F(LogArchiveTest, WhatCannotBeWrittenIsSaidOnceAndTriedAgain)
{
    sSaid.clear();
    LogArchive archive;
    ASSERT_EQ(archive.Start({kept.Path(), 1}, Say), 0);
    sWriteError = EIO;
    ASSERT_EQ(StageAll(&writer, Log({"a"})), 0);
    ASSERT_TRUE(Says(&archive, writer, 1));
    for (int i = 0; i < 3; ++i)
        archive.Look(writer);
    EXPECT_EQ(sSaid, (std::vector<std::string>{kNotWritten}));
    sWriteError = 0;
    ASSERT_TRUE(Says(&archive, writer, 2));
    for (int i = 0; i < 3; ++i)
        archive.Look(writer);
    EXPECT_EQ(sSaid, (std::vector<std::string>{kNotWritten, "5 the archive is written again"}));
    EXPECT_EQ(Archived(&archive), "a;");
}

TEST_F(LogArchiveTest, TwoHundredAndFiftySixStatesWait)
{
    sSaid.clear();
    LogArchive archive;
    ASSERT_EQ(archive.Start({kept.Path(), 1}, Say), 0);
    sWriteError = EIO;
    std::string expected;
    for (int i = 1; i <= 256; ++i) {
        ASSERT_EQ(StageAll(&writer, Log({"r" + std::to_string(i)})), 0);
        archive.Look(writer);
        if (i < 256)
            expected += "r" + std::to_string(i) + ";";
    }
    ASSERT_TRUE(Says(&archive, writer, 1));
    EXPECT_EQ(sSaid, (std::vector<std::string>{kNotWritten}));
    // From here on the last one is the newest.
    for (const char *text : {"x", "y"}) {
        ASSERT_EQ(StageAll(&writer, Log({text})), 0);
        archive.Look(writer);
    }
    EXPECT_EQ(sSaid,
              (std::vector<std::string>{
                  kNotWritten, "3 the archive is behind: records that are cleared meanwhile are "
                               "lost"}));
    sWriteError = 0;
    ASSERT_TRUE(Says(&archive, writer, 3));
    EXPECT_EQ(Archived(&archive), expected + "y;");
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
