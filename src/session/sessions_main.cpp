// SPDX-License-Identifier: Apache-2.0
// sessions_main.cpp -- smclp-sessions: lists the sessions of the registry, and ends one.
//
// What it prints of a session is the file's owner and times, which the kernel says, and of the text
// what registry.h could read as numbers and addresses: no byte of a stranger's choice.
#include <errno.h>
#include <getopt.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "session/registry.h"

namespace
{

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitUnavailable = 69;
constexpr int kExitNoPermission = 77;

constexpr char kUsage[] =
    "usage: smclp-sessions [--json | --end ID]\n"
    "Lists the live sessions of the shell, the oldest first, or ends one.\n"
    "\n"
    "  --json         print a JSON array\n"
    "  --end ID       end the session ID: one's own, or everyone's as root\n"
    "  --help         print this text and exit\n"
    "  --version      print the version and exit\n"
    "\n"
    "ZORSSNDIR names the directory of the session registry (default /run/zor/sessions).\n";

// --- Reading ---------------------------------------------------------------------------------

struct Session {
    u32 id;
    uid_t owner;
    u8 type;
    char address[64];
    i64 since;  // seconds of the date
    i64 idle;   // seconds
    u32 limit;
};

struct List {
    const char *directory;
    timespec now;  // of CLOCK_BOOTTIME
    i64 date;      // at the same moment
    Session *sessions;
    size_t count;
    size_t room;
    bool complete;
};

bool MakeRoom(List *list)
{
    if (list->count < list->room)
        return true;
    size_t room = list->room == 0 ? 64 : list->room * 2;
    void *sessions = reallocarray(list->sessions, room, sizeof(Session));
    if (sessions == nullptr)
        return false;
    list->sessions = static_cast<Session *>(sessions);
    list->room = room;
    return true;
}

// A time to come, which only the file's owner can have written, is now.
i64 SecondsSince(i64 then, const List *list)
{
    i64 now = static_cast<i64>(list->now.tv_sec);
    return then < 0 ? now : then > now ? 0 : now - then;
}

bool Add(void *context, u32 id)
{
    List *list = static_cast<List *>(context);
    RegistryEntry entry;
    if (RegistryFind(list->directory, id, RegistryWhose::Anyone, &entry) != kRegistryOk)
        return true;
    RegistryRelease(&entry);
    if (!entry.live)
        return true;
    list->complete = MakeRoom(list);
    if (!list->complete)
        return false;
    Session *session = &list->sessions[list->count++];
    *session = {};
    session->id = id;
    session->owner = entry.owner;
    session->type = entry.record.type;
    memcpy(session->address, entry.record.addressText, sizeof(session->address));
    session->since = list->date - SecondsSince(static_cast<i64>(entry.since / 1'000'000'000), list);
    session->idle = SecondsSince(entry.lastUse.tv_sec, list);
    session->limit = entry.record.idleSeconds;
    return true;
}

int OldestFirst(const void *left, const void *right)
{
    const Session *one = static_cast<const Session *>(left);
    const Session *other = static_cast<const Session *>(right);
    if (one->since != other->since)
        return one->since < other->since ? -1 : 1;
    return one->id < other->id ? -1 : one->id > other->id;
}

// --- Printing --------------------------------------------------------------------------------

// Control characters of a name, and what JSON or a terminal could take for more than a letter, are
// shown as '?'.
void NameOf(uid_t owner, char *name, size_t size)
{
    const passwd *entry = getpwuid(owner);
    if (entry == nullptr)
        snprintf(name, size, "%u", static_cast<u32>(owner));
    else
        snprintf(name, size, "%s", entry->pw_name);
    for (char *c = name; *c != '\0'; ++c)
        if (*c < ' ' || *c > '~' || *c == '"' || *c == '\\')
            *c = '?';
}

void FormatIdle(i64 seconds, char *text, size_t size)
{
    long long s = seconds;
    if (s < 60)
        snprintf(text, size, "%llds", s);
    else if (s < 3600)
        snprintf(text, size, "%lldm%02llds", s / 60, s % 60);
    else
        snprintf(text, size, "%lldh%02lldm", s / 3600, s / 60 % 60);
}

void FormatDate(i64 seconds, bool universal, char *text, size_t size)
{
    time_t date = static_cast<time_t>(seconds);
    tm parts = {};
    if ((universal ? gmtime_r(&date, &parts) : localtime_r(&date, &parts)) == nullptr ||
        strftime(text, size, universal ? "%Y-%m-%dT%H:%M:%SZ" : "%Y-%m-%d %H:%M:%S", &parts) == 0)
        text[0] = '\0';
}

void PrintLine(const Session *session)
{
    char name[64];
    char since[32];
    char idle[32];
    NameOf(session->owner, name, sizeof(name));
    FormatDate(session->since, false, since, sizeof(since));
    FormatIdle(session->idle, idle, sizeof(idle));
    printf("%-10u  %-12s  %4u  %-15s  %-19s  %s\n", session->id, name, session->type,
           session->address[0] != '\0' ? session->address : "-", since, idle);
}

void PrintObject(const Session *session)
{
    char name[64];
    char since[32];
    NameOf(session->owner, name, sizeof(name));
    FormatDate(session->since, true, since, sizeof(since));
    const char *quote = session->address[0] != '\0' ? "\"" : "";
    printf("{\"id\": %u, \"user\": \"%s\", \"uid\": %u, \"type\": %u, \"address\": %s%s%s, "
           "\"since\": \"%s\", \"idle\": %lld, \"limit\": %u}",
           session->id, name, static_cast<u32>(session->owner), session->type, quote,
           session->address[0] != '\0' ? session->address : "null", quote, since,
           static_cast<long long>(session->idle), session->limit);
}

bool PrintList(const List *list, bool json)
{
    if (json) {
        printf("[");
        for (size_t i = 0; i < list->count; ++i) {
            printf(i == 0 ? "\n  " : ",\n  ");
            PrintObject(&list->sessions[i]);
        }
        printf(list->count == 0 ? "]\n" : "\n]\n");
    } else {
        printf("ID          USER          TYPE  ADDRESS          SINCE                IDLE\n");
        for (size_t i = 0; i < list->count; ++i)
            PrintLine(&list->sessions[i]);
    }
    return fflush(stdout) == 0 && ferror(stdout) == 0;
}

// --- The two actions -------------------------------------------------------------------------

int ComplainAboutRegistry(u32 result, const char *directory)
{
    int error = errno;
    const char *why = strerror(error);
    if (result == kRegistryUnknown)
        why = "there is none";
    if (result == kRegistryUntrusted)
        why = "it belongs to another user, or others may write it and it is not sticky";
    fprintf(stderr, "smclp-sessions: the session registry %s (set by ZORSSNDIR): %s\n", directory,
            why);
    return result == kRegistryFailed && error == EACCES ? kExitNoPermission : kExitUnavailable;
}

int PrintFound(List *list, u32 result, bool json)
{
    if (result != kRegistryOk)
        return ComplainAboutRegistry(result, list->directory);
    if (!list->complete) {
        fprintf(stderr, "smclp-sessions: no memory for so many sessions\n");
        return kExitFailed;
    }
    if (list->count > 1)
        qsort(list->sessions, list->count, sizeof(Session), OldestFirst);
    return PrintList(list, json) ? 0 : kExitFailed;
}

int PrintSessions(bool json)
{
    List list = {};
    list.directory = RegistryDirectory();
    u32 result = RegistrySweep(list.directory, nullptr);
    list.now = RegistryNow();
    list.date = static_cast<i64>(time(nullptr));
    list.complete = true;
    if (result == kRegistryOk)
        result = RegistryForEach(list.directory, Add, &list);
    const int status = PrintFound(&list, result, json);
    free(list.sessions);
    return status;
}

int EndSession(const char *text)
{
    u32 id = 0;
    if (!RegistryParseNumber(text, 10, 10, UINT32_MAX, &id)) {
        fprintf(stderr, "smclp-sessions: --end needs the id of a session\n");
        return kExitUsage;
    }
    const char *directory = RegistryDirectory();
    switch (RegistryEndSession(directory, id)) {
    case kRegistryOk:
        return 0;
    case kRegistryUnknown:
        fprintf(stderr, "smclp-sessions: there is no session %u\n", id);
        return kExitFailed;
    case kRegistryUntrusted:
        fprintf(stderr, "smclp-sessions: session %u is another user's; root can end it\n", id);
        return kExitNoPermission;
    default:
        return ComplainAboutRegistry(kRegistryFailed, directory);
    }
}

// --- The program -----------------------------------------------------------------------------

int Print(const char *text)
{
    return fputs(text, stdout) < 0 || fflush(stdout) != 0 ? kExitFailed : 0;
}

int RefuseUsage()
{
    fprintf(stderr, "smclp-sessions: see smclp-sessions --help\n");
    return kExitUsage;
}

}  // namespace

int main(int argc, char **argv)
{
    enum { kJson = 1000, kEnd, kHelp, kVersion };
    static const option kOptions[] = {
        {"json", no_argument, nullptr, kJson},
        {"end", required_argument, nullptr, kEnd},
        {"help", no_argument, nullptr, kHelp},
        {"version", no_argument, nullptr, kVersion},
        {nullptr, 0, nullptr, 0},
    };
    bool json = false;
    const char *end = nullptr;
    for (;;) {
        int code = getopt_long(argc, argv, "+", kOptions, nullptr);
        if (code == -1)
            break;
        if (code == kHelp)
            return Print(kUsage);
        if (code == kVersion)
            return Print("smclp-sessions " ZOR_VERSION "\n");
        if (code != kJson && code != kEnd)
            return RefuseUsage();
        json = json || code == kJson;
        end = code == kEnd ? optarg : end;
    }
    if (optind < argc || (json && end != nullptr))
        return RefuseUsage();
    return end != nullptr ? EndSession(end) : PrintSessions(json);
}
