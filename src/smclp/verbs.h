// SPDX-License-Identifier: Apache-2.0
// verbs.h -- the verbs of the shell, one row each, and their ids.
//
// To add a verb: a row here, commands/cmd_<verb>.cpp, docs/verbs/<verb>.md and
// tests/smclp/cmd_<verb>_test.cpp; the elements that list it name kCommand<Constant>. Declarations,
// command table and list are made from the row.
#ifndef SMCLP_VERBS_H
#define SMCLP_VERBS_H

#include "platform/types.h"

// SUPPORTED: has a parser and an executor (commands/commands.h). KNOWN: the dispatcher answers that
// it is not supported. Rows stand in the order of the ids, which elements store: never renumber or
// reuse one. Names: SmclpParseCommandLineFor<Functions> and SmclpCommand<Functions>.
// clang-format off
//             id constant  verb       functions
#define SMCLP_VERBS(SUPPORTED, KNOWN)                \
    SUPPORTED( 1, Cd,      "cd",      Cd)            \
    SUPPORTED( 2, Show,    "show",    Show)          \
    SUPPORTED( 3, Help,    "help",    Help)          \
    KNOWN(     4, Create,  "create",  Create)        \
    SUPPORTED( 5, Delete,  "delete",  Delete)        \
    KNOWN(     6, Dump,    "dump",    Dump)          \
    KNOWN(     7, Load,    "load",    Load)          \
    SUPPORTED( 8, Reset,   "reset",   Reset)         \
    KNOWN(     9, Setx,    "setx",    Set)           \
    SUPPORTED(10, Start,   "start",   Start)         \
    SUPPORTED(11, Stop,    "stop",    Stop)          \
    SUPPORTED(12, Exit,    "exit",    Exit)          \
    SUPPORTED(13, Version, "version", Version)       \
    SUPPORTED(14, Set,     "set",     SetPowerState)
// clang-format on

enum SmclpCommandId : u32 {
    kCommandNone = 0,  // ends the table
#define SMCLP_VERB_ID(id, constant, verb, functions) kCommand##constant = (id),
    SMCLP_VERBS(SMCLP_VERB_ID, SMCLP_VERB_ID)
#undef SMCLP_VERB_ID
};

#endif
