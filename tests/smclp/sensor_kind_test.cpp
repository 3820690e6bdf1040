// SPDX-License-Identifier: Apache-2.0
#include "smclp/me/sensor_kind.h"

#include "support/fake_objmgr.h"
#include "support/test_shell.h"

#include <gtest/gtest.h>
#include <string.h>

namespace
{

std::string gText;  // what the reader below answers
u32 gResult;

u32 Read(u32, char *out, const char *)
{
    strcpy(out, gText.c_str());
    return gResult;
}

constexpr const char *kStates[] = {"up", "down"};
constexpr StateCode kCodes[] = {{7, "seven"}, {8, "eight"}};
constexpr SensorKind kPlain = {.read = Read, .states = kStates};
constexpr SensorKind kCoded = {.read = Read, .codes = kCodes, .defaultState = "other"};

// The source's value for a length, with its result in front.
std::string Value(PropertySource source, const SensorKind &kind, const std::string &text,
                  u32 result = 0, u32 length = 65)
{
    gText = text;
    gResult = result;
    char value[257] = "";
    value[length] = '#';
    const u32 code = source({"argument ", 12, value, length, &kind});
    EXPECT_EQ(value[length], '#');
    return std::to_string(code) + " " + value;
}

}  // namespace

TEST(SensorKindSource, Number)
{
    EXPECT_EQ(Value(FromNumber, kPlain, ""), "0 argument 12");
}

TEST(SensorKindSource, SensorTextIsCutToTheLength)
{
    EXPECT_EQ(Value(FromSensor, kPlain, "text"), "0 text");
    EXPECT_EQ(Value(FromSensor, kPlain, std::string(64, 'a')), "0 " + std::string(64, 'a'));
    EXPECT_EQ(Value(FromSensor, kPlain, std::string(65, 'a')), "0 " + std::string(64, 'a'));
    EXPECT_EQ(Value(FromSensor, kPlain, std::string(900, 'a'), 0, 256),
              "0 " + std::string(255, 'a'));
}

TEST(SensorKindSource, FailedReadWritesNothing)
{
    EXPECT_EQ(Value(FromSensor, kPlain, "text", 1), "1 ");
    EXPECT_EQ(Value(FromStateCode, kCoded, "7", 1), "1 ");
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
    FakeObjMgr om;
    EXPECT_EQ(Value(FromSystemName, kPlain, ""), "0 TAG1234");
    om.openFails = true;
    EXPECT_EQ(Value(FromSystemName, kPlain, ""), "1 ");
}
