// SPDX-License-Identifier: Apache-2.0
// login_service.h -- the service before the shell: may this user log in, and is there anything to
// be logged in to?
#ifndef SESSION_LOGIN_SERVICE_H
#define SESSION_LOGIN_SERVICE_H

#include "objmgr/service_question.h"
#include "platform/types.h"

constexpr u32 kLoginAskMs = 3000;   // a service whose heartbeat is older hangs
constexpr u32 kLoginTellMs = 1000;  // nobody waits longer for a line in the log

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

// Has the service write down a login, a refusal or a logout; texts that are too long are cut, null
// is empty. Whether it does is nobody's concern here.
void LoginTellService(const char *directory, LoginEvent event, u32 session, u32 seconds,
                      const char *address, const char *reason);

#endif
