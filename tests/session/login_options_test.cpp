// SPDX-License-Identifier: Apache-2.0
// login_options_test.cpp -- the command line of smclp-login.
#include "session/login_options.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

class LoginParse : public testing::Test
{
protected:
    u32 Parse(std::vector<std::string> words)
    {
        words_ = std::move(words);
        argv_ = {name_};
        for (std::string &word : words_)
            argv_.push_back(word.data());
        argv_.push_back(nullptr);
        message_[0] = '\0';
        LoginDefaultOptions(&options_);
        return LoginParseOptions(static_cast<int>(argv_.size()) - 1, argv_.data(), &options_,
                                 message_, sizeof(message_));
    }

    void ExpectFault(const std::vector<std::string> &words, const char *message)
    {
        EXPECT_EQ(Parse(words), 2u) << message;
        EXPECT_STREQ(message_, message);
    }

    char name_[12] = "smclp-login";
    std::vector<std::string> words_;
    std::vector<char *> argv_;
    LoginOptions options_;
    char message_[256];
};

TEST_F(LoginParse, DefaultsAreNoTypeNoAddressEveryRightHalfAnHourAndTheShell)
{
    ASSERT_EQ(Parse({}), 0u);
    EXPECT_EQ(options_.action, LoginAction::Run);
    EXPECT_EQ(options_.type, 0);
    EXPECT_FALSE(options_.typeGiven);
    EXPECT_EQ(options_.client.address, 0u);
    EXPECT_STREQ(options_.client.addressText, "");
    EXPECT_EQ(options_.privilege, 7u);
    EXPECT_EQ(options_.idleSeconds[0], 1800u);
    EXPECT_EQ(options_.idleSeconds[255], 1800u);
    EXPECT_EQ(options_.sessions, 64u);
    EXPECT_EQ(options_.userSessions, 16u);
    EXPECT_FALSE(options_.unconfined);
    EXPECT_EQ(options_.line, nullptr);
    EXPECT_EQ(options_.command, nullptr);
}

TEST_F(LoginParse, ToolIsAllowedByNameAndSettingsAreNamed)
{
    ASSERT_EQ(Parse({}), 0u);
    EXPECT_FALSE(options_.allowTool);
    EXPECT_EQ(options_.settings, nullptr);
    ASSERT_EQ(Parse({"--allow", "smclpctl", "--settings", "/etc/x"}), 0u);
    EXPECT_TRUE(options_.allowTool);
    EXPECT_STREQ(options_.settings, "/etc/x");
    ExpectFault({"--allow", "sh"}, "--allow knows smclpctl alone: 'sh'");
    ExpectFault({"--allow", ""}, "--allow knows smclpctl alone: ''");
}

TEST_F(LoginParse, EveryOptionAndTheCommandAreTaken)
{
    ASSERT_EQ(Parse({"--type", "3", "--address=192.0.2.7", "--privilege", "0x1F", "--idle", "900",
                     "--", "env", "-i", "--type"}),
              0u);
    EXPECT_EQ(options_.type, 3);
    EXPECT_EQ(options_.client.address, 3221225991u);
    EXPECT_EQ(options_.privilege, 31u);
    EXPECT_EQ(options_.idleSeconds[3], 900u);
    ASSERT_NE(options_.command, nullptr);
    EXPECT_STREQ(options_.command[0], "env");
    EXPECT_STREQ(options_.command[1], "-i");
    EXPECT_STREQ(options_.command[2], "--type");
    EXPECT_EQ(options_.command[3], nullptr);
}

TEST_F(LoginParse, PosixlyCorrectChangesNothing)
{
    setenv("POSIXLY_CORRECT", "1", 1);
    ASSERT_EQ(Parse({"--type", "3", "--", "env", "-i"}), 0u);
    EXPECT_STREQ(options_.command[1], "-i");
}

TEST_F(LoginParse, LineIsTakenAsItStands)
{
    ASSERT_EQ(Parse({"-c", "show -display  verbs /system1"}), 0u);
    EXPECT_STREQ(options_.line, "show -display  verbs /system1");
    EXPECT_EQ(options_.command, nullptr);
    ASSERT_EQ(Parse({"-c", ""}), 0u);
    EXPECT_STREQ(options_.line, "");
    ASSERT_EQ(Parse({"-c", "--"}), 0u);
    EXPECT_STREQ(options_.line, "--");
}

