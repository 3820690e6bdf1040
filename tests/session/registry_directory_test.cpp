// SPDX-License-Identifier: Apache-2.0
// registry_directory_test.cpp -- sessions opened, counted, swept and closed in their directory.
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
#include <string>
#include <utility>
#include <vector>

#include "session/registry.h"
#include "session/registry_fixture.h"
#include "support/open_descriptors.h"
#include "support/test_files.h"

// The ids that come next, where there are any (linked with --wrap).
static std::vector<u32> sNextIds;
static int sRandomError;   // the next one fails so
static bool sRandomShort;  // the next one comes in part
static int sUnlinkError;   // not 0: nothing is removed

extern "C" {
int __real_unlink(const char *path);
int __wrap_unlink(const char *path);
int __wrap_unlink(const char *path)
{
    if (sUnlinkError == 0)
        return __real_unlink(path);
    errno = sUnlinkError;
    return -1;
}
ssize_t __real_getrandom(void *out, size_t size, unsigned flags);
ssize_t __wrap_getrandom(void *out, size_t size, unsigned flags);
ssize_t __wrap_getrandom(void *out, size_t size, unsigned flags)
{
    if (sRandomError != 0) {
        errno = std::exchange(sRandomError, 0);
        return -1;
    }
    if (std::exchange(sRandomShort, false)) {
        memset(out, 0xff, size / 2);
        return static_cast<ssize_t>(size / 2);
    }
    if (sNextIds.empty() || size != sizeof(u32))
        return __real_getrandom(out, size, flags);
    memcpy(out, &sNextIds.front(), size);
    sNextIds.erase(sNextIds.begin());
    return static_cast<ssize_t>(size);
}
}

class RegistryOpening : public RegistryFixture
{
protected:
    ~RegistryOpening() override { sNextIds.clear(); }
};

