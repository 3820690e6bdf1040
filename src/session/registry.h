// SPDX-License-Identifier: Apache-2.0
// registry.h -- the session registry: one file per login session in one directory.
//
// The file is named by the session's id, decimal without leading zeros, and holds text lines:
//
//     user=admin                 1 to 63 bytes, no control characters
//     type=0                     0 to 255
//     address=192.0.2.7          the client's IPv4 address; 0.0.0.0 for none
//     privilege=7                the privilege word (objmgr/privilege.h), hexadecimal
//     idle=900                   seconds without use after which the session expires; 0: never
//
// in any order, each once; lines with other keys are passed over. At most kRegistryFileMax bytes.
// The session's last use is the file's modification time.
//
// Whoever opened the session holds a write lock on the file (an open file description lock), and
// every process that inherits the descriptor holds it too. A session whose lock is free is dead
// and never comes back, so nothing has to clean up after a crash. A file appears under its name
// complete and locked. Removing the file ends the session.
//
// The directory belongs to the user or to root, and is not writable for everyone unless it is
// sticky; likewise a session's file belongs to the user or to root. "The user" is the effective
// one. Links and anything but regular files are never followed or read.
//
// All of it is free of the heap except opening and sweeping (they read the directory), and none
// of it needs the C++ runtime library: a part is linked into every shell.
#ifndef SESSION_REGISTRY_H
#define SESSION_REGISTRY_H

#include <sys/types.h>
#include <time.h>

#include "platform/types.h"

constexpr u32 kRegistryOk = 0;
constexpr u32 kRegistryFailed = 1;        // a system call failed; errno says why
constexpr u32 kRegistryBadParameter = 2;  // a null pointer, or a record that cannot be written
constexpr u32 kRegistryMalformed = 4;     // under that name stands no session file: a link, no
                                          // regular file, too long, or not the lines above
constexpr u32 kRegistryUnknown = 5;       // no session of that id, or no directory
constexpr u32 kRegistryUntrusted = 6;     // directory or file not owned or guarded as above

constexpr u32 kRegistryFileMax = 512;  // bytes; the longest that is ever written is under 150
constexpr const char *kRegistryDefaultDirectory = "/run/zor/sessions";

// What a session is opened with. Nothing of it changes while the session lasts.
struct RegistryRecord {
    char user[64];  // NUL-terminated, not empty, no control characters
    u32 address;    // 127.0.0.1 is 2130706433; 0 for none
    u32 privilege;
    u32 idleSeconds;  // 0: no limit
    u8 type;
};

// One session as RegistryFind found it.
struct RegistryEntry {
    RegistryRecord record;
    timespec lastUse;
    uid_t owner;     // of the file
    bool live;       // the lock is held
    int descriptor;  // of the file, for RegistryMarkUsed; closed by RegistryRelease
};

// The directory that ZORSSNDIR names, else the default; an empty ZORSSNDIR counts as none, and a
// set-user-id program ignores it. Points into the environment: valid until that is changed.
const char *RegistryDirectory();

// Opens a session: makes the directory when it is missing (mode 0700; its parent must exist),
// sweeps dead sessions, then writes and locks the session's file. *id is random, never 0, and no
// other session's. *lock is the descriptor that holds the session: it stays open across exec, so
// that the processes started from here keep the session live. End with RegistryCloseSession.
// Failed (errno), bad parameter or untrusted; then *id is 0, *lock is -1 and no file is left.
u32 RegistryOpenSession(const char *directory, const RegistryRecord *record, u32 *id, int *lock);

// Ends a session: removes its file, unless that is gone or is not the one that `lock` holds, and
// closes `lock`. Failed when a file of the session stays behind; it is dead all the same unless
// another process inherited the lock.
u32 RegistryCloseSession(const char *directory, u32 id, int lock);

// Removes the files of dead sessions, and what a crash left of half made ones; touches nothing
// else, and only what belongs to the user or root. *removed counts; may be null. Failed,
// untrusted, or unknown when there is no directory.
u32 RegistrySweep(const char *directory, u32 *removed);

// Looks one session up and fills *entry; 0 is nobody's id. Ok also for a dead one: see
// entry->live. Only on ok is there anything to give back with RegistryRelease.
u32 RegistryFind(const char *directory, u32 id, RegistryEntry *entry);
void RegistryRelease(RegistryEntry *entry);

// Sets the session's last use to now. Failed (errno) when the file system refuses it.
u32 RegistryMarkUsed(const RegistryEntry *entry);

// True when a session last used at *lastUse has been idle for idleSeconds or longer. A last use
// in the future (the clock was set back) counts as just now; a limit of 0 never expires.
bool RegistryExpired(u32 idleSeconds, const timespec *lastUse, const timespec *now);

// Reads a number that is the whole text: 1 to maxDigits digits of base 10 or 16, of either case,
// no sign, blank or prefix, at most `max`. False, with *value unchanged, for any other text.
bool RegistryParseNumber(const char *text, u32 base, u32 maxDigits, u32 max, u32 *value);

#endif
