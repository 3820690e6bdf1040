// SPDX-License-Identifier: Apache-2.0
// line_editor.h -- one command line, key by key, with backspace and a history of ten lines.
//
// Keys are codes of 0 to 255. There is no cursor movement: left, right and down do nothing.
#ifndef SMCLP_LINE_EDITOR_H
#define SMCLP_LINE_EDITOR_H

#include "platform/types.h"

constexpr u32 kShellLineMax = 255;  // characters of a line, whatever the buffer

// History: ten slots of 256 characters, each a NUL-terminated line. The first line goes to slot
// 9, the ninth to slot 1, and from the tenth on every new line to slot 0.
constexpr i32 kHistorySlots = 10;
constexpr u32 kHistorySlotSize = 256;
extern char histBuff[kHistorySlots * kHistorySlotSize];
// One more than the number of lines stored, up to 10, where it stays.
extern i32 histCount;
// Set by the first push at a count of 10; from then on a push moves slots 0 to 8 down by one.
extern u32 histFull;

// Stores a line (cut at 255 characters). Returns the new count. A count above 10 (or below 1) and
// a null line store nothing and return the count as it is.
i32 SmclpHistBuffPush(const char *line, i32 count);
// The position before `position`.
i32 SmclpHistBuffPop(i32 position);

// Key tests on the code before and the code itself: the escape form ("[" and a letter) and the
// scan-code form (224 and a code). 1 or 0.
u32 ShellIsUpArrow(i32 previous, i32 key);
u32 ShellIsDownArrow(i32 previous, i32 key);
u32 ShellIsLeftArrow(i32 previous, i32 key);
u32 ShellIsRightArrow(i32 previous, i32 key);
u32 ShellIsBackspace(i32 key);
u32 ShellIsCarriageReturn(i32 key);
// True for 32 to 122, 8 and 13. The characters { | } ~ are never taken; deliberate.
u32 ShellValidCharacter(i32 key);

// The line being edited.
struct ShellLine {
    char *buffer;         // at least kShellLineMax + 1 bytes, NUL-terminated at all times
    u32 length;           // characters in it
    i32 previousKey;      // -1 at the start
    i32 historyPosition;  // 0 at the start
    bool mask;            // echo "*" for every character
};

// Takes one key: changes the line and echoes on standard output, flushed. Returns true when the
// key ends the line (nothing is stored in the history and no new line echoed here).
bool ShellTakeKey(ShellLine *line, i32 key);

// Reads one line from standard input into `buffer` and returns its length. Clears `size` bytes of
// it first and stores at most 255 characters and the NUL whatever `size` is: the buffer holds 256
// bytes. mask non-zero: characters are echoed as "*". A line that is not empty goes to the history
// and echoes a new line.
//
// When the input is gone for good (TerminalInputGone()) the line typed so far is dropped and 0
// returned.
u32 ShellGetCommandLine(char *buffer, u32 size, u32 mask);

#endif
