// SPDX-License-Identifier: Apache-2.0
// cmd_reset.cpp -- reset: asks the target element to reset.
//
// Knows no element kind: hands the word "reset" to the target's Method slot and turns the code that
// comes back into one line. Whether the user may do it is the method's affair.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "smclp/commands/state_verb.h"
#include "smclp/me/me.h"

u32 numoptReset;

void **SmclpResetCommandInit()
{
    return OptionTableInit(false, &numoptReset);
}

void SmclpResetCommandUnInit(void **table)
{
    OptionTableUnInit(table, numoptReset);
}

static constexpr VerbSyntax kSyntax = {
    .init = SmclpResetCommandInit,
    .unInit = SmclpResetCommandUnInit,
    .isCd = false,
    .keepsLine = false,
    .takesTarget = true,
    .targetRequired = false,
};

static constexpr StateVerb kVerb = {
    .operation = "reset",
    .help = "The RESET command resets the target.",
    .done = "%s was reset successfully.",
    .stateCode = kMeHostOff,
    .stateText = "%s is currently stopped",  // no full stop: kept
    .deniedResult = kMeNoPrivilege,          // start and stop return 1 here: kept
};

u32 SmclpParseCommandLineForReset(char *line, SmclpCommandLine *record)
{
    return ParseVerbLine(kSyntax, line, record);
}

u32 SmclpCommandReset(SmclpSession *, ManagedElement *target, SmclpCommandLine *, void *parameters)
{
    return RunStateVerb(kVerb, target, static_cast<const CmdPara *>(parameters));
}
