// SPDX-License-Identifier: Apache-2.0
// service_question.cpp -- see service_question.h.
#include "objmgr/service_question.h"

#include "platform/clock.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
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

ServiceAnswer AnswerOf(int error)
{
    switch (error) {
    case EACCES:
    case EPERM:
        return ServiceAnswer::Forbidden;
    case EAGAIN:
    case EINTR:
    case ETIMEDOUT:
        return ServiceAnswer::Hung;
    default:
        return ServiceAnswer::Absent;
    }
}

// A local connect with a full queue waits for its send time-out, then ends with EAGAIN. Without a
// deadline (0) it does not wait.
ServiceAnswer Connect(int fd, const sockaddr_un *address, u64 deadlineMs)
{
    for (;;) {
        const int remaining = RemainingMs(deadlineMs);
        const timeval limit = {remaining / 1000, remaining % 1000 * 1000};
        if (remaining == 0 && deadlineMs != 0)
            return ServiceAnswer::Hung;
        if (deadlineMs != 0 && setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit)) != 0)
            return AnswerOf(errno);
        if (connect(fd, reinterpret_cast<const sockaddr *>(address), sizeof(*address)) == 0)
            return ServiceAnswer::Serving;
        if (errno != EINTR && (errno != EAGAIN || deadlineMs == 0))
            return AnswerOf(errno);
    }
}

// Whether whoever listens at the other end is the directory's owner or root.
bool IsTrusted(int fd, const struct stat &directory)
{
    ucred peer = {};
    socklen_t size = sizeof(peer);
    return (directory.st_mode & (S_IWGRP | S_IWOTH)) == 0 &&
           getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == directory.st_uid || peer.uid == 0);
}

// The end of the wait is Hung.
ServiceAnswer WaitFor(int fd, short events, u64 deadlineMs)
{
    for (;;) {
        pollfd wait = {fd, events, 0};
        const int remaining = RemainingMs(deadlineMs);
        const int ready = remaining > 0 ? poll(&wait, 1, remaining) : 0;
        if (ready > 0)
            return ServiceAnswer::Serving;
        if (ready == 0 || errno != EINTR)
            return ServiceAnswer::Hung;
    }
}

// Sends the packet and takes the answer in its place; *size becomes the answer's. A connection that
// ends without one counts as no answer.
ServiceAnswer Exchange(int fd, u8 *packet, size_t *size, u64 deadlineMs)
{
    ServiceAnswer answer = WaitFor(fd, POLLOUT, deadlineMs);
    if (answer != ServiceAnswer::Serving)
        return answer;
    if (send(fd, packet, *size, MSG_NOSIGNAL | MSG_DONTWAIT) < 0)
        return ServiceAnswer::Hung;
    answer = WaitFor(fd, POLLIN, deadlineMs);
    if (answer != ServiceAnswer::Serving)
        return answer;
    const ssize_t received = recv(fd, packet, kMethodPacketMax, MSG_DONTWAIT);
    if (received <= 0)
        return ServiceAnswer::Hung;
    *size = static_cast<size_t>(received);
    return ServiceAnswer::Serving;
}

// The directory is open: its path may be longer than an address, and must not become another one
// between the look at it and the connection. *out is connected to a service to be trusted, or -1.
ServiceAnswer ConnectIn(int directoryFd, u64 deadlineMs, int *out)
{
    *out = -1;
    struct stat info;
    if (fstat(directoryFd, &info) != 0)
        return AnswerOf(errno);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "/proc/self/fd/%d/%s", directoryFd,
             kStoreSocketName);
    const int blocking = deadlineMs != 0 ? 0 : SOCK_NONBLOCK;
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | blocking, 0);
    if (fd < 0)
        return AnswerOf(errno);
    ServiceAnswer answer = Connect(fd, &address, deadlineMs);
    if (answer == ServiceAnswer::Serving && !IsTrusted(fd, info))
        answer = ServiceAnswer::NotTrusted;
    if (answer == ServiceAnswer::Serving)
        *out = fd;
    else
        close(fd);
    return answer;
}

