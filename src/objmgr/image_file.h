// SPDX-License-Identifier: Apache-2.0
// image_file.h -- the files of the object manager's directory as a client opens them: the sign that
// the service lives, and the image.
//
// The directory is taken from ZOROBJMGR at the first use and stays for the process, unless a tool
// takes another. One thread.
#ifndef OBJMGR_IMAGE_FILE_H
#define OBJMGR_IMAGE_FILE_H

#include "objmgr/image.h"

#include <sys/types.h>

// Why there is nothing to read, or that there is.
enum class ObjMgrPresence : u8 {
    Serving,
    Absent,        // no directory, or no service has ever served there, or it is just starting
    NotTrusted,    // the directory may be written by its group or others, or a file in it is not
                   // a plain file of the directory's owner
    Dead,          // its lock is free: the service has ended
    Hung,          // it has not said for kHeartbeatLimitMs that it works
    OtherVersion,  // the image has a format that this program does not read
    Forbidden,     // this user may not read it
    Unreadable,    // it is damaged, or never stood still, or there is no memory for it
};

// What is open. All -1 and null: nothing.
struct ImageFile {
    int aliveFd = -1;
    int imageFd = -1;
    const ImageHead *head = nullptr;  // mapped, one page; it may change at any time
    u32 aliveAtMs = 0;                // when the service was last seen alive
};

// CLOCK_MONOTONIC in milliseconds, low 32 bits, as of the last tick of the kernel (1 to 10 ms ago):
// reading it takes a tenth of what the exact clock takes.
u32 ImageClockMs();

// The directory's path, NUL-terminated, without a "/" behind it; null when it is longer than a path
// may be.
const char *ImageDirectory();

// Takes another directory from here on; null: that of ZOROBJMGR again. What is open stays so.
// False, with nothing changed: the path is longer than a path may be.
bool ImageUseDirectory(const char *directory);

// Opens the directory's files. Serving: *file is open, otherwise nothing is. The heartbeat is not
// looked at.
ObjMgrPresence ImageFileOpen(ImageFile *file, u32 nowMs);
void ImageFileClose(ImageFile *file);

// Whether an open file is still the one to read: its service lives (asked once per tick of the
// clock) and no other file has taken its place.
bool ImageFileIsCurrent(ImageFile *file, u32 nowMs);

// Whether the heartbeat is fresh. One from the future is not of this boot.
bool ImageFileBeats(const ImageFile *file, u32 nowMs);

#endif
