// SPDX-License-Identifier: Apache-2.0
// tokenise.cpp -- normalising a line, splitting it into words, joining words into a line.
#include "smclp/tokenise.h"

#include "platform/str.h"
#include "platform/trace.h"
#include "smclp/output.h"

#include <string.h>

namespace
{

constexpr size_t kCollapseLimit = 256;

void TraceTooLong(int line)
{
    TraceLogMessage(kTraceLevel, "ERROR: %s [%d]: Command line input too long\n", kSmclpUnit, line);
}

void LowerInPlace(char *text)
{
    for (; *text != '\0'; ++text) {
        if (*text >= 'A' && *text <= 'Z')
            *text = static_cast<char>(*text + ('a' - 'A'));
    }
}

void CollapseBlanks(char *line)
{
    char *pair = strstr(line, "  ");
    if (pair == nullptr)
        return;
    if (strlen(line) >= kCollapseLimit) {
        TraceTooLong(__LINE__);
        return;
    }
    char *to = pair;
    for (const char *from = pair; *from != '\0'; ++from) {
        if (from[0] != ' ' || from[1] != ' ')
            *to++ = *from;
    }
    *to = '\0';
}

// Length of the verb at the start of the line, or -1 for one that can be no verb.
i32 VerbLength(const char *line)
{
    bool quoted = false;
    i32 length = 0;
    for (;; ++length) {
        const char c = line[length];
        if (c == '\0' || (!quoted && c == ' '))
            return length;
        if (c == '"' || c == '\'')
            quoted = !quoted;  // either quote closes either
        else if (!quoted && ((c == '=' && length == 0) || c == ',' || c == '-'))
            return -1;
    }
}

// Writes words into the buffer of BuildArgv. A write that does not fit makes Failed() true and
// changes nothing.
class WordWriter
{
public:
    WordWriter(void *buffer, u32 size) : words_(static_cast<char **>(buffer))
    {
        constexpr u32 pointers = kBuildArgvWords * sizeof(char *);
        position_ = static_cast<char *>(buffer) + (size < pointers ? size : pointers);
        end_ = static_cast<char *>(buffer) + size;
        StartWord();
    }
    bool Failed() const { return failed_ || position_ == end_; }
    u32 Count() const { return count_; }
    void Store(char c) { *position_++ = c; }
    void EndWord() { *position_++ = '\0'; }
    void StartWord()
    {
        if (count_ == kBuildArgvWords || position_ == end_)
            failed_ = true;
        else
            words_[count_++] = position_;
    }

private:
    char **words_;
    char *position_;
    char *end_;
    u32 count_ = 0;
    bool failed_ = false;
};

bool SplitWords(const char *line, WordWriter *words)
{
    char quote = '\0';
    bool escape = false;
    for (;; ++line) {
        if (words->Failed())
            return false;
        const char c = *line;
        if (c == '\0' || c == '\n') {
            words->EndWord();
            return true;
        }
        if (quote == '\0' && !escape && (c == ' ' || c == '\t')) {
            words->EndWord();
            words->StartWord();
        } else if (escape) {
            words->Store(c);
            escape = false;
        } else if (c == '\\') {
            escape = true;
        } else if (quote == '\0' && (c == '\'' || c == '"')) {
            quote = c;
        } else if (quote == c) {
            quote = '\0';
        } else {
            words->Store(c);
        }
    }
}

}  // namespace

i32 SmclpParseCommandLine(char *line, SmclpCommandLine *record)
{
    if (StrIsEmpty(line) || record == nullptr) {
        TRACE_INVALID_PARAMETER(kSmclpUnit);
        return kSmclpBadParameter;
    }
    if (strlen(line) >= sizeof record->line) {
        TraceTooLong(__LINE__);
        return kSmclpBadParameter;
    }

    memset(record, 0, sizeof *record);
    StrCopy(record->line, line, sizeof record->line);
    LowerInPlace(line);
    CollapseBlanks(line);

    const i32 length = VerbLength(line);
    if (length < 0 || static_cast<size_t>(length) >= sizeof record->verb)
        return kParseBadTarget;
    memcpy(record->verb, line, static_cast<size_t>(length));
    return 0;
}

u32 BuildArgv(const char *line, void *buffer, u32 size)
{
    if (buffer == nullptr)
        return 0;
    memset(buffer, 0, size);
    if (line == nullptr || size <= kBuildArgvWords * sizeof(char *))
        return 0;

    WordWriter words(buffer, size);
    if (SplitWords(line, &words))
        return words.Count();
    memset(buffer, 0, size);
    return 0;
}

u32 SmclpBuildCommandLine(u32 count, const char *const *words, char *out, u32 size)
{
    if (out == nullptr)
        return 0;
    memset(out, 0, size);

    size_t position = 0;
    for (u32 i = 0; i < count; ++i) {
        const size_t length = strlen(words[i]);
        if (position + length > size)
            return 0;
        memcpy(out + position, words[i], length);
        if (position + length < size)
            out[position + length] = '\0';

        // The text may have no NUL within the area: then it fills the area.
        size_t total = strnlen(out, size);
        if (i + 1 < count && total < size) {
            out[total++] = ' ';
            if (total < size)
                out[total] = '\0';
        }
        position += strnlen(out, size);
    }
    return 0;
}
