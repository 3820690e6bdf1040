// SPDX-License-Identifier: Apache-2.0
// command_table.cpp -- the table of verbs.
#include "smclp/command_table.h"

#include "smclp/commands/commands.h"

const SmclpCommandRow smclpCommandTable[] = {
#define SMCLP_SUPPORTED_ROW(id, constant, verb, functions) \
    {id, verb, SmclpParseCommandLineFor##functions, SmclpCommand##functions},
#define SMCLP_KNOWN_ROW(id, constant, verb, functions) {id, verb, nullptr, SmclpCommand##functions},
    SMCLP_VERBS(SMCLP_SUPPORTED_ROW, SMCLP_KNOWN_ROW)
#undef SMCLP_KNOWN_ROW
#undef SMCLP_SUPPORTED_ROW
        {kCommandNone, nullptr, nullptr, nullptr},
};

static_assert(sizeof smclpCommandTable / sizeof smclpCommandTable[0] - 1 <= kSmclpCommandsMax,
              "the pool holds a command object for every verb");

u32 SmclpCommandListInit()
{
    for (const SmclpCommandRow *row = smclpCommandTable; row->id != kCommandNone; ++row) {
        if (SmclpCommandListAddCommand(row->id, row->verb, row->execute, row->parse) == nullptr)
            break;
    }
    return 1;
}

#define SMCLP_NO_VERB(id, constant, verb, functions)
#define SMCLP_NEVER_CALLED(id, constant, verb, functions)                                     \
    u32 SmclpCommand##functions(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *) \
    {                                                                                         \
        return kSmclpFailed;                                                                  \
    }
SMCLP_VERBS(SMCLP_NO_VERB, SMCLP_NEVER_CALLED)
#undef SMCLP_NEVER_CALLED
#undef SMCLP_NO_VERB
