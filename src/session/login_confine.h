// SPDX-License-Identifier: Apache-2.0
// login_confine.h -- what the shell's process may still do.
#ifndef SESSION_LOGIN_CONFINE_H
#define SESSION_LOGIN_CONFINE_H

#include "platform/types.h"

// What the process will need. Null: nothing of that kind.
struct LoginConfinement {
    const char *program;   // to be started next
    const char *objmgr;    // the object manager's directory
    const char *sessions;  // the session registry
    const char *trace;     // the file of ZORTRACE; need not exist
};

// Takes from this process and all that it starts: new privileges (no_new_privs, on every kernel);
// and with Landlock every file but the program itself, its loader and libraries (the directories
// of this process's own), the time zone, the registry, the trace file, and what stands in the
// object manager's directory or beside it (the service may make that directory anew while the
// session lasts), all for reading but the trace; every program but this one; TCP, and from the
// sixth version of Landlock on abstract sockets and signals to processes outside.
//
// Local sockets in the file system, open descriptors and the terminal are untouched. True when the
// process is confined; false where the kernel has no Landlock or it is switched off, and then only
// the privileges are taken. Cannot be taken back.
bool LoginConfine(const LoginConfinement *needs);

#endif
