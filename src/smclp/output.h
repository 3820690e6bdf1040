// SPDX-License-Identifier: Apache-2.0
// output.h -- everything that the shell says to its user, on standard output.
#ifndef SMCLP_OUTPUT_H
#define SMCLP_OUTPUT_H

#include "platform/types.h"

// The name under which the shell's own files trace.
constexpr char kSmclpUnit[] = "smclp";

// Bytes of the buffer of one output call, its NUL included.
constexpr u32 kSmclpOutputBufferSize = 65536;

// Formats as printf does, adds a new line (SmclpOutput only), and flushes: one write of the
// system as long as standard output has a buffer of SmclpOutputSetUp's size. Always returns 1.
//
// The formatted text is formatted a second time, as a text without arguments. "%%" in it becomes
// "%", from left to right; every other percent sign stays as it stands. Deliberate: values pass
// through both rounds.
//
// A text of more than kSmclpOutputBufferSize - 1 bytes is cut. Without memory for the buffer
// nothing is written.
u32 SmclpOutput(const char *format, ...) __attribute__((format(printf, 1, 2)));
u32 SmclpOutputNoNewline(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The error lines: the code is the row number in the table.
enum SmclpErrorCode : u32 {
    kErrorInvalidSyntax = 0,
    kErrorNotSupported = 1,
    kErrorNotRecognized = 2,
    kErrorInvalidOption = 3,
    kErrorInvalidArgument = 4,
    kErrorOutputFormat = 5,
    kErrorArgumentMissing = 6,
    kErrorInvalidOptionToo = 7,  // says the same as 3: deliberate
    kErrorInvalidTarget = 8,
    kErrorOptionMissing = 9,
    kErrorQueueFull = 10,
    kErrorExecutionFailed = 11,
};
struct SmclpErrorOutputRow {
    u32 code;
    char message[128];  // NUL-terminated
};
constexpr u32 kSmclpErrorCount = 12;
extern const SmclpErrorOutputRow SmclpErrorOutputTable[kSmclpErrorCount];

// Writes the message of one row and a new line, and flushes. A code that is no row writes nothing.
void SmclpErrorOutput(u32 code);

// Gives standard output a buffer that holds any single output call. Once, before the first output.
void SmclpOutputSetUp();

#endif
