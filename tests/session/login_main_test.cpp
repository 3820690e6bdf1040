// SPDX-License-Identifier: Apache-2.0
// login_main_test.cpp -- the built smclp-login, run as a program with commands of every kind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "session/fake_service.h"
#include "session/registry.h"
#include "support/emulation.h"
#include "support/test_files.h"

using Words = std::vector<std::string>;

// One run of a program, its output caught; killed when the test forgets it.
class Login
{
public:
    Login(const std::string &program, Words words, const std::function<void()> &before = nullptr)
    {
        words.insert(words.begin(), "smclp-login");
        std::vector<char *> argv;
        for (std::string &word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        int toOut[2];
        int toErr[2];
        if (pipe2(toOut, O_CLOEXEC) != 0 || pipe2(toErr, O_CLOEXEC) != 0)
            abort();
        pid = fork();
        if (pid < 0)
            abort();
        if (pid == 0) {
            dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), 0);
            dup2(toOut[1], 1);
            dup2(toErr[1], 2);
            if (before)
                before();
            execv(program.c_str(), argv.data());
            _exit(99);
        }
        close(toOut[1]);
        close(toErr[1]);
        out_ = toOut[0];
        err_ = toErr[0];
    }
    ~Login()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        close(out_);
        close(err_);
    }
    Login(const Login &) = delete;
    Login &operator=(const Login &) = delete;

    // The next line of its standard output, without the new line.
    std::string Line() const
    {
        std::string line;
        char c = 0;
        while (read(out_, &c, 1) == 1 && c != '\n')
            line += c;
        return line;
    }

    // Waits for the end: out and err are the rest of the output, the result the exit status; -n
    // when signal n ended smclp-login itself.
    int End()
    {
        out = Rest(out_);
        err = Rest(err_);
        int status = 0;
        waitpid(pid, &status, 0);
        pid = -1;
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }

    pid_t pid;
    std::string out;
    std::string err;

private:
    static std::string Rest(int descriptor)
    {
        std::string text;
        char block[4096];
        ssize_t got;
        while ((got = read(descriptor, block, sizeof(block))) > 0)
            text.append(block, static_cast<size_t>(got));
        return text;
    }

    int out_;
    int err_;
};

class LoginMain : public testing::Test
{
protected:
    void SetUp() override
    {
        registry_ = top_ + "/sessions";
        setenv("ZORSSNDIR", registry_.c_str(), 1);
        setenv("ZOROBJMGR", (top_ + "/objmgr").c_str(), 1);
        setenv("PATH", "/usr/local/bin:/usr/bin:/bin", 1);
        unsetenv("SSH_CONNECTION");
        unsetenv("SSH_ORIGINAL_COMMAND");
        alarm(100);  // a hang ends the test, not the patience of whoever waits
    }

    bool RegistryIsEmpty() const
    {
        std::error_code ignored;
        return std::filesystem::is_empty(registry_, ignored);
    }

    void Serve(u32 rights = 7)
    {
        service_ = std::make_unique<FakeService>(top_ + "/objmgr", FakeService::Facts(rights));
    }

    // A directory with a copy of smclp-login, to put a shell beside.
    std::string OwnCopy(const std::string &name) const
    {
        std::error_code error;
        std::filesystem::create_directory(top_ + "/" + name, error);
        std::filesystem::copy_file(SMCLP_LOGIN, top_ + "/" + name + "/smclp-login", error);
        if (kEmulated)  // SMCLP_LOGIN is the script beside it
            std::filesystem::copy_file(SMCLP_LOGIN ".target",
                                       top_ + "/" + name + "/smclp-login.target", error);
        EXPECT_FALSE(error);
        return top_ + "/" + name;
    }

    static void Script(const std::string &path, const std::string &text)
    {
        std::ofstream(path) << "#!/bin/sh\n" << text;
        EXPECT_EQ(chmod(path.c_str(), 0755), 0);
    }

    bool Live(u32 id) const
    {
        RegistryEntry entry;
        if (RegistryFind(registry_.c_str(), id, RegistryWhose::Own, &entry) != 0)
            return false;
        RegistryRelease(&entry);
        return entry.live;
    }

    const TestDirectory made_;
    const std::string top_ = made_.Path();
    std::string registry_;
    std::unique_ptr<FakeService> service_;
};

