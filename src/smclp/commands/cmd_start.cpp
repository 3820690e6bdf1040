// SPDX-License-Identifier: Apache-2.0
// cmd_start.cpp -- start: asks the target element to start.
//
// Knows no element kind: hands the word "start" to the target's Method slot and turns the code that
// comes back into one line. Whether the user may do it is the method's affair.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "smclp/commands/state_verb.h"
#include "smclp/me/me.h"

u32 numoptStart;

void **SmclpStartCommandInit()
{
    return OptionTableInit(false, &numoptStart);
}

void SmclpStartCommandUnInit(void **table)
{
    OptionTableUnInit(table, numoptStart);
}

static constexpr VerbSyntax kSyntax = {
    .init = SmclpStartCommandInit,
    .unInit = SmclpStartCommandUnInit,
    .isCd = false,
    .keepsLine = false,
    .takesTarget = true,
    .targetRequired = false,
};

static constexpr StateVerb kVerb = {
    .operation = "start",
    .help = "The START command starts the target.",
    .done = "%s was started successfully.",
    .stateCode = kMeHostOn,
    .stateText = "%s is already started.",
    .deniedResult = 1,
};

u32 SmclpParseCommandLineForStart(char *line, SmclpCommandLine *record)
{
    return ParseVerbLine(kSyntax, line, record);
}

u32 SmclpCommandStart(SmclpSession *, ManagedElement *target, SmclpCommandLine *, void *parameters)
{
    return RunStateVerb(kVerb, target, static_cast<const CmdPara *>(parameters));
}
