// SPDX-License-Identifier: Apache-2.0
// login_host.h -- which of several servers a login is for.
//
// Services of several servers stand side by side, each in a directory of the server's name: a login
// for another server than the default one takes the directory of that name beside the default one.
#ifndef SESSION_LOGIN_HOST_H
#define SESSION_LOGIN_HOST_H

#include "platform/types.h"

constexpr size_t kLoginHostMax = 64;  // characters of a name, as of a host's

// Whether a text can be a server's name: 1 to kLoginHostMax letters, digits and "-", "_", ".", of
// which the first is a letter or a digit; "sessions" is none, since the registry stands there. So
// it never leads out of the directory that holds them.
bool LoginIsHostName(const char *name);

// Points ZOROBJMGR at the server, for this process and what it starts. False, with errno, when
// there is no memory. `name` is a server's name.
bool LoginUseHost(const char *name);

#endif
