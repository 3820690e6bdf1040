// SPDX-License-Identifier: Apache-2.0
// ipmi_sim.cpp -- a BMC of OpenIPMI's simulator.
#include "ipmi/ipmi_sim.h"

#include "support/clock.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <signal.h>
#include <sstream>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <utility>

namespace
{

constexpr i64 kStartLimitMs = 20'000;
constexpr i64 kCommandLimitMs = 10'000;
constexpr u16 kFirstPort = 20'000;
constexpr u16 kLastPort = 20'999;

// The repository's time is that of its compilation; a fixed one keeps clients' caches valid over
// a restart, as on a real BMC.
constexpr char kSdrTimeKey[] = "last_add_time:i:";
constexpr char kSdrTime[] = "1720722005";

// ipmi_sim waits for it at every chassis command, so nothing in it may take long.
constexpr char kChassisScript[] = R"sh(#!/bin/sh
# Started by the simulator: ADDRESS get|set PARAMETER [VALUE] ...
cd "${0%/*}" || exit 1
shift
# Empty while they are being written, and gone when the test has ended.
until read -r power <power; do [ -e power ] || exit 1; done
until read -r switch <switch; do [ -e switch ] || exit 1; done
action=$1
shift
if [ "$action" = get ]; then
    for parameter; do
        [ "$parameter" = power ] && echo "power:$power" || echo "$parameter:0"
    done
    exit 0
fi
[ "$switch" = refuses ] && exit 1
while [ $# -ge 2 ]; do
    [ "$1" = reset ] && [ "$power" = 0 ] && exit 1
    echo "$1 $2" >>actions
    if [ "$1" = power ]; then
        case $switch in
        works) echo "$2" >power ;;
        slow) { sleep 1; echo "$2" >power; } >/dev/null 2>&1 </dev/null & ;;
        long) { sleep 6; echo "$2" >power; } >/dev/null 2>&1 </dev/null & ;;
        esac
    fi
    shift 2
done
exit 0
)sh";

bool IsInstalled(const std::string &program)
{
    const char *path = getenv("PATH");
    std::istringstream directories(path == nullptr ? "" : path);
    for (std::string directory; std::getline(directories, directory, ':');) {
        if (access((directory + "/" + program).c_str(), X_OK) == 0)
            return true;
    }
    return false;
}

sockaddr_in AddressOf(const std::string &host, u16 port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    return address;
}

// Get Channel Authentication Capabilities, which a BMC answers without a session.
constexpr u8 kAreYouThere[] = {0x06, 0x00, 0xFF, 0x07, 0x00, 0x00, 0x00, 0x00,
                               0x00, 0x00, 0x00, 0x00, 0x00, 0x09, 0x20, 0x18,
                               0xC8, 0x81, 0x00, 0x38, 0x8E, 0x04, 0xB5};

bool BmcAnswers(const std::string &host, u16 port, int waitMs)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = AddressOf(host, port);
    bool answers = false;
    if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
        send(fd, kAreYouThere, sizeof kAreYouThere, 0) == sizeof kAreYouThere) {
        pollfd wait = {fd, POLLIN, 0};
        u8 reply[256];
        answers = poll(&wait, 1, waitMs) == 1 && recv(fd, reply, sizeof reply, 0) > 0;
    }
    close(fd);
    return answers;
}

}  // namespace

std::string LoopbackOfProcess()
{
    const u32 pid = static_cast<u32>(getpid());
    char text[32];
    snprintf(text, sizeof text, "127.%u.%u.%u", 1 + (pid >> 16 & 0x7F), pid >> 8 & 0xFF,
             pid & 0xFF);
    return text;
}

u16 FreeUdpPort(const std::string &host)
{
    // One after the other, so that a port is not given twice before its owner has bound it.
    static u16 next = kFirstPort;
    for (; next <= kLastPort; ++next) {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = AddressOf(host, next);
        const bool isFree =
            bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
        close(fd);
        if (isFree)
            return next++;
    }
    return 0;
}

IpmiSim::IpmiSim(SimMachine machine) : machine_(std::move(machine)) {}

IpmiSim::~IpmiSim()
{
    Kill();
}

