// SPDX-License-Identifier: Apache-2.0
// program_test.cpp -- the built programs together, as their users run them: one-shot, over a pipe,
// on a terminal. Transcripts are literal text.
#include "support/program.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr char kBanner[] =
    "MORV5 SM-CLP System Management Shell, version 1.0\n"
    "Type \"show\" to list the targets here, \"cd system1\" to move to the managed system.\n"
    "Type \"help\" for the verbs of a target, \"exit\" to end the session.\n";

constexpr char kHost[] = R"([OEM_QARN_System]
PowerStatus = "ON"
ServiceTag = "TAG0001"
Description = "Test Server"
HostName = "host-a"
Oem = "0"
)";

// The command line of a shell on a simulated host, with what smclp-login gets.
std::vector<std::string> OnHost(const std::string &host, const std::vector<std::string> &login)
{
    std::vector<std::string> arguments = {OBJMGRD_SIM, "--host", host, "--", SMCLP_LOGIN};
    arguments.insert(arguments.end(), login.begin(), login.end());
    return arguments;
}

class Program : public testing::Test
{
protected:
    std::string host_ = WriteTempFile(kHost);
    ~Program() override { unlink(host_.c_str()); }

    ProgramEnd Once(const std::string &line) { return RunProgram(OnHost(host_, {"-c", line})); }
    ProgramEnd Piped(const std::string &input, const std::vector<std::string> &login = {})
    {
        return RunProgram(OnHost(host_, login), input);
    }
    // A simulated host with more in its file than kHost has.
    void AddToHost(const std::string &text)
    {
        unlink(host_.c_str());
        host_ = WriteTempFile(kHost + text);
    }
    void ReplaceHost(const std::string &text)
    {
        unlink(host_.c_str());
        host_ = WriteTempFile(text);
    }
};

TEST_F(Program, OneShotShowOfTheSystem)
{
    const ProgramEnd end = Once("show -display properties /system1");
    EXPECT_EQ(end.out, R"(
/system1:

  Properties:
    CreationClassName       = CIM_ComputerSystem
    Name                    = TAG0001
    NameFormat              = other
    Dedicated               = 0
    ResetCapability         = 4
    EnabledState            = 2
    RequestedState          = 12
    EnabledDefault          = 2
    HealthState             = 5
    OperationalStatus       = 2
    Description             = Test Server
    ElementName             = host-a
)");
    EXPECT_EQ(end.err, "");
    EXPECT_EQ(end.status, 0);
}

TEST_F(Program, OneShotResultIsTheExitStatus)
{
    EXPECT_EQ(Once("nosuchverb").status, 4);
    EXPECT_EQ(Once("create").status, 11);
    EXPECT_EQ(Once("show /system2").status, 1);
    EXPECT_EQ(Once("exit").status, 2);
    EXPECT_EQ(Once("start -output format=clpcsv").status, 9);
    EXPECT_EQ(Once("").out, "ERROR: Command not recognized.\n");
}

TEST_F(Program, OneShotNeedsNoSessionVariables)
{
    const ProgramEnd end =
        RunProgram({OBJMGRD_SIM, "--host", host_, "--", "/usr/bin/env", "-u", "ZORSID", "-u",
                    "ZORIP", "-u", "ZORSSNTYPE", SMCLP, "version"});
    EXPECT_EQ(end.out, "version 1.0\n");
    EXPECT_EQ(end.status, 0);
}

TEST_F(Program, OneShotJoinsTwoWordsAndDropsTheThird)
{
    const ProgramEnd two = RunProgram(OnHost(host_, {"--", SMCLP, "cd", "/system1"}));
    EXPECT_EQ(two.out, "/system1\n");
    // The line is "show -d ": the value of -display is missing.
    const ProgramEnd three = RunProgram(OnHost(host_, {"--", SMCLP, "show", "-d", "targets"}));
    EXPECT_EQ(three.out, "ERROR: Required option is missing.\n");
    EXPECT_EQ(three.status, 10);
}

TEST_F(Program, PipedSessionEchoesAndAnswersAsOnATerminal)
{
    const ProgramEnd end = Piped("cd system1\nstop\nstop\nreset\nstart\n\nEXIT\n");
    EXPECT_EQ(end.out, std::string(kBanner) + R"(
->cd system1
/system1

->stop
system was stopped successfully.

->stop
system is already stopped.

->reset
system is currently stopped

->start
system was started successfully.

->
->EXIT
)");
    EXPECT_EQ(end.status, 0);
}

