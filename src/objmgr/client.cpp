// SPDX-License-Identifier: Apache-2.0
// client.cpp -- the shell's side of the object manager.
//
// Reads go straight to the service's store: one environment per process, opened at the first
// need, and one read transaction per connection that Close resets and Open renews. So Open costs
// one system call (is the service alive) at most once a millisecond and a read none. Only methods
// cross the socket.
//
// The shell asks for the same few sensors over and over. While the store has not changed, what was
// found for a path is remembered from one connection to the next; a change of the store, which is
// another transaction of it, forgets everything.
//
// The directory is taken from ZOROBJMGR at the first use and stays for the process; the state
// below belongs to the process that built it and is not to be used after fork().
//
// This file is linked into the shell: no C++ run-time library, no heap of its own.
#include "objmgr/faults.h"
#include "objmgr/object_path.h"
#include "objmgr/protocol.h"
#include "objmgr/store.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <lmdb.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

// Where a path leads in one snapshot.
struct FoundInstance {
    const void *record;
    size_t recordSize;
    CimStatus status;  // not 0: record is not to be used
    bool timestampDigits;
};

struct ObjMgrInstance {
    u32 mark;             // kInstanceMark once InitInstance has been here
    ObjMgrHandle handle;  // the connection that the record belongs to; 0: no values
    FoundInstance found;
};

struct Connection {
    MDB_txn *txn;  // kept, reset, from one connection to the next; null: not begun yet
    u64 snapshot;  // its number, see NumberSnapshot
    u32 generation;
    ObjMgrHandle handle;  // 0: closed
    ObjMgrPrivilege privilege;
};

// The longest path that is remembered, in bytes. Longer are only those of log records in the form
// with digits, which the shell reads once each.
static constexpr size_t kRememberedPathMax = 47;
static constexpr u32 kRememberedBits = 9;  // paths that share a place only cost look-ups

// What was found for a path. 44 kB in all, of which only pages in use cost memory.
struct RememberedInstance {
    u64 snapshot;              // where it was found; 0: nowhere yet
    RememberedInstance *next;  // what was asked for after it the last time, or null
    FoundInstance found;
    char path[kRememberedPathMax + 1];
};

static constexpr u32 kInstanceMark = 0x4f4d4f49;
static constexpr u32 kSlotBits = 3;
static constexpr u32 kSlotMask = (1u << kSlotBits) - 1;
static_assert(kObjMgrMaxConnections == kSlotMask + 1, "the low bits of a handle name the slot");

static char sDirectory[PATH_MAX];  // see PathTo
static size_t sDirectoryLength;    // 0: not read yet, or of no use
static MDB_env *sEnv;
static MDB_dbi sDbi;
static int sAliveFd = -1;
static u64 sAliveAtMs;                   // when the service was last seen alive; 0: never
static const volatile u32 *sStoreCount;  // the one in the alive file; null: not mapped
static u32 sOpenedStore;                 // what it was when the store was opened
static Connection sConnections[kObjMgrMaxConnections];
static u32 sOpenConnections;
static u64 sSnapshot;                     // number of the newest snapshot; 0: none yet
static u64 sSnapshotBeatMs;               // the heartbeat in it
static size_t sSnapshotTxnId = SIZE_MAX;  // its transaction; SIZE_MAX: of no store that is open
static RememberedInstance sRemembered[1u << kRememberedBits];
static RememberedInstance *sLastFound = sRemembered;  // the one asked for before, at first any

static u64 NowMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<u64>(now.tv_sec) * 1000 + static_cast<u64>(now.tv_nsec) / 1000000;
}

// ---- the directory and its files ----

// A set-user-id program must not follow its caller to a store of the caller's making.
static bool FindDirectory()
{
    if (sDirectoryLength != 0)
        return true;
    const char *directory = secure_getenv("ZOROBJMGR");
    if (directory == nullptr || *directory == '\0')
        directory = kObjMgrDefaultDir;
    const size_t length = strlen(directory);
    if (length + sizeof("/") + sizeof(kStoreSocketName) > sizeof(sDirectory))
        return false;
    memcpy(sDirectory, directory, length + 1);
    sDirectoryLength = length;
    return true;
}

