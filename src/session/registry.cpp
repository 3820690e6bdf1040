// SPDX-License-Identifier: Apache-2.0
// registry.cpp -- session files: written once, locked for the life of the session, looked up.
#include "session/registry.h"

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

// A file being made. The id follows; a name like this is never a session's.
static constexpr char kNewPrefix[] = ".new-";

static constexpr size_t kNameSize = 24;  // ".new-4294967295" and its NUL

// Opening never waits (a planted FIFO) and never follows a planted link.
static constexpr int kLookFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// How often an id that is taken, or a new file that a sweep took for a dead one, is tried anew.
static constexpr int kOpenAttempts = 16;

const char *RegistryDirectory()
{
    const char *set = secure_getenv("ZORSSNDIR");
    return set != nullptr && set[0] != '\0' ? set : kRegistryDefaultDirectory;
}

static int DigitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return INT_MAX;
}

bool RegistryParseNumber(const char *text, u32 base, u32 maxDigits, u32 max, u32 *value)
{
    u64 number = 0;
    u32 digits = 0;
    for (; text[digits] != '\0'; ++digits) {
        u32 digit = static_cast<u32>(DigitValue(text[digits]));
        if (digits == maxDigits || digit >= base)
            return false;
        number = number * base + digit;
        if (number > max)
            return false;
    }
    if (digits == 0)
        return false;
    *value = static_cast<u32>(number);
    return true;
}

static bool UserIsWritable(const char *user)
{
    size_t length = strnlen(user, sizeof(RegistryRecord::user));
    if (length == 0 || length == sizeof(RegistryRecord::user))
        return false;
    for (size_t i = 0; i < length; ++i) {
        unsigned char c = static_cast<unsigned char>(user[i]);
        if (c < 0x20 || c == 0x7f)
            return false;
    }
    return true;
}

static bool OwnerIsTrusted(uid_t owner)
{
    return owner == 0 || owner == geteuid();
}

// The lock of a live session conflicts with any other description's, also in its own process.
static u32 LockIsHeld(int descriptor, bool *held)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(descriptor, F_OFD_GETLK, &lock) != 0)
        return kRegistryFailed;
    *held = lock.l_type != F_UNLCK;
    return kRegistryOk;
}

// --- Reading a file --------------------------------------------------------------------------

// Which keys a file has given so far.
enum : u32 {
    kHasUser = 1,
    kHasType = 2,
    kHasAddress = 4,
    kHasPrivilege = 8,
    kHasIdle = 16,
    kHasAll = 31,
};

static bool ReadAddress(const char *value, u32 *address)
{
    in_addr parsed;
    if (inet_pton(AF_INET, value, &parsed) != 1)
        return false;
    *address = ntohl(parsed.s_addr);
    return true;
}

static u32 KeyBit(const char *key)
{
    static constexpr struct {
        const char *key;
        u32 bit;
    } kKeys[] = {{"user", kHasUser},
                 {"type", kHasType},
                 {"address", kHasAddress},
                 {"privilege", kHasPrivilege},
                 {"idle", kHasIdle}};
    for (const auto &row : kKeys)
        if (strcmp(row.key, key) == 0)
            return row.bit;
    return 0;
}

static bool ReadValue(u32 bit, const char *value, RegistryRecord *record)
{
    u32 number = 0;
    switch (bit) {
    case kHasUser:
        if (!UserIsWritable(value))
            return false;
        memcpy(record->user, value, strlen(value) + 1);
        return true;
    case kHasType:
        if (!RegistryParseNumber(value, 10, 3, UINT8_MAX, &number))
            return false;
        record->type = static_cast<u8>(number);
        return true;
    case kHasAddress:
        return ReadAddress(value, &record->address);
    case kHasPrivilege:
        return RegistryParseNumber(value, 16, 8, UINT32_MAX, &record->privilege);
    case kHasIdle:
        return RegistryParseNumber(value, 10, 10, UINT32_MAX, &record->idleSeconds);
    default:
        return true;  // a key of another version
    }
}

// Takes the text apart in place.
static bool ReadLines(char *text, RegistryRecord *record)
{
    u32 seen = 0;
    while (*text != '\0') {
        char *end = strchr(text, '\n');
        if (end == nullptr)
            return false;
        *end = '\0';
        char *equals = strchr(text, '=');
        if (equals == nullptr)
            return false;
        *equals = '\0';
        u32 bit = KeyBit(text);
        if ((seen & bit) != 0 || !ReadValue(bit, equals + 1, record))
            return false;
        seen |= bit;
        text = end + 1;
    }
    return seen == kHasAll;
}

static u32 ReadRecord(int descriptor, RegistryRecord *record)
{
    char text[kRegistryFileMax + 2];  // one byte more than allowed, and the NUL
    size_t length = 0;
    while (length < sizeof(text) - 1) {
        ssize_t got = read(descriptor, text + length, sizeof(text) - 1 - length);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return kRegistryFailed;
        if (got == 0)
            break;
        length += static_cast<size_t>(got);
    }
    text[length] = '\0';
    if (length > kRegistryFileMax || strlen(text) != length || !ReadLines(text, record))
        return kRegistryMalformed;
    return kRegistryOk;
}

