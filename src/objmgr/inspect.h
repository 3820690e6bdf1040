// SPDX-License-Identifier: Apache-2.0
// inspect.h -- what the object manager says beside the values, for tools: the shell shows none of
// it.
//
// One thread, like objmgr/objmgr.h; nothing here sends a message.
#ifndef OBJMGR_INSPECT_H
#define OBJMGR_INSPECT_H

#include "objmgr/image_file.h"

// Takes the service of another directory from here on; null: that of ZOROBJMGR again. To be called
// while no connection is open. False, with nothing changed: the path is too long.
bool ObjMgrUseDirectory(const char *directory);

// Why the last Open failed, or Serving. Before the first Open: Absent.
ObjMgrPresence ObjMgrGetPresence();

// Who serves ("objmgrd-sim"), as the image says that was opened last; `name` takes
// kImageServiceNameMax + 1 bytes. Empty when none is open.
void ObjMgrServiceName(char *name);

// The unit of an instance's reading ("Cel", "RPM"), empty when it is not known or the instance has
// no values. The text ends with the connection.
const char *ObjMgrUnit(const ObjMgrInstance *instance);

// The number of the source that an instance comes from, for ObjMgrGetSource; kImageNoSource when it
// has none or the instance has no values.
u32 ObjMgrSourceOf(const ObjMgrInstance *instance);

struct ObjMgrSource {
    char name[kImageSourceNameMax + 1];
    ImageSourceState state;
    bool heard;  // it was heard at least once
    u32 ageMs;   // how long ago it was heard last, up to 10 ms less than it is; after 49 days it
                 // begins anew
};

// Source `number` (0 to kImageSources - 1) as it is now: its age needs no new connection. False
// when there is none by that number or no image is open.
bool ObjMgrGetSource(u32 number, ObjMgrSource *source);

// The keys of all instances, in the order of the image: *position is 0 at first and the call's own
// from then on. The key of the next one, or null at the end; it ends with the connection.
const char *ObjMgrNextKey(ObjMgrHandle handle, u32 *position);

#endif
