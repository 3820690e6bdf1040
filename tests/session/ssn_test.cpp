// SPDX-License-Identifier: Apache-2.0
// ssn_test.cpp -- the one question of the session manager, on a registry of its own.
#include "session/ssn.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "session/registry.h"
#include "support/open_descriptors.h"
#include "support/test_files.h"

static constexpr u32 kAddress = 2130706433;  // 127.0.0.1
static constexpr u8 kType = 3;

class Ssn : public testing::Test
{
protected:
    void SetUp() override { setenv("ZORSSNDIR", directory_.c_str(), 1); }
    void TearDown() override
    {
        if (lock_ >= 0)
            close(lock_);
    }

    void Open(u32 idleSeconds)
    {
        RegistryRecord record = {};
        strcpy(record.user, "admin");
        record.address = kAddress;
        record.type = kType;
        record.idleSeconds = idleSeconds;
        ASSERT_EQ(RegistryOpenSession(directory_.c_str(), &record, nullptr, &id_, &lock_), 0u);
    }

    std::string Path() const { return directory_ + "/" + std::to_string(id_); }

    void SetLastUse(time_t when) const
    {
        timespec times[2] = {{when, 0}, {when, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, Path().c_str(), times, 0), 0);
    }

    // The clock that last uses are counted on.
    static time_t Now()
    {
        timespec now = {};
        clock_gettime(CLOCK_BOOTTIME, &now);
        return now.tv_sec;
    }

    time_t LastUse() const
    {
        struct stat info = {};
        EXPECT_EQ(stat(Path().c_str(), &info), 0);
        return info.st_mtime;
    }

    u32 Check(u32 address = kAddress, u8 type = kType)
    {
        state_ = 99;
        second_ = 99;
        return ssn_check(id_, address, type, &state_, &second_);
    }

    const TestDirectory made_;
    const std::string directory_ = made_.Path();
    u32 id_ = 77;
    int lock_ = -1;
    u32 state_ = 99;
    u32 second_ = 99;
};

TEST_F(Ssn, LiveSessionWithoutALimitIsValidAndHasNoSecondsLeftToTell)
{
    Open(0);
    EXPECT_EQ(Check(), 0u);
    EXPECT_EQ(state_, 1u);
    EXPECT_EQ(second_, 0u);
}

TEST_F(Ssn, LiveSessionIsMarkedUsedAndHasItsWholeLimitAgain)
{
    Open(3600);
    time_t before = Now();
    SetLastUse(before - 1800);
    EXPECT_EQ(Check(), 0u);
    EXPECT_EQ(state_, 1u);
    EXPECT_EQ(second_, 3600u);
    EXPECT_GE(LastUse(), before - 1);
}

TEST_F(Ssn, SessionIdleForItsLimitIsExpiredAndStaysSo)
{
    Open(3600);
    time_t lastUse = Now() - 3600;
    SetLastUse(lastUse);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Check(), 0u);
        EXPECT_EQ(state_, 2u);
        EXPECT_EQ(second_, 0u);
        EXPECT_EQ(LastUse(), lastUse);
    }
}

TEST_F(Ssn, SessionIdleForLessThanItsLimitIsValid)
{
    Open(3600);
    SetLastUse(Now() - 3000);
    EXPECT_EQ(Check(), 0u);
    EXPECT_EQ(state_, 1u);
}

TEST_F(Ssn, SessionWithoutALimitNeverExpires)
{
    Open(0);
    SetLastUse(1000);
    EXPECT_EQ(Check(), 0u);
    EXPECT_EQ(state_, 1u);
}

TEST_F(Ssn, LastUseInTheFutureCountsAsJustUsedAndIsPutRight)
{
    Open(1);
    time_t now = Now();
    SetLastUse(now + 100000);
    EXPECT_EQ(Check(), 0u);
    EXPECT_EQ(state_, 1u);
    EXPECT_LT(LastUse(), now + 50000);
}

