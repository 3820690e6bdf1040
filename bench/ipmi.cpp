// SPDX-License-Identifier: Apache-2.0
// ipmi.cpp -- the shell on a BMC beside ipmitool and freeipmi's tools on the same one.
//
//   bench_ipmi OBJMGRD-IPMI SMCLP SMCLP-LOGIN
//
// Starts a simulated BMC (OpenIPMI's ipmi_sim) and objmgrd-ipmi with its default settings, and runs
// whole commands by turns, output to /dev/null: sensors with and without thresholds, the log, the
// power state. Prints the medians of the wall time from fork to the end, and the ratios to the
// faster of the other two. Twice: with the BMC as it is, and behind a network that takes 20 ms for
// each reply. freeipmi's caches are made before.
//
//   one-shot  smclp LINE: what a script starts
//   login     smclp-login -c LINE: what sshd starts, with a session of its own
//   session   LINE in a shell that is open, as an administrator types it: from the line's end to
//             the next prompt. The other tools have nothing alike: they are whole commands here too
//   net       what the question costs beside the start of the program: less the time of
//             `smclp version`, and of the other tools' --version
//
// Then: what the service asks of an idle BMC, and its memory.
#include "bmc_service.h"

#include "ipmi/ipmi_relay.h"
#include "ipmi/ipmi_sim.h"
#include "ipmi/ipmi_tools.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace
{

using Command = std::vector<std::string>;

constexpr u8 kProcessorType = 7;
constexpr u8 kMemoryType = 12;
constexpr u32 kSlowReplyMs = 20;
constexpr u32 kOwnRuns = 101;
constexpr u32 kToolRuns = 21;
constexpr u32 kSlowToolRuns = 3;
constexpr u32 kIdleSeconds = 10;
constexpr u32 kStartSeconds = 60;

double NowMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

[[noreturn]] void Fail(const std::string &what)
{
    fprintf(stderr, "bench_ipmi: %s\n", what.c_str());
    exit(1);
}

pid_t Spawn(const Command &command, int output)
{
    std::vector<char *> argv;
    for (const std::string &word : command)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    fflush(stdout);
    const pid_t pid = fork();
    if (pid != 0)
        return pid;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(output == -1 ? null : output, STDOUT_FILENO);
    execvp(argv[0], argv.data());
    perror(argv[0]);
    _exit(127);
}

double WallMs(const Command &command)
{
    const double start = NowMs();
    const pid_t pid = Spawn(command, -1);
    int status = 0;
    waitpid(pid, &status, 0);
    const double end = NowMs();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        Fail(command[0] + " " + command.back() + " fails");
    return end - start;
}

std::string OutputOf(const Command &command)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        Fail("no pipe");
    const pid_t pid = Spawn(command, ends[1]);
    close(ends[1]);
    std::string all;
    char part[65536];
    for (ssize_t got; (got = read(ends[0], part, sizeof part)) > 0;)
        all.append(part, static_cast<size_t>(got));
    close(ends[0]);
    waitpid(pid, nullptr, 0);
    return all;
}

double MedianOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double MedianWallMs(const Command &command, u32 runs)
{
    std::vector<double> times;
    for (u32 i = 0; i < runs; ++i)
        times.push_back(WallMs(command));
    return MedianOf(times);
}

struct Question {
    const char *what;
    const char *own;  // the shell's line
    Command ipmitool;
    const char *freeipmi;
    Command freeipmiArguments;
    const char *shows;  // stands in the shell's answer once for each sensor or record, or oftener
    size_t (*count)(const SimMachine &machine);
    double wantedAtOnce;  // how much faster it is to be than either; 0: nothing is expected
    double wantedSlow;
};

size_t SensorsOf(const SimMachine &machine)
{
    size_t sensors = 0;
    for (const SimSensor &sensor : machine.sensors) {
        // Kinds that the shell has no target for.
        const bool hidden = sensor.record == SimRecord::EventOnly ||
                            sensor.type == kProcessorType || sensor.type == kMemoryType;
        sensors += hidden ? 0u : sensor.shareCount;
    }
    return sensors;
}

size_t RecordsOf(const SimMachine &machine)
{
    return machine.log.size();
}

size_t One(const SimMachine &)
{
    return 1;
}

// Every collection is reached in one command by walking the whole tree, log included: the shell is
// asked for more than the others.
const Question kQuestions[] = {
    {"sensors: name, reading, state",
     "show -level all -display properties=(elementname,currentreading,currentstate,"
     "redundancystatus,operationalstatus) /system1",
     {"sdr", "elist"},
     "ipmi-sensors",
     {},
     "elementname  ",
     SensorsOf,
     20,
     500},
    {"sensors: every property; log",
     "show -level all -display properties /system1",
     {"sensor"},
     "ipmi-sensors",
     {"--output-sensor-thresholds"},
     "ElementName  ",
     SensorsOf,
     20,
     500},
    {"log: time and description",
     "show -level 2 -display properties=(messagetimestamp,description) /system1/logs1/log1",
     {"sel", "elist"},
     "ipmi-sel",
     {},
     "messagetimestamp  ",
     RecordsOf,
     20,
     500},
    {"log: every property",
     "show -level 2 -display properties /system1/logs1/log1",
     {"sel", "elist"},
     "ipmi-sel",
     {},
     "RecordID  ",
     RecordsOf,
     20,
     500},
    {"power state",
     "show -display properties=(powerstate) /system1/pwrmgtsvc1",
     {"power", "status"},
     "ipmi-chassis",
     {"--get-chassis-status"},
     "powerstate  ",
     One,
     0,
     0},
};

