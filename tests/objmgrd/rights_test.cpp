// SPDX-License-Identifier: Apache-2.0
#include "objmgrd/rights.h"

#include <gtest/gtest.h>

#include <fstream>
#include <signal.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr u32 kLogin = 0x1;
constexpr u32 kPower = 0x2;
constexpr u32 kClearLog = 0x4;
constexpr u32 kAll = 0x7;

bool TestUser(const std::string &name, u32 *uid)
{
    if (name == "nobody")
        *uid = 65534;
    else if (name == "alice")
        *uid = 1001;
    else if (name == "bob")
        *uid = 1002;
    else
        return false;
    return true;
}

bool TestGroup(const std::string &name, u32 *gid)
{
    if (name == "nogroup")
        *gid = 65534;
    else if (name == "operators")
        *gid = 2001;
    else if (name == "cleaners")
        *gid = 2002;
    else
        return false;
    return true;
}

constexpr RightsNames kNames = {TestUser, TestGroup};

std::string Notes(const std::vector<FileNote> &notes)
{
    std::string all;
    for (const FileNote &note : notes)
        all += FileNoteLine("f", note) + "\n";
    return all;
}

// A file that is right, with these notes.
Rights ReadRights(const char *text, const std::string &expected = "")
{
    Rights rights;
    std::vector<FileNote> notes;
    EXPECT_TRUE(RightsParse(text, &rights, &notes, kNames)) << text;
    EXPECT_EQ(Notes(notes), expected);
    return rights;
}

void ExpectFaults(const char *text, const std::string &expected)
{
    Rights rights;
    std::vector<FileNote> notes;
    EXPECT_FALSE(RightsParse(text, &rights, &notes, kNames)) << text;
    EXPECT_EQ(Notes(notes), expected);
    // Untouched: as without a file.
    EXPECT_EQ(rights.Of({.uid = 5000, .gid = 5000, .pid = 1, .groups = {}}), kLogin);
}

u32 Of(const Rights &rights, u32 uid, u32 gid = 9999, std::vector<u32> groups = {})
{
    return rights.Of({.uid = uid, .gid = gid, .pid = 1, .groups = std::move(groups)});
}

// The test runs as some user, which has every right.
u32 OtherThanMe(u32 uid)
{
    return geteuid() == uid ? uid + 100 : uid;
}

}  // namespace

TEST(Rights, WithoutAFileEverybodyMayLookAndNothingElse)
{
    const Rights rights;
    EXPECT_EQ(Of(rights, OtherThanMe(1001)), kLogin);
    EXPECT_EQ(Of(rights, OtherThanMe(1001), 0, {0, 2001}), kLogin);
    EXPECT_EQ(Of(rights, 0), kAll);
    EXPECT_EQ(Of(rights, geteuid()), kAll);
    EXPECT_EQ(Of(rights, 65534), 0u);
}

TEST(Rights, AFileGivesUsersAndGroupsTheirs)
{
    const Rights rights = ReadRights("[users]\n"
                                     "alice = ['login', 'power', 'clear-log']\n"
                                     "bob = 'login'\n"
                                     "1003 = ['login', 'power']\n"
                                     "[groups]\n"
                                     "operators = ['login', 'power']\n"
                                     "2003 = ['login', 'clear-log']\n");
    EXPECT_EQ(Of(rights, 1001), kAll);
    EXPECT_EQ(Of(rights, 1002), kLogin);
    EXPECT_EQ(Of(rights, 1003), kLogin | kPower);
    EXPECT_EQ(Of(rights, 1004), 0u);
    EXPECT_EQ(Of(rights, 1004, 2001), kLogin | kPower);
    EXPECT_EQ(Of(rights, 1004, 9999, {5, 2001}), kLogin | kPower);
    EXPECT_EQ(Of(rights, 1004, 2003, {2001}), kAll);
    EXPECT_EQ(Of(rights, 1002, 2003), kLogin | kClearLog);
    // A user's number is no group's.
    EXPECT_EQ(Of(rights, 2001), 0u);
    EXPECT_EQ(Of(rights, 1004, 1001), 0u);
}