TEST_F(Program, PipedSessionWithoutSessionIdEndsAtTheFirstLine)
{
    const ProgramEnd end = Piped("\nversion\n", {"--", "/usr/bin/env", "-u", "ZORSID", SMCLP});
    EXPECT_EQ(end.out, std::string(kBanner) + "\n->Session timed out or is not longer valid\n");
    EXPECT_EQ(end.status, 0);
}

TEST_F(Program, EndOfInputEndsTheSessionQuietlyWithTheLastResult)
{
    const ProgramEnd end = Piped("nosuchverb\nversi");
    EXPECT_EQ(end.out,
              std::string(kBanner) + "\n->nosuchverb\nERROR: Command not recognized.\n\n->versi");
    EXPECT_EQ(end.status, 4);
}

TEST_F(Program, PrivilegesAreJudgedByTheService)
{
    const char *const kDenied = "ERROR: Insufficient user privileges to perform operation.\n";
    EXPECT_EQ(RunProgram(OnHost(host_, {"--privilege", "0", "-c", "stop /system1"})).out, kDenied);
    EXPECT_EQ(RunProgram(OnHost(host_, {"--privilege", "5", "-c", "stop /system1"})).out, kDenied);
    EXPECT_EQ(RunProgram(OnHost(host_, {"--privilege", "2", "-c", "stop /system1"})).out,
              "system was stopped successfully.\n");
    const ProgramEnd reset =
        RunProgram(OnHost(host_, {"--privilege", "0", "-c", "reset /system1"}));
    EXPECT_EQ(reset.out, kDenied);
    EXPECT_EQ(reset.status, 16);
    EXPECT_EQ(
        RunProgram(OnHost(host_, {"--", "/usr/bin/env", "ZORPRIV=xyz", SMCLP, "stop /system1"}))
            .out,
        kDenied);
}

TEST_F(Program, PosixlyCorrectDoesNotChangeOptionParsing)
{
    const ProgramEnd end = RunProgram(
        OnHost(host_, {"--", "/usr/bin/env", "POSIXLY_CORRECT=1", SMCLP, "cd /system1 -help"}));
    EXPECT_EQ(end.out, "The CD command is used to navigate the target address space.\n");
}

TEST_F(Program, BmcThatDoesNotAnswerIsFramed)
{
    ReplaceHost("[OEM_QARN_System]\nPowerStatus = { status = 1 }\n");
    const ProgramEnd end = Once("version");
    EXPECT_EQ(end.out,
              "========================================================================\n"
              "ERROR: The ZOR is unable to communicate with the BMC. This could be due\n"
              "to an issue with missing or non-operational IPMI drivers or a BMC that\n"
              "is no longer responding on your system.\n"
              "========================================================================\n");
    EXPECT_EQ(end.status, 0);
}

TEST_F(Program, PowerStatusThatMayNotBeReadIsAPrivilegeFault)
{
    ReplaceHost("[OEM_QARN_System]\nPowerStatus = { status = 2 }\n");
    const ProgramEnd end = Once("version");
    EXPECT_EQ(end.out, "ERROR: Insufficient user privileges\n");
    EXPECT_EQ(end.status, 0);
}

TEST_F(Program, NoObjectManagerNoShell)
{
    const ProgramEnd end = RunProgram({"/usr/bin/env", "ZOROBJMGR=/nonexistent", SMCLP, "version"});
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.status, 0);
}

TEST_F(Program, MissingInterfaceIsTracedAndSilent)
{
    AddToHost("[faults]\ninterface = { from = 1 }\n");
    const std::string trace = WriteTempFile("");
    const ProgramEnd end = RunProgram({"/usr/bin/env", "ZORTRACE=" + trace, OBJMGRD_SIM, "--host",
                                       host_, "--", SMCLP_LOGIN, "-c", "version"});
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.status, 0);
    char line[256] = "";
    FILE *file = fopen(trace.c_str(), "r");
    EXPECT_NE(fgets(line, sizeof line, file), nullptr);
    fclose(file);
    unlink(trace.c_str());
    EXPECT_STREQ(line, "ERROR: main [61]: ** ASSERT FAILED\n");
}

