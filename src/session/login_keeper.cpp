// SPDX-License-Identifier: Apache-2.0
// login_keeper.cpp -- see login_keeper.h.
#include "session/login_keeper.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "session/registry.h"

namespace
{

// The keeper's own descriptors, behind the standard ones.
constexpr int kLife = 3;
constexpr int kFile = 4;

// The same on every architecture; the C library's headers may be older.
constexpr long kCloseRange = 436;

void CloseFrom(int first)
{
    if (syscall(kCloseRange, first, ~0u, 0) == 0)
        return;
    const long most = sysconf(_SC_OPEN_MAX);
    for (int descriptor = first; descriptor < most; ++descriptor)
        close(descriptor);
}

// Two descriptors may stand where the other is to go: they are moved out of the way first.
bool TakeDescriptors(int life, int file)
{
    life = fcntl(life, F_DUPFD, kFile + 1);
    file = fcntl(file, F_DUPFD, kFile + 1);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (life < 0 || file < 0 || nothing < 0 || dup2(life, kLife) < 0 || dup2(file, kFile) < 0)
        return false;
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard)
        if (dup2(nothing, standard) < 0)
            return false;
    CloseFrom(kFile + 1);
    return true;
}

[[noreturn]] void Keep(const char *directory, u32 id, int lock, int life)
{
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, nullptr);
    setsid();
    prctl(PR_SET_NAME, "smclp-keeper", 0, 0, 0);
    // Opened by its path alone the file is no lock, and no other file can take its number.
    char path[32];
    snprintf(path, sizeof(path), "/proc/self/fd/%d", lock);
    const int file = open(path, O_PATH | O_CLOEXEC);
    if (file < 0 || !TakeDescriptors(life, file))
        _exit(1);
    char byte;
    while (read(kLife, &byte, 1) < 0 && errno == EINTR) {
    }
    RegistryCloseSession(directory, id, kFile);
    _exit(0);
}

}  // namespace

bool LoginKeeperStart(const char *directory, u32 id, int lock, LoginKeeper *keeper)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    keeper->pid = fork();
    if (keeper->pid == 0) {
        close(ends[1]);
        Keep(directory, id, lock, ends[0]);
    }
    const int error = errno;
    close(ends[0]);
    keeper->life = ends[1];
    if (keeper->pid < 0)
        close(ends[1]);
    errno = error;
    return keeper->pid > 0;
}

void LoginKeeperEnd(LoginKeeper *keeper)
{
    kill(keeper->pid, SIGKILL);  // also where somebody has stopped it
    while (waitpid(keeper->pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    close(keeper->life);
}