// The path of one of the directory's files, until the next call. Needs FindDirectory before.
static const char *PathTo(const char *name)
{
    char *end = sDirectory + sDirectoryLength;
    *end = '/';
    memcpy(end + 1, name, strlen(name) + 1);
    return sDirectory;
}

static const char *Directory()
{
    sDirectory[sDirectoryLength] = '\0';
    return sDirectory;
}

// Only a write lock counts: a reader of the file could place no other than a read lock. One command
// opens thousands of connections, so within a millisecond the answer stays.
static bool ServiceIsAlive(u64 nowMs)
{
    if (sAliveAtMs == nowMs)
        return true;
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    const bool alive = fcntl(sAliveFd, F_GETLK, &lock) == 0 && lock.l_type == F_WRLCK;
    sAliveAtMs = alive ? nowMs : 0;
    return alive;
}

// ---- the environment ----

static void CloseFd(int *fd)
{
    if (*fd >= 0)
        close(*fd);
    *fd = -1;
}

// No connection is open when this is called.
static void CloseStore()
{
    for (Connection &connection : sConnections) {
        if (connection.txn != nullptr)
            mdb_txn_abort(connection.txn);
        connection.txn = nullptr;
    }
    if (sEnv != nullptr)
        mdb_env_close(sEnv);
    sEnv = nullptr;
    sSnapshotTxnId = SIZE_MAX;
    if (sStoreCount != nullptr)
        munmap(const_cast<u32 *>(sStoreCount), sizeof(*sStoreCount));
    sStoreCount = nullptr;
    sAliveAtMs = 0;
    CloseFd(&sAliveFd);
}

static MDB_val KeyOf(const char *text, size_t length)
{
    return {length, const_cast<char *>(text)};  // LMDB does not write to keys
}

static void LoadFaults(MDB_txn *txn)
{
    MDB_val key = KeyOf(kStoreFaultsKey, sizeof(kStoreFaultsKey) - 1);
    MDB_val value;
    if (mdb_get(txn, sDbi, &key, &value) == 0)
        FaultsLoad(value.mv_data, value.mv_size);
    else
        FaultsLoad(nullptr, 0);
}

static bool OpenEnvironment()
{
    if (mdb_env_create(&sEnv) != 0) {
        sEnv = nullptr;
        return false;
    }
    int fd = -1;
    MDB_txn *txn = nullptr;
    if (mdb_env_open(sEnv, PathTo(kStoreLinkName), MDB_RDONLY | MDB_NOTLS, 0600) != 0 ||
        mdb_env_get_fd(sEnv, &fd) != 0 || fcntl(fd, F_SETFD, FD_CLOEXEC) != 0 ||
        mdb_txn_begin(sEnv, nullptr, MDB_RDONLY, &txn) != 0)
        return false;
    const bool opened = mdb_dbi_open(txn, nullptr, 0, &sDbi) == 0;
    if (opened)
        LoadFaults(txn);
    mdb_txn_abort(txn);
    return opened;
}

// A file that is too short belongs to a service that has only just begun.
static bool OpenAliveFile(u64 nowMs)
{
    struct stat info;
    sAliveFd = open(PathTo(kStoreAliveName), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (sAliveFd < 0 || !ServiceIsAlive(nowMs) || fstat(sAliveFd, &info) != 0 ||
        info.st_size < static_cast<off_t>(sizeof(*sStoreCount)))
        return false;
    void *mapped = mmap(nullptr, sizeof(*sStoreCount), PROT_READ, MAP_SHARED, sAliveFd, 0);
    if (mapped == MAP_FAILED)
        return false;
    sStoreCount = static_cast<const volatile u32 *>(mapped);
    sOpenedStore = *sStoreCount;
    return true;
}

// The environment of a dead service is not even opened: nobody keeps its lock file in order.
static bool OpenStore(u64 nowMs)
{
    if (!FindDirectory())
        return false;
    // The service may replace the store between two of these steps: then once more.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const bool alive = OpenAliveFile(nowMs);
        if (alive && OpenEnvironment() && *sStoreCount == sOpenedStore)
            return true;
        CloseStore();
        if (!alive)
            return false;
    }
    return false;
}

