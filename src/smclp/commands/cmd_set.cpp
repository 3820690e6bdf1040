// SPDX-License-Identifier: Apache-2.0
// cmd_set.cpp -- set: hands its operand to the method of the current target.
//
// The operand is no address: it is passed as it was typed (in lower case). What can be set is the
// method's affair; in practice it is the power state.
#include "smclp/commands/options.h"
#include "smclp/commands/state_verb.h"
#include "smclp/me/me.h"
#include "smclp/output.h"

static constexpr VerbSyntax kSyntax = {.operand = Operand::Required};
SMCLP_VERB_PARSER(SetPowerState, kSyntax)

// The help text of reset: deliberate.
static constexpr char kHelp[] = "The RESET command resets the target.";

u32 SmclpCommandSetPowerState(SmclpSession *, ManagedElement *target, SmclpCommandLine *record,
                              void *parameters)
{
    u32 result;
    if (AnsweredWithoutMethod(target, static_cast<const CmdPara *>(parameters), kHelp, &result))
        return result;

    const u32 code = target->method(target, record->target, 0, 0);
    switch (code) {
    case kMeOk:
        SmclpOutput("Command completed successfully.");
        return kSmclpOk;
    case kMeNoPrivilege:
        SmclpOutput("%s", kPrivilegeLine);
        return code;
    case kMeHostOff:
    case kMeHostOn:
        SmclpOutput("Selected state cannot be set.");
        return kSmclpOk;
    default:
        SmclpOutput("Command failed.");
        return code;
    }
}
