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