// The tools' lines begin with "/usr/bin/env TZ=UTC": that is another program.
Command WithoutEnv(Command command)
{
    command.erase(command.begin(), command.begin() + 2);
    return command;
}

struct Programs {
    const char *service;
    const char *shell;
    const char *login;
};

// Until the shell shows every sensor and record that the other tools list.
void WaitUntilServed(const Programs &programs, const IpmiSim &bmc)
{
    for (u32 tries = 0; tries < kStartSeconds * 10; ++tries) {
        const std::string shown =
            OutputOf({programs.shell, "show -level all -display properties /system1"});
        if (CountOf(shown, "CurrentState  ") + CountOf(shown, "RedundancyStatus  ") > 30 &&
            CountOf(shown, "RecordID  ") == bmc.Machine().log.size() &&
            CountOf(shown, "TotalOutputPower  ") == 2)
            return;
        usleep(100'000);
    }
    Fail("the service does not serve the BMC");
}

// Of each program that a row compares: ipmitool, freeipmi's, smclp, smclp-login.
constexpr int kPrograms = 4;
constexpr int kColumns = 5;  // and a line in an open session
constexpr double kNoiseMs = 0.2;

struct Times {
    std::vector<double> walls;
    double Median() const { return MedianOf(walls); }
    double Least() const { return *std::min_element(walls.begin(), walls.end()); }
};

void PrintTimes(const char *name, const double (&ms)[kColumns], const double (&start)[kPrograms],
                double aim)
{
    const double ownNet = ms[2] - start[2];
    const double other = std::min(ms[0], ms[1]);
    printf("  %-31s %9.1f %9.1f %9.2f %8.2f %8.2f %9.1f %8.1f", name, ms[0], ms[1], ms[2], ms[3],
           ms[4], other / ms[2], other / ms[4]);
    if (ownNet > kNoiseMs)
        printf(" %8.1f", std::min(ms[0] - start[0], ms[1] - start[1]) / ownNet);
    else
        printf(" %8s", "-");  // too little to be told from nothing
    if (aim != 0)
        printf("  %4.0f", aim);
    printf("\n");
    fflush(stdout);
}

// A shell that waits for lines on a pipe.
class OpenShell
{
public:
    explicit OpenShell(const char *program)
    {
        int in[2];
        int out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
            Fail("no pipe");
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            execl(program, program, nullptr);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        in_ = in[1];
        out_ = out[0];
        ReadToPrompt();
    }
    ~OpenShell()
    {
        close(in_);
        close(out_);
        waitpid(pid_, nullptr, 0);
    }
    OpenShell(const OpenShell &) = delete;
    OpenShell &operator=(const OpenShell &) = delete;

    double AskMs(const std::string &line)
    {
        const double start = NowMs();
        const std::string keys = line + "\n";
        if (write(in_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
            Fail("the shell takes no line");
        ReadToPrompt();
        return NowMs() - start;
    }
    const std::string &Answer() const { return answer_; }

private:
    void ReadToPrompt()
    {
        answer_.clear();
        char part[65536];
        while (!answer_.ends_with("\n->")) {
            const ssize_t count = read(out_, part, sizeof part);
            if (count <= 0)
                Fail("the shell has ended");
            answer_.append(part, static_cast<size_t>(count));
        }
    }

    pid_t pid_;
    int in_;
    int out_;
    std::string answer_;
};

// By turns, so that what else goes on in the machine meets all of them.
void RunByTurns(const Command (&commands)[kPrograms], u32 rounds, Times (&times)[kPrograms])
{
    for (u32 round = 0; round < rounds; ++round) {
        for (int i = 0; i < kPrograms; ++i) {
            const u32 runs = i < 2 ? 1 : kOwnRuns / rounds;
            for (u32 run = 0; run < runs; ++run)
                times[i].walls.push_back(WallMs(commands[i]));
        }
    }
}

void PrintRow(const Question &question, const Programs &programs, const IpmiTools &tools,
              const SimMachine &machine, bool slow)
{
    const Command commands[kPrograms] = {
        WithoutEnv(tools.Ipmitool(question.ipmitool)),
        WithoutEnv(tools.Freeipmi(question.freeipmi, question.freeipmiArguments)),
        {programs.shell, question.own},
        {programs.login, "-c", question.own}};
    const Command starts[kPrograms] = {{"ipmitool", "-V"},
                                       {question.freeipmi, "--version"},
                                       {programs.shell, "version"},
                                       {programs.login, "-c", "version"}};
    WallMs(commands[1]);  // makes its cache
    if (CountOf(OutputOf(commands[2]), question.shows) < question.count(machine))
        Fail(std::string(question.own) + " does not show everything");
    Times times[kPrograms];
    Times startTimes[kPrograms];
    RunByTurns(starts, kToolRuns, startTimes);
    RunByTurns(commands, slow ? kSlowToolRuns : kToolRuns, times);
    OpenShell session(programs.login);
    Times sessionTimes;
    for (u32 run = 0; run < kOwnRuns; ++run)
        sessionTimes.walls.push_back(session.AskMs(question.own));
    if (CountOf(session.Answer(), question.shows) < question.count(machine))
        Fail(std::string(question.own) + " does not show everything in a session");
    double medians[kColumns];
    double least[kColumns];
    double startMedians[kPrograms];
    double startLeast[kPrograms];
    for (int i = 0; i < kPrograms; ++i) {
        medians[i] = times[i].Median();
        startMedians[i] = startTimes[i].Median();
        least[i] = times[i].Least();
        startLeast[i] = startTimes[i].Least();
    }
    medians[kPrograms] = sessionTimes.Median();
    least[kPrograms] = sessionTimes.Least();
    PrintTimes(question.what, medians, startMedians,
               slow ? question.wantedSlow : question.wantedAtOnce);
    PrintTimes("    fastest run of each", least, startLeast, 0);
}

// A BMC as it is (relay null) or behind one.
void Compare(const Programs &programs, const IpmiSim &bmc, u16 port, bool slow)
{
    const BmcService service(programs.service, bmc.Host(), port, {});
    WaitUntilServed(programs, bmc);
    const IpmiTools tools(bmc.Host(), port, kSimAdmin, bmc.Directory());
    printf("\n%s\n", slow ? "A BMC that takes 20 ms for each reply" : "A BMC that answers at once");
    printf("  %-31s %9s %9s %27s %27s\n", "medians in ms", "", "", "------- the shell -------",
           "------ times faster ------");
    printf("  %-31s %9s %9s %9s %8s %8s %9s %8s %8s  %4s\n", "", "ipmitool", "freeipmi", "one-shot",
           "login", "session", "one-shot", "session", "net", "aim");
    for (const Question &question : kQuestions)
        PrintRow(question, programs, tools, bmc.Machine(), slow);
}

long FieldKb(const std::string &file, const std::string &key)
{
    std::ifstream lines(file);
    long sum = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, key.size(), key) == 0)
            sum += atol(line.c_str() + key.size());
    }
    return sum;
}

