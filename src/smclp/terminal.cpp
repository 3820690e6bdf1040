// SPDX-License-Identifier: Apache-2.0
// terminal.cpp -- keys, and raw mode while they are awaited.
#include "smclp/terminal.h"

#include "platform/large_buffer.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stddef.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

namespace
{

// Written before raw mode is set and cleared after it is left, so that a signal between the two
// restores once too often rather than never.
termios gSaved;
volatile sig_atomic_t gRaw;
bool gInputGone;

constexpr u32 kEmptyReadsMax = 5;  // of a terminal, 100 ms apart
u32 gEmptyReads;

// One byte from standard input, as read() gives it. Waits also when whoever shares the input has
// made it non-blocking.
ssize_t ReadByte(u8 *key)
{
    for (;;) {
        const ssize_t count = read(STDIN_FILENO, key, 1);
        if (count != -1 || (errno != EAGAIN && errno != EWOULDBLOCK))
            return count;
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        if (poll(&input, 1, -1) == -1)
            return -1;
    }
}

void EndOfInputSeen()
{
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    const bool hungUp =
        poll(&input, 1, 0) > 0 && (input.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
    if (hungUp || isatty(STDIN_FILENO) == 0 || ++gEmptyReads == kEmptyReadsMax) {
        gInputGone = true;
        return;
    }
    const timespec pause = {0, 100'000'000};
    nanosleep(&pause, nullptr);
}

// For a fault that has used up the stack.
alignas(kLargeBufferAlign) char gSignalStack[16384];

void OnSignal(int number)
{
    // In the background the terminal is another's: what it is set to there is not this process's
    // affair. Without job control (-1) it is.
    const pid_t foreground = tcgetpgrp(STDIN_FILENO);
    if (foreground == -1 || foreground == getpgrp())
        TerminalRestore();  // tcsetattr may be called here
    // The handler was reset when it was entered (SA_RESETHAND) and every signal is held while it
    // runs: this ends the process as soon as the handler returns.
    raise(number);
}

// Whether the signal ends a process that does nothing about it.
bool EndsByDefault(int number)
{
    switch (number) {
    case SIGKILL:  // cannot be caught
    case SIGSTOP:
    case SIGTSTP:
    case SIGTTIN:
    case SIGTTOU:
    case SIGCONT:
    case SIGCHLD:
    case SIGURG:
    case SIGWINCH:
        return false;
    default:
        return true;
    }
}

void CatchStop();

void OnStop(int)
{
    const int error = errno;
    const bool awaiting = gRaw != 0;
    TerminalRestore();
    raise(SIGTSTP);
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTSTP);
    sigprocmask(SIG_UNBLOCK, &stop, nullptr);  // stops here
    // Continued. Raw mode is set here again: the stop may have come just before the read.
    CatchStop();
    if (awaiting)
        TerminalAwaitKeys();
    errno = error;
}

void CatchStop()
{
    struct sigaction action = {};
    action.sa_handler = OnStop;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGTSTP, &action, nullptr);
}

}  // namespace

void TerminalAwaitKeys()
{
    if (gRaw != 0)
        return;
    if (tcgetattr(STDIN_FILENO, &gSaved) != 0)
        return;  // no terminal: read it as it is
    gRaw = 1;
    termios raw = gSaved;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 1;  // whoever had the terminal before may have left other values
    raw.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
}

i32 TerminalReadKey()
{
    for (;;) {
        u8 key = 0;
        TerminalAwaitKeys();
        const ssize_t count = ReadByte(&key);
        const bool interrupted = count == -1 && errno == EINTR;
        if (count == 1) {
            gEmptyReads = 0;
            return key;
        }
        if (!interrupted) {
            EndOfInputSeen();
            return kTerminalEndOfInput;
        }
    }
}

void TerminalRestore()
{
    if (gRaw == 0)
        return;
    tcsetattr(STDIN_FILENO, TCSANOW, &gSaved);
    gRaw = 0;
}

bool TerminalInputGone()
{
    return gInputGone;
}

void TerminalCatchSignals()
{
    const stack_t stack = {.ss_sp = gSignalStack, .ss_flags = 0, .ss_size = sizeof gSignalStack};
    sigaltstack(&stack, nullptr);
    for (int number = 1; number <= SIGRTMAX; ++number) {
        // What was ignored at the start stays ignored, as in any program run under nohup, and a
        // handler that is there already (a sanitizer's) stays, too. The C library's own signals
        // are refused.
        struct sigaction action = {};
        if (!EndsByDefault(number) || sigaction(number, nullptr, &action) != 0 ||
            action.sa_handler != SIG_DFL)
            continue;
        action = {};
        action.sa_handler = OnSignal;
        action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_ONSTACK;
        sigfillset(&action.sa_mask);
        sigaction(number, &action, nullptr);
    }
    struct sigaction stop = {};
    if (sigaction(SIGTSTP, nullptr, &stop) == 0 && stop.sa_handler != SIG_IGN)
        CatchStop();
}
