// SPDX-License-Identifier: Apache-2.0
// login_environment.h -- what a session's process finds in its environment.
#ifndef SESSION_LOGIN_ENVIRONMENT_H
#define SESSION_LOGIN_ENVIRONMENT_H

#include "session/registry.h"

// Builds an environment from nothing: the session's own four variables, PATH with ownDirectory
// first ("": none; a directory with a colon in its name cannot stand there), and of the caller's
// the settings ZOROBJMGR, ZORSSNDIR and ZORTRACE, TERM, LANG, LC_*, TZ, HOME, USER and LOGNAME. Of
// a variable that the caller has twice the first counts. Null when there is no memory. The texts
// are on the heap or the caller's own, and stay for the life of the process.
char **LoginBuildEnvironment(u32 id, const RegistryRecord *record, const char *ownDirectory);

#endif
