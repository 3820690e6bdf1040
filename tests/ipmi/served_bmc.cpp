// SPDX-License-Identifier: Apache-2.0
// served_bmc.cpp -- objmgrd-ipmi serving a simulated BMC, and shells on it.
#include "ipmi/served_bmc.h"

#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

const char kNoBmcText[] =
    "========================================================================\n"
    "ERROR: The ZOR is unable to communicate with the BMC. This could be due\n"
    "to an issue with missing or non-operational IPMI drivers or a BMC that\n"
    "is no longer responding on your system.\n"
    "========================================================================\n";

namespace
{

// A terminal that keeps what is written to it, and its other side.
int OpenTerminal(std::string *otherSide)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal == -1 || grantpt(terminal) != 0 || unlockpt(terminal) != 0)
        abort();
    *otherSide = ptsname(terminal);
    return terminal;
}

long StatusKb(pid_t pid, const std::string &key)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, key.size(), key) == 0)
            return atol(line.c_str() + key.size());
    }
    return -1;
}

std::string SettingsText(const IpmiSim &bmc, const ServiceSettings &settings,
                         const std::string &passwordFile, const std::string &cache)
{
    return "[bmc]\ndriver = \"lan\"\nhost = \"" + bmc.Host() +
           "\"\nport = " + std::to_string(settings.port == 0 ? bmc.Port() : settings.port) +
           "\nuser = \"" + settings.user.name + "\"\npassword_file = \"" + passwordFile +
           "\"\nprivilege = \"" + settings.privilege +
           "\"\ncipher_suite = " + std::to_string(settings.cipherSuite) + "\ncache_directory = \"" +
           cache + "\"\n[poll]\n" + settings.poll + "[timeouts]\n" + settings.timeouts;
}

}  // namespace

IpmiService::IpmiService(const IpmiSim &bmc, const ServiceSettings &settings)
{
    const std::string password = directory_ + "/password";
    const std::string config = directory_ + "/bmc.toml";
    if (!WriteFile(password,
                   (settings.password.empty() ? settings.user.password : settings.password) +
                       std::string("\n"),
                   0600) ||
        !WriteFile(config, SettingsText(bmc, settings, password, directory_ + "/cache"), 0600))
        abort();
    mkdir((directory_ + "/objmgr").c_str(), 0700);
    mkdir((directory_ + "/sessions").c_str(), 0700);

    std::string otherSide;
    terminal_ = OpenTerminal(&otherSide);
    fflush(stdout);
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setpgid(0, 0);
        const int error = open(otherSide.c_str(), O_RDWR | O_NOCTTY);
        dup2(error, STDERR_FILENO);
        setenv("ZORSSNDIR", (directory_ + "/sessions").c_str(), 1);
        execl(OBJMGRD_IPMI, OBJMGRD_IPMI, "--config", config.c_str(), "--dir",
              (directory_ + "/objmgr").c_str(), nullptr);
        _exit(127);
    }
}

IpmiService::~IpmiService()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    if (testing::Test::HasFailure())
        fprintf(stderr, "objmgrd-ipmi said:\n%s\n", Log().c_str());
    close(terminal_);
}

std::string IpmiService::Log()
{
    pollfd wait = {terminal_, POLLIN, 0};
    char part[4096];
    while (poll(&wait, 1, 0) == 1 && (wait.revents & POLLIN) != 0) {
        const ssize_t count = read(terminal_, part, sizeof part);
        if (count <= 0)
            break;
        log_.append(part, static_cast<size_t>(count));
    }
    return log_;
}

bool IpmiService::Lives()
{
    if (pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == pid_)
        pid_ = -1;
    return pid_ > 0;
}