std::string IpmiSim::Start()
{
    for (const char *program : {"ipmi_sim", "sdrcomp", "ipmitool", "ipmi-sensors"}) {
        if (!IsInstalled(program))
            return std::string(program) + " is missing: install the packages " + kIpmiPackages;
    }
    host_ = LoopbackOfProcess();
    port_ = FreeUdpPort(host_);
    if (port_ == 0)
        return "no free port at " + host_;
    std::string error = WriteInput();
    if (error.empty())
        error = Compile();
    return error.empty() ? Restart() : error;
}

std::string IpmiSim::WriteInput()
{
    std::string lan = "name \"bmc\"\nset_working_mc 0x20\nstartlan 1\n  addr " + host_ + " " +
                      std::to_string(port_) + "\n  priv_limit admin\n";
    for (const char *level : {"callback", "user", "operator", "admin"})
        lan += std::string("  allowed_auths_") + level + " none md2 md5 straight\n";
    lan += "  guid a123456789abcdefa123456789abcdef\nendlan\nchassis_control \"" + directory_ +
           "/chassis 0x20\"\n";
    int number = 2;  // user 1 is the one without a name
    for (const SimUser &user : {kSimAdmin, kSimOperator, kSimReader, kSimLongPassword})
        lan += "user " + std::to_string(number++) + " true \"" + user.name + "\" \"" +
               user.password + "\" " + user.level + " 20 none md2 md5 straight\n";

    std::error_code error;
    std::filesystem::create_directories(directory_ + "/state/ipmi_sim/bmc", error);
    bool written = WriteFile(directory_ + "/lan.conf", lan) &&
                   WriteFile(directory_ + "/chassis", kChassisScript, 0755) &&
                   WriteFile(directory_ + "/power", "1\n") &&
                   WriteFile(directory_ + "/switch", "works\n") &&
                   WriteFile(directory_ + "/actions", "") &&
                   WriteFile(directory_ + "/bmc.sdrs", SimSdrSource(machine_)) &&
                   WriteFile(directory_ + "/bmc.emu", SimEmulationCommands(machine_, directory_)) &&
                   WriteFile(directory_ + "/state/ipmi_sim/bmc/sel.20", SimLogFile(machine_.log));
    for (const SimFru &fru : machine_.frus)
        written = WriteFile(directory_ + "/fru" + std::to_string(fru.id), fru.bytes) && written;
    return written ? "" : "cannot write below " + directory_;
}

std::string IpmiSim::Compile()
{
    const std::string repository = directory_ + "/state/ipmi_sim/bmc/sdr.20.main";
    const std::string notes = directory_ + "/sdrcomp.out";
    const std::string command =
        "sdrcomp -8 -o '" + repository + "' '" + directory_ + "/bmc.sdrs' >'" + notes + "' 2>&1";
    if (system(command.c_str()) != 0 || !ReadFile(notes).empty())
        return "sdrcomp: " + ReadFile(notes);
    std::string text = ReadFile(repository);
    const size_t key = text.find(kSdrTimeKey);
    if (key == std::string::npos)
        return "the repository has no time";
    const size_t value = key + strlen(kSdrTimeKey);
    text.replace(value, text.find('\n', value) - value, kSdrTime);
    return WriteFile(repository, text) ? "" : "cannot write " + repository;
}

std::string IpmiSim::Launch()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return strerror(errno);
    const std::string log = directory_ + "/console";
    const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    fflush(stdout);
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[0], STDIN_FILENO);  // a console on a pipe; a plain file would end it
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        signal(SIGPIPE, SIG_IGN);  // it would die of a client that goes away
        if (chdir(directory_.c_str()) == 0)
            execlp("ipmi_sim", "ipmi_sim", "-c", "lan.conf", "-f", "bmc.emu", "-s", "state",
                   nullptr);
        _exit(127);
    }
    close(ends[0]);
    close(output);
    console_ = ends[1];
    return pid_ > 0 ? "" : strerror(errno);
}