TEST(Rights, RootAndTheServicesUserHaveThemAll)
{
    const Rights rights =
        ReadRights("[users]\nroot-like = 'login'\n0 = 'login'\n",
                   "f:2:1: warning: there is no user \"root-like\": nobody gets these "
                   "rights\n");
    EXPECT_EQ(Of(rights, 0), kAll);
    EXPECT_EQ(Of(rights, geteuid()), kAll);
    EXPECT_EQ(Of(rights, OtherThanMe(1002), 0, {0}), 0u);
}

TEST(Rights, OverflowIdsHaveNoneWhateverTheFileSays)
{
    const Rights rights = ReadRights(
        "[users]\nnobody = ['login', 'power']\n65534 = 'login'\n[groups]\nnogroup = 'login'\n"
        "65534 = 'power'\n",
        "f:2:1: warning: the user \"nobody\" never has a right\n"
        "f:3:1: warning: the user \"65534\" never has a right\n"
        "f:5:1: warning: the group \"nogroup\" never has a right\n"
        "f:6:1: warning: the group \"65534\" never has a right\n");
    EXPECT_EQ(Of(rights, 65534), 0u);
    EXPECT_EQ(Of(rights, 1004, 65534, {65534}), 0u);
    // Also where the groups would give some.
    EXPECT_EQ(Of(ReadRights("[groups]\noperators = 'login'\n"), 65534, 2001), 0u);
}

TEST(Rights, WithoutTheRightToLogInThereIsNone)
{
    const Rights rights =
        ReadRights("[users]\nalice = 'power'\n[groups]\ncleaners = ['clear-log']\n"
                   "operators = 'login'\n");
    EXPECT_EQ(Of(rights, 1001), 0u);
    EXPECT_EQ(Of(rights, 1001, 2002), 0u);
    EXPECT_EQ(Of(rights, 1001, 2002, {2001}), kAll);
}

TEST(Rights, TheLastOfSeventyGroupsCounts)
{
    const Rights rights = ReadRights("[groups]\n2070 = ['login', 'power']\n");
    std::vector<u32> groups;
    for (u32 i = 1; i < 70; ++i)
        groups.push_back(2000 + i);
    EXPECT_EQ(Of(rights, 1004, 9999, groups), 0u);
    groups.push_back(2070);
    EXPECT_EQ(Of(rights, 1004, 9999, groups), kLogin | kPower);
}

TEST(Rights, AnEmptyFileGivesNobodyAnything)
{
    EXPECT_EQ(Of(ReadRights(""), 1001), 0u);
    EXPECT_EQ(Of(ReadRights("[users]\nalice = []\n"), 1001), 0u);
    EXPECT_EQ(Of(ReadRights(""), 0), kAll);
}

TEST(Rights, AnUnknownNameIsAWarning)
{
    const Rights rights =
        ReadRights("[users]\ncarol = 'login'\nalice = 'login'\n[groups]\nx = 'login'\n",
                   "f:2:1: warning: there is no user \"carol\": nobody gets these "
                   "rights\n"
                   "f:5:1: warning: there is no group \"x\": nobody gets these "
                   "rights\n");
    EXPECT_EQ(Of(rights, 1001), kLogin);
}

TEST(Rights, EveryFaultIsSaidWithItsPlace)
{
    ExpectFaults("[users]\nalice = ['login', 'powder']\nbob = 7\n[group]\nx = 'login'\n",
                 "f:2:19: unknown right \"powder\" (known: login, power, clear-log)\n"
                 "f:3:7: rights are words: write [\"login\", \"power\"]\n"
                 "f:4:2: unknown table \"group\" (known: users, groups)\n");
    ExpectFaults("users = 'alice'\n", "f:1:9: users is a table: write [users]\n");
    ExpectFaults("[users]\nalice = { login = true }\n",
                 "f:2:9: rights are words: write [\"login\", \"power\"]\n");
    ExpectFaults("[users]\nalice = ['login', ['power']]\n",
                 "f:2:19: rights are words: write [\"login\", \"power\"]\n");
    ExpectFaults("[users]\n'' = 'login'\n", "f:2:1: a user has a name\n");
}

TEST(Rights, WhatIsNoTomlIsAFault)
{
    Rights rights;
    std::vector<FileNote> notes;
    EXPECT_FALSE(RightsParse("[users\n", &rights, &notes, kNames));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].line, 1u);
}

