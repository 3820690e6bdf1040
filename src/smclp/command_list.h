// SPDX-License-Identifier: Apache-2.0
// command_list.h -- the verbs: one static table, copied at start into a list of command objects.
#ifndef SMCLP_COMMAND_LIST_H
#define SMCLP_COMMAND_LIST_H

#include "platform/types.h"
#include "smclp/session.h"
#include "smclp/tokenise.h"

struct ManagedElement;

// Checks the rest of a command line. line: the whole line, verb included, in lower case and with
// single blanks; the parser rewrites it in place, so its buffer holds at least 256 bytes. On 0 the
// target text, if the line names one, is in record->target. May allocate the command's parameters
// from the general heap and leave them in pCmdPara, whatever it returns. Result codes:
//   0  the executor may run
//   2  line of 255 characters or more, or no memory for the option table
//   3  no memory for the parameters
//   4  unexpected words or options    6  target begins with "-"    8  bad or missing target
//   9  bad value of an option        10  an option's value is missing     1  bad property list
using SmclpParseFunction = u32 (*)(char *line, SmclpCommandLine *record);

// Carries the command out and says everything to the user. target: null when the line named one
// that does not exist. parameters: pCmdPara, of the layout that the verb's parser made. The result
// becomes the dispatcher's.
using SmclpExecuteFunction = u32 (*)(SmclpSession *session, ManagedElement *target,
                                     SmclpCommandLine *record, void *parameters);

// Parameters of the command being run: set by its parser, freed by the dispatcher. Null between
// commands.
extern void *pCmdPara;

// Elements store the ids: never renumber or reuse.
enum SmclpCommandId : u32 {
    kCommandCd = 1,
    kCommandShow = 2,
    kCommandHelp = 3,
    kCommandCreate = 4,
    kCommandDelete = 5,
    kCommandDump = 6,
    kCommandLoad = 7,
    kCommandReset = 8,
    kCommandSetx = 9,
    kCommandStart = 10,
    kCommandStop = 11,
    kCommandExit = 12,
    kCommandVersion = 13,
    kCommandSet = 14,
};

struct SmclpCommandRow {
    u32 id;  // 0 ends the table
    const char *verb;
    SmclpParseFunction parse;  // null: known, not supported
    SmclpExecuteFunction execute;
};
extern const SmclpCommandRow smclpCommandTable[];

constexpr u32 kSmclpCommandSize = 76;  // on the controller

struct SmclpCommand {
    u32 id;
    char name[64];
    SmclpExecuteFunction execute;
    SmclpParseFunction parse;
};
static_assert(sizeof(void *) != 4 || sizeof(SmclpCommand) == kSmclpCommandSize,
              "commands come from the pool of 76-byte blocks");

constexpr u32 kSmclpCommandLinkSize = 8;  // on the controller

struct SmclpCommandLink {
    SmclpCommand *command;
    SmclpCommandLink *next;
};
static_assert(sizeof(void *) != 4 || sizeof(SmclpCommandLink) == kSmclpCommandLinkSize,
              "links come from the pools of 8-byte blocks");

// The list in table order; null before SmclpCommandListInit.
extern SmclpCommandLink *pClpCommandList;

// Adds every row of the table, up to the first that is refused. Always returns 1.
u32 SmclpCommandListInit();

// Appends a command. Null for a null name, a name of 64 characters or more, an id that is in the
// list already, and when a pool is exhausted (nothing is kept then).
SmclpCommand *SmclpCommandListAddCommand(u32 id, const char *name, SmclpExecuteFunction execute,
                                         SmclpParseFunction parse);

// Gives every command and link back to the pools; always returns 0. pClpCommandList keeps its
// value: the process is ending.
u32 SmclpCommandListUninit();

// The command with that id. When there is none, the last of the list, not null; null only for an
// empty list. Kept: MeAddCommand therefore takes any id once the list is built.
SmclpCommand *SmclpGetCommandById(u32 id);

// The command of that name (case matters), or null.
SmclpCommand *SmclpGetCommandObjectByName(const char *name);

// The verbs that are known but never supported: they do nothing and return 1. The dispatcher
// answers for them.
u32 SmclpCommandCreate(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *);
u32 SmclpCommandDump(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *);
u32 SmclpCommandLoad(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *);
u32 SmclpCommandSet(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *);

#endif