std::string IpmiSim::WaitUntilItAnswers()
{
    const i64 deadline = NowMs() + kStartLimitMs;
    while (!BmcAnswers(host_, port_, 100)) {
        if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
            pid_ = -1;
            return "ipmi_sim ended: " + ReadFile(directory_ + "/console");
        }
        if (NowMs() > deadline)
            return "the BMC does not answer: " + ReadFile(directory_ + "/console");
        SleepMs(10);
    }
    // The file of commands is read up to the first that fails.
    const std::string console = ReadFile(directory_ + "/console");
    const size_t complaint = console.find("**");
    return complaint == std::string::npos ? "" : "ipmi_sim: " + console.substr(complaint);
}

std::string IpmiSim::Restart()
{
    Kill();
    const std::string error = Launch();
    return error.empty() ? WaitUntilItAnswers() : error;
}

void IpmiSim::Freeze()
{
    if (pid_ > 0 && kill(pid_, SIGSTOP) == 0)
        waitpid(pid_, nullptr, WUNTRACED);
}

void IpmiSim::Thaw()
{
    if (pid_ > 0)
        kill(pid_, SIGCONT);
}

void IpmiSim::Kill()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    pid_ = -1;
    if (console_ != -1)
        close(console_);
    console_ = -1;
}

std::string IpmiSim::Command(const std::string &line)
{
    const std::string path = directory_ + "/console";
    const size_t before = ReadFile(path).size();
    const std::string typed = line + "\n";
    if (write(console_, typed.data(), typed.size()) != static_cast<ssize_t>(typed.size()))
        return "no answer";
    for (const i64 deadline = NowMs() + kCommandLimitMs; NowMs() < deadline; SleepMs(2)) {
        // Notes about sessions may stand before and behind the echo.
        const std::string text = ReadFile(path).substr(before);
        const size_t echo = text.find(line);
        const size_t prompt = echo == std::string::npos ? echo : text.find("> ", echo);
        if (prompt == std::string::npos)
            continue;
        const size_t start = echo + line.size();
        std::string answer;
        for (const char c : text.substr(start, prompt - start)) {
            if (c != '\r')
                answer += c;
        }
        return answer == "\n" ? "" : answer;
    }
    return "no answer";
}

void IpmiSim::SetReading(const char *sensor, u8 raw, bool logEvent)
{
    char line[128];
    snprintf(line, sizeof line, "sensor_set_value 0x20 0 %d %d %d",
             SimSensorNamed(machine_, sensor).number, raw, logEvent);
    Command(line);
}

void IpmiSim::SetState(const char *sensor, int bit, bool on, bool logEvent)
{
    char line[128];
    snprintf(line, sizeof line, "sensor_set_bit 0x20 0 %d %d %d %d",
             SimSensorNamed(machine_, sensor).number, bit, on, logEvent);
    Command(line);
}

void IpmiSim::SetScanning(const char *sensor, bool scanning)
{
    const SimSensor &found = SimSensorNamed(machine_, sensor);
    const char *events = found.eventType == 1 ? "000111111111111" : "111111111111111";
    char line[256];
    snprintf(line, sizeof line,
             "sensor_set_event_support 0x20 0 %d enable %s per-state %s %s %s %s", found.number,
             scanning ? "scanning" : "no-scanning", events, events, events, events);
    Command(line);
}

void IpmiSim::AddLogEntry(u8 recordType, const std::array<u8, 13> &bytes)
{
    std::string line = "sel_add 0x20 " + std::to_string(recordType);
    for (const u8 byte : bytes)
        line += " " + std::to_string(byte);
    Command(line);
}

bool IpmiSim::PowerIsOn() const
{
    return ReadFile(directory_ + "/power") == "1\n";
}

void IpmiSim::PressPowerButton()
{
    WriteFile(directory_ + "/power", PowerIsOn() ? "0\n" : "1\n");
}

void IpmiSim::SetSwitch(SimSwitch behaviour)
{
    constexpr const char *kWords[] = {"works\n", "slow\n", "long\n", "stuck\n", "refuses\n"};
    WriteFile(directory_ + "/switch", kWords[static_cast<int>(behaviour)]);
}

std::string IpmiSim::Actions() const
{
    return ReadFile(directory_ + "/actions");
}

void IpmiSim::ForgetActions()
{
    WriteFile(directory_ + "/actions", "");
}