// Makes the store in use the one that is open. While another connection is open its snapshot must
// stay, so the process keeps the old store until then and the heartbeat there decides.
static bool RefreshStore(u64 nowMs)
{
    if (sEnv == nullptr)
        return OpenStore(nowMs);
    const bool alive = ServiceIsAlive(nowMs);
    if (sOpenConnections > 0 || (alive && *sStoreCount == sOpenedStore))
        return alive;
    CloseStore();  // also when nothing takes its place: its memory stays in use while it is open
    return OpenStore(nowMs);
}

// ---- connections ----

static int BeginSnapshot(Connection *connection)
{
    if (connection->txn != nullptr)
        return mdb_txn_renew(connection->txn);
    const int rc = mdb_txn_begin(sEnv, nullptr, MDB_RDONLY, &connection->txn);
    if (rc != 0)
        connection->txn = nullptr;
    return rc;
}

// A transaction that cannot be renewed (its reader slot was given away, the map has another size)
// is worth one new environment.
static bool TakeSnapshot(Connection *connection, u64 nowMs)
{
    if (BeginSnapshot(connection) == 0)
        return true;
    if (connection->txn != nullptr)
        mdb_txn_abort(connection->txn);
    connection->txn = nullptr;
    if (sOpenConnections == 0) {
        CloseStore();
        if (!OpenStore(nowMs))
            return false;
    }
    return BeginSnapshot(connection) == 0;
}

static bool ReadHeartbeat(const Connection *connection, u64 *beatMs)
{
    MDB_val key = KeyOf(kStoreHeartbeatKey, sizeof(kStoreHeartbeatKey) - 1);
    MDB_val value;
    if (mdb_get(connection->txn, sDbi, &key, &value) != 0 || value.mv_size != sizeof(*beatMs))
        return false;
    memcpy(beatMs, value.mv_data, sizeof(*beatMs));
    return true;
}

// The same number is the same state of the same store, and as long as a connection has it, every
// record found under that number lies where it was: pages that a transaction gives up are written
// over only after it is committed, and then there is another number. False: a store without a
// heartbeat.
static bool NumberSnapshot(Connection *connection)
{
    const size_t txnId = mdb_txn_id(connection->txn);
    if (txnId != sSnapshotTxnId) {
        if (!ReadHeartbeat(connection, &sSnapshotBeatMs))
            return false;
        ++sSnapshot;
    }
    sSnapshotTxnId = txnId;
    connection->snapshot = sSnapshot;
    return true;
}

// A heartbeat from the future is not of this boot.
static bool HeartbeatIsFresh(u64 nowMs)
{
    return nowMs >= sSnapshotBeatMs ? nowMs - sSnapshotBeatMs <= kHeartbeatLimitMs
                                    : sSnapshotBeatMs - nowMs <= kHeartbeatLimitMs;
}

static Connection *FreeConnection()
{
    for (Connection &connection : sConnections) {
        if (connection.handle == 0)
            return &connection;
    }
    return nullptr;
}

// The generation is never 0, so that no handle is, and tells a handle from its predecessors in
// the same slot.
static ObjMgrHandle NewHandle(Connection *connection)
{
    connection->generation = (connection->generation + 1) & (UINT32_MAX >> kSlotBits);
    if (connection->generation == 0)
        connection->generation = 1;
    return connection->generation << kSlotBits | static_cast<u32>(connection - sConnections);
}

