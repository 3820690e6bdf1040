// SPDX-License-Identifier: Apache-2.0
// fuzz_method_request.cpp -- any bytes as a packet on the object manager's socket, both ways.
#include "objmgr/privilege.h"
#include "objmgr/protocol.h"
#include "objmgr/schema.h"

#include <stdlib.h>
#include <string.h>
#include <vector>

namespace
{

// A text of the request: ended within its field, and nothing but zeros behind its end.
void CheckText(const char *text, size_t size)
{
    const size_t length = strnlen(text, size);
    if (length == size)
        abort();
    for (size_t i = length; i < size; ++i) {
        if (text[i] != '\0')
            abort();
    }
}

void CheckRequest(const u8 *packet, size_t size)
{
    MethodRequest request;
    if (!MethodParseRequest(packet, size, &request))
        return;
    CheckText(request.path, sizeof request.path);
    CheckText(request.method, sizeof request.method);
    CheckText(request.args, sizeof request.args);
    if (!request.hasArgs && request.args[0] != '\0')
        abort();

    // There is one packet for a request: packing it gives the same bytes.
    u8 again[kMethodPacketMax];
    const u32 packed = MethodPackRequest(&request.privilege, request.path, request.method,
                                         request.hasArgs ? request.args : nullptr, again);
    MethodSetSession(again, request.session);
    if (packed != size || memcmp(again, packet, size) != 0 ||
        MethodRequestKind(packet, size) != RequestKind::Method)
        abort();
    // A byte less or more is no request.
    again[packed < kMethodPacketMax ? packed : 0] = 0;
    MethodRequest other;
    if (MethodParseRequest(packet, size - 1, &other) ||
        (packed < kMethodPacketMax && MethodParseRequest(again, size + 1, &other)))
        abort();

    // No method needs nothing at all, and none needs rights that nobody can hold.
    const MethodRow *row = SchemaFindMethod(request.path, request.method);
    if (row != nullptr && (row->right == 0 || (row->right & ~kPrivilegeAll) != 0 ||
                           !SchemaTakesArgument(row, nullptr)))
        abort();
}

void CheckReply(const u8 *packet, size_t size)
{
    MethodReply reply;
    if (!MethodParseReply(packet, size, &reply)) {
        if (reply.status == kCimOk || reply.result != 0)
            abort();  // what is no reply must not look like success
        return;
    }
    if (reply.status != kCimOk && reply.result != 0)
        abort();
    u8 again[kMethodPacketMax];
    if (MethodPackReply(&reply, again) != size)
        abort();
    MethodReply parsed;
    if (!MethodParseReply(again, size, &parsed) || parsed.status != reply.status ||
        parsed.result != reply.result)
        abort();
}

// The answer to the question who serves: what is none says nothing but a version.
void CheckFacts(const u8 *packet, size_t size)
{
    ServiceFacts facts;
    if (!ServiceParseFacts(packet, size, &facts)) {
        const u32 version = facts.version;
        facts.version = 0;
        const ServiceFacts none = {};
        if (memcmp(&facts, &none, sizeof none) != 0 || (version != 0 && size < 8))
            abort();
        return;
    }
    CheckText(facts.name, sizeof facts.name);
    if (facts.version != kMethodVersion || facts.sources > kServiceSourcesMax)
        abort();
    for (u32 i = 0; i < facts.sources; ++i)
        CheckText(facts.source[i].name, sizeof facts.source[i].name);
    u8 again[kMethodPacketMax];
    if (ServicePackFacts(&facts, again) != size || memcmp(again, packet, size) != 0)
        abort();
}

void CheckNotice(const u8 *packet, size_t size)
{
    LoginNotice notice;
    if (!LoginParseNotice(packet, size, &notice))
        return;
    CheckText(notice.address, sizeof notice.address);
    CheckText(notice.reason, sizeof notice.reason);
    if (notice.event > LoginEvent::Lasting ||
        MethodRequestKind(packet, size) != RequestKind::LoginNotice)
        abort();
    u8 again[kMethodPacketMax];
    LoginNotice other;
    if (LoginPackNotice(&notice, again) != size || !LoginParseNotice(again, size, &other) ||
        memcmp(&notice, &other, sizeof notice) != 0)
        abort();
}

// The bytes as the three texts of a request: what can be packed comes back, the rest is refused.
void CheckTexts(const std::vector<char> &bytes)
{
    const char *path = bytes.data();
    const char *method = path + strlen(path);
    method += method < &bytes.back() ? 1 : 0;
    const char *args = method + strlen(method);
    args += args < &bytes.back() ? 1 : 0;
    const ObjMgrPrivilege privilege = {0x1ff, {0, 0}};

    u8 packet[kMethodPacketMax];
    const u32 size = MethodPackRequest(&privilege, path, method, args, packet);
    const bool fits = strlen(path) <= kStorePathMax && strlen(method) <= kMethodNameMax &&
                      strlen(args) <= kMethodArgsMax;
    if ((size != 0) != fits || size > kMethodPacketMax)
        abort();
    if (!fits)
        return;
    MethodRequest request;
    if (!MethodParseRequest(packet, size, &request) || !request.hasArgs ||
        request.privilege.word != 0x1ff || strcmp(request.path, path) != 0 ||
        strcmp(request.method, method) != 0 || strcmp(request.args, args) != 0)
        abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    // A copy of exactly this size, so that a byte read behind it is seen.
    const std::vector<u8> packet(data, data + size);
    CheckRequest(packet.data(), size);
    CheckReply(packet.data(), size);
    CheckFacts(packet.data(), size);
    CheckNotice(packet.data(), size);
    std::vector<char> bytes(data, data + size);
    bytes.push_back('\0');
    CheckTexts(bytes);
    return 0;
}