int IpmiService::Terminate()
{
    if (pid_ <= 0)
        return -1;  // kill(-1) would reach every process that there is
    int status = 0;
    kill(pid_, SIGTERM);
    const bool ended = WaitUntil([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }, 10'000);
    if (!ended)
        return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

long IpmiService::ResidentKb() const
{
    return StatusKb(pid_, "VmRSS:");
}

long IpmiService::AnonymousKb() const
{
    return StatusKb(pid_, "RssAnon:");
}

Shown ParseShown(const std::string &text)
{
    Shown shown;
    std::string target;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        if (line.size() > 1 && line[0] == '/' && line.back() == ':') {
            target = line.substr(0, line.size() - 1);
            shown[target];
            continue;
        }
        const size_t equals = line.find("  = ");
        const size_t padded = equals == std::string::npos ? line.find(" = ") : equals + 1;
        if (line.compare(0, 4, "    ") != 0 || padded == std::string::npos)
            continue;
        std::string name = line.substr(4, padded - 4);
        name.erase(name.find_last_not_of(' ') + 1);
        shown[target][name] = line.substr(padded + 3);
    }
    return shown;
}

ServedBmc::~ServedBmc() = default;

void ServedBmc::SetUp()
{
    ASSERT_EQ(bmc.Start(), "");
    tools = std::make_unique<IpmiTools>(bmc.Host(), bmc.Port(), kSimAdmin, bmc.Directory());
}

void ServedBmc::PutRelay()
{
    relay = std::make_unique<IpmiRelay>(bmc.Host(), bmc.Port());
    ASSERT_NE(relay->Port(), 0);
}

void ServedBmc::ServeUnready(ServiceSettings settings)
{
    if (relay != nullptr && settings.port == 0)
        settings.port = relay->Port();
    service = std::make_unique<IpmiService>(bmc, settings);
}

void ServedBmc::Serve(ServiceSettings settings)
{
    ServeUnready(std::move(settings));
    ASSERT_TRUE(WaitUntil([&] { return HasEverything() || !service->Lives(); }));
    ASSERT_TRUE(service->Lives());
}

ProgramEnd ServedBmc::Shell(const std::string &line, const std::string &privilege) const
{
    return RunProgram({"/usr/bin/env", "ZOROBJMGR=" + service->Directory() + "/objmgr",
                       "ZORSSNDIR=" + service->Directory() + "/sessions", "ZORTRACE=/dev/null",
                       SMCLP_LOGIN, "--privilege", privilege, "-c", line});
}

bool ServedBmc::IsReady() const
{
    return Out("version") == "version 1.0\n";
}

bool ServedBmc::HasEverything() const
{
    // The last of each: the system's name, the log, the supplies, the sensors.
    return Property("/system1", "Name") != "" &&
           Property("/system1/logs1/log1", "CurrentNumberOfRecords") != "" &&
           Property("/system1/powersupplies1/pwrsupply2", "TotalOutputPower") != "" &&
           Property("/system1/powermonitor1/numericsensor2", "CurrentReading") != "";
}

Shown ServedBmc::Show(const std::string &target) const
{
    return ParseShown(Out("show -level all -display properties " + target));
}

std::string ServedBmc::Property(const std::string &target, const std::string &name) const
{
    const Shown shown = ParseShown(Out("show -display properties " + target));
    const auto found = shown.find(target);
    if (found == shown.end())
        return "";
    const auto property = found->second.find(name);
    return property == found->second.end() ? "" : property->second;
}

std::string ServedBmc::Ipmitool(const std::vector<std::string> &arguments) const
{
    const ProgramEnd end = RunProgram(tools->Ipmitool(arguments));
    EXPECT_EQ(end.status, 0) << end.err;
    return end.out;
}

std::string ServedBmc::Freeipmi(const std::string &program,
                                const std::vector<std::string> &arguments) const
{
    const ProgramEnd end = RunProgram(tools->Freeipmi(program, arguments));
    EXPECT_EQ(end.status, 0) << end.err;
    return end.out;
}

bool ServedBmc::ToolSaysOn() const
{
    return Ipmitool({"power", "status"}) == "Chassis Power is on\n";
}

// Get Session Info of no session in particular: its handle, how many there can be and are.
u32 ServedBmc::SessionsOfTheBmc() const
{
    u32 session = 0;
    u32 most = 0;
    u32 active = ~0u;
    const std::string answer = Ipmitool({"raw", "0x06", "0x3d", "0x00"});
    sscanf(answer.c_str(), "%x %x %x", &session, &most, &active);
    return active;
}
