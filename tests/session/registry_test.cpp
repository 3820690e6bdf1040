// SPDX-License-Identifier: Apache-2.0
// registry_test.cpp -- session files: made, found, swept, removed, and what is planted among them.
#include "session/registry.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

static constexpr char kGoodText[] = "user=admin\n"
                                    "type=3\n"
                                    "address=192.0.2.7\n"
                                    "privilege=ff\n"
                                    "idle=900\n";

class Registry : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string name = testing::TempDir() + "registry_test.XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        top_ = name;
        directory_ = top_ + "/sessions";
        record_ = {};
        strcpy(record_.user, "admin");
        record_.type = 3;
        record_.address = 0xc0000207;
        record_.privilege = 0xff;
        record_.idleSeconds = 900;
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(top_, ignored);
    }

    std::string Path(const std::string &name) const { return directory_ + "/" + name; }

    void MakeDirectory() const { ASSERT_EQ(mkdir(directory_.c_str(), 0700), 0); }

    void Plant(const std::string &name, const std::string &text) const
    {
        std::ofstream(Path(name), std::ios::binary) << text;
    }

    // Plants the text as session 77 and says what becomes of looking it up.
    u32 FindText(const std::string &text)
    {
        Plant("77", text);
        return Find(77);
    }

    u32 Find(u32 id)
    {
        u32 result = RegistryFind(directory_.c_str(), id, &entry_);
        if (result == kRegistryOk)
            RegistryRelease(&entry_);
        return result;
    }

    u32 Open(u32 *id, int *lock) const
    {
        return RegistryOpenSession(directory_.c_str(), &record_, id, lock);
    }

    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        std::error_code ignored;
        for (const auto &entry : std::filesystem::directory_iterator(directory_, ignored))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string top_;
    std::string directory_;
    RegistryRecord record_;
    RegistryEntry entry_;
};

TEST_F(Registry, DirectoryIsTheDefaultUnlessZorssndirNamesOne)
{
    unsetenv("ZORSSNDIR");
    EXPECT_STREQ(RegistryDirectory(), "/run/zor/sessions");
    setenv("ZORSSNDIR", "", 1);
    EXPECT_STREQ(RegistryDirectory(), "/run/zor/sessions");
    setenv("ZORSSNDIR", "/elsewhere", 1);
    EXPECT_STREQ(RegistryDirectory(), "/elsewhere");
}

TEST_F(Registry, OpeningMakesOnePrivateFileOfThatTextWhateverTheUmask)
{
    MakeDirectory();
    u32 id = 0;
    int lock = -1;
    mode_t before = umask(0277);
    ASSERT_EQ(Open(&id, &lock), 0u);
    umask(before);
    EXPECT_NE(id, 0u);
    ASSERT_EQ(Names(), std::vector<std::string>{std::to_string(id)});

    std::ostringstream text;
    text << std::ifstream(Path(std::to_string(id))).rdbuf();
    EXPECT_EQ(text.str(), kGoodText);
    struct stat info;
    ASSERT_EQ(stat(Path(std::to_string(id)).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);
    EXPECT_EQ(info.st_nlink, 1u);
    EXPECT_EQ(RegistryCloseSession(directory_.c_str(), id, lock), 0u);
}

TEST_F(Registry, MissingDirectoryIsMadeWithMode0700)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    struct stat info;
    ASSERT_EQ(stat(directory_.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0700u);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, FoundSessionIsLiveAndHoldsWhatItWasOpenedWith)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(Find(id), 0u);
    EXPECT_TRUE(entry_.live);
    EXPECT_STREQ(entry_.record.user, "admin");
    EXPECT_EQ(entry_.record.type, 3);
    EXPECT_EQ(entry_.record.address, 3221225991u);
    EXPECT_EQ(entry_.record.privilege, 255u);
    EXPECT_EQ(entry_.record.idleSeconds, 900u);
    EXPECT_EQ(entry_.owner, geteuid());
    EXPECT_EQ(entry_.descriptor, -1);  // released
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, LargestValuesComeBackAsTheyWent)
{
    memset(record_.user, 'u', 63);
    record_.type = 255;
    record_.address = 0xffffffff;
    record_.privilege = 0xffffffff;
    record_.idleSeconds = 0xffffffff;
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(Find(id), 0u);
    EXPECT_EQ(std::string(entry_.record.user), std::string(63, 'u'));
    EXPECT_EQ(entry_.record.type, 255);
    EXPECT_EQ(entry_.record.address, 4294967295u);
    EXPECT_EQ(entry_.record.privilege, 4294967295u);
    EXPECT_EQ(entry_.record.idleSeconds, 4294967295u);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, TwoSessionsAtOnceHaveTheirOwnFilesAndEndByThemselves)
{
    u32 first = 0;
    u32 second = 0;
    int firstLock = -1;
    int secondLock = -1;
    ASSERT_EQ(Open(&first, &firstLock), 0u);
    ASSERT_EQ(Open(&second, &secondLock), 0u);
    EXPECT_NE(first, second);
    ASSERT_EQ(Find(first), 0u);
    EXPECT_TRUE(entry_.live);
    EXPECT_EQ(RegistryCloseSession(directory_.c_str(), first, firstLock), 0u);
    EXPECT_EQ(Find(first), 5u);
    ASSERT_EQ(Find(second), 0u);
    EXPECT_TRUE(entry_.live);
    EXPECT_EQ(RegistryCloseSession(directory_.c_str(), second, secondLock), 0u);
    EXPECT_TRUE(Names().empty());
}