static Connection *FindConnection(ObjMgrHandle handle)
{
    Connection *connection = &sConnections[handle & kSlotMask];
    return handle != 0 && connection->handle == handle ? connection : nullptr;
}

static u32 Open(ObjMgrHandle *handle)
{
    if (handle == nullptr)
        return 1;
    *handle = 0;
    // The plan of faults comes with the store, and every call counts there.
    const u64 nowMs = NowMs();
    const bool present = RefreshStore(nowMs);
    const bool fault = FaultsHit(FaultPoint::Open);
    Connection *connection = FreeConnection();
    if (!present || fault || connection == nullptr || !TakeSnapshot(connection, nowMs))
        return 1;
    if (!NumberSnapshot(connection) || !HeartbeatIsFresh(nowMs)) {
        mdb_txn_reset(connection->txn);
        return 1;
    }
    connection->handle = NewHandle(connection);
    *handle = connection->handle;
    connection->privilege = {};
    ++sOpenConnections;
    return 0;
}

static void Close(ObjMgrHandle handle)
{
    Connection *connection = FindConnection(handle);
    if (connection == nullptr)
        return;
    mdb_txn_reset(connection->txn);
    connection->handle = 0;
    --sOpenConnections;
}

static void SetPrivilege(ObjMgrHandle handle, const ObjMgrPrivilege *privilege)
{
    Connection *connection = FindConnection(handle);
    if (connection != nullptr && privilege != nullptr)
        connection->privilege = *privilege;
}

// ---- reading ----

static CimStatus FindRecord(const Connection *connection, const ObjectPath *path,
                            FoundInstance *found)
{
    MDB_val key = KeyOf(path->key, path->keyLength);
    MDB_val record;
    const int rc = mdb_get(connection->txn, sDbi, &key, &record);
    if (rc != 0)
        return rc == MDB_NOTFOUND ? kCimNotFound : kCimFailed;
    CimStatus status;
    StoreCheckRecord(record.mv_data, record.mv_size, &status);
    found->record = record.mv_data;
    found->recordSize = record.mv_size;
    found->timestampDigits = path->timestampDigits;
    return status;
}

// What the store says, without regard to what was found before. property: null for GetInstance.
static FoundInstance LookUp(const Connection *connection, const char *path, const char *property)
{
    FoundInstance found = {};
    ObjectPath parsed;
    found.status = ObjectPathParse(path, &parsed);
    if (found.status == kCimOk)
        found.status = FaultsReadStatus(parsed.key, property);
    if (found.status == kCimOk)
        found.status = FindRecord(connection, &parsed, &found);
    return found;
}

// The one place for a path of `length` bytes, or null when it is not one to remember. The end tells
// the shell's paths apart: an index and the key before it, or the class.
static RememberedInstance *PlaceFor(const char *path, size_t length)
{
    u64 end;
    if (length < sizeof(end) || length > kRememberedPathMax)
        return nullptr;
    memcpy(&end, path + length - sizeof(end), sizeof(end));
    return &sRemembered[end * 0x9e3779b97f4a7c15 >> (64 - kRememberedBits)];  // Fibonacci hashing
}

// Notes that `place` is asked for now. Returns what was found for it.
static const FoundInstance *Follow(RememberedInstance *place)
{
    sLastFound->next = place;
    sLastFound = place;
    return &place->found;
}

// What a path leads to when it is not the one that was to be expected, until the next call. Nothing
// is remembered while a plan of faults has to count every read, nor is kCimFailed: that is no
// answer and may be another the next time. Apart from Find, whose every instruction counts.
__attribute__((noinline)) static const FoundInstance *
FindElsewhere(const Connection *connection, const char *path, const char *property)
{
    static FoundInstance fresh;
    const size_t length = path != nullptr ? strlen(path) : 0;
    RememberedInstance *place = FaultsPlanReads() ? nullptr : PlaceFor(path, length);
    if (place != nullptr && place->snapshot == connection->snapshot &&
        memcmp(place->path, path, length + 1) == 0)
        return Follow(place);
    fresh = LookUp(connection, path, property);
    if (place == nullptr || fresh.status == kCimFailed)
        return &fresh;
    place->snapshot = connection->snapshot;
    place->found = fresh;
    memcpy(place->path, path, length + 1);
    return Follow(place);
}

