// SPDX-License-Identifier: Apache-2.0
// reader.h -- what a path leads to in a snapshot.
#ifndef OBJMGR_READER_H
#define OBJMGR_READER_H

#include "objmgr/faults.h"
#include "objmgr/snapshot.h"

struct ReaderFound {
    const char *first;  // the properties
    const char *end;
    u32 record;            // where the record begins in the half
    bool timestampDigits;  // the path asked for Timestamp as fourteen digits
};

// The instance at `path` (objmgr/objmgr.h); *found is set with status 0 only and lives as long as
// the snapshot is held. property: null for the instance itself; it only tells planned faults apart.
// A record that is damaged or holds a text that must not be shown is kCimFailed.
inline CimStatus ReaderFind(Snapshot *snapshot, const char *path, const char *property,
                            ReaderFound *found);

// The text of a property, in the form that the path asked for.
inline ImageText ReaderText(const ReaderFound *found, const char *property)
{
    if (found->timestampDigits) {
        const ImageText digits = ImageFindDigits(found->first, found->end, property);
        if (digits.text != nullptr)
            return digits;
    }
    return ImageFindProperty(found->first, found->end, property);
}

// For tools: the record that follows `record` (0: the first one), in the order of the image; 0:
// there is none. The list ends at a record that is not right.
u32 ReaderNext(Snapshot *snapshot, u32 record);

// ---- how ReaderFind does it: here, since one command can call it a million times ----

inline CimStatus ReaderBind(Snapshot *snapshot, u32 record, ReaderFound *found)
{
    const ImageInstance instance = ImageInstanceAt(snapshot->half, record);
    found->first = instance.first;
    found->end = instance.end;
    found->record = record;
    snapshot->next =
        ImageAlign(static_cast<u32>(instance.end - reinterpret_cast<const char *>(snapshot->half)));
    return instance.status;
}

// Whether `path` is the key of the record behind the one that was found last. A walk of a list asks
// for that one, and comparing its key takes a third of what looking it up does. Only one that is
// known to be right is looked at.
inline bool ReaderIsNext(const Snapshot *snapshot, const char *path)
{
    if (snapshot->next >= snapshot->size ||
        snapshot->states[snapshot->next / kImageRecordAlign] != kRecordRight)
        return false;
    const u8 *key = snapshot->half + snapshot->next + sizeof(ImageRecord);
    return strcmp(reinterpret_cast<const char *>(key), path) == 0;
}

// Any other instance.
CimStatus ReaderFindElsewhere(Snapshot *snapshot, const char *path, const char *property,
                              ReaderFound *found);

// Whether the simulated host has planned statuses for reads, so that each of them has to be
// counted.
inline bool ReaderIsPlanned()
{
#if ZOR_SIM
    return FaultsPlanReads();
#else
    return false;
#endif
}

CimStatus ReaderFind(Snapshot *snapshot, const char *path, const char *property, ReaderFound *found)
{
    if (path == nullptr || ReaderIsPlanned() || !ReaderIsNext(snapshot, path))
        return ReaderFindElsewhere(snapshot, path, property, found);
    found->timestampDigits = false;
    return ReaderBind(snapshot, snapshot->next, found);
}

#endif
