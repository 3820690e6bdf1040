// SPDX-License-Identifier: Apache-2.0
// write_cost.cpp -- what a program takes beside what writing its output takes.
//
//   bench_write_cost RUNS PROGRAM [ARGUMENT...]
//   bench_write_cost --replay FILE
//
// Records every write that PROGRAM makes to standard output, then runs by turns, RUNS times each,
// PROGRAM and a program that makes the same writes of the same bytes and does nothing else
// (--replay), with the output to /dev/null and into a pipe and onto a terminal that this program
// empties. Prints the medians and their ratio: of the wall time from fork to the end, and of the
// processor time of the process, which other work on the machine disturbs less.
#include "platform/types.h"

#include <algorithm>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace
{

// A recording: for each write its size (u32) and its bytes.
using Recording = std::vector<char>;

double NowMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

[[noreturn]] void Fail(const char *what)
{
    perror(what);
    exit(2);
}

pid_t Start(char **argv, int output)
{
    const pid_t pid = fork();
    if (pid != 0)
        return pid;
    const int null = open("/dev/null", O_RDONLY);
    dup2(null, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    execvp(argv[0], argv);
    perror(argv[0]);
    _exit(127);
}

double Ms(const timeval &time)
{
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

// *cpuMs receives the processor time of the process.
bool EndedWell(pid_t pid, double *cpuMs)
{
    int status = 0;
    rusage usage = {};
    wait4(pid, &status, 0, &usage);
    *cpuMs = Ms(usage.ru_utime) + Ms(usage.ru_stime);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Over a socket that keeps packets apart each write arrives as it was made.
Recording Record(char **argv, u32 *writes)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        Fail("socketpair");
    const pid_t pid = Start(argv, ends[1]);
    close(ends[1]);
    Recording all;
    std::vector<char> part(size_t{1} << 20);
    ssize_t count;
    for (*writes = 0; (count = read(ends[0], part.data(), part.size())) > 0; ++*writes) {
        const u32 size = static_cast<u32>(count);
        const char *head = reinterpret_cast<const char *>(&size);
        all.insert(all.end(), head, head + sizeof size);
        all.insert(all.end(), part.begin(), part.begin() + count);
    }
    close(ends[0]);
    double cpuMs;
    if (!EndedWell(pid, &cpuMs) || *writes == 0) {
        fprintf(stderr, "%s: failed, or wrote nothing\n", argv[0]);
        exit(2);
    }
    return all;
}

int Replay(const char *file)
{
    const int fd = open(file, O_RDONLY | O_CLOEXEC);
    struct stat facts;
    if (fd == -1 || fstat(fd, &facts) != 0)
        Fail(file);
    Recording all(static_cast<size_t>(facts.st_size));
    if (read(fd, all.data(), all.size()) != facts.st_size)
        Fail(file);
    u32 size;
    for (size_t at = 0; at < all.size(); at += sizeof size + size) {
        memcpy(&size, &all[at], sizeof size);
        if (write(STDOUT_FILENO, &all[at + sizeof size], size) != static_cast<ssize_t>(size))
            Fail("write");
    }
    return 0;
}

struct Times {
    double wallMs;
    double cpuMs;
};

Times TimeToNull(char **argv)
{
    Times times;
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const double start = NowMs();
    const pid_t pid = Start(argv, null);
    if (!EndedWell(pid, &times.cpuMs))
        Fail(argv[0]);
    close(null);
    times.wallMs = NowMs() - start;
    return times;
}

// Runs it with `output`, whose other end is `input`, and empties that until the end.
Times TimeEmptied(char **argv, int input, int output)
{
    Times times;
    const double start = NowMs();
    const pid_t pid = Start(argv, output);
    close(output);
    static char part[65536];
    while (read(input, part, sizeof part) > 0)
        ;
    close(input);
    if (!EndedWell(pid, &times.cpuMs))
        Fail(argv[0]);
    times.wallMs = NowMs() - start;
    return times;
}

Times TimeToPipe(char **argv)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        Fail("pipe");
    return TimeEmptied(argv, ends[0], ends[1]);
}

Times TimeToTerminal(char **argv)
{
    const int input = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (input == -1 || grantpt(input) != 0 || unlockpt(input) != 0)
        Fail("pseudo-terminal");
    return TimeEmptied(argv, input, open(ptsname(input), O_RDWR | O_NOCTTY | O_CLOEXEC));
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void Report(const char *where, const char *what, const std::vector<double> &own,
            const std::vector<double> &reference)
{
    printf("  %-13s %-15s program %7.1f ms   its writes alone %7.1f ms   ratio %5.2f\n", where,
           what, Median(own), Median(reference), Median(own) / Median(reference));
}

void Compare(const char *where, Times (*timeOne)(char **), int runs, char **program, char **replay)
{
    std::vector<double> own[2];
    std::vector<double> reference[2];
    for (int i = 0; i < runs; ++i) {
        const Times alone = timeOne(replay);
        const Times whole = timeOne(program);
        reference[0].push_back(alone.wallMs);
        reference[1].push_back(alone.cpuMs);
        own[0].push_back(whole.wallMs);
        own[1].push_back(whole.cpuMs);
    }
    Report(where, "wall time", own[0], reference[0]);
    Report("", "processor time", own[1], reference[1]);
}

int Run(int runs, char **program)
{
    u32 writes = 0;
    const Recording recording = Record(program, &writes);
    char file[] = "/tmp/write_cost-XXXXXX";
    const int fd = mkstemp(file);
    if (fd == -1 ||
        write(fd, recording.data(), recording.size()) != static_cast<ssize_t>(recording.size()))
        Fail(file);
    close(fd);
    printf("  %u writes of %zu bytes in all\n", writes,
           recording.size() - size_t{writes} * sizeof(u32));

    char self[] = "/proc/self/exe";
    char option[] = "--replay";
    char *replay[] = {self, option, file, nullptr};
    Compare("to /dev/null", TimeToNull, runs, program, replay);
    Compare("to a pipe", TimeToPipe, runs, program, replay);
    Compare("to a terminal", TimeToTerminal, runs, program, replay);
    unlink(file);
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc == 3 && strcmp(argv[1], "--replay") == 0)
        return Replay(argv[2]);
    const int runs = argc > 2 ? atoi(argv[1]) : 0;
    if (runs < 1) {
        fprintf(stderr, "usage: bench_write_cost RUNS PROGRAM [ARGUMENT...]\n"
                        "       bench_write_cost --replay FILE\n");
        return 2;
    }
    return Run(runs, argv + 2);
}