static std::map<std::string, std::string> Variables(const std::string &text)
{
    std::map<std::string, std::string> variables;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        variables[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
    return variables;
}

// The state letter of a process: 'T' stopped, 'Z' dead and not yet waited for, '?' there is none.
static char ProcessState(pid_t pid)
{
    std::string text = ReadFile("/proc/" + std::to_string(pid) + "/stat");
    size_t after = text.rfind(')');
    return after == std::string::npos ? '?' : text[after + 2];
}

// --- The environment -------------------------------------------------------------------------

TEST_F(LoginMain, EnvironmentIsMadeAfreshOfTheSessionAndWhatMayPass)
{
    ASSERT_EQ(clearenv(), 0);
    setenv("ZORSSNDIR", registry_.c_str(), 1);
    setenv("ZOROBJMGR", "/objmgr", 1);
    setenv("ZORTRACE", "/trace", 1);
    setenv("TERM", "vt100", 1);
    setenv("LANG", "C.UTF-8", 1);
    setenv("LC_ALL", "C", 1);
    setenv("LC_TIME", "C", 1);
    setenv("TZ", "UTC", 1);
    setenv("HOME", "/var/admin", 1);
    setenv("USER", "admin", 1);
    setenv("LOGNAME", "admin", 1);
    setenv("PATH", "/usr/bin:/bin", 1);
    setenv("ZORSID", "1", 1);
    setenv("ZORSSNTYPE", "9", 1);
    setenv("ZORIP", "9", 1);
    setenv("ZORPRIV", "ffffffff", 1);
    setenv("ZOROTHER", "1", 1);
    setenv("LD_LIBRARY_PATH", "/nonexistent", 1);
    setenv("POSIXLY_CORRECT", "1", 1);
    setenv("LANGUAGE", "xx", 1);

    Login run(SMCLP_LOGIN, {"--type", "255", "--address", "127.0.0.1", "--privilege", "0xABCDEF09",
                            "--", "env"});
    ASSERT_EQ(run.End(), 0) << run.err;
    auto got = Variables(run.out);
    EXPECT_NE(got["ZORSID"], "1");
    EXPECT_EQ(got["ZORSID"].find_first_not_of("0123456789"), std::string::npos);
    got.erase("ZORSID");
    std::string own = SMCLP_LOGIN;
    own.erase(own.rfind('/'));
    const std::map<std::string, std::string> expected = {
        {"ZORSSNTYPE", "255"},
        {"ZORIP", "2130706433"},
        {"ZORPRIV", "abcdef09"},
        {"ZORSSNDIR", registry_},
        {"ZOROBJMGR", "/objmgr"},
        {"ZORTRACE", "/trace"},
        {"TERM", "vt100"},
        {"LANG", "C.UTF-8"},
        {"LC_ALL", "C"},
        {"LC_TIME", "C"},
        {"TZ", "UTC"},
        {"HOME", "/var/admin"},
        {"USER", "admin"},
        {"LOGNAME", "admin"},
        {"PATH", own + ":/usr/bin:/bin"},
    };
    EXPECT_EQ(got, expected);
    EXPECT_TRUE(RegistryIsEmpty());
}

TEST_F(LoginMain, DefaultsAreTypeZeroNoAddressEveryRightAndADefaultPath)
{
    ASSERT_EQ(clearenv(), 0);
    setenv("ZORSSNDIR", registry_.c_str(), 1);
    Login run(SMCLP_LOGIN, {"--", "env"});
    ASSERT_EQ(run.End(), 0) << run.err;
    auto got = Variables(run.out);
    got.erase("ZORSID");
    std::string own = SMCLP_LOGIN;
    own.erase(own.rfind('/'));
    const std::map<std::string, std::string> expected = {
        {"ZORSSNTYPE", "0"},
        {"ZORIP", "0"},
        {"ZORPRIV", "7"},
        {"ZORSSNDIR", registry_},
        {"PATH", own + ":/usr/local/bin:/usr/bin:/bin"},
    };
    EXPECT_EQ(got, expected);
}

TEST_F(LoginMain, SessionFileHoldsTheUserAndWhatTheOptionsSay)
{
    Login run(SMCLP_LOGIN, {"--type", "3", "--address", "192.0.2.7", "--privilege", "5", "--idle",
                            "900", "--", "sh", "-c", "id -un; cat \"$ZORSSNDIR/$ZORSID\""});
    ASSERT_EQ(run.End(), 0) << run.err;
    std::string user = run.out.substr(0, run.out.find('\n') + 1);
    size_t id = run.out.find("id=");
    ASSERT_EQ(id, user.size());
    std::string text = run.out.substr(run.out.find('\n', id) + 1);
    EXPECT_EQ(text.substr(0, text.find("since=")),
              "user=" + user + "type=3\naddress=192.0.2.7\nprivilege=5\nidle=900\n");
}

// --- The shell -------------------------------------------------------------------------------

TEST_F(LoginMain, ShellBesideTheProgramIsRunWithoutArguments)
{
    Serve();
    std::string own = OwnCopy("bin");
    Script(own + "/smclp", "echo \"$# $ZORSSNTYPE\"; exit 3");
    Login run(own + "/smclp-login", {"--unconfined", "--type", "8"});
    EXPECT_EQ(run.End(), 3);
    EXPECT_EQ(run.out, "0 8\n");
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(RegistryIsEmpty());
}

TEST_F(LoginMain, LineBecomesTheShellsOneArgument)
{
    Serve();
    std::string own = OwnCopy("bin");
    Script(own + "/smclp", "echo \"$#:$1\"");
    Login run(own + "/smclp-login", {"--unconfined", "-c", "show  -display verbs /system1"});
    EXPECT_EQ(run.End(), 0);
    EXPECT_EQ(run.out, "1:show  -display verbs /system1\n");
    Login empty(own + "/smclp-login", {"--unconfined", "-c", ""});
    EXPECT_EQ(empty.End(), 0);
    EXPECT_EQ(empty.out, "1:\n");
}

TEST_F(LoginMain, CommandFindsTheShellBesideTheProgramAndMayAlterTheEnvironment)
{
    Serve();
    std::string own = OwnCopy("bin");
    Script(own + "/smclp", "echo \"$ZORPRIV\"");
    Login run(own + "/smclp-login", {"--", "env", "ZORPRIV=xyz", "smclp"});
    EXPECT_EQ(run.End(), 0);
    EXPECT_EQ(run.out, "xyz\n");
}

TEST_F(LoginMain, ShellElsewhereIsFoundOnThePath)
{
    Serve();
    std::string own = OwnCopy("bin");
    std::string other = top_ + "/other";
    ASSERT_EQ(mkdir(other.c_str(), 0700), 0);
    Script(other + "/smclp", "echo elsewhere");
    setenv("PATH", (other + ":/usr/bin:/bin").c_str(), 1);
    Login run(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(run.End(), 0);
    EXPECT_EQ(run.out, "elsewhere\n");
    Script(own + "/smclp", "echo beside");
    Login again(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(again.End(), 0);
    EXPECT_EQ(again.out, "beside\n");
}

TEST_F(LoginMain, ShellBesideThatCannotBeRunIs126AndNoOtherIsTaken)
{
    Serve();
    std::string own = OwnCopy("bin");
    std::string other = top_ + "/other";
    ASSERT_EQ(mkdir(other.c_str(), 0700), 0);
    Script(other + "/smclp", "echo elsewhere");
    std::ofstream(own + "/smclp") << "no program";
    setenv("PATH", (other + ":/usr/bin:/bin").c_str(), 1);
    Login run(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(run.End(), 126);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "smclp-login: cannot run smclp: Permission denied\n");
}

TEST_F(LoginMain, DirectoryWithAColonStandsNotOnThePathButItsShellIsFound)
{
    Serve();
    std::string own = OwnCopy("b:in");
    Script(own + "/smclp", "echo \"$PATH\"");
    setenv("PATH", "/usr/bin:/bin", 1);
    Login run(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(run.End(), 0);
    EXPECT_EQ(run.out, "/usr/bin:/bin\n");
}

TEST_F(LoginMain, NoShellAnywhereIs127)
{
    Serve();
    std::string own = OwnCopy("bin");
    setenv("PATH", top_.c_str(), 1);
    Login run(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(run.End(), 127);
    EXPECT_EQ(run.err, "smclp-login: cannot run smclp: No such file or directory\n");
    EXPECT_TRUE(RegistryIsEmpty());
    // One on the PATH that nobody may run is none.
    std::ofstream(top_ + "/smclp") << "no program";
    Login again(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(again.End(), 127);
    EXPECT_EQ(again.err, "smclp-login: cannot run smclp: No such file or directory\n");
}

// --- How it ends -----------------------------------------------------------------------------

TEST_F(LoginMain, ExitStatusIsTheCommandsAndTheSessionIsClosed)
{
    // ssh has 255 for itself.
    for (auto [status, seen] : {std::pair(0, 0), {1, 1}, {254, 254}, {255, 254}}) {
        Login run(SMCLP_LOGIN, {"--", "sh", "-c", "exit " + std::to_string(status)});
        EXPECT_EQ(run.End(), seen);
        EXPECT_TRUE(RegistryIsEmpty());
    }
}

TEST_F(LoginMain, CommandEndedByASignalIs128AndItsNumber)
{
    Login killed(SMCLP_LOGIN, {"--", "sh", "-c", "kill -9 $$"});
    EXPECT_EQ(killed.End(), 137);
    EXPECT_TRUE(RegistryIsEmpty());
    Login terminated(SMCLP_LOGIN, {"--", "sh", "-c", "kill -15 $$"});
    EXPECT_EQ(terminated.End(), 143);
    EXPECT_TRUE(RegistryIsEmpty());
}

TEST_F(LoginMain, CommandThatIsMissingIs127AndOneThatCannotBeRunIs126)
{
    Login missing(SMCLP_LOGIN, {"--", "/nonexistent/command"});
    EXPECT_EQ(missing.End(), 127);
    EXPECT_EQ(missing.err,
              "smclp-login: cannot run /nonexistent/command: No such file or directory\n");
    Login refused(SMCLP_LOGIN, {"--", "/"});
    EXPECT_EQ(refused.End(), 126);
    EXPECT_EQ(refused.err, "smclp-login: cannot run /: Permission denied\n");
    EXPECT_TRUE(RegistryIsEmpty());
}

TEST_F(LoginMain, SessionEndedByRemovingItsFileStillGivesTheCommandsStatus)
{
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "rm \"$ZORSSNDIR/$ZORSID\"; exit 4"});
    EXPECT_EQ(run.End(), 4);
    EXPECT_EQ(run.err, "");
}

TEST_F(LoginMain, CallerThatIgnoresTheDeathOfChildrenStillGetsTheStatus)
{
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "exit 6"}, [] { signal(SIGCHLD, SIG_IGN); });
    EXPECT_EQ(run.End(), 6);
}

TEST_F(LoginMain, TwoSessionsAtOnceBothLiveAndTheOtherSurvivesTheFirst)
{
    Login first(SMCLP_LOGIN, {"--", "sh", "-c", "echo $ZORSID; exec sleep 60"});
    Login second(SMCLP_LOGIN, {"--", "sh", "-c", "echo $ZORSID; exec sleep 60"});
    u32 firstId = static_cast<u32>(std::stoul(first.Line()));
    u32 secondId = static_cast<u32>(std::stoul(second.Line()));
    EXPECT_TRUE(Live(firstId));
    EXPECT_TRUE(Live(secondId));
    kill(first.pid, SIGTERM);
    EXPECT_EQ(first.End(), 143);
    EXPECT_FALSE(Live(firstId));
    EXPECT_TRUE(Live(secondId));
    kill(second.pid, SIGTERM);
    EXPECT_EQ(second.End(), 143);
    EXPECT_TRUE(RegistryIsEmpty());
}

TEST_F(LoginMain, KilledLoginTakesItsChildAndItsSessionAlong)
{
    Login run(SMCLP_LOGIN,
              {"--", "sh", "-c", "trap '' HUP TERM; echo $$; echo $ZORSID; exec sleep 60"});
    pid_t child = std::stoi(run.Line());
    ASSERT_GT(child, 1);
    u32 id = static_cast<u32>(std::stoul(run.Line()));
    EXPECT_TRUE(Live(id));
    kill(run.pid, SIGKILL);
    ASSERT_EQ(waitpid(run.pid, nullptr, 0), run.pid);
    run.pid = -1;
    for (char state = 'R'; state != 'Z' && state != '?'; state = ProcessState(child))
        usleep(1000);
    while (!RegistryIsEmpty())
        usleep(1000);
}

TEST_F(LoginMain, KilledLoginTakesAlsoAStoppedChildAlong)
{
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "echo $$; kill -STOP $$; exec sleep 60"});
    pid_t child = std::stoi(run.Line());
    while (ProcessState(child) != 'T')
        usleep(1000);
    kill(run.pid, SIGKILL);
    ASSERT_EQ(waitpid(run.pid, nullptr, 0), run.pid);
    run.pid = -1;
    for (char state = 'T'; state != 'Z' && state != '?'; state = ProcessState(child))
        usleep(1000);
    while (!RegistryIsEmpty())
        usleep(1000);
}

