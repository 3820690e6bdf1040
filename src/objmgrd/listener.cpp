// SPDX-License-Identifier: Apache-2.0
// listener.cpp -- see listener.h.
#include "objmgrd/listener.h"

#include "objmgr/store.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#ifndef SO_PASSRIGHTS
#define SO_PASSRIGHTS 83
#endif

namespace
{

constexpr int kBacklog = 64;

// Name of the socket in the directory that is open as `dirFd`; fits sun_path however long the path
// of the directory is.
sockaddr_un SocketAddress(int dirFd)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", dirFd,
             kStoreSocketName);
    return address;
}

}  // namespace

Listener::~Listener()
{
    Close();
}

// 0 or an errno value; *out is a non-blocking listener whose name stands in the directory.
int Listener::Listen(int *out)
{
    if (unlinkat(dirFd_, kStoreSocketName, 0) != 0 && errno != ENOENT)
        return errno;
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return errno;
    // What connects takes this over.
    const int none = 0;
    refuses_ = options_.kernelRefuses &&
               setsockopt(fd, SOL_SOCKET, SO_PASSRIGHTS, &none, sizeof none) == 0;
    const sockaddr_un address = SocketAddress(dirFd_);
    // The umask is the process's: it is put back, since a child may be started later. Nobody can
    // connect before listen.
    const mode_t before = umask(options_.group ? 0117 : 0177);
    const int bound = bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    umask(before);
    if (bound != 0 || fstatat(dirFd_, kStoreSocketName, &name_, AT_SYMLINK_NOFOLLOW) != 0 ||
        listen(fd, kBacklog) != 0) {
        const int error = errno;
        close(fd);
        if (bound == 0)
            unlinkat(dirFd_, kStoreSocketName, 0);
        return error;
    }
    *out = fd;
    return 0;
}

int Listener::Open(int dirFd, const ListenerOptions &options)
{
    Close();
    dirFd_ = dirFd;
    options_ = options;
    int error = Listen(&fd_);
    if (error == 0 && !refuses_)
        error = closer_.Start();
    if (error != 0)
        Close();
    return error;
}

bool Listener::HasName() const
{
    struct stat now;
    return fd_ >= 0 && fstatat(dirFd_, kStoreSocketName, &now, AT_SYMLINK_NOFOLLOW) == 0 &&
           now.st_dev == name_.st_dev && now.st_ino == name_.st_ino && S_ISSOCK(now.st_mode);
}

int Listener::Check(bool *anew)
{
    *anew = false;
    if (HasName())
        return 0;
    int fd = -1;
    const int error = Listen(&fd);
    if (error != 0)
        return error;
    if (fd_ >= 0)
        Drop(fd_);
    fd_ = fd;
    *anew = true;
    return 0;
}

void Listener::Close()
{
    if (HasName())
        unlinkat(dirFd_, kStoreSocketName, 0);
    if (fd_ >= 0)
        Drop(fd_);
    fd_ = -1;
    closer_.Stop();
}

// Looked at without room for descriptors, a packet that has some says that it was cut.
ssize_t Listener::Receive(int fd, void *packet, size_t size) const
{
    if (!refuses_) {
        char byte;
        iovec part = {&byte, 1};
        msghdr message = {};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        if (recvmsg(fd, &message, MSG_PEEK | MSG_DONTWAIT) < 0)
            return -1;
        if ((message.msg_flags & MSG_CTRUNC) != 0) {
            errno = EBADMSG;
            return -1;
        }
    }
    return recv(fd, packet, size, MSG_DONTWAIT | MSG_TRUNC);
}

void Listener::Drop(int fd)
{
    if (refuses_)
        close(fd);
    else
        closer_.Close(fd);
}
