// SPDX-License-Identifier: Apache-2.0
// ipmi_loss.cpp -- power commands and readings on networks that lose packets or double them.
//
//   bench_ipmi_loss OBJMGRD-IPMI SMCLP [COMMANDS [LANES]]
//
// For each network, COMMANDS (default 300) power commands of shells, shared between LANES (default
// 3) machines side by side, each with a simulated BMC (OpenIPMI's ipmi_sim), a relay and a service
// of its own. Before that, what the network costs a first reading of everything, on a service that
// starts without stored records. What each command did is told by what the BMC did to its host and
// by what the relay passed on, never by the service. Columns:
//
//   said done   the shell says that it was done
//   request     failed: the request was lost (of an on or off each time that it was sent), and the
//               BMC did nothing
//   reply       failed: the BMC did it, and its one reply was lost (a reset: nobody can know)
//   other       failed, though request and reply went through, or nothing was sent: a fault
//   wrong       said to be done and was not, or done more than once, or a reset that was sent more
//               than once, or failed though the power state was to be had: a fault
//   void        the service took the BMC for lost: a fault
//   longest     of all commands, in seconds
//   pause       the longest between two readings of sensors, in seconds
//   first       the first reading of everything, in seconds: median and longest
//
// Exit status 1 where there was a fault.
#include "bmc_service.h"

#include "ipmi/ipmi_relay.h"
#include "ipmi/ipmi_sim.h"
#include "support/clock.h"

#include <algorithm>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr u32 kFirstReadings = 3;  // of each lane
constexpr u32 kFirstLimitMs = 60'000;

struct Programs {
    const char *service;
    const char *shell;
};

struct Network {
    const char *name;
    RelayFaults faults;
};

constexpr Network kNetworks[] = {
    {"no loss", {}},
    {"1 % lost each way", {.lossPercent = 1}},
    {"2 % lost each way", {.lossPercent = 2}},
    {"5 % lost each way", {.lossPercent = 5}},
    {"1 % doubled", {.repeatPercent = 1}},
    {"5 % doubled", {.repeatPercent = 5}},
    {"30 % doubled", {.repeatPercent = 30}},
    {"5 % lost, 20 ms a reply", {.lossPercent = 5, .delayMs = 20}},
};

struct Result {
    u32 commands = 0;
    u32 done = 0;
    u32 requestLost = 0;
    u32 replyLost = 0;
    u32 other = 0;
    u32 wrong = 0;
    u32 voids = 0;
    u32 longestMs = 0;
    u32 pauseMs = 0;
    u32 firstMs[kFirstReadings] = {};
};

[[noreturn]] void Fail(const std::string &what)
{
    fprintf(stderr, "bench_ipmi_loss: %s\n", what.c_str());
    exit(2);
}

// What a service says, which goes where a terminal would be.
class ServiceLog
{
public:
    ServiceLog()
    {
        terminal_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
        if (terminal_ == -1 || grantpt(terminal_) != 0 || unlockpt(terminal_) != 0)
            Fail("no terminal");
        other_ = open(ptsname(terminal_), O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (other_ == -1)
            Fail("no terminal");
    }
    ~ServiceLog()
    {
        close(other_);
        close(terminal_);
    }
    ServiceLog(const ServiceLog &) = delete;
    ServiceLog &operator=(const ServiceLog &) = delete;

    int Fd() const { return other_; }
    const std::string &Text()
    {
        char part[4096];
        for (ssize_t got; (got = read(terminal_, part, sizeof part)) > 0;)
            text_.append(part, static_cast<size_t>(got));
        return text_;
    }

private:
    int terminal_;
    int other_;
    std::string text_;
};

// The default settings, but for encryption, which would hide from the relay which command a packet
// is, and for stored records.
BmcServiceOptions OptionsFor(const ServiceLog &log)
{
    return {.privilege = "1ff",
            .settings = "cipher_suite = 2\ncache_directory = \"\"\n",
            .errors = log.Fd()};
}

std::string Shell(const Programs &programs, const char *line)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        Fail("no pipe");
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(open("/dev/null", O_RDWR), STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        execl(programs.shell, programs.shell, line, nullptr);
        _exit(127);
    }
    close(ends[1]);
    std::string all;
    char part[4096];
    for (ssize_t got; (got = read(ends[0], part, sizeof part)) > 0;)
        all.append(part, static_cast<size_t>(got));
    close(ends[0]);
    waitpid(pid, nullptr, 0);
    return all;
}

struct CommandRow {
    const char *line;
    const char *done;
    const char *action;  // of the BMC
    bool needsOn;
    bool changesState;
};

constexpr CommandRow kCommands[] = {
    {"reset /system1", "system was reset successfully.\n", "reset 1\n", true, false},
    {"stop /system1", "system was stopped successfully.\n", "power 0\n", true, true},
    {"start /system1", "system was started successfully.\n", "power 1\n", false, true},
};

// The sensors are served all at once, when every one was read.
u32 FirstReadingMs(const Programs &programs, const IpmiSim &bmc, u16 port)
{
    const i64 start = NowMs();
    ServiceLog log;
    const BmcService service(programs.service, bmc.Host(), port, OptionsFor(log));
    while (Shell(programs, "show -display properties=(elementname) "
                           "/system1/temperatures1/tempsensor1")
               .find("elementname") == std::string::npos) {
        if (NowMs() - start > kFirstLimitMs)
            Fail("the service does not serve the BMC: " + log.Text());
        SleepMs(2);
    }
    return static_cast<u32>(NowMs() - start);
}