TEST_F(RegistryOpening, OpeningMakesOneFileOfThatTextWhateverTheUmask)
{
    MakeDirectory();
    u32 id = 0;
    int lock = -1;
    mode_t before = umask(0277);
    ASSERT_EQ(Open(&id, &lock), 0u);
    umask(before);
    EXPECT_NE(id, 0u);
    ASSERT_EQ(Names(), std::vector<std::string>{std::to_string(id)});

    const std::string text = ReadFile(Path(std::to_string(id)));
    const size_t since = text.find("since=");
    ASSERT_NE(since, std::string::npos);
    EXPECT_EQ(text.substr(0, since), "id=" + std::to_string(id) +
                                         "\nuser=admin\ntype=3\naddress=192.0.2.7\n"
                                         "privilege=ff\nidle=900\n");
    struct stat info;
    ASSERT_EQ(stat(Path(std::to_string(id)).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    EXPECT_EQ(info.st_nlink, 1u);
    EXPECT_EQ(RegistryCloseSession(directory_.c_str(), id, lock), 0u);
}

TEST_F(RegistryOpening, MissingDirectoryIsMadeWithMode0700)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    struct stat info;
    ASSERT_EQ(stat(directory_.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0700u);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(RegistryOpening, LargestValuesComeBackAsTheyWent)
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

TEST_F(RegistryOpening, TwoSessionsAtOnceHaveTheirOwnFilesAndEndByThemselves)
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

TEST_F(RegistryOpening, SessionWhoseFileIsRemovedIsUnknownAndClosesCleanly)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    ASSERT_EQ(unlink(Path(std::to_string(id)).c_str()), 0);
    EXPECT_EQ(Find(id), 5u);
    EXPECT_EQ(RegistryCloseSession(directory_.c_str(), id, lock), 0u);
    EXPECT_EQ(fcntl(lock, F_GETFD), -1);
}

TEST_F(RegistryOpening, FileThatCannotBeRemovedIsAFailureAndTheSessionIsOver)
{
    for (const auto &[error, result] : {std::pair(EACCES, 1u), std::pair(ENOENT, 0u)}) {
        u32 id = 0;
        int lock = -1;
        ASSERT_EQ(Open(&id, &lock), 0u);
        sUnlinkError = error;
        errno = 0;
        EXPECT_EQ(RegistryCloseSession(directory_.c_str(), id, lock), result);
        EXPECT_EQ(errno, error);
        sUnlinkError = 0;
        EXPECT_EQ(fcntl(lock, F_GETFD), -1);
        ASSERT_EQ(unlink(Path(std::to_string(id)).c_str()), 0);
    }
}

TEST_F(RegistryOpening, ClosingLeavesAnotherFileOfThatNameAlone)
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

TEST_F(RegistryOpening, SessionIsDeadAsSoonAsItsDescriptorIsClosed)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    close(lock);
    ASSERT_EQ(Find(id), 0u);
    EXPECT_FALSE(entry_.live);
}

TEST_F(RegistryOpening, SessionOfAKilledProcessIsDeadAtOnceAndSweptByTheNextOne)
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

TEST_F(RegistryOpening, ProcessThatInheritedTheLockKeepsTheSessionLive)
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

TEST_F(RegistryOpening, LockIsTheOnlyDescriptorThatOpeningLeavesAndStaysOpenAcrossExec)
{
    const std::vector<int> before = OpenDescriptors();
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    EXPECT_EQ(fcntl(lock, F_GETFD), 0);
    RegistryCloseSession(directory_.c_str(), id, lock);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(RegistryOpening, FailedOpeningsAndLookUpsLeaveNoDescriptor)
{
    MakeDirectory();
    const std::vector<int> before = OpenDescriptors();
    EXPECT_EQ(FindText("nonsense"), 4u);
    EXPECT_EQ(Find(78), 5u);
    ASSERT_EQ(chmod(directory_.c_str(), 0777), 0);
    u32 id = 1;
    int lock = 1;
    EXPECT_EQ(Open(&id, &lock), 6u);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(lock, -1);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(RegistryOpening, NullPointersAndRecordsThatCannotBeWrittenAreRefused)
{
    const char *directory = directory_.c_str();
    u32 id = 0;
    int lock = -1;
    EXPECT_EQ(RegistryOpenSession(nullptr, &record_, nullptr, &id, &lock), 2u);
    EXPECT_EQ(RegistryOpenSession(directory, nullptr, nullptr, &id, &lock), 2u);
    EXPECT_EQ(RegistryOpenSession(directory, &record_, nullptr, nullptr, &lock), 2u);
    EXPECT_EQ(RegistryOpenSession(directory, &record_, nullptr, &id, nullptr), 2u);
    EXPECT_EQ(RegistryFind(nullptr, 1, RegistryWhose::Own, &entry_), 2u);
    EXPECT_EQ(RegistryFind(directory, 1, RegistryWhose::Own, nullptr), 2u);
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

TEST_F(RegistryOpening, AddressWhoseFormsDisagreeIsRefused)
{
    struct Row {
        const char *text;
        u32 number;
        u32 result;
    };
    for (const Row &row :
         {Row{"192.0.2.7", 0xc0000207, 0}, Row{"192.0.2.7", 0xc0000208, 2}, Row{"192.0.2.7", 0, 2},
          Row{"2001:db8::7", 0, 0}, Row{"2001:db8::7", 1, 2}, Row{"192.0.2", 0, 2},
          Row{"none", 0, 2}, Row{"", 0xc0000207, 0}, Row{"", 0, 0}}) {
        snprintf(record_.addressText, sizeof record_.addressText, "%s", row.text);
        record_.address = row.number;
        u32 id = 0;
        int lock = -1;
        EXPECT_EQ(Open(&id, &lock), row.result) << row.text << " " << row.number;
        if (lock >= 0)
            RegistryCloseSession(directory_.c_str(), id, lock);
    }
    EXPECT_TRUE(Names().empty());
}

TEST_F(RegistryOpening, DirectoryThatCannotBeMadeOrOpenedIsAFailureWithItsReason)
{
    u32 id = 0;
    int lock = -1;
    std::string deep = top_ + "/none/sessions";
    EXPECT_EQ(RegistryOpenSession(deep.c_str(), &record_, nullptr, &id, &lock), 1u);
    EXPECT_EQ(errno, ENOENT);
    std::ofstream(directory_) << "a file";
    EXPECT_EQ(Open(&id, &lock), 1u);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_EQ(Find(1), 1u);
    EXPECT_EQ(RegistrySweep(deep.c_str(), nullptr), 5u);
}

TEST_F(RegistryOpening, DirectoryOpenToEveryoneIsRefusedUnlessSticky)
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

TEST_F(RegistryOpening, DirectoryOpenToItsGroupIsRefusedUnlessSticky)
{
    MakeDirectory();
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(chmod(directory_.c_str(), 0770), 0);
    EXPECT_EQ(Open(&id, &lock), 6u);
    ASSERT_EQ(chmod(directory_.c_str(), 03770), 0);
    ASSERT_EQ(Open(&id, &lock), 0u);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(RegistryOpening, DirectoryAndFilesOfAnotherUserAreNotTrusted)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give files away";
    MakeDirectory();
    ASSERT_EQ(FindText(kGoodText), 0u);
    ASSERT_EQ(chown(Path("77").c_str(), 65534, 65534), 0);
    EXPECT_EQ(Find(77), 6u);
    ASSERT_EQ(RegistryFind(directory_.c_str(), 77, RegistryWhose::Anyone, &entry_), 0u);
    EXPECT_EQ(entry_.owner, 65534u);
    RegistryRelease(&entry_);
    ASSERT_EQ(chown(directory_.c_str(), 65534, 65534), 0);
    u32 id = 0;
    int lock = -1;
    EXPECT_EQ(Open(&id, &lock), 6u);
}

TEST_F(RegistryOpening, PathTooLongToBeWrittenIsAFailure)
{
    std::string directory(5000, 'd');
    EXPECT_EQ(RegistryFind(directory.c_str(), 1, RegistryWhose::Own, &entry_), 1u);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(RegistryOpening, PlantedSecondNameOfASessionEndsNothingButIsNoSession)
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

TEST_F(RegistryOpening, SweepRemovesDeadSessionsAndHalfMadeOnesAndNothingElse)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    for (const char *dead : {"1", "4294967295", ".new-7"})
        Plant(dead, "anything");
    for (const char *other : {"0", "01", "4294967296", "+1", "readme", ".new-", ".new-0", ".newx7"})
        Plant(other, "anything");
    ASSERT_EQ(symlink("readme", Path("5").c_str()), 0);
    ASSERT_EQ(mkdir(Path("6").c_str(), 0700), 0);

    u32 removed = 0;
    EXPECT_EQ(RegistrySweep(directory_.c_str(), &removed), 0u);
    EXPECT_EQ(removed, 3u);
    RegistryCloseSession(directory_.c_str(), id, lock);
    EXPECT_EQ(Names(), (std::vector<std::string>{"+1", ".new-", ".new-0", ".newx7", "0", "01",
                                                 "4294967296", "5", "6", "readme"}));
}

TEST_F(RegistryOpening, SweepLeavesALockedFileThatIsStillBeingMade)
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

// Of another opener's half-made file, of a link in its place and of a name that is taken nothing is
// changed: another id is tried.
TEST_F(RegistryOpening, FileThatIsThereAlreadyIsLeftAloneAndAnotherIdTaken)
{
    MakeDirectory();
    Plant(".new-7", "half");
    const int half = open(Path(".new-7").c_str(), O_RDWR | O_CLOEXEC);
    struct flock held = {};
    held.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(half, F_OFD_SETLK, &held), 0);
    ASSERT_EQ(symlink("elsewhere", Path(".new-8").c_str()), 0);
    ASSERT_EQ(mkdir(Path("9").c_str(), 0700), 0);
    const std::vector<int> before = OpenDescriptors();

    sNextIds = {7, 8, 9, 0, 10};
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    EXPECT_EQ(id, 10u);
    EXPECT_EQ(Names(), (std::vector<std::string>{".new-7", ".new-8", "10", "9"}));
    EXPECT_EQ(ReadFile(Path(".new-7")), "half");
    RegistryCloseSession(directory_.c_str(), id, lock);
    EXPECT_EQ(OpenDescriptors(), before);
    close(half);
}

TEST_F(RegistryOpening, SixteenIdsAreTried)
{
    MakeDirectory();
    ASSERT_EQ(mkdir(Path("9").c_str(), 0700), 0);
    u32 id = 0;
    int lock = -1;
    sNextIds.assign(16, 9);
    sNextIds.push_back(10);
    EXPECT_EQ(Open(&id, &lock), kRegistryFailed);
    EXPECT_EQ(lock, -1);
    EXPECT_EQ(Names(), std::vector<std::string>{"9"});
    sNextIds.assign(15, 9);
    sNextIds.push_back(10);
    EXPECT_EQ(Open(&id, &lock), 0u);
    EXPECT_EQ(id, 10u);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

TEST_F(RegistryOpening, WithoutRandomNumbersThereIsNoSession)
{
    u32 id = 0;
    int lock = -1;
    sNextIds = {10};
    sRandomError = EIO;
    EXPECT_EQ(Open(&id, &lock), kRegistryFailed);
    EXPECT_EQ(lock, -1);
    // A signal or a part of a number is no failure.
    sRandomError = EINTR;
    sRandomShort = true;
    EXPECT_EQ(Open(&id, &lock), 0u);
    EXPECT_EQ(id, 10u);
    RegistryCloseSession(directory_.c_str(), id, lock);
}

// Openers sweep while others are still making their files: every one must get its session all
// the same.
TEST_F(RegistryOpening, ManyOpenersAtOnceAllGetTheirOwnSession)
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
            if (Open(&id, &lock) != 0 ||
                RegistryFind(directory_.c_str(), id, RegistryWhose::Own, &entry) != 0 ||
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

// --- Limits ----------------------------------------------------------------------------------

class RegistryLimit : public RegistryFixture
{
protected:
    // Opens as uid in a process of its own, which holds the session until the test ends; the
    // result of opening.
    u32 OpenAs(uid_t uid, RegistryLimits limits)
    {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        pid_t child = fork();
        if (child == 0) {
            u32 result = 99;
            u32 id = 0;
            int lock = -1;
            if (uid == geteuid() || setresuid(uid, uid, uid) == 0)
                result = RegistryOpenSession(directory_.c_str(), &record_, &limits, &id, &lock);
            if (write(ends[1], &result, sizeof(result)) == sizeof(result) && result == 0)
                pause();
            _exit(0);
        }
        close(ends[1]);
        u32 result = 98;
        EXPECT_EQ(read(ends[0], &result, sizeof(result)), static_cast<ssize_t>(sizeof(result)));
        close(ends[0]);
        children_.push_back(child);
        return result;
    }
    void End(size_t at)
    {
        kill(children_[at], SIGKILL);
        waitpid(children_[at], nullptr, 0);
    }
    void TearDown() override
    {
        for (size_t at = 0; at < children_.size(); ++at)
            End(at);
    }

    std::vector<pid_t> children_;
};

TEST_F(RegistryLimit, AsManyAsTheLimitAndNotOneMoreUntilOneEnds)
{
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(OpenAs(geteuid(), {3, 0}), 0u);
    EXPECT_EQ(OpenAs(geteuid(), {3, 0}), 7u);
    EXPECT_EQ(Names().size(), 3u);
    EXPECT_EQ(OpenAs(geteuid(), {0, 3}), 8u);
    EXPECT_EQ(OpenAs(geteuid(), {4, 3}), 8u);
    EXPECT_EQ(Names().size(), 3u);
    End(1);
    EXPECT_EQ(OpenAs(geteuid(), {3, 3}), 0u);
    EXPECT_EQ(OpenAs(geteuid(), {0, 0}), 0u);
}

TEST_F(RegistryLimit, OthersSessionsCountForAllAndNotForTheUser)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be several users";
    ASSERT_EQ(chmod(top_.c_str(), 0755), 0);
    ASSERT_EQ(mkdir(directory_.c_str(), 0700), 0);
    ASSERT_EQ(chmod(directory_.c_str(), 03777), 0);
    EXPECT_EQ(OpenAs(60001, {4, 2}), 0u);
    EXPECT_EQ(OpenAs(60001, {4, 2}), 0u);
    EXPECT_EQ(OpenAs(60001, {4, 2}), 8u);
    EXPECT_EQ(OpenAs(60002, {4, 2}), 0u);
    EXPECT_EQ(OpenAs(60003, {4, 2}), 0u);
    EXPECT_EQ(OpenAs(60002, {4, 2}), 7u);
    EXPECT_EQ(OpenAs(60004, {4, 2}), 7u);
}

TEST_F(RegistryLimit, OfOneUserSixteenCountForAll)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be several users";
    ASSERT_EQ(chmod(top_.c_str(), 0755), 0);
    ASSERT_EQ(mkdir(directory_.c_str(), 0700), 0);
    ASSERT_EQ(chmod(directory_.c_str(), 03777), 0);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(OpenAs(60001, {0, 0}), 0u);
    EXPECT_EQ(OpenAs(60002, {16, 0}), 7u);
    EXPECT_EQ(OpenAs(60002, {17, 0}), 0u);
}

// Of more than 256 users those that are too many are counted, too.
TEST_F(RegistryLimit, EachOfVeryManyUsersCounts)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be several users";
    std::vector<int> locks;
    u32 id = 0;
    int lock = -1;
    const RegistryLimits none = {0, 0};
    for (uid_t uid = 60000; uid < 60259; ++uid) {
        ASSERT_EQ(RegistryOpenSession(directory_.c_str(), &record_, &none, &id, &lock), 0u);
        ASSERT_EQ(fchown(lock, uid, 0), 0);
        locks.push_back(lock);
    }
    EXPECT_EQ(OpenAs(geteuid(), {259, 0}), 7u);
    EXPECT_EQ(OpenAs(geteuid(), {260, 0}), 0u);
    for (const int each : locks)
        close(each);
}

// Who comes at once with others to the last places: those who came first get them.
TEST_F(RegistryLimit, ManyAtOnceFillThePlacesThereAre)
{
    constexpr int kAtOnce = 24;
    int ready[2];
    int results[2];
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(results, O_CLOEXEC), 0);
    for (int i = 0; i < kAtOnce; ++i) {
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(ready[1]);
            char c;
            (void)!read(ready[0], &c, 1);
            RegistryLimits limits = {0, 16};
            u32 id = 0;
            int lock = -1;
            u32 result = RegistryOpenSession(directory_.c_str(), &record_, &limits, &id, &lock);
            if (write(results[1], &result, sizeof(result)) == sizeof(result) && result == 0)
                pause();
            _exit(0);
        }
        children_.push_back(child);
    }
    close(ready[1]);
    u32 opened = 0;
    u32 refused = 0;
    for (int i = 0; i < kAtOnce; ++i) {
        u32 result = 98;
        ASSERT_EQ(read(results[0], &result, sizeof(result)), static_cast<ssize_t>(sizeof(result)));
        opened += result == 0;
        refused += result == 8;
    }
    EXPECT_EQ(opened + refused, 24u);
    EXPECT_GE(opened, 16u);  // one that was held up before it appeared comes on top
    EXPECT_EQ(OpenAs(geteuid(), {0, 16}), 8u);
    close(ready[0]);
    close(results[0]);
    close(results[1]);
}

