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

#undef SMCLP_DECLARE_VERB
#undef SMCLP_DECLARE_EXECUTOR
#undef SMCLP_DECLARE_PARSER

#endif
