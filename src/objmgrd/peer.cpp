// SPDX-License-Identifier: Apache-2.0
// peer.cpp -- see peer.h.
#include "objmgrd/peer.h"

#include <errno.h>
#include <sys/socket.h>

#ifndef SO_PEERGROUPS
#define SO_PEERGROUPS 59
#endif

namespace
{

// More than any kernel gives (NGROUPS_MAX).
constexpr size_t kGroupsMax = 65536;

int GroupsOf(int fd, std::vector<u32> *groups)
{
    groups->resize(32);
    for (;;) {
        socklen_t size = static_cast<socklen_t>(groups->size() * sizeof(u32));
        if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups->data(), &size) == 0) {
            groups->resize(size / sizeof(u32));
            return 0;
        }
        // The size that it takes is in `size`.
        const size_t needed = size / sizeof(u32);
        if (errno != ERANGE || needed <= groups->size() || needed > kGroupsMax)
            return errno;
        groups->resize(needed);
    }
}

}  // namespace

int PeerOf(int fd, Peer *peer)
{
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return errno;
    peer->uid = credentials.uid;
    peer->gid = credentials.gid;
    peer->pid = static_cast<u32>(credentials.pid);
    return GroupsOf(fd, &peer->groups);
}