// --- Several users ---------------------------------------------------------------------------

TEST_F(RegistryOpening, SharedDirectoryIsRootsAndTheGroupsAndSticky)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root makes it";
    ASSERT_EQ(RegistryMakeShared(directory_.c_str(), 60010), 0u);
    struct stat info;
    ASSERT_EQ(stat(directory_.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 03770u);
    EXPECT_EQ(info.st_uid, 0u);
    EXPECT_EQ(info.st_gid, 60010u);
    EXPECT_EQ(RegistryMakeShared(directory_.c_str(), 60010), 1u);
    EXPECT_EQ(errno, EEXIST);
}

TEST_F(RegistryOpening, RootSweepsTheDeadOfEveryoneAndAUserHisOwn)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give files away";
    MakeDirectory();
    Plant("1", "anything");
    Plant("2", "anything");
    ASSERT_EQ(chown(Path("2").c_str(), 60001, 60001), 0);
    u32 removed = 0;
    ASSERT_EQ(RegistrySweep(directory_.c_str(), &removed), 0u);
    EXPECT_EQ(removed, 2u);

    Plant("3", "anything");
    Plant("4", "anything");
    ASSERT_EQ(chown(Path("4").c_str(), 60001, 60001), 0);
    ASSERT_EQ(chmod(directory_.c_str(), 01777), 0);
    ASSERT_EQ(chmod(top_.c_str(), 0755), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (setresuid(60001, 60001, 60001) != 0)
            _exit(9);
        _exit(RegistrySweep(directory_.c_str(), &removed) == 0 && removed == 1 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Names(), std::vector<std::string>{"3"});
}

