// SPDX-License-Identifier: Apache-2.0
// objmgr.h -- the controller's object manager as the shell sees it.
//
// The object manager serves classes with keyed instances; every property is text. The shell gets
// a table of operations from ObjMgrGetInterface() and, for every single request, opens a
// connection, uses it and closes it again.
//
// One thread. Nothing here prints or traces; each failure is a result.
#ifndef OBJMGR_OBJMGR_H
#define OBJMGR_OBJMGR_H

#include "platform/types.h"

// One open connection. 0 is no connection: zero the word before Open.
using ObjMgrHandle = u32;

// The answer of the object manager to one operation. The numbers are CIM's (DSP0200); any
// non-zero value is a failure, also one that is not listed here.
using CimStatus = u32;
constexpr CimStatus kCimOk = 0;
constexpr CimStatus kCimFailed = 1;            // no answer, no connection, anything else
constexpr CimStatus kCimAccessDenied = 2;      // the caller may not do this
constexpr CimStatus kCimInvalidParameter = 4;  // the path or a name is no such thing
constexpr CimStatus kCimNotFound = 6;          // there is no such instance
constexpr CimStatus kCimNotSupported = 7;      // this machine cannot do it
constexpr CimStatus kCimNoSuchProperty = 12;   // the instance has no such property
constexpr CimStatus kCimMethodNotFound = 17;   // the class has no such method

// An instance object: lives in storage that the caller hands to InitInstance.
struct ObjMgrInstance;

// The caller's rights, handed over before a change. `word` is a claim that the service judges
// (the bits are in objmgr/privilege.h); the rest is zero.
struct ObjMgrPrivilege {
    u32 word;
    u32 reserved[2];
};
static_assert(sizeof(ObjMgrPrivilege) == 12, "the privilege record is 12 bytes");

using ObjMgrReserved = void (*)();

// The operations stand at fixed places, counted from 1; the reserved places are null.
//
// Paths: a bare class name ("OEM_QARN_System") where there is a single instance, otherwise
// "Class.Key=Value[,Key=Value...]" ("OEM_QARN_LogRecord.LogName=SEL,RecordNum=7"). The binding
// "TimestampFormat=YYYYMMDDHHMMSS" is no key: it asks for Timestamp as fourteen digits.
// No text argument is kept after the call returns. A handle that is not open answers kCimFailed.
struct ObjMgrInterface {
    // Place 1. Fills *handle and returns 0; returns non-zero, with *handle 0, when the object
    // manager is absent, dead or hung (judged at once by its heartbeat, never by waiting) or too
    // many connections are open. What is read through one connection is one consistent snapshot.
    u32 (*Open)(ObjMgrHandle *handle);

    // Place 2. Ends the connection and with it every text that GetInstanceValue returned. A
    // handle that is 0 or not open is ignored.
    void (*Close)(ObjMgrHandle handle);

    // Place 3. Looks the instance up and binds `instance` to it. flags: always 0. On a non-zero
    // status the instance has no values.
    CimStatus (*GetInstance)(ObjMgrHandle handle, const char *path, u32 flags,
                             ObjMgrInstance *instance);

    ObjMgrReserved place4To8[5];

    // Place 9. Writes the property's text, NUL-terminated, into buffer; a text of `size` bytes or
    // more is cut to size - 1. On a non-zero status the buffer is left as it was. size: bytes of
    // the buffer; 0 is kCimInvalidParameter.
    CimStatus (*GetPropertyValue)(ObjMgrHandle handle, const char *path, const char *property,
                                  u16 size, char *buffer);

    ObjMgrReserved place10;

    // Place 11. Carries out a method with the connection's privilege. args: the parameter text
    // ("Mode=PowerCycle") or null. zero1, zero2: always 0. *result receives the method's own
    // return value (0: done), valid only with status 0. The effect is in the store before this
    // returns. Takes at most kObjMgrMethodTimeoutMs; no answer by then is kCimFailed.
    CimStatus (*InvokeMethod)(ObjMgrHandle handle, const char *path, const char *method,
                              const char *args, u32 zero1, u32 zero2, u32 *result);

    ObjMgrReserved place12To14[3];

    // Place 15. Builds an instance object in the caller's storage (any alignment; sizeBytes is
    // 512 or 1024 in the shell) and returns it; it lives as long as the storage does and is never
    // freed. Null when the storage is null or too small.
    ObjMgrInstance *(*InitInstance)(void *storage, u32 sizeBytes);

    ObjMgrReserved place16To18[3];

    // Place 19. The property's text, or null when the instance has no such property or its value
    // may not be read. The text belongs to the connection: it ends with Close.
    const char *(*GetInstanceValue)(const ObjMgrInstance *instance, const char *property);

    // Place 20. Keeps a copy of *privilege for the methods of this connection. Without it a
    // connection has no privilege at all.
    void (*SetPrivilege)(ObjMgrHandle handle, const ObjMgrPrivilege *privilege);
};
static_assert(offsetof(ObjMgrInterface, Close) == 1 * sizeof(void *) &&
                  offsetof(ObjMgrInterface, GetInstance) == 2 * sizeof(void *) &&
                  offsetof(ObjMgrInterface, GetPropertyValue) == 8 * sizeof(void *) &&
                  offsetof(ObjMgrInterface, InvokeMethod) == 10 * sizeof(void *) &&
                  offsetof(ObjMgrInterface, InitInstance) == 14 * sizeof(void *) &&
                  offsetof(ObjMgrInterface, GetInstanceValue) == 18 * sizeof(void *) &&
                  offsetof(ObjMgrInterface, SetPrivilege) == 19 * sizeof(void *),
              "every operation stands at its place");

constexpr u32 kObjMgrMethodTimeoutMs = 5000;
constexpr u32 kObjMgrMaxConnections = 8;  // of one process; the shell holds two at the most

// The table of operations, or null when this controller has no object manager interface. The
// table is static: never freed, valid until the process ends.
const ObjMgrInterface *ObjMgrGetInterface();

#endif
