// SPDX-License-Identifier: Apache-2.0
// protocol.cpp -- what goes over the service's local socket.
//
// A method call: the word of privileges, the session, a zero, one byte that is 1 when there is an
// args text and 0 otherwise, then path, method and (with that byte) args, each with its NUL. Its
// reply: status, result.
// The other requests have the same head, with zeros before the byte that says what they are.
#include "objmgr/protocol.h"

#include <string.h>

namespace
{

constexpr size_t kRequestHead = sizeof(ObjMgrPrivilege) + 1;
constexpr size_t kSessionOffset = 4;
constexpr u8 kKindQuestion = 2;
constexpr u8 kKindLoginNotice = 3;
constexpr size_t kReplySize = sizeof(CimStatus) + sizeof(u32);
static_assert(kRequestHead + kStorePathMax + kMethodNameMax + kMethodArgsMax + 3 <=
                  kMethodPacketMax,
              "the largest request fits into a packet");

bool PackText(u8 *packet, size_t *size, const char *text, size_t max)
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

bool ParseText(const u8 **at, size_t *left, char *out, size_t max)
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

void PackWord(u8 *packet, size_t *size, u32 word)
{
    memcpy(packet + *size, &word, sizeof(word));
    *size += sizeof(word);
}

// A longer text is cut at `max` bytes.
void PackCut(u8 *packet, size_t *size, const char *text, size_t max)
{
    const size_t length = strnlen(text, max);
    memcpy(packet + *size, text, length);
    packet[*size + length] = 0;
    *size += length + 1;
}

bool ParseWord(const u8 **at, size_t *left, u32 *word)
{
    if (*left < sizeof(*word))
        return false;
    memcpy(word, *at, sizeof(*word));
    *at += sizeof(*word);
    *left -= sizeof(*word);
    return true;
}

size_t PackHead(u8 *packet, u8 kind)
{
    memset(packet, 0, kRequestHead);
    packet[kRequestHead - 1] = kind;
    return kRequestHead;
}

// Tells an answer from every other packet: a status that no method has.
constexpr u32 kFactsMark = 0x5a4f5253;  // "SROZ"
static_assert(5 * sizeof(u32) + kServiceNameMax + 1 +
                      kServiceSourcesMax * (sizeof(u32) + kServiceSourceNameMax + 1) <=
                  kMethodPacketMax,
              "the largest answer fits into a packet");

bool ParseSource(const u8 **at, size_t *left, ServiceSource *out)
{
    u32 answers = 0;
    if (!ParseWord(at, left, &answers) || answers > 1)
        return false;
    out->answers = answers == 1;
    return ParseText(at, left, out->name, kServiceSourceNameMax);
}

// Behind the mark and the version.
bool ParseFacts(const u8 *at, size_t left, ServiceFacts *out)
{
    if (!ParseWord(&at, &left, &out->rights) || !ParseWord(&at, &left, &out->methodTimeoutMs) ||
        !ParseWord(&at, &left, &out->sources) || out->sources > kServiceSourcesMax ||
        !ParseText(&at, &left, out->name, kServiceNameMax))
        return false;
    for (u32 i = 0; i < out->sources; ++i) {
        if (!ParseSource(&at, &left, &out->source[i]))
            return false;
    }
    return left == 0;
}

}  // namespace

RequestKind MethodRequestKind(const u8 *packet, size_t size)
{
    if (packet == nullptr || size < kRequestHead)
        return RequestKind::None;
    switch (packet[kRequestHead - 1]) {
    case 0:
    case 1:
        return RequestKind::Method;
    case kKindQuestion:
        return RequestKind::Question;
    case kKindLoginNotice:
        return RequestKind::LoginNotice;
    default:
        return RequestKind::None;
    }
}

void MethodSetSession(u8 *packet, u32 session)
{
    memcpy(packet + kSessionOffset, &session, sizeof(session));
}

