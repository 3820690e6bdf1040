// SPDX-License-Identifier: Apache-2.0
// output.cpp -- output and error lines.
#include "smclp/output.h"

#include "platform/large_buffer.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace
{

// What a C library may take of a stream's buffer for itself (musl: 8 bytes, for ungetc).
constexpr size_t kUngetSize = 8;

constexpr bool RowsStandInCodeOrder(const SmclpErrorOutputRow (&rows)[kSmclpErrorCount])
{
    for (u32 i = 0; i < kSmclpErrorCount; ++i) {
        if (rows[i].code != i)
            return false;
    }
    return true;
}

// What a formatted write without arguments makes of the text, as far as that is defined. In
// place; returns the new length.
size_t FormatAgain(char *text)
{
    size_t to = 0;
    for (size_t from = 0; text[from] != '\0'; ++from) {
        text[to++] = text[from];
        if (text[from] == '%' && text[from + 1] == '%')
            ++from;
    }
    text[to] = '\0';
    return to;
}

__attribute__((format(printf, 1, 0))) void WriteFormatted(const char *format, va_list arguments,
                                                          bool newLine)
{
    auto *buffer = static_cast<char *>(malloc(kSmclpOutputBufferSize));
    if (buffer == nullptr)
        return;
    buffer[0] = '\0';
    vsnprintf(buffer, kSmclpOutputBufferSize, format, arguments);
    const size_t length = FormatAgain(buffer);
    fwrite(buffer, 1, length, stdout);
    if (newLine)
        putchar('\n');
    fflush(stdout);
    free(buffer);
}

}  // namespace

constexpr SmclpErrorOutputRow SmclpErrorOutputTable[kSmclpErrorCount] = {
    {kErrorInvalidSyntax, "ERROR: Invalid syntax specified."},
    {kErrorNotSupported, "ERROR: Command not supported."},
    {kErrorNotRecognized, "ERROR: Command not recognized."},
    {kErrorInvalidOption, "ERROR: Invalid option specified."},
    {kErrorInvalidArgument, "ERROR: Invalid argument specified."},
    {kErrorOutputFormat, "ERROR: Output format not supported."},
    {kErrorArgumentMissing, "ERROR: Required argument is missing."},
    {kErrorInvalidOptionToo, "ERROR: Invalid option specified."},
    {kErrorInvalidTarget, "ERROR: Invalid target specified."},
    {kErrorOptionMissing, "ERROR: Required option is missing."},
    {kErrorQueueFull, "ERROR: Queue full."},
    {kErrorExecutionFailed, "ERROR: Command execution failed."},
};
static_assert(RowsStandInCodeOrder(SmclpErrorOutputTable),
              "SmclpErrorOutput() uses the code as the row number");

u32 SmclpOutput(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    WriteFormatted(format, arguments, true);
    va_end(arguments);
    return 1;
}

u32 SmclpOutputNoNewline(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    WriteFormatted(format, arguments, false);
    va_end(arguments);
    return 1;
}

void SmclpErrorOutput(u32 code)
{
    if (code >= kSmclpErrorCount)
        return;
    puts(SmclpErrorOutputTable[code].message);
    fflush(stdout);
}

void SmclpOutputSetUp()
{
    // Never line by line, also on a terminal: every output call flushes for itself.
    alignas(kLargeBufferAlign) static char buffer[kSmclpOutputBufferSize + 1 + kUngetSize];
    setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
}