TEST_F(RegistryOpening, ReadLockOfAnotherReaderDoesNotMakeADeadSessionLive)
{
    MakeDirectory();
    Plant("77", kGoodText);
    int descriptor = open(Path("77").c_str(), O_RDONLY | O_CLOEXEC);
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    ASSERT_EQ(fcntl(descriptor, F_OFD_SETLK, &lock), 0);
    ASSERT_EQ(Find(77), 0u);
    EXPECT_FALSE(entry_.live);
    close(descriptor);
}

TEST_F(RegistryOpening, EveryNameOfASessionIsVisitedUntilToldToStop)
{
    MakeDirectory();
    for (const char *name : {"1", "4294967295", ".new-7", "0", "01", "readme"})
        Plant(name, "anything");
    auto add = [](void *context, u32 id) {
        static_cast<std::vector<u32> *>(context)->push_back(id);
        return true;
    };
    std::vector<u32> ids;
    ASSERT_EQ(RegistryForEach(directory_.c_str(), add, &ids), 0u);
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (std::vector<u32>{1, 4294967295u}));
    auto stop = [](void *context, u32) {
        ++*static_cast<u32 *>(context);
        return false;
    };
    u32 visits = 0;
    ASSERT_EQ(RegistryForEach(directory_.c_str(), stop, &visits), 0u);
    EXPECT_EQ(visits, 1u);
    EXPECT_EQ(RegistryForEach((top_ + "/none").c_str(), add, &ids), 5u);
    EXPECT_EQ(RegistryForEach(nullptr, add, &ids), 2u);
    EXPECT_EQ(RegistryForEach(directory_.c_str(), nullptr, &ids), 2u);
}

