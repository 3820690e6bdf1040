// SPDX-License-Identifier: Apache-2.0
// line_editor.cpp -- editing and history.
#include "smclp/line_editor.h"

#include "platform/str.h"
#include "smclp/terminal.h"

#include <stdio.h>
#include <string.h>

char histBuff[kHistorySlots * kHistorySlotSize];
i32 histCount = 1;
u32 histFull;

namespace
{

constexpr i32 kKeyEscape = 27;
constexpr i32 kKeyScanCode = 224;
constexpr i32 kNoKey = -1;

char *Slot(i32 number)
{
    return histBuff + static_cast<u32>(number) * kHistorySlotSize;
}

bool IsPair(i32 previous, i32 key, i32 escapeFirst, i32 escapeSecond, i32 scanCode)
{
    return (previous == escapeFirst && key == escapeSecond) ||
           (previous == kKeyScanCode && key == scanCode);
}

void EraseLastEchoed()
{
    printf("%c %c", 8, 8);
}

void RecallFromHistory(ShellLine *line)
{
    line->historyPosition = SmclpHistBuffPop(line->historyPosition);
    if (line->historyPosition < 1) {
        if (histCount < 2)
            return;
        // Deliberate: with exactly nine lines stored the count is 10 and slot 0 is still empty.
        line->historyPosition = histCount == kHistorySlots ? histCount : histCount - 1;
    }
    for (; line->length > 0; --line->length)
        EraseLastEchoed();
    StrCopy(line->buffer, Slot(kHistorySlots - line->historyPosition), kShellLineMax + 1);
    line->length = static_cast<u32>(strlen(line->buffer));
    printf("%s", line->buffer);
    fflush(stdout);
}

void RemoveLastCharacter(ShellLine *line)
{
    if (line->length == 0)
        return;
    EraseLastEchoed();
    line->buffer[--line->length] = '\0';
    fflush(stdout);
}

// The key is no editing key. Returns true when it ends the line.
bool StoreCharacter(ShellLine *line, i32 key)
{
    if (line->previousKey == kKeyScanCode || line->previousKey == kKeyEscape)
        return false;
    if (key == 0)
        return true;
    if (!ShellValidCharacter(key) || line->length == kShellLineMax)
        return false;
    line->buffer[line->length++] = static_cast<char>(key);
    line->buffer[line->length] = '\0';
    putchar(line->mask ? '*' : key);
    fflush(stdout);
    return false;
}

}  // namespace

i32 SmclpHistBuffPush(const char *line, i32 count)
{
    if (line == nullptr || count < 1 || count > kHistorySlots)
        return count;
    if (count < kHistorySlots) {
        StrCopy(Slot(kHistorySlots - count), line, kHistorySlotSize);
        return count + 1;
    }
    if (histFull != 0)
        memmove(Slot(1), Slot(0), (kHistorySlots - 1) * kHistorySlotSize);
    StrCopy(Slot(0), line, kHistorySlotSize);
    histFull = 1;
    return count;
}

i32 SmclpHistBuffPop(i32 position)
{
    return position - 1;
}

u32 ShellIsUpArrow(i32 previous, i32 key)
{
    return IsPair(previous, key, '[', 'A', 72);
}

u32 ShellIsDownArrow(i32 previous, i32 key)
{
    return IsPair(previous, key, '[', 'B', 80);
}

u32 ShellIsLeftArrow(i32 previous, i32 key)
{
    return IsPair(previous, key, '[', 'D', 75);
}

u32 ShellIsRightArrow(i32 previous, i32 key)
{
    return IsPair(previous, key, '[', 'C', 77);
}

u32 ShellIsBackspace(i32 key)
{
    return key == 127 || key == 8;
}

u32 ShellIsCarriageReturn(i32 key)
{
    return key == 13 || key == 10;
}

u32 ShellValidCharacter(i32 key)
{
    return (key >= 32 && key <= 122) || key == 8 || key == 13;
}

bool ShellTakeKey(ShellLine *line, i32 key)
{
    const i32 previous = line->previousKey;
    if (ShellIsCarriageReturn(key))
        return true;
    if (ShellIsUpArrow(previous, key)) {
        RecallFromHistory(line);
    } else if (ShellIsDownArrow(previous, key) || ShellIsLeftArrow(previous, key) ||
               ShellIsRightArrow(previous, key)) {
        line->previousKey = kNoKey;
        return false;
    } else if (ShellIsBackspace(key)) {
        RemoveLastCharacter(line);
    } else if (StoreCharacter(line, key)) {
        return true;
    }
    line->previousKey = key;
    return false;
}

u32 ShellGetCommandLine(char *buffer, u32 size, u32 mask)
{
    memset(buffer, 0, size);
    ShellLine line = {buffer, 0, kNoKey, 0, mask != 0};
    buffer[0] = '\0';

    bool ended = false;
    while (!ended && !TerminalInputGone())
        ended = ShellTakeKey(&line, TerminalReadKey());
    TerminalRestore();
    if (!ended) {
        buffer[0] = '\0';
        return 0;
    }
    if (line.length > 0) {
        histCount = SmclpHistBuffPush(buffer, histCount);
        putchar('\n');
        fflush(stdout);
    }
    return line.length;
}
