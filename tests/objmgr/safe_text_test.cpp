// SPDX-License-Identifier: Apache-2.0
#include "objmgr/safe_text.h"

#include <gtest/gtest.h>

#include <memory>
#include <string.h>
#include <string>

// "LENGTH safe" or "LENGTH bad" of the first character. An exact copy on the heap: the address
// sanitizer sees a read beyond it.
static std::string First(const std::string &text)
{
    std::unique_ptr<char[]> copy(new char[text.size()]);
    memcpy(copy.get(), text.data(), text.size());
    bool safe = false;
    const size_t length = SafeTextCharacter(copy.get(), text.size(), &safe);
    return std::to_string(length) + (safe ? " safe" : " bad");
}

TEST(SafeText, AsciiIsSafeButForControlCharacters)
{
    EXPECT_EQ(First(" "), "1 safe");
    EXPECT_EQ(First("~"), "1 safe");
    EXPECT_EQ(First("\x1f"), "1 bad");
    EXPECT_EQ(First("\x1b["), "1 bad");
    EXPECT_EQ(First("\x7f"), "1 bad");
    EXPECT_EQ(First(std::string(1, '\0')), "1 bad");
}

TEST(SafeText, C1ControlCharactersAreBad)
{
    EXPECT_EQ(First("\xc2\x80"), "2 bad");
    EXPECT_EQ(First("\xc2\x9b"), "2 bad");
    EXPECT_EQ(First("\xc2\x9f"), "2 bad");
    EXPECT_EQ(First("\xc2\xa0"), "2 safe");
}

TEST(SafeText, CharactersOfEveryLengthAreSafe)
{
    EXPECT_EQ(First("\xc3\xa9z"), "2 safe");
    EXPECT_EQ(First("\xdf\xbf"), "2 safe");
    EXPECT_EQ(First("\xe2\x82\xac"), "3 safe");
    EXPECT_EQ(First("\xf0\x9f\x98\x80z"), "4 safe");
}

TEST(SafeText, BytesThatAreNoUtf8AreBadOneByOne)
{
    for (const char *text :
         {"\x80", "\xbf", "\xc0\xaf", "\xc1\xbf", "\xc3", "\xc3(", "\xe2\x82", "\xe2\x82x",
          "\xe0\x9f\xbf", "\xed\xa0\x80", "\xed\xbf\xbf", "\xf0\x9f", "\xf0\x9f\x98",
          "\xf0\x9f\x98x", "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff"})
        EXPECT_EQ(First(text), "1 bad") << text;
    EXPECT_EQ(First("\xe0\xa0\x80"), "3 safe");
    EXPECT_EQ(First("\xed\x9f\xbf"), "3 safe");
    EXPECT_EQ(First("\xee\x80\x80"), "3 safe");
    EXPECT_EQ(First("\xf0\x90\x80\x80"), "4 safe");
    EXPECT_EQ(First("\xf4\x8f\xbf\xbf"), "4 safe");
}

// Both neighbours of each range.
TEST(SafeText, CharactersThatTurnTheDirectionAreBad)
{
    EXPECT_EQ(First("\xd8\x9b"), "2 safe");
    EXPECT_EQ(First("\xd8\x9c"), "2 bad");  // U+061C
    EXPECT_EQ(First("\xd8\x9d"), "2 safe");
    EXPECT_EQ(First("\xe2\x80\x8d"), "3 safe");
    EXPECT_EQ(First("\xe2\x80\x8e"), "3 bad");  // U+200E
    EXPECT_EQ(First("\xe2\x80\x8f"), "3 bad");
    EXPECT_EQ(First("\xe2\x80\x90"), "3 safe");
    EXPECT_EQ(First("\xe2\x80\xa9"), "3 safe");
    EXPECT_EQ(First("\xe2\x80\xaa"), "3 bad");  // U+202A
    EXPECT_EQ(First("\xe2\x80\xae"), "3 bad");
    EXPECT_EQ(First("\xe2\x80\xaf"), "3 safe");
    EXPECT_EQ(First("\xe2\x81\xa5"), "3 safe");
    EXPECT_EQ(First("\xe2\x81\xa6"), "3 bad");  // U+2066
    EXPECT_EQ(First("\xe2\x81\xa9"), "3 bad");
    EXPECT_EQ(First("\xe2\x81\xaa"), "3 safe");
}

TEST(SafeText, OneBadCharacterAnywhereMakesATextUnsafe)
{
    const auto isSafe = [](const std::string &text) {
        return SafeTextIsSafe(text.data(), text.size());
    };
    EXPECT_TRUE(isSafe(""));
    EXPECT_TRUE(isSafe("Fan 1 ~ 40% \xc2\xb0"));
    EXPECT_FALSE(isSafe("\x1b[2J"));
    EXPECT_FALSE(isSafe("a\xe2\x80\xae"));
    EXPECT_FALSE(isSafe("a\xe2\x82"));
    EXPECT_FALSE(isSafe(std::string("a\0b", 3)));
}

TEST(SafeText, PlainIsPrintableAscii)
{
    const auto plain = [](const std::string &text) {
        std::unique_ptr<char[]> copy(new char[text.size()]);
        memcpy(copy.get(), text.data(), text.size());
        return SafeTextPlain(copy.get(), text.size());
    };
    EXPECT_EQ(plain(""), 0u);
    // Every byte at every place among eight, and behind them.
    for (u32 byte = 0; byte <= 0xff; ++byte) {
        for (size_t at = 0; at < 19; ++at) {
            std::string text(19, 'x');
            text[at] = static_cast<char>(byte);
            EXPECT_EQ(plain(text), byte >= 0x20 && byte <= 0x7e ? 19 : at) << byte;
            EXPECT_EQ(SafeTextIsSafe(text.data(), text.size()), byte >= 0x20 && byte <= 0x7e)
                << byte;
        }
    }
    // A bad byte does not hide the one before or behind it.
    EXPECT_EQ(plain(" ~ ~ ~ \x1f\x20"), 7u);
    EXPECT_EQ(plain("x\x7f\xff\x1f\x20xxx"), 1u);
    EXPECT_EQ(plain("xxxxxxxxx\xff\x7f"), 9u);
}
