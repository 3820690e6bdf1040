// SPDX-License-Identifier: Apache-2.0
// reader.cpp -- what a path leads to in a snapshot.
//
// The shell walks the list of sensors from its beginning for each value: millions of reads in one
// command. So a read costs the same however many instances there are.
#include "objmgr/reader.h"

#include "objmgr/faults.h"
#include "objmgr/object_path.h"

// Every record is checked once in a copy, when it is first come to.
static bool IsRight(Snapshot *snapshot, u32 record)
{
    if (record >= snapshot->size || record % kImageRecordAlign != 0)
        return false;
    u8 *state = snapshot->states + record / kImageRecordAlign;
    if (*state == kRecordUnchecked)
        *state = ImageCheckRecord(snapshot->half, record) ? kRecordRight : kRecordBad;
    return *state == kRecordRight;
}

static CimStatus Bind(Snapshot *snapshot, u32 record, ReaderFound *found)
{
    const ImageInstance instance = ImageInstanceAt(snapshot->half, record);
    found->first = instance.first;
    found->end = instance.end;
    found->record = record;
    snapshot->next =
        ImageAlign(static_cast<u32>(instance.end - reinterpret_cast<char *>(snapshot->half)));
    return instance.status;
}

// The record behind the one before is the one that a walk asks for: comparing its key is a third of
// what looking it up takes. Only one that is known to be right is looked at.
static bool IsNext(const Snapshot *snapshot, const char *path)
{
    if (snapshot->next >= snapshot->size ||
        snapshot->states[snapshot->next / kImageRecordAlign] != kRecordRight)
        return false;
    const u8 *key = snapshot->half + snapshot->next + sizeof(ImageRecord);
    return strcmp(reinterpret_cast<const char *>(key), path) == 0;
}

// kCimNotFound: there is no such key; kCimFailed: its record is not right.
static CimStatus LookUp(Snapshot *snapshot, const char *key, size_t length, ReaderFound *found)
{
    const u32 hash = ImageHash(key, length);
    for (u32 probe = 0; probe < kImageProbesMax; ++probe) {
        const ImageSlot slot = snapshot->slots[(hash + probe) & snapshot->slotMask];
        const u32 record = le32toh(slot.record);
        if (record == 0)
            break;
        if (le32toh(slot.hash) != hash)
            continue;
        if (!IsRight(snapshot, record))
            return kCimFailed;
        const ImageInstance instance = ImageInstanceAt(snapshot->half, record);
        if (instance.keyLength == length && memcmp(instance.key, key, length) == 0)
            return Bind(snapshot, record, found);
    }
    return kCimNotFound;
}

// The long way, for a path that is no key as it stands, and while planned faults count every read.
__attribute__((noinline)) static CimStatus FindParsed(Snapshot *snapshot, const char *path,
                                                      const char *property, ReaderFound *found)
{
    ObjectPath parsed;
    CimStatus status = ObjectPathParse(path, &parsed);
#if ZOR_SIM
    if (status == kCimOk)
        status = FaultsReadStatus(parsed.key, property);
#else
    static_cast<void>(property);
#endif
    if (status != kCimOk)
        return status;
    found->timestampDigits = parsed.timestampDigits;
    if (IsNext(snapshot, parsed.key))
        return Bind(snapshot, snapshot->next, found);
    return LookUp(snapshot, parsed.key, parsed.keyLength, found);
}

static bool IsPlanned()
{
#if ZOR_SIM
    return FaultsPlanReads();
#else
    return false;
#endif
}

// A path that asks for nothing besides is its own key, so it is looked up as it stands first.
CimStatus ReaderFind(Snapshot *snapshot, const char *path, const char *property, ReaderFound *found)
{
    found->timestampDigits = false;
    if (path == nullptr || IsPlanned())
        return FindParsed(snapshot, path, property, found);
    if (IsNext(snapshot, path))
        return Bind(snapshot, snapshot->next, found);
    const CimStatus status = LookUp(snapshot, path, strlen(path), found);
    return status != kCimNotFound ? status : FindParsed(snapshot, path, property, found);
}

// ---- for tools ----

static u32 EndOfRecord(const Snapshot *snapshot, u32 record)
{
    ImageRecord head;
    memcpy(&head, snapshot->half + record, sizeof(head));
    return ImageAlign(record + le32toh(head.bytes));
}

u32 ReaderNext(Snapshot *snapshot, u32 record)
{
    ImageHalf half;
    memcpy(&half, snapshot->half, sizeof(half));
    const u32 end = le32toh(half.recordsEnd);
    u32 next = record != 0 ? EndOfRecord(snapshot, record) : le32toh(half.records);
    // Where one that is not right ends nobody knows.
    return next < end && IsRight(snapshot, next) ? next : 0;
}
