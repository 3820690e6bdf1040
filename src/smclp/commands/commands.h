// SPDX-License-Identifier: Apache-2.0
// commands.h -- the parsers and executors of all verbs (contracts: command_list.h).
#ifndef SMCLP_COMMANDS_COMMANDS_H
#define SMCLP_COMMANDS_COMMANDS_H

#include "smclp/verbs.h"

struct ManagedElement;
struct SmclpCommandLine;
struct SmclpSession;

#define SMCLP_NO_VERB(id, constant, verb, functions)
#define SMCLP_DECLARE_VERB(id, constant, verb, functions)                          \
    u32 SmclpParseCommandLineFor##functions(char *line, SmclpCommandLine *record); \
    u32 SmclpCommand##functions(SmclpSession *session, ManagedElement *target,     \
                                SmclpCommandLine *record, void *parameters);
SMCLP_VERBS(SMCLP_DECLARE_VERB, SMCLP_NO_VERB)

// The option table of each verb. Init builds it and sets the option globals (options.h) and the
// verb's count of entries: 5, for cd 6, for show 8. Null without memory for the table; an entry
// that could not be made is null (arg_nullcheck). UnInit frees the table and its entries; null is
// ignored.
#define SMCLP_DECLARE_OPTIONS(id, constant, verb, functions) \
    extern u32 numopt##functions;                            \
    void **Smclp##functions##CommandInit();                  \
    void Smclp##functions##CommandUnInit(void **table);
SMCLP_VERBS(SMCLP_DECLARE_OPTIONS, SMCLP_NO_VERB)

#undef SMCLP_DECLARE_OPTIONS
#undef SMCLP_DECLARE_VERB
#undef SMCLP_NO_VERB

#endif
