// SPDX-License-Identifier: Apache-2.0
// output.cpp -- output and error lines.
#include "smclp/output.h"

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

// 3 and 7 say the same on purpose: two codes, one text.
constexpr SmclpErrorOutputRow SmclpErrorOutputTable[kSmclpErrorCount] = {
    {0, "ERROR: Invalid syntax specified."},
    {1, "ERROR: Command not supported."},
    {2, "ERROR: Command not recognized."},
    {3, "ERROR: Invalid option specified."},
    {4, "ERROR: Invalid argument specified."},
    {5, "ERROR: Output format not supported."},
    {6, "ERROR: Required argument is missing."},
    {7, "ERROR: Invalid option specified."},
    {8, "ERROR: Invalid target specified."},
    {9, "ERROR: Required option is missing."},
    {10, "ERROR: Queue full."},
    {11, "ERROR: Command execution failed."},
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
    static char buffer[kSmclpOutputBufferSize + 1 + kUngetSize];
    setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
}
