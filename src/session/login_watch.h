// SPDX-License-Identifier: Apache-2.0
// login_watch.h -- what smclp-login does while its session lasts: it waits for the session's
// process, passes signals on, and ends the session when its time has come.
#ifndef SESSION_LOGIN_WATCH_H
#define SESSION_LOGIN_WATCH_H

#include <signal.h>
#include <sys/types.h>

#include "platform/types.h"
#include "session/login_service.h"

// What is watched. Nothing but the link is changed, and all must
// last as long as the watch.
struct LoginSession {
    pid_t child;
    const char *directory;  // the registry
    u32 id;
    int lock;         // the session's file
    u32 idleSeconds;  // 0: no limit
    LoginLink *link;  // looked at once a second; null: none
};

enum class LoginEnd : u8 {
    Exit,     // the child ended by itself
    Signal,   // after smclp-login was told to end (HUP, TERM)
    Idle,     // unused for as long as its limit
    Removed,  // its file is gone, or another's stands in its place
    HangUp,   // nobody can read its output, or see its terminal, any more
    Lost      // the child could not be waited for
};

struct LoginEnding {
    LoginEnd why;
    int status;  // as waitpid gives it; not with Lost
};

// Blocks the signals that the watch waits for; *before is the mask to go back to. To be called
// before there is a session, so that no signal leaves one behind.
void LoginBlockSignals(sigset_t *before);

// Waits for the child to end. Once a second it looks whether the session's file still stands,
// whether it was used lately (the file's modification time, session/registry.h), and whether
// standard output and a terminal as standard input still have another side. Where not, and on HUP
// and TERM, the child gets HUP (or what came) and CONT, and KILL a second later if it is still
// there: it is gone within two seconds of the event. Other signals are passed on as they come.
// Nothing here waits for a terminal or a pipe.
LoginEnding LoginWatch(const LoginSession *session);

// In the child: has the kernel kill it the moment smclp-login (`parent`, by its process id) ends,
// however that ends. Does not return when it has ended already. Lasts across exec.
void LoginDieWith(pid_t parent);

#endif
