// SPDX-License-Identifier: Apache-2.0
// login_confine_test.cpp -- what a confined process can do, tried in a process of its own.
#include "session/login_confine.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "support/emulation.h"
#include "support/test_files.h"

namespace
{

// A program that is linked as the shell is; an emulator cannot be started again.
constexpr const char *kProgram = kEmulated ? "/bin/true" : SMCLP_SESSIONS;

// A kernel that is played instead of the one that runs (syscall() is linked with --wrap), and what
// it was asked for last.
struct PlayedKernel {
    long version = 0;  // of its Landlock, -1: none; 0: the calls are the real kernel's
    u64 ruleset[3] = {};
    size_t rulesetSize = 0;
    std::string path;  // of the rule
    u64 allowed = 0;   // beneath it
};
PlayedKernel gKernel;

long CreateRuleset(const void *ruleset, size_t size)
{
    if (ruleset == nullptr)
        return gKernel.version;
    memcpy(gKernel.ruleset, ruleset, std::min(size, sizeof gKernel.ruleset));
    gKernel.rulesetSize = size;
    return 1000;  // no descriptor of anybody's
}

std::string PathOf(int descriptor)
{
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
}

long AddRule(const char *rule)
{
    int descriptor;
    memcpy(&gKernel.allowed, rule, sizeof gKernel.allowed);
    memcpy(&descriptor, rule + sizeof gKernel.allowed, sizeof descriptor);
    gKernel.path = PathOf(descriptor);
    return 0;
}

// The kernel's version of Landlock; below 1 there is none.
long Version()
{
    return syscall(444, nullptr, 0, 1);
}

}  // namespace

extern "C" long __real_syscall(long number, ...);
extern "C" long __wrap_syscall(long number, ...)
{
    long arguments[4];  // none of the calls here has more
    va_list list;
    va_start(list, number);
    for (long &argument : arguments)
        argument = va_arg(list, long);
    va_end(list);
    // NOLINTBEGIN(performance-no-int-to-ptr): arguments of a system call are numbers.
    if (gKernel.version != 0 && number == 444)
        return CreateRuleset(reinterpret_cast<const void *>(arguments[0]),
                             static_cast<size_t>(arguments[1]));
    if (gKernel.version != 0 && number == 445)
        return AddRule(reinterpret_cast<const char *>(arguments[2]));
    // NOLINTEND(performance-no-int-to-ptr)
    if (gKernel.version != 0 && number == 446)
        return 0;
    return __real_syscall(number, arguments[0], arguments[1], arguments[2], arguments[3]);
}

class LoginConfined : public testing::Test
{
protected:
    void SetUp() override
    {
        for (const char *directory : {"/zor", "/zor/objmgr", "/sessions", "/other", "/trace"})
            ASSERT_EQ(mkdir((top_ + directory).c_str(), 0755), 0);
        for (const char *file : {"/zor/objmgr/store", "/sessions/77", "/other/secret"})
            std::ofstream(top_ + file) << "text";
    }

    // What `attempt` gives in a confined process, 0 to 255.
    int Confined(const std::function<int()> &attempt, const std::string &program = kProgram)
    {
        pid_t child = fork();
        if (child == 0) {
            std::string objmgr = top_ + "/zor/objmgr";
            std::string sessions = top_ + "/sessions";
            std::string trace = top_ + "/trace/file";
            LoginConfinement needs = {program.c_str(), objmgr.c_str(), sessions.c_str(),
                                      trace.c_str()};
            LoginConfine(&needs);
            _exit(attempt());
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    // What `tell` says of the played kernel after a process has confined itself there.
    static std::string Asked(long version, const char *objmgr,
                             const std::function<std::string()> &tell)
    {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            gKernel.version = version;
            const LoginConfinement needs = {nullptr, objmgr, nullptr, nullptr};
            const std::string text = LoginConfine(&needs) ? tell() : "not confined";
            _exit(write(ends[1], text.data(), text.size()) < 0 ? 1 : 0);
        }
        close(ends[1]);
        char text[256] = "";
        EXPECT_GE(read(ends[0], text, sizeof text - 1), 0);
        close(ends[0]);
        waitpid(child, nullptr, 0);
        return text;
    }
    // The error of opening, 0 for none.
    int Opening(const std::string &name, int flags)
    {
        return Confined([&] { return open((top_ + name).c_str(), flags, 0600) < 0 ? errno : 0; });
    }

    const TestDirectory made_;
    const std::string top_ = made_.Path();
};

TEST_F(LoginConfined, PrivilegesAreTakenOnEveryKernel)
{
    EXPECT_EQ(Confined([] { return prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0); }), 1);
}

