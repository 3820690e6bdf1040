// SPDX-License-Identifier: Apache-2.0
// fuzz_keys.cpp -- any bytes as keys, over many lines of one session.
#include "smclp/line_editor.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void Check(const ShellLine &line)
{
    if (line.length > kShellLineMax || line.buffer[line.length] != '\0')
        abort();
    for (u32 i = 0; i < line.length; ++i) {
        if (line.buffer[i] < 32 || line.buffer[i] > 122)
            abort();  // a character that no line may hold
    }
}

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, size_t size)
{
    static FILE *const quiet = freopen("/dev/null", "w", stdout);
    if (quiet == nullptr)
        abort();
    memset(histBuff, 0, sizeof histBuff);
    histCount = 1;
    histFull = 0;

    char buffer[kShellLineMax + 1];
    for (size_t at = 0; at < size;) {
        memset(buffer, 0, sizeof buffer);
        ShellLine line = {buffer, 0, -1, 0, false};
        bool ended = false;
        while (at < size && !ended) {
            ended = ShellTakeKey(&line, data[at++]);
            Check(line);
        }
        if (line.length > 0)
            histCount = SmclpHistBuffPush(buffer, histCount);
        if (histCount < 1 || histCount > kHistorySlots)
            abort();
    }
    return 0;
}
