// SPDX-License-Identifier: Apache-2.0
// service_question.h -- asks the service of a directory who it is and what the caller may, and
// tells it of logins. For programs that stand before the shell; no heap, no STL.
#ifndef OBJMGR_SERVICE_QUESTION_H
#define OBJMGR_SERVICE_QUESTION_H

#include "objmgr/privilege.h"
#include "objmgr/protocol.h"

enum class ServiceAnswer : u8 {
    Serving,       // it answered, and the caller has the right to log in (kPrivilegeLogin)
    NoRight,       // it answered, and the caller has not
    Absent,        // no such directory, or nobody serves there
    Forbidden,     // this user may not enter the directory or use the socket
    NotTrusted,    // the directory may be written by its group or others, or whoever listens there
                   // is neither its owner nor root, as the kernel says
    Hung,          // somebody listens, and gave no answer in time
    OtherVersion,  // it answered what this program does not understand
};

// Asks, and waits timeoutMs milliseconds at the most. directory: as ServiceDirectory gives it.
// *facts is what the service said with Serving and NoRight, with OtherVersion its version alone (0
// where it said none), else zero.
ServiceAnswer ServiceAsk(const char *directory, u32 timeoutMs, ServiceFacts *facts);

// Tells the service of a login, a refusal or a logout, for its record. Who tells is known from the
// kernel: uid and user are not part of the notice. Serving: it is written down, or counted where
// this user has told too much (objmgrd/record.h).
ServiceAnswer ServiceTell(const char *directory, u32 timeoutMs, const LoginNotice *notice);

// Tells of a login (Login, Lasting) over a connection that is to last as long as the login, and
// waits for the answer, timeoutMs milliseconds at the most, but does not take it: ServiceHoldOf
// does. With 0 it waits for nothing, neither for room in the service's queue. The connection, which
// the caller closes, or -1: nobody was told.
int ServiceHold(const char *directory, u32 timeoutMs, const LoginNotice *notice);

enum class ServiceHeld : u8 {
    Silent,    // nothing has come since it was last asked
    Known,     // the service has written it down, and takes the connection's end for the login's
    Declined,  // it has written it down and takes no notice of the connection any more
    Ended,     // the service has closed it, or is gone
};

// What has come over such a connection. Waits for nothing.
ServiceHeld ServiceHoldOf(int connection);

// Tells of the login's end over such a connection, which is left open. As ServiceTell; Absent: the
// service has not been told.
ServiceAnswer ServiceTellOver(int connection, u32 timeoutMs, const LoginNotice *notice);

// The object manager's directory: ZOROBJMGR, or where that is not set or empty the default. Points
// into the environment.
const char *ServiceDirectory();

#endif
