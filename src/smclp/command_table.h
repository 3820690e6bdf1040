// SPDX-License-Identifier: Apache-2.0
// command_table.h -- the static table of verbs, from which the command list is made at start.
#ifndef SMCLP_COMMAND_TABLE_H
#define SMCLP_COMMAND_TABLE_H

#include "smclp/command_list.h"

struct SmclpCommandRow {
    u32 id;  // kCommandNone ends the table
    const char *verb;
    SmclpParseFunction parse;  // null: known, not supported
    SmclpExecuteFunction execute;
};

// The rows of verbs.h, in their order.
extern const SmclpCommandRow smclpCommandTable[];

// Adds every row of the table to the list, up to the first that is refused. Always returns 1.
u32 SmclpCommandListInit();

// The verbs that are known but never supported: they do nothing and return kSmclpFailed. The
// dispatcher answers for them and never calls them.
#define SMCLP_NO_VERB(id, constant, verb, functions)
#define SMCLP_DECLARE_KNOWN(id, constant, verb, functions) \
    u32 SmclpCommand##functions(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *);
SMCLP_VERBS(SMCLP_NO_VERB, SMCLP_DECLARE_KNOWN)
#undef SMCLP_DECLARE_KNOWN
#undef SMCLP_NO_VERB

#endif
