// SPDX-License-Identifier: Apache-2.0
// safe_text.cpp -- which texts may be shown on a terminal.
#include "objmgr/safe_text.h"

#include <string.h>

namespace
{

size_t LengthByLead(u8 lead)
{
    if (lead < 0x80)
        return 1;
    if (lead >= 0xc2 && lead <= 0xdf)
        return 2;
    if (lead >= 0xe0 && lead <= 0xef)
        return 3;
    return lead >= 0xf0 && lead <= 0xf4 ? 4 : 0;
}

// The character that the `length` bytes at `text` encode; false when they encode none: longer
// forms than needed, surrogates, and what lies beyond U+10FFFF.
bool Decode(const char *text, size_t length, u32 *character)
{
    static constexpr u32 kLowest[] = {0, 0, 0x80, 0x800, 0x10000};
    u32 value = static_cast<u8>(*text) & (0xffu >> (length + 1));
    for (size_t i = 1; i < length; ++i) {
        const u8 byte = static_cast<u8>(text[i]);
        if ((byte & 0xc0) != 0x80)
            return false;
        value = value << 6 | (byte & 0x3fu);
    }
    *character = value;
    return value >= kLowest[length] && value <= 0x10ffff && (value < 0xd800 || value > 0xdfff);
}

bool IsSafe(u32 character)
{
    return character >= 0xa0 && character != 0x061c && character != 0x200e && character != 0x200f &&
           (character < 0x202a || character > 0x202e) && (character < 0x2066 || character > 0x2069);
}

// Whether all eight bytes are printable ASCII: none has its highest bit, is below a blank or DEL.
// Where none has its highest bit, no byte but one below a blank borrows from the next.
bool ArePlain(u64 bytes)
{
    static constexpr u64 kEach = 0x0101010101010101;
    return ((bytes | (bytes - 0x20 * kEach) | (bytes + kEach)) & 0x80 * kEach) == 0;
}

}  // namespace

size_t SafeTextCharacter(const char *text, size_t left, bool *safe)
{
    const u8 lead = static_cast<u8>(*text);
    const size_t length = LengthByLead(lead);
    u32 character = 0;
    if (length == 1) {
        *safe = lead >= 0x20 && lead != 0x7f;
        return 1;
    }
    *safe = false;
    if (length == 0 || length > left || !Decode(text, length, &character))
        return 1;
    *safe = IsSafe(character);
    return length;
}

// Each text is looked at when its record is first read.
size_t SafeTextPlain(const char *text, size_t length)
{
    size_t at = 0;
    u64 bytes;
    for (; length - at >= sizeof(bytes); at += sizeof(bytes)) {
        memcpy(&bytes, text + at, sizeof(bytes));
        if (!ArePlain(bytes))
            break;
    }
    while (at < length && text[at] >= 0x20 && text[at] < 0x7f)
        ++at;
    return at;
}

bool SafeTextIsSafe(const char *text, size_t length)
{
    bool safe = true;
    for (size_t at = 0; safe && at < length;) {
        at += SafeTextPlain(text + at, length - at);
        if (at < length)
            at += SafeTextCharacter(text + at, length - at, &safe);
    }
    return safe;
}