ServiceAnswer ConnectTo(const char *directory, u64 deadlineMs, int *out)
{
    *out = -1;
    const int directoryFd = open(directory, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (directoryFd < 0)
        return AnswerOf(errno);
    const ServiceAnswer answer = ConnectIn(directoryFd, deadlineMs, out);
    close(directoryFd);
    return answer;
}

ServiceAnswer Ask(const char *directory, u8 *packet, size_t *size, u32 timeoutMs)
{
    const u64 deadlineMs = ClockMs() + timeoutMs;
    int fd = -1;
    ServiceAnswer answer = ConnectTo(directory, deadlineMs, &fd);
    if (answer == ServiceAnswer::Serving) {
        answer = Exchange(fd, packet, size, deadlineMs);
        close(fd);
    }
    return answer;
}

}  // namespace

ServiceAnswer ServiceAsk(const char *directory, u32 timeoutMs, ServiceFacts *facts)
{
    u8 packet[kMethodPacketMax];
    memset(facts, 0, sizeof(*facts));
    size_t size = ServicePackQuestion(packet);
    const ServiceAnswer answer = Ask(directory, packet, &size, timeoutMs);
    if (answer != ServiceAnswer::Serving)
        return answer;
    if (!ServiceParseFacts(packet, size, facts))
        return ServiceAnswer::OtherVersion;
    const bool mayLogIn = (facts->rights & kPrivilegeLogin) != 0;
    return mayLogIn ? ServiceAnswer::Serving : ServiceAnswer::NoRight;
}

ServiceAnswer ServiceTell(const char *directory, u32 timeoutMs, const LoginNotice *notice)
{
    u8 packet[kMethodPacketMax];
    size_t size = LoginPackNotice(notice, packet);
    const ServiceAnswer answer = Ask(directory, packet, &size, timeoutMs);
    MethodReply reply;
    if (answer == ServiceAnswer::Serving &&
        (!MethodParseReply(packet, size, &reply) || reply.status != kCimOk))
        return ServiceAnswer::OtherVersion;
    return answer;
}

int ServiceHold(const char *directory, u32 timeoutMs, const LoginNotice *notice)
{
    const u64 deadlineMs = timeoutMs != 0 ? ClockMs() + timeoutMs : 0;
    u8 packet[kMethodPacketMax];
    const size_t size = LoginPackNotice(notice, packet);
    int fd = -1;
    if (ConnectTo(directory, deadlineMs, &fd) != ServiceAnswer::Serving)
        return -1;
    // A packet has room in the queue of a connection that is new.
    if (send(fd, packet, size, MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
        close(fd);
        return -1;
    }
    if (timeoutMs != 0)
        WaitFor(fd, POLLIN, deadlineMs);
    return fd;
}

ServiceHeld ServiceHoldOf(int connection)
{
    u8 packet[kMethodPacketMax];
    const ssize_t size = recv(connection, packet, sizeof(packet), MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EINTR))
        return ServiceHeld::Silent;
    if (size <= 0)
        return ServiceHeld::Ended;
    MethodReply reply;
    const bool known = MethodParseReply(packet, static_cast<size_t>(size), &reply) &&
                       reply.status == kCimOk && reply.result == kLoginRemembered;
    return known ? ServiceHeld::Known : ServiceHeld::Declined;
}

ServiceAnswer ServiceTellOver(int connection, u32 timeoutMs, const LoginNotice *notice)
{
    u8 packet[kMethodPacketMax];
    const size_t size = LoginPackNotice(notice, packet);
    if (send(connection, packet, size, MSG_NOSIGNAL | MSG_DONTWAIT) < 0)
        return ServiceAnswer::Absent;
    return WaitFor(connection, POLLIN, ClockMs() + timeoutMs);
}

const char *ServiceDirectory()
{
    const char *directory = secure_getenv("ZOROBJMGR");
    return directory != nullptr && *directory != '\0' ? directory : kObjMgrDefaultDir;
}
