// SPDX-License-Identifier: Apache-2.0
// login_server.cpp -- login servers for tests.
#include "support/login_server.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "support/clock.h"
#include "support/program.h"
#include "support/test_files.h"

namespace
{

constexpr int kStepMs = 20;
constexpr i64 kGoneMs = 2'000;  // from what ends a session until nothing of it is left
// Turns that processes have until then: client, server, its child, smclp-login, shell, keeper.
constexpr i64 kTurns = 6;
#ifdef ZOR_SANITIZED
constexpr i64 kSlowness = 3;
#else
constexpr i64 kSlowness = 1;
#endif

// Gives programs a user database of their own (Debian: libnss-wrapper).
constexpr const char *kWrappers[] = {"/usr/lib/x86_64-linux-gnu/libnss_wrapper.so",
                                     "/usr/lib/aarch64-linux-gnu/libnss_wrapper.so",
                                     "/usr/lib/libnss_wrapper.so"};

std::string Wrapper()
{
    for (const char *path : kWrappers)
        if (access(path, R_OK) == 0)
            return path;
    return "";
}

std::vector<pid_t> Processes()
{
    std::vector<pid_t> found;
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        const int pid = atoi(entry.path().filename().c_str());
        if (pid > 1)
            found.push_back(pid);
    }
    return found;
}

// The fourth field of stat, behind the name in brackets; 0 when the process is gone.
pid_t ParentOf(pid_t pid)
{
    const std::string text = ReadFile("/proc/" + std::to_string(pid) + "/stat");
    const size_t after = text.rfind(')');
    return after == std::string::npos ? 0 : atoi(text.c_str() + after + 4);
}

bool IsZombie(pid_t pid)
{
    const std::string text = ReadFile("/proc/" + std::to_string(pid) + "/stat");
    const size_t after = text.rfind(')');
    return after == std::string::npos || text[after + 2] == 'Z';
}

int FreePort()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(fd, reinterpret_cast<sockaddr *>(&address), size) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        abort();
    close(fd);
    return ntohs(address.sin_port);
}

bool Listens(int port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool connected = connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    close(fd);
    return connected;
}

pid_t Start(const std::vector<std::string> &words, const std::string &log)
{
    const pid_t pid = fork();
    if (pid != 0)
        return pid;
    const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(open("/dev/null", O_RDONLY), 0);
    dup2(fd, 1);
    dup2(fd, 2);
    for (int other = 3; other < 256; ++other)
        close(other);
    setsid();
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that is killed leaves no server behind
    std::vector<char *> argv;
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
}

void End(pid_t pid)
{
    if (pid <= 0)
        return;
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

}  // namespace

LoginMachine::LoginMachine(LoginWay way, const std::string &options) : way_(way)
{
    std::string name = testing::TempDir() + "loginXXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        abort();
    top_ = name;
    command_ = SMCLP_LOGIN + (options.empty() ? "" : " " + options);
    const std::string shell = way == LoginWay::Forced ? "/bin/sh" : SMCLP_LOGIN;
    const std::string id = std::to_string(getuid()) + ":" + std::to_string(getgid());
    mkdir((top_ + "/.ssh").c_str(), 0700);
    Write("passwd", "operator:x:" + id + "::" + top_ + ":" + shell + "\nsshd:x:65533:65533::/:/\n",
          0600);
    Write("group", "operator:x:" + std::to_string(getgid()) + ":\n", 0600);
    service_ =
        Start({OBJMGRD_SIM, "--host", EXAMPLE_HOSTS "/rack-server.toml", "--dir", top_ + "/objmgr"},
              top_ + "/service.log");
    setenv("ZOROBJMGR", (top_ + "/objmgr").c_str(), 1);
    setenv("ZORSSNDIR", Sessions().c_str(), 1);
    WaitUntil([&] { return RunProgram({SMCLP_LOGIN, "-c", "version"}).status == 0; });
}

