// store.h -- where the object manager keeps its instances, and how one instance is packed.
//
// The object manager's directory (ZOROBJMGR) holds:
//   store      a symbolic link to the directory of the store in use, store-<random>/, an LMDB
//              environment (data.mdb, lock.mdb) that the service builds anew at every start and
//              switches to atomically by replacing the link
//   alive      a file on which the running service holds a POSIX write lock: a free lock is a
//              dead service, seen at once
//   socket     the service's local socket, SOCK_SEQPACKET (objmgr/protocol.h)
//
// Inside the environment, in the unnamed database:
//   key  the canonical object path without its NUL (objmgr/object_path.h)
//   value  one packed instance:
//       u32  CIM status of the instance (native byte order; 0: served)
//       then for each property, in any order (those that are read most had better come first):
//       name, NUL, u32 CIM status of the property (0: served), text, NUL
//     Nothing is aligned. A property with a non-zero status has an empty text.
//   A property name that ends in ";YYYYMMDDHHMMSS" is the fourteen-digit form of the property
//   before the semicolon.
// Two records are not instances; their keys begin with a point, as no class name does:
//   .heartbeat  u64: CLOCK_MONOTONIC in milliseconds when the service last said that it works
//   .faults     packed like an instance: faults that a simulated host wants its clients to play
//               (objmgr/faults.h); absent on every real controller
#ifndef OBJMGR_STORE_H
#define OBJMGR_STORE_H

#include "objmgr/objmgr.h"

constexpr char kStoreLinkName[] = "store";
constexpr char kStoreAliveName[] = "alive";
constexpr char kStoreSocketName[] = "socket";
constexpr char kStoreHeartbeatKey[] = ".heartbeat";
constexpr char kStoreFaultsKey[] = ".faults";
constexpr char kStoreTimestampSuffix[] = ";YYYYMMDDHHMMSS";

// The directory used when ZOROBJMGR is not set.
constexpr char kObjMgrDefaultDir[] = "/run/zor/objmgr";

// A service rewrites its heartbeat at least every kHeartbeatPeriodMs; a client takes one that is
// older than kHeartbeatLimitMs for a hung service.
constexpr u32 kHeartbeatPeriodMs = 500;
constexpr u32 kHeartbeatLimitMs = 3000;

// Text of one property, in bytes without its NUL: what the largest work buffer of a client
// (1024 bytes) takes whole. Longer text is cut when it enters the store.
constexpr u32 kStoreTextMax = 1023;
// Name of one property, in bytes without its NUL.
constexpr u32 kStorePropertyNameMax = 63;
// Canonical object path, in bytes: what LMDB takes as a key in its default build.
constexpr u32 kStorePathMax = 511;
// Reader slots of the environment: shells that may be connected at the same time.
constexpr u32 kStoreMaxReaders = 1100;
// Size of the map in bytes. A 32-bit controller has the room too: only pages in use cost memory.
constexpr size_t kStoreMapSize = size_t{64} * 1024 * 1024;

// Reads the status of a packed instance. False (and *status kCimFailed) when `size` bytes at
// `record` are no packed instance's beginning.
bool StoreReadStatus(const void *record, size_t size, CimStatus *status);

// Finds a property by name (case matters) in a packed instance. True: *status and *text are set;
// text points into the record, is NUL-terminated there and is empty when *status is not 0. False:
// no such property, or the record is cut off or corrupt before it (never read beyond `size`).
bool StoreFindProperty(const void *record, size_t size, const char *property, CimStatus *status,
                       const char **text);

#endif
