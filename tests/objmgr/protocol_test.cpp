// SPDX-License-Identifier: Apache-2.0
#include "objmgr/protocol.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

static const ObjMgrPrivilege kPrivilege = {0x12345678, {0, 0}};

static std::string Pack(const char *path, const char *method, const char *args)
{
    u8 packet[kMethodPacketMax];
    const u32 size = MethodPackRequest(&kPrivilege, path, method, args, packet);
    return std::string(reinterpret_cast<const char *>(packet), size);
}

// Parses an exact-size copy on the heap: the address sanitizer sees a read beyond it.
static bool Parse(const std::string &packet, MethodRequest *out)
{
    std::unique_ptr<u8[]> copy(new u8[packet.size()]);
    memcpy(copy.get(), packet.data(), packet.size());
    return MethodParseRequest(copy.get(), packet.size(), out);
}

TEST(Protocol, RequestComesBackAsItWasPacked)
{
    MethodRequest request;
    ASSERT_TRUE(Parse(Pack("OEM_QARN_System", "Reset", "Mode=PowerCycle"), &request));
    EXPECT_EQ(request.privilege.word, 0x12345678u);
    EXPECT_EQ(request.privilege.reserved[0], 0u);
    EXPECT_EQ(request.privilege.reserved[1], 0u);
    EXPECT_STREQ(request.path, "OEM_QARN_System");
    EXPECT_STREQ(request.method, "Reset");
    EXPECT_TRUE(request.hasArgs);
    EXPECT_STREQ(request.args, "Mode=PowerCycle");
}

TEST(Protocol, NullArgsAndEmptyArgsAreTwoThings)
{
    MethodRequest request;
    ASSERT_TRUE(Parse(Pack("C", "M", nullptr), &request));
    EXPECT_FALSE(request.hasArgs);
    EXPECT_STREQ(request.args, "");
    ASSERT_TRUE(Parse(Pack("C", "M", ""), &request));
    EXPECT_TRUE(request.hasArgs);
    EXPECT_STREQ(request.args, "");
}

TEST(Protocol, NullPrivilegeIsNone)
{
    u8 packet[kMethodPacketMax];
    MethodRequest request;
    const u32 size = MethodPackRequest(nullptr, "C", "M", nullptr, packet);
    ASSERT_TRUE(MethodParseRequest(packet, size, &request));
    EXPECT_EQ(request.privilege.word, 0u);
}

TEST(Protocol, LongestTextsFitAndOneByteMoreDoesNot)
{
    const std::string path(511, 'p');
    const std::string method(63, 'm');
    const std::string args(255, 'a');
    MethodRequest request;
    ASSERT_TRUE(Parse(Pack(path.c_str(), method.c_str(), args.c_str()), &request));
    EXPECT_EQ(request.path, path);
    EXPECT_EQ(request.method, method);
    EXPECT_EQ(request.args, args);
    EXPECT_EQ(Pack((path + "p").c_str(), "M", nullptr), "");
    EXPECT_EQ(Pack("C", (method + "m").c_str(), nullptr), "");
    EXPECT_EQ(Pack("C", "M", (args + "a").c_str()), "");
}

TEST(Protocol, NullTextsAreNotPacked)
{
    EXPECT_EQ(Pack(nullptr, "M", nullptr), "");
    EXPECT_EQ(Pack("C", nullptr, nullptr), "");
}

TEST(Protocol, RequestCutAnywhereIsRefused)
{
    const std::string packet = Pack("OEM_QARN_System", "Reset", "Mode=PowerCycle");
    MethodRequest request;
    for (size_t size = 0; size < packet.size(); ++size)
        EXPECT_FALSE(Parse(packet.substr(0, size), &request)) << size;
    EXPECT_FALSE(MethodParseRequest(nullptr, 0, &request));
}

TEST(Protocol, BytesBehindTheRequestAreRefused)
{
    MethodRequest request;
    EXPECT_FALSE(Parse(Pack("C", "M", "A") + '\0', &request));
    EXPECT_FALSE(Parse(Pack("C", "M", nullptr) + std::string("A\0", 2), &request));
}

