// SPDX-License-Identifier: Apache-2.0
// cmd_cd.cpp -- cd: moves the session's current target.
#include "smclp/address.h"
#include "smclp/commands/options.h"
#include "smclp/me/me.h"
#include "smclp/output.h"
#include "smclp/session.h"

#include <stdio.h>

static constexpr VerbSyntax kSyntax = {.isCd = true, .keepsLine = true};
SMCLP_VERB_PARSER(Cd, kSyntax)

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
        return kSmclpBadParameter;
    const bool oneTarget = target != nullptr && target->allInstances != 1;
    if (para->examineFlag == 1) {
        const bool valid = para->examineResult == kSyntaxValid;
        if (!oneTarget || valid || para->examineResult == kSyntaxInvalid) {
            AnswerSyntax(oneTarget && valid);
            return kSmclpOk;
        }
    }
    if (!oneTarget || session == nullptr) {
        SmclpErrorOutput(kErrorInvalidTarget);
        return kSmclpBadParameter;
    }
    if (record == nullptr) {
        SmclpErrorOutput(kErrorExecutionFailed);
        return kSmclpBadParameter;
    }
    if (para->versionFlag == 1) {
        AnswerVersion();
        return kSmclpOk;
    }
    if (para->helpFlag == 1) {
        SmclpOutput("The CD command is used to navigate the target address space.");
        return kSmclpOk;
    }
    const u32 result = SmclpSetCurrentTarget(session, target);
    if (result == kSmclpOk)
        SayPath(target);
    return result;
}
