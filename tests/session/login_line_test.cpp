// SPDX-License-Identifier: Apache-2.0
// login_line_test.cpp -- the line a login asks for, in every form that servers hand it over.
#include "session/login_line.h"

#include <gtest/gtest.h>

#include <string>

class LoginLine : public testing::Test
{
protected:
    // Null for a text that is not there.
    u32 Take(const char *line, const char *original)
    {
        LoginDefaultOptions(&options_);
        return TakeMore(line, original);
    }
    u32 TakeMore(const char *line, const char *original)
    {
        line_ = line != nullptr ? line : "";
        original_ = original != nullptr ? original : "";
        options_.line = line != nullptr ? line_.data() : nullptr;
        message_[0] = '\0';
        return LoginTakeLine(&options_, original != nullptr ? original_.data() : nullptr, message_,
                             sizeof(message_));
    }
    // The line that is asked for; "(prompt)" for none.
    std::string Line() const { return options_.line != nullptr ? options_.line : "(prompt)"; }

    std::string line_;
    std::string original_;
    LoginOptions options_;
    char message_[256];
};

TEST_F(LoginLine, ForcedCommandTakesTheClientsLineAndNoneIsThePrompt)
{
    EXPECT_EQ(Take(nullptr, "show /system1"), 0u);
    EXPECT_EQ(Line(), "show /system1");
    for (const char *none : {"", " ", "\r\n", " \t\r\n"}) {
        EXPECT_EQ(Take(nullptr, none), 0u);
        EXPECT_EQ(Line(), "(prompt)");
    }
    EXPECT_EQ(Take(nullptr, nullptr), 0u);
    EXPECT_EQ(Line(), "(prompt)");
}

TEST_F(LoginLine, LoginShellTakesTheLineOfMinusC)
{
    EXPECT_EQ(Take("show /system1", nullptr), 0u);
    EXPECT_EQ(Line(), "show /system1");
    EXPECT_EQ(Take("show", "version"), 0u);
    EXPECT_EQ(Line(), "show");
    EXPECT_EQ(Take("", nullptr), 0u);
    EXPECT_EQ(Line(), "");
}

TEST_F(LoginLine, BlanksAndEndsOfLinesAroundALineAreTakenOffAndInsideStay)
{
    EXPECT_EQ(Take(nullptr, "\r\n\t show  -level 2\n/system1 \r\n"), 0u);
    EXPECT_EQ(Line(), "show  -level 2\n/system1");
    EXPECT_EQ(Take(" version\r\n", nullptr), 0u);
    EXPECT_EQ(Line(), "version");
}

TEST_F(LoginLine, LoginShellThatIsToRunItselfTakesTheClientsLine)
{
    for (const char *own :
         {"smclp-login", "/usr/bin/smclp-login", "exec /usr/bin/smclp-login", " smclp-login\r\n",
          "exec\t smclp-login --idle 60 --type 3", "./smclp-login --privilege 1"}) {
        EXPECT_EQ(Take(own, "version"), 0u) << own;
        EXPECT_EQ(Line(), "version") << own;
        EXPECT_EQ(Take(own, nullptr), 0u) << own;
        EXPECT_EQ(Line(), "(prompt)") << own;
    }
}

TEST_F(LoginLine, OtherNamesAreLines)
{
    for (const char *line : {"smclp-login2", "xsmclp-login", "smclp", "exec", "execsmclp-login",
                             "'smclp-login'", "smclp-login/"}) {
        EXPECT_EQ(Take(line, "version"), 0u) << line;
        EXPECT_EQ(Line(), line);
    }
}

TEST_F(LoginLine, SubsystemIsThePrompt)
{
    EXPECT_EQ(Take(nullptr, "/usr/bin/smclp-login"), 0u);
    EXPECT_EQ(Line(), "(prompt)");
}

