// SPDX-License-Identifier: Apache-2.0
// safe_text.h -- which texts may be shown on a terminal.
//
// One rule for both ends: the service makes what it stores safe, and a client refuses a record that
// is not. A text is safe when it is valid UTF-8 (RFC 3629) without control characters (C0, DEL,
// C1) and without the characters that turn the direction of what stands around them (U+061C,
// U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069): those make a line read as another one.
#ifndef OBJMGR_SAFE_TEXT_H
#define OBJMGR_SAFE_TEXT_H

#include "platform/types.h"

// The character at the beginning of the `left` (at least 1) bytes at `text`. Returns its length in
// bytes, 1 for a byte that belongs to no valid character; *safe: whether it may be shown. A NUL is
// a control character.
size_t SafeTextCharacter(const char *text, size_t left, bool *safe);

// How many of the `length` bytes at `text` come before the first that is no printable ASCII
// character; those are safe.
size_t SafeTextPlain(const char *text, size_t length);

// Whether all `length` bytes at `text` are safe. There need not be a NUL behind them.
bool SafeTextIsSafe(const char *text, size_t length);

#endif