TEST_F(Registry, SessionWhoseFileIsRemovedIsUnknownAndClosesCleanly)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(unlink(Path(std::to_string(id)).c_str()), 0);
    EXPECT_EQ(Find(id), 5u);
    EXPECT_EQ(RegistryCloseSession(directory_.c_str(), id, lock), 0u);
    EXPECT_EQ(fcntl(lock, F_GETFD), -1);
}

TEST_F(Registry, ClosingLeavesAnotherFileOfThatNameAlone)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    std::string name = std::to_string(id);
    ASSERT_EQ(unlink(Path(name).c_str()), 0);
    Plant(name, kGoodText);
    EXPECT_EQ(RegistryCloseSession(directory_.c_str(), id, lock), 0u);
    EXPECT_EQ(Names(), std::vector<std::string>{name});
}

TEST_F(Registry, SessionIsDeadAsSoonAsItsDescriptorIsClosed)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    close(lock);
    ASSERT_EQ(Find(id), 0u);
    EXPECT_FALSE(entry_.live);
}

TEST_F(Registry, SessionOfAKilledProcessIsDeadAtOnceAndSweptByTheNextOne)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        u32 id = 0;
        int lock = -1;
        Open(&id, &lock);
        if (write(ends[1], &id, sizeof(id)) == sizeof(id))
            pause();
        _exit(1);
    }
    u32 killed = 0;
    ASSERT_EQ(read(ends[0], &killed, sizeof(killed)), static_cast<ssize_t>(sizeof(killed)));
    ASSERT_EQ(Find(killed), 0u);
    EXPECT_TRUE(entry_.live);

    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    ASSERT_EQ(Find(killed), 0u);
    EXPECT_FALSE(entry_.live);

    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    EXPECT_EQ(Names(), std::vector<std::string>{std::to_string(id)});
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, ProcessThatInheritedTheLockKeepsTheSessionLive)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        execlp("sleep", "sleep", "60", nullptr);
        _exit(127);
    }
    close(lock);
    ASSERT_EQ(Find(id), 0u);
    EXPECT_TRUE(entry_.live);
    EXPECT_EQ(RegistrySweep(directory_.c_str(), nullptr), 0u);
    EXPECT_EQ(Names().size(), 1u);
    kill(child, SIGKILL);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    ASSERT_EQ(Find(id), 0u);
    EXPECT_FALSE(entry_.live);
}

TEST_F(Registry, LockIsTheOnlyDescriptorThatOpeningLeavesAndStaysOpenAcrossExec)
{
    int next = dup(0);
    close(next);
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    EXPECT_EQ(fcntl(lock, F_GETFD), 0);
    RegistryCloseSession(directory_.c_str(), id, lock);
    int after = dup(0);
    EXPECT_EQ(after, next);
    close(after);
}