TEST_F(LoginParse, OfAnOptionGivenTwiceTheLastCounts)
{
    ASSERT_EQ(Parse({"--type", "3", "--type", "4"}), 0u);
    EXPECT_EQ(options_.type, 4);
}

TEST_F(LoginParse, TheEndOfOptionsAloneMeansTheShell)
{
    ASSERT_EQ(Parse({"--"}), 0u);
    EXPECT_EQ(options_.command, nullptr);
}

TEST_F(LoginParse, HelpAndVersionStopTheReading)
{
    ASSERT_EQ(Parse({"--help", "--zap"}), 0u);
    EXPECT_EQ(options_.action, LoginAction::Help);
    ASSERT_EQ(Parse({"--version", "stray"}), 0u);
    EXPECT_EQ(options_.action, LoginAction::Version);
}

TEST_F(LoginParse, TypeIsADecimalNumberUpTo255)
{
    EXPECT_EQ(Parse({"--type", "255"}), 0u);
    EXPECT_EQ(options_.type, 255);
    ExpectFault({"--type", "256"}, "--type needs a number from 0 to 255: '256'");
    ExpectFault({"--type", ""}, "--type needs a number from 0 to 255: ''");
    for (const char *bad : {"-1", "+1", " 1", "1 ", "0x1", "a", "1.0", "0001", "--"})
        EXPECT_EQ(Parse({"--type", bad}), 2u) << bad;
}

TEST_F(LoginParse, AddressIsIPv4OrIPv6)
{
    EXPECT_EQ(Parse({"--address", "127.0.0.1"}), 0u);
    EXPECT_EQ(options_.client.address, 2130706433u);
    EXPECT_EQ(Parse({"--address", "255.255.255.255"}), 0u);
    EXPECT_EQ(options_.client.address, 4294967295u);
    EXPECT_EQ(Parse({"--address", "0.0.0.0"}), 0u);
    EXPECT_EQ(options_.client.address, 0u);
    ExpectFault({"--address", "1.2.3"},
                "--address needs an address as 192.0.2.7 or 2001:db8::7: '1.2.3'");
    for (const char *bad :
         {"", "256.0.0.1", "1.2.3.4.5", "::1::", "2130706433", "localhost", "1.2.3.4 ", "01.2.3.4"})
        EXPECT_EQ(Parse({"--address", bad}), 2u) << bad;
}

TEST_F(LoginParse, PrivilegeIsOneToEightHexadecimalDigits)
{
    EXPECT_EQ(Parse({"--privilege", "0"}), 0u);
    EXPECT_EQ(options_.privilege, 0u);
    EXPECT_EQ(Parse({"--privilege", "ffffffff"}), 0u);
    EXPECT_EQ(options_.privilege, 4294967295u);
    EXPECT_EQ(Parse({"--privilege", "0XFFFFFFFF"}), 0u);
    EXPECT_EQ(options_.privilege, 4294967295u);
    ExpectFault({"--privilege", "0fffffff0"},
                "--privilege needs 1 to 8 hexadecimal digits: '0fffffff0'");
    for (const char *bad : {"", "0x", "0x123456789", "xyz", "-1", "0x0x1"})
        EXPECT_EQ(Parse({"--privilege", bad}), 2u) << bad;
}

TEST_F(LoginParse, IdleIsADecimalNumberOf32Bits)
{
    EXPECT_EQ(Parse({"--idle", "4294967295"}), 0u);
    EXPECT_EQ(options_.idleSeconds[255], 4294967295u);
    ExpectFault({"--idle", "4294967296"},
                "--idle needs seconds from 0 to 4294967295, or TYPE=SECONDS: '4294967296'");
    EXPECT_EQ(Parse({"--idle", "10m"}), 2u);
}

TEST_F(LoginParse, IdleOfOneTypeLeavesTheOthersAndTheLastCounts)
{
    ASSERT_EQ(Parse({"--idle", "900", "--idle", "1=0", "--idle", "255=60"}), 0u);
    EXPECT_EQ(options_.idleSeconds[0], 900u);
    EXPECT_EQ(options_.idleSeconds[1], 0u);
    EXPECT_EQ(options_.idleSeconds[254], 900u);
    EXPECT_EQ(options_.idleSeconds[255], 60u);
    ASSERT_EQ(Parse({"--idle", "1=0", "--idle", "900"}), 0u);
    EXPECT_EQ(options_.idleSeconds[1], 900u);
    for (const char *bad : {"256=1", "=1", "1=", "1=-1", "0001=1", "1=1=1", "console=1"})
        EXPECT_EQ(Parse({"--idle", bad}), 2u) << bad;
}