TEST(Protocol, ArgsMarkOtherThanZeroAndOneIsRefused)
{
    std::string packet = Pack("C", "M", "A");
    ASSERT_EQ(packet[12], 1);
    MethodRequest request;
    for (int mark = 2; mark < 256; ++mark) {
        packet[12] = static_cast<char>(mark);
        EXPECT_FALSE(Parse(packet, &request)) << mark;
    }
}

TEST(Protocol, TextsLongerThanTheirFieldsAreRefused)
{
    const std::string head = Pack("C", "M", nullptr).substr(0, 13);
    MethodRequest request;
    const auto packet = [&](size_t path, size_t method) {
        return head + std::string(path, 'p') + '\0' + std::string(method, 'm') + '\0';
    };
    EXPECT_TRUE(Parse(packet(511, 63), &request));
    EXPECT_FALSE(Parse(packet(512, 63), &request));
    EXPECT_FALSE(Parse(packet(511, 64), &request));
}

TEST(Protocol, RefusedRequestLeavesNothingBehind)
{
    MethodRequest request;
    memset(&request, 0x55, sizeof(request));
    EXPECT_FALSE(Parse("x", &request));
    EXPECT_EQ(request.privilege.word, 0u);
    EXPECT_STREQ(request.path, "");
    EXPECT_STREQ(request.method, "");
    EXPECT_FALSE(request.hasArgs);
}

TEST(Protocol, ReplyComesBackAsItWasPacked)
{
    u8 packet[kMethodPacketMax];
    MethodReply reply = {0, 7};
    EXPECT_EQ(MethodPackReply(&reply, packet), 8u);
    MethodReply parsed = {1, 0};
    ASSERT_TRUE(MethodParseReply(packet, 8, &parsed));
    EXPECT_EQ(parsed.status, 0u);
    EXPECT_EQ(parsed.result, 7u);
}

TEST(Protocol, ReplyWithAStatusHasNoResult)
{
    u8 packet[kMethodPacketMax];
    const MethodReply reply = {2, 7};
    EXPECT_EQ(MethodPackReply(&reply, packet), 8u);
    EXPECT_EQ(packet[4] | packet[5] | packet[6] | packet[7], 0);
    packet[4] = 7;
    MethodReply parsed = {0, 9};
    ASSERT_TRUE(MethodParseReply(packet, 8, &parsed));
    EXPECT_EQ(parsed.status, 2u);
    EXPECT_EQ(parsed.result, 0u);
}

TEST(Protocol, ReplyOfAnotherSizeIsRefused)
{
    const u8 packet[9] = {};
    MethodReply reply = {0, 5};
    for (size_t size = 0; size <= 9; ++size) {
        std::unique_ptr<u8[]> copy(new u8[size]);
        memcpy(copy.get(), packet, size);
        EXPECT_EQ(MethodParseReply(copy.get(), size, &reply), size == 8) << size;
        EXPECT_EQ(reply.status, size == 8 ? kCimOk : kCimFailed) << size;
    }
    EXPECT_FALSE(MethodParseReply(nullptr, 8, &reply));
}

// ---- the question

static ServiceFacts Facts()
{
    ServiceFacts facts = {};
    facts.version = kMethodVersion;
    facts.rights = 0x5;
    facts.methodTimeoutMs = 5000;
    strcpy(facts.name, "objmgrd-ipmi");
    facts.sources = 2;
    strcpy(facts.source[0].name, "BMC 192.0.2.10");
    facts.source[0].answers = true;
    strcpy(facts.source[1].name, "other");
    return facts;
}

static std::string Packed(const ServiceFacts &facts)
{
    u8 packet[kMethodPacketMax];
    const u32 size = ServicePackFacts(&facts, packet);
    return std::string(reinterpret_cast<const char *>(packet), size);
}

