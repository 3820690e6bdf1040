// SPDX-License-Identifier: Apache-2.0
// cmd_version.cpp -- version: the version of the protocol.
#include "smclp/commands/options.h"
#include "smclp/output.h"

static constexpr VerbSyntax kSyntax = {.operand = Operand::None};
SMCLP_VERB_PARSER(Version, kSyntax)

u32 SmclpCommandVersion(SmclpSession *, ManagedElement *target, SmclpCommandLine *,
                        void *parameters)
{
    const auto *para = static_cast<const CmdPara *>(parameters);
    if (target == nullptr) {
        SmclpErrorOutput(kErrorInvalidTarget);
        return kSmclpFailed;
    }
    if (para == nullptr)
        return kSmclpFailed;
    if (para->examineFlag == 1)
        AnswerSyntax(para->examineResult == kSyntaxValid);
    else if (para->versionFlag != 1 && para->helpFlag == 1)
        SmclpOutput("The VERSION command is used to display the version of the SM-CLP protocol "
                    "supported.");
    else
        AnswerVersion();
    return kSmclpOk;
}