LoginMachine::~LoginMachine()
{
    End(server_);
    for (const pid_t pid : SessionProcesses())
        kill(pid, SIGKILL);
    End(service_);
    if (testing::Test::HasFailure())
        fprintf(stderr, "%s%s", ReadFile(top_ + "/server.log").c_str(),
                ReadFile(top_ + "/service.log").c_str());
    std::error_code ignored;
    std::filesystem::remove_all(top_, ignored);
}

std::string LoginMachine::Write(const std::string &name, const std::string &text, mode_t mode) const
{
    const std::string path = top_ + "/" + name;
    std::ofstream(path) << text;
    chmod(path.c_str(), mode);
    return path;
}

std::vector<std::string> LoginMachine::Wrapped(const std::vector<std::string> &words) const
{
    std::vector<std::string> whole = {"/usr/bin/env", "LD_PRELOAD=" + Wrapper(),
                                      "NSS_WRAPPER_PASSWD=" + top_ + "/passwd",
                                      "NSS_WRAPPER_GROUP=" + top_ + "/group"};
    whole.insert(whole.end(), words.begin(), words.end());
    return whole;
}

std::string LoginMachine::StartServer(const std::vector<std::string> &words)
{
    server_ = Start(Wrapped(words), top_ + "/server.log");
    if (!WaitUntil([&] { return Listens(port_); }))
        return "the server does not listen: " + ReadFile(top_ + "/server.log");
    return "";
}