TEST_F(LoginMain, SessionWhoseFileIsRemovedEndsWithALine)
{
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "rm \"$ZORSSNDIR/$ZORSID\"; exec sleep 60"});
    EXPECT_EQ(run.End(), 129);
    EXPECT_EQ(run.err, "smclp-login: the session was ended from outside\n");
}

TEST_F(LoginMain, SessionThatIsNotUsedEndsWithALineAlsoWhenItWillNotHear)
{
    Login run(SMCLP_LOGIN, {"--idle", "1", "--", "sh", "-c", "exec sleep 60"});
    EXPECT_EQ(run.End(), 129);
    EXPECT_EQ(run.err, "smclp-login: the session was not used for 1 s and is ended\n");
    Login deaf(SMCLP_LOGIN, {"--idle", "9", "--idle", "3=1", "--type", "3", "--", "sh", "-c",
                             "trap '' HUP; exec sleep 60"});
    EXPECT_EQ(deaf.End(), 137);
    EXPECT_EQ(deaf.err, "smclp-login: the session was not used for 1 s and is ended\n");
    EXPECT_TRUE(RegistryIsEmpty());
}

// Its last use is put back to the start of the machine.
TEST_F(LoginMain, WholeMinutesAreSaidAsSuch)
{
    for (const auto &[idle, said] : {std::pair("60", "1 min"), std::pair("61", "61 s")}) {
        Login run(SMCLP_LOGIN, {"--idle", idle, "--", "sh", "-c",
                                "touch -d @1 \"$ZORSSNDIR/$ZORSID\"; exec sleep 60"});
        EXPECT_EQ(run.End(), 129);
        EXPECT_EQ(run.err, std::string("smclp-login: the session was not used for ") + said +
                               " and is ended\n");
    }
}