static bool Parse(const std::string &packet, ServiceFacts *out)
{
    std::unique_ptr<u8[]> copy(new u8[packet.size()]);
    memcpy(copy.get(), packet.data(), packet.size());
    return ServiceParseFacts(copy.get(), packet.size(), out);
}

static RequestKind KindOf(const std::string &packet)
{
    std::unique_ptr<u8[]> copy(new u8[packet.size()]);
    memcpy(copy.get(), packet.data(), packet.size());
    return MethodRequestKind(copy.get(), packet.size());
}

TEST(Protocol, EveryRequestIsToldByItsHead)
{
    u8 packet[kMethodPacketMax];
    EXPECT_EQ(KindOf(Pack("C", "M", nullptr)), RequestKind::Method);
    EXPECT_EQ(KindOf(Pack("C", "M", "a")), RequestKind::Method);
    EXPECT_EQ(MethodRequestKind(packet, ServicePackQuestion(packet)), RequestKind::Question);
    const LoginNotice notice = {};
    EXPECT_EQ(MethodRequestKind(packet, LoginPackNotice(&notice, packet)),
              RequestKind::LoginNotice);
    packet[12] = 4;
    EXPECT_EQ(MethodRequestKind(packet, 13), RequestKind::None);
    packet[12] = 2;
    EXPECT_EQ(MethodRequestKind(packet, 13), RequestKind::Question);
    EXPECT_EQ(MethodRequestKind(packet, 12), RequestKind::None);
    EXPECT_EQ(MethodRequestKind(nullptr, 13), RequestKind::None);
    EXPECT_EQ(KindOf(""), RequestKind::None);
}

TEST(Protocol, ARequestNamesItsSession)
{
    u8 packet[kMethodPacketMax];
    MethodRequest request;
    const u32 size = MethodPackRequest(&kPrivilege, "C", "M", nullptr, packet);
    ASSERT_TRUE(MethodParseRequest(packet, size, &request));
    EXPECT_EQ(request.session, 0u);
    MethodSetSession(packet, 4294967295);
    ASSERT_TRUE(MethodParseRequest(packet, size, &request));
    EXPECT_EQ(request.session, 4294967295u);
    EXPECT_EQ(request.privilege.word, 0x12345678u);
    EXPECT_EQ(request.privilege.reserved[0], 0u);
}

// What stands in the record's reserved words is no session.
TEST(Protocol, APackedRequestClaimsNoSession)
{
    const ObjMgrPrivilege privilege = {1, {77, 0}};
    u8 packet[kMethodPacketMax];
    MethodRequest request;
    const u32 size = MethodPackRequest(&privilege, "C", "M", nullptr, packet);
    ASSERT_TRUE(MethodParseRequest(packet, size, &request));
    EXPECT_EQ(request.session, 0u);
}

TEST(Protocol, FactsComeBackAsTheyWerePacked)
{
    ServiceFacts out;
    ASSERT_TRUE(Parse(Packed(Facts()), &out));
    EXPECT_EQ(out.version, kMethodVersion);
    EXPECT_EQ(out.rights, 0x5u);
    EXPECT_EQ(out.methodTimeoutMs, 5000u);
    EXPECT_STREQ(out.name, "objmgrd-ipmi");
    ASSERT_EQ(out.sources, 2u);
    EXPECT_STREQ(out.source[0].name, "BMC 192.0.2.10");
    EXPECT_TRUE(out.source[0].answers);
    EXPECT_STREQ(out.source[1].name, "other");
    EXPECT_FALSE(out.source[1].answers);
}

