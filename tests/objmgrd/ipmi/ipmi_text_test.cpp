// SPDX-License-Identifier: Apache-2.0
// Tests of objmgrd/ipmi/ipmi_text.
#include "objmgrd/ipmi/ipmi_text.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

std::string Text(IpmiEncoding encoding, const std::vector<u8> &bytes, bool binary = false)
{
    return IpmiText(encoding, bytes.data(), bytes.size(), binary);
}

}  // namespace

TEST(IpmiText, Latin1BecomesUtf8UpToItsNul)
{
    EXPECT_EQ(Text(IpmiEncoding::Latin1, {' ', 'F', 0xe9, ' '}), "F\xc3\xa9");
    EXPECT_EQ(Text(IpmiEncoding::Latin1, {'A', 0, 'B'}), "A");
    EXPECT_EQ(Text(IpmiEncoding::Latin1, {}), "");
    EXPECT_EQ(Text(IpmiEncoding::Latin1, {' ', ' '}), "");
}

TEST(IpmiText, Utf8StaysWhatItIs)
{
    EXPECT_EQ(Text(IpmiEncoding::Latin1, {'L', 0xc3, 0xbc, 'f', 't'}), "L\xc3\xbc"
                                                                       "ft");
    EXPECT_EQ(Text(IpmiEncoding::Latin1, {0xe2, 0x84, 0x83}), "\xe2\x84\x83");
    EXPECT_EQ(Text(IpmiEncoding::Latin1, {0xf0, 0x9f, 0x8c, 0xa1, 0, 'x'}), "\xf0\x9f\x8c\xa1");
    // Cut off, or otherwise no UTF-8: Latin-1.
    EXPECT_EQ(Text(IpmiEncoding::Latin1, {'a', 0xc3}), "a\xc3\x83");
    EXPECT_EQ(Text(IpmiEncoding::Latin1, {0xc3, 0xbc, 0xfc}), "\xc3\x83\xc2\xbc\xc3\xbc");
    EXPECT_EQ(Text(IpmiEncoding::Latin1, {0xc0, 0x80}), "\xc3\x80\xc2\x80");
}

TEST(IpmiText, BcdPlus)
{
    EXPECT_EQ(Text(IpmiEncoding::BcdPlus, {0x12, 0x3b, 0xc4, 0xde, 0xfa}), "123-.4:,_");
}

// "IPMI" as the FRU definition has it for an example.
TEST(IpmiText, SixBit)
{
    EXPECT_EQ(Text(IpmiEncoding::SixBit, {0x29, 0xdc, 0xa6}), "IPMI");
    EXPECT_EQ(Text(IpmiEncoding::SixBit, {0x29, 0xdc}), "IP");
    EXPECT_EQ(Text(IpmiEncoding::SixBit, {0x29}), "I");
}

TEST(IpmiText, TheFourthIsUcs2OrBytes)
{
    EXPECT_EQ(Text(IpmiEncoding::UnicodeOrBinary, {'A', 0, 0xe9, 0, 0xac, 0x20}),
              "A\xc3\xa9\xe2\x82\xac");
    EXPECT_EQ(Text(IpmiEncoding::UnicodeOrBinary, {'A', 0, 'B'}), "A");
    EXPECT_EQ(Text(IpmiEncoding::UnicodeOrBinary, {'A', 0, 0, 0, 'B', 0}), "A");
    EXPECT_EQ(Text(IpmiEncoding::UnicodeOrBinary, {0x0a, 0xff}, true), "0a ff");
}

TEST(IpmiText, HexOfNothing)
{
    EXPECT_EQ(IpmiHex(nullptr, 0), "");
}
