// SPDX-License-Identifier: Apache-2.0
// login_options.h -- the command line of smclp-login.
#ifndef SESSION_LOGIN_OPTIONS_H
#define SESSION_LOGIN_OPTIONS_H

#include "platform/types.h"

enum class LoginAction : u8 { Run, Help, Version };

struct LoginOptions {
    LoginAction action;  // help and version: nothing else is looked at
    u8 type;             // default 0
    u32 address;         // 127.0.0.1 is 2130706433; default 0: none
    u32 privilege;       // default kPrivilegeAll
    u32 idleSeconds;     // default 0: no limit
    const char *line;    // of -c; null: none
    char **command;      // COMMAND and its arguments, ended by a null; null: the shell
};

extern const char kLoginUsage[];  // what --help prints

// Reads argv, whose texts *options then points into. Returns 0, or 2 with one line about the
// first fault, without the program's name and a new line, in message (cut to size bytes with its
// NUL; 256 hold any fault of a sensible command line).
//
// Numbers are digits and nothing else: no sign, no blank, no more digits than the largest value
// has. Of an option given twice the last counts. COMMAND needs the "--" before it.
u32 LoginParseOptions(int argc, char **argv, LoginOptions *options, char *message, size_t size);

#endif