TEST_F(LoginMain, SessionWhoseOutputNobodyCanReadEnds)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Login run(SMCLP_LOGIN, {"--", "sleep", "60"}, [&ends] {
        close(ends[0]);
        dup2(ends[1], 1);
        close(ends[1]);
    });
    close(ends[1]);
    close(ends[0]);
    EXPECT_EQ(run.End(), 129);
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(RegistryIsEmpty());
}

// --- The service -----------------------------------------------------------------------------

TEST_F(LoginMain, ServiceThatIsNotThereKeepsTheShellFromStarting)
{
    std::string own = OwnCopy("bin");
    Script(own + "/smclp", "echo run");
    Login run(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(run.End(), 69);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "smclp-login: the service is not running in " + top_ + "/objmgr\n");
    EXPECT_EQ(access(registry_.c_str(), F_OK), -1);
}

TEST_F(LoginMain, UserWithoutTheRightToLogInIsRefusedAndThatIsRecorded)
{
    Serve(6);
    setenv("SSH_CONNECTION", "192.0.2.7 50000 192.0.2.1 22", 1);
    std::string own = OwnCopy("bin");
    Script(own + "/smclp", "echo run");
    Login run(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(run.End(), 77);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "smclp-login: you have not the right to log in (objmgrd-test grants it)\n");
    EXPECT_EQ(access(registry_.c_str(), F_OK), -1);
    EXPECT_EQ(service_->Told(), "refusal - 192.0.2.7 no right to log in\n");
}

TEST_F(LoginMain, LoginsLogoutsAndRefusalsAreRecorded)
{
    Serve();
    setenv("SSH_CONNECTION", "2001:db8::7 50000 2001:db8::1 22", 1);
    EXPECT_EQ(Login(SMCLP_LOGIN, {"--", "sh", "-c", "exit 3"}).End(), 3);
    EXPECT_EQ(Login(SMCLP_LOGIN, {"--", "sh", "-c", "kill -9 $$"}).End(), 137);
    EXPECT_EQ(Login(SMCLP_LOGIN, {"--idle", "1", "--", "sleep", "60"}).End(), 129);
    EXPECT_EQ(Login(SMCLP_LOGIN, {"-c", "scp -t /tmp"}).End(), 77);
    EXPECT_EQ(service_->Told(), "login id 2001:db8::7\nlogout id 2001:db8::7 exit 3\n"
                                "login id 2001:db8::7\nlogout id 2001:db8::7 signal 9\n"
                                "login id 2001:db8::7\nlogout id 2001:db8::7 idle\n"
                                "refusal - 2001:db8::7 copying files\n");
}

TEST_F(LoginMain, ServiceSeesTheConnectionOfAKilledLoginEnd)
{
    Serve();
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "echo ready; exec sleep 60"});
    ASSERT_EQ(run.Line(), "ready");
    kill(run.pid, SIGKILL);
    ASSERT_EQ(waitpid(run.pid, nullptr, 0), run.pid);
    run.pid = -1;
    while (service_->Told() != "login id -\nend\n")
        usleep(1000);
}

// --- Settings --------------------------------------------------------------------------------