TEST_F(Registry, FailedOpeningsAndLookUpsLeaveNoDescriptor)
{
    MakeDirectory();
    int next = dup(0);
    close(next);
    EXPECT_EQ(FindText("nonsense"), 4u);
    EXPECT_EQ(Find(78), 5u);
    ASSERT_EQ(chmod(directory_.c_str(), 0777), 0);
    u32 id = 1;
    int lock = 1;
    EXPECT_EQ(Open(&id, &lock), 6u);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(lock, -1);
    int after = dup(0);
    EXPECT_EQ(after, next);
    close(after);
}

TEST_F(Registry, NullPointersAndRecordsThatCannotBeWrittenAreRefused)
{
    const char *directory = directory_.c_str();
    u32 id = 0;
    int lock = -1;
    EXPECT_EQ(RegistryOpenSession(nullptr, &record_, &id, &lock), 2u);
    EXPECT_EQ(RegistryOpenSession(directory, nullptr, &id, &lock), 2u);
    EXPECT_EQ(RegistryOpenSession(directory, &record_, nullptr, &lock), 2u);
    EXPECT_EQ(RegistryOpenSession(directory, &record_, &id, nullptr), 2u);
    EXPECT_EQ(RegistryFind(nullptr, 1, &entry_), 2u);
    EXPECT_EQ(RegistryFind(directory, 1, nullptr), 2u);
    EXPECT_EQ(RegistrySweep(nullptr, nullptr), 2u);
    EXPECT_EQ(RegistryCloseSession(nullptr, 1, 0), 2u);
    EXPECT_EQ(RegistryCloseSession(directory, 0, 0), 2u);
    EXPECT_EQ(RegistryCloseSession(directory, 1, -1), 2u);

    memset(record_.user, 'u', 64);
    EXPECT_EQ(Open(&id, &lock), 2u);
    for (const char *user : {"", "a\nb", "a\x7f", "\x1f"}) {
        snprintf(record_.user, sizeof(record_.user), "%s", user);
        EXPECT_EQ(Open(&id, &lock), 2u) << user;
    }
    EXPECT_EQ(access(directory, F_OK), -1);
}

TEST_F(Registry, DirectoryThatCannotBeMadeOrOpenedIsAFailureWithItsReason)
{
    u32 id = 0;
    int lock = -1;
    std::string deep = top_ + "/none/sessions";
    EXPECT_EQ(RegistryOpenSession(deep.c_str(), &record_, &id, &lock), 1u);
    EXPECT_EQ(errno, ENOENT);
    std::ofstream(directory_) << "a file";
    EXPECT_EQ(Open(&id, &lock), 1u);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_EQ(Find(1), 1u);
    EXPECT_EQ(RegistrySweep(deep.c_str(), nullptr), 5u);
}

TEST_F(Registry, DirectoryOpenToEveryoneIsRefusedUnlessSticky)
{
    MakeDirectory();
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(chmod(directory_.c_str(), 0777), 0);
    EXPECT_EQ(Open(&id, &lock), 6u);
    EXPECT_EQ(RegistrySweep(directory_.c_str(), nullptr), 6u);
    ASSERT_EQ(chmod(directory_.c_str(), 01777), 0);
    ASSERT_EQ(Open(&id, &lock), 0u);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, DirectoryAndFilesOfAnotherUserAreNotTrusted)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give files away";
    MakeDirectory();
    ASSERT_EQ(FindText(kGoodText), 0u);
    ASSERT_EQ(chown(Path("77").c_str(), 65534, 65534), 0);
    EXPECT_EQ(Find(77), 6u);
    u32 removed = 9;
    EXPECT_EQ(RegistrySweep(directory_.c_str(), &removed), 0u);
    EXPECT_EQ(removed, 0u);
    ASSERT_EQ(chown(directory_.c_str(), 65534, 65534), 0);
    u32 id = 0;
    int lock = -1;
    EXPECT_EQ(Open(&id, &lock), 6u);
}

