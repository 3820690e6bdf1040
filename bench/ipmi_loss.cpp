// SPDX-License-Identifier: Apache-2.0
// ipmi_loss.cpp -- power commands and readings on networks that lose packets or double them.
//
//   bench_ipmi_loss OBJMGRD-IPMI SMCLP [COMMANDS [LANES]]
//
// For each network, COMMANDS (default 300) power commands of shells, shared between LANES (default
// 3) machines side by side, each with a simulated BMC (OpenIPMI's ipmi_sim), a relay and a service
// of its own. Before that, what the network costs a first reading of everything, on a service that
// starts without stored records. What each command did is told by what the BMC did to its host and
// by what the relay passed on, never by the service. A row of all commands, and one of each kind:
// start and stop say which state is wanted and are sent again, reset and cycle are sent once.
// Columns:
//
//   said done   the shell says that it was done
//   request     failed: the request was lost (of an on or off each time that it was sent), and the
//               BMC did nothing
//   reply       failed: the BMC did it, and its one reply was lost (a reset: nobody can know)
//   other       failed, though request and reply went through, or nothing was sent: a fault
//   wrong       said to be done and was not, or done more than once, or a reset that was sent more
//               than once, or failed though the power state was to be had: a fault
//   longest     command, in seconds
//   void        the service took the BMC for lost: a fault
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

constexpr u32 kKinds = 4;

struct Counts {
    u32 commands = 0;
    u32 done = 0;
    u32 requestLost = 0;
    u32 replyLost = 0;
    u32 other = 0;
    u32 wrong = 0;
    u32 longestMs = 0;

    void Add(const Counts &more)
    {
        commands += more.commands;
        done += more.done;
        requestLost += more.requestLost;
        replyLost += more.replyLost;
        other += more.other;
        wrong += more.wrong;
        longestMs = std::max(longestMs, more.longestMs);
    }
};

struct Result {
    Counts kinds[kKinds];
    u32 voids = 0;
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

// One line that is the whole command, or lines that are typed.
std::string Shell(const Programs &programs, const char *text)
{
    int input[2];
    int ends[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(ends, O_CLOEXEC) != 0)
        Fail("no pipe");
    const bool typed = strchr(text, '\n') != nullptr;
    if (typed && write(input[1], text, strlen(text)) != static_cast<ssize_t>(strlen(text)))
        Fail("no room in a pipe");
    close(input[1]);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(input[0], STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        const std::string login = std::string(programs.shell) + "-login";
        typed ? execl(login.c_str(), login.c_str(), nullptr)
              : execl(programs.shell, programs.shell, text, nullptr);
        _exit(127);
    }
    close(input[0]);
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
    const char *name;
    const char *line;
    const char *done;    // in what the shell says
    const char *action;  // of the BMC
    bool changesState;
};

// In the order that they are given in, beginning anew whenever the power is on.
constexpr CommandRow kCommands[kKinds] = {
    {"reset", "reset /system1", "system was reset successfully.\n", "reset 1\n", false},
    {"cycle", "cd /system1/pwrmgtsvc1\nset powerstate=9\nexit\n", "Command completed successfully.",
     "power 0\npower 1\n", false},
    {"stop", "stop /system1", "system was stopped successfully.\n", "power 0\n", true},
    {"start", "start /system1", "system was started successfully.\n", "power 1\n", true},
};
constexpr u32 kCycle = 1;
constexpr u32 kStart = 3;
// A power cycle is over after so long.
constexpr i64 kActionLimitMs = 20'000;

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
                const CommandRow &row, ServiceLog *log, Counts *result)
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
    std::string did = bmc.Actions();
    // The second half of a power cycle comes later.
    while (!did.empty() && did != row.action && std::string(row.action).starts_with(did) &&
           NowMs() - start < kActionLimitMs) {
        SleepMs(20);
        did = bmc.Actions();
    }
    const bool once = did == row.action;
    const bool done = said.find(row.done) != std::string::npos;
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
        fprintf(stderr, "%s: said %s, did %s, sent %s, answered %s\n%s\n", row.line, said.c_str(),
                did.c_str(), std::to_string(sent).c_str(), std::to_string(answered).c_str(),
                log->Text().c_str());
}

// The host is off in the middle of a power cycle, which may have been seen.
void WaitUntilSeenOn(const Programs &programs)
{
    const i64 start = NowMs();
    while (Shell(programs, "show -display properties=(powerstate) /system1/pwrmgtsvc1")
                   .find("= 2\n") == std::string::npos &&
           NowMs() - start < kActionLimitMs)
        SleepMs(20);
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
    for (u32 i = 0, kind = kStart; i < commands; ++i) {
        const u32 next = (kind + 1) % kKinds;
        kind = !bmc.PowerIsOn() ? kStart : next == kStart ? 0 : next;
        RunCommand(programs, bmc, relay, kCommands[kind], &log, &result.kinds[kind]);
        if (kind == kCycle)
            WaitUntilSeenOn(programs);
    }
    result.pauseMs = relay.LongestPauseMs(kIpmiSensorReading);
    result.voids = static_cast<u32>(CountOf(log.Text(), "cannot be read"));
    if (result.voids != 0)
        fprintf(stderr, "%s\n", log.Text().c_str());
    return result;
}

void PrintCounts(const char *name, const Counts &counts)
{
    printf("  %-24s %8u %9u %8u %6u %6u %6u %8.1f", name, counts.commands, counts.done,
           counts.requestLost, counts.replyLost, counts.other, counts.wrong,
           counts.longestMs / 1e3);
}

bool PrintRows(const Network &network, const std::vector<Result> &lanes)
{
    Result sum;
    Counts all;
    std::vector<u32> first;
    for (const Result &lane : lanes) {
        for (u32 kind = 0; kind < kKinds; ++kind) {
            sum.kinds[kind].Add(lane.kinds[kind]);
            all.Add(lane.kinds[kind]);
        }
        sum.voids += lane.voids;
        sum.pauseMs = std::max(sum.pauseMs, lane.pauseMs);
        first.insert(first.end(), std::begin(lane.firstMs), std::end(lane.firstMs));
    }
    std::sort(first.begin(), first.end());
    PrintCounts(network.name, all);
    printf(" %5u %6.1f %7.2f %6.2f\n", sum.voids, sum.pauseMs / 1e3, first[first.size() / 2] / 1e3,
           first.back() / 1e3);
    for (u32 kind = 0; kind < kKinds; ++kind) {
        PrintCounts((std::string("  ") + kCommands[kind].name).c_str(), sum.kinds[kind]);
        printf("\n");
    }
    fflush(stdout);
    return all.other + all.wrong + sum.voids == 0;
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
    return PrintRows(network, results);
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
    printf("  %-24s %8s %9s %8s %6s %6s %6s %8s %5s %6s %7s %6s\n", "", "commands", "said done",
           "request", "reply", "other", "wrong", "longest", "void", "pause", "first", "most");
    bool right = true;
    for (const Network &network : kNetworks) {
        if (argc <= 5 || strstr(network.name, argv[5]) != nullptr)
            right = RunNetwork(programs, network, commands, lanes) && right;
    }
    return right ? 0 : 1;
}
