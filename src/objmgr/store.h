// SPDX-License-Identifier: Apache-2.0
// store.h -- the object manager's directory, and the limits of what it stores.
//
// The directory (ZOROBJMGR) belongs to the user that the service runs as and is writable for nobody
// else; a client reads from no other. It holds:
//   image      all instances, written by the service alone (objmgr/image.h)
//   alive      a file on which the running service holds a write lock of its open file description:
//              a free lock is a dead service
//   socket     the service's local socket, SOCK_SEQPACKET (objmgr/protocol.h)
//   lock       the service's own, that it is alone there; nobody else can open it
#ifndef OBJMGR_STORE_H
#define OBJMGR_STORE_H

#include "objmgr/objmgr.h"

constexpr char kStoreImageName[] = "image";
constexpr char kStoreLockName[] = "lock";
constexpr char kStoreAliveName[] = "alive";
constexpr char kStoreSocketName[] = "socket";
// A property name that ends like this is the fourteen-digit form of the property before the
// semicolon.
constexpr char kStoreTimestampSuffix[] = ";YYYYMMDDHHMMSS";
constexpr size_t kStoreTimestampSuffixLength = sizeof(kStoreTimestampSuffix) - 1;

// The directory used when ZOROBJMGR is not set.
constexpr char kObjMgrDefaultDir[] = "/run/zor/objmgr";

// A service rewrites its heartbeat at least every kHeartbeatPeriodMs; a client takes one that is
// older than kHeartbeatLimitMs for a hung service.
constexpr u32 kHeartbeatPeriodMs = 500;
constexpr u32 kHeartbeatLimitMs = 3000;

// Text of one property, in bytes without its NUL: what the largest work buffer of a client
// (1024 bytes) takes whole. Longer text is cut when it enters the store.
constexpr u32 kStoreTextMax = 1023;
// Name of one property, in bytes without its NUL, the suffix of the form with digits included.
constexpr u32 kStorePropertyNameMax = 63;
static_assert(kStorePropertyNameMax <= UINT8_MAX && kStoreTextMax <= UINT16_MAX,
              "the lengths of names and texts fit their fields");
// Canonical object path, in bytes without its NUL.
constexpr u32 kStorePathMax = 511;

#endif
