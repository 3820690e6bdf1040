// SPDX-License-Identifier: Apache-2.0
// login_settings_test.cpp -- the settings file of every login.
#include "session/login_settings.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

class LoginSettings : public testing::Test
{
protected:
    void SetUp() override
    {
        path_ = testing::TempDir() + "login_settings_test.XXXXXX";
        close(mkstemp(path_.data()));
    }
    void TearDown() override { unlink(path_.c_str()); }

    u32 Read(const std::string &text)
    {
        std::ofstream(path_) << text;
        return ReadFile();
    }
    u32 ReadFile()
    {
        LoginDefaultOptions(&options_);
        message_[0] = '\0';
        return LoginReadSettings(path_.c_str(), &options_, message_, sizeof(message_));
    }
    void ExpectFault(const std::string &text, const std::string &message)
    {
        EXPECT_EQ(Read(text), 78u) << text;
        EXPECT_EQ(message_, path_ + message);
    }

    std::string path_;
    LoginOptions options_;
    char message_[256];
};

TEST_F(LoginSettings, EverySettingIsTaken)
{
    ASSERT_EQ(Read("# limits\n\n  idle\t900 # all\r\nidle 1=0\nsessions 32\nuser-sessions 4\n"
                   "allow smclpctl"),
              0u)
        << message_;
    EXPECT_EQ(options_.idleSeconds[0], 900u);
    EXPECT_EQ(options_.idleSeconds[1], 0u);
    EXPECT_EQ(options_.idleSeconds[255], 900u);
    EXPECT_EQ(options_.sessions, 32u);
    EXPECT_EQ(options_.userSessions, 4u);
    EXPECT_TRUE(options_.allowTool);
}

TEST_F(LoginSettings, EmptyFileLeavesTheDefaults)
{
    ASSERT_EQ(Read(""), 0u);
    EXPECT_EQ(options_.idleSeconds[0], 1800u);
    EXPECT_FALSE(options_.allowTool);
    ASSERT_EQ(Read("\n#allow smclpctl\n"), 0u);
    EXPECT_FALSE(options_.allowTool);
}

TEST_F(LoginSettings, FaultsAreSaidWithTheirLine)
{
    ExpectFault("idle 900\nidel 900\n", ":2: unknown setting: 'idel'");
    ExpectFault("unconfined 1\n", ":1: unknown setting: 'unconfined'");
    ExpectFault("privilege 7\n", ":1: unknown setting: 'privilege'");
    ExpectFault("type 1\n", ":1: unknown setting: 'type'");
    ExpectFault("settings /etc/passwd\n", ":1: unknown setting: 'settings'");
    ExpectFault("idle\n", ":1: a setting is a name and one value");
    ExpectFault("idle 1 2\n", ":1: a setting is a name and one value");
    ExpectFault("idle -1\n",
                ":1: --idle needs seconds from 0 to 4294967295, or TYPE=SECONDS: '-1'");
    ExpectFault("allow sh\n", ":1: --allow knows smclpctl alone: 'sh'");
    ExpectFault(std::string("idle 9\0", 7), ": is no text");
}

TEST_F(LoginSettings, FileMayHave4096Bytes)
{
    const std::string setting = "idle 900\n#";
    EXPECT_EQ(Read(setting + std::string(4096 - setting.size(), 'x')), 0u);
    EXPECT_EQ(options_.idleSeconds[0], 900u);
    ExpectFault(setting + std::string(4097 - setting.size(), 'x'), ": is larger than 4 KiB");
}

TEST_F(LoginSettings, FileThatOthersMayWriteIsRefused)
{
    std::ofstream(path_) << "idle 900\n";
    for (const mode_t mode : {0620u, 0602u}) {
        ASSERT_EQ(chmod(path_.c_str(), mode), 0);
        EXPECT_EQ(ReadFile(), 78u);
        EXPECT_EQ(message_, path_ + ": may be written by others than its owner");
    }
    ASSERT_EQ(chmod(path_.c_str(), 0644), 0);
    EXPECT_EQ(ReadFile(), 0u);
}

TEST_F(LoginSettings, FileOfAnotherIsRefused)
{
    std::ofstream(path_) << "idle 900\n";
    for (const uid_t owner : {1u, 60001u}) {
        if (chown(path_.c_str(), owner, owner) != 0)
            GTEST_SKIP() << "needs root, to give the file away";
        EXPECT_EQ(ReadFile(), 78u);
        EXPECT_EQ(message_, path_ + ": does not belong to root");
    }
}

TEST_F(LoginSettings, WhatIsNoPlainFileIsRefused)
{
    unlink(path_.c_str());
    EXPECT_EQ(ReadFile(), 78u);
    EXPECT_EQ(message_, path_ + ": No such file or directory");
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(ReadFile(), 78u);
    EXPECT_EQ(message_, path_ + ": is no plain file");
}