TEST(Protocol, FactsCutAnywhereAreRefused)
{
    const std::string whole = Packed(Facts());
    ServiceFacts out;
    for (size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(Parse(whole.substr(0, size), &out)) << size;
    EXPECT_FALSE(Parse(whole + '\0', &out));
}

TEST(Protocol, TheLargestFactsFitAndTextsAreCut)
{
    ServiceFacts facts = Facts();
    facts.sources = 9;
    memset(facts.name, 'n', sizeof facts.name);
    for (ServiceSource &source : facts.source)
        memset(source.name, 's', sizeof source.name);
    ServiceFacts out;
    ASSERT_TRUE(Parse(Packed(facts), &out));
    EXPECT_EQ(out.sources, 8u);
    EXPECT_EQ(out.name, std::string(31, 'n'));
    EXPECT_EQ(out.source[7].name, std::string(63, 's'));
}

TEST(Protocol, FactsOfAnotherVersionSayTheirVersionAlone)
{
    ServiceFacts facts = Facts();
    facts.version = kMethodVersion + 1;
    ServiceFacts out;
    EXPECT_FALSE(Parse(Packed(facts), &out));
    EXPECT_EQ(out.version, kMethodVersion + 1);
    EXPECT_EQ(out.rights, 0u);
    EXPECT_STREQ(out.name, "");
    // The answer of a service that does not know the question.
    const MethodReply reply = {kCimInvalidParameter, 0};
    u8 packet[kMethodPacketMax];
    EXPECT_FALSE(ServiceParseFacts(packet, MethodPackReply(&reply, packet), &out));
    EXPECT_EQ(out.version, 0u);
}

TEST(Protocol, TooManySourcesAreRefused)
{
    std::string packet = Packed(Facts());
    packet[16] = 9;
    ServiceFacts out;
    EXPECT_FALSE(Parse(packet, &out));
    EXPECT_EQ(out.sources, 0u);
}

// ---- the notice

static std::string Packed(const LoginNotice &notice)
{
    u8 packet[kMethodPacketMax];
    const u32 size = LoginPackNotice(&notice, packet);
    return std::string(reinterpret_cast<const char *>(packet), size);
}

static bool Parse(const std::string &packet, LoginNotice *out)
{
    std::unique_ptr<u8[]> copy(new u8[packet.size()]);
    memcpy(copy.get(), packet.data(), packet.size());
    return LoginParseNotice(copy.get(), packet.size(), out);
}

static LoginNotice Notice()
{
    LoginNotice notice = {LoginEvent::Logout, 4294967295, 61, "", ""};
    strcpy(notice.address, "2001:db8::7");
    strcpy(notice.reason, "idle");
    return notice;
}

TEST(Protocol, ANoticeComesBackAsItWasPacked)
{
    LoginNotice out;
    ASSERT_TRUE(Parse(Packed(Notice()), &out));
    EXPECT_EQ(out.event, LoginEvent::Logout);
    EXPECT_EQ(out.session, 4294967295u);
    EXPECT_EQ(out.seconds, 61u);
    EXPECT_STREQ(out.address, "2001:db8::7");
    EXPECT_STREQ(out.reason, "idle");
}

TEST(Protocol, ANoticeCutAnywhereIsRefused)
{
    const std::string whole = Packed(Notice());
    LoginNotice out;
    for (size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(Parse(whole.substr(0, size), &out)) << size;
    EXPECT_FALSE(Parse(whole + '\0', &out));
}

TEST(Protocol, ANoticeOfAnotherVersionOrEventIsRefused)
{
    LoginNotice out;
    std::string packet = Packed(Notice());
    ++packet[13];
    EXPECT_FALSE(Parse(packet, &out));
    packet = Packed(Notice());
    packet[17] = 3;
    EXPECT_TRUE(Parse(packet, &out));
    EXPECT_EQ(out.event, LoginEvent::Lasting);
    packet[17] = 4;
    EXPECT_FALSE(Parse(packet, &out));
    EXPECT_FALSE(Parse(Pack("C", "M", nullptr), &out));
}

TEST(Protocol, TextsOfANoticeAreCut)
{
    LoginNotice notice = Notice();
    memset(notice.address, 'a', sizeof notice.address);
    memset(notice.reason, 'r', sizeof notice.reason);
    LoginNotice out;
    ASSERT_TRUE(Parse(Packed(notice), &out));
    EXPECT_EQ(out.address, std::string(63, 'a'));
    EXPECT_EQ(out.reason, std::string(63, 'r'));
}
