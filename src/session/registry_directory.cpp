// SPDX-License-Identifier: Apache-2.0
// registry_directory.cpp -- the directory of session files: making, sweeping, counting, opening and
// closing. Needed by logins alone.
#include <arpa/inet.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "session/registry.h"
#include "session/registry_file.h"

namespace
{

// A file being made. The id follows; a name like this is never a session's.
constexpr char kNewPrefix[] = ".new-";

constexpr size_t kNameSize = 24;  // ".new-4294967295" and its NUL

// How often an id that is taken, or a new file that a sweep took for a dead one, is tried anew.
constexpr int kOpenAttempts = 16;

// Different users that are told apart when sessions are counted: more than any limit lets in.
constexpr u32 kTallyMax = 256;

// --- The directory ---------------------------------------------------------------------------

u32 OpenDirectory(const char *directory, int *descriptor)
{
    *descriptor = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (*descriptor < 0)
        return errno == ENOENT ? kRegistryUnknown : kRegistryFailed;
    struct stat info;
    u32 result = kRegistryOk;
    if (fstat(*descriptor, &info) != 0)
        result = kRegistryFailed;
    else if (!RegistryTrusts(info.st_uid) ||
             ((info.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (info.st_mode & S_ISVTX) == 0))
        result = kRegistryUntrusted;
    if (result != kRegistryOk) {
        int error = errno;
        close(*descriptor);
        errno = error;
    }
    return result;
}

bool IsSessionName(const char *name, u32 *id)
{
    return name[0] != '0' && RegistryParseNumber(name, 10, 10, UINT32_MAX, id);
}

bool IsRegistryName(const char *name)
{
    if (strncmp(name, kNewPrefix, sizeof(kNewPrefix) - 1) == 0)
        name += sizeof(kNewPrefix) - 1;
    u32 id = 0;
    return IsSessionName(name, &id);
}

// Nobody locks a file that is there already, so one that is seen unlocked is dead for good; only
// a file still being made may get its lock later, and its maker then finds it gone and starts
// anew. So no lock is taken here, which another process could mistake for a session's.
bool IsDead(int directory, const char *name)
{
    int descriptor = openat(directory, name, kRegistryLookFlags);
    if (descriptor < 0)
        return false;
    struct stat info;
    bool held = true;
    bool dead = fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode) &&
                (geteuid() == 0 || RegistryTrusts(info.st_uid)) &&
                RegistryLockIsHeld(descriptor, &held) == kRegistryOk && !held;
    close(descriptor);
    return dead;
}

// Opens the directory for reading its names; null with the result.
DIR *ListDirectory(const char *directory, u32 *result)
{
    int descriptor = -1;
    *result = OpenDirectory(directory, &descriptor);
    if (*result != kRegistryOk)
        return nullptr;
    DIR *list = fdopendir(descriptor);  // owns the descriptor from here on
    if (list == nullptr) {
        close(descriptor);
        *result = kRegistryFailed;
    }
    return list;
}

// Sessions that were there before a certain one. Their owners say when they were opened, and who
// says so falsely is counted all the same, or not at all if he moves himself behind: he could as
// well open none.
struct Census {
    const char *directory;
    u64 since;  // of the one that asks
    u32 id;
    u32 all;  // of each user at most kRegistryUserMax
    u32 own;
    u32 users;
    struct {
        uid_t owner;
        u32 count;
    } tally[kTallyMax];
};

bool CountOf(Census *census, uid_t owner, u32 **count)
{
    u32 at = 0;
    while (at < census->users && census->tally[at].owner != owner)
        ++at;
    if (at == kTallyMax)
        return false;
    if (at == census->users)
        census->tally[census->users++] = {owner, 0};
    *count = &census->tally[at].count;
    return true;
}

bool CountSession(void *context, u32 id)
{
    Census *census = static_cast<Census *>(context);
    RegistryEntry entry;
    if (RegistryFind(census->directory, id, RegistryWhose::Anyone, &entry) != kRegistryOk)
        return true;
    RegistryRelease(&entry);
    bool before = entry.since < census->since || (entry.since == census->since && id < census->id);
    if (!entry.live || !before)
        return true;
    u32 *count = nullptr;
    if (!CountOf(census, entry.owner, &count)) {
        ++census->all;
        return true;
    }
    if (*count < kRegistryUserMax)
        ++census->all;
    ++*count;
    if (entry.owner == geteuid())
        ++census->own;
    return true;
}

// Whether there is room for the session that stands already, beside those that came before it.
u32 CheckLimits(const char *directory, const RegistryLimits *limits, u32 id, u64 since)
{
    if (limits == nullptr || (limits->all == 0 && limits->user == 0))
        return kRegistryOk;
    Census census = {};
    census.directory = directory;
    census.since = since;
    census.id = id;
    u32 result = RegistryForEach(directory, CountSession, &census);
    if (result != kRegistryOk)
        return result;
    if (limits->user != 0 && census.own >= limits->user)
        return kRegistryUserFull;
    return limits->all != 0 && census.all >= limits->all ? kRegistryFull : kRegistryOk;
}

// --- Opening and closing ---------------------------------------------------------------------

u64 Nanoseconds(const timespec &time)
{
    return static_cast<u64>(time.tv_sec) * 1000000000 + static_cast<u64>(time.tv_nsec);
}

bool WriteText(int descriptor, const RegistryRecord *record, u32 id, u64 since)
{
    in_addr address;
    address.s_addr = htonl(record->address);
    char dotted[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &address, dotted, sizeof(dotted));
    char text[kRegistryFileMax];
    int length =
        snprintf(text, sizeof(text),
                 "id=%u\nuser=%s\ntype=%u\naddress=%s\nprivilege=%x\nidle=%u\n"
                 "since=%llu\n",
                 id, record->user, record->type,
                 record->addressText[0] != '\0' ? record->addressText : dotted, record->privilege,
                 record->idleSeconds, static_cast<unsigned long long>(since));
    ssize_t written = write(descriptor, text, static_cast<size_t>(length));
    if (written >= 0 && written != length)
        errno = ENOSPC;  // a regular file takes less than it is given only when it is full
    return written == length;
}

bool Lock(int descriptor)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

// Gives the file its name, never in place of another. It has two names for a moment, when nobody
// knows the id yet. A sweep that saw the file before it was locked may take the first name away.
bool Publish(int directory, const char *from, const char *to)
{
    if (linkat(directory, from, directory, to, 0) != 0)
        return false;
    if (unlinkat(directory, from, 0) == 0 || errno == ENOENT)
        return true;
    int error = errno;
    unlinkat(directory, to, 0);
    errno = error;
    return false;
}

bool MakeFile(int directory, const RegistryRecord *record, u32 id, u64 *since, int *lock)
{
    char temporary[kNameSize];
    char name[kNameSize];
    snprintf(temporary, sizeof(temporary), "%s%u", kNewPrefix, id);
    snprintf(name, sizeof(name), "%u", id);
    int descriptor =
        openat(directory, temporary, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return false;
    *since = Nanoseconds(RegistryNow());
    // The mode once more: the caller's umask must not take rights away. The group may read only
    // what is locked.
    if (Lock(descriptor) && WriteText(descriptor, record, id, *since) &&
        RegistrySetLastUse(descriptor) && fchmod(descriptor, 0640) == 0 &&
        Publish(directory, temporary, name)) {
        *lock = descriptor;
        return true;
    }
    int error = errno;
    unlinkat(directory, temporary, 0);
    close(descriptor);
    errno = error;
    return false;
}

bool RandomId(u32 *id)
{
    do {
        ssize_t got = getrandom(id, sizeof(*id), 0);
        if (got < 0 && errno != EINTR)
            return false;
        if (got != static_cast<ssize_t>(sizeof(*id)))
            *id = 0;
    } while (*id == 0);
    return true;
}

u32 MakeSession(int directory, const RegistryRecord *record, u32 *id, u64 *since, int *lock)
{
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        u32 candidate = 0;
        if (!RandomId(&candidate))
            return kRegistryFailed;
        if (MakeFile(directory, record, candidate, since, lock)) {
            fcntl(*lock, F_SETFD, 0);  // from now on for the shell, too
            *id = candidate;
            return kRegistryOk;
        }
        if (errno != EEXIST && errno != ENOENT)
            return kRegistryFailed;
    }
    return kRegistryFailed;
}

// The address's two forms must agree, or the session's own shell would be another client.
bool RecordIsWritable(const RegistryRecord *record)
{
    RegistryRecord read = {};
    size_t length = strnlen(record->addressText, sizeof(record->addressText));
    if (!RegistryUserIsWritable(record->user) || length == sizeof(record->addressText))
        return false;
    return length == 0 ||
           (RegistryParseAddress(record->addressText, &read) && read.address == record->address);
}

// Writes the path of a session's file; false, with errno, when it is too long.
bool PathOf(char *path, size_t size, const char *directory, u32 id)
{
    int length = snprintf(path, size, "%s/%u", directory, id);
    if (length >= 0 && static_cast<size_t>(length) < size)
        return true;
    errno = ENAMETOOLONG;
    return false;
}

bool StandsAt(const char *path, int lock)
{
    struct stat held;
    struct stat named;
    return fstat(lock, &held) == 0 && lstat(path, &named) == 0 && held.st_ino == named.st_ino &&
           held.st_dev == named.st_dev;
}

}  // namespace

