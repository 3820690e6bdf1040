// SPDX-License-Identifier: Apache-2.0
// protocol.h -- one method call over the service's local socket.
//
// SOCK_SEQPACKET: one packet asks, one packet answers, then both sides close. Numbers are in
// native byte order (both ends run on one machine). Every packet has a fixed largest size; a
// packet that is not exactly one well-formed request is answered with kCimInvalidParameter.
#ifndef OBJMGR_PROTOCOL_H
#define OBJMGR_PROTOCOL_H

#include "objmgr/objmgr.h"
#include "objmgr/store.h"

constexpr u32 kMethodNameMax = 63;   // bytes without the NUL
constexpr u32 kMethodArgsMax = 255;  // bytes without the NUL

// One request, unpacked. Texts are NUL-terminated.
struct MethodRequest {
    ObjMgrPrivilege privilege;
    char path[kStorePathMax + 1];
    char method[kMethodNameMax + 1];
    bool hasArgs;  // false: the caller passed null
    char args[kMethodArgsMax + 1];
};

struct MethodReply {
    CimStatus status;
    u32 result;  // the method's own return value, 0 unless status is 0
};

constexpr u32 kMethodPacketMax = 1024;

// Packs into `packet` (kMethodPacketMax bytes) and returns the packet's size; 0 when a text is
// null (args may be) or too long.
u32 MethodPackRequest(const ObjMgrPrivilege *privilege, const char *path, const char *method,
                      const char *args, u8 *packet);
// True when the `size` bytes are exactly one request; never reads beyond them.
bool MethodParseRequest(const u8 *packet, size_t size, MethodRequest *out);

u32 MethodPackReply(const MethodReply *reply, u8 *packet);
bool MethodParseReply(const u8 *packet, size_t size, MethodReply *out);

#endif
