// SPDX-License-Identifier: Apache-2.0
// command_list.h -- the list of command objects in which the shell finds its verbs.
#ifndef SMCLP_COMMAND_LIST_H
#define SMCLP_COMMAND_LIST_H

#include "platform/types.h"
#include "smclp/results.h"
#include "smclp/verbs.h"

struct ManagedElement;
struct SmclpCommandLine;
struct SmclpSession;

// Checks the rest of a command line. line: the whole line, verb included, in lower case and with
// single blanks; the parser rewrites it in place, so its buffer holds at least 256 bytes. On 0 the
// target text, if the line names one, is in record->target. May allocate the command's parameters
// from the general heap and leave them in pCmdPara, whatever it returns. Returns a
// SmclpParseResult.
using SmclpParseFunction = u32 (*)(char *line, SmclpCommandLine *record);

// Carries the command out and says everything to the user. target: null when the line named one
// that does not exist. parameters: pCmdPara, of the layout that the verb's parser made. The result
// becomes the dispatcher's.
using SmclpExecuteFunction = u32 (*)(SmclpSession *session, ManagedElement *target,
                                     SmclpCommandLine *record, void *parameters);

// Parameters of the command being run: set by its parser, freed by the dispatcher. Null between
// commands.
extern void *pCmdPara;

constexpr u32 kSmclpCommandSize = 76;  // on the controller
constexpr u32 kSmclpCommandsMax = 16;  // blocks of their pool

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

// The list, in the order added; null before SmclpCommandListInit (command_table.h).
extern SmclpCommandLink *pClpCommandList;

// Appends a command. Null for a null name, a name of 64 characters or more, an id that is in the
// list already, and when a pool is exhausted (nothing is kept then).
SmclpCommand *SmclpCommandListAddCommand(u32 id, const char *name, SmclpExecuteFunction execute,
                                         SmclpParseFunction parse);

// Gives every command and link back to the pools; always returns 0. pClpCommandList keeps its
// value: the process is ending.
u32 SmclpCommandListUninit();

// The command with that id. When there is none, the last of the list, not null; null only for an
// empty list. Deliberate: MeAddCommand therefore takes any id once the list is built.
SmclpCommand *SmclpGetCommandById(u32 id);

// The command of that name (case matters), or null.
SmclpCommand *SmclpGetCommandObjectByName(const char *name);

#endif
