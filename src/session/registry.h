// SPDX-License-Identifier: Apache-2.0
// registry.h -- the session registry: one file per login session in one directory.
//
// The file is named by the session's id, decimal without leading zeros, and holds text lines:
//
//     id=3735928559              as in the name
//     user=admin                 1 to 63 bytes, no control characters
//     type=0                     0 to 255
//     address=192.0.2.7          the client's address, IPv4 or IPv6 with its scope; 0.0.0.0: none
//     privilege=7                the privilege word (objmgr/privilege.h), hexadecimal
//     idle=900                   seconds without use after which the session expires; 0: never
//     since=86400000000000       when it was opened, in nanoseconds of CLOCK_BOOTTIME
//
// in any order, each once; lines with other keys are passed over. At most kRegistryFileMax bytes.
// The session's last use is the file's modification time, counted as CLOCK_BOOTTIME counts: nobody
// sets that clock, so a change of the date neither shortens nor prolongs a session. (ls shows such
// times as days of 1970.)
//
// Whoever opened the session holds a write lock on the file (an open file description lock), and
// every process that inherits the descriptor holds it too. A session whose lock is free is dead
// and never comes back, so nothing has to clean up after a crash. A file appears under its name
// complete and locked. Removing the file ends the session. The group may read the file (0640), so
// that members of one registry can count and list each other's sessions: a reader can only place a
// read lock, which says nothing.
//
// Whose a session is, the file's owner says, and the text is believed only as far as he is. The
// number of the file's links says nothing, another member may add one; the id in the text tells
// such a second name from the first.
//
// The directory belongs to the user or to root, and is not writable for its group or for everyone
// unless it is sticky: then members make their own files there and remove nobody else's. "The
// user" is the effective one. Links and anything but regular files are never followed or read.
//
// Looking up (registry.cpp) is a part of every shell: free of the heap and of the C++ runtime
// library. Opening, sweeping and counting read the directory and are in registry_directory.cpp.
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
constexpr u32 kRegistryFull = 7;          // as many sessions as there may be
constexpr u32 kRegistryUserFull = 8;      // as many sessions as one user may have

constexpr u32 kRegistryFileMax = 512;  // bytes; the longest that is ever written is under 300
constexpr u32 kRegistryUserMax = 16;   // live sessions of one user that count for all, however
                                       // many files he makes
constexpr const char *kRegistryDefaultDirectory = "/run/zor/sessions";

// What a session is opened with. Nothing of it changes while the session lasts.
struct RegistryRecord {
    char user[64];         // NUL-terminated, not empty, no control characters
    char addressText[64];  // the address as it is written, IPv4 or IPv6; "": as `address` says
    u32 address;           // of IPv4: 127.0.0.1 is 2130706433; 0 for none and for IPv6
    u32 privilege;
    u32 idleSeconds;  // 0: no limit
    u8 type;
};

// One session as RegistryFind found it.
struct RegistryEntry {
    RegistryRecord record;
    u64 since;         // nanoseconds of CLOCK_BOOTTIME, as the text says
    timespec lastUse;  // of CLOCK_BOOTTIME
    uid_t owner;       // of the file
    bool live;         // the lock is held
    int descriptor;    // of the file, for RegistryMarkUsed; closed by RegistryRelease
};

// Whose session is looked for.
enum class RegistryWhose : u8 {
    Own,    // the user's or root's; any other is untrusted
    Anyone  // for lists and counts: believe owner, live and lastUse, and the text as far as the
            // owner
};

// The directory that ZORSSNDIR names, else the default; an empty ZORSSNDIR counts as none, and a
// set-user-id program ignores it. Points into the environment: valid until that is changed.
const char *RegistryDirectory();

// Looks one session up and fills *entry; 0 is nobody's id. Ok also for a dead one: see
// entry->live. Only on ok is there anything to give back with RegistryRelease. Never waits,
// whatever stands under the name.
u32 RegistryFind(const char *directory, u32 id, RegistryWhose whose, RegistryEntry *entry);
void RegistryRelease(RegistryEntry *entry);

// Sets the session's last use to now. Failed (errno) when the file system refuses it, as it does
// with a file of another owner.
u32 RegistryMarkUsed(const RegistryEntry *entry);

// Now, on the clock of last uses.
timespec RegistryNow();

// True when a session last used at *lastUse has been idle for idleSeconds or longer. A last use
// in the future (nobody but the file's owner can have set it) counts as just now; a limit of 0
// never expires.
bool RegistryExpired(u32 idleSeconds, const timespec *lastUse, const timespec *now);

// Reads a number that is the whole text: 1 to maxDigits digits of base 10 or 16, of either case,
// no sign, blank or prefix, at most `max`. False, with *value unchanged, for any other text.
bool RegistryParseNumber(const char *text, u32 base, u32 maxDigits, u32 max, u32 *value);

// Reads a client's address that is the whole text: IPv4 (as four decimal numbers) or IPv6, with or
// without a scope (%eth0; letters, digits and ".-_:", at most 15). Sets address and addressText;
// 0.0.0.0 is none. False, with the record unchanged, for any other text.
bool RegistryParseAddress(const char *text, RegistryRecord *record);

// --- registry_directory.cpp -------------------------------------------------------------------

// How many live sessions there may be when one has been opened. 0: no limit.
struct RegistryLimits {
    u32 all;   // of one user at most kRegistryUserMax count here
    u32 user;  // of the effective user
};

// Opens a session: makes the directory when it is missing (mode 0700; its parent must exist),
// sweeps dead sessions, then writes and locks the session's file. *id is random, never 0, and no
// other session's. *lock is the descriptor that holds the session: it stays open across exec, so
// that the processes started from here keep the session live. End with RegistryCloseSession.
// Failed (errno), bad parameter, untrusted, or full; then *id is 0, *lock is -1 and no file is
// left. When several open the last places at once, those who came first get them; one that was
// held up between reading the clock and appearing may come on top.
u32 RegistryOpenSession(const char *directory, const RegistryRecord *record,
                        const RegistryLimits *limits, u32 *id, int *lock);

// Makes the registry of several users where there is none: root's, the group's, 03770. Its parent
// must exist. Root alone can do that. Failed with errno; EEXIST when something is there already.
u32 RegistryMakeShared(const char *directory, gid_t group);

// Ends a session: removes its file, unless that is gone or is not the one that `lock` holds, and
// closes `lock`. Failed when a file of the session stays behind; it is dead all the same unless
// another process inherited the lock.
u32 RegistryCloseSession(const char *directory, u32 id, int lock);

// True while the session's file, held by `lock`, stands under its name.
bool RegistryStands(const char *directory, u32 id, int lock);

// Removes the files of dead sessions, and what a crash left of half made ones; touches nothing
// else, and only what belongs to the user or root; root sweeps everyone's. *removed counts; may be
// null. Failed, untrusted, or unknown when there is no directory.
u32 RegistrySweep(const char *directory, u32 *removed);

// Calls visit(context, id) for each name of the directory that may be a session's, until it
// returns false. Failed, untrusted, or unknown when there is no directory.
u32 RegistryForEach(const char *directory, bool (*visit)(void *context, u32 id), void *context);

// Ends the session `id` from outside by removing its file: its login sees that within a second.
// Unknown when there is none, untrusted when it is another user's (root ends everyone's), failed
// with errno.
u32 RegistryEndSession(const char *directory, u32 id);

#endif
