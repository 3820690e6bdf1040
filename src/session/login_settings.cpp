// SPDX-License-Identifier: Apache-2.0
// login_settings.cpp -- see login_settings.h.
#include "session/login_settings.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr char kBlanks[] = " \t\r";

// Where the line about a fault goes.
struct Complaint {
    const char *file;
    char *text;
    size_t size;
};

u32 Wrong(const Complaint *to, const char *why)
{
    snprintf(to->text, to->size, "%s: %s", to->file, why);
    return kLoginSettingsWrong;
}

u32 Judge(int descriptor, bool ownToo, const Complaint *to)
{
    struct stat info;
    if (fstat(descriptor, &info) != 0)
        return Wrong(to, strerror(errno));
    if (!S_ISREG(info.st_mode))
        return Wrong(to, "is no plain file");
    if (info.st_uid != 0 && !(ownToo && info.st_uid == geteuid()))
        return Wrong(to, "does not belong to root");
    if ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return Wrong(to, "may be written by others than its owner");
    return 0;
}

// The whole text, with a NUL behind it.
u32 ReadText(int descriptor, char *text, const Complaint *to)
{
    size_t length = 0;
    while (length <= kLoginSettingsMax) {
        ssize_t got = read(descriptor, text + length, kLoginSettingsMax + 1 - length);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return Wrong(to, strerror(errno));
        if (got == 0)
            break;
        length += static_cast<size_t>(got);
    }
    if (length > kLoginSettingsMax)
        return Wrong(to, "is larger than 4 KiB");
    if (memchr(text, '\0', length) != nullptr)
        return Wrong(to, "is no text");
    text[length] = '\0';
    return 0;
}

u32 TakeLine(char *line, u32 number, LoginOptions *options, const Complaint *to)
{
    line[strcspn(line, "#")] = '\0';
    char *rest = nullptr;
    const char *name = strtok_r(line, kBlanks, &rest);
    char *value = name != nullptr ? strtok_r(nullptr, kBlanks, &rest) : nullptr;
    if (name == nullptr)
        return 0;
    char fault[256] = "a setting is a name and one value";
    const bool pair = value != nullptr && strtok_r(nullptr, kBlanks, &rest) == nullptr;
    if (pair && LoginSetOption(name, value, options, fault, sizeof(fault)) == 0)
        return 0;
    snprintf(to->text, to->size, "%s:%u: %s", to->file, number, fault);
    return kLoginSettingsWrong;
}

u32 TakeText(char *text, LoginOptions *options, const Complaint *to)
{
    u32 result = 0;
    for (u32 number = 1; text != nullptr && result == 0; ++number) {
        char *line = strsep(&text, "\n");
        result = TakeLine(line, number, options, to);
    }
    return result;
}

}  // namespace

u32 LoginReadSettings(const char *file, LoginOptions *options, char *message, size_t size)
{
    const bool named = file != nullptr;
    const Complaint complaint = {named ? file : kLoginSettingsFile, message, size};
    // What is judged is what is read; a FIFO in its place holds nobody.
    int descriptor = open(complaint.file, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return !named && (errno == ENOENT || errno == ENOTDIR) ? 0
                                                               : Wrong(&complaint, strerror(errno));
    char text[kLoginSettingsMax + 1];
    u32 result = Judge(descriptor, named, &complaint);
    if (result == 0)
        result = ReadText(descriptor, text, &complaint);
    close(descriptor);
    return result == 0 ? TakeText(text, options, &complaint) : result;
}
