// SPDX-License-Identifier: Apache-2.0
// closer.cpp -- see closer.h.
#include "objmgrd/closer.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

// One descriptor as the control part of a message.
union Control {
    cmsghdr head;
    char bytes[CMSG_SPACE(sizeof(int))];
};

void CloseRange(unsigned first, unsigned last)
{
#ifdef SYS_close_range
    if (syscall(SYS_close_range, first, last, 0) == 0)
        return;
#endif
    for (unsigned fd = first; fd <= last && fd < 65536; ++fd)
        close(static_cast<int>(fd));
}

// In the child of a process that may have threads: system calls alone. Whatever the service has
// open, its locks among it, is not held here.
[[noreturn]] void CloseWhatComes(int fd, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NAME, "objmgrd-closer");
    if (fd > 0)
        CloseRange(0, static_cast<unsigned>(fd) - 1);
    CloseRange(static_cast<unsigned>(fd) + 1, ~0u);
    if (getppid() != parent)
        _exit(0);
    // A descriptor is closed with the message after it: by then the service has closed its own, and
    // this is the last one.
    int taken = -1;
    for (;;) {
        char byte;
        iovec part = {&byte, 1};
        Control control;
        msghdr message = {};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = &control;
        message.msg_controllen = sizeof control;
        const ssize_t got = recvmsg(fd, &message, MSG_CMSG_CLOEXEC);
        if (got <= 0)
            _exit(0);
        const cmsghdr *head = CMSG_FIRSTHDR(&message);
        if (head != nullptr && head->cmsg_type == SCM_RIGHTS) {
            memcpy(&taken, CMSG_DATA(head), sizeof taken);
        } else if (taken >= 0) {
            close(taken);
            taken = -1;
        }
    }
}

}  // namespace

Closer::~Closer()
{
    Stop();
}

int Closer::Start()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return errno;
    // The child takes no signal that is meant for the service.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid == 0)
        CloseWhatComes(ends[1], parent);
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(ends[1]);
    if (pid < 0) {
        close(ends[0]);
        return error;
    }
    fd_ = ends[0];
    pid_ = pid;
    return 0;
}

// One that is held by what it closes is gone a little later.
void Closer::Kill()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        killed_.push_back(pid_);
        close(fd_);
    }
    pid_ = -1;
    fd_ = -1;
    std::erase_if(killed_, [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
}

void Closer::Stop()
{
    Kill();
}

bool Closer::Give(int fd) const
{
    char byte = 0;
    iovec part = {&byte, 1};
    Control control = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    cmsghdr *head = CMSG_FIRSTHDR(&message);
    head->cmsg_level = SOL_SOCKET;
    head->cmsg_type = SCM_RIGHTS;
    head->cmsg_len = CMSG_LEN(sizeof fd);
    memcpy(CMSG_DATA(head), &fd, sizeof fd);
    return sendmsg(fd_, &message, MSG_DONTWAIT | MSG_NOSIGNAL) == 1;
}

void Closer::Close(int fd)
{
    if (pid_ <= 0) {
        close(fd);
        return;
    }
    shutdown(fd, SHUT_RDWR);
    if (!Give(fd)) {
        Kill();
        if (Start() == 0)
            Give(fd);
    }
    // Not the last one: the process, or what is on its way to it, has another.
    close(fd);
    if (pid_ > 0 && send(fd_, "", 1, MSG_DONTWAIT | MSG_NOSIGNAL) != 1) {
        Kill();
        Start();
    }
}