u32 RegistrySweep(const char *directory, u32 *removed)
{
    if (directory == nullptr)
        return kRegistryBadParameter;
    u32 result = kRegistryOk;
    DIR *list = ListDirectory(directory, &result);
    if (list == nullptr)
        return result;
    u32 count = 0;
    while (const dirent *entry = readdir(list))
        if (IsRegistryName(entry->d_name) && IsDead(dirfd(list), entry->d_name) &&
            unlinkat(dirfd(list), entry->d_name, 0) == 0)
            ++count;
    closedir(list);
    if (removed != nullptr)
        *removed = count;
    return kRegistryOk;
}

u32 RegistryForEach(const char *directory, bool (*visit)(void *context, u32 id), void *context)
{
    if (directory == nullptr || visit == nullptr)
        return kRegistryBadParameter;
    u32 result = kRegistryOk;
    DIR *list = ListDirectory(directory, &result);
    if (list == nullptr)
        return result;
    u32 id = 0;
    while (const dirent *entry = readdir(list))
        if (IsSessionName(entry->d_name, &id) && !visit(context, id))
            break;
    closedir(list);
    return kRegistryOk;
}

u32 RegistryMakeShared(const char *directory, gid_t group)
{
    if (mkdir(directory, 0700) != 0)
        return kRegistryFailed;
    int descriptor = open(directory, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    bool made = descriptor >= 0 && fchown(descriptor, static_cast<uid_t>(-1), group) == 0 &&
                fchmod(descriptor, 03770) == 0;
    int error = errno;
    if (descriptor >= 0)
        close(descriptor);
    if (!made)
        rmdir(directory);
    errno = error;
    return made ? kRegistryOk : kRegistryFailed;
}

u32 RegistryOpenSession(const char *directory, const RegistryRecord *record,
                        const RegistryLimits *limits, u32 *id, int *lock)
{
    if (directory == nullptr || record == nullptr || id == nullptr || lock == nullptr)
        return kRegistryBadParameter;
    *id = 0;
    *lock = -1;
    if (!RecordIsWritable(record))
        return kRegistryBadParameter;
    if (mkdir(directory, 0700) != 0 && errno != EEXIST)
        return kRegistryFailed;
    int descriptor = -1;
    u32 result = OpenDirectory(directory, &descriptor);
    if (result != kRegistryOk)
        return result == kRegistryUnknown ? kRegistryFailed : result;
    RegistrySweep(directory, nullptr);
    u64 since = 0;
    result = MakeSession(descriptor, record, id, &since, lock);
    int error = errno;
    close(descriptor);
    if (result == kRegistryOk) {
        result = CheckLimits(directory, limits, *id, since);
        error = errno;
        if (result != kRegistryOk) {
            RegistryCloseSession(directory, *id, *lock);
            *id = 0;
            *lock = -1;
        }
    }
    errno = error;
    return result;
}

bool RegistryStands(const char *directory, u32 id, int lock)
{
    char path[PATH_MAX];
    return PathOf(path, sizeof(path), directory, id) && StandsAt(path, lock);
}

u32 RegistryCloseSession(const char *directory, u32 id, int lock)
{
    if (directory == nullptr || id == 0 || lock < 0)
        return kRegistryBadParameter;
    char path[PATH_MAX];
    u32 result = kRegistryOk;
    if (!PathOf(path, sizeof(path), directory, id) ||
        (StandsAt(path, lock) && unlink(path) != 0 && errno != ENOENT))
        result = kRegistryFailed;
    int error = errno;
    close(lock);
    errno = error;
    return result;
}

u32 RegistryEndSession(const char *directory, u32 id)
{
    if (directory == nullptr)
        return kRegistryBadParameter;
    char path[PATH_MAX];
    struct stat info;
    if (!PathOf(path, sizeof(path), directory, id))
        return kRegistryFailed;
    if (id == 0 || lstat(path, &info) != 0)
        return id == 0 || errno == ENOENT ? kRegistryUnknown : kRegistryFailed;
    if (geteuid() != 0 && info.st_uid != geteuid())
        return kRegistryUntrusted;
    if (unlink(path) == 0)
        return kRegistryOk;
    return errno == ENOENT ? kRegistryUnknown : kRegistryFailed;
}