TEST_F(Registry, IdZeroAndAnIdWithoutAFileAreUnknown)
{
    EXPECT_EQ(Find(1), 5u);  // no directory
    MakeDirectory();
    Plant("0", kGoodText);
    EXPECT_EQ(Find(0), 5u);
    EXPECT_EQ(Find(1), 5u);
}

TEST_F(Registry, PathTooLongToBeWrittenIsAFailure)
{
    std::string directory(5000, 'd');
    EXPECT_EQ(RegistryFind(directory.c_str(), 1, &entry_), 1u);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(Registry, PlantedLinkIsNotFollowed)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(symlink(std::to_string(id).c_str(), Path("77").c_str()), 0);
    EXPECT_EQ(Find(77), 4u);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, PlantedSecondNameOfASessionEndsNothingButIsNoSession)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(link(Path(std::to_string(id)).c_str(), Path("77").c_str()), 0);
    EXPECT_EQ(Find(77), 4u);
    ASSERT_EQ(unlink(Path("77").c_str()), 0);
    EXPECT_EQ(Find(id), 0u);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(Registry, PlantedFifoDirectoryAndSocketAreNoSessionsAndNobodyWaits)
{
    MakeDirectory();
    ASSERT_EQ(mkfifo(Path("77").c_str(), 0600), 0);
    ASSERT_EQ(mkdir(Path("78").c_str(), 0700), 0);
    EXPECT_EQ(Find(77), 4u);
    EXPECT_EQ(Find(78), 4u);

    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    ASSERT_LT(Path("79").size(), sizeof(name.sun_path));
    memcpy(name.sun_path, Path("79").c_str(), Path("79").size() + 1);
    int socketEnd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(socketEnd, reinterpret_cast<sockaddr *>(&name), sizeof(name)), 0);
    EXPECT_EQ(Find(79), 4u);
    close(socketEnd);

    u32 removed = 9;
    EXPECT_EQ(RegistrySweep(directory_.c_str(), &removed), 0u);
    EXPECT_EQ(removed, 0u);
    EXPECT_EQ(Names(), (std::vector<std::string>{"77", "78", "79"}));
}

TEST_F(Registry, FileOf512BytesIsReadAndOneOf513IsNot)
{
    MakeDirectory();
    std::string filler = "filler=";
    std::string text = kGoodText;
    filler.append(512 - text.size() - filler.size() - 1, 'x');
    EXPECT_EQ(FindText(text + filler + "\n"), 0u);
    EXPECT_EQ(FindText(text + filler + "x\n"), 4u);
}

TEST_F(Registry, HugeFileIsMalformed)
{
    MakeDirectory();
    Plant("77", kGoodText);
    ASSERT_EQ(truncate(Path("77").c_str(), off_t{1} << 32), 0);
    EXPECT_EQ(Find(77), 4u);
}

TEST_F(Registry, LinesStandInAnyOrderAndOtherKeysArePassedOver)
{
    MakeDirectory();
    ASSERT_EQ(
        FindText("idle=0\ncolour=blue=green\nprivilege=0\naddress=0.0.0.0\ntype=0\nuser=a b\n"),
        0u);
    EXPECT_STREQ(entry_.record.user, "a b");
    EXPECT_EQ(entry_.record.address, 0u);
    EXPECT_FALSE(entry_.live);
}

// Replaces the line that begins with `key` by `line`.
static std::string With(const std::string &key, const std::string &line)
{
    std::string text = kGoodText;
    size_t at = text.find(key);
    return text.replace(at, text.find('\n', at) + 1 - at, line);
}

TEST_F(Registry, EveryKeyIsNeededOnce)
{
    MakeDirectory();
    ASSERT_EQ(FindText(kGoodText), 0u);
    const char *lines[] = {"user=admin\n", "type=3\n", "address=192.0.2.7\n", "privilege=ff\n",
                           "idle=900\n"};
    for (const std::string line : lines) {
        EXPECT_EQ(FindText(With(line, "")), 4u) << "without " << line;
        EXPECT_EQ(FindText(kGoodText + line), 4u) << "twice " << line;
    }
}

