// SPDX-License-Identifier: Apache-2.0
// reader.h -- what a path leads to in a snapshot.
#ifndef OBJMGR_READER_H
#define OBJMGR_READER_H

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
CimStatus ReaderFind(Snapshot *snapshot, const char *path, const char *property,
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

#endif
