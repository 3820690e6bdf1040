// SPDX-License-Identifier: Apache-2.0
// registry.cpp -- looking up a session's file. Part of every shell: keep it small.
#include "session/registry.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "session/registry_file.h"

const char *RegistryDirectory()
{
    const char *set = secure_getenv("ZORSSNDIR");
    return set != nullptr && set[0] != '\0' ? set : kRegistryDefaultDirectory;
}

namespace
{

int DigitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return INT_MAX;
}

bool ParseNumber(const char *text, u32 base, u32 maxDigits, u64 max, u64 *value)
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
    *value = number;
    return true;
}

bool ScopeIsWritable(const char *scope)
{
    size_t length = strspn(scope, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                  ".-_:");
    return length > 0 && length < 16 && scope[length] == '\0';
}

bool IsIPv6(const char *text)
{
    size_t length = strcspn(text, "%");
    char address[INET6_ADDRSTRLEN];
    in6_addr parsed;
    if (length >= sizeof(address) || (text[length] == '%' && !ScopeIsWritable(text + length + 1)))
        return false;
    memcpy(address, text, length);
    address[length] = '\0';
    return inet_pton(AF_INET6, address, &parsed) == 1;
}

// Which keys a file has given so far.
enum : u32 {
    kHasUser = 1,
    kHasType = 2,
    kHasAddress = 4,
    kHasPrivilege = 8,
    kHasIdle = 16,
    kHasId = 32,
    kHasSince = 64,
    kHasAll = 127,
};

u32 KeyBit(const char *key)
{
    static constexpr struct {
        const char *key;
        u32 bit;
    } kKeys[] = {{"user", kHasUser},           {"type", kHasType}, {"address", kHasAddress},
                 {"privilege", kHasPrivilege}, {"idle", kHasIdle}, {"id", kHasId},
                 {"since", kHasSince}};
    for (const auto &row : kKeys)
        if (strcmp(row.key, key) == 0)
            return row.bit;
    return 0;
}

bool ReadValue(u32 bit, const char *value, u32 id, RegistryEntry *entry)
{
    RegistryRecord *record = &entry->record;
    u32 number = 0;
    switch (bit) {
    case kHasUser:
        if (!RegistryUserIsWritable(value))
            return false;
        memcpy(record->user, value, strlen(value) + 1);
        return true;
    case kHasType:
        if (!RegistryParseNumber(value, 10, 3, UINT8_MAX, &number))
            return false;
        record->type = static_cast<u8>(number);
        return true;
    case kHasAddress:
        return RegistryParseAddress(value, record);
    case kHasPrivilege:
        return RegistryParseNumber(value, 16, 8, UINT32_MAX, &record->privilege);
    case kHasIdle:
        return RegistryParseNumber(value, 10, 10, UINT32_MAX, &record->idleSeconds);
    case kHasId:
        return RegistryParseNumber(value, 10, 10, UINT32_MAX, &number) && number == id;
    case kHasSince:
        return ParseNumber(value, 10, 19, INT64_MAX, &entry->since);
    default:
        return true;  // a key of another version
    }
}

// Takes the text apart in place.
bool ReadLines(char *text, u32 id, RegistryEntry *entry)
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
        if ((seen & bit) != 0 || !ReadValue(bit, equals + 1, id, entry))
            return false;
        seen |= bit;
        text = end + 1;
    }
    return seen == kHasAll;
}

u32 ReadText(u32 id, RegistryEntry *entry)
{
    char text[kRegistryFileMax + 2];  // one byte more than allowed, and the NUL
    size_t length = 0;
    while (length < sizeof(text) - 1) {
        ssize_t got = read(entry->descriptor, text + length, sizeof(text) - 1 - length);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return kRegistryFailed;
        if (got == 0)
            break;
        length += static_cast<size_t>(got);
    }
    text[length] = '\0';
    if (length > kRegistryFileMax || strlen(text) != length || !ReadLines(text, id, entry))
        return kRegistryMalformed;
    return kRegistryOk;
}

