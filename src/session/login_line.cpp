// SPDX-License-Identifier: Apache-2.0
// login_line.cpp -- the line a login asks for.
#include "session/login_line.h"

#include <stdio.h>
#include <string.h>

namespace
{

constexpr char kOwnName[] = "smclp-login";
constexpr char kBlanks[] = " \t\r\n";
constexpr int kWordsMax = 32;  // of a line that names this program

// What clients of file transfers start on this side. None of them is a verb.
constexpr const char *kTransfers[] = {
    "sftp",
    "sftp-server",
    "internal-sftp",
    "scp",
    "rsync",
    "git",
    "git-upload-pack",
    "git-receive-pack",
    "git-upload-archive",
};

char *Trim(char *text)
{
    text += strspn(text, kBlanks);
    size_t length = strlen(text);
    while (length > 0 && strchr(kBlanks, text[length - 1]) != nullptr)
        --length;
    text[length] = '\0';
    return text;
}

// The first word of a trimmed line without its directory; its length is in *length.
const char *FirstName(const char *line, size_t *length)
{
    size_t end = strcspn(line, kBlanks);
    size_t start = end;
    while (start > 0 && line[start - 1] != '/')
        --start;
    *length = end - start;
    return line + start;
}

bool FirstNameIs(const char *line, const char *name)
{
    size_t length = 0;
    const char *first = FirstName(line, &length);
    return length == strlen(name) && memcmp(first, name, length) == 0;
}

bool IsTransfer(const char *line)
{
    for (const char *name : kTransfers)
        if (FirstNameIs(line, name))
            return true;
    return false;
}

char *SkipExec(char *line)
{
    if (strncmp(line, "exec", 4) != 0 || line[4] == '\0' || strchr(kBlanks, line[4]) == nullptr)
        return line;
    return line + 4 + strspn(line + 4, kBlanks);
}

// --- A line that names this program ----------------------------------------------------------

// Splits the text in place; -1 when there are too many words. words[n] is null.
int Split(char *text, char **words)
{
    int count = 0;
    char *rest = nullptr;
    for (char *word = strtok_r(text, kBlanks, &rest); word != nullptr;
         word = strtok_r(nullptr, kBlanks, &rest)) {
        if (count == kWordsMax)
            return -1;
        words[count++] = word;
    }
    words[count] = nullptr;
    return count;
}

// 0 is no limit.
u32 Lower(u32 one, u32 other)
{
    if (one == 0 || other == 0)
        return one | other;
    return one < other ? one : other;
}

void Restrict(LoginOptions *options, const LoginOptions *by)
{
    options->privilege &= by->privilege;
    for (u32 type = 0; type < 256; ++type)
        options->idleSeconds[type] = Lower(options->idleSeconds[type], by->idleSeconds[type]);
    options->sessions = Lower(options->sessions, by->sessions);
    options->userSessions = Lower(options->userSessions, by->userSessions);
    if (options->host == nullptr)
        options->host = by->host;
    if (!options->typeGiven && by->typeGiven && by->type != kLoginTypeConsole) {
        options->type = by->type;
        options->typeGiven = true;
    }
}

u32 TakeOptions(char *line, LoginOptions *options, char *message, size_t size)
{
    char *words[kWordsMax + 1];
    int count = Split(line, words);
    LoginOptions given = {};
    given.privilege = UINT32_MAX;
    if (count < 0) {
        snprintf(message, size, "too many words after %s", kOwnName);
        return kLoginLineFault;
    }
    u32 result = LoginParseOptions(count, words, &given, message, size);
    if (result != 0)
        return kLoginLineFault;
    if (given.line != nullptr || given.command != nullptr || given.action != LoginAction::Run) {
        snprintf(message, size, "a line that names %s takes limits alone", kOwnName);
        return kLoginLineFault;
    }
    Restrict(options, &given);
    return kLoginLineTaken;
}

// --- A line that asks for the tool -----------------------------------------------------------

// Takes the next word off *text, whose quotes go: it is written over the text itself. Null: there
// is none. False in *closed: a quote is open.
char *TakeWord(char **text, bool *closed)
{
    char *from = *text + strspn(*text, kBlanks);
    char *word = from;
    char *to = from;
    char quote = '\0';
    *closed = true;
    if (*from == '\0')
        return nullptr;
    for (; *from != '\0' && (quote != '\0' || strchr(kBlanks, *from) == nullptr); ++from) {
        if (quote == '\0' && (*from == '\'' || *from == '"'))
            quote = *from;
        else if (quote != '\0' && *from == quote)
            quote = '\0';
        else
            *to++ = *from;
    }
    *text = *from != '\0' ? from + 1 : from;
    *to = '\0';
    *closed = quote == '\0';
    return word;
}

bool AsksForTool(const LoginOptions *options)
{
    const size_t length = sizeof(kLoginTool) - 1;
    return options->allowTool && options->line != nullptr &&
           strcspn(options->line, kBlanks) == length &&
           memcmp(options->line, kLoginTool, length) == 0;
}

u32 TakeTool(LoginOptions *options, char *message, size_t size)
{
    char *rest = options->line;
    u32 count = 0;
    bool closed = true;
    for (char *word = TakeWord(&rest, &closed); word != nullptr; word = TakeWord(&rest, &closed)) {
        if (!closed || count == kLoginToolWordsMax) {
            snprintf(message, size,
                     closed ? "too many words after %s" : "a quote after %s is not closed",
                     kLoginTool);
            return kLoginLineFault;
        }
        options->tool[count++] = word;
    }
    options->tool[count] = nullptr;
    options->line = nullptr;
    return kLoginLineTaken;
}

// --- Which line ------------------------------------------------------------------------------

// Trims *line; one that names this program is taken for its options, and *line is null then.
u32 Settle(char **line, LoginOptions *options, char *message, size_t size)
{
    *line = Trim(*line);
    char *named = SkipExec(*line);
    if (!FirstNameIs(named, kOwnName))
        return kLoginLineTaken;
    *line = nullptr;
    return TakeOptions(named, options, message, size);
}

}  // namespace

u32 LoginTakeLine(LoginOptions *options, char *original, char *message, size_t size)
{
    if (options->command != nullptr)
        return kLoginLineTaken;
    u32 result = kLoginLineTaken;
    if (options->line != nullptr)
        result = Settle(&options->line, options, message, size);
    if (result == kLoginLineTaken && options->line == nullptr && original != nullptr) {
        options->line = original;
        result = Settle(&options->line, options, message, size);
        if (options->line != nullptr && options->line[0] == '\0')
            options->line = nullptr;
    }
    if (result == kLoginLineTaken && AsksForTool(options))
        return TakeTool(options, message, size);
    if (result != kLoginLineTaken || options->line == nullptr || !IsTransfer(options->line))
        return result;
    size_t length = 0;
    const char *name = FirstName(options->line, &length);
    snprintf(message, size, "no files are copied here: %.*s is refused", static_cast<int>(length),
             name);
    return kLoginLineRefused;
}