// What the service asks of a BMC that nobody else asks, and what it takes itself.
void Idle(const Programs &programs, const IpmiSim &bmc, IpmiRelay *relay, u32 delayMs)
{
    relay->Set({});
    const BmcService service(programs.service, bmc.Host(), relay->Port(), {});
    WaitUntilServed(programs, bmc);
    relay->Set({.delayMs = delayMs});
    sleep(3);
    relay->ForgetCounts();
    const std::string proc = "/proc/" + std::to_string(service.Pid());
    const double start = NowMs();
    sleep(kIdleSeconds);
    const double seconds = (NowMs() - start) / 1000;
    const RelayCounts counts = relay->Counts();
    printf("  %2u ms a reply: %6.1f requests per second, at most %u in flight\n", delayMs,
           static_cast<double>(counts.requests) / seconds, counts.mostInFlight);
    if (delayMs == 0)
        printf("  memory: resident %ld kB, proportional %ld kB, private %ld kB, locked %ld kB\n",
               FieldKb(proc + "/status", "VmRSS:"), FieldKb(proc + "/smaps_rollup", "Pss:"),
               FieldKb(proc + "/smaps_rollup", "Private_Clean:") +
                   FieldKb(proc + "/smaps_rollup", "Private_Dirty:"),
               FieldKb(proc + "/status", "VmLck:"));
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: bench_ipmi OBJMGRD-IPMI SMCLP SMCLP-LOGIN\n");
        return 2;
    }
    const Programs programs = {argv[1], argv[2], argv[3]};
    setenv("TZ", "UTC", 1);
    IpmiSim bmc;
    const std::string error = bmc.Start();
    if (!error.empty())
        Fail(error);
    printf("  /bin/true, median               %9.2f ms\n", MedianWallMs({"/bin/true"}, kOwnRuns));
    Compare(programs, bmc, bmc.Port(), false);

    IpmiRelay relay(bmc.Host(), bmc.Port());
    if (relay.Port() == 0)
        Fail("no relay");
    relay.Set({.delayMs = kSlowReplyMs});
    Compare(programs, bmc, relay.Port(), true);

    printf("\nWhat the service asks of an idle BMC, over %u s, and its memory\n", kIdleSeconds);
    Idle(programs, bmc, &relay, 0);
    Idle(programs, bmc, &relay, kSlowReplyMs);
    return 0;
}