TEST_F(LoginMain, SettingsHoldWhereNoOptionSaysOtherwise)
{
    const std::string file = top_ + "/login.conf";
    std::ofstream(file) << "idle 900\nidle 1=0\n";
    const Words show = {"--", "sh", "-c", "grep idle \"$ZORSSNDIR/$ZORSID\""};
    const auto run = [&](Words words) {
        words.insert(words.end(), show.begin(), show.end());
        Login login(SMCLP_LOGIN, words);
        EXPECT_EQ(login.End(), 0) << login.err;
        return login.out;
    };
    EXPECT_EQ(run({"--settings", file}), "idle=900\n");
    EXPECT_EQ(run({"--settings", file, "--type", "console"}), "idle=0\n");
    EXPECT_EQ(run({"--settings", file, "--idle", "7"}), "idle=7\n");
    EXPECT_EQ(run({"--idle", "7", "--settings", file}), "idle=7\n");
}

TEST_F(LoginMain, SettingsThatAreWrongLetNobodyIn)
{
    const std::string file = top_ + "/login.conf";
    std::ofstream(file) << "idle soon\n";
    Login run(SMCLP_LOGIN, {"--settings", file, "--", "echo", "run"});
    EXPECT_EQ(run.End(), 78);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "smclp-login: " + file +
                           ":1: --idle needs seconds from 0 to 4294967295, or TYPE=SECONDS: "
                           "'soon' (see smclp-login --help)\n");
    EXPECT_EQ(access(registry_.c_str(), F_OK), -1);
}

TEST_F(LoginMain, ToolBesideTheProgramIsRunWhereItIsAllowed)
{
    Serve();
    std::string own = OwnCopy("bin");
    Script(own + "/smclp", "echo \"shell $1\"");
    Script(own + "/smclpctl", "echo $#; for word; do echo \"[$word]\"; done; exit 9");
    setenv("SSH_ORIGINAL_COMMAND", "smclpctl", 1);
    Login bare(own + "/smclp-login", {"--unconfined", "--allow", "smclpctl"});
    EXPECT_EQ(bare.End(), 9);
    EXPECT_EQ(bare.out, "0\n");
    setenv("SSH_ORIGINAL_COMMAND", "smclpctl log --since 'a b' $(id)", 1);
    Login run(own + "/smclp-login", {"--unconfined", "--allow", "smclpctl"});
    EXPECT_EQ(run.End(), 9);
    EXPECT_EQ(run.out, "4\n[log]\n[--since]\n[a b]\n[$(id)]\n");
    Login other(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(other.End(), 0);
    EXPECT_EQ(other.out, "shell smclpctl log --since 'a b' $(id)\n");
    EXPECT_EQ(service_->Told(), "login id -\nlogout id - exit 9\nlogin id -\nlogout id - exit 9\n"
                                "login id -\nlogout id - exit 0\n");
}

TEST_F(LoginMain, ToolIsTakenFromTheProgramsOwnDirectoryAlone)
{
    Serve();
    std::string own = OwnCopy("bin");
    std::string other = top_ + "/other";
    ASSERT_EQ(mkdir(other.c_str(), 0700), 0);
    Script(other + "/smclpctl", "echo elsewhere");
    setenv("PATH", (other + ":/usr/bin:/bin").c_str(), 1);
    setenv("SSH_ORIGINAL_COMMAND", "smclpctl sensors", 1);
    Login run(own + "/smclp-login", {"--unconfined", "--allow", "smclpctl"});
    EXPECT_EQ(run.End(), 127);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "smclp-login: cannot run smclpctl: No such file or directory\n");
}

// --- Limits ----------------------------------------------------------------------------------

TEST_F(LoginMain, OneSessionTooManyOfAUserIs75WithALine)
{
    Login first(SMCLP_LOGIN, {"--", "sh", "-c", "echo ready; exec sleep 60"});
    ASSERT_EQ(first.Line(), "ready");
    Login second(SMCLP_LOGIN, {"--user-sessions", "1", "--", "echo", "run"});
    EXPECT_EQ(second.End(), 75);
    EXPECT_EQ(second.out, "");
    EXPECT_EQ(second.err, "smclp-login: you have 1 sessions, as many as one user may have\n");
    Login third(SMCLP_LOGIN, {"--user-sessions", "2", "--", "echo", "run"});
    EXPECT_EQ(third.End(), 0);
}

TEST_F(LoginMain, FourSessionsAreKeptForTheConsole)
{
    Login first(SMCLP_LOGIN, {"--", "sh", "-c", "echo ready; exec sleep 60"});
    ASSERT_EQ(first.Line(), "ready");
    Login second(SMCLP_LOGIN, {"--sessions", "5", "--", "echo", "run"});
    EXPECT_EQ(second.End(), 75);
    EXPECT_EQ(second.err,
              "smclp-login: there are as many sessions as there may be; come back later\n");
    Login console(SMCLP_LOGIN, {"--sessions", "5", "--type", "console", "--", "echo", "run"});
    EXPECT_EQ(console.End(), 0);
    Login third(SMCLP_LOGIN, {"--sessions", "6", "--", "echo", "run"});
    EXPECT_EQ(third.End(), 0);
}

// --- As sshd starts it -----------------------------------------------------------------------

