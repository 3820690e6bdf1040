// SPDX-License-Identifier: Apache-2.0
// login_options.h -- the command line of smclp-login.
#ifndef SESSION_LOGIN_OPTIONS_H
#define SESSION_LOGIN_OPTIONS_H

#include "platform/types.h"
#include "session/registry.h"

enum class LoginAction : u8 { Run, Help, Version };

constexpr u8 kLoginTypeNetwork = 0;  // what the shell is told when --type says nothing else
constexpr u8 kLoginTypeConsole = 1;  // at a terminal of the machine itself, as on a serial line
constexpr u32 kLoginIdleSeconds = 30 * 60;
constexpr u32 kLoginSessions = 64;
constexpr u32 kLoginUserSessions = kRegistryUserMax;
constexpr u32 kLoginKeptForConsole = 4;    // of kLoginSessions, or of what --sessions says
constexpr u32 kLoginToolWordsMax = 64;     // of a line that asks for a tool
constexpr char kLoginTool[] = "smclpctl";  // the one program that --allow knows

struct LoginOptions {
    LoginAction action;  // help and version: nothing else is looked at
    bool typeGiven;      // else `type` is to be found out
    u8 type;
    RegistryRecord client;  // the address of --address, in its two forms; none: ""
    u32 privilege;          // default kPrivilegeAll
    u32 idleSeconds[256];   // for each type; 0: no limit; default kLoginIdleSeconds
    u32 sessions;           // 0: no limit; default kLoginSessions
    u32 userSessions;       // 0: no limit; default kLoginUserSessions
    bool unconfined;        // the shell gets no confinement
    bool allowTool;         // a line may start kLoginTool in the shell's place
    const char *settings;   // of --settings: a file (login_settings.h); null: the default one
    const char *host;       // a server's name (login_host.h); null: the default one
    char *line;             // of -c; null: none
    char **command;         // COMMAND and its arguments, ended by a null; null: the shell
    // kLoginTool and its arguments, ended by a null, where `line` asks for it (login_line.h);
    // tool[0] null: the shell
    char *tool[kLoginToolWordsMax + 1];
};

extern const char kLoginUsage[];  // what --help prints

// Sets what holds when no option says otherwise.
void LoginDefaultOptions(LoginOptions *options);

// Sets one option by its name without the dashes, as a settings file does: "idle", "sessions",
// "user-sessions" and "allow" alone. 0 or 2, as LoginParseOptions.
u32 LoginSetOption(const char *name, char *value, LoginOptions *options, char *message,
                   size_t size);

// Reads argv, whose texts *options then points into, over what *options holds. Returns 0, or 2
// with one line about the first fault, without the program's name and a new line, in message (cut
// to size bytes with its NUL; 256 hold any fault of a sensible command line).
//
// Numbers are digits and nothing else: no sign, no blank, no more digits than the largest value
// has. Of an option given twice the last counts; --idle TYPE=SECONDS is one for each type.
// COMMAND needs the "--" before it. What argv[0] is plays no part (login shells get a dash there).
u32 LoginParseOptions(int argc, char **argv, LoginOptions *options, char *message, size_t size);

#endif
