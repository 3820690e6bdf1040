// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/text.
#include "objmgrd/text.h"

#include <gtest/gtest.h>

TEST(Text, IsTrimmedOfBlanksAlone)
{
    EXPECT_EQ(TextTrim("  a  b "), "a  b");
    EXPECT_EQ(TextTrim("\ta "), "\ta");
    EXPECT_EQ(TextTrim("   "), "");
    EXPECT_EQ(TextTrim(""), "");
}

TEST(Text, OfOneLineHasSingleBlanks)
{
    EXPECT_EQ(TextOneLine(" CPU1\t \n Temp \r\n", 255), "CPU1 Temp");
    EXPECT_EQ(TextOneLine("\x1b[2Ja\x7f"
                          "b",
                          255),
              "[2Ja b");
    EXPECT_EQ(TextOneLine("a\xc2\x9b"
                          "b\xc2\x80",
                          255),
              "a b");
    EXPECT_EQ(TextOneLine("\xc2\xa0"
                          "5 \xc2\xb0"
                          "C",
                          255),
              "\xc2\xa0"
              "5 \xc2\xb0"
              "C");
    EXPECT_EQ(TextOneLine(" \t ", 255), "");
}

TEST(Text, OfOneLineIsCutBetweenCharacters)
{
    EXPECT_EQ(TextOneLine("abcd", 4), "abcd");
    EXPECT_EQ(TextOneLine("abcde", 4), "abcd");
    EXPECT_EQ(TextOneLine("abc\xc3\xa4", 5), "abc\xc3\xa4");
    EXPECT_EQ(TextOneLine("abc\xc3\xa4", 4), "abc");
    EXPECT_EQ(TextOneLine("a\xf0\x9f\x98\x80", 4), "a");
    EXPECT_EQ(TextOneLine("abc def", 4), "abc");
    EXPECT_EQ(TextOneLine(std::string(300, 'x'), 255), std::string(255, 'x'));
    EXPECT_EQ(TextOneLine("\x80\x80\x80", 2), "");
}