TEST_F(LoginMain, LineOfTheClientIsOneArgumentOfTheShell)
{
    Serve();
    std::string own = OwnCopy("bin");
    Script(own + "/smclp", "echo \"$#:$1\"");
    setenv("SSH_ORIGINAL_COMMAND", "\r\n show  -level 2 /system1 \t\n", 1);
    Login run(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(run.End(), 0);
    EXPECT_EQ(run.out, "1:show  -level 2 /system1\n");
    Login both(own + "/smclp-login", {"--unconfined", "-c", "/usr/bin/smclp-login --idle 60"});
    EXPECT_EQ(both.End(), 0);
    EXPECT_EQ(both.out, "1:show  -level 2 /system1\n");
    Login shell(own + "/smclp-login", {"--unconfined", "-c", "version"});
    EXPECT_EQ(shell.End(), 0);
    EXPECT_EQ(shell.out, "1:version\n");
    setenv("SSH_ORIGINAL_COMMAND", " ", 1);
    Login prompt(own + "/smclp-login", {"--unconfined"});
    EXPECT_EQ(prompt.End(), 0);
    EXPECT_EQ(prompt.out, "0:\n");
}

TEST_F(LoginMain, ProgramsForCopyingFilesAre77)
{
    setenv("SSH_ORIGINAL_COMMAND", "/usr/lib/openssh/sftp-server", 1);
    Login run(SMCLP_LOGIN, {});
    EXPECT_EQ(run.End(), 77);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "smclp-login: no files are copied here: sftp-server is refused\n");
    EXPECT_EQ(access(registry_.c_str(), F_OK), -1);
}

TEST_F(LoginMain, ClientsAddressComesFromSshdAndOfIPv6TheTextIsKept)
{
    const char *command = "echo \"$ZORSSNTYPE $ZORIP\"; grep address \"$ZORSSNDIR/$ZORSID\"";
    setenv("SSH_CONNECTION", "192.0.2.7 50000 192.0.2.1 22", 1);
    Login four(SMCLP_LOGIN, {"--", "sh", "-c", command});
    EXPECT_EQ(four.End(), 0);
    EXPECT_EQ(four.out, "0 3221225991\naddress=192.0.2.7\n");
    setenv("SSH_CONNECTION", "2001:db8::7 50000 2001:db8::1 22", 1);
    Login six(SMCLP_LOGIN, {"--", "sh", "-c", command});
    EXPECT_EQ(six.End(), 0);
    EXPECT_EQ(six.out, "0 0\naddress=2001:db8::7\n");
}

// --- Signals ---------------------------------------------------------------------------------

TEST_F(LoginMain, SignalsArePassedOnAndTheChildsAnswerAwaited)
{
    struct {
        int number;
        const char *name;
    } rows[] = {{SIGHUP, "HUP"},   {SIGINT, "INT"},   {SIGQUIT, "QUIT"}, {SIGTERM, "TERM"},
                {SIGUSR1, "USR1"}, {SIGUSR2, "USR2"}, {SIGALRM, "ALRM"}};
    for (const auto &row : rows) {
        std::string trap = std::string("trap 'kill $p; echo got; exit 42' ") + row.name;
        Login run(SMCLP_LOGIN,
                  {"--", "sh", "-c", trap + "; sleep 60 >/dev/null 2>&1 & p=$!; echo ready; wait"});
        ASSERT_EQ(run.Line(), "ready");
        kill(run.pid, row.number);
        EXPECT_EQ(run.End(), 42) << row.name;
        EXPECT_EQ(run.out, "got\n");
        EXPECT_TRUE(RegistryIsEmpty());
    }
}

TEST_F(LoginMain, SignalThatTheChildDoesNotCatchEndsBothAndTheSession)
{
    for (int number : {SIGHUP, SIGINT, SIGTERM}) {
        Login run(SMCLP_LOGIN, {"--", "sh", "-c", "echo ready; exec sleep 60"});
        ASSERT_EQ(run.Line(), "ready");
        kill(run.pid, number);
        EXPECT_EQ(run.End(), 128 + number);
        EXPECT_TRUE(RegistryIsEmpty());
    }
}

TEST_F(LoginMain, SignalToTheWholeGroupIsHarmlessTwice)
{
    Login run(SMCLP_LOGIN,
              {"--", "sh", "-c",
               "trap got=1 INT; echo ready; while [ -z \"$got\" ]; do sleep 0.1; done; exit 5"},
              [] { setpgid(0, 0); });
    ASSERT_EQ(run.Line(), "ready");
    kill(-run.pid, SIGINT);
    EXPECT_EQ(run.End(), 5);
    EXPECT_TRUE(RegistryIsEmpty());
}

TEST_F(LoginMain, TerminationReachesAStoppedChild)
{
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "echo $$; exec sleep 60"});
    pid_t child = std::stoi(run.Line());
    ASSERT_GT(child, 1);
    kill(child, SIGSTOP);
    while (ProcessState(child) != 'T')
        usleep(1000);
    kill(run.pid, SIGTERM);
    EXPECT_EQ(run.End(), 143);
    EXPECT_TRUE(RegistryIsEmpty());
}

TEST_F(LoginMain, StopAndContinueWorkOnTheProgramItself)
{
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "echo ready; exec sleep 60"}, [] { setpgid(0, 0); });
    ASSERT_EQ(run.Line(), "ready");
    // A group whose leader's parent is in another group of the session is no orphan: it may stop.
    kill(run.pid, SIGTSTP);
    int status = 0;
    ASSERT_EQ(waitpid(run.pid, &status, WUNTRACED), run.pid);
    EXPECT_TRUE(WIFSTOPPED(status));
    kill(run.pid, SIGCONT);
    kill(run.pid, SIGTERM);
    EXPECT_EQ(run.End(), 143);
}

