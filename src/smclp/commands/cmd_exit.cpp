// SPDX-License-Identifier: Apache-2.0
// cmd_exit.cpp -- exit with options; the shell itself takes the bare word.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "smclp/output.h"

u32 numoptExit;

void **SmclpExitCommandInit()
{
    return OptionTableInit(false, &numoptExit);
}

void SmclpExitCommandUnInit(void **table)
{
    OptionTableUnInit(table, numoptExit);
}

static constexpr VerbSyntax kSyntax = {
    .init = SmclpExitCommandInit,
    .unInit = SmclpExitCommandUnInit,
    .isCd = false,
    .keepsLine = false,
    .takesTarget = false,
    .targetRequired = false,
};

u32 SmclpParseCommandLineForExit(char *line, SmclpCommandLine *record)
{
    return ParseVerbLine(kSyntax, line, record);
}

// Returns 2 for an exit without -examine, -version and -help. The shell's loop does not act on it:
// only the bare word ends a session.
u32 SmclpCommandExit(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *parameters)
{
    const auto *para = static_cast<const CmdPara *>(parameters);
    if (para == nullptr)
        return 2;
    if (para->examineFlag == 1)
        AnswerSyntax(para->examineResult == kSyntaxValid);
    else if (para->versionFlag == 1)
        AnswerVersion();
    else if (para->helpFlag == 1)
        SmclpOutput("The EXIT command terminates the current SM-CLP session.");
    else
        return 2;
    return 0;
}