TEST_F(Ssn, AnotherAddressIsAnotherClientAndMarksNothing)
{
    Open(0);
    SetLastUse(1000);
    EXPECT_EQ(Check(kAddress + 1), 0u);
    EXPECT_EQ(state_, 4u);
    EXPECT_EQ(second_, 0u);
    EXPECT_EQ(Check(0), 0u);
    EXPECT_EQ(state_, 4u);
    EXPECT_EQ(LastUse(), 1000);
}

TEST_F(Ssn, AnotherTypeIsAnotherClientAndMarksNothing)
{
    Open(0);
    SetLastUse(1000);
    EXPECT_EQ(Check(kAddress, kType + 1), 0u);
    EXPECT_EQ(state_, 4u);
    EXPECT_EQ(LastUse(), 1000);
}

TEST_F(Ssn, AnotherClientOfAnExpiredSessionIsAnotherClient)
{
    Open(60);
    SetLastUse(1000);
    EXPECT_EQ(Check(0), 0u);
    EXPECT_EQ(state_, 4u);
}

TEST_F(Ssn, SessionWhoseLockIsFreeIsDeadWhateverElseIsWrong)
{
    Open(60);
    SetLastUse(1000);
    close(lock_);
    lock_ = -1;
    EXPECT_EQ(Check(0), 0u);
    EXPECT_EQ(state_, 3u);
    EXPECT_EQ(second_, 0u);
    EXPECT_EQ(LastUse(), 1000);
}

TEST_F(Ssn, RemovingTheFileEndsTheSession)
{
    Open(0);
    ASSERT_EQ(unlink(Path().c_str()), 0);
    EXPECT_EQ(Check(), 5u);
    EXPECT_EQ(state_, 0u);
    EXPECT_EQ(second_, 0u);
}

TEST_F(Ssn, IdWithoutASessionIdZeroAndAMissingRegistryAreUnknown)
{
    EXPECT_EQ(Check(), 5u);
    EXPECT_EQ(state_, 0u);
    EXPECT_EQ(second_, 0u);
    id_ = 0;
    EXPECT_EQ(Check(), 5u);
    id_ = 77;
    setenv("ZORSSNDIR", (directory_ + "/none").c_str(), 1);
    EXPECT_EQ(Check(), 5u);
}

TEST_F(Ssn, WhatIsNoSessionFileIsUnreadable)
{
    std::ofstream(Path()) << "nonsense\n";
    EXPECT_EQ(Check(), 1u);
    EXPECT_EQ(state_, 0u);
    EXPECT_EQ(second_, 0u);
}

TEST_F(Ssn, LinkToALiveSessionIsUnreadable)
{
    Open(0);
    ASSERT_EQ(symlink(Path().c_str(), (directory_ + "/77").c_str()), 0);
    id_ = 77;
    EXPECT_EQ(Check(), 1u);
    EXPECT_EQ(state_, 0u);
}

TEST_F(Ssn, RegistryThatIsNoDirectoryIsUnreadable)
{
    Open(0);
    setenv("ZORSSNDIR", Path().c_str(), 1);
    EXPECT_EQ(Check(), 1u);
}

TEST_F(Ssn, FileOfAnotherUserIsUnreadable)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give files away";
    Open(0);
    ASSERT_EQ(chown(Path().c_str(), 65534, 65534), 0);
    EXPECT_EQ(Check(), 1u);
}

TEST_F(Ssn, NullPointersAreRefusedAndMarkNothing)
{
    Open(0);
    SetLastUse(1000);
    u32 value = 99;
    EXPECT_EQ(ssn_check(id_, kAddress, kType, nullptr, &value), 2u);
    EXPECT_EQ(ssn_check(id_, kAddress, kType, &value, nullptr), 2u);
    EXPECT_EQ(value, 99u);
    EXPECT_EQ(LastUse(), 1000);
}

TEST_F(Ssn, ManyChecksLeaveNoDescriptorOpen)
{
    Open(0);
    const std::vector<int> before = OpenDescriptors();
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(Check(kAddress, static_cast<u8>(i)), 0u);
    EXPECT_EQ(OpenDescriptors(), before);
}
