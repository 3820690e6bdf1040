// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensor_kind.h"

#include "support/fake_objmgr.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <string.h>

namespace
{

constexpr const char *kStates[] = {"up", "down"};
constexpr StateCode kCodes[] = {{7, "seven"}, {8, "eight"}};
constexpr SensorKind kPlain = {.type = 7, .format = 9, .states = kStates};
constexpr SensorKind kCoded = {.type = 7, .format = 9, .codes = kCodes, .defaultState = "other"};

// The source's value for a length, with its result in front. The host has one sensor of the kind,
// whose property "argument " is `text`; unreadable: nothing can be read.
std::string Value(PropertySource source, const SensorKind &kind, const std::string &text,
                  bool unreadable = false, u32 length = 65)
{
    FakeObjMgr om;
    TraceCapture traces;
    om.AddSensor("7", "8", {"argument ", "another kind's"});
    om.AddSensor("7", "9", {"argument ", text});
    om.openFails = unreadable;
    char value[257] = "";
    value[length] = '#';
    const u32 code = source({"argument ", 1, value, length, &kind});
    EXPECT_EQ(value[length], '#');
    return std::to_string(code) + " " + value;
}

}  // namespace

TEST(SensorKindSource, Number)
{
    EXPECT_EQ(Value(FromNumber, kPlain, ""), "0 argument 1");
}

TEST(SensorKindSource, SensorTextIsCutToTheLength)
{
    EXPECT_EQ(Value(FromSensor, kPlain, "text"), "0 text");
    EXPECT_EQ(Value(FromSensor, kPlain, std::string(64, 'a')), "0 " + std::string(64, 'a'));
    EXPECT_EQ(Value(FromSensor, kPlain, std::string(65, 'a')), "0 " + std::string(64, 'a'));
    EXPECT_EQ(Value(FromSensor, kPlain, std::string(900, 'a'), false, 256),
              "0 " + std::string(255, 'a'));
}

TEST(SensorKindSource, FailedReadWritesNothing)
{
    EXPECT_EQ(Value(FromSensor, kPlain, "text", true), "1 ");
    EXPECT_EQ(Value(FromStateCode, kCoded, "7", true), "1 ");
}

TEST(SensorKindSource, Lists)
{
    EXPECT_EQ(Value(FromStates, kPlain, ""), "0 { \"up\" \"down\" }");
    EXPECT_EQ(Value(FromStateCodes, kCoded, ""), "0 { \"seven\" \"eight\" }");
}

TEST(SensorKindSource, StateCode)
{
    EXPECT_EQ(Value(FromStateCode, kCoded, "7"), "0 seven");
    EXPECT_EQ(Value(FromStateCode, kCoded, " 8x"), "0 eight");
    EXPECT_EQ(Value(FromStateCode, kCoded, "9"), "0 other");
    EXPECT_EQ(Value(FromStateCode, kCoded, "text"), "0 other");
    EXPECT_EQ(Value(FromStateCode, kCoded, "4294967303"), "0 seven");  // modulo 2^32
}

TEST(SensorKindSource, SystemName)
{
    EXPECT_EQ(Value(FromSystemName, kPlain, ""), "0 TAG1234");
    EXPECT_EQ(Value(FromSystemName, kPlain, "", true), "1 ");
}
