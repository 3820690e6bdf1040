// SPDX-License-Identifier: Apache-2.0
// login_environment.cpp -- the environment of a session's process, made from nothing.
#include "session/login_environment.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace
{

// For a caller that has no PATH.
constexpr char kDefaultPath[] = "/usr/local/bin:/usr/bin:/bin";

struct Environment {
    char **entries;  // ended by a null
    size_t count;
};

bool Put(Environment *environment, const char *name, const char *value)
{
    if (value == nullptr)
        return true;
    char *entry = nullptr;
    if (asprintf(&entry, "%s=%s", name, value) < 0)
        return false;
    environment->entries[environment->count++] = entry;
    return true;
}

bool PutSession(Environment *environment, u32 id, const RegistryRecord *record)
{
    char sessionId[16];
    char type[16];
    char address[16];
    char privilege[16];
    snprintf(sessionId, sizeof(sessionId), "%u", id);
    snprintf(type, sizeof(type), "%u", record->type);
    snprintf(address, sizeof(address), "%u", record->address);
    snprintf(privilege, sizeof(privilege), "%x", record->privilege);
    return Put(environment, "ZORSID", sessionId) && Put(environment, "ZORSSNTYPE", type) &&
           Put(environment, "ZORIP", address) && Put(environment, "ZORPRIV", privilege);
}

// What the child may take from the caller. sshd passes nothing of these on from its client but the
// user's LANG and LC_*, and TERM.
bool PutInherited(Environment *environment)
{
    static constexpr const char *kSettings[] = {"ZOROBJMGR", "ZORSSNDIR", "ZORTRACE"};
    static constexpr const char *kUsers[] = {"TERM", "LANG", "TZ", "HOME", "USER", "LOGNAME"};
    for (const char *name : kSettings)
        if (!Put(environment, name, getenv(name)))
            return false;
    for (const char *name : kUsers)
        if (!Put(environment, name, getenv(name)))
            return false;
    for (char **entry = environ; *entry != nullptr; ++entry)
        if (strncmp(*entry, "LC_", 3) == 0)
            environment->entries[environment->count++] = *entry;
    return true;
}

// The shell and its fellow programs stand first on the PATH. A directory with a colon in its name
// cannot stand there.
bool PutPath(Environment *environment, const char *ownDirectory)
{
    const char *path = getenv("PATH");
    if (path == nullptr || path[0] == '\0')
        path = kDefaultPath;
    if (ownDirectory[0] == '\0' || strchr(ownDirectory, ':') != nullptr)
        return Put(environment, "PATH", path);
    char *whole = nullptr;
    if (asprintf(&whole, "%s:%s", ownDirectory, path) < 0)
        return false;
    bool put = Put(environment, "PATH", whole);
    free(whole);
    return put;
}

}  // namespace

char **LoginBuildEnvironment(u32 id, const RegistryRecord *record, const char *ownDirectory)
{
    size_t inherited = 0;
    while (environ[inherited] != nullptr)
        ++inherited;
    Environment environment = {};
    // Room for every variable that could come through, the four of the session, PATH, the end.
    environment.entries = static_cast<char **>(calloc(inherited + 6, sizeof(char *)));
    if (environment.entries == nullptr || !PutSession(&environment, id, record) ||
        !PutInherited(&environment) || !PutPath(&environment, ownDirectory)) {
        free(environment.entries);  // the texts stay, as in an environment that was built
        return nullptr;
    }
    return environment.entries;
}
