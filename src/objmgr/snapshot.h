// SPDX-License-Identifier: Apache-2.0
// snapshot.h -- a client's own copies of the image.
//
// A connection reads from a copy of the half that was in use when it was opened. The copy is this
// process's own memory: nothing that the service does changes it, and the process cannot change
// what others see. Connections share a copy as long as nothing was published between them; a copy
// that none uses gives its memory back, but for the newest. One thread.
#ifndef OBJMGR_SNAPSHOT_H
#define OBJMGR_SNAPSHOT_H

#include "objmgr/image_file.h"

// What is known of a record. Apart from the records, so that nothing in a copy is ever written and
// records that overlap can do nothing to each other.
enum RecordState : u8 { kRecordUnchecked = 0, kRecordRight = 1, kRecordBad = 2 };

struct Snapshot {
    u8 *half;    // right by ImageCheckHalf
    u8 *states;  // RecordState: one for each place where a record may begin (kImageRecordAlign)
    const ImageSlot *slots;
    u32 slotMask;
    u32 size;          // of the half
    u32 next;          // behind the record that was found last, where a walk goes on; the reader's
    char missing[48];  // a path that leads nowhere, or empty; the reader's
    u32 methodTimeoutMs;  // how long to wait for the answer to a method, as the service says
    // The snapshot's own.
    size_t mapped;  // bytes at `half`
    u32 count;      // the publish that this is a copy of ...
    u32 start[2];   // ... and of which start of the service
    u32 users;
};

// A copy of what is published now, or null (SnapshotPresence says why); at once, but for up to 16
// ms where the service publishes all the time. To be given back with SnapshotRelease.
Snapshot *SnapshotAcquire();
void SnapshotRelease(Snapshot *snapshot);

// Forgets the file that copies are read from, so that the next one comes from what then is the
// directory. Copies that are held stay.
void SnapshotForget();

// What the last SnapshotAcquire found.
ObjMgrPresence SnapshotPresence();
// The head of the file that it read from, or null. It may change at any time.
const ImageHead *SnapshotHead();

#endif