TEST_F(LoginMain, ChildHasDefaultDispositionsAndTheCallersMask)
{
    auto before = [] {
        for (int number : {SIGINT, SIGHUP, SIGPIPE, SIGTSTP, SIGUSR1})
            signal(number, SIG_IGN);
        sigset_t mask;
        sigemptyset(&mask);
        sigaddset(&mask, SIGUSR2);
        sigprocmask(SIG_SETMASK, &mask, nullptr);
    };
    Login run(SMCLP_LOGIN, {"--", "grep", "-E", "Sig(Blk|Ign)", "/proc/self/status"}, before);
    EXPECT_EQ(run.End(), 0);
    EXPECT_EQ(run.out, "SigBlk:\t0000000000000800\nSigIgn:\t0000000000000000\n");
}

// --- Descriptors and the terminal ------------------------------------------------------------

TEST_F(LoginMain, ClosedStandardDescriptorsAreOpenedOnNothing)
{
    std::string report = top_ + "/report";
    auto before = [] {
        close(0);
        close(1);
        close(2);
    };
    Login run(SMCLP_LOGIN,
              {"--", "sh", "-c",
               "a=$(readlink /proc/$$/fd/0); b=$(readlink /proc/$$/fd/1); "
               "c=$(readlink /proc/$$/fd/2); echo \"$a $b $c\" >" +
                   report},
              before);
    EXPECT_EQ(run.End(), 0);
    EXPECT_EQ(ReadFile(report), "/dev/null /dev/null /dev/null\n");
    EXPECT_TRUE(RegistryIsEmpty());
}

TEST_F(LoginMain, ChildInheritsTheLockAndNoOtherDescriptor)
{
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "for f in /proc/$$/fd/*; do readlink $f; done"}, [] {
        for (int descriptor = 3; descriptor < 1024; ++descriptor)
            close(descriptor);
    });
    EXPECT_EQ(run.End(), 0);
    size_t sessions = 0;
    size_t directories = 0;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
        sessions += line.rfind(registry_ + "/", 0) == 0;
        directories += line == registry_;
    }
    EXPECT_EQ(sessions, 1u) << run.out;
    EXPECT_EQ(directories, 0u) << run.out;
}

class LoginTerminal : public LoginMain
{
protected:
    void SetUp() override
    {
        LoginMain::SetUp();
        ASSERT_EQ(openpty(&master_, &slave_, nullptr, nullptr, nullptr), 0);
        ASSERT_TRUE(Echo());
    }
    void TearDown() override
    {
        close(master_);
        close(slave_);
    }

    bool Echo() const
    {
        termios now = {};
        EXPECT_EQ(tcgetattr(slave_, &now), 0);
        return (now.c_lflag & ECHO) != 0;
    }

    // To be called in the child: the terminal becomes its controlling one and its input.
    std::function<void()> OnTerminal() const
    {
        int master = master_;
        int slave = slave_;
        return [master, slave] {
            close(master);
            setsid();
            ioctl(slave, TIOCSCTTY, 0);
            dup2(slave, 0);
        };
    }

    int master_ = -1;
    int slave_ = -1;
};

TEST_F(LoginTerminal, KilledChildThatHadClearedEchoLeavesATerminalWithEcho)
{
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "stty -echo; echo $$; exec sleep 60"}, OnTerminal());
    pid_t child = std::stoi(run.Line());
    ASSERT_GT(child, 1);
    EXPECT_FALSE(Echo());
    kill(child, SIGKILL);
    EXPECT_EQ(run.End(), 137);
    EXPECT_TRUE(Echo());
    EXPECT_TRUE(RegistryIsEmpty());
}

TEST_F(LoginTerminal, TerminalIsPutBackAlsoFromTheBackground)
{
    // With -m the shell gives its job a group of its own and that group the terminal, so that
    // smclp-login is in the background when it writes the settings.
    Login run(SMCLP_LOGIN,
              {"--", "sh", "-mc", "sh -c 'stty -echo; echo ready; exec sleep 60 >/dev/null'; :"},
              OnTerminal());
    ASSERT_EQ(run.Line(), "ready");
    EXPECT_FALSE(Echo());
    pid_t foreground = tcgetpgrp(master_);
    ASSERT_GT(foreground, 1);
    EXPECT_NE(foreground, run.pid);
    kill(run.pid, SIGUSR1);  // passed on: ends the shell while its job has the terminal
    int status = 0;
    ASSERT_EQ(waitpid(run.pid, &status, WUNTRACED), run.pid);
    run.pid = -1;
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 138);
    EXPECT_TRUE(Echo());
    kill(-foreground, SIGKILL);
}

TEST_F(LoginTerminal, ChildThatEndsByItselfLeavesTheTerminalAsItWantedIt)
{
    Login run(SMCLP_LOGIN, {"--", "stty", "-echo"}, OnTerminal());
    EXPECT_EQ(run.End(), 0);
    EXPECT_FALSE(Echo());
}

TEST_F(LoginTerminal, InterruptKeyEndsTheSession)
{
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "echo ready; exec sleep 60"}, OnTerminal());
    ASSERT_EQ(run.Line(), "ready");
    ASSERT_EQ(write(master_, "\003", 1), 1);
    EXPECT_EQ(run.End(), 130);
    EXPECT_TRUE(RegistryIsEmpty());
}

TEST_F(LoginTerminal, HangUpEndsTheSession)
{
    Login run(SMCLP_LOGIN, {"--", "sh", "-c", "echo ready; exec sleep 60"}, OnTerminal());
    ASSERT_EQ(run.Line(), "ready");
    close(master_);
    master_ = -1;
    EXPECT_EQ(run.End(), 129);
    EXPECT_TRUE(RegistryIsEmpty());
}

// --- What goes wrong before there is a session ------------------------------------------------

TEST_F(LoginMain, WrongCommandLineIs2WithOneLineAndOpensNothing)
{
    Login run(SMCLP_LOGIN, {"--type", "256", "--", "true"});
    EXPECT_EQ(run.End(), 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "smclp-login: --type needs a number from 0 to 255: '256' "
                       "(see smclp-login --help)\n");
    EXPECT_EQ(access(registry_.c_str(), F_OK), -1);
}

