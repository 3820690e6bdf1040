// SPDX-License-Identifier: Apache-2.0
// login_service.h -- the service before the shell: may this user log in, and is there anything to
// be logged in to?
#ifndef SESSION_LOGIN_SERVICE_H
#define SESSION_LOGIN_SERVICE_H

#include <time.h>

#include "objmgr/service_question.h"
#include "platform/types.h"

constexpr u32 kLoginAskMs = 3000;    // a service whose heartbeat is older hangs
constexpr u32 kLoginTellMs = 1000;   // nobody waits longer for a line in the log
constexpr u32 kLoginPauseMost = 32;  // seconds, while nobody serves

struct LoginVerdict {
    int status;      // 0: the shell may start; else the exit status (sysexits.h)
    char line[256];  // for the user, without a new line; with status 0 a note, or empty
};

// Asks the service of `directory`.
//
//     69  nobody serves there, or whoever does is not to be trusted
//     70  the service is of another version
//     75  it listens and does not answer
//     77  the user may not reach it, or has not the right to log in
//
// A source of data that does not answer is a note: the shell may start and says so itself.
LoginVerdict LoginAskService(const char *directory, u32 timeoutMs);

// Has the service write down a refusal; texts that are too long are cut, null is empty. Whether it
// does is nobody's concern here.
void LoginTellRefusal(const char *directory, const char *address, const char *reason);

// A login that the service knows of, by a connection that no other process has: when this one ends,
// however that happens, the kernel ends the connection, and the service writes the logout down.
struct LoginLink {
    const char *directory;  // as in LoginLinkOpen
    LoginNotice notice;     // what is told when the service is another one
    timespec begin;
    int connection;  // -1: none
    bool declined;   // the service does not want to know
    u32 pause;       // looks between two tries to find a service
    u32 wait;        // looks until the next try
};

// Tells the service of a login, and waits kLoginTellMs for its answer at the most. directory must
// last as long as the link; an address that is null is none.
void LoginLinkOpen(LoginLink *link, const char *directory, u32 session, const char *address);
// To be called once a second: tells a service that was started anew. Waits for nothing. Tries after
// 1, 2, 4 and so on up to kLoginPauseMost seconds while nobody serves.
void LoginLinkLook(LoginLink *link);
// Tells the service of the logout, with the time since the link was opened, and closes the link.
void LoginLinkClose(LoginLink *link, const char *reason);

#endif
