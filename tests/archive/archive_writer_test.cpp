// SPDX-License-Identifier: Apache-2.0
#include "archive/archive_writer.h"

#include "support/open_descriptors.h"
#include "support/test_files.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sstream>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

// ---- calls that do less than they might (linked with --wrap) ----

static size_t sWriteMost;             // bytes that are taken at once; 0: all
static u32 sSyncs;                    // how often files were put on the disk
static int sSyncErrorAt;              // the one of these that fails, from 1
static int sUnlinkError;              // not 0: nothing is removed
static std::vector<int> sReadErrors;  // of the next reads
static size_t sReadMost;              // bytes that are given at once; 0: all
static off_t sReadEnd;                // the furthest byte that was asked for

// Under the name that pread() has where a long is too short for a file's size, there.
#if __SIZEOF_LONG__ == 8
#define REAL_PREAD __real_pread
#define WRAP_PREAD __wrap_pread
#else
#define REAL_PREAD __real_pread64
#define WRAP_PREAD __wrap_pread64
#endif

extern "C" {
ssize_t __real_write(int fd, const void *data, size_t size);
ssize_t __wrap_write(int fd, const void *data, size_t size);
int __real_unlinkat(int directory, const char *name, int flags);
int __wrap_unlinkat(int directory, const char *name, int flags);
ssize_t __wrap_write(int fd, const void *data, size_t size)
{
    return __real_write(fd, data, sWriteMost != 0 ? std::min(size, sWriteMost) : size);
}
ssize_t REAL_PREAD(int fd, void *data, size_t size, off_t offset);
ssize_t WRAP_PREAD(int fd, void *data, size_t size, off_t offset);
ssize_t WRAP_PREAD(int fd, void *data, size_t size, off_t offset)
{
    sReadEnd = std::max(sReadEnd, offset + static_cast<off_t>(size));
    if (sReadErrors.empty())
        return REAL_PREAD(fd, data, sReadMost != 0 ? std::min(size, sReadMost) : size, offset);
    errno = sReadErrors.front();
    sReadErrors.erase(sReadErrors.begin());
    return -1;
}
int __real_fsync(int fd);
int __wrap_fsync(int fd);
int __wrap_fsync(int fd)
{
    if (++sSyncs != static_cast<u32>(sSyncErrorAt))
        return __real_fsync(fd);
    errno = EIO;
    return -1;
}
int __wrap_unlinkat(int directory, const char *name, int flags)
{
    if (sUnlinkError == 0)
        return __real_unlinkat(directory, name, flags);
    errno = sUnlinkError;
    return -1;
}
}

namespace
{

namespace fs = std::filesystem;

using Log = std::vector<ArchiveRecord>;

// Record n says "record n"; its time is n seconds.
ArchiveRecord Record(u32 n)
{
    return {n, i64{n}, false, "record " + std::to_string(n)};
}

// Records first to last.
Log Records(u32 first, u32 last)
{
    Log log;
    for (u32 n = first; n <= last; ++n)
        log.push_back(Record(n));
    return log;
}

class ArchiveWriterTest : public testing::Test
{
protected:
    ~ArchiveWriterTest() override
    {
        sWriteMost = 0;
        sReadMost = 0;
        sReadEnd = 0;
        sUnlinkError = 0;
    }

    std::vector<fs::path> Files() const
    {
        std::vector<fs::path> files;
        for (const auto &entry : fs::directory_iterator(directory)) {
            if (entry.path().extension() == ".jsonl")
                files.push_back(entry.path());
        }
        std::sort(files.begin(), files.end());
        return files;
    }
    std::string Text() const
    {
        std::string text;
        for (const fs::path &file : Files())
            text += ReadFile(file);
        return text;
    }
    // The archive's lines in short: "1 2 cleared 3"; "torn" for what is no whole line.
    std::string Lines() const
    {
        std::istringstream stream(Text());
        std::string lines;
        for (std::string line; std::getline(stream, line);) {
            const size_t at = line.find("\"description\":\"record ");
            LogMark mark = 0;
            const auto kind = ArchiveLineKindOf(line, &mark);
            const bool whole = line.back() == '}' && !stream.eof();
            const std::string word = !whole                             ? "torn"
                                     : kind == ArchiveLineKind::Cleared ? "cleared"
                                     : kind == ArchiveLineKind::Other
                                         ? "other"
                                         : line.substr(at + 22, line.find('"', at + 22) - at - 22);
            lines += (lines.empty() ? "" : " ") + word;
        }
        return lines;
    }
    u64 Bytes() const
    {
        u64 bytes = 0;
        for (const fs::path &file : Files())
            bytes += fs::file_size(file);
        return bytes;
    }
    void Write(const Log &log) const
    {
        ArchiveWriter writer;
        ASSERT_EQ(writer.Open(directory, kArchiveDefaultBytes), 0);
        EXPECT_EQ(writer.Update(log), 0);
    }

