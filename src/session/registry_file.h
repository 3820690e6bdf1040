// SPDX-License-Identifier: Apache-2.0
// registry_file.h -- what looking up and opening share of a session's file (session/registry.h).
#ifndef SESSION_REGISTRY_FILE_H
#define SESSION_REGISTRY_FILE_H

#include <fcntl.h>
#include <sys/types.h>

#include "platform/types.h"

// Opening never waits (a planted FIFO, a lease) and never follows a planted link.
constexpr int kRegistryLookFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// True for root's and the effective user's.
bool RegistryTrusts(uid_t owner);

// Says whether the file's write lock is held by another open file description. Failed with errno.
u32 RegistryLockIsHeld(int descriptor, bool *held);

// Sets the file's modification time to now on the clock of last uses. False with errno.
bool RegistrySetLastUse(int descriptor);

// True for a NUL-terminated name of 1 to 63 bytes without control characters.
bool RegistryUserIsWritable(const char *user);

#endif
