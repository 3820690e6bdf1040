// SPDX-License-Identifier: Apache-2.0
// reader.cpp -- what a path leads to in a snapshot.
//
// The shell walks the list of sensors from its beginning for each value: millions of reads in one
// command. So a read costs the same however many instances there are.
#include "objmgr/reader.h"

#include "objmgr/object_path.h"

namespace
{

// Every record is checked once in a copy, when it is first come to.
bool IsRight(Snapshot *snapshot, u32 record)
{
    if (record >= snapshot->size || record % kImageRecordAlign != 0)
        return false;
    u8 *state = snapshot->states + record / kImageRecordAlign;
    if (*state == kRecordUnchecked)
        *state = ImageCheckRecord(snapshot->half, record) ? kRecordRight : kRecordBad;
    return *state == kRecordRight;
}

// kCimNotFound: there is no such key; kCimFailed: its record is not right.
CimStatus LookUp(Snapshot *snapshot, const char *key, size_t length, ReaderFound *found)
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
            return ReaderBind(snapshot, record, found);
    }
    return kCimNotFound;
}

// For a path that is no key as it stands, or none that there is, and while planned faults count
// every read.
CimStatus FindParsed(Snapshot *snapshot, const char *path, const char *property, ReaderFound *found)
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
    if (ReaderIsNext(snapshot, parsed.key))
        return ReaderBind(snapshot, snapshot->next, found);
    return LookUp(snapshot, parsed.key, parsed.keyLength, found);
}

// Notes a path that leads nowhere: every walk of a list ends at the one behind its last, the same
// again and again, and saying so takes a parsed path otherwise (3 % of "show -level all /").
void NoteMissing(Snapshot *snapshot, const char *path)
{
    const size_t length = strlen(path);
    if (length < sizeof(snapshot->missing))
        memcpy(snapshot->missing, path, length + 1);
}

u32 EndOfRecord(const Snapshot *snapshot, u32 record)
{
    ImageRecord head;
    memcpy(&head, snapshot->half + record, sizeof(head));
    return ImageAlign(record + le32toh(head.bytes));
}

}  // namespace

// A path that asks for nothing besides is its own key, so it is looked up as it stands first.
CimStatus ReaderFindElsewhere(Snapshot *snapshot, const char *path, const char *property,
                              ReaderFound *found)
{
    if (path == nullptr || ReaderIsPlanned())
        return FindParsed(snapshot, path, property, found);
    if (*path != '\0' && strcmp(path, snapshot->missing) == 0)
        return kCimNotFound;
    found->timestampDigits = false;
    CimStatus status = LookUp(snapshot, path, strlen(path), found);
    if (status != kCimNotFound)
        return status;
    status = FindParsed(snapshot, path, property, found);
    if (status == kCimNotFound)
        NoteMissing(snapshot, path);
    return status;
}

// ---- for tools ----

u32 ReaderNext(Snapshot *snapshot, u32 record)
{
    ImageHalf half;
    memcpy(&half, snapshot->half, sizeof(half));
    const u32 end = le32toh(half.recordsEnd);
    u32 next = record != 0 ? EndOfRecord(snapshot, record) : le32toh(half.records);
    // Where one that is not right ends nobody knows.
    return next < end && IsRight(snapshot, next) ? next : 0;
}
