// SPDX-License-Identifier: Apache-2.0
// store.h -- where the object manager keeps its instances, and how one instance is packed.
//
// The object manager's directory (ZOROBJMGR) holds:
//   store      a symbolic link to the directory of the store in use, store-<random>/, an LMDB
//              environment (data.mdb, lock.mdb) that the service builds anew at every start and
//              switches to atomically by replacing the link
//   alive      a file on which the running service holds a POSIX write lock: a free lock is a
//              dead service. Its first four bytes are a u32 that counts up whenever another
//              store, or none, is in use: a client maps it and so sees a change at once, without
//              asking the system
//   socket     the service's local socket, SOCK_SEQPACKET (objmgr/protocol.h)
//
// Inside the environment, in the unnamed database:
//   key  the canonical object path without its NUL (objmgr/object_path.h)
//   value  one packed instance:
//       u32  CIM status of the instance (native byte order; 0: served)
//       then for each property, in any order (those that are read most had better come first):
//       u32 CIM status of the property (0: served), u16 bytes of its text, u8 bytes of its name,
//       name, NUL, text, NUL
//     Nothing is aligned. Lengths are without the NULs. A property with a non-zero status has an
//     empty text.
//   A property name that ends in ";YYYYMMDDHHMMSS" is the fourteen-digit form of the property
//   before the semicolon.
// Two records are not instances; their keys begin with a point, as no class name does:
//   .heartbeat  u64: CLOCK_MONOTONIC in milliseconds when the service last said that it works
//   .faults     packed like an instance: faults that a simulated host wants its clients to play
//               (objmgr/faults.h); absent on every real controller
#ifndef OBJMGR_STORE_H
#define OBJMGR_STORE_H

#include "objmgr/objmgr.h"

#include <string.h>

constexpr char kStoreLinkName[] = "store";
constexpr char kStoreAliveName[] = "alive";
constexpr char kStoreSocketName[] = "socket";
constexpr char kStoreHeartbeatKey[] = ".heartbeat";
constexpr char kStoreFaultsKey[] = ".faults";
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
// What stands in front of a property's name: see the packed instance above.
constexpr u32 kStorePropertyHeadSize = 7;
static_assert(kStorePropertyNameMax <= UINT8_MAX && kStoreTextMax <= UINT16_MAX,
              "the lengths of names and texts fit their fields");
// Canonical object path, in bytes: what LMDB takes as a key in its default build.
constexpr u32 kStorePathMax = 511;
// Reader slots of the environment: shells that may be connected at the same time.
constexpr u32 kStoreMaxReaders = 1100;
// Size of the map in bytes. A 32-bit controller has the room too: only pages in use cost memory.
constexpr size_t kStoreMapSize = size_t{64} * 1024 * 1024;

// Whether the `size` bytes at `record` (null: none) are one packed instance, whole and in order;
// never reads beyond them. *status is its status, or kCimFailed when it is none.
bool StoreCheckRecord(const void *record, size_t size, CimStatus *status);

// What a record says of one property.
struct StoreText {
    CimStatus status;  // the property's own, or kCimNoSuchProperty where there is none
    const char *text;  // in the record, NUL-terminated there, empty when the property's own status
                       // is not 0; null: there is no such property
};

// Finds a property by name (case matters) in a record that StoreCheckRecord has found right. There
// is none by the name of null, nor by an empty one. A form with digits has no name of its own and
// is not found here.
inline StoreText StoreFindProperty(const void *record, size_t size, const char *property);

// The same for the fourteen-digit form of the property.
StoreText StoreFindDigits(const void *record, size_t size, const char *property);

// ---- how StoreFindProperty does it: here, since one command can call it a million times ----

// One property of a record, where it lies.
struct StoreProperty {
    const char *name;
    size_t nameLength;
    const char *text;
    size_t textLength;
};

// The property whose head is at `at`.
inline StoreProperty StorePropertyAt(const char *at)
{
    u16 textLength;
    memcpy(&textLength, at + sizeof(CimStatus), sizeof(textLength));
    const size_t nameLength = static_cast<u8>(at[kStorePropertyHeadSize - 1]);
    const char *name = at + kStorePropertyHeadSize;
    return {name, nameLength, name + nameLength + 1, textLength};
}

inline const char *StoreFirstOf(const void *record)
{
    return static_cast<const char *>(record) + sizeof(CimStatus);
}

inline const char *StoreEndOf(const StoreProperty &property)
{
    return property.text + property.textLength + 1;
}

inline StoreText StoreTextOf(const StoreProperty &property)
{
    StoreText found;
    memcpy(&found.status, property.name - kStorePropertyHeadSize, sizeof(found.status));
    found.text = found.status == kCimOk ? property.text : property.text + property.textLength;
    return found;
}

inline bool StoreIsDigitForm(const StoreProperty &property)
{
    return property.nameLength >= kStoreTimestampSuffixLength &&
           memcmp(property.name + property.nameLength - kStoreTimestampSuffixLength,
                  kStoreTimestampSuffix, kStoreTimestampSuffixLength) == 0;
}

// Both end in a NUL. The shell reads short names all the time: less than a call of strcmp costs.
inline bool StoreIsSameName(const char *a, const char *b)
{
    while (*a == *b) {
        if (*a == '\0')
            return true;
        ++a;
        ++b;
    }
    return false;
}

StoreText StoreFindProperty(const void *record, size_t size, const char *property)
{
    if (property == nullptr || *property == '\0')
        return {kCimNoSuchProperty, nullptr};
    const char *end = static_cast<const char *>(record) + size;
    for (const char *at = StoreFirstOf(record); at != end;) {
        const StoreProperty found = StorePropertyAt(at);
        if (StoreIsSameName(found.name, property) && !StoreIsDigitForm(found))
            return StoreTextOf(found);
        at = StoreEndOf(found);
    }
    return {kCimNoSuchProperty, nullptr};
}

#endif