TEST_F(LoginLine, OptionsOfALineThatAnybodyCanSendOnlyTakeAway)
{
    ASSERT_EQ(Take("smclp-login --idle 60 --privilege 3 --sessions 10 --user-sessions 2 --type 7",
                   nullptr),
              0u);
    EXPECT_EQ(options_.idleSeconds[0], 60u);
    EXPECT_EQ(options_.idleSeconds[255], 60u);
    EXPECT_EQ(options_.privilege, 3u);
    EXPECT_EQ(options_.sessions, 10u);
    EXPECT_EQ(options_.userSessions, 2u);
    EXPECT_TRUE(options_.typeGiven);
    EXPECT_EQ(options_.type, 7);

    ASSERT_EQ(Take(nullptr, "smclp-login --idle 0 --privilege ffffffff --sessions 0 "
                            "--user-sessions 1000 --type console --address 192.0.2.7 --unconfined"),
              0u);
    EXPECT_EQ(options_.idleSeconds[0], 1800u);
    EXPECT_EQ(options_.privilege, 7u);
    EXPECT_EQ(options_.sessions, 64u);
    EXPECT_EQ(options_.userSessions, 16u);
    EXPECT_FALSE(options_.typeGiven);
    EXPECT_STREQ(options_.client.addressText, "");
    EXPECT_FALSE(options_.unconfined);

    ASSERT_EQ(Take("smclp-login --idle 3600", nullptr), 0u);
    EXPECT_EQ(options_.idleSeconds[0], 1800u);
    LoginDefaultOptions(&options_);
    for (u32 &limit : options_.idleSeconds)
        limit = 0;
    ASSERT_EQ(TakeMore("smclp-login", nullptr), 0u);
    EXPECT_EQ(options_.idleSeconds[0], 0u);
    ASSERT_EQ(TakeMore("smclp-login --idle 1=60", nullptr), 0u);
    EXPECT_EQ(options_.idleSeconds[0], 0u);
    EXPECT_EQ(options_.idleSeconds[1], 60u);
}

TEST_F(LoginLine, TypeOfTheCallerStandsAgainstTheLines)
{
    LoginDefaultOptions(&options_);
    options_.type = 3;
    options_.typeGiven = true;
    ASSERT_EQ(TakeMore("smclp-login --type 7", nullptr), 0u);
    EXPECT_EQ(options_.type, 3);
}

TEST_F(LoginLine, LineThatNamesItselfStartsNothingElse)
{
    const char *kNoCommand = "a line that names smclp-login takes limits alone";
    for (const char *line : {"smclp-login -- /bin/sh", "smclp-login -c version",
                             "smclp-login --help", "smclp-login --idle 5 -- env"}) {
        EXPECT_EQ(Take(line, nullptr), 2u) << line;
        EXPECT_STREQ(message_, kNoCommand);
        EXPECT_EQ(Take(nullptr, line), 2u) << line;
        EXPECT_STREQ(message_, kNoCommand);
    }
    EXPECT_EQ(Take("smclp-login --zap", nullptr), 2u);
    EXPECT_STREQ(message_, "unknown option, or a value where there is none: '--zap'");
    EXPECT_EQ(Take("smclp-login sh", nullptr), 2u);
    EXPECT_STREQ(message_, "a COMMAND stands after --: 'sh'");
}

TEST_F(LoginLine, LineThatNamesItselfHasAtMost32Words)
{
    std::string line = "smclp-login";
    for (int i = 0; i < 31; ++i)
        line += " --type=3";
    EXPECT_EQ(Take(line.c_str(), nullptr), 0u);
    EXPECT_EQ(Take((line + " --type=3").c_str(), nullptr), 2u);
    EXPECT_STREQ(message_, "too many words after smclp-login");
}

TEST_F(LoginLine, ProgramsForCopyingFilesAreRefused)
{
    for (const char *name : {"sftp", "sftp-server", "internal-sftp", "scp", "rsync", "git",
                             "git-upload-pack", "git-receive-pack", "git-upload-archive"}) {
        std::string expected = std::string("no files are copied here: ") + name + " is refused";
        for (const std::string before : {"", "/usr/lib/openssh/", " "})
            for (const std::string after : {"", " -t /tmp", "\n"}) {
                EXPECT_EQ(Take(nullptr, (before + name + after).c_str()), 77u) << name;
                EXPECT_EQ(message_, expected);
                EXPECT_EQ(Take((before + name + after).c_str(), nullptr), 77u) << name;
                EXPECT_EQ(message_, expected);
            }
    }
    for (const char *line : {"scpx", "show scp", "git-foo", "xsftp-server"})
        EXPECT_EQ(Take(line, nullptr), 0u) << line;
}

TEST_F(LoginLine, NothingCountsBesideACommand)
{
    char word[] = "env";
    char *command[] = {word, nullptr};
    LoginDefaultOptions(&options_);
    options_.command = command;
    EXPECT_EQ(TakeMore(nullptr, "scp -t /tmp"), 0u);
    EXPECT_EQ(options_.line, nullptr);
}

