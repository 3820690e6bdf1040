// SPDX-License-Identifier: Apache-2.0
// peer.h -- who is at the other end of a connection, as the kernel says.
#ifndef OBJMGRD_PEER_H
#define OBJMGRD_PEER_H

#include "platform/types.h"

#include <vector>

// Everything as it was when the peer connected: what it does to itself later, or to whom it hands
// the connection, changes nothing.
struct Peer {
    u32 uid = 0;
    u32 gid = 0;
    u32 pid = 0;
    std::vector<u32> groups;  // supplementary; also where there are more than 16
};

// The kernel's names for what has no number in the service's user namespace. Who comes as one of
// them may be anybody.
constexpr u32 kOverflowId = 65534;

// Fills *peer from a connected local socket; 0 or an errno value.
int PeerOf(int fd, Peer *peer);

#endif