TEST_F(LoginConfined, WhatTheShellNeedsIsThere)
{
    EXPECT_EQ(Opening("/zor/objmgr/store", O_RDONLY), 0);
    EXPECT_EQ(Opening("/sessions/77", O_RDONLY), 0);
    EXPECT_EQ(Opening("/trace/file", O_WRONLY | O_APPEND | O_CREAT), 0);
    EXPECT_EQ(Opening("/trace/file", O_WRONLY | O_APPEND | O_CREAT), 0);
    const int nowhere = open("/dev/null", O_WRONLY);
    EXPECT_EQ(Confined([&] {
                  dup2(nowhere, STDOUT_FILENO);
                  return execl(kProgram, kProgram, "--version", nullptr) < 0 ? errno : 0;
              }),
              0);
    close(nowhere);
}

TEST_F(LoginConfined, DirectoryOfTheServiceMayBeMadeAnew)
{
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::string objmgr = top_ + "/zor/objmgr";
        LoginConfinement needs = {nullptr, objmgr.c_str(), nullptr, nullptr};
        LoginConfine(&needs);
        close(go[1]);
        char c;
        (void)!read(go[0], &c, 1);
        _exit(open((objmgr + "/store").c_str(), O_RDONLY) < 0 ? errno : 0);
    }
    close(go[0]);
    std::filesystem::rename(top_ + "/zor/objmgr", top_ + "/zor/old");
    ASSERT_EQ(mkdir((top_ + "/zor/objmgr").c_str(), 0755), 0);
    std::ofstream(top_ + "/zor/objmgr/store") << "text";
    close(go[1]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(LoginConfined, EverythingElseIsNot)
{
    if (Version() < 1)
        GTEST_SKIP() << "this kernel has no Landlock";
    EXPECT_EQ(Opening("/other/secret", O_RDONLY), EACCES);
    EXPECT_EQ(Opening("/other/new", O_WRONLY | O_CREAT), EACCES);
    EXPECT_EQ(Opening("/sessions/77", O_WRONLY), EACCES);
    EXPECT_EQ(Opening("/zor/objmgr/store", O_WRONLY), EACCES);
    EXPECT_EQ(Opening("/sessions/78", O_WRONLY | O_CREAT), EACCES);
    EXPECT_EQ(Opening("/other", O_RDONLY | O_DIRECTORY), EACCES);
    EXPECT_EQ(Confined([] { return open("/etc/passwd", O_RDONLY) < 0 ? errno : 0; }), EACCES);
    EXPECT_EQ(Confined([this] { return unlink((top_ + "/sessions/77").c_str()) ? errno : 0; }),
              EACCES);
    EXPECT_EQ(Confined([this] { return mkdir((top_ + "/other/new").c_str(), 0700) ? errno : 0; }),
              EACCES);
}

// Where the trace is there already nothing more is made beside it.
TEST_F(LoginConfined, OfTheTracesDirectoryOnlyWhatItNeeds)
{
    if (Version() < 1)
        GTEST_SKIP() << "this kernel has no Landlock";
    EXPECT_EQ(Opening("/trace/other", O_WRONLY | O_CREAT), 0);
    EXPECT_EQ(Opening("/trace/other", O_RDONLY), EACCES);
    std::ofstream(top_ + "/trace/file") << "text";
    EXPECT_EQ(Opening("/trace/file", O_WRONLY | O_APPEND), 0);
    EXPECT_EQ(Opening("/trace/file", O_RDONLY), EACCES);
    EXPECT_EQ(Opening("/trace/other", O_WRONLY), EACCES);
    EXPECT_EQ(Opening("/trace/more", O_WRONLY | O_CREAT), EACCES);
}

TEST_F(LoginConfined, NoOtherProgramStarts)
{
    if (Version() < 1)
        GTEST_SKIP() << "this kernel has no Landlock";
    EXPECT_EQ(Confined([] { return execl("/bin/sh", "sh", "-c", ":", nullptr) < 0 ? errno : 0; }),
              EACCES);
}

static int ConnectTcp()
{
    int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(1);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return connect(descriptor, reinterpret_cast<sockaddr *>(&to), sizeof(to)) < 0 ? errno : 0;
}

TEST_F(LoginConfined, NoTcpFromVersionFourOn)
{
    if (Version() < 4)
        GTEST_SKIP() << "this kernel's Landlock knows no network";
    EXPECT_EQ(ConnectTcp(), ECONNREFUSED);
    EXPECT_EQ(Confined(ConnectTcp), EACCES);
}

TEST_F(LoginConfined, NoSignalsToOthersFromVersionSixOn)
{
    if (Version() < 6)
        GTEST_SKIP() << "this kernel's Landlock knows no signals";
    EXPECT_EQ(Confined([] { return kill(getppid(), 0) < 0 ? errno : 0; }), EPERM);
    EXPECT_EQ(Confined([] { return kill(getpid(), 0) < 0 ? errno : 0; }), 0);
}

TEST_F(LoginConfined, SocketInTheFileSystemCanBeReached)
{
    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    std::string path = top_ + "/zor/objmgr/socket";
    ASSERT_LT(path.size(), sizeof(name.sun_path));
    memcpy(name.sun_path, path.c_str(), path.size() + 1);
    int server = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(server, reinterpret_cast<sockaddr *>(&name), sizeof(name)), 0);
    ASSERT_EQ(listen(server, 1), 0);
    EXPECT_EQ(Confined([&] {
                  int client = socket(AF_UNIX, SOCK_SEQPACKET, 0);
                  return connect(client, reinterpret_cast<sockaddr *>(&name), sizeof(name)) < 0
                             ? errno
                             : 0;
              }),
              0);
    close(server);
}

