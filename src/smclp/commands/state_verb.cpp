// SPDX-License-Identifier: Apache-2.0
// state_verb.cpp -- start, stop, reset, and what set has in common with them.
#include "smclp/commands/state_verb.h"

#include "platform/str.h"
#include "smclp/me/me.h"
#include "smclp/output.h"

#include <stdio.h>

static constexpr size_t kMessageSize = 272;

// The format is one of the texts of a StateVerb; the name has at most 63 characters.
static void SayOfElement(const char *format, const ManagedElement *element)
{
    char message[kMessageSize];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    snprintf(message, sizeof message, format, element->name);
#pragma GCC diagnostic pop
    SmclpOutput("%s", message);
}

bool AnsweredWithoutMethod(const ManagedElement *target, const CmdPara *para, const char *helpText,
                           u32 *result)
{
    *result = kSmclpOk;
    if (para == nullptr) {
        *result = kSmclpFailed;
    } else if (target == nullptr && para->examineFlag == 1) {
        AnswerSyntax(false);
    } else if (target == nullptr) {
        SmclpErrorOutput(kErrorInvalidTarget);
        *result = kSmclpFailed;
    } else if (target->method == nullptr && para->examineFlag == 1) {
        AnswerSyntax(false);
    } else if (target->method == nullptr) {
        SmclpErrorOutput(kErrorNotSupported);  // before -version and -help: deliberate
    } else if (para->examineFlag == 1) {
        AnswerSyntax(para->examineResult == kSyntaxValid);
    } else if (para->versionFlag == 1) {
        AnswerVersion();
    } else if (para->helpFlag == 1) {
        SmclpOutput("%s", helpText);
    } else {
        return false;
    }
    return true;
}

u32 RunStateVerb(const StateVerb &verb, ManagedElement *target, const CmdPara *para)
{
    u32 result;
    if (AnsweredWithoutMethod(target, para, verb.help, &result))
        return result;

    char operation[16];  // a method may change its text in place
    StrCopy(operation, verb.operation, sizeof operation);
    const u32 code = target->method(target, operation, 0, 0);
    if (code == kMeNoPrivilege) {
        SmclpOutput("%s", kPrivilegeLine);
        return verb.deniedResult;
    }
    if (code == kMeOk)
        SayOfElement(verb.done, target);
    else if (code == verb.stateCode)
        SayOfElement(verb.stateText, target);
    else
        SmclpErrorOutput(kErrorNotSupported);
    return kSmclpOk;
}
