// SPDX-License-Identifier: Apache-2.0
// inspect.cpp -- what the object manager says beside the values.
#include "objmgr/inspect.h"

#include "objmgr/instance.h"
#include "objmgr/safe_text.h"

bool ObjMgrUseDirectory(const char *directory)
{
    if (!ImageUseDirectory(directory))
        return false;
    SnapshotForget();
    return true;
}

ObjMgrPresence ObjMgrGetPresence()
{
    return SnapshotPresence();
}

namespace
{

// A name of a head, byte by byte since it may be written meanwhile; one that must not be shown is
// left out.
void CopyName(char *out, const char *name, size_t size)
{
    const volatile char *from = name;
    size_t length = 0;
    while (length < size - 1 && (out[length] = from[length]) != '\0')
        ++length;
    if (!SafeTextIsSafe(out, length))
        length = 0;
    out[length] = '\0';
}

bool InstanceRecord(const ObjMgrInstance *instance, ImageInstance *record)
{
    const OpenConnection *connection = InstanceConnection(instance);
    if (connection != nullptr)
        *record = ImageInstanceAt(connection->snapshot->half, instance->found.record);
    return connection != nullptr;
}

}  // namespace

void ObjMgrServiceName(char *name)
{
    name[0] = '\0';
    if (SnapshotHead() != nullptr)
        CopyName(name, SnapshotHead()->serviceName, kImageServiceNameMax + 1);
}

const char *ObjMgrUnit(const ObjMgrInstance *instance)
{
    ImageInstance record;
    return InstanceRecord(instance, &record) ? record.unit : "";
}

u32 ObjMgrSourceOf(const ObjMgrInstance *instance)
{
    ImageInstance record;
    return InstanceRecord(instance, &record) ? record.source : u32{kImageNoSource};
}

bool ObjMgrGetSource(u32 number, ObjMgrSource *source)
{
    const ImageHead *head = SnapshotHead();
    if (head == nullptr || number >= kImageSources)
        return false;
    const ImageSource &row = head->sources[number];
    const u32 state = ImageLoadAcquire(&row.state);  // the name was there before
    if (state == kImageSourceNone || state > kImageSourceSilent)
        return false;
    const u32 heardMs = ImageLoad(&row.heardMs);
    CopyName(source->name, row.name, sizeof(source->name));
    source->state = static_cast<ImageSourceState>(state);
    source->heard = heardMs != 0;
    source->ageMs = heardMs != 0 ? ImageClockMs() - heardMs : 0;
    if (source->ageMs > UINT32_MAX - kHeartbeatLimitMs)
        source->ageMs = 0;  // heard since the last tick of this clock
    return true;
}

const char *ObjMgrNextKey(ObjMgrHandle handle, u32 *position)
{
    const OpenConnection *connection = HandleFind(handle);
    if (connection == nullptr)
        return nullptr;
    *position = ReaderNext(connection->snapshot, *position);
    if (*position == 0)
        return nullptr;
    return ImageInstanceAt(connection->snapshot->half, *position).key;
}