TEST_F(Registry, MalformedTextsAreRefused)
{
    MakeDirectory();
    EXPECT_EQ(FindText(""), 4u);
    EXPECT_EQ(FindText("\n"), 4u);
    std::string text = kGoodText;
    EXPECT_EQ(FindText(text.substr(0, text.size() - 1)), 4u);
    EXPECT_EQ(FindText(text + "word\n"), 4u);
    EXPECT_EQ(FindText(text + std::string("\0", 1)), 4u);
    EXPECT_EQ(FindText(With("type", std::string("type=3\0\n", 8))), 4u);
}

TEST_F(Registry, ValuesOutsideTheirLimitsAreRefused)
{
    MakeDirectory();
    struct {
        const char *key;
        std::string good;
        std::string bad;
    } rows[] = {
        {"type", "type=255\n", "type=256\n"},
        {"type", "type=0\n", "type=\n"},
        {"type", "type=3\n", "type=-3\n"},
        {"privilege", "privilege=FFffFFff\n", "privilege=123456789\n"},
        {"privilege", "privilege=a\n", "privilege=g\n"},
        {"privilege", "privilege=0\n", "privilege=0x1\n"},
        {"idle", "idle=4294967295\n", "idle=4294967296\n"},
        {"address", "address=255.255.255.255\n", "address=255.255.255.256\n"},
        {"address", "address=1.2.3.4\n", "address=1.2.3\n"},
        {"user", "user=u\n", "user=\n"},
        {"user", "user=u u\n", "user=u\tu\n"},
        {"user", "user=" + std::string(63, 'u') + "\n", "user=" + std::string(64, 'u') + "\n"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(FindText(With(row.key, row.good)), 0u) << row.good;
        EXPECT_EQ(FindText(With(row.key, row.bad)), 4u) << row.bad;
    }
}

TEST_F(Registry, SweepRemovesDeadSessionsAndHalfMadeOnesAndNothingElse)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    for (const char *dead : {"1", "4294967295", ".new-7"})
        Plant(dead, "anything");
    for (const char *other : {"0", "01", "4294967296", "+1", "readme", ".new-", ".new-0"})
        Plant(other, "anything");
    ASSERT_EQ(symlink("readme", Path("5").c_str()), 0);
    ASSERT_EQ(mkdir(Path("6").c_str(), 0700), 0);

    u32 removed = 0;
    EXPECT_EQ(RegistrySweep(directory_.c_str(), &removed), 0u);
    EXPECT_EQ(removed, 3u);
    RegistryCloseSession(directory_.c_str(), id, lock);
    EXPECT_EQ(Names(), (std::vector<std::string>{"+1", ".new-", ".new-0", "0", "01", "4294967296",
                                                 "5", "6", "readme"}));
}

TEST_F(Registry, SweepLeavesALockedFileThatIsStillBeingMade)
{
    MakeDirectory();
    Plant(".new-7", "");
    int descriptor = open(Path(".new-7").c_str(), O_RDWR | O_CLOEXEC);
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(descriptor, F_OFD_SETLK, &lock), 0);
    u32 removed = 9;
    EXPECT_EQ(RegistrySweep(directory_.c_str(), &removed), 0u);
    EXPECT_EQ(removed, 0u);
    close(descriptor);
    EXPECT_EQ(RegistrySweep(directory_.c_str(), &removed), 0u);
    EXPECT_EQ(removed, 1u);
}