    const TestDirectory made;
    const std::string directory = made.Path();
};

// A growing counter shared with a child that may be killed at any moment: what the log holds is
// the last records up to it.
struct Shared {
    volatile u32 last;
};

Shared *MakeShared()
{
    void *memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return static_cast<Shared *>(memory);
}

// "1 2 3 ... last".
std::string Counting(u32 first, u32 last)
{
    std::string lines;
    for (u32 n = first; n <= last; ++n)
        lines += (lines.empty() ? "" : " ") + std::to_string(n);
    return lines;
}

// A place for mounts that nobody else sees. False: this system does not let this user.
bool EnterNamespace()
{
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(getegid()) + " 1";
    if (geteuid() == 0) {
        if (unshare(CLONE_NEWNS) != 0)
            return false;
    } else {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return false;
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << user;
        std::ofstream("/proc/self/gid_map") << group;
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace

TEST_F(ArchiveWriterTest, EachRecordOnce)
{
    ArchiveWriter writer;
    ASSERT_EQ(writer.Open(directory, kArchiveDefaultBytes), 0);
    EXPECT_EQ(writer.Update({}), 0);
    EXPECT_EQ(writer.Update(Records(1, 2)), 0);
    EXPECT_EQ(Lines(), "1 2");
    EXPECT_EQ(writer.Update(Records(1, 2)), 0);
    EXPECT_EQ(writer.Update(Records(1, 4)), 0);
    EXPECT_EQ(writer.Update(Records(3, 5)), 0);
    EXPECT_EQ(Lines(), "1 2 3 4 5");
    EXPECT_EQ(Files().size(), 1u);
    EXPECT_EQ(Files()[0].filename(), "log-000001.jsonl");
}

TEST_F(ArchiveWriterTest, ClearedRecordsStay)
{
    ArchiveWriter writer;
    ASSERT_EQ(writer.Open(directory, kArchiveDefaultBytes), 0);
    EXPECT_EQ(writer.Update(Records(1, 2)), 0);
    EXPECT_EQ(writer.Update({}), 0);
    EXPECT_EQ(writer.Update({}), 0);
    // The same text again is another record now.
    EXPECT_EQ(writer.Update(Records(2, 3)), 0);
    EXPECT_EQ(Lines(), "1 2 cleared 2 3");
}

TEST_F(ArchiveWriterTest, GoesOnAfterAStart)
{
    Write(Records(1, 3));
    Write(Records(1, 4));
    Write(Records(2, 3));
    EXPECT_EQ(Lines(), "1 2 3 4");
    Write({});
    Write(Records(4, 5));
    EXPECT_EQ(Lines(), "1 2 3 4 cleared 4 5");
}

TEST_F(ArchiveWriterTest, ALineThatWasBegunIsCutOff)
{
    Write(Records(1, 3));
    const std::string whole = Text();
    const size_t lastLine = whole.rfind('\n', whole.size() - 2) + 1;
    for (size_t size = lastLine; size < whole.size(); ++size) {
        fs::resize_file(Files()[0], size);
        Write(Records(1, 3));
        ASSERT_EQ(Lines(), "1 2 3") << size;
    }
    fs::resize_file(Files()[0], 1);
    Write(Records(1, 3));
    EXPECT_EQ(Lines(), "1 2 3");
}

TEST_F(ArchiveWriterTest, OneWriter)
{
    ArchiveWriter writer;
    ASSERT_EQ(writer.Open(directory, kArchiveDefaultBytes), 0);
    ArchiveWriter second;
    EXPECT_EQ(second.Open(directory, kArchiveDefaultBytes), EBUSY);
    EXPECT_EQ(second.Update(Records(1, 1)), EIO);
}

TEST_F(ArchiveWriterTest, NoDirectory)
{
    ArchiveWriter writer;
    EXPECT_EQ(writer.Open(directory + "/none", kArchiveDefaultBytes), ENOENT);
}

TEST_F(ArchiveWriterTest, OtherFilesAreLeftAlone)
{
    std::ofstream(directory + "/log-1.txt") << "mine";
    std::ofstream(directory + "/log-000001.jsonl.old") << "mine";
    std::ofstream(directory + "/log-12.jsonl") << "mine";
    std::ofstream(directory + "/log-000000.jsonl") << "mine";
    Write(Records(1, 1));
    EXPECT_EQ(fs::file_size(directory + "/log-12.jsonl"), 4u);
    EXPECT_EQ(fs::file_size(directory + "/log-000000.jsonl"), 4u);
    EXPECT_GT(fs::file_size(directory + "/log-000001.jsonl"), 4u);
    EXPECT_TRUE(fs::exists(directory + "/log-1.txt"));
    EXPECT_EQ(fs::file_size(directory + "/log-000001.jsonl.old"), 4u);
}

TEST_F(ArchiveWriterTest, TheNumbersOfFilesEnd)
{
    std::ofstream(directory + "/log-999999.jsonl") << std::string(kArchiveLeastBytes, '\n');
    ArchiveWriter writer;
    ASSERT_EQ(writer.Open(directory, kArchiveLeastBytes), 0);
    EXPECT_EQ(writer.Update(Records(1, 1)), EOVERFLOW);
    EXPECT_FALSE(fs::exists(directory + "/log-1000000.jsonl"));
}

TEST_F(ArchiveWriterTest, TheSizeIsKeptAndTheOldestDropped)
{
    u32 last = 0;
    {
        ArchiveWriter writer;
        ASSERT_EQ(writer.Open(directory, kArchiveLeastBytes), 0);
        for (u32 first = 1; first < 1000; first += 10) {
            last = first + 19;
            ASSERT_EQ(writer.Update(Records(first, last)), 0);
            ASSERT_LE(Bytes(), kArchiveLeastBytes);
        }
    }
    EXPECT_GT(Bytes(), kArchiveLeastBytes / 4 * 3);
    const std::string lines = Lines();
    const u32 first = static_cast<u32>(std::stoul(lines));
    EXPECT_GT(first, 1u);
    EXPECT_EQ(lines, Counting(first, last));
    // A start finds its way in several files.
    ArchiveWriter writer;
    ASSERT_EQ(writer.Open(directory, kArchiveLeastBytes), 0);
    EXPECT_EQ(writer.Update(Records(last - 5, last)), 0);
    EXPECT_EQ(Lines(), lines);
}

TEST_F(ArchiveWriterTest, KilledAtAnyMoment)
{
    Shared *shared = MakeShared();
    shared->last = 0;
    u64 seed = 12345;
    long most = 3000000;  // nanoseconds; more where a child comes to nothing in that time
    for (int round = 0; round < 200; ++round) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ArchiveWriter writer;
            if (writer.Open(directory, u64{1} << 30) != 0)
                _exit(1);
            for (;;) {
                const u32 last = shared->last;
                if (writer.Update(Records(last < 20 ? 1 : last - 19, last)) != 0)
                    _exit(1);
                shared->last = last + 1 + last % 3;
            }
        }
        seed = seed * 6364136223846793005u + 1442695040888963407u;
        const u32 before = shared->last;
        const timespec pause = {0, static_cast<long>(seed >> 33) % most};
        nanosleep(&pause, nullptr);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "round " << round << ": " << status;
        most += shared->last == before && most < 100000000 ? 1000000 : 0;
    }
    const u32 last = shared->last;
    Write(Records(last < 20 ? 1 : last - 19, last));
    EXPECT_GT(last, 20u);
    EXPECT_EQ(Lines(), Counting(1, last));
    munmap(shared, sizeof(Shared));
}

// A write that the system does in part, and then not at all.
TEST_F(ArchiveWriterTest, AFileThatMayNotGrow)
{
    signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    ArchiveWriter writer;
    ASSERT_EQ(writer.Open(directory, kArchiveDefaultBytes), 0);
    for (u32 last = 1; last <= 200; ++last) {
        rlimit limit = before;
        limit.rlim_cur = Bytes() + last * 7 % 150;  // a line has about 140 bytes
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        const int full = writer.Update(Records(last < 20 ? 1 : last - 19, last));
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
        EXPECT_TRUE(full == EFBIG || full == 0);
        EXPECT_EQ(Lines(), Counting(1, full == 0 ? last : last - 1));
        ASSERT_EQ(writer.Update(Records(last < 20 ? 1 : last - 19, last)), 0);
    }
    EXPECT_EQ(Lines(), Counting(1, 200));
}

TEST_F(ArchiveWriterTest, ALineThatIsTakenInParts)
{
    sWriteMost = 7;
    Write(Records(1, 3));
    EXPECT_EQ(Lines(), "1 2 3");
}

// Room is for what the file had when it was looked at: no more is asked for.
TEST_F(ArchiveWriterTest, AFileThatIsGivenInParts)
{
    Write(Records(1, 3));
    const auto size = static_cast<off_t>(Text().size());
    sReadMost = 7;
    Write(Records(1, 4));
    EXPECT_EQ(sReadEnd, size);
    EXPECT_EQ(Lines(), "1 2 3 4");
}

// The size is kept all the same: nothing is written until there is room.
TEST_F(ArchiveWriterTest, OldFilesThatCannotBeRemoved)
{
    ArchiveWriter writer;
    ASSERT_EQ(writer.Open(directory, kArchiveLeastBytes), 0);
    sUnlinkError = EACCES;
    u32 first = 1;
    while (first < 1000 && writer.Update(Records(first, first + 19)) == 0)
        first += 10;
    EXPECT_LT(first, 1000u);
    EXPECT_EQ(writer.Update(Records(first, first + 19)), EACCES);
    EXPECT_LE(Bytes(), 65536u);
    sUnlinkError = ENOENT;  // somebody else removed it
    EXPECT_EQ(writer.Update(Records(first, first + 19)), 0);
}

TEST_F(ArchiveWriterTest, WhatCannotBeReadIsAnErrorAndWhatIsInterruptedIsNot)
{
    Write(Records(1, 3));
    const std::vector<int> before = OpenDescriptors();
    {
        ArchiveWriter writer;
        sReadErrors = {EIO};
        EXPECT_EQ(writer.Open(directory, kArchiveLeastBytes), EIO);
    }
    EXPECT_EQ(OpenDescriptors(), before);
    ArchiveWriter writer;
    sReadErrors = {EINTR, EINTR};
    EXPECT_EQ(writer.Open(directory, kArchiveLeastBytes), 0);
    EXPECT_TRUE(sReadErrors.empty());
}

TEST_F(ArchiveWriterTest, WhatIsWrittenIsPutOnTheDiskAndNothingElseIs)
{
    ArchiveWriter writer;
    ASSERT_EQ(writer.Open(directory, kArchiveLeastBytes), 0);
    for (const auto &[log, syncs] : {std::pair(Records(1, 3), 1u), std::pair(Records(1, 3), 0u),
                                     std::pair(Records(1, 4), 1u)}) {
        sSyncs = 0;
        EXPECT_EQ(writer.Update(log), 0);
        EXPECT_EQ(sSyncs, syncs) << log.size();
    }
    sSyncs = 0;
    sSyncErrorAt = 1;
    EXPECT_EQ(writer.Update(Records(1, 5)), EIO);
    sSyncErrorAt = 0;
}

// A file whose name may be lost again is none.
TEST_F(ArchiveWriterTest, ADirectoryThatCannotBePutOnTheDisk)
{
    const std::vector<int> before = OpenDescriptors();
    ArchiveWriter writer;
    sSyncs = 0;
    sSyncErrorAt = 1;
    EXPECT_EQ(writer.Open(directory, kArchiveLeastBytes), EIO);
    EXPECT_EQ(sSyncs, 1u);
    sSyncErrorAt = 0;
    EXPECT_EQ(Files().size(), 0u);
    EXPECT_EQ(OpenDescriptors().size(), before.size() + 2);  // directory and lock
}

TEST_F(ArchiveWriterTest, NoDescriptorIsLeftOpen)
{
    const std::vector<int> before = OpenDescriptors();
    Write(Records(1, 3));
    Write(Records(1, 4));
    EXPECT_EQ(OpenDescriptors(), before);
}

// Beyond 65536 records the older half is forgotten; what the log still holds is known.
TEST_F(ArchiveWriterTest, OfVeryManyRecordsTheLastAreKnown)
{
    ArchiveWriter writer;
    ASSERT_EQ(writer.Open(directory, kArchiveDefaultBytes), 0);
    ASSERT_EQ(writer.Update(Records(1, 65537)), 0);
    const u64 bytes = Bytes();
    ASSERT_EQ(writer.Update(Records(65537 - 1000, 65537)), 0);
    EXPECT_EQ(Bytes(), bytes);
    ASSERT_EQ(writer.Update(Records(65537 - 1000, 65538)), 0);
    EXPECT_GT(Bytes(), bytes);
    EXPECT_LT(Bytes(), bytes + 200);
}

// A full disk is one of its own, in a namespace of its own.
TEST_F(ArchiveWriterTest, AFullDisk)
{
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (!EnterNamespace() || mount("none", directory.c_str(), "tmpfs", 0, "size=32k") != 0)
            _exit(77);
        ArchiveWriter writer;
        if (writer.Open(directory, kArchiveDefaultBytes) != 0)
            _exit(1);
        u32 last = 0;
        int error = 0;
        while (error == 0 && last < 1000) {
            ++last;
            error = writer.Update(Records(last < 20 ? 1 : last - 19, last));
        }
        if (error != ENOSPC || Lines() != Counting(1, last - 1))
            _exit(2);
        for (int i = 0; i < 200; ++i) {
            if (writer.Update(Records(last - 19, last)) != ENOSPC ||
                Lines() != Counting(1, last - 1))
                _exit(3);
        }
        // The administrator makes room.
        if (mount("none", directory.c_str(), "tmpfs", MS_REMOUNT, "size=64k") != 0)
            _exit(77);
        if (writer.Update(Records(last - 19, last)) != 0 || Lines() != Counting(1, last))
            _exit(4);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WEXITSTATUS(status) == 77)
        GTEST_SKIP() << "no namespaces of one's own here";
    EXPECT_EQ(status, 0) << WEXITSTATUS(status);
}