// What a path leads to, until the next call. property: null for GetInstance. The shell walks the
// same lists again and again: most of the time the path is the one that came after the last one
// before.
static inline const FoundInstance *Find(const Connection *connection, const char *path,
                                        const char *property)
{
    RememberedInstance *next = sLastFound->next;
    if (next == nullptr || path == nullptr || FaultsPlanReads() ||
        next->snapshot != connection->snapshot || strcmp(next->path, path) != 0)
        return FindElsewhere(connection, path, property);
    sLastFound = next;
    return &next->found;
}

// The form with digits where there is one. Apart from FindText, whose every instruction counts.
__attribute__((noinline)) static StoreText FindDigits(const FoundInstance *found,
                                                      const char *property)
{
    const StoreText digits = StoreFindDigits(found->record, found->recordSize, property);
    if (digits.text != nullptr)
        return digits;
    return StoreFindProperty(found->record, found->recordSize, property);
}

// The text of a property, in the form that the path asked for.
static inline StoreText FindText(const FoundInstance *found, const char *property)
{
    if (found->timestampDigits)
        return FindDigits(found, property);
    return StoreFindProperty(found->record, found->recordSize, property);
}

static ObjMgrInstance *InitInstance(void *storage, u32 sizeBytes)
{
    if (FaultsHit(FaultPoint::InitInstance) || storage == nullptr)
        return nullptr;
    const uintptr_t start = reinterpret_cast<uintptr_t>(storage);
    const size_t skip =
        (alignof(ObjMgrInstance) - start % alignof(ObjMgrInstance)) % alignof(ObjMgrInstance);
    if (sizeBytes < skip || sizeBytes - skip < sizeof(ObjMgrInstance))
        return nullptr;
    void *place = static_cast<u8 *>(storage) + skip;
    ObjMgrInstance *instance = static_cast<ObjMgrInstance *>(place);
    instance->mark = kInstanceMark;
    instance->handle = 0;  // without one, found is not looked at
    return instance;
}

static CimStatus GetInstance(ObjMgrHandle handle, const char *path, u32, ObjMgrInstance *instance)
{
    if (instance == nullptr || instance->mark != kInstanceMark)
        return kCimFailed;
    instance->handle = 0;
    const Connection *connection = FindConnection(handle);
    if (connection == nullptr)
        return kCimFailed;
    const FoundInstance *found = Find(connection, path, nullptr);
    if (found->status != kCimOk)
        return found->status;
    instance->handle = handle;
    instance->found = *found;
    return kCimOk;
}

static const char *GetInstanceValue(const ObjMgrInstance *instance, const char *property)
{
    if (instance == nullptr || property == nullptr || instance->mark != kInstanceMark ||
        FindConnection(instance->handle) == nullptr)
        return nullptr;
    const StoreText found = FindText(&instance->found, property);
    return found.status == kCimOk ? found.text : nullptr;
}

static CimStatus GetPropertyValue(ObjMgrHandle handle, const char *path, const char *property,
                                  u16 size, char *buffer)
{
    const Connection *connection = FindConnection(handle);
    if (connection == nullptr)
        return kCimFailed;
    if (property == nullptr || buffer == nullptr || size == 0)
        return kCimInvalidParameter;
    const FoundInstance *found = Find(connection, path, property);
    if (found->status != kCimOk)
        return found->status;
    const StoreText value = FindText(found, property);
    if (value.status != kCimOk)
        return value.status;
    const size_t length = strnlen(value.text, size_t{size} - 1);
    memcpy(buffer, value.text, length);
    buffer[length] = '\0';
    return kCimOk;
}

// ---- methods ----

