// SPDX-License-Identifier: Apache-2.0
// client.cpp -- the table of operations, over the process's snapshots, handles and method calls.
//
// The state below these belongs to the process that built it and is not to be used after fork().
// This is linked into the shell: no C++ run-time library, no heap of its own.
#include "objmgr/objmgr.h"

#include "objmgr/faults.h"
#include "objmgr/handles.h"
#include "objmgr/instance.h"
#include "objmgr/method_call.h"
#include "objmgr/object_path.h"
#include "objmgr/reader.h"

#include <stdlib.h>

namespace
{

// Whether the simulated host has planned that this call fails; counts it.
bool IsPlanned(FaultPoint point)
{
#if ZOR_SIM
    return FaultsHit(point);
#else
    static_cast<void>(point);
    return false;
#endif
}

u32 Open(ObjMgrHandle *handle)
{
    if (handle == nullptr)
        return 1;
    *handle = 0;
    // The plan of faults comes with the image, and every call counts there.
    Snapshot *snapshot = SnapshotAcquire();
    const bool fault = IsPlanned(FaultPoint::Open);
    if (snapshot == nullptr)
        return 1;
    OpenConnection *connection = fault ? nullptr : HandleOpen(snapshot);
    if (connection == nullptr) {
        SnapshotRelease(snapshot);
        return 1;
    }
    *handle = connection->handle;
    return 0;
}

void Close(ObjMgrHandle handle)
{
    OpenConnection *connection = HandleFind(handle);
    if (connection != nullptr)
        HandleClose(connection);
}

void SetPrivilege(ObjMgrHandle handle, const ObjMgrPrivilege *privilege)
{
    OpenConnection *connection = HandleFind(handle);
    if (connection != nullptr && privilege != nullptr)
        connection->privilege = *privilege;
}

ObjMgrInstance *InitInstance(void *storage, u32 sizeBytes)
{
    if (IsPlanned(FaultPoint::InitInstance) || storage == nullptr)
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

CimStatus GetInstance(ObjMgrHandle handle, const char *path, u32, ObjMgrInstance *instance)
{
    if (instance == nullptr || instance->mark != kInstanceMark)
        return kCimFailed;
    instance->handle = 0;
    const OpenConnection *connection = HandleFind(handle);
    if (connection == nullptr)
        return kCimFailed;
    const CimStatus status = ReaderFind(connection->snapshot, path, nullptr, &instance->found);
    if (status == kCimOk)
        instance->handle = handle;
    return status;
}

const char *GetInstanceValue(const ObjMgrInstance *instance, const char *property)
{
    if (property == nullptr || InstanceConnection(instance) == nullptr)
        return nullptr;
    const ImageText found = ReaderText(&instance->found, property);
    return found.status == kCimOk ? found.text : nullptr;
}

CimStatus GetPropertyValue(ObjMgrHandle handle, const char *path, const char *property, u16 size,
                           char *buffer)
{
    const OpenConnection *connection = HandleFind(handle);
    if (connection == nullptr)
        return kCimFailed;
    if (property == nullptr || buffer == nullptr || size == 0)
        return kCimInvalidParameter;
    ReaderFound found;
    const CimStatus status = ReaderFind(connection->snapshot, path, property, &found);
    if (status != kCimOk)
        return status;
    const ImageText value = ReaderText(&found, property);
    if (value.status != kCimOk)
        return value.status;
    const size_t length = strnlen(value.text, size_t{size} - 1);
    memcpy(buffer, value.text, length);
    buffer[length] = '\0';
    return kCimOk;
}

// The login session that this process belongs to, for the service's record; 0: none. The service
// looks whose it is.
u32 SessionOfLogin()
{
    const char *id = getenv("ZORSID");
    char *end = nullptr;
    const unsigned long long number = id != nullptr ? strtoull(id, &end, 10) : 0;
    return end != nullptr && *end == '\0' && number <= UINT32_MAX ? static_cast<u32>(number) : 0;
}

// The connection keeps its snapshot: what the method changed is seen by the next connection.
CimStatus InvokeMethod(ObjMgrHandle handle, const char *path, const char *method, const char *args,
                       u32, u32, u32 *result)
{
    const OpenConnection *connection = HandleFind(handle);
    if (connection == nullptr)
        return kCimFailed;
    ObjectPath parsed;
    if (ObjectPathParse(path, &parsed) != kCimOk)
        return kCimInvalidParameter;
    u8 packet[kMethodPacketMax];
    const u32 size = MethodPackRequest(&connection->privilege, parsed.key, method, args, packet);
    if (size == 0)
        return kCimInvalidParameter;
    MethodSetSession(packet, SessionOfLogin());
    MethodReply reply;
    const CimStatus status =
        MethodCall(packet, size, connection->snapshot->methodTimeoutMs, &reply);
    if (status == kCimOk && result != nullptr)
        *result = reply.result;
    return status;
}

const ObjMgrInterface kInterface = {
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

}  // namespace

const ObjMgrInterface *ObjMgrGetInterface()
{
#if ZOR_SIM
    // For the plan of faults; without an image it is Open that fails.
    if (SnapshotHead() == nullptr) {
        Snapshot *snapshot = SnapshotAcquire();
        if (snapshot != nullptr)
            SnapshotRelease(snapshot);
    }
#endif
    return IsPlanned(FaultPoint::Interface) ? nullptr : &kInterface;
}
