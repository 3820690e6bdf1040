// SPDX-License-Identifier: Apache-2.0
// method.h -- a method call with the rights that this process claims.
#ifndef CTL_METHOD_H
#define CTL_METHOD_H

#include "ctl/options.h"
#include "objmgr/objmgr.h"

struct MethodAnswer {
    CtlExit status = kExitDone;
    bool applied = false;  // false with kExitDone: the host's state left nothing to do
    std::string message;   // with any other status: what went wrong
};

// Calls a method over the service's socket, as the shell does: the same judgement, the same record.
// directory: the object manager's; empty: the process's own. args: may be null. In a session of
// smclp-login the claim is the session's (ZORPRIV); outside it claims every right, and the service
// grants what the caller has.
MethodAnswer MethodInvoke(const std::string &directory, const char *path, const char *method,
                          const char *args);

#endif
