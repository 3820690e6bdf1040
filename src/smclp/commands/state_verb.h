// SPDX-License-Identifier: Apache-2.0
// state_verb.h -- what the verbs that call a target's Method slot share.
#ifndef SMCLP_COMMANDS_STATE_VERB_H
#define SMCLP_COMMANDS_STATE_VERB_H

#include "smclp/commands/options.h"

struct ManagedElement;

constexpr char kPrivilegeLine[] = "ERROR: Insufficient user privileges to perform operation.";

// What start, stop and reset differ in. Texts are printf formats for the element's name.
struct StateVerb {
    const char *operation;  // what the method is called with
    const char *help;
    const char *done;       // the method returned 0
    u32 stateCode;          // the method's result that means: is in that state already
    const char *stateText;  // said for it
    u32 deniedResult;       // the verb's result when the privilege is missing
};

// Runs start, stop or reset. Results: kSmclpOk whenever something else than the privilege was said,
// also for a failure of the method; deniedResult; kSmclpFailed without parameters or target.
u32 RunStateVerb(const StateVerb &verb, ManagedElement *target, const CmdPara *para);

// Defines all that a verb of this family has (commands.h), from its StateVerb.
#define SMCLP_STATE_VERB(functions, verb)                                                   \
    SMCLP_VERB_PARSER(functions, VerbSyntax{})                                              \
    u32 SmclpCommand##functions(SmclpSession *, ManagedElement *target, SmclpCommandLine *, \
                                void *parameters)                                           \
    {                                                                                       \
        return RunStateVerb(verb, target, static_cast<const CmdPara *>(parameters));        \
    }

// The answers that need no call of the method: faults of the target, -examine, -version, -help.
// Returns true when the command is answered, with the verb's result.
bool AnsweredWithoutMethod(const ManagedElement *target, const CmdPara *para, const char *helpText,
                           u32 *result);

#endif