TEST_F(LoginLine, ALineThatNamesSmclpLoginChoosesAServerWhereNoneIsGiven)
{
    EXPECT_EQ(Take(nullptr, "smclp-login --host node07"), 0u);
    EXPECT_STREQ(options_.host, "node07");
    EXPECT_EQ(Line(), "(prompt)");
    // A forced command that names one binds its users to it.
    LoginDefaultOptions(&options_);
    options_.host = "node01";
    EXPECT_EQ(TakeMore(nullptr, "smclp-login --host node07"), 0u);
    EXPECT_STREQ(options_.host, "node01");
    EXPECT_EQ(Take(nullptr, "smclp-login --host ../node07"), 2u);
}

// --- The tool --------------------------------------------------------------------------------

class LoginTool : public LoginLine
{
protected:
    // The words of the tool, each in brackets, or the line.
    std::string Ask(const char *original, bool allowed = true)
    {
        LoginDefaultOptions(&options_);
        options_.allowTool = allowed;
        if (TakeMore(nullptr, original) != kLoginLineTaken)
            return message_;
        std::string words;
        for (char **word = options_.tool; *word != nullptr; ++word)
            words += std::string("[") + *word + "]";
        return words.empty() ? Line() : words + (options_.line != nullptr ? Line() : "");
    }
};

TEST_F(LoginTool, IsAskedForByItsNameWhereItIsAllowed)
{
    EXPECT_EQ(Ask("smclpctl sensors --format json"), "[smclpctl][sensors][--format][json]");
    EXPECT_EQ(Ask(" smclpctl\t-w  n[1-3] \n"), "[smclpctl][-w][n[1-3]]");
    EXPECT_EQ(Ask("smclpctl"), "[smclpctl]");
    EXPECT_EQ(Ask("smclpctl sensors", false), "smclpctl sensors");
    for (const char *other :
         {"/usr/bin/smclpctl sensors", "./smclpctl", "smclpctl2", "Smclpctl", "'smclpctl' sensors",
          "exec smclpctl sensors", "smclpctl-listen", "show smclpctl", "smclpctl;id"})
        EXPECT_EQ(Ask(other), other);
}

TEST_F(LoginTool, WordsAreSplitAtBlanksOutsideQuotesAndNothingElseMeansAnything)
{
    EXPECT_EQ(Ask("smclpctl log --since 'a b'"), "[smclpctl][log][--since][a b]");
    EXPECT_EQ(Ask("smclpctl \"it's\" '' a\"b c\"d'e'"), "[smclpctl][it's][][ab cde]");
    EXPECT_EQ(Ask("smclpctl $(id) `id` ; id | sh > x & * \\ $HOME"),
              "[smclpctl][$(id)][`id`][;][id][|][sh][>][x][&][*][\\][$HOME]");
    EXPECT_EQ(Ask("smclpctl a\nb\rc"), "[smclpctl][a][b][c]");
    EXPECT_EQ(Ask("smclpctl \"a b"), "a quote after smclpctl is not closed");
    EXPECT_EQ(Ask("smclpctl '"), "a quote after smclpctl is not closed");
}

TEST_F(LoginTool, Has64WordsAtMost)
{
    std::string line = "smclpctl";
    for (int i = 1; i < 64; ++i)
        line += " x";
    EXPECT_EQ(Ask(line.c_str()).substr(0, 13), "[smclpctl][x]");
    EXPECT_EQ(Ask((line + " x").c_str()), "too many words after smclpctl");
}

// Everybody can send such a line.
TEST_F(LoginTool, LineThatNamesTheLoginAllowsNothing)
{
    LoginDefaultOptions(&options_);
    EXPECT_EQ(TakeMore("smclp-login --allow smclpctl", "smclpctl sensors"), 0u);
    EXPECT_EQ(options_.tool[0], nullptr);
    EXPECT_FALSE(options_.allowTool);
    EXPECT_EQ(Line(), "smclpctl sensors");
    LoginDefaultOptions(&options_);
    EXPECT_EQ(TakeMore("smclp-login --settings /tmp/mine", nullptr), 0u);
    EXPECT_EQ(options_.settings, nullptr);
    // One that is allowed already stays so.
    LoginDefaultOptions(&options_);
    options_.allowTool = true;
    EXPECT_EQ(TakeMore("smclp-login --idle 60", "smclpctl sensors"), 0u);
    EXPECT_STREQ(options_.tool[1], "sensors");
    EXPECT_EQ(options_.line, nullptr);
}
