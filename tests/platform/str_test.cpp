// SPDX-License-Identifier: Apache-2.0
// str_test.cpp -- string helpers.
#include "platform/str.h"

#include <gtest/gtest.h>
#include <string.h>
#include <string>

namespace
{

TEST(StrEqual, ComparesExactly)
{
    EXPECT_TRUE(StrEqual("exit", "exit"));
    EXPECT_TRUE(StrEqual("", ""));
    EXPECT_FALSE(StrEqual("exit", "Exit"));
    EXPECT_FALSE(StrEqual("exit", "exi"));
    EXPECT_FALSE(StrEqual("exi", "exit"));
}

TEST(StrEqual, NullEqualsNothing)
{
    EXPECT_FALSE(StrEqual(nullptr, ""));
    EXPECT_FALSE(StrEqual("", nullptr));
    EXPECT_FALSE(StrEqual(nullptr, nullptr));
}

TEST(StrEqualNoCase, LettersOfEitherCaseAreTheSame)
{
    EXPECT_TRUE(StrEqualNoCase("EXIT", "exit"));
    EXPECT_TRUE(StrEqualNoCase("eXiT", "ExIt"));
    EXPECT_TRUE(StrEqualNoCase("az", "AZ"));
    EXPECT_TRUE(StrEqualNoCase("", ""));
    EXPECT_FALSE(StrEqualNoCase("exit", "exi"));
    EXPECT_FALSE(StrEqualNoCase("exi", "exit"));
    EXPECT_FALSE(StrEqualNoCase("exit", "exIs"));
}

TEST(StrEqualNoCase, NeighboursOfTheLettersAreNotLetters)
{
    EXPECT_FALSE(StrEqualNoCase("@", "`"));
    EXPECT_FALSE(StrEqualNoCase("[", "{"));
    EXPECT_FALSE(StrEqualNoCase("\xC4", "\xE4"));
}

TEST(StrEqualNoCase, NullEqualsNothing)
{
    EXPECT_FALSE(StrEqualNoCase(nullptr, ""));
    EXPECT_FALSE(StrEqualNoCase("", nullptr));
    EXPECT_FALSE(StrEqualNoCase(nullptr, nullptr));
}

TEST(StrIsEmpty, NullAndEmptyText)
{
    EXPECT_TRUE(StrIsEmpty(nullptr));
    EXPECT_TRUE(StrIsEmpty(""));
    EXPECT_FALSE(StrIsEmpty(" "));
    EXPECT_FALSE(StrIsEmpty("a"));
}

TEST(StrIsNumeric, DecimalDigitsOnly)
{
    EXPECT_TRUE(StrIsNumeric("0"));
    EXPECT_TRUE(StrIsNumeric("0123456789"));
    for (const char *text : {"", " 1", "1 ", "+1", "-1", "1a", "0x1", "1.0", "/", ":"})
        EXPECT_FALSE(StrIsNumeric(text)) << text;
    EXPECT_FALSE(StrIsNumeric(nullptr));
}

TEST(StrIsHexValue, HexadecimalDigitsWithOrWithoutPrefix)
{
    for (const char *text :
         {"0", "9", "a", "f", "A", "F", "1ff", "0x1fF", "0X0", "0123456789abcdefABCDEF"})
        EXPECT_TRUE(StrIsHexValue(text)) << text;
}

TEST(StrIsHexValue, AnythingElseIsRefused)
{
    for (const char *text : {"", "0x", "0X", "x", "x1", "g", "1g", "G", " 1", "1 ", "-1", "1x2",
                             "xyz", "@", "`", "/", ":", "0x0x0"})
        EXPECT_FALSE(StrIsHexValue(text)) << text;
    EXPECT_FALSE(StrIsHexValue(nullptr));
}

TEST(StrToUINT, DigitsUpToTheFirstOtherCharacter)
{
    EXPECT_EQ(StrToUINT32("0"), 0u);
    EXPECT_EQ(StrToUINT32("1234567890"), 1234567890u);
    EXPECT_EQ(StrToUINT32("12a34"), 12u);
    EXPECT_EQ(StrToUINT32("007"), 7u);
    EXPECT_EQ(StrToUINT32("10.1.2.3"), 10u);
}

TEST(StrToUINT, LeadingBlanksArePassedOver)
{
    EXPECT_EQ(StrToUINT32("  12"), 12u);
    EXPECT_EQ(StrToUINT32("\t 12 13"), 12u);
    EXPECT_EQ(StrToUINT16("  12"), 12u);
    EXPECT_EQ(StrToUINT8("\t12"), 12u);
}

TEST(StrToUINT, WithoutDigitsTheNumberIsZero)
{
    for (const char *text : {"", "   ", "a12", "-1", "+1", "\n1"}) {
        EXPECT_EQ(StrToUINT32(text), 0u) << text;
        EXPECT_EQ(StrToUINT16(text), 0u) << text;
        EXPECT_EQ(StrToUINT8(text), 0u) << text;
    }
    EXPECT_EQ(StrToUINT32(nullptr), 0u);
    EXPECT_EQ(StrToUINT16(nullptr), 0u);
    EXPECT_EQ(StrToUINT8(nullptr), 0u);
}

TEST(StrToUINT, NumbersAreTakenModuloTheWidth)
{
    EXPECT_EQ(StrToUINT8("255"), 255u);
    EXPECT_EQ(StrToUINT8("256"), 0u);
    EXPECT_EQ(StrToUINT8("257"), 1u);
    EXPECT_EQ(StrToUINT16("65535"), 65535u);
    EXPECT_EQ(StrToUINT16("65536"), 0u);
    EXPECT_EQ(StrToUINT16("65537"), 1u);
    EXPECT_EQ(StrToUINT32("4294967295"), 4294967295u);
    EXPECT_EQ(StrToUINT32("4294967296"), 0u);
    EXPECT_EQ(StrToUINT32("4294967297"), 1u);
    EXPECT_EQ(StrToUINT32("18446744073709551617"), 1u);
}

TEST(StrHexToUINT32, ReadsHexadecimalDigits)
{
    EXPECT_EQ(StrHexToUINT32("1ff"), 0x1ffu);
    EXPECT_EQ(StrHexToUINT32("1FF"), 0x1ffu);
    EXPECT_EQ(StrHexToUINT32("0x1ff"), 0x1ffu);
    EXPECT_EQ(StrHexToUINT32("0XfF"), 0xffu);
    EXPECT_EQ(StrHexToUINT32("  0x10"), 0x10u);
    EXPECT_EQ(StrHexToUINT32("10 20"), 0x10u);
    EXPECT_EQ(StrHexToUINT32("10g"), 0x10u);
}

TEST(StrHexToUINT32, WithoutDigitsTheNumberIsZero)
{
    for (const char *text : {"", "0x", "xyz", "-1", "g"})
        EXPECT_EQ(StrHexToUINT32(text), 0u) << text;
    EXPECT_EQ(StrHexToUINT32(nullptr), 0u);
}

TEST(StrHexToUINT32, NumberIsTakenModuloTheWidth)
{
    EXPECT_EQ(StrHexToUINT32("ffffffff"), 0xffffffffu);
    EXPECT_EQ(StrHexToUINT32("100000000"), 0u);
    EXPECT_EQ(StrHexToUINT32("123456789"), 0x23456789u);
}

std::string TrimmedLeft(const char *text)
{
    char buffer[64];
    StrCopy(buffer, text, sizeof buffer);
    StrTrimLeft(buffer);
    return buffer;
}

std::string TrimmedRight(const char *text)
{
    char buffer[64];
    StrCopy(buffer, text, sizeof buffer);
    StrTrimRight(buffer);
    return buffer;
}

TEST(StrTrim, LeftRemovesBlanksFromTheLeftOnly)
{
    EXPECT_EQ(TrimmedLeft("  a b  "), "a b  ");
    EXPECT_EQ(TrimmedLeft("\t a"), "a");
    EXPECT_EQ(TrimmedLeft("a"), "a");
    EXPECT_EQ(TrimmedLeft("   "), "");
    EXPECT_EQ(TrimmedLeft(""), "");
    EXPECT_EQ(TrimmedLeft("\n a"), "\n a");
    StrTrimLeft(nullptr);
}

TEST(StrTrim, RightRemovesBlanksFromTheRightOnly)
{
    EXPECT_EQ(TrimmedRight("  a b  "), "  a b");
    EXPECT_EQ(TrimmedRight("a \t"), "a");
    EXPECT_EQ(TrimmedRight("a"), "a");
    EXPECT_EQ(TrimmedRight("   "), "");
    EXPECT_EQ(TrimmedRight(""), "");
    EXPECT_EQ(TrimmedRight("a \n"), "a \n");
    StrTrimRight(nullptr);
}

TEST(StrCopy, LongerTextIsCutToTheSize)
{
    char buffer[8];
    memset(buffer, '#', sizeof buffer);
    StrCopy(buffer, "abcd", 4);
    EXPECT_EQ(memcmp(buffer, "abc\0####", 8), 0);
    StrCopy(buffer, "xy", 3);
    EXPECT_EQ(memcmp(buffer, "xy\0\0####", 8), 0);
    StrCopy(buffer, "z", 1);
    EXPECT_EQ(memcmp(buffer, "\0y\0\0####", 8), 0);
}

TEST(StrCopy, SourceMayOverlap)
{
    char buffer[16] = "abcdefgh";
    StrCopy(buffer + 2, buffer, 9);
    EXPECT_STREQ(buffer, "ababcdefgh");
    StrCopy(buffer, buffer + 4, 9);
    EXPECT_STREQ(buffer, "cdefgh");
}

}  // namespace