u32 MethodPackRequest(const ObjMgrPrivilege *privilege, const char *path, const char *method,
                      const char *args, u8 *packet)
{
    size_t size = kRequestHead;
    if (privilege == nullptr)
        memset(packet, 0, sizeof(*privilege));
    else
        memcpy(packet, privilege, sizeof(*privilege));
    MethodSetSession(packet, 0);
    packet[sizeof(*privilege)] = args != nullptr ? 1 : 0;
    if (!PackText(packet, &size, path, kStorePathMax) ||
        !PackText(packet, &size, method, kMethodNameMax))
        return 0;
    if (args != nullptr && !PackText(packet, &size, args, kMethodArgsMax))
        return 0;
    return static_cast<u32>(size);
}

bool MethodParseRequest(const u8 *packet, size_t size, MethodRequest *out)
{
    memset(out, 0, sizeof(*out));
    if (packet == nullptr || size < kRequestHead || packet[kRequestHead - 1] > 1)
        return false;
    memcpy(&out->privilege, packet, sizeof(out->privilege));
    out->session = out->privilege.reserved[0];
    out->privilege.reserved[0] = 0;
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

// ---- the question and the notice

u32 ServicePackQuestion(u8 *packet)
{
    size_t size = PackHead(packet, kKindQuestion);
    PackWord(packet, &size, kMethodVersion);
    return static_cast<u32>(size);
}

u32 ServicePackFacts(const ServiceFacts *facts, u8 *packet)
{
    size_t size = 0;
    const u32 sources = facts->sources < kServiceSourcesMax ? facts->sources : kServiceSourcesMax;
    const u32 words[] = {kFactsMark, facts->version, facts->rights, facts->methodTimeoutMs,
                         sources};
    for (u32 word : words)
        PackWord(packet, &size, word);
    PackCut(packet, &size, facts->name, kServiceNameMax);
    for (u32 i = 0; i < sources; ++i) {
        PackWord(packet, &size, facts->source[i].answers ? 1 : 0);
        PackCut(packet, &size, facts->source[i].name, kServiceSourceNameMax);
    }
    return static_cast<u32>(size);
}

bool ServiceParseFacts(const u8 *packet, size_t size, ServiceFacts *out)
{
    memset(out, 0, sizeof(*out));
    u32 mark = 0;
    u32 version = 0;
    const u8 *at = packet;
    size_t left = packet != nullptr ? size : 0;
    if (!ParseWord(&at, &left, &mark) || mark != kFactsMark || !ParseWord(&at, &left, &version))
        return false;
    const bool right = version == kMethodVersion && ParseFacts(at, left, out);
    if (!right)
        memset(out, 0, sizeof(*out));
    out->version = version;
    return right;
}

u32 LoginPackNotice(const LoginNotice *notice, u8 *packet)
{
    size_t size = PackHead(packet, kKindLoginNotice);
    const u32 words[] = {kMethodVersion, static_cast<u32>(notice->event), notice->session,
                         notice->seconds};
    for (u32 word : words)
        PackWord(packet, &size, word);
    PackCut(packet, &size, notice->address, kLoginTextMax);
    PackCut(packet, &size, notice->reason, kLoginTextMax);
    return static_cast<u32>(size);
}

bool LoginParseNotice(const u8 *packet, size_t size, LoginNotice *out)
{
    memset(out, 0, sizeof(*out));
    if (MethodRequestKind(packet, size) != RequestKind::LoginNotice)
        return false;
    const u8 *at = packet + kRequestHead;
    size_t left = size - kRequestHead;
    u32 version = 0;
    u32 event = 0;
    if (!ParseWord(&at, &left, &version) || version != kMethodVersion ||
        !ParseWord(&at, &left, &event) || event > static_cast<u32>(LoginEvent::Lasting) ||
        !ParseWord(&at, &left, &out->session) || !ParseWord(&at, &left, &out->seconds) ||
        !ParseText(&at, &left, out->address, kLoginTextMax) ||
        !ParseText(&at, &left, out->reason, kLoginTextMax) || left != 0)
        return false;
    out->event = static_cast<LoginEvent>(event);
    return true;
}