// Openers sweep while others are still making their files: every one must get its session all
// the same.
TEST_F(Registry, ManyOpenersAtOnceAllGetTheirOwnSession)
{
    std::vector<pid_t> children(8);
    for (pid_t &started : children) {
        pid_t child = fork();
        ASSERT_GE(child, 0);
        started = child;
        if (child != 0)
            continue;
        for (int round = 0; round < 50; ++round) {
            u32 id = 0;
            int lock = -1;
            RegistryEntry entry;
            if (Open(&id, &lock) != 0 || RegistryFind(directory_.c_str(), id, &entry) != 0 ||
                !entry.live)
                _exit(1);
            RegistryRelease(&entry);
            if (RegistryCloseSession(directory_.c_str(), id, lock) != 0)
                _exit(2);
        }
        _exit(0);
    }
    for (pid_t child : children) {
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    EXPECT_TRUE(Names().empty());
}

TEST_F(Registry, MarkingUsedSetsTheModificationTimeToNow)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    timespec longAgo[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, Path(std::to_string(id)).c_str(), longAgo, 0), 0);
    RegistryEntry entry;
    ASSERT_EQ(RegistryFind(directory_.c_str(), id, &entry), 0u);
    EXPECT_EQ(entry.lastUse.tv_sec, 1000);
    EXPECT_EQ(RegistryMarkUsed(&entry), 0u);
    RegistryRelease(&entry);
    ASSERT_EQ(Find(id), 0u);
    EXPECT_GE(entry_.lastUse.tv_sec, time(nullptr) - 60);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

static bool Expired(u32 idle, time_t last, long lastNano, time_t now, long nowNano)
{
    timespec lastUse = {last, lastNano};
    timespec at = {now, nowNano};
    return RegistryExpired(idle, &lastUse, &at);
}

TEST_F(Registry, SessionExpiresWhenTheIdleLimitIsReachedToTheNanosecond)
{
    EXPECT_FALSE(Expired(60, 1000, 500, 1060, 499));
    EXPECT_TRUE(Expired(60, 1000, 500, 1060, 500));
    EXPECT_FALSE(Expired(1, 1000, 0, 1000, 999999999));
    EXPECT_TRUE(Expired(1, 1000, 0, 1001, 0));
    EXPECT_FALSE(Expired(4294967295u, 0, 0, 4294967294, 0));
    EXPECT_TRUE(Expired(4294967295u, 0, 0, 4294967295, 0));
}

TEST_F(Registry, NoIdleLimitNeverExpires)
{
    EXPECT_FALSE(Expired(0, 0, 0, 4000000000, 0));
}

TEST_F(Registry, LastUseInTheFutureCountsAsJustUsed)
{
    EXPECT_FALSE(Expired(1, 1001, 0, 1000, 0));
    EXPECT_FALSE(Expired(1, 1000, 2, 1000, 1));
    EXPECT_FALSE(Expired(1, INT64_MAX, 0, 1000, 0));
}

TEST_F(Registry, LastUseAsFarBackAsATimeCanBeHasExpired)
{
    EXPECT_TRUE(Expired(4294967295u, INT64_MIN, 999999999, 1000, 0));
}

TEST_F(Registry, NumbersAreDigitsOnlyWithinTheirLimits)
{
    struct {
        const char *text;
        u32 base;
        u32 maxDigits;
        u32 max;
        bool good;
        u32 value;
    } rows[] = {
        {"0", 10, 3, 255, true, 0},
        {"255", 10, 3, 255, true, 255},
        {"256", 10, 3, 255, false, 0},
        {"007", 10, 3, 255, true, 7},
        {"0007", 10, 3, 255, false, 0},
        {"4294967295", 10, 10, 4294967295u, true, 4294967295u},
        {"4294967296", 10, 10, 4294967295u, false, 0},
        {"ffffffff", 16, 8, 4294967295u, true, 4294967295u},
        {"ABCDEF09", 16, 8, 4294967295u, true, 2882400009u},
        {"000000001", 16, 8, 4294967295u, false, 0},
        {"g", 16, 8, 4294967295u, false, 0},
        {"a", 10, 3, 255, false, 0},
        {"", 10, 3, 255, false, 0},
        {"-1", 10, 3, 255, false, 0},
        {"+1", 10, 3, 255, false, 0},
        {" 1", 10, 3, 255, false, 0},
        {"1 ", 10, 3, 255, false, 0},
        {"\xff", 16, 8, 4294967295u, false, 0},
    };
    for (const auto &row : rows) {
        u32 value = 12345;
        EXPECT_EQ(RegistryParseNumber(row.text, row.base, row.maxDigits, row.max, &value), row.good)
            << row.text;
        EXPECT_EQ(value, row.good ? row.value : 12345u) << row.text;
    }
}
