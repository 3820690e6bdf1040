// SPDX-License-Identifier: Apache-2.0
// method_call.cpp -- one method call over the service's socket, seen from the client.
#include "objmgr/method_call.h"

#include "objmgr/image_file.h"
#include "platform/clock.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

// Milliseconds until the deadline, 0 when it has passed.
int RemainingMs(u64 deadlineMs)
{
    const u64 now = ClockMs();
    return now < deadlineMs ? static_cast<int>(deadlineMs - now) : 0;
}

bool IsTransient(int error)
{
    return error == EINTR || error == EAGAIN;
}

// A local connect never ends in "in progress": with a full queue it waits for its send time-out.
bool ConnectTo(int fd, const sockaddr_un *address, u64 deadlineMs)
{
    for (;;) {
        const int remaining = RemainingMs(deadlineMs);
        const timeval limit = {remaining / 1000, remaining % 1000 * 1000};
        if (remaining == 0 || setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit)) != 0)
            return false;
        if (connect(fd, reinterpret_cast<const sockaddr *>(address), sizeof(*address)) == 0)
            return true;
        if (!IsTransient(errno))
            return false;
    }
}

// The socket in the open directory. Its path is used where it fits into an address, which needs no
// /proc; a directory too deep is reached through its descriptor.
sockaddr_un SocketAddress(int directoryFd)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const int length = snprintf(address.sun_path, sizeof(address.sun_path), "%s/%s",
                                ImageDirectory(), kStoreSocketName);
    if (static_cast<size_t>(length) >= sizeof(address.sun_path))
        snprintf(address.sun_path, sizeof(address.sun_path), "/proc/self/fd/%d/%s", directoryFd,
                 kStoreSocketName);
    return address;
}

// Whether the process that listens at the other end is this user's or root's.
bool PeerIs(int fd, uid_t owner)
{
    ucred peer = {};
    socklen_t size = sizeof(peer);
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == owner || peer.uid == 0);
}

// A connection to the service of the open directory, or -1.
int ConnectIn(int directoryFd, u64 deadlineMs)
{
    struct stat info;
    if (fstat(directoryFd, &info) != 0 || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return -1;
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    const sockaddr_un address = SocketAddress(directoryFd);
    if (ConnectTo(fd, &address, deadlineMs) && PeerIs(fd, info.st_uid))
        return fd;
    close(fd);
    return -1;
}

int ConnectToService(u64 deadlineMs)
{
    const char *directory = ImageDirectory();
    const int directoryFd =
        directory != nullptr ? open(directory, O_PATH | O_DIRECTORY | O_CLOEXEC) : -1;
    if (directoryFd < 0)
        return -1;
    const int fd = ConnectIn(directoryFd, deadlineMs);
    close(directoryFd);
    return fd;
}

bool WaitFor(int fd, short events, u64 deadlineMs)
{
    for (;;) {
        pollfd wait = {fd, events, 0};
        const int remaining = RemainingMs(deadlineMs);
        const int ready = remaining > 0 ? poll(&wait, 1, remaining) : 0;
        if (ready > 0)
            return true;
        if (ready == 0 || errno != EINTR)
            return false;
    }
}

bool SendPacket(int fd, const u8 *packet, size_t size, u64 deadlineMs)
{
    while (WaitFor(fd, POLLOUT, deadlineMs)) {
        const ssize_t sent = send(fd, packet, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0)
            return static_cast<size_t>(sent) == size;
        if (!IsTransient(errno))
            return false;
    }
    return false;
}

// The size of the packet, 0 for none. A longer one is cut to a size that no reply has.
size_t ReceivePacket(int fd, u8 *packet, u64 deadlineMs)
{
    while (WaitFor(fd, POLLIN, deadlineMs)) {
        const ssize_t received = recv(fd, packet, kMethodPacketMax, MSG_DONTWAIT);
        if (received >= 0)
            return static_cast<size_t>(received);
        if (!IsTransient(errno))
            return 0;
    }
    return 0;
}

}  // namespace

CimStatus MethodCall(u8 *packet, size_t size, u32 timeoutMs, MethodReply *reply)
{
    const u64 deadlineMs = ClockMs() + timeoutMs;
    const int fd = ConnectToService(deadlineMs);
    size_t answer = 0;
    if (fd >= 0) {
        if (SendPacket(fd, packet, size, deadlineMs))
            answer = ReceivePacket(fd, packet, deadlineMs);
        close(fd);
    }
    return MethodParseReply(packet, answer, reply) ? reply->status : kCimFailed;
}
