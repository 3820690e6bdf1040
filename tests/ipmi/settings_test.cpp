// SPDX-License-Identifier: Apache-2.0
// settings_test.cpp -- objmgrd-ipmi's settings file and its password, as the program treats them.
#include "ipmi/served_bmc.h"
#include "support/test_files.h"

#include <dirent.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

class Settings : public testing::Test
{
protected:
    void SetUp() override { Password("quiet-secret\n", 0600); }
    void Password(const std::string &text, mode_t mode)
    {
        EXPECT_TRUE(WriteFile(directory + "/password", text, mode));
    }
    std::string Right() const
    {
        return "[bmc]\ndriver = \"lan\"\nhost = \"192.0.2.10\"\nuser = \"admin\"\npassword_file = "
               "\"" +
               directory + "/password\"\n";
    }
    ProgramEnd Check(const std::string &text)
    {
        std::ofstream(directory + "/bmc.toml") << text;
        return RunProgram({OBJMGRD_IPMI, "--config", directory + "/bmc.toml", "--check"});
    }
    // Wrong, and the line is named.
    void ExpectWrong(const std::string &text, int line)
    {
        const ProgramEnd end = Check(text);
        EXPECT_EQ(end.status, 1) << text;
        const std::string where = "bmc.toml:" + std::to_string(line) + ":";
        EXPECT_NE(end.err.find(where), std::string::npos) << where << " in " << end.err;
        EXPECT_EQ(end.out.find("right"), std::string::npos);
    }
    const TestDirectory made;
    const std::string directory = made.Path();
};

TEST_F(Settings, RightOnesAreSaidToBeRight)
{
    const ProgramEnd end = Check(Right());
    EXPECT_EQ(end.out, directory + "/bmc.toml: right\n");
    EXPECT_EQ(end.err, "");
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(Check("[bmc]\ndriver = \"local\"\n").status, 0);
}

TEST_F(Settings, WrongOnesAreSaidWithTheirLine)
{
    ExpectWrong(Right() + "hots = \"192.0.2.1\"\n", 6);
    ExpectWrong(Right() + "port = \"623\"\n", 6);
    ExpectWrong(Right() + "port = 0\n", 6);
    ExpectWrong(Right() + "port = 65536\n", 6);
    ExpectWrong(Right() + "privilege = \"root\"\n", 6);
    ExpectWrong(Right() + "cipher_suite = 18\n", 6);
    ExpectWrong(Right() + "workarounds = [\"magic\"]\n", 6);
    ExpectWrong(Right() + "[poll]\nsensors_ms = 1\n", 7);
    ExpectWrong(Right() + "[poll]\npower_ms = 0.5\n", 7);
    ExpectWrong(Right() + "[timeouts]\nmethod_ms = 60001\n", 7);
    ExpectWrong(Right() + "[colours]\n", 6);
    ExpectWrong("[bmc]\ndriver = \"lan\n", 2);
    ExpectWrong("[bmc]\ndriver = \"serial\"\n", 2);
}

TEST_F(Settings, WhatIsMissingIsSaid)
{
    EXPECT_EQ(Check("").status, 1);
    EXPECT_EQ(Check("[bmc]\ndriver = \"lan\"\n").status, 1);
    unlink((directory + "/password").c_str());
    EXPECT_EQ(Check(Right()).status, 1);
    const ProgramEnd end =
        RunProgram({OBJMGRD_IPMI, "--config", directory + "/nosuchfile", "--check"});
    EXPECT_EQ(end.status, 1);
    EXPECT_NE(end.err.find("nosuchfile"), std::string::npos);
}

TEST_F(Settings, PasswordThatOthersMayReadIsRefused)
{
    for (const mode_t mode : {0640u, 0604u, 0620u, 0602u, 0644u, 0666u}) {
        Password("quiet-secret\n", mode);
        const ProgramEnd end = Check(Right());
        EXPECT_EQ(end.status, 1) << std::oct << mode;
        EXPECT_NE(end.err.find("password"), std::string::npos) << end.err;
        EXPECT_EQ((end.err + end.out).find("quiet-secret"), std::string::npos);
    }
    Password("quiet-secret\n", 0400);
    EXPECT_EQ(Check(Right()).status, 0);
}