TEST(Rights, NumbersAreIdsUpToTheLargest)
{
    EXPECT_EQ(Of(ReadRights("[users]\n4294967294 = 'login'\n"), 4294967294), kLogin);
    ExpectFaults("[users]\n4294967295 = 'login'\n", "f:2:1: there is no such number of a user\n");
    ExpectFaults("[groups]\n99999999999999999999999 = 'login'\n",
                 "f:2:1: there is no such number of a group\n");
}

TEST(Rights, TheSystemKnowsItsNames)
{
    u32 id = 1;
    EXPECT_TRUE(kSystemNames.user("root", &id));
    EXPECT_EQ(id, 0u);
    id = 1;
    EXPECT_TRUE(kSystemNames.group("root", &id));
    EXPECT_EQ(id, 0u);
    EXPECT_FALSE(kSystemNames.user("no such user", &id));
    EXPECT_FALSE(kSystemNames.group("no such group", &id));
}

class RightsFile : public testing::Test
{
protected:
    RightsFile()
    {
        path_ = testing::TempDir() + "rightsXXXXXX";
        close(mkstemp(path_.data()));
        std::ofstream(path_) << "[users]\n1234567 = ['login', 'power']\n";
        chmod(path_.c_str(), 0644);
    }
    ~RightsFile() override { unlink(path_.c_str()); }

    std::string Fault()
    {
        Rights rights;
        std::vector<FileNote> notes;
        EXPECT_FALSE(RightsRead(path_, &rights, &notes));
        return notes.size() == 1 && notes[0].line == 0 ? notes[0].text : Notes(notes);
    }

    std::string path_;
};

TEST_F(RightsFile, IsRead)
{
    Rights rights;
    std::vector<FileNote> notes;
    EXPECT_TRUE(RightsRead(path_, &rights, &notes));
    EXPECT_EQ(Of(rights, 1234567), kLogin | kPower);
    EXPECT_TRUE(notes.empty());
}

TEST_F(RightsFile, ThatOthersMayWriteIsRefused)
{
    chmod(path_.c_str(), 0664);
    EXPECT_EQ(Fault(), "may be written by others than its owner (chmod go-w)");
    chmod(path_.c_str(), 0646);
    EXPECT_EQ(Fault(), "may be written by others than its owner (chmod go-w)");
}

TEST_F(RightsFile, OfAnotherUserIsRefused)
{
    if (chown(path_.c_str(), 12345, 0) != 0)
        GTEST_SKIP() << "needs root, to give the file away";
    EXPECT_EQ(Fault(), "belongs neither to root nor to the user that the service runs as");
}

TEST_F(RightsFile, ThatIsNoPlainFileIsRefused)
{
    unlink(path_.c_str());
    EXPECT_EQ(Fault(), "No such file or directory");
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(Fault(), "is no plain file");
}

// The name leads now to a good file, now to one that anybody may write: what is read is what was
// judged, whenever it changes.
TEST_F(RightsFile, ThatIsExchangedMeanwhileIsNotReadUnjudged)
{
    const std::string good = path_ + ".good";
    const std::string bad = path_ + ".bad";
    const std::string next = path_ + ".next";
    rename(path_.c_str(), good.c_str());
    std::ofstream(bad) << "[users]\n7654321 = ['login', 'power']\n";
    chmod(bad.c_str(), 0666);
    ASSERT_EQ(symlink(good.c_str(), path_.c_str()), 0);
    const pid_t changer = fork();
    if (changer == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (int i = 0;; ++i) {
            (void)!symlink((i % 2 == 0 ? bad : good).c_str(), next.c_str());
            rename(next.c_str(), path_.c_str());
        }
    }
    int read = 0;
    for (int i = 0; i < 3000; ++i) {
        Rights rights;
        std::vector<FileNote> notes;
        read += RightsRead(path_, &rights, &notes) ? 1 : 0;
        ASSERT_EQ(Of(rights, 7654321) & kPower, 0u) << i;
    }
    kill(changer, SIGKILL);
    waitpid(changer, nullptr, 0);
    EXPECT_GT(read, 0);
    for (const std::string &file : {good, bad, next})
        unlink(file.c_str());
}

TEST_F(RightsFile, ThatIsTooLargeIsRefused)
{
    ASSERT_EQ(truncate(path_.c_str(), 1024 * 1024 + 1), 0);
    EXPECT_EQ(Fault(), "larger than 1 MiB");
}