static u32 OpenEntry(const char *directory, u32 id, int *descriptor)
{
    char path[PATH_MAX];
    int length = snprintf(path, sizeof(path), "%s/%u", directory, id);
    if (length < 0 || static_cast<size_t>(length) >= sizeof(path)) {
        errno = ENAMETOOLONG;
        return kRegistryFailed;
    }
    *descriptor = open(path, kLookFlags);
    if (*descriptor >= 0)
        return kRegistryOk;
    switch (errno) {
    case ENOENT:
        return kRegistryUnknown;
    case ELOOP:  // a link
    case ENXIO:  // a socket
        return kRegistryMalformed;
    default:
        return kRegistryFailed;
    }
}

static u32 ReadEntry(RegistryEntry *entry)
{
    struct stat info;
    if (fstat(entry->descriptor, &info) != 0)
        return kRegistryFailed;
    if (!S_ISREG(info.st_mode))
        return kRegistryMalformed;
    if (info.st_nlink == 0)
        return kRegistryUnknown;  // removed since it was opened
    if (info.st_nlink != 1)
        return kRegistryMalformed;  // another name was planted for it
    if (!OwnerIsTrusted(info.st_uid))
        return kRegistryUntrusted;
    entry->owner = info.st_uid;
    entry->lastUse = info.st_mtim;
    u32 result = LockIsHeld(entry->descriptor, &entry->live);
    return result == kRegistryOk ? ReadRecord(entry->descriptor, &entry->record) : result;
}

u32 RegistryFind(const char *directory, u32 id, RegistryEntry *entry)
{
    if (directory == nullptr || entry == nullptr)
        return kRegistryBadParameter;
    *entry = {};
    entry->descriptor = -1;
    if (id == 0)
        return kRegistryUnknown;
    u32 result = OpenEntry(directory, id, &entry->descriptor);
    if (result != kRegistryOk)
        return result;
    result = ReadEntry(entry);
    if (result != kRegistryOk)
        RegistryRelease(entry);
    return result;
}

void RegistryRelease(RegistryEntry *entry)
{
    int kept = errno;
    if (entry->descriptor >= 0)
        close(entry->descriptor);
    entry->descriptor = -1;
    errno = kept;
}

u32 RegistryMarkUsed(const RegistryEntry *entry)
{
    return futimens(entry->descriptor, nullptr) == 0 ? kRegistryOk : kRegistryFailed;
}

bool RegistryExpired(u32 idleSeconds, const timespec *lastUse, const timespec *now)
{
    if (idleSeconds == 0 || lastUse->tv_sec > now->tv_sec)
        return false;
    // Unsigned, because a planted modification time can be too far back for a signed difference.
    u64 idle = static_cast<u64>(now->tv_sec) - static_cast<u64>(lastUse->tv_sec);
    if (now->tv_nsec < lastUse->tv_nsec) {
        if (idle == 0)
            return false;
        --idle;
    }
    return idle >= idleSeconds;
}

// --- The directory ---------------------------------------------------------------------------

static u32 OpenDirectory(const char *directory, int *descriptor)
{
    *descriptor = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (*descriptor < 0)
        return errno == ENOENT ? kRegistryUnknown : kRegistryFailed;
    struct stat info;
    u32 result = kRegistryOk;
    if (fstat(*descriptor, &info) != 0)
        result = kRegistryFailed;
    else if (!OwnerIsTrusted(info.st_uid) ||
             ((info.st_mode & S_IWOTH) != 0 && (info.st_mode & S_ISVTX) == 0))
        result = kRegistryUntrusted;
    if (result != kRegistryOk) {
        int kept = errno;
        close(*descriptor);
        errno = kept;
    }
    return result;
}

static bool IsRegistryName(const char *name)
{
    if (strncmp(name, kNewPrefix, sizeof(kNewPrefix) - 1) == 0)
        name += sizeof(kNewPrefix) - 1;
    u32 id = 0;
    return name[0] != '0' && RegistryParseNumber(name, 10, 10, UINT32_MAX, &id);
}

// Nobody locks a file that is there already, so one that is seen unlocked is dead for good; only
// a file still being made may get its lock later, and its maker then finds it gone and starts
// anew. So no lock is taken here, which another process could mistake for a session's.
static bool IsDead(int directory, const char *name)
{
    int descriptor = openat(directory, name, kLookFlags);
    if (descriptor < 0)
        return false;
    struct stat info;
    bool held = true;
    bool dead = fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode) &&
                OwnerIsTrusted(info.st_uid) && LockIsHeld(descriptor, &held) == kRegistryOk &&
                !held;
    close(descriptor);
    return dead;
}

