// SPDX-License-Identifier: Apache-2.0
// protocol.cpp -- one method call over the service's local socket.
//
// A request: the privilege record, one byte that is 1 when there is an args text and 0 otherwise,
// then path, method and (with that byte) args, each with its NUL. A reply: status, result.
#include "objmgr/protocol.h"

#include <string.h>

static constexpr size_t kRequestHead = sizeof(ObjMgrPrivilege) + 1;
static constexpr size_t kReplySize = sizeof(CimStatus) + sizeof(u32);
static_assert(kRequestHead + kStorePathMax + kMethodNameMax + kMethodArgsMax + 3 <=
                  kMethodPacketMax,
              "the largest request fits into a packet");

static bool PackText(u8 *packet, size_t *size, const char *text, size_t max)
{
    if (text == nullptr)
        return false;
    const size_t length = strnlen(text, max + 1);
    if (length > max)
        return false;
    memcpy(packet + *size, text, length);
    packet[*size + length] = 0;
    *size += length + 1;
    return true;
}

u32 MethodPackRequest(const ObjMgrPrivilege *privilege, const char *path, const char *method,
                      const char *args, u8 *packet)
{
    size_t size = kRequestHead;
    if (privilege == nullptr)
        memset(packet, 0, sizeof(*privilege));
    else
        memcpy(packet, privilege, sizeof(*privilege));
    packet[sizeof(*privilege)] = args != nullptr ? 1 : 0;
    if (!PackText(packet, &size, path, kStorePathMax) ||
        !PackText(packet, &size, method, kMethodNameMax))
        return 0;
    if (args != nullptr && !PackText(packet, &size, args, kMethodArgsMax))
        return 0;
    return static_cast<u32>(size);
}

static bool ParseText(const u8 **at, size_t *left, char *out, size_t max)
{
    const void *end = memchr(*at, 0, *left < max + 1 ? *left : max + 1);
    if (end == nullptr)
        return false;
    const size_t size = static_cast<size_t>(static_cast<const u8 *>(end) - *at) + 1;
    memcpy(out, *at, size);
    *at += size;
    *left -= size;
    return true;
}

bool MethodParseRequest(const u8 *packet, size_t size, MethodRequest *out)
{
    memset(out, 0, sizeof(*out));
    if (packet == nullptr || size < kRequestHead || packet[kRequestHead - 1] > 1)
        return false;
    memcpy(&out->privilege, packet, sizeof(out->privilege));
    out->hasArgs = packet[kRequestHead - 1] == 1;
    const u8 *at = packet + kRequestHead;
    size_t left = size - kRequestHead;
    if (!ParseText(&at, &left, out->path, kStorePathMax) ||
        !ParseText(&at, &left, out->method, kMethodNameMax))
        return false;
    if (out->hasArgs && !ParseText(&at, &left, out->args, kMethodArgsMax))
        return false;
    return left == 0;
}

u32 MethodPackReply(const MethodReply *reply, u8 *packet)
{
    const u32 result = reply->status == kCimOk ? reply->result : 0;
    memcpy(packet, &reply->status, sizeof(reply->status));
    memcpy(packet + sizeof(reply->status), &result, sizeof(result));
    return kReplySize;
}

bool MethodParseReply(const u8 *packet, size_t size, MethodReply *out)
{
    *out = {kCimFailed, 0};
    if (packet == nullptr || size != kReplySize)
        return false;
    memcpy(&out->status, packet, sizeof(out->status));
    if (out->status == kCimOk)
        memcpy(&out->result, packet + sizeof(out->status), sizeof(out->result));
    return true;
}
