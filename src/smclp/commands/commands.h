// SPDX-License-Identifier: Apache-2.0
// commands.h -- the parsers and executors of all verbs (contracts: command_list.h).
#ifndef SMCLP_COMMANDS_COMMANDS_H
#define SMCLP_COMMANDS_COMMANDS_H

#include "smclp/session.h"
#include "smclp/tokenise.h"

struct ManagedElement;

#define SMCLP_DECLARE_PARSER(name) \
    u32 SmclpParseCommandLineFor##name(char *line, SmclpCommandLine *record);
#define SMCLP_DECLARE_EXECUTOR(name)                                      \
    u32 SmclpCommand##name(SmclpSession *session, ManagedElement *target, \
                           SmclpCommandLine *record, void *parameters);
#define SMCLP_DECLARE_VERB(name) \
    SMCLP_DECLARE_PARSER(name)   \
    SMCLP_DECLARE_EXECUTOR(name)

SMCLP_DECLARE_VERB(Cd)
SMCLP_DECLARE_VERB(Show)
SMCLP_DECLARE_VERB(Help)
SMCLP_DECLARE_VERB(Delete)
SMCLP_DECLARE_VERB(Reset)
SMCLP_DECLARE_VERB(Start)
SMCLP_DECLARE_VERB(Stop)
SMCLP_DECLARE_VERB(Exit)
SMCLP_DECLARE_VERB(Version)
SMCLP_DECLARE_VERB(SetPowerState)

// The option table of each verb (show_options.h has that of show). Init builds it and sets the
// option globals (options.h) and the verb's count of entries: 5, for cd 6. Null without memory for
// the table; an entry that could not be made is null (arg_nullcheck). UnInit frees the table and
// its entries; null is ignored.
#define SMCLP_DECLARE_OPTIONS(name)    \
    extern u32 numopt##name;           \
    void **Smclp##name##CommandInit(); \
    void Smclp##name##CommandUnInit(void **table);

SMCLP_DECLARE_OPTIONS(Cd)
SMCLP_DECLARE_OPTIONS(Help)
SMCLP_DECLARE_OPTIONS(Delete)
SMCLP_DECLARE_OPTIONS(Reset)
SMCLP_DECLARE_OPTIONS(Start)
SMCLP_DECLARE_OPTIONS(Stop)
SMCLP_DECLARE_OPTIONS(Exit)
SMCLP_DECLARE_OPTIONS(Version)
SMCLP_DECLARE_OPTIONS(SetPowerState)

#undef SMCLP_DECLARE_OPTIONS
#undef SMCLP_DECLARE_VERB
#undef SMCLP_DECLARE_EXECUTOR
#undef SMCLP_DECLARE_PARSER

#endif
