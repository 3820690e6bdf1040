// SPDX-License-Identifier: Apache-2.0
// program.cpp -- built programs run by tests.
#include "support/program.h"

#include "support/clock.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr int kRunLimitMs = 30'000;

int StatusOf(int wait)
{
    return WIFEXITED(wait) ? WEXITSTATUS(wait) : 128 + WTERMSIG(wait);
}

[[noreturn]] void Execute(const std::vector<std::string> &arguments)
{
    std::vector<char *> argv;
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
}

}  // namespace

ProgramEnd RunProgram(const std::vector<std::string> &arguments, const std::string &input)
{
    int in[2];
    int out[2];
    int err[2];
    if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0)
        abort();
    fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]})
            close(fd);
        signal(SIGPIPE, SIG_DFL);
        Execute(arguments);
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    signal(SIGPIPE, SIG_IGN);

    ProgramEnd end;
    size_t written = 0;
    pollfd fds[] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}, {in[1], POLLOUT, 0}};
    const int64_t deadline = NowMs() + kRunLimitMs;
    while (fds[0].fd != -1 || fds[1].fd != -1) {
        if (written == input.size() && fds[2].fd != -1) {
            close(fds[2].fd);
            fds[2].fd = -1;
        }
        if (NowMs() > deadline || poll(fds, 3, 1000) == -1) {
            kill(pid, SIGKILL);
            break;
        }
        if ((fds[2].revents & (POLLOUT | POLLERR)) != 0) {
            const ssize_t count = write(fds[2].fd, input.data() + written, input.size() - written);
            written = count < 0 ? input.size() : written + static_cast<size_t>(count);
        }
        std::string *texts[] = {&end.out, &end.err};
        for (int i = 0; i < 2; ++i) {
            if ((fds[i].revents & (POLLIN | POLLHUP)) == 0)
                continue;
            char part[65536];
            const ssize_t count = read(fds[i].fd, part, sizeof part);
            if (count > 0)
                texts[i]->append(part, static_cast<size_t>(count));
            else
                fds[i].fd = -1;
        }
    }
    close(out[0]);
    close(err[0]);
    if (fds[2].fd != -1)
        close(fds[2].fd);
    int wait = 0;
    waitpid(pid, &wait, 0);
    end.status = StatusOf(wait);
    return end;
}

std::string WriteTempFile(const std::string &text)
{
    std::string path = testing::TempDir() + "programXXXXXX";
    const int file = mkstemp(path.data());
    if (file == -1 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        abort();
    close(file);
    return path;
}

PtyProgram::PtyProgram(const std::vector<std::string> &arguments)
{
    fflush(stdout);
    pid_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
    if (pid_ == 0)
        Execute(arguments);
}

PtyProgram::~PtyProgram()
{
    if (pid_ > 0) {
        kill(-pid_, SIGKILL);
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    HangUp();
}

void PtyProgram::Type(const std::string &keys) const
{
    if (write(terminal_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
        ADD_FAILURE() << "cannot type";
}

std::string PtyProgram::ReadUntil(const std::string &text)
{
    const int64_t deadline = NowMs() + kPatienceMs;
    for (;;) {
        const size_t found = pending_.find(text);
        if (found != std::string::npos) {
            const std::string before = pending_.substr(0, found + text.size());
            pending_.erase(0, found + text.size());
            return before;
        }
        pollfd fd = {terminal_, POLLIN, 0};
        char part[4096];
        ssize_t count = -1;
        if (NowMs() < deadline && poll(&fd, 1, 100) >= 0) {
            if (fd.revents == 0)
                continue;
            count = read(terminal_, part, sizeof part);
        }
        if (count <= 0) {
            failed = true;
            std::string rest;
            rest.swap(pending_);
            return rest;
        }
        pending_.append(part, static_cast<size_t>(count));
    }
}

bool PtyProgram::Echoes() const
{
    termios modes;
    return tcgetattr(terminal_, &modes) == 0 && (modes.c_lflag & ECHO) != 0;
}

bool PtyProgram::IsCanonical() const
{
    termios modes;
    return tcgetattr(terminal_, &modes) == 0 && (modes.c_lflag & ICANON) != 0;
}

bool PtyProgram::WaitForRaw(bool raw) const
{
    for (const int64_t deadline = NowMs() + kPatienceMs; NowMs() < deadline; SleepMs(5)) {
        if (IsCanonical() != raw && Echoes() != raw)
            return true;
    }
    return false;
}

void PtyProgram::HangUp()
{
    if (terminal_ != -1)
        close(terminal_);
    terminal_ = -1;
}

int PtyProgram::Wait()
{
    for (const int64_t deadline = NowMs() + kPatienceMs; NowMs() < deadline; SleepMs(5)) {
        int wait = 0;
        if (waitpid(pid_, &wait, WNOHANG) == pid_) {
            pid_ = -1;
            return StatusOf(wait);
        }
    }
    return -1;
}