u32 OpenEntry(const char *directory, u32 id, int *descriptor)
{
    char path[PATH_MAX];
    int length = snprintf(path, sizeof(path), "%s/%u", directory, id);
    if (length < 0 || static_cast<size_t>(length) >= sizeof(path)) {
        errno = ENAMETOOLONG;
        return kRegistryFailed;
    }
    *descriptor = open(path, kRegistryLookFlags);
    if (*descriptor >= 0)
        return kRegistryOk;
    switch (errno) {
    case ENOENT:
        return kRegistryUnknown;
    case ELOOP:   // a link
    case ENXIO:   // a socket
    case EAGAIN:  // its owner holds a lease
        return kRegistryMalformed;
    default:
        return kRegistryFailed;
    }
}

u32 ReadEntry(u32 id, RegistryWhose whose, RegistryEntry *entry)
{
    struct stat info;
    if (fstat(entry->descriptor, &info) != 0)
        return kRegistryFailed;
    if (!S_ISREG(info.st_mode))
        return kRegistryMalformed;
    if (info.st_nlink == 0)
        return kRegistryUnknown;  // removed since it was opened
    if (whose == RegistryWhose::Own && !RegistryTrusts(info.st_uid))
        return kRegistryUntrusted;
    entry->owner = info.st_uid;
    entry->lastUse = info.st_mtim;
    u32 result = RegistryLockIsHeld(entry->descriptor, &entry->live);
    return result == kRegistryOk ? ReadText(id, entry) : result;
}

}  // namespace

bool RegistryParseNumber(const char *text, u32 base, u32 maxDigits, u32 max, u32 *value)
{
    u64 number = 0;
    if (!ParseNumber(text, base, maxDigits, max, &number))
        return false;
    *value = static_cast<u32>(number);
    return true;
}

bool RegistryParseAddress(const char *text, RegistryRecord *record)
{
    // A text that is no IPv4 address leaves anything in it.
    in_addr parsed;
    const bool isIPv4 = inet_pton(AF_INET, text, &parsed) == 1;
    if (!isIPv4 && !IsIPv6(text))
        return false;
    record->address = isIPv4 ? ntohl(parsed.s_addr) : 0;
    record->addressText[0] = '\0';
    if (record->address != 0 || strchr(text, ':') != nullptr)
        memcpy(record->addressText, text, strlen(text) + 1);
    return true;
}

bool RegistryUserIsWritable(const char *user)
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

bool RegistryTrusts(uid_t owner)
{
    return owner == 0 || owner == geteuid();
}

// The lock of a live session conflicts with any other description's, also in its own process.
// Asked for is who would be in the way of reading, so that read locks, which everybody who can
// open the file may place, do not count.
u32 RegistryLockIsHeld(int descriptor, bool *held)
{
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    if (fcntl(descriptor, F_OFD_GETLK, &lock) != 0)
        return kRegistryFailed;
    *held = lock.l_type != F_UNLCK;
    return kRegistryOk;
}

// --- Reading a file --------------------------------------------------------------------------

u32 RegistryFind(const char *directory, u32 id, RegistryWhose whose, RegistryEntry *entry)
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
    result = ReadEntry(id, whose, entry);
    if (result != kRegistryOk)
        RegistryRelease(entry);
    return result;
}

void RegistryRelease(RegistryEntry *entry)
{
    int error = errno;
    if (entry->descriptor >= 0)
        close(entry->descriptor);
    entry->descriptor = -1;
    errno = error;
}

u32 RegistryMarkUsed(const RegistryEntry *entry)
{
    return RegistrySetLastUse(entry->descriptor) ? kRegistryOk : kRegistryFailed;
}

bool RegistrySetLastUse(int descriptor)
{
    const timespec times[2] = {{0, UTIME_OMIT}, RegistryNow()};
    return futimens(descriptor, times) == 0;
}

timespec RegistryNow()
{
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now;
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
