// SPDX-License-Identifier: Apache-2.0
// tokenise.h -- text into the forms that the rest of the shell works on.
#ifndef SMCLP_TOKENISE_H
#define SMCLP_TOKENISE_H

#include "platform/types.h"
#include "smclp/results.h"

// The longest line that a verb's parser takes has 254 characters; the editor stores 255.
constexpr u32 kSmclpLineSize = 255;

// One command line taken apart. Lives on the dispatcher's stack for one command. Every field is
// NUL-terminated.
struct SmclpCommandLine {
    char line[512];     // exactly as typed
    char verb[16];      // in lower case
    char reserved[48];  // nothing reads or writes it
    char target[64];    // address of the target, written by the verb's parser; empty: none named
};
static_assert(sizeof(SmclpCommandLine) == 640, "nothing stands behind the target");

// Clears the record, copies the line as typed into it, turns `line` to lower case and shrinks
// every run of blanks in it to one (tabs stay), in place, and takes the verb from its start.
// Returns:
//   kSmclpOk            done; the verb is empty when the line begins with a blank
//   kSmclpBadParameter  null or empty line, null record, or 512 characters or more; the record is
//                       as it was
//   kParseBadTarget     the verb begins with "=", holds "," or "-" outside quotes, or has 16
//                       characters or more; the verb field stays empty
// A line of 256 characters or more keeps its runs of blanks; that is traced, not an error.
i32 SmclpParseCommandLine(char *line, SmclpCommandLine *record);

// Words of a line and their room. On every machine 16 words and 192 bytes of text, each word's
// NUL included; the pointers stand first in the buffer and take what they take there.
constexpr u32 kBuildArgvWords = 16;
constexpr u32 kBuildArgvTextSize = 192;
constexpr u32 kBuildArgvSize = kBuildArgvWords * sizeof(char *) + kBuildArgvTextSize;

// Splits `line` into words at blanks and tabs; quotes of both kinds group, a backslash takes the
// next character as it is, and a line feed ends the line. Two blanks in a row yield an empty
// word, and an empty line one empty word.
//
// buffer: `size` bytes (kBuildArgvSize; 256 on the controller), aligned for a pointer. It is
// cleared, then begins with room for 16 pointers to the words, behind which the words stand.
// Returns the number of words, or 0, with the buffer all zeros, when there are more than 16 words
// or their text does not fit, and for a null line.
u32 BuildArgv(const char *line, void *buffer, u32 size);

// Joins the process's own arguments into one line for one-shot mode. `out` (`size` bytes) is
// cleared first; nothing is ever written outside it. Always returns 0.
//
// One or two words come through whole, with a blank between them. Of three or more the first two
// and then blanks come through: the write position advances by the whole text so far, so later
// words land behind its end. Deliberate. A word whose last character would lie beyond the area ends
// the joining.
u32 SmclpBuildCommandLine(u32 count, const char *const *words, char *out, u32 size);

#endif
