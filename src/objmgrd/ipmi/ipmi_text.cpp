// SPDX-License-Identifier: Apache-2.0
// ipmi_text.cpp -- see ipmi_text.h.
#include "objmgrd/ipmi/ipmi_text.h"

#include "objmgrd/text.h"

#include <algorithm>
#include <stdio.h>

namespace
{

void AppendUtf8(std::string *text, u32 character)
{
    if (character < 0x80) {
        *text += static_cast<char>(character);
    } else if (character < 0x800) {
        *text += static_cast<char>(0xc0 | (character >> 6));
        *text += static_cast<char>(0x80 | (character & 0x3f));
    } else {
        *text += static_cast<char>(0xe0 | (character >> 12));
        *text += static_cast<char>(0x80 | ((character >> 6) & 0x3f));
        *text += static_cast<char>(0x80 | (character & 0x3f));
    }
}

// The bytes of one character of UTF-8 beyond ASCII that begins here; 0: none does.
size_t Utf8Length(const u8 *bytes, size_t size)
{
    const u8 first = bytes[0];
    const size_t length = first >= 0xc2 && first <= 0xdf   ? 2
                          : first >= 0xe0 && first <= 0xef ? 3
                          : first >= 0xf0 && first <= 0xf4 ? 4
                                                           : 0;
    if (length == 0 || length > size)
        return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((bytes[i] & 0xc0) != 0x80)
            return 0;
    }
    return length;
}

// Many BMCs write UTF-8 where IPMI says Latin-1.
bool IsUtf8(const u8 *bytes, size_t size)
{
    for (size_t i = 0; i < size && bytes[i] != 0;) {
        const size_t length = bytes[i] < 0x80 ? 1 : Utf8Length(bytes + i, size - i);
        if (length == 0)
            return false;
        i += length;
    }
    return true;
}

std::string FromLatin1(const u8 *bytes, size_t size)
{
    if (IsUtf8(bytes, size))
        return std::string(reinterpret_cast<const char *>(bytes),
                           static_cast<size_t>(std::find(bytes, bytes + size, u8{0}) - bytes));
    std::string text;
    for (size_t i = 0; i < size && bytes[i] != 0; ++i)
        AppendUtf8(&text, bytes[i]);
    return text;
}

// Least significant byte first, as all numbers in IPMI.
std::string FromUcs2(const u8 *bytes, size_t size)
{
    std::string text;
    for (size_t i = 0; i + 1 < size; i += 2) {
        const u32 character = bytes[i] | (static_cast<u32>(bytes[i + 1]) << 8);
        if (character == 0)
            break;
        AppendUtf8(&text, character);
    }
    return text;
}

std::string FromBcdPlus(const u8 *bytes, size_t size)
{
    static constexpr char kDigits[] = "0123456789 -.:,_";
    std::string text;
    for (size_t i = 0; i < size; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0xf];
    }
    return text;
}

// Four characters in three bytes, from the least significant bit on; 0 is a blank.
std::string FromSixBit(const u8 *bytes, size_t size)
{
    std::string text;
    u32 bits = 0;
    u32 held = 0;
    for (size_t i = 0; i < size; ++i) {
        bits |= static_cast<u32>(bytes[i]) << held;
        for (held += 8; held >= 6; held -= 6) {
            text += static_cast<char>(0x20 + (bits & 0x3f));
            bits >>= 6;
        }
    }
    return text;
}

}  // namespace

std::string IpmiHex(const u8 *bytes, size_t sizeBytes)
{
    std::string text;
    char part[4];
    for (size_t i = 0; i < sizeBytes; ++i) {
        snprintf(part, sizeof part, i == 0 ? "%02x" : " %02x", unsigned{bytes[i]});
        text += part;
    }
    return text;
}

std::string IpmiText(IpmiEncoding encoding, const u8 *bytes, size_t sizeBytes, bool binary)
{
    switch (encoding) {
    case IpmiEncoding::BcdPlus:
        return TextTrim(FromBcdPlus(bytes, sizeBytes));
    case IpmiEncoding::SixBit:
        return TextTrim(FromSixBit(bytes, sizeBytes));
    case IpmiEncoding::Latin1:
        return TextTrim(FromLatin1(bytes, sizeBytes));
    case IpmiEncoding::UnicodeOrBinary:
        break;
    }
    return binary ? IpmiHex(bytes, sizeBytes) : TextTrim(FromUcs2(bytes, sizeBytes));
}