std::string LoginMachine::StartSshd(const std::string &more)
{
    if (Wrapper().empty() || access("/usr/sbin/sshd", X_OK) != 0)
        return "needs sshd and libnss-wrapper";
    if (getuid() == 0)
        mkdir("/run/sshd", 0755);  // it will not start without
    RunProgram({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", top_ + "/key"});
    RunProgram({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", top_ + "/host_key"});
    std::filesystem::copy_file(top_ + "/key.pub", top_ + "/.ssh/authorized_keys");
    port_ = FreePort();
    // sshd serves internal-sftp itself, without the user's shell: only a forced command keeps that
    // from its clients.
    const std::string sftp =
        way_ == LoginWay::Shell ? "/usr/lib/openssh/sftp-server" : "internal-sftp";
    const std::string config =
        Write("sshd_config",
              "ListenAddress 127.0.0.1\nPort " + std::to_string(port_) + "\nHostKey " + top_ +
                  "/host_key\nPidFile none\nUsePAM no\nStrictModes no\nPasswordAuthentication no\n"
                  "PermitRootLogin yes\nMaxStartups 200\nPrintMotd no\nPrintLastLog no\n"
                  "Subsystem sftp " +
                  sftp +
                  "\nSubsystem smclp " SMCLP_LOGIN "\n"
                  "SetEnv ZORSSNDIR=" +
                  Sessions() + " ZOROBJMGR=" + top_ + "/objmgr\n" +
                  (way_ == LoginWay::Shell ? "" : "ForceCommand " + command_ + "\n") + more,
              0600);
    return StartServer({"/usr/sbin/sshd", "-D", "-e", "-f", config});
}

std::string LoginMachine::StartDropbear()
{
    if (Wrapper().empty() || access("/usr/sbin/dropbear", X_OK) != 0 ||
        access("/usr/bin/ssh-keygen", X_OK) != 0)
        return "needs dropbear, ssh and libnss-wrapper";
    RunProgram({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", top_ + "/key"});
    RunProgram({"dropbearkey", "-t", "ed25519", "-f", top_ + "/host_key"});
    std::filesystem::copy_file(top_ + "/key.pub", top_ + "/.ssh/authorized_keys");
    chmod((top_ + "/.ssh/authorized_keys").c_str(), 0600);
    port_ = FreePort();
    return StartServer(
        {"/usr/sbin/dropbear", "-F", "-E", "-s", "-p", "127.0.0.1:" + std::to_string(port_), "-r",
         top_ + "/host_key", "-P", top_ + "/dropbear.pid", "-c",
         "ZORSSNDIR=" + Sessions() + " ZOROBJMGR=" + top_ + "/objmgr exec " + command_});
}

std::string LoginMachine::Agetty(std::vector<std::string> *words) const
{
    if (Wrapper().empty() || access("/sbin/agetty", X_OK) != 0 || access("/bin/login", X_OK) != 0)
        return "needs agetty, login and libnss-wrapper";
    if (getuid() != 0)
        return "only root lets users in at a serial line";
    // login(1) asks the system's own shadow file, where there is no operator.
    Write("passwd", "root:x:0:0::" + top_ + ":" + SMCLP_LOGIN + "\n", 0600);
    *words = Wrapped({"/sbin/agetty", "--noclear", "--noissue", "--autologin", "root",
                      "--login-options", "-p -f \\u", "-", "115200", "vt100"});
    return "";
}

std::vector<std::string> LoginMachine::Ssh(const std::vector<std::string> &options,
                                           const std::vector<std::string> &command) const
{
    std::vector<std::string> words = {"ssh",  "-F",
                                      "none", "-q",
                                      "-i",   top_ + "/key",
                                      "-o",   "IdentitiesOnly=yes",
                                      "-o",   "StrictHostKeyChecking=no",
                                      "-o",   "UserKnownHostsFile=/dev/null",
                                      "-p",   std::to_string(port_)};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back("operator@127.0.0.1");
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

std::vector<std::string> LoginMachine::Scp(const std::string &from, const std::string &to) const
{
    return {"scp",  "-F",
            "none", "-q",
            "-i",   top_ + "/key",
            "-o",   "IdentitiesOnly=yes",
            "-o",   "StrictHostKeyChecking=no",
            "-o",   "UserKnownHostsFile=/dev/null",
            "-P",   std::to_string(port_),
            from,   "operator@127.0.0.1:" + to};
}

// Told by the registry in their environment, which nothing else is started with.
std::vector<pid_t> LoginMachine::SessionProcesses(const std::string &program) const
{
    const std::string mark = "ZORSSNDIR=" + Sessions();
    std::vector<pid_t> found;
    for (const pid_t pid : Processes()) {
        const std::string directory = "/proc/" + std::to_string(pid);
        if (pid == getpid() || ReadFile(directory + "/environ").find(mark) == std::string::npos)
            continue;
        std::error_code error;
        const std::string path = std::filesystem::read_symlink(directory + "/exe", error);
        const std::string name = path.substr(path.rfind('/') + 1);
        const bool isOurs = name == "smclp-login" || name == "smclp";
        if (isOurs && (program.empty() || program == name) && !IsZombie(pid))
            found.push_back(pid);
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<pid_t> LoginMachine::ServerChildren() const
{
    std::vector<pid_t> found;
    for (const pid_t pid : Processes())
        if (ParentOf(pid) == server_)
            found.push_back(pid);
    return found;
}

bool LoginMachine::AwaitShells(size_t count) const
{
    return WaitUntil([&] { return SessionProcesses("smclp").size() == count; });
}

testing::AssertionResult LoginMachine::AllGone(int afterMs) const
{
    const i64 begin = NowMs();
    i64 held = 0;  // how long this process waited for its turns
    std::error_code error;
    const auto gone = [&] {
        return SessionProcesses().empty() && std::filesystem::is_empty(Sessions(), error);
    };
    while (!gone() && NowMs() < begin + afterMs + kPatienceMs) {
        const i64 before = NowMs();
        SleepMs(kStepMs);
        held += std::max<i64>(NowMs() - before - kStepMs, 0);
    }
    const i64 took = NowMs() - begin;
    if (!gone())
        return testing::AssertionFailure() << "something is left after " << took << " ms";
    const i64 allowed = afterMs + kGoneMs * kSlowness + kTurns * held;
    if (took > allowed)
        return testing::AssertionFailure() << "took " << took << " ms, not " << allowed;
    return testing::AssertionSuccess();
}
