// SPDX-License-Identifier: Apache-2.0
// login_client.h -- where a login comes from.
#ifndef SESSION_LOGIN_CLIENT_H
#define SESSION_LOGIN_CLIENT_H

#include "session/login_options.h"

// Settles the address in options->client and options->type, as far as options said nothing.
// `connection` is the value of SSH_CONNECTION ("CLIENT PORT SERVER PORT"), null for none; an IPv4
// address written as IPv6 (::ffff:192.0.2.7) is taken as IPv4, and what is no address is none.
// Without an address a login at a terminal is one on the console.
void LoginTakeClient(LoginOptions *options, const char *connection, bool atTerminal);

#endif
