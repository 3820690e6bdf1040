// SPDX-License-Identifier: Apache-2.0
// login_servers_test.cpp -- smclp-login as sshd, Dropbear and agetty start it, and what becomes of
// sessions whose client, connection, server or login is gone.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "support/login_server.h"
#include "support/program.h"

namespace
{

constexpr char kVersionAnswer[] = "version 1.0\n";
constexpr int kFillMs = 5'000;  // to fill a connection and a terminal

// A client in a process of its own that nobody reads.
class SilentClient
{
public:
    SilentClient(const std::vector<std::string> &words, const std::string &input)
    {
        int in[2];
        int out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
            abort();
        pid_ = fork();
        if (pid_ == 0) {
            dup2(in[0], 0);
            dup2(out[1], 1);
            dup2(out[1], 2);
            std::vector<char *> argv;
            for (const std::string &word : words)
                argv.push_back(const_cast<char *>(word.c_str()));
            argv.push_back(nullptr);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        output_ = out[0];
        if (write(in[1], input.data(), input.size()) != static_cast<ssize_t>(input.size()))
            abort();
        close(in[1]);
    }
    ~SilentClient()
    {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        close(output_);
    }
    SilentClient(const SilentClient &) = delete;
    SilentClient &operator=(const SilentClient &) = delete;
    pid_t Pid() const { return pid_; }

private:
    pid_t pid_;
    int output_;
};

class Sshd : public testing::TestWithParam<LoginWay>
{
protected:
    // False, and the test is skipped, where there is no sshd.
    bool Serve(const std::string &options = "", const std::string &more = "")
    {
        machine_ = std::make_unique<LoginMachine>(GetParam(), options);
        why_ = machine_->StartSshd(more);
        return why_.empty();
    }
    ProgramEnd Ssh(const std::vector<std::string> &command, const std::string &input = "",
                   const std::vector<std::string> &options = {}) const
    {
        return RunProgram(machine_->Ssh(options, command), input);
    }

