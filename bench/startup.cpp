// SPDX-License-Identifier: Apache-2.0
// startup.cpp -- what one run of a program costs: wall time beside /bin/true, memory, system calls.
//
//   bench_startup RUNS PROGRAM [ARGUMENT...]
//
// Runs PROGRAM and /bin/true by turns, RUNS times each, output to /dev/null, and prints the medians
// of the wall time from fork to the end, their ratio, the largest resident set, the page faults of
// both (medians; those of the process that forks included), and the number of system calls and of
// write calls (counted once, with ptrace).
#include "platform/types.h"

#include <algorithm>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace
{

double NowUs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

[[noreturn]] void Execute(char **argv, bool traced)
{
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    if (traced)
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    execvp(argv[0], argv);
    perror(argv[0]);
    _exit(127);
}

struct Run {
    double wallUs;
    long peakKb;
    double faults;
};

Run RunOnce(char **argv)
{
    const double start = NowUs();
    const pid_t pid = fork();
    if (pid == 0)
        Execute(argv, false);
    int status = 0;
    rusage usage = {};
    wait4(pid, &status, 0, &usage);
    return {NowUs() - start, usage.ru_maxrss, static_cast<double>(usage.ru_minflt)};
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The number of the system call that the stopped process enters, or -1 where it leaves one.
long EnteredCall(pid_t pid)
{
    __ptrace_syscall_info info = {};
    ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info);
    return info.op == PTRACE_SYSCALL_INFO_ENTRY ? static_cast<long>(info.entry.nr) : -1;
}

// System calls from the end of execve on.
void CountCalls(char **argv, u32 *all, u32 *writes)
{
    *all = *writes = 0;
    const pid_t pid = fork();
    if (pid == 0)
        Execute(argv, true);
    int status = 0;
    waitpid(pid, &status, 0);
    ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD);
    while (!WIFEXITED(status) && !WIFSIGNALED(status)) {
        ptrace(PTRACE_SYSCALL, pid, nullptr, nullptr);
        waitpid(pid, &status, 0);
        if (!WIFSTOPPED(status) || WSTOPSIG(status) != (SIGTRAP | 0x80))
            continue;
        const long call = EnteredCall(pid);
        *all += call != -1;
        *writes += call == SYS_write;
    }
}

}  // namespace

int main(int argc, char **argv)
{
    const int runs = argc > 2 ? atoi(argv[1]) : 0;
    if (runs < 1) {
        fprintf(stderr, "usage: bench_startup RUNS PROGRAM [ARGUMENT...]\n");
        return 2;
    }
    char **program = argv + 2;
    char truePath[] = "/bin/true";
    char *trueArgv[] = {truePath, nullptr};

    std::vector<double> own;
    std::vector<double> ownFaults;
    std::vector<double> reference;
    std::vector<double> referenceFaults;
    long peakKb = 0;
    for (int i = 0; i < runs; ++i) {
        const Run nothing = RunOnce(trueArgv);
        reference.push_back(nothing.wallUs);
        referenceFaults.push_back(nothing.faults);
        const Run run = RunOnce(program);
        own.push_back(run.wallUs);
        ownFaults.push_back(run.faults);
        peakKb = std::max(peakKb, run.peakKb);
    }
    u32 calls;
    u32 writes;
    CountCalls(program, &calls, &writes);
    for (char **word = program; *word != nullptr; ++word)
        printf("%s%s", word == program ? "" : " ", word == program ? basename(*word) : *word);
    printf("\n  wall time, median of %d   %8.0f us\n", runs, Median(own));
    printf("  /bin/true, median         %8.0f us\n", Median(reference));
    printf("  ratio                     %8.2f\n", Median(own) / Median(reference));
    printf("  peak resident memory      %8ld kB\n", peakKb);
    printf("  page faults               %8.0f\n", Median(ownFaults));
    printf("  page faults of /bin/true  %8.0f\n", Median(referenceFaults));
    printf("  system calls              %8u\n", calls);
    printf("  of these write            %8u\n", writes);
    return 0;
}