TEST_F(LoginParse, TypeOfTheConsoleHasAName)
{
    ASSERT_EQ(Parse({"--type", "console"}), 0u);
    EXPECT_TRUE(options_.typeGiven);
    EXPECT_EQ(options_.type, 1);
}

TEST_F(LoginParse, AddressOfIPv6IsText)
{
    ASSERT_EQ(Parse({"--address", "fe80::1%eth0"}), 0u);
    EXPECT_EQ(options_.client.address, 0u);
    EXPECT_STREQ(options_.client.addressText, "fe80::1%eth0");
}

TEST_F(LoginParse, LimitsOfSessionsAreUpTo1000AndLeaveRoomBesideTheConsole)
{
    ASSERT_EQ(Parse({"--sessions", "1000", "--user-sessions", "1000"}), 0u);
    EXPECT_EQ(options_.sessions, 1000u);
    EXPECT_EQ(options_.userSessions, 1000u);
    ASSERT_EQ(Parse({"--sessions", "0", "--user-sessions", "0"}), 0u);
    EXPECT_EQ(options_.sessions, 0u);
    EXPECT_EQ(options_.userSessions, 0u);
    ASSERT_EQ(Parse({"--sessions", "5", "--user-sessions", "1"}), 0u);
    EXPECT_EQ(options_.sessions, 5u);
    EXPECT_EQ(options_.userSessions, 1u);
    ExpectFault({"--sessions", "4"}, "--sessions needs 0, or a number from 5 to 1000: '4'");
    ExpectFault({"--sessions", "1001"}, "--sessions needs 0, or a number from 5 to 1000: '1001'");
    ExpectFault({"--user-sessions", "1001"},
                "--user-sessions needs a number from 0 to 1000: '1001'");
}

TEST_F(LoginParse, ConfinementCanBeSwitchedOff)
{
    ASSERT_EQ(Parse({"--unconfined"}), 0u);
    EXPECT_TRUE(options_.unconfined);
}

TEST_F(LoginParse, UnknownOptionsAreNamed)
{
    ExpectFault({"--zap"}, "unknown option, or a value where there is none: '--zap'");
    ExpectFault({"--type", "1", "-x"}, "unknown option, or a value where there is none: '-x'");
    ExpectFault({"--help=1"}, "unknown option, or a value where there is none: '--help=1'");
    ExpectFault({"-xc"}, "unknown option, or a value where there is none: '-x'");
}

TEST_F(LoginParse, MissingValuesAreNamed)
{
    ExpectFault({"--type"}, "option needs a value: '--type'");
    ExpectFault({"--type", "1", "-c"}, "option needs a value: '-c'");
}

TEST_F(LoginParse, CommandNeedsTheDashesBeforeIt)
{
    ExpectFault({"env"}, "a COMMAND stands after --: 'env'");
    ExpectFault({"--type", "1", "env", "--"}, "a COMMAND stands after --: 'env'");
}

TEST_F(LoginParse, LineAndCommandExcludeEachOther)
{
    ExpectFault({"-c", "show", "--", "env"}, "-c and COMMAND exclude each other: 'env'");
}

TEST_F(LoginParse, LongMessageIsCutToTheRoomThereIs)
{
    std::string word(1000, 'x');
    EXPECT_EQ(Parse({"--type", word}), 2u);
    EXPECT_EQ(std::string(message_).size(), 255u);
}

TEST_F(LoginParse, HostIsTheNameOfAServer)
{
    ASSERT_EQ(Parse({}), 0u);
    EXPECT_EQ(options_.host, nullptr);
    ASSERT_EQ(Parse({"--host", "node07"}), 0u);
    EXPECT_STREQ(options_.host, "node07");
    ExpectFault({"--host", "../node07"}, "--host needs the name of a server: '../node07'");
    ExpectFault({"--host", ""}, "--host needs the name of a server: ''");
}
