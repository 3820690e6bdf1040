// SPDX-License-Identifier: Apache-2.0
// cmd_stop.cpp -- stop: asks the target element to stop.
//
// Knows no element kind: hands the word "stop" to the target's Method slot and turns the code that
// comes back into one line. Whether the user may do it is the method's affair.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "smclp/commands/state_verb.h"
#include "smclp/me/me.h"

u32 numoptStop;

void **SmclpStopCommandInit()
{
    return OptionTableInit(false, &numoptStop);
}

void SmclpStopCommandUnInit(void **table)
{
    OptionTableUnInit(table, numoptStop);
}

static constexpr VerbSyntax kSyntax = {
    .init = SmclpStopCommandInit,
    .unInit = SmclpStopCommandUnInit,
    .isCd = false,
    .keepsLine = false,
    .takesTarget = true,
    .targetRequired = false,
};

static constexpr StateVerb kVerb = {
    .operation = "stop",
    .help = "The STOP command stops the target.",
    .done = "%s was stopped successfully.",
    .stateCode = kMeHostOff,
    .stateText = "%s is already stopped.",
    .deniedResult = 1,
};

u32 SmclpParseCommandLineForStop(char *line, SmclpCommandLine *record)
{
    return ParseVerbLine(kSyntax, line, record);
}

u32 SmclpCommandStop(SmclpSession *, ManagedElement *target, SmclpCommandLine *, void *parameters)
{
    return RunStateVerb(kVerb, target, static_cast<const CmdPara *>(parameters));
}