TEST_F(LoginMain, HelpAndVersionAreAnsweredWithoutASession)
{
    Login help(SMCLP_LOGIN, {"--help"});
    EXPECT_EQ(help.End(), 0);
    EXPECT_EQ(help.out.rfind("usage: smclp-login [OPTION]... [-c LINE | -- COMMAND [ARG]...]\n", 0),
              0u);
    EXPECT_EQ(help.err, "");
    Login version(SMCLP_LOGIN, {"--version"});
    EXPECT_EQ(version.End(), 0);
    EXPECT_EQ(version.out, "smclp-login 1.0.0\n");
    EXPECT_EQ(access(registry_.c_str(), F_OK), -1);
}

TEST_F(LoginMain, RegistryThatCannotBeMadeIs69AndTheCommandIsNotRun)
{
    std::string directory = top_ + "/none/sessions";
    setenv("ZORSSNDIR", directory.c_str(), 1);
    Login run(SMCLP_LOGIN, {"--", "echo", "run"});
    EXPECT_EQ(run.End(), 69);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "smclp-login: cannot open a session in " + directory +
                           " (set by ZORSSNDIR): No such file or directory\n");
}

TEST_F(LoginMain, RegistryOpenToEveryoneIs69)
{
    ASSERT_EQ(mkdir(registry_.c_str(), 0700), 0);
    ASSERT_EQ(chmod(registry_.c_str(), 0777), 0);
    Login run(SMCLP_LOGIN, {"--", "echo", "run"});
    EXPECT_EQ(run.End(), 69);
    EXPECT_EQ(run.err, "smclp-login: the session registry " + registry_ +
                           " (set by ZORSSNDIR) belongs to another user, or others may write it "
                           "and it is not sticky\n");
}

// Under the smallest limit with which it starts at all, it has no room for a long directory's name.
TEST_F(LoginMain, WithoutMemoryForTheHostsDirectoryIs75)
{
#ifdef SANITIZED
    GTEST_SKIP() << "the sanitizer takes more memory than any limit here allows";
#endif
    if (kEmulated)
        GTEST_SKIP() << "the limit would be the emulator's";
    const auto under = [](rlim_t bytes) {
        return [bytes] {
            const rlimit data = {bytes, bytes};
            if (setrlimit(RLIMIT_DATA, &data) != 0)
                _exit(98);
        };
    };
    constexpr rlim_t kStep = 16 * 1024;
    rlim_t bytes = kStep;
    while (bytes < 64 * kStep && Login(SMCLP_LOGIN, {"--version"}, under(bytes)).End() != 0)
        bytes += kStep;
    setenv("ZOROBJMGR", ("/" + std::string(100000, 'o') + "/objmgr").c_str(), 1);
    Login run(SMCLP_LOGIN, {"--host", "node1", "--", "echo", "run"}, under(bytes));
    EXPECT_EQ(run.End(), 75);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "smclp-login: no memory\n");
}

TEST_F(LoginMain, RegistryThatTheUserMayNotEnterIs77)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can be another user";
    ASSERT_EQ(mkdir(registry_.c_str(), 0700), 0);
    ASSERT_EQ(chmod(top_.c_str(), 0755), 0);
    ASSERT_EQ(chdir("/"), 0);
    std::string program = OwnCopy("bin") + "/smclp-login";
    const auto anotherUser = [] {
        if (setresuid(60001, 60001, 60001) != 0)
            _exit(98);
    };
    if (kEmulated && Login(program, {"--version"}, anotherUser).End() != 0)
        GTEST_SKIP() << "another user may not reach the target's libraries";
    Login run(program, {"--", "echo", "run"}, anotherUser);
    EXPECT_EQ(run.End(), 77);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "smclp-login: cannot open a session in " + registry_ +
                           " (set by ZORSSNDIR): Permission denied\n");
}

TEST_F(LoginMain, SetUserIdProgramRefusesToRun)
{
#ifdef SANITIZED
    GTEST_SKIP() << "the leak checker cannot look into a set-user-id program, and says so";
#endif
    struct statvfs info;
    ASSERT_EQ(statvfs(top_.c_str(), &info), 0);
    if (geteuid() != 0 || (info.f_flag & ST_NOSUID) != 0 || prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0))
        GTEST_SKIP() << "needs root and a file system with set-user-id programs";
    std::string program = OwnCopy("bin") + "/smclp-login";
    ASSERT_EQ(chown(program.c_str(), 65534, 65534), 0);
    ASSERT_EQ(chmod(top_.c_str(), 0777), 0);
    for (mode_t mode : {04755u, 02755u}) {
        ASSERT_EQ(chmod(program.c_str(), mode), 0);
        Login run(program, {"--", "id", "-u"});
        EXPECT_EQ(run.End(), 77);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err, "smclp-login: it must not be installed set-user-id, set-group-id or "
                           "with capabilities: it works with its caller's rights alone\n");
        EXPECT_EQ(access(registry_.c_str(), F_OK), -1);
    }
}

// Whoever does not read what smclp-login says holds no process by that.
TEST_F(LoginMain, RefusalThatNobodyReadsEndsAllTheSame)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
    std::string filler(4096, 'x');
    ASSERT_EQ(write(ends[1], filler.data(), filler.size()), 4096);
    Login run(SMCLP_LOGIN, {"--zap"}, [&ends] { dup2(ends[1], 2); });
    EXPECT_EQ(run.End(), 2);
    close(ends[0]);
    close(ends[1]);
}