u32 RegistrySweep(const char *directory, u32 *removed)
{
    if (directory == nullptr)
        return kRegistryBadParameter;
    int descriptor = -1;
    u32 result = OpenDirectory(directory, &descriptor);
    if (result != kRegistryOk)
        return result;
    DIR *list = fdopendir(descriptor);  // owns the descriptor from here on
    if (list == nullptr) {
        close(descriptor);
        return kRegistryFailed;
    }
    u32 count = 0;
    while (const dirent *entry = readdir(list))
        if (IsRegistryName(entry->d_name) && IsDead(descriptor, entry->d_name) &&
            unlinkat(descriptor, entry->d_name, 0) == 0)
            ++count;
    closedir(list);
    if (removed != nullptr)
        *removed = count;
    return kRegistryOk;
}

// --- Opening and closing ---------------------------------------------------------------------

static bool WriteRecord(int descriptor, const RegistryRecord *record)
{
    in_addr address;
    address.s_addr = htonl(record->address);
    char dotted[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &address, dotted, sizeof(dotted));
    char text[kRegistryFileMax];
    int length =
        snprintf(text, sizeof(text), "user=%s\ntype=%u\naddress=%s\nprivilege=%x\nidle=%u\n",
                 record->user, record->type, dotted, record->privilege, record->idleSeconds);
    ssize_t written = write(descriptor, text, static_cast<size_t>(length));
    if (written >= 0 && written != length)
        errno = ENOSPC;  // a regular file takes less than it is given only when it is full
    return written == length;
}

static bool Lock(int descriptor)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

// Gives the file its name, never in place of another. It has two names for a moment, when nobody
// knows the id yet. A sweep that saw the file before it was locked may take the first name away.
static bool Publish(int directory, const char *from, const char *to)
{
    if (linkat(directory, from, directory, to, 0) != 0)
        return false;
    if (unlinkat(directory, from, 0) == 0 || errno == ENOENT)
        return true;
    int kept = errno;
    unlinkat(directory, to, 0);
    errno = kept;
    return false;
}

static bool MakeFile(int directory, const RegistryRecord *record, u32 id, int *lock)
{
    char temporary[kNameSize];
    char name[kNameSize];
    snprintf(temporary, sizeof(temporary), "%s%u", kNewPrefix, id);
    snprintf(name, sizeof(name), "%u", id);
    int descriptor =
        openat(directory, temporary, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return false;
    // The mode once more, because the caller's umask must not take the owner's rights away.
    if (Lock(descriptor) && fchmod(descriptor, 0600) == 0 && WriteRecord(descriptor, record) &&
        Publish(directory, temporary, name)) {
        *lock = descriptor;
        return true;
    }
    int kept = errno;
    unlinkat(directory, temporary, 0);
    close(descriptor);
    errno = kept;
    return false;
}

static bool RandomId(u32 *id)
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

static u32 MakeSession(int directory, const RegistryRecord *record, u32 *id, int *lock)
{
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        u32 candidate = 0;
        if (!RandomId(&candidate))
            return kRegistryFailed;
        if (MakeFile(directory, record, candidate, lock)) {
            fcntl(*lock, F_SETFD, 0);  // from now on for the shell, too
            *id = candidate;
            return kRegistryOk;
        }
        if (errno != EEXIST && errno != ENOENT)
            return kRegistryFailed;
    }
    return kRegistryFailed;
}

u32 RegistryOpenSession(const char *directory, const RegistryRecord *record, u32 *id, int *lock)
{
    if (directory == nullptr || record == nullptr || id == nullptr || lock == nullptr)
        return kRegistryBadParameter;
    *id = 0;
    *lock = -1;
    if (!UserIsWritable(record->user))
        return kRegistryBadParameter;
    if (mkdir(directory, 0700) != 0 && errno != EEXIST)
        return kRegistryFailed;
    int descriptor = -1;
    u32 result = OpenDirectory(directory, &descriptor);
    if (result != kRegistryOk)
        return result == kRegistryUnknown ? kRegistryFailed : result;
    RegistrySweep(directory, nullptr);
    result = MakeSession(descriptor, record, id, lock);
    int kept = errno;
    close(descriptor);
    errno = kept;
    return result;
}

u32 RegistryCloseSession(const char *directory, u32 id, int lock)
{
    if (directory == nullptr || id == 0 || lock < 0)
        return kRegistryBadParameter;
    char path[PATH_MAX];
    int length = snprintf(path, sizeof(path), "%s/%u", directory, id);
    u32 result = kRegistryOk;
    struct stat held;
    struct stat named;
    if (length < 0 || static_cast<size_t>(length) >= sizeof(path)) {
        errno = ENAMETOOLONG;
        result = kRegistryFailed;
    } else if (fstat(lock, &held) == 0 && lstat(path, &named) == 0 && held.st_ino == named.st_ino &&
               held.st_dev == named.st_dev && unlink(path) != 0 && errno != ENOENT) {
        result = kRegistryFailed;
    }
    int kept = errno;
    close(lock);
    errno = kept;
    return result;
}
