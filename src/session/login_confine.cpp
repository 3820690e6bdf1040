// SPDX-License-Identifier: Apache-2.0
// login_confine.cpp -- no_new_privs, and Landlock by its bare system calls.
//
// The C library has no names for these calls, and its headers may be older than the kernel that
// this runs on: what of Landlock is used is written down here, with the version it came in.
#include "session/login_confine.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <link.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#if defined(__has_feature)  // Clang's
#define ZOR_HAS_ADDRESS_SANITIZER __has_feature(address_sanitizer)
#else
#define ZOR_HAS_ADDRESS_SANITIZER 0
#endif

namespace
{

// The numbers are the same on every architecture.
constexpr long kCreateRuleset = 444;
constexpr long kAddRule = 445;
constexpr long kRestrictSelf = 446;

constexpr u32 kAskVersion = 1;
constexpr u32 kPathBeneath = 1;

constexpr u64 kExecute = 1u << 0;
constexpr u64 kWriteFile = 1u << 1;
constexpr u64 kReadFile = 1u << 2;
constexpr u64 kReadDirectory = 1u << 3;
constexpr u64 kMakeFile = 1u << 8;
constexpr u64 kFileRights = kExecute | kWriteFile | kReadFile;

struct Ruleset {
    u64 files;
    u64 net;     // from version 4 on
    u64 scoped;  // from version 6 on
};

struct Beneath {
    u64 allowed;
    i32 descriptor;
} __attribute__((packed));

u64 HandledFiles(long version)
{
    u64 handled = (u64{1} << 13) - 1;  // everything of version 1
    if (version >= 2)
        handled |= 1u << 13;  // moving between directories
    if (version >= 3)
        handled |= 1u << 14;  // truncating
    if (version >= 5)
        handled |= 1u << 15;  // ioctl of devices opened from now on
    return handled;
}

int MakeRuleset()
{
    long version = syscall(kCreateRuleset, nullptr, 0, kAskVersion);
    if (version < 1)
        return -1;
    Ruleset ruleset = {HandledFiles(version), 0, 0};
    size_t size = sizeof(ruleset.files);
    if (version >= 4) {
        ruleset.net = 3;  // binding and connecting
        size += sizeof(ruleset.net);
    }
    if (version >= 6) {
        ruleset.scoped = 3;  // abstract sockets, signals
        size += sizeof(ruleset.scoped);
    }
    return static_cast<int>(syscall(kCreateRuleset, &ruleset, size, 0));
}

// What is not there needs no rule.
void Allow(int ruleset, const char *path, u64 rights)
{
    Beneath rule = {};
    rule.descriptor = open(path, O_PATH | O_CLOEXEC);
    if (rule.descriptor < 0)
        return;
    struct stat info;
    if (fstat(rule.descriptor, &info) == 0) {
        rule.allowed = S_ISDIR(info.st_mode) ? rights : rights & kFileRights;
        syscall(kAddRule, ruleset, kPathBeneath, &rule, 0);
    }
    close(rule.descriptor);
}

// As Allow, for the directory that holds `path`.
void AllowBeside(int ruleset, const char *path, u64 rights)
{
    char directory[PATH_MAX];
    size_t length = strlen(path);
    while (length > 1 && path[length - 1] == '/')
        --length;
    while (length > 0 && path[length - 1] != '/')
        --length;
    while (length > 1 && path[length - 1] == '/')
        --length;
    if (length >= sizeof(directory))
        return;
    memcpy(directory, path, length);
    directory[length] = '\0';
    Allow(ruleset, length == 0 ? "." : directory, rights);
}

// --- Libraries -------------------------------------------------------------------------------

// This program is linked as the shell is: the same loader, and libraries from the same places.
int AllowObject(dl_phdr_info *object, size_t, void *context)
{
    int ruleset = *static_cast<const int *>(context);
    for (int i = 0; i < object->dlpi_phnum; ++i)
        if (object->dlpi_phdr[i].p_type == PT_INTERP) {
            const uintptr_t at = object->dlpi_addr + object->dlpi_phdr[i].p_vaddr;
            // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader says where as a number.
            Allow(ruleset, reinterpret_cast<const char *>(at), kReadFile | kExecute);
        }
    if (object->dlpi_name != nullptr && object->dlpi_name[0] == '/')
        AllowBeside(ruleset, object->dlpi_name, kReadFile | kReadDirectory);
    return 0;
}

void AllowLibraries(int ruleset)
{
    dl_iterate_phdr(AllowObject, &ruleset);
    Allow(ruleset, "/etc/ld.so.cache", kReadFile);
    Allow(ruleset, "/etc/localtime", kReadFile);  // the system log's stamps
    Allow(ruleset, "/usr/share/zoneinfo", kReadFile);
#if defined(__SANITIZE_ADDRESS__) || ZOR_HAS_ADDRESS_SANITIZER
    Allow(ruleset, "/proc/self", kReadFile | kReadDirectory);  // the sanitizer looks at its memory
#endif
}

}  // namespace

// --- The whole -------------------------------------------------------------------------------

bool LoginConfine(const LoginConfinement *needs)
{
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    int ruleset = MakeRuleset();
    if (ruleset < 0)
        return false;
    AllowLibraries(ruleset);
    if (needs->program != nullptr)
        Allow(ruleset, needs->program, kReadFile | kExecute);
    if (needs->objmgr != nullptr)
        AllowBeside(ruleset, needs->objmgr, kReadFile | kReadDirectory);
    if (needs->sessions != nullptr)
        Allow(ruleset, needs->sessions, kReadFile | kReadDirectory);
    if (needs->trace != nullptr && access(needs->trace, F_OK) == 0)
        Allow(ruleset, needs->trace, kWriteFile);
    else if (needs->trace != nullptr)
        AllowBeside(ruleset, needs->trace, kWriteFile | kMakeFile);
    bool confined = syscall(kRestrictSelf, ruleset, 0) == 0;
    close(ruleset);
    return confined;
}
