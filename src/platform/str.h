// SPDX-License-Identifier: Apache-2.0
// str.h -- the platform's string helpers. Characters are ASCII whatever the locale; a blank is a
// space or a tab. Null texts are allowed where a function says so.
#ifndef PLATFORM_STR_H
#define PLATFORM_STR_H

#include "platform/types.h"

// True when both texts are the same; two nulls are not.
bool StrEqual(const char *a, const char *b);
bool StrEqualNoCase(const char *a, const char *b);

// True for null and for "".
bool StrIsEmpty(const char *text);

// True for one or more decimal digits and nothing else. Null: false.
bool StrIsNumeric(const char *text);

// True for one or more hexadecimal digits of either case, with or without a leading 0x or 0X.
// Null: false.
bool StrIsHexValue(const char *text);

// The number that the text begins with, in decimal: leading blanks are passed over, then digits
// are read up to the first other character. 0 where there are none, and for null. A number that
// does not fit is taken modulo 2^8, 2^16 or 2^32.
u8 StrToUINT8(const char *text);
u16 StrToUINT16(const char *text);
u32 StrToUINT32(const char *text);

// The same for hexadecimal digits, with or without a leading 0x or 0X; modulo 2^32.
u32 StrHexToUINT32(const char *text);

// Removes blanks from the left or the right end, in place. Null is left alone.
void StrTrimLeft(char *text);
void StrTrimRight(char *text);

// Copies at most size - 1 characters and the NUL; a longer text is cut. size in bytes, not 0.
void StrCopy(char *to, const char *from, size_t size);

#endif
