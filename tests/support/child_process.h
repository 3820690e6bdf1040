// SPDX-License-Identifier: Apache-2.0
// child_process.h -- code under test in a process of its own.
//
// For whatever ends a process, waits for input or leaves globals behind.
#ifndef TESTS_SUPPORT_CHILD_PROCESS_H
#define TESTS_SUPPORT_CHILD_PROCESS_H

#include "support/clock.h"
#include "support/test_shell.h"

#include <errno.h>
#include <functional>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

// Waits until a child ends; its wait status. One that does not end is killed, which the status
// shows.
inline int WaitForChild(pid_t child)
{
    int status = 0;
    if (!WaitUntil([&] { return waitpid(child, &status, WNOHANG) != 0; })) {
        ADD_FAILURE() << "the process does not end";
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
    }
    return status;
}

struct ChildResult {
    std::string output;  // what it wrote to standard output
    int exitStatus;      // -1: it did not exit by itself
};

// Runs `body` in a child whose standard input is `input` and then at its end. What `body` returns
// becomes the exit status.
inline ChildResult RunInChild(const std::string &input, const std::function<int()> &body)
{
    fflush(stdout);
    const int output = memfd_create("output", 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(output, STDOUT_FILENO);
        InputText text(input);
        const int status = body();
        fflush(stdout);
        _exit(status);
    }
    const int status = WaitForChild(child);

    ChildResult result = {"", WIFEXITED(status) ? WEXITSTATUS(status) : -1};
    char part[4096];
    ssize_t count;
    for (off_t at = 0; (count = pread(output, part, sizeof part, at)) > 0; at += count)
        result.output.append(part, static_cast<size_t>(count));
    close(output);
    return result;
}

#endif