// A kernel refuses what it does not know, and does not look at what it was not asked to.
TEST_F(LoginConfined, EachVersionIsAskedForAllThatItKnows)
{
    const auto tell = [] {
        char text[128];
        snprintf(text, sizeof text, "%zu bytes: %llx %llx %llx", gKernel.rulesetSize,
                 static_cast<unsigned long long>(gKernel.ruleset[0]),
                 static_cast<unsigned long long>(gKernel.ruleset[1]),
                 static_cast<unsigned long long>(gKernel.ruleset[2]));
        return std::string(text);
    };
    EXPECT_EQ(Asked(-1, "/a/b", tell), "not confined");
    EXPECT_EQ(Asked(1, "/a/b", tell), "8 bytes: 1fff 0 0");
    EXPECT_EQ(Asked(2, "/a/b", tell), "8 bytes: 3fff 0 0");
    EXPECT_EQ(Asked(3, "/a/b", tell), "8 bytes: 7fff 0 0");
    EXPECT_EQ(Asked(4, "/a/b", tell), "16 bytes: 7fff 3 0");
    EXPECT_EQ(Asked(5, "/a/b", tell), "16 bytes: ffff 3 0");
    EXPECT_EQ(Asked(6, "/a/b", tell), "24 bytes: ffff 3 3");
    EXPECT_EQ(Asked(7, "/a/b", tell), "24 bytes: ffff 3 3");
}

// It may be made anew, so what it stands in is looked through, without anything else.
TEST_F(LoginConfined, WhatTheServicesDirectoryStandsInIsRead)
{
    const auto tell = [] { return gKernel.path + " " + std::to_string(gKernel.allowed); };
    const std::string beside = top_ + "/zor 12";  // reading files and directories
    EXPECT_EQ(Asked(1, (top_ + "/zor/objmgr").c_str(), tell), beside);
    EXPECT_EQ(Asked(1, (top_ + "/zor/objmgr/").c_str(), tell), beside);
    EXPECT_EQ(Asked(1, (top_ + "/zor//objmgr//").c_str(), tell), beside);
    EXPECT_EQ(Asked(1, (top_ + "/zor/x").c_str(), tell), beside);
    const int descriptor = open("/", O_PATH);  // an emulator has another directory there
    const std::string root = PathOf(descriptor) + " 12";
    close(descriptor);
    EXPECT_EQ(Asked(1, "/x", tell), root);
    EXPECT_EQ(Asked(1, "//x", tell), root);
    EXPECT_EQ(Asked(1, "/", tell), root);
    const std::string here = std::filesystem::current_path().string() + " 12";
    EXPECT_EQ(Asked(1, "x", tell), here);
    EXPECT_EQ(Asked(1, "x/", tell), here);
}
