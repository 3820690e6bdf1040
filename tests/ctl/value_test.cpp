// SPDX-License-Identifier: Apache-2.0
#include "ctl/value.h"

#include <gtest/gtest.h>
#include <math.h>

namespace
{

std::string Number(std::string_view text)
{
    const Value value = NumberFromText(text);
    return value.IsNull() ? "null" : value.text;
}

std::string Seconds(double seconds)
{
    const Value value = SecondsValue(seconds);
    return value.IsNull() ? "null" : value.text;
}

}  // namespace

TEST(Value, ReadingsAreNumbersAsJsonWritesThem)
{
    EXPECT_EQ(Number("23"), "23");
    EXPECT_EQ(Number("-7"), "-7");
    EXPECT_EQ(Number("+5"), "5");
    EXPECT_EQ(Number("0"), "0");
    EXPECT_EQ(Number("007"), "7");
    EXPECT_EQ(Number("-0.50"), "-0.50");
    EXPECT_EQ(Number(".5"), "0.5");
    EXPECT_EQ(Number("5."), "5");
    EXPECT_EQ(Number("12.08"), "12.08");
    EXPECT_EQ(Number("1E+3"), "1e3");
    EXPECT_EQ(Number("1e-3"), "1e-3");
}

TEST(Value, WhatIsNoDecimalNumber)
{
    for (const char *text : {"", "N/A", "-", "+", ".", "e3", "1e", "1e+", "0x10", "nan", "inf",
                             " 1", "1 ", "1,5", "--1", "1.2.3", "1e999"})
        EXPECT_EQ(Number(text), "null") << text;
    EXPECT_EQ(Number(std::string(40, '1')), std::string(40, '1'));
    EXPECT_EQ(Number(std::string(41, '1')), "null");
}

TEST(Value, TextIsCleaned)
{
    EXPECT_EQ(TextValue("Inlet Temp").text, "Inlet Temp");
    EXPECT_EQ(TextValue("a\x1b[31mb\n\x7f").text, "a?[31mb??");
    EXPECT_EQ(TextValue("\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80").text,
              "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
    EXPECT_EQ(TextValue("\xc2\x9b").text, "?");          // C1: a terminal takes it for ESC [
    EXPECT_EQ(TextValue("a\xe2\x80\xaez").text, "a?z");  // turns the direction
    EXPECT_EQ(TextValue("\xe2\x81\xa6\xd8\x9c").text, "??");
    EXPECT_EQ(TextValue("\xe2\x80\xa9").text, "\xe2\x80\xa9");
    EXPECT_EQ(TextValue("\xc2\xa0").text, "\xc2\xa0");      // the first that is none
    EXPECT_EQ(TextValue("\xc0\xaf").text, "??");            // overlong
    EXPECT_EQ(TextValue("\xe0\x9f\xbf").text, "???");       // overlong
    EXPECT_EQ(TextValue("\xed\xa0\x80").text, "???");       // a surrogate
    EXPECT_EQ(TextValue("\xf4\x90\x80\x80").text, "????");  // beyond the last character
    EXPECT_EQ(TextValue("\xe2\x82").text, "??");            // cut
    EXPECT_EQ(TextValue(std::string_view("a\0b", 3)).text, "a?b");
}

TEST(Value, SecondsHaveThreePlacesAtTheMost)
{
    EXPECT_EQ(Seconds(0), "0");
    EXPECT_EQ(Seconds(-0.0001), "0");
    EXPECT_EQ(Seconds(1.5), "1.5");
    EXPECT_EQ(Seconds(0.0125), "0.013");
    EXPECT_EQ(Seconds(100), "100");
    EXPECT_EQ(Seconds(NAN), "null");
    EXPECT_EQ(Seconds(INFINITY), "null");
}

TEST(Value, Times)
{
    EXPECT_EQ(TimeValue(0).text, "1970-01-01T00:00:00Z");
    EXPECT_EQ(TimeValue(1709189892).text, "2024-02-29T06:58:12Z");
    EXPECT_EQ(TimeValue(-62167219200).text, "0000-01-01T00:00:00Z");
    EXPECT_EQ(TimeValue(253402300799).text, "9999-12-31T23:59:59Z");
    EXPECT_TRUE(TimeValue(-62167219201).IsNull());
    EXPECT_TRUE(TimeValue(253402300800).IsNull());
}

TEST(Value, Others)
{
    EXPECT_EQ(IntegerValue(-3).text, "-3");
    EXPECT_EQ(FlagValue(true).text, "true");
    EXPECT_EQ(FlagValue(false).text, "false");
    EXPECT_TRUE(Value().IsNull());
    EXPECT_EQ(NumberOfValue(NumberFromText("12.5")), 12.5);
    EXPECT_EQ(NumberOfValue(TextValue("12.5")), 0);
}
