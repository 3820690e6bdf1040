// SPDX-License-Identifier: Apache-2.0
// login_keeper.h -- a process beside smclp-login that outlives it by a moment: it removes the
// session's file when smclp-login was killed and could not.
//
// Nobody else may do that at once: the service's user has no right to another's file in the sticky
// registry, and the shell is killed in the same moment as smclp-login. Who kills the keeper as well
// leaves a dead file behind, as before: the next login of the same user, root's, or smclp-sessions
// removes it, and nobody takes it for a session.
#ifndef SESSION_LOGIN_KEEPER_H
#define SESSION_LOGIN_KEEPER_H

#include <sys/types.h>

#include "platform/types.h"

struct LoginKeeper {
    pid_t pid;
    int life;  // the keeper waits for its other end
};

// Starts it for the session `id` that `lock` holds (RegistryOpenSession). It holds none of this
// process's descriptors, neither the lock nor a terminal nor a pipe that somebody waits for, stands
// in a session of its own, where no signal of a terminal or to a group reaches it, and is named
// "smclp-keeper". It ends as soon as this process has ended, however that happens. False with
// errno, and then there is nothing to end.
bool LoginKeeperStart(const char *directory, u32 id, int lock, LoginKeeper *keeper);

// Ends it and waits for that; it removes nothing then.
void LoginKeeperEnd(LoginKeeper *keeper);

#endif