TEST_F(RegistryOpening, EndingRemovesTheFileOfOnesOwnSessionAndRootEndsEveryones)
{
    u32 id = 0;
    int lock = -1;
    ASSERT_EQ(Open(&id, &lock), 0u);
    EXPECT_TRUE(RegistryStands(directory_.c_str(), id, lock));
    EXPECT_EQ(RegistryEndSession(directory_.c_str(), id), 0u);
    EXPECT_FALSE(RegistryStands(directory_.c_str(), id, lock));
    EXPECT_EQ(RegistryEndSession(directory_.c_str(), id), 5u);
    EXPECT_EQ(RegistryEndSession(directory_.c_str(), 0), 5u);
    Plant("0", "");
    Plant("1", "");
    EXPECT_EQ(RegistryEndSession(directory_.c_str(), 0), 5u);  // no session has it
    EXPECT_EQ(RegistryEndSession(directory_.c_str(), 1), 0u);
    EXPECT_EQ(unlink(Path("0").c_str()), 0);
    EXPECT_EQ(RegistryEndSession(nullptr, 1), 2u);
    Plant(std::to_string(id), kGoodText);
    EXPECT_FALSE(RegistryStands(directory_.c_str(), id, lock));  // another file of that name
    close(lock);
    if (geteuid() != 0)
        return;
    ASSERT_EQ(chmod(directory_.c_str(), 01777), 0);
    ASSERT_EQ(chmod(top_.c_str(), 0755), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        _exit(setresuid(60001, 60001, 60001) == 0
                  ? static_cast<int>(RegistryEndSession(directory_.c_str(), id))
                  : 9);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 6);
    ASSERT_EQ(chown(Path(std::to_string(id)).c_str(), 60001, 60001), 0);
    EXPECT_EQ(RegistryEndSession(directory_.c_str(), id), 0u);
}
