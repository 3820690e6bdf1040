// SPDX-License-Identifier: Apache-2.0
// login_watch.cpp -- one loop over signals, with a look at the session once a second.
#include "session/login_watch.h"

#include <errno.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "session/registry.h"

namespace
{

constexpr i64 kLookNanoseconds = 1'000'000'000;
constexpr i64 kKillNanoseconds = 1'000'000'000;  // from the first signal to KILL

// Sent to smclp-login, meant for the session. Stopping and continuing stay with the kernel.
constexpr int kPassedOn[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM};

sigset_t Awaited()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    for (int number : kPassedOn)
        sigaddset(&signals, number);
    return signals;
}

i64 Now()
{
    const timespec now = RegistryNow();
    return static_cast<i64>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

// --- A look at the session -------------------------------------------------------------------

bool IsIdle(const LoginSession *session)
{
    struct stat info;
    const timespec now = RegistryNow();
    return fstat(session->lock, &info) == 0 &&
           RegistryExpired(session->idleSeconds, &info.st_mtim, &now);
}

// Input that has ended is no sign: a client may have said all it wanted and wait for the answer.
// Only a terminal that has gone is one; it no longer says that it is a terminal.
bool IsHungUp()
{
    constexpr short kGone = POLLHUP | POLLERR;
    struct stat input;
    pollfd sides[2] = {{STDOUT_FILENO, 0, 0}, {STDIN_FILENO, 0, 0}};
    nfds_t count = fstat(STDIN_FILENO, &input) == 0 && S_ISCHR(input.st_mode) ? 2 : 1;
    return poll(sides, count, 0) > 0 && ((sides[0].revents | sides[1].revents) & kGone) != 0;
}

// Exit: nothing is to be done about it.
LoginEnd Look(const LoginSession *session)
{
    if (!RegistryStands(session->directory, session->id, session->lock))
        return LoginEnd::Removed;
    if (IsIdle(session))
        return LoginEnd::Idle;
    return IsHungUp() ? LoginEnd::HangUp : LoginEnd::Exit;
}

// --- The watch -------------------------------------------------------------------------------

struct Watch {
    LoginEnd why;
    i64 due;  // of the next look, or of KILL once the session is being ended
};

void End(const LoginSession *session, Watch *watch, LoginEnd why, int number)
{
    kill(session->child, number);
    kill(session->child, SIGCONT);  // a stopped child would not see it, and the session never end
    if (watch->why == LoginEnd::Exit) {
        watch->why = why;
        watch->due = Now() + kKillNanoseconds;
    }
}

void OnDue(const LoginSession *session, Watch *watch)
{
    if (watch->why != LoginEnd::Exit) {
        kill(session->child, SIGKILL);
        watch->due = Now() + kKillNanoseconds;
        return;
    }
    if (session->link != nullptr)
        LoginLinkLook(session->link);
    LoginEnd found = Look(session);
    if (found != LoginEnd::Exit)
        End(session, watch, found, SIGHUP);
    else
        watch->due = Now() + kLookNanoseconds;
}

void OnSignal(const LoginSession *session, Watch *watch, int number)
{
    if (number == SIGHUP || number == SIGTERM)
        End(session, watch, LoginEnd::Signal, number);
    else
        kill(session->child, number);
}

}  // namespace

void LoginBlockSignals(sigset_t *before)
{
    // A caller that ignores SIGCHLD would have the child's exit status thrown away.
    signal(SIGCHLD, SIG_DFL);
    signal(SIGPIPE, SIG_IGN);
    sigset_t blocked = Awaited();
    sigaddset(&blocked, SIGTTOU);  // the terminal is put back also from the background
    sigprocmask(SIG_BLOCK, &blocked, before);
}

void LoginDieWith(pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
    if (getppid() != parent)  // it ended before that was set
        _exit(128 + SIGKILL);
}

LoginEnding LoginWatch(const LoginSession *session)
{
    const sigset_t signals = Awaited();
    Watch watch = {LoginEnd::Exit, Now() + kLookNanoseconds};
    for (;;) {
        int status = 0;
        pid_t gone = waitpid(session->child, &status, WNOHANG);
        if (gone == session->child)
            return {watch.why, status};
        if (gone < 0 && errno != EINTR)
            return {LoginEnd::Lost, 0};
        i64 left = watch.due - Now();
        if (left <= 0) {
            OnDue(session, &watch);
            continue;
        }
        const timespec wait = {static_cast<time_t>(left / 1'000'000'000),
                               static_cast<long>(left % 1'000'000'000)};
        int number = sigtimedwait(&signals, nullptr, &wait);
        if (number > 0 && number != SIGCHLD)
            OnSignal(session, &watch, number);
    }
}
