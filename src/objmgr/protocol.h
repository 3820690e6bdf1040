// SPDX-License-Identifier: Apache-2.0
// protocol.h -- what goes over the service's local socket: a method call, the question who serves
// and what the caller may, and the news of a login.
//
// SOCK_SEQPACKET: one packet asks, one packet answers, then both sides close. Numbers are in
// native byte order (both ends run on one machine). Every packet has a fixed largest size; a
// packet that is not exactly one well-formed request is answered with kCimInvalidParameter, and so
// is one of another version.
#ifndef OBJMGR_PROTOCOL_H
#define OBJMGR_PROTOCOL_H

#include "objmgr/objmgr.h"
#include "objmgr/store.h"

constexpr u32 kMethodNameMax = 63;   // bytes without the NUL
constexpr u32 kMethodArgsMax = 255;  // bytes without the NUL

// Another number is another set of packets. Each question says its own, and each answer to it.
constexpr u32 kMethodVersion = 1;

enum class RequestKind : u8 { Method, Question, LoginNotice, None };

// What a packet is, by its beginning; None: nothing that this version knows.
RequestKind MethodRequestKind(const u8 *packet, size_t size);

// ---- a method call

// One request, unpacked. Texts are NUL-terminated.
struct MethodRequest {
    ObjMgrPrivilege privilege;
    u32 session;  // the caller's session, as it claims; 0: none
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
// The session is none.
u32 MethodPackRequest(const ObjMgrPrivilege *privilege, const char *path, const char *method,
                      const char *args, u8 *packet);
// Names the caller's session in a packed request, for the service's record.
void MethodSetSession(u8 *packet, u32 session);
// True when the `size` bytes are exactly one request; never reads beyond them.
bool MethodParseRequest(const u8 *packet, size_t size, MethodRequest *out);

u32 MethodPackReply(const MethodReply *reply, u8 *packet);
bool MethodParseReply(const u8 *packet, size_t size, MethodReply *out);

// ---- the question who serves, and what the caller may

constexpr u32 kServiceNameMax = 31;        // bytes without the NUL
constexpr u32 kServiceSourceNameMax = 63;  // bytes without the NUL
constexpr u32 kServiceSourcesMax = 8;      // that an answer names

// Where the service has its data from: a BMC.
struct ServiceSource {
    char name[kServiceSourceNameMax + 1];
    bool answers;  // the last time it was asked
};

struct ServiceFacts {
    u32 version;          // kMethodVersion of the service
    u32 rights;           // the caller's (objmgr/privilege.h): the most that a claim can get
    u32 methodTimeoutMs;  // a method's answer comes by then, or not at all
    char name[kServiceNameMax + 1];  // "objmgrd-ipmi"
    u32 sources;                     // in use of:
    ServiceSource source[kServiceSourcesMax];
};

u32 ServicePackQuestion(u8 *packet);
// Texts that are too long are cut. Returns the packet's size.
u32 ServicePackFacts(const ServiceFacts *facts, u8 *packet);
// True when the `size` bytes are exactly one answer of this version, false otherwise; then
// out->version is what they claim, 0 when they are no answer at all.
bool ServiceParseFacts(const u8 *packet, size_t size, ServiceFacts *out);

// ---- the news of a login: smclp-login tells the service, which writes it down
//
// A connection that told of a login stays open on both sides: its end is the login's end, however
// that comes. A logout goes over it, and is the one second packet that a connection may carry.

enum class LoginEvent : u8 {
    Login,
    Refusal,
    Logout,
    Lasting  // a login that an earlier service was told of: remembered, not written down again
};

// The result that a login's answer has with status 0.
constexpr u32 kLoginRemembered = 0;  // the connection is watched
constexpr u32 kLoginNotWatched = 1;  // there are too many: the connection ends

constexpr u32 kLoginTextMax = 63;  // bytes without the NUL

struct LoginNotice {
    LoginEvent event;
    u32 session;                      // its number in the registry; 0: none
    u32 seconds;                      // Logout: how long it lasted; Lasting: so far
    char address[kLoginTextMax + 1];  // the client's, empty for none
    char reason[kLoginTextMax + 1];   // Refusal, Logout: why, in a few words; else empty
};

// Texts that are too long are cut. The answer is a MethodReply.
u32 LoginPackNotice(const LoginNotice *notice, u8 *packet);
bool LoginParseNotice(const u8 *packet, size_t size, LoginNotice *out);

#endif
