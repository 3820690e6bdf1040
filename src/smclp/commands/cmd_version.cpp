// SPDX-License-Identifier: Apache-2.0
// cmd_version.cpp -- version: the version of the protocol.
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "smclp/output.h"

u32 numoptVersion;

void **SmclpVersionCommandInit()
{
    return OptionTableInit(false, &numoptVersion);
}

void SmclpVersionCommandUnInit(void **table)
{
    OptionTableUnInit(table, numoptVersion);
}

static constexpr VerbSyntax kSyntax = {
    .init = SmclpVersionCommandInit,
    .unInit = SmclpVersionCommandUnInit,
    .isCd = false,
    .keepsLine = false,
    .takesTarget = false,
    .targetRequired = false,
};

u32 SmclpParseCommandLineForVersion(char *line, SmclpCommandLine *record)
{
    return ParseVerbLine(kSyntax, line, record);
}

u32 SmclpCommandVersion(SmclpSession *, ManagedElement *target, SmclpCommandLine *,
                        void *parameters)
{
    const auto *para = static_cast<const CmdPara *>(parameters);
    if (target == nullptr) {
        SmclpErrorOutput(8);
        return 1;
    }
    if (para == nullptr)
        return 1;
    if (para->examineFlag == 1)
        AnswerSyntax(para->examineResult == kSyntaxValid);
    else if (para->versionFlag != 1 && para->helpFlag == 1)
        SmclpOutput("The VERSION command is used to display the version of the SM-CLP protocol "
                    "supported.");
    else
        AnswerVersion();
    return 0;
}