TEST_F(Program, FailuresOfOperationsComeFromTheHostFile)
{
    AddToHost("[faults.methods.Stop]\nstatus = 1\n");
    const ProgramEnd end = Once("stop /system1");
    EXPECT_EQ(end.out, "ERROR: Command not supported.\n");
    EXPECT_EQ(end.status, 0);
}

TEST_F(Program, TerminalSessionEditsAndRecalls)
{
    PtyProgram shell(OnHost(host_, {}));
    EXPECT_NE(shell.ReadUntil("\r\n->").find("version 1.0\r\n"), std::string::npos);
    shell.Type("versiom");
    shell.ReadUntil("versiom");
    shell.Type("\x7fn\r");
    EXPECT_EQ(shell.ReadUntil("->"), "\b \bn\r\nversion 1.0\r\n\r\n->");
    shell.Type("\x1b[A");
    EXPECT_EQ(shell.ReadUntil("version"), "version");
    shell.Type("\r");
    EXPECT_EQ(shell.ReadUntil("->"), "\r\nversion 1.0\r\n\r\n->");
    shell.Type("exit\r");
    shell.ReadUntil("exit\r\n");
    EXPECT_EQ(shell.Wait(), 0);
    EXPECT_FALSE(shell.failed);
    EXPECT_TRUE(shell.Echoes());
    EXPECT_TRUE(shell.IsCanonical());
}

class ProgramSignals : public Program, public testing::WithParamInterface<int>
{
};

TEST_P(ProgramSignals, EndTheSessionAndRestoreTheTerminal)
{
    PtyProgram shell(OnHost(host_, {}));
    shell.ReadUntil("->");
    ASSERT_TRUE(shell.WaitForRaw(true));
    kill(shell.Pid(), GetParam());  // to objmgrd-sim, which passes it on
    EXPECT_EQ(shell.Wait(), 128 + GetParam());
    EXPECT_TRUE(shell.Echoes());
    EXPECT_TRUE(shell.IsCanonical());
}
INSTANTIATE_TEST_SUITE_P(All, ProgramSignals, testing::Values(SIGHUP, SIGINT, SIGTERM));

TEST_F(Program, InterruptKeyEndsTheSession)
{
    PtyProgram shell(OnHost(host_, {}));
    shell.ReadUntil("->");
    ASSERT_TRUE(shell.WaitForRaw(true));
    shell.Type("\x03");
    EXPECT_EQ(shell.Wait(), 130);
    EXPECT_TRUE(shell.Echoes());
}

TEST_F(Program, HangUpLeavesNoProcessBehind)
{
    PtyProgram shell(OnHost(host_, {}));
    shell.ReadUntil("->");
    ASSERT_TRUE(shell.WaitForRaw(true));
    shell.HangUp();
    EXPECT_NE(shell.Wait(), -1);  // by the signal or by the end of its input, whichever comes first
}

// The service is killed while the shell sits at its prompt: the next commands answer at once.
TEST_F(Program, KilledServiceIsAnErrorNotAHang)
{
    // The outer sh leads the terminal's session: its end, not that of the service, would be a
    // hang-up.
    const std::string service = std::string("exec 2>&-; " OBJMGRD_SIM) + " --host " + host_ +
                                " -- /bin/sh -c 'echo $PPID; exec " SMCLP_LOGIN "'; sleep 60";
    PtyProgram shell({"/bin/sh", "-c", service});
    const int pid = atoi(shell.ReadUntil("\r\n").c_str());
    shell.ReadUntil("->");
    ASSERT_GT(pid, 1);
    ASSERT_EQ(kill(pid, SIGKILL), 0);
    usleep(11 * 1000);  // a tick of the clock, for which the shell may believe in it
    shell.Type("stop /system1\r");
    EXPECT_EQ(shell.ReadUntil("->"), "stop /system1\r\nERROR: Command not supported.\r\n\r\n->");
    shell.Type("show -display properties=(name,nameformat) /system1\r");
    EXPECT_EQ(shell.ReadUntil("->"), "show -display properties=(name,nameformat) /system1\r\n"
                                     "\r\n/system1:\r\n\r\n  Properties:\r\n"
                                     "    nameformat          = other\r\n\r\n->");
    shell.Type("exit\r");
    shell.ReadUntil("exit\r\n");
    EXPECT_FALSE(shell.failed);
}

}  // namespace
