// SPDX-License-Identifier: Apache-2.0
// object_path.h -- object paths as clients write them, and the keys they stand for in the store.
#ifndef OBJMGR_OBJECT_PATH_H
#define OBJMGR_OBJECT_PATH_H

#include "objmgr/store.h"

// A path taken apart: the key under which the instance is stored and what the path asks besides.
struct ObjectPath {
    char key[kStorePathMax + 1];  // NUL-terminated
    u32 keyLength;                // bytes, without the NUL
    bool timestampDigits;         // TimestampFormat=YYYYMMDDHHMMSS was asked for
};

// Takes `path` apart into *out. The key is the path as written without its TimestampFormat
// binding; class and key names are not checked against anything. Returns kCimOk, or
// kCimInvalidParameter (with *out empty) for: null, no class name, an empty key name or a key
// without "=", a format of the time stamp other than YYYYMMDDHHMMSS, a class name that begins
// with a point, a control character, or a key of more than kStorePathMax bytes.
CimStatus ObjectPathParse(const char *path, ObjectPath *out);

#endif