TEST_F(Settings, PasswordThatIsNoPlainFileIsRefused)
{
    const std::string file = directory + "/password";
    ASSERT_EQ(rename(file.c_str(), (directory + "/elsewhere").c_str()), 0);
    ASSERT_EQ(symlink("elsewhere", file.c_str()), 0);
    EXPECT_EQ(Check(Right()).status, 1);
    unlink(file.c_str());
    ASSERT_EQ(mkdir(file.c_str(), 0700), 0);
    EXPECT_EQ(Check(Right()).status, 1);
    rmdir(file.c_str());
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(Check(Right()).status, 1);
}

TEST_F(Settings, PasswordThatIsTooLongIsRefused)
{
    Password("twenty-bytes-exactly\n", 0600);
    EXPECT_EQ(Check(Right()).status, 0);
    Password("twenty-one-bytes-long\n", 0600);
    const ProgramEnd end = Check(Right());
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.err.find("twenty"), std::string::npos);
}

TEST_F(Settings, WrongOnesStartNoService)
{
    Check(Right() + "hots = \"192.0.2.1\"\n");
    const ProgramEnd end =
        RunProgram({OBJMGRD_IPMI, "--config", directory + "/bmc.toml", "--dir", directory});
    EXPECT_EQ(end.status, 1);
    EXPECT_FALSE(std::filesystem::exists(directory + "/image"));
    Check(Right());
    Password("quiet-secret\n", 0644);
    EXPECT_EQ(
        RunProgram({OBJMGRD_IPMI, "--config", directory + "/bmc.toml", "--dir", directory}).status,
        1);
    EXPECT_FALSE(std::filesystem::exists(directory + "/image"));
}

TEST_F(Settings, WrongUsageIsStatusTwo)
{
    EXPECT_EQ(RunProgram({OBJMGRD_IPMI}).status, 2);
    EXPECT_EQ(RunProgram({OBJMGRD_IPMI, "--nosuchoption"}).status, 2);
    EXPECT_EQ(RunProgram({OBJMGRD_IPMI, "--config"}).status, 2);
    EXPECT_EQ(RunProgram({OBJMGRD_IPMI, "--help"}).status, 0);
    EXPECT_EQ(RunProgram({OBJMGRD_IPMI, "--version"}).out.compare(0, 13, "objmgrd-ipmi "), 0);
}

class Secret : public ServedBmc
{
};

TEST_F(Secret, IsNowhereButInItsFile)
{
    Serve({.user = kSimLongPassword});
    EXPECT_EQ(Out("stop /system1"), "system was stopped successfully.\n");
    bmc.Freeze();
    SleepMs(3000);
    bmc.Thaw();
    ASSERT_TRUE(WaitUntil([&] { return IsReady(); }));

    const std::string secret = kSimLongPassword.password;
    const std::string process = "/proc/" + std::to_string(service->Pid());
    ASSERT_NE(ReadFile(process + "/cmdline").find("--config"), std::string::npos);
    EXPECT_EQ(ReadFile(process + "/cmdline").find(secret), std::string::npos);
    ASSERT_NE(ReadFile(process + "/environ").find("ZORSSNDIR"), std::string::npos);
    EXPECT_EQ(ReadFile(process + "/environ").find(secret), std::string::npos);
    ASSERT_NE(service->Log(), "");
    EXPECT_EQ(service->Log().find(secret), std::string::npos);
    size_t files = 0;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(service->Directory())) {
        if (!entry.is_regular_file() || entry.path().filename() == "password")
            continue;
        ++files;
        EXPECT_EQ(ReadFile(entry.path()).find(secret), std::string::npos) << entry.path();
    }
    EXPECT_GE(files, 3u);  // the store among them
}

}  // namespace