    std::unique_ptr<LoginMachine> machine_;
    std::string why_;
};

TEST_P(Sshd, LineIsOneArgumentAndItsResultTheStatus)
{
    if (!Serve())
        GTEST_SKIP() << why_;
    ProgramEnd end = Ssh({"show", "-display", "properties=(powerstate)", "/system1/pwrmgtsvc1"});
    EXPECT_EQ(end.out, "\n/system1/pwrmgtsvc1:\n\n  Properties:\n    powerstate          = 2\n");
    EXPECT_EQ(end.err, "");
    EXPECT_EQ(end.status, 0);
    end = Ssh({"nosuchverb"});
    EXPECT_EQ(end.out, "ERROR: Command not recognized.\n");
    EXPECT_EQ(end.status, 4);
    end = Ssh({" version \r\n"});
    EXPECT_EQ(end.out, kVersionAnswer);
    end = Ssh({"version"}, "", {"-tt"});
    EXPECT_EQ(end.out, "version 1.0\r\n");
    EXPECT_TRUE(machine_->AllGone());
}

TEST_P(Sshd, WithoutALineThereIsThePromptWithAndWithoutATerminal)
{
    if (!Serve())
        GTEST_SKIP() << why_;
    const ProgramEnd end = Ssh({}, "version\nexit\n");
    EXPECT_NE(end.out.find("->version\nversion 1.0\n\n->exit\n"), std::string::npos) << end.out;
    EXPECT_EQ(end.status, 0);
    PtyProgram terminal(machine_->Ssh({"-tt"}, {}));
    terminal.ReadUntil("->");
    terminal.Type("version\r");
    EXPECT_EQ(terminal.ReadUntil("->"), "version\r\nversion 1.0\r\n\r\n->");
    terminal.Type("exit\r");
    EXPECT_EQ(terminal.Wait(), 0);
    EXPECT_TRUE(machine_->AllGone());
}

TEST_P(Sshd, SubsystemIsThePrompt)
{
    if (!Serve())
        GTEST_SKIP() << why_;
    const ProgramEnd end = Ssh({"smclp"}, "version\nexit\n", {"-s"});
    EXPECT_NE(end.out.find("->version\nversion 1.0\n"), std::string::npos) << end.out << end.err;
    EXPECT_EQ(end.status, 0);
}

TEST_P(Sshd, OtherProgramsAreRefused)
{
    if (!Serve())
        GTEST_SKIP() << why_;
    ProgramEnd end = Ssh({"/usr/lib/openssh/sftp-server"});
    EXPECT_EQ(end.err, "smclp-login: no files are copied here: sftp-server is refused\n");
    EXPECT_EQ(end.status, 77);
    end = Ssh({"rsync --server . /tmp"});
    EXPECT_EQ(end.err, "smclp-login: no files are copied here: rsync is refused\n");
    EXPECT_EQ(end.status, 77);
    end = Ssh({"/bin/sh -c id"});
    EXPECT_EQ(end.out, "ERROR: Command not recognized.\n");
    EXPECT_EQ(end.status, 4);
    const std::string copy = machine_->Directory() + "/copy";
    EXPECT_NE(RunProgram(machine_->Scp("/etc/passwd", copy)).status, 0);
    EXPECT_NE(access(copy.c_str(), F_OK), 0);
    EXPECT_TRUE(machine_->AllGone());
}

#ifdef SMCLPCTL
TEST_P(Sshd, ToolIsStartedOnlyWhereTheLoginAllowsIt)
{
    if (!Serve())
        GTEST_SKIP() << why_;
    const std::vector<std::string> command = {"smclpctl", "sensors", "--format", "json"};
    ProgramEnd end = Ssh(command);
    EXPECT_EQ(end.out, "ERROR: Command not recognized.\n");
    EXPECT_EQ(end.status, 4);
    if (GetParam() != LoginWay::Forced)
        return;  // /etc/zor/login.conf is this machine's
    machine_ = nullptr;
    ASSERT_TRUE(Serve("--allow smclpctl"));
    end = Ssh(command);
    EXPECT_EQ(end.out.find("{\"schema\":1,"), 0u) << end.out << end.err;
    EXPECT_NE(end.out.find("\"Inlet Temp\""), std::string::npos) << end.out << end.err;
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(Ssh({"smclpctl", "nosuch"}).status, 2);
    EXPECT_EQ(Ssh({"smclpctl power off"}).status, 0);
    EXPECT_EQ(Ssh({"smclpctl sensors; id"}).out.find("uid="), std::string::npos);
    // Under the shell's confinement: it neither writes files nor starts programs nor listens.
    const std::string file = machine_->Directory() + "/metrics";
    EXPECT_NE(Ssh({"smclpctl export --prometheus --output " + file}).status, 0);
    EXPECT_NE(access(file.c_str(), F_OK), 0);
    EXPECT_NE(Ssh({"smclpctl export --listen 127.0.0.1:1"}).status, 0);
    EXPECT_TRUE(machine_->AllGone());
}
#endif

TEST_P(Sshd, ThirtyTwoLoginsAtOnceAllGetTheirAnswer)
{
    if (!Serve("--user-sessions 0"))
        GTEST_SKIP() << why_;
    if (GetParam() != LoginWay::Forced)
        GTEST_SKIP() << "sixteen sessions are the limit of a login shell without options";
    const std::vector<std::string> words = machine_->Ssh({}, {"version"});
    std::vector<pid_t> clients;
    std::vector<int> outputs;
    for (int i = 0; i < 32; ++i) {
        int out[2];
        ASSERT_EQ(pipe2(out, O_CLOEXEC), 0);
        const pid_t pid = fork();
        if (pid == 0) {
            dup2(open("/dev/null", O_RDONLY), 0);
            dup2(out[1], 1);
            std::vector<char *> argv;
            for (const std::string &word : words)
                argv.push_back(const_cast<char *>(word.c_str()));
            argv.push_back(nullptr);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        close(out[1]);
        clients.push_back(pid);
        outputs.push_back(out[0]);
    }
    for (size_t i = 0; i < clients.size(); ++i) {
        char answer[64] = "";
        EXPECT_EQ(read(outputs[i], answer, sizeof answer - 1),
                  static_cast<ssize_t>(sizeof kVersionAnswer - 1));
        EXPECT_STREQ(answer, kVersionAnswer);
        close(outputs[i]);
        int status = -1;
        waitpid(clients[i], &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_TRUE(machine_->AllGone());
}

TEST_P(Sshd, KilledClientLeavesNothing)
{
    if (!Serve())
        GTEST_SKIP() << why_;
    for (const char *terminal : {"-T", "-tt"}) {
        PtyProgram client(machine_->Ssh({terminal}, {}));
        client.ReadUntil("->");
        ASSERT_TRUE(machine_->AwaitShells(1));
        kill(client.Pid(), SIGKILL);
        EXPECT_TRUE(machine_->AllGone()) << terminal;
    }
}

TEST_P(Sshd, StoppedShellEndsWithItsConnection)
{
    if (!Serve())
        GTEST_SKIP() << why_;
    for (const char *terminal : {"-T", "-tt"}) {
        PtyProgram client(machine_->Ssh({terminal}, {}));
        client.ReadUntil("->");
        ASSERT_TRUE(machine_->AwaitShells(1));
        kill(machine_->SessionProcesses("smclp").front(), SIGSTOP);
        kill(client.Pid(), SIGKILL);
        EXPECT_TRUE(machine_->AllGone()) << terminal;
    }
}

// A stopped client does not answer its server any more, as behind a cable that is cut.
TEST_P(Sshd, CutConnectionLeavesNothing)
{
    if (GetParam() != LoginWay::Forced)
        GTEST_SKIP() << "takes long, and the way of starting plays no part";
    if (!Serve("", "ClientAliveInterval 1\nClientAliveCountMax 1\n"))
        GTEST_SKIP() << why_;
    for (const char *terminal : {"-T", "-tt"}) {
        PtyProgram client(machine_->Ssh({terminal}, {}));
        client.ReadUntil("->");
        ASSERT_TRUE(machine_->AwaitShells(1));
        kill(client.Pid(), SIGSTOP);
        // The server asks after a second, and gives up after another.
        EXPECT_TRUE(machine_->AllGone(2'000)) << terminal;
    }
}

TEST_P(Sshd, KilledChildOfTheServerLeavesNothing)
{
    if (!Serve())
        GTEST_SKIP() << why_;
    for (const char *terminal : {"-T", "-tt"}) {
        PtyProgram client(machine_->Ssh({terminal}, {}));
        client.ReadUntil("->");
        ASSERT_TRUE(machine_->AwaitShells(1));
        for (const pid_t child : machine_->ServerChildren())
            kill(child, SIGKILL);
        EXPECT_TRUE(machine_->AllGone()) << terminal;
    }
}

TEST_P(Sshd, KilledLoginLeavesNothing)
{
    if (!Serve())
        GTEST_SKIP() << why_;
    for (const char *terminal : {"-T", "-tt"}) {
        PtyProgram client(machine_->Ssh({terminal}, {}));
        client.ReadUntil("->");
        ASSERT_TRUE(machine_->AwaitShells(1));
        kill(machine_->SessionProcesses("smclp-login").front(), SIGKILL);
        EXPECT_TRUE(machine_->AllGone()) << terminal;
    }
}

TEST_P(Sshd, SessionThatAnAdministratorEndsIsGone)
{
    if (!Serve())
        GTEST_SKIP() << why_;
    PtyProgram client(machine_->Ssh({"-tt"}, {}));
    client.ReadUntil("->");
    const std::string list = RunProgram({SMCLP_SESSIONS, "--json"}).out;
    const size_t at = list.find("\"id\": ");
    ASSERT_NE(at, std::string::npos);
    EXPECT_NE(list.find("\"address\": \"127.0.0.1\""), std::string::npos) << list;
    const std::string id = std::to_string(strtoul(list.c_str() + at + 6, nullptr, 10));
    EXPECT_EQ(RunProgram({SMCLP_SESSIONS, "--end", id}).status, 0);
    client.ReadUntil("smclp-login: the session was ended from outside");
    EXPECT_FALSE(client.failed);
    EXPECT_TRUE(machine_->AllGone());
}

TEST_P(Sshd, ClientThatIsStoppedOrTypesNothingEndsByTheIdleLimit)
{
    if (GetParam() == LoginWay::Shell)
        GTEST_SKIP() << "a login shell without options has half an hour";
    if (!Serve("--idle 2"))
        GTEST_SKIP() << why_;
    PtyProgram stopped(machine_->Ssh({"-tt"}, {}));
    stopped.ReadUntil("->");
    kill(stopped.Pid(), SIGSTOP);
    PtyProgram silent(machine_->Ssh({"-tt"}, {}));
    silent.ReadUntil("->");
    silent.Type("half a line");
    silent.ReadUntil("smclp-login: the session was not used for 2 s and is ended");
    EXPECT_FALSE(silent.failed);
    EXPECT_TRUE(machine_->AllGone());  // the first was idle before the second
}

// More than connection and terminal can hold, for a client that reads nothing and whose input has
// ended already.
TEST_P(Sshd, ClientThatReadsNothingEndsByTheIdleLimitAndWithItsConnection)
{
    if (GetParam() != LoginWay::Forced)
        GTEST_SKIP() << "takes long, and the way of starting plays no part";
    if (!Serve("--idle 2"))
        GTEST_SKIP() << why_;
    std::string input;
    for (int i = 0; i < 600; ++i)
        input += "show -level all /\n";
    for (const char *terminal : {"-T", "-tt"}) {
        SilentClient client(machine_->Ssh({terminal}, {}), input);
        ASSERT_TRUE(machine_->AwaitShells(1));
        // Each line is a use of the session, until nothing fits any more.
        EXPECT_TRUE(machine_->AllGone(kFillMs + 2'000)) << terminal;
        SilentClient killed(machine_->Ssh({terminal}, {}), input);
        ASSERT_TRUE(machine_->AwaitShells(1));
        usleep(500000);
        kill(killed.Pid(), SIGKILL);
        EXPECT_TRUE(machine_->AllGone()) << terminal;
    }
}

INSTANTIATE_TEST_SUITE_P(Ways, Sshd,
                         testing::Values(LoginWay::Forced, LoginWay::Shell, LoginWay::Both),
                         [](const testing::TestParamInfo<LoginWay> &way) {
                             return way.param == LoginWay::Forced  ? "ForcedCommand"
                                    : way.param == LoginWay::Shell ? "LoginShell"
                                                                   : "Both";
                         });

TEST(Dropbear, ServesLinesAndThePromptAndLeavesNothing)
{
    LoginMachine machine(LoginWay::Forced, "");
    const std::string why = machine.StartDropbear();
    if (!why.empty())
        GTEST_SKIP() << why;
    ProgramEnd end = RunProgram(machine.Ssh({}, {"show", "-display", "verbs", "/system1/logs1"}));
    EXPECT_EQ(end.out.rfind("\n/system1/logs1:\n", 0), 0u) << end.out << end.err;
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(RunProgram(machine.Ssh({}, {"nosuchverb"})).status, 4);
    EXPECT_EQ(RunProgram(machine.Ssh({}, {"scp -t /tmp"})).status, 77);
    EXPECT_TRUE(machine.AllGone());
    for (const char *terminal : {"-T", "-tt"}) {
        PtyProgram client(machine.Ssh({terminal}, {}));
        client.ReadUntil("->");
        ASSERT_TRUE(machine.AwaitShells(1));
        kill(client.Pid(), SIGKILL);
        EXPECT_TRUE(machine.AllGone()) << "client " << terminal;
        PtyProgram other(machine.Ssh({terminal}, {}));
        other.ReadUntil("->");
        ASSERT_TRUE(machine.AwaitShells(1));
        for (const pid_t child : machine.ServerChildren())
            kill(child, SIGKILL);
        EXPECT_TRUE(machine.AllGone()) << "server " << terminal;
    }
}

TEST(SerialLine, LogsInToTheShellAndHangsUp)
{
    LoginMachine machine(LoginWay::Shell, "");
    std::vector<std::string> words;
    const std::string why = machine.Agetty(&words);
    if (!why.empty())
        GTEST_SKIP() << why;
    PtyProgram line(words);
    line.ReadUntil("->");
    ASSERT_FALSE(line.failed);
    EXPECT_NE(RunProgram({SMCLP_SESSIONS, "--json"}).out.find("\"type\": 1, \"address\": null"),
              std::string::npos);
    line.Type("version\r");
    EXPECT_EQ(line.ReadUntil("->"), "version\r\nversion 1.0\r\n\r\n->");
    line.HangUp();
    EXPECT_TRUE(machine.AllGone());
    PtyProgram again(words);
    again.ReadUntil("->");
    ASSERT_TRUE(machine.AwaitShells(1));
    kill(machine.SessionProcesses("smclp-login").front(), SIGKILL);
    EXPECT_TRUE(machine.AllGone());
}

}  // namespace