void RunCommand(const Programs &programs, IpmiSim &bmc, const IpmiRelay &relay,
                const CommandRow &row, ServiceLog *log, Result *result)
{
    bmc.ForgetActions();
    const u64 requests = relay.Requests(kIpmiChassisControl);
    const u64 replies = relay.Delivered(kIpmiChassisControl);
    const i64 start = NowMs();
    const std::string said = Shell(programs, row.line);
    result->longestMs = std::max(result->longestMs, static_cast<u32>(NowMs() - start));
    ++result->commands;
    const u64 sent = relay.Requests(kIpmiChassisControl) - requests;
    const u64 answered = relay.Delivered(kIpmiChassisControl) - replies;
    const std::string did = bmc.Actions();
    const bool once = did == row.action;
    const bool done = said == row.done;
    result->done += done;
    const bool wrong = (done && !once) || (!done && once && row.changesState) ||
                       (!once && !did.empty()) || (sent > 1 && !row.changesState);
    if (wrong)
        ++result->wrong;
    else if (!done && sent != 0 && answered == 0)
        ++(once ? result->replyLost : result->requestLost);
    else if (!done)
        ++result->other;
    if (wrong || (!done && !(sent != 0 && answered == 0)))
        fprintf(stderr, "%s: said %s, did %s, sent %lu, answered %lu\n%s\n", row.line, said.c_str(),
                did.c_str(), sent, answered, log->Text().c_str());
}

Result RunLane(const Programs &programs, const Network &network, u32 commands, u32 lane)
{
    Result result;
    IpmiSim bmc;
    const std::string error = bmc.Start();
    if (!error.empty())
        Fail(error);
    IpmiRelay relay(bmc.Host(), bmc.Port());
    RelayFaults faults = network.faults;
    faults.seed = 1 + lane;
    relay.Set(faults);
    for (u32 &ms : result.firstMs)
        ms = FirstReadingMs(programs, bmc, relay.Port());
    ServiceLog log;
    const BmcService service(programs.service, bmc.Host(), relay.Port(), OptionsFor(log));
    while (Shell(programs, "show -display properties=(name) /system1").find("QX7R2M1") ==
           std::string::npos)
        SleepMs(20);
    relay.ForgetCounts();
    bool reset = false;
    while (result.commands < commands) {
        const bool on = bmc.PowerIsOn();
        reset = on ? !reset : reset;
        const CommandRow &row = !on ? kCommands[2] : kCommands[reset ? 0 : 1];
        RunCommand(programs, bmc, relay, row, &log, &result);
    }
    result.pauseMs = relay.LongestPauseMs(kIpmiSensorReading);
    result.voids = static_cast<u32>(CountOf(log.Text(), "cannot be read"));
    if (result.voids != 0)
        fprintf(stderr, "%s\n", log.Text().c_str());
    return result;
}

bool PrintRow(const Network &network, const std::vector<Result> &lanes)
{
    Result all;
    std::vector<u32> first;
    for (const Result &lane : lanes) {
        all.commands += lane.commands;
        all.done += lane.done;
        all.requestLost += lane.requestLost;
        all.replyLost += lane.replyLost;
        all.other += lane.other;
        all.wrong += lane.wrong;
        all.voids += lane.voids;
        all.longestMs = std::max(all.longestMs, lane.longestMs);
        all.pauseMs = std::max(all.pauseMs, lane.pauseMs);
        first.insert(first.end(), std::begin(lane.firstMs), std::end(lane.firstMs));
    }
    std::sort(first.begin(), first.end());
    printf("  %-24s %8u %9u %8u %6u %6u %6u %5u %8.1f %6.1f %7.2f %6.2f\n", network.name,
           all.commands, all.done, all.requestLost, all.replyLost, all.other, all.wrong, all.voids,
           all.longestMs / 1e3, all.pauseMs / 1e3, first[first.size() / 2] / 1e3,
           first.back() / 1e3);
    fflush(stdout);
    return all.other + all.wrong + all.voids == 0;
}

bool RunNetwork(const Programs &programs, const Network &network, u32 commands, u32 lanes)
{
    std::vector<int> outputs;
    std::vector<pid_t> pids;
    for (u32 lane = 0; lane < lanes; ++lane) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            Fail("no pipe");
        fflush(stdout);
        const pid_t pid = fork();
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const Result result = RunLane(programs, network, (commands + lane) / lanes, lane);
            (void)!write(ends[1], &result, sizeof result);
            _exit(0);
        }
        close(ends[1]);
        outputs.push_back(ends[0]);
        pids.push_back(pid);
    }
    std::vector<Result> results(lanes);
    for (u32 lane = 0; lane < lanes; ++lane) {
        const ssize_t got = read(outputs[lane], &results[lane], sizeof results[lane]);
        close(outputs[lane]);
        waitpid(pids[lane], nullptr, 0);
        if (got != sizeof results[lane])
            Fail("a lane has failed");
    }
    return PrintRow(network, results);
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 3 || argc > 6) {
        fprintf(stderr, "usage: bench_ipmi_loss OBJMGRD-IPMI SMCLP [COMMANDS [LANES [NETWORK]]]\n");
        return 2;
    }
    const Programs programs = {argv[1], argv[2]};
    const u32 commands = argc > 3 ? static_cast<u32>(atoi(argv[3])) : 300;
    const u32 lanes = static_cast<u32>(std::max(argc > 4 ? atoi(argv[4]) : 3, 1));
    printf("  %-24s %8s %9s %8s %6s %6s %6s %5s %8s %6s %7s %6s\n", "", "commands", "said done",
           "request", "reply", "other", "wrong", "void", "longest", "pause", "first", "most");
    bool right = true;
    for (const Network &network : kNetworks) {
        if (argc <= 5 || strstr(network.name, argv[5]) != nullptr)
            right = RunNetwork(programs, network, commands, lanes) && right;
    }
    return right ? 0 : 1;
}