// Milliseconds until the deadline, 0 when it has passed.
static int RemainingMs(u64 deadlineMs)
{
    const u64 now = NowMs();
    return now < deadlineMs ? static_cast<int>(deadlineMs - now) : 0;
}

static bool IsTransient(int error)
{
    return error == EINTR || error == EAGAIN;
}

// A socket's address is shorter than a path may be: a directory too deep is reached through its
// descriptor, left in *directoryFd (else -1) for the caller to close.
static bool SocketAddress(sockaddr_un *address, int *directoryFd)
{
    *directoryFd = -1;
    *address = {};
    address->sun_family = AF_UNIX;
    const char *path = PathTo(kStoreSocketName);
    if (strlen(path) < sizeof(address->sun_path)) {
        memcpy(address->sun_path, path, strlen(path) + 1);
        return true;
    }
    *directoryFd = open(Directory(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    snprintf(address->sun_path, sizeof(address->sun_path), "/proc/self/fd/%d/%s", *directoryFd,
             kStoreSocketName);
    return *directoryFd >= 0;
}

// A local connect never ends in "in progress": with a full queue it waits for its send time-out.
static bool ConnectTo(int fd, const sockaddr_un *address, u64 deadlineMs)
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

static int ConnectToService(u64 deadlineMs)
{
    sockaddr_un address;
    int directoryFd;
    int fd = -1;
    if (SocketAddress(&address, &directoryFd)) {
        fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        if (fd >= 0 && !ConnectTo(fd, &address, deadlineMs))
            CloseFd(&fd);
    }
    CloseFd(&directoryFd);
    return fd;
}

static bool WaitFor(int fd, short events, u64 deadlineMs)
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

static bool SendPacket(int fd, const u8 *packet, size_t size, u64 deadlineMs)
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
static size_t ReceivePacket(int fd, u8 *packet, u64 deadlineMs)
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

static CimStatus CallService(u8 *packet, size_t size, MethodReply *reply)
{
    const u64 deadlineMs = NowMs() + kObjMgrMethodTimeoutMs;
    int fd = ConnectToService(deadlineMs);
    if (fd < 0)
        return kCimFailed;
    size_t answer = 0;
    if (SendPacket(fd, packet, size, deadlineMs))
        answer = ReceivePacket(fd, packet, deadlineMs);
    CloseFd(&fd);
    return MethodParseReply(packet, answer, reply) ? reply->status : kCimFailed;
}

// The connection keeps its snapshot: what the method changed is seen by the next connection.
static CimStatus InvokeMethod(ObjMgrHandle handle, const char *path, const char *method,
                              const char *args, u32, u32, u32 *result)
{
    const Connection *connection = FindConnection(handle);
    if (connection == nullptr)
        return kCimFailed;
    ObjectPath parsed;
    if (ObjectPathParse(path, &parsed) != kCimOk)
        return kCimInvalidParameter;
    u8 packet[kMethodPacketMax];
    const u32 size = MethodPackRequest(&connection->privilege, parsed.key, method, args, packet);
    if (size == 0)
        return kCimInvalidParameter;
    MethodReply reply;
    const CimStatus status = CallService(packet, size, &reply);
    if (status == kCimOk && result != nullptr)
        *result = reply.result;
    return status;
}

static const ObjMgrInterface kInterface = {
    .Open = Open,
    .Close = Close,
    .GetInstance = GetInstance,
    .place4To8 = {},
    .GetPropertyValue = GetPropertyValue,
    .place10 = nullptr,
    .InvokeMethod = InvokeMethod,
    .place12To14 = {},
    .InitInstance = InitInstance,
    .place16To18 = {},
    .GetInstanceValue = GetInstanceValue,
    .SetPrivilege = SetPrivilege,
};

const ObjMgrInterface *ObjMgrGetInterface()
{
    if (sEnv == nullptr)
        OpenStore(NowMs());  // for the plan of faults; without a store it is Open that fails
    return FaultsHit(FaultPoint::Interface) ? nullptr : &kInterface;
}
