// SPDX-License-Identifier: Apache-2.0
// str.cpp -- string helpers.
#include "platform/str.h"

#include <string.h>

namespace
{

bool IsBlank(char c)
{
    return c == ' ' || c == '\t';
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

// The value of a hexadecimal digit, or 16 for any other character.
u32 HexDigit(char c)
{
    if (IsDigit(c))
        return static_cast<u32>(c - '0');
    c = Lower(c);
    return c >= 'a' && c <= 'f' ? static_cast<u32>(c - 'a') + 10 : 16;
}

const char *SkipBlanks(const char *text)
{
    while (IsBlank(*text))
        ++text;
    return text;
}

const char *SkipHexPrefix(const char *text)
{
    return text[0] == '0' && Lower(text[1]) == 'x' ? text + 2 : text;
}

}  // namespace

bool StrEqual(const char *a, const char *b)
{
    return a != nullptr && b != nullptr && strcmp(a, b) == 0;
}

bool StrEqualNoCase(const char *a, const char *b)
{
    if (a == nullptr || b == nullptr)
        return false;
    while (*a != '\0' && Lower(*a) == Lower(*b)) {
        ++a;
        ++b;
    }
    return Lower(*a) == Lower(*b);
}

bool StrIsEmpty(const char *text)
{
    return text == nullptr || *text == '\0';
}

bool StrIsNumeric(const char *text)
{
    if (StrIsEmpty(text))
        return false;
    while (IsDigit(*text))
        ++text;
    return *text == '\0';
}

bool StrIsHexValue(const char *text)
{
    if (StrIsEmpty(text))
        return false;
    text = SkipHexPrefix(text);
    if (*text == '\0')
        return false;
    while (HexDigit(*text) < 16)
        ++text;
    return *text == '\0';
}

u32 StrToUINT32(const char *text)
{
    if (text == nullptr)
        return 0;
    u32 value = 0;
    for (text = SkipBlanks(text); IsDigit(*text); ++text)
        value = value * 10 + static_cast<u32>(*text - '0');
    return value;
}

u16 StrToUINT16(const char *text)
{
    return static_cast<u16>(StrToUINT32(text));
}

u8 StrToUINT8(const char *text)
{
    return static_cast<u8>(StrToUINT32(text));
}

u32 StrHexToUINT32(const char *text)
{
    if (text == nullptr)
        return 0;
    u32 value = 0;
    for (text = SkipHexPrefix(SkipBlanks(text)); HexDigit(*text) < 16; ++text)
        value = value * 16 + HexDigit(*text);
    return value;
}

void StrTrimLeft(char *text)
{
    if (text == nullptr)
        return;
    const char *start = SkipBlanks(text);
    memmove(text, start, strlen(start) + 1);
}

void StrTrimRight(char *text)
{
    if (text == nullptr)
        return;
    size_t length = strlen(text);
    while (length > 0 && IsBlank(text[length - 1]))
        --length;
    text[length] = '\0';
}

void StrCopy(char *to, const char *from, size_t size)
{
    const size_t length = strnlen(from, size - 1);
    memmove(to, from, length);
    to[length] = '\0';
}
