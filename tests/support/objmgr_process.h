// SPDX-License-Identifier: Apache-2.0
// objmgr_process.h -- processes for tests of the object manager.
//
// The client keeps one directory and one copy of the image per process. So a test that uses the
// client runs in a fresh process, and the service it talks to in another, which can be stopped and
// killed.
#ifndef TESTS_SUPPORT_OBJMGR_PROCESS_H
#define TESTS_SUPPORT_OBJMGR_PROCESS_H

#include "support/test_files.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

// A child process that runs `body` and is gone, with SIGKILL, when this object is.
class ChildProcess
{
public:
    explicit ChildProcess(const std::function<void()> &body)
    {
        fflush(stdout);
        pid_ = fork();
        if (pid_ != 0)
            return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    ~ChildProcess() { Kill(); }
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    pid_t Pid() const { return pid_; }
    void Kill()
    {
        if (pid_ > 0)
            kill(pid_, SIGKILL);
        Wait();
    }
    // The wait status.
    int Wait()
    {
        int status = -1;
        if (pid_ > 0)
            waitpid(pid_, &status, 0);
        pid_ = -1;
        return status;
    }
    void Stop()
    {
        int status;
        kill(pid_, SIGSTOP);
        waitpid(pid_, &status, WUNTRACED);
    }
    void Continue() { kill(pid_, SIGCONT); }

private:
    pid_t pid_ = -1;
};

// Runs a test's body in a process of its own; its failures are the test's.
inline void InFreshProcess(const std::function<void()> &body)
{
    ChildProcess child(body);
    EXPECT_EQ(child.Wait(), 0) << "see the failures above";
}

// A process that carries out one of its steps at a time when told to.
class StepProcess
{
public:
    using Step = std::function<int()>;

    explicit StepProcess(std::vector<Step> steps) : steps_(std::move(steps))
    {
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets_) != 0)
            abort();
        child_ = new ChildProcess([this] { Serve(); });
        close(sockets_[1]);
    }
    ~StepProcess()
    {
        delete child_;
        close(sockets_[0]);
    }
    StepProcess(const StepProcess &) = delete;
    StepProcess &operator=(const StepProcess &) = delete;

    // What the step returned; -1 when the process is gone.
    int Run(size_t step)
    {
        int result = -1;
        if (send(sockets_[0], &step, sizeof(step), MSG_NOSIGNAL) != sizeof(step) ||
            recv(sockets_[0], &result, sizeof(result), 0) != sizeof(result))
            return -1;
        return result;
    }
    ChildProcess &Process() { return *child_; }

private:
    void Serve()
    {
        size_t step;
        close(sockets_[0]);
        while (recv(sockets_[1], &step, sizeof(step), 0) == sizeof(step) && step < steps_.size()) {
            const int result = steps_[step]();
            send(sockets_[1], &result, sizeof(result), MSG_NOSIGNAL);
        }
        _exit(0);
    }

    std::vector<Step> steps_;
    int sockets_[2] = {-1, -1};
    ChildProcess *child_ = nullptr;
};

#endif
