// SPDX-License-Identifier: Apache-2.0
// answers_once.cpp -- see answers_once.h.
#include "objmgrd/ipmi/answers_once.h"

#include "platform/types.h"

#include <algorithm>
#include <errno.h>
#include <sys/socket.h>
#include <vector>

#include <freeipmi/freeipmi.h>

namespace
{

using Packet = std::vector<u8>;

// An opening has six answers, and some more where requests are sent again.
constexpr size_t kPacketsMax = 64;

thread_local bool gOnce = false;
thread_local std::vector<Packet> gCame;

// Where the type of the payload stands in a packet of IPMI 2.0, and where its message tag.
constexpr size_t kAuthTypeAt = 4;
constexpr size_t kPayloadAt = 5;
constexpr size_t kTagAt = 16;
constexpr u8 kRmcpPlus = 0x06;
// Of an opening: from its first request (0x10) to its last answer (RAKP message 4).
constexpr u8 kPayloadFirst = 0x10;
constexpr u8 kPayloadLast = 0x15;

bool IsOfOpening(const Packet &packet)
{
    return packet.size() > kTagAt && packet[kAuthTypeAt] == kRmcpPlus &&
           packet[kPayloadAt] >= kPayloadFirst && packet[kPayloadAt] <= kPayloadLast;
}

// A request that the network doubled is answered twice, and not alike.
bool AnswerSame(const Packet &a, const Packet &b)
{
    if (IsOfOpening(a) && IsOfOpening(b))
        return a[kPayloadAt] == b[kPayloadAt] && a[kTagAt] == b[kTagAt];
    return a == b;
}

bool CameBefore(const u8 *bytes, size_t size)
{
    const Packet packet(bytes, bytes + size);
    if (std::any_of(gCame.begin(), gCame.end(),
                    [&](const Packet &before) { return AnswerSame(before, packet); }))
        return true;
    if (gCame.size() < kPacketsMax)
        gCame.push_back(packet);
    return false;
}

ssize_t Receive(int fd, void *buffer, size_t size, int flags, sockaddr *from, socklen_t *fromSize)
{
    if (buffer == nullptr || size == 0) {
        errno = EINVAL;
        return -1;
    }
    const socklen_t room = fromSize != nullptr ? *fromSize : 0;
    for (;;) {
        const ssize_t got = recvfrom(fd, buffer, size, flags, from, fromSize);
        if (!gOnce || got <= 0 || (flags & MSG_PEEK) != 0 ||
            !CameBefore(static_cast<const u8 *>(buffer), static_cast<size_t>(got)))
            return got;
        if (fromSize != nullptr)
            *fromSize = room;
    }
}

}  // namespace

AnswersOnce::AnswersOnce()
{
    gOnce = true;
}

AnswersOnce::~AnswersOnce()
{
    gOnce = false;
    gCame = {};
}

size_t AnswersOnce::Count()
{
    return gCame.size();
}

extern "C" {

ssize_t ipmi_lan_recvfrom(int fd, void *buffer, size_t size, int flags, sockaddr *from,
                          socklen_t *fromSize)
{
    return Receive(fd, buffer, size, flags, from, fromSize);
}

ssize_t ipmi_rmcpplus_recvfrom(int fd, void *buffer, size_t size, int flags, sockaddr *from,
                               socklen_t *fromSize)
{
    return Receive(fd, buffer, size, flags, from, fromSize);
}
}
