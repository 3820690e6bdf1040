// SPDX-License-Identifier: Apache-2.0
// cmd_exit.cpp -- exit with options; the shell itself takes the bare word.
#include "smclp/commands/options.h"
#include "smclp/output.h"

static constexpr VerbSyntax kSyntax = {.operand = Operand::None};
SMCLP_VERB_PARSER(Exit, kSyntax)

// Returns 2 for an exit without -examine, -version and -help. The shell's loop does not act on it:
// only the bare word ends a session.
u32 SmclpCommandExit(SmclpSession *, ManagedElement *, SmclpCommandLine *, void *parameters)
{
    const auto *para = static_cast<const CmdPara *>(parameters);
    if (para == nullptr)
        return kSmclpBadParameter;
    if (para->examineFlag == 1)
        AnswerSyntax(para->examineResult == kSyntaxValid);
    else if (para->versionFlag == 1)
        AnswerVersion();
    else if (para->helpFlag == 1)
        SmclpOutput("The EXIT command terminates the current SM-CLP session.");
    else
        return kSmclpBadParameter;
    return kSmclpOk;
}
