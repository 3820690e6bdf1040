// SPDX-License-Identifier: Apache-2.0
// cmd_cd.cpp -- cd: moves the session's current target.
#include "smclp/address.h"
#include "smclp/commands/commands.h"
#include "smclp/commands/options.h"
#include "smclp/me/me.h"
#include "smclp/output.h"

#include <stdio.h>

u32 numoptCd;

void **SmclpCdCommandInit()
{
    return OptionTableInit(true, &numoptCd);
}

void SmclpCdCommandUnInit(void **table)
{
    OptionTableUnInit(table, numoptCd);
}

static constexpr VerbSyntax kSyntax = {
    .init = SmclpCdCommandInit,
    .unInit = SmclpCdCommandUnInit,
    .isCd = true,
    .keepsLine = true,
    .takesTarget = true,
    .targetRequired = false,
};

u32 SmclpParseCommandLineForCd(char *line, SmclpCommandLine *record)
{
    return ParseVerbLine(kSyntax, line, record);
}

// Not SmclpReturnAbsolutePath: here an element without a selected instance keeps its name.
static void SayPath(const ManagedElement *element)
{
    char path[kSmclpPathSize] = "";
    for (; element != nullptr; element = element->parent) {
        char piece[sizeof element->name + 5];
        if (element->instanceNumber != 0)
            snprintf(piece, sizeof piece, "%s%u", element->name, element->instanceNumber);
        else
            snprintf(piece, sizeof piece, "%s", element->name);
        SmclpPrependToPath(path, piece);
    }
    SmclpOutput("%s", path);
}

u32 SmclpCommandCd(SmclpSession *session, ManagedElement *target, SmclpCommandLine *record,
                   void *parameters)
{
    const auto *para = static_cast<const CdPara *>(parameters);
    if (para == nullptr)
        return 2;
    const bool oneTarget = target != nullptr && target->allInstances != 1;
    if (para->examineFlag == 1) {
        const bool valid = para->examineResult == kSyntaxValid;
        if (!oneTarget || valid || para->examineResult == kSyntaxInvalid) {
            AnswerSyntax(oneTarget && valid);
            return 0;
        }
    }
    if (!oneTarget || session == nullptr) {
        SmclpErrorOutput(8);
        return 2;
    }
    if (record == nullptr) {
        SmclpErrorOutput(11);
        return 2;
    }
    if (para->versionFlag == 1) {
        AnswerVersion();
        return 0;
    }
    if (para->helpFlag == 1) {
        SmclpOutput("The CD command is used to navigate the target address space.");
        return 0;
    }
    const u32 result = SmclpSetCurrentTarget(session, target);
    if (result == 0)
        SayPath(target);
    return result;
}
